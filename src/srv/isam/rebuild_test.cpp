// The rebuild on real files of a temporary data folder: compaction, renumbered chains, trees
// equal to trees built key by key, refusals that leave the folder as it was, a failed copy.
#include "srv/isam/rebuild.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

#include "srv/isam/fault_env.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/testing/engine.h"

namespace vesk::isam::testing {
namespace {

// The first longueur characters of a record, from offset at.
BArbreAReconstruire Arbre(const std::string& nom, int16_t longueur, char nature, size_t at) {
  return {nom, longueur, std::string(1, nature),
          [at, longueur](std::string_view rec, std::string& cle) {
            cle.assign(rec.substr(at, static_cast<size_t>(longueur)));
          }};
}

std::string Contenu(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// CLI (32 bytes: code 6, name 10) with CLI1 on the code and CLI2 on the name; FAC (32, first
// line at 26, last at 29) with FAC1 on its number, and its lines LIG (32, previous at 1, next
// at 4).
class RebuildTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    Ouvrir();
  }
  void Ouvrir() {
    cli_ = &Ouvre("Cli", 32);
    fac_ = &Ouvre("Fac", 32);
    lig_ = &Ouvre("Lig", 32);
    barbre_->B_Arbre(false, "Cli1", 6, "P", cli1_, "CLI", true);
    barbre_->B_Arbre(false, "Cli2", 10, "S", cli2_, "CLI", true);
    barbre_->B_Arbre(false, "Fac1", 8, "P", fac1_, "FAC", true);
    chainage_->Chainage("Fac", 32, 26, 29, "Lig", 32, 1, 4);
  }
  int32_t Client(const std::string& code, const std::string& nom) {
    cli_->champs = code + nom;
    int32_t no = 0;
    barbre_->Insere(cli1_, code, cli_->fichier, no);
    barbre_->InsS(cli2_, nom, no, cli_->fichier);
    return no;
  }
  void SupprimeClient(const std::string& code, const std::string& nom, int32_t no) {
    barbre_->Supprime(cli2_, nom, no, cli_->fichier);
    barbre_->Supprime(cli1_, code, no, cli_->fichier);
  }
  int32_t Facture(const std::string& numero) {
    fac_->champs = numero;
    int32_t no = 0;
    barbre_->Insere(fac1_, numero, fac_->fichier, no);
    return no;
  }
  int32_t Ligne(const std::string& texte) {
    lig_->champs = "      " + texte;
    int32_t no = 0;
    chainage_->AjouteLigne(lig_->fichier, no);
    return no;
  }
  PlanReconstruction PlanClients() {
    PlanReconstruction p;
    p.fichiers.push_back(
        {"Cli", false, true, {Arbre("Cli1", 6, 'P', 0), Arbre("Cli2", 10, 'S', 6)}});
    return p;
  }
  // The line file chosen, its header file beside it.
  PlanReconstruction PlanLignes() {
    PlanReconstruction p;
    p.fichiers.push_back({"Lig", false, true, {}});
    p.fichiers.push_back({"Fac", false, false, {Arbre("Fac1", 8, 'P', 0)}});
    p.chainages.push_back({1, 0, 26, 29, 1, 4});
    return p;
  }
  Status Reconstruit(const PlanReconstruction& plan, std::vector<RebuildEvent>* events = nullptr) {
    return Rebuild(
        *dossier_, plan,
        [&](const RebuildEvent& e) {
          if (events) events->push_back(e);
          return Status::Ok();
        },
        &result_);
  }
  // Every (key, record) of a tree, in order.
  std::vector<std::pair<std::string, int32_t>> Cles(int16_t arbre, Proprio& p) {
    std::vector<std::pair<std::string, int32_t>> out;
    bool trouve = false;
    std::string cle;
    for (barbre_->PremCle(arbre, p.fichier, trouve, cle); trouve;
         barbre_->SuivCle(arbre, p.fichier, trouve, cle)) {
      int32_t no = 0;
      donnee_->NoEnrCourant(p.fichier, no);
      out.emplace_back(cle, no);
    }
    return out;
  }

