// The specification listing of one file, read back from its text output: the demo's files
// against reference texts, then the cases a dictionary can hold (no table, long keys, blank
// domains, long variables, unknown types and files).
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/table_champs.h"
#include "fic/testing/dictionnaire.h"

namespace vesk::fic {
namespace {

constexpr std::string_view kDemo =
#include "demo_texte.inc"
    ;

using EdtFicTest = EditionEssai;

TEST_F(EdtFicTest, TheDemoFilesAsTheyArePrinted) {
  auto ass = Ouvre();
  Importe(std::string(kDemo));
  for (const char* nom : {"CLIENT", "FACLIG", "FACTUR"}) {
    EdtFic(Etat(), LitDictionnaire(Etat()), nom, true);
    const std::string texte = Listing();
    EXPECT_NE(texte.find(std::string("EDITION SPECIFICATIONS FICHIER ") + nom + ".DAT"),
              std::string::npos);
    Golden(texte, std::string("specifications-") + nom + ".txt");
  }
  EXPECT_EQ(*termines_, (std::vector<int16_t>{0, 0, 0}));
  EXPECT_TRUE(Anomalies().empty());
}

TEST_F(EdtFicTest, TablesAndChainingsOfTheFileOnly) {
  auto ass = Ouvre();
  Importe(std::string(kDemo));
  EdtFic(Etat(), LitDictionnaire(Etat()), "CLIENT", true);
  std::string texte = Listing();
  EXPECT_NE(texte.find("Longueur :  128 - No Canal : CLIENTD%"), std::string::npos);
  EXPECT_NE(texte.find("Dépendance Par Entreprise"), std::string::npos);
  EXPECT_NE(texte.find("B-Arbre  Primaire : CLI1.dab - No Canal : CLI1T%"), std::string::npos);
  EXPECT_NE(texte.find("B-Arbre  Secondaire : CLI2.dab - No Canal : CLI2T%"), std::string::npos);
  EXPECT_NE(texte.find("Longueur de la Clé     :  15"), std::string::npos);
  EXPECT_NE(texte.find("Construction de la Clé : [CLNOM,1,10], [CLVIL,1,5]"), std::string::npos);
  EXPECT_EQ(Compte(texte, "B-Arbre  "), 2);
  EXPECT_EQ(Compte(texte, "Chaînage de"), 0);
  // Both ends of a chaining print it, once.
  for (const char* nom : {"FACLIG", "FACTUR"}) {
    EdtFic(Etat(), LitDictionnaire(Etat()), nom, true);
    texte = Listing();
    EXPECT_EQ(Compte(texte, "Chaînage de : FACLIG.dat (FACLIGD%) - Entête : FACTUR.dat (FACTURD%)"),
              1)
        << nom;
    EXPECT_NE(texte.find("Position Chaînage Arrière :  1 - Chaînage Avant  :  4"),
              std::string::npos);
    EXPECT_NE(texte.find("Position Premier  Chaîne  :  26 - Dernier  Chaîne :  29"),
              std::string::npos);
  }
}

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.SEUL]
longueur = 64
rubriques = [
  { nom = "UN NOM", type = "A", total = 10, variable = "ABCDEFGHIJKLMNOPQRST", exemple = "Exemple" },
  { nom = "MONTANT", type = "M", total = 9, decimales = 2, variable = "MT", domaine = "" },
  { nom = "DATE", type = "D", total = 3, variable = "DT", domaine = "D Appartient à Exerc" },
]
[fichiers.LONG]
entreprise = true
longueur = 512
rubriques = [
  { nom = "A1", type = "A", total = 40, variable = "VARIABLENUMERO01" },
  { nom = "A2", type = "A", total = 40, variable = "VARIABLENUMERO02" },
  { nom = "A3", type = "A", total = 40, variable = "VARIABLENUMERO03" },
  { nom = "A4", type = "A", total = 40, variable = "VARIABLENUMERO04" },
]
[barbres.LONG1]
fichier = "LONG"
nature = "P"
cle = "[[VARIABLENUMERO01,1,9],[VARIABLENUMERO02,1,9],[VARIABLENUMERO03,1,9],[VARIABLENUMERO04,1,9]]"
)";

