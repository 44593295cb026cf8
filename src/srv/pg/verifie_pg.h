// The verifier of a database store, as the folder's (srv/isam/verify.h): every data file and
// B-tree of its catalog checked against each other (record numbers without gaps, records and
// keys of their lengths, index entries naming live records, one to one for a primary tree) and
// the chainings given, their pointers agreeing both ways. It changes nothing. One thread.
#ifndef VESK_SRV_PG_VERIFIE_PG_H_
#define VESK_SRV_PG_VERIFIE_PG_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "srv/isam/verify.h"
#include "srv/pg/base_pg.h"

namespace vesk::pg {

// A chaining to check: the two files (of the company `entreprise`, "" at the root) and the
// 0-based offsets of the four pointers.
struct ChainageVerifPg {
  std::string entreprise;
  std::string entete, ligne;
  uint32_t premiere = 0, derniere = 0, precedente = 0, suivante = 0;
};

// Checks the store of b (every company) with the chainings given; problems go to the report.
// Throws ErreurService when the server cannot be read at all.
void VerifieBase(BasePg& b, const std::vector<ChainageVerifPg>& chainages,
                 isam::FolderReport* rapport);

// Checks one chaining alone, as VerifieBase does (its files looked up in the company, then at
// the root), in the current transaction if any: what is wrong with it, each naming the header
// record; what is wrong with the files themselves is not its concern.
std::vector<std::string> VerifieChainage(BasePg& b, const ChainageVerifPg& c);

// The chainings declared in b.
std::vector<ChainageVerifPg> ChainagesDeclares(BasePg& b);

// Checks the data file f.data ("CLIENT") of the company entreprise ("" at the root) with its
// trees (f.trees, each named as "CLI1") as isam::VerifyFile checks a folder's, with the same
// kinds and texts: the catalog's record length against f.record_length, record numbers from 1
// without gaps, each row of the record length; each tree in the catalog when the file has live
// records, indexing this file, its keys of its key length, one key per live record built by its
// make_key. f.on_record sees each live record. Reads one snapshot of the store, outside any
// batch. What the store holds is told to probleme; throws ErreurService only when the server
// cannot be reached.
void VerifieFichier(BasePg& b, const std::string& entreprise, const isam::FileToCheck& f,
                    const std::function<void(const isam::FileProblem&)>& probleme,
                    isam::FileTally* bilan);

// The companies ("" for the root) whose catalog holds the data file nom, in order.
std::vector<std::string> EntreprisesDuFichier(BasePg& b, const std::string& nom);

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_VERIFIE_PG_H_