  Proprio* cli_ = nullptr;
  Proprio* fac_ = nullptr;
  Proprio* lig_ = nullptr;
  int16_t cli1_ = 0, cli2_ = 0, fac1_ = 0;
  RebuildResult result_;
};

// Deleted records at the start, in the middle and at the end: the live ones keep their order
// under numbers without gaps, and both trees equal trees built key by key on the new numbers.
TEST_F(RebuildTest, CompactionRenumbersInOrderAndRebuildsEveryTree) {
  std::vector<std::pair<std::string, std::string>> clients;
  for (int i = 0; i < 40; ++i) {
    clients.emplace_back("C" + std::to_string(100 + i) + "  ",
                         "NOM" + std::to_string(i % 7) + "      ");
    Client(clients.back().first, clients.back().second);
  }
  for (int i : {0, 1, 17, 18, 19, 39}) SupprimeClient(clients[i].first, clients[i].second, i + 1);
  std::vector<RebuildEvent> events;
  ASSERT_TRUE(Reconstruit(PlanClients(), &events).ok());
  EXPECT_EQ(result_.files[0].kept, 34u);
  EXPECT_EQ(result_.files[0].removed, 6u);
  EXPECT_EQ(result_.files[0].keys, (std::vector<uint64_t>{34, 34}));
  ASSERT_EQ(events.front().kind, RebuildEvent::Kind::kRecord);
  EXPECT_EQ(events.front().old_no, 3u);
  EXPECT_EQ(events.front().new_no, 1u);
  std::string t;
  donnee_->LireFichier(cli_->fichier, 16, t);  // old 21, five deleted records before it
  EXPECT_EQ(t.substr(0, 6), clients[20].first);
  // The same keys inserted one by one in a tree of the new numbers.
  std::vector<std::pair<std::string, int32_t>> attendu;
  int32_t n = 0;
  for (int i = 0; i < 40; ++i) {
    if (i == 0 || i == 1 || (i >= 17 && i <= 19) || i == 39) continue;
    attendu.emplace_back(clients[i].second, ++n);
  }
  std::stable_sort(attendu.begin(), attendu.end());
  EXPECT_EQ(Cles(cli2_, *cli_), attendu);
  Verify();
}

// Records that only the engine's count tells live, kept by the compaction: one made only of
// bytes of code 0 and one beginning "*SUP*", between deleted ones; and a file of the former
// version comes out in the current one, its deleted records gone.
TEST_F(RebuildTest, LiveRecordsOfAnyBytesAreKeptAndFormerFilesUpgraded) {
  Client("A00001", "UN        ");
  donnee_->EcrireFichier(cli_->fichier, 2, std::string(32, '\0'));
  SupprimeClient("A00001", "UN        ", 1);
  cli_->champs = "*SUP*2";
  int32_t no = 0;
  barbre_->Insere(cli1_, "*SUP*2", cli_->fichier, no);
  ASSERT_TRUE(Reconstruit(PlanClients()).ok());
  EXPECT_EQ(result_.files[0].kept, 2u);
  EXPECT_EQ(result_.files[0].keys, (std::vector<uint64_t>{2, 2}));
  std::string t;
  donnee_->LireFichier(cli_->fichier, 1, t);
  EXPECT_EQ(t, std::string(32, '\0'));
  donnee_->LireFichier(cli_->fichier, 2, t);
  EXPECT_EQ(t.substr(0, 6), "*SUP*2");

  CloseAll();
  std::unique_ptr<DataFile> v1;
  DataFile::Options o;
  o.create = true;
  o.version = kDataFormatVersion1;
  ASSERT_TRUE(DataFile::Open(Env::Default(), Path("ANC.DAT"), 8, o, &v1).ok());
  for (uint32_t i = 1; i <= 4; ++i) ASSERT_TRUE(v1->Write(i, "ancien " + std::to_string(i)).ok());
  ASSERT_TRUE(v1->MarkDeleted(2).ok());
  ASSERT_TRUE(v1->Sync().ok());
  v1.reset();
  Reopen();
  Ouvre("Anc", 8);
  PlanReconstruction anc;
  anc.fichiers.push_back({"Anc", false, true, {}});
  ASSERT_TRUE(Reconstruit(anc).ok());
  ASSERT_TRUE(DataFile::Open(Env::Default(), Path("ANC.DAT"), 8, {}, &v1).ok());
  EXPECT_EQ(v1->Header().version, kDataFormatVersion);
  EXPECT_EQ(v1->LastRecord(), 3u);
  std::string r(8, ' ');
  ASSERT_TRUE(v1->Read(2, r).ok());
  EXPECT_EQ(r, "ancien 3");
  v1.reset();
  Verify();
}

// Keys of 20 bytes over two letters (long shared runs, many equal), on a secondary tree: the
// rebuilt tree holds every (key, record) in the tree's order.
TEST_F(RebuildTest, LongKeysWithSharedRunsSortInTheTreesOrder) {
  std::mt19937 rng(3);
  std::vector<std::pair<std::string, uint32_t>> attendu;
  for (int i = 1; i <= 3000; ++i) {
    std::string cle(20, 'A');
    for (char& c : cle) c = rng() % 5 == 0 ? 'B' : 'A';
    cle[0] = 'Z';                                   // a prefix they all share
    donnee_->EcrireFichier(cli_->fichier, i, cle);  // record i appended
    attendu.emplace_back(cle, static_cast<uint32_t>(i));
  }
  std::sort(attendu.begin(), attendu.end());
  PlanReconstruction plan;
  plan.fichiers.push_back({"Cli", false, true, {Arbre("Long", 20, 'S', 0)}});
  ASSERT_TRUE(Reconstruit(plan).ok());
  std::unique_ptr<BTree> t;
  ASSERT_TRUE(BTree::Open(Env::Default(), Path("LONG.DAB"), 20, 'S', "", false, &t).ok());
  std::vector<std::pair<std::string, uint32_t>> lu;
  ASSERT_TRUE(t->ForEach([&](std::string_view k, uint32_t r) {
                 lu.emplace_back(std::string(k), r);
                 return true;
               }).ok());
  EXPECT_EQ(lu, attendu);
}

// No deleted record: the data file is not rewritten; all deleted: an empty file; and records
// no program may write but the engine holds live (made only of zeros but one byte) stay.
TEST_F(RebuildTest, NothingDeletedKeepsTheFileAndEverythingDeletedEmptiesIt) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  const auto avant = std::filesystem::last_write_time(root_ / "CLI.DAT");
  ASSERT_TRUE(Reconstruit(PlanClients()).ok());
  EXPECT_FALSE(result_.files[0].rewritten);
  EXPECT_EQ(std::filesystem::last_write_time(root_ / "CLI.DAT"), avant);
  EXPECT_EQ(Cles(cli1_, *cli_).size(), 2u);
  SupprimeClient("A00001", "UN        ", 1);
  SupprimeClient("A00002", "DEUX      ", 2);
  ASSERT_TRUE(Reconstruit(PlanClients()).ok());
  EXPECT_EQ(result_.files[0].removed, 2u);
  EXPECT_EQ(Size("CLI.DAT"), kDataHeaderSize);
  EXPECT_TRUE(Cles(cli1_, *cli_).empty());
  Client("A00003", "TROIS     ");  // the file goes on from record 1
  EXPECT_EQ(Cles(cli1_, *cli_), (std::vector<std::pair<std::string, int32_t>>{{"A00003", 1}}));
  Verify();
}

