#include "com/fabrique_classe.h"

#include <unknwn.h>

#include <atomic>
#include <memory>
#include <new>

#include "com/module.h"
#include "com/objet_ass.h"

namespace vesk::com {

namespace {

class FabriqueClasse : public IClassFactory {
 public:
  FabriqueClasse() { AjouteObjet(); }
  virtual ~FabriqueClasse() { RetireObjet(); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** objet) override {
    if (objet == nullptr) return E_POINTER;
    if (::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IClassFactory)) {
      *objet = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *objet = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG STDMETHODCALLTYPE Release() override {
    const long reste = --references_;
    if (reste == 0) std::unique_ptr<FabriqueClasse> fin(this);  // the last reference goes
    return static_cast<ULONG>(reste);
  }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* exterieur, REFIID iid, void** objet) override {
    if (objet == nullptr) return E_POINTER;
    *objet = nullptr;
    if (exterieur != nullptr) return CLASS_E_NOAGGREGATION;
    return CreeObjetAsS(iid, objet);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL verrou) override {
    Verrouille(verrou != FALSE);
    return S_OK;
  }

 private:
  std::atomic<long> references_{1};
};

}  // namespace

HRESULT CreeFabriqueClasse(REFIID iid, void** objet) {
  // COM counts the references: the object is deleted by its last Release.
  FabriqueClasse* fabrique = nullptr;
  try {
    fabrique = std::make_unique<FabriqueClasse>().release();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  HRESULT hr = fabrique->QueryInterface(iid, objet);
  fabrique->Release();
  return hr;
}

}  // namespace vesk::com
