// Data folders met through symbolic links and without write access, by the real vesk program.
// No entry of a data folder is a link: the first open refuses one, naming it, before anything
// is written (nothing lands where a link points, no file is created outside). A folder the
// user may not write is read by every reading command; what writes is refused, and a recovery
// left pending is refused with who can do it. Run as root (CI), the unprivileged user's part
// runs as "nobody" through setpriv, since root ignores file modes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "cli/testing/binaire.h"

namespace {

namespace fs = std::filesystem;
using vesk::cli::testing::Contenu;
using vesk::cli::testing::Ecrit;
using vesk::cli::testing::Execution;
using vesk::cli::testing::VeskTest;

// One link: where it is put in the demo folder (its path inside), what it points to outside
// (its path inside "dehors"; made from the folder's own entry when `deplace`, else a file of
// its own), and whether that target is left absent (a dangling link).
struct Lien {
  const char* dans;
  const char* dehors;
  bool deplace;
  bool pendant;
};

const Lien kLiens[] = {
    {"VESK.JNL", "journal", false, false},  // a plain export would have cut it to 0 bytes
    {"VESK.LCK", "verrou", false, false},   // an import would have overwritten it
    {"FIC.DAB", "cree.dab", false, true},   // an export would have created it
    {"01", "01", true, false},              // a company folder
    {"LFIC.DAT", "LFIC.DAT", true, false},  // a dictionary file
};

// Named in the test list by where the link is.
void PrintTo(const Lien& l, std::ostream* os) { *os << l.dans; }

class LienDansLeDossier : public VeskTest, public ::testing::WithParamInterface<Lien> {};

TEST_P(LienDansLeDossier, IsRefusedAtTheFirstOpenAndNothingIsWrittenThroughIt) {
  const Lien& l = GetParam();
  ASSERT_EQ(Lance("demo demo").status, 0);
  const std::string sain = Lance("--data demo export").sortie;
  const fs::path dans = dossier_ / "demo" / l.dans, dehors = dossier_ / "dehors" / l.dehors;
  fs::create_directories(dossier_ / "dehors");
  if (l.deplace) {
    fs::rename(dans, dehors);
  } else {
    if (!l.pendant) Ecrit(dehors, "à garder");
    fs::remove(dans);
  }
  fs::create_symlink(dehors, dans);
  const std::string avant = l.deplace || l.pendant ? "" : Contenu(dehors);
  for (const char* commande : {"export", "import sain.toml", "decl CLIENT"}) {
    Ecrit(dossier_ / "sain.toml", sain);
    const Execution e = Lance(std::string("--data demo ") + commande);
    EXPECT_EQ(e.status, 1) << commande;
    EXPECT_NE(e.erreurs.find(std::string(l.dans) + " est un lien symbolique"), std::string::npos)
        << commande << " : " << e.erreurs;
  }
  if (l.pendant) {
    EXPECT_FALSE(fs::exists(dehors));
  }
  if (!l.deplace && !l.pendant) {
    EXPECT_EQ(Contenu(dehors), avant);
  }
  // The link replaced by what it pointed to (the tree it replaced rebuilt), the folder opens as
  // before.
  fs::remove(dans);
  if (l.deplace) fs::rename(dehors, dans);
  if (l.pendant) {
    ASSERT_EQ(Lance("--data demo reconsba --dictionnaire").status, 0);
  }
  const Execution apres = Lance("--data demo export");
  EXPECT_EQ(apres.status, 0) << apres.erreurs;
  EXPECT_EQ(apres.sortie, sain);
}

INSTANTIATE_TEST_SUITE_P(Cases, LienDansLeDossier, ::testing::ValuesIn(kLiens),
                         [](const ::testing::TestParamInfo<Lien>& i) {
                           std::string nom = i.param.dans;
                           std::erase(nom, '.');
                           return "Lien" + nom;
                         });

// Runs vesk (a copy every user can run) as a user without write access to the folder: "nobody"
// when the test runs as root, else the test's own user on a folder made read-only.
class DossierEnLectureSeule : public VeskTest {
 protected:
  void SetUp() override {
    VeskTest::SetUp();
    fs::permissions(dossier_, fs::perms::all, fs::perm_options::add);
    fs::copy_file(VESK_BINAIRE, dossier_ / "vesk");
    fs::copy_file(VESK_VERIFICATEUR, dossier_ / "vesk-check");
    fs::create_directories(dossier_ / "sortie");
    fs::permissions(dossier_ / "sortie", fs::perms::all);
    racine_ = ::geteuid() == 0;
  }
  Execution Lecteur(const std::string& programme, const std::string& arguments) {
    const std::string qui =
        racine_ ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : std::string();
    return LanceProgramme("/usr/bin/env", qui + "./" + programme + " " + arguments);
  }
  // The demo folder and its files, every write bit off.
  void Protege(const fs::path& d) {
    for (const auto& e : fs::recursive_directory_iterator(d)) {
      fs::permissions(e.path(),
                      fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                      fs::perm_options::remove);
    }
    fs::permissions(d, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
  }
  bool racine_ = false;
};

TEST_F(DossierEnLectureSeule, ReadingCommandsWorkAndWhatWritesIsRefused) {
  ASSERT_EQ(Lance("demo demo").status, 0);
  const std::string sain = Lance("--data demo export").sortie;
  Ecrit(dossier_ / "sain.toml", sain);
  Protege(dossier_ / "demo");
  struct Cas {
    const char* programme;
    const char* arguments;
    int status;
    const char* attendu;  // in the output (status 0) or the errors
  };
  const Cas cas[] = {
      {"vesk", "--data demo export", 0, "[fichiers.CLIENT]"},
      {"vesk", "--data demo decl CLIENT", 0, "CLIENT"},
      {"vesk", "--data demo --output sortie/client.txt edtfic CLIENT", 0, ""},
      {"vesk-check", "demo", 0, ": correct"},
      {"vesk", "--data demo verifie", 0, ": correct"},
      {"vesk", "--data demo donnees FACTUR", 0, "FANUM;FACLI;FADAT;FAMHT;FAPREM;FADERN"},
      {"vesk", "--data demo import sain.toml", 1, "ne peut être écrit (dossier en lecture seule"},
  };
  for (const Cas& c : cas) {
    const Execution e = Lecteur(c.programme, c.arguments);
    EXPECT_EQ(e.status, c.status) << c.arguments << " : " << e.erreurs;
    EXPECT_NE((c.status == 0 ? e.sortie : e.erreurs).find(c.attendu), std::string::npos)
        << c.arguments << " : " << e.sortie << e.erreurs;
  }
  EXPECT_GT(fs::file_size(dossier_ / "sortie" / "client.txt"), 0u);
}

// A writer died in a commit: the journal must be replayed, which a reader cannot do. It is told
// so; the folder's owner opens it once, and the reader reads again.
TEST_F(DossierEnLectureSeule, APendingRecoveryIsLeftToAUserWhoCanWrite) {
  ASSERT_EQ(Lance("demo demo").status, 0);
  const std::string sain = Lance("--data demo export").sortie;
  std::string etat = Contenu(dossier_ / "demo" / "VESK.LCK");
  ASSERT_GE(etat.size(), 17u);
  etat[16] = 1;  // the `writing` flag of the state word
  Ecrit(dossier_ / "demo" / "VESK.LCK", etat);
  Protege(dossier_ / "demo");
  const Execution refus = Lecteur("vesk", "--data demo export");
  EXPECT_EQ(refus.status, 1);
  EXPECT_NE(refus.erreurs.find("attend une reprise"), std::string::npos) << refus.erreurs;
  EXPECT_NE(refus.erreurs.find("un utilisateur qui a le droit d'y écrire doit l'ouvrir une fois"),
            std::string::npos)
      << refus.erreurs;
  fs::permissions(dossier_ / "demo", fs::perms::owner_write, fs::perm_options::add);
  fs::permissions(dossier_ / "demo" / "VESK.LCK", fs::perms::owner_write, fs::perm_options::add);
  if (!racine_) {  // the owner is the test's user: the reader is it too, once the folder is open
    EXPECT_EQ(Lance("--data demo export").sortie, sain);
    return;
  }
  ASSERT_EQ(Lance("--data demo export").status, 0);  // root, who may write, recovers
  const Execution apres = Lecteur("vesk", "--data demo export");
  EXPECT_EQ(apres.status, 0) << apres.erreurs;
  EXPECT_EQ(apres.sortie, sain);
}

}  // namespace
