#include "cli/verification.h"

#include <gtest/gtest.h>

namespace vesk::cli {
namespace {

// A name stored before the generators' names were refused is the dictionary's problem: told
// once for its file, whatever the folders that hold its data, and never for another file.
TEST(NomsReservesVerifies, AreToldOnceAFileWithoutRecordNumbers) {
  fic::ModeleDictionnaire m;
  for (const char* nom : {"CLIENT", "PAYS"}) {
    fic::Fichier& f = m.fichiers[nom];
    f.rubriques.resize(2);
    f.rubriques[0].variable = std::string(nom) == "CLIENT" ? "Code" : "PACODE";
    f.rubriques[1].variable = std::string(nom) == "CLIENT" ? "tr" : "PANOM";
  }
  std::vector<VerificationFichier> resultats(3);
  resultats[0].fichier = resultats[1].fichier = "CLIENT";
  resultats[1].entreprise = "01";
  resultats[2].fichier = "PAYS";
  AjouteNomsReserves(m, "", resultats);
  ASSERT_EQ(resultats[0].problemes.size(), 1u);
  const GenreProbleme& g = resultats[0].problemes[0];
  EXPECT_EQ(g.genre, "nom réservé");
  EXPECT_EQ(g.nombre, 2u);
  EXPECT_TRUE(g.premiers.empty());
  EXPECT_EQ(g.exemple, "Code : paramètre Code$ du programme de saisie");
  EXPECT_TRUE(resultats[1].problemes.empty());
  EXPECT_TRUE(resultats[2].problemes.empty());
}

}  // namespace
}  // namespace vesk::cli
