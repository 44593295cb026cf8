// A small entry screen on the real terminal, for the end-to-end test under tmux: two fields, Enter
// goes on, the back key goes back, the start key or Esc leave. The values and the last key are
// written to the file named by the first argument once the terminal is given back.
#include <fstream>
#include <iostream>
#include <memory>

#include "srv/erreur_service.h"
#include "srv/tui/srv_ecran_impl.h"
#include "srv/tui/srv_saisie_impl.h"
#include "srv/tui/terminal.h"

namespace {

using vesk::tui::Console;
using vesk::tui::kEchap;
using vesk::tui::NomTouche;
using vesk::tui::OuvreTerminal;
using vesk::tui::SrvEcranImpl;
using vesk::tui::SrvSaisieImpl;

struct Resultat {
  std::string nom;
  std::string ville;
  int16_t touche = 0;
};

// The screen: its title, its two fields and the help line.
void Prepare(SrvSaisieImpl& saisie) {
  saisie.InitEcran(0);
  saisie.Titre("ESSAI DE SAISIE - Ecran Initial");
  saisie.DefChamps("[[NOM,NOM DU CLIENT,A,20],[VILLE,VILLE,A,30]]");
  saisie.Message("B", "Entrée : suivant - Haut : retour - Échap : fin");
}

// Enters the two fields in turn until the last is done or the user leaves.
void Saisit(SrvSaisieImpl& saisie, SrvEcranImpl& ecran, Resultat& r) {
  int16_t retour = 0;
  int16_t debut = 0;
  ecran.ToucheRetour(retour);
  ecran.ToucheDebut(debut);
  int champ = 0;
  while (champ < 2) {
    if (champ == 0) {
      saisie.Sai("NOM", r.nom, r.touche, 0, "[]", "B");
    } else {
      saisie.MessChamp("VILLE", "N", "(ville de livraison)", 0);
      saisie.Sai("VILLE", r.ville, r.touche, 0, "[]", "B");
    }
    if (r.touche == debut || r.touche == kEchap) return;
    champ = r.touche == retour ? 0 : champ + 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage : vesk_tui_demo FICHIER_RESULTAT\n";
    return 2;
  }
  Resultat r;
  try {
    auto console = std::make_shared<Console>(OuvreTerminal());
    SrvSaisieImpl saisie(console);
    SrvEcranImpl ecran(console, "DEMO");
    Prepare(saisie);
    Saisit(saisie, ecran, r);
  } catch (const vesk::ErreurService& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
  std::ofstream sortie(argv[1], std::ios::binary);
  sortie << "NOM=" << r.nom << "\nVILLE=" << r.ville << "\nTOUCHE=" << NomTouche(r.touche) << '\n';
  return sortie ? 0 : 1;
}