// The line file chosen: its lines move, their pointers and the headers' first and last
// pointers follow; the verifier walks every chain both ways.
TEST_F(RebuildTest, ChainedLinesMoveWithTheirHeaders) {
  Facture("F0000001");
  for (int i = 0; i < 5; ++i) Ligne("a" + std::to_string(i));
  Facture("F0000002");
  for (int i = 0; i < 4; ++i) Ligne("b" + std::to_string(i));
  bool trouve = false;
  barbre_->Recherche(fac1_, "F0000001", fac_->fichier, trouve);
  chainage_->SupprimeLigne(lig_->fichier, 1);
  chainage_->SupprimeLigne(lig_->fichier, 3);
  std::vector<RebuildEvent> events;
  ASSERT_TRUE(Reconstruit(PlanLignes(), &events).ok());
  EXPECT_TRUE(result_.files[0].rewritten);
  EXPECT_TRUE(result_.files[1].rewritten);
  EXPECT_EQ(result_.files[1].keys, std::vector<uint64_t>{2});
  std::vector<std::string> lignes;
  barbre_->Recherche(fac1_, "F0000002", fac_->fichier, trouve);
  int32_t no = 0;
  for (chainage_->PremLigne(lig_->fichier, no); no != 0; chainage_->SuivLigne(lig_->fichier, no)) {
    lignes.push_back(lig_->champs.substr(6, 2) + "@" + std::to_string(no));
  }
  EXPECT_EQ(lignes, (std::vector<std::string>{"b0@4", "b1@5", "b2@6", "b3@7"}));
  Verify();
}

