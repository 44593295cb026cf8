// Helpers shared by the three storage services: a failing Status becomes ErreurService, handles
// are looked up or refused, owners are called back, and each modifying operation runs in a
// scope that flushes what it changed when it ends. Used on the services' thread only.
#ifndef VESK_SRV_ISAM_SERVICE_UTIL_H_
#define VESK_SRV_ISAM_SERVICE_UTIL_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "srv/erreur_service.h"
#include "srv/isam/dossier.h"
#include "srv/isam/status.h"

namespace vesk::isam {

// Throws ErreurService(operation, objet, message of s) unless s is ok; a Corruption makes it an
// error of a damaged object.
inline void Verifie(const Status& s, std::string_view operation, std::string_view objet) {
  if (!s.ok()) throw ErreurService(operation, objet, s.message(), s.IsCorruption());
}

// Verifie for the end of an operation or a batch: a failure past the commit point is an
// ErreurApresValidation (the commit holds).
inline void VerifieValidation(const DossierDonnees& d, const Status& s, std::string_view operation,
                              std::string_view objet) {
  if (!s.ok() && d.ApresValidation()) throw ErreurApresValidation(operation, objet, s.message());
  Verifie(s, operation, objet);
}

// The refusal to create the tree objet ("CLI2.DAB") absent beside the data file fichier
// ("CLIENT") holding vivants live records: it would come back empty and hide them (both stores).
[[noreturn]] void ArbreVideRefuse(std::string_view objet, std::string_view fichier,
                                  int64_t vivants);
// A data file named by a chaining, as either store knows it.
struct FichierDeChainage {
  std::string_view objet;  // "CLIENT.DAT"
  uint32_t longueur = 0;   // its record length
};
// The 0-based offsets of a chaining's four pointers of 3 characters.
struct PointeursChainage {
  uint32_t premiere = 0, derniere = 0;    // in the header record
  uint32_t precedente = 0, suivante = 0;  // in the line record
};
// Refuses a record length given for f that is not its own (both stores).
void ExigeLongueurChainage(const FichierDeChainage& f, int16_t longueur,
                           std::string_view operation);
// The pointers of a chaining from their 1-based positions, each inside its record, the two of
// a record 3 characters apart at least, the header and line files different (both stores).
PointeursChainage PointeursDeChainage(const FichierDeChainage& entete, int16_t pos_premiere,
                                      int16_t pos_derniere, const FichierDeChainage& ligne,
                                      int16_t pos_precedente, int16_t pos_suivante,
                                      std::string_view operation);

[[noreturn]] void FichierAbsent(int16_t handle, std::string_view operation);
[[noreturn]] void ArbreAbsent(int16_t handle, std::string_view operation);
inline FichierOuvert& FichierOuErreur(DossierDonnees& d, int16_t handle,
                                      std::string_view operation) {
  FichierOuvert* f = d.Fichier(handle);
  if (f == nullptr) FichierAbsent(handle, operation);
  return *f;
}
inline ArbreOuvert& ArbreOuErreur(DossierDonnees& d, int16_t handle, std::string_view operation) {
  ArbreOuvert* a = d.Arbre(handle);
  if (a == nullptr) ArbreAbsent(handle, operation);
  return *a;
}
// Refuses a file opened read only.
void ExigeEcriture(const FichierOuvert& f, std::string_view operation);
// A record number of f that exists (1 .. last) and is not deleted.
void ExigeVivant(FichierOuvert& f, int32_t no, std::string_view operation);

// Calls the owner's "Lire" (lire true) or "Ecrire" method of f with no; an error when f was
// opened without an owner.
void AppelleProprietaire(FichierOuvert& f, bool lire, int32_t no, std::string_view operation);

// An operation scope (see DossierDonnees): Fin ends it and reports the flush's failure; the
// destructor ends it when an error left the operation early.
class Operation {
 public:
  // Takes the folder's exclusive lock: throws ("fichier verrouillé") when it cannot.
  Operation(DossierDonnees& d, std::string_view operation) : d_(d), operation_(operation) {
    Verifie(d_.Entre(), operation, d_.Dossier());
  }
  ~Operation() {
    if (!fini_) {
      // The operation's own error is on its way: Sort undoes the operation's changes.
      Status ignored = d_.Sort();
      (void)ignored;
    }
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  void Fin(std::string_view objet) {
    fini_ = true;
    VerifieValidation(d_, d_.Sort(), operation_, objet);
  }

 private:
  DossierDonnees& d_;
  std::string_view operation_;
  bool fini_ = false;
};

// A read scope (see DossierDonnees): the folder's shared lock for the time of one read.
class Lecture {
 public:
  Lecture(DossierDonnees& d, std::string_view operation) : d_(d) {
    Verifie(d_.EntreLecture(), operation, d_.Dossier());
  }
  ~Lecture() { d_.SortLecture(); }
  Lecture(const Lecture&) = delete;
  Lecture& operator=(const Lecture&) = delete;

 private:
  DossierDonnees& d_;
};

// Runs ouvre, the opening of the file at path, under the folder's lock: exclusive when the file
// is to be created (absent, and creation asked), so that two users never create it at once;
// shared when it exists, so that no commit of another user is half-written while the header is
// read. An absent file not to be created needs no lock: its opening only says it is absent.
template <typename F>
void SousVerrou(DossierDonnees& d, bool creation, const std::string& path,
                std::string_view operation, F&& ouvre) {
  bool present = false;
  Verifie(Status::FromIo(d.env()->FileExists(path, &present)), operation, path);
  if (!present && !creation) return ouvre();
  if (present) {
    Lecture lecture(d, operation);
    ouvre();
    return;
  }
  Operation op(d, operation);
  ouvre();
  op.Fin(path);
}

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_SERVICE_UTIL_H_
