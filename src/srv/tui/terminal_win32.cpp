// The Win32 console back end of the terminal interface. It opens the console itself (CONIN$,
// CONOUT$), so that redirected standard handles do not matter, and allocates one for a process
// that has none (a COM client with windows only). The allocated console is shared by the
// terminals open meanwhile, on any thread, and given back with the last of them.
#include <windows.h>

#include <mutex>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/tui/terminal.h"

namespace vesk::tui {

namespace {

WORD AttributsConsole(uint8_t attr) {
  WORD a = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE;
  if (attr & kGras) a |= FOREGROUND_INTENSITY;
  if (attr & kInverse) a = BACKGROUND_RED | BACKGROUND_GREEN | BACKGROUND_BLUE;
  if (attr & kSouligne) a |= COMMON_LVB_UNDERSCORE;
  return a;
}

Touche ToucheVirtuelle(const KEY_EVENT_RECORD& k) {
  bool alt = (k.dwControlKeyState & (LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED)) != 0;
  WORD vk = k.wVirtualKeyCode;
  if (alt && vk >= '1' && vk <= '7') return Touche::De(static_cast<int16_t>(kF1 + (vk - '1')));
  if (vk >= VK_F1 && vk <= VK_F12) return Touche::De(static_cast<int16_t>(kF1 + (vk - VK_F1)));
  switch (vk) {
    case VK_UP:
      return Touche::De(kHaut);
    case VK_DOWN:
      return Touche::De(kBas);
    case VK_LEFT:
      return Touche::De(kGauche);
    case VK_RIGHT:
      return Touche::De(kDroite);
    case VK_PRIOR:
      return Touche::De(kPageHaut);
    case VK_NEXT:
      return Touche::De(kPageBas);
    case VK_HOME:
      return Touche::De(kOrigine);
    case VK_END:
      return Touche::De(kFin);
    case VK_INSERT:
      return Touche::De(kInsertion);
    case VK_DELETE:
      return Touche::De(kSuppr);
    case VK_BACK:
      return Touche::De(kRetourArriere);
    case VK_RETURN:
      return Touche::De(kEntree);
    case VK_ESCAPE:
      return Touche::De(kEchap);
    case VK_TAB:
      return Touche::De((k.dwControlKeyState & SHIFT_PRESSED) ? kTabArriere : kTabulation);
    default:
      return Touche::De(kAucune);
  }
}

HANDLE OuvreConsole(const wchar_t* nom) {
  return CreateFileW(nom, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                     OPEN_EXISTING, 0, nullptr);
}

// The console allocated for a host that had none: it belongs to the host's screens only, so
// its Ctrl+C, Ctrl+Break and close events must not end the host. Windows still ends the
// process after a close event whatever the handler answers: the close button is taken from
// the window's menu instead.
BOOL WINAPI IgnoreEvenement(DWORD evenement) {
  return evenement == CTRL_C_EVENT || evenement == CTRL_BREAK_EVENT || evenement == CTRL_CLOSE_EVENT
             ? TRUE
             : FALSE;
}

std::mutex g_verrou_console;
bool g_console_allouee = false;  // the process's console is the one allocated here
int g_utilisateurs = 0;          // terminals using it

// CONIN$, after allocating a console when the process has none. *utilisateur: the caller
// uses the allocated console, and gives it back with RendConsole (even when the handle is
// invalid).
HANDLE OuvreEntree(bool* utilisateur) {
  std::lock_guard<std::mutex> garde(g_verrou_console);
  HANDLE entree = OuvreConsole(L"CONIN$");
  if (entree == INVALID_HANDLE_VALUE && !g_console_allouee && ::AllocConsole()) {
    g_console_allouee = true;
    ::SetConsoleCtrlHandler(IgnoreEvenement, TRUE);
    if (HWND fenetre = ::GetConsoleWindow()) {
      ::DeleteMenu(::GetSystemMenu(fenetre, FALSE), SC_CLOSE, MF_BYCOMMAND);
    }
    entree = OuvreConsole(L"CONIN$");
  }
  *utilisateur = g_console_allouee;
  if (g_console_allouee) ++g_utilisateurs;
  return entree;
}

// The last user of the allocated console gives it back.
void RendConsole() {
  std::lock_guard<std::mutex> garde(g_verrou_console);
  if (--g_utilisateurs > 0) return;
  ::SetConsoleCtrlHandler(IgnoreEvenement, FALSE);
  ::FreeConsole();
  g_console_allouee = false;
}

class TerminalConsole : public Terminal {
 public:
  TerminalConsole() {
    // The console itself, even when the standard handles are redirected; a process that has
    // none (a COM client with windows only) is given one for the time of the screens.
    entree_ = OuvreEntree(&console_allouee_);
    DWORD mode = 0;
    if (entree_ == INVALID_HANDLE_VALUE || !GetConsoleMode(entree_, &mode)) {
      Libere();
      throw ErreurService("OuvreTerminal", "", "pas de console : écrans interactifs impossibles");
    }
    mode_entree_ = mode;
    ancien_ = OuvreConsole(L"CONOUT$");
    SetConsoleMode(entree_, ENABLE_WINDOW_INPUT | ENABLE_EXTENDED_FLAGS);
    sortie_ = CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                        CONSOLE_TEXTMODE_BUFFER, nullptr);
    if (sortie_ == INVALID_HANDLE_VALUE) {
      SetConsoleMode(entree_, mode_entree_);
      Libere();
      throw ErreurService("OuvreTerminal", "", "impossible de créer l'écran de la console");
    }
    SetConsoleActiveScreenBuffer(sortie_);
  }
  ~TerminalConsole() override {
    if (ancien_ != INVALID_HANDLE_VALUE) SetConsoleActiveScreenBuffer(ancien_);
    CloseHandle(sortie_);
    SetConsoleMode(entree_, mode_entree_);
    Libere();
  }

