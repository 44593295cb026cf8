#include "srv/tui/grille.h"

#include <gtest/gtest.h>

#include "srv/tui/testing/ecran.h"
#include "srv/tui/touches.h"

namespace vesk::tui {
namespace {

TEST(Grille, WritesClipsAndReadsBack) {
  Grille g(10, 3);
  EXPECT_EQ(g.EcritUtf8(0, 7, "Début"), 12);  // clipped at the right edge
  EXPECT_EQ(g.Ligne(0), "       Déb");
  g.EcritUtf8(1, -2, "xyzé", kGras);
  EXPECT_EQ(g.Ligne(1), "zé");  // x and y fell left of the grid
  EXPECT_EQ(g.At(1, 1).attr, kGras);
  g.EcritUtf8(2, 0,
              "a\tb\x7f"
              "c");  // control characters never reach the terminal
  EXPECT_EQ(g.Ligne(2), "a·b·c");
  g.EcritUtf8(5, 0, "hors");  // below the grid: nothing
  EXPECT_EQ(g.Texte(), "       Déb\nzé\na·b·c");
  g.Redimensionne(4, 1);
  EXPECT_EQ(g.Texte(), "");
}

TEST(Touches, ScriptNamesRoundTrip) {
  for (int16_t code : {int16_t{kEntree}, int16_t{kHaut}, int16_t{kPageHaut}, int16_t{kEchap},
                       int16_t{kF1}, int16_t{kF1 + 6}}) {
    EXPECT_EQ(CodeDuNom(NomTouche(code)), code) << NomTouche(code);
  }
  EXPECT_EQ(CodeDuNom("<pgup>"), kPageHaut);
  EXPECT_FALSE(CodeDuNom("<F8>"));
  EXPECT_FALSE(CodeDuNom("F6"));
  EXPECT_TRUE(TermineSaisie(kF1 + 6));
  EXPECT_FALSE(TermineSaisie(kF1 + 7));
  EXPECT_FALSE(TermineSaisie(kBas));
}

TEST(Console, EscThenDigitIsAFunctionKey) {
  EcranDeTest e;
  e.terminal->Appuie(kEchap);
  e.terminal->Tape("3");
  e.terminal->Appuie(kEchap);
  e.terminal->Tape("9");
  e.terminal->Appuie(kEchap);
  EXPECT_EQ(e.console->LitTouche().code, kF1 + 2);
  EXPECT_EQ(e.console->LitTouche().code, kEchap);  // Esc then 9: both keys
  EXPECT_EQ(e.console->LitTouche(), Touche::Car(U'9'));
  EXPECT_EQ(e.console->LitTouche().code, kEchap);  // Esc alone
  EXPECT_EQ(e.console->LitTouche(0).code, kAucune);
}

TEST(Console, ResizeResizesTheGrid) {
  EcranDeTest e;
  e.terminal->ChangeTaille(100, 30);
  EXPECT_EQ(e.console->LitTouche().code, kRedimension);
  EXPECT_EQ(e.console->Ecran().Largeur(), 100);
  EXPECT_EQ(e.console->Ecran().Hauteur(), 30);
}

}  // namespace
}  // namespace vesk::tui
