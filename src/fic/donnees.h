// The records of an application's data file read by the dictionary: each live record, in record
// order, cut into its fields and each field read by its rules (fic/valeur_rubrique.h). What
// `vesk donnees` writes as CSV or JSON, and what the checks and the migration compare. Works on
// the session given, the dictionary open.
#ifndef VESK_FIC_DONNEES_H_
#define VESK_FIC_DONNEES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/disposition_fichier.h"
#include "fic/valeur_rubrique.h"

namespace vesk::fic {

// The values of one record, in the order of the layout's fields.
using ValeursEnregistrement = std::vector<Lecture>;

// The fields of a record's bytes (Windows-1252, the record length), read by d.
ValeursEnregistrement LitEnregistrement(const DispositionFichier& d, std::string_view octets);

// Calls visite with the number and the values of each live record of d's data file (in the
// current company's folder when it depends on the company), in record order. An ErreurService
// when the file has no data file, or when its data file's records are not of d's length.
void ParcourtDonnees(Session& s, const DispositionFichier& d,
                     const std::function<void(int32_t no, const ValeursEnregistrement&)>& visite);

}  // namespace vesk::fic

#endif  // VESK_FIC_DONNEES_H_
