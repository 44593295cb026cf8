// The module of the COM server vesk.dll: its instance handle, the counts that tell whether it
// may be unloaded (live COM objects, class factories included, and server locks), and the
// once-per-process installation of the host's services and form. The counts are atomic: COM
// calls DllCanUnloadNow and releases objects from any apartment's thread.
#ifndef VESK_COM_MODULE_H_
#define VESK_COM_MODULE_H_

#include <windows.h>

#include <string>

namespace vesk::com {

// The DLL's instance handle (set by DllMain).
HINSTANCE Instance();
// The DLL's full path, for the registry and the embedded type library.
std::wstring CheminModule();

// A live COM object of the server (counted from its construction to its destruction).
void AjouteObjet();
void RetireObjet();
// IClassFactory::LockServer.
void Verrouille(bool verrou);
// True when no object, lock or form keeps the DLL in use.
bool Dechargeable();

}  // namespace vesk::com

#endif  // VESK_COM_MODULE_H_
