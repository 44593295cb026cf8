// The code pieces of the data-entry programs, per screen and per field.
#include <charconv>
#include <string>
#include <vector>

#include "core/etat_module.h"
#include "gencode/disposition.h"
#include "gencode/programme_saisie.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kQ = "\"";

void Rem(std::string_view texte, std::string_view id = "") { GenRem(texte, kColonneCalculee, id); }

std::string Guillemets(std::string_view texte) {
  return std::string(kQ) + std::string(texte) + std::string(kQ);
}

std::string Entree(const ChampProgramme& c) { return "x" + c.cle + "$"; }

// Entered through "Call Sai(": neither filled by the system (S) nor computed (A), unless it is a
// key field: the key is what the operator types first, whatever its field's modification type.
bool Saisi(const ChampProgramme& c) {
  return c.cle_primaire || (c.modification != 'S' && c.modification != 'A');
}

std::string NomEcran(size_t ecran) {
  return ecran == 1 ? "Ecran Initial" : "No" + std::to_string(ecran);
}

// One field in the notation of the entry screens: A, L and D as text (a date typed JJ/MM/AAAA),
// M and N as numbers with their decimals, E as a whole number, B as a boolean.
std::string Descripteur(const ChampProgramme& c) {
  const std::string debut = "[" + c.cle + "," + c.nom + ",";
  switch (c.type) {
    case 'M':
    case 'N':
      return debut + "N" + std::to_string(c.decimales) + "," + std::to_string(c.total) + "]";
    case 'D':
      return debut + "A,10]";
    case 'E':
      return debut + "I0,8]";
    case 'B':
      return debut + "B]";
    default:
      return debut + "A," + std::to_string(std::max<int16_t>(c.total, 1)) + "]";
  }
}

// The fields of screen ecran that are entered by the user and belong (cles) or not to the key.
std::vector<size_t> Saisis(const ProgrammeSaisie& p, size_t ecran) {
  std::vector<size_t> saisis;
  for (size_t i : p.ecrans[ecran - 1]) {
    if (Saisi(p.champs[i])) saisis.push_back(i);
  }
  return saisis;
}

// The help of the screen's keys: writing always, the next screen when there is one, going back.
void MessageChangement(const ProgrammeSaisie& p, size_t ecran) {
  Rem("Message de Changement Ecran");
  const std::string suivant = ecran < p.ecrans.size() ? " - F2 Ecran Suivant" : "";
  GenInst("Call MesBasEcran(" + Guillemets("B") + "," +
          Guillemets("F1 Enregistrement" + suivant + " - Flêche et Page Haut Pour Remontée") + ")");
}

// Where the keys of field i lead: back to the field entered before it on the screen (the
// screen before, redrawn, for the first one of a further screen), to the screen's first field,
// to the writing, and to the next screen (through the memorisation of the initial one).
void Debranchements(const ProgrammeSaisie& p, size_t ecran, size_t i) {
  const std::vector<size_t> saisis = Saisis(p, ecran);
  const auto ici = std::find(saisis.begin(), saisis.end(), i);
  const std::string precedent = ici != saisis.begin()
                                    ? p.champs[*(ici - 1)].cle
                                    : "DesEcr" + p.suffixe + std::to_string(ecran - 1);
  Rem("Gestion des Points de Débranchement");
  GenInst("If TR=FH Then Goto " + precedent + " Else If TR=PH Then Goto " +
          p.champs[saisis.front()].cle);
  if (p.champs[i].cle_primaire) return;
  std::string ligne = "If TR=F1 Then Goto Enr" + p.suffixe;
  if (ecran < p.ecrans.size()) {
    ligne += " Else If TR=F2 Then Goto " + (ecran == 1
                                                ? "MemEcr" + p.suffixe + "1"
                                                : "DesEcr" + p.suffixe + std::to_string(ecran + 1));
  }
  GenInst(ligne);
}

void SaisitChamp(const ProgrammeSaisie& p, size_t ecran, size_t i) {
  const ChampProgramme& c = p.champs[i];
  EcrireLigne(c.cle + ":", "");
  if (!Saisi(c) && c.modification == 'S') return;
  GenRem(c.nom, static_cast<int16_t>(p.colonne_primaire + 4), "");
  if (!Saisi(c)) {
    Rem("Calcul de " + Entree(c));
    GenInst(Entree(c) + "=<<<<<< A Faire >>>>>>");
    Rem("Affichage du Calcul");
    GenInst("Call ConsDon(" + Guillemets(c.cle) + "," + Entree(c) + ")");
    return;
  }
  Rem("Saisie");
  GenInst("Call Sai(" + Guillemets(c.cle) + "," + Entree(c) + ",TR)");
  if (i == p.cles.front()) {
    Rem("Cas Fin de Programme");
    GenInst("If LEN(" + Entree(c) + ")=0 OR TR=FH OR TR=PH Then Goto Fin" + p.suffixe);
    return;
  }
  Debranchements(p, ecran, i);
}

const ChampProgramme* Champ(const ProgrammeSaisie& p, std::string_view cle) {
  for (const ChampProgramme& c : p.champs) {
    if (text::EqualNoCase(c.cle, cle)) return &c;
  }
  return nullptr;
}

