// The COM server from a real client, early-bound through the header generated from vesk.idl.
// Run by scripts/test-com.sh under Wine once regsvr32 has registered vesk.dll. Each test works
// in its own data folder, named by VESK_DATA, whose vesk.ini gives the script that answers the
// screens; the demo folder that vesk.exe made is named by VESK_COM_DEMO.
#include <windows.h>
// windows.h first
#include <gtest/gtest.h>
#include <oleauto.h>
#include <richedit.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "vesk_h.h"

namespace {

namespace fs = std::filesystem;

// The HRESULT of the component's errors (docs/com.md).
constexpr HRESULT kErreurVesk = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x0201);

std::string Lit(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

// The description of the thread's error object (UTF-8), "" when there is none.
std::string MessageErreur() {
  IErrorInfo* erreur = nullptr;
  if (::GetErrorInfo(0, &erreur) != S_OK || erreur == nullptr) return "";
  BSTR description = nullptr;
  erreur->GetDescription(&description);
  erreur->Release();
  std::wstring d = description != nullptr ? description : L"";
  ::SysFreeString(description);
  const int n = ::WideCharToMultiByte(CP_UTF8, 0, d.data(), static_cast<int>(d.size()), nullptr, 0,
                                      nullptr, nullptr);
  std::string texte(static_cast<size_t>(n), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, d.data(), static_cast<int>(d.size()), texte.data(), n, nullptr,
                        nullptr);
  return texte;
}

HRESULT DechargeableMaintenant() {
  HMODULE dll = ::GetModuleHandleW(L"vesk.dll");
  if (dll == nullptr) return E_FAIL;
  auto peut = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
      reinterpret_cast<void*>(::GetProcAddress(dll, "DllCanUnloadNow")));
  return peut != nullptr ? peut() : E_FAIL;
}

class ClientCom : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    dossier_ = fs::temp_directory_path() /
               ("vesk-com-" + std::to_string(::GetCurrentProcessId()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dossier_);
    fs::create_directories(dossier_);
  }
  void TearDown() override {
    ::CoUninitialize();
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }

  // Makes dossier the data folder, its screens answered by script.
  static void Prepare(const fs::path& dossier, const std::string& script) {
    std::ofstream(dossier / "vesk.ini", std::ios::binary) << "script = ecrans.txt\nsynchro = off\n";
    std::ofstream(dossier / "ecrans.txt", std::ios::binary) << script;
    ::SetEnvironmentVariableW(L"VESK_DATA", dossier.wstring().c_str());
  }

  // A new AsS, created by its ProgID.
  static IAsS* Cree() {
    CLSID clsid{};
    EXPECT_EQ(::CLSIDFromProgID(L"Vesk.AsS", &clsid), S_OK);
    IAsS* ass = nullptr;
    EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAsS,
                                 reinterpret_cast<void**>(&ass)),
              S_OK);
    return ass;
  }

  // The text of the only listing written into the folder's EDITIONS.
  static std::string Listing(const fs::path& dossier) {
    std::string texte;
    int n = 0;
    for (const auto& e : fs::directory_iterator(dossier / "EDITIONS")) {
      texte = Lit(e.path());
      ++n;
    }
    EXPECT_EQ(n, 1);
    return texte;
  }

  fs::path dossier_;
};

bool Contient(const std::string& texte, const std::string& motif) {
  return texte.find(motif) != std::string::npos;
}

TEST_F(ClientCom, DomainsEnteredThroughComAreInTheListing) {
  Prepare(dossier_,
          "CODOM = TVA\nNOMDOM = Taux de TVA\nFDD = TVA\n"
          "CODOM = PAYS\nNOMDOM = Pays du client\nFDD = PAYS\nCODOM =\n");
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  IAsS* meme = nullptr;
  ASSERT_EQ(ass->InstanceAsS(&meme), S_OK);
  EXPECT_EQ(meme, ass);  // a new reference to the object itself
  meme->Release();
  EXPECT_EQ(ass->ModifEntParam(12), S_OK);
  ASSERT_EQ(ass->OuvS(), S_OK);
  ASSERT_EQ(ass->EntDom(), S_OK) << MessageErreur();
  ASSERT_EQ(ass->EdtDom(), S_OK) << MessageErreur();
  const std::string listing = Listing(dossier_);
  EXPECT_TRUE(Contient(listing, "TVA")) << listing;
  EXPECT_TRUE(Contient(listing, "Taux de TVA")) << listing;
  EXPECT_TRUE(Contient(listing, "Pays du client")) << listing;
  // The record methods from a client: a record read by number, one past the end refused.
  LONG e = 2;
  EXPECT_EQ(ass->LireDom(&e), S_OK) << MessageErreur();
  EXPECT_EQ(e, 2);
  e = 3;
  EXPECT_EQ(ass->LireDom(&e), kErreurVesk);
  EXPECT_TRUE(Contient(MessageErreur(), "DOM.DAT")) << MessageErreur();
  EXPECT_EQ(ass->LireDom(nullptr), E_POINTER);
  EXPECT_EQ(ass->Util(), S_OK);
  EXPECT_EQ(DechargeableMaintenant(), S_FALSE);  // an object lives
  ass->Release();
  EXPECT_EQ(DechargeableMaintenant(), S_OK);
}

