// The data-entry program generator: two files against reference texts, the edge cases of its
// screens (35 and 36 fields, a key that fills the initial screen), of its fields (dates, "S" and
// "A" fields), the texts kept as written, and the dialog driven by scripts.
#include "gencode/gen_ps.h"

#include "fic/testing/dictionnaire.h"
#include "gencode/etat_gencode.h"
#include "gencode/programme_saisie.h"
#include "gencode/testing/generateurs.h"
#include "gencode/testing/structure_programme.h"
#include "srv/text/utf8.h"
#include "srv/tui/descripteur.h"

namespace vesk {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[domaines.FAM]
nom = "Familles d'articles"
fichier = "FAM"
definition = ["OUT Outillage"]
[fichiers.ARTIC]
longueur = 128
rubriques = [
  { nom = "FAMILLE", type = "A", total = 3, variable = "ARFAM", domaine = "FAM" },
  { nom = "CODE ARTICLE", type = "A", total = 8, variable = "ARCODE" },
  { nom = "STOCK", type = "M", total = 4, variable = "ARSTK" },
  { nom = "PRIX HT", type = "M", total = 9, decimales = 2, variable = "ARPRIX" },
  { nom = "CHIFFRE ANNUEL", type = "M", total = 12, decimales = 2, variable = "ARCA", modification = "A" },
  { nom = "POIDS", type = "N", total = 6, decimales = 3, variable = "ARPDS" },
  { nom = "CREATION", type = "D", variable = "ARDCRE" },
  { nom = "SUIVANT", type = "E", variable = "ARSUIV", modification = "S" },
  { nom = "ACTIF", type = "B", variable = "ARACT" },
  { nom = "TAILLES", type = "L", total = 20, variable = "ARTAIL" },
]
[fichiers.PAYS]
longueur = 32
rubriques = [
  { nom = "CODE PAYS", type = "A", total = 2, variable = "PACODE" },
  { nom = "NOM DU PAYS", type = "A", total = 20, variable = "PANOM" },
]
[barbres.ART1]
fichier = "ARTIC"
nature = "P"
cle = "[[ARFAM,_,_],[ARCODE,1,6],[ARFAM,1,1]]"
[barbres.ART2]
fichier = "ARTIC"
nature = "S"
cle = "[[ARPRIX,_,_],[ARCODE,_,_]]"
[barbres.ART3]
fichier = "ARTIC"
nature = "S"
cle = "[[ARDCRE,_,_]]"
[barbres.PAY1]
fichier = "PAYS"
nature = "P"
cle = "[[PACODE,_,_]]"
)";

// A file of n fields of 4 characters, the first k of them its primary key.
std::string Large(int n, int k) {
  std::string t = "version = 1\n[fichiers.LARGE]\nlongueur = 256\nrubriques = [\n";
  for (int i = 1; i <= n; ++i) {
    t += "  { nom = \"R" + std::to_string(i) + "\", type = \"A\", total = 4, variable = \"W" +
         std::to_string(i) + "\" },\n";
  }
  t += "]\n[barbres.LARGE1]\nfichier = \"LARGE\"\nnature = \"P\"\ncle = \"[";
  for (int i = 1; i <= k; ++i)
    t += std::string(i > 1 ? "," : "") + "[W" + std::to_string(i) + ",1,1]";
  return t + "]\"\n";
}

class GenPSTest : public fic::EditionEssai {
 protected:
  void SetUp() override {
    EditionEssai::SetUp();
    OublieEtatGen();
    Ouvre();
  }
  std::string Genere(const std::string& fichier, bool* trop = nullptr) {
    GenereSaisie(Etat(), {fichier, "", "", ""}, [trop] {
      if (trop != nullptr) *trop = true;
    });
    const std::string texte = EtatGen().Texte();
    EXPECT_EQ(DecritDefauts(DefautsStructure(texte)), "");
    EXPECT_TRUE(EtatGen().Anomalies().empty());
    return texte;
  }
  static bool Contient(const std::string& texte, const std::string& part) {
    return texte.find(part) != std::string::npos;
  }
  static int Compte(const std::string& texte, const std::string& part) {
    int n = 0;
    for (size_t p = texte.find(part); p != std::string::npos; p = texte.find(part, p + 1)) ++n;
    return n;
  }
};

