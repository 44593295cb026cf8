// Generated programs kept in a folder: `vesk genps|genpe|decl NOM --output-dir [DOSSIER]` writes
// the program as NAME.bas and records what it was made from (cli/programmes.h); `vesk perimes
// [DOSSIER]` lists the recorded programs that the dictionary has changed under, with what
// changed; `vesk regenere [DOSSIER]` regenerates those with their recorded answers and shows
// the lines that changed. DOSSIER defaults to the data folder's PROGRAMMES.
#include <algorithm>
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/difference.h"
#include "cli/messages.h"
#include "cli/programmes.h"
#include "core/session.h"
#include "fic/lecture_dictionnaire.h"
#include "gencode/declaration.h"
#include "gencode/fichier_genere.h"
#include "gencode/gen_pe.h"
#include "gencode/gen_ps.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

struct Generation {
  std::string texte;  // as written to NAME.bas
  size_t anomalies = 0;
};

// Generates p's program on the open dictionary (modele, read from it), without screens, as a
// fresh `vesk` run does.
Generation GenereProgramme(Contexte& contexte, Session& s, const fic::ModeleDictionnaire& modele,
                           const ProgrammeEnregistre& p) {
  if (p.generateur == "decl") {
    if (!modele.ChercheFichier(p.fichier)) {
      throw ErreurService("Déclarations", p.fichier, "fichier non spécifié dans le dictionnaire");
    }
    DeclarationFichier(s, p.fichier);
  } else if (p.generateur == "genps") {
    GenereSaisie(s, modele, {p.fichier, p.programme, p.titre, p.suffixe}, [&] {
      contexte.Erreurs() << "vesk : " << p.nom << " : " << kTropDeCles
                         << " : l'écran initial prend une rubrique de plus\n";
    });
  } else {
    s.Gen().AffecteNce("");  // no data-entry program generated before it in this run
    GenereEdition(s, modele, {p.fichier, p.programme, p.csv});
  }
  return {ConvertitCode(s.Gen().Texte(), p.encodage, p.fin_de_ligne), s.Gen().Anomalies().size()};
}

std::string Chemin(const std::string& dossier, const ProgrammeEnregistre& p) {
  return platform::JoinPath(dossier, p.nom + ".bas");
}

std::string Titre(const ProgrammeEnregistre& p) {
  return p.nom + ".bas (" + p.generateur + " " + p.fichier + ")";
}

std::string Joint(const std::vector<std::string>& morceaux, std::string_view separateur) {
  std::string texte;
  for (const std::string& m : morceaux) texte += (texte.empty() ? "" : std::string(separateur)) + m;
  return texte;
}

// The folder of the command's argument, or the data folder's PROGRAMMES.
std::string DossierArgument(const Contexte& contexte) {
  const std::vector<std::string>& a = contexte.Options().arguments;
  return a.empty() ? platform::JoinPath(contexte.Config().dossier, kDossierProgrammes) : a.front();
}

// The lines that changed, as "  -12 | text" and "  +12 | text".
void MontreDifference(std::ostream& sortie, const ProgrammeEnregistre& p, const std::string& ancien,
                      const std::string& nouveau) {
  auto lignes = [&](const std::string& t) {
    return LignesTexte(p.encodage == Encodage::kCp1252 ? text::DecodeCp1252(t) : t);
  };
  const std::vector<LigneChangee> changees = Difference(lignes(ancien), lignes(nouveau));
  const auto ajoutees = std::count_if(changees.begin(), changees.end(),
                                      [](const LigneChangee& l) { return l.ajoutee; });
  sortie << Titre(p) << " : régénéré, " << changees.size() - ajoutees << " ligne(s) retirée(s), "
         << ajoutees << " ajoutée(s)\n";
  for (const LigneChangee& l : changees) {
    sortie << "  " << (l.ajoutee ? '+' : '-') << l.numero << " | " << l.texte << "\n";
  }
}

// Generates p again, writes it over its file, shows what changed and takes the fingerprint of
// modele (the dictionary it was generated from); gives the anomalies reported.
size_t Regenere(Contexte& contexte, Session& s, const std::string& dossier,
                const fic::ModeleDictionnaire& modele, ProgrammeEnregistre& p) {
  const Generation g = GenereProgramme(contexte, s, modele, p);
  bool existe = false;
  const std::string ancien = LitFichierEntier(Chemin(dossier, p), existe);
  EcritFichierEntier(Chemin(dossier, p), g.texte);
  p.empreinte = fic::EmpreinteFichier(fic::PartiesFichier(modele, p.fichier), p.fichier);
  MontreDifference(contexte.Sortie(), p, ancien, g.texte);
  return g.anomalies;
}

}  // namespace

