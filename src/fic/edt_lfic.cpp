// The listing of the specified files (each with its company dependence, its B-tree tables and
// its chainings side by side) and the application's listing: that list, then the
// specification of every file in it.
#include <algorithm>
#include <string>
#include <vector>

#include "core/portee_edition.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

// One line of a file's B-tree list ([nature, table]) or chaining list ([nature of the file,
// nature of the other, the other]).
using Element = std::vector<std::string>;

std::vector<Element> BArbres(const ModeleDictionnaire& m, const std::string& nom) {
  std::vector<Element> liste;
  for (const auto& [table, b] : m.TablesDe(nom)) liste.push_back({b->nature, table});
  return liste;
}

// A chaining where the file is both the line and the header file shows as its line file.
std::vector<Element> Chainages(const ModeleDictionnaire& m, const std::string& nom) {
  std::vector<Element> liste;
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne == nom) {
      liste.push_back({"Ligne", "Entête", c.entete});
    } else if (c.entete == nom) {
      liste.push_back({"Entête", "Ligne", ligne});
    }
  }
  return liste;
}

void Colonne(Session& s, std::string_view cle, std::string_view texte) {
  s.Edition().EcrCol(cle, texte, "@", 0, -1, 0);
}

// The lines of one file: its name and dependence with its first table and first chaining, then
// the others side by side, and a blank line. False when the user cancelled the listing.
bool ImprimeFichier(Session& s, const ModeleDictionnaire& m, const std::string& nom,
                    const Fichier& f) {
  SrvEdition& edition = s.Edition();
  Colonne(s, "NOMFIC", nom);
  Colonne(s, "DFE", f.entreprise ? "O" : "N");
  const std::vector<Element> tables = BArbres(m, nom);
  const std::vector<Element> chainages = Chainages(m, nom);
  for (size_t i = 0; i < std::max(tables.size(), chainages.size()); ++i) {
    if (i < tables.size()) {
      Colonne(s, "NAT", tables[i][0]);
      Colonne(s, "BA", tables[i][1]);
    }
    if (i < chainages.size()) {
      Colonne(s, "NF", chainages[i][0]);
      Colonne(s, "CHN", chainages[i][1]);
      Colonne(s, "CHF", chainages[i][2]);
    }
    edition.FinLigne();
    if (EditionAnnulee(s)) return false;
  }
  edition.FinLigne();  // the file's only line when it has neither table nor chaining
  if (EditionAnnulee(s)) return false;
  edition.Saute(1);
  return true;
}

// Opens the listing and prints every file; their names are appended to liste.
void ImprimeListe(Session& s, const ModeleDictionnaire& m, std::string& liste) {
  SrvEdition& edition = s.Edition();
  edition.OuvEdt(kTitreLFic, "", "", "", "", 0, 0, true, true);
  edition.DefEdt(kDescripteurLFic);
  if (EditionAnnulee(s)) return;
  liste = "[]";
  for (const auto& [nom, f] : m.fichiers) {
    s.Liste().Ajoute(liste, nom);
    if (!ImprimeFichier(s, m, nom, f)) return;
  }
  edition.FermeEdt("[]", true);
}

}  // namespace

bool EdtLFic(Session& s, const ModeleDictionnaire& m, bool termine, std::string& liste) {
  if (m.fichiers.empty()) return false;
  PorteeEdition portee(s, kTitreLFic, true);
  ImprimeListe(s, m, liste);
  if (termine) {
    portee.Ferme();
  } else {
    portee.Laisse();
  }
  return true;
}

void FicApp(Session& s) {
  const ModeleDictionnaire m = LitDictionnaire(s);
  // Its files are not named as those of the list of files it begins with.
  s.Edition().NomSuivant(kNomFicApp);
  if (m.fichiers.empty()) {
    s.Edition().Termine(0);
    return;
  }
  PorteeEdition portee(s, kTitreLFic, true);
  std::string liste = "[]";
  ImprimeListe(s, m, liste);
  std::string nom;
  while (liste != "[]" && !EditionAnnulee(s)) {
    s.Liste().Extrait(liste, nom);
    // The dictionary is read once; a file another user deleted since ends the listing.
    bool trouve = false;
    s.fic.Affecte(kNomFic, nom);
    s.BArbre().Recherche(s.fic_arbre, s.fic[kNomFic], s.fic_fichier, trouve);
    if (!trouve) {
      throw ErreurService("FicApp", nom, "fichier supprimé du dictionnaire pendant l'édition");
    }
    s.Edition().Signet(nom);  // the PDF's outline: one entry per file, at its first page
    EdtFic(s, m, nom, false);
    if (liste != "[]" && !EditionAnnulee(s)) s.Edition().SautPage();
  }
  portee.Ferme();
}

}  // namespace vesk::fic
