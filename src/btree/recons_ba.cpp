// The B-tree reconstruction: the choice of the files, then for each one the question on the E
// fields it cannot follow, the rebuild with its progress messages, and the closing warning.
#include <chrono>

#include "btree/reconstruction.h"
#include "core/cycle_saisie.h"
#include "core/dictionnaire.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::btree {

namespace {

constexpr std::string_view kProcedure = "ReconsBA";
constexpr char kENonConfirmees[] = "rubriques E hors chaînage non confirmées";

// Turns the rebuild's steps into the messages of docs/rebuild.md, in their order.
class Progression {
 public:
  Progression(const PlanReconstruction& plan, const Interlocuteur& qui) : plan_(plan), qui_(qui) {}

  void operator()(const EtapeReconstruction& e) {
    using N = EtapeReconstruction::Nature;
    switch (e.nature) {
      case N::kEnregistrement:
        if (dernier_ == 0) Commence("Compactage " + plan_.fichiers[e.fichier].nom, e.nombre);
        dernier_ = e.numero;
        if (qui_.suivi != nullptr) qui_.suivi->Avance(e.numero);
        if (e.numero % kPasProgression == 0) Traite(e.numero);
        break;
      case N::kCompacte:
        if (qui_.suivi != nullptr) qui_.suivi->Fin();
        if (dernier_ != 0 && dernier_ != montre_) Traite(dernier_);
        qui_.message(std::to_string(e.nombre) + std::string(kSupprimesDeplaces));
        break;
      case N::kEcrit:
        Ecrit(e);
        break;
      case N::kBArbre:
        Commence("B-Arbre " + plan_.fichiers[e.fichier].arbres[e.arbre].nom, 0);
        qui_.message("Reconstruction du B-Arbre " + plan_.fichiers[e.fichier].arbres[e.arbre].nom);
        break;
    }
  }

  ~Progression() {
    if (qui_.suivi != nullptr) qui_.suivi->Fin();
  }

 private:
  void Commence(const std::string& phase, int64_t total) {
    if (qui_.suivi != nullptr) qui_.suivi->Debut(phase, total);
  }
  void Traite(int32_t numero) {
    montre_ = numero;
    qui_.message(std::to_string(numero) + std::string(kEnregistrementTraite));
  }
  // A new file written: the chosen one compacted (its lines transferred when it is the line
  // file of a chaining), or a header file whose pointers were rewritten.
  void Ecrit(const EtapeReconstruction& e) {
    const FichierAReconstruire& f = plan_.fichiers[e.fichier];
    if (!f.choisi) {
      qui_.message(std::string(kReenregistrementLignes) + f.nom);
      return;
    }
    qui_.message(std::string(kSuppressionEffective));
    for (const ChainageAReconstruire& c : plan_.chainages) {
      if (c.ligne == e.fichier && e.deplace) {
        qui_.message(std::string(kTransfertLignes) + f.nom);
        break;
      }
    }
  }

  const PlanReconstruction& plan_;
  const Interlocuteur& qui_;
  int32_t dernier_ = 0, montre_ = 0;
};

// Asks about the E fields no chaining follows (champs_e) when f has deleted records: which of
// its records move is known only once it is compacted.
bool ChampsEAcceptes(Session& s, const std::vector<std::string>& champs_e,
                     const FichierAReconstruire& f, const Interlocuteur& qui) {
  if (champs_e.empty()) return true;
  int32_t supprimes = 0;
  s.Donnee().Supprimes(f.dependance_entreprise, f.nom, supprimes);
  if (supprimes == 0) return true;
  std::string liste;
  for (const std::string& c : champs_e) liste += (liste.empty() ? "" : ", ") + c;
  return qui.confirme("Rubriques E hors chaînage non suivies : " + liste + " - Confirmez par F6");
}

// "1 clé", "0 clé", "2 clés": n and its word, plural from 2 on.
std::string Compte(int64_t n, std::string_view un, std::string_view plusieurs) {
  return std::to_string(n) + " " + std::string(n > 1 ? plusieurs : un);
}

// The lines of the summary: what was rewritten, and each tree rebuilt with its keys.
std::vector<std::string> Lignes(const PlanReconstruction& plan, const BilanReconstruction& b) {
  std::vector<std::string> lignes;
  for (size_t i = 0; i < plan.fichiers.size() && i < b.fichiers.size(); ++i) {
    const BilanReconstruction::Fichier& f = b.fichiers[i];
    const FichierAReconstruire& p = plan.fichiers[i];
    if (p.choisi) {
      lignes.push_back(p.nom + " : " +
                       Compte(f.gardes, "enregistrement gardé", "enregistrements gardés") + ", " +
                       Compte(f.supprimes, "supprimé", "supprimés"));
    } else if (f.reecrit) {
      lignes.push_back(p.nom + " réenregistré");
    }
    for (size_t t = 0; f.arbres_reconstruits && t < p.arbres.size(); ++t) {
      lignes.push_back("B-Arbre " + p.arbres[t].nom + " : " + Compte(f.cles[t], "clé", "clés"));
    }
  }
  return lignes;
}

// The rebuild itself; a failure to write or put the new files in place is journalled.
void Reconstruit(Session& s, const PlanReconstruction& plan, const Interlocuteur& qui,
                 BilanReconstruction& bilan) {
  Progression progression(plan, qui);
  try {
    s.Donnee().Reconstruit(plan, std::ref(progression), bilan);
  } catch (const ErreurService& e) {
    if (!bilan.copie_echouee) throw;
    // The journal line goes where the disk may be full too: its own failure is added to the
    // first error, never put in its place.
    try {
      s.Journal().Ecrit(std::string(kTempNonRecopiee) + bilan.chemin, kProcedureCompaction);
    } catch (const ErreurService& journal) {
      throw ErreurService(e.Operation(), e.Objet(), e.Message() + " (et " + journal.Message() + ")",
                          e.Endommage());
    }
    throw;
  }
}

// The end of a file's rebuild: its refusal shown and reported as an anomaly, or its summary
// lines, each tree's keys shown.
void Conclut(Session& s, const PlanReconstruction& plan, const Interlocuteur& qui,
             ResumeFichier& r) {
  if (!r.raison.empty()) {
    qui.message(r.raison);
    s.Anomalie().Signale("@ " + r.raison, kProcedure);
    return;
  }
  r.fait = true;
  r.lignes = Lignes(plan, r.bilan);
  for (const std::string& l : r.lignes) {
    if (l.starts_with("B-Arbre ")) qui.message(l);
  }
}

double Secondes(std::chrono::steady_clock::time_point depuis) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - depuis).count();
}

}  // namespace

