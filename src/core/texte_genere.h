// EtatGenCode: the state of the code generators in a session: the generated text (the text of
// the form "Génération de Code"), the anomalies reported during the current generation, the
// instruction record with its count of recorded lines, and the condensed name of the listing
// the data-entry generator last set. A session holds its thread's (Session::Gen()); it outlives
// the session's services (OublieEtat closes the dictionary, the text stays readable by the host
// until the component is unloaded). The operations that write it are the generators' layer
// (gencode/tampon.h, gencode/disposition.h). One thread.
#ifndef VESK_CORE_TEXTE_GENERE_H_
#define VESK_CORE_TEXTE_GENERE_H_

#include <cstdint>
#include <set>
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

  // The section identifiers the report generator has written comments under in the generation
  // in progress.
  std::set<std::string>& Identifiants() { return identifiants_; }

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
  std::set<std::string> identifiants_;
  std::vector<AnomalieGeneree> anomalies_;
  TableBornee<LigneInst> inst_;
  int32_t nb_inst_ = 0;
  int32_t generations_ = 0;
};

}  // namespace vesk

#endif  // VESK_CORE_TEXTE_GENERE_H_
