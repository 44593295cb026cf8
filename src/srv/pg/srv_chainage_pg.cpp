#include "srv/pg/srv_chainage_pg.h"

#include <algorithm>

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/pg/service_pg.h"

namespace vesk {

using pg::ChainagePg;
using pg::EntreeLue;
using pg::FichierPg;
using pg::Parametres;
using pg::Requete;

namespace {

// Lines a walk reads ahead at each fetch.
constexpr int kAvance = 64;

// The open data file named nom for a chaining, of record length longueur.
FichierPg& FichierChaine(pg::BasePg& b, std::string_view nom, int16_t longueur,
                         std::string_view op) {
  isam::Status s = isam::CheckName(nom, "fichier");
  if (!s.ok()) throw ErreurService(op, nom, s.message());
  const std::string upper = isam::UpperAscii(nom);
  const int16_t h = b.ChercheFichier(upper);
  Exige(h != 0, op, upper + ".DAT", "fichier non ouvert : ouvrir le fichier (Donnee) d'abord");
  FichierPg& f = *b.Fichier(h);
  isam::ExigeLongueurChainage({f.objet, f.longueur}, longueur, op);
  return f;
}

std::string Rec(int64_t no, const FichierPg& f) {
  return "l'enregistrement " + std::to_string(no) + " de " + f.objet;
}

uint32_t Pointeur(std::string_view octets, uint32_t at) {
  return at + 3 <= octets.size() ? isam::DecodePointer(octets.data() + at) : 0;
}

// The chain of line file l from the line that `depart` (an SQL expression over $1) gives,
// following the next pointers: at most `limite` lines (an SQL expression), stopping after a
// line absent or deleted. Columns: no, present, supprime, previous, next[, octets].
std::string SqlChaine(const FichierPg& l, const ChainagePg& c, const std::string& depart,
                      const std::string& limite, bool octets) {
  const std::string suivant = pg::SqlPointeur("l.octets", c.suivante);
  return "WITH RECURSIVE ch(n, no) AS (" + depart + " UNION ALL SELECT ch.n + 1, " + suivant +
         " FROM ch JOIN " + l.table + " l ON l.no = ch.no WHERE NOT l.supprime AND ch.n < " +
         limite + " AND " + suivant + " <> 0) SELECT ch.no, l.no IS NOT NULL, l.supprime, " +
         pg::SqlPointeur("l.octets", c.precedente) + ", " + suivant + (octets ? ", l.octets" : "") +
         " FROM ch LEFT JOIN " + l.table + " l ON l.no = ch.no ORDER BY ch.n";
}

}  // namespace

SrvChainagePg::SrvChainagePg(std::shared_ptr<pg::BasePg> base) : base_(std::move(base)) {}

void SrvChainagePg::Chainage(std::string_view fichier_entete, int16_t longueur_entete,
                             int16_t pos_premiere, int16_t pos_derniere,
                             std::string_view fichier_ligne, int16_t longueur_ligne,
                             int16_t pos_precedente, int16_t pos_suivante) {
  constexpr std::string_view kOp = "Chainage";
  FichierPg& e = FichierChaine(*base_, fichier_entete, longueur_entete, kOp);
  FichierPg& l = FichierChaine(*base_, fichier_ligne, longueur_ligne, kOp);
  const isam::PointeursChainage p =
      isam::PointeursDeChainage({e.objet, e.longueur}, pos_premiere, pos_derniere,
                                {l.objet, l.longueur}, pos_precedente, pos_suivante, kOp);
  ChainagePg c;
  c.entete = base_->ChercheFichier(e.nom);
  c.ligne = base_->ChercheFichier(l.nom);
  c.premiere = p.premiere;
  c.derniere = p.derniere;
  c.precedente = p.precedente;
  c.suivante = p.suivante;
  base_->DeclareChainage(c);
}

SrvChainagePg::Contexte SrvChainagePg::Prepare(int16_t fichier_ligne, std::string_view op) {
  FichierPg& l = pg::FichierOuErreur(*base_, fichier_ligne, op);
  ChainagePg* c = base_->ChainageDeLigne(fichier_ligne);
  Exige(c != nullptr, op, l.objet, "aucun chaînage déclaré pour ce fichier de lignes");
  FichierPg& e = pg::FichierOuErreur(*base_, c->entete, op);
  Exige(e.courant != 0, op, e.objet,
        "aucun enregistrement courant dans le fichier d'en-tête (Recherche d'abord)");
  return Contexte{c, &e, &l, e.courant};
}

SrvChainagePg::Contexte SrvChainagePg::PrepareEcriture(int16_t fichier_ligne, std::string_view op) {
  Contexte x = Prepare(fichier_ligne, op);
  pg::ExigeEcriture(*x.entete, op);
  pg::ExigeEcriture(*x.ligne, op);
  return x;
}

void SrvChainagePg::EcritPointeur(FichierPg& f, int32_t no, uint32_t at, uint32_t valeur) {
  char p[3];
  isam::EncodePointer(valeur, p);
  Parametres x;
  x.Entier(no).Octets(std::string_view(p, 3)).Entier(static_cast<int32_t>(at + 1));
  base_->Ecrit("UPDATE " + f.table + " SET octets = overlay(octets placing $2 from $3 for 3) " +
                   "WHERE no = $1",
               std::move(x));
  base_->Touche(f);
}

void SrvChainagePg::ExigeCible(const FichierPg& ligne, const Maillon& m, int64_t dernier,
                               std::string_view de, std::string_view op) const {
  if (m.no > dernier) {
    throw ErreurService(op, ligne.objet,
                        "pointeur de chaînage endommagé : " + std::string(de) +
                            " renvoie à l'enregistrement " + std::to_string(m.no) +
                            ", au-delà de la fin (" + std::to_string(dernier) +
                            " enregistrements)");
  }
  Exige(m.present, op, ligne.objet,
        "pointeur de chaînage endommagé : " + std::string(de) + " renvoie à " + Rec(m.no, ligne) +
            ", qui manque à la table (base endommagée)");
  Exige(!m.supprime, op, ligne.objet,
        "pointeur de chaînage endommagé : " + std::string(de) + " renvoie à " + Rec(m.no, ligne) +
            ", qui est supprimé");
}

std::vector<int32_t> SrvChainagePg::Lignes(const Contexte& x, int64_t* dernier,
                                           std::string_view op) {
  const FichierPg& l = *x.ligne;
  const ChainagePg& c = *x.c;
  Parametres p;
  p.Entier(x.courant);
  std::vector<Requete> r(3);
  r[0] = Requete{pg::SqlEtat(*x.entete), p};
  r[1].sql = "SELECT coalesce(max(no), 0) FROM " + l.table;
  r[2] = Requete{SqlChaine(l, c,
                           "SELECT 1, " + pg::SqlPointeur("h.octets", c.premiere) + " FROM " +
                               x.entete->table + " h WHERE h.no = $1 AND NOT h.supprime AND " +
                               pg::SqlPointeur("h.octets", c.premiere) + " <> 0",
                           "(SELECT coalesce(max(no), 0) + 1 FROM " + l.table + ")", false),
                 p};
  std::vector<pg::Resultat> res = base_->Lit(op, l.objet, r);
  const pg::EtatEnregistrement etat = pg::EtatDe(res[0]);
  pg::ExigeVivant(*x.entete, x.courant, etat, op);
  *dernier = res[1].Entier(0, 0);
  const std::string head = Rec(x.courant, *x.entete);
  const uint32_t derniere = Pointeur(etat.octets, c.derniere);
  std::vector<int32_t> lines;
  int32_t prev = 0;
  const pg::Resultat& ch = res[2];
  for (int i = 0; i < ch.Lignes(); ++i) {
    Maillon m{ch.Entier(i, 0), ch.Booleen(i, 1), !ch.Nul(i, 2) && ch.Booleen(i, 2), 0, 0};
    ExigeCible(l, m, *dernier, prev == 0 ? head : Rec(prev, l), op);
    m.precedent = static_cast<uint32_t>(ch.Entier(i, 3));
    m.suivant = static_cast<uint32_t>(ch.Entier(i, 4));
    Exige(static_cast<int64_t>(lines.size()) < *dernier, op, l.objet,
          "chaînage en boucle sous " + head);
    Exige(m.precedent == static_cast<uint32_t>(prev), op, l.objet,
          "pointeurs de chaînage en désaccord : le précédent de " + Rec(m.no, l) + " n'est pas " +
              std::to_string(prev));
    lines.push_back(m.no);
    prev = m.no;
  }
  Exige(derniere == static_cast<uint32_t>(prev), op, x.entete->objet,
        "pointeur de dernière ligne de " + head + " (" + std::to_string(derniere) +
            ") en désaccord avec la chaîne (" + std::to_string(prev) + ")");
  return lines;
}

std::vector<EntreeLue> SrvChainagePg::LitChaine(const Contexte& x, int32_t depart,
                                                std::string_view op) {
  const FichierPg& l = *x.ligne;
  Parametres p;
  p.Entier(depart);
  std::vector<Requete> r(2);
  r[0].sql = "SELECT coalesce(max(no), 0) FROM " + l.table;
  r[1] = Requete{SqlChaine(l, *x.c, "SELECT 1, $1::integer", std::to_string(kAvance), true), p};
  std::vector<pg::Resultat> res = base_->Lit(op, l.objet, r);
  x.c->dernier = res[0].Entier(0, 0);
  std::vector<EntreeLue> out;
  for (int i = 0; i < res[1].Lignes(); ++i) {
    EntreeLue e;
    e.no = res[1].Entier(i, 0);
    e.present = res[1].Booleen(i, 1);
    if (e.present) {
      e.supprime = res[1].Booleen(i, 2);
      e.octets.assign(res[1].Octets(i, 5));
    }
    out.push_back(std::move(e));
  }
  return out;
}

void SrvChainagePg::PremLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "PremLigne";
  Contexte x = Prepare(fichier_ligne, kOp);
  FichierPg& l = *x.ligne;
  ChainagePg& c = *x.c;
  Parametres p;
  p.Entier(x.courant);
  std::vector<Requete> r(3);
  r[0] = Requete{pg::SqlEtat(*x.entete), p};
  r[1].sql = "SELECT coalesce(max(no), 0) FROM " + l.table;
  r[2] = Requete{SqlChaine(l, c,
                           "SELECT 1, " + pg::SqlPointeur("h.octets", c.premiere) + " FROM " +
                               x.entete->table + " h WHERE h.no = $1 AND NOT h.supprime AND " +
                               pg::SqlPointeur("h.octets", c.premiere) + " <> 0",
                           std::to_string(kAvance), true),
                 p};
  std::vector<pg::Resultat> res = base_->Lit(kOp, l.objet, r);
  const pg::EtatEnregistrement etat = pg::EtatDe(res[0]);
  pg::ExigeVivant(*x.entete, x.courant, etat, kOp);
  const uint32_t first = Pointeur(etat.octets, c.premiere);
  c.pas = 0;
  c.avance.clear();
  if (first == 0) {
    no_enr = 0;
    return;
  }
  c.dernier = res[1].Entier(0, 0);
  c.version = l.version;
  for (int i = 0; i < res[2].Lignes(); ++i) {
    EntreeLue e;
    e.no = res[2].Entier(i, 0);
    e.present = res[2].Booleen(i, 1);
    if (e.present) {
      e.supprime = res[2].Booleen(i, 2);
      e.octets.assign(res[2].Octets(i, 5));
    }
    c.avance.push_back(std::move(e));
  }
  Maillon m;
  m.no = static_cast<int32_t>(first);
  if (!c.avance.empty()) {
    m.present = c.avance.front().present;
    m.supprime = c.avance.front().supprime;
  }
  ExigeCible(l, m, c.dernier, Rec(x.courant, *x.entete), kOp);
  const std::string octets = c.avance.front().octets;  // the owner's walk may drop the front
  base_->Livre(l, m.no, octets, kOp);
  l.courant = m.no;
  c.pas = 1;
  no_enr = m.no;
}

