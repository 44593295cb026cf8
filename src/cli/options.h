// The options of the `vesk` command line and their declaration to the CLI11 parser.
// Plain data, filled once by the parser in main's thread.
#ifndef VESK_CLI_OPTIONS_H_
#define VESK_CLI_OPTIONS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace vesk::cli {

// Encoding and line ends of generated source written by vesk (UTF-8 and CR LF unless asked).
enum class Encodage { kUtf8, kCp1252 };
enum class FinDeLigne { kCrLf, kLf };

struct OptionsLigne {
  std::optional<std::string> data;           // --data DIR
  std::optional<std::string> entreprise;     // --entreprise NAME, over vesk.ini
  std::optional<std::string> script;         // --script FILE (scripted screens)
  std::optional<std::string> transcription;  // --transcript FILE (with --script)
  std::optional<std::string> sortie;         // --output FILE, else standard output
  std::string encodage_texte = "utf8";       // --encoding, as typed
  std::string fin_texte = "crlf";            // --eol, as typed
  Encodage encodage = Encodage::kUtf8;
  FinDeLigne fin_de_ligne = FinDeLigne::kCrLf;
  bool essai = false;                  // --dry-run: check only (import)
  bool csv = false;                    // --csv: genpe NOM writes a CSV export
  bool edition = false;                // --edition: genpe NOM writes a printed report
  bool tous = false;                   // --tous: reconsba rebuilds every file
  bool force = false;                  // --force: reconsba goes on past E fields it cannot follow
  bool dictionnaire = false;           // --dictionnaire: reconsba rebuilds the dictionary's trees
  std::string commande;                // empty: the menu
  std::vector<std::string> arguments;  // what follows the command
};

// Declares every option and the positional command to app, storing into options.
void DeclareOptions(CLI::App& app, OptionsLigne& options);

// After parsing: checks the values CLI11 leaves as text (--encoding, --eol) and the options it
// did not know (app.remaining()); throws ErreurService("Ligne de commande", option, reason).
void VerifieOptions(const CLI::App& app, OptionsLigne& options);

std::string_view NomEncodage(Encodage encodage);
std::string_view NomFinDeLigne(FinDeLigne fin);

}  // namespace vesk::cli

#endif  // VESK_CLI_OPTIONS_H_
