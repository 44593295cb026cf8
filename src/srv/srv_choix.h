// SrvChoix: lets the user pick elements of a list shown in columns. One object per thread.
#ifndef VESK_SRV_SRV_CHOIX_H_
#define VESK_SRV_SRV_CHOIX_H_

#include <string>
#include <string_view>

namespace vesk {

class SrvChoix {
 public:
  virtual ~SrvChoix() = default;

  // Shows liste (each element a line; an element that is a list fills the columns) under the
  // column descriptor "[[G,40,Heading],...]" (G left, D right, C centre, width, heading) and
  // titre. choisi is false when the user gave no choice (Esc); otherwise element is the chosen
  // element as it stands in liste.
  virtual void Choix(std::string_view colonnes, std::string_view titre, std::string_view liste,
                     bool& choisi, std::string& element) = 0;
  // The same with several elements marked (space); elements is the list of the chosen ones in
  // list order ("[]" when none). Enter with nothing marked chooses the current element.
  // A malformed descriptor or list is an ErreurService; an empty list gives no choice.
  virtual void ChoixMultiple(std::string_view colonnes, std::string_view titre,
                             std::string_view liste, bool& choisi, std::string& elements) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_CHOIX_H_