TEST_F(GenPSTest, TwoFilesAsTheyAreGenerated) {
  Importe(kDictionnaire);
  const std::string pays = Genere("PAYS");
  Golden(pays, "genps-PAYS.txt", "src/gencode/testdata");
  // All defaults; one screen; no secondary table.
  for (const char* part : {"Sub EntPAYS(Code$)", "Entrée Du Fichier PAYS", "DebSaisPS:",
                           "MultEcr=Faux", "Rem En Entrée : Code$ CODE PAYS A Proposer"}) {
    EXPECT_TRUE(Contient(pays, part)) << part;
  }
  for (const char* absent : {"InsS(", "SupS(", "DesEcrPS2:", "F2 Ecran Suivant"}) {
    EXPECT_FALSE(Contient(pays, absent)) << absent;
  }
  EXPECT_EQ(EtatGen().Nce(), "PAYS");

  const std::string artic = Genere("ARTIC");
  Golden(artic, "genps-ARTIC.txt", "src/gencode/testdata");
  for (const char* part :
       {"Rem En Entrée : Code$ Familles d'articles A Proposer", "xARSTK$=MKI(0)", "xARPRIX$=MKS(0)",
        "xARCA$=MKD(0)", "xARPDS$=\"0\"", "Call NUL(xARSUIV$)", "xARACT$=\"O\"", "xARTAIL$=\"[]\"",
        "Cle$=ARFAM$+MID$(ARCODE$,1,6)+MID$(ARFAM$,1,1)", "Call InsS(ART2T%,Cle$,DERNENR&)",
        "Call SupS(ART3T%,Cle$,EnrMod&)", "Call FormNum(CVI(ARSTK$),3,0, Vrai, V3$)",
        "Call FormNum(CVS(ARPRIX$),5,2, Vrai, V4$)",
        "Call MesBasEcran(\"B\",\"Enregistrement Précédent \"+xARFAM$+xARCODE$)",
        "Call Mesad(\"ARCODE\",C$,X$)", "Goto ARSTK\r\n"}) {
    EXPECT_TRUE(Contient(artic, part)) << part;
  }
}

TEST_F(GenPSTest, TheFieldsEnteredShownComputedAndPacked) {
  Importe(kDictionnaire);
  const std::string t = Genere("ARTIC");
  // A date packed and unpacked by the date routines, never LSET.
  EXPECT_TRUE(Contient(t, "Call CompDate(xARDCRE$,ARDCRE$)"));
  EXPECT_TRUE(Contient(t, "Call DecompDate(ARDCRE$,xARDCRE$,(rien))"));
  EXPECT_FALSE(Contient(t, "LSET ARDCRE$"));
  // "S": its label only, neither entered nor shown; "A": computed by the placeholder.
  EXPECT_TRUE(Contient(t, "\r\nARSUIV:\r\n"));
  EXPECT_FALSE(Contient(t, "Call Sai(\"ARSUIV\""));
  EXPECT_FALSE(Contient(t, "Call ConsDon(\"ARSUIV\""));
  EXPECT_TRUE(Contient(t, "xARCA$=<<<<<< A Faire >>>>>>"));
  EXPECT_FALSE(Contient(t, "Call Sai(\"ARCA\""));
  // The texts kept as written.
  for (const char* part :
       {"Call ResEcrSais", "Call ResEcrsais", "ModifSF", "ModIfSF", "Supression", "Suppression",
        "Dim L$, M$, X$, I As Long, V0$, V?$", "Call LireEnr( ARTICD%", "Call LireEnr (ARTICD%",
        "EcrM As Boolean", "Ecrm=Faux", "DernEnr&", "DERNENR&", "Hors Cle Primaire"}) {
    EXPECT_TRUE(Contient(t, part)) << part;
  }
  // Every screen descriptor is one the entry screens read.
  for (size_t p = t.find("Call Mates(\""); p != std::string::npos;
       p = t.find("Call Mates(\"", p + 1)) {
    const size_t debut = p + 12;
    const std::string descripteur = t.substr(debut, t.find("\")", debut) - debut);
    const std::vector<tui::Champ> champs = tui::LitDescripteur(descripteur, "Mates");
    EXPECT_EQ(champs.size(), 10u);
  }
}

TEST_F(GenPSTest, AKeyFieldIsEnteredWhateverItsModificationType) {
  Importe(
      "version = 1\n[fichiers.SYS]\nlongueur = 16\nrubriques = [\n"
      "  { nom = \"NUMERO\", type = \"A\", total = 4, variable = \"SN\", modification = \"S\" },\n"
      "  { nom = \"CALCUL\", type = \"A\", total = 4, variable = \"SC\", modification = \"A\" },\n"
      "]\n[barbres.SYS1]\nfichier = \"SYS\"\nnature = \"P\"\ncle = \"[[SN,_,_]]\"\n");
  const std::string t = Genere("SYS");
  EXPECT_TRUE(Contient(t, "Call Sai(\"SN\",xSN$,TR)"));
  EXPECT_TRUE(Contient(t, "If LEN(xSN$)=0 OR TR=FH OR TR=PH Then Goto FinSS"));
  // The jump back to the initial screen goes to the first field outside the key, computed.
  EXPECT_TRUE(Contient(t, "Goto SC\r\n"));
  EXPECT_TRUE(Contient(t, "xSC$=<<<<<< A Faire >>>>>>"));
  // Only key fields: the jump goes to the writing.
  Importe(
      "version = 1\n[fichiers.SYS]\nlongueur = 16\nrubriques = [\n"
      "  { nom = \"NUMERO\", type = \"A\", total = 4, variable = \"SN\" },\n"
      "]\n[barbres.SYS1]\nfichier = \"SYS\"\nnature = \"P\"\ncle = \"[[SN,_,_]]\"\n");
  EXPECT_TRUE(Contient(Genere("SYS"), "Goto EnrSS\r\n"));
}

