#include "fic/ent_champs.h"

#include <optional>
#include <string>
#include <vector>

#include "core/commandes_composant.h"
#include "core/cycle_saisie.h"
#include "fic/boite_ecran.h"
#include "fic/controles.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/noms_reserves.h"
#include "fic/rubrique.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::string_view kRegleVariable =
    "Une lettre puis des lettres et des chiffres (sans accent), unique dans le fichier";

constexpr std::string_view kB = "B";
constexpr std::string_view kN = "N";

// The key codes the list answers, asked of the screen service once.
struct Touches {
  int16_t retour = 0, debut = 0, echap = 0;
  int16_t f[8] = {};  // f[1] .. f[7]
  explicit Touches(Session& s) {
    SrvEcran& e = s.Ecran();
    e.ToucheRetour(retour);
    e.ToucheDebut(debut);
    e.ToucheEchap(echap);
    e.ToucheF1(f[1]);
    e.ToucheF2(f[2]);
    e.ToucheF3(f[3]);
    e.ToucheF4(f[4]);
    e.ToucheF5(f[5]);
    e.ToucheF6(f[6]);
    e.ToucheF7(f[7]);
  }
  int Fonction(int16_t touche) const {
    for (int i = 1; i <= 7; ++i) {
      if (f[i] == touche) return i;
    }
    return 0;
  }
};

// The texts of the line being entered.
struct Ligne {
  std::string nom, type, decimales, total, variable, exemple, modification, domaine;
  FormatInterne format;
};

enum class Etape { kType, kDecimales, kTotal, kVariable, kExemple, kDomaine, kModification, kFin };
// What the name's entry leads to: the end of the list, another line, the rest of this line.
enum class Suite { kFin, kLigne, kChamps };

std::optional<std::string> RefusListe(std::string_view quoi, std::string_view v) {
  std::string octets;
  if (!text::EncodeCp1252(v, &octets).ok) return std::string(quoi) + " : caractère refusé";
  if (v.find_first_of("[],\"") == std::string_view::npos) return std::nullopt;
  return std::string(quoi) + " « " + std::string(v) +
         " » : les caractères [ ] , et \" sont refusés";
}

// An example may hold brackets and commas (the rules' own defaults do), not a double quote.
std::optional<std::string> RefusExemple(std::string_view v) {
  std::string octets;
  if (!text::EncodeCp1252(v, &octets).ok) return "Exemple : caractère refusé";
  if (v.find('"') == std::string_view::npos) return std::nullopt;
  return "Exemple « " + std::string(v) + " » : le caractère \" est refusé";
}

bool Montant(const std::string& type) { return type == "M" || type == "N"; }

class EcranChamps {
 public:
  EcranChamps(Session& s, TableChamps& table, std::string_view fichier)
      : etat_(s), t_(table), fichier_(fichier), k_(s) {}
  void Lance(int32_t depart, bool premier, std::string_view message);

 private:
  void Dessine();
  void ChargeLigne();
  Suite SaisitNom();
  bool AppliqueFonction(int f);  // false: the list ends
  void StockeNom();
  bool SaisitSuite();  // false: back to the name
  std::optional<Etape> Saisit(Etape e, int16_t& touche);
  std::optional<Etape> ApresType();
  std::optional<Etape> ApresTotal();
  std::optional<Etape> ApresVariable();
  std::optional<Etape> ApresDomaine(int16_t& touche);
  bool DomaineConnu(const std::string& code);
  std::optional<Etape> SaisitExemple(int16_t& touche);
  std::optional<Etape> SaisitModification(int16_t& touche);
  void MontreFormat();
  std::string Date();
  Etape Suivante(Etape e) const;
  Etape Precedente(Etape e) const;
  void Stocke();
  void Choisit();
  void Duplique();
  void SupprimeRestants();
  bool SuppressionAcceptee(int32_t de, int32_t a);
  int32_t FinLigne() const;

  Session& etat_;
  TableChamps& t_;
  std::string fichier_;
  Touches k_;
  int32_t n_ = 1;
  std::string mode_;
  Ligne l_;
};

