// The code generators' per-thread state: the generated text (the text of the form "Génération
// de Code"), the anomalies reported during the current generation, and the instruction record
// with its count of recorded lines. One object per thread, created on first use; the host reads
// the text and the anomalies of the last generation through EtatGen() or its display hook.
// Why apart from the component's module state (Etat(), core/etat_module.h): the record and the
// form belong to the generators, which sit above core; and they outlive a session: OublieEtat
// closes the dictionary and drops the services, while the form and its text stay until the
// component is unloaded, readable by the host after the command that generated them.
// Thread rules: each thread sees only its own state; nothing here is shared or locked, apart
// from the process-wide display hook (installed under a lock).
#ifndef VESK_GENCODE_ETAT_GENCODE_H_
#define VESK_GENCODE_ETAT_GENCODE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/arithmetique.h"

namespace vesk {

// One recorded line of the instruction record.
struct LigneInst {
  int16_t indentation = 0;  // leading spaces of the line as written
  std::string type;         // its kind (TypeInst)
  std::string identifiant;  // the identifier given with it, often empty
};

// One anomaly reported during a generation, as given to the anomaly service.
struct AnomalieGeneree {
  std::string message;
  std::string procedure;
};

class EtatGenCode {
 public:
  // The generated text: each line preceded by CR LF, nothing after the last.
  const std::string& Texte() const { return texte_; }
  // The anomalies reported since the last InitGenCode, in order.
  const std::vector<AnomalieGeneree>& Anomalies() const { return anomalies_; }
  // Number of InitGenCode calls made on this thread.
  int32_t Generations() const { return generations_; }

  // The condensed name of the listing (NCE): set by the data-entry program generator to the
  // file it generated for, written by the report generator; "" until then.
  const std::string& Nce() const { return nce_; }
  void AffecteNce(std::string_view nce) { nce_ = nce; }

  // Count of recorded lines (kept from one generation to the next).
  int32_t NbInst() const { return nb_inst_; }
  // Upper bound of the instruction record (-1 before the first InitGenCode).
  int32_t BorneInst() const { return static_cast<int32_t>(inst_.Taille()) - 1; }
  // Entry i of the record; an index outside 0..BorneInst() is an error.
  const LigneInst& Inst(int32_t i) const { return inst_[i]; }

  // InitGenCode's steps on this state, after the form is shown: VideTexte empties the text and
  // the anomalies and counts the generation; RecreeInst re-creates the record as entries 0 to
  // 10, all empty, keeping the count.
  void VideTexte();
  void RecreeInst();
  // Appends CR LF and the line to the text (linear: the text is never copied whole).
  void AjouteTexte(std::string_view ligne);
  void AjouteAnomalie(std::string_view message, std::string_view procedure);
  // Before a line is written: when the count has reached the record's upper bound, enlarges
  // the record (upper bound count × 2, entries kept). Before the thread's first InitGenCode
  // there is no record: an error naming operation.
  void PrepareEcriture(std::string_view operation);
  // Records a line at entry count + 1 and counts it (after PrepareEcriture).
  void Enregistre(LigneInst ligne);

 private:
  std::string texte_;
  std::string nce_;
  std::vector<AnomalieGeneree> anomalies_;
  TableBornee<LigneInst> inst_;
  int32_t nb_inst_ = 0;
  int32_t generations_ = 0;
};

// The calling thread's generator state, created on first use.
EtatGenCode& EtatGen();
// Drops the calling thread's generator state; the next use starts afresh (tests, benchmarks).
void OublieEtatGen();

// What the host does with the form: show it when a generation starts, and learn that one is
// complete. Called on the generating thread; the state stays readable after the call.
class AffichageGenCode {
 public:
  virtual ~AffichageGenCode() = default;
  // InitGenCode: the form is shown, still holding the previous generation's text, which is
  // emptied right after (a display that keeps the state sees it empty from then on).
  virtual void Montre(const EtatGenCode& etat) = 0;
  // TermineGenCode: the generation wrote its last line. A generation ended by an error does
  // not come here: its error reaches the host, which may still read EtatGen().
  virtual void Termine(const EtatGenCode& etat) = 0;
};

// Installs the display used by every thread that has none of its own (null: none).
void InstalleAffichageGenCode(std::shared_ptr<AffichageGenCode> affichage);
// Installs a display for the calling thread only.
void InstalleAffichageGenCodeThread(std::shared_ptr<AffichageGenCode> affichage);
// The display of the calling thread (its own, else the process-wide one); may be null.
std::shared_ptr<AffichageGenCode> AffichageCourant();

}  // namespace vesk

#endif  // VESK_GENCODE_ETAT_GENCODE_H_
