#include "gencode/declaration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "core/etat_module.h"
#include "gencode/etat_gencode.h"
#include "gencode/gen_pe.h"
#include "gencode/gen_ps.h"
#include "gencode/testing/generateurs.h"
#include "gencode/testing/structure_programme.h"
#include "srv/erreur_service.h"

namespace vesk {
namespace {

class DeclarationTest : public DictionnaireEssai {
 protected:
  // The worked example: CLIENT, company-dependent, 120 characters, primary B-tree CLI1 on a
  // 12-character key, fields CLNOM (30) and CLVIL (20).
  void Client() {
    AjouteFichier("CLIENT", "O", "120");
    AjouteRubrique("CLIENT", "CLNOM", 30);
    AjouteRubrique("CLIENT", "CLVIL", 20);
    AjouteBArbre("CLI1", "CLIENT", "P", "12");
  }
  std::vector<std::string> Genere(std::string_view nom) {
    DeclarationFichier(Etat(), nom);
    const std::string& texte = EtatGen().Texte();
    EXPECT_EQ(DecritDefauts(DefautsStructure(texte)), "");
    return Lignes(texte);
  }
  static bool Contient(const std::vector<std::string>& lignes, std::string_view morceau) {
    return std::any_of(lignes.begin(), lignes.end(),
                       [&](const std::string& l) { return l.find(morceau) != std::string::npos; });
  }
  // The line that, without its leading spaces, is exactly texte; "" when none.
  static std::string Ligne(const std::vector<std::string>& lignes, std::string_view texte) {
    for (const std::string& l : lignes) {
      if (l.size() >= texte.size() && l.ends_with(texte) &&
          l.find_first_not_of(' ') == l.size() - texte.size()) {
        return l;
      }
    }
    return "";
  }
};

std::string SansIndentation(const std::string& ligne) {
  const size_t debut = ligne.find_first_not_of(' ');
  return debut == std::string::npos ? "" : ligne.substr(debut);
}

std::string LitFichier(const std::string& chemin) {
  std::ifstream f(chemin, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

// The golden file holds the generated lines, one per line (LF), the leading empty one included.
TEST_F(DeclarationTest, WorkedExampleMatchesTheGoldenFile) {
  Client();
  const std::vector<std::string> lignes = Genere("CLIENT");
  std::string texte;
  for (const std::string& l : lignes) texte += l + "\n";
  const char* source = std::getenv("VESK_SOURCE_DIR");
  ASSERT_NE(source, nullptr) << "VESK_SOURCE_DIR: the source folder (set by ctest)";
  const std::string chemin = std::string(source) + "/src/gencode/testdata/declaration_client.txt";
  if (std::getenv("VESK_REGOLDEN") != nullptr) std::ofstream(chemin, std::ios::binary) << texte;
  std::vector<std::string> golden;
  std::stringstream flux(LitFichier(chemin));
  for (std::string l; std::getline(flux, l);) golden.push_back(l);
  ASSERT_EQ(lignes.size(), golden.size()) << texte;
  for (size_t i = 0; i < lignes.size(); ++i) EXPECT_EQ(lignes[i], golden[i]) << "ligne " << i;
  EXPECT_TRUE(EtatGen().Anomalies().empty());
  EXPECT_TRUE(Rapports().empty());
}

TEST_F(DeclarationTest, WorkedExampleLines) {
  Client();
  const std::vector<std::string> l = Genere("CLIENT");
  for (std::string_view attendu :
       {"Sub OuvGESCOM", "Call Donnee(True,\"CLIENT\",120,CLIENTD%,DllApl)", "CLNOM = Space(30)",
        "CLVIL = Space(20)", "Rem Ouverture du B-Arbre CLI1.dab",
        "Call B_Arbre(True,\"CLI1\",12,\"P\",CLI1T%)", "Sub LireCLIENT(E as Long)",
        "Call LireFichier(CLIENTD%,E,T)", "CLNOM = Mid(T,1,30)", "CLVIL = Mid(T,31,20)",
        "Sub EcrireCLIENT(E as Long)", "T = CLNOM + CLVIL", "Call EcrireFichier(CLIENTD%,E,T)",
        "Public CLI1T As Integer, CLIENTD As Integer, CLNOM As String, CLVIL As String"}) {
    EXPECT_NE(Ligne(l, attendu), "") << attendu;
  }
  EXPECT_FALSE(Contient(l, "Chainage"));
}

TEST_F(DeclarationTest, FileWithoutBTreeNorFieldNorChaining) {
  AjouteFichier("VIDE", "N", "10");
  AjouteFichier("AUTRE", "O", "20");
  AjouteRubrique("AUTRE", "AUNOM", 20);
  AjouteBArbre("AUT1", "AUTRE", "P", "6");
  const std::vector<std::string> l = Genere("VIDE");
  EXPECT_EQ(Ligne(l, "Call Donnee(False,\"VIDE\",10,VIDED%,DllApl)"),
            std::string(20, ' ') + "Call Donnee(False,\"VIDE\",10,VIDED%,DllApl)");
  EXPECT_FALSE(Contient(l, "B_Arbre"));
  EXPECT_FALSE(Contient(l, "Ouverture du B-Arbre"));
  EXPECT_FALSE(Contient(l, "= Mid("));
  EXPECT_FALSE(Contient(l, "= Space("));
  EXPECT_FALSE(Contient(l, "Chainage"));
  EXPECT_NE(Ligne(l, "T = "), "");
  EXPECT_NE(Ligne(l, "Public VIDED As Integer"), "");
  EXPECT_TRUE(Rapports().empty());
}

TEST_F(DeclarationTest, DependenceOtherThanOGivesFalse) {
  const std::vector<std::pair<std::string, std::string>> fichiers = {
      {"FA", "N"}, {"FB", " "}, {"FC", "o"}, {"FD", "O"}};
  for (const auto& [nom, dfe] : fichiers) {
    AjouteFichier(nom, dfe, "8");
    AjouteBArbre(nom + "1", nom, "S", "4");
    const std::string c = dfe == "O" ? "True" : "False";
    const std::vector<std::string> l = Genere(nom);
    EXPECT_NE(Ligne(l, "Call Donnee(" + c + ",\"" + nom + "\",8," + nom + "D%,DllApl)"), "") << dfe;
    EXPECT_NE(Ligne(l, "Call B_Arbre(" + c + ",\"" + nom + "1\",4,\"S\"," + nom + "1T%)"), "")
        << dfe;
  }
}

// B-trees in key order, only those of the file; fields read one after the other.
TEST_F(DeclarationTest, BTreesOfTheFileInKeyOrderAndFieldPositions) {
  AjouteFichier("ART", "", "35");
  AjouteFichier("ARTX", "", "35");
  AjouteRubrique("ART", "ARCODE", 6);
  AjouteRubrique("ART", "ARPRIX", 8);
  AjouteRubrique("ART", "ARQTE", 2);
  AjouteBArbre("ART2", "ART", "S", "20");
  AjouteBArbre("ART1", "ART", "P", "6");
  AjouteBArbre("ARTX1", "ARTX", "P", "6");
  const std::vector<std::string> l = Genere("ART");
  EXPECT_NE(Ligne(l,
                  "Public ART1T As Integer, ART2T As Integer, ARTD As Integer, "
                  "ARCODE As String, ARPRIX As String, ARQTE As String"),
            "");
  EXPECT_FALSE(Contient(l, "ARTX1"));
  for (std::string_view attendu :
       {"ARCODE = Mid(T,1,6)", "ARPRIX = Mid(T,7,8)", "ARQTE = Mid(T,15,2)",
        "T = ARCODE + ARPRIX + ARQTE", "ARPRIX = Space(8)"}) {
    EXPECT_NE(Ligne(l, attendu), "") << attendu;
  }
  const auto b1 = std::find_if(l.begin(), l.end(), [](auto& x) { return x.ends_with("ART1T%)"); });
  const auto b2 = std::find_if(l.begin(), l.end(), [](auto& x) { return x.ends_with("ART2T%)"); });
  EXPECT_LT(b1, b2);
}

// CDE is the line file of CLIENT and the header of LCDE: both chainings, one heading.
TEST_F(DeclarationTest, HeaderOfOneChainingAndLineFileOfAnother) {
  Client();
  AjouteFichier("CDE", "O", "64");
  AjouteFichier("LCDE", "O", "200");
  AjouteFichier("XX", "", "10");
  AjouteChainage("LCDE", "1", "4", "CDE", "30", "33");
  AjouteChainage("CDE", "1", "4", "CLIENT", "51", "54");
  AjouteChainage("XX", "1", "4", "CLIENT", "57", "60");
  const std::vector<std::string> l = Genere("CDE");
  const auto debut = std::find_if(l.begin(), l.end(), [](const std::string& x) {
    return x.ends_with("Rem Chainage des Fichiers GESCOM");
  });
  ASSERT_NE(debut, l.end());
  ASSERT_GT(l.end() - debut, 6);
  EXPECT_EQ(*(debut - 1), "");
  const std::vector<std::string> attendu = {
      "Rem Chainage des Fichiers GESCOM",
      "Rem Chainage de CDE.dat - Entête : CLIENT.dat",
      "Call Chainage(CP + \"CLIENT\",120,51,54,CP + \"CDE\",64,1,4)",
      "",
      "Rem Chainage de LCDE.dat - Entête : CDE.dat",
      "Call Chainage(CP + \"CDE\",64,30,33,CP + \"LCDE\",200,1,4)",
      "End Sub"};
  for (size_t i = 0; i < attendu.size(); ++i) {
    EXPECT_EQ(SansIndentation(debut[static_cast<long>(i)]), attendu[i]);
  }
  EXPECT_FALSE(Contient(l, "XX"));
  EXPECT_TRUE(Rapports().empty());
}

TEST_F(DeclarationTest, ChainingWithUnknownFilesIsStillWritten) {
  AjouteFichier("CDE", "", "64");
  AjouteChainage("CDE", "1", "4", "ENTETE", "13", "16");
  AjouteChainage("LIGNE", "1", "4", "CDE", "20", "23");
  const std::vector<std::string> l = Genere("CDE");
  const Signalements attendu = {
      {"@ ENTETE@ Fichier Entête de Chainage Inconnu ", "DéclarationFichier"},
      {"@ LIGNE@ Fichier Ligne de Chainage Inconnu ", "DéclarationFichier"}};
  EXPECT_EQ(Rapports(), attendu);
  ASSERT_EQ(EtatGen().Anomalies().size(), 2u);
  EXPECT_EQ(EtatGen().Anomalies()[1].procedure, "DéclarationFichier");
  // The lengths are those of the record then current.
  EXPECT_NE(Ligne(l, "Call Chainage(CP + \"ENTETE\",64,13,16,CP + \"CDE\",64,1,4)"), "");
  EXPECT_NE(Ligne(l, "Call Chainage(CP + \"CDE\",64,20,23,CP + \"LIGNE\",64,1,4)"), "");
}

// A file missing from Fic: each writer reports under its own name and goes on.
TEST_F(DeclarationTest, MissingFileIsReportedByEachWriterAndTheGenerationGoesOn) {
  const std::vector<std::string> l = Genere("ABSENT");
  const Signalements attendu = {{"@ ABSENT@ Inconnu ", "DéclarationOuvFich_BArbre"},
                                {"@ ABSENT@ Inconnu ", "DéclarationLectEcrFich"},
                                {"@ ABSENT@ Inconnu ", "DéclarationVarFich"},
                                {"@ ABSENT@ Inconnu ", "DéclarationFichier"}};
  EXPECT_EQ(Rapports(), attendu);
  EXPECT_EQ(EtatGen().Anomalies().size(), 4u);
  EXPECT_NE(Ligne(l, "Call Donnee(False,\"ABSENT\",,ABSENTD%,DllApl)"), "");
  EXPECT_NE(Ligne(l, "Public ABSENTD As Integer"), "");
}

TEST_F(DeclarationTest, PositionsPast32767AreAnOverflow) {
  AjouteFichier("GROS", "", "40000");
  AjouteRubrique("GROS", "A", 20000);
  AjouteRubrique("GROS", "B", 20000);
  EXPECT_THROW(DeclarationFichier(Etat(), "GROS"), ErreurService);
  const std::vector<std::string> l = Lignes(EtatGen().Texte());
  EXPECT_NE(Ligne(l, "B = Mid(T,20001,20000)"), "");
  EXPECT_FALSE(Contient(l, "Sub EcrireGROS"));
}

TEST_F(DeclarationTest, UnreadableRecordLengthOfAChainedFileIsAnError) {
  AjouteFichier("CDE", "", "6x");
  AjouteChainage("CDE", "1", "4", "CDE", "13", "16");
  try {
    DeclarationFichier(Etat(), "CDE");
    FAIL();
  } catch (const ErreurService& e) {
    EXPECT_NE(e.Message().find("« 6x »"), std::string::npos) << e.Message();
  }
}

// A dictionary stored before reserved names were refused: each generator reports the field's
// variable under its own name and still writes its text.
TEST_F(DeclarationTest, AStoredReservedNameIsReportedByEveryGenerator) {
  Client();
  AjouteRubrique("CLIENT", "Code", 4);
  AjouteRubrique("CLIENT", "tr", 4);
  DeclarationFichier(Etat(), "CLIENT");
  GenereSaisie(Etat(), {"CLIENT", "", "", ""}, nullptr);
  GenereEdition(Etat(), {"CLIENT", "", true});
  const std::string code = "@ Code@ Nom Réservé : paramètre Code$ du programme de saisie";
  const std::string x = "@ tr@ Nom Réservé : variable locale TR du programme de saisie";
  const Signalements attendu = {{code, "DéclarationFichier"},
                                {x, "DéclarationFichier"},
                                {code, "GenPs"},
                                {x, "GenPs"},
                                {code, "GenPe"},
                                {x, "GenPe"}};
  EXPECT_EQ(Rapports(), attendu);
  EXPECT_EQ(EtatGen().Anomalies().size(), 2u);  // those of the last generation
  EXPECT_NE(EtatGen().Texte().find("Call DecodeVarCsv(E$ ,Code$, "), std::string::npos);
  // A demand made without the dialog is checked as the dialog checks it.
  GenereSaisie(Etat(), {"CLIENT", "Sai", "", "Mod"}, nullptr);
  const std::vector<AnomalieGeneree>& a = EtatGen().Anomalies();
  ASSERT_EQ(a.size(), 4u);
  EXPECT_EQ(a[2].message,
            "@ CLIENT@ Nom de procédure « Sai » refusé : procédure des programmes générés");
  EXPECT_EQ(a[3].message,
            "@ CLIENT@ Suffixe « Mod » refusé : étiquette EnrMod = variable locale EnrMod& du "
            "programme de saisie");
}

TEST_F(DeclarationTest, SecondGenerationGivesTheSameText) {
  Client();
  DeclarationFichier(Etat(), "CLIENT");
  const std::string premier = EtatGen().Texte();
  DeclarationFichier(Etat(), "CLIENT");
  EXPECT_EQ(EtatGen().Texte(), premier);
  EXPECT_EQ(EtatGen().Generations(), 2);
}

}  // namespace
}  // namespace vesk
