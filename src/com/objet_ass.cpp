#include "com/objet_ass.h"

#include <atomic>
#include <memory>

#include "com/dispatch_references.h"
#include "com/erreur_com.h"
#include "com/hote_com.h"
#include "com/module.h"
#include "core/ass.h"
#include "core/etat_module.h"
#include "gencode/feuille_gencode.h"
#include "platform/platform.h"
#include "vesk_h.h"

namespace vesk::com {

namespace {

// The thread's component object, shared by the thread's COM objects (a weak reference: the
// COM objects keep it alive, and the last to go destroys it).
std::shared_ptr<AsS> ComposantDuThread() {
  static platform::ParThread<std::weak_ptr<AsS>> composants;
  if (std::weak_ptr<AsS>* faible = composants.Pointeur()) {
    if (std::shared_ptr<AsS> composant = faible->lock()) return composant;
  }
  std::shared_ptr<AsS> composant = AsS::Cree();
  composants.Remplace(std::make_unique<std::weak_ptr<AsS>>(composant));
  return composant;
}

class ObjetAsS : public ::IAsS, public ISupportErrorInfo {
 public:
  explicit ObjetAsS(std::shared_ptr<AsS> composant) : composant_(std::move(composant)) {
    AjouteObjet();
  }
  virtual ~ObjetAsS() {
    if (info_ != nullptr) info_->Release();
    // The last COM object of the thread takes the thread's module state with it, whoever opened
    // it: a state made by a record method before OuvS would otherwise keep its configuration
    // for the thread's next OuvS.
    const std::weak_ptr<AsS> composant = composant_;
    composant_.reset();
    if (composant.expired()) OublieEtat();
    RetireObjet();
  }

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** objet) override {
    if (objet == nullptr) return E_POINTER;
    if (::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IDispatch) ||
        ::IsEqualIID(iid, IID_IAsS)) {
      *objet = static_cast<::IAsS*>(this);
    } else if (::IsEqualIID(iid, IID_ISupportErrorInfo)) {
      *objet = static_cast<ISupportErrorInfo*>(this);
    } else {
      *objet = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG STDMETHODCALLTYPE Release() override {
    const long reste = --references_;
    if (reste == 0) std::unique_ptr<ObjetAsS> fin(this);  // the last reference goes
    return static_cast<ULONG>(reste);
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    return ::IsEqualIID(iid, IID_IAsS) ? S_OK : S_FALSE;
  }

  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* nombre) override {
    if (nombre == nullptr) return E_POINTER;
    *nombre = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT rang, LCID, ITypeInfo** info) override {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    if (rang != 0) return DISP_E_BADINDEX;
    return SansException([&] {
      HRESULT hr = Info();
      if (FAILED(hr)) return hr;
      info_->AddRef();
      *info = info_;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* noms, UINT nombre, LCID,
                                          DISPID* ids) override {
    if (!::IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
    return SansException([&] {
      HRESULT hr = Info();
      return FAILED(hr) ? hr : info_->GetIDsOfNames(noms, nombre, ids);
    });
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID, WORD drapeaux, DISPPARAMS* params,
                                   VARIANT* resultat, EXCEPINFO* exception,
                                   UINT* argument_errone) override {
    if (!::IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
    // The method itself runs inside AppelCom; what can throw here is the dispatch's own work
    // (the DLL's path, the copies of the arguments).
    return SansException([&] {
      HRESULT hr = Info();
      if (FAILED(hr)) return hr;
      return InvoqueDispatch(info_, static_cast<::IAsS*>(this), id, drapeaux, params, resultat,
                             exception, argument_errone);
    });
  }

  // IAsS, in the order of the interface.
  HRESULT STDMETHODCALLTYPE InstanceAsS(::IAsS** instance) override {
    if (instance == nullptr) return E_POINTER;
    AddRef();
    *instance = this;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ModifEntParam(LONG parametre) override {
    return AppelCom([&] { composant_->ModifEntParam(parametre); });
  }
  HRESULT STDMETHODCALLTYPE OuvS() override { return Commande(&AsS::OuvS); }
  HRESULT STDMETHODCALLTYPE LireFic(LONG* e) override { return Enr(e, &AsS::LireFic); }
  HRESULT STDMETHODCALLTYPE EcrireFic(LONG* e) override { return Enr(e, &AsS::EcrireFic); }
  HRESULT STDMETHODCALLTYPE LireLfic(LONG* e) override { return Enr(e, &AsS::LireLfic); }
  HRESULT STDMETHODCALLTYPE EcrireLfic(LONG* e) override { return Enr(e, &AsS::EcrireLfic); }
  HRESULT STDMETHODCALLTYPE LireDom(LONG* e) override { return Enr(e, &AsS::LireDom); }
  HRESULT STDMETHODCALLTYPE EcrireDom(LONG* e) override { return Enr(e, &AsS::EcrireDom); }
  HRESULT STDMETHODCALLTYPE LireBa(LONG* e) override { return Enr(e, &AsS::LireBa); }
  HRESULT STDMETHODCALLTYPE EcrireBa(LONG* e) override { return Enr(e, &AsS::EcrireBa); }
  HRESULT STDMETHODCALLTYPE LireChain(LONG* e) override { return Enr(e, &AsS::LireChain); }
  HRESULT STDMETHODCALLTYPE EcrireChain(LONG* e) override { return Enr(e, &AsS::EcrireChain); }
  HRESULT STDMETHODCALLTYPE EntDom() override { return Commande(&AsS::EntDom); }
  HRESULT STDMETHODCALLTYPE EdtDom() override { return Commande(&AsS::EdtDom); }
  HRESULT STDMETHODCALLTYPE EntFic() override { return Commande(&AsS::EntFic); }
  HRESULT STDMETHODCALLTYPE EdtLFic() override { return Commande(&AsS::EdtLFic); }
  HRESULT STDMETHODCALLTYPE FicApp() override { return Commande(&AsS::FicApp); }
  HRESULT STDMETHODCALLTYPE LectBA() override { return Commande(&AsS::LectBA); }
  HRESULT STDMETHODCALLTYPE ReConsBA() override { return Commande(&AsS::ReConsBA); }
  HRESULT STDMETHODCALLTYPE GenPS() override { return Generation(&AsS::GenPS); }
  HRESULT STDMETHODCALLTYPE GenPE() override { return Generation(&AsS::GenPE); }
  HRESULT STDMETHODCALLTYPE Util() override { return Commande(&AsS::Util); }

 private:
  HRESULT Commande(void (AsS::*methode)()) {
    return AppelCom([&] { ((*composant_).*methode)(); });
  }
  // A generation ended by an error leaves in the form the lines generated until then.
  HRESULT Generation(void (AsS::*methode)()) {
    HRESULT hr = Commande(methode);
    if (FAILED(hr)) {
      try {
        MontreTexteGenere();
      } catch (...) {  // no memory for the text: the command's own error is what is reported
      }
    }
    return hr;
  }
  // Methods 3 to 12: the record number by reference.
  HRESULT Enr(LONG* e, void (AsS::*methode)(int32_t&)) {
    if (e == nullptr) return Signale(E_POINTER, "numéro d'enregistrement absent (pointeur nul)");
    return AppelCom([&] {
      int32_t numero = *e;
      ((*composant_).*methode)(numero);
      *e = numero;
    });
  }
  // The type information of IAsS, loaded on first use.
  HRESULT Info() {
    if (info_ != nullptr) return S_OK;
    return InfoTypeAsS(&info_);
  }

  std::atomic<long> references_{1};
  std::shared_ptr<AsS> composant_;
  ITypeInfo* info_ = nullptr;
};

}  // namespace

HRESULT CreeObjetAsS(REFIID iid, void** objet) {
  ObjetAsS* ass = nullptr;
  HRESULT hr = AppelCom([&] {
    InstalleHote();
    // COM counts the references: the object is deleted by its last Release.
    ass = std::make_unique<ObjetAsS>(ComposantDuThread()).release();
  });
  if (FAILED(hr)) return hr;
  hr = ass->QueryInterface(iid, objet);
  ass->Release();
  return hr;
}

}  // namespace vesk::com
