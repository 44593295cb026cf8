// The services of the COM server. Each thread that first uses the component reads its
// configuration then: the data folder named by VESK_DATA (else the process's current folder),
// its vesk.ini (entreprise, editions, application, synchro, and script: a script that answers
// the screens, for hosts driven by tests); screens on the Win32 console (allocated when the
// process has none) or from that script; listings as text in the listings folder. Generated code
// is shown in the form "Génération de Code". Installed once per process, from any thread.
#ifndef VESK_COM_HOTE_COM_H_
#define VESK_COM_HOTE_COM_H_

namespace vesk::com {

// Installs the creator of every thread's services and the form of generated code (once).
void InstalleHote();

}  // namespace vesk::com

#endif  // VESK_COM_HOTE_COM_H_
