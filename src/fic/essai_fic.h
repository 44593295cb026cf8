// The fixture of the component's tests that need a dictionary: a fresh data folder with the
// standard services (screens answered from a script, listings as text into the folder), the
// dictionary open, and dictionaries written as text (vesk's own format) rather than by hand.
// Shared by the test programs of the folders above core; one thread.
#ifndef VESK_FIC_ESSAI_FIC_H_
#define VESK_FIC_ESSAI_FIC_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>

#include "core/ass.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk::fic {

class DossierEssai : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device aleatoire;
    dossier_ = std::filesystem::temp_directory_path() /
               ("vesk-essai-" + std::to_string(aleatoire()) + std::to_string(aleatoire()));
    std::filesystem::create_directories(dossier_);
  }
  void TearDown() override {
    ass_.reset();
    OublieEtat();
    InstalleServicesThread(nullptr);
    std::error_code ignore;
    std::filesystem::remove_all(dossier_, ignore);
  }

  // Installs the services, the screens answered by script, and opens the dictionary.
  AsS& Ouvre(const std::string& script = "") {
    ass_.reset();
    OublieEtat();
    session_ = script::Session::DepuisTexte(script, "essai");
    OptionsServices options;
    options.config.dossier = dossier_.string();
    options.config.synchro = Synchro::kOff;
    auto s = session_;
    options.interface.saisie = [s] { return std::make_unique<script::SrvSaisieImpl>(s); };
    options.interface.ecran = [s] { return std::make_unique<script::SrvEcranImpl>(s, "ESSAI"); };
    options.interface.choix = [s] { return std::make_unique<script::SrvChoixImpl>(s); };
    options.interface.message = [s] { return std::make_unique<script::SrvMessageImpl>(s); };
    std::string editions = (dossier_ / "EDITIONS").string();
    options.interface.edition = [editions] {
      ConfigEdition c;
      c.dossier = editions;
      c.sortie = "TXT";
      c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
      return std::make_unique<SrvEditionImpl>(std::move(c));
    };
    InstalleServicesThread(CreateurStandard(options));
    ass_ = AsS::Cree();
    ass_->OuvS();
    return *ass_;
  }

  // Replaces the open dictionary by the text.
  void Importe(const std::string& texte) { ImporteDictionnaire(texte, "essai.toml", false); }

  // Every file of the data folder and its bytes (the dictionary's state on disk).
  std::map<std::string, std::string> Fichiers() {
    std::map<std::string, std::string> fichiers;
    for (const auto& e : std::filesystem::directory_iterator(dossier_)) {
      if (!e.is_regular_file() || e.path().filename() == "VESK.LCK") continue;
      std::ifstream in(e.path(), std::ios::binary);
      std::stringstream tout;
      tout << in.rdbuf();
      fichiers[e.path().filename().string()] = tout.str();
    }
    return fichiers;
  }

  std::filesystem::path dossier_;
  std::shared_ptr<script::Session> session_;
  std::shared_ptr<AsS> ass_;
};

// Expects statement to throw ErreurService whose text holds part.
#define EXPECT_REFUS(statement, part)                                             \
  do {                                                                            \
    try {                                                                         \
      statement;                                                                  \
      ADD_FAILURE() << "pas d'erreur, « " << (part) << " » attendu";              \
    } catch (const ::vesk::ErreurService& e) {                                    \
      EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what(); \
    }                                                                             \
  } while (0)

}  // namespace vesk::fic

#endif  // VESK_FIC_ESSAI_FIC_H_
