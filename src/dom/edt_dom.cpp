// The listing of the definition domains.
#include <string>

#include "core/cycle_saisie.h"
#include "core/portee_edition.h"
#include "dom/dom.h"
#include "srv/text/utf8.h"

namespace vesk::dom {

namespace {

// Puts texte in column cle of the current line.
void Colonne(SrvEdition& edition, std::string_view cle, std::string_view texte) {
  edition.EcrCol(cle, texte, "@", 0, -1, 0);
}

// Prints each line of the definition file nom in the NOMDOM column, one printed line each, and
// closes the file. False when the user cancelled the listing.
bool ImprimeDefinition(Session& etat, const std::string& nom) {
  int16_t handle = 0;
  etat.Donnee().OuvLect(nom, handle);
  bool annule = false;
  try {
    bool fin = false;
    for (etat.Donnee().FinFich(handle, fin); !fin; etat.Donnee().FinFich(handle, fin)) {
      std::string ligne;
      etat.Donnee().LireLigne(handle, ligne);
      Colonne(etat.Edition(), "NOMDOM", ligne);
      etat.Edition().FinLigne();
      annule = EditionAnnulee(etat);
      if (annule) break;
    }
  } catch (...) {
    try {
      etat.Donnee().FermeLect(handle);
    } catch (...) {  // the first error is the one reported
    }
    throw;
  }
  etat.Donnee().FermeLect(handle);
  return !annule;
}

// Prints the current domain: its line, a blank line, its definition (or "Inconnu"), two blank
// lines. False when the user cancelled the listing.
bool ImprimeDomaine(Session& etat) {
  SrvEdition& edition = etat.Edition();
  const std::string fichier = std::string(text::TrimRight(etat.dom[kFdd])) + ".DOM";
  Colonne(edition, "CODOM", etat.dom[kCoDom]);
  Colonne(edition, "NOMDOM", etat.dom[kNomDom]);
  Colonne(edition, "FDD", fichier);
  edition.FinLigne();
  if (EditionAnnulee(etat)) return false;
  edition.Saute(1);
  bool existe = false;
  etat.Donnee().Existe(fichier, existe);
  if (existe) {
    if (!ImprimeDefinition(etat, fichier)) return false;
  } else {
    Colonne(edition, "FDD", "Inconnu");
    edition.FinLigne();
    if (EditionAnnulee(etat)) return false;
  }
  edition.Saute(2);
  return true;
}

// Opens the listing and prints every domain from the first key, already current, until the
// user cancels.
void ImprimeDomaines(Session& etat) {
  SrvEdition& edition = etat.Edition();
  std::string application;
  etat.Ecran().NomApplication(application);
  edition.OuvEdt(kTitreEdition, application.empty() ? "" : "Application " + application, "", "", "",
                 0, 0, true, true);
  edition.DefEdt(kDescripteurEdition);
  if (EditionAnnulee(etat)) return;  // cancelled before the first domain: Termine only
  bool trouve = true;
  std::string cle;
  while (trouve && ImprimeDomaine(etat)) {
    etat.BArbre().SuivCle(etat.dom_arbre, etat.dom_fichier, trouve, cle);
  }
  edition.FermeEdt("[]", true);
}

}  // namespace

void EdtDom(Session& etat) {
  bool trouve = false;
  std::string cle;
  etat.BArbre().PremCle(etat.dom_arbre, etat.dom_fichier, trouve, cle);
  if (!trouve) {
    etat.Edition().Termine(0);
    return;
  }
  PorteeEdition portee(etat, kTitreEdition, true);
  ImprimeDomaines(etat);
  portee.Ferme();
}

}  // namespace vesk::dom
