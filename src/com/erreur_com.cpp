#include "com/erreur_com.h"

#include <oaidl.h>
#include <oleauto.h>

#include <exception>
#include <new>
#include <string>

#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "vesk_h.h"

namespace vesk::com {

HRESULT Signale(HRESULT hr, std::string_view message) noexcept {
  ICreateErrorInfo* creation = nullptr;
  if (FAILED(::CreateErrorInfo(&creation))) return hr;  // the HRESULT still tells the failure
  try {
    const std::wstring description = platform::Large(message);
    creation->SetGUID(IID_IAsS);
    creation->SetSource(const_cast<LPOLESTR>(L"Vesk.AsS"));
    creation->SetDescription(const_cast<LPOLESTR>(description.c_str()));
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(creation->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      ::SetErrorInfo(0, info);
      info->Release();
    }
  } catch (...) {  // no memory left for the message: the HRESULT alone tells the failure
  }
  creation->Release();
  return hr;
}

HRESULT HResultExceptionCourante() noexcept {
  try {
    throw;
  } catch (const ErreurService& e) {
    return Signale(kErreurVesk, e.what());
  } catch (const std::bad_alloc&) {
    return Signale(E_OUTOFMEMORY, "mémoire insuffisante");
  } catch (const std::exception& e) {
    return Signale(E_UNEXPECTED, std::string("erreur inattendue : ") + e.what());
  } catch (...) {
    return Signale(E_UNEXPECTED, "erreur inattendue");
  }
}

}  // namespace vesk::com
