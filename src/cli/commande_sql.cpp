// `vesk sql vues` and `vesk sql ddl`: the typed views of the application's data on a database
// store (docs/postgresql.md), made on the server or printed as SQL text. Built with the
// database store only.
#ifdef VESK_AVEC_PG
#include <map>
#include <ostream>
#include <set>
#include <utility>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/vues_sql.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/pg/base_pg.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kOp = "Vues SQL";

// The fields of a specified file as its view decodes them (the model gives their internal
// formats and positions).
std::vector<ColonneVue> Colonnes(const fic::Fichier& fichier) {
  std::vector<ColonneVue> out;
  for (const fic::Rubrique& r : fichier.rubriques) {
    ColonneVue c;
    c.variable = r.variable;
    c.type = r.Type() == ' ' ? 'A' : r.Type();
    c.format = r.interne.format == ' ' ? 'A' : r.interne.format;
    c.debut = r.position;
    c.longueur = r.interne.longueur;
    c.decimales = r.Decimales();
    out.push_back(std::move(c));
  }
  return out;
}

// Where the store holds each data file: by name, its schemas and record lengths.
using Emplacements = std::map<std::string, std::vector<std::pair<std::string, int64_t>>>;

Emplacements LitEmplacements(pg::BasePg& base, const std::map<std::string, bool>& entreprise) {
  const pg::Resultat r = base.Lit(kOp, "vesk_fichiers",
                                  "SELECT entreprise, nom, longueur FROM " +
                                      base.Catalogue("vesk_fichiers") + " ORDER BY nom, entreprise",
                                  pg::Parametres());
  Emplacements out;
  for (int i = 0; i < r.Lignes(); ++i) {
    const std::string societe(r.Octets(i, 0)), nom(r.Octets(i, 1));
    const auto e = entreprise.find(nom);
    // A company file has a view in each company, a root file at the root.
    if (e == entreprise.end() || e->second == societe.empty()) continue;
    out[nom].emplace_back(SchemaEntreprise(base.Adresse().racine, societe), r.Entier(i, 2));
  }
  return out;
}

// The specified files as their views decode them, and whether each is a company's.
struct Specifie {
  bool entreprise = false;
  std::vector<ColonneVue> colonnes;
};

// The views of ours in the store's schemas (the root's and its companies'), as (schema, view):
// those whose comment names the file they read. A view a user made there without that comment
// is not ours.
std::set<std::pair<std::string, std::string>> VuesExistantes(pg::BasePg& base) {
  const std::string& racine = base.Adresse().racine;
  const pg::Resultat societes = base.Lit(
      kOp, "vesk_fichiers", "SELECT DISTINCT entreprise FROM " + base.Catalogue("vesk_fichiers"),
      pg::Parametres());
  std::set<std::string> schemas = {racine};
  for (int i = 0; i < societes.Lignes(); ++i) {
    schemas.insert(SchemaEntreprise(racine, societes.Octets(i, 0)));
  }
  pg::Parametres p;
  p.Texte(std::string(kCommentaireVue) + "%");
  const pg::Resultat r = base.Lit(
      kOp, "vues",
      "SELECT n.nspname::text, c.relname::text FROM pg_class c JOIN pg_namespace n ON n.oid = "
      "c.relnamespace WHERE c.relkind = 'v' AND obj_description(c.oid, 'pg_class') LIKE $1",
      p);
  std::set<std::pair<std::string, std::string>> out;
  for (int i = 0; i < r.Lignes(); ++i) {
    if (schemas.count(std::string(r.Octets(i, 0))) != 0)
      out.emplace(r.Octets(i, 0), r.Octets(i, 1));
  }
  return out;
}

