// The listing of the specified files and the application's listing, read back as text: the
// demo against reference texts, the side-by-side tables and chainings, an empty dictionary,
// and cancellation.
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/testing/dictionnaire.h"

namespace vesk::fic {
namespace {

constexpr std::string_view kDemo =
#include "demo_texte.inc"
    ;

using EdtLFicTest = EditionEssai;

TEST_F(EdtLFicTest, TheDemoFilesWithTheirTablesAndChainings) {
  Ouvre();
  Importe(std::string(kDemo));
  std::string liste = "[]";
  EXPECT_TRUE(EdtLFic(Etat(), LitDictionnaire(Etat()), true, liste));
  EXPECT_EQ(liste, "[CLIENT,FACLIG,FACTUR]");
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  EXPECT_EQ(session_->Transcription(),
            "TitreEdition «EDITION LISTE DES FICHIERS SPECIFIES»\nFinTitreEdition\n");
  Golden(Listing(), "fichiers-specifies.txt");
}

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.X]
entreprise = true
longueur = 16
rubriques = [
  { nom = "CODE", type = "A", total = 4, variable = "XC" },
  { nom = "SUIVANT", type = "E", variable = "XS" },
  { nom = "PRECEDENT", type = "E", variable = "XP" },
]
[fichiers.Y]
longueur = 8
rubriques = [{ nom = "CODE", type = "A", total = 4, variable = "YC" }]
[barbres.X1]
fichier = "X"
nature = "P"
cle = "[[XC,_,_]]"
[barbres.X2]
fichier = "X"
nature = "S"
cle = "[[XC,1,2]]"
[barbres.X3]
fichier = "X"
nature = "S"
cle = "[[XC,3,4]]"
[chainages.X]
entete = "X"
arriere = 5
avant = 8
premier = 5
dernier = 8
)";

// The lines of texte that hold part.
std::vector<std::string> Lignes(const std::string& texte, const std::string& part) {
  std::vector<std::string> lignes;
  size_t debut = 0;
  for (size_t fin = texte.find('\n'); fin != std::string::npos; fin = texte.find('\n', debut)) {
    std::string ligne = texte.substr(debut, fin - debut);
    if (ligne.find(part) != std::string::npos) lignes.push_back(ligne);
    debut = fin + 1;
  }
  return lignes;
}

TEST_F(EdtLFicTest, TablesAndChainingsSideBySideTheChainingOnTheFirstLine) {
  Ouvre();
  Importe(kDictionnaire);
  std::string liste = "[]";
  EdtLFic(Etat(), LitDictionnaire(Etat()), true, liste);
  const std::string texte = Listing();
  // Three tables, one chaining where X is both files: "Ligne" first, on X's first line.
  const std::vector<std::string> x = Lignes(texte, "| X1 ");
  ASSERT_EQ(x.size(), 1u) << texte;
  EXPECT_NE(x[0].find("| X       |"), std::string::npos) << x[0];
  EXPECT_NE(x[0].find("  Oui  "), std::string::npos) << x[0];
  EXPECT_NE(x[0].find("| P "), std::string::npos) << x[0];
  EXPECT_NE(x[0].find("| Ligne  | Entête     | X "), std::string::npos) << x[0];
  for (const char* table : {"| X2 ", "| X3 "}) {
    const std::vector<std::string> l = Lignes(texte, table);
    ASSERT_EQ(l.size(), 1u) << table;
    EXPECT_EQ(l[0].find("Ligne"), std::string::npos) << l[0];
    EXPECT_NE(l[0].find("| S "), std::string::npos) << l[0];
  }
  // Y: one line, its name and dependence only.
  const std::vector<std::string> y = Lignes(texte, "| Y ");
  ASSERT_EQ(y.size(), 1u) << texte;
  EXPECT_NE(y[0].find("  Non  "), std::string::npos) << y[0];
  EXPECT_EQ(Lignes(texte, "  Non  ").size(), 1u);
}

TEST_F(EdtLFicTest, AnEmptyDictionaryOpensNothing) {
  Ouvre();
  std::string liste = "[INCHANGEE]";
  EXPECT_FALSE(EdtLFic(Etat(), LitDictionnaire(Etat()), true, liste));
  EXPECT_EQ(liste, "[INCHANGEE]");
  EXPECT_TRUE(termines_->empty());
  EXPECT_EQ(session_->Transcription(), "");
  // The application's listing still makes its closing call, and writes nothing.
  FicApp(Etat());
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  EXPECT_TRUE(dynamic_cast<SrvEditionImpl&>(Etat().Edition()).Ecrits().empty());
  EXPECT_FALSE(std::filesystem::exists(dossier_ / "EDITIONS"));
}

TEST_F(EdtLFicTest, TheApplicationListingTheListThenEachSpecification) {
  Ouvre();
  Importe(std::string(kDemo));
  FicApp(Etat());
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  EXPECT_EQ(session_->Transcription(),
            "TitreEdition «EDITION LISTE DES FICHIERS SPECIFIES»\nFinTitreEdition\n");
  const std::string texte = Listing();
  EXPECT_EQ(Compte(texte, "EDITION SPECIFICATIONS"), 0);
  const size_t client = texte.find("Longueur :  128 - No Canal : CLIENTD%");
  const size_t faclig = texte.find("Longueur :  32 - No Canal : FACLIGD%");
  const size_t factur = texte.find("Longueur :  32 - No Canal : FACTURD%");
  EXPECT_LT(texte.find("| CLIENT  |"), client);
  EXPECT_LT(client, faclig);
  EXPECT_LT(faclig, factur);
  EXPECT_NE(factur, std::string::npos);
  EXPECT_NE(texte.find("page 3 / 3"), std::string::npos);  // a page break between files
  Golden(texte, "application.txt");
}

TEST_F(EdtLFicTest, CancellationStopsAfterTheLineOrFileInProgress) {
  annule_au_ = 3;  // the second line of the list
  Ouvre();
  Importe(std::string(kDemo));
  FicApp(Etat());
  EXPECT_EQ(*termines_, std::vector<int16_t>{0});
  std::string texte = Listing();
  EXPECT_NE(texte.find("| CLI1 "), std::string::npos);
  EXPECT_EQ(texte.find("| FACLIG "), std::string::npos);
  EXPECT_EQ(texte.find("Longueur : "), std::string::npos);

  // Cancelled inside the first specification: the other files are not printed.
  annule_au_ = 25;
  Ouvre();
  FicApp(Etat());
  texte = Listing();
  EXPECT_NE(texte.find("CLIENTD%"), std::string::npos);
  EXPECT_EQ(texte.find("FACLIGD%"), std::string::npos);
}

TEST_F(EdtLFicTest, LeftOpenForTheCaller) {
  Ouvre();
  Importe(kDictionnaire);
  std::string liste = "[]";
  EXPECT_TRUE(EdtLFic(Etat(), LitDictionnaire(Etat()), false, liste));
  EXPECT_EQ(liste, "[X,Y]");
  EXPECT_TRUE(termines_->empty());
  EXPECT_EQ(session_->Transcription(), "TitreEdition «EDITION LISTE DES FICHIERS SPECIFIES»\n");
  EXPECT_TRUE(dynamic_cast<SrvEditionImpl&>(Etat().Edition()).Ouverte());
  Etat().Edition().Termine(0);
}

}  // namespace
}  // namespace vesk::fic
