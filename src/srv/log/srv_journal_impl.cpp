#include "srv/log/srv_journal_impl.h"

#include "platform/platform.h"
#include "srv/log/ligne_log.h"

namespace vesk {

SrvJournalImpl::SrvJournalImpl(const Configuration& config)
    : chemin_(config.CheminDonnees(kNomFichier)),
      synchro_(config.synchro == Synchro::kFull),
      separateur_(config.separateur_csv) {}

void SrvJournalImpl::Ecrit(std::string_view texte, std::string_view procedure) {
  AjouteLigne(chemin_, LigneLog(Horodatage(platform::Maintenant()), procedure, texte), synchro_,
              "Écriture du journal");
}

}  // namespace vesk