int32_t EcranChamps::FinLigne() const {
  const std::vector<int32_t> debuts = t_.Debuts();
  const int32_t debut = n_ <= t_.Nombre() ? debuts[size_t(n_ - 1)] : t_.LongueurReelle() + 1;
  return debut + l_.format.longueur - 1;
}

void EcranChamps::Dessine() {
  SrvSaisie& s = etat_.Saisie();
  const int32_t debut = n_ <= t_.Nombre() ? t_.Debuts()[size_t(n_ - 1)] : t_.LongueurReelle() + 1;
  s.InitEcran(0);
  s.Titre("Champ No " + std::to_string(n_) + "/ " + std::to_string(t_.Nombre()) +
          " - Position : " + std::to_string(debut) + " - Fichier : " + fichier_ + ".DAT");
  s.DefChamps(kDescripteurChamps);
  s.MessChamp("LF1", kN, kAideTouches, 0);
  s.MessChamp("LF2", kN, kAideType, 0);
  s.MessChamp("LF5", kN, "$ de Fin Implicite", 0);
  s.MessChamp("LF7", kN, kAideModification, 0);
  s.MessChamp("LF10", kN, "Rien si Domaine Primitif", 0);
  const bool nouvelle = n_ > t_.Nombre();
  s.AffMode("LF1", nouvelle ? kLettreNouveau : kLettreTrouve, nouvelle ? "Adjonction" : mode_);
  s.Message("I", "Champs Précédent : " +
                     (n_ > 1 ? std::string(t_.Texte(n_ - 1, kColNom)) : std::string()));
  if (l_.type.empty()) return;
  const std::pair<const char*, const std::string*> valeurs[] = {
      {"LF1", &l_.nom},      {"LF2", &l_.type},        {"LF4", &l_.decimales},
      {"LF3", &l_.total},    {"LF5", &l_.variable},    {"LF6", &l_.exemple},
      {"LF10", &l_.domaine}, {"LF7", &l_.modification}};
  for (const auto& [cle, valeur] : valeurs) s.Affiche(cle, *valeur);
  s.Affiche("PF", std::to_string(FinLigne()));
}

void EcranChamps::ChargeLigne() {
  l_ = Ligne{};
  if (n_ > t_.Nombre()) return;
  l_.nom = t_.Texte(n_, kColNom);
  l_.type = t_.Texte(n_, kColType);
  l_.decimales = std::to_string(t_.Decimales(n_));
  l_.total = std::to_string(t_.Total(n_));
  l_.variable = t_.Texte(n_, kColVariable);
  l_.exemple = t_.Texte(n_, kColExemple);
  l_.modification = t_.Texte(n_, kColModification);
  l_.domaine = t_.Texte(n_, kColDomaine);
  const std::string_view format = t_.Texte(n_, kColFormat);
  l_.format = {format.empty() ? 'A' : format[0], t_.LongueurInterne(n_)};
}

void EcranChamps::Lance(int32_t depart, bool premier, std::string_view message) {
  n_ = depart;
  mode_ = premier ? "Modif Premier" : "Modification";
  for (;;) {
    ChargeLigne();
    Dessine();
    if (!message.empty()) etat_.Saisie().Message(kB, message);
    message = "";
    const Suite suite = SaisitNom();
    if (suite == Suite::kFin) return;
    if (suite == Suite::kChamps && SaisitSuite()) {
      Stocke();
      ++n_;
      mode_ = "Modification";
    }
  }
}

