// The options of the `vesk` command line: one table that declares them to the CLI11 parser and
// describes them for the help, the manual page and the completion (cli/aide.h). Plain data,
// filled once by the parser in main's thread.
#ifndef VESK_CLI_OPTIONS_H_
#define VESK_CLI_OPTIONS_H_

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "srv/erreur_service.h"

namespace CLI {
class App;
}

namespace vesk::cli {

// Encoding and line ends of generated source written by vesk (UTF-8 and CR LF unless asked).
enum class Encodage { kUtf8, kCp1252 };
enum class FinDeLigne { kCrLf, kLf };

struct OptionsLigne {
  std::optional<std::string> data;                // --data DIR
  std::optional<std::string> entreprise;          // --entreprise NAME, over vesk.ini
  std::optional<std::string> application;         // --application NAME (init)
  std::optional<std::string> script;              // --script FILE (scripted screens)
  std::optional<std::string> transcription;       // --transcript FILE (with --script)
  std::optional<std::string> sortie;              // --output FILE ("-": standard output)
  std::optional<std::string> dossier_programmes;  // --output-dir [DIR] ("": the default)
  std::vector<std::string> reglages;              // --set key=value (config), in order
  std::string encodage_texte = "utf8";            // --encoding, as typed
  std::string fin_texte = "crlf";                 // --eol, as typed
  Encodage encodage = Encodage::kUtf8;
  FinDeLigne fin_de_ligne = FinDeLigne::kCrLf;
  bool aide = false;                   // -h, --help
  bool essai = false;                  // --dry-run: check only (import)
  bool migre = false;                  // --migrate: import converts the data that follows
  bool tronque = false;                // --truncate: the migration cuts and rounds
  bool csv = false;                    // --csv: genpe NOM writes a CSV export; donnees as CSV
  bool json = false;                   // --json: donnees, verifie write JSON
  bool edition = false;                // --edition: genpe NOM writes a printed report
  bool tous = false;                   // --tous: reconsba rebuilds every file
  bool force = false;                  // --force: reconsba goes on past E fields it cannot follow
  bool dictionnaire = false;           // --dictionnaire: reconsba rebuilds the dictionary's trees
  std::string commande;                // empty: the menu
  std::vector<std::string> arguments;  // what follows the command
};

// What an option's value is, for the help and the completion.
enum class Genre {
  kDrapeau,  // no value
  kTexte,    // free text
  kFichier,  // a file name
  kDossier,  // a folder name
  kChoix,    // one of OptionAide::choix
};

struct OptionAide {
  std::string_view nom;     // "--output"
  std::string_view court;   // "-h" ("" none)
  std::string_view valeur;  // the value's name in the help ("FICHIER"; "" for a flag)
  std::string_view aide;    // one line
  Genre genre = Genre::kDrapeau;
  std::string_view choix;  // kChoix: the values, separated by spaces
  bool generale = false;   // applies to every command
  // Where the parser stores it: exactly one of these is set.
  std::optional<std::string> OptionsLigne::*texte = nullptr;
  std::string OptionsLigne::*chaine = nullptr;
  bool OptionsLigne::*drapeau = nullptr;
  std::vector<std::string> OptionsLigne::*liste = nullptr;
  bool valeur_facultative = false;  // the option may be given without its value
};

// Every option, in the order of the help.
std::span<const OptionAide> Options();
// The option named nom ("--output" or "-h"), or nullptr.
const OptionAide* TrouveOption(std::string_view nom);

// A mistake in the command line (exit status 2): an unknown command or option, an option that
// does not apply to the command, a wrong number of arguments, a bad option value.
class ErreurUsage : public ErreurService {
 public:
  ErreurUsage(std::string_view objet, std::string_view message)
      : ErreurService("Ligne de commande", objet, message) {}
};

// Declares every option of the table and the positional command to app, storing into options.
void DeclareOptions(CLI::App& app, OptionsLigne& options);

// After parsing: refuses what CLI11 left over (app.remaining()), checks the values it leaves as
// text (--encoding, --eol) and the empty names. Throws ErreurUsage.
void ControleOptions(const CLI::App& app, OptionsLigne& options);

// The options given on the command line, by their long names, in the table's order.
std::vector<std::string_view> OptionsDonnees(const CLI::App& app);

std::string_view NomEncodage(Encodage encodage);
std::string_view NomFinDeLigne(FinDeLigne fin);

}  // namespace vesk::cli

#endif  // VESK_CLI_OPTIONS_H_
