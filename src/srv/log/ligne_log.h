// Append-only log files of the data folder (ANOMALIES.LOG, JOURNAL.LOG): the line format and the
// append itself. A line is "AAAA-MM-JJ HH:MM:SS procedure : texte", UTF-8, ended by LF; control
// characters inside the procedure or the text (line breaks included, tab excepted) and bytes
// that do not form UTF-8 are written as "\xNN", so one entry is always exactly one line.
// Functions only; they may be called from any thread (appends are serialised by a file lock).
#ifndef VESK_SRV_LOG_LIGNE_LOG_H_
#define VESK_SRV_LOG_LIGNE_LOG_H_

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace vesk {

// "AAAA-MM-JJ HH:MM:SS".
std::string Horodatage(const platform::DateHeure& t);

// The whole line of one entry, LF included.
std::string LigneLog(std::string_view horodatage, std::string_view procedure,
                     std::string_view texte);

// Appends ligne at the end of the file at chemin (created when absent) under an exclusive lock,
// then forces it to stable storage when synchro is set. The bytes are handed to the system
// before returning, so a crash of the process afterwards keeps the line. A failure throws
// ErreurService(operation, chemin, reason); nothing is written then.
void AjouteLigne(const std::string& chemin, std::string_view ligne, bool synchro,
                 std::string_view operation);

}  // namespace vesk

#endif  // VESK_SRV_LOG_LIGNE_LOG_H_