TEST_F(ClientCom, AFolderThatDoesNotExistFailsWithItsNameInTheErrorObject) {
  const fs::path absent = dossier_ / "absent";
  ::SetEnvironmentVariableW(L"VESK_DATA", absent.wstring().c_str());
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  ISupportErrorInfo* support = nullptr;
  ASSERT_EQ(ass->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IAsS), S_OK);
  support->Release();
  EXPECT_EQ(ass->OuvS(), kErreurVesk);
  const std::string message = MessageErreur();
  EXPECT_TRUE(Contient(message, absent.string())) << message;
  EXPECT_TRUE(Contient(message, "dossier introuvable (variable VESK_DATA)")) << message;
  // The failure left nothing behind: a call that succeeds clears the error object.
  EXPECT_EQ(ass->Util(), S_OK);
  EXPECT_EQ(MessageErreur(), "");
  ass->Release();
  EXPECT_EQ(DechargeableMaintenant(), S_OK);
}

TEST_F(ClientCom, EntFicThroughAScript) {
  Prepare(dossier_,
          "NOMFIC = ARTIC\nDFE = N\nLONGENR\n"
          "LF1 = CODE\nLF2 = A\nLF3 = 8\nLF5 = ACODE\nLF6\nLF10\nLF7\n"
          "LF1 = LIBELLE\nLF2 = A\nLF3 = 30\nLF5 = ALIB\nLF6\nLF10\nLF7\n"
          "LF1 =\nLONGENR\nNOMFIC <Esc>\n");
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  ASSERT_EQ(ass->OuvS(), S_OK) << MessageErreur();
  ASSERT_EQ(ass->EntFic(), S_OK) << MessageErreur();
  ASSERT_EQ(ass->EdtLFic(), S_OK) << MessageErreur();
  const std::string listing = Listing(dossier_);
  EXPECT_TRUE(Contient(listing, "| ARTIC ")) << listing;
  ass->Release();
}

// A record method called before OuvS makes the thread's state; the release of the thread's
// last object drops it, so that the next OuvS reads the configuration again.
TEST_F(ClientCom, TheLastReleaseForgetsAStateMadeBeforeOuvS) {
  const fs::path premier = dossier_ / "premier", second = dossier_ / "second";
  fs::create_directories(premier);
  fs::create_directories(second);
  Prepare(premier, "");
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  LONG e = 1;
  EXPECT_NE(ass->LireDom(&e), S_OK);  // no file open yet
  ass->Release();
  Prepare(second, "");
  ass = Cree();
  ASSERT_NE(ass, nullptr);
  ASSERT_EQ(ass->OuvS(), S_OK) << MessageErreur();
  ass->Release();
  EXPECT_TRUE(fs::exists(second / "DOM.DAT"));
  EXPECT_FALSE(fs::exists(premier / "DOM.DAT"));
}

// Each apartment thread has its own module state: another thread opens another folder.
TEST_F(ClientCom, ThreadsHaveTheirOwnFolders) {
  Prepare(dossier_, "CODOM = TVA\nNOMDOM = Taux\nFDD = TVA\nCODOM =\n");
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  ASSERT_EQ(ass->OuvS(), S_OK) << MessageErreur();
  ASSERT_EQ(ass->EntDom(), S_OK) << MessageErreur();
  const fs::path autre = dossier_ / "autre";
  fs::create_directories(autre);
  std::thread fil([&] {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    Prepare(autre, "CODOM = ZONE\nNOMDOM = Zone\nFDD = ZONE\nCODOM =\n");
    IAsS* second = Cree();
    if (second == nullptr) {
      ADD_FAILURE() << "pas d'objet AsS sur le second thread";
      ::CoUninitialize();
      return;
    }
    EXPECT_EQ(second->OuvS(), S_OK) << MessageErreur();
    EXPECT_EQ(second->EntDom(), S_OK) << MessageErreur();
    EXPECT_EQ(second->EdtDom(), S_OK) << MessageErreur();
    second->Release();
    ::CoUninitialize();
  });
  fil.join();
  ASSERT_EQ(ass->EdtDom(), S_OK) << MessageErreur();
  const std::string ici = Listing(dossier_), la = Listing(autre);
  EXPECT_TRUE(Contient(ici, "| TVA ") && !Contient(ici, "| ZONE ")) << ici;
  EXPECT_TRUE(Contient(la, "| ZONE ") && !Contient(la, "| TVA ")) << la;
  ass->Release();
}

// The handle of the thread's form "Génération de Code" and of its control.
HWND Feuille(HWND* controle) {
  HWND f = ::FindWindowW(L"VeskFeuilleGenCode", nullptr);
  *controle = f != nullptr ? ::FindWindowExW(f, nullptr, nullptr, nullptr) : nullptr;
  return f;
}

