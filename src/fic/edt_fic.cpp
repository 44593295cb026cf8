// The specification listing of one file: its length and channel, its company dependence, its
// B-tree tables with their keys, its chainings, and the table of its fields.
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "fic/fic.h"
#include "fic/table_champs.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::string_view kArial = "Arial";
constexpr std::string_view kProcedure = "EdtFic";
constexpr size_t kLargeurCle = 93;  // a key's construction line is folded past it

std::string Champ(const Enregistrement& e, size_t i) { return std::string(text::TrimRight(e[i])); }
// A number written with its leading space.
std::string Nombre(std::string_view texte) { return " " + std::string(text::Trim(texte)); }

void Ligne(std::string_view texte, std::string_view style, std::string_view options = "") {
  Etat().Edition().ImprTexte(texte, style, kArial, options);
}

// "Construction de la Clé :" and the key's elements, ", " between them; past 93 characters
// the line is printed and the next starts with spaces, under the first element: a continuation
// of the listing service, which in a proportional font starts it at the width they stand for.
void ConstructionCle(const std::string& liste) {
  const std::string debut = "Construction de la Clé : ";
  const std::string marge(text::CountChars(debut), ' ');
  std::string reste = liste, element, ligne = debut;
  bool premier = true, suite = false;
  while (reste != "[]") {
    Etat().Liste().Extrait(reste, element);
    const std::string morceau = (premier ? "" : ", ") + element;
    if (!premier && text::CountChars(ligne) + text::CountChars(morceau) > kLargeurCle) {
      Ligne(ligne + ",", "MS", suite ? "R" : "");
      ligne = marge + element;
      suite = true;
    } else {
      ligne += morceau;
    }
    premier = false;
  }
  Ligne(ligne, "MS", suite ? "R" : "");
}

void BArbres(const std::string& nom) {
  Session& etat = Etat();
  std::vector<std::vector<std::string>> tables;
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    if (Champ(etat.ba, kNomD) != nom) return;
    tables.push_back({Champ(etat.ba, kNomT), Champ(etat.ba, kNatT), Champ(etat.ba, kLongCle),
                      Champ(etat.ba, kLCle)});
  });
  for (const auto& t : tables) {
    Ligne("B-Arbre  " + std::string(t[1] == "P" ? "Primaire" : "Secondaire") + " : " + t[0] +
              ".dab - No Canal : " + t[0] + "T%",
          "PD");
    Ligne("Longueur de la Clé     : " + Nombre(t[2]), "MS");
    ConstructionCle(t[3]);
  }
}

void Chainages(const std::string& nom) {
  Session& etat = Etat();
  std::vector<std::vector<std::string>> chainages;
  ParcourtCles({etat.chain_fichier, etat.chain_arbre}, [&](const std::string&, int32_t) {
    if (Champ(etat.chain, kChainL) != nom && Champ(etat.chain, kChainE) != nom) return;
    std::vector<std::string> c;
    for (size_t i : {kChainL, kChainE, kPnea, kPnes, kPpe, kPde}) c.push_back(Champ(etat.chain, i));
    chainages.push_back(c);
  });
  for (const auto& c : chainages) {
    Ligne("Chaînage de : " + c[0] + ".dat (" + c[0] + "D%) - Entête : " + c[1] + ".dat (" + c[1] +
              "D%)",
          "PD");
    Ligne("Position Chaînage Arrière : " + Nombre(c[2]) + " - Chaînage Avant  : " + Nombre(c[3]),
          "MS");
    Ligne("Position Premier  Chaîne  : " + Nombre(c[4]) + " - Dernier  Chaîne : " + Nombre(c[5]),
          "MS");
  }
}