// A primary key found twice, or a pointer to a deleted record: refused, named, and every file
// of the folder left byte for byte as it was.
TEST_F(RebuildTest, RefusalsLeaveTheFolderAsItWas) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  Client("A00003", "TROIS     ");
  // A tree on the name alone, as primary: "UN" and "TROIS" differ, so take the first letter.
  PlanReconstruction plan = PlanClients();
  plan.fichiers[0].arbres.push_back(Arbre("Cli3", 1, 'P', 0));
  ASSERT_TRUE(dossier_->Ecrit().ok());
  const std::string avant = Contenu(root_ / "CLI.DAT") + Contenu(root_ / "CLI1.DAB");
  Status s = Reconstruit(plan);
  EXPECT_TRUE(s.IsDuplicate());
  EXPECT_NE(s.message().find("clé « A » en double (enregistrements 2 et 3)"), std::string::npos)
      << s.message();
  EXPECT_EQ(Contenu(root_ / "CLI.DAT") + Contenu(root_ / "CLI1.DAB"), avant);
  EXPECT_FALSE(std::filesystem::exists(root_ / "CLI3.DAB"));
  EXPECT_FALSE(std::filesystem::exists(root_ / "CLI.DAT.NEUF"));
  EXPECT_FALSE(std::filesystem::exists(root_ / "VESK.REC"));
}

// Lines are renumbered only along chains that check, as the verifier checks them: a chain that
// does not (here the lines of the invoice record 1) is refused naming its header record, with
// every file left as it was, whatever --force was answered.
TEST_F(RebuildTest, ChainsThatDoNotCheckAreNeverRenumbered) {
  const std::pair<std::function<void(DataFile&)>, const char*> cas[] = {
      {[](DataFile& f) { ASSERT_TRUE(f.MarkDeleted(2).ok()); },  // line 2 deleted, still chained
       "en-tête 1 : la ligne 2 est supprimée"},
      {[](DataFile& f) {  // line 3's backward pointer names line 9
         ASSERT_TRUE(f.WritePart(3, 0, std::string_view("\0\0\x09", 3)).ok());
       },
       "en-tête 1 : le pointeur arrière de la ligne 3 ne désigne pas 2"},
  };
  for (const auto& [dommage, message] : cas) {
    Reopen();
    for (const char* f : {"FAC.DAT", "FAC1.DAB", "LIG.DAT"}) std::filesystem::remove(root_ / f);
    Ouvrir();
    Facture("F0000001");
    for (const char* l : {"l1", "l2", "l3", "l4"}) Ligne(l);
    chainage_->SupprimeLigne(lig_->fichier, 4);  // a deletion: the lines move
    ASSERT_TRUE(dossier_->Ecrit().ok());
    dommage(*dossier_->Fichier(lig_->fichier)->fichier);
    ASSERT_TRUE(dossier_->Ecrit().ok());
    const std::string avant = Contenu(root_ / "LIG.DAT") + Contenu(root_ / "FAC.DAT");
    Status s = Reconstruit(PlanLignes());
    EXPECT_TRUE(s.IsCorruption()) << message;
    EXPECT_NE(s.message().find(message), std::string::npos) << s.message();
    EXPECT_TRUE(result_.refused);
    EXPECT_EQ(Contenu(root_ / "LIG.DAT") + Contenu(root_ / "FAC.DAT"), avant);
  }
}

// While the rebuild runs, another user of the folder waits for the lock and, past its wait, is
// told the folder is locked: it never reads a file half rebuilt.
TEST_F(RebuildTest, OtherUsersWaitWhileTheRebuildRuns) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  ASSERT_TRUE(dossier_->Ecrit().ok());
  auto autre = std::make_shared<DossierDonnees>(Env::Default(), dir_, "", 1 << 20);
  autre->DelaiVerrou(50);
  int vus = 0;
  RebuildResult r;
  ASSERT_TRUE(Rebuild(
                  *dossier_, PlanClients(),
                  [&](const RebuildEvent&) {
                    Status s = autre->EntreLecture();
                    EXPECT_EQ(s.code(), Status::Code::kLocked) << s.message();
                    EXPECT_NE(s.message().find("fichier verrouillé"), std::string::npos);
                    if (s.ok()) autre->SortLecture();
                    ++vus;
                    return Status::Ok();
                  },
                  &r)
                  .ok());
  EXPECT_GT(vus, 0);
  ASSERT_TRUE(autre->EntreLecture().ok());  // free again once it is over
  autre->SortLecture();
}

