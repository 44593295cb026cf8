// What a host does with the generated code: the display of the form "Génération de Code", shown
// when a generation starts and told when one is complete; one per process or per thread. The
// state it shows is the session's (core/texte_genere.h), readable by the host after the command
// through s.Gen() (core/etat_module.h). Thread rules: the display hook is installed under a
// lock; a display is called on the generating thread.
#ifndef VESK_GENCODE_ETAT_GENCODE_H_
#define VESK_GENCODE_ETAT_GENCODE_H_

#include <memory>

#include "core/session.h"
#include "core/texte_genere.h"

namespace vesk {

// What the host does with the form: show it when a generation starts, and learn that one is
// complete. Called on the generating thread; the state stays readable after the call.
class AffichageGenCode {
 public:
  virtual ~AffichageGenCode() = default;
  // InitGenCode: the form is shown, still holding the previous generation's text, which is
  // emptied right after (a display that keeps the state sees it empty from then on).
  virtual void Montre(const EtatGenCode& etat) = 0;
  // TermineGenCode: the generation wrote its last line. A generation ended by an error does
  // not come here: its error reaches the host, which may still read s.Gen().
  virtual void Termine(const EtatGenCode& etat) = 0;
};

// Installs the display used by every thread that has none of its own (null: none).
void InstalleAffichageGenCode(std::shared_ptr<AffichageGenCode> affichage);
// Installs a display for the calling thread only.
void InstalleAffichageGenCodeThread(std::shared_ptr<AffichageGenCode> affichage);
// The display of the calling thread (its own, else the process-wide one); may be null.
std::shared_ptr<AffichageGenCode> AffichageCourant();

}  // namespace vesk

#endif  // VESK_GENCODE_ETAT_GENCODE_H_
