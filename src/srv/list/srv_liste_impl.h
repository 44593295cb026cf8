// SrvListeImpl: the list service over the bracketed-list reader of srv/list/liste.h. It holds no
// state; like every service object it is used by one thread. Each operation checks its whole
// list and throws ErreurService naming the first faulty character when the list is malformed,
// leaving its arguments unchanged.
#ifndef VESK_SRV_LIST_SRV_LISTE_IMPL_H_
#define VESK_SRV_LIST_SRV_LISTE_IMPL_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "srv/srv_liste.h"

namespace vesk {

class SrvListeImpl : public SrvListe {
 public:
  // Refuses an element that would not read back as itself: one holding "," or a bracket
  // outside a well-formed list, or an empty element put into "[]" (which would stay "[]").
  void Ajoute(std::string& liste, std::string_view element) override;
  // A list whose only remaining element is empty ("[a,]" once "a" is taken) becomes "[]".
  void Extrait(std::string& liste, std::string& element) override;
  void ExtraitMot(std::string& liste, std::string& element) override;
  // A list element "[KEY,LABEL,A,6]" gives its parts; a plain element has one part, itself;
  // position < 1 is an error.
  void Element(std::string_view element, int16_t position, std::string& texte) override;
  void NbElements(std::string_view liste, int32_t& nombre) override;
  // A fault beyond character 32767 cannot be given as a position: it is an error.
  void VerifieSyntaxe(std::string_view liste, int16_t& position) override;
};

}  // namespace vesk

#endif  // VESK_SRV_LIST_SRV_LISTE_IMPL_H_
