// The specification listing of one file: its length and channel, its company dependence, its
// B-tree tables with their keys, its chainings, and the table of its fields.
#include <algorithm>
#include <string>
#include <vector>

#include "core/portee_edition.h"
#include "fic/fic.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::string_view kArial = "Arial";
constexpr std::string_view kProcedure = "EdtFic";
constexpr size_t kLargeurCle = 93;      // a key's construction line is folded past it
constexpr size_t kLargeurDomaine = 20;  // LF10

// A number written with its leading space.
std::string Nombre(int64_t valeur) { return " " + std::to_string(valeur); }

// The listing being made: its session and the dictionary it lists.
struct Listing {
  Session& s;
  const ModeleDictionnaire& m;

  void Ligne(std::string_view texte, std::string_view style, std::string_view options = "") {
    s.Edition().ImprTexte(texte, style, kArial, options);
  }
  void Colonne(std::string_view cle, std::string_view texte) {
    s.Edition().EcrCol(cle, texte, "", 0, -1, 0);
  }
};

// "Construction de la Clé :" and the key's elements, ", " between them; past 93 characters
// the line is printed and the next starts with spaces, under the first element: a continuation
// of the listing service, which in a proportional font starts it at the width they stand for.
void ConstructionCle(Listing& l, const std::string& liste) {
  const std::string debut = "Construction de la Clé : ";
  const std::string marge(text::CountChars(debut), ' ');
  std::string reste = liste, element, ligne = debut;
  bool premier = true, suite = false;
  while (reste != "[]") {
    l.s.Liste().Extrait(reste, element);
    const std::string morceau = (premier ? "" : ", ") + element;
    if (!premier && text::CountChars(ligne) + text::CountChars(morceau) > kLargeurCle) {
      l.Ligne(ligne + ",", "MS", suite ? "R" : "");
      ligne = marge + element;
      suite = true;
    } else {
      ligne += morceau;
    }
    premier = false;
  }
  l.Ligne(ligne, "MS", suite ? "R" : "");
}

void BArbres(Listing& l, const std::string& nom) {
  for (const auto& [table, b] : l.m.TablesDe(nom)) {
    l.Ligne("B-Arbre  " + std::string(b->nature == "P" ? "Primaire" : "Secondaire") + " : " +
                table + ".dab - No Canal : " + table + "T%",
            "PD");
    l.Ligne("Longueur de la Clé     : " + Nombre(b->longueur), "MS");
    ConstructionCle(l, b->cle);
  }
}

void Chainages(Listing& l, const std::string& nom) {
  for (const auto& [ligne, c] : l.m.chainages) {
    if (ligne != nom && c.entete != nom) continue;
    l.Ligne("Chaînage de : " + ligne + ".dat (" + ligne + "D%) - Entête : " + c.entete + ".dat (" +
                c.entete + "D%)",
            "PD");
    l.Ligne("Position Chaînage Arrière : " + Nombre(c.arriere) +
                " - Chaînage Avant  : " + Nombre(c.avant),
            "MS");
    l.Ligne("Position Premier  Chaîne  : " + Nombre(c.premier) +
                " - Dernier  Chaîne : " + Nombre(c.dernier),
            "MS");
  }
}

// The name of a type by its place in the type list, or "" (and an anomaly) when unknown.
std::string NomType(Session& s, std::string_view type) {
  static constexpr std::string_view kTypes[] = {"A", "M", "N", "D", "E", "B", "L"};
  static constexpr std::string_view kNoms[] = {"Chaîne",   "Nb Codé", "Nb Chaîne", "Date",
                                               "No Enreg", "Booléen", "Liste"};
  for (size_t i = 0; i < std::size(kTypes); ++i) {
    if (kTypes[i] == type) return std::string(kNoms[i]);
  }
  s.Anomalie().Signale("@ " + std::string(type) + " Inconnu", kProcedure);
  return "";
}

// The two lines of field number n; false when the user cancelled the listing.
bool ImprimeRubrique(Listing& l, const Rubrique& r, int32_t n) {
  SrvEdition& edition = l.s.Edition();
  const std::string format_interne =
      r.interne.format == ' ' ? "" : std::string(1, r.interne.format);
  // The domain code as the record holds it: 20 characters.
  std::string domaine = r.domaine.value_or("");
  domaine.append(kLargeurDomaine - std::min(kLargeurDomaine, text::CountChars(domaine)), ' ');
  l.Colonne("NO", std::to_string(n));
  l.Colonne("NRUB", r.nom);
  l.Colonne("FORMAT", NomType(l.s, r.type));
  l.Colonne("FORMINT", format_interne + std::to_string(r.interne.longueur));
  l.Colonne("NOMVAR", std::string(text::Left(r.variable, 15)) + "$");
  l.Colonne("TYPEMOD", r.modification.value_or(""));
  l.Colonne("CODOM", text::TrimRight(domaine).empty() ? "Prédéfini" : domaine);
  l.Colonne("DEB", std::to_string(r.position));
  l.Colonne("FIN", std::to_string(r.Fin()));
  edition.FinLigne();
  std::string format;
  if (r.type != "D" && r.type != "E" && r.type != "B") {
    format = std::to_string(r.Total());
    if (r.type == "M" || r.type == "N") format += "." + std::to_string(r.Decimales());
  }
  l.Colonne("NRUB", text::Left(r.exemple.value_or(""), 40));
  l.Colonne("FORMAT", format);
  edition.FinLigne();
  return !EditionAnnulee(l.s);
}

void Rubriques(Listing& l, const Fichier& f) {
  l.s.Edition().DefEdt(kDescripteurSpecifications);
  for (size_t i = 0; i < f.rubriques.size(); ++i) {
    if (!ImprimeRubrique(l, f.rubriques[i], static_cast<int32_t>(i + 1))) break;
  }
  l.s.Edition().FermeEdt("[]", true);
}

void Imprime(Listing& l, const std::string& nom, const Fichier& f) {
  l.Ligne("Longueur : " + Nombre(f.Longueur()) + " - No Canal : " + nom + "D%", "PD");
  l.Ligne(f.entreprise ? "Dépendance Par Entreprise" : "Indépendant des Entreprises", "GS");
  BArbres(l, nom);
  Chainages(l, nom);
  Rubriques(l, f);
}

}  // namespace

void EdtFic(Session& s, const ModeleDictionnaire& m, std::string_view nom_fichier, bool seul) {
  const std::string nom(text::TrimRight(nom_fichier));
  const Fichier* f = m.ChercheFichier(nom);
  Listing l{s, m};
  if (f == nullptr) {
    s.Anomalie().Signale("@ " + nom + " Inexistant ", kProcedure);
    if (seul) s.Edition().Termine(0);
    return;
  }
  if (!seul) {
    Imprime(l, nom, *f);
    return;
  }
  PorteeEdition portee(s, "", true);
  s.Edition().OuvEdt("EDITION SPECIFICATIONS FICHIER " + nom + ".DAT", "", "", "", "", 0, 0, true,
                     true);
  Imprime(l, nom, *f);
  portee.Ferme();
}

}  // namespace vesk::fic
