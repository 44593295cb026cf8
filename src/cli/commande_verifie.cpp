// `vesk verifie [NOM...] [--json]`: the application's data checked against its dictionary
// (cli/verification.h), a summary per file and folder: its records, its problems by kind with
// the first record numbers of each and the text of the first. Exit status 1 on any problem.
#include <ostream>
#include <sstream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/texte_json.h"
#include "cli/verification.h"
#include "fic/lecture_dictionnaire.h"
#include "gencode/fichier_genere.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/tui/barre_progression.h"

namespace vesk::cli {

namespace {

std::string Lieu(const VerificationFichier& v) {
  return v.fichier + (v.entreprise.empty() ? "" : " (" + v.entreprise + ")");
}

std::string Numeros(const std::vector<uint32_t>& numeros, uint64_t nombre) {
  std::string t;
  for (uint32_t n : numeros) t += (t.empty() ? "" : ", ") + std::to_string(n);
  if (nombre > numeros.size()) t += "...";
  return t;
}

void Texte(const std::vector<VerificationFichier>& resultats, std::ostream& sortie) {
  uint64_t enregistrements = 0, problemes = 0;
  for (const VerificationFichier& v : resultats) {
    problemes += v.Problemes();
    if (!v.donnees) {
      sortie << Lieu(v) << " : pas de fichier de données\n";
    } else {
      enregistrements += v.bilan.records;
      sortie << Lieu(v) << " : " << v.bilan.records << " enregistrement(s), " << v.bilan.deleted
             << " supprimé(s), " << v.arbres << " B-arbre(s) (" << v.bilan.keys << " clé(s)), "
             << v.chainages << " chaînage(s) : "
             << (v.problemes.empty() ? "correct" : std::to_string(v.Problemes()) + " problème(s)")
             << "\n";
    }
    for (const GenreProbleme& g : v.problemes) {
      sortie << "  " << g.genre << " : " << g.nombre;
      if (!g.premiers.empty())
        sortie << " (enregistrements " << Numeros(g.premiers, g.nombre) << ")";
      sortie << "\n    " << g.exemple << "\n";
    }
  }
  sortie << "Vérification : " << resultats.size() << " fichier(s), " << enregistrements
         << " enregistrement(s) : "
         << (problemes == 0 ? "correct" : std::to_string(problemes) + " problème(s)") << "\n";
}

void Json(const std::vector<VerificationFichier>& resultats, std::ostream& sortie) {
  uint64_t problemes = 0;
  sortie << "{\"fichiers\":[";
  for (size_t i = 0; i < resultats.size(); ++i) {
    const VerificationFichier& v = resultats[i];
    problemes += v.Problemes();
    sortie << (i > 0 ? ",\n" : "\n") << "{\"fichier\":" << TexteJson(v.fichier)
           << ",\"entreprise\":" << TexteJson(v.entreprise)
           << ",\"donnees\":" << (v.donnees ? "true" : "false")
           << ",\"enregistrements\":" << v.bilan.records << ",\"supprimes\":" << v.bilan.deleted
           << ",\"arbres\":" << v.arbres << ",\"cles\":" << v.bilan.keys
           << ",\"chainages\":" << v.chainages << ",\"problemes\":[";
    for (size_t k = 0; k < v.problemes.size(); ++k) {
      const GenreProbleme& g = v.problemes[k];
      sortie << (k > 0 ? "," : "") << "{\"genre\":" << TexteJson(g.genre)
             << ",\"nombre\":" << g.nombre << ",\"enregistrements\":[";
      for (size_t n = 0; n < g.premiers.size(); ++n) sortie << (n > 0 ? "," : "") << g.premiers[n];
      sortie << "],\"exemple\":" << TexteJson(g.exemple) << "}";
    }
    sortie << "]}";
  }
  sortie << "\n],\"problemes\":" << problemes << "}\n";
}

// The store of the configuration: its data folder, or the database stockage names.
std::unique_ptr<DonneesAVerifier> Donnees(const Configuration& config) {
#ifdef VESK_AVEC_PG
  if (EstAdresseBase(config.stockage)) return DonneesBase(config.stockage);
#endif
  return DonneesDossier(config.dossier);
}

}  // namespace

int CommandeVerifie(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  std::vector<std::string> noms;
  for (const std::string& a : o.arguments) noms.push_back(NomFichier(a));
  fic::ModeleDictionnaire m;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    m = fic::LitDictionnaire(composant->Session());
    fic::LitDefinitions(composant->Session(), m);
    composant->Termine();
  }
  const std::unique_ptr<SuiviProgression> barre = tui::BarreSurErreurs();
  std::vector<VerificationFichier> resultats =
      VerifieDonnees(m, *Donnees(contexte.Config()), noms, *barre);
  AjouteNomsReserves(m, contexte.Config().application, resultats);
  std::ostringstream texte;
  if (o.json) {
    Json(resultats, texte);
  } else {
    Texte(resultats, texte);
  }
  contexte.Sortie() << texte.view();
  contexte.TermineSortie();
  for (const VerificationFichier& v : resultats) {
    if (v.Problemes() > 0) return 1;
  }
  return 0;
}

}  // namespace vesk::cli
