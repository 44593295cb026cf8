// The inspection of an open B-tree: the choice among the open B-trees, then the listing of what
// the B-tree service says of the chosen one.
#include "btree/lect_ba.h"

#include <charconv>
#include <string>
#include <vector>

#include "core/arithmetique.h"
#include "core/portee_edition.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::btree {

namespace {

constexpr std::string_view kArial = "Arial";
constexpr std::string_view kProcedure = "LectBA";
constexpr size_t kLargeurTexte = 150;

// A whole number written in a record or a list (spaces around it ignored).
int16_t Nombre(std::string_view texte, std::string_view objet) {
  const std::string_view t = text::Trim(texte);
  int16_t n = 0;
  const auto [fin, erreur] = std::from_chars(t.data(), t.data() + t.size(), n);
  if (erreur != std::errc() || fin != t.data() + t.size()) {
    throw ErreurService("LectBA", objet, "nombre illisible « " + std::string(texte) + " »");
  }
  return n;
}

// A text line in "Arial" "PS"; false when the user cancelled the listing.
bool Ligne(Session& s, std::string_view texte) {
  s.Edition().ImprTexte(texte, "PS", kArial, "");
  return !EditionAnnulee(s);
}

// The nine header values against their labels; false when cancelled.
bool Entete(Session& s, const std::string& valeurs) {
  Session& etat = s;
  SrvEdition& edition = etat.Edition();
  edition.DefEdt(kDescripteurLectBA);
  std::string libelles(kLibellesEntete), reste = valeurs, libelle, valeur;
  while (libelles != "[]") {
    etat.Liste().Extrait(libelles, libelle);
    valeur.clear();
    if (reste != "[]") etat.Liste().Extrait(reste, valeur);
    edition.EcrCol("R", libelle, "@", 0, -1, 0);
    edition.EcrCol("D", valeur, "@", 0, -1, 0);
    edition.FinLigne();
    if (EditionAnnulee(s)) return false;
  }
  edition.FermeEdt("[]", true);
  return true;
}

// The [title, text] pairs of the B-tree service, each text folded; false when cancelled. The
// answer of the tree's check goes to controle.
bool Informations(Session& s, int16_t arbre, std::string& controle) {
  Session& etat = s;
  std::string infos, paire, titre, texte;
  etat.BArbre().InfoBArbre(arbre, infos);
  while (infos != "[]") {
    etat.Liste().Extrait(infos, paire);
    etat.Liste().Element(paire, 1, titre);
    etat.Liste().Element(paire, 2, texte);
    if (titre == kControleLectBA) controle = texte;
    if (!Ligne(s, titre)) return false;
    for (const std::string& morceau : Plie(texte)) {
      if (!Ligne(s, morceau)) return false;
    }
  }
  return true;
}

// The body of the listing of the B-tree arbre; stops at once when the user cancels.
void Corps(Session& s, int16_t arbre, std::string& controle) {
  Session& etat = s;
  std::string entete, noeuds, libres, numero;
  etat.BArbre().DescBArbre(arbre, entete, noeuds, libres);
  if (!Entete(s, entete)) return;
  if (!Ligne(s, std::string(kNoeudsLibres) + noeuds)) return;
  if (!Ligne(s, kEnregistrementsLibres)) return;
  while (libres != "[]") {
    etat.Liste().Extrait(libres, numero);
    if (!Ligne(s, numero)) return;
  }
  Informations(s, arbre, controle);
}

// The listing of the B-tree arbre, closed after a cancellation or an error too; gives the
// answer of its check. Landscape: a piece of 150 characters holds on one line.
std::string Edite(Session& s, int16_t arbre, const std::string& nom) {
  std::string controle;
  PorteeEdition portee(s, "", true);
  s.Edition().OuvEdt("LECTURE DU B-ARBRE " + nom, "", "H", "", "", 0, 0, true, true);
  Corps(s, arbre, controle);
  portee.Ferme();
  return controle;
}

// The element of the open B-tree nom ("[NOM,handle]"), or the user's choice for an empty nom;
// false when nothing was chosen.
bool TrouveArbre(Session& s, const std::string& nom, std::string& element) {
  std::string ouverts, e, n;
  int32_t nombre = 0;
  s.Donnee().ListeOuverts("B", ouverts, nombre);
  if (nom.empty()) {
    bool choisi = false;
    s.Choix().Choix(kColonnesLectBA, kChoixLectBA, ouverts, choisi, element);
    return choisi;
  }
  std::string noms;
  while (ouverts != "[]") {
    s.Liste().Extrait(ouverts, e);
    s.Liste().Element(e, 1, n);
    if (text::EqualNoCase(text::Trim(n), nom)) {
      element = e;
      return true;
    }
    noms += (noms.empty() ? "" : ", ") + std::string(text::Trim(n));
  }
  throw ErreurService(kProcedure, nom, "aucun B-arbre ouvert de ce nom (ouverts : " + noms + ")");
}

}  // namespace

std::vector<std::string> Plie(std::string_view texte) {
  std::vector<std::string> morceaux;
  while (!texte.empty()) {
    size_t coupe = texte.size();
    if (text::CountChars(texte) > kLargeurTexte) {
      const std::string_view debut = text::Left(texte, kLargeurTexte);
      const size_t barre = debut.rfind('|');
      coupe = barre == std::string_view::npos ? debut.size() : barre + 1;
    }
    morceaux.emplace_back(texte.substr(0, coupe));
    texte.remove_prefix(coupe);
  }
  return morceaux;
}

void OuvreTablesApplication(Session& s) {
  const fic::ModeleDictionnaire m = fic::LitDictionnaire(s);
  for (const auto& [table, b] : m.barbres) {
    const fic::Fichier* f = m.ChercheFichier(b.fichier);
    const bool dependance = f != nullptr && f->entreprise;
    try {
      bool existe = false;
      s.BArbre().Existe(dependance, table, existe);
      if (!existe) continue;
      int16_t arbre = 0;
      s.BArbre().B_Arbre(dependance, table, Convertit<int16_t>(b.longueur), b.nature, arbre,
                         b.fichier, false);
    } catch (const ErreurService& e) {
      s.Anomalie().Signale("@ Table " + table + " : " + e.what(), kProcedure);
    }
  }
}

std::optional<Inspection> InspecteBArbre(Session& s, const std::string& nom) {
  PorteeEdition portee(s, kTitreLectBA, false);  // the screen's title; the listing is Edite's
  OuvreTablesApplication(s);
  std::optional<Inspection> inspection;
  std::string element, nom_arbre, numero;
  if (TrouveArbre(s, nom, element)) {
    s.Liste().Element(element, 1, nom_arbre);
    s.Liste().Element(element, 2, numero);
    s.Ecran().TitreEdition(std::string(kLectureLectBA) + nom_arbre);
    inspection = Inspection{nom_arbre, Edite(s, Nombre(numero, nom_arbre), nom_arbre)};
  }
  portee.Ferme();
  return inspection;
}

void LectBA(Session& s) { InspecteBArbre(s, ""); }

}  // namespace vesk::btree
