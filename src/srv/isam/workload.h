// Workload: a seeded sequence of modifying service operations on a small invoicing folder —
// customers (CLI.DAT, primary B-tree CLI, secondary B-tree CLI2 by town) and their invoice lines
// (LIG.DAT, chained under CLI) — and a description of the folder's logical state, for the
// crash, fault-injection and multi-process checks. The workload keeps a model of the state its
// committed steps built. Thread rules: one thread; throws ErreurService when a service fails.
#ifndef VESK_SRV_ISAM_WORKLOAD_H_
#define VESK_SRV_ISAM_WORKLOAD_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/rebuild.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"

namespace vesk::isam {

class Workload {
 public:
  // Opens (creating) the files of dossier and declares the chaining. prefix (one letter) starts
  // every customer key, so that several workloads may share a folder.
  Workload(std::shared_ptr<DossierDonnees> dossier, uint64_t seed, char prefix = 'C');
  // The same over services of any store (a database's): dossier() is then not available.
  Workload(std::unique_ptr<SrvDonnee> donnee, std::unique_ptr<SrvBArbre> barbre,
           std::unique_ptr<SrvChainage> chainage, uint64_t seed, char prefix = 'C');
  ~Workload();

  // Performs the next step: one modifying operation (after the reads it needs). When it throws,
  // the model is left as it was (the step is tried again by the next call).
  void Step();
  int steps() const { return steps_; }
  // Keys of the customers the model holds.
  std::vector<std::string> Keys() const;
  // Checks every customer of the model through the services (key found, record and lines as
  // the model says); throws ErreurService naming the first difference.
  void CheckModel();

  // The rebuild of the line file (lines true: LIG compacted, the pointers of CLI renumbered,
  // CLI's two trees rebuilt) or of the customers' file (CLI compacted, its trees rebuilt).
  static PlanReconstruction Plan(bool lines);

  // Every record of the two data files and every entry of the three B-trees of the folder, as
  // text; two folders hold the same data exactly when their states are equal.
  static std::string State(DossierDonnees& d);
  // The customers of one prefix as this workload's services read them, whatever their record
  // numbers: each key, town and name, then the texts of its lines in order. Equal for a
  // workload that shared its folder with others and for the same one alone.
  std::string Vue(char prefix);

  DossierDonnees& dossier() { return *dossier_; }

 private:
  // The operations of one step, queued: each a few service calls.
  void QueueNewCustomer();
  void QueueAddLine(const std::string& key);
  void QueueDeleteLine(const std::string& key);
  void QueueRename(const std::string& key);
  void QueueDeleteCustomer(const std::string& key);
  struct Owner;
  struct Customer {
    int32_t no = 0;
    std::string town;
    int lines = 0;
  };
  void Find(const std::string& key);
  std::string NewKey();

  std::shared_ptr<DossierDonnees> dossier_;
  std::unique_ptr<SrvDonnee> donnee_;
  std::unique_ptr<SrvBArbre> barbre_;
  std::unique_ptr<SrvChainage> chainage_;
  std::unique_ptr<Owner> owner_;
  std::mt19937_64 rng_;
  char prefix_;
  int steps_ = 0;
  int next_key_ = 0;
  int16_t cli_ = 0, lig_ = 0, tree_ = 0, towns_ = 0;
  std::map<std::string, Customer> model_;
  // Steps decided but not done yet (a customer's removal takes several operations).
  std::deque<std::function<void()>> queue_;
};

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_WORKLOAD_H_
