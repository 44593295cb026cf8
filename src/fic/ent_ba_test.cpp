// The B-tree table entry driven by scripts, grouped by what can go wrong; each script is also
// the check of the order in which the screen asks for its fields.
#include "core/cycle_saisie.h"
#include "fic/fic.h"
#include "fic/table_champs.h"
#include "fic/testing/dictionnaire.h"
#include "srv/text/utf8.h"

namespace vesk::fic {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.CLIENT]
longueur = 64
rubriques = [
  { nom = "Nom", type = "A", total = 30, variable = "NOM" },
  { nom = "Montant", type = "N", total = 8, variable = "MT" },
  { nom = "Date", type = "D", variable = "DAT", exemple = "x" },
]
[fichiers.AUTRE]
rubriques = [{ nom = "Code", type = "A", total = 8, variable = "CODEA" }]
[barbres.CLI1]
fichier = "CLIENT"
nature = "P"
cle = "[[NOM,_,_]]"
)";

class EntBaTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre("");
    Importe(kDictionnaire);
  }
  // Runs the screen on the file CLIENT with the script; gives the transcript.
  std::string Lance(const std::string& script, const std::string& fichier = "CLIENT") {
    Ouvre(script);
    EXPECT_TRUE(
        TableChamps(Etat()).ChargeFichier(fichier));  // the file current, as EntFic leaves it
    int16_t touche = 0;
    EntBa(Etat(), touche);
    EXPECT_EQ(session_->Restantes(), 0u);
    return session_->Transcription();
  }
  // The Ba record of a table: its number, and its fields.
  int32_t Table(const std::string& nom, std::string* longcle = nullptr,
                std::string* lcle = nullptr) {
    Session& etat = Etat();
    bool trouve = false;
    etat.BArbre().Recherche(etat.ba_arbre, nom, etat.ba_fichier, trouve);
    if (!trouve) return 0;
    int32_t e = 0;
    etat.Donnee().NoEnrCourant(etat.ba_fichier, e);
    if (longcle != nullptr) *longcle = std::string(text::TrimRight(etat.ba[kLongCle]));
    if (lcle != nullptr) *lcle = std::string(text::TrimRight(etat.ba[kLCle]));
    return e;
  }
};

TEST_F(EntBaTest, KeyLengthsAreComputedAndTheDefaultListProposed) {
  const std::string t = Lance(
      "NOMT = CLI2\nNOMD\nNATT = S\nLCLE = [[NOM,1,10],[DAT,_,_]]\n"
      "NOMT = CLI3\nNOMD\nNATT\nLCLE\n"
      "NOMT =\n");
  EXPECT_NE(t.find("Sai NOMT «CLIENT» -> «CLI2» <Enter>\nAffMode NOMT B «Création»\n"
                   "Sai NOMD «CLIENT» -> «CLIENT» <Enter>\nSai NATT «P» -> «S» <Enter>\n"
                   "MessChamp NATT N «Secondaire»\n"
                   "Sai LCLE «[[NOM,_,_],[DAT,_,_]]» -> «[[NOM,1,10],[DAT,_,_]]» <Enter>\n"
                   "Affiche LONGCLE «13»\n"),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("MessChamp NATT N «Primaire»\nSai LCLE «[[NOM,_,_],[DAT,_,_]]» -> "
                   "«[[NOM,_,_],[DAT,_,_]]» <Enter>\nAffiche LONGCLE «33»\n"),
            std::string::npos)
      << t;
  std::string longcle, lcle;
  EXPECT_NE(Table("CLI2", &longcle, &lcle), 0);
  EXPECT_EQ(longcle, "13");
  EXPECT_EQ(lcle, "[[NOM,1,10],[DAT,_,_]]");
  EXPECT_NE(Table("CLI3", &longcle), 0);
  EXPECT_EQ(longcle, "33");
}

TEST_F(EntBaTest, EveryFaultyKeyListIsRefusedWithItsMessageAndNothingWritten) {
  const std::string t = Lance(
      "NOMT = CLI2\nNOMD\nNATT = X\nNATT = S\n"
      "LCLE = [[NOM,5,4]]\nLCLE = [[NOM,_,_]\nLCLE = [[NOMCLI,1,2]]\nLCLE = []\n"
      "LCLE = [[NOM,_,_],[MT]]\nLCLE <Up>\nNATT <PgUp>\n"
      "NOMT = CLI-2\nNOMT = fic\nNOMT = Temp\nNOMT =\n");
  for (const char* message :
       {"MessChamp LCLE B «NOM-4 Erreur»", "MessChamp LCLE B «Erreur de Syntaxe 11eme Car»",
        "MessChamp LCLE B «NOMCLI Inconnue»", "MessChamp LCLE B «Faux Avant []»",
        "MessChamp NOMT B «Nom de table « CLI-2 » refusé",
        "MessChamp NOMT B «Nom de table « fic » refusé : nom réservé aux fichiers du dictionnaire",
        "MessChamp NOMT B «Nom de table « Temp » refusé",
        "MessChamp LCLE B «Liste de clé vide : au moins une variable [[Var,Pd,Pf]]»"}) {
    EXPECT_NE(t.find(message), std::string::npos) << message << "\n" << t;
  }
  // A nature other than P or S is asked again without a message (its rule stands).
  EXPECT_NE(t.find("Sai NATT «P» -> «X» <Enter>\nSai NATT «X» -> «S» <Enter>"), std::string::npos);
  EXPECT_NE(t.find("RegleChamp NATT «P : table primaire"), std::string::npos) << t;
  EXPECT_EQ(Table("CLI2"), 0);
}

