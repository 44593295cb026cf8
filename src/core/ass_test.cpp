#include "core/ass.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <thread>

#include "core/arithmetique.h"
#include "core/etat_module.h"
#include "srv/erreur_service.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/text/utf8.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

// A fresh data folder on disk, with the standard services installed for this thread.
class AsSTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device aleatoire;
    dossier_ = fs::temp_directory_path() / ("vesk-core-" + std::to_string(aleatoire()));
    fs::create_directories(dossier_);
    Installe();
  }
  void TearDown() override {
    OublieEtat();
    InstalleServicesThread(nullptr);
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }
  void Installe() {
    OptionsServices options;
    options.config.dossier = dossier_.string();
    options.config.synchro = Synchro::kOff;
    InstalleServicesThread(CreateurStandard(options));
  }
  // Closes everything, as a new run of the host would.
  void Relance() {
    OublieEtat();
    Installe();
  }
  std::string Brut(int16_t fichier, int32_t e) {
    std::string texte;
    Etat().Donnee().LireFichier(fichier, e, texte);
    return texte;
  }

  fs::path dossier_;
};

TEST_F(AsSTest, WritesAndReadsEveryFileAtItsPositions) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Session& etat = Etat();
  etat.fic.Affecte(kNomFic, "AB");
  etat.fic.Affecte(kDfe, "O");
  etat.fic.Affecte(kLongEnr, "120");
  int32_t e = 0;
  etat.BArbre().Insere(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, e);
  std::string brut = Brut(etat.fic_fichier, e);
  ASSERT_EQ(brut.size(), 32u);
  EXPECT_EQ(brut.substr(0, 12), "AB    O120  ");

  etat.dom.Affecte(kCoDom, "TVA");
  etat.dom.Affecte(kNomDom, "Taux de TVA à appliquer");
  etat.dom.Affecte(kFdd, "TVA");
  etat.BArbre().Insere(etat.dom_arbre, etat.dom[kCoDom], etat.dom_fichier, e);
  etat.dom.Efface();
  bool trouve = false;
  etat.BArbre().Recherche(etat.dom_arbre, "TVA", etat.dom_fichier, trouve);
  ASSERT_TRUE(trouve);
  EXPECT_EQ(etat.dom[kCoDom], "TVA" + std::string(17, ' '));
  EXPECT_EQ(text::CountChars(etat.dom[kNomDom]), 40u);
  EXPECT_EQ(etat.dom[kNomDom].substr(0, 24), "Taux de TVA à appliquer");
  EXPECT_EQ(etat.dom[kFdd], "TVA     ");
  EXPECT_EQ(text::CountChars(Brut(etat.dom_fichier, e)), 100u);
}

TEST_F(AsSTest, JoinedRecordsAreCompletedToTheirLength) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Session& etat = Etat();
  EXPECT_EQ(etat.fic.Joint().size(), 18u);
  EXPECT_EQ(etat.lfic.Joint().size(), 135u);
  EXPECT_EQ(etat.dom.Joint().size(), 68u);
  EXPECT_EQ(etat.ba.Joint().size(), 118u);
  EXPECT_EQ(etat.chain.Joint().size(), 32u);
  etat.ba.Affecte(kNomT, "CLI1");
  etat.ba.Affecte(kLCle, std::string(130, 'x'));
  EXPECT_EQ(etat.ba[kLCle], std::string(100, 'x'));
  int32_t e = 0;
  etat.BArbre().Insere(etat.ba_arbre, etat.ba[kNomT], etat.ba_fichier, e);
  std::string brut = Brut(etat.ba_fichier, e);
  EXPECT_EQ(brut.size(), 128u);
  EXPECT_EQ(brut.substr(18, 100), std::string(100, 'x'));
  EXPECT_EQ(brut.substr(118), std::string(10, ' '));
  int32_t e2 = 1;
  ass->EcrireChain(e2);
  EXPECT_EQ(Brut(etat.chain_fichier, 1), std::string(64, ' '));
}

TEST_F(AsSTest, LfictLinesAreReachedOnlyThroughTheChaining) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Session& etat = Etat();
  std::string liste;
  int32_t nombre = 0;
  etat.Donnee().ListeOuverts("B", liste, nombre);
  EXPECT_EQ(nombre, 4);
  EXPECT_EQ(liste.find("LFIC"), std::string::npos) << liste;

  etat.fic.Affecte(kNomFic, "CLIENT");
  int32_t e = 0;
  etat.BArbre().Insere(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, e);
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, "CLIENT", etat.fic_fichier, trouve);
  ASSERT_TRUE(trouve);
  for (const char* nom : {"CLNOM", "CLVIL"}) {
    etat.lfic.Affecte(kLf5, nom);
    int32_t ligne = 0;
    etat.Chainage().AjouteLigne(etat.lfic_fichier, ligne);
  }
  int32_t ligne = 0;
  etat.Chainage().PremLigne(etat.lfic_fichier, ligne);
  ASSERT_NE(ligne, 0);
  EXPECT_EQ(etat.lfic[kLf5].substr(0, 5), "CLNOM");
  etat.Chainage().SuivLigne(etat.lfic_fichier, ligne);
  EXPECT_EQ(etat.lfic[kLf5].substr(0, 5), "CLVIL");
  etat.Chainage().SuivLigne(etat.lfic_fichier, ligne);
  EXPECT_EQ(ligne, 0);
}

