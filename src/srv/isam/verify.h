// The verifier of a data folder: reads every data file (.DAT) and B-tree (.DAB) of the folder
// and of its company sub-folders and checks them against each other: each B-tree's own
// invariants, index entries naming live records (one to one for a primary tree), deleted
// records counted and marked, and chaining pointers agreeing both ways. It changes nothing.
// Free functions; one thread at a time per folder.
#ifndef VESK_SRV_ISAM_VERIFY_H_
#define VESK_SRV_ISAM_VERIFY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "srv/disposition_chainages.h"
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

struct VerifyReport {
  std::vector<std::string> problems;  // empty when the folder is sound
  uint32_t files = 0;
  uint32_t trees = 0;
  uint64_t records = 0;  // live records
  uint64_t deleted = 0;
  uint64_t keys = 0;
  uint64_t chained_lines = 0;
};

// Checks the folder and its sub-folders (SubFolders) with the chainings given. A file that
// cannot be read at all is a problem of the report, not a failing Status; the Status fails only
// when the folder itself cannot be listed.
Status VerifyFolder(Env* env, const std::string& folder, const std::vector<ChainToCheck>& chains,
                    VerifyReport* report);

// The chainings declared in d, by path.
std::vector<ChainToCheck> DeclaredChains(DossierDonnees& d);

// The chainings a dictionary folder describes, as the component's layout says where
// (core/dictionnaire.h, kDispositionChainages): its own chaining (when both of its files are
// there) and each record of its file of chainings, looked up in the folder and in each of the
// sub-folders given. A record that does not describe a chaining (bad name or position) is a
// problem of the report.
Status DictionaryChains(Env* env, const std::string& folder,
                        const std::vector<std::string>& subfolders,
                        const DispositionChainages& layout, std::vector<ChainToCheck>* chains,
                        VerifyReport* report);

// The sub-folders of folder that the Env can list (company folders).
std::vector<std::string> SubFolders(Env* env, const std::string& folder);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_VERIFY_H_
