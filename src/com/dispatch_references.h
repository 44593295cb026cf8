// Late binding of IAsS: its type information, read from the type library embedded in the DLL,
// and IDispatch::Invoke over it with the arguments that VBScript passes. VBScript hands a
// variable as VT_BYREF|VT_VARIANT, which ITypeInfo::Invoke refuses for a parameter declared
// [in, out] long* (DISP_E_TYPEMISMATCH); such arguments are unwrapped first. Functions only,
// called on the object's thread.
#ifndef VESK_COM_DISPATCH_REFERENCES_H_
#define VESK_COM_DISPATCH_REFERENCES_H_

#include <windows.h>
// windows.h first
#include <oaidl.h>

namespace vesk::com {

// The type information of IAsS (a new reference in *info).
HRESULT InfoTypeAsS(ITypeInfo** info);

// IDispatch::Invoke of objet (an IAsS) through info. A VT_BYREF|VT_VARIANT argument becomes,
// for a parameter by reference, a reference to the Long inside the caller's variant (converted
// to Long in place, so that the method's result reaches the caller's variable) and, for a
// parameter by value, a copy of its value. A method that fails gives DISP_E_EXCEPTION with its
// HRESULT and message in *exception, so that late-bound clients see the message too.
HRESULT InvoqueDispatch(ITypeInfo* info, void* objet, DISPID id, WORD drapeaux, DISPPARAMS* params,
                        VARIANT* resultat, EXCEPINFO* exception, UINT* argument_errone);

}  // namespace vesk::com

#endif  // VESK_COM_DISPATCH_REFERENCES_H_
