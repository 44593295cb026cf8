// The entry screen of the definition domains: the model of the dictionary's entry cycle.
#include <optional>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "dom/dom.h"
#include "srv/text/utf8.h"

namespace vesk::dom {

namespace {

constexpr EcranCycle kEcran{kTitreSaisie, kDescripteurSaisie, "CODOM", kAideSuppression};

// The definition file is required (asked again without a message when blank) and must be a
// plain name of the data folder: letters and digits only, so that the listing, which opens
// FDD.DOM, never reaches a file elsewhere.
std::optional<std::string> VerifieFdd(const std::string& valeur) {
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

}  // namespace

void EntDom(std::string& code_initial, int16_t& touche) {
  EtatModule& etat = Etat();
  CycleSaisie cycle(kEcran);
  const FichierCle dom{etat.dom_fichier, etat.dom_arbre};
  int32_t dernier = 0;  // the record written last by this screen
  Saisie s;
  const ChampCycle champs[] = {{"NOMDOM", &s.nom, -1, {}}, {"FDD", &s.fdd, 0, VerifieFdd}};
  // Deletes the domain found (for a deletion, and before a modified domain is written again).
  auto supprime = [&] {
    etat.dom.Affecte(kCoDom, s.code);
    SupprimeEnregistrement(dom, etat.dom[kCoDom], s.e);
    dernier = 0;
  };
  for (;;) {
    s = Saisie{};
    cycle.NouvelEcran();
    if (dernier != 0) {
      etat.Donnee().LireEnr(dom.fichier, dernier);
      cycle.MontrePrecedent(etat.dom[kCoDom]);
    }
    for (;;) {
      s.code = code_initial;
      if (!cycle.SaisitCle(s.code, touche)) return;
      etat.dom.Affecte(kCoDom, s.code);
      s.trouve = cycle.Cherche(dom, etat.dom[kCoDom], s.e);
      if (s.trouve) {
        // Shown and entered without the padding, so that the user types after the text.
        s.nom = text::TrimRight(etat.dom[kNomDom]);
        s.fdd = text::TrimRight(etat.dom[kFdd]);
        etat.Saisie().Affiche("NOMDOM", s.nom);
        etat.Saisie().Affiche("FDD", s.fdd);
      }
      if (cycle.AfficheMode(s.trouve, touche, code_initial)) {
        if (!cycle.ConfirmeSuppression()) continue;
        supprime();
        break;
      }
      if (!cycle.SaisitChamps(champs, touche)) continue;
      if (s.trouve) {
        etat.Donnee().LireEnr(dom.fichier, s.e);
        supprime();
      }
      etat.dom.Affecte(kCoDom, s.code);
      etat.dom.Affecte(kNomDom, s.nom);
      etat.dom.Affecte(kFdd, s.fdd);
      etat.dom.Affecte(kCoDom, s.code);
      dernier = InsereEnregistrement(dom, etat.dom[kCoDom]);
      break;
    }
  }
}

}  // namespace vesk::dom
