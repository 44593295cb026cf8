// The code pieces of the data-entry programs, per screen and per field.
#include <string>
#include <vector>

#include "core/session.h"
#include "gencode/disposition.h"
#include "gencode/programme_saisie.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kQ = "\"";

void Rem(Session& s, std::string_view texte, std::string_view id = "") {
  GenRem(s, texte, kColonneCalculee, id);
}

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
void MessageChangement(Session& s, const ProgrammeSaisie& p, size_t ecran) {
  Rem(s, "Message de Changement Ecran");
  const std::string suivant = ecran < p.ecrans.size() ? " - F2 Ecran Suivant" : "";
  GenInst(s,
          "Call MesBasEcran(" + Guillemets("B") + "," +
              Guillemets("F1 Enregistrement" + suivant + " - Flêche et Page Haut Pour Remontée") +
              ")");
}

// Where the keys of field i lead: back to the field entered before it on the screen (the
// screen before, redrawn, for the first one of a further screen), to the screen's first field,
// to the writing, and to the next screen (through the memorisation of the initial one).
void Debranchements(Session& s, const ProgrammeSaisie& p, size_t ecran, size_t i) {
  const std::vector<size_t> saisis = Saisis(p, ecran);
  const auto ici = std::find(saisis.begin(), saisis.end(), i);
  const std::string precedent = ici != saisis.begin()
                                    ? p.champs[*(ici - 1)].cle
                                    : "DesEcr" + p.suffixe + std::to_string(ecran - 1);
  Rem(s, "Gestion des Points de Débranchement");
  GenInst(s, "If TR=FH Then Goto " + precedent + " Else If TR=PH Then Goto " +
                 p.champs[saisis.front()].cle);
  if (p.champs[i].cle_primaire) return;
  std::string ligne = "If TR=F1 Then Goto Enr" + p.suffixe;
  if (ecran < p.ecrans.size()) {
    ligne += " Else If TR=F2 Then Goto " + (ecran == 1
                                                ? "MemEcr" + p.suffixe + "1"
                                                : "DesEcr" + p.suffixe + std::to_string(ecran + 1));
  }
  GenInst(s, ligne);
}

void SaisitChamp(Session& s, const ProgrammeSaisie& p, size_t ecran, size_t i) {
  const ChampProgramme& c = p.champs[i];
  EcrireLigne(s, c.cle + ":", "");
  if (!Saisi(c) && c.modification == 'S') return;
  GenRem(s, c.nom, static_cast<int16_t>(p.colonne_primaire + 4), "");
  if (!Saisi(c)) {
    Rem(s, "Calcul de " + Entree(c));
    GenInst(s, Entree(c) + "=<<<<<< A Faire >>>>>>");
    Rem(s, "Affichage du Calcul");
    GenInst(s, "Call ConsDon(" + Guillemets(c.cle) + "," + Entree(c) + ")");
    return;
  }
  Rem(s, "Saisie");
  GenInst(s, "Call Sai(" + Guillemets(c.cle) + "," + Entree(c) + ",TR)");
  if (i == p.cles.front()) {
    Rem(s, "Cas Fin de Programme");
    GenInst(s, "If LEN(" + Entree(c) + ")=0 OR TR=FH OR TR=PH Then Goto Fin" + p.suffixe);
    return;
  }
  Debranchements(s, p, ecran, i);
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

void DessineEcran(Session& s, const ProgrammeSaisie& p, size_t ecran) {
  Rem(s, "Dessin Ecran " + NomEcran(ecran), "DesEcr");
  Rem(s, "Affichage du Titre");
  GenInst(s, "Call EffaceEcran");
  GenInst(s, "Call Titre(" + Guillemets(p.titre + " - " + NomEcran(ecran)) + ")");
  Rem(s, "Affichage de l'Ecran de Saisie");
  std::string descripteurs;
  for (size_t i : p.ecrans[ecran - 1]) {
    descripteurs += (descripteurs.empty() ? "" : ",") + Descripteur(p.champs[i]);
  }
  GenInst(s, "Call Mates(" + Guillemets("[" + descripteurs + "]") + ")");
}

void AfficheDonnees(Session& s, const ProgrammeSaisie& p, const std::vector<size_t>& champs) {
  for (size_t i : champs) {
    const ChampProgramme& c = p.champs[i];
    if (c.modification == 'S' && !c.cle_primaire) continue;
    GenInst(s, "Call ConsDon(" + Guillemets(c.cle) + "," + Entree(c) + ")");
  }
}

void SaisitChamps(Session& s, const ProgrammeSaisie& p, size_t ecran, bool cles) {
  if (!cles) MessageChangement(s, p, ecran);
  for (size_t i : p.ecrans[ecran - 1]) {
    if (p.champs[i].cle_primaire == cles) SaisitChamp(s, p, ecran, i);
  }
}

std::string PremierHorsCle(const ProgrammeSaisie& p) {
  for (size_t i : p.ecrans.front()) {
    if (!p.champs[i].cle_primaire) return p.champs[i].cle;
  }
  return "Enr" + p.suffixe;
}

void VersTampon(Session& s, const ChampProgramme& c) {
  if (c.type == 'D') {
    GenInst(s, "Call CompDate(x" + c.cle + "$," + c.cle + "$)");
  } else {
    GenInst(s, "LSET " + c.cle + "$=x" + c.cle + "$");
  }
}

void DepuisTampon(Session& s, const ChampProgramme& c) {
  if (c.type == 'D') {
    GenInst(s, "Call DecompDate(" + c.cle + "$,x" + c.cle + "$,(rien))");
  } else {
    GenInst(s, "x" + c.cle + "$=" + c.cle + "$");
  }
}

std::string ExpressionCle(const ProgrammeSaisie& p, const TableProgramme& table) {
  std::string expression;
  for (const fic::PartieCle& partie : table.analyse.parties) {
    const std::string variable = p.champs.at(static_cast<size_t>(partie.rubrique)).cle + "$";
    std::string texte = variable;
    if (!partie.entiere) {
      texte = "MID$(" + variable + "," + std::to_string(partie.debut) + "," +
              std::to_string(partie.fin - partie.debut + 1) + ")";
    }
    expression += (expression.empty() ? "" : "+") + texte;
  }
  return expression;
}

void CalculeCle(Session& s, const ProgrammeSaisie& p, const TableProgramme& table) {
  Rem(s, "Affectation du Tampon");
  std::vector<int32_t> faits;
  for (const fic::PartieCle& partie : table.analyse.parties) {
    if (std::find(faits.begin(), faits.end(), partie.rubrique) != faits.end()) continue;
    faits.push_back(partie.rubrique);
    VersTampon(s, p.champs.at(static_cast<size_t>(partie.rubrique)));
  }
  Rem(s, "Calcul de la Clé");
  GenInst(s, "Cle$=" + ExpressionCle(p, table));
}

}  // namespace vesk
