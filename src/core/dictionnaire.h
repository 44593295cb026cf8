// The five dictionary files: their names, record lengths, key lengths and the record tables
// that cut each record into its fields. Constant data; safe from any thread.
#ifndef VESK_CORE_DICTIONNAIRE_H_
#define VESK_CORE_DICTIONNAIRE_H_

#include <array>
#include <cstdint>
#include <string_view>

#include "core/enregistrement.h"

namespace vesk {

// Fields of a Fic record (one record per specified data file).
enum ChampFic : size_t { kNomFic, kDfe, kLongEnr, kPremLigneFic, kDernLigneFic };
inline constexpr std::array<DefChamp, 5> kChampsFic = {
    {{"NOMFIC", 6}, {"DFE", 1}, {"LONGENR", 5}, {"première ligne", 3}, {"dernière ligne", 3}}};

// Fields of an Lfic record (one record per field of a specified file, chained to Fic).
enum ChampLfic : size_t {
  kLigPrec,
  kLigSuiv,
  kLf1,
  kLf2,
  kLf3,
  kLf4,
  kLf5,
  kLf6,
  kLf7,
  kFormatInterne,
  kLongueurInterne,
  kLf10
};
inline constexpr std::array<DefChamp, 12> kChampsLfic = {{{"ligne précédente", 3},
                                                          {"ligne suivante", 3},
                                                          {"LF1", 40},
                                                          {"LF2", 1},
                                                          {"LF3", 2},
                                                          {"LF4", 2},
                                                          {"LF5", 20},
                                                          {"LF6", 40},
                                                          {"LF7", 1},
                                                          {"format interne", 1},
                                                          {"longueur interne", 2},
                                                          {"LF10", 20}}};

// Fields of a Dom record (definition domains).
enum ChampDom : size_t { kCoDom, kNomDom, kFdd };
inline constexpr std::array<DefChamp, 3> kChampsDom = {{{"CODOM", 20}, {"NOMDOM", 40}, {"FDD", 8}}};

// Fields of a Ba record (B-tree tables).
enum ChampBa : size_t { kNomT, kNomD, kNatT, kLongCle, kLCle };
inline constexpr std::array<DefChamp, 5> kChampsBa = {
    {{"NOMT", 6}, {"NOMD", 6}, {"NATT", 1}, {"LONGCLE", 5}, {"LCLE", 100}}};

// Fields of a Chain record (chainings between a line file and a header file).
enum ChampChain : size_t { kChainL, kPnea, kPnes, kChainE, kPpe, kPde };
inline constexpr std::array<DefChamp, 6> kChampsChain = {
    {{"CHAINL", 6}, {"PNEA", 5}, {"PNES", 5}, {"CHAINE", 6}, {"PPE", 5}, {"PDE", 5}}};

// Open parameters of a dictionary file.
struct FichierDictionnaire {
  std::string_view nom;
  int16_t longueur_enr;
  int16_t longueur_cle;  // 0: no B-tree
};

inline constexpr FichierDictionnaire kFic{"Fic", 32, 6};
inline constexpr FichierDictionnaire kLfic{"Lfic", 256, 0};
inline constexpr FichierDictionnaire kDom{"Dom", 100, 20};
inline constexpr FichierDictionnaire kBa{"Ba", 128, 6};
inline constexpr FichierDictionnaire kChain{"Chain", 64, 6};
inline constexpr std::array<FichierDictionnaire, 5> kFichiersDictionnaire = {
    {kFic, kLfic, kDom, kBa, kChain}};

// The 1-based position of field i of a record table.
template <size_t N>
constexpr int16_t PositionChamp(const std::array<DefChamp, N>& champs, size_t i) {
  int16_t position = 1;
  for (size_t k = 0; k < i; ++k) position = static_cast<int16_t>(position + champs[k].largeur);
  return position;
}

// The dictionary's own chaining: the Lfic lines of a file under its Fic record, the first and
// last line in the header, the previous and next line in each line.
struct PositionsChainage {
  int16_t premiere, derniere;    // in the header record
  int16_t precedente, suivante;  // in the line record
};
inline constexpr PositionsChainage kChainageLficFic{
    PositionChamp(kChampsFic, kPremLigneFic), PositionChamp(kChampsFic, kDernLigneFic),
    PositionChamp(kChampsLfic, kLigPrec), PositionChamp(kChampsLfic, kLigSuiv)};

}  // namespace vesk

#endif  // VESK_CORE_DICTIONNAIRE_H_
