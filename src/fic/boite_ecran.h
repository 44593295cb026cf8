// The boxes the file entry shows over its screen before a deletion that something uses or a
// change whose data must follow (docs/decisions.md, "Deleting what something uses"), cut to
// what an 80x24 screen holds. Works on the session it is given.
#ifndef VESK_FIC_BOITE_ECRAN_H_
#define VESK_FIC_BOITE_ECRAN_H_

#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/usages.h"

namespace vesk::fic {

// At most this many lines in a box, which then fits an 80x24 screen with its frame.
inline constexpr size_t kLignesBoite = 14;
// And at most this many characters a line.
inline constexpr size_t kLargeurBoite = 70;

// A box's text: lignes, each cut to kLargeurBoite characters (ending with "…"); beyond
// kLignesBoite lines, the first ones, then "… et N autres lignes" followed by suite, then (with
// garde_derniere) the last line.
std::string TexteBoite(const std::vector<std::string>& lignes, std::string_view suite,
                       bool garde_derniere = false);
// The box of uses: u's lines, "… et N autres lignes : vesk usages NOM" (nom given) when cut.
std::string TexteBoiteUsages(const Usages& u, std::string_view nom);

// Shows the box of uses titled titre over the screen until a key is pressed.
void MontreUsages(Session& s, const Usages& u, std::string_view titre, std::string_view nom);

}  // namespace vesk::fic

#endif  // VESK_FIC_BOITE_ECRAN_H_
