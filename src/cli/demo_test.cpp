#include "cli/demo.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "cli/verification.h"
#include "core/ass.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "srv/erreur_service.h"
#include "srv/isam/verify.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk::cli {
namespace {

namespace fs = std::filesystem;

class DemoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device aleatoire;
    dossier_ = (fs::temp_directory_path() / ("vesk-demo-" + std::to_string(aleatoire()))).string();
    fs::create_directories(dossier_);
  }
  void TearDown() override {
    OublieEtat();
    InstalleServicesThread(nullptr);
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }
  std::shared_ptr<AsS> Ouvre(const std::string& entreprise = "") {
    OublieEtat();
    OptionsServices options;
    options.config.dossier = dossier_;
    options.config.entreprise = entreprise;
    options.config.synchro = Synchro::kOff;
    InstalleServicesThread(CreateurStandard(options));
    auto ass = AsS::Cree();
    ass->OuvS();
    return ass;
  }
  // The keys of a dictionary B-tree, in key order.
  std::vector<std::string> Cles(int16_t arbre, int16_t fichier) {
    std::vector<std::string> cles;
    bool trouve = false;
    std::string cle;
    for (Etat().BArbre().PremCle(arbre, fichier, trouve, cle); trouve;
         Etat().BArbre().SuivCle(arbre, fichier, trouve, cle)) {
      cles.push_back(cle.substr(0, cle.find(' ')));
    }
    return cles;
  }

  std::string dossier_;
};

TEST_F(DemoTest, FillsASoundDictionaryOnceEvenWhenRunTwice) {
  for (int fois = 0; fois < 2; ++fois) {
    auto ass = Ouvre();
    RemplitDemo(Etat(), dossier_);
  }
  auto ass = Ouvre();
  Session& etat = Etat();
  EXPECT_EQ(Cles(etat.dom_arbre, etat.dom_fichier),
            (std::vector<std::string>{"PAYS", "REGLT", "TVA"}));
  EXPECT_EQ(Cles(etat.fic_arbre, etat.fic_fichier),
            (std::vector<std::string>{"CLIENT", "FACLIG", "FACTUR"}));
  EXPECT_EQ(Cles(etat.ba_arbre, etat.ba_fichier),
            (std::vector<std::string>{"CLI1", "CLI2", "FAC1"}));

  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, "CLIENT", etat.fic_fichier, trouve);
  ASSERT_TRUE(trouve);
  EXPECT_EQ(etat.fic[kLongEnr], "128  ");
  std::vector<std::string> variables;
  int16_t somme = 0;
  int32_t ligne = 0;
  for (etat.Chainage().PremLigne(etat.lfic_fichier, ligne); ligne != 0;
       etat.Chainage().SuivLigne(etat.lfic_fichier, ligne)) {
    variables.push_back(etat.lfic[kLf5].substr(0, etat.lfic[kLf5].find(' ')));
    int16_t interne = 0;
    etat.Texte().DecodeTaille(etat.lfic[kLongueurInterne], interne);
    somme += interne;
  }
  EXPECT_EQ(variables, (std::vector<std::string>{"CLCODE", "CLNOM", "CLVIL", "CLPAYS", "CLREG",
                                                 "CLTVA", "CLENC", "CLDCRE"}));
  EXPECT_EQ(somme, 71);
  OublieEtat();

  isam::FolderReport rapport;
  const vesk::cli::ControlesDictionnaire controles =
      vesk::cli::ControlesDuDossier(dossier_, &rapport);
  ASSERT_TRUE(isam::VerifyFolder(isam::Env::Default(), dossier_, controles.chainages, &rapport,
                                 controles.cles)
                  .ok());
  EXPECT_TRUE(rapport.problems.empty()) << rapport.problems.front();
  EXPECT_TRUE(fs::exists(fs::path(dossier_) / "TVA.DOM"));
}

// A run whose batch failed leaves the demo's files created but empty: the next run fills them,
// and the one after that adds nothing.
TEST_F(DemoTest, EmptyDataFilesAreFilledOnce) {
  for (int fois = 0; fois < 3; ++fois) {
    auto ass = Ouvre("01");
    RemplitDemo(Etat(), dossier_);
    if (fois == 0) {
      for (const char* nom : {"CLIENT", "FACTUR", "FACLIG"}) {
        int16_t fichier = 0;
        Etat().Donnee().Donnee(true, nom, nom[0] == 'C' ? 128 : 32, fichier, nullptr, "", "", "",
                               true);
      }
      continue;
    }
    RemplitDonneesDemo(Etat());
    ass = Ouvre("01");
    int16_t arbre = 0, fichier = 0;
    Etat().Donnee().Donnee(true, "CLIENT", 128, fichier, nullptr, "", "", "", false);
    Etat().BArbre().B_Arbre(true, "CLI1", 6, "P", arbre, "CLIENT", false);
    int32_t nombre = 0;
    std::string liste;
    Etat().BArbre().ListeEnr(arbre, nombre, liste, "");
    EXPECT_EQ(nombre, 300 - 300 / 17) << "passage " << fois;
  }
}

// The demo never replaces a dictionary of the user's.
TEST_F(DemoTest, RefusesAFolderWithAnotherDictionary) {
  auto ass = Ouvre();
  fic::ImporteDictionnaire(
      Etat(),
      "version = 1\n[fichiers.PAIE]\nrubriques = [{ nom = \"N\", type = \"A\", total = 8, "
      "variable = \"PNOM\" }]\n",
      "paie.toml", false);
  try {
    RemplitDemo(Etat(), dossier_);
    FAIL() << "la démonstration a remplacé le dictionnaire";
  } catch (const ErreurService& e) {
    EXPECT_NE(std::string(e.what()).find("un autre dictionnaire"), std::string::npos) << e.what();
  }
  EXPECT_NE(fic::ExporteDictionnaire(Etat()).find("[fichiers.PAIE]"), std::string::npos);
}

}  // namespace
}  // namespace vesk::cli
