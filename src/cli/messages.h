// What `vesk` tells its user when a command ends in error: one French sentence naming the file,
// option or command at fault, without the names of the code. The name of the operation that
// failed, when it is one of the code's, goes with the whole message to ANOMALIES.LOG in the data
// folder. Functions only, called from main's thread.
#ifndef VESK_CLI_MESSAGES_H_
#define VESK_CLI_MESSAGES_H_

#include <optional>
#include <string>

#include "srv/config/configuration.h"
#include "srv/erreur_service.h"

namespace CLI {
class ParseError;
}

namespace vesk::cli {

// The message of e as the user reads it: "Opération (objet) : message" when the operation is a
// French phrase, else "objet : message" (or the message alone).
std::string TexteUtilisateur(const ErreurService& e);

// True when the operation of an error is a name of the code ("OuvreTerminal", "GenPS"), not a
// phrase the user can read: a single word.
bool OperationInterne(std::string_view operation);

// Appends e, with its operation, to ANOMALIES.LOG of the data folder when TexteUtilisateur left
// the operation out and the folder is known; returns "" or, when the log could not be written,
// a note to add to the message.
std::string GardeDetail(const ErreurService& e, const std::optional<Configuration>& config);

// A French message for what the command-line parser refused.
std::string MessageAnalyse(const CLI::ParseError& e);

}  // namespace vesk::cli

#endif  // VESK_CLI_MESSAGES_H_
