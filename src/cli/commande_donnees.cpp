// `vesk donnees NOM [--csv|--json]`: the live records of the data file NOM read by the
// dictionary, in record order, as CSV (RFC 4180, the separator of vesk.ini, the variables as
// headings) or JSON (an array, one object per record on its own line). The output is written
// once the last record is read. A value the field rules refuse is left empty (null) and named
// on the error stream; the exit status is then 1.
#include <ostream>
#include <sstream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/texte_json.h"
#include "fic/donnees.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

namespace {

// Faults named one by one on the error stream, at most.
constexpr size_t kDefautsMontres = 20;

std::string Csv(std::string_view valeur, std::string_view separateur) {
  const bool guillemets =
      valeur.find_first_of("\"\r\n") != std::string_view::npos ||
      (!separateur.empty() && valeur.find(separateur) != std::string_view::npos);
  if (!guillemets) return std::string(valeur);
  std::string t = "\"";
  for (char c : valeur) {
    if (c == '"') t += '"';
    t += c;
  }
  return t + "\"";
}

// A value as CSV shows it: numbers with a decimal comma (the spreadsheets that read ";" read
// ","), the others as their text; empty when the field's rules refuse it.
std::string ValeurCsv(const fic::Lecture& l) {
  std::string t = l.defaut == fic::Defaut::kAucun ? l.valeur.texte : "";
  if (l.valeur.genre == fic::Valeur::Genre::kNombre) {
    for (char& c : t) c = c == '.' ? ',' : c;
  }
  return t;
}

std::string ValeurJson(const fic::Lecture& l) {
  using G = fic::Valeur::Genre;
  if (l.defaut != fic::Defaut::kAucun || l.valeur.genre == G::kVide) return "null";
  if (l.valeur.genre == G::kNombre || l.valeur.genre == G::kPointeur) return l.valeur.texte;
  return TexteJson(l.valeur.texte);
}

void Titres(const fic::Fichier& f, const std::string& sep, std::ostream& sortie) {
  for (size_t i = 0; i < f.rubriques.size(); ++i) {
    sortie << (i > 0 ? sep : "") << Csv(f.rubriques[i].variable, sep);
  }
  sortie << "\r\n";
}

}  // namespace

int CommandeDonnees(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.csv && o.json) throw ErreurUsage("--json", "--csv ou --json, pas les deux");
  const std::string nom = contexte.NomFichier();
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  const fic::ModeleDictionnaire m = fic::LitDictionnaire(composant->Session());
  const fic::Fichier* f = m.ChercheFichier(nom);
  if (f == nullptr)
    throw ErreurService("Données", nom, "fichier non spécifié dans le dictionnaire");
  const std::string& sep = contexte.Config().separateur_csv;
  std::ostringstream texte;
  if (o.json) {
    texte << "[";
  } else {
    Titres(*f, sep, texte);
  }
  size_t defauts = 0, lignes = 0;
  fic::ParcourtDonnees(composant->Session(), nom, *f, [&](int32_t no, std::string_view octets) {
    const fic::ValeursEnregistrement v = fic::LitEnregistrement(*f, octets);
    if (o.json) texte << (lignes > 0 ? ",\n{" : "\n{");
    for (size_t i = 0; i < v.size(); ++i) {
      const std::string& variable = f->rubriques[i].variable;
      if (v[i].defaut != fic::Defaut::kAucun && defauts++ < kDefautsMontres) {
        contexte.Erreurs() << "vesk : " << nom << ", enregistrement " << no << ", " << variable
                           << " : " << fic::NomDefaut(v[i].defaut) << " (" << v[i].detail << ")\n";
      }
      if (o.json) {
        texte << (i > 0 ? "," : "") << TexteJson(variable) << ":" << ValeurJson(v[i]);
      } else {
        texte << (i > 0 ? sep : "") << Csv(ValeurCsv(v[i]), sep);
      }
    }
    texte << (o.json ? "}" : "\r\n");
    ++lignes;
  });
  if (o.json) texte << (lignes > 0 ? "\n]\n" : "]\n");
  composant->Termine();
  contexte.Sortie() << texte.view();
  contexte.TermineSortie();
  if (defauts > kDefautsMontres) {
    contexte.Erreurs() << "vesk : " << nom << " : " << defauts
                       << " valeurs refusées par les règles des rubriques en tout\n";
  }
  return defauts > 0 ? 1 : 0;
}

}  // namespace vesk::cli
