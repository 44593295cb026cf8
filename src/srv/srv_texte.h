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

  // valeur in decimal, right-aligned in largeur characters; an error when it does not fit.
  virtual void EntierTexte(int32_t valeur, int16_t largeur, std::string& texte) = 0;
  // nombre as text without blanks: no decimal point for a whole number ("12", "-3.5").
  virtual void NumTexte(double nombre, std::string& texte) = 0;
  // texte fitted to exactly largeur characters: centred when centre is true, left-aligned
  // otherwise; cut when longer.
  virtual void Justifie(std::string_view texte, int16_t largeur, bool centre,
                        std::string& resultat) = 0;
  // texte without its leading and trailing spaces.
  virtual void SupBlancs(std::string_view texte, std::string& resultat) = 0;
  // Every occurrence of cherche in texte replaced by remplace (plain, case-sensitive).
  virtual void Remplace(std::string_view texte, std::string_view cherche,
                        std::string_view remplace, std::string& resultat) = 0;
  // The 2-character coded size (base 256, high byte first) as an integer.
  virtual void DecodeTaille(std::string_view taille, int16_t& valeur) = 0;
  // Whether texte ends with suffixe (plain, case-sensitive).
  virtual void FinitPar(std::string_view texte, std::string_view suffixe, bool& resultat) = 0;
  // Whether texte begins with prefixe (plain, case-sensitive). Note the order: prefix first.
  virtual void CommencePar(std::string_view prefixe, std::string_view texte, bool& resultat) = 0;
  // The inverse of DecodeTaille: valeur (0 to 32767) as its 2-character coded size.
  virtual void EncodeTaille(int16_t valeur, std::string& taille) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_TEXTE_H_
