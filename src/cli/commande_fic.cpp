// `vesk entfic` (the file specification entry), `vesk entba NOM` and `vesk entchain NOM` (the
// B-tree table entry and the chaining entry of the specified file NOM, as the file
// specification entry starts them), and the listings of the specifications: `vesk edtfic NOM`,
// `vesk edtlfic` and `vesk ficapp`; the B-tree inspection `vesk lectba`.
#include "btree/lect_ba.h"
#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "core/session.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "gencode/etat_gencode.h"
#include "platform/platform.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// Makes the Fic record of the file nom current; an error when the dictionary has no such file.
void ExigeFichier(const Contexte& contexte, Session& etat, const std::string& nom) {
  etat.fic.Affecte(kNomFic, nom);
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, trouve);
  if (!trouve || nom.size() > static_cast<size_t>(etat.fic.Def(kNomFic).largeur)) {
    throw ErreurService(contexte.Options().commande, contexte.Options().arguments.front(),
                        "fichier non spécifié dans le dictionnaire");
  }
}

// Makes the Fic record of the file named on the command line current, then runs the screen.
int EcranDuFichier(Contexte& contexte, void (*ecran)(Session&, int16_t&)) {
  const std::string nom = contexte.NomFichier();
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
  ExigeFichier(contexte, composant->Session(), nom);
  int16_t touche = 0;
  ecran(composant->Session(), touche);
#ifdef VESK_AVEC_PG
  // A migration made from the screen moves the file's table (its view with it): the typed
  // views of a database follow.
  if (EstAdresseBase(contexte.Config().stockage)) {
    RafraichitVues(contexte, composant->Session(), nullptr);
  }
#endif
  composant->Termine();
  return 0;
}

// The code generated from the specification entry (F4), shown in the viewer "Génération de
// Code" by the message service (a line of the transcript with a script).
class AffichageVisionneuse : public AffichageGenCode {
 public:
  explicit AffichageVisionneuse(Session& s) : s_(s) {}
  void Montre(const EtatGenCode&) override {}
  void Termine(const EtatGenCode& etat) override {
    s_.Message().Visionne(etat.Texte(), "Génération de Code");
  }

 private:
  Session& s_;
};

}  // namespace

int CommandeEntFic(Contexte& contexte) {
  std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config());
  InstalleAffichageGenCodeThread(std::make_shared<AffichageVisionneuse>(composant->Session()));
  // A deletion shows the programs recorded in the data folder that it makes stale.
  fic::InstalleProgrammesThread(
      [dossier = platform::JoinPath(contexte.Config().dossier, kDossierProgrammes)] {
        return ProgrammesUtilises(LitRegistre(dossier));
      });
  composant->Ass().EntFic();
  fic::InstalleProgrammesThread(nullptr);
  InstalleAffichageGenCodeThread(nullptr);
#ifdef VESK_AVEC_PG
  // The typed views of a database follow the layouts entered.
  if (EstAdresseBase(contexte.Config().stockage)) {
    RafraichitVues(contexte, composant->Session(), nullptr);
  }
#endif
  composant->Termine();
  return 0;
}

int CommandeEdtFic(Contexte& contexte) {
  const std::string nom = contexte.NomFichier();
  return Edite(
      contexte,
      [&](Composant& c) {
        ExigeFichier(contexte, c.Session(), nom);
        fic::EdtFic(c.Session(), fic::LitDictionnaire(c.Session()), nom, true);
      },
      "Rien n'a été édité.", true);
}

int CommandeEdtLFic(Contexte& contexte) {
  return Edite(
      contexte, [](Composant& c) { c.Ass().EdtLFic(); },
      "Le dictionnaire ne contient aucun fichier : rien à éditer.", true);
}

int CommandeFicApp(Contexte& contexte) {
  return Edite(
      contexte, [](Composant& c) { c.Ass().FicApp(); },
      "Le dictionnaire ne contient aucun fichier : rien à éditer.", true);
}

// `vesk lectba [NOM]`: the tree NOM without any screen, or the one chosen on the screen; the
// exit status is 1 when its check finds a fault.
int CommandeLectBA(Contexte& contexte) {
  const std::vector<std::string>& arguments = contexte.Options().arguments;
  const std::string nom = arguments.empty() ? "" : text::UpperAscii(arguments.front());
  std::optional<btree::Inspection> inspection;
  const int statut = Edite(
      contexte, [&](Composant& c) { inspection = btree::InspecteBArbre(c.Session(), nom); },
      "Aucun B-arbre choisi : rien à éditer.", true);
  if (inspection && !inspection->controle.empty() &&
      inspection->controle != btree::kCorrectLectBA) {
    contexte.Erreurs() << "vesk : B-arbre " << inspection->nom
                       << " endommagé : " << inspection->controle << "\n";
    return 1;
  }
  return statut;
}

int CommandeEntBa(Contexte& contexte) { return EcranDuFichier(contexte, fic::EntBa); }

int CommandeEntChain(Contexte& contexte) { return EcranDuFichier(contexte, fic::EntChain); }

}  // namespace vesk::cli
