// `vesk entfic` (the file specification entry), `vesk entba NOM` and `vesk entchain NOM` (the
// B-tree table entry and the chaining entry of the specified file NOM, as the file
// specification entry starts them).
#include "cli/commandes.h"
#include "cli/composant.h"
#include "core/etat_module.h"
#include "fic/fic.h"
#include "gencode/etat_gencode.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// Makes the Fic record of the file named on the command line current, then runs the screen.
int EcranDuFichier(Contexte& contexte, void (*ecran)(int16_t&)) {
  const OptionsLigne& o = contexte.Options();
  if (o.arguments.size() != 1) {
    throw ErreurService("Ligne de commande", o.commande,
                        "un nom de fichier attendu : vesk " + o.commande + " NOM");
  }
  if (o.sortie) {
    throw ErreurService("Ligne de commande", "--output",
                        o.commande + " est un écran de saisie : il n'écrit aucun résultat");
  }
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  EtatModule& etat = Etat();
  const std::string nom = text::UpperAscii(o.arguments.front());
  etat.fic.Affecte(kNomFic, nom);
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
  if (!trouve || nom.size() > static_cast<size_t>(etat.fic.Def(kNomFic).largeur)) {
    throw ErreurService(o.commande, o.arguments.front(),
                        "fichier non spécifié dans le dictionnaire");
  }
  int16_t touche = 0;
  ecran(touche);
  composant->Termine();
  return 0;
}

// The code generated from the specification entry (F4), shown in the viewer "Génération de
// Code" by the message service (a line of the transcript with a script).
class AffichageVisionneuse : public AffichageGenCode {
 public:
  void Montre(const EtatGenCode&) override {}
  void Termine(const EtatGenCode& etat) override {
    Etat().Message().Visionne(etat.Texte(), "Génération de Code");
  }
};

}  // namespace

int CommandeEntFic(Contexte& contexte) {
  contexte.SansArgument();
  if (contexte.Options().sortie) {
    throw ErreurService("Ligne de commande", "--output",
                        "entfic est un écran de saisie : il n'écrit aucun résultat");
  }
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config());
  InstalleAffichageGenCodeThread(std::make_shared<AffichageVisionneuse>());
  composant->Ass().EntFic();
  InstalleAffichageGenCodeThread(nullptr);
  composant->Termine();
  return 0;
}

int CommandeEntBa(Contexte& contexte) { return EcranDuFichier(contexte, fic::EntBa); }

int CommandeEntChain(Contexte& contexte) { return EcranDuFichier(contexte, fic::EntChain); }

}  // namespace vesk::cli