void SrvChainagePg::SuivLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "SuivLigne";
  FichierPg& l = pg::FichierOuErreur(*base_, fichier_ligne, kOp);
  ChainagePg* c = base_->ChainageDeLigne(fichier_ligne);
  Exige(c != nullptr, kOp, l.objet, "aucun chaînage déclaré pour ce fichier de lignes");
  if (no_enr < 1) pg::ExigeVivant(l, no_enr, pg::EtatEnregistrement{}, kOp);
  const Contexte x{c, &pg::FichierOuErreur(*base_, c->entete, kOp), &l, 0};
  auto valable = [&] {
    return c->version == l.version && !c->avance.empty() && c->avance.front().no == no_enr;
  };
  if (!valable()) {
    std::vector<EntreeLue> lus = LitChaine(x, no_enr, kOp);
    c->avance.assign(std::make_move_iterator(lus.begin()), std::make_move_iterator(lus.end()));
    c->version = l.version;
  }
  const EntreeLue& cur = c->avance.front();
  pg::EtatEnregistrement etat;
  etat.dernier = c->dernier;
  etat.present = cur.present;
  etat.supprime = cur.supprime;
  pg::ExigeVivant(l, no_enr, etat, kOp);
  const uint32_t next = Pointeur(cur.octets, c->suivante);
  if (next == 0) {
    no_enr = 0;
    return;
  }
  if (c->avance.size() < 2) {
    std::vector<EntreeLue> lus = LitChaine(x, no_enr, kOp);
    c->avance.assign(std::make_move_iterator(lus.begin()), std::make_move_iterator(lus.end()));
    Exige(c->avance.size() >= 2 && c->avance.front().no == no_enr, kOp, l.objet,
          Rec(no_enr, l) + " a changé pendant la lecture de sa chaîne");
  }
  const EntreeLue& nxt = c->avance[1];
  ExigeCible(l, Maillon{static_cast<int32_t>(next), nxt.present, nxt.supprime, 0, 0}, c->dernier,
             Rec(no_enr, l), kOp);
  Exige(Pointeur(nxt.octets, c->precedente) == static_cast<uint32_t>(no_enr), kOp, l.objet,
        "pointeurs de chaînage en désaccord : le précédent de " + Rec(next, l) + " n'est pas " +
            std::to_string(no_enr));
  Exige(++c->pas <= c->dernier, kOp, l.objet, "chaînage en boucle");
  c->avance.pop_front();
  const std::string octets = c->avance.front().octets;  // the owner's walk may drop the front
  base_->Livre(l, static_cast<int32_t>(next), octets, kOp);
  l.courant = static_cast<int32_t>(next);
  no_enr = static_cast<int32_t>(next);
}

