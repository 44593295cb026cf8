// The field table: positions, insertion, deletion, duplication, the grid, and its Lfic lines.
#include "fic/table_champs.h"

#include "fic/testing/dictionnaire.h"

namespace vesk::fic {
namespace {

class TableChampsTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre();
  }
  // A table of A fields named by their variables, each of the given total.
  static TableChamps Table(std::initializer_list<std::pair<const char*, int>> champs) {
    Fichier f;
    for (const auto& [variable, total] : champs) {
      Rubrique r;
      r.nom = std::string("NOM ") + variable;
      r.type = "A";
      r.total = total;
      r.variable = variable;
      f.rubriques.push_back(r);
    }
    return TableComplete(f);
  }
  static std::string Variables(const TableChamps& t) {
    std::string v;
    for (int32_t i = 1; i <= t.Nombre(); ++i) v += std::string(t.Texte(i, kColVariable)) + " ";
    return v;
  }
};

TEST_F(TableChampsTest, PositionsFollowTheInternalLengths) {
  const ModeleDictionnaire m = LitToml(R"(version = 1
    [fichiers.F]
    rubriques = [{ nom = "N", type = "A", total = 10, variable = "A1" },
                 { nom = "M", type = "M", total = 5, format = "I", variable = "M1" },
                 { nom = "D", type = "D", variable = "D1", exemple = "x" }])",
                                       "t");
  TableChamps t = TableComplete(m.fichiers.at("F"));
  EXPECT_EQ(t.Debuts(), (std::vector<int32_t>{1, 11, 13}));
  EXPECT_EQ(t.LongueurReelle(), 15);
  EXPECT_EQ(t.Grille(),
            "[[    1,N,A10,A1$,U,A10,10],[   11,M,M5.0,M1$,U,I2,12],[   13,D,D3,D1$,U,A3,15]]");
  EXPECT_EQ(TableChamps(Etat()).Grille(), "[]");
  EXPECT_EQ(t.ChercheVariable("M1"), 2);
  EXPECT_EQ(t.ChercheVariable("M1   "), 2);
  EXPECT_EQ(t.ChercheNom("D"), 3);
  EXPECT_EQ(t.ChercheVariable("X"), 0);
  EXPECT_THROW(t.Cellule(4, kColNom), ErreurService);
  EXPECT_THROW(t.Cellule(1, 11), ErreurService);
}

TEST_F(TableChampsTest, InsertionCopiesTheRowAndShiftsTheOthers) {
  TableChamps t = Table({{"V1", 1}, {"V2", 2}, {"V3", 3}, {"V4", 4}, {"V5", 5}});
  EXPECT_EQ(t.InsereApres(2), 3);
  EXPECT_EQ(Variables(t), "V1 V2 V2 V3 V4 V5 ");
  EXPECT_EQ(t.Debuts(), (std::vector<int32_t>{1, 2, 4, 6, 9, 13}));
  // After the last field, and on the line beyond it: the last field is copied.
  EXPECT_EQ(t.InsereApres(6), 7);
  EXPECT_EQ(t.InsereApres(8), 8);
  EXPECT_EQ(Variables(t), "V1 V2 V2 V3 V4 V5 V5 V5 ");
  EXPECT_THROW(t.InsereApres(10), ErreurService);
  TableChamps vide(Etat());
  EXPECT_EQ(vide.InsereApres(1), 1);
  EXPECT_EQ(vide.Nombre(), 1);
  EXPECT_EQ(vide.Cellule(1, kColNom), "");
}

TEST_F(TableChampsTest, DeletionMovesTheFollowingRowsUp) {
  TableChamps t = Table({{"V1", 4}, {"V2", 5}, {"V3", 6}});
  t.Supprime(1);
  EXPECT_EQ(Variables(t), "V2 V3 ");
  EXPECT_EQ(t.Debuts(), (std::vector<int32_t>{1, 6}));
  t.Supprime(3);  // the line beyond the last holds no field
  EXPECT_EQ(t.Nombre(), 2);
  TableChamps seul = Table({{"V1", 4}});
  seul.Supprime(1);
  EXPECT_EQ(seul.Nombre(), 0);
  EXPECT_EQ(seul.Grille(), "[]");
  seul.Supprime(1);
  EXPECT_EQ(seul.Nombre(), 0);
  EXPECT_THROW(seul.Supprime(2), ErreurService);
}

TEST_F(TableChampsTest, DuplicationCopiesTheChosenRowsInGridOrder) {
  TableChamps t = Table({{"V1", 1}, {"V2", 2}, {"V3", 3}, {"V4", 4}});
  const int32_t choisies[] = {2, 4};
  EXPECT_EQ(t.Duplique(3, choisies), 4);
  EXPECT_EQ(Variables(t), "V1 V2 V3 V2 V4 V4 ");
  // From the line beyond the end, the copies go last; rows chosen after the current one are
  // copied as they were before the first copy.
  TableChamps u = Table({{"V1", 1}, {"V2", 2}});
  const int32_t toutes[] = {1, 2};
  EXPECT_EQ(u.Duplique(3, toutes), 3);
  EXPECT_EQ(Variables(u), "V1 V2 V1 V2 ");
  EXPECT_EQ(u.Duplique(1, toutes), 2);
  EXPECT_EQ(Variables(u), "V1 V1 V2 V2 V1 V2 ");
}

TEST_F(TableChampsTest, SavedLinesLoadBackInOrderAndReplaceTheOldOnes) {
  Importe(R"(version = 1
    [fichiers.F]
    longueur = 8
    rubriques = [{ nom = "A", type = "A", total = 3, variable = "W1" }])");
  TableChamps t = Table({{"X1", 1}, {"X2", 300}, {"X3", 3}});
  ASSERT_TRUE(TableChamps(Etat()).ChargeFichier("F"));
  t.Sauve();
  TableChamps lue(Etat());
  ASSERT_TRUE(lue.ChargeFichier("F"));
  ASSERT_EQ(lue.Nombre(), 3);
  for (int32_t i = 1; i <= 3; ++i) {
    for (int c = 1; c <= kNbColonnes; ++c) EXPECT_EQ(lue.Texte(i, c), t.Texte(i, c)) << i << c;
  }
  EXPECT_EQ(lue.Total(2), 300);
  EXPECT_FALSE(lue.ChargeFichier("G"));
  // No line of the old list survives (the chain holds three lines, the file three live ones).
  // The text is read raw: the new lines are longer than the file's record, which the export
  // would refuse.
  EXPECT_EQ(EcritToml(LitDictionnaire(Etat())).find("W1"), std::string::npos);
}

}  // namespace
}  // namespace vesk::fic