  Taille Dimensions() override {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(sortie_, &info)) return {};
    return {info.srWindow.Right - info.srWindow.Left + 1,
            info.srWindow.Bottom - info.srWindow.Top + 1};
  }

  void Peint(const Grille& g) override {
    Taille t = Dimensions();
    COORD taille{static_cast<SHORT>(g.Largeur()), static_cast<SHORT>(g.Hauteur())};
    SetConsoleScreenBufferSize(sortie_,
                               COORD{static_cast<SHORT>(t.colonnes), static_cast<SHORT>(t.lignes)});
    std::vector<CHAR_INFO> cellules(static_cast<size_t>(g.Largeur()) * g.Hauteur());
    for (int l = 0; l < g.Hauteur(); ++l) {
      for (int c = 0; c < g.Largeur(); ++c) {
        const Cellule& cell = g.At(l, c);
        CHAR_INFO& ci = cellules[static_cast<size_t>(l) * g.Largeur() + c];
        ci.Char.UnicodeChar = cell.car > 0xFFFF ? L'?' : static_cast<WCHAR>(cell.car);
        ci.Attributes = AttributsConsole(cell.attr);
      }
    }
    SMALL_RECT zone{0, 0, static_cast<SHORT>(g.Largeur() - 1), static_cast<SHORT>(g.Hauteur() - 1)};
    WriteConsoleOutputW(sortie_, cellules.data(), taille, COORD{0, 0}, &zone);
    CONSOLE_CURSOR_INFO curseur{25, g.CurseurVisible() ? TRUE : FALSE};
    SetConsoleCursorInfo(sortie_, &curseur);
    if (g.CurseurVisible()) {
      SetConsoleCursorPosition(sortie_, COORD{static_cast<SHORT>(g.CurseurColonne()),
                                              static_cast<SHORT>(g.CurseurLigne())});
    }
  }

  Touche LitTouche(int attente_ms) override {
    ULONGLONG fin = GetTickCount64() + static_cast<ULONGLONG>(attente_ms < 0 ? 0 : attente_ms);
    for (;;) {
      DWORD delai = INFINITE;
      if (attente_ms >= 0) {
        ULONGLONG maintenant = GetTickCount64();
        delai = maintenant >= fin ? 0 : static_cast<DWORD>(fin - maintenant);
      }
      if (WaitForSingleObject(entree_, delai) != WAIT_OBJECT_0) return Touche::De(kAucune);
      INPUT_RECORD r;
      DWORD lus = 0;
      if (!ReadConsoleInputW(entree_, &r, 1, &lus) || lus == 0) return Touche::De(kAucune);
      if (r.EventType == WINDOW_BUFFER_SIZE_EVENT) return Touche::De(kRedimension);
      if (r.EventType != KEY_EVENT || !r.Event.KeyEvent.bKeyDown) continue;
      Touche t = Interprete(r.Event.KeyEvent);
      if (t.code != kAucune) return t;
    }
  }

 private:
  Touche Interprete(const KEY_EVENT_RECORD& k) {
    Touche t = ToucheVirtuelle(k);
    if (t.code != kAucune) return t;
    char32_t c = k.uChar.UnicodeChar;
    if (c >= 0xD800 && c < 0xDC00) {
      surrogat_ = c;
      return Touche::De(kAucune);
    }
    if (c >= 0xDC00 && c < 0xE000 && surrogat_ != 0) {
      c = 0x10000 + ((surrogat_ - 0xD800) << 10) + (c - 0xDC00);
      surrogat_ = 0;
    }
    if (c == 0) return Touche::De(kAucune);
    if (c < 32) return Touche::De(static_cast<int16_t>(c));
    return Touche::Car(c);
  }

  // Closes the console's handles, and gives back the allocated console this object used.
  void Libere() {
    if (entree_ != INVALID_HANDLE_VALUE) CloseHandle(entree_);
    if (ancien_ != INVALID_HANDLE_VALUE) CloseHandle(ancien_);
    entree_ = ancien_ = INVALID_HANDLE_VALUE;
    if (console_allouee_) RendConsole();
    console_allouee_ = false;
  }

  HANDLE entree_ = INVALID_HANDLE_VALUE;
  HANDLE ancien_ = INVALID_HANDLE_VALUE;
  HANDLE sortie_ = INVALID_HANDLE_VALUE;
  DWORD mode_entree_ = 0;
  bool console_allouee_ = false;
  char32_t surrogat_ = 0;
};

}  // namespace

std::unique_ptr<Terminal> OuvreTerminal() { return std::make_unique<TerminalConsole>(); }

}  // namespace vesk::tui
