// SrvTexte: text conversions. Texts are UTF-8; widths and positions count characters.
// Stateless apart from the object itself; one object per thread.
#ifndef VESK_SRV_SRV_TEXTE_H_
#define VESK_SRV_SRV_TEXTE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class SrvTexte {
 public:
  virtual ~SrvTexte() = default;

  // valeur in decimal, right-aligned in largeur characters; an error when it does not fit or
  // largeur is not positive (never cut).
  virtual void EntierTexte(int32_t valeur, int16_t largeur, std::string& texte) = 0;
  // nombre as text without blanks: no decimal point for a whole number ("12", "-3.5"), else the
  // shortest digits that read back exactly, never an exponent (1e20 gives 21 digits); -0 gives
  // "0"; NaN and infinities are errors.
  virtual void NumTexte(double nombre, std::string& texte) = 0;
  // texte fitted to exactly largeur characters: centred when centre is true (the odd space on
  // the right), left-aligned otherwise; cut to its first largeur characters when longer.
  virtual void Justifie(std::string_view texte, int16_t largeur, bool centre,
                        std::string& resultat) = 0;
  // texte without its leading and trailing spaces (U+0020 only; tabs are kept).
  virtual void SupBlancs(std::string_view texte, std::string& resultat) = 0;
  // Every occurrence of cherche in texte replaced by remplace (plain, case-sensitive, from left
  // to right without overlaps); an empty cherche is an error.
  virtual void Remplace(std::string_view texte, std::string_view cherche, std::string_view remplace,
                        std::string& resultat) = 0;
  // The 2-character coded size (base 256, high byte first) as an integer: each character stands
  // for its Windows-1252 byte. Not 2 characters, or a value over 32767, is an error.
  virtual void DecodeTaille(std::string_view taille, int16_t& valeur) = 0;
  // Whether texte ends with suffixe (plain, case-sensitive).
  virtual void FinitPar(std::string_view texte, std::string_view suffixe, bool& resultat) = 0;
  // Whether texte begins with prefixe (plain, case-sensitive). Note the order: prefix first.
  virtual void CommencePar(std::string_view prefixe, std::string_view texte, bool& resultat) = 0;
  // The inverse of DecodeTaille: valeur (0 to 32767, else an error) as its 2-character coded
  // size (a byte 0 is the character U+0000).
  virtual void EncodeTaille(int16_t valeur, std::string& taille) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_TEXTE_H_
