// The chaining entry driven by scripts: unknown files, positions out of their bounds, every
// back and start key, and the current Fic record afterwards.
#include "fic/fic.h"
#include "fic/testing/dictionnaire.h"
#include "srv/text/utf8.h"

namespace vesk::fic {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.ENTETE]
longueur = 40
rubriques = [
  { nom = "Numero", type = "A", total = 8, variable = "NUM" },
  { nom = "Premiere", type = "E", variable = "PREM" },
  { nom = "Derniere", type = "E", variable = "DERN" },
]
[fichiers.LIGNE]
longueur = 32
rubriques = [
  { nom = "Precedente", type = "E", variable = "PREC" },
  { nom = "Suivante", type = "E", variable = "SUIV" },
  { nom = "Article", type = "A", total = 10, variable = "ART" },
]
[fichiers.SEUL]
longueur = 16
rubriques = [{ nom = "Code", type = "A", total = 4, variable = "CODEA" }]
)";

class EntChainTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre("");
    Importe(kDictionnaire);
  }
  // Runs the screen on the current file fichier with the script; gives the transcript without
  // the screens' set-up lines.
  std::string Lance(const std::string& script, const std::string& fichier = "LIGNE") {
    Ouvre(script);
    Session& etat = Etat();
    etat.fic.Affecte(kNomFic, fichier);
    bool trouve = false;
    etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
    EXPECT_TRUE(trouve);
    int16_t touche = 0;
    EntChain(Etat(), touche);
    EXPECT_EQ(session_->Restantes(), 0u);
    std::string t;
    std::istringstream lignes(session_->Transcription());
    for (std::string l; std::getline(lignes, l);) {
      if (l.starts_with("Sai") || l.starts_with("Mess") || l.starts_with("Aff") ||
          l.starts_with("Conf")) {
        t += l + "\n";
      }
    }
    return t;
  }
  // The chaining of line file nom as "CHAINE PNEA PNES PPE PDE", "" when there is none.
  std::string Chainage(const std::string& nom) {
    Session& etat = Etat();
    bool trouve = false;
    etat.BArbre().Recherche(etat.chain_arbre, nom, etat.chain_fichier, trouve);
    if (!trouve) return "";
    std::string c;
    for (size_t i : {kChainE, kPnea, kPnes, kPpe, kPde}) {
      c += std::string(text::TrimRight(etat.chain[i])) + " ";
    }
    return c;
  }
};

TEST_F(EntChainTest, PositionsAreProposedFromTheEFieldsAndCheckedAgainstEachLength) {
  const std::string t = Lance(
      "CHAINL\nPNEA = 0\nPNEA = 33\nPNEA = 4\nPNES = 3\nPNES = 4\nCHAINE = ENTETE\n"
      "PPE\nPDE = 41\nPDE = 8\nPDE = 9\nCHAINL =\n");
  EXPECT_EQ(t,
            "MessChamp CHAINL B «Suppression: Confirmez par F6»\n"
            "Sai CHAINL «LIGNE» -> «LIGNE» <Enter>\n"
            "AffMode CHAINL B «Création»\n"
            "Sai PNEA «1» -> «0» <Enter>\n"
            "Sai PNEA «0» -> «33» <Enter>\n"
            "Sai PNEA «33» -> «4» <Enter>\n"
            "Sai PNES «4» -> «3» <Enter>\n"  // below PNEA: refused
            "Sai PNES «3» -> «4» <Enter>\n"  // equal: accepted
            "Sai CHAINE «LIGNE» -> «ENTETE» <Enter>\n"
            "Sai PPE «9» -> «9» <Enter>\n"
            "Sai PDE «12» -> «41» <Enter>\n"
            "Sai PDE «41» -> «8» <Enter>\n"
            "Sai PDE «8» -> «9» <Enter>\n"
            "MessChamp CHAINL B «Suppression: Confirmez par F6»\n"
            "Sai CHAINL «LIGNE» -> «» <Enter>\n");
  EXPECT_EQ(Chainage("LIGNE"), "ENTETE 4 4 9 9 ");
}

