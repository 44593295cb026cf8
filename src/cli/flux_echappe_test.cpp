// Control characters quoted from files never reach the terminal as they are: the filter of the
// error stream writes them as visible escapes, in the unit and in the real program.
#include "cli/flux_echappe.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/testing/binaire.h"

namespace {

using vesk::cli::EchappeControles;
using vesk::cli::TamponEchappe;
using vesk::cli::testing::Ecrit;
using vesk::cli::testing::Execution;
using vesk::cli::testing::VeskTest;
namespace fs = std::filesystem;

TEST(EchappeControles, EscapesWhatActsOnATerminalAndKeepsTheRest) {
  const std::pair<std::string, std::string> cas[] = {
      {"é « ligne »\n\ttab", "é « ligne »\n\ttab"},
      {"\x1b]0;titre\x07", "\\x1B]0;titre\\x07"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\x7f\r", "\\x7F\\x0D"},
      {"\xc2\x9d"
       "8;;x\xc2\x9c",
       "\\u009D8;;x\\u009C"},      // OSC and ST of the C1 set
      {"\xff\xc3", "\\xFF\\xC3"},  // bytes that are not UTF-8
  };
  for (const auto& [entree, sortie] : cas) EXPECT_EQ(EchappeControles(entree), sortie);

  // Through the stream, a character cut between two writes stays whole.
  std::ostringstream cible;
  {
    TamponEchappe tampon(cible.rdbuf());
    std::ostream flux(&tampon);
    flux << "x\xc3" << std::flush << "\xa9\x1b\n"
         << "fin";
  }
  EXPECT_EQ(cible.str(), "x\xc3\xa9\\x1B\nfin");
}

TEST_F(VeskTest, ControlCharactersOfFilesAreEscapedInMessages) {
  ASSERT_EQ(Lance("init donnees").status, 0);
  Ecrit(dossier_ / "dico.toml",
        "version = 1\n[domaines.A]\nnom = \"x\\u001b]0;titre\\u0007\"\nfichier = \"A\"\n");
  fs::create_directories(dossier_ / "autre");
  Ecrit(dossier_ / "autre" / "vesk.ini",
        "synchro = o\x1b]0;titre\x07"
        "ff\n");
  const std::pair<std::string, std::string> cas[] = {
      {"--data donnees import dico.toml", "x\\x1B]0;titre\\x07"},
      {"--data autre config", "o\\x1B]0;titre\\x07ff"},
  };
  for (const auto& [commande, attendu] : cas) {
    const Execution e = Lance(commande);
    EXPECT_EQ(e.status, 1) << commande;
    EXPECT_NE(e.erreurs.find(attendu), std::string::npos) << commande << " : " << e.erreurs;
    EXPECT_EQ(e.erreurs.find('\x1b'), std::string::npos) << commande;
  }
}

}  // namespace
