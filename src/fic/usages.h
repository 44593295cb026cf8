// Where a name of the dictionary is used: a field's variable, a domain's code, a file or a B-tree
// table, found in the files, fields, key lists, chainings and domains of a model and in the
// programs recorded as generated from it. The one computation behind `vesk usages NOM` and the
// file entry's question before a deletion. Pure functions over models, except the thread's
// source of recorded programs (InstalleProgrammesThread).
#ifndef VESK_FIC_USAGES_H_
#define VESK_FIC_USAGES_H_

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fic/empreinte.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// The kinds of uses, in the order they are listed.
enum class GenreUsage { kFichiers, kRubriques, kListesCle, kChainages, kDomaines, kProgrammes };

// A program recorded as generated: its name, generator ("decl", "genps", "genpe"), file and the
// fingerprint of what it was made from.
struct ProgrammeUtilise {
  std::string nom, generateur, fichier;
  Empreinte empreinte;
};

struct Usage {
  GenreUsage genre;
  std::string texte;    // "CLI1 du fichier CLIENT (P) [[CLCODE,_,_]]"
  std::string fichier;  // the file it belongs to ("" for a domain)
  std::string partie;   // its name: the field's variable, the table, the line file, the code
};

// The uses found, each once, in the order found.
class Usages {
 public:
  void Ajoute(Usage usage);
  bool Vide() const { return usages_.empty(); }
  const std::vector<Usage>& Liste() const { return usages_; }
  // The uses kept by garde, in their order.
  Usages Filtre(const std::function<bool(const Usage&)>& garde) const;
  // By kind in the order of GenreUsage: the kind's line ("listes de clé :"), then each use
  // indented by two spaces.
  std::vector<std::string> Lignes() const;

 private:
  std::vector<Usage> usages_;
};

// Every use of nom (a file, a field's variable, a domain or a table) in m and programmes.
Usages UsagesNom(const ModeleDictionnaire& m, std::string_view nom,
                 std::span<const ProgrammeUtilise> programmes);
// What a deletion of the file fichier leaves without it: the uses of its name but its own entry
// and the domains its fields name.
Usages UsagesFichier(const ModeleDictionnaire& m, std::string_view fichier,
                     std::span<const ProgrammeUtilise> programmes);
// What a deletion of the field variable of fichier leaves without it: the key lists of
// fichier's tables that name it and the programs recorded for fichier that hold it.
Usages UsagesRubrique(const ModeleDictionnaire& m, std::string_view fichier,
                      std::string_view variable, std::span<const ProgrammeUtilise> programmes);

// The programs recorded for the thread's data folder, as the host gives them to the screens
// (none until a host installs its source; an empty source removes it).
using SourceProgrammes = std::function<std::vector<ProgrammeUtilise>()>;
void InstalleProgrammesThread(SourceProgrammes source);
std::vector<ProgrammeUtilise> ProgrammesDuThread();

}  // namespace vesk::fic

#endif  // VESK_FIC_USAGES_H_