TEST_F(EntBaTest, TheDataFileNamedIsTheOneWhoseFieldsCount) {
  const std::string t = Lance(
      "NOMT = AUT1\nNOMD = NUL\nNOMD = AUTRE\nNATT\nLCLE = [[NOM,_,_]]\nLCLE = [[CODEA,1,4]]\n"
      "NOMT =\n");
  EXPECT_NE(t.find("Sai NOMD «CLIENT» -> «NUL» <Enter>\nSai NOMD «NUL» -> «AUTRE» <Enter>"),
            std::string::npos);
  // The default list and the check come from AUTRE's fields, not from CLIENT's.
  EXPECT_NE(t.find("Sai LCLE «[[CODEA,_,_]]» -> «[[NOM,_,_]]» <Enter>\n"
                   "MessChamp LCLE B «NOM Inconnue»"),
            std::string::npos)
      << t;
  std::string longcle;
  EXPECT_NE(Table("AUT1", &longcle), 0);
  EXPECT_EQ(longcle, "4");
}

TEST_F(EntBaTest, AModificationGetsANewRecordAndADeletionIsConfirmed) {
  Lance(
      "NOMT = CLI1\nNOMD\nNATT\nLCLE = [[NOM,1,12]]\n"
      "NOMT = CLI1 <F6>\nconfirm <Esc>\n"
      "NOMT =\n");
  std::string longcle;
  const int32_t e = Table("CLI1", &longcle);
  EXPECT_GT(e, 1);
  EXPECT_EQ(longcle, "12");
  const std::string t = Lance("NOMT = CLI1 <F6>\nconfirm <F6>\nNOMT =\n");
  EXPECT_NE(t.find("AffMode NOMT I «SUPPRESSION»\nConfirme B -> <F6>\n"), std::string::npos) << t;
  EXPECT_EQ(Table("CLI1"), 0);
}

TEST_F(EntBaTest, EscOnTheNameLeavesAndOnALaterFieldGoesBackToIt) {
  // NOMT starts from "CLIENT": Esc leaves instead of starting its creation.
  std::string t = Lance("NOMT <Esc>\n");
  EXPECT_EQ(t.find("AffMode"), std::string::npos) << t;
  t = Lance("NOMT = CLI2\nNOMD\nNATT <Esc>\nNOMT <Esc>\n");
  EXPECT_NE(t.find("Sai NATT «P» -> «P» <Esc>\nSai NOMT «CLI2»"), std::string::npos) << t;
  EXPECT_EQ(Table("CLI2"), 0);
}

TEST_F(EntBaTest, NamesAreTakenInUpperCaseAndAnOldLowerCaseTableIsRewritten) {
  Lance("NOMT = cli5\nNOMD = client\nNATT\nLCLE\nNOMT =\n");
  std::string lcle;
  EXPECT_NE(Table("CLI5", nullptr, &lcle), 0);
  EXPECT_EQ(text::TrimRight(Etat().ba[kNomD]), "CLIENT");
  EXPECT_EQ(lcle, "[[NOM,_,_],[DAT,_,_]]");
  // A table stored in lower case before names were upper-cased: found by its upper-case name,
  // written back under it; typed in lower case, it is still the same table. (The session is
  // opened again by Lance: no reference to it is kept across.)
  Session& etat = Etat();
  etat.ba.Efface();
  for (auto [champ, valeur] : {std::pair{kNomT, "cli3"},
                               {kNomD, "client"},
                               {kNatT, "S"},
                               {kLongCle, "30"},
                               {kLCle, "[[NOM,_,_]]"}}) {
    etat.ba.Affecte(champ, valeur);
  }
  InsereEnregistrement(etat, {etat.ba_fichier, etat.ba_arbre}, etat.ba[kNomT]);
  const std::string t = Lance("NOMT = cli3\nNOMD\nNATT\nLCLE\nNOMT =\n");
  EXPECT_NE(t.find("AffMode NOMT I «MODIFICATION»\nSai NOMD «client» -> «client» <Enter>\n"
                   "Affiche NOMD «CLIENT»"),
            std::string::npos)
      << t;
  EXPECT_EQ(Table("cli3"), 0);
  EXPECT_NE(Table("CLI3"), 0);
  EXPECT_EQ(text::TrimRight(Etat().ba[kNomD]), "CLIENT");
}

}  // namespace
}  // namespace vesk::fic