TEST_F(AsSTest, OpensANewAndAnExistingFolderAlike) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Etat().dom.Affecte(kCoDom, "PAYS");
  int32_t e = 0;
  Etat().BArbre().Insere(Etat().dom_arbre, Etat().dom[kCoDom], Etat().dom_fichier, e);
  for (const char* nom : {"FIC.DAT", "LFIC.DAT", "DOM.DAT", "BA.DAT", "CHAIN.DAT", "FIC.DAB",
                          "DOM.DAB", "BA.DAB", "CHAIN.DAB"}) {
    EXPECT_TRUE(fs::exists(dossier_ / nom)) << nom;
  }
  Relance();
  ass->OuvS();
  EXPECT_EQ(Etat().dom[kCoDom], std::string(20, ' '));
  bool trouve = false;
  Etat().BArbre().Recherche(Etat().dom_arbre, "PAYS", Etat().dom_fichier, trouve);
  EXPECT_TRUE(trouve);
}

// The five dictionary files, each with its handle and current fields.
struct FichierVu {
  std::string nom;
  int16_t fichier;
  Enregistrement* champs;
  int16_t longueur;
};

std::vector<FichierVu> Fichiers(Session& etat) {
  return {{"Fic", etat.fic_fichier, &etat.fic, kFic.longueur_enr},
          {"Lfic", etat.lfic_fichier, &etat.lfic, kLfic.longueur_enr},
          {"Dom", etat.dom_fichier, &etat.dom, kDom.longueur_enr},
          {"Ba", etat.ba_fichier, &etat.ba, kBa.longueur_enr},
          {"Chain", etat.chain_fichier, &etat.chain, kChain.longueur_enr}};
}

// Every record method is reached by its own name and moves its own file's record: file i holds
// record 1 made of letter 'A' + i; each Lire fills only its file's current fields, each Ecrire
// writes only its file's record 2.
TEST_F(AsSTest, AnswersItsRecordMethodsByName) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Session& etat = Etat();
  const std::vector<FichierVu> fichiers = Fichiers(etat);
  for (size_t i = 0; i < fichiers.size(); ++i) {
    const std::string lettre(static_cast<size_t>(fichiers[i].longueur), char('A' + i));
    etat.Donnee().EcrireFichier(fichiers[i].fichier, 1, lettre);
    etat.Donnee().EcrireFichier(fichiers[i].fichier, 2, std::string(lettre.size(), '#'));
  }
  for (size_t i = 0; i < fichiers.size(); ++i) {
    for (const FichierVu& f : fichiers) f.champs->Efface();
    int32_t e = 1;
    const int32_t lire = ass->IdMethode("Lire" + fichiers[i].nom);
    EXPECT_EQ(lire, 3 + 2 * static_cast<int32_t>(i));
    ass->Invoque(lire, e);
    for (size_t j = 0; j < fichiers.size(); ++j) {
      const std::string joint = fichiers[j].champs->Joint();
      const char attendu = j == i ? char('A' + j) : ' ';
      EXPECT_EQ(joint, std::string(joint.size(), attendu)) << fichiers[i].nom << " " << j;
    }
  }
  for (size_t i = 0; i < fichiers.size(); ++i) {
    for (size_t j = 0; j < fichiers.size(); ++j)
      fichiers[j].champs->Decoupe(std::string(256, char('a' + j)));
    int32_t e = 2;
    const int32_t ecrire = ass->IdMethode(text::UpperAscii("Ecrire" + fichiers[i].nom));
    EXPECT_EQ(ecrire, 4 + 2 * static_cast<int32_t>(i));
    ass->Invoque(ecrire, e);
    for (size_t j = 0; j < fichiers.size(); ++j) {
      // Character 7 lies in a field of every file, outside the chaining pointers, which the
      // data service keeps.
      const char attendu = j <= i ? char('a' + j) : '#';
      EXPECT_EQ(Brut(fichiers[j].fichier, 2).at(6), attendu) << i << " " << j;
    }
  }
}

