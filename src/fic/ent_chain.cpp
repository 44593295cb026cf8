// The chaining entry: a line file, the positions of its backward and forward pointers, its
// header file and the positions of the first- and last-line pointers. Pointers moved over files
// that hold records are written with the records' pointers carried to their new positions, once
// the user has seen the plan and confirmed.
#include <optional>
#include <string>

#include "core/cycle_saisie.h"
#include "fic/controles.h"
#include "fic/etape_migration.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/table_champs.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr EcranCycle kEcran{kTitreChain, kDescripteurChain, "CHAINL", kAideSuppressionChain, true};

// The six values, kept from one screen to the next, and what the lookup found.
struct Saisie {
  std::string chainl, pnea, pnes, chaine, ppe, pde;
  bool trouve = false;
  int32_t e = 0;
  int32_t longueur_ligne = 0, longueur_entete = 0;  // the bounds of the positions
};

struct EcranChain {
  explicit EcranChain(Session& s) : etat(s) {}

  Session& etat;
  CycleSaisie cycle{etat, kEcran};
  const FichierCle chain{etat.chain_fichier, etat.chain_arbre};
  Saisie s;
  std::string message;  // shown on the next screen
};

// Looks the file up in Fic (its record becomes current); its record length, or 0 when it is
// not specified.
int32_t LongueurFichier(Session& etat, std::string_view nom) {
  etat.fic.Affecte(kNomFic, text::TrimRight(nom));
  int32_t e = 0;
  const bool trouve = ChercheNom(etat, {etat.fic_fichier, etat.fic_arbre}, etat.fic[kNomFic], e);
  return trouve ? LongueurEnr(etat.fic) : 0;
}

// A file name of the screen (CHAINL, CHAINE) taken in upper case, shown again when typed in
// lower case.
void Majuscules(Session& s, std::string_view cle, std::string& nom) {
  const std::string haut = text::UpperAscii(text::TrimRight(nom));
  if (haut != text::TrimRight(nom)) s.Saisie().Affiche(cle, haut);
  nom = haut;
}

// The start positions of the first two E fields of the current Fic record's file (a table of
// the screen's own: the module's field table is not touched); "" where there are fewer.
void ProposePositions(Session& s, std::string& premiere, std::string& seconde) {
  TableChamps table(s);
  table.Charge();
  const std::vector<int32_t> debuts = table.Debuts();
  std::string* cibles[] = {&premiere, &seconde};
  size_t n = 0;
  for (int32_t i = 1; i <= table.Nombre() && n < 2; ++i) {
    if (table.Texte(i, kColType) == "E") *cibles[n++] = std::to_string(debuts[size_t(i - 1)]);
  }
  for (; n < 2; ++n) cibles[n]->clear();
}

void Cherche(EcranChain& d) {
  Enregistrement& chain = d.etat.chain;
  chain.Affecte(kChainL, d.s.chainl);
  d.s.trouve = d.cycle.Cherche(d.chain, chain[kChainL], d.s.e);
  if (!d.s.trouve) return;
  const ChampTrouve champs[] = {{"CHAINL", kChainL, &d.s.chainl}, {"CHAINE", kChainE, &d.s.chaine},
                                {"PNEA", kPnea, &d.s.pnea},       {"PNES", kPnes, &d.s.pnes},
                                {"PPE", kPpe, &d.s.ppe},          {"PDE", kPde, &d.s.pde}};
  AfficheTrouve(d.etat, chain, champs);
  Majuscules(d.etat, "CHAINL", d.s.chainl);
}

// The rule of two pointer positions of the file nom, stated while they are entered (a position
// outside the record is refused without a message).
void ReglesPositions(Session& s, std::string_view premiere, std::string_view seconde,
                     int32_t longueur, const std::string& nom, std::string_view pair) {
  const std::string regle = "Position de 1 à " + std::to_string(longueur) +
                            " : l'enregistrement de " + nom + " en a " + std::to_string(longueur);
  s.Saisie().RegleChamp(premiere, regle);
  s.Saisie().RegleChamp(seconde, regle + ", pas avant " + std::string(pair));
}

// A position accepted when it lies in the record (and not before its pair's first).
std::optional<std::string> Position(const std::string& v, int32_t longueur,
                                    std::optional<int32_t> premiere = {}) {
  if (PositionValide(ValeurNumerique(v), longueur, premiere)) return std::nullopt;
  return std::string();
}

