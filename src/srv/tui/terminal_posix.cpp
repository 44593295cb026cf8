// The ncursesw back end of the terminal interface (POSIX systems).
#define NCURSES_WIDECHAR 1
#include <curses.h>
#include <langinfo.h>
#include <term.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>

#include "srv/erreur_service.h"
#include "srv/tui/terminal.h"

namespace vesk::tui {

namespace {

attr_t AttributsCurses(uint8_t attr) {
  attr_t a = A_NORMAL;
  if (attr & kGras) a |= A_BOLD;
  if (attr & kInverse) a |= A_REVERSE;
  if (attr & kSouligne) a |= A_UNDERLINE;
  return a;
}

Touche ToucheNommee(wint_t code) {
  if (code >= static_cast<wint_t>(KEY_F(1)) && code <= static_cast<wint_t>(KEY_F(12))) {
    return Touche::De(static_cast<int16_t>(kF1 + (code - KEY_F(1))));
  }
  switch (code) {
    case KEY_UP:
      return Touche::De(kHaut);
    case KEY_DOWN:
      return Touche::De(kBas);
    case KEY_LEFT:
      return Touche::De(kGauche);
    case KEY_RIGHT:
      return Touche::De(kDroite);
    case KEY_PPAGE:
      return Touche::De(kPageHaut);
    case KEY_NPAGE:
      return Touche::De(kPageBas);
    case KEY_HOME:
      return Touche::De(kOrigine);
    case KEY_END:
      return Touche::De(kFin);
    case KEY_IC:
      return Touche::De(kInsertion);
    case KEY_DC:
      return Touche::De(kSuppr);
    case KEY_BACKSPACE:
      return Touche::De(kRetourArriere);
    case KEY_BTAB:
      return Touche::De(kTabArriere);
    case KEY_ENTER:
      return Touche::De(kEntree);
    case KEY_RESIZE:
      return Touche::De(kRedimension);
    default:
      return Touche::De(kAucune);
  }
}

Touche ToucheCaractere(wint_t c) {
  switch (c) {
    case 27:
      return Touche::De(kEchap);
    case 10:
    case 13:
      return Touche::De(kEntree);
    case 9:
      return Touche::De(kTabulation);
    case 8:
    case 127:
      return Touche::De(kRetourArriere);
    default:
      break;
  }
  if (c < 32) return Touche::De(static_cast<int16_t>(c));
  return Touche::Car(static_cast<char32_t>(c));
}

// The screens draw UTF-8 (box lines, arrows, accents): a locale of another character set is
// refused rather than fed bytes it would show as garbage.
void ExigeLocaleUtf8() {
  std::setlocale(LC_ALL, "");
  const std::string jeu = nl_langinfo(CODESET);
  if (jeu == "UTF-8") return;
  const char* locale = std::setlocale(LC_CTYPE, nullptr);
  throw ErreurService("OuvreTerminal", "locale",
                      "jeu de caractères « " + jeu + " » de la locale « " +
                          (locale != nullptr ? locale : "") +
                          " » : les écrans demandent une locale UTF-8 (export LANG=C.UTF-8 par "
                          "exemple)");
}

// A terminal that cannot place the cursor (TERM=dumb) is refused as an unknown one is.
void ExigeAdressage() {
  const char* term = std::getenv("TERM");
  const std::string nom = term != nullptr ? term : "";
  int erreur = 0;
  if (nom.empty() || setupterm(nullptr, STDOUT_FILENO, &erreur) != OK) {
    throw ErreurService("OuvreTerminal", "TERM",
                        "type de terminal « " + nom + " » inconnu : vérifier la variable TERM");
  }
  char cup[] = "cup";
  const char* adresse = tigetstr(cup);
  const bool adressable = adresse != nullptr && adresse != reinterpret_cast<char*>(-1);
  del_curterm(cur_term);
  if (!adressable) {
    throw ErreurService("OuvreTerminal", "TERM",
                        "type de terminal « " + nom +
                            " » sans adressage du curseur : écrans impossibles "
                            "(TERM=xterm-256color par exemple)");
  }
}

class TerminalCurses : public Terminal {
 public:
  TerminalCurses() {
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO)) {
      throw ErreurService("OuvreTerminal", "",
                          "l'entrée ou la sortie standard n'est pas un "
                          "terminal : écrans interactifs impossibles");
    }
    ExigeLocaleUtf8();
    ExigeAdressage();
    ecran_ = newterm(nullptr, stdout, stdin);
    if (ecran_ == nullptr) {
      throw ErreurService("OuvreTerminal", "TERM",
                          "type de terminal inconnu : vérifier la variable TERM");
    }
    set_escdelay(50);
    raw();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
  }
  ~TerminalCurses() override {
    endwin();
    delscreen(ecran_);
  }

  Taille Dimensions() override { return {COLS, LINES}; }

  void Peint(const Grille& g) override {
    bool tout = g.Largeur() != precedente_.Largeur() || g.Hauteur() != precedente_.Hauteur();
    if (tout) clearok(stdscr, TRUE);
    for (int l = 0; l < g.Hauteur() && l < LINES; ++l) {
      for (int c = 0; c < g.Largeur() && c < COLS; ++c) {
        const Cellule& cell = g.At(l, c);
        if (!tout && cell == precedente_.At(l, c)) continue;
        // The bottom-right cell is written through insertion so that the screen does not scroll.
        wchar_t texte[2] = {static_cast<wchar_t>(cell.car), 0};
        cchar_t cc;
        setcchar(&cc, texte, AttributsCurses(cell.attr), 0, nullptr);
        if (l == LINES - 1 && c == COLS - 1) {
          mvins_wch(l, c, &cc);
        } else {
          mvadd_wch(l, c, &cc);
        }
      }
    }
    precedente_ = g;
    curs_set(g.CurseurVisible() ? 1 : 0);
    if (g.CurseurVisible()) move(g.CurseurLigne(), g.CurseurColonne());
    refresh();
  }

  Touche LitTouche(int attente_ms) override {
    timeout(attente_ms < 0 ? -1 : attente_ms);
    wint_t c = 0;
    int r = get_wch(&c);
    if (r == ERR) return Touche::De(kAucune);
    if (r == KEY_CODE_YES) return ToucheNommee(c);
    return ToucheCaractere(c);
  }

 private:
  SCREEN* ecran_ = nullptr;
  Grille precedente_{1, 1};
};

}  // namespace

std::unique_ptr<Terminal> OuvreTerminal() { return std::make_unique<TerminalCurses>(); }

}  // namespace vesk::tui