Suite EcranChamps::SaisitNom() {
  for (;;) {
    int16_t touche = 0;
    std::string nom = l_.nom;
    etat_.Saisie().Sai("LF1", nom, touche, 0, "[]", kB);
    const bool nouvelle = n_ > t_.Nombre();
    if (touche == k_.echap) return Suite::kFin;
    if (touche == k_.retour || touche == k_.debut) {
      n_ = touche == k_.debut || n_ == 1 ? 1 : n_ - 1;
      mode_ = "Modification";
      return Suite::kLigne;
    }
    const int f = k_.Fonction(touche);
    if (f == 6) {  // the line is deleted, not stored; nothing to delete on the new line
      if (nouvelle) {
        mode_ = "Pred Sup";
      } else if (SuppressionAcceptee(n_, n_)) {
        t_.Supprime(n_);
        mode_ = "Pred Sup";
      }
      return Suite::kLigne;
    }
    const std::string propre(text::TrimRight(nom));
    if (auto refus = propre.empty() ? std::nullopt : RefusListe("Nom de rubrique", propre)) {
      etat_.Saisie().MessChamp("LF1", kB, *refus, 0);
      continue;
    }
    if (f != 0) {
      if (!nouvelle && !propre.empty() && propre != l_.nom) t_.Affecte(n_, kColNom, propre);
      return AppliqueFonction(f) ? Suite::kLigne : Suite::kFin;
    }
    if (propre.empty()) {
      if (nouvelle) return Suite::kFin;
      continue;
    }
    l_.nom = propre;
    return Suite::kChamps;
  }
}

bool EcranChamps::AppliqueFonction(int f) {
  const int32_t apres_derniere = t_.Nombre() + 1;
  switch (f) {
    case 1:
      SupprimeRestants();
      return false;
    case 2:
      n_ = n_ < apres_derniere ? n_ + 1 : n_;
      mode_ = "Modif Suiv";
      break;
    case 3:
      Choisit();
      break;
    case 4:
      n_ = apres_derniere;
      break;
    case 5:
      n_ = t_.InsereApres(n_);
      mode_ = "Insertion";
      break;
    case 7:
      Duplique();
      break;
  }
  return true;
}

// F1 on a line before the last asks whether the fields after it go.
void EcranChamps::SupprimeRestants() {
  if (n_ >= t_.Nombre()) return;
  etat_.Saisie().MessChamp("LF1", kN, "Suppression des Champs Restants : ", 0);
  std::string reponse = "N";
  int16_t touche = 0;
  etat_.Saisie().Sai("LF1", reponse, touche, 0, "[O,N]", kB);
  if (reponse != "O" || !SuppressionAcceptee(n_ + 1, t_.Nombre())) return;
  while (t_.Nombre() > n_) t_.Supprime(n_ + 1);
}

// Whether rows de to a may go: when the stored dictionary or a recorded program uses their
// fields, the uses are shown and the user asked; "N" keeps every one of them.
bool EcranChamps::SuppressionAcceptee(int32_t de, int32_t a) {
  const ModeleDictionnaire modele = LitDictionnaire(etat_);
  const std::vector<ProgrammeUtilise> programmes = ProgrammesDuThread();
  Usages usages;
  for (int32_t i = de; i <= a; ++i) {
    const std::string variable(t_.Texte(i, kColVariable));
    const Usages de_la_rubrique = UsagesRubrique(modele, fichier_, variable, programmes);
    for (const Usage& u : de_la_rubrique.Liste()) usages.Ajoute(u);
  }
  if (usages.Vide()) return true;
  const std::string variable(de == a ? t_.Texte(de, kColVariable) : "");
  MontreUsages(etat_, usages, de == a ? "Usages de " + variable : "Usages des champs supprimés",
               variable);
  const std::string question = de == a ? "Supprimer " + variable + " malgré ses usages : "
                                       : "Supprimer ces champs malgré leurs usages : ";
  etat_.Saisie().MessChamp("LF1", kN, question, 0);
  std::string reponse = "N";
  int16_t touche = 0;
  etat_.Saisie().Sai("LF1", reponse, touche, 0, "[O,N]", kB);
  return reponse == "O";
}

// The row of a grid element: its position in the grid.
int32_t Rang(SrvListe& liste, const std::string& grille, const std::string& element) {
  std::string reste = grille, e;
  for (int32_t i = 1; reste != "[]"; ++i) {
    liste.Extrait(reste, e);
    if (e == element) return i;
  }
  return 0;
}

