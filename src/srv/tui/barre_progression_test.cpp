#include "srv/tui/barre_progression.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vesk::tui {
namespace {

TEST(BarreProgressionTest, TheLineSaysDoneTotalRateAndTimeLeft) {
  struct Cas {
    const char* libelle;
    int64_t fait, total;
    double secondes;
    const char* ligne;
  };
  for (const Cas& c : {
           Cas{"Compactage CLIENT", 0, 200000, 0, "Compactage CLIENT [----------------]  0/200000"},
           Cas{"Compactage CLIENT", 50000, 200000, 2,
               "Compactage CLIENT [####------------]  50000/200000  25000/s  reste 0:06"},
           Cas{"X", 250, 100, 1, "X [################]  250/100  250/s  reste 0:00"},
           Cas{"X", 1, 8000, 1, "X [----------------]  1/8000  1/s  reste 2:13:19"},
           Cas{"B-Arbre CLI1", 0, 0, 3, "B-Arbre CLI1"},
           Cas{"Import", 40, 0, 2, "Import  40  20/s"},
           Cas{"Réenregistrement très long des lignes", 1, 2, 0,
               "Réenregistrement très  [########--------]  1/2"},
       }) {
    EXPECT_EQ(BarreProgression::Ligne(c.libelle, c.fait, c.total, c.secondes), c.ligne)
        << c.libelle << " " << c.fait;
  }
}

// Drawn in place at most ten times a second, erased at the end; nothing at all off a terminal.
TEST(BarreProgressionTest, DrawsInPlaceNotTooOftenAndOnlyOnATerminal) {
  uint64_t ns = 0;
  std::ostringstream terminal, tube;
  BarreProgression barre(terminal, true, [&] { return ns; });
  BarreProgression muette(tube, false, [&] { return ns; });
  for (SuiviProgression* s :
       {static_cast<SuiviProgression*>(&barre), static_cast<SuiviProgression*>(&muette)}) {
    ns = 0;
    s->Debut("P", 100);
    for (int i = 1; i <= 100; ++i) {
      ns += 10'000'000;  // 10 ms a unit: a drawing every ten units
      s->Avance(i);
    }
    s->Fin();
  }
  EXPECT_EQ(tube.str(), "");
  const std::string t = terminal.str();
  size_t dessins = 0;
  for (size_t p = t.find("\rP ["); p != std::string::npos; p = t.find("\rP [", p + 1)) ++dessins;
  EXPECT_EQ(dessins, 11u);  // at Debut, then every 100 ms
  EXPECT_NE(t.find("\rP [################]  100/100  100/s  reste 0:00"), std::string::npos) << t;
  const size_t largeur = std::string("P [################]  100/100  100/s  reste 0:00").size();
  EXPECT_TRUE(t.ends_with("\r" + std::string(largeur, ' ') + "\r")) << t;
}

}  // namespace
}  // namespace vesk::tui