// A first screen whose fields outside the key are all filled by the system: going back up
// from the second screen (Ecrm true) jumps to the first of them, whose label leads on to the
// memorisation, never to the writing.
TEST_F(GenPSTest, TheJumpBackToTheInitialScreenNeverWritesTheRecord) {
  std::string t =
      "version = 1\n[fichiers.SSS]\nlongueur = 128\nrubriques = [\n"
      "  { nom = \"K\", type = \"A\", total = 2, variable = \"K\" },\n";
  for (int i = 2; i <= 38; ++i) {
    t += "  { nom = \"R" + std::to_string(i) + "\", type = \"A\", total = 2, variable = \"" +
         (i <= 35 ? "S" : "U") + std::to_string(i) + "\", modification = \"" +
         (i <= 35 ? "S" : "U") + "\" },\n";
  }
  Importe(t + "]\n[barbres.SSS1]\nfichier = \"SSS\"\nnature = \"P\"\ncle = \"[[K,_,_]]\"\n");
  const std::string programme = Genere("SSS");
  const std::vector<std::string> lignes = Lignes(programme);
  const auto saut = std::find_if(lignes.begin(), lignes.end(), [](const std::string& l) {
    return text::Trim(l) == "Rem Saut à la Rubrique Hors Clé Primaire";
  });
  ASSERT_NE(saut, lignes.end()) << programme;
  EXPECT_EQ(text::Trim(*(saut + 1)), "Goto S2");
  // From S2's label to the memorisation of the initial screen, nothing but labels.
  const auto s2 = std::find(lignes.begin(), lignes.end(), "S2:");
  const auto mem = std::find(lignes.begin(), lignes.end(), "MemEcrSS1:");
  ASSERT_LT(s2, mem);
  for (auto l = s2; l != mem; ++l) EXPECT_EQ(l->back(), ':') << *l;
  EXPECT_TRUE(Contient(programme, "MultEcr=Vrai"));
}

TEST_F(GenPSTest, ThirtyFiveFieldsOneScreenThirtySixTwo) {
  Importe(Large(35, 1));
  std::string t = Genere("LARGE");
  EXPECT_TRUE(Contient(t, "MultEcr=Faux"));
  EXPECT_FALSE(Contient(t, "DesEcrLE2:"));
  Importe(Large(36, 1));
  t = Genere("LARGE");
  EXPECT_TRUE(Contient(t, "MultEcr=Vrai"));
  EXPECT_TRUE(Contient(t, "DesEcrLE2:"));
  EXPECT_TRUE(Contient(t, "Else If TR=F2 Then Goto MemEcrLE1"));
  EXPECT_TRUE(Contient(t, "Call Titre(\"Entrée Du Fichier LARGE - No2\")"));
  EXPECT_TRUE(Contient(t, "If TR=FH Then Goto DesEcrLE1 Else If TR=PH Then Goto W36"));
  EXPECT_EQ(Compte(t, "F2 Ecran Suivant"), 1);
}

// A key list holds 100 characters at most, so no dictionary's key fills a screen: the rule is
// held by the distribution itself.
TEST(RepartitEcransTest, AKeyThatFillsTheInitialScreenTakesOneMore) {
  std::vector<ChampProgramme> champs(40);
  std::vector<size_t> cles;
  for (size_t i = 0; i < 35; ++i) {
    champs[i].cle_primaire = true;
    cles.push_back(i);
  }
  bool trop = false;
  std::vector<std::vector<size_t>> ecrans = RepartitEcrans(champs, cles, trop);
  EXPECT_TRUE(trop);
  ASSERT_EQ(ecrans.size(), 2u);
  EXPECT_EQ(ecrans[0].size(), 36u);
  EXPECT_EQ(ecrans[1].size(), 4u);
  // The key fields first, in key order, whatever their place among the fields.
  champs.assign(72, ChampProgramme{});
  champs[50].cle_primaire = champs[3].cle_primaire = true;
  ecrans = RepartitEcrans(champs, {50, 3}, trop);
  EXPECT_FALSE(trop);
  ASSERT_EQ(ecrans.size(), 3u);
  EXPECT_EQ(ecrans[0][0], 50u);
  EXPECT_EQ(ecrans[0][1], 3u);
  EXPECT_EQ(ecrans[0][2], 0u);
  EXPECT_EQ(ecrans[0].size(), 35u);
  EXPECT_EQ(ecrans[1].size(), 35u);
  EXPECT_EQ(ecrans[2].size(), 2u);
}

