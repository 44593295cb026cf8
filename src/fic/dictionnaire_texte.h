// The dictionary as one UTF-8 TOML text that reads and diffs well and loads back exactly:
// domains with the lines of their .DOM files, files in name order with their fields in field
// order, B-tree tables and chainings (docs/dictionary-text.md gives the format). Works on the
// session it is given: the dictionary must be open (AsS::OuvS).
#ifndef VESK_FIC_DICTIONNAIRE_TEXTE_H_
#define VESK_FIC_DICTIONNAIRE_TEXTE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/session.h"
#include "fic/modele_dictionnaire.h"
#include "srv/migration.h"
#include "srv/suivi_progression.h"

namespace vesk::fic {

// The whole dictionary as text; the same dictionary always gives the same bytes.
std::string ExporteDictionnaire(Session& s);

// Replaces the dictionary by the text (nom names it in messages). Everything an entry screen
// would refuse is refused, each fault named by "nom:line : reason", and nothing is written.
// Otherwise the .DOM definition files are each replaced atomically, then the five dictionary
// files in one batch: afterwards the whole new dictionary is there, or (after an error or a
// crash) the old one. When the layout of files that hold records changes, the import is
// refused, naming them, unless migre: then their data is converted and put in place with the
// new dictionary's batch, all or nothing (docs/migration.md). essai: checks only (with migre,
// the plan of the migration). Gives the counts of what the text holds, and the plan.
struct OptionsImport {
  bool essai = false;    // --dry-run
  bool migre = false;    // --migrate
  bool tronque = false;  // --truncate
};
struct BilanImport {
  size_t domaines = 0, fichiers = 0, rubriques = 0, barbres = 0, chainages = 0;
  // Not empty when the batch committed but its files could not all be written now (why): the
  // new dictionary holds, and the next opening of the folder writes it into its files.
  std::string ecriture_differee;
  std::string plan;        // the migration's plan ("" when no file with data changes)
  std::string sauvegarde;  // the backup folder of a migration made
};
// suivi (may be null) is told how many domains, files, tables and chainings are written.
BilanImport ImporteDictionnaire(Session& s, std::string_view texte, std::string_view nom,
                                const OptionsImport& options, SuiviProgression* suivi = nullptr);
inline BilanImport ImporteDictionnaire(Session& s, std::string_view texte, std::string_view nom,
                                       bool essai, SuiviProgression* suivi = nullptr) {
  return ImporteDictionnaire(s, texte, nom, OptionsImport{essai, false, false}, suivi);
}

// --- The steps, for the tests and the tools that need one of them ---

// (The model from the records and its completion: fic/lecture_dictionnaire.h.)
// The model as TOML text, and back: a text that is not TOML, or not of the model's shape, is an
// ErreurService naming nom, the line and the fault.
std::string EcritToml(const ModeleDictionnaire& modele);
// A TOML basic string of s (quotes, backslashes and control characters escaped), and a key: bare
// when it is letters, digits, "_" and "-", else that string.
std::string ChaineToml(std::string_view s);
std::string CleToml(std::string_view k);
ModeleDictionnaire LitToml(std::string_view texte, std::string_view nom);
// Every fault of the model, each as "nom:line : reason"; empty when it can be written.
std::vector<std::string> ControleModele(Session& s, const ModeleDictionnaire& modele,
                                        std::string_view nom);
// Ends the import: an ErreurService naming nom that lists the faults.
[[noreturn]] void RefuseTexte(std::string_view nom, const std::vector<std::string>& fautes);
// Replaces the dictionary's records and definition files by the checked model, complete
// (Complete). With a migration, its batch is put in place with the migrated files
// (SrvDonnee::Migre), and bilan receives the migration's outcome.
void RemplaceDictionnaire(Session& s, const ModeleDictionnaire& modele,
                          SuiviProgression* suivi = nullptr,
                          const PlanMigration* migration = nullptr,
                          BilanMigration* bilan = nullptr);

}  // namespace vesk::fic

#endif  // VESK_FIC_DICTIONNAIRE_TEXTE_H_
