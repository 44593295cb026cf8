// SrvJournalImpl: the journal of the maintenance tools, JOURNAL.LOG in the data folder (one line
// an entry, see ligne_log.h), and the configured CSV separator. One object per thread.
#ifndef VESK_SRV_LOG_SRV_JOURNAL_IMPL_H_
#define VESK_SRV_LOG_SRV_JOURNAL_IMPL_H_

#include <string>
#include <string_view>

#include "srv/config/configuration.h"
#include "srv/srv_journal.h"

namespace vesk {

class SrvJournalImpl : public SrvJournal {
 public:
  static constexpr std::string_view kNomFichier = "JOURNAL.LOG";

  explicit SrvJournalImpl(const Configuration& config);

  // Appends "AAAA-MM-JJ HH:MM:SS procedure : texte"; a write failure throws ErreurService.
  void Ecrit(std::string_view texte, std::string_view procedure) override;
  void SeparateurCsv(std::string& separateur) override { separateur = separateur_; }

  const std::string& Chemin() const { return chemin_; }

 private:
  std::string chemin_;
  bool synchro_;
  std::string separateur_;
};

}  // namespace vesk

#endif  // VESK_SRV_LOG_SRV_JOURNAL_IMPL_H_
