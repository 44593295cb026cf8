// SrvTexteImpl: the text service over UTF-8 texts, widths counted in characters. It holds no
// state; one object per thread like every service. Every operation checks its texts (valid
// UTF-8) and throws ErreurService rather than cut or repair; out arguments change only on
// success.
#ifndef VESK_SRV_TEXT_SRV_TEXTE_IMPL_H_
#define VESK_SRV_TEXT_SRV_TEXTE_IMPL_H_

#include "srv/srv_texte.h"

namespace vesk {

class SrvTexteImpl : public SrvTexte {
 public:
  void EntierTexte(int32_t valeur, int16_t largeur, std::string& texte) override;
  void NumTexte(double nombre, std::string& texte) override;
  void Justifie(std::string_view texte, int16_t largeur, bool centre,
                std::string& resultat) override;
  void SupBlancs(std::string_view texte, std::string& resultat) override;
  void Remplace(std::string_view texte, std::string_view cherche, std::string_view remplace,
                std::string& resultat) override;
  void DecodeTaille(std::string_view taille, int16_t& valeur) override;
  void FinitPar(std::string_view texte, std::string_view suffixe, bool& resultat) override;
  void CommencePar(std::string_view prefixe, std::string_view texte, bool& resultat) override;
  void EncodeTaille(int16_t valeur, std::string& taille) override;
};

}  // namespace vesk

#endif  // VESK_SRV_TEXT_SRV_TEXTE_IMPL_H_
