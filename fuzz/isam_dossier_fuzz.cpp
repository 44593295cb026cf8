// Fuzzes a whole data folder as its users meet it: a folder of customers (a primary tree on the
// code, a secondary one on the town, both deep: four entries a node) and their chained lines
// is damaged by the input, its checksums then made valid again so that the damage reaches what
// lies behind them, and the folder is walked as the commands walk it (every key in order, the
// lines of each customer, lookups, the listing of a tree and its figures), verified (keys
// against records included) and rebuilt, in memory. Any outcome but a crash, a walk that does
// not end, or an error that is not the services' own is fine.
//
// The input is a list of edits, each: 1 byte the file (its value modulo 4: CLI.DAT, LIG.DAT,
// CLI1.DAB, CLI2.DAB), 3 bytes an offset (little-endian, modulo the file's size), 1 byte a
// length (modulo 8, plus 1), then that many bytes written there.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/dossier.h"
#include "srv/isam/env.h"
#include "srv/isam/rebuild.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/isam/testing/damage.h"
#include "srv/isam/verify.h"
#include "srv/proprietaire.h"

namespace {

using namespace vesk::isam;

const char* const kFiles[] = {"/f/CLI.DAT", "/f/LIG.DAT", "/f/CLI1.DAB", "/f/CLI2.DAB"};

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "isam_dossier_fuzz: %s\n", what);
  std::abort();
}

// The owner of both files: the current record of each is one text.
struct Owner : vesk::Proprietaire {
  int32_t IdMethode(std::string_view nom) override {
    const std::string n(nom);
    if (n == "LireCli") return 1;
    if (n == "EcrireCli") return 2;
    if (n == "LireLig") return 3;
    if (n == "EcrireLig") return 4;
    return -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    std::string& champs = id <= 2 ? cli : lig;
    const int16_t f = id <= 2 ? cli_file : lig_file;
    if (id % 2 == 1) {
      srv->LireFichier(f, no, champs);
    } else {
      srv->EcrireFichier(f, no, champs);
    }
  }
  vesk::SrvDonnee* srv = nullptr;
  int16_t cli_file = 0, lig_file = 0;
  std::string cli, lig;
};

// The services over one folder, its files and trees open.
struct Folder {
  explicit Folder(Env* env)
      : dossier(std::make_shared<DossierDonnees>(env, "/f", "", 1 << 20)),
        donnee(dossier),
        barbre(dossier),
        chainage(dossier) {
    dossier->Synchro(false);
    owner.srv = &donnee;
  }
  void Open() {
    donnee.Donnee(false, "Cli", 40, owner.cli_file, &owner, "", "", "", true);
    donnee.Donnee(false, "Lig", 30, owner.lig_file, &owner, "", "", "", true);
    barbre.B_Arbre(false, "Cli1", 8, "P", cli1, "CLI", true);
    barbre.B_Arbre(false, "Cli2", 4, "S", cli2, "CLI", true);
    chainage.Chainage("Cli", 40, 31, 34, "Lig", 30, 1, 4);
  }
  std::shared_ptr<DossierDonnees> dossier;
  vesk::SrvDonneeImpl donnee;
  vesk::SrvBArbreImpl barbre;
  vesk::SrvChainageImpl chainage;
  Owner owner;
  int16_t cli1 = 0, cli2 = 0;
};

// The sound folder's files, made once: 60 customers, 2 lines each, a few of each deleted.
const std::map<std::string, std::string>& Base() {
  static const std::map<std::string, std::string> base = [] {
    MemEnv env;
    BTreeOptions small;
    small.max_entries = 4;
    std::unique_ptr<BTree> t;
    Require(BTree::Open(&env, "/f/CLI1.DAB", 8, 'P', "CLI", true, small, &t).ok(), "CLI1");
    Require(BTree::Open(&env, "/f/CLI2.DAB", 4, 'S', "CLI", true, small, &t).ok(), "CLI2");
    t.reset();
    {
      Folder f(&env);
      f.Open();
      for (int i = 0; i < 60; ++i) {
        char code[9];
        std::snprintf(code, sizeof code, "C%07d", i);
        const std::string ville = "V" + std::to_string(i % 7) + "  ";
        f.owner.cli = std::string(code) + ville;
        int32_t no = 0;
        f.barbre.Insere(f.cli1, code, f.owner.cli_file, no);
        f.barbre.InsS(f.cli2, ville, no, f.owner.cli_file);
        for (int l = 0; l < 2; ++l) {
          f.owner.lig = "      ligne " + std::to_string(l);
          int32_t ligne = 0;
          f.chainage.AjouteLigne(f.owner.lig_file, ligne);
        }
        if (i % 9 == 4) {
          f.chainage.SupprimeLignes(f.owner.lig_file);
          f.barbre.Supprime(f.cli2, ville, no, f.owner.cli_file);
          f.barbre.Supprime(f.cli1, code, no, f.owner.cli_file);
        }
      }
      Require(f.dossier->Ecrit().ok(), "commit");
    }
    std::map<std::string, std::string> files;
    for (const char* p : kFiles) files[p] = *env.Contents(p);
    return files;
  }();
  return base;
}

