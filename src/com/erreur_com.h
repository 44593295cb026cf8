// How the server's errors reach a COM client: every method runs the component inside
// AppelCom, which turns an exception into a failing HRESULT and hands the message to the
// client through the thread's error object (SetErrorInfo, read with GetErrorInfo; AsS answers
// ISupportErrorInfo for IAsS). No exception crosses the COM boundary. Functions only; the error
// object belongs to the calling thread.
#ifndef VESK_COM_ERREUR_COM_H_
#define VESK_COM_ERREUR_COM_H_

#include <windows.h>
// windows.h first
#include <oleauto.h>

#include <string_view>

namespace vesk::com {

// The HRESULT of an error of the component or of its services (ErreurService): a failure of
// the interface's own facility, 0x80040201.
inline constexpr HRESULT kErreurVesk = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x0201);

// Sets the thread's error object to message (source "Vesk.AsS") and returns hr.
HRESULT Signale(HRESULT hr, std::string_view message) noexcept;

// Inside a catch block: the HRESULT of the exception being handled (kErreurVesk for
// ErreurService, E_OUTOFMEMORY, E_UNEXPECTED for anything else), its message set as the
// thread's error object.
HRESULT HResultExceptionCourante() noexcept;

// Runs appel; S_OK (and no error object) when it returns, else HResultExceptionCourante().
template <typename F>
HRESULT AppelCom(F&& appel) noexcept {
  try {
    ::SetErrorInfo(0, nullptr);
    appel();
    return S_OK;
  } catch (...) {
    return HResultExceptionCourante();
  }
}

// Runs appel, which returns an HRESULT, for the entry points that set no error object of their
// own (IDispatch's): an exception becomes HResultExceptionCourante() instead of crossing COM.
template <typename F>
HRESULT SansException(F&& appel) noexcept {
  try {
    return appel();
  } catch (...) {
    return HResultExceptionCourante();
  }
}

}  // namespace vesk::com

#endif  // VESK_COM_ERREUR_COM_H_
