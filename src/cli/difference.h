// The lines that differ between two versions of a text, as regenerating a program shows them.
// Pure functions; any thread.
#ifndef VESK_CLI_DIFFERENCE_H_
#define VESK_CLI_DIFFERENCE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::cli {

// One line removed from the old text or added by the new one, with its number (from 1) in the
// text it belongs to.
struct LigneChangee {
  bool ajoutee = false;
  int32_t numero = 0;
  std::string texte;

  bool operator==(const LigneChangee&) const = default;
};

// The text cut into lines at LF, a CR before it dropped (a text ending with LF ends with an
// empty line).
std::vector<std::string> LignesTexte(std::string_view texte);

// The lines removed and added to go from avant to apres, in text order (in each place that
// differs, the removed lines first): the fewest such lines, except where the two differ over
// more than a few thousand lines each, where the whole differing stretch is removed and added.
std::vector<LigneChangee> Difference(const std::vector<std::string>& avant,
                                     const std::vector<std::string>& apres);

}  // namespace vesk::cli

#endif  // VESK_CLI_DIFFERENCE_H_
