#include "srv/pg/srv_barbre_pg.h"

#include <algorithm>
#include <limits>

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/service_util.h"
#include "srv/list/liste.h"
#include "srv/pg/service_pg.h"
#include "srv/text/utf8.h"

namespace vesk {

using pg::ArbrePg;
using pg::EntreeLue;
using pg::FichierPg;
using pg::Parametres;

namespace {

// How many entries a walk reads ahead at each fetch.
constexpr int kAvance = 1000;
// Entries of a tree read for the price of one round trip: a batch reads every key of a primary
// tree once it has asked the server about that many keys per this many entries of the tree.
constexpr int64_t kEntreesParAllerRetour = 1024;
// A tree of more entries than this never has its keys read (their memory).
constexpr int64_t kClesLuesMax = 1000000;

std::string Trim(std::string_view s) {
  const size_t end = s.find_last_not_of(' ');
  return std::string(end == std::string_view::npos ? "" : s.substr(0, end + 1));
}

std::string Montre(std::string_view octets) {
  std::string shown;
  isam::DecodeBytes(octets, &shown);
  return Trim(shown);
}

// The smallest byte string after every string that begins with prefixe ("" when none).
std::string Successeur(std::string prefixe) {
  while (!prefixe.empty() && static_cast<unsigned char>(prefixe.back()) == 0xFF) {
    prefixe.pop_back();
  }
  if (!prefixe.empty()) prefixe.back() = static_cast<char>(prefixe.back() + 1);
  return prefixe;
}

}  // namespace

SrvBArbrePg::SrvBArbrePg(std::shared_ptr<pg::BasePg> base) : base_(std::move(base)) {}

FichierPg& SrvBArbrePg::FichierDe(ArbrePg& a, int16_t fichier, std::string_view op) {
  FichierPg& f = pg::FichierOuErreur(*base_, fichier, op);
  if (a.dernier_fichier != fichier) {
    Exige(a.fichier_indexe.empty() || a.fichier_indexe == f.nom, op, a.objet,
          "ce B-arbre indexe " + a.fichier_indexe + ".DAT, pas " + f.objet);
    a.dernier_fichier = fichier;
  }
  return f;
}

void SrvBArbrePg::Cle(ArbrePg& a, std::string_view cle, std::string_view op) {
  isam::Verifie(isam::EncodeFixed(cle, a.longueur_cle, "clé", &key_), op, a.objet);
}

void SrvBArbrePg::LitEnregistrement(ArbrePg& a, FichierPg& f, const EntreeLue& e,
                                    std::string_view op) {
  if (!e.present || e.supprime) {
    throw ErreurService(op, a.objet,
                        "le B-arbre renvoie à l'enregistrement " + std::to_string(e.no) + " de " +
                            f.objet + (e.supprime ? ", qui est supprimé" : ", absent du fichier"));
  }
  base_->Livre(f, e.no, e.octets, op);
  f.courant = e.no;
}

void SrvBArbrePg::Existe(bool dependance_entreprise, std::string_view nom, bool& existe) {
  constexpr std::string_view kOp = "Existe";
  isam::Verifie(isam::CheckName(nom, "B-arbre"), kOp, nom);
  existe = false;
  if (dependance_entreprise && base_->Entreprise().empty()) return;
  const std::string objet = isam::UpperAscii(nom) + ".DAB";
  const pg::Lieu lieu = base_->Place(dependance_entreprise, nom, kOp, objet);
  existe = base_->LitArbre(lieu, nom, kOp).existe;
}

// The folder's rule (srv/isam/srv_barbre_impl.cpp), with its text.
void SrvBArbrePg::SansArbreVide(bool dependance, const std::string& fichier,
                                const std::string& objet) {
  constexpr std::string_view kOp = "B_Arbre";
  const pg::Lieu lieu = base_->Place(dependance, fichier, kOp, objet);
  if (base_->LongueurFichier(lieu, fichier, kOp) == 0) return;
  const pg::Resultat r = base_->Lit(
      kOp, objet,
      "SELECT count(*) FROM " + pg::BasePg::Table(lieu, "d_", fichier) + " WHERE NOT supprime",
      pg::Parametres());
  const int64_t vivants = r.Grand(0, 0);
  if (vivants != 0) isam::ArbreVideRefuse(objet, fichier, vivants);
}

void SrvBArbrePg::B_Arbre(bool dependance_entreprise, std::string_view nom, int16_t longueur_cle,
                          std::string_view nature, int16_t& arbre, std::string_view fichier_indexe,
                          bool creation) {
  constexpr std::string_view kOp = "B_Arbre";
  isam::Verifie(isam::CheckName(nom, "B-arbre"), kOp, nom);
  const std::string objet = isam::UpperAscii(nom) + ".DAB";
  Exige(longueur_cle >= 1 && longueur_cle <= kLongueurCleMax, kOp, objet,
        "longueur de clé " + std::to_string(longueur_cle) + " refusée (de 1 à 1024)");
  const std::string n = isam::UpperAscii(nature);
  Exige(n == "P" || n == "S", kOp, objet,
        "nature \"" + std::string(nature) +
            "\" inconnue : \"P\" clés uniques, \"S\" clés en double admises");
  if (!fichier_indexe.empty()) {
    isam::Verifie(isam::CheckName(fichier_indexe, "fichier indexé"), kOp, objet);
  }
  const std::string indexe = isam::UpperAscii(fichier_indexe);
  const std::string upper = isam::UpperAscii(nom);
  if (int16_t h = base_->ChercheArbre(upper, dependance_entreprise)) {
    ArbrePg& a = *base_->Arbre(h);
    Exige(a.longueur_cle == static_cast<uint16_t>(longueur_cle) && a.nature == n[0], kOp, objet,
          "déjà ouvert avec des clés de " + std::to_string(a.longueur_cle) +
              " caractères et la nature " + std::string(1, a.nature));
    if (!indexe.empty()) a.fichier_indexe = indexe;
    arbre = h;
    return;
  }
  const pg::Lieu lieu = base_->Place(dependance_entreprise, nom, kOp, objet);
  const std::string chemin = base_->Chemin(lieu, objet);
  pg::BasePg::ArbreCatalogue c = base_->LitArbre(lieu, nom, kOp);
  if (!c.existe) {
    Exige(creation, kOp, objet, "B-arbre introuvable : " + chemin);
    SansArbreVide(dependance_entreprise, indexe.empty() ? upper : indexe, objet);
    c.longueur_cle = static_cast<uint16_t>(longueur_cle);
    c.nature = n[0];
    c.fichier_indexe = indexe;
    c = base_->CreeArbre(lieu, nom, c, kOp);
  }
  if (c.longueur_cle != static_cast<uint16_t>(longueur_cle) || c.nature != n[0]) {
    throw ErreurService(kOp, objet,
                        "B-arbre " + chemin + " : le fichier a la longueur de clé " +
                            std::to_string(c.longueur_cle) + " et la nature '" +
                            std::string(1, c.nature) + "', l'ouverture demande la longueur " +
                            std::to_string(longueur_cle) + " et la nature '" + n + "'");
  }
  auto a = std::make_unique<ArbrePg>();
  a->nom = upper;
  a->objet = objet;
  a->chemin = chemin;
  a->entreprise = lieu.entreprise;
  a->dependance = dependance_entreprise;
  a->table = pg::BasePg::Table(lieu, "b_", nom);
  a->oid = c.oid;
  a->longueur_cle = c.longueur_cle;
  a->nature = c.nature;
  a->fichier_indexe = indexe.empty() ? isam::UpperAscii(c.fichier_indexe) : indexe;
  arbre = base_->AjouteArbre(std::move(a), kOp);
}

void SrvBArbrePg::Insere(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr) {
  // Only the outermost insert is made again: one nested in an owner's method that meets the
  // outer one's lost bet fails, and so does the owner's method; the outer one, its transaction
  // undone whole, is made again in a transaction of its own.
  const bool dehors = base_->Profondeur() == 0;
  if (dehors) base_->PariPerdu();  // a bet lost inside an owner's method that went on is forgotten
  try {
    InsereUne(arbre, cle, fichier, no_enr, true);
  } catch (const ErreurService&) {
    // Another program took the key or the record number since this thread learnt them: the
    // operation was undone; made again, asking the server, it gives what the server holds.
    if (!dehors || !base_->PariPerdu()) throw;
    InsereUne(arbre, cle, fichier, no_enr, false);
  }
}

void SrvBArbrePg::InsereUne(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr,
                            bool pari) {
  constexpr std::string_view kOp = "Insere";
  pg::OperationPg op(*base_, kOp);
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  FichierPg& f = FichierDe(a, fichier, kOp);
  pg::ExigeEcriture(f, kOp);
  if (f.proprietaire == nullptr) {
    throw ErreurService(kOp, f.objet,
                        "fichier ouvert sans propriétaire : pas de méthode Ecrire" + f.methode);
  }
  Cle(a, cle, kOp);
  // Kept in a string of its own: the owner's method may insert through this same service.
  const std::string inseree(key_);
  // The key goes in first, under the next record number: a refused key leaves both as they were.
  int32_t no = 0;
  if (ConnaitCles(a, kOp)) {
    no = InsereConnue(a, f, kOp);
  } else if (pari && PeutParier(a, f)) {
    no = InserePari(a, f);
  } else {
    no = InsereServeur(a, f, kOp);
  }
  base_->Touche(a);
  pg::AppelleEcrire(f, no, kOp);
  if (base_->Dernier(f, kOp) < no) {
    throw ErreurService(
        kOp, f.objet,
        "la méthode Ecrire" + f.methode + " n'a pas écrit l'enregistrement " + std::to_string(no));
  }
  if (ClesSuivies(a)) a.cles.insert(inseree);
  f.courant = no;
  no_enr = no;
  op.Fin(a.objet);
}

bool SrvBArbrePg::ClesSuivies(const ArbrePg& a) const {
  return a.cles_epoque == base_->Epoque() || a.cles_generation == base_->Generation();
}

bool SrvBArbrePg::PeutParier(const ArbrePg& a, const FichierPg& f) const {
  const uint64_t g = base_->Generation();
  return a.nature == 'P' && !base_->DansLot() && base_->Profondeur() == 1 &&
         a.cles_generation == g && f.dernier_generation == g && f.dernier_connu >= 0 &&
         f.dernier_connu < std::numeric_limits<int32_t>::max() && !a.cles.contains(key_);
}

int32_t SrvBArbrePg::InserePari(ArbrePg& a, FichierPg& f) {
  const auto no = static_cast<int32_t>(f.dernier_connu + 1);
  // Sent with the owner's writes and the commit. Should the file's last record no longer be
  // the one known, the number is null and the server refuses the row (23502); should the key
  // exist, it refuses it too (23505): the transaction fails, Insere starts again.
  Parametres p;
  p.Octets(key_).Entier(no);
  base_->Ecrit("INSERT INTO " + a.table +
                   " (cle, no) SELECT $1, CASE WHEN coalesce(max(no), 0) = " +
                   "$2::integer - 1 THEN $2::integer END FROM " + f.table,
               std::move(p));
  base_->Parie();
  base_->NoteDernier(f, no - 1);
  return no;
}

int32_t SrvBArbrePg::InsereServeur(ArbrePg& a, FichierPg& f, std::string_view op) {
  std::vector<pg::Requete> q(1);
  q[0].sql = "INSERT INTO " + a.table + " (cle, no) SELECT $1, coalesce(max(no), 0) + 1 FROM " +
             f.table + " ON CONFLICT DO NOTHING RETURNING no";
  q[0].parametres.Octets(key_);
  // The first question of a window learns the tree's size with it; outside batches, once the
  // questions pay for it, every key is read with one (this one's included).
  const bool lot = base_->DansLot();
  pg::EssaisPg& e = lot ? a.essais_lot : a.essais_seuls;
  const uint64_t fenetre = lot ? base_->Epoque() : base_->Generation();
  const bool premier = a.nature == 'P' && e.fenetre != fenetre;
  const bool lire = a.nature == 'P' && !lot && !premier && a.cles_generation != fenetre &&
                    e.taille <= kClesLuesMax && (e.nombre + 1) * kEntreesParAllerRetour >= e.taille;
  if (premier) {
    q.emplace_back();
    q[1].sql = "SELECT coalesce(pg_relation_size(to_regclass($1::text)), 0) / " +
               std::to_string(a.longueur_cle + 36);
    q[1].parametres.Texte(a.table);
  } else if (lire) {
    q.emplace_back();
    q[1].sql = "SELECT cle FROM " + a.table;
  }
  std::vector<pg::Resultat> r = base_->Lit(op, a.objet, q);
  if (premier) e = pg::EssaisPg{0, fenetre, r[1].Grand(0, 0)};
  ++e.nombre;
  if (r[0].Lignes() == 0) {
    throw ErreurService(op, a.objet,
                        "la clé \"" + Montre(key_) + "\" existe déjà : rien n'est écrit");
  }
  if (lire) {
    RetientCles(a, r[1]);
    a.cles_generation = fenetre;
  }
  const int32_t no = r[0].Entier(0, 0);
  base_->NoteDernier(f, no - 1);
  Parametres undo;
  undo.Octets(key_).Entier(no);
  base_->Compense("DELETE FROM " + a.table + " WHERE cle = $1 AND no = $2", std::move(undo));
  return no;
}

int32_t SrvBArbrePg::InsereConnue(ArbrePg& a, FichierPg& f, std::string_view op) {
  if (a.cles.contains(key_)) {
    throw ErreurService(op, a.objet,
                        "la clé \"" + Montre(key_) + "\" existe déjà : rien n'est écrit");
  }
  const int64_t no = base_->Dernier(f, op) + 1;
  // A plain insert: should the tree hold the key after all (written by a program that does not
  // take the store's lock), the server refuses it and the batch is undone, nothing lost.
  Parametres p;
  p.Octets(key_).Entier(static_cast<int32_t>(no));
  base_->Ecrit("INSERT INTO " + a.table + " (cle, no) VALUES ($1, $2)", std::move(p));
  return static_cast<int32_t>(no);
}

void SrvBArbrePg::RetientCles(ArbrePg& a, const pg::Resultat& r) {
  a.cles.clear();
  a.cles.reserve(static_cast<size_t>(r.Lignes()));
  for (int i = 0; i < r.Lignes(); ++i) a.cles.emplace(r.Octets(i, 0));
}

bool SrvBArbrePg::ConnaitCles(ArbrePg& a, std::string_view op) {
  const uint64_t epoque = base_->Epoque();
  if (a.nature != 'P' || !base_->DansLot() || epoque == 0) return false;
  if (a.cles_epoque == epoque) return true;
  const pg::EssaisPg& e = a.essais_lot;
  if (e.fenetre != epoque || e.nombre == 0 || e.taille > kClesLuesMax ||
      e.nombre * kEntreesParAllerRetour < e.taille) {
    return false;
  }
  RetientCles(a, base_->Lit(op, a.objet, "SELECT cle FROM " + a.table, Parametres()));
  a.cles_epoque = epoque;
  return true;
}

void SrvBArbrePg::InsS(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) {
  constexpr std::string_view kOp = "InsS";
  pg::OperationPg op(*base_, kOp);
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  FichierPg& f = FichierDe(a, fichier, kOp);
  Exige(a.nature == 'S', kOp, a.objet,
        "InsS est réservé aux B-arbres secondaires : Insere crée l'enregistrement d'une clé "
        "primaire");
  if (no_enr < 1) pg::ExigeVivant(f, no_enr, pg::EtatEnregistrement{}, kOp);
  Cle(a, cle, kOp);
  Parametres p;
  p.Octets(key_).Entier(no_enr);
  pg::Resultat r = base_->Lit(
      kOp, a.objet,
      "WITH etat AS (" + pg::SqlEtat(f, "$2") + "), ins AS (INSERT INTO " + a.table +
          " (cle, no) SELECT $1, $2 FROM etat WHERE supprime = false ON CONFLICT DO NOTHING "
          "RETURNING 1) SELECT etat.*, (SELECT count(*) FROM ins) FROM etat",
      p);
  pg::ExigeVivant(f, no_enr, pg::EtatDe(r), kOp);
  Exige(r.Grand(0, 3) == 1, kOp, a.objet,
        "la clé existe déjà pour l'enregistrement " + std::to_string(no_enr));
  base_->Touche(a);
  op.Fin(a.objet);
}

void SrvBArbrePg::Recherche(int16_t arbre, std::string_view cle, int16_t fichier, bool& trouve) {
  constexpr std::string_view kOp = "Recherche";
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  FichierPg& f = FichierDe(a, fichier, kOp);
  Cle(a, cle, kOp);
  Parametres p;
  p.Octets(key_);
  pg::Resultat r =
      base_->Lit(kOp, a.objet,
                 "SELECT b.no, d.supprime, d.octets FROM " + a.table + " b LEFT JOIN " + f.table +
                     " d ON d.no = b.no WHERE b.cle = $1 ORDER BY b.no LIMIT 1",
                 p);
  a.curseur = true;
  a.cle_curseur.assign(key_);
  a.avance.clear();
  a.fin_lue = false;
  if (r.Lignes() == 0) {
    a.no_curseur = 0;
    f.courant = 0;
    trouve = false;
    return;
  }
  EntreeLue e;
  e.no = r.Entier(0, 0);
  e.present = !r.Nul(0, 1);
  if (e.present) {
    e.supprime = r.Booleen(0, 1);
    e.octets.assign(r.Octets(0, 2));
  }
  a.no_curseur = e.no;
  LitEnregistrement(a, f, e, kOp);
  trouve = true;
}

void SrvBArbrePg::LitAvance(ArbrePg& a, FichierPg& f, int16_t fichier, bool premier,
                            std::string_view op) {
  Parametres p;
  std::string ou;
  if (!premier) {
    p.Octets(a.cle_curseur);
    if (a.nature == 'P') {
      // On a primary tree the walk goes past the key whatever its record: a record modified
      // under the walk (deleted, then inserted again with a new number) is not met twice.
      ou = a.no_curseur != 0 ? " WHERE b.cle > $1" : " WHERE b.cle >= $1";
    } else {
      p.Entier(a.no_curseur);
      ou = " WHERE (b.cle, b.no) > ($1, $2)";
    }
  }
  // A primary tree's keys are unique: ordered by the key alone, the server follows its index
  // without sorting each page again by record number.
  pg::Resultat r =
      base_->Lit(op, a.objet,
                 pg::SqlPageArbre(a.table, f.table, ou,
                                  a.nature == 'P' ? " ORDER BY b.cle" : " ORDER BY b.cle, b.no",
                                  kAvance, "supprime, octets"),
                 p);
  a.avance.clear();
  for (int i = 0; i < r.Lignes(); ++i) {
    EntreeLue e;
    e.cle.assign(r.Octets(i, 0));
    e.no = r.Entier(i, 1);
    e.present = !r.Nul(i, 2);
    if (e.present) {
      e.supprime = r.Booleen(i, 2);
      e.octets.assign(r.Octets(i, 3));
    }
    a.avance.push_back(std::move(e));
  }
  a.fin_lue = r.Lignes() < kAvance;
  a.fichier_avance = fichier;
  a.version_arbre = a.version;
  a.version_fichier = f.version;
}

void SrvBArbrePg::Parcours(int16_t arbre, int16_t fichier, bool premier, bool& trouve,
                           std::string& cle) {
  std::string_view op = premier ? "PremCle" : "SuivCle";
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, op);
  FichierPg& f = FichierDe(a, fichier, op);
  Exige(premier || a.curseur, op, a.objet,
        "aucune position dans le B-arbre : PremCle ou Recherche d'abord");
  const bool valable = !premier && a.fichier_avance == fichier && a.version_arbre == a.version &&
                       a.version_fichier == f.version && (!a.avance.empty() || a.fin_lue);
  if (!valable) LitAvance(a, f, fichier, premier, op);
  if (a.avance.empty()) {
    if (premier) a.curseur = false;
    f.courant = 0;
    trouve = false;
    cle.clear();
    return;
  }
  EntreeLue e = std::move(a.avance.front());
  a.avance.pop_front();
  a.curseur = true;
  a.cle_curseur = e.cle;
  a.no_curseur = e.no;
  LitEnregistrement(a, f, e, op);
  isam::DecodeBytes(e.cle, &cle);
  trouve = true;
}

