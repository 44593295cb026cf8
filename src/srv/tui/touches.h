// Key codes of the terminal screens: the 16-bit codes that end an entry (SrvEcran gives them to
// the component) and the keys a terminal back end reads. Constants only; safe from any thread.
#ifndef VESK_SRV_TUI_TOUCHES_H_
#define VESK_SRV_TUI_TOUCHES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::tui {

// Codes below 256 other than kCaractere are the ASCII control or Latin-1 codes of the key;
// codes from 256 up are named keys.
enum CodeTouche : int16_t {
  kAucune = 0,     // nothing read (time out)
  kCaractere = 1,  // a printable character, in Touche::caractere
  kInterruption = 3,  // Ctrl+C: the command ends at once (tui::Interruption)
  kRetourArriere = 8,
  kTabulation = 9,
  kEntree = 13,
  kEfface = 21,  // Ctrl+U: clears the field being entered
  kEchap = 27,
  kHaut = 256,
  kBas = 257,
  kGauche = 258,
  kDroite = 259,
  kPageHaut = 260,
  kPageBas = 261,
  kOrigine = 262,  // Home
  kFin = 263,      // End
  kInsertion = 264,
  kSuppr = 265,  // Delete
  kTabArriere = 266,
  kF1 = 271,  // kF1 + n - 1 is Fn, up to F12
  kF12 = 282,
  kRedimension = 300,  // the terminal changed size: redraw
};

// One key read from the terminal.
struct Touche {
  int16_t code = kAucune;
  char32_t caractere = 0;  // when code is kCaractere

  static Touche Car(char32_t c) { return {kCaractere, c}; }
  static Touche De(int16_t code) { return {code, 0}; }
  bool operator==(const Touche&) const = default;
};

// The codes every implementation of SrvEcran gives (terminal and scripted screens alike).
inline constexpr int16_t kToucheRetour = kHaut;
inline constexpr int16_t kToucheDebut = kPageHaut;
inline constexpr int16_t kToucheSuppression = kF1 + 5;
inline constexpr int16_t kToucheConfirmation = kF1 + 5;
inline constexpr int16_t kValeurConfirmation = -1;

// Name of a key code as the script format writes it: "<Enter>", "<Up>", "<F6>"...; for other
// codes "<code 123>".
std::string NomTouche(int16_t code);
// The code of a key name of the script format ("<Enter>", "<Up>", "<PgUp>", "<Esc>", "<F1>" to
// "<F7>"; case ignored); nothing when the name is not one of them.
std::optional<int16_t> CodeDuNom(std::string_view nom);
// Whether code ends a field entry (Enter, Up, Page Up, Esc, F1 to F7).
bool TermineSaisie(int16_t code);
// The lines a movement key moves through a list of tout lines shown page lines at a time: Up
// and Down one, Page Up and Page Down a page, Home and End the whole list; nothing for any
// other key.
std::optional<long> Deplacement(int16_t code, long page, long tout);

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_TOUCHES_H_
