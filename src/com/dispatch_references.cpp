#include "com/dispatch_references.h"

#include <oleauto.h>

#include <string>
#include <vector>

#include "com/module.h"
#include "vesk_h.h"

namespace vesk::com {

namespace {

// For each parameter of method id, in order, whether it is passed by reference.
HRESULT ParametresParReference(ITypeInfo* info, DISPID id, std::vector<bool>* par_reference) {
  TYPEATTR* attributs = nullptr;
  HRESULT hr = info->GetTypeAttr(&attributs);
  if (FAILED(hr)) return hr;
  const WORD nombre = attributs->cFuncs;
  info->ReleaseTypeAttr(attributs);
  for (UINT i = 0; i < nombre; ++i) {
    FUNCDESC* f = nullptr;
    if (FAILED(info->GetFuncDesc(i, &f))) continue;
    const bool trouve = f->memid == id;
    if (trouve) {
      for (SHORT p = 0; p < f->cParams; ++p) {
        par_reference->push_back(f->lprgelemdescParam[p].tdesc.vt == VT_PTR);
      }
    }
    info->ReleaseFuncDesc(f);
    if (trouve) return S_OK;
  }
  return DISP_E_MEMBERNOTFOUND;
}

// Fills *exception from a failing HRESULT and the thread's error object.
HRESULT Exception(HRESULT hr, EXCEPINFO* exception) {
  if (exception == nullptr) return hr;
  *exception = EXCEPINFO{};
  exception->scode = hr;
  IErrorInfo* erreur = nullptr;
  if (::GetErrorInfo(0, &erreur) == S_OK && erreur != nullptr) {
    erreur->GetSource(&exception->bstrSource);
    erreur->GetDescription(&exception->bstrDescription);
    erreur->Release();
  }
  return DISP_E_EXCEPTION;
}

// The arguments handed to ITypeInfo::Invoke: shallow copies of the caller's, apart from the
// values made here for parameters by value, cleared with the object.
struct Arguments {
  std::vector<VARIANT> valeurs;
  std::vector<UINT> copies;
  ~Arguments() {
    for (UINT c : copies) ::VariantClear(&valeurs[c]);
  }
};

// Unwraps the VT_BYREF|VT_VARIANT arguments of method id.
HRESULT Deballe(ITypeInfo* info, DISPID id, const DISPPARAMS& params, Arguments& arguments,
                UINT* argument_errone) {
  const UINT nombre = params.cArgs;
  arguments.valeurs.assign(params.rgvarg, params.rgvarg + nombre);
  std::vector<bool> par_reference;
  for (UINT i = 0; i < nombre; ++i) {
    VARIANT& a = arguments.valeurs[i];
    if (V_VT(&a) != (VT_BYREF | VT_VARIANT) || V_VARIANTREF(&a) == nullptr) continue;
    if (par_reference.empty()) {
      HRESULT hr = ParametresParReference(info, id, &par_reference);
      if (FAILED(hr)) return hr;
    }
    // rgvarg holds the named arguments first, then the others in reverse order.
    const UINT parametre =
        i < params.cNamedArgs ? static_cast<UINT>(params.rgdispidNamedArgs[i]) : nombre - 1 - i;
    VARIANT* dedans = V_VARIANTREF(&a);
    if (parametre < par_reference.size() && par_reference[parametre]) {
      if (V_VT(dedans) != VT_I4 && FAILED(::VariantChangeType(dedans, dedans, 0, VT_I4))) {
        if (argument_errone != nullptr) *argument_errone = i;
        return DISP_E_TYPEMISMATCH;
      }
      V_VT(&a) = VT_BYREF | VT_I4;
      V_I4REF(&a) = &V_I4(dedans);
    } else {
      ::VariantInit(&a);
      HRESULT hr = ::VariantCopyInd(&a, dedans);
      if (FAILED(hr)) return hr;
      arguments.copies.push_back(i);
    }
  }
  return S_OK;
}

}  // namespace

HRESULT InfoTypeAsS(ITypeInfo** info) {
  *info = nullptr;
  ITypeLib* bibliotheque = nullptr;
  const std::wstring chemin = CheminModule();
  HRESULT hr = ::LoadTypeLibEx(chemin.c_str(), REGKIND_NONE, &bibliotheque);
  if (FAILED(hr)) return hr;
  hr = bibliotheque->GetTypeInfoOfGuid(IID_IAsS, info);
  bibliotheque->Release();
  return hr;
}

HRESULT InvoqueDispatch(ITypeInfo* info, void* objet, DISPID id, WORD drapeaux, DISPPARAMS* params,
                        VARIANT* resultat, EXCEPINFO* exception, UINT* argument_errone) {
  if (params == nullptr) return E_INVALIDARG;
  Arguments arguments;
  HRESULT hr = Deballe(info, id, *params, arguments, argument_errone);
  if (FAILED(hr)) return hr;
  DISPPARAMS deballes = *params;
  deballes.rgvarg = arguments.valeurs.data();
  hr = info->Invoke(objet, id, drapeaux, &deballes, resultat, exception, argument_errone);
  // The method's own failure (not one of the dispatch's): its message in EXCEPINFO.
  if (FAILED(hr) && HRESULT_FACILITY(hr) != FACILITY_DISPATCH) return Exception(hr, exception);
  if (hr == DISP_E_EXCEPTION && exception != nullptr && exception->bstrDescription == nullptr &&
      FAILED(exception->scode)) {
    return Exception(exception->scode, exception);
  }
  return hr;
}

}  // namespace vesk::com
