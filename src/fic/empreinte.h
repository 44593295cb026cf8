// The fingerprint of the dictionary parts a generated program is made from (the file, its
// tables, its chainings with the file at their other end, the domains its fields name: the
// part PartiesFichier cuts out): one hash an item, by kind, so that the fingerprint taken now
// tells a recorded one what changed since. Pure functions; any thread.
#ifndef VESK_FIC_EMPREINTE_H_
#define VESK_FIC_EMPREINTE_H_

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// The kinds of items, in the order they are written and told.
enum class GenrePartie { kFichier, kRubriques, kTables, kChainages, kDomaines };
inline constexpr size_t kGenresParties = 5;

// The key of a kind in the record of generated programs ("fichier", "rubriques", "tables",
// "chainages", "domaines").
std::string_view CleGenre(GenrePartie genre);

// By kind, each item's name and hash (16 hexadecimal digits). Items: the file itself (its
// record's values and the order of its fields' variables), each field by its variable (its
// example aside: no program shows it), each table by its name, each chaining by its line file (with
// the values of the file at its other end), each domain by its code.
struct Empreinte {
  std::array<std::map<std::string, std::string>, kGenresParties> parties;

  std::map<std::string, std::string>& operator[](GenrePartie g) {
    return parties[static_cast<size_t>(g)];
  }
  const std::map<std::string, std::string>& operator[](GenrePartie g) const {
    return parties[static_cast<size_t>(g)];
  }
  bool operator==(const Empreinte&) const = default;
};

// The fingerprint of the file nom within parties (the whole model, or PartiesFichier of nom).
Empreinte EmpreinteFichier(const ModeleDictionnaire& parties, std::string_view nom);

// What changed from avant to apres, one text a kind that changed, in kind order:
// "rubriques : CLNOM modifiée, CLTEL ajoutée", "tables : CLIENT2 supprimée". Empty when equal.
std::vector<std::string> Changements(const Empreinte& avant, const Empreinte& apres);

}  // namespace vesk::fic

#endif  // VESK_FIC_EMPREINTE_H_
