// The table of `vesk` commands and the context each one runs in. A command is one function
// registered by one line of the table in commandes.cpp; the table lists only the commands that
// work. Everything here runs in main's thread.
#ifndef VESK_CLI_COMMANDES_H_
#define VESK_CLI_COMMANDES_H_

#include <fstream>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "cli/options.h"
#include "srv/config/configuration.h"

namespace vesk {
class Session;
}  // namespace vesk

namespace vesk::cli {

// The name of standard output for --output.
inline constexpr std::string_view kSortieStandard = "-";

// What a command receives: the effective configuration, the options, its arguments and its
// output (--output FILE or standard output, opened on first use).
class Contexte {
 public:
  Contexte(Configuration config, OptionsLigne options, std::ostream& sortie_standard,
           std::ostream& erreurs);

  const Configuration& Config() const { return config_; }
  const OptionsLigne& Options() const { return options_; }
  std::ostream& Erreurs() { return erreurs_; }
  // The output of the command; creating the --output file fails with ErreurService.
  std::ostream& Sortie();
  // True when the output is standard output (no --output, or --output -).
  bool SortieStandardDemandee() const;
  // Checks that everything written to the output reached it (disk full, closed pipe).
  void TermineSortie();
  // Standard output, also when --output names a file (the file of a listing).
  std::ostream& SortieStandard() { return sortie_standard_; }
  // The one argument of a command that takes a file name (upper case); refuses any other count.
  std::string NomFichier() const;
  // The listing's file from --output: a .pdf or .txt file, kSortieStandard, "" when not given.
  std::string FichierEdition() const;

 private:
  Configuration config_;
  OptionsLigne options_;
  std::ostream& sortie_standard_;
  std::ostream& erreurs_;
  std::ofstream fichier_;
};

// What a command's arguments name, for the completion.
enum class Argument {
  kAucun,
  kNomFichier,  // files of the dictionary (NOM)
  kFichier,     // a file
  kDossier,     // a folder
  kCommande,    // a command of vesk
};

// One command: everything its help, its manual entry and its completion say comes from here.
struct Commande {
  std::string_view nom;          // lower case, as typed: "config", "entdom", "genps"...
  std::string_view usage;        // its arguments: "NOM", "[DOSSIER]", "[NOM...]", "" none
  std::string_view description;  // one line, for the menu and the list of commands
  std::string_view detail;       // what it does, for `vesk CMD --help` and the manual
  std::string_view options;      // the options it takes beyond the general ones, space separated
  int (*execute)(Contexte& contexte);  // returns the exit status (0: done)
  Argument argument = Argument::kAucun;
  std::string_view question = "";  // what the menu asks for first ("" nothing)
  std::string_view exemple = "";   // a command line that shows it, or ""

  // The number of arguments its usage allows (a "..." allows any number).
  size_t MinArguments() const;
  size_t MaxArguments() const;
  // True when option (a long name) is one of its own options.
  bool Prend(std::string_view option) const;
};

class Composant;
// Runs a listing of the component (edite) into --output or the listings folder, gives the
// terminal back, then says where it was written, or rien when nothing was.
int Edite(Contexte& contexte, const std::function<void(Composant&)>& edite, std::string_view rien,
          bool exige_dictionnaire = false);

// Shows generated code in the viewer "Génération de Code" in a terminal, otherwise writes it to
// the output in the encoding and line ends asked for; 1 when the generation reported anomalies.
int SortieCode(Contexte& contexte, std::string texte, size_t anomalies);
// Generated code (lines preceded by CR LF) in the given line ends and encoding (ErreurService
// when a character has no place in cp1252).
std::string ConvertitCode(std::string texte, Encodage encodage, FinDeLigne fin);

// The commands that exist, in menu order.
std::span<const Commande> Commandes();
// The command named nom (compared without regard to case), or nullptr.
const Commande* TrouveCommande(std::string_view nom);
// The menu shown by `vesk` without a command, and at the end of --help.
std::string Menu();

// The commands themselves, one file each.
int CommandeConfig(Contexte& contexte);
int CommandeDecl(Contexte& contexte);
int CommandeInit(Contexte& contexte);
int CommandeDemo(Contexte& contexte);
int CommandeEntDom(Contexte& contexte);
int CommandeReConsBA(Contexte& contexte);
int CommandeEdtDom(Contexte& contexte);
int CommandeEntFic(Contexte& contexte);
int CommandeEntBa(Contexte& contexte);
int CommandeEntChain(Contexte& contexte);
int CommandeEdtFic(Contexte& contexte);
int CommandeEdtLFic(Contexte& contexte);
int CommandeFicApp(Contexte& contexte);
int CommandeLectBA(Contexte& contexte);
int CommandeGenPS(Contexte& contexte);
int CommandeGenPE(Contexte& contexte);
int CommandeExport(Contexte& contexte);
int CommandeImport(Contexte& contexte);
int CommandeDonnees(Contexte& contexte);
int CommandeVerifie(Contexte& contexte);
int CommandePerimes(Contexte& contexte);
int CommandeRegenere(Contexte& contexte);
int CommandeUsages(Contexte& contexte);
int CommandeSite(Contexte& contexte);  // Linux builds only
int CommandeAide(Contexte& contexte);
int CommandeCopie(Contexte& contexte);  // built with the database store only
int CommandeSql(Contexte& contexte);    // built with the database store only
// Makes again the typed views of a database store from the dictionary of the open session (or,
// ddl not null, writes their SQL there instead), and drops those of files that have none any
// more; gives the number of views made and dropped. Built with the database store only.
std::pair<size_t, size_t> RafraichitVues(Contexte& contexte, Session& session, std::string* ddl);

}  // namespace vesk::cli

#endif  // VESK_CLI_COMMANDES_H_
