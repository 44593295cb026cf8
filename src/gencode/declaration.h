// The declarations generator: from the dictionary entry of one data file (its Fic record,
// field lines, B-tree tables and chainings), the routine that opens the file and its B-trees
// and declares its chainings, the routines that read and write one record, and the Public
// declaration of the variables. Reads the dictionary once (fic::LitDictionnaire) and writes
// through the session's generator state; one thread at a time.
#ifndef VESK_GENCODE_DECLARATION_H_
#define VESK_GENCODE_DECLARATION_H_

#include <string_view>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk {

// Starts a generation and writes every section for the file nom (a NOMFIC of Fic).
void DeclarationFichier(Session& s, std::string_view nom);

// The section writers, from the dictionary m. Each reports a file missing from Fic under its own
// name and goes on with the file of the session's current Fic record (none when it is blank).
void DeclarationOuvFich_BArbre(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom);
// entete_ecrit: whether the chaining heading is written; false at the start, set by the first
// chaining written.
void DeclarationChainage(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                         bool& entete_ecrit);
void DeclarationLectEcrFich(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom);
void DeclarationVarFich(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom);

}  // namespace vesk

#endif  // VESK_GENCODE_DECLARATION_H_
