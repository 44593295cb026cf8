// SrvListe: the bracketed-list notation, "[a,b,[c,d]]", "[]" the empty list. Elements may be
// empty ("[a,,b]" has three, "[,]" two) and keep their spaces ("[ ]" is one element, a space);
// an element may itself be a list, kept whole with its brackets. There is no escape character:
// a "[" may only open an element ("[a[b]]" is malformed) and a sub-list ends its element.
// Every operation refuses a malformed list with ErreurService naming the first faulty
// character, and leaves its arguments unchanged. One object per thread.
#ifndef VESK_SRV_SRV_LISTE_H_
#define VESK_SRV_SRV_LISTE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class SrvListe {
 public:
  virtual ~SrvListe() = default;

  // Appends element at the end of liste ("[]" becomes "[element]"). An element that would not
  // read back as itself (a "," or bracket outside a well-formed list, or "" put into "[]") is
  // refused.
  virtual void Ajoute(std::string& liste, std::string_view element) = 0;
  // Removes the first element of liste and gives it; liste becomes "[]" when emptied. Taking
  // from "[]" gives an empty element and leaves "[]". A list of one empty element cannot be
  // written, so "[a,]" becomes "[]" once "a" is taken.
  virtual void Extrait(std::string& liste, std::string& element) = 0;
  // The same contract as Extrait, for keyword lists.
  virtual void ExtraitMot(std::string& liste, std::string& element) = 0;
  // The position-th part (from 1) of a bracketed element "[KEY,LABEL,A,6]"; empty when the
  // element has fewer parts. A plain element has one part, itself. Position < 1 is an error.
  virtual void Element(std::string_view element, int16_t position, std::string& texte) = 0;
  // Number of elements of liste.
  virtual void NbElements(std::string_view liste, int32_t& nombre) = 0;
  // Syntax check: 0 when liste is well formed, otherwise the 1-based position (in characters)
  // of the first faulty character (one past the end when the text ends too early). A fault
  // beyond character 32767 is an error, not a position.
  virtual void VerifieSyntaxe(std::string_view liste, int16_t& position) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_LISTE_H_
