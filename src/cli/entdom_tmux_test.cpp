// End to end on a real terminal: `vesk entdom` runs in a tmux pane (keys sent with send-keys,
// the screen read back with capture-pane), then `vesk edtdom --output x.txt` lists what it wrote.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "srv/isam/data_file.h"
#include "srv/isam/env.h"
#include "srv/tui/testing/panneau_tmux.h"

namespace {

namespace fs = std::filesystem;

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

class EntDomTmux : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!vesk::testing::TmuxPresent()) GTEST_SKIP() << "tmux absent";
    panneau_ = std::make_unique<vesk::testing::PanneauTmux>("vesk_entdom");
    dossier_ = fs::temp_directory_path() / panneau_->Socket();
    fs::create_directories(dossier_ / "donnees");
  }
  void TearDown() override {
    panneau_.reset();
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }

  // Runs `vesk arguments` in the test folder inside a new tmux pane; its exit status goes to
  // the file "status".
  void LanceDansTmux(const std::string& arguments) {
    panneau_->Lance("cd " + dossier_.string() + " && " + VESK_BINAIRE + " " + arguments +
                        "; echo $? > status; sleep 60",
                    100, 30);
  }
  void Envoie(const std::string& touches) { panneau_->Envoie(touches); }
  void Tape(const std::string& texte) { panneau_->Tape(texte); }
  std::string Attend(const std::string& texte) { return panneau_->Attend(texte); }
  std::string Status() {
    for (int i = 0; i < 100; ++i) {
      std::string s = Contenu(dossier_ / "status");
      if (!s.empty()) return s;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return "pas de fin";
  }

  std::unique_ptr<vesk::testing::PanneauTmux> panneau_;
  fs::path dossier_;
};