TEST_F(EdtFicTest, FileWithoutTablesLongVariablesAndBlankDomains) {
  auto ass = Ouvre();
  Importe(kDictionnaire);
  EdtFic(Etat(), LitDictionnaire(Etat()), "SEUL", true);
  const std::string texte = Listing();
  EXPECT_NE(texte.find("Longueur :  64 - No Canal : SEULD%"), std::string::npos);
  EXPECT_NE(texte.find("Indépendant des Entreprises"), std::string::npos);
  EXPECT_EQ(Compte(texte, "B-Arbre"), 0);
  EXPECT_EQ(Compte(texte, "Chaînage"), 0);
  EXPECT_NE(texte.find("ABCDEFGHIJKLMNO$ "), std::string::npos);
  EXPECT_EQ(texte.find("ABCDEFGHIJKLMNOP"), std::string::npos);
  EXPECT_EQ(Compte(texte, "Prédéfini"), 1);
  EXPECT_NE(texte.find("D Appartient à Exerc"), std::string::npos);
  EXPECT_NE(texte.find("9.2"), std::string::npos);
  Golden(texte, "specifications-SEUL.txt");
}

TEST_F(EdtFicTest, KeyPastTheWidthContinuesUnderItsFirstElement) {
  auto ass = Ouvre();
  Importe(kDictionnaire);
  EdtFic(Etat(), LitDictionnaire(Etat()), "LONG", true);
  const std::string texte = Listing();
  const std::string debut = "Construction de la Clé : ";
  size_t p = texte.find(debut);
  ASSERT_NE(p, std::string::npos);
  size_t colonne = p - texte.rfind('\n', p) - 1 + text::CountChars(debut);
  std::vector<std::string> lignes;
  for (size_t fin = texte.find('\n', p); lignes.size() < 3 && p < texte.size();
       fin = texte.find('\n', p)) {
    lignes.push_back(texte.substr(p, fin - p));
    p = fin + 1;
  }
  const std::string marge(colonne, ' ');
  EXPECT_EQ(lignes[0], debut + "[VARIABLENUMERO01,1,9], [VARIABLENUMERO02,1,9],");
  EXPECT_EQ(lignes[1], marge + "[VARIABLENUMERO03,1,9], [VARIABLENUMERO04,1,9]");
  EXPECT_EQ(lignes[2].find("[VARIABLE"), std::string::npos);
}

TEST_F(EdtFicTest, UnknownFileAndUnknownTypeAreAnomalies) {
  auto ass = Ouvre();
  Importe(kDictionnaire);
  EdtFic(Etat(), LitDictionnaire(Etat()), "NOPE", true);
  ASSERT_EQ(Anomalies().size(), 1u);
  EXPECT_EQ(Anomalies()[0].message, "@ NOPE Inexistant ");
  EXPECT_EQ(Anomalies()[0].procedure, "EdtFic");
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  EXPECT_TRUE(dynamic_cast<SrvEditionImpl&>(Etat().Edition()).Ecrits().empty());

  // A type the rules do not know (written by another tool): the line is printed without a
  // type name and the listing goes on.
  TableChamps t(Etat());
  ASSERT_TRUE(t.ChargeFichier("SEUL"));
  t.Affecte(2, kColType, "X");
  t.Sauve();
  EdtFic(Etat(), LitDictionnaire(Etat()), "SEUL", true);
  ASSERT_EQ(Anomalies().size(), 2u);
  EXPECT_EQ(Anomalies()[1].message, "@ X Inconnu");
  EXPECT_NE(Listing().find("DT$"), std::string::npos);
}

TEST_F(EdtFicTest, InsideAnotherListingNeitherTitleNorClosing) {
  auto ass = Ouvre();
  Importe(kDictionnaire);
  Etat().Edition().OuvEdt("AUTRE", "", "", "", "", 0, 0, true, true);
  EdtFic(Etat(), LitDictionnaire(Etat()), "SEUL", false);
  EdtFic(Etat(), LitDictionnaire(Etat()), "LONG", false);
  EXPECT_TRUE(termines_->empty());
  Etat().Edition().Termine(0);
  const std::string texte = Listing();
  EXPECT_EQ(Compte(texte, "EDITION SPECIFICATIONS"), 0);
  EXPECT_EQ(Compte(texte, "Longueur : "), 2);
}

}  // namespace
}  // namespace vesk::fic