void SrvBArbrePg::PremCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) {
  Parcours(arbre, fichier, true, trouve, cle);
}

void SrvBArbrePg::SuivCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) {
  Parcours(arbre, fichier, false, trouve, cle);
}

void SrvBArbrePg::Supprime(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) {
  constexpr std::string_view kOp = "Supprime";
  pg::OperationPg op(*base_, kOp);
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  FichierPg& f = FichierDe(a, fichier, kOp);
  Cle(a, cle, kOp);
  const bool primaire = a.nature == 'P';
  if (primaire) {
    pg::ExigeEcriture(f, kOp);
    if (no_enr < 1) pg::ExigeVivant(f, no_enr, pg::EtatEnregistrement{}, kOp);
  }
  if (no_enr < 1) {
    throw ErreurService(kOp, a.objet,
                        "numéro d'enregistrement " + std::to_string(no_enr) + " refusé");
  }
  Parametres p;
  p.Octets(key_).Entier(no_enr);
  int64_t effaces = 0;
  if (primaire) {
    // The record checked live, the key erased and the record given back, in one statement.
    const std::string etat = pg::SqlEtat(f, "$2");
    pg::Resultat r = base_->Lit(
        kOp, a.objet,
        "WITH etat AS (" + etat + "), del AS (DELETE FROM " + a.table +
            " WHERE cle = $1 AND no = $2 AND EXISTS (SELECT 1 FROM etat WHERE supprime = false) "
            "RETURNING 1), upd AS (UPDATE " +
            f.table +
            " SET supprime = true WHERE no = $2 AND EXISTS (SELECT 1 FROM del) RETURNING 1) "
            "SELECT etat.*, (SELECT count(*) FROM del) FROM etat",
        p);
    pg::ExigeVivant(f, no_enr, pg::EtatDe(r), kOp);
    effaces = r.Grand(0, 3);
  } else {
    effaces = base_
                  ->Lit(kOp, a.objet,
                        "DELETE FROM " + a.table + " WHERE cle = $1 AND no = $2 RETURNING 1", p)
                  .Lignes();
  }
  if (effaces == 0) {
    throw ErreurService(kOp, a.objet,
                        "la clé \"" + Montre(key_) + "\" n'existe pas pour l'enregistrement " +
                            std::to_string(no_enr) + " : rien n'est supprimé");
  }
  base_->Touche(a);
  if (primaire) base_->Touche(f);
  if (ClesSuivies(a)) a.cles.erase(key_);
  if (f.courant == no_enr) f.courant = 0;
  op.Fin(a.objet);
}

