#include <windows.h>

#include "gencode/feuille_gencode.h"
// windows.h first
#include <richedit.h>

#include <atomic>
#include <cwchar>
#include <mutex>
#include <string>

#include "core/etat_module.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk {

namespace {

constexpr wchar_t kClasse[] = L"VeskFeuilleGenCode";
constexpr wchar_t kTitre[] = L"Génération de Code";
constexpr wchar_t kPolice[] = L"Fixedsys";
constexpr LONG kTaillePolice = 9 * 20;  // 9 points, in twips
constexpr WORD kGraisse = 400;
constexpr int kLargeur = 820, kHauteur = 600;

std::atomic<int> g_ouvertes{0};

// The module holding this code (the DLL, or the program it is linked into).
HINSTANCE Module() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&Module), &module);
  return module;
}

// code: GetLastError() taken right after the failing call, before any cleanup.
[[noreturn]] void Echec(std::string_view quoi, DWORD code) {
  throw ErreurService("InitGenCode", "Génération de Code",
                      std::string(quoi) + " (erreur Windows " + std::to_string(code) + ")");
}

// The rich-edit control's window class, its library loaded once (and kept).
const wchar_t* ClasseRichEdit() {
  static const wchar_t* classe = [] {
    if (::LoadLibraryW(L"Msftedit.dll") != nullptr) return MSFTEDIT_CLASS;
    return ::LoadLibraryW(L"Riched20.dll") != nullptr ? RICHEDIT_CLASSW : L"";
  }();
  return classe;
}

// The form of one thread.
struct Feuille {
  HWND fenetre = nullptr;
  HWND gencode = nullptr;
  ~Feuille() {
    HWND h = fenetre;
    fenetre = gencode = nullptr;  // the window procedure then leaves this object alone
    if (h != nullptr) ::DestroyWindow(h);
  }
};

platform::ParThread<Feuille>& Feuilles() {
  static platform::ParThread<Feuille> feuilles;
  return feuilles;
}

// Resizing: the control takes the form's inner height, then its inner width.
void Redimensionne(HWND fenetre) {
  Feuille* f = Feuilles().Pointeur();
  if (f == nullptr || f->fenetre != fenetre || f->gencode == nullptr) return;
  RECT interieur{}, controle{};
  ::GetClientRect(fenetre, &interieur);
  ::GetWindowRect(f->gencode, &controle);
  const UINT garde = SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE;
  ::SetWindowPos(f->gencode, nullptr, 0, 0, controle.right - controle.left, interieur.bottom,
                 garde);
  ::SetWindowPos(f->gencode, nullptr, 0, 0, interieur.right, interieur.bottom, garde);
}

LRESULT CALLBACK Procedure(HWND fenetre, UINT message, WPARAM w, LPARAM l) {
  switch (message) {
    case WM_SIZE:
      Redimensionne(fenetre);
      return 0;
    case WM_NCDESTROY: {
      Feuille* f = Feuilles().Pointeur();
      if (f != nullptr && f->fenetre == fenetre) *f = Feuille{};
      --g_ouvertes;
      break;
    }
    default:
      break;
  }
  return ::DefWindowProcW(fenetre, message, w, l);
}

// The form's window class, registered by the first form of the process and kept. A class is
// known by its name and module: the DLL loaded again at the same address finds its class
// still registered, with the same procedure, so ERROR_CLASS_ALREADY_EXISTS is no failure.
void EnregistreClasse() {
  static std::once_flag une_fois;
  std::call_once(une_fois, [] {
    WNDCLASSEXW classe{};
    classe.cbSize = sizeof(classe);
    classe.lpfnWndProc = Procedure;
    classe.hInstance = Module();
    classe.hCursor = ::LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    classe.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    classe.lpszClassName = kClasse;
    if (::RegisterClassExW(&classe) == 0) {
      const DWORD code = ::GetLastError();
      if (code != ERROR_CLASS_ALREADY_EXISTS) Echec("classe de fenêtre refusée", code);
    }
  });
}