// A progress that fails (its screen gone) stops the rebuild before anything is put in place,
// and a rebuild asked inside a batch is a misuse, not a refusal of what the files hold.
TEST_F(RebuildTest, AFailedProgressOrABatchLeavesTheFilesAsTheyWere) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  ASSERT_TRUE(dossier_->Ecrit().ok());
  const std::string avant = Contenu(root_ / "CLI.DAT");
  RebuildResult r;
  Status s = Rebuild(
      *dossier_, PlanClients(),
      [](const RebuildEvent& e) {
        return e.kind == RebuildEvent::Kind::kTree ? Status::IOError("écran fermé") : Status::Ok();
      },
      &r);
  EXPECT_NE(s.message().find("écran fermé"), std::string::npos) << s.message();
  EXPECT_FALSE(r.in_place || r.refused);
  EXPECT_EQ(Contenu(root_ / "CLI.DAT"), avant);
  ASSERT_TRUE(dossier_->DebutLot().ok());
  s = Reconstruit(PlanClients());
  EXPECT_FALSE(s.ok() || result_.refused) << s.message();
  ASSERT_TRUE(dossier_->FinLot().ok());
  EXPECT_EQ(Contenu(root_ / "CLI.DAT"), avant);
}

// A folder given with a final separator ("/data/app/") names its files as any other: the set
// goes in place whole and nothing is left aside.
TEST_F(RebuildTest, AFolderNamedWithAFinalSeparator) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  CloseAll();
  auto d = std::make_shared<DossierDonnees>(Env::Default(), dir_ + "/", "", 1 << 20);
  RebuildResult r;
  Status s = Rebuild(*d, PlanClients(), nullptr, &r);
  ASSERT_TRUE(s.ok()) << s.message();
  EXPECT_TRUE(r.in_place);
  EXPECT_EQ(r.files[0].kept, 1u);
  for (const auto& e : std::filesystem::directory_iterator(root_)) {
    EXPECT_EQ(e.path().extension() == ".NEUF" || e.path().extension() == ".ANC", false) << e.path();
  }
}

// A state byte of no meaning is damage, and so is a deleted record the header does not count:
// named, and nothing rewritten (never read as live, never compacted by a guess).
TEST_F(RebuildTest, ADamagedStateByteIsRefused) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  CloseAll();
  for (auto [octet, attendu] : {std::pair{'\x07', "enregistrement 2 de"},
                                std::pair{'\x02', "compte 1 enregistrements supprimés"}}) {
    {
      std::fstream f(root_ / "CLI.DAT", std::ios::in | std::ios::out | std::ios::binary);
      f.seekp(kDataHeaderSize + 33);  // the state byte of record 2
      f.put(octet);
    }
    const std::string avant = Contenu(root_ / "CLI.DAT");
    Reopen();
    Ouvrir();
    Status s = Reconstruit(PlanClients());
    EXPECT_TRUE(s.IsCorruption()) << s.message();
    EXPECT_TRUE(result_.refused);
    EXPECT_NE(s.message().find(attendu), std::string::npos) << s.message();
    EXPECT_EQ(Contenu(root_ / "CLI.DAT"), avant);
    CloseAll();
  }
}