// The statements that make the functions and every view, checked whole first, then drop the
// views of ours no file has any more (a file no longer specified, moved between the root and
// the companies, or whose table is gone); vues counts the views made, otees those dropped.
std::vector<std::string> Instructions(pg::BasePg& base,
                                      const std::map<std::string, Specifie>& fichiers, size_t* vues,
                                      size_t* otees) {
  std::map<std::string, bool> entreprise;
  for (const auto& [nom, f] : fichiers) entreprise[nom] = f.entreprise;
  const Emplacements ou = LitEmplacements(base, entreprise);
  const std::string& racine = base.Adresse().racine;
  std::vector<std::string> out = FonctionsVues(racine);
  std::vector<std::string> fautes;
  std::set<std::pair<std::string, std::string>> anciennes = VuesExistantes(base);
  *vues = 0;
  for (const auto& [nom, specifie] : fichiers) {
    const auto e = ou.find(nom);
    if (e == ou.end()) continue;  // never created: no table to read
    const FichierVue f{nom, specifie.colonnes, {}};
    for (const auto& [schema, longueur] : e->second) {
      const std::vector<std::string> ici = FautesVue(f, longueur);
      fautes.insert(fautes.end(), ici.begin(), ici.end());
      const std::vector<std::string> vue = VueFichier(f, schema, racine);
      out.insert(out.end(), vue.begin(), vue.end());
      anciennes.erase({schema, NomVue(nom)});
      ++*vues;
    }
  }
  for (const auto& [schema, vue] : anciennes) out.push_back(SupprimeVue(schema, vue));
  *otees = anciennes.size();
  if (!fautes.empty()) {
    std::string texte = "aucune vue n'est faite :";
    for (const std::string& f : fautes) texte += "\n  " + f;
    throw ErreurService(kOp, base.Nom(), texte);
  }
  return out;
}

}  // namespace

std::pair<size_t, size_t> RafraichitVues(Contexte& contexte, Session& session, std::string* ddl) {
  AdresseBase adresse;
  const std::string& stockage = contexte.Config().stockage;
  const std::string pourquoi = AnalyseAdresseBase(stockage, adresse);
  if (stockage.empty() || !pourquoi.empty()) {
    throw ErreurService(kOp, contexte.Config().dossier,
                        stockage.empty() ? "les données sont dans un dossier : les vues SQL "
                                           "demandent une base (stockage = postgresql://...)"
                                         : pourquoi);
  }
  // The fields' positions come from the component's rules, while it is open.
  std::map<std::string, Specifie> fichiers;
  for (const auto& [nom, f] : fic::LitDictionnaire(session).fichiers) {
    fichiers[nom] = Specifie{f.entreprise, Colonnes(f)};
  }
  pg::BasePg base(adresse, "");
  size_t vues = 0, otees = 0;
  const std::vector<std::string> instructions = Instructions(base, fichiers, &vues, &otees);
  if (ddl != nullptr) {
    *ddl = TexteSql(instructions);
    return {vues, otees};
  }
  std::vector<pg::Requete> requetes;
  for (const std::string& i : instructions) requetes.push_back(pg::Requete{i, pg::Parametres()});
  base.Structure(kOp, "vues", requetes);
  return {vues, otees};
}

int CommandeSql(Contexte& contexte) {
  const auto& arguments = contexte.Options().arguments;
  if (arguments.size() != 1 || (arguments[0] != "vues" && arguments[0] != "ddl")) {
    throw ErreurService("Ligne de commande", "sql",
                        "vesk sql vues (crée les vues dans la base) ou vesk sql ddl (les écrit "
                        "en SQL)");
  }
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  if (arguments[0] == "ddl") {
    std::string ddl;
    RafraichitVues(contexte, composant->Session(), &ddl);
    composant->Termine();
    contexte.Sortie() << ddl;
    return 0;
  }
  const auto [vues, otees] = RafraichitVues(contexte, composant->Session(), nullptr);
  composant->Termine();
  contexte.Sortie() << "Vues SQL faites : " << vues << " vue(s), et leurs fonctions\n";
  if (otees > 0) {
    contexte.Sortie() << "Vues SQL supprimées (fichiers qui n'en ont plus) : " << otees << "\n";
  }
  return 0;
}

}  // namespace vesk::cli
#endif