// The input's edits applied to the sound files, every checksum then made valid.
void Damage(MemEnv& env, const uint8_t* data, size_t size) {
  std::vector<std::string*> files;
  for (const char* p : kFiles) {
    std::unique_ptr<vesk::platform::File> f;
    Require(env.OpenFile(p, vesk::platform::OpenMode::kCreate, &f).ok(), "mem");
    *env.Contents(p) = Base().at(p);
    files.push_back(env.Contents(p));
  }
  for (size_t at = 0; at + 5 <= size;) {
    std::string& file = *files[data[at] % 4];
    const size_t offset = (data[at + 1] | data[at + 2] << 8 | data[at + 3] << 16) % file.size();
    const size_t length = data[at + 4] % 8 + 1;
    at += 5;
    for (size_t i = 0; i < length && at < size && offset + i < file.size(); ++i) {
      file[offset + i] = static_cast<char>(data[at++]);
    }
  }
  testing::SealDataHeader(files[0]);
  testing::SealDataHeader(files[1]);
  testing::SealTree(files[2]);
  testing::SealTree(files[3]);
}

// Every key of a tree in order, from PremCle: the walk must end by itself within the entries
// the file can hold.
void Walk(Folder& f, int16_t arbre, const std::string& tree) {
  const uint64_t bound = tree.size() / 4096 * 1024 + 2;  // nodes of 4 KiB, at most 1,024 each
  bool found = false;
  std::string key;
  uint64_t steps = 0;
  for (f.barbre.PremCle(arbre, f.owner.cli_file, found, key); found;
       f.barbre.SuivCle(arbre, f.owner.cli_file, found, key)) {
    Require(++steps <= bound, "a walk of a tree does not end");
    int32_t ligne = 0;
    uint64_t lines = 0;
    for (f.chainage.PremLigne(f.owner.lig_file, ligne); ligne != 0;
         f.chainage.SuivLigne(f.owner.lig_file, ligne)) {
      Require(++lines <= 1u << 20, "a walk of a chain does not end");
    }
  }
}

// What the commands do with a folder, each step on its own: a refusal (ErreurService) ends it.
template <typename F>
void Step(F&& step) {
  try {
    step();
  } catch (const vesk::ErreurService&) {
  }
}

void Explore(MemEnv& env) {
  Folder f(&env);
  Step([&] { f.Open(); });
  if (f.cli1 == 0 || f.cli2 == 0) return;
  Step([&] { Walk(f, f.cli1, *env.Contents(kFiles[2])); });
  Step([&] { Walk(f, f.cli2, *env.Contents(kFiles[3])); });
  for (const char* key : {"C0000007", "C0000059", "C0000060", "A"}) {
    Step([&] {
      bool found = false;
      f.barbre.Recherche(f.cli1, key, f.owner.cli_file, found);
    });
  }
  for (const char* filter : {"", "C00000", "V3"}) {
    Step([&] {
      int32_t n = 0;
      std::string list;
      f.barbre.ListeEnr(std::string(filter).starts_with("V") ? f.cli2 : f.cli1, n, list, filter);
    });
  }
  for (int16_t arbre : {f.cli1, f.cli2}) {
    Step([&] {
      std::string a, b, c;
      f.barbre.DescBArbre(arbre, a, b, c);
      f.barbre.InfoBArbre(arbre, a);
    });
  }
}

void VerifyAndRebuild(MemEnv& env) {
  FolderReport rapport;
  const std::vector<ChainToCheck> chains = {{"/f/CLI.DAT", "/f/LIG.DAT", 30, 33, 0, 3}};
  auto head = [](std::string_view record, std::string* key) {
    *key = std::string(record.substr(0, 8));
    return Status::Ok();
  };
  (void)VerifyFolder(&env, "/f", chains, &rapport, {{"/f/CLI1.DAB", head}});
  auto plan = [](bool lines) {
    vesk::PlanReconstruction p;
    auto code = [](std::string_view r, std::string& k) { k.assign(r.substr(0, 8)); };
    auto town = [](std::string_view r, std::string& k) { k.assign(r.substr(8, 4)); };
    vesk::FichierAReconstruire cli{
        "Cli", false, !lines, {{"Cli1", 8, "P", code}, {"Cli2", 4, "S", town}}};
    if (lines) {
      p.fichiers.push_back({"Lig", false, true, {}});
      p.fichiers.push_back(cli);
      p.chainages.push_back({1, 0, 31, 34, 1, 4});
    } else {
      p.fichiers.push_back(cli);
    }
    return p;
  };
  for (bool lines : {true, false}) {
    DossierDonnees d(&env, "/f", "", 1 << 20);
    d.Synchro(false);
    RebuildResult result;
    (void)Rebuild(d, plan(lines), nullptr, &result);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemEnv env;
  Damage(env, data, size);
  Explore(env);
  VerifyAndRebuild(env);
  return 0;
}