void CreeFenetre(Feuille& f) {
  EnregistreClasse();
  // Without an owner: the form lives beside the host's windows.
  f.fenetre =
      ::CreateWindowExW(0, kClasse, kTitre, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                        kLargeur, kHauteur, nullptr, nullptr, Module(), nullptr);
  if (f.fenetre == nullptr) Echec("impossible de créer la fenêtre", ::GetLastError());
  ++g_ouvertes;
}

// Fixedsys 9 pt, weight 400, no italic, underline or strike-through, for the text (SCF_ALL)
// or for what is typed next (SCF_DEFAULT).
void MetPolice(HWND gencode, WPARAM portee) {
  CHARFORMAT2W format{};
  format.cbSize = sizeof(format);
  format.dwMask =
      CFM_FACE | CFM_SIZE | CFM_WEIGHT | CFM_BOLD | CFM_ITALIC | CFM_UNDERLINE | CFM_STRIKEOUT;
  format.yHeight = kTaillePolice;
  format.wWeight = kGraisse;
  std::wcsncpy(format.szFaceName, kPolice, LF_FACESIZE - 1);
  ::SendMessageW(gencode, EM_SETCHARFORMAT, portee, reinterpret_cast<LPARAM>(&format));
}

void CreeControle(Feuille& f) {
  RECT interieur{};
  ::GetClientRect(f.fenetre, &interieur);
  f.gencode = ::CreateWindowExW(0, ClasseRichEdit(), L"",
                                WS_CHILD | WS_VISIBLE | WS_VSCROLL | WS_HSCROLL | ES_MULTILINE |
                                    ES_AUTOVSCROLL | ES_AUTOHSCROLL | ES_NOHIDESEL,
                                0, 0, interieur.right, interieur.bottom, f.fenetre, nullptr,
                                Module(), nullptr);
  if (f.gencode == nullptr) {
    const DWORD code = ::GetLastError();
    ::DestroyWindow(f.fenetre);
    Echec("impossible de créer le contrôle d'édition riche GenCode", code);
  }
  ::SendMessageW(f.gencode, EM_EXLIMITTEXT, 0, 0x7FFFFFFE);
  MetPolice(f.gencode, SCF_DEFAULT);
}

// The thread's form, created on first use (and after the user closed it).
Feuille& FeuilleDuThread() {
  Feuille* f = Feuilles().Pointeur();
  if (f == nullptr) {
    Feuilles().Remplace(std::make_unique<Feuille>());
    f = Feuilles().Pointeur();
  }
  if (f->fenetre == nullptr) {
    CreeFenetre(*f);
    CreeControle(*f);
  }
  return *f;
}

// Puts the generated text in the thread's form, if it has one (none, or closed meanwhile).
void MetTexte(const EtatGenCode& etat) {
  Feuille* f = Feuilles().Pointeur();
  if (f == nullptr || f->gencode == nullptr) return;
  ::SetWindowTextW(f->gencode, platform::Large(etat.Texte()).c_str());
  MetPolice(f->gencode, SCF_ALL);
  ::UpdateWindow(f->fenetre);
}

class AffichageFeuille : public AffichageGenCode {
 public:
  void Montre(const EtatGenCode&) override {
    Feuille& f = FeuilleDuThread();
    ::ShowWindow(f.fenetre, SW_SHOWNORMAL);  // modeless
    ::SetWindowTextW(f.gencode, L"");
  }
  void Termine(const EtatGenCode& etat) override { MetTexte(etat); }
};

}  // namespace

void MontreTexteGenere() { MetTexte(EtatGen()); }

std::shared_ptr<AffichageGenCode> FeuilleGenCode() { return std::make_shared<AffichageFeuille>(); }

int FeuillesOuvertes() { return g_ouvertes; }

}  // namespace vesk
