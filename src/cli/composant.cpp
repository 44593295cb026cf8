#include "cli/composant.h"

#include "cli/affichage.h"
#include "core/etat_module.h"
#include "dom/dom.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/report/pdf/pdf_renderer.h"
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/tui/srv_choix_impl.h"
#include "srv/tui/srv_ecran_impl.h"
#include "srv/tui/srv_message_impl.h"
#include "srv/tui/srv_saisie_impl.h"

namespace vesk::cli {

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
  i.saisie = [session] { return std::make_unique<script::SrvSaisieImpl>(session); };
  i.ecran = [session, nom = config.application] {
    return std::make_unique<script::SrvEcranImpl>(session, nom);
  };
  i.choix = [session] { return std::make_unique<script::SrvChoixImpl>(session); };
  i.message = [session] { return std::make_unique<script::SrvMessageImpl>(session); };
  return i;
}

// Listings in the configured folder (or the imposed file), PDF natively, cancelled by the
// thread's screen service.
std::function<std::unique_ptr<SrvEdition>()> Editions(const Configuration& config,
                                                      const std::string& fichier) {
  return [dossier = config.DossierEditions(), fichier] {
    ConfigEdition c;
    c.dossier = dossier;
    c.fichier_impose = fichier;
    c.annule = EditionAnnulee;
    c.visionne = [](std::string_view titre, std::string_view texte) {
      Etat().Message().Visionne(texte, titre);
    };
    c.pdf = report::MakePdfRenderer();
    return std::make_unique<SrvEditionImpl>(std::move(c));
  };
}

std::shared_ptr<std::ofstream> OuvreTranscription(const std::string& chemin) {
  auto flux = std::make_shared<std::ofstream>(chemin, std::ios::binary | std::ios::trunc);
  if (!*flux) {
    throw ErreurService("Compte rendu", chemin, "impossible de créer le fichier (--transcript)");
  }
  return flux;
}

}  // namespace

Composant::Composant(std::shared_ptr<script::Session> session,
                     std::shared_ptr<std::ofstream> transcription, std::string dossier)
    : session_(std::move(session)),
      transcription_(std::move(transcription)),
      dossier_(std::move(dossier)) {}

Composant::~Composant() {
  ass_.reset();
  OublieEtat();
  InstalleServicesThread(nullptr);
  if (transcription_) transcription_->flush();
}

void Composant::Ouvre(bool exige_dictionnaire) {
  if (exige_dictionnaire) {
    bool existe = false;
    Etat().Donnee().Existe("FIC.DAT", existe);
    if (!existe) {
      throw ErreurService("Ouverture du dictionnaire", dossier_,
                          "aucun dictionnaire dans ce dossier (vesk init le crée)");
    }
  }
  ass_ = AsS::Cree();
  ass_->OuvS();
}

std::vector<std::string> Composant::EditionsEcrites() {
  std::vector<std::string> fichiers;
  Etat().Edition().FichiersEcrits(fichiers);
  return fichiers;
}

void Composant::Termine() {
  OublieEtat();
  if (session_ != nullptr && session_->Restantes() > 0) {
    const script::Reponse* r = session_->Regarde();
    throw ErreurService("Script", session_->Nom(),
                        "ligne " + std::to_string(r->ligne) + " : " + script::Decrit(*r) +
                            " n'a pas servi : la commande s'est terminée avant (" +
                            std::to_string(session_->Restantes()) + " réponse(s) non utilisée(s))");
  }
  if (transcription_ != nullptr) {
    transcription_->flush();
    transcription_->close();
    if (!*transcription_) {
      throw ErreurService("Compte rendu", "--transcript", "écriture incomplète (disque plein ?)");
    }
  }
}

std::unique_ptr<Composant> OuvreComposant(Contexte& contexte, const Configuration& config,
                                          const std::string& fichier_edition,
                                          bool exige_dictionnaire) {
  const OptionsLigne& o = contexte.Options();
  std::shared_ptr<script::Session> session;
  std::shared_ptr<std::ofstream> transcription;
  if (o.script) {
    session = script::Session::DepuisFichier(*o.script);
    if (o.transcription) {
      transcription = OuvreTranscription(*o.transcription);
      session->EcritAussiDans(transcription.get());
    }
  }
  OptionsServices options;
  options.config = config;
  options.affichage_anomalie = AfficheurAnomalies(contexte.Erreurs());
  options.interface = session ? EcransScript(config, session) : EcransTerminal(config);
  options.interface.edition = Editions(config, fichier_edition);
  OublieEtat();
  InstalleServicesThread(CreateurStandard(std::move(options)));
  auto composant = std::make_unique<Composant>(session, transcription, config.dossier);
  composant->Ouvre(exige_dictionnaire);
  return composant;
}

Configuration DossierCible(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  if (arguments.size() > 1) {
    throw ErreurService("Ligne de commande", contexte.Options().commande,
                        "un seul dossier attendu, « " + arguments[1] + " » en trop");
  }
  Configuration config = contexte.Config();
  if (arguments.empty()) return config;
  config = Configuration{};
  config.dossier = arguments.front();
  platform::IoStatus st = platform::CreateDirectories(config.dossier);
  if (!st.ok()) throw ErreurService("Création du dossier", config.dossier, st.message);
  return config;
}

}  // namespace vesk::cli