void EcranChamps::Choisit() {
  const std::string grille = t_.Grille();
  if (grille == "[]") return;
  bool choisi = false;
  std::string element;
  etat_.Choix().Choix(kColonnesGrille, "CHOIX D'UN CHAMP - Fichier : " + fichier_, grille, choisi,
                      element);
  if (!choisi || Rang(etat_.Liste(), grille, element) == 0) return;
  n_ = Rang(etat_.Liste(), grille, element);
  mode_ = "Modif Choix";
}

void EcranChamps::Duplique() {
  const std::string grille = t_.Grille();
  if (grille == "[]") return;
  bool choisi = false;
  std::string elements;
  etat_.Choix().ChoixMultiple(kColonnesGrille, "DUPLICATION DE CHAMPS - Fichier : " + fichier_,
                              grille, choisi, elements);
  if (!choisi) return;
  std::vector<int32_t> rangs;
  for (std::string e; elements != "[]";) {
    etat_.Liste().Extrait(elements, e);
    if (int32_t r = Rang(etat_.Liste(), grille, e)) rangs.push_back(r);
  }
  n_ = t_.Duplique(n_, rangs);
  mode_ = "Modif Dupli";
}

Etape EcranChamps::Suivante(Etape e) const {
  const bool fixe = ChercheType(l_.type) != nullptr && ChercheType(l_.type)->total_fixe > 0;
  Etape s = static_cast<Etape>(static_cast<int>(e) + 1);
  if (s == Etape::kDecimales && !Montant(l_.type)) s = Etape::kTotal;
  if (s == Etape::kTotal && fixe) s = Etape::kVariable;
  return s;
}

Etape EcranChamps::Precedente(Etape e) const {
  const bool fixe = ChercheType(l_.type) != nullptr && ChercheType(l_.type)->total_fixe > 0;
  Etape p = static_cast<Etape>(static_cast<int>(e) - 1);
  if (p == Etape::kTotal && fixe) p = Etape::kDecimales;
  if (p == Etape::kDecimales && !Montant(l_.type)) p = Etape::kType;
  return p;
}

bool EcranChamps::SaisitSuite() {
  Etape e = Etape::kType;
  while (e != Etape::kFin) {
    int16_t touche = 0;
    const std::optional<Etape> suite = Saisit(e, touche);
    if (touche == k_.debut) return false;
    if (touche == k_.retour) {
      if (e == Etape::kType) return false;
      e = Precedente(e);
      continue;
    }
    if (suite) e = *suite;
  }
  return true;
}

// Enters the field of step e; gives the next step, or nullopt to enter it again. On the back
// and start keys the result is not used.
std::optional<Etape> EcranChamps::Saisit(Etape e, int16_t& touche) {
  SrvSaisie& s = etat_.Saisie();
  const char type = l_.type.empty() ? 'A' : l_.type[0];
  switch (e) {
    case Etape::kType:
      s.Sai("LF2", l_.type, touche, 0,
            "[" + std::string(kListeTypes) + "," + std::string(kLibellesTypes) + "]", kB);
      return ApresType();
    case Etape::kDecimales: {
      s.RegleChamp("LF4", "De 0 à " + std::to_string(kDecimalesMax) + " décimales");
      s.Sai("LF4", l_.decimales, touche, 0, "[]", kB);
      const std::string_view d = text::Trim(l_.decimales);
      if (d.empty() || d.size() > 2 || !DecimalesValides(type, ValeurNumerique(d))) return {};
      return Suivante(e);
    }
    case Etape::kTotal:
      s.RegleChamp("LF3", RegleTotal(type, ValeurNumerique(l_.decimales)));
      s.Sai("LF3", l_.total, touche, 0, "[]", kB);
      return ApresTotal();
    case Etape::kVariable:
      s.RegleChamp("LF5", kRegleVariable);
      s.Sai("LF5", l_.variable, touche, 0, "[]", kB);
      return ApresVariable();
    case Etape::kExemple:
      return SaisitExemple(touche);
    case Etape::kDomaine:
      return ApresDomaine(touche);
    default:
      return SaisitModification(touche);
  }
}

