// The B-tree table entry: a table's name, its data file, its nature and its key list, the key
// length always computed from the list. A table changed over a file that holds records is
// written with the file's trees rebuilt, once the user has seen the plan and confirmed.
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

constexpr EcranCycle kEcran{kTitreBa, kDescripteurBa, "NOMT", kAideSuppression, true};
constexpr std::string_view kNatures = "[P,S]";
constexpr std::string_view kLibellesNatures = "[Primaire,Secondaire]";

// The screen's variables and what the lookup found.
struct Saisie {
  std::string nomt, nomd, natt, longcle, lcle;
  bool trouve = false;
  int32_t e = 0;
};

struct EcranBa {
  explicit EcranBa(Session& s) : etat(s) {}

  Session& etat;
  CycleSaisie cycle{etat, kEcran};
  const FichierCle ba{etat.ba_fichier, etat.ba_arbre};
  Saisie s;
  TableChamps champs{etat};  // the fields of the file NOMD names, which the key list is built of
  std::string message;       // shown on the next screen
};

// A new screen: the names of the current file, nature P, no key list; the field messages.
void NouvelEcran(EcranBa& d) {
  const std::string fichier(text::TrimRight(d.etat.fic[kNomFic]));
  d.s = Saisie{fichier, fichier, "P", "", ""};
  d.cycle.NouvelEcran();
  if (!d.message.empty()) d.etat.Saisie().Message("B", d.message);
  d.message.clear();
  d.etat.Saisie().MessChamp("NATT", "N", kAideNature, 0);
  d.etat.Saisie().MessChamp("LCLE", "N", kAideListeCle, 0);
  d.etat.Saisie().RegleChamp("NOMD",
                             "Nom d'un fichier spécifié du dictionnaire (6 lettres ou chiffres)");
  d.etat.Saisie().RegleChamp(
      "NATT", "P : table primaire (clés uniques) - S : secondaire (clés en double admises)");
}

// The table name names a B-tree file and a variable of the generated programs: letters and
// digits, not a name of the dictionary's own files, taken in upper case.
std::optional<std::string> ControleNomT(Session& s, std::string& nom) {
  const std::string_view texte = text::TrimRight(nom);
  if (!LettresEtChiffres(texte)) {
    return "Nom de table « " + std::string(texte) +
           " » refusé : lettres (sans accent) et chiffres seulement";
  }
  if (auto refus = NomDuDictionnaire("Nom de table", nom)) return refus;
  const std::string haut = text::UpperAscii(texte);
  if (haut != texte) s.Saisie().Affiche("NOMT", haut);
  nom = haut;
  return std::nullopt;
}

// Looks the table up; a table found is shown as read and its texts entered without padding.
void Cherche(EcranBa& d) {
  Enregistrement& ba = d.etat.ba;
  ba.Affecte(kNomT, d.s.nomt);
  d.s.trouve = d.cycle.Cherche(d.ba, ba[kNomT], d.s.e);
  if (!d.s.trouve) return;
  const ChampTrouve champs[] = {{"NOMD", kNomD, &d.s.nomd},
                                {"NATT", kNatT, &d.s.natt},
                                {"LONGCLE", kLongCle, &d.s.longcle},
                                {"LCLE", kLCle, &d.s.lcle}};
  AfficheTrouve(d.etat, ba, champs);
}

// NOMD must be a specified file (silent otherwise); its fields become the screen's field table
// and its name is taken in upper case.
std::optional<std::string> ControleNomD(EcranBa& d) {
  const std::string haut = text::UpperAscii(text::TrimRight(d.s.nomd));
  if (haut != text::TrimRight(d.s.nomd)) d.etat.Saisie().Affiche("NOMD", haut);
  d.s.nomd = haut;
  if (d.s.nomd.empty() || !d.champs.ChargeFichier(d.s.nomd)) return std::string();
  return std::nullopt;
}