// The elements [VAR,debut,fin] of a key list.
std::vector<std::vector<std::string>> Elements(const std::string& liste) {
  Session& etat = Etat();
  std::vector<std::vector<std::string>> elements;
  std::string reste = liste, element, partie;
  while (reste != "[]" && !reste.empty()) {
    etat.Liste().Extrait(reste, element);
    std::vector<std::string> parties;
    for (int16_t n = 1; n <= 3; ++n) {
      etat.Liste().Element(element, n, partie);
      parties.emplace_back(text::Trim(partie));
    }
    elements.push_back(std::move(parties));
  }
  return elements;
}

// A position of a key part: a whole number from 1.
int Position(const std::string& texte, const std::string& liste) {
  int n = 0;
  const auto [fin, erreur] = std::from_chars(texte.data(), texte.data() + texte.size(), n);
  if (erreur != std::errc() || fin != texte.data() + texte.size() || n < 1) {
    throw ErreurService("GenPS", liste, "position « " + texte + " » illisible dans la clé");
  }
  return n;
}

}  // namespace

std::vector<std::vector<size_t>> RepartitEcrans(const std::vector<ChampProgramme>& champs,
                                                const std::vector<size_t>& cles, bool& trop) {
  std::vector<std::vector<size_t>> ecrans(1, cles);
  trop = cles.size() + 1 > kChampsParEcran;
  const size_t premier = trop ? cles.size() + 1 : kChampsParEcran;
  for (size_t i = 0; i < champs.size(); ++i) {
    if (champs[i].cle_primaire) continue;
    const size_t limite = ecrans.size() == 1 ? premier : kChampsParEcran;
    if (ecrans.back().size() >= limite) ecrans.emplace_back();
    ecrans.back().push_back(i);
  }
  return ecrans;
}

void DessineEcran(const ProgrammeSaisie& p, size_t ecran) {
  Rem("Dessin Ecran " + NomEcran(ecran), "DesEcr");
  Rem("Affichage du Titre");
  GenInst("Call EffaceEcran");
  GenInst("Call Titre(" + Guillemets(p.titre + " - " + NomEcran(ecran)) + ")");
  Rem("Affichage de l'Ecran de Saisie");
  std::string descripteurs;
  for (size_t i : p.ecrans[ecran - 1]) {
    descripteurs += (descripteurs.empty() ? "" : ",") + Descripteur(p.champs[i]);
  }
  GenInst("Call Mates(" + Guillemets("[" + descripteurs + "]") + ")");
}

void AfficheDonnees(const ProgrammeSaisie& p, const std::vector<size_t>& champs) {
  for (size_t i : champs) {
    const ChampProgramme& c = p.champs[i];
    if (c.modification == 'S' && !c.cle_primaire) continue;
    GenInst("Call ConsDon(" + Guillemets(c.cle) + "," + Entree(c) + ")");
  }
}

void SaisitChamps(const ProgrammeSaisie& p, size_t ecran, bool cles) {
  if (!cles) MessageChangement(p, ecran);
  for (size_t i : p.ecrans[ecran - 1]) {
    if (p.champs[i].cle_primaire == cles) SaisitChamp(p, ecran, i);
  }
}

std::string PremierHorsCle(const ProgrammeSaisie& p) {
  for (size_t i : p.ecrans.front()) {
    if (!p.champs[i].cle_primaire) return p.champs[i].cle;
  }
  return "Enr" + p.suffixe;
}

void VersTampon(const ChampProgramme& c) {
  if (c.type == 'D') {
    GenInst("Call CompDate(x" + c.cle + "$," + c.cle + "$)");
  } else {
    GenInst("LSET " + c.cle + "$=x" + c.cle + "$");
  }
}

void DepuisTampon(const ChampProgramme& c) {
  if (c.type == 'D') {
    GenInst("Call DecompDate(" + c.cle + "$,x" + c.cle + "$,(rien))");
  } else {
    GenInst("x" + c.cle + "$=" + c.cle + "$");
  }
}

std::string ExpressionCle(const ProgrammeSaisie& p, const std::string& liste) {
  std::string expression;
  for (const std::vector<std::string>& e : Elements(liste)) {
    const ChampProgramme* c = Champ(p, e[0]);
    const std::string variable = (c != nullptr ? c->cle : e[0]) + "$";
    std::string partie = variable;
    if (e[1] != "_" || e[2] != "_") {
      const int debut = e[1] == "_" ? 1 : Position(e[1], liste);
      const int fin = e[2] != "_" ? Position(e[2], liste) : c != nullptr ? c->total : debut;
      partie = "MID$(" + variable + "," + std::to_string(debut) + "," +
               std::to_string(fin - debut + 1) + ")";
    }
    expression += (expression.empty() ? "" : "+") + partie;
  }
  return expression;
}

void CalculeCle(const ProgrammeSaisie& p, const std::string& liste) {
  Rem("Affectation du Tampon");
  std::vector<const ChampProgramme*> faits;
  for (const std::vector<std::string>& e : Elements(liste)) {
    const ChampProgramme* c = Champ(p, e[0]);
    if (c == nullptr || std::find(faits.begin(), faits.end(), c) != faits.end()) continue;
    faits.push_back(c);
    VersTampon(*c);
  }
  Rem("Calcul de la Clé");
  GenInst("Cle$=" + ExpressionCle(p, liste));
}

}  // namespace vesk
