// The checks of a B-tree table's key list and of a chaining's pointer positions, with the
// messages the entry screens show. ControleListeCle is the one reader of key lists: the screens,
// the dictionary model, the import and the rebuild all take a key list's parts from it, so that
// a screen never saves what the import refuses. They work on the session's list service and
// never write anything.
#ifndef VESK_FIC_CONTROLES_H_
#define VESK_FIC_CONTROLES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

inline constexpr std::string_view kAideListeCle = "[[Var1,Pd,Pf],...] (Pd=_,Pf=_ si Deb,Fin)";

// Checks the key list "[[Var1,Pd,Pf],...]" against the fields champs (placed in their record:
// the parts are also given as slices of the record), in this order: the
// list's syntax ("Erreur de Syntaxe 12eme Car"), "[]" refused without a message, each element a
// list of three plain parts ("Faux Avant " and the rest of the list), its variable known
// ("CLNOM Inconnue"), Pd ("_" is 1) then Pf ("_" is the field's total) numbers within the
// field, Pf not before Pd ("CLNOM-4 Erreur"). The key length adds up Pf - Pd + 1 in checked
// 16-bit arithmetic (an overflow is an error that ends the command); a length over the longest
// key a B-tree holds is refused with a message naming the limit.
ResultatCle ControleListeCle(Session& s, std::string_view liste, std::span<const Rubrique> champs);

// Why nom cannot name a data file or a B-tree table of the application, or nothing when it
// can: it is, in any case, one of the dictionary's own files (FIC, LFIC, DOM, BA, CHAIN) or
// the rebuild's TEMP, whose .DAT and .DAB files it would take over (a table FIC would overwrite
// the dictionary's index of files at the next rebuild). quoi begins the message ("Nom de
// fichier", "Nom de table"). Every screen and the import call it for every such name.
std::optional<std::string> NomDuDictionnaire(std::string_view quoi, std::string_view nom);

// The default key list of a new table: "[" + variable + ",_,_]" for every A and D field in
// field order ("[]" when there is none).
std::string ListeCleDefaut(Session& s, std::span<const Rubrique> champs);

// The numeric value of a typed number, read as a number is read from text: leading spaces, an
// optional sign, then digits up to the first other character ("12a" is 12, "abc" 0).
int32_t ValeurNumerique(std::string_view texte);

// A pointer position: 0 < position <= longueur, and not before the first pointer of its pair
// when premiere is given (PNES against PNEA, PDE against PPE).
bool PositionValide(int32_t position, int32_t longueur, std::optional<int32_t> premiere = {});

}  // namespace vesk::fic

#endif  // VESK_FIC_CONTROLES_H_
