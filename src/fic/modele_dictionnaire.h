// The dictionary as plain values, between its records and its text: domains with the lines of
// their definition files, specified files with their fields, B-tree tables and chainings. The
// export reads the records into it and writes it as text; the import reads the text into it,
// checks it whole, then writes it as records. Each value remembers the line of the text it came
// from (0 when it came from the records). Plain data; any thread.
#ifndef VESK_FIC_MODELE_DICTIONNAIRE_H_
#define VESK_FIC_MODELE_DICTIONNAIRE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vesk::fic {

struct DomaineTexte {
  std::string nom;
  std::string fichier;                                 // FDD, the definition file without ".DOM"
  std::optional<std::vector<std::string>> definition;  // absent: no .DOM file
  int32_t ligne = 0;
};

// A field as the user gives it; what is not given takes the rules' defaults.
struct RubriqueTexte {
  std::string nom;
  std::string type;
  std::optional<int64_t> total;
  std::optional<int64_t> decimales;
  std::string variable;
  std::optional<std::string> exemple;
  std::optional<std::string> modification;
  std::optional<std::string> domaine;
  std::optional<std::string> format;  // M of 5 characters without decimals: "I" or "S"
  int32_t ligne = 0;
};

struct FichierTexte {
  bool entreprise = false;          // DFE "O"
  std::optional<int64_t> longueur;  // LONGENR; absent: the proposed length
  std::vector<RubriqueTexte> rubriques;
  int32_t ligne = 0;
};

struct BArbreTexte {
  std::string fichier;  // NOMD
  std::string nature;   // NATT
  std::string cle;      // LCLE
  int32_t ligne = 0;
};

// Keyed by the line file (CHAINL).
struct ChainageTexte {
  std::string entete;                                        // CHAINE
  int64_t arriere = 0, avant = 0, premier = 0, dernier = 0;  // PNEA, PNES, PPE, PDE
  int32_t ligne = 0;
};

struct ModeleDictionnaire {
  std::map<std::string, DomaineTexte> domaines;  // by code
  std::map<std::string, FichierTexte> fichiers;  // by name
  std::map<std::string, BArbreTexte> barbres;    // by table name
  std::map<std::string, ChainageTexte> chainages;
};

}  // namespace vesk::fic

#endif  // VESK_FIC_MODELE_DICTIONNAIRE_H_