// Another user of the folder (its own folder object) sees the rebuilt files at its next lock.
TEST_F(RebuildTest, OtherUsersReopenTheRebuiltFiles) {
  Client("A00001", "UN        ");
  Client("A00002", "DEUX      ");
  SupprimeClient("A00001", "UN        ", 1);
  ASSERT_TRUE(dossier_->Ecrit().ok());
  auto autre = std::make_shared<DossierDonnees>(Env::Default(), dir_, "", 1 << 20);
  SrvDonneeImpl donnee(autre);
  SrvBArbreImpl barbre(autre);
  Proprio p(&donnee, "Cli");
  donnee.Donnee(false, "Cli", 32, p.fichier, &p, "", "", "", true);
  int16_t arbre = 0;
  barbre.B_Arbre(false, "Cli1", 6, "P", arbre, "CLI", true);
  bool trouve = false;
  barbre.Recherche(arbre, "A00002", p.fichier, trouve);
  int32_t no = 0;
  donnee.NoEnrCourant(p.fichier, no);
  EXPECT_EQ(no, 2);
  ASSERT_TRUE(Reconstruit(PlanClients()).ok());
  std::string texte;
  donnee.LireFichier(p.fichier, 1, texte);  // its next use of the folder reopens the files
  donnee.NoEnrCourant(p.fichier, no);
  EXPECT_EQ(no, 0);  // the numbers known before the compaction no longer hold
  barbre.Recherche(arbre, "A00002", p.fichier, trouve);
  ASSERT_TRUE(trouve);
  donnee.NoEnrCourant(p.fichier, no);
  EXPECT_EQ(no, 1);
  EXPECT_EQ(p.champs.substr(0, 6), "A00002");

  // A tree rebuilt with keys long enough to need larger nodes cannot be followed by an open
  // handle: every later use says so, none reads the old file or the new one wrongly.
  PlanReconstruction longues = PlanClients();
  longues.fichiers[0].arbres[0] = Arbre("Cli1", 1000, 'P', 0);
  Status s = Reconstruit(longues);
  EXPECT_TRUE(result_.in_place);
  EXPECT_NE(s.message().find("longueur de noeud changée"), std::string::npos) << s.message();
  for (int essai = 0; essai < 2; ++essai) {
    try {
      barbre.Recherche(arbre, "A00002", p.fichier, trouve);
      ADD_FAILURE() << "un B-arbre d'une autre géométrie a été lu";
    } catch (const ErreurService& e) {
      EXPECT_NE(std::string(e.what()).find("longueur de noeud changée"), std::string::npos)
          << e.what();
    }
  }
}

std::string P(std::string_view name) { return platform::JoinPath("d", name); }

// Every write, sync, rename or removal of a rebuild failing in turn, in memory: each failure
// reports the new files as not put in place (or a cleaning left to the next user) and leaves
// the files as they were, until a run goes through.
TEST(RebuildFaults, AFailureAtAnyStepLeavesTheOldFiles) {
  int copies = 0;  // failures while the new files were written or put in place
  for (uint64_t n = 1;; ++n) {
    MemEnv base;
    FaultEnv env(&base);
    auto dossier = std::make_shared<DossierDonnees>(&env, "d", "", 1 << 20);
    dossier->Synchro(false);  // each commit written to the files at once, as dat and dab below
    SrvDonneeImpl donnee(dossier);
    SrvBArbreImpl barbre(dossier);
    Proprio p(&donnee, "Cli");
    donnee.Donnee(false, "Cli", 16, p.fichier, &p, "", "", "", true);
    int16_t arbre = 0;
    barbre.B_Arbre(false, "Cli1", 6, "P", arbre, "CLI", true);
    for (int i = 0; i < 30; ++i) {
      p.champs = "K" + std::to_string(10000 + i);
      int32_t no = 0;
      barbre.Insere(arbre, p.champs, p.fichier, no);
    }
    barbre.Supprime(arbre, "K10003", 4, p.fichier);
    ASSERT_TRUE(dossier->Ecrit().ok());
    const std::string dat = *base.Contents(P("CLI.DAT")), dab = *base.Contents(P("CLI1.DAB"));
    PlanReconstruction plan;
    plan.fichiers.push_back(
        {"Cli", false, true, {{"Cli1", 6, "P", [](std::string_view r, std::string& k) {
                                 k.assign(r.substr(0, 6));
                               }}}});
    env.FailAt(FaultEnv::Op::kWrite, n, platform::Code::kNoSpace);
    const uint64_t writes = env.Count(FaultEnv::Op::kWrite);
    RebuildResult result;
    Status s = Rebuild(*dossier, plan, nullptr, &result);
    if (env.Count(FaultEnv::Op::kWrite) - writes < n) {
      ASSERT_TRUE(s.ok()) << s.message();
      EXPECT_EQ(result.files[0].removed, 1u);
      EXPECT_GT(copies, 5);
      break;
    }
    ASSERT_FALSE(s.ok()) << n;
    if (!result.in_place) {
      EXPECT_EQ(*base.Contents(P("CLI.DAT")), dat) << n;
      EXPECT_EQ(*base.Contents(P("CLI1.DAB")), dab) << n;
    }
    if (result.copy_failed) ++copies;
    bool found = false;  // what the next user does: the folder ends whole
    ASSERT_TRUE(ReplaceSet::Recover(&env, "d", "", dossier->NonceRemplacement(), &found).ok()) << n;
    EXPECT_EQ(base.Contents(P("CLI.DAT.NEUF")), nullptr) << n;
    ASSERT_LT(n, 500u);
  }
}

}  // namespace
}  // namespace vesk::isam::testing