// The example, proposed from the type ("Ex Implicite : ").
std::optional<Etape> EcranChamps::SaisitExemple(int16_t& touche) {
  SrvSaisie& s = etat_.Saisie();
  const std::string propose =
      ExempleDefaut(l_.type[0], l_.nom, static_cast<int16_t>(ValeurNumerique(l_.total)),
                    static_cast<int16_t>(ValeurNumerique(l_.decimales)), l_.format.format, Date());
  s.MessChamp("LF6", kN, "Ex Implicite : " + propose, 0);
  if (l_.exemple.empty()) l_.exemple = propose;
  s.Sai("LF6", l_.exemple, touche, 0, "[]", kB);
  l_.exemple = text::TrimRight(l_.exemple);
  if (auto refus = RefusExemple(l_.exemple)) {
    s.MessChamp("LF6", kB, *refus, 0);
    return {};
  }
  return Suivante(Etape::kExemple);
}

// The modification type, proposed from the type, among U, R, A, S.
std::optional<Etape> EcranChamps::SaisitModification(int16_t& touche) {
  if (l_.modification.empty()) l_.modification = ModificationDefaut(l_.type[0]);
  etat_.Saisie().Sai(
      "LF7", l_.modification, touche, 0,
      "[" + std::string(kListeModifications) + "," + std::string(kLibellesModifications) + "]", kB);
  return ModificationConnue(l_.modification) ? std::optional(Etape::kFin) : std::nullopt;
}

std::string EcranChamps::Date() {
  std::string date;
  etat_.Ecran().DateDefaut(date);
  return date;
}

// D, E and B take their fixed total at once; the others keep theirs for the total's entry.
std::optional<Etape> EcranChamps::ApresType() {
  const RegleType* regle = ChercheType(l_.type);
  if (regle == nullptr) return {};
  if (!Montant(l_.type)) l_.decimales = "0";
  if (regle->total_fixe > 0) {
    l_.total = std::to_string(regle->total_fixe);
    etat_.Saisie().Affiche("LF3", l_.total);
    l_.format = CalculeFormat(regle->type, regle->total_fixe, 0, {});
    MontreFormat();
  }
  return Suivante(Etape::kType);
}

void EcranChamps::MontreFormat() {
  etat_.Saisie().MessChamp("LF3", kN, TexteFormatInterne(l_.format), 0);
  etat_.Saisie().Affiche("PF", std::to_string(FinLigne()));
}

// The total within its limits, then the internal format: "|n|<32767" asked for an amount of 5
// characters without decimals (a choice whose first answer, I, is the one proposed).
std::optional<Etape> EcranChamps::ApresTotal() {
  const std::string_view t = text::Trim(l_.total);
  const char type = l_.type[0];
  const int32_t total = t.size() > 5 ? 0 : ValeurNumerique(t);
  const int32_t decimales = ValeurNumerique(l_.decimales);
  if (t.empty() || !TotalValide(type, total, decimales)) return {};
  l_.format =
      CalculeFormat(type, static_cast<int16_t>(total), static_cast<int16_t>(decimales), [&] {
        bool choisi = false;
        std::string element, reponse;
        etat_.Choix().Choix("[[G,1,F],[G,30,Format Interne]]", kQuestionEntier,
                            "[[I,Entier (2 octets)],[S,Réel (4 octets)]]", choisi, element);
        if (choisi) etat_.Liste().Element(element, 1, reponse);
        return choisi ? reponse : std::string(kReponseEntier);
      });
  MontreFormat();
  return Suivante(Etape::kTotal);
}

