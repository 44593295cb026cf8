// The fixture of the component's tests: a fresh data folder with the standard services, the
// screens answered from a script (script::Session), listings written as text into the folder,
// and the dictionary open. A test fixture may replace any service of the screens or listings
// (to note or alter calls) by overriding Interface. Shared by the test programs of the folders
// of the component; one thread.
#ifndef VESK_CORE_TESTING_COMPOSANT_H_
#define VESK_CORE_TESTING_COMPOSANT_H_

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
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk {

// The bytes of a file ("" when it cannot be read).
inline std::string Contenu(const std::filesystem::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

class ComposantEssai : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device aleatoire;
    dossier_ = std::filesystem::temp_directory_path() /
               ("vesk-essai-" + std::to_string(aleatoire()) + std::to_string(aleatoire()));
    std::filesystem::create_directories(dossier_);
  }
  void TearDown() override {
    OublieEtat();
    InstalleServicesThread(nullptr);
    std::error_code ignore;
    std::filesystem::remove_all(dossier_, ignore);
  }

  // The listing service of the tests: text into the folder's EDITIONS/, a fixed clock, the
  // component's cancel check.
  static ConfigEdition Editions(const std::string& dossier) {
    ConfigEdition c;
    c.dossier = dossier;
    c.sortie = "TXT";
    c.horloge = [] { return platform::DateHeure{2026, 3, 15, 14, 30, 5}; };
    c.annule = EditionAnnuleeDuThread;
    c.visionne = [](std::string_view titre, std::string_view texte) {
      Etat().Message().Visionne(texte, titre);
    };
    return c;
  }
  // The screens and listing services, all scripted from session.
  virtual ServicesInterface Interface(std::shared_ptr<script::Session> s) {
    ServicesInterface i;
    i.saisie = [s] { return std::make_unique<script::SrvSaisieScript>(s); };
    i.ecran = [s] { return std::make_unique<script::SrvEcranScript>(s, "ESSAI"); };
    i.choix = [s] { return std::make_unique<script::SrvChoixScript>(s); };
    i.message = [s] { return std::make_unique<script::SrvMessageScript>(s); };
    i.edition = [d = (dossier_ / "EDITIONS").string()] {
      return std::make_unique<SrvEditionImpl>(Editions(d));
    };
    return i;
  }

  // Installs the services with the screens answered by script, and opens the dictionary.
  std::shared_ptr<AsS> Ouvre(const std::string& script = "") {
    OublieEtat();
    session_ = script::Session::DepuisTexte(script, "essai");
    OptionsServices options;
    options.config.dossier = dossier_.string();
    options.config.synchro = Synchro::kOff;
    options.env = env_;
    options.interface = Interface(session_);
    InstalleServicesThread(CreateurStandard(options));
    auto ass = AsS::Cree();
    ass->OuvS();
    ouvert_ = ass;
    return ass;
  }

  // Every file of the data folder and its bytes (the dictionary's state on disk). The lock file
  // and the journal are left out: the files hold every commit, and a checkpoint may empty the
  // journal at any close.
  std::map<std::string, std::string> Fichiers() const {
    std::map<std::string, std::string> fichiers;
    for (const auto& e : std::filesystem::directory_iterator(dossier_)) {
      const std::string nom = e.path().filename().string();
      if (!e.is_regular_file() || nom == "VESK.LCK" || nom == "VESK.JNL") continue;
      fichiers[e.path().filename().string()] = Contenu(e.path());
    }
    return fichiers;
  }

  std::filesystem::path dossier_;
  // The files of the data folder: null, on disk; a test that never looks at the disk may give
  // an in-memory Env before Ouvre.
  isam::Env* env_ = nullptr;
  std::shared_ptr<script::Session> session_;
  // The object that opened the dictionary, kept: destroying it would close the dictionary.
  std::shared_ptr<AsS> ouvert_;
};

}  // namespace vesk

#endif  // VESK_CORE_ESSAI_COMPOSANT_H_