TEST_F(EntDomTmux, EntersADomainOnTheTerminalThenListsIt) {
  LanceDansTmux("--data donnees entdom");
  Attend("ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial");
  Attend("Suppression : Confirmez par F6");
  Tape("TVA");
  Envoie("Enter");
  Attend("Création");
  Tape("Taux de TVA");
  Envoie("Enter");
  Tape("../T");  // refused on the bottom line, asked again
  Envoie("Enter");
  Attend("refusé : lettres (sans accent) et chiffres seulement");
  Envoie("BSpace BSpace BSpace BSpace");
  Tape("TVA");
  Envoie("Enter");
  Attend("Enregistrement Précédent TVA");
  Tape("TVA");
  Envoie("Enter");
  std::string ecran = Attend("MODIFICATION");
  EXPECT_NE(ecran.find("Taux de TVA"), std::string::npos) << ecran;
  Envoie("Up");  // back to the code: its entry starts empty
  Envoie("Up");  // back on the code: the screen is left
  EXPECT_EQ(Status(), "0\n");

  std::ofstream(dossier_ / "donnees" / "TVA.DOM") << "N Taux normal 20 %\r\n";
  std::string liste =
      vesk::testing::SortieCommande("cd " + dossier_.string() + " && " + VESK_BINAIRE +
                                    " --data donnees edtdom --output x.txt 2>&1");
  EXPECT_EQ(liste, "Édition écrite dans x.txt\n");
  std::string texte = Contenu(dossier_ / "x.txt");
  EXPECT_NE(texte.find("| TVA "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| Taux de TVA "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| N Taux normal 20 % "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| TVA.DOM "), std::string::npos) << texte;
}

TEST_F(EntDomTmux, TheMenuRunsTheChosenCommandAndComesBack) {
  LanceDansTmux("--data donnees");
  Attend("Vesk : Gestion des Fichiers et B-Arbre d'Application");
  Attend("edtdom");
  Envoie("Down Down Enter");
  Attend("Aucun domaine de définition : rien à éditer.");
  Envoie("Enter");
  Attend("Entrée Choisir");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0\n");
}

// `vesk entba` on the demo creates a secondary table on the terminal, its tree built from
// CLIENT's records once confirmed; the declarations of the file then open it with its computed
// key length.
TEST_F(EntDomTmux, EntersASecondaryTableThenFindsItInTheDeclarations) {
  ASSERT_EQ(
      std::system(
          ("cd " + dossier_.string() + " && " + VESK_BINAIRE + " demo demo >/dev/null").c_str()),
      0);
  LanceDansTmux("--data demo entba CLIENT");
  Attend("SAISIE DES TABLES B-ARBRES");
  Envoie("BSpace BSpace BSpace BSpace BSpace BSpace");
  Tape("CLI3");
  Envoie("Enter");
  Attend("Création");
  Envoie("Enter");  // NOMD: CLIENT
  Envoie("BSpace");
  Tape("S");
  Envoie("Enter");
  Attend("Secondaire");
  std::string effacement;
  for (int i = 0; i < 90; ++i) effacement += "BSpace ";
  Envoie(effacement);
  Tape("[[CLVIL,1,200]]");  // past the field: refused on the bottom line
  Envoie("Enter");
  Attend("CLVIL-200 Erreur");
  Envoie(effacement);
  Tape("[[CLVIL,_,_],[CLDCRE,_,_]]");
  Envoie("Enter");
  Attend("Données de CLIENT à convertir");  // CLIENT holds records: its trees are rebuilt
  Envoie("Enter");
  Attend("F6 Confirmer - autre touche : Annuler");
  Envoie("F6");
  Attend("CLI3 écrit, données converties");  // a new screen
  Envoie("Up");
  EXPECT_EQ(Status(), "0\n");
  std::string decl = vesk::testing::SortieCommande(
      "cd " + dossier_.string() + " && " + VESK_BINAIRE + " --data demo --eol lf decl CLIENT");
  EXPECT_NE(decl.find("Call B_Arbre(True,\"CLI3\",23,\"S\",CLI3T%)"), std::string::npos) << decl;
}

// `vesk entfic` on a real terminal: a file of three fields, then its primary table through F2;
// both are found in the dictionary's text.
TEST_F(EntDomTmux, CreatesAFileAndItsTableThenExportsThem) {
  LanceDansTmux("--data donnees entfic");
  Attend("ENTREE DE SPECIFICATIONS DE TYPE FICHIER");
  Tape("client");
  Envoie("Enter");
  Attend("Création");
  Envoie("BSpace");
  Tape("O");
  Envoie("Enter");
  Envoie("Enter");  // LONGENR: the length check proposes it
  const char* champs[][4] = {
      {"NOM", "A", "20", "CLNOM"}, {"VILLE", "A", "10", "CLVIL"}, {"CREE", "D", "", "CLDAT"}};
  for (const auto& c : champs) {
    Attend("Adjonction");
    Tape(c[0]);
    Envoie("Enter");
    Tape(c[1]);
    Envoie("Enter");
    if (*c[2] != 0) {
      Tape(c[2]);
      Envoie("Enter");
    }
    Attend("$ de Fin Implicite");
    Tape(c[3]);
    Envoie("Enter Enter Enter Enter");  // the proposed example, domain and modification
    Attend(std::string("Champs Précédent : ") + c[0]);
  }
  Envoie("Enter");  // an empty name on the new line ends the list
  Attend("Longueur Réelle 33");
  Envoie("Enter");
  Attend("Enregistrement Précédent CLIENT");
  Tape("CLIENT");
  Envoie("Enter");
  Attend("MODIFICATION");
  Envoie("F2");
  Attend("SAISIE DES TABLES B-ARBRES");
  Envoie("BSpace BSpace BSpace BSpace BSpace BSpace");
  Tape("CLI1");
  Envoie("Enter Enter Enter");  // NOMD, NATT as proposed
  Attend("[[CLNOM,_,_],[CLVIL,_,_],[CLDAT,_,_]]");
  Envoie("Enter");
  Attend("Suppression : Confirmez par F6");
  Envoie("Up");  // leaves the tables: back to the name
  Attend("ENTREE DE SPECIFICATIONS DE TYPE FICHIER");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0\n");
  const std::string texte = vesk::testing::SortieCommande("cd " + dossier_.string() + " && " +
                                                          VESK_BINAIRE + " --data donnees export");
  EXPECT_NE(texte.find("[fichiers.CLIENT]\nentreprise = true\nlongueur = 64\n"), std::string::npos)
      << texte;
  EXPECT_NE(texte.find("variable = \"CLDAT\""), std::string::npos) << texte;
  EXPECT_NE(texte.find("[barbres.CLI1]\nfichier = \"CLIENT\"\nnature = \"P\"\ncle = "
                       "\"[[CLNOM,_,_],[CLVIL,_,_],[CLDAT,_,_]]\""),
            std::string::npos)
      << texte;
}

}  // namespace

// `vesk genps` on a real terminal: the file named, the defaults accepted, the program in the
// viewer; `vesk lectba` then lists the B-tree chosen on the terminal.
TEST_F(EntDomTmux, GeneratesADataEntryProgramAndInspectsATree) {
  ASSERT_EQ(
      std::system(
          ("cd " + dossier_.string() + " && " + VESK_BINAIRE + " demo demo >/dev/null").c_str()),
      0);
  LanceDansTmux("--data demo genps");
  Attend("Générateur de Programme de Saisie");
  Attend("Fichier de Plus Haut Niveau (Entête Chaînage)");
  Tape("client");
  Envoie("Enter");
  Attend("EntCLIENT");
  Envoie("Enter");
  Attend("Entrée Du Fichier CLIENT");
  Envoie("Enter");
  Attend("CT");
  Envoie("Enter");
  Attend("Sub EntCLIENT(Code$)");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0\n");

  fs::remove(dossier_ / "status");
  LanceDansTmux("--data demo lectba --output arbre.txt");
  Attend("Choix du B-Arbre à Lire");
  Envoie("Down Enter");  // the second of the dictionary's trees: the domains
  EXPECT_EQ(Status(), "0\n");
  const std::string texte = Contenu(dossier_ / "arbre.txt");
  EXPECT_NE(texte.find("LECTURE DU B-ARBRE DOM"), std::string::npos) << texte;
  EXPECT_NE(texte.find("PAYS|REGLT|TVA"), std::string::npos) << texte;
}

namespace {

// A rebuild of 200,000 records (one in seven deleted) draws its bar on the terminal: the records
// scanned out of the total, the rate and the time left, redrawn in place and erased at the end;
// with its output piped it draws nothing.
TEST_F(EntDomTmux, ARebuildShowsItsProgressOnTheTerminalOnly) {
  std::ofstream(dossier_ / "grand.toml")
      << "version = 1\n[fichiers.GRAND]\nlongueur = 32\nrubriques = [{ nom = \"CODE\", type = "
         "\"A\", total = 8, variable = \"CODEA\" }]\n[barbres.GR1]\nfichier = \"GRAND\"\n"
         "nature = \"P\"\ncle = \"[[CODEA,_,_]]\"\n";
  const std::string vesk = "cd " + dossier_.string() + " && " + VESK_BINAIRE;
  ASSERT_EQ(std::system((vesk + " init grand >/dev/null").c_str()), 0);
  ASSERT_EQ(std::system((vesk + " --data grand import grand.toml >/dev/null").c_str()), 0);
  {
    std::unique_ptr<vesk::isam::DataFile> f;
    vesk::isam::DataFile::Options options;
    options.create = true;
    ASSERT_TRUE(vesk::isam::DataFile::Open(vesk::isam::Env::Default(),
                                           (dossier_ / "grand" / "GRAND.DAT").string(), 32, options,
                                           &f)
                    .ok());
    char texte[40];
    for (uint32_t no = 1; no <= 200000; ++no) {
      std::snprintf(texte, sizeof texte, "%08u%-24s", no, "");
      ASSERT_TRUE(f->Write(no, std::span<const char>(texte, 32)).ok());
      if (no % 7 == 0) {
        ASSERT_TRUE(f->MarkDeleted(no).ok());
      }
    }
    ASSERT_TRUE(f->Flush().ok());
  }
  panneau_->Lance("cd " + dossier_.string() + " && while [ ! -f go ]; do sleep 0.05; done; " +
                      VESK_BINAIRE + " --data grand reconsba GRAND; echo $? > status; sleep 60",
                  80, 24);
  panneau_->Enregistre((dossier_ / "trace.txt").string());
  std::ofstream(dossier_ / "go") << "";
  Attend("GRAND : 171429 enregistrements gardés, 28571 supprimés");
  EXPECT_EQ(Status(), "0\n");
  const std::string trace = Contenu(dossier_ / "trace.txt");
  EXPECT_NE(trace.find("\rCompactage GRAND [--------------"), std::string::npos) << trace;
  EXPECT_NE(trace.find("/200000  "), std::string::npos) << trace;
  EXPECT_NE(trace.find("/s  reste "), std::string::npos) << trace;
  EXPECT_NE(trace.find("\rB-Arbre GR1"), std::string::npos) << trace;
  // Erased before the summary: the summary's line starts clean.
  EXPECT_NE(trace.find("\rGRAND : 171429"), std::string::npos) << trace;
  const std::string ecran = panneau_->Capture();
  EXPECT_EQ(ecran.find('#'), std::string::npos) << ecran;

  ASSERT_EQ(
      std::system((vesk + " --data grand reconsba GRAND 2>erreurs.txt | cat >sortie.txt").c_str()),
      0);
  EXPECT_EQ(Contenu(dossier_ / "erreurs.txt"), "");
  EXPECT_NE(Contenu(dossier_ / "sortie.txt").find("GRAND : 171429 enregistrements gardés, 0 "),
            std::string::npos);
}

}  // namespace
