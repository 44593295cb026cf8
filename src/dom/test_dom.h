// The fixture of the domain tests: a fresh data folder with the standard services, the screens
// answered from a script (script::Session) and listings written as text into the folder.
#ifndef VESK_DOM_TEST_DOM_H_
#define VESK_DOM_TEST_DOM_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/ass.h"
#include "core/etat_module.h"
#include "dom/dom.h"
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/text/cp1252.h"

namespace vesk::dom {

// The scripted screen services, whose Annule turns true at the n-th poll when n > 0 (the
// listing is then cancelled after as many printed lines).
class EcranAnnulable : public script::SrvEcranImpl {
 public:
  EcranAnnulable(std::shared_ptr<script::Session> session, int annule_au)
      : script::SrvEcranImpl(std::move(session), "TEST"), annule_au_(annule_au) {}
  void Annule(int16_t& annule) override {
    script::SrvEcranImpl::Annule(annule);
    if (annule_au_ > 0 && ++sondages_ >= annule_au_) annule = -1;
  }

 private:
  int annule_au_;
  int sondages_ = 0;
};

// The scripted entry screens, where a value made only of "_" stands for as many spaces: a
// script line cannot end with spaces, a keyboard can type them.
class SaisieEspaces : public script::SrvSaisieImpl {
 public:
  using script::SrvSaisieImpl::SrvSaisieImpl;
  void Sai(std::string_view cle, std::string& valeur, int16_t& touche, int16_t initiale,
           std::string_view options, std::string_view ligne) override {
    script::SrvSaisieImpl::Sai(cle, valeur, touche, initiale, options, ligne);
    if (!valeur.empty() && valeur.find_first_not_of('_') == std::string::npos) {
      valeur.assign(valeur.size(), ' ');
    }
  }
};

// The listing service, noting the value of every Termine call.
class EditionNotee : public SrvEditionImpl {
 public:
  EditionNotee(ConfigEdition config, std::shared_ptr<std::vector<int16_t>> termines)
      : SrvEditionImpl(std::move(config)), termines_(std::move(termines)) {}
  void Termine(int16_t valeur) override {
    termines_->push_back(valeur);
    SrvEditionImpl::Termine(valeur);
  }

 private:
  std::shared_ptr<std::vector<int16_t>> termines_;
};

class DomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device aleatoire;
    dossier_ = std::filesystem::temp_directory_path() / ("vesk-dom-" + std::to_string(aleatoire()));
    std::filesystem::create_directories(dossier_);
  }
  void TearDown() override {
    OublieEtat();
    InstalleServicesThread(nullptr);
    std::error_code ignore;
    std::filesystem::remove_all(dossier_, ignore);
  }

  // Installs the services with the screens answered by script, and opens the dictionary.
  std::shared_ptr<AsS> Ouvre(const std::string& script, int annule_au = 0) {
    OublieEtat();
    session_ = script::Session::DepuisTexte(script, "essai");
    OptionsServices options;
    options.config.dossier = dossier_.string();
    options.config.synchro = Synchro::kOff;
    auto s = session_;
    std::string editions = (dossier_ / "EDITIONS").string();
    options.interface.saisie = [s] { return std::make_unique<SaisieEspaces>(s); };
    options.interface.ecran = [s, annule_au] {
      return std::make_unique<EcranAnnulable>(s, annule_au);
    };
    options.interface.choix = [s] { return std::make_unique<script::SrvChoixImpl>(s); };
    options.interface.message = [s] { return std::make_unique<script::SrvMessageImpl>(s); };
    termines_ = std::make_shared<std::vector<int16_t>>();
    options.interface.edition = [editions, termines = termines_] {
      ConfigEdition c;
      c.dossier = editions;
      c.sortie = "TXT";
      c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
      c.annule = EditionAnnulee;
      return std::make_unique<EditionNotee>(std::move(c), termines);
    };
    InstalleServicesThread(CreateurStandard(options));
    auto ass = AsS::Cree();
    ass->OuvS();
    return ass;
  }

  // Writes a definition file NAME.DOM (Windows-1252 on disk, CR LF).
  void EcritDom(const std::string& nom, const std::string& texte_utf8) {
    std::ofstream(dossier_ / (nom + ".DOM"), std::ios::binary) << Cp1252(texte_utf8);
  }
  static std::string Cp1252(const std::string& utf8) {
    std::string octets;
    EXPECT_TRUE(text::EncodeCp1252(utf8, &octets).ok);
    return octets;
  }

  // The domain code found in Dom: its record number (0 when absent), its fields in *champs.
  int32_t Cherche(const std::string& code, std::string* nom = nullptr, std::string* fdd = nullptr) {
    EtatModule& etat = Etat();
    bool trouve = false;
    etat.BArbre().Recherche(etat.dom_arbre, code, etat.dom_fichier, trouve);
    if (!trouve) return 0;
    int32_t e = 0;
    etat.Donnee().NoEnrCourant(etat.dom_fichier, e);
    if (nom != nullptr) *nom = etat.dom[kNomDom];
    if (fdd != nullptr) *fdd = etat.dom[kFdd];
    return e;
  }
  // The raw text of record e of Dom.
  std::string Brut(int32_t e) {
    std::string texte;
    Etat().Donnee().LireFichier(Etat().dom_fichier, e, texte);
    return texte;
  }

  std::filesystem::path dossier_;
  std::shared_ptr<script::Session> session_;
  std::shared_ptr<std::vector<int16_t>> termines_;  // values given to Termine, in order
};

inline std::string Contenu(const std::filesystem::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

}  // namespace vesk::dom

#endif  // VESK_DOM_TEST_DOM_H_