std::optional<std::string> ControleNatT(EcranBa& d) {
  SrvListe& liste = d.etat.Liste();
  std::string natures(kNatures), nature;
  for (int16_t position = 1; natures != "[]"; ++position) {
    liste.Extrait(natures, nature);
    if (nature != d.s.natt) continue;
    std::string libelle;
    liste.Element(kLibellesNatures, position, libelle);
    d.etat.Saisie().MessChamp("NATT", "N", libelle, 0);
    if (d.s.lcle.empty() && !d.s.trouve) d.s.lcle = ListeCleDefaut(d.etat, d.champs.Rubriques());
    return std::nullopt;
  }
  return std::string();
}

std::optional<std::string> ControleLCle(EcranBa& d) {
  // The record holds 100 characters of the list: a longer one (a default list of many fields)
  // would be cut, and its key would no longer be the one checked.
  const size_t largeur = static_cast<size_t>(d.etat.ba.Def(kLCle).largeur);
  if (text::CountChars(d.s.lcle) > largeur) {
    return "Liste de " + std::to_string(text::CountChars(d.s.lcle)) +
           " caractères : " + std::to_string(largeur) + " au plus";
  }
  const ResultatCle r = ControleListeCle(d.etat, d.s.lcle, d.champs.Rubriques());
  if (!r.valide) return r.message;
  d.s.longcle = std::to_string(r.longueur);
  d.etat.Saisie().Affiche("LONGCLE", d.s.longcle);
  return std::nullopt;
}

// Deletes the table found, under its key as stored (an old name may be in lower case).
void Supprime(EcranBa& d) { SupprimeEnregistrement(d.etat, d.ba, d.cycle.CleTrouvee(), d.s.e); }

// The table of the screen put in the dictionary m.
void AvecTable(EcranBa& d, ModeleDictionnaire& m) {
  if (d.s.trouve) m.barbres.erase(std::string(text::TrimRight(d.cycle.CleTrouvee())));
  BArbre& b = m.barbres[d.s.nomt];
  b.fichier = d.s.nomd;
  b.nature = d.s.natt;
  b.cle = d.s.lcle;
  b.longueur = ValeurNumerique(d.s.longcle);
  AnalyseCles(d.etat, m);
}

// Writes the table as a new record, the one found deleted first; when the change rebuilds the
// trees of a file that holds records, only once the user accepts the plan, and with them.
void Ecrit(EcranBa& d) {
  d.message = EcritSelonDonnees(
      d.etat, d.ba, d.s.trouve ? d.s.e : 0, [&d] { Supprime(d); },
      [&d] {
        Enregistrement& ba = d.etat.ba;
        ba.Affecte(kNomT, d.s.nomt);
        ba.Affecte(kNomD, d.s.nomd);
        ba.Affecte(kNatT, d.s.natt);
        ba.Affecte(kLongCle, d.s.longcle);
        ba.Affecte(kLCle, d.s.lcle);
        return ba[kNomT];
      },
      [&d](ModeleDictionnaire& m) { AvecTable(d, m); },
      {d.s.nomd, d.s.nomt, "Table " + d.s.nomt + " inchangée"});
}

// One screen from its key field: false when the user leaves, true when a table was deleted or
// written.
bool SaisitEcran(EcranBa& d, int16_t& touche) {
  const ChampCycle champs[] = {
      {"NOMD", &d.s.nomd, -1, [&d](const std::string&) { return ControleNomD(d); }},
      {"NATT", &d.s.natt, 0, [&d](const std::string&) { return ControleNatT(d); }},
      {"LCLE", &d.s.lcle, 1, [&d](const std::string&) { return ControleLCle(d); }},
  };
  EtapesEcran etapes;
  etapes.cle = &d.s.nomt;
  etapes.controle_cle = [&d] {
    std::optional<std::string> refus = ControleNomT(d.etat, d.s.nomt);
    if (refus) d.etat.Saisie().MessChamp("NOMT", "B", *refus, 0);
    return !refus;
  };
  etapes.cherche = [&d] {
    Cherche(d);
    return d.s.trouve;
  };
  etapes.supprime = [&d] { Supprime(d); };
  etapes.ecrit = [&d] { Ecrit(d); };
  return d.cycle.SaisitEcran(etapes, champs, touche);
}

}  // namespace

void EntBa(Session& s, int16_t& touche) {
  EcranBa d(s);
  do {
    NouvelEcran(d);
  } while (SaisitEcran(d, touche));
}

}  // namespace vesk::fic
