#include "cli/menu.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include <cstdio>
#include <iostream>
#include <string>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/list/liste.h"
#include "srv/tui/srv_choix_impl.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kColonnes = "[[G,8,Commande],[G,68,Description]]";
constexpr std::string_view kTitre = "Vesk : Gestion des Fichiers et B-Arbre d'Application";

// The commands offered: the screens and listings of the data folder.
bool DansLeMenu(const Commande& c) {
  for (std::string_view nom : {"entfic", "entdom", "edtdom", "edtfic", "edtlfic", "ficapp",
                               "lectba", "reconsba", "entba", "entchain", "genps", "genpe"}) {
    if (c.nom == nom) return true;
  }
  return false;
}

// A description as the menu shows it: without its part in brackets, which names the command
// line's options, and without the commas or brackets a list text cannot hold in an element.
std::string Element(std::string_view texte) {
  std::string propre(texte.substr(0, texte.find(" (")));
  for (char& c : propre) {
    if (c == ',') c = ';';
    if (c == '[' || c == ']') c = ' ';
  }
  return propre;
}

std::string ListeCommandes() {
  std::vector<std::string> elements;
  for (const Commande& c : Commandes()) {
    if (!DansLeMenu(c)) continue;
    elements.push_back("[" + std::string(c.nom) + "," + Element(c.description) + "]");
  }
  std::vector<std::string_view> vues(elements.begin(), elements.end());
  std::string liste;
  size_t refuse = 0;
  list::Fault faute = list::Build(vues, liste, refuse);
  if (!faute.ok()) throw ErreurService("Menu", elements[refuse], faute.Message());
  return liste;
}

// Lets the user choose; the terminal is given back before the command runs.
const Commande* Choisit(const std::string& liste) {
  bool choisi = false;
  std::string element;
  {
    tui::SrvChoixImpl choix(std::make_shared<tui::Console>(tui::OuvreTerminal()));
    choix.Choix(kColonnes, kTitre, liste, choisi, element);
  }
  if (!choisi) return nullptr;
  std::vector<std::string_view> parties;
  if (!list::Split(element, parties).ok() || parties.empty()) return nullptr;
  return TrouveCommande(parties.front());
}

// Runs the command; one that takes an argument asks for it first ("Nom du fichier : ").
void Lance(const Commande& commande, Contexte& contexte) {
  try {
    OptionsLigne options = contexte.Options();
    options.commande = std::string(commande.nom);
    if (!commande.question.empty()) {
      std::cout << commande.question << " : " << std::flush;
      std::string argument;
      std::getline(std::cin, argument);
      options.arguments = {argument};
    }
    Contexte pour_commande(contexte.Config(), options, contexte.SortieStandard(),
                           contexte.Erreurs());
    commande.execute(pour_commande);
  } catch (const Interruption&) {
    throw;  // Ctrl+C leaves vesk, not only the command
  } catch (const ErreurService& e) {
    contexte.Erreurs() << "vesk : " << e.what() << "\n";
  }
  std::cout << "\nEntrée : retour au menu " << std::flush;
  std::string ligne;
  std::getline(std::cin, ligne);
}

}  // namespace

bool MenuInteractif(const Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
#ifdef _WIN32
  const bool entree_terminal = ::_isatty(::_fileno(stdin)) != 0;
#else
  const bool entree_terminal = ::isatty(STDIN_FILENO) != 0;
#endif
  return !o.sortie && !o.script && entree_terminal && platform::SortieEstTerminal();
}

int MenuTerminal(Contexte& contexte) {
  const std::string liste = ListeCommandes();
  while (const Commande* commande = Choisit(liste)) Lance(*commande, contexte);
  return 0;
}

}  // namespace vesk::cli
