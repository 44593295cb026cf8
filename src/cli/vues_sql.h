// The typed SQL views of a database store (docs/postgresql.md): for each specified data file, a
// view that decodes its live records into columns named after the fields' variables, and the
// SQL functions of ours they use (binary reals, coded dates, numbers held as text). Text only:
// the statements are written here and run or printed by `vesk sql`. Pure functions; any thread.
#ifndef VESK_CLI_VUES_SQL_H_
#define VESK_CLI_VUES_SQL_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::cli {

// A field as the view decodes it.
struct ColonneVue {
  std::string variable;  // the field's variable ("CLCODE"): the column "clcode"
  char type = 'A';       // A, M, N, D, E, B or L
  char format = 'A';     // the internal format: A, I, S or D
  int32_t debut = 1;     // its first byte in the record, from 1
  int32_t longueur = 1;  // its internal length
  int32_t decimales = 0;
};

// A specified data file and the schemas whose store holds it.
struct FichierVue {
  std::string nom;  // "CLIENT"
  std::vector<ColonneVue> colonnes;
  std::vector<std::string> schemas;  // "vesk_01"...; none: no view
};

// The comment every view of ours carries, followed by its file's name: what tells a view of
// ours from one a user made in the same schema.
inline constexpr std::string_view kCommentaireVue = "Enregistrements en service du fichier ";

// The view of the file nom ("CLIENT": "v_client").
std::string NomVue(std::string_view nom);
// The statement that drops the view vue of schema.
std::string SupprimeVue(std::string_view schema, std::string_view vue);

// The statements that create or replace the functions of the views, in the root schema.
std::vector<std::string> FonctionsVues(std::string_view racine);
// The statements that replace the view of f in schema (dropped, then created, so that a layout
// that changed gives its new columns). The record number is the column "no".
std::vector<std::string> VueFichier(const FichierVue& f, std::string_view schema,
                                    std::string_view racine);
// The faults that keep f from having a view: a variable given twice or named "no", a field past
// the record length; each "CLIENT : reason". Empty when it can have one.
std::vector<std::string> FautesVue(const FichierVue& f, int64_t longueur_enregistrement);
// The statements as a script psql runs: each ended by ";" and a blank line.
std::string TexteSql(const std::vector<std::string>& instructions);

}  // namespace vesk::cli

#endif  // VESK_CLI_VUES_SQL_H_
