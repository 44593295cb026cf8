// The box of uses the file entry shows before deleting a file or fields that something uses
// (docs/decisions.md, "Deleting what something uses"). Works on the session it is given.
#ifndef VESK_FIC_BOITE_USAGES_H_
#define VESK_FIC_BOITE_USAGES_H_

#include <string>
#include <string_view>

#include "core/session.h"
#include "fic/usages.h"

namespace vesk::fic {

// At most this many lines in the box, which then fits an 80x24 screen with its frame.
inline constexpr size_t kLignesBoiteUsages = 14;
// And at most this many characters a line.
inline constexpr size_t kLargeurBoiteUsages = 70;

// The box's text: the lines of u, each cut to kLargeurBoiteUsages characters (ending with "…");
// beyond kLignesBoiteUsages lines, the first ones and "… et N autres lignes", followed by
// " : vesk usages NOM" when nom is given.
std::string TexteBoiteUsages(const Usages& u, std::string_view nom);

// Shows the box titled titre over the screen until a key is pressed.
void MontreUsages(Session& s, const Usages& u, std::string_view titre, std::string_view nom);

}  // namespace vesk::fic

#endif  // VESK_FIC_BOITE_USAGES_H_