// The name of a type by its place in the type list, or "" (and an anomaly) when unknown.
std::string NomType(std::string_view type) {
  static constexpr std::string_view kTypes[] = {"A", "M", "N", "D", "E", "B", "L"};
  static constexpr std::string_view kNoms[] = {"Chaîne",   "Nb Codé", "Nb Chaîne", "Date",
                                               "No Enreg", "Booléen", "Liste"};
  for (size_t i = 0; i < std::size(kTypes); ++i) {
    if (kTypes[i] == type) return std::string(kNoms[i]);
  }
  Etat().Anomalie().Signale("@ " + std::string(type) + " Inconnu", kProcedure);
  return "";
}

void Colonne(std::string_view cle, std::string_view texte) {
  Etat().Edition().EcrCol(cle, texte, "", 0, -1, 0);
}

// The two lines of field i; false when the user cancelled the listing.
bool Rubrique(const TableChamps& t, int32_t i, int32_t debut) {
  SrvEdition& edition = Etat().Edition();
  const std::string type(t.Texte(i, kColType));
  const std::string domaine(text::Left(t.Cellule(i, kColDomaine), 20));
  Colonne("NO", std::to_string(i));
  Colonne("NRUB", t.Texte(i, kColNom));
  Colonne("FORMAT", NomType(type));
  Colonne("FORMINT", std::string(t.Texte(i, kColFormat)) + std::to_string(t.LongueurInterne(i)));
  Colonne("NOMVAR", std::string(text::Left(t.Texte(i, kColVariable), 15)) + "$");
  Colonne("TYPEMOD", t.Texte(i, kColModification));
  Colonne("CODOM", text::TrimRight(domaine).empty() ? "Prédéfini" : domaine);
  Colonne("DEB", std::to_string(debut));
  Colonne("FIN", std::to_string(debut + t.LongueurInterne(i) - 1));
  edition.FinLigne();
  std::string format;
  if (type != "D" && type != "E" && type != "B") {
    format = std::to_string(t.Total(i));
    if (type == "M" || type == "N") format += "." + std::to_string(t.Decimales(i));
  }
  Colonne("NRUB", text::Left(t.Texte(i, kColExemple), 40));
  Colonne("FORMAT", format);
  edition.FinLigne();
  return !EditionAnnulee(Etat());
}

void Rubriques(const std::string& nom) {
  TableChamps t;
  t.ChargeFichier(nom);
  Etat().Edition().DefEdt(kDescripteurSpecifications);
  const std::vector<int32_t> debuts = t.Debuts();
  for (int32_t i = 1; i <= t.Nombre(); ++i) {
    if (!Rubrique(t, i, debuts[size_t(i - 1)])) break;
  }
  Etat().Edition().FermeEdt("[]", true);
}

void Imprime(const std::string& nom) {
  Session& etat = Etat();
  Ligne("Longueur : " + Nombre(etat.fic[kLongEnr]) + " - No Canal : " + nom + "D%", "PD");
  Ligne(etat.fic[kDfe] == "O" ? "Dépendance Par Entreprise" : "Indépendant des Entreprises", "GS");
  BArbres(nom);
  Chainages(nom);
  Rubriques(nom);
}

}  // namespace

void EdtFic(std::string_view nom_fichier, bool seul) {
  Session& etat = Etat();
  const std::string nom(text::TrimRight(nom_fichier));
  etat.fic.Affecte(kNomFic, nom);
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
  if (!trouve) {
    etat.Anomalie().Signale("@ " + nom + " Inexistant ", kProcedure);
    if (seul) etat.Edition().Termine(0);
    return;
  }
  if (!seul) {
    Imprime(nom);
    return;
  }
  try {
    etat.Edition().OuvEdt("EDITION SPECIFICATIONS FICHIER " + nom + ".DAT", "", "", "", "", 0, 0,
                          true, true);
    Imprime(nom);
  } catch (...) {
    try {
      etat.Edition().Termine(0);  // a listing left half-way is abandoned by the service
    } catch (...) {               // the first error is the one reported
    }
    throw;
  }
  etat.Edition().Termine(0);
}

}  // namespace vesk::fic
