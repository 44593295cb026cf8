// The DLL's entry points DllMain, DllGetClassObject and DllCanUnloadNow, and the module's counts.
#include "com/module.h"

#include <atomic>

#include "com/fabrique_classe.h"
#include "gencode/feuille_gencode.h"
#include "vesk_h.h"

namespace vesk::com {

namespace {

HINSTANCE g_instance = nullptr;
std::atomic<long> g_objets{0};
std::atomic<long> g_verrous{0};

}  // namespace

HINSTANCE Instance() { return g_instance; }

std::wstring CheminModule() {
  std::wstring chemin(MAX_PATH, L'\0');
  for (;;) {
    DWORD n = ::GetModuleFileNameW(g_instance, chemin.data(), static_cast<DWORD>(chemin.size()));
    if (n == 0) return std::wstring();
    if (n < chemin.size()) {
      chemin.resize(n);
      return chemin;
    }
    chemin.resize(chemin.size() * 2);
  }
}

void AjouteObjet() { ++g_objets; }
void RetireObjet() { --g_objets; }
void Verrouille(bool verrou) {
  if (verrou) {
    ++g_verrous;
  } else {
    --g_verrous;
  }
}

// A form still open has its window procedure in this DLL: unloading it would leave the window
// without code.
bool Dechargeable() { return g_objets == 0 && g_verrous == 0 && FeuillesOuvertes() == 0; }

}  // namespace vesk::com

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD raison, LPVOID) {
  if (raison == DLL_PROCESS_ATTACH) {
    vesk::com::g_instance = instance;
  }
  return TRUE;
}

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** objet) {
  if (objet == nullptr) return E_POINTER;
  *objet = nullptr;
  if (!::IsEqualCLSID(clsid, CLSID_AsS)) return CLASS_E_CLASSNOTAVAILABLE;
  return vesk::com::CreeFabriqueClasse(iid, objet);
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return vesk::com::Dechargeable() ? S_OK : S_FALSE;
}
