// The key of a record for a B-tree table, built as the generated data-entry program builds Cle$
// (gencode's key computation): the parts of the key list in order, each the characters of its
// field from Pd to Pf, taken within the field's internal length (a whole field, "[V,_,_]", is
// the field's internal bytes; "MID$" of a field stops at its end), joined. The B-tree service
// pads the key with spaces to the table's length. The rebuild computes every key with it.
// The slices of a key list are ControleListeCle's (ResultatCle::tranches). A pure function; any
// thread.
#ifndef VESK_FIC_CLE_ENREGISTREMENT_H_
#define VESK_FIC_CLE_ENREGISTREMENT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// The key of a record text (UTF-8, positions in characters): the slices joined; a slice past
// the end of the text takes what there is.
std::string CleEnregistrement(const std::vector<TrancheCle>& tranches,
                              std::string_view enregistrement);

}  // namespace vesk::fic

#endif  // VESK_FIC_CLE_ENREGISTREMENT_H_
