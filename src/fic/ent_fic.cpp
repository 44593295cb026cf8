// The file specification entry: a file's name, its company dependence and record length, its
// fields, then the record length checked against them; from an existing file, the keys F2 to
// F5 lead to its B-tree tables, chainings, declarations and printed specification.
#include <optional>
#include <string>
#include <vector>

#include "core/commandes_composant.h"
#include "core/cycle_saisie.h"
#include "core/lot.h"
#include "fic/boite_ecran.h"
#include "fic/controles.h"
#include "fic/ent_champs.h"
#include "fic/etape_migration.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/rubrique.h"
#include "fic/table_champs.h"
#include "srv/srv_donnee.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::string_view kB = "B";
constexpr std::string_view kAideOptions = "[A la Rubrique DEPENDANCE Options :]";
constexpr EcranCycle kEcran{kTitreFic, kDescripteurFic, "NOMFIC", kAideSuppression, true};

// Where a step of the cycle leads.
enum class Suite { kQuitte, kCycle, kNom, kDfe, kLongueur, kChamps };

std::string Compte(size_t n, std::string_view mot) {
  return std::to_string(n) + " " + std::string(mot) + (n > 1 ? "s" : "");
}

class EcranFic {
 public:
  explicit EcranFic(Session& s) : etat_(s) {
    SrvEcran& e = etat_.Ecran();
    e.ToucheEchap(echap_);
    for (int i = 1; i <= 5; ++i) f_[i] = 0;
    e.ToucheF1(f_[1]);
    e.ToucheF2(f_[2]);
    e.ToucheF3(f_[3]);
    e.ToucheF4(f_[4]);
    e.ToucheF5(f_[5]);
  }
  // One file's cycle from its name: false when the user leaves EntFic.
  bool UnFichier();

 private:
  void NouvelEcran();
  void MontreEntete();
  Suite SaisitNom();
  Suite SaisitDfe();
  Suite SaisitLongueur();
  Suite ChampsEtLongueur();
  Suite ControleLongueur();
  Suite Abandon();
  void MontreUsagesFichier();
  void Outil(int f);
  void EditionFichier();
  void EcritSelonDonnees();
  void Ecrit(const MigrationEcran& migration,
             const std::vector<std::pair<std::string, int64_t>>& longueurs);
  void Supprime();
  size_t SupprimeNommant(const FichierCle& f, std::initializer_list<size_t> champs,
                         Enregistrement& e);

  Session& etat_;
  CycleSaisie cycle_{etat_, kEcran};
  const FichierCle fic_{etat_.fic_fichier, etat_.fic_arbre};
  int16_t echap_ = 0;
  int16_t f_[6] = {};
  std::string message_;  // shown on the next screen instead of the previous record
  std::string nom_, dfe_, longenr_, lettre_;
  bool trouve_ = false;
  int32_t e_ = 0;
  int16_t touche_ = 0;
  TableChamps table_{etat_};  // the fields of the file being specified
};

void EcranFic::NouvelEcran() {
  cycle_.NouvelEcran();
  if (!message_.empty()) {
    etat_.Saisie().Message(kB, message_);
    message_.clear();
  } else if (!text::TrimRight(etat_.fic[kNomFic]).empty()) {
    cycle_.MontrePrecedent(etat_.fic[kNomFic]);
  }
}

// The screen again after the field list's screens: the header and the mode.
void EcranFic::MontreEntete() {
  SrvSaisie& s = etat_.Saisie();
  s.InitEcran(0);
  s.Titre(kTitreFic);
  s.DefChamps(kDescripteurFic);
  s.Affiche("NOMFIC", nom_);
  s.Affiche("DFE", dfe_);
  s.Affiche("LONGENR", longenr_);
  s.AffMode("NOMFIC", lettre_, trouve_ ? kModeModification : kModeCreation);
}

bool EcranFic::UnFichier() {
  NouvelEcran();
  Suite pas = Suite::kNom;
  for (;;) {
    switch (pas) {
      case Suite::kQuitte:
        return false;
      case Suite::kCycle:
        return true;
      case Suite::kNom:
        pas = SaisitNom();
        break;
      case Suite::kDfe:
        pas = SaisitDfe();
        break;
      case Suite::kLongueur:
        pas = SaisitLongueur();
        break;
      case Suite::kChamps:
        pas = ChampsEtLongueur();
        break;
    }
  }
}

