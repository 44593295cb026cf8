// Helpers shared by the three services of a database store: handles looked up or refused,
// the state of a record read with the file's last number, the checks of a live record, owners
// called back; the messages are the folder engine's. Used on the services' thread only.
#ifndef VESK_SRV_PG_SERVICE_PG_H_
#define VESK_SRV_PG_SERVICE_PG_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "srv/erreur_service.h"
#include "srv/isam/service_util.h"
#include "srv/pg/base_pg.h"

namespace vesk::pg {

inline FichierPg& FichierOuErreur(BasePg& b, int16_t h, std::string_view operation) {
  FichierPg* f = b.Fichier(h);
  if (f == nullptr) isam::FichierAbsent(h, operation);
  if (!f->remplace.empty()) throw ErreurService(operation, f->objet, f->remplace);
  return *f;
}

inline ArbrePg& ArbreOuErreur(BasePg& b, int16_t h, std::string_view operation) {
  ArbrePg* a = b.Arbre(h);
  if (a == nullptr) isam::ArbreAbsent(h, operation);
  if (!a->remplace.empty()) throw ErreurService(operation, a->objet, a->remplace);
  return *a;
}

// Refuses a file opened read only.
void ExigeEcriture(const FichierPg& f, std::string_view operation);

// A record as the store holds it, with the file's last number.
struct EtatEnregistrement {
  int64_t dernier = 0;
  bool present = false;
  bool supprime = false;
  std::string octets;
};

// The statement that reads record `numero` ("$1") of f with the last number: the columns
// dernier, supprime (null when absent), octets, always one row.
std::string SqlEtat(const FichierPg& f, std::string_view numero = "$1");
// A page of the tree table `arbre` ("b"): its entries after `apres` (a condition " WHERE ..."
// on b.cle and b.no, "" from the first), in the order `ordre` (" ORDER BY b.cle..."), at most
// `limite`, each with the columns `colonnes` of its record in the data table `donnees` (null
// when it has no row): the columns b.cle, b.no, then colonnes. The entries are taken from the
// tree's index first, then each one's record through the data table's index (the subquery kept
// apart by OFFSET 0): joined whole, the server would hash the data table for every page.
std::string SqlPageArbre(std::string_view arbre, std::string_view donnees, std::string_view apres,
                         std::string_view ordre, int limite, std::string_view colonnes);
// Record no of f and the last number of f, in one round trip.
EtatEnregistrement LitEtat(BasePg& b, FichierPg& f, int32_t no, std::string_view operation);
EtatEnregistrement EtatDe(const Resultat& r);
// Refuses a number that is not in use (below 1, past the last) or a deleted record, with the
// folder's messages.
void ExigeVivant(const FichierPg& f, int32_t no, const EtatEnregistrement& e,
                 std::string_view operation);
// LitEtat then ExigeVivant (no below 1 is refused before asking).
EtatEnregistrement LitVivant(BasePg& b, FichierPg& f, int32_t no, std::string_view operation);

// Calls the owner's "Ecrire" method of f with no; an error when f has no owner.
void AppelleEcrire(FichierPg& f, int32_t no, std::string_view operation);

// The SQL expression of the chaining pointer at byte offset `offset` of the bytea `colonne`
// (three spaces read as 0).
std::string SqlPointeur(std::string_view colonne, uint32_t offset);

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_SERVICE_PG_H_
