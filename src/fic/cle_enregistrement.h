// The key of a record for a B-tree table, built as the generated data-entry program builds Cle$
// (gencode's key computation): the parts of the key list in order, each the characters of its
// field from Pd to Pf, taken within the field's internal length (a whole field, "[V,_,_]", is
// the field's internal bytes; "MID$" of a field stops at its end), joined. The B-tree service
// pads the key with spaces to the table's length. The rebuild computes every key with it.
// Pure functions over checked key lists; any thread.
#ifndef VESK_FIC_CLE_ENREGISTREMENT_H_
#define VESK_FIC_CLE_ENREGISTREMENT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fic/controles.h"
#include "fic/table_champs.h"

namespace vesk::fic {

// Where one part of a key lies in the record: from character debut (from 0), longueur
// characters (0 when Pd lies past the field's internal length).
struct TrancheCle {
  int32_t debut = 0;
  int32_t longueur = 0;
};

// The slices of a valid key list (ControleListeCle's parts) over the fields champs.
std::vector<TrancheCle> TranchesCle(const ResultatCle& cle, const TableChamps& champs);

// The key of a record text (UTF-8, positions in characters): the slices joined; a slice past
// the end of the text takes what there is.
std::string CleEnregistrement(const std::vector<TrancheCle>& tranches,
                              std::string_view enregistrement);

}  // namespace vesk::fic

#endif  // VESK_FIC_CLE_ENREGISTREMENT_H_