void SrvBArbrePg::ListeEnr(int16_t arbre, int32_t& nombre, std::string& liste,
                           std::string_view filtre) {
  constexpr std::string_view kOp = "ListeEnr";
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  // The filter's bytes, then only as many as it has characters (the rest is padding).
  std::string bytes;
  isam::Verifie(isam::EncodeFixed(filtre, a.longueur_cle, "filtre", &bytes), kOp, a.objet);
  const std::string prefixe = bytes.substr(0, text::CountChars(filtre));
  Parametres p;
  std::string ou;
  if (!prefixe.empty()) {
    p.Octets(prefixe);
    ou = " WHERE cle >= $1";
    const std::string fin = Successeur(prefixe);
    if (!fin.empty()) {
      p.Octets(fin);
      ou += " AND cle < $2";
    }
  }
  pg::Resultat r =
      base_->Lit(kOp, a.objet, "SELECT no FROM " + a.table + ou + " ORDER BY cle, no", p);
  std::string out = "[]";
  for (int i = 0; i < r.Lignes(); ++i) {
    list::Which which;
    list::Fault fault = list::Append(out, std::to_string(r.Entier(i, 0)), which);
    Exige(fault.ok(), kOp, a.objet, fault.Message());
  }
  liste = std::move(out);
  nombre = r.Lignes();
}

}  // namespace vesk
