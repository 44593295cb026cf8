#include "gencode/testing/generateurs.h"

#include <random>

#include "core/etat_module.h"
#include "gencode/etat_gencode.h"
#include "srv/erreur_service.h"
#include "srv/list/srv_liste_impl.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/text/srv_texte_impl.h"

namespace vesk {

namespace {

class AnomalieEssai : public SrvAnomalie {
 public:
  explicit AnomalieEssai(std::shared_ptr<Signalements> s) : s_(std::move(s)) {}
  void Signale(std::string_view message, std::string_view procedure) override {
    s_->emplace_back(std::string(message), std::string(procedure));
  }

 private:
  std::shared_ptr<Signalements> s_;
};

[[noreturn]] void Refuse(std::string_view op) {
  throw ErreurService(op, "essai", "opération non prévue par cet essai");
}

class EcranEssai : public SrvEcran {
 public:
  void NomApplication(std::string& nom) override { nom = "GESCOM"; }
  void ValeurConfirmation(int16_t&) override { Refuse("ValeurConfirmation"); }
  void ToucheSuppression(int16_t&) override { Refuse("ToucheSuppression"); }
  void ToucheRetour(int16_t&) override { Refuse("ToucheRetour"); }
  void ToucheDebut(int16_t&) override { Refuse("ToucheDebut"); }
  void ToucheConfirmation(int16_t&) override { Refuse("ToucheConfirmation"); }
  void Annule(int16_t&) override { Refuse("Annule"); }
  void ToucheF1(int16_t&) override { Refuse("ToucheF1"); }
  void ToucheF2(int16_t&) override { Refuse("ToucheF2"); }
  void ToucheF3(int16_t&) override { Refuse("ToucheF3"); }
  void ToucheF4(int16_t&) override { Refuse("ToucheF4"); }
  void ToucheF5(int16_t&) override { Refuse("ToucheF5"); }
  void ToucheF6(int16_t&) override { Refuse("ToucheF6"); }
  void ToucheF7(int16_t&) override { Refuse("ToucheF7"); }
  void ToucheEchap(int16_t&) override { Refuse("ToucheEchap"); }
  void DateDefaut(std::string&) override { Refuse("DateDefaut"); }
  void TitreEdition(std::string_view) override { Refuse("TitreEdition"); }
  void FinTitreEdition() override { Refuse("FinTitreEdition"); }
};

class FabriqueEssai : public FabriqueServices {
 public:
  explicit FabriqueEssai(std::shared_ptr<Signalements> s) : s_(std::move(s)) {}
  std::unique_ptr<SrvDonnee> CreeDonnee() override { return nullptr; }
  std::unique_ptr<SrvBArbre> CreeBArbre() override { return nullptr; }
  std::unique_ptr<SrvChainage> CreeChainage() override { return nullptr; }
  std::unique_ptr<SrvTexte> CreeTexte() override { return std::make_unique<SrvTexteImpl>(); }
  std::unique_ptr<SrvListe> CreeListe() override { return std::make_unique<SrvListeImpl>(); }
  std::unique_ptr<SrvEdition> CreeEdition() override { return nullptr; }
  std::unique_ptr<SrvAnomalie> CreeAnomalie() override {
    return std::make_unique<AnomalieEssai>(s_);
  }
  std::unique_ptr<SrvSaisie> CreeSaisie() override { return nullptr; }
  std::unique_ptr<SrvEcran> CreeEcran() override { return std::make_unique<EcranEssai>(); }
  std::unique_ptr<SrvChoix> CreeChoix() override { return nullptr; }
  std::unique_ptr<SrvMessage> CreeMessage() override { return nullptr; }
  std::unique_ptr<SrvJournal> CreeJournal() override { return nullptr; }

