#include "srv/pg/service_pg.h"

namespace vesk::pg {

void ExigeEcriture(const FichierPg& f, std::string_view operation) {
  Exige(!f.lecture_seule, operation, f.objet, "fichier ouvert en lecture seule");
}

std::string SqlEtat(const FichierPg& f, std::string_view numero) {
  return "SELECT (SELECT coalesce(max(no), 0) FROM " + f.table +
         ") AS dernier, d.supprime, d.octets FROM (SELECT 1) x LEFT JOIN " + f.table +
         " d ON d.no = " + std::string(numero);
}

std::string SqlPageArbre(std::string_view arbre, std::string_view donnees, std::string_view apres,
                         std::string_view ordre, int limite, std::string_view colonnes) {
  const std::string o(ordre);
  return "SELECT b.cle, b.no, " + std::string(colonnes) + " FROM (SELECT b.cle, b.no FROM " +
         std::string(arbre) + " b" + std::string(apres) + o + " LIMIT " + std::to_string(limite) +
         ") b LEFT JOIN LATERAL (SELECT " + std::string(colonnes) + " FROM " +
         std::string(donnees) + " WHERE no = b.no OFFSET 0) d ON true" + o;
}

EtatEnregistrement EtatDe(const Resultat& r) {
  EtatEnregistrement e;
  e.dernier = r.Entier(0, 0);
  e.present = !r.Nul(0, 1);
  if (e.present) {
    e.supprime = r.Booleen(0, 1);
    e.octets.assign(r.Octets(0, 2));
  }
  return e;
}

EtatEnregistrement LitEtat(BasePg& b, FichierPg& f, int32_t no, std::string_view operation) {
  Parametres p;
  p.Entier(no);
  EtatEnregistrement e = EtatDe(b.Lit(operation, f.objet, SqlEtat(f), p));
  return e;
}

void ExigeVivant(const FichierPg& f, int32_t no, const EtatEnregistrement& e,
                 std::string_view operation) {
  if (no >= 1 && no <= e.dernier && !e.present) {
    throw ErreurService(
        operation, f.objet,
        "l'enregistrement " + std::to_string(no) + " manque à la table (base endommagée)");
  }
  if (no < 1 || no > e.dernier) {
    throw ErreurService(operation, f.objet,
                        "enregistrement " + std::to_string(no) +
                            (no < 1 ? " : les numéros commencent à 1"
                                    : " au-delà de la fin du fichier (" +
                                          std::to_string(e.dernier) + " enregistrements)"));
  }
  if (e.supprime) {
    throw ErreurService(operation, f.objet,
                        "l'enregistrement " + std::to_string(no) + " est supprimé");
  }
}

EtatEnregistrement LitVivant(BasePg& b, FichierPg& f, int32_t no, std::string_view operation) {
  if (no < 1) ExigeVivant(f, no, EtatEnregistrement{}, operation);
  EtatEnregistrement e = LitEtat(b, f, no, operation);
  ExigeVivant(f, no, e, operation);
  return e;
}

void AppelleEcrire(FichierPg& f, int32_t no, std::string_view operation) {
  if (f.proprietaire == nullptr) {
    throw ErreurService(operation, f.objet,
                        "fichier ouvert sans propriétaire : pas de méthode Ecrire" + f.methode +
                            " pour les champs courants");
  }
  int32_t arg = no;
  f.proprietaire->Invoque(f.id_ecrire, arg);
}

std::string SqlPointeur(std::string_view colonne, uint32_t offset) {
  const std::string c(colonne);
  const std::string p = std::to_string(offset);
  return "(CASE WHEN substr(" + c + ", " + std::to_string(offset + 1) +
         ", 3) = '\\x202020'::bytea THEN 0 ELSE get_byte(" + c + ", " + p +
         ") * 65536 + get_byte(" + c + ", " + std::to_string(offset + 1) + ") * 256 + get_byte(" +
         c + ", " + std::to_string(offset + 2) + ") END)";
}

}  // namespace vesk::pg