// The name: Esc, back or start leaves EntFic; empty or not letters and digits, asked again;
// stored in upper case. A confirmed deletion removes the file's specification.
Suite EcranFic::SaisitNom() {
  SrvSaisie& s = etat_.Saisie();
  nom_.clear();
  s.Sai("NOMFIC", nom_, touche_, 0, "[]", kB);
  if (touche_ == echap_ || touche_ == cycle_.ToucheRetour() || touche_ == cycle_.ToucheDebut()) {
    return Suite::kQuitte;
  }
  const std::string nom(text::TrimRight(nom_));
  if (nom.empty()) return Suite::kNom;
  if (!LettresEtChiffres(nom)) {
    s.MessChamp(
        "NOMFIC", kB,
        "Nom de fichier « " + nom + " » refusé : lettres (sans accent) et chiffres seulement", 0);
    return Suite::kNom;
  }
  if (const auto refus = NomDuDictionnaire("Nom de fichier", nom)) {
    s.MessChamp("NOMFIC", kB, *refus, 0);
    return Suite::kNom;
  }
  nom_ = text::UpperAscii(nom);
  if (nom_ != nom) s.Affiche("NOMFIC", nom_);  // typed in lower case: shown as taken
  etat_.fic.Affecte(kNomFic, nom_);
  trouve_ = cycle_.Cherche(fic_, etat_.fic[kNomFic], e_);
  dfe_ = trouve_ ? std::string(text::TrimRight(etat_.fic[kDfe])) : "N";
  longenr_ = trouve_ ? std::string(text::TrimRight(etat_.fic[kLongEnr])) : "";
  if (trouve_) {
    s.Affiche("DFE", etat_.fic[kDfe]);
    s.Affiche("LONGENR", etat_.fic[kLongEnr]);
  }
  if (cycle_.AfficheMode(trouve_, touche_, lettre_)) {
    MontreUsagesFichier();
    if (!cycle_.ConfirmeSuppression()) return Suite::kNom;
    Supprime();
    return Suite::kCycle;
  }
  return Suite::kDfe;
}

// Before the confirmation of a deletion, what the file's deletion leaves without it (its tables,
// chainings, the programs recorded from it), when anything; the file's record current again.
void EcranFic::MontreUsagesFichier() {
  const Usages usages = UsagesFichier(LitDictionnaire(etat_), nom_, ProgrammesDuThread());
  etat_.Donnee().LireEnr(fic_.fichier, e_);
  if (!usages.Vide()) MontreUsages(etat_, usages, "Usages de " + nom_, nom_);
}

// The help of the dependence field: the tools of an existing file, F1 for a new one.
std::string AideDfe(SrvListe& l, bool trouve, const std::string& nom) {
  const std::string liste =
      trouve ? "[- F2 : Aller à la Saisie des B-Arbres,- F3 : Aller à la Saisie des Chainage,- F4 "
               ": Aller à la Genération des Déclarations de " +
                   nom + ",- F5 : Aller à l'Edition du Fichier]"
             : "[- F1 : Conserver les Derniers Champs]";
  std::string aide, reste = std::string(kAideOptions), element;
  l.Extrait(reste, aide);
  for (reste = liste; reste != "[]";) {
    l.Extrait(reste, element);
    aide += " " + element;
  }
  return aide;
}

// DFE: F2 to F5 start a tool of an existing file; F1 keeps the last fields for a new one; any
// other key reloads the field table (emptied, then the file's lines for an existing file).
Suite EcranFic::SaisitDfe() {
  etat_.Saisie().Message("I", AideDfe(etat_.Liste(), trouve_, nom_));
  etat_.Saisie().Sai("DFE", dfe_, touche_, 0, "[]", kB);
  if (touche_ == cycle_.ToucheRetour() || cycle_.Abandonne(touche_)) return Suite::kNom;
  for (int f = 2; f <= 5 && trouve_; ++f) {
    if (touche_ != f_[f]) continue;
    Outil(f);
    return Suite::kCycle;
  }
  if (trouve_ || touche_ != f_[1]) {
    table_.Vide();
    if (trouve_) table_.Charge();
  }
  return Suite::kLongueur;
}

Suite EcranFic::SaisitLongueur() {
  etat_.Saisie().Sai("LONGENR", longenr_, touche_, 0, "[]", kB);
  if (touche_ == cycle_.ToucheRetour()) return Suite::kDfe;
  if (cycle_.Abandonne(touche_)) return Suite::kNom;
  return Suite::kChamps;
}

Suite EcranFic::Abandon() {
  message_ = "Spécification de " + nom_ + " abandonnée : rien n'est écrit";
  return Suite::kCycle;
}

