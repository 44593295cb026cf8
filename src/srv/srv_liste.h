// SrvListe: the bracketed-list notation, "[a,b,[c,d]]", "[]" the empty list. Elements may be
// empty ("[a,,b]" has three) and keep their spaces; an element may itself be a list.
// One object per thread.
#ifndef VESK_SRV_SRV_LISTE_H_
#define VESK_SRV_SRV_LISTE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class SrvListe {
 public:
  virtual ~SrvListe() = default;

  // Appends element at the end of liste ("[]" becomes "[element]").
  virtual void Ajoute(std::string& liste, std::string_view element) = 0;
  // Removes the first element of liste and gives it; liste becomes "[]" when emptied. Taking
  // from "[]" gives an empty element and leaves "[]".
  virtual void Extrait(std::string& liste, std::string& element) = 0;
  // The same contract as Extrait, for keyword lists.
  virtual void ExtraitMot(std::string& liste, std::string& element) = 0;
  // The position-th part (from 1) of a bracketed element "[KEY,LABEL,A,6]"; empty when the
  // element has fewer parts.
  virtual void Element(std::string_view element, int16_t position, std::string& texte) = 0;
  // Number of elements of liste.
  virtual void NbElements(std::string_view liste, int32_t& nombre) = 0;
  // Syntax check: 0 when liste is well formed, otherwise the 1-based position (in characters)
  // of the first faulty character (one past the end when the text ends too early).
  virtual void VerifieSyntaxe(std::string_view liste, int16_t& position) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_LISTE_H_
