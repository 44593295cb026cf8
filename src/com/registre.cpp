// DllRegisterServer and DllUnregisterServer: the class AsS, its ProgID "Vesk.AsS" and its type
// library in the registry (HKEY_CLASSES_ROOT):
//   Vesk.AsS                            "Vesk AsS", CLSID = {CLSID}
//   CLSID\{CLSID}                       "Vesk AsS", InprocServer32 = the DLL's path with
//                                       ThreadingModel = Apartment, ProgID, TypeLib, Version
//   TypeLib\{LIBID}, Interface\{IID}    written by RegisterTypeLib (the marshaller needs them)
// Unregistering removes them all; what is already gone is not an error. A registration that
// fails midway is undone: it reports its first error and leaves no key behind.
#include <windows.h>
// windows.h first
#include <oleauto.h>

#include <string>

#include "com/erreur_com.h"
#include "com/module.h"
#include "vesk_h.h"

namespace vesk::com {

namespace {

constexpr wchar_t kProgId[] = L"Vesk.AsS";
constexpr wchar_t kDescription[] = L"Vesk AsS";

std::wstring Guid(REFGUID guid) {
  wchar_t texte[40] = {};
  ::StringFromGUID2(guid, texte, 40);
  return texte;
}

std::wstring CleClasse() { return L"CLSID\\" + Guid(CLSID_AsS); }

// Writes the string value nom ("" the default value) of key cle under HKEY_CLASSES_ROOT.
HRESULT Ecrit(const std::wstring& cle, const wchar_t* nom, const std::wstring& valeur) {
  HKEY h = nullptr;
  LONG r = ::RegCreateKeyExW(HKEY_CLASSES_ROOT, cle.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &h,
                             nullptr);
  if (r == ERROR_SUCCESS) {
    r = ::RegSetValueExW(h, nom, 0, REG_SZ, reinterpret_cast<const BYTE*>(valeur.c_str()),
                         static_cast<DWORD>((valeur.size() + 1) * sizeof(wchar_t)));
    ::RegCloseKey(h);
  }
  return HRESULT_FROM_WIN32(r);
}

HRESULT Efface(const std::wstring& cle) {
  LONG r = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, cle.c_str());
  if (r == ERROR_SUCCESS || r == ERROR_FILE_NOT_FOUND)
    r = ::RegDeleteKeyW(HKEY_CLASSES_ROOT, cle.c_str());
  return r == ERROR_SUCCESS || r == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(r);
}

HRESULT EnregistreBibliotheque(const std::wstring& chemin) {
  ITypeLib* bibliotheque = nullptr;
  HRESULT hr = ::LoadTypeLibEx(chemin.c_str(), REGKIND_NONE, &bibliotheque);
  if (FAILED(hr)) return hr;
  hr = ::RegisterTypeLib(bibliotheque, const_cast<OLECHAR*>(chemin.c_str()), nullptr);
  bibliotheque->Release();
  return hr;
}

// The answers that say the type library is not registered (any more).
bool BibliothequeAbsente(HRESULT hr) {
  return hr == TYPE_E_LIBNOTREGISTERED || hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ||
         hr == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

// UnRegisterTypeLib answers E_INVALIDARG for a library that is not registered: ask first. Any
// other failure is the caller's.
HRESULT DesenregistreBibliotheque() {
  BSTR chemin = nullptr;
  HRESULT hr = ::QueryPathOfRegTypeLib(LIBID_VeskLib, 1, 0, LOCALE_NEUTRAL, &chemin);
  if (FAILED(hr)) return BibliothequeAbsente(hr) ? S_OK : hr;
  ::SysFreeString(chemin);
  hr = ::UnRegisterTypeLib(LIBID_VeskLib, 1, 0, LOCALE_NEUTRAL, SYS_WIN64);
  return BibliothequeAbsente(hr) ? S_OK : hr;
}

HRESULT Enregistre() {
  const std::wstring chemin = CheminModule();
  if (chemin.empty()) return HRESULT_FROM_WIN32(::GetLastError());
  const std::wstring classe = CleClasse();
  const std::wstring cles[][3] = {
      {kProgId, L"", kDescription},
      {std::wstring(kProgId) + L"\\CLSID", L"", Guid(CLSID_AsS)},
      {classe, L"", kDescription},
      {classe + L"\\InprocServer32", L"", chemin},
      {classe + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {classe + L"\\ProgID", L"", kProgId},
      {classe + L"\\TypeLib", L"", Guid(LIBID_VeskLib)},
      {classe + L"\\Version", L"", L"1.0"},
  };
  for (const auto& c : cles) {
    HRESULT hr = Ecrit(c[0], c[1].empty() ? nullptr : c[1].c_str(), c[2]);
    if (FAILED(hr)) return hr;
  }
  return EnregistreBibliotheque(chemin);
}

HRESULT Desenregistre() {
  HRESULT hr = DesenregistreBibliotheque();
  HRESULT hr_progid = Efface(kProgId);
  HRESULT hr_classe = Efface(CleClasse());
  if (FAILED(hr)) return hr;
  return FAILED(hr_progid) ? hr_progid : hr_classe;
}

}  // namespace

}  // namespace vesk::com

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer() {
  const HRESULT hr = vesk::com::SansException(vesk::com::Enregistre);
  // No half registration: what was written goes, and the first error is the one reported.
  if (FAILED(hr)) vesk::com::SansException(vesk::com::Desenregistre);
  return hr;
}

extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer() {
  return vesk::com::SansException(vesk::com::Desenregistre);
}
