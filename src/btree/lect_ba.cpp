// The inspection of an open B-tree: the choice among the open B-trees, then the listing of what
// the B-tree service says of the chosen one.
#include "btree/lect_ba.h"

#include <charconv>
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::btree {

namespace {

constexpr std::string_view kArial = "Arial";
constexpr std::string_view kProcedure = "LectBA";
constexpr size_t kLargeurTexte = 150;

std::string Champ(const Enregistrement& e, size_t i) { return std::string(text::Trim(e[i])); }

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
bool Ligne(std::string_view texte) {
  Etat().Edition().ImprTexte(texte, "PS", kArial, "");
  return !EditionAnnulee(Etat());
}

// The nine header values against their labels; false when cancelled.
bool Entete(const std::string& valeurs) {
  Session& etat = Etat();
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
    if (EditionAnnulee(Etat())) return false;
  }
  edition.FermeEdt("[]", true);
  return true;
}

// The [title, text] pairs of the B-tree service, each text folded; false when cancelled. The
// answer of the tree's check goes to controle.
bool Informations(int16_t arbre, std::string& controle) {
  Session& etat = Etat();
  std::string infos, paire, titre, texte;
  etat.BArbre().InfoBArbre(arbre, infos);
  while (infos != "[]") {
    etat.Liste().Extrait(infos, paire);
    etat.Liste().Element(paire, 1, titre);
    etat.Liste().Element(paire, 2, texte);
    if (titre == kControleLectBA) controle = texte;
    if (!Ligne(titre)) return false;
    for (const std::string& morceau : Plie(texte)) {
      if (!Ligne(morceau)) return false;
    }
  }
  return true;
}

// The body of the listing of the B-tree arbre; stops at once when the user cancels.
void Corps(int16_t arbre, std::string& controle) {
  Session& etat = Etat();
  std::string entete, noeuds, libres, numero;
  etat.BArbre().DescBArbre(arbre, entete, noeuds, libres);
  if (!Entete(entete)) return;
  if (!Ligne(std::string(kNoeudsLibres) + noeuds)) return;
  if (!Ligne(kEnregistrementsLibres)) return;
  while (libres != "[]") {
    etat.Liste().Extrait(libres, numero);
    if (!Ligne(numero)) return;
  }
  Informations(arbre, controle);
}

// The listing of the B-tree arbre, closed after a cancellation or an error too; gives the
// answer of its check. Landscape: a piece of 150 characters holds on one line.
std::string Edite(int16_t arbre, const std::string& nom) {
  Session& etat = Etat();
  std::string controle;
  try {
    etat.Edition().OuvEdt("LECTURE DU B-ARBRE " + nom, "", "H", "", "", 0, 0, true, true);
    Corps(arbre, controle);
  } catch (...) {
    try {
      etat.Edition().Termine(0);  // the service abandons a listing left half-way
    } catch (...) {               // the first error is the one reported
    }
    throw;
  }
  etat.Edition().Termine(0);
  return controle;
}

// The element of the open B-tree nom ("[NOM,handle]"), or the user's choice for an empty nom;
// false when nothing was chosen.
bool TrouveArbre(const std::string& nom, std::string& element) {
  Session& etat = Etat();
  std::string ouverts, e, n;
  int32_t nombre = 0;
  etat.Donnee().ListeOuverts("B", ouverts, nombre);
  if (nom.empty()) {
    bool choisi = false;
    etat.Choix().Choix(kColonnesLectBA, kChoixLectBA, ouverts, choisi, element);
    return choisi;
  }
  std::string noms;
  while (ouverts != "[]") {
    etat.Liste().Extrait(ouverts, e);
    etat.Liste().Element(e, 1, n);
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

void OuvreTablesApplication() {
  Session& etat = Etat();
  std::vector<std::vector<std::string>> tables;
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    tables.push_back({Champ(etat.ba, kNomT), Champ(etat.ba, kNomD), Champ(etat.ba, kNatT),
                      Champ(etat.ba, kLongCle)});
  });
  for (const auto& t : tables) {
    bool trouve = false;
    etat.fic.Affecte(kNomFic, t[1]);
    etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
    const bool dependance = trouve && text::Trim(etat.fic[kDfe]) == "O";
    try {
      bool existe = false;
      etat.BArbre().Existe(dependance, t[0], existe);
      if (!existe) continue;
      int16_t arbre = 0;
      etat.BArbre().B_Arbre(dependance, t[0], Nombre(t[3], t[0]), t[2], arbre, t[1], false);
    } catch (const ErreurService& e) {
      etat.Anomalie().Signale("@ Table " + t[0] + " : " + e.what(), kProcedure);
    }
  }
}

std::optional<Inspection> InspecteBArbre(const std::string& nom) {
  Session& etat = Etat();
  etat.Ecran().TitreEdition(kTitreLectBA);
  std::optional<Inspection> inspection;
  try {
    OuvreTablesApplication();
    std::string element, nom_arbre, numero;
    if (TrouveArbre(nom, element)) {
      etat.Liste().Element(element, 1, nom_arbre);
      etat.Liste().Element(element, 2, numero);
      etat.Ecran().TitreEdition(std::string(kLectureLectBA) + nom_arbre);
      inspection = Inspection{nom_arbre, Edite(Nombre(numero, nom_arbre), nom_arbre)};
    }
  } catch (...) {
    try {
      etat.Ecran().FinTitreEdition();
    } catch (...) {  // the first error is the one reported
    }
    throw;
  }
  etat.Ecran().FinTitreEdition();
  return inspection;
}

void LectBA() { InspecteBArbre(""); }

}  // namespace vesk::btree