std::optional<std::string> ControleChaine(EcranChain& d) {
  Majuscules(d.etat, "CHAINE", d.s.chaine);
  d.s.longueur_entete = LongueurFichier(d.etat, d.s.chaine);
  if (d.s.longueur_entete == 0) return std::string(kFichierInconnu);
  ReglesPositions(d.etat, "PPE", "PDE", d.s.longueur_entete, d.s.chaine, "le pointeur du premier");
  if (!d.s.trouve) ProposePositions(d.etat, d.s.ppe, d.s.pde);
  return std::nullopt;
}

// Deletes the chaining found, under its key as stored (an old name may be in lower case).
void Supprime(EcranChain& d) {
  SupprimeEnregistrement(d.etat, d.chain, d.cycle.CleTrouvee(), d.s.e);
}

// The chaining of the screen put in the dictionary m.
void AvecChainage(EcranChain& d, ModeleDictionnaire& m) {
  if (d.s.trouve) m.chainages.erase(std::string(text::TrimRight(d.cycle.CleTrouvee())));
  Chainage& c = m.chainages[d.s.chainl];
  c.entete = d.s.chaine;
  c.arriere = ValeurNumerique(d.s.pnea);
  c.avant = ValeurNumerique(d.s.pnes);
  c.premier = ValeurNumerique(d.s.ppe);
  c.dernier = ValeurNumerique(d.s.pde);
}

// Writes the chaining as a new record, the one found deleted first; when its pointers move over
// files that hold records, only once the user accepts the plan, and with the records converted.
void Ecrit(EcranChain& d) {
  const std::string fichiers =
      d.s.chainl == d.s.chaine ? d.s.chainl : d.s.chainl + " et " + d.s.chaine;
  d.message = EcritSelonDonnees(
      d.etat, d.chain, d.s.trouve ? d.s.e : 0, [&d] { Supprime(d); },
      [&d] {
        const std::string* valeurs[] = {&d.s.chainl, &d.s.pnea, &d.s.pnes,
                                        &d.s.chaine, &d.s.ppe,  &d.s.pde};
        for (size_t i = 0; i < 6; ++i) d.etat.chain.Affecte(i, *valeurs[i]);
        return d.etat.chain[kChainL];
      },
      [&d](ModeleDictionnaire& m) { AvecChainage(d, m); },
      {fichiers, d.s.chainl, "Chaînage " + d.s.chainl + " inchangé"});
}

// The line file named on the key field must be specified; its positions are proposed.
bool ControleLigne(EcranChain& d) {
  d.s.longueur_ligne = LongueurFichier(d.etat, d.s.chainl);
  if (d.s.longueur_ligne == 0) {
    d.etat.Saisie().MessChamp("CHAINL", "B", kFichierInconnu, 0);
    return false;
  }
  ReglesPositions(d.etat, "PNEA", "PNES", d.s.longueur_ligne, d.s.chainl, "le pointeur arrière");
  if (!d.s.trouve) ProposePositions(d.etat, d.s.pnea, d.s.pnes);
  return true;
}

bool SaisitEcran(EcranChain& d, int16_t& touche) {
  Saisie& s = d.s;
  const ChampCycle champs[] = {
      {"PNEA", &s.pnea, -1, [&s](const std::string& v) { return Position(v, s.longueur_ligne); }},
      {"PNES", &s.pnes, 0,
       [&s](const std::string& v) {
         return Position(v, s.longueur_ligne, ValeurNumerique(s.pnea));
       }},
      {"CHAINE", &s.chaine, 0, [&d](const std::string&) { return ControleChaine(d); }},
      {"PPE", &s.ppe, -1, [&s](const std::string& v) { return Position(v, s.longueur_entete); }},
      {"PDE", &s.pde, 3,
       [&s](const std::string& v) {
         return Position(v, s.longueur_entete, ValeurNumerique(s.ppe));
       }},
  };
  EtapesEcran etapes;
  etapes.cle = &s.chainl;
  etapes.controle_cle = [&d, &s] {
    Majuscules(d.etat, "CHAINL", s.chainl);
    return true;
  };
  etapes.cherche = [&d] {
    Cherche(d);
    return d.s.trouve;
  };
  etapes.avant_champs = [&d] { return ControleLigne(d); };
  etapes.supprime = [&d] { Supprime(d); };
  etapes.ecrit = [&d] { Ecrit(d); };
  return d.cycle.SaisitEcran(etapes, champs, touche);
}

}  // namespace

void EntChain(Session& s, int16_t& touche) {
  EcranChain d(s);
  const std::string fichier(text::TrimRight(d.etat.fic[kNomFic]));
  d.s.chainl = fichier;
  d.s.chaine = fichier;
  do {
    d.cycle.NouvelEcran();
    if (!d.message.empty()) d.etat.Saisie().Message("B", d.message);
    d.message.clear();
  } while (SaisitEcran(d, touche));
}

}  // namespace vesk::fic