TEST_F(EntChainTest, UnknownFilesAreNamedAndAskedAgain) {
  const std::string t = Lance(
      "CHAINL = NUL\nCHAINL = LIGNE\nPNEA\nPNES\nCHAINE = AUTRE\nCHAINE = ENTETE\nPPE\nPDE\n"
      "CHAINL =\n");
  EXPECT_NE(t.find("Sai CHAINL «LIGNE» -> «NUL» <Enter>\nAffMode CHAINL B «Création»\n"
                   "MessChamp CHAINL B «Fichier Inconnu ou Supprimé»\n"
                   "Sai CHAINL «NUL» -> «LIGNE» <Enter>\n"),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("Sai CHAINE «LIGNE» -> «AUTRE» <Enter>\n"
                   "MessChamp CHAINE B «Fichier Inconnu ou Supprimé»\n"),
            std::string::npos)
      << t;
  EXPECT_EQ(Chainage("LIGNE"), "ENTETE 1 4 9 12 ");
  // The last file looked up is the current Fic record.
  EXPECT_EQ(Etat().fic[kNomFic], "ENTETE");
}

TEST_F(EntChainTest, EveryBackAndStartKeyLeadsWhereItSays) {
  const std::string t = Lance(
      "CHAINL\nPNEA <Up>\n"                              // PNEA back: the key field
      "CHAINL\nPNEA <PgUp>\n"                            // PNEA start: the key field
      "CHAINL\nPNEA\nPNES <Up>\n"                        // PNES back: PNEA
      "PNEA\nPNES <PgUp>\n"                              // PNES start: the key field
      "CHAINL\nPNEA\nPNES\nCHAINE <Up>\n"                // CHAINE back: PNEA, not PNES
      "PNEA\nPNES\nCHAINE <PgUp>\n"                      // CHAINE start: the key field
      "CHAINL\nPNEA\nPNES\nCHAINE = ENTETE\nPPE <Up>\n"  // PPE back: the key field
      "CHAINL\nPNEA\nPNES\nCHAINE = ENTETE\nPPE\nPDE <Up>\nPPE\nPDE <PgUp>\n"
      "CHAINL <Up>\n");
  EXPECT_EQ(Chainage("LIGNE"), "");
  EXPECT_NE(t.find("Sai CHAINE «LIGNE» -> «LIGNE» <Up>\nSai PNEA"), std::string::npos) << t;
  EXPECT_NE(t.find("Sai PDE «12» -> «12» <Up>\nSai PPE"), std::string::npos) << t;
}

TEST_F(EntChainTest, AFoundChainingIsShownModifiedAndDeleted) {
  Lance("CHAINL\nPNEA\nPNES\nCHAINE = ENTETE\nPPE\nPDE\nCHAINL =\n");
  EXPECT_EQ(Chainage("LIGNE"), "ENTETE 1 4 9 12 ");
  std::string t = Lance("CHAINL\nPNEA = 2\nPNES\nCHAINE\nPPE\nPDE\nCHAINL <PgUp>\n");
  EXPECT_NE(t.find("Affiche CHAINL «LIGNE »\nAffiche CHAINE «ENTETE»\nAffiche PNEA «1    »\n"
                   "Affiche PNES «4    »\nAffiche PPE «9    »\nAffiche PDE «12   »\n"
                   "AffMode CHAINL I «MODIFICATION»\n"),
            std::string::npos)
      << t;
  EXPECT_EQ(Chainage("LIGNE"), "ENTETE 2 4 9 12 ");
  // A file without E fields gets no proposal.
  t = Lance("CHAINL = SEUL\nPNEA = 1\nPNES = 1\nCHAINE = SEUL\nPPE = 2\nPDE = 2\nCHAINL =\n",
            "SEUL");
  EXPECT_NE(t.find("Sai PNEA «» -> «1»"), std::string::npos) << t;
  EXPECT_NE(t.find("Sai PPE «» -> «2»"), std::string::npos) << t;
  EXPECT_EQ(Chainage("SEUL"), "SEUL 1 1 2 2 ");
  t = Lance("CHAINL <F6>\nconfirm <F6>\nCHAINL =\n");
  EXPECT_NE(t.find("AffMode CHAINL I «SUPPRESSION»\nConfirme B -> <F6>\n"), std::string::npos);
  EXPECT_EQ(Chainage("LIGNE"), "");
}

}  // namespace
}  // namespace vesk::fic
