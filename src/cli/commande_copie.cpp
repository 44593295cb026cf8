// `vesk copie SOURCE DESTINATION`: an application's data between a data folder and a database
// store, either way (docs/postgresql.md); the progress on the error output when it is a
// terminal. Built with the database store only.
#ifdef VESK_AVEC_PG
#include <unistd.h>

#include <chrono>
#include <ostream>

#include "cli/commandes.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/pg/copie_pg.h"

namespace vesk::cli {

namespace {

std::shared_ptr<pg::BasePg> Base(const std::string& uri) {
  AdresseBase adresse;
  const std::string pourquoi = AnalyseAdresseBase(uri, adresse);
  if (!pourquoi.empty()) throw ErreurService("Ligne de commande", uri, pourquoi);
  return std::make_shared<pg::BasePg>(adresse, "");
}

// The progress, rewritten in place on a terminal at most ten times a second.
class Avancement {
 public:
  explicit Avancement(std::ostream& sortie) : sortie_(sortie), terminal_(isatty(2) != 0) {}
  ~Avancement() {
    if (ecrit_) sortie_ << "\r\033[K" << std::flush;
  }
  void operator()(std::string_view objet, uint64_t fait, uint64_t total) {
    if (!terminal_) return;
    const auto maintenant = std::chrono::steady_clock::now();
    if (fait != total && maintenant - dernier_ < std::chrono::milliseconds(100)) return;
    dernier_ = maintenant;
    sortie_ << "\r\033[K" << objet << " " << fait << " / " << total << std::flush;
    ecrit_ = true;
  }

 private:
  std::ostream& sortie_;
  bool terminal_;
  bool ecrit_ = false;
  std::chrono::steady_clock::time_point dernier_;
};

}  // namespace

int CommandeCopie(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  if (arguments.size() != 2 || EstAdresseBase(arguments[0]) == EstAdresseBase(arguments[1])) {
    throw ErreurService("Ligne de commande", "copie",
                        "vesk copie DOSSIER postgresql://... ou vesk copie postgresql://... "
                        "DOSSIER : un dossier de données et une base");
  }
  pg::BilanCopie bilan;
  {
    Avancement avancement(contexte.Erreurs());
    pg::SuiviCopie suivi = std::ref(avancement);
    if (EstAdresseBase(arguments[1])) {
      pg::CopieVersBase(arguments[0], *Base(arguments[1]), suivi, &bilan);
    } else {
      pg::CopieVersDossier(*Base(arguments[0]), arguments[1], suivi, &bilan);
    }
  }
  contexte.Sortie() << "Copie faite : " << bilan.fichiers << " fichier(s) de données ("
                    << bilan.enregistrements << " enregistrement(s)), " << bilan.arbres
                    << " B-arbre(s) (" << bilan.cles << " clé(s)), " << bilan.textes
                    << " texte(s)\n";
  return 0;
}

}  // namespace vesk::cli
#endif
