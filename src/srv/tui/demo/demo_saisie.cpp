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

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage : vesk_tui_demo FICHIER_RESULTAT\n";
    return 2;
  }
  using namespace vesk::tui;
  std::string nom;
  std::string ville;
  int16_t touche = 0;
  try {
    auto console = std::make_shared<Console>(OuvreTerminal());
    SrvSaisieImpl saisie(console);
    SrvEcranImpl ecran(console, "DEMO");
    int16_t retour = 0;
    int16_t debut = 0;
    ecran.ToucheRetour(retour);
    ecran.ToucheDebut(debut);
    saisie.InitEcran(0);
    saisie.Titre("ESSAI DE SAISIE - Ecran Initial");
    saisie.DefChamps("[[NOM,NOM DU CLIENT,A,20],[VILLE,VILLE,A,30]]");
    saisie.Message("B", "Entrée : suivant - Haut : retour - Échap : fin");
    int champ = 0;
    while (champ < 2) {
      if (champ == 0) {
        saisie.Sai("NOM", nom, touche, 0, "[]", "B");
        if (touche == debut || touche == kEchap) break;
        if (touche != retour) champ = 1;
      } else {
        saisie.MessChamp("VILLE", "N", "(ville de livraison)", 0);
        saisie.Sai("VILLE", ville, touche, 0, "[]", "B");
        if (touche == debut || touche == kEchap) break;
        champ = touche == retour ? 0 : 2;
      }
    }
  } catch (const vesk::ErreurService& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
  std::ofstream sortie(argv[1], std::ios::binary);
  sortie << "NOM=" << nom << "\nVILLE=" << ville << "\nTOUCHE=" << NomTouche(touche) << '\n';
  return sortie ? 0 : 1;
}
