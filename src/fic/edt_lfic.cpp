// The listing of the specified files (each with its company dependence, its B-tree tables and
// its chainings side by side) and the application's listing: that list, then the
// specification of every file in it.
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "fic/fic.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

struct Fichier {
  std::string nom;
  std::string dfe;
};
// One line of a file's B-tree list ([nature, table]) or chaining list ([nature of the file,
// nature of the other, the other]).
using Element = std::vector<std::string>;

std::string Champ(const Enregistrement& e, size_t i) { return std::string(text::Trim(e[i])); }

// The tables and chainings of the dictionary, read once for the whole listing.
struct Liens {
  std::vector<Element> ba;     // [NOMD, NATT, NOMT] in table order
  std::vector<Element> chain;  // [CHAINL, CHAINE] in line-file order

  static Liens Lit() {
    Session& etat = Etat();
    Liens l;
    ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
      l.ba.push_back({Champ(etat.ba, kNomD), Champ(etat.ba, kNatT), Champ(etat.ba, kNomT)});
    });
    ParcourtCles({etat.chain_fichier, etat.chain_arbre}, [&](const std::string&, int32_t) {
      l.chain.push_back({Champ(etat.chain, kChainL), Champ(etat.chain, kChainE)});
    });
    return l;
  }
  std::vector<Element> BArbres(const std::string& nom) const {
    std::vector<Element> liste;
    for (const Element& b : ba) {
      if (b[0] == nom) liste.push_back({b[1], b[2]});
    }
    return liste;
  }
  // A chaining where the file is both the line and the header file shows as its line file.
  std::vector<Element> Chainages(const std::string& nom) const {
    std::vector<Element> liste;
    for (const Element& c : chain) {
      if (c[0] == nom) {
        liste.push_back({"Ligne", "Entête", c[1]});
      } else if (c[1] == nom) {
        liste.push_back({"Entête", "Ligne", c[0]});
      }
    }
    return liste;
  }
};

void Colonne(std::string_view cle, std::string_view texte) {
  Etat().Edition().EcrCol(cle, texte, "@", 0, -1, 0);
}

// The lines of one file: its name and dependence with its first table and first chaining, then
// the others side by side, and a blank line. False when the user cancelled the listing.
bool ImprimeFichier(const Fichier& f, const Liens& liens) {
  SrvEdition& edition = Etat().Edition();
  Colonne("NOMFIC", f.nom);
  Colonne("DFE", f.dfe);
  const std::vector<Element> tables = liens.BArbres(f.nom);
  const std::vector<Element> chainages = liens.Chainages(f.nom);
  for (size_t i = 0; i < std::max(tables.size(), chainages.size()); ++i) {
    if (i < tables.size()) {
      Colonne("NAT", tables[i][0]);
      Colonne("BA", tables[i][1]);
    }
    if (i < chainages.size()) {
      Colonne("NF", chainages[i][0]);
      Colonne("CHN", chainages[i][1]);
      Colonne("CHF", chainages[i][2]);
    }
    edition.FinLigne();
    if (EditionAnnulee(Etat())) return false;
  }
  edition.FinLigne();  // the file's only line when it has neither table nor chaining
  if (EditionAnnulee(Etat())) return false;
  edition.Saute(1);
  return true;
}

// Opens the listing and prints every file; their names are appended to liste.
void ImprimeListe(std::string& liste) {
  Session& etat = Etat();
  SrvEdition& edition = etat.Edition();
  edition.OuvEdt(kTitreLFic, "", "", "", "", 0, 0, true, true);
  edition.DefEdt(kDescripteurLFic);
  if (EditionAnnulee(Etat())) return;
  const Liens liens = Liens::Lit();
  std::vector<Fichier> fichiers;
  ParcourtCles({etat.fic_fichier, etat.fic_arbre}, [&](const std::string&, int32_t) {
    fichiers.push_back({Champ(etat.fic, kNomFic), std::string(etat.fic[kDfe])});
  });
  liste = "[]";
  for (const Fichier& f : fichiers) {
    etat.Liste().Ajoute(liste, f.nom);
    if (!ImprimeFichier(f, liens)) return;
  }
  edition.FermeEdt("[]", true);
}

// The closing call and the title taken down after an error; the error goes on.
void Abandonne() {
  try {
    Etat().Edition().Termine(0);  // the service abandons a listing left half-way
    Etat().Ecran().FinTitreEdition();
  } catch (...) {  // the first error is the one reported
  }
}

}  // namespace

bool EdtLFic(bool termine, std::string& liste) {
  Session& etat = Etat();
  bool trouve = false;
  std::string cle;
  etat.BArbre().PremCle(etat.fic_arbre, etat.fic_fichier, trouve, cle);
  if (!trouve) return false;
  etat.Ecran().TitreEdition(kTitreLFic);
  try {
    ImprimeListe(liste);
    if (termine) etat.Edition().Termine(0);
  } catch (...) {
    Abandonne();
    throw;
  }
  if (termine) etat.Ecran().FinTitreEdition();
  return true;
}

void FicApp() {
  Session& etat = Etat();
  std::string liste = "[]";
  bool ouverte = false;
  try {
    // Its files are not named as those of the list of files it begins with.
    etat.Edition().NomSuivant(kNomFicApp);
    ouverte = EdtLFic(false, liste);
    std::string nom;
    while (liste != "[]" && !EditionAnnulee(Etat())) {
      etat.Liste().Extrait(liste, nom);
      bool trouve = false;
      etat.fic.Affecte(kNomFic, nom);
      etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
      if (!trouve) {
        throw ErreurService("FicApp", nom, "fichier supprimé du dictionnaire pendant l'édition");
      }
      etat.Edition().Signet(nom);  // the PDF's outline: one entry per file, at its first page
      EdtFic(nom, false);
      if (liste != "[]" && !EditionAnnulee(Etat())) etat.Edition().SautPage();
    }
    etat.Edition().Termine(0);
  } catch (...) {
    if (ouverte) Abandonne();
    throw;
  }
  if (ouverte) etat.Ecran().FinTitreEdition();
}

}  // namespace vesk::fic
