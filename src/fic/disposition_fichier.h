// Where the fields of a specified file lie in its data file's records and how each is coded, as
// the dictionary model gives them: what reads, checks and converts the application's records
// (`vesk donnees`, `vesk verifie`, a migration) takes its layout from here. Plain data and a
// pure function; any thread.
#ifndef VESK_FIC_DISPOSITION_FICHIER_H_
#define VESK_FIC_DISPOSITION_FICHIER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "fic/modele_dictionnaire.h"
#include "fic/valeur_rubrique.h"

namespace vesk::fic {

// One field in the record.
struct ChampDonnee {
  std::string variable;  // LF5
  std::string nom;       // LF1
  std::string domaine;   // LF10 ("" for a primitive domain)
  CodageRubrique codage;
  int32_t debut = 0;  // its first byte in the record, from 0
};

struct DispositionFichier {
  std::string nom;
  bool entreprise = false;
  int32_t longueur = 0;  // LONGENR
  std::vector<ChampDonnee> champs;

  // The field whose variable is variable, or null.
  const ChampDonnee* Champ(std::string_view variable) const;
};

// The layout of the specified file nom of the model (an ErreurService when it is not there).
DispositionFichier Disposition(const ModeleDictionnaire& m, const std::string& nom);

}  // namespace vesk::fic

#endif  // VESK_FIC_DISPOSITION_FICHIER_H_
