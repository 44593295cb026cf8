// The verifier of a data folder: reads every data file (.DAT) and B-tree (.DAB) of the folder
// and of its company sub-folders and checks them against each other: each B-tree's own
// invariants, index entries naming live records (one to one for a primary tree), deleted
// records counted and marked, and chaining pointers agreeing both ways. It changes nothing.
// Free functions; one thread at a time per folder.
#ifndef VESK_SRV_ISAM_VERIFY_H_
#define VESK_SRV_ISAM_VERIFY_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

// A chaining to check: the two files by path and the 0-based offsets of the four pointers.
struct ChainToCheck {
  std::string header;  // path of the header file
  std::string line;    // path of the line file
  uint32_t first = 0, last = 0, previous = 0, next = 0;
};

// How the key of a tree's entries is built from their records, to check that every key is its
// record's (a key that is not was written from other bytes, or its record changed without it).
// tree: the path of the .DAB; make_key: the key of a record's bytes (as on disk), which the
// verifier pads with spaces to the tree's key length. A failing builder is a problem of the report.
struct KeyToCheck {
  std::string tree;
  std::function<Status(std::string_view record, std::string* key)> make_key;
};

struct FolderReport {
  std::vector<std::string> problems;  // empty when the folder is sound
  uint32_t files = 0;
  uint32_t trees = 0;
  uint64_t records = 0;  // live records
  uint64_t deleted = 0;
  uint64_t keys = 0;
  uint64_t chained_lines = 0;
};

// Checks the folder dir and its sub-folders (CompanyFolders) with the chains given, and the
// keys of the trees keys names against their records. A file that cannot be read at all is
// a problem of the report, not a failing Status; the Status fails only when the folder itself
// cannot be listed.
Status VerifyFolder(Env* env, const std::string& dir, const std::vector<ChainToCheck>& chains,
                    FolderReport* report, const std::vector<KeyToCheck>& keys = {});

// Checks one chaining alone, as VerifyFolder does: the lines of each live header followed
// from its first-line pointer, each live and chained once, its backward pointer on the line
// before it, the last-line pointer on the last, and no live line chained under no header.
// problems receives what is wrong with the chain (each naming the header record); what is
// wrong with the files themselves is not its concern.
Status VerifyChain(Env* env, const ChainToCheck& chain, std::vector<std::string>* problems);

// The refusal of a rebuild that would renumber the lines of a chaining whose check gave
// problems (not empty): the first, how many others, and that nothing is written. Both stores'
// rebuilds give it.
std::string ChainRefusal(const std::vector<std::string>& problems);

// One problem of a file checked alone (VerifyFile): its kind, the record it is about (0 when
// it is about the file or a tree as a whole) and the text that says it.
struct FileProblem {
  std::string kind;  // one of the kKind... below, or a kind of the caller's record check
  uint32_t record = 0;
  std::string text;
};
inline constexpr std::string_view kKindFile = "fichier";             // the data file itself
inline constexpr std::string_view kKindTree = "arbre";               // a tree itself
inline constexpr std::string_view kKindNoKey = "clé absente";        // a live record, no key
inline constexpr std::string_view kKindManyKeys = "clés multiples";  // a record, several keys
inline constexpr std::string_view kKindOrphanKey = "clé orpheline";  // a key, no live record
inline constexpr std::string_view kKindWrongKey = "clé fausse";      // not the record's key

// A data file with every tree that indexes it, checked as a dictionary describes them.
struct FileToCheck {
  std::string data;            // path of the .DAT
  uint32_t record_length = 0;  // the record length it must have
  // Each tree of the file (an absent one is a problem when the file holds live records) and
  // how its keys are built: every tree holds exactly one key per live record, the one make_key
  // builds, and nothing else.
  std::vector<KeyToCheck> trees;
  // Called with each live record (its number and bytes), in record order; may be empty.
  std::function<void(uint32_t no, std::string_view record)> on_record;
};

struct FileTally {
  uint64_t records = 0;  // live records
  uint64_t deleted = 0;
  uint64_t keys = 0;  // keys of its trees
};

// The entries of one tree checked against the records of its data file, as both stores'
// verifiers check them: each entry names a live record (else kKindOrphanKey), at most one entry
// per record when one_per_record (else kKindManyKeys; End tells the live records left without
// any, kKindNoKey), and each key is the one check builds from its record (else kKindWrongKey).
// tree and data name the files in the texts ("CLI1.DAB", "CLIENT.DAT"); deleted: by record
// number - 1, the file's last record its size, 1 for a deleted record, kNoRecord for a number
// no record has (a database store's table can lack one). One thread.
class EntryCheck {
 public:
  static constexpr uint8_t kNoRecord = 2;
  EntryCheck(std::string tree, std::string data, const std::vector<uint8_t>& deleted,
             bool one_per_record, const KeyToCheck* check,
             std::function<void(const FileProblem&)> problem);
  // One entry of the tree, in key order. record gives the bytes of record no (asked only when
  // its key is to be built, for a live record).
  void Entry(std::string_view key, uint32_t no,
             const std::function<Status(std::string* record)>& record);
  void End();

 private:
  void KeyOf(std::string_view key, uint32_t no, const std::function<Status(std::string*)>& read);

  std::string tree_, data_;
  const std::vector<uint8_t>& deleted_;
  bool one_;
  const KeyToCheck* check_;
  std::function<void(const FileProblem&)> problem_;
  std::vector<uint8_t> seen_;
  std::string record_, expected_;
};

// Checks the file f as VerifyFolder checks a file and its trees (the data file against its
// header, each tree's invariants), with the stricter rule above for every tree, primary or
// secondary. Each problem goes to problem, none left out. The Status fails only when the
// checker itself cannot go on (never for what the files hold).
Status VerifyFile(Env* env, const FileToCheck& f,
                  const std::function<void(const FileProblem&)>& problem, FileTally* tally);

// The chains declared in d, by path.
std::vector<ChainToCheck> DeclaredChains(DossierDonnees& d);

// The sub-folders of dir that the Env can list (company folders).
std::vector<std::string> CompanyFolders(Env* env, const std::string& dir);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_VERIFY_H_