void SrvChainagePg::AjouteLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "AjouteLigne";
  pg::OperationPg op(*base_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  FichierPg& e = *x.entete;
  FichierPg& l = *x.ligne;
  Exige(l.proprietaire != nullptr, kOp, l.objet,
        "fichier ouvert sans propriétaire : pas de méthode Ecrire" + l.methode);
  int64_t dernier = 0;
  std::vector<int32_t> lines = Lignes(x, &dernier, kOp);
  base_->NoteDernier(l, dernier);
  const int32_t last = lines.empty() ? 0 : lines.back();
  const int64_t no = dernier + 1;
  Exige(no <= isam::kMaxPointer && no != 0x202020, kOp, l.objet,
        "l'enregistrement " + std::to_string(no) +
            " ne peut pas être désigné par un pointeur de 3 caractères");
  pg::AppelleEcrire(l, static_cast<int32_t>(no), kOp);
  Exige(base_->Dernier(l, kOp) >= no, kOp, l.objet,
        "la méthode Ecrire" + l.methode + " n'a pas écrit l'enregistrement " + std::to_string(no));
  const int32_t n = static_cast<int32_t>(no);
  EcritPointeur(l, n, x.c->precedente, static_cast<uint32_t>(last));
  EcritPointeur(l, n, x.c->suivante, 0);
  if (last != 0) {
    EcritPointeur(l, last, x.c->suivante, static_cast<uint32_t>(n));
  } else {
    EcritPointeur(e, x.courant, x.c->premiere, static_cast<uint32_t>(n));
  }
  EcritPointeur(e, x.courant, x.c->derniere, static_cast<uint32_t>(n));
  l.courant = n;
  no_enr = n;
  op.Fin(l.objet);
}

