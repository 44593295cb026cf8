// The two diagnostic queries of SrvBArbrePg: DescBArbre and InfoBArbre. What they give on a
// database is written in docs/postgresql.md (What LectBA shows of a B-tree).
#include <cstdio>
#include <functional>

#include "srv/isam/infos_lisibles.h"
#include "srv/isam/names.h"
#include "srv/list/liste.h"
#include "srv/pg/service_pg.h"
#include "srv/pg/srv_barbre_pg.h"

namespace vesk {

using pg::ArbrePg;
using pg::Parametres;
using pg::Requete;

namespace {

void Ajoute(std::string& liste, std::string_view element, std::string_view op) {
  list::Which which;
  list::Fault f = list::Append(liste, element, which);
  Exige(f.ok(), op, element, f.Message());
}

// A text that a list can hold: separators and brackets become look-alikes.
std::string Neutre(std::string_view s) {
  std::string out(s);
  for (char& c : out) {
    if (c == ',') c = ';';
    if (c == '[') c = '(';
    if (c == ']') c = ')';
  }
  return out;
}

std::string Paire(std::string_view titre, std::string_view texte) {
  std::string t = Neutre(titre);
  std::string x = Neutre(texte);
  if (x.empty()) x.assign(1, '-');
  std::string_view parts[] = {t, x};
  std::string out;
  size_t bad = 0;
  list::Build(parts, out, bad);
  return out;
}

// The most entries a leaf page of the tree's index holds: a page less its header and the
// B-tree's special space, over an index tuple (its header, the key as a short or long bytea,
// the record number of a secondary tree, aligned on 8) and its line pointer.
int64_t Ordre(int64_t page, uint16_t longueur_cle, char nature) {
  auto aligne = [](int64_t n, int64_t a) { return (n + a - 1) / a * a; };
  int64_t cle = (longueur_cle + 1 <= 127 ? 1 : 4) + longueur_cle;
  if (nature == 'S') cle = aligne(cle, 4) + 4;
  const int64_t tuple = aligne(8 + cle, 8);
  return (page - 24 - 16) / (tuple + 4);
}

// "schema.table" without the quotes, for a listing.
std::string SansGuillemets(std::string table) {
  std::erase(table, '"');
  return table;
}

}  // namespace

std::string SrvBArbrePg::TableIndexee(ArbrePg& a, std::string* objet, std::string_view op) {
  const std::string nom = !a.fichier_indexe.empty() ? a.fichier_indexe
                          : a.dernier_fichier != 0  ? base_->Fichier(a.dernier_fichier)->nom
                                                    : a.nom;
  *objet = nom + ".DAT";
  const pg::Lieu lieu = base_->Place(a.dependance, nom, op, *objet);
  if (base_->LongueurFichier(lieu, nom, op) == 0) return "";
  return pg::BasePg::Table(lieu, "d_", nom);
}

namespace {

// pgstatindex of the tree's index, when the server has it and lets this user call it.
struct StatsIndex {
  bool connues = false;
  int64_t niveaux = 0, internes = 0, feuilles = 0, racine = 0, libres = 0;
  double remplissage = 0;
};

std::string SqlStats(const ArbrePg& a) {
  std::string index = SansGuillemets(a.table) + "_pkey";
  return "SELECT CASE WHEN to_regprocedure('pgstatindex(regclass)') IS NOT NULL AND "
         "has_function_privilege('pgstatindex(regclass)', 'EXECUTE') THEN 1 ELSE 0 END, '" +
         index + "'";
}

}  // namespace

void SrvBArbrePg::DescBArbre(int16_t arbre, std::string& entete, std::string& noeuds_libres,
                             std::string& enregistrements_libres) {
  constexpr std::string_view kOp = "DescBArbre";
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  std::string objet;
  const std::string donnees = TableIndexee(a, &objet, kOp);
  std::vector<Requete> r(2);
  r[0].sql = "SELECT current_setting('block_size')::bigint, (SELECT count(*) FROM " + a.table + ")";
  r[1].sql = donnees.empty() ? "SELECT 1 WHERE false"
                             : "SELECT no FROM " + donnees + " WHERE supprime ORDER BY no";
  std::vector<pg::Resultat> x = base_->Lit(kOp, a.objet, r);
  const int64_t page = x[0].Grand(0, 0);
  StatsIndex st;
  pg::Resultat dispo = base_->Lit(kOp, a.objet, SqlStats(a), Parametres());
  if (dispo.Entier(0, 0) == 1) {
    Parametres p;
    p.Texte(std::string(dispo.Octets(0, 1)));
    pg::Resultat s = base_->Lit(kOp, a.objet,
                                "SELECT tree_level::bigint, internal_pages, leaf_pages, "
                                "root_block_no::bigint FROM pgstatindex($1::text::regclass)",
                                p);
    st.connues = true;
    st.niveaux = s.Grand(0, 0) + 1;
    st.internes = s.Grand(0, 1);
    st.feuilles = s.Grand(0, 2);
    st.racine = s.Grand(0, 3);
  }
  const std::vector<std::string> values = {std::to_string(page),
                                           std::to_string(a.longueur_cle),
                                           "4",
                                           std::string(1, a.nature),
                                           std::to_string(Ordre(page, a.longueur_cle, a.nature)),
                                           std::to_string(st.niveaux),
                                           std::to_string(x[0].Grand(0, 1)),
                                           std::to_string(st.internes + st.feuilles),
                                           std::to_string(st.racine)};
  std::string head = "[]";
  for (const std::string& v : values) Ajoute(head, v, kOp);
  std::string libres = "[]";
  for (int i = 0; i < x[1].Lignes(); ++i) Ajoute(libres, std::to_string(x[1].Entier(i, 0)), kOp);
  entete = std::move(head);
  noeuds_libres = "[]";
  enregistrements_libres = std::move(libres);
}

namespace {

using Ajout = std::function<void(std::string_view, std::string_view)>;

std::string Octets(int64_t n) { return std::to_string(n) + " octets"; }

// The index's pages, as pgstatindex gives them.
void InfosIndex(pg::BasePg& b, const ArbrePg& a, const Ajout& add, std::string_view op) {
  pg::Resultat dispo = b.Lit(op, a.objet, SqlStats(a), Parametres());
  if (dispo.Entier(0, 0) != 1) {
    add("Statistiques de l'Index", "pgstattuple absent : niveaux, noeuds et racine inconnus");
    return;
  }
  Parametres p;
  p.Texte(std::string(dispo.Octets(0, 1)));
  pg::Resultat s = b.Lit(op, a.objet,
                         "SELECT avg_leaf_density, tree_level::bigint + 1, internal_pages, "
                         "leaf_pages, empty_pages + deleted_pages FROM "
                         "pgstatindex($1::text::regclass)",
                         p);
  char fill[32];
  std::snprintf(fill, sizeof fill, "%.1f %%", s.Reel(0, 0));
  add("Taux de Remplissage des Noeuds", fill);
  add("Niveaux de l'Index", std::to_string(s.Grand(0, 1)));
  add("Noeuds par Nature",
      std::to_string(s.Grand(0, 2)) + " internes|" + std::to_string(s.Grand(0, 3)) + " feuilles");
  add("Noeuds Libres", std::to_string(s.Grand(0, 4)) + " (le serveur les réutilise)");
}

}  // namespace

void SrvBArbrePg::InfoBArbre(int16_t arbre, std::string& infos) {
  constexpr std::string_view kOp = "InfoBArbre";
  ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  std::string objet;
  const std::string donnees = TableIndexee(a, &objet, kOp);
  std::string out = "[]";
  auto add = [&](std::string_view titre, std::string_view texte) {
    Ajoute(out, Paire(titre, texte), kOp);
  };
  add("Fichier B-Arbre",
      a.objet + (a.nature == 'P' ? " : clés uniques" : " : clés en double admises"));
  add("Fichier de Données Indexé", !donnees.empty() ? objet : objet + " (absent)");
  add("Table de la Base", SansGuillemets(a.table));
  InfosIndex(*base_, a, add, kOp);
  std::vector<Requete> r(3);
  r[0].sql = "SELECT pg_total_relation_size('" + SansGuillemets(a.table) +
             "'), (SELECT count(*) FROM " + a.table + ")";
  r[1].sql = "SELECT cle FROM " + a.table + " ORDER BY cle, no LIMIT 10";
  r[2].sql = donnees.empty()
                 ? "SELECT 1 WHERE false"
                 : "SELECT coalesce(max(no), 0)::bigint, count(*) FILTER (WHERE supprime), "
                   "pg_total_relation_size('" +
                       SansGuillemets(donnees) + "') FROM " + donnees;
  std::vector<pg::Resultat> x = base_->Lit(kOp, a.objet, r);
  add("Taille du Fichier B-Arbre", Octets(x[0].Grand(0, 0)));
  const int64_t cles = x[0].Grand(0, 1);
  if (!donnees.empty()) {
    const int64_t dernier = x[2].Grand(0, 0), supprimes = x[2].Grand(0, 1);
    const int64_t live = dernier - supprimes;
    const uint32_t longueur = base_->LongueurFichier(
        pg::Lieu{a.entreprise, SchemaEntreprise(base_->Adresse().racine, a.entreprise)},
        objet.substr(0, objet.size() - 4), kOp);
    add("Enregistrements du Fichier de Données",
        Compte(dernier, "utilisé", "utilisés") + "|" + std::to_string(live) + " en service|" +
            Compte(supprimes, "supprimé", "supprimés") + "|longueur " + std::to_string(longueur));
    add("Taille du Fichier de Données", Octets(x[2].Grand(0, 2)));
    if (a.nature == 'P') {
      add("Clés et Enregistrements en Service",
          Compte(cles, "clé", "clés") + " pour " +
              Compte(live, "enregistrement", "enregistrements") +
              (cles == live ? " : en accord" : " : en désaccord, reconstruire le B-arbre"));
    }
  }
  std::string premieres;
  for (int i = 0; i < x[1].Lignes(); ++i) {
    premieres += (i > 0 ? "|" : "") + CleLisible(x[1].Octets(i, 0));
  }
  add("Premières Clés", premieres.empty() ? "aucune" : premieres);
  add("Contrôle du B-Arbre", Controle(a, donnees, kOp));
  infos = std::move(out);
}

// Every key against the indexed file: "Correct" or the first fault found.
std::string SrvBArbrePg::Controle(ArbrePg& a, const std::string& donnees, std::string_view op) {
  if (donnees.empty()) return "Correct";
  pg::Resultat r = base_->Lit(
      op, a.objet,
      "SELECT b.cle, b.no, d.no IS NULL, (SELECT coalesce(max(no), 0) FROM " + donnees + ") FROM " +
          a.table + " b LEFT JOIN " + donnees +
          " d ON d.no = b.no WHERE d.no IS NULL OR d.supprime ORDER BY b.cle, b.no LIMIT 1",
      Parametres());
  if (r.Lignes() == 0) return "Correct";
  const std::string cle = CleLisible(r.Octets(0, 0));
  const int32_t no = r.Entier(0, 1);
  if (r.Booleen(0, 2)) {
    return "clé " + cle + " : enregistrement " + std::to_string(no) + " au-delà du dernier (" +
           std::to_string(r.Entier(0, 3)) + ")";
  }
  return "clé " + cle + " : enregistrement " + std::to_string(no) + " supprimé";
}

void SrvBArbrePg::Comptes(int16_t arbre, int16_t fichier, int64_t& cles, int32_t& vivants) {
  constexpr std::string_view kOp = "Comptes";
  pg::ArbrePg& a = pg::ArbreOuErreur(*base_, arbre, kOp);
  pg::FichierPg& f = FichierDe(a, fichier, kOp);
  std::vector<pg::Requete> r(2);
  r[0].sql = "SELECT count(*)::bigint FROM " + a.table;
  r[1].sql =
      "SELECT (coalesce(max(no), 0) - count(*) FILTER (WHERE supprime))::bigint FROM " + f.table;
  const std::vector<pg::Resultat> x = base_->Lit(kOp, a.objet, r);
  cles = x[0].Grand(0, 0);
  vivants = static_cast<int32_t>(x[1].Grand(0, 0));
}

}  // namespace vesk
