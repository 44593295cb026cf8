// The records of an application's data file read by the dictionary: each live record, in record
// order, cut into its fields at their positions and each field read by its rules
// (fic/valeur_rubrique.h). What `vesk donnees` writes as CSV or JSON and what `vesk verifie`
// checks. Works on the session given, the dictionary open.
#ifndef VESK_FIC_DONNEES_H_
#define VESK_FIC_DONNEES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "fic/valeur_rubrique.h"

namespace vesk::fic {

// How the field r of a complete model is coded in the record.
CodageRubrique Codage(const Rubrique& r);

// The values of one record, in the order of the file's fields.
using ValeursEnregistrement = std::vector<Lecture>;

// The fields of a record's bytes (Windows-1252, the record length), read by the fields of f; a
// field past the end of the bytes reads what there is of it.
ValeursEnregistrement LitEnregistrement(const Fichier& f, std::string_view octets);

// Whether the value of r is one its domain allows: when r names a domain of m whose definition
// file was read (LitDefinitions), its text must be the first word of one of the lines; any
// value otherwise.
bool DansDomaine(const ModeleDictionnaire& m, const Rubrique& r, const Valeur& v);

// Calls visite with the number and the bytes of each live record of the data file of the
// specified file nom (in the current company's folder when it depends on the company), in
// record order, under one committed state of the folder. An ErreurService when there is no such
// data file, or when its records are not of f's length.
void ParcourtDonnees(Session& s, const std::string& nom, const Fichier& f,
                     const std::function<void(int32_t no, std::string_view octets)>& visite);

}  // namespace vesk::fic

#endif  // VESK_FIC_DONNEES_H_