// The field list, then what the file must be to be written: fields, each variable once, a
// record length the engine stores; back to the list until then.
Suite EcranFic::ChampsEtLongueur() {
  TableChamps& t = table_;
  int32_t depart = 1;
  bool premier = trouve_ && t.Nombre() > 0;
  std::string message;
  for (;;) {
    EntChamps(etat_, t, nom_, depart, premier, message);
    premier = false;
    message.clear();
    MontreEntete();
    int32_t autre = 0;
    if (t.Nombre() == 0) {
      etat_.Saisie().MessChamp("LONGENR", kB, "Aucune Rubrique", 0);
      etat_.Saisie().Sai("LONGENR", longenr_, touche_, 0, "[]", kB);
      if (cycle_.Abandonne(touche_)) return Abandon();
    } else if (const int32_t i = VariableEnDouble(t, autre)) {
      message = "Variable " + std::string(t.Texte(i, kColVariable)) + " en double : champs " +
                std::to_string(autre) + " et " + std::to_string(i);
      depart = i;
      continue;
    } else {
      const Suite s = ControleLongueur();
      if (s != Suite::kChamps) return s;
    }
    depart = t.Nombre() + 1;
  }
}

// The real length and the proposed one; the length entered again until the engine can store
// it and it holds the fields. The start key abandons, the back key returns to the list.
Suite EcranFic::ControleLongueur() {
  SrvSaisie& s = etat_.Saisie();
  const int32_t reelle = table_.LongueurReelle();
  const std::string limites = "de " + std::to_string(kLongueurEnrMin) + " à " +
                              std::to_string(kLongueurEnrMax) + " caractères";
  if (reelle > kLongueurEnrMax) {
    s.MessChamp(
        "LONGENR", kB,
        "Longueur Réelle " + std::to_string(reelle) + " : un enregistrement fait " + limites, 0);
    s.Sai("LONGENR", longenr_, touche_, 0, "[]", kB);
    return cycle_.Abandonne(touche_) ? Abandon() : Suite::kChamps;
  }
  if (!trouve_ || ValeurNumerique(longenr_) < reelle) {
    longenr_ = std::to_string(LongueurProposee(reelle));
  }
  s.Affiche("LONGENR", longenr_);
  s.MessChamp("LONGENR", kB, "Longueur Réelle " + std::to_string(reelle), 0);
  for (;;) {
    s.Sai("LONGENR", longenr_, touche_, 0, "[]", kB);
    if (cycle_.Abandonne(touche_)) return Abandon();
    if (touche_ == cycle_.ToucheRetour()) return Suite::kChamps;
    const int32_t l = ValeurNumerique(longenr_);
    if (l < reelle) {
      s.MessChamp("LONGENR", kB,
                  "Longueur " + std::to_string(l) + " inférieure à la longueur réelle " +
                      std::to_string(reelle),
                  0);
    } else if (l < kLongueurEnrMin || l > kLongueurEnrMax) {
      s.MessChamp("LONGENR", kB,
                  "Longueur " + std::to_string(l) + " : un enregistrement fait " + limites, 0);
    } else {
      longenr_ = std::to_string(l);
      EcritSelonDonnees();
      return Suite::kCycle;
    }
  }
}

void EcranFic::Outil(int f) {
  switch (f) {
    case 2:
      EntBa(etat_, touche_);
      break;
    case 3:
      EntChain(etat_, touche_);
      break;
    case 4:
      ExecuteOutil(etat_, OutilFichier::kDeclarations, nom_, "Génération des Déclarations");
      break;
    default:
      EditionFichier();
      break;
  }
}

// F5: the output chosen on "CHOIX EDITION DU FICHIER ", then the specification listing under
// the screen's title "EDITION DES SPECIFICATIONS DU FICHIER" (the listing keeps its own).
void EcranFic::EditionFichier() {
  bool choisi = false;
  std::string element, sortie;
  etat_.Choix().Choix("[[G,5,Sortie],[G,40,Edition]]", "CHOIX EDITION DU FICHIER " + nom_,
                      "[[PDF,Dans le dossier des éditions],[ECRAN,Texte à l'écran]]", choisi,
                      element);
  if (!choisi) return;
  etat_.Liste().Element(element, 1, sortie);
  etat_.Edition().SortieSuivante(sortie);
  etat_.Ecran().TitreEdition("EDITION DES SPECIFICATIONS DU FICHIER");
  try {
    ExecuteOutil(etat_, OutilFichier::kEdition, nom_, "Edition du Fichier");
  } catch (...) {
    etat_.Ecran().FinTitreEdition();
    throw;
  }
  etat_.Ecran().FinTitreEdition();
  std::vector<std::string> ecrits;
  etat_.Edition().FichiersEcrits(ecrits);
  if (!ecrits.empty()) message_ = "Edition écrite dans " + ecrits.front();
}

