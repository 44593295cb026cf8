// PorteeEdition: the scope of one listing of the component. It shows the screen's title while
// the listing is made (TitreEdition, when one is given) and, when it owns the listing, makes its
// closing call: Termine(0) then FinTitreEdition when the scope ends well (Ferme), and the same
// on every other path (an error leaving the scope): the listing service abandons a listing whose
// frame was never closed and writes one the user cancelled, so one closing value serves every
// path. On an error's path the closing calls' own errors are dropped: the first error is the
// one reported. The listings write their lines through the session's listing service.
// One scope at a time per listing; one thread.
#ifndef VESK_CORE_PORTEE_EDITION_H_
#define VESK_CORE_PORTEE_EDITION_H_

#include <string_view>

#include "core/session.h"

namespace vesk {

class PorteeEdition {
 public:
  // titre: the title shown while the listing is made ("": none). termine: the scope makes the
  // listing's closing call (false: a caller's listing goes on after it).
  PorteeEdition(Session& s, std::string_view titre, bool termine);
  ~PorteeEdition();
  PorteeEdition(const PorteeEdition&) = delete;
  PorteeEdition& operator=(const PorteeEdition&) = delete;

  // The scope ends well: the closing call, then the title taken down. An error of either goes
  // to the caller.
  void Ferme();
  // The scope ends well and leaves the listing open, its title shown: the caller's listing goes
  // on, and the caller closes it.
  void Laisse() { ferme_ = true; }

 private:
  Session& s_;
  bool titre_;
  bool termine_;
  bool ferme_ = false;
};

}  // namespace vesk

#endif  // VESK_CORE_PORTEE_EDITION_H_
