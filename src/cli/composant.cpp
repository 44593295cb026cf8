#include "cli/composant.h"

#include "cli/affichage.h"
#include "core/etat_module.h"
#include "dom/dom.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#ifndef _WIN32
#include "srv/report/pdf/pdf_renderer.h"
#endif
#include "srv/hote/interface_hote.h"
#include "srv/tui/barre_progression.h"

namespace vesk::cli {

namespace {

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
  etat_ = &Etat();  // main's thread: the one lookup of the run
  if (exige_dictionnaire) {
    if (!DictionnaireExiste(*etat_)) {
      throw ErreurService("Ouverture du dictionnaire", dossier_,
                          "aucun dictionnaire dans ce dossier (vesk init le crée)");
    }
  }
  ass_ = AsS::Cree();
  ass_->OuvS();
}

std::vector<std::string> Composant::EditionsEcrites() {
  std::vector<std::string> fichiers;
  etat_->Edition().FichiersEcrits(fichiers);
  return fichiers;
}

void Composant::Termine() {
  etat_ = nullptr;
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
  std::unique_ptr<Composant> composant = InstalleServices(contexte, config, fichier_edition);
  composant->Ouvre(exige_dictionnaire);
  return composant;
}

std::unique_ptr<Composant> InstalleServices(Contexte& contexte, const Configuration& config,
                                            const std::string& fichier_edition) {
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
  EditionsHote editions;
  editions.fichier = fichier_edition;
  editions.annule = EditionAnnuleeDuThread;
  editions.visionne = [](std::string_view titre, std::string_view texte) {
    Etat().Message().Visionne(texte, titre);
  };
  editions.flux = [&sortie = contexte.SortieStandard()](std::string_view texte) {
    sortie << texte;
  };
  editions.suivi = tui::BarreSurErreurs;  // drawn only when the error stream is a terminal
#ifndef _WIN32
  editions.pdf = report::MakePdfRenderer;  // Windows: text listings
#endif
  options.interface.edition = Editions(config, std::move(editions));
  OublieEtat();
  InstalleServicesThread(CreateurStandard(std::move(options)));
  return std::make_unique<Composant>(session, transcription, config.dossier);
}

Configuration DossierCible(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  Configuration config = contexte.Config();
  if (arguments.empty()) return config;
  config = Configuration{};
  config.dossier = arguments.front();
  platform::IoStatus st = platform::CreateDirectories(config.dossier);
  if (!st.ok()) throw ErreurService("Création du dossier", config.dossier, st.message);
  return config;
}

}  // namespace vesk::cli
