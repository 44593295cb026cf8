// SrvJournal: the journal of the maintenance tools (JOURNAL.LOG in the data folder) and the CSV
// field separator of generated exports. One object per thread.
#ifndef VESK_SRV_SRV_JOURNAL_H_
#define VESK_SRV_SRV_JOURNAL_H_

#include <string>
#include <string_view>

namespace vesk {

class SrvJournal {
 public:
  virtual ~SrvJournal() = default;

  // Appends a dated line "AAAA-MM-JJ HH:MM:SS procedure : texte" (UTF-8, LF) to the journal;
  // a write failure throws ErreurService.
  virtual void Ecrit(std::string_view texte, std::string_view procedure) = 0;
  // The CSV field separator: ";" unless configured (separateur_csv).
  virtual void SeparateurCsv(std::string& separateur) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_JOURNAL_H_
