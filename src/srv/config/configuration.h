// The configuration of one run: the data folder and the values of vesk.ini (application,
// entreprise, editions, separateur_csv, synchro, script, stockage), overridden by the host's own
// options. Plain data and checks only (standard library), so every host shares the same rules; a
// reader object is used by one thread at a time.
//
// File format (vesk.ini in the data folder, UTF-8, LF or CR LF):
//   - `key = value` (or `key : value`) lines; keys are compared without regard to case;
//   - an optional `[vesk]` section heading; keys under any other section are refused;
//   - lines beginning with ';' or '#' are comments, and so is the rest of a line from a ';'
//     that follows a blank (even between double quotes, and the blank after '=' counts: write
//     `separateur_csv = ";"` or `separateur_csv=;`);
//   - an indented line after a key would continue its value: it is refused;
//   - blanks around keys and values are dropped; a value written between double quotes is taken
//     as written (`separateur_csv = "	"` gives a tab);
//   - a key given twice, an unknown key or a bad value is an error naming the file, the line
//     and the key. Nothing is ever repaired silently.
#ifndef VESK_SRV_CONFIG_CONFIGURATION_H_
#define VESK_SRV_CONFIG_CONFIGURATION_H_

#include <map>
#include <string>
#include <string_view>

namespace vesk {

// Name of the configuration file in the data folder.
inline constexpr std::string_view kFichierConfiguration = "vesk.ini";

enum class Synchro {
  kFull,  // every commit reaches stable storage (survives power loss)
  kOff,   // no sync: bulk work, at the risk of losing the last operations on power loss
};

struct Configuration {
  std::string dossier = ".";         // the data folder
  std::string application;           // the name returned by NomApplication
  std::string entreprise;            // the current company (sub-folder); empty: none
  std::string editions;              // listings folder; empty: EDITIONS under the data folder
  std::string separateur_csv = ";";  // field separator of generated CSV exports
  Synchro synchro = Synchro::kFull;
  // A script answering the screens, for the hosts without a command line (the COM server;
  // `vesk` has --script); empty: none.
  std::string script;
  // Where the data files, B-trees and text files live: empty for the data folder, else a
  // PostgreSQL URI without password (stockage.h, docs/postgresql.md).
  std::string stockage;

  // A path of the configuration: as written when absolute, else under the data folder.
  std::string Chemin(std::string_view chemin) const;

  // The listings folder: `editions` when absolute, else joined to the data folder.
  std::string DossierEditions() const;
  // Path of a file at the root of the data folder.
  std::string CheminDonnees(std::string_view nom) const;
};

// "full" or "off".
std::string_view NomSynchro(Synchro synchro);

// The effective configuration as text, one `key = value` line a key (data folder first, as
// `dossier`), in the format of vesk.ini.
std::string DecritConfiguration(const Configuration& config);

// Applies the lines of one configuration file to a Configuration, one key at a time, for any
// parser (the hosts' ini reader or LitConfiguration below). Errors are ErreurService with the
// operation "Lecture de la configuration" and the object "FILE, ligne N".
class LecteurConfiguration {
 public:
  LecteurConfiguration(Configuration& config, std::string fichier);

  // Checks the whole text before it is parsed: no byte of code 0, valid UTF-8 (a file saved
  // in Windows-1252 is refused with the line of its first bad byte).
  void ControleTexte(std::string_view texte) const;
  // Applies `cle = valeur` read at line `ligne` under `section` (empty before any heading).
  void Applique(std::string_view section, std::string_view cle, std::string_view valeur, int ligne);
  // Throws the error of a line that is not `key = value`, a section heading or a comment.
  [[noreturn]] void ErreurLigne(int ligne, std::string_view detail) const;

  const std::string& Fichier() const { return fichier_; }

 private:
  Configuration& config_;
  std::string fichier_;
  std::map<std::string, int> lignes_;  // key (lower case) -> line where it was given
};

// Parses a whole vesk.ini text with the rules above and applies it through lecteur.
void LitConfiguration(std::string_view texte, LecteurConfiguration& lecteur);

// A value as vesk.ini writes it: between double quotes when blanks at its ends, a '"' at its
// start or a ';' would change its reading.
std::string ValeurIni(std::string_view valeur);

// The text of a vesk.ini with the key cle set to valeur: its line replaced (its comment kept,
// every other line as it was), or a line added at the end when the key is not given. A value
// the key refuses, or one that the file could not give back (a ';' after a blank), throws
// ErreurService naming the key; nothing is changed then.
std::string ChangeCle(std::string_view texte, std::string_view cle, std::string_view valeur);

// Applies the value of a command-line option (named `option`, e.g. "--entreprise") to key
// `cle`, with the checks of the file. Errors name the option.
void AppliqueOption(Configuration& config, std::string_view option, std::string_view cle,
                    std::string_view valeur);

}  // namespace vesk

#endif  // VESK_SRV_CONFIG_CONFIGURATION_H_
