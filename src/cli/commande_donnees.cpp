// `vesk donnees NOM [--csv|--json]`: the live records of the data file NOM read by the
// dictionary, in record order, as CSV (RFC 4180, the configured separator, the variables as
// headings) or JSON (an array, one object per record on its own line). A value the field rules
// refuse is left empty (null) and named on the error stream; the exit status is then 1.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/donnees.h"

namespace vesk::cli {

namespace {

// Faults named one by one on the error stream, at most.
constexpr size_t kDefautsMontres = 20;

std::string Csv(std::string_view valeur, std::string_view separateur) {
  const bool guillemets = valeur.find_first_of("\"\r\n") != std::string_view::npos ||
                          (!separateur.empty() && valeur.find(separateur) != std::string_view::npos);
  if (!guillemets) return std::string(valeur);
  std::string t = "\"";
  for (char c : valeur) {
    if (c == '"') t += '"';
    t += c;
  }
  return t + "\"";
}

std::string Json(std::string_view texte) {
  std::string t = "\"";
  for (char c : texte) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      t += '\\';
      t += c;
    } else if (u < 0x20) {
      char h[8];
      std::snprintf(h, sizeof h, "\\u%04x", u);
      t += h;
    } else {
      t += c;
    }
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
  return Json(l.valeur.texte);
}

}  // namespace

int CommandeDonnees(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.csv && o.json) throw ErreurUsage("--json", "--csv ou --json, pas les deux");
  const std::string nom = contexte.NomFichier();
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  Session& s = Etat();
  const fic::DispositionFichier d = fic::Disposition(fic::LitDictionnaire(), nom);
  std::ostream& sortie = contexte.Sortie();
  const std::string& sep = contexte.Config().separateur_csv;
  if (o.json) {
    sortie << "[";
  } else {
    for (size_t i = 0; i < d.champs.size(); ++i) {
      sortie << (i > 0 ? sep : "") << Csv(d.champs[i].variable, sep);
    }
    sortie << "\r\n";
  }
  size_t defauts = 0, lignes = 0;
  fic::ParcourtDonnees(s, d, [&](int32_t no, const fic::ValeursEnregistrement& v) {
    if (o.json) sortie << (lignes > 0 ? ",\n{" : "\n{");
    for (size_t i = 0; i < v.size(); ++i) {
      if (v[i].defaut != fic::Defaut::kAucun && defauts++ < kDefautsMontres) {
        contexte.Erreurs() << "vesk : " << nom << ", enregistrement " << no << ", "
                           << d.champs[i].variable << " : " << fic::NomDefaut(v[i].defaut) << " ("
                           << v[i].detail << ")\n";
      }
      if (o.json) {
        sortie << (i > 0 ? "," : "") << Json(d.champs[i].variable) << ":" << ValeurJson(v[i]);
      } else {
        sortie << (i > 0 ? sep : "") << Csv(ValeurCsv(v[i]), sep);
      }
    }
    sortie << (o.json ? "}" : "\r\n");
    ++lignes;
  });
  if (o.json) sortie << (lignes > 0 ? "\n]\n" : "]\n");
  composant->Termine();
  contexte.TermineSortie();
  if (defauts > kDefautsMontres) {
    contexte.Erreurs() << "vesk : " << nom << " : " << defauts
                       << " valeurs refusées par les règles des rubriques en tout\n";
  }
  return defauts > 0 ? 1 : 0;
}

}  // namespace vesk::cli