ResumeFichier ReconstruitFichier(Session& s, const fic::ModeleDictionnaire& modele,
                                 const std::vector<std::string>& champs_e, const std::string& nom,
                                 const Interlocuteur& qui) {
  const auto debut = std::chrono::steady_clock::now();
  ResumeFichier r{nom, false, "", {}, {}, 0};
  PlanReconstruction plan;
  try {
    plan = PlanFichier(s, modele, nom);
  } catch (const ErreurService& e) {  // a table to correct: the other files go on
    r.raison = e.what();
  }
  if (r.raison.empty() && !ChampsEAcceptes(s, champs_e, plan.fichiers.front(), qui)) {
    // The user's choice, not an anomaly: said on line "B" and in the summary.
    qui.message("Fichier " + nom + " non reconstruit");
    r.raison = kENonConfirmees;
  } else {
    if (r.raison.empty()) {
      Reconstruit(s, plan, qui, r.bilan);
      r.raison = r.bilan.refus;
    }
    Conclut(s, plan, qui, r);
  }
  r.secondes = Secondes(debut);
  return r;
}

std::vector<ResumeFichier> ReconstruitDictionnaire(Session& s, const Interlocuteur& qui) {
  std::vector<ResumeFichier> resumes;
  for (const FichierDictionnaire& f : kFichiersDictionnaire) {
    if (f.longueur_cle == 0) continue;  // Lfic has no tree
    resumes.push_back(ReconstruitFichier(s, {}, {}, text::UpperAscii(f.nom), qui));
  }
  return resumes;
}

std::vector<ResumeFichier> ReConsBAEcran(Session& s) {
  s.Saisie().InitEcran(0);
  s.Saisie().Titre(kTitreReconsBA);
  const fic::ModeleDictionnaire modele = fic::LitDictionnaire(s);
  std::string liste = "[]";
  for (const Candidat& c : Candidats(s, modele)) {
    std::string arbres;
    for (const std::string& a : c.arbres) arbres += (arbres.empty() ? "" : " ") + a;
    s.Liste().Ajoute(liste, "[" + c.nom + "," + arbres + "]");
  }
  bool choisi = false;
  std::string elements, element, nom;
  s.Choix().ChoixMultiple(kColonnesReconsBA, kChoixReconsBA, liste, choisi, elements);
  std::vector<ResumeFichier> resumes;
  if (!choisi) return resumes;
  Interlocuteur qui;
  qui.message = [&s](std::string_view texte) { s.Saisie().Message("B", texte); };
  qui.confirme = [&s](const std::string& question) {
    s.Saisie().Message("B", question);
    return Confirmation(s, "B");
  };
  const std::vector<std::string> champs_e = ChampsENonSuivis(modele);
  while (elements != "[]") {
    s.Liste().Extrait(elements, element);
    s.Liste().Element(element, 1, nom);
    resumes.push_back(ReconstruitFichier(s, modele, champs_e, std::string(text::Trim(nom)), qui));
  }
  s.Message().Affiche(std::string(kTravauxPost) + "\n\n" + std::string(kAttention), kInformation);
  return resumes;
}

void ReConsBA(Session& s) { ReConsBAEcran(s); }

}  // namespace vesk::btree
