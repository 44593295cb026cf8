// The form "Génération de Code" of Windows hosts (the COM server): a resizable window holding
// the rich-edit control GenCode in Fixedsys 9 pt, weight 400, that fills it. One form per
// thread, created by the first generation of the thread, shown modeless without an owner and
// reused; closing it destroys it, and the next generation makes a new one. InitGenCode shows it
// before the text is emptied; the generated text is put in the control when the generation
// ends. Thread rules: a form belongs to the thread that made it; only the count of forms is
// shared (atomic).
#ifndef VESK_GENCODE_FEUILLE_GENCODE_H_
#define VESK_GENCODE_FEUILLE_GENCODE_H_

#ifdef _WIN32

#include <memory>

#include "gencode/etat_gencode.h"

namespace vesk {

// The display of generated code through the thread's form (InstalleAffichageGenCode).
std::shared_ptr<AffichageGenCode> FeuilleGenCode();

// Puts the thread's generated text (EtatGen) in its form, when the thread has one: after a
// generation ended by an error, the lines written until then stay in the form.
void MontreTexteGenere();

// The number of forms that exist, over every thread. A DLL that shows forms is not unloaded
// while one exists: its window procedure would go with it.
int FeuillesOuvertes();

}  // namespace vesk

#endif  // _WIN32

#endif  // VESK_GENCODE_FEUILLE_GENCODE_H_