// A modified file whose layout changes while its data file holds records: the plan shown and
// the user asked first; nothing is written unless the data is converted with it.
void EcranFic::EcritSelonDonnees() {
  MigrationEcran migration;
  std::vector<std::pair<std::string, int64_t>> longueurs;
  if (trouve_) {
    const ModeleDictionnaire ancien = LitDictionnaire(etat_);
    ModeleDictionnaire nouveau = ancien;
    Fichier& f = nouveau.fichiers[nom_];
    f.entreprise = dfe_ == "O";
    f.longueur = ValeurNumerique(longenr_);
    f.rubriques = table_.Rubriques();
    Complete(etat_, nouveau);
    for (const auto& [table, b] : nouveau.TablesDe(nom_)) {
      if (b->longueur != ancien.barbres.at(table).longueur)
        longueurs.emplace_back(table, b->longueur);
    }
    migration = DemandeMigration(etat_, ancien, nouveau,
                                 {nom_, nom_, "Spécification de " + nom_ + " inchangée"});
    if (!migration.ecrit) {
      message_ = migration.message;
      return;
    }
  }
  Ecrit(migration, longueurs);
}

// The Fic record and its field lines, in one batch: a modified file's old record and lines
// go first (its record number changes, as for every modification); the key length of the
// file's tables that the fields change (longueurs) follows them. The batch ends with the
// migration of the data when one was accepted.
void EcranFic::Ecrit(const MigrationEcran& migration,
                     const std::vector<std::pair<std::string, int64_t>>& longueurs) {
  LotDictionnaire lot(etat_);
  if (trouve_) {
    etat_.Donnee().LireEnr(fic_.fichier, e_);
    etat_.Chainage().SupprimeLignes(etat_.lfic_fichier);
    SupprimeEnregistrement(etat_, fic_, etat_.fic[kNomFic], e_);
  }
  etat_.fic.Efface();
  etat_.fic.Affecte(kNomFic, nom_);
  etat_.fic.Affecte(kDfe, dfe_);
  etat_.fic.Affecte(kLongEnr, longenr_);
  InsereEnregistrement(etat_, fic_, etat_.fic[kNomFic]);
  table_.Sauve();
  for (const auto& [table, longueur] : longueurs) {
    int32_t e = 0;
    if (!ChercheNom(etat_, {etat_.ba_fichier, etat_.ba_arbre}, table, e)) continue;
    etat_.ba.Affecte(kLongCle, std::to_string(longueur));
    etat_.Donnee().EcrireFichier(etat_.ba_fichier, e, etat_.ba.Joint());
  }
  message_ =
      TermineLot(etat_, lot, migration, {nom_, nom_, "Spécification de " + nom_ + " inchangée"});
}

// Removes the records of f one of whose fields champs names the file being deleted.
size_t EcranFic::SupprimeNommant(const FichierCle& f, std::initializer_list<size_t> champs,
                                 Enregistrement& e) {
  std::vector<std::pair<std::string, int32_t>> cibles;
  ParcourtCles(etat_, f, [&](const std::string& cle, int32_t no) {
    for (size_t c : champs) {
      if (text::UpperAscii(text::TrimRight(e[c])) == nom_) {
        cibles.emplace_back(cle, no);
        return;
      }
    }
  });
  for (const auto& [cle, no] : cibles) SupprimeEnregistrement(etat_, f, cle, no);
  return cibles.size();
}

// A confirmed deletion removes, in one batch, the file's lines, its record and key, and the
// B-tree tables and chainings that name it; the next screen says what went.
void EcranFic::Supprime() {
  TableChamps lignes(etat_);
  lignes.Charge();
  LotDictionnaire lot(etat_);
  etat_.Chainage().SupprimeLignes(etat_.lfic_fichier);
  SupprimeEnregistrement(etat_, fic_, etat_.fic[kNomFic], e_);
  const size_t barbres = SupprimeNommant({etat_.ba_fichier, etat_.ba_arbre}, {kNomD}, etat_.ba);
  const size_t chainages =
      SupprimeNommant({etat_.chain_fichier, etat_.chain_arbre}, {kChainL, kChainE}, etat_.chain);
  lot.Valide();
  message_ = nom_ + " supprimé : " + Compte(size_t(lignes.Nombre()), "rubrique") + ", " +
             Compte(barbres, "B-Arbre") + ", " + Compte(chainages, "chaînage");
}

}  // namespace

void EntFic(Session& s) {
  EcranFic ecran(s);
  while (ecran.UnFichier()) {
  }
}

}  // namespace vesk::fic
