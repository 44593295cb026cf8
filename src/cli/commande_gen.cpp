// `vesk genps [NOM]` and `vesk genpe [NOM]`: the data-entry program generator and the report
// and CSV program generator. Without NOM, their screen (in a terminal or through --script),
// then the code in the viewer; with NOM, no screen: the program of the file NOM with the
// defaults (for genpe --csv, the default, or --edition) written to the output.
#include <functional>
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "gencode/etat_gencode.h"
#include "gencode/gen_pe.h"
#include "gencode/gen_ps.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// Runs the generation (screen or not), then shows or writes its text.
int Genere(Contexte& contexte, const std::function<void(Composant&)>& genere) {
  std::string texte;
  size_t anomalies = 0;
  int32_t generations = 0;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    const EtatGenCode& gen = composant->Session().Gen();
    generations = gen.Generations();
    genere(*composant);
    generations = gen.Generations() - generations;
    texte = gen.Texte();
    anomalies = gen.Anomalies().size();
    composant->Termine();
  }
  if (generations == 0) {
    contexte.SortieStandard() << "Rien n'a été généré.\n";
    return 0;
  }
  return SortieCode(contexte, std::move(texte), anomalies);
}

// The file NOM of a generation into a folder, which has no screen to ask it.
std::string NomAvecDossier(const Contexte& contexte) {
  if (contexte.Options().arguments.empty()) {
    throw ErreurUsage("--output-dir", "avec un nom de fichier seulement : vesk " +
                                          contexte.Options().commande + " NOM --output-dir");
  }
  return contexte.NomFichier();
}

}  // namespace

int CommandeGenPS(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.dossier_programmes) {
    const std::string f = NomAvecDossier(contexte);
    return GenereDansDossier(contexte, {.nom = "Ent" + f,
                                        .generateur = "genps",
                                        .fichier = f,
                                        .programme = "Ent" + f,
                                        .titre = "Entrée Du Fichier " + f,
                                        .suffixe = SuffixeDefaut(f),
                                        .encodage = o.encodage,
                                        .fin_de_ligne = o.fin_de_ligne});
  }
  return Genere(contexte, [&](Composant& c) {
    if (o.arguments.empty()) {
      c.Ass().GenPS();
      return;
    }
    GenereSaisie(c.Session(), {text::UpperAscii(o.arguments.front()), "", "", ""}, [&] {
      contexte.Erreurs() << "vesk : " << kTropDeCles << " : l'écran initial prend une rubrique "
                         << "de plus\n";
    });
  });
}

int CommandeGenPE(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.csv && o.edition) {
    throw ErreurUsage("--csv --edition", "l'un ou l'autre, pas les deux");
  }
  if (o.arguments.empty() && (o.csv || o.edition)) {
    throw ErreurUsage(o.csv ? "--csv" : "--edition",
                      "avec un nom de fichier seulement : l'écran demande la sortie");
  }
  if (o.dossier_programmes) {
    const std::string f = NomAvecDossier(contexte);
    return GenereDansDossier(contexte, {.nom = "Csv" + f,
                                        .generateur = "genpe",
                                        .fichier = f,
                                        .programme = "Csv" + f,
                                        .csv = !o.edition,
                                        .encodage = o.encodage,
                                        .fin_de_ligne = o.fin_de_ligne});
  }
  return Genere(contexte, [&](Composant& c) {
    if (o.arguments.empty()) {
      c.Ass().GenPE();
    } else {
      GenereEdition(c.Session(), {text::UpperAscii(o.arguments.front()), "", !o.edition});
    }
  });
}

}  // namespace vesk::cli
