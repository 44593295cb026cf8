#include "srv/hote/interface_hote.h"

#include "platform/platform.h"
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/tui/srv_choix_impl.h"
#include "srv/tui/srv_ecran_impl.h"
#include "srv/tui/srv_message_impl.h"
#include "srv/tui/srv_saisie_impl.h"

namespace vesk {

namespace {

// The terminal shared by the screen services of the thread, opened by the first that needs it
// and given back when the last of them goes.
class TerminalPartage {
 public:
  std::shared_ptr<tui::Console> Console() {
    std::shared_ptr<tui::Console> console = console_.lock();
    if (console == nullptr) {
      console = std::make_shared<tui::Console>(tui::OuvreTerminal());
      console_ = console;
    }
    return console;
  }

 private:
  std::weak_ptr<tui::Console> console_;
};

}  // namespace

ServicesInterface EcransTerminal(const Configuration& config) {
  auto terminal = std::make_shared<TerminalPartage>();
  ServicesInterface i;
  i.saisie = [terminal] { return std::make_unique<tui::SrvSaisieImpl>(terminal->Console()); };
  // The key codes need no terminal; the watch for Esc during a listing does, when there is one.
  i.ecran = [terminal, nom = config.application] {
    return std::make_unique<tui::SrvEcranImpl>(
        platform::SortieEstTerminal() ? terminal->Console() : nullptr, nom);
  };
  i.choix = [terminal] { return std::make_unique<tui::SrvChoixImpl>(terminal->Console()); };
  i.message = [terminal] { return std::make_unique<tui::SrvMessageImpl>(terminal->Console()); };
  return i;
}

ServicesInterface EcransScript(const Configuration& config,
                               const std::shared_ptr<script::Session>& session) {
  ServicesInterface i;
  i.saisie = [session] { return std::make_unique<script::SrvSaisieScript>(session); };
  i.ecran = [session, nom = config.application] {
    return std::make_unique<script::SrvEcranScript>(session, nom);
  };
  i.choix = [session] { return std::make_unique<script::SrvChoixScript>(session); };
  i.message = [session] { return std::make_unique<script::SrvMessageScript>(session); };
  return i;
}

std::function<std::unique_ptr<SrvEdition>()> Editions(const Configuration& config,
                                                      EditionsHote hote) {
  return [dossier = config.DossierEditions(), hote = std::move(hote)] {
    ConfigEdition c;
    c.dossier = dossier;
    c.fichier_impose = hote.fichier;
    c.annule = hote.annule;
    c.visionne = hote.visionne;
    c.flux = hote.flux;
    c.suivi = hote.suivi;
    if (hote.pdf) {
      c.pdf = hote.pdf();
    } else {
      c.sortie = "TXT";
    }
    return std::make_unique<SrvEditionImpl>(std::move(c));
  };
}

}  // namespace vesk
