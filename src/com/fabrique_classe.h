// The class factory of AsS, handed out by DllGetClassObject. Stateless apart from its reference
// count; counted among the module's live objects. Thread rules: COM calls it from the apartment
// that asked for it; its reference count is atomic.
#ifndef VESK_COM_FABRIQUE_CLASSE_H_
#define VESK_COM_FABRIQUE_CLASSE_H_

#include <windows.h>

namespace vesk::com {

// A new class factory of AsS, queried for iid.
HRESULT CreeFabriqueClasse(REFIID iid, void** objet);

}  // namespace vesk::com

#endif  // VESK_COM_FABRIQUE_CLASSE_H_
