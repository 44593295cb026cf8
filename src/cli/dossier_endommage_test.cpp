// Damaged data folders met by the real vesk program: a dictionary B-tree whose nodes were
// changed and sealed again (valid checksums), lost, or whose file holds what no screen writes.
// Every command ends with status 1 and a message naming the damage, never a signal or a hang,
// and never a silent loss; what reconsba --dictionnaire can repair, it repairs.
#include <gtest/gtest.h>

#include <functional>

#include "cli/testing/binaire.h"
#include "srv/isam/redo_log.h"
#include "srv/isam/testing/damage.h"

namespace {

namespace fs = std::filesystem;
using vesk::cli::testing::Contenu;
using vesk::cli::testing::Ecrit;
using vesk::cli::testing::Execution;
using vesk::cli::testing::VeskTest;
using vesk::isam::testing::SealNode;
using vesk::isam::testing::SetInNode;

// Changes the bytes of a file.
void Change(const fs::path& chemin, const std::function<void(std::string*)>& change) {
  std::string octets = Contenu(chemin);
  change(&octets);
  Ecrit(chemin, octets);
}

// One damage: what it does to the demo folder, the commands that meet it, what their message
// says, and the command that brings the folder back: the dictionary's trees rebuilt from their
// files, which the message names, or (a record's own bytes damaged) the sound text imported.
struct Dommage {
  const char* nom;
  std::function<void(const fs::path& dossier)> fait;
  std::vector<const char*> commandes;
  const char* message;
  bool arbre;  // the damage is in a tree: reconsba --dictionnaire repairs it
};

// In FIC.DAB (keys of 6 bytes), node 1 is the only leaf: entry i at 16 + 10 i, its record
// number 6 bytes further; the link to the next leaf at 8; the entry count (2 bytes) at 2.
const Dommage kDommages[] = {
    {"EntryToRecordZero",
     [](const fs::path& d) {
       Change(d / "FIC.DAB", [](std::string* b) { SetInNode(b, 1, 22, 0, 4); });
     },
     {"export", "reconsba --tous", "edtlfic --output l.txt"},
     "renvoie à l'enregistrement 0 de FIC.DAT",
     true},
    {"LeafLinkedToItself",
     [](const fs::path& d) {
       Change(d / "FIC.DAB", [](std::string* b) { SetInNode(b, 1, 8, 1, 4); });
     },
     {"export", "reconsba --tous", "edtlfic --output l.txt"},
     "chaînage des feuilles rompu",
     true},
    {"LeafThatLostAnEntry",
     [](const fs::path& d) {
       Change(d / "FIC.DAB", [](std::string* b) { SetInNode(b, 1, 2, 2, 2); });
     },
     {"export", "reconsba --tous"},
     "2 clé(s) parcourue(s) pour 3 enregistrement(s) en service dans FIC.DAT",
     true},
    {"WrongKeyCount",
     [](const fs::path& d) {
       Change(d / "BA.DAB", [](std::string* b) { SetInNode(b, 0, 32, 2, 8); });
     },
     {"export", "decl CLIENT", "edtlfic --output l.txt"},
     "BA.DAB compte 2 clé(s) et BA.DAT 3 enregistrement(s)",
     true},
    {"FileTreeRemoved",
     [](const fs::path& d) { fs::remove(d / "FIC.DAB"); },
     {"export", "decl CLIENT"},
     "FIC.DAB absent alors que FIC.DAT contient 3 enregistrement(s)",
     true},
    {"DomainTreeRemoved",
     [](const fs::path& d) { fs::remove(d / "DOM.DAB"); },
     {"export"},
     "DOM.DAB absent alors que DOM.DAT contient 3 enregistrement(s)",
     true},
    {"TreeChecksum",
     [](const fs::path& d) { Change(d / "FIC.DAB", [](std::string* b) { (*b)[4096 + 20] ^= 1; }); },
     {"export", "reconsba FIC"},
     "FIC.DAB",
     true},
    {"ByteChangedInAFileName",
     [](const fs::path& d) {
       // Record 1 of FIC.DAT (slots of 33 bytes after the header): CLIENT, its first letter
       // becoming a byte no screen types.
       Change(d / "FIC.DAT", [](std::string* b) { (*b)[128 + 1] = '\xBC'; });
     },
     {"export"},
     "dont la clé est « ¼LIENT »",
     false},
    {"NulInADefinitionFile",
     [](const fs::path& d) { Ecrit(d / "PAYS.DOM", std::string("FR Fr\0nce\r\n", 11)); },
     {"export"},
     "définition « FR Fr\\x00nce » : caractère de contrôle refusé",
     false},
};

class DamagedFolder : public VeskTest, public ::testing::WithParamInterface<Dommage> {};

TEST_P(DamagedFolder, EveryCommandSaysSoAndOneCommandRepairs) {
  const Dommage& dommage = GetParam();
  ASSERT_EQ(Lance("demo demo").status, 0);
  const std::string sain = Lance("--data demo export").sortie;
  ASSERT_NE(sain.find("[fichiers.CLIENT]"), std::string::npos);
  dommage.fait(dossier_ / "demo");
  for (const char* commande : dommage.commandes) {
    const Execution e = Lance(std::string("--data demo ") + commande);
    EXPECT_EQ(e.status, 1) << commande << " : " << e.erreurs;
    EXPECT_NE(e.erreurs.find(dommage.message), std::string::npos) << commande << " : " << e.erreurs;
    EXPECT_EQ(e.erreurs.find("reconsba --dictionnaire") != std::string::npos, dommage.arbre)
        << commande << " : " << e.erreurs;
  }
  Ecrit(dossier_ / "sain.toml", sain);
  const Execution repare =
      Lance(dommage.arbre ? "--data demo reconsba --dictionnaire" : "--data demo import sain.toml");
  EXPECT_EQ(repare.status, 0) << repare.erreurs;
  const Execution apres = Lance("--data demo export");
  EXPECT_EQ(apres.status, 0) << apres.erreurs;
  EXPECT_EQ(apres.sortie, sain);
}

INSTANTIATE_TEST_SUITE_P(Cases, DamagedFolder, ::testing::ValuesIn(kDommages),
                         [](const ::testing::TestParamInfo<Dommage>& i) { return i.param.nom; });

// The demo's records and keys agree, character for character (a name with "é" padded by bytes
// shifted every field after it), and the verifier compares every key of a table with the key
// its record gives.
TEST_F(VeskTest, EveryKeyOfTheDemoIsItsRecordsAndTheVerifierChecksIt) {
  ASSERT_EQ(Lance("demo demo").status, 0);
  Execution sain = LanceProgramme(VESK_VERIFICATEUR, "demo");
  EXPECT_EQ(sain.status, 0) << sain.sortie;
  EXPECT_NE(sain.sortie.find(": correct"), std::string::npos) << sain.sortie;
  // Record 3 of CLIENT.DAT (slots of 129 bytes), its name changed under its keys.
  Change(dossier_ / "demo" / "01" / "CLIENT.DAT",
         [](std::string* b) { b->replace(128 + 2 * 129 + 1 + 6, 4, "Zorg"); });
  Execution faux = LanceProgramme(VESK_VERIFICATEUR, "demo");
  EXPECT_EQ(faux.status, 1);
  EXPECT_NE(
      faux.sortie.find("CLI2.DAB : la clé « Lefèvre SALiège » de l'enregistrement 3 de "
                       "CLIENT.DAT n'est pas celle de l'enregistrement (« Zorgvre SALiège »)"),
      std::string::npos)
      << faux.sortie;
}

// A replacement record made by hand, as its format is documented (state W, 01/CLIENT.DAT said
// not to exist before, so that undoing the set would remove it), without the folder's key: the
// next command drops it and removes nothing.
TEST_F(VeskTest, AHandMadeReplacementRecordRemovesNothing) {
  ASSERT_EQ(Lance("demo demo").status, 0);
  const std::string cible = "01/CLIENT.DAT";
  std::string b("VESKREC\x1A\x01\x00W\x00\x01\x00\x00\x00\x00", 17);
  b.push_back(static_cast<char>(cible.size()));
  b.push_back('\0');
  b += cible;
  std::string hashed = b;
  hashed[10] = '\0';
  const uint64_t h = vesk::isam::Hash64(hashed, 0);
  for (int i = 0; i < 8; ++i) b.push_back(static_cast<char>(h >> (8 * i)));
  Ecrit(dossier_ / "demo" / "VESK.REC", b);
  const Execution e = Lance("--data demo export");
  EXPECT_EQ(e.status, 0) << e.erreurs;
  EXPECT_TRUE(fs::exists(dossier_ / "demo" / "01" / "CLIENT.DAT"));
  EXPECT_FALSE(fs::exists(dossier_ / "demo" / "VESK.REC"));
}

}  // namespace