 private:
  std::shared_ptr<Signalements> s_;
};

// Pads nom with spaces to a key of width characters.
std::string Cle(std::string_view nom, size_t largeur) {
  std::string cle(nom);
  if (cle.size() < largeur) cle.append(largeur - cle.size(), ' ');
  return cle;
}

}  // namespace

void ServicesEssai::SetUp() {
  auto s = signalements_;
  InstalleServicesThread([s] { return std::make_unique<FabriqueEssai>(s); });
}

void ServicesEssai::TearDown() {
  OublieEtat();
  OublieEtatGen();
  InstalleServicesThread(nullptr);
}

std::vector<std::string> Lignes(const std::string& texte) {
  std::vector<std::string> lignes;
  size_t debut = 0;
  while (true) {
    const size_t fin = texte.find("\r\n", debut);
    lignes.push_back(texte.substr(debut, fin == std::string::npos ? fin : fin - debut));
    if (fin == std::string::npos) return lignes;
    debut = fin + 2;
  }
}

void DictionnaireEssai::SetUp() {
  std::random_device aleatoire;
  dossier_ = std::filesystem::temp_directory_path() /
             ("vesk-gencode-" + std::to_string(aleatoire()) + std::to_string(aleatoire()));
  std::filesystem::create_directories(dossier_);
  OptionsServices options;
  options.config.dossier = dossier_.string();
  options.config.application = "GESCOM";
  options.config.synchro = Synchro::kOff;
  options.interface.ecran = [] { return std::make_unique<EcranEssai>(); };
  InstalleServicesThread(CreateurStandard(options));
  ass_ = AsS::Cree();
  ass_->OuvS();
}

void DictionnaireEssai::TearDown() {
  OublieEtat();
  OublieEtatGen();
  InstalleServicesThread(nullptr);
  ass_.reset();
  std::error_code ignore;
  std::filesystem::remove_all(dossier_, ignore);
}

void DictionnaireEssai::AjouteFichier(std::string_view nom, std::string_view dfe,
                                      std::string_view longueur) {
  Session& etat = Etat();
  etat.fic.Efface();
  etat.fic.Affecte(kNomFic, nom);
  etat.fic.Affecte(kDfe, dfe);
  etat.fic.Affecte(kLongEnr, longueur);
  int32_t e = 0;
  etat.BArbre().Insere(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, e);
}

void DictionnaireEssai::AjouteRubrique(std::string_view fichier, std::string_view variable,
                                       int16_t taille) {
  Session& etat = Etat();
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, Cle(fichier, 6), etat.fic_fichier, trouve);
  ASSERT_TRUE(trouve) << fichier;
  std::string code;
  etat.Texte().EncodeTaille(taille, code);
  etat.lfic.Efface();
  etat.lfic.Affecte(kLf1, "Rubrique " + std::string(variable));
  etat.lfic.Affecte(kLf2, "A");
  etat.lfic.Affecte(kLf3, code);
  etat.Texte().EncodeTaille(0, code);
  etat.lfic.Affecte(kLf4, code);
  etat.lfic.Affecte(kLf5, variable);
  etat.lfic.Affecte(kLf7, "U");
  etat.lfic.Affecte(kFormatInterne, "A");
  etat.Texte().EncodeTaille(taille, code);
  etat.lfic.Affecte(kLongueurInterne, code);
  int32_t ligne = 0;
  etat.Chainage().AjouteLigne(etat.lfic_fichier, ligne);
}

void DictionnaireEssai::AjouteBArbre(std::string_view nom, std::string_view fichier,
                                     std::string_view nature, std::string_view longueur_cle) {
  Session& etat = Etat();
  etat.ba.Efface();
  etat.ba.Affecte(kNomT, nom);
  etat.ba.Affecte(kNomD, fichier);
  etat.ba.Affecte(kNatT, nature);
  etat.ba.Affecte(kLongCle, longueur_cle);
  etat.ba.Affecte(kLCle, "[[CLNOM,1,12]]");
  int32_t e = 0;
  etat.BArbre().Insere(etat.ba_arbre, etat.ba[kNomT], etat.ba_fichier, e);
}

void DictionnaireEssai::AjouteChainage(std::string_view ligne, std::string_view pnea,
                                       std::string_view pnes, std::string_view entete,
                                       std::string_view ppe, std::string_view pde) {
  Session& etat = Etat();
  etat.chain.Efface();
  etat.chain.Affecte(kChainL, ligne);
  etat.chain.Affecte(kPnea, pnea);
  etat.chain.Affecte(kPnes, pnes);
  etat.chain.Affecte(kChainE, entete);
  etat.chain.Affecte(kPpe, ppe);
  etat.chain.Affecte(kPde, pde);
  int32_t e = 0;
  etat.BArbre().Insere(etat.chain_arbre, etat.chain[kChainL], etat.chain_fichier, e);
}

Signalements DictionnaireEssai::Rapports() const {
  auto* anomalie = dynamic_cast<SrvAnomalieImpl*>(&Etat().Anomalie());
  Signalements r;
  if (anomalie == nullptr) return r;
  for (const Rapport& rapport : anomalie->Rapports())
    r.emplace_back(rapport.message, rapport.procedure);
  return r;
}

}  // namespace vesk