void SrvChainagePg::SupprimeLigne(int16_t fichier_ligne, int32_t no_enr) {
  constexpr std::string_view kOp = "SupprimeLigne";
  pg::OperationPg op(*base_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  FichierPg& e = *x.entete;
  FichierPg& l = *x.ligne;
  int64_t dernier = 0;
  std::vector<int32_t> lines = Lignes(x, &dernier, kOp);
  auto it = std::find(lines.begin(), lines.end(), no_enr);
  Exige(no_enr > 0 && it != lines.end(), kOp, l.objet,
        "la ligne " + std::to_string(no_enr) + " n'est pas chaînée sous " + Rec(x.courant, e));
  const int32_t prev = it == lines.begin() ? 0 : *(it - 1);
  const int32_t next = it + 1 == lines.end() ? 0 : *(it + 1);
  if (prev != 0) {
    EcritPointeur(l, prev, x.c->suivante, static_cast<uint32_t>(next));
  } else {
    EcritPointeur(e, x.courant, x.c->premiere, static_cast<uint32_t>(next));
  }
  if (next != 0) {
    EcritPointeur(l, next, x.c->precedente, static_cast<uint32_t>(prev));
  } else {
    EcritPointeur(e, x.courant, x.c->derniere, static_cast<uint32_t>(prev));
  }
  Parametres p;
  p.Entier(no_enr);
  base_->Ecrit("UPDATE " + l.table + " SET supprime = true WHERE no = $1", std::move(p));
  base_->Touche(l);  // the line file is written even when no other line's pointer moved
  if (l.courant == no_enr) l.courant = 0;
  op.Fin(l.objet);
}

void SrvChainagePg::SupprimeLignes(int16_t fichier_ligne) {
  constexpr std::string_view kOp = "SupprimeLignes";
  pg::OperationPg op(*base_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  int64_t dernier = 0;
  std::vector<int32_t> lines = Lignes(x, &dernier, kOp);
  if (!lines.empty()) {
    std::string tableau = "{";
    for (int32_t no : lines) {
      tableau += (tableau.size() > 1 ? "," : "") + std::to_string(no);
      if (x.ligne->courant == no) x.ligne->courant = 0;
    }
    Parametres p;
    p.Texte(tableau + "}");
    base_->Ecrit(
        "UPDATE " + x.ligne->table + " SET supprime = true WHERE no = ANY ($1::text::integer[])",
        std::move(p));
    base_->Touche(*x.ligne);
  }
  EcritPointeur(*x.entete, x.courant, x.c->premiere, 0);
  EcritPointeur(*x.entete, x.courant, x.c->derniere, 0);
  op.Fin(x.ligne->objet);
}

}  // namespace vesk
