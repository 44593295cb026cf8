// The layout of generated instructions: each line handed over bare gets its column from the
// kinds and columns of the lines written before it (kept in the instruction record of
// s.Gen()), is recorded and appended to the generated text. Work on the calling thread's
// state and services; one thread at a time.
#ifndef VESK_GENCODE_DISPOSITION_H_
#define VESK_GENCODE_DISPOSITION_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "core/session.h"

namespace vesk {

// The column argument of GenRem meaning "computed from the last recorded line".
inline constexpr int16_t kColonneCalculee = -1;

// Kind of a line: "Etiquette", "IF", a keyword of "[REM,ELSE,END IF,SUB,FOR,NEXT,WHILE,WEND,
// EXIT SUB,END SUB]", or "Inst".
std::string TypeInst(Session& s, std::string_view ligne);
// Kind and indentation of the last recorded entry (entry 0, empty, when nothing is recorded).
std::string TypeDernier(Session& s);
int16_t DecalDernier(Session& s);
// Indentation of the most recent entry of that kind; an anomaly and 0 when there is none.
int16_t RechDecalPrecedent(Session& s, std::string_view type);
// Indentation of the most recent entry with that identifier; an anomaly and 0 when none.
// Both make the same backward search of the record; they stay two because the generators ask
// either by kind (closing keywords) or by identifier (a line they tagged), and each anomaly
// names its own procedure, "RechDecalPrecedent" or "RechDecalId".
int16_t RechDecalId(Session& s, std::string_view identifiant);
// Records the line (unless blank or a label) with the identifier and appends it to the text.
void EcrireLigne(Session& s, std::string_view ligne, std::string_view identifiant);
// Writes the instruction at the column its kind and the lines before it give.
void GenInst(Session& s, std::string_view instruction);
// Writes "Rem " and the comment at the column given (kColonneCalculee: computed).
void GenRem(Session& s, std::string_view commentaire, int16_t colonne,
            std::string_view identifiant);

}  // namespace vesk

#endif  // VESK_GENCODE_DISPOSITION_H_
