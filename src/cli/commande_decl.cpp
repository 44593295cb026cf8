// `vesk decl NOM`: the declarations of the data file NOM (the routine that opens it and its
// B-trees, the record read and write routines, the Public line), shown in the viewer "Génération
// de Code" in a terminal, otherwise written to the output in the chosen encoding and line ends.
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "gencode/declaration.h"
#include "gencode/etat_gencode.h"
#include "gencode/fichier_genere.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/tui/visionneuse.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kTitreVisionneuse = "Génération de Code";

void NoteApplication(Contexte& contexte) {
  if (!contexte.Config().application.empty()) return;
  contexte.Erreurs() << "vesk : note : le dossier ne nomme pas son application, la routine "
                        "d'ouverture n'en porte aucun nom (vesk config --set application=NOM)\n";
}

}  // namespace

std::string ConvertitCode(std::string texte, Encodage encodage, FinDeLigne fin) {
  if (fin == FinDeLigne::kLf) {
    std::string lf;
    lf.reserve(texte.size());
    for (size_t i = 0; i < texte.size(); ++i) {
      if (texte[i] == '\r' && i + 1 < texte.size() && texte[i + 1] == '\n') continue;
      lf += texte[i];
    }
    texte = std::move(lf);
  }
  if (encodage == Encodage::kCp1252) {
    texte = text::EncodeCp1252OrThrow(texte, "Génération de Code", "--encoding cp1252");
  }
  return texte;
}

int SortieCode(Contexte& contexte, std::string texte, size_t anomalies) {
  const OptionsLigne& o = contexte.Options();
  if (!o.sortie && platform::SortieEstTerminal()) {
    tui::Console console(tui::OuvreTerminal());
    tui::MontreTexte(console, kTitreVisionneuse, texte);
  } else {
    contexte.Sortie() << ConvertitCode(std::move(texte), o.encodage, o.fin_de_ligne);
  }
  if (anomalies > 0) {
    contexte.Erreurs() << "vesk : " << anomalies
                       << " anomalie(s) signalée(s) pendant la génération\n";
    return 1;
  }
  return 0;
}

int CommandeDecl(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.dossier_programmes) {
    const std::string f = contexte.NomFichier();
    const int statut = GenereDansDossier(contexte, {.nom = "Decl" + f,
                                                    .generateur = "decl",
                                                    .fichier = f,
                                                    .encodage = o.encodage,
                                                    .fin_de_ligne = o.fin_de_ligne});
    NoteApplication(contexte);
    return statut;
  }
  std::string texte;
  size_t anomalies = 0;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    // The generator itself reports an unknown file and goes on; the command refuses it first.
    if (!ChercheFichier(composant->Session(), o.arguments.front())) {
      throw ErreurService("Déclarations", NomFichier(o.arguments.front()),
                          "fichier non spécifié dans le dictionnaire");
    }
    DeclarationFichier(composant->Session(), o.arguments.front());
    texte = composant->Session().Gen().Texte();
    anomalies = composant->Session().Gen().Anomalies().size();
    composant->Termine();
  }
  NoteApplication(contexte);
  return SortieCode(contexte, std::move(texte), anomalies);
}

}  // namespace vesk::cli
