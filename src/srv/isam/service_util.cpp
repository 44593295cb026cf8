#include "srv/isam/service_util.h"

namespace vesk::isam {

void ArbreVideRefuse(std::string_view objet, std::string_view fichier, int64_t vivants) {
  throw ErreurService("B_Arbre", objet,
                      std::string(objet) + " absent alors que " + std::string(fichier) +
                          ".DAT contient " + std::to_string(vivants) +
                          " enregistrement(s) : il doit être reconstruit, il n'est pas recréé vide",
                      true);
}

void ExigeLongueurChainage(const FichierDeChainage& f, int16_t longueur,
                           std::string_view operation) {
  Exige(f.longueur == static_cast<uint32_t>(longueur), operation, f.objet,
        "longueur " + std::to_string(longueur) + " donnée, le fichier a des enregistrements de " +
            std::to_string(f.longueur) + " caractères");
}

namespace {

// The 0-based offset of a pointer at 1-based position pos of a record of f.
uint32_t PositionPointeur(const FichierDeChainage& f, int16_t pos, std::string_view quoi,
                          std::string_view operation) {
  Exige(pos >= 1 && static_cast<uint32_t>(pos) + 2 <= f.longueur, operation, f.objet,
        "position " + std::to_string(pos) + " du " + std::string(quoi) +
            " hors de l'enregistrement (de 1 à " + std::to_string(f.longueur - 2) + ")");
  return static_cast<uint32_t>(pos - 1);
}

bool Ecartes(uint32_t a, uint32_t b) { return (a > b ? a - b : b - a) >= 3; }

}  // namespace

PointeursChainage PointeursDeChainage(const FichierDeChainage& entete, int16_t pos_premiere,
                                      int16_t pos_derniere, const FichierDeChainage& ligne,
                                      int16_t pos_precedente, int16_t pos_suivante,
                                      std::string_view operation) {
  Exige(entete.objet != ligne.objet, operation, entete.objet,
        "le fichier d'en-tête et le fichier de lignes doivent différer");
  PointeursChainage p;
  p.premiere = PositionPointeur(entete, pos_premiere, "pointeur de première ligne", operation);
  p.derniere = PositionPointeur(entete, pos_derniere, "pointeur de dernière ligne", operation);
  p.precedente = PositionPointeur(ligne, pos_precedente, "pointeur de ligne précédente", operation);
  p.suivante = PositionPointeur(ligne, pos_suivante, "pointeur de ligne suivante", operation);
  Exige(Ecartes(p.premiere, p.derniere), operation, entete.objet,
        "les pointeurs de première et de dernière ligne se chevauchent");
  Exige(Ecartes(p.precedente, p.suivante), operation, ligne.objet,
        "les pointeurs de ligne précédente et suivante se chevauchent");
  return p;
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
