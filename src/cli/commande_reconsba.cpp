// `vesk reconsba`: the B-tree reconstruction. Without a name, its screen (the choice of the
// files, in a terminal or through --script), then once the screen is closed a summary per file
// on the output; `vesk reconsba NOM...` or `--tous` rebuilds without screens and writes the same
// summary.
#include <algorithm>
#include <cstdio>
#include <ostream>

#include "btree/reconstruction.h"
#include "cli/commandes.h"
#include "cli/composant.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"
#include "srv/tui/barre_progression.h"

namespace vesk::cli {

namespace {

// The files named on the command line, each once in the order of its first mention, or all with
// --tous; each a candidate.
std::vector<std::string> Noms(const OptionsLigne& o, const std::vector<btree::Candidat>& tous) {
  std::vector<std::string> noms;
  if (o.tous) {
    for (const btree::Candidat& c : tous) noms.push_back(c.nom);
    return noms;
  }
  for (const std::string& argument : o.arguments) {
    const std::string nom = text::UpperAscii(argument);
    bool connu = false;
    for (const btree::Candidat& c : tous) connu = connu || c.nom == nom;
    if (!connu) {
      throw ErreurService("reconsba", nom,
                          "fichier inconnu du dictionnaire ou sans fichier de données");
    }
    if (std::find(noms.begin(), noms.end(), nom) == noms.end()) noms.push_back(nom);
  }
  return noms;
}

// One line of the summary: what was kept and rewritten, the keys of each tree, the time.
std::string Resume(const btree::ResumeFichier& r) {
  if (!r.fait) return r.nom + " : non reconstruit (" + r.raison + ")";
  std::string ligne;
  for (const std::string& l : r.lignes) ligne += (ligne.empty() ? "" : " ; ") + l;
  char temps[32];
  std::snprintf(temps, sizeof temps, "%.2f", r.secondes);
  std::string secondes(temps);
  for (char& c : secondes) c = c == '.' ? ',' : c;
  return ligne + " (" + secondes + " s)";
}

// The summary on the output, a line per file then the closing warning; 1 when a file was not
// rebuilt.
int EcritResumes(Contexte& contexte, const std::vector<btree::ResumeFichier>& resumes) {
  int statut = 0;
  for (const btree::ResumeFichier& r : resumes) {
    contexte.Sortie() << Resume(r) << "\n";
    if (!r.fait) statut = 1;
  }
  contexte.Sortie() << btree::kTravauxPost << " : " << btree::kAttention << "\n";
  return statut;
}

int SansEcran(Contexte& contexte, Session& s) {
  const OptionsLigne& o = contexte.Options();
  const fic::ModeleDictionnaire modele = fic::LitDictionnaire(s);
  btree::Interlocuteur qui;
  qui.message = [](std::string_view) {};  // the summary says the rest
  qui.confirme = [&](const std::string& question) {
    if (!o.force) {
      contexte.Erreurs() << "vesk : " << question.substr(0, question.rfind(" - "))
                         << " (--force pour compacter quand même)\n";
    }
    return o.force;
  };
  // A bar on the terminal while each file is rebuilt (nothing when stderr is not one).
  const std::unique_ptr<SuiviProgression> barre = tui::BarreSurErreurs();
  qui.suivi = barre.get();
  const std::vector<std::string> noms = Noms(o, btree::Candidats(s, modele));
  const std::vector<std::string> champs_e = btree::ChampsENonSuivis(modele);
  std::vector<btree::ResumeFichier> resumes;
  for (const std::string& nom : noms) {
    resumes.push_back(btree::ReconstruitFichier(s, modele, champs_e, nom, qui));
  }
  return EcritResumes(contexte, resumes);
}

// --dictionnaire: the dictionary's trees rebuilt without opening the dictionary (it may not
// open: a tree whose checksum fails, or whose count disagrees with its file).
int Dictionnaire(Contexte& contexte) {
  std::unique_ptr<Composant> composant = InstalleServices(contexte, contexte.Config());
  btree::Interlocuteur qui;
  qui.message = [](std::string_view) {};
  qui.confirme = [](const std::string&) { return true; };
  int statut = 0;
  for (const btree::ResumeFichier& r : btree::ReconstruitDictionnaire(Etat(), qui)) {
    contexte.Sortie() << Resume(r) << "\n";
    if (!r.fait) statut = 1;
  }
  composant->Termine();
  contexte.TermineSortie();
  return statut;
}

}  // namespace

int CommandeReConsBA(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.dictionnaire) {
    if (o.tous || !o.arguments.empty() || o.force) {
      throw ErreurService("Ligne de commande", "--dictionnaire",
                          "seule : elle reconstruit les B-arbres du dictionnaire");
    }
    return Dictionnaire(contexte);
  }
  if (o.tous && !o.arguments.empty()) {
    throw ErreurUsage("--tous", "des noms de fichiers ou --tous, pas les deux");
  }
  const bool ecran = !o.tous && o.arguments.empty();
  if (ecran && o.force) {
    throw ErreurUsage("--force",
                      "avec des noms de fichiers ou --tous seulement : l'écran pose la question");
  }
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  int statut = 0;
  if (ecran) {
    // The screen is closed before its summary is written: it stays on the terminal.
    const std::vector<btree::ResumeFichier> resumes = btree::ReConsBAEcran(composant->Session());
    composant->Termine();
    if (resumes.empty()) {
      contexte.Sortie() << "Aucun fichier choisi : rien n'est reconstruit.\n";
    } else {
      statut = EcritResumes(contexte, resumes);
    }
  } else {
    statut = SansEcran(contexte, composant->Session());
    composant->Termine();
  }
  contexte.TermineSortie();
  return statut;
}

}  // namespace vesk::cli
