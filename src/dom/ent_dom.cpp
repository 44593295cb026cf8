// The entry screen of the definition domains: the model of the dictionary's entry cycle.
#include <optional>

#include "core/cycle_saisie.h"
#include "core/session.h"
#include "dom/dom.h"
#include "srv/text/utf8.h"

namespace vesk::dom {

namespace {

constexpr EcranCycle kEcran{kTitreSaisie, kDescripteurSaisie, "CODOM", kAideSuppression};

// The definition file is required (asked again without a message when blank) and must be a
// plain name of the data folder: letters and digits only, so that the listing, which opens
// FDD.DOM, never reaches a file elsewhere.
std::optional<std::string> ControleFdd(const std::string& valeur) {
  std::string_view nom = text::TrimRight(valeur);
  if (nom.empty()) return std::string();
  if (!LettresEtChiffres(nom)) {
    return "Nom de fichier « " + std::string(nom) +
           " » refusé : lettres (sans accent) et chiffres seulement";
  }
  return std::nullopt;
}

// The texts of one screen and what the lookup found.
struct Saisie {
  std::string code, nom, fdd;
  bool trouve = false;
  int32_t e = 0;  // record number of the domain found, 0 when none
};

// What survives from one screen to the next, and the screen itself.
struct EcranDom {
  explicit EcranDom(Session& s) : etat(s) {}

  Session& etat;
  CycleSaisie cycle{etat, kEcran};
  const FichierCle dom{etat.dom_fichier, etat.dom_arbre};
  int32_t dernier = 0;  // the record written last by this screen, 0 when none
  Saisie s;
};

// A new screen: empty texts, the deletion hint and the domain written last.
void NouvelEcran(EcranDom& d) {
  d.s = Saisie{};
  d.cycle.NouvelEcran();
  d.etat.Saisie().RegleChamp(
      "FDD", "Obligatoire : le fichier de définition NOM.DOM, 8 lettres ou chiffres au plus");
  if (d.dernier != 0) {
    d.etat.Donnee().LireEnr(d.dom.fichier, d.dernier);
    d.cycle.MontrePrecedent(d.etat.dom[kCoDom]);
  }
}

// Looks the code up; a domain found is shown as read from its record, and its name and file
// are entered from their texts without the padding (docs/decisions.md).
void Cherche(EcranDom& d) {
  Enregistrement& dom = d.etat.dom;
  dom.Affecte(kCoDom, d.s.code);
  d.s.trouve = d.cycle.Cherche(d.dom, dom[kCoDom], d.s.e);
  if (!d.s.trouve) return;
  const ChampTrouve champs[] = {{"NOMDOM", kNomDom, &d.s.nom}, {"FDD", kFdd, &d.s.fdd}};
  AfficheTrouve(d.etat, dom, champs);
}

// Deletes the domain found (for a deletion, and before a modified domain is written again).
void Supprime(EcranDom& d) {
  d.etat.dom.Affecte(kCoDom, d.s.code);
  SupprimeEnregistrement(d.etat, d.dom, d.etat.dom[kCoDom], d.s.e);
  d.dernier = 0;
}

// Writes the domain as a new record, the one found deleted first.
void Ecrit(EcranDom& d) {
  const int32_t trouve = d.s.trouve ? d.s.e : 0;
  d.dernier = EcritEnregistrement(
      d.etat, d.dom, trouve, [&d] { Supprime(d); },
      [&d] {
        Enregistrement& dom = d.etat.dom;
        dom.Affecte(kCoDom, d.s.code);
        dom.Affecte(kNomDom, d.s.nom);
        dom.Affecte(kFdd, d.s.fdd);
        dom.Affecte(kCoDom, d.s.code);
        return dom[kCoDom];
      });
}

// One screen from its code field, which starts from the mode letter of the last lookup.
bool SaisitEcran(EcranDom& d, std::string& code_initial, int16_t& touche) {
  const ChampCycle champs[] = {{"NOMDOM", &d.s.nom, -1, {}}, {"FDD", &d.s.fdd, 0, ControleFdd}};
  EtapesEcran etapes;
  etapes.cle = &d.s.code;
  etapes.lettre = &code_initial;
  etapes.depart = [&] { d.s.code = code_initial; };
  etapes.cherche = [&d] {
    Cherche(d);
    return d.s.trouve;
  };
  etapes.supprime = [&d] { Supprime(d); };
  etapes.ecrit = [&d] { Ecrit(d); };
  return d.cycle.SaisitEcran(etapes, champs, touche);
}

}  // namespace

void EntDom(Session& s, std::string& code_initial, int16_t& touche) {
  EcranDom d(s);
  do {
    NouvelEcran(d);
  } while (SaisitEcran(d, code_initial, touche));
}

}  // namespace vesk::dom
