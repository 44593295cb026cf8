// Names of the files of a data folder: checks that a name is made of letters and digits only
// (so that no operation reaches outside the folder) and builds the stored, upper-case file name.
// Free functions without state; safe from any thread.
#ifndef VESK_SRV_ISAM_NAMES_H_
#define VESK_SRV_ISAM_NAMES_H_

#include <string>
#include <string_view>

#include "srv/isam/status.h"

namespace vesk::isam {

// Longest name accepted, extension excluded.
inline constexpr size_t kMaxNameLength = 64;

// nom in ASCII upper case.
std::string UpperAscii(std::string_view nom);

// InvalidArgument naming what is wrong unless nom is 1 to kMaxNameLength ASCII letters and
// digits. what says which name it is ("fichier", "B-arbre", "entreprise").
Status CheckName(std::string_view nom, std::string_view what);

// Checks a file name with its extension ("TVA.DOM": letters and digits, one dot, an extension
// of 1 to 3 letters and digits) and gives it in upper case.
Status CheckFileName(std::string_view nom, std::string* upper);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_NAMES_H_
