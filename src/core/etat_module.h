// The component's module state: the calling thread's session (core/session.h), created empty on
// the thread's first use, and the services' creator it is made with. Only the entry points of the
// component's contract look these up (AsS's methods, the COM server's entry points, a host's
// top level), once per call; the code below them takes the session as an argument. The code
// generators' state (EtatGen) outlives the session: OublieEtat closes the dictionary and drops
// the services, the generated text stays readable. Thread rules: each thread sees only its own
// state; the process-wide creator is installed under a lock.
#ifndef VESK_CORE_ETAT_MODULE_H_
#define VESK_CORE_ETAT_MODULE_H_

#include "core/session.h"
#include "core/texte_genere.h"
#include "srv/fabrique_services.h"

namespace vesk {

// Installs the creator used by every thread that has none of its own (the host does this once,
// before the first use of the component).
void InstalleServices(CreateurServices createur);
// Installs a creator for the calling thread only (tests, hosts with several configurations).
void InstalleServicesThread(CreateurServices createur);
// The creator a session of the calling thread makes its services with: the thread's own, else
// the process-wide one (empty when none is installed).
CreateurServices CreateurDuThread();

// The calling thread's module state, created empty on first use.
Session& Etat();
// Drops the calling thread's module state (its services close their files); the next use
// starts afresh. For hosts that end a session, and for tests.
void OublieEtat();
// Drops the calling thread's module state when `proprietaire` is the owner of its dictionary
// files (its files and services close); does nothing otherwise. Called by AsS's destructor.
void OublieEtatDe(const Proprietaire* proprietaire);

// The calling thread's generator state, created on first use; the thread's session works on it.
EtatGenCode& EtatGen();
// Drops the calling thread's generator state; the next use starts afresh (tests, benchmarks).
void OublieEtatGen();

// EditionAnnulee on the calling thread's session: what a host gives its listing service
// (ConfigEdition::annule), so that the listing and the component see the same cancellation.
bool EditionAnnuleeDuThread();

}  // namespace vesk

#endif  // VESK_CORE_ETAT_MODULE_H_