std::wstring TexteFenetre(HWND h) {
  std::wstring texte(static_cast<size_t>(::GetWindowTextLengthW(h)) + 1, L'\0');
  texte.resize(
      static_cast<size_t>(::GetWindowTextW(h, texte.data(), static_cast<int>(texte.size()))));
  return texte;
}

// Lets the form be painted for ms milliseconds (the screenshot of scripts/test-com.sh).
void Pompe(int ms) {
  const ULONGLONG fin = ::GetTickCount64() + static_cast<ULONGLONG>(ms);
  while (::GetTickCount64() < fin) {
    MSG m;
    while (::PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) {
      ::TranslateMessage(&m);
      ::DispatchMessageW(&m);
    }
    ::Sleep(20);
  }
}

TEST_F(ClientCom, GenPSShowsTheProgramInTheForm) {
  wchar_t demo[MAX_PATH] = {};
  ASSERT_GT(::GetEnvironmentVariableW(L"VESK_COM_DEMO", demo, MAX_PATH), 0u)
      << "VESK_COM_DEMO : le dossier de démonstration fait par vesk.exe";
  Prepare(demo, "NFIC = CLIENT\nNProg\nTProg\nCodLab\nNFIC = CLIENT\nNProg\nTProg\nCodLab\n");
  IAsS* ass = Cree();
  ASSERT_NE(ass, nullptr);
  ASSERT_EQ(ass->OuvS(), S_OK) << MessageErreur();
  ASSERT_EQ(ass->GenPS(), S_OK) << MessageErreur();
  HWND controle = nullptr;
  HWND feuille = Feuille(&controle);
  ASSERT_NE(feuille, nullptr);
  ASSERT_NE(controle, nullptr);
  EXPECT_EQ(TexteFenetre(feuille), L"G\u00e9n\u00e9ration de Code");
  EXPECT_TRUE(::IsWindowVisible(feuille));
  EXPECT_EQ(::GetWindow(feuille, GW_OWNER), nullptr);
  const std::wstring programme = TexteFenetre(controle);
  EXPECT_NE(programme.find(L"Sub EntCLIENT"), std::wstring::npos);
  CHARFORMAT2W format{};
  format.cbSize = sizeof(format);
  ::SendMessageW(controle, EM_GETCHARFORMAT, SCF_DEFAULT, reinterpret_cast<LPARAM>(&format));
  EXPECT_EQ(std::wstring(format.szFaceName), L"Fixedsys");
  EXPECT_EQ(format.yHeight, 180);  // 9 points
  EXPECT_EQ(format.wWeight, 400);
  // The control fills the form, also after a resize.
  ::SetWindowPos(feuille, nullptr, 0, 0, 640, 480, SWP_NOMOVE | SWP_NOZORDER);
  RECT interieur{}, zone{};
  ::GetClientRect(feuille, &interieur);
  ::GetWindowRect(controle, &zone);
  EXPECT_EQ(zone.right - zone.left, interieur.right);
  EXPECT_EQ(zone.bottom - zone.top, interieur.bottom);
  // A second generation reuses the form, emptied then filled again.
  ASSERT_EQ(ass->GenPS(), S_OK) << MessageErreur();
  HWND encore = Feuille(&controle);
  EXPECT_EQ(encore, feuille);
  EXPECT_EQ(TexteFenetre(controle).size(), programme.size());
  wchar_t pret[MAX_PATH] = {};
  if (::GetEnvironmentVariableW(L"VESK_COM_CAPTURE", pret, MAX_PATH) > 0) {
    ::SetWindowPos(feuille, nullptr, 0, 0, 820, 600, SWP_NOMOVE | SWP_NOZORDER);
    Pompe(500);
    std::ofstream(fs::path(pret)) << "prêt\n";
    Pompe(4000);
  }
  ass->Release();
  EXPECT_EQ(DechargeableMaintenant(), S_FALSE);  // the form's procedure is in the DLL
  ::SendMessageW(feuille, WM_CLOSE, 0, 0);
  EXPECT_FALSE(::IsWindow(feuille));
  EXPECT_EQ(DechargeableMaintenant(), S_OK);
}

TEST_F(ClientCom, ALockedServerStaysLoaded) {
  IClassFactory* fabrique = nullptr;
  CLSID clsid{};
  ASSERT_EQ(::CLSIDFromProgID(L"Vesk.AsS", &clsid), S_OK);
  ASSERT_EQ(::CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&fabrique)),
            S_OK);
  EXPECT_EQ(fabrique->LockServer(TRUE), S_OK);
  fabrique->Release();
  EXPECT_EQ(DechargeableMaintenant(), S_FALSE);
  ASSERT_EQ(::CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&fabrique)),
            S_OK);
  IUnknown* agrege = nullptr;
  EXPECT_EQ(fabrique->CreateInstance(reinterpret_cast<IUnknown*>(fabrique), IID_IUnknown,
                                     reinterpret_cast<void**>(&agrege)),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(fabrique->LockServer(FALSE), S_OK);
  fabrique->Release();
  EXPECT_EQ(DechargeableMaintenant(), S_OK);
}

}  // namespace