// A letter then letters and digits, used by no other field of the file, that meets no name of
// the programs generated for the file.
std::optional<Etape> EcranChamps::ApresVariable() {
  l_.variable = text::TrimRight(l_.variable);
  const std::string& v = l_.variable;
  if (!LettresEtChiffres(v)) return {};  // silent: the rule stands above the key line
  if (v[0] >= '0' && v[0] <= '9') {
    etat_.Saisie().MessChamp(
        "LF5", kB,
        "Variable « " + v + " » refusée : la première lettre d'une variable est une lettre", 0);
    return {};
  }
  for (int32_t i = 1; i <= t_.Nombre(); ++i) {
    if (i == n_ || t_.Texte(i, kColVariable) != v) continue;
    etat_.Saisie().MessChamp("LF5", kB,
                             "Variable " + v + " déjà prise par le champ " + std::to_string(i) +
                                 " (" + std::string(t_.Texte(i, kColNom)) + ")",
                             0);
    return {};
  }
  PorteeNoms portee{fichier_, TablesDuFichier(etat_, fichier_), {v}, ""};
  etat_.Ecran().NomApplication(portee.application);
  for (int32_t i = 1; i <= t_.Nombre(); ++i) {
    if (i != n_) portee.variables.emplace_back(t_.Texte(i, kColVariable));
  }
  if (std::optional<std::string> refus = RefusVariable(v, portee)) {
    etat_.Saisie().MessChamp("LF5", kB, *refus, 0);
    return {};
  }
  return Suivante(Etape::kVariable);
}

// The domain code, proposed from the type; a code that is neither empty, nor a default domain,
// nor known in Dom is given to the domain entry, so that the user defines it on the spot.
std::optional<Etape> EcranChamps::ApresDomaine(int16_t& touche) {
  SrvSaisie& s = etat_.Saisie();
  const std::string propose = DomaineDefaut(
      l_.type[0], static_cast<int16_t>(ValeurNumerique(l_.decimales)), l_.format.format);
  s.MessChamp("LF10", kN, "Domaine Implicite : " + propose, 0);
  if (l_.domaine.empty() && n_ > t_.Nombre()) l_.domaine = propose;
  s.Sai("LF10", l_.domaine, touche, 0, "[]", kB);
  if (touche == k_.retour || touche == k_.debut) return {};
  l_.domaine = text::TrimRight(l_.domaine);
  if (auto refus = RefusListe("Domaine", l_.domaine)) {
    s.MessChamp("LF10", kB, *refus, 0);
    return {};
  }
  if (l_.domaine.empty()) {
    s.MessChamp("LF10", kN, "Domaine Prédéfini Primitif", 0);
  } else if (!DomaineImplicite(l_.domaine) && !DomaineConnu(l_.domaine)) {
    ExecuteOutil(etat_, OutilFichier::kDomaine, l_.domaine, "Saisie des domaines");
    Dessine();
  }
  return Suivante(Etape::kDomaine);
}

bool EcranChamps::DomaineConnu(const std::string& code) {
  etat_.dom.Affecte(kCoDom, code);
  bool trouve = false;
  etat_.BArbre().Recherche(etat_.dom_arbre, etat_.dom[kCoDom], etat_.dom_fichier, trouve);
  return trouve;
}

void EcranChamps::Stocke() {
  const TableChamps::Ligne ligne = {l_.nom,
                                    l_.type,
                                    t_.Taille(static_cast<int16_t>(ValeurNumerique(l_.total))),
                                    t_.Taille(static_cast<int16_t>(ValeurNumerique(l_.decimales))),
                                    l_.variable,
                                    l_.exemple,
                                    l_.modification,
                                    std::string(1, l_.format.format),
                                    t_.Taille(l_.format.longueur),
                                    l_.domaine};
  if (n_ > t_.Nombre()) {
    t_.Ajoute(ligne);
  } else {
    t_.AffecteRangee(n_, ligne);
  }
}

}  // namespace

int32_t VariableEnDouble(const TableChamps& table, int32_t& autre) {
  for (int32_t i = 2; i <= table.Nombre(); ++i) {
    for (int32_t j = 1; j < i; ++j) {
      if (table.Texte(i, kColVariable) == table.Texte(j, kColVariable)) {
        autre = j;
        return i;
      }
    }
  }
  return 0;
}

void EntChamps(Session& s, TableChamps& table, std::string_view nom, int32_t depart, bool premier,
               std::string_view message) {
  EcranChamps(s, table, nom).Lance(depart, premier, message);
}

}  // namespace vesk::fic