std::string DossierProgrammes(const Contexte& contexte) {
  const std::optional<std::string>& d = contexte.Options().dossier_programmes;
  return d && !d->empty() ? *d : platform::JoinPath(contexte.Config().dossier, kDossierProgrammes);
}

int GenereDansDossier(Contexte& contexte, ProgrammeEnregistre p) {
  if (contexte.Options().sortie) {
    throw ErreurUsage("--output-dir", "--output ou --output-dir, pas les deux");
  }
  const std::string dossier = DossierProgrammes(contexte);
  Generation g;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    const fic::ModeleDictionnaire modele = fic::LitDictionnaire(composant->Session());
    g = GenereProgramme(contexte, composant->Session(), modele, p);
    p.empreinte = fic::EmpreinteFichier(fic::PartiesFichier(modele, p.fichier), p.fichier);
    composant->Termine();
  }
  std::vector<ProgrammeEnregistre> programmes = LitRegistre(dossier);
  const platform::IoStatus st = platform::CreateDirectories(dossier);
  if (!st.ok()) throw ErreurService("Écriture", dossier, st.message);
  EcritFichierEntier(Chemin(dossier, p), g.texte);
  contexte.SortieStandard() << "Programme écrit dans " << Chemin(dossier, p) << "\n";
  Enregistre(programmes, std::move(p));
  EcritRegistre(dossier, programmes);
  if (g.anomalies == 0) return 0;
  contexte.Erreurs() << "vesk : " << g.anomalies
                     << " anomalie(s) signalée(s) pendant la génération\n";
  return 1;
}

int CommandePerimes(Contexte& contexte) {
  const std::string dossier = DossierArgument(contexte);
  const std::vector<ProgrammeEnregistre> programmes = LitRegistre(dossier);
  std::ostream& sortie = contexte.Sortie();
  if (programmes.empty()) {
    sortie << "Aucun programme enregistré dans " << dossier << "\n";
    return 0;
  }
  fic::ModeleDictionnaire modele;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    modele = fic::LitDictionnaire(composant->Session());
    composant->Termine();
  }
  size_t perimes = 0;
  for (const ProgrammeEnregistre& p : programmes) {
    const std::vector<std::string> changements = ChangementsProgramme(p, modele);
    if (changements.empty()) continue;
    ++perimes;
    sortie << Titre(p) << " : " << Joint(changements, " ; ") << "\n";
  }
  if (perimes == 0) {
    sortie << "Aucun programme périmé parmi les " << programmes.size() << " de " << dossier << "\n";
    return 0;
  }
  sortie << perimes << " programme(s) périmé(s) sur " << programmes.size() << "\n";
  return 1;
}

int CommandeRegenere(Contexte& contexte) {
  const std::string dossier = DossierArgument(contexte);
  std::vector<ProgrammeEnregistre> programmes = LitRegistre(dossier);
  std::ostream& sortie = contexte.Sortie();
  size_t refaits = 0, echecs = 0;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    const fic::ModeleDictionnaire modele = fic::LitDictionnaire(composant->Session());
    for (ProgrammeEnregistre& p : programmes) {
      if (ChangementsProgramme(p, modele).empty()) continue;
      try {
        const size_t anomalies = Regenere(contexte, composant->Session(), dossier, modele, p);
        ++refaits;
        if (anomalies > 0) {
          ++echecs;
          contexte.Erreurs() << "vesk : " << Titre(p) << " : " << anomalies
                             << " anomalie(s) signalée(s) pendant la génération\n";
        }
      } catch (const Interruption&) {
        throw;
      } catch (const ErreurService& e) {
        ++echecs;
        contexte.Erreurs() << "vesk : " << Titre(p) << " non régénéré : " << TexteUtilisateur(e)
                           << "\n";
      }
    }
    composant->Termine();
  }
  if (refaits > 0) EcritRegistre(dossier, programmes);
  if (refaits == 0 && echecs == 0) {
    sortie << "Aucun programme périmé dans " << dossier << "\n";
  } else {
    sortie << refaits << " programme(s) régénéré(s)\n";
  }
  return echecs == 0 ? 0 : 1;
}

}  // namespace vesk::cli
