// The declarations generator: from the dictionary entry of one data file (its Fic record,
// field lines, B-tree tables and chainings), the routine that opens the file and its B-trees
// and declares its chainings, the routines that read and write one record, and the Public
// declaration of the variables. Runs on the calling thread's module state (opened by OuvS)
// and generator state; one thread at a time.
#ifndef VESK_GENCODE_DECLARATION_H_
#define VESK_GENCODE_DECLARATION_H_

#include <string_view>

namespace vesk {

// Starts a generation and writes every section for the file nom (a NOMFIC of Fic).
void DeclarationFichier(std::string_view nom);

// The section writers. Each reports a file missing from Fic under its own name and goes on
// with the record values then current.
void DeclarationOuvFich_BArbre(std::string_view nom);
// entete_ecrit: whether the chaining heading is written; false at the start, set by the first
// chaining written.
void DeclarationChainage(std::string_view nom, bool& entete_ecrit);
void DeclarationLectEcrFich(std::string_view nom);
void DeclarationVarFich(std::string_view nom);

}  // namespace vesk

#endif  // VESK_GENCODE_DECLARATION_H_