TEST_F(GenPSTest, TheDialogItsDefaultsAndItsKeys) {
  Importe(kDictionnaire);
  Ouvre(
      "NFIC = NOPE\nNFIC = pays\nNProg <Up>\nNFIC\nNProg = 1x\nNProg = SaisPays\nTProg\n"
      "CodLab <Up>\nTProg = Les pays\nCodLab = Z\n");
  GenPS(Etat());
  EXPECT_EQ(session_->Restantes(), 0u);
  const std::string s = session_->Transcription();
  EXPECT_TRUE(Contient(s, "Titre «Générateur de Programme de Saisie»")) << s;
  EXPECT_TRUE(Contient(s, "MessChamp NFIC N «Fichier de Plus Haut Niveau (Entête Chaînage)»"));
  EXPECT_TRUE(Contient(s, "Affiche NFIC «PAYS»")) << s;  // typed in lower case
  EXPECT_TRUE(Contient(s, "Sai NProg «EntPAYS»")) << s;
  EXPECT_TRUE(Contient(s, "Sai TProg «Entrée Du Fichier PAYS»")) << s;
  EXPECT_TRUE(Contient(s, "Sai CodLab «PS»")) << s;
  EXPECT_TRUE(Contient(s, "MessChamp NProg B «Nom de procédure « 1x » refusé")) << s;
  const std::string t = EtatGen().Texte();
  EXPECT_TRUE(Contient(t, "Sub SaisPays(Code$)"));
  EXPECT_TRUE(Contient(t, "DebSaisZ:"));
  EXPECT_TRUE(Contient(t, "Les pays - Ecran Initial"));

  // No primary table: said on NFIC, asked again; Esc leaves without generating.
  Importe(Large(3, 1) +
          "[fichiers.NUE]\nlongueur = 8\nrubriques = [{ nom = \"C\", type = "
          "\"A\", total = 2, variable = \"NC\" }]\n");
  const int32_t generations = EtatGen().Generations();
  Ouvre("NFIC = NUE\nNFIC <Esc>\n");
  GenPS(Etat());
  EXPECT_TRUE(Contient(session_->Transcription(), "MessChamp NFIC B «Aucune Table Primaire»"));
  EXPECT_EQ(EtatGen().Generations(), generations);
  EXPECT_REFUS(GenereSaisie(Etat(), {"NUE", "", "", ""}, nullptr), "Aucune Table Primaire");
}

// A procedure's name or a label suffix that would make two names of the program meet is
// refused on its line, naming what it meets.
TEST_F(GenPSTest, TheDialogRefusesNamesThatWouldMeet) {
  Importe(kDictionnaire);
  Ouvre(
      "NFIC = PAYS\nNProg = ConsPAYS\nNProg = EnrZ\nNProg = SaisPays\nTProg\nCodLab = Mod\n"
      "CodLab = Z\n");
  GenPS(Etat());
  EXPECT_EQ(session_->Restantes(), 0u);
  const std::string s = session_->Transcription();
  for (const char* refus : {"NProg B «Nom de procédure « ConsPAYS » refusé : procédure de "
                            "consultation ConsPAYS du fichier PAYS»",
                            "NProg B «Nom de procédure « EnrZ » refusé : étiquette Enr+suffixe du "
                            "programme de saisie»",
                            "CodLab B «Suffixe « Mod » refusé : étiquette EnrMod = variable locale "
                            "EnrMod& du programme de saisie»"}) {
    EXPECT_TRUE(Contient(s, std::string("MessChamp ") + refus)) << refus << "\n" << s;
  }
  EXPECT_TRUE(Contient(EtatGen().Texte(), "DebSaisZ:"));
  EXPECT_TRUE(EtatGen().Anomalies().empty());
}

TEST_F(GenPSTest, SeveralPrimaryTablesTheLastOneIsUsed) {
  Importe(std::string(kDictionnaire) +
          "[barbres.PAY9]\nfichier = \"PAYS\"\nnature = \"P\"\ncle = \"[[PANOM,_,_]]\"\n");
  GenereSaisie(Etat(), {"PAYS", "", "", ""}, nullptr);
  ASSERT_EQ(EtatGen().Anomalies().size(), 1u);
  EXPECT_EQ(EtatGen().Anomalies()[0].message, "@ Plusieurs Table Primaire");
  EXPECT_EQ(EtatGen().Anomalies()[0].procedure, "GenPs");
  EXPECT_TRUE(Contient(EtatGen().Texte(), "Call LectCle(PAY9T%,Cle$,PAYSD%,ModIfSF)"));
}

}  // namespace
}  // namespace vesk
