// AsS as a COM object: the dual interface IAsS (its vtable, and IDispatch over the type library
// embedded in the DLL) and ISupportErrorInfo. The COM objects of one thread share that thread's
// component object (vesk::AsS), which holds no state of its own; when the last of them is
// released the component object goes, and with it the thread's module state (its open files
// and services), whoever made it. Thread rules: single-threaded apartment: an object is called and
// released on the thread that created it.
#ifndef VESK_COM_OBJET_ASS_H_
#define VESK_COM_OBJET_ASS_H_

#include <windows.h>

namespace vesk::com {

// A new AsS COM object on the calling thread, queried for iid (the class factory's
// CreateInstance). The first one of the process installs the server's services (hote_com.h).
HRESULT CreeObjetAsS(REFIID iid, void** objet);

}  // namespace vesk::com

#endif  // VESK_COM_OBJET_ASS_H_