TEST_F(AsSTest, AnUnknownMethodIsAClearError) {
  auto ass = AsS::Cree();
  ass->OuvS();
  EXPECT_EQ(ass->IdMethode("LireClient"), -1);
  EXPECT_EQ(ass->IdMethode("EntDom"), -1);  // a command, not called back by name
  EXPECT_EQ(ass->IdMethode("LireFic "), -1);
  for (int32_t id : {-1, 0, 2, 13, 22}) {
    int32_t e = 1;
    try {
      ass->Invoque(id, e);
      ADD_FAILURE() << id;
    } catch (const ErreurService& erreur) {
      EXPECT_NE(std::string(erreur.what()).find("méthode " + std::to_string(id) + " inconnue"),
                std::string::npos)
          << erreur.what();
    }
  }
  // A data file whose owner has no method for it is refused at open, naming the method.
  int16_t fichier = 0;
  try {
    Etat().Donnee().Donnee(false, "Client", 32, fichier, ass.get(), "", "", "", true);
    ADD_FAILURE() << "ouvert sans LireClient";
  } catch (const ErreurService& erreur) {
    EXPECT_NE(std::string(erreur.what()).find("LireClient"), std::string::npos) << erreur.what();
  }
  EXPECT_EQ(ass->InstanceAsS().get(), static_cast<IAsS*>(ass.get()));
  ass->ModifEntParam(42);
  ass->Util();
}

TEST_F(AsSTest, ThreadsKeepSeparateStates) {
  auto ass = AsS::Cree();
  ass->OuvS();
  Etat().dom.Affecte(kCoDom, "PRINCIPAL");
  std::string vu_ailleurs;
  std::thread autre([&] {
    vu_ailleurs = Etat().dom[kCoDom];
    OublieEtat();
  });
  autre.join();
  EXPECT_EQ(vu_ailleurs, std::string(20, ' '));
  EXPECT_EQ(Etat().dom[kCoDom].substr(0, 9), "PRINCIPAL");
}

// The state keeps no reference to its owner: the owner's destruction closes the thread's files
// (the last release of a COM object); another object of the thread going changes nothing.
TEST_F(AsSTest, DestroyingTheOwnerClosesTheThreadsFiles) {
  auto ass = AsS::Cree();
  ass->OuvS();
  EXPECT_EQ(ass.use_count(), 1);
  std::weak_ptr<AsS> faible = ass;
  auto autre = AsS::Cree();
  Etat().dom.Affecte(kCoDom, "GARDE");
  autre.reset();
  EXPECT_EQ(Etat().dom[kCoDom].substr(0, 5), "GARDE");
  EXPECT_NE(Etat().dom_fichier, 0);
  ass.reset();
  EXPECT_TRUE(faible.expired());
  EXPECT_EQ(Etat().dom_fichier, 0);  // a fresh state: the files were closed
  EXPECT_EQ(Etat().proprietaire, nullptr);
  // Closed indeed: the folder's files can be opened again by a new owner.
  auto nouveau = AsS::Cree();
  nouveau->OuvS();
  EXPECT_EQ(Etat().proprietaire, nouveau.get());
}

TEST_F(AsSTest, WithoutServicesTheFirstUseFailsClearly) {
  InstalleServicesThread(nullptr);
  OublieEtat();
  try {
    AsS::Cree()->OuvS();
    FAIL() << "OuvS sans services";
  } catch (const ErreurService& e) {
    EXPECT_NE(std::string(e.what()).find("services"), std::string::npos) << e.what();
  }
}

TEST(EnregistrementTest, CutsShortRecordsIntoPaddedFields) {
  Enregistrement dom(kDom.nom, kChampsDom);
  dom.Decoupe("CODE");
  EXPECT_EQ(dom[kCoDom], "CODE" + std::string(16, ' '));
  EXPECT_EQ(dom[kNomDom], std::string(40, ' '));
  dom.Decoupe(std::string(20, 'c') + "Désignation");
  EXPECT_EQ(dom[kNomDom].substr(0, 12), "Désignation");
  EXPECT_EQ(text::CountChars(dom[kNomDom]), 40u);
  EXPECT_EQ(dom.Position(kFdd), 61);
}

TEST(ArithmetiqueTest, OverflowsAndBoundsEndTheCommand) {
  EXPECT_EQ(Somme<int16_t>(32000, 767), 32767);
  EXPECT_THROW(Somme<int16_t>(32000, 768), ErreurService);
  EXPECT_THROW(Produit<int32_t>(65536, 65536), ErreurService);
  EXPECT_THROW(Convertit<int16_t>(40000), ErreurService);
  TableBornee<int> table(10);
  table[9] = 1;
  EXPECT_THROW(table[10], ErreurService);
  EXPECT_THROW(table[-1], ErreurService);
}

}  // namespace
}  // namespace vesk
