// The screens and listings of a host, shared by the `vesk` command and the COM server: the
// four screen services over the process's terminal (ncursesw on POSIX, the Win32 console on
// Windows) or answered from a script, and the listing service over the configured folder.
// What each function returns is a set of creators; every thread that calls them gets its own
// objects. Thread rules: the objects made belong to the thread that made them.
#ifndef VESK_SRV_HOTE_INTERFACE_HOTE_H_
#define VESK_SRV_HOTE_INTERFACE_HOTE_H_

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "srv/config/configuration.h"
#include "srv/report/renderer.h"
#include "srv/script/session.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk {

// Screens on the terminal: the first screen service that needs it opens the terminal, the last
// one to go gives it back. SrvEcran watches Esc during listings only when the standard output
// is a terminal.
ServicesInterface EcransTerminal(const Configuration& config);

// Screens answered from the script session (its transcript records every call).
ServicesInterface EcransScript(const Configuration& config,
                               const std::shared_ptr<script::Session>& session);

// How the host's listings are made, beyond the configuration.
struct EditionsHote {
  std::string fichier;           // a file imposed on every listing ("": none)
  std::function<bool()> annule;  // the user's cancellation (EditionAnnuleeDuThread)
  std::function<void(std::string_view titre, std::string_view texte)> visionne;  // "ECRAN"
  std::function<void(std::string_view texte)> flux;          // the text of a listing imposed as "-"
  std::function<std::unique_ptr<report::Renderer>()> pdf;    // empty: text listings only
  std::function<std::unique_ptr<SuiviProgression>()> suivi;  // the writing's progress; empty: none
};

// The listing service: listings in config's listings folder, PDF through hote.pdf or, where
// there is no PDF renderer (Windows), text.
std::function<std::unique_ptr<SrvEdition>()> Editions(const Configuration& config,
                                                      EditionsHote hote);

}  // namespace vesk

#endif  // VESK_SRV_HOTE_INTERFACE_HOTE_H_
