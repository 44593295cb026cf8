#include "srv/isam/service_util.h"

namespace vesk::isam {

void ArbreVideRefuse(std::string_view objet, std::string_view fichier, int64_t vivants) {
  throw ErreurService("B_Arbre", objet,
                      std::string(objet) + " absent alors que " + std::string(fichier) +
                          ".DAT contient " + std::to_string(vivants) +
                          " enregistrement(s) : il doit être reconstruit, il n'est pas recréé vide",
                      true);
}

void FichierAbsent(int16_t handle, std::string_view operation) {
  throw ErreurService(operation, "fichier " + std::to_string(handle),
                      "aucun fichier de données ouvert sous ce numéro");
}

void ArbreAbsent(int16_t handle, std::string_view operation) {
  throw ErreurService(operation, "B-arbre " + std::to_string(handle),
                      "aucun B-arbre ouvert sous ce numéro");
}

void ExigeEcriture(const FichierOuvert& f, std::string_view operation) {
  if (!f.fichier->ReadOnly()) return;
  const std::string& raison = f.fichier->pager()->ReadOnlyReason();
  throw ErreurService(
      operation, f.objet,
      raison.empty() ? "fichier ouvert en lecture seule"
                     : "le fichier ne peut être écrit (dossier en lecture seule : " + raison + ")");
}

void ExigeVivant(FichierOuvert& f, int32_t no, std::string_view operation) {
  uint32_t last = f.fichier->LastRecord();
  if (no < 1 || static_cast<uint32_t>(no) > last) {
    throw ErreurService(operation, f.objet,
                        "enregistrement " + std::to_string(no) +
                            (no < 1 ? " : les numéros commencent à 1"
                                    : " au-delà de la fin du fichier (" + std::to_string(last) +
                                          " enregistrements)"));
  }
  bool deleted = false;
  Verifie(f.fichier->IsDeleted(static_cast<uint32_t>(no), &deleted), operation, f.objet);
  if (deleted) {
    throw ErreurService(operation, f.objet,
                        "l'enregistrement " + std::to_string(no) + " est supprimé");
  }
}

void AppelleProprietaire(FichierOuvert& f, bool lire, int32_t no, std::string_view operation) {
  if (f.proprietaire == nullptr) {
    throw ErreurService(operation, f.objet,
                        "fichier ouvert sans propriétaire : pas de méthode " +
                            std::string(lire ? "Lire" : "Ecrire") + f.methode +
                            " pour les champs courants");
  }
  int32_t arg = no;
  f.proprietaire->Invoque(lire ? f.id_lire : f.id_ecrire, arg);
}

}  // namespace vesk::isam
