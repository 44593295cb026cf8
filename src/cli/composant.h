// The component as `vesk` runs it: the standard services installed for main's thread from the
// run's configuration, with the screens of the run (scripted from --script, whose transcript goes
// where --transcript says, else the terminal) and the listing service (PDF natively, the file
// imposed by --output for a listing), and an AsS object with its dictionary open.
// Used from main's thread.
#ifndef VESK_CLI_COMPOSANT_H_
#define VESK_CLI_COMPOSANT_H_

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cli/commandes.h"
#include "core/ass.h"
#include "core/session.h"
#include "srv/config/configuration.h"
#include "srv/script/session.h"

namespace vesk::cli {

// One run of the component. Destroying it drops the thread's services (the terminal is given
// back, the transcript closed), also when the command ends with an error.
class Composant {
 public:
  Composant(std::shared_ptr<script::Session> session, std::shared_ptr<std::ofstream> transcription,
            std::string dossier);
  ~Composant();
  Composant(const Composant&) = delete;
  Composant& operator=(const Composant&) = delete;

  AsS& Ass() { return *ass_; }
  // The session of main's thread, which the component's commands are given.
  vesk::Session& Session() { return *etat_; }
  // Opens the dictionary (OuvS creates its files when they are absent; with exige_dictionnaire
  // a folder without a dictionary is an error instead).
  void Ouvre(bool exige_dictionnaire);
  // The files written by the last listing.
  std::vector<std::string> EditionsEcrites();
  // Ends a successful run: the services are dropped; with a script, every answer must have been
  // used and the transcript written whole (ErreurService otherwise).
  void Termine();

 private:
  std::shared_ptr<AsS> ass_;
  vesk::Session* etat_ = nullptr;
  std::shared_ptr<script::Session> session_;
  std::shared_ptr<std::ofstream> transcription_;
  std::string dossier_;
};

// Installs the services over config's data folder for main's thread and opens the dictionary.
// fichier_edition: the file a listing is written to ("" the listings folder).
// exige_dictionnaire: a folder without a dictionary is an error (otherwise OuvS creates one).
std::unique_ptr<Composant> OuvreComposant(Contexte& contexte, const Configuration& config,
                                          const std::string& fichier_edition = "",
                                          bool exige_dictionnaire = false);
// The same services without opening the dictionary (Composant::Ouvre not called): for what
// must work on a dictionary that does not open, its trees rebuilt from its files.
std::unique_ptr<Composant> InstalleServices(Contexte& contexte, const Configuration& config,
                                            const std::string& fichier_edition = "");

// Creates the folder named by the command's only argument (or takes the configured data folder
// when there is none) and gives the configuration of that folder.
Configuration DossierCible(Contexte& contexte);

}  // namespace vesk::cli

#endif  // VESK_CLI_COMPOSANT_H_
