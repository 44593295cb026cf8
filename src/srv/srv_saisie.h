// SrvSaisie: the entry screen. A screen is started (InitEcran), titled (Titre), its fields laid
// out from a field descriptor (DefChamps), then entered one at a time (Sai). One object per
// thread; one screen at a time.
#ifndef VESK_SRV_SRV_SAISIE_H_
#define VESK_SRV_SRV_SAISIE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class SrvSaisie {
 public:
  virtual ~SrvSaisie() = default;

  // Declares and draws the fields of "[[KEY,LABEL,TYPE,LENGTH(,LINE(,COLUMN))],...]"; types A
  // (any Windows-1252 text), B (O/N; its LENGTH may be left out), N<d> (number typed with a
  // point and up to d decimals),
  // I<d> (number typed without a point, its last d digits being the decimals); LENGTH the width
  // in characters; LINE the 1-based line of the field (empty: after the previous field);
  // COLUMN the 1-based column of its label (empty: 1). A malformed descriptor is an
  // ErreurService naming the field and leaves the screen as it was.
  virtual void DefChamps(std::string_view descripteur) = 0;
  // Enters field cle starting from valeur; gives back the text typed and the code of the key
  // that ended the entry (Enter, or a code of SrvEcran: back, start, Esc, F1 to F7). The width
  // and type are enforced while typing; a value is given back only complete and valid (Esc
  // gives it as typed). On the first field of the screen a starting value "I" or "B" (the mode
  // letter of the previous lookup) starts an empty entry. touche_initiale: 0, or a key code to
  // act as if pressed first (an ending key ends the entry at once). options: "[]", the allowed
  // values "[U,R,A,S]", or values and labels "[[U,R,A,S],[label,...]]". ligne: where refusals
  // are shown ("N", "B" or "I"). An unknown field is an ErreurService.
  virtual void Sai(std::string_view cle, std::string& valeur, int16_t& touche,
                   int16_t touche_initiale, std::string_view options, std::string_view ligne) = 0;
  // Waits for the key that confirms a deletion; gives the key and leaves confirme as it is
  // (the caller compares the key with ToucheConfirmation).
  virtual void Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) = 0;
  // Shows valeur in field cle without entry (a value wider than the box shows its start).
  virtual void Affiche(std::string_view cle, std::string_view valeur) = 0;
  // Shows the mode beside the key field; lettre "I" (found) or "B" (new).
  virtual void AffMode(std::string_view cle, std::string_view lettre, std::string_view mode) = 0;
  // Shows message on line ligne for field cle: on "N" it is the field's own message line
  // (beside its box, shown while the field is current when it does not fit there); on "B" or
  // "I" the screen's line. touche is not used.
  virtual void MessChamp(std::string_view cle, std::string_view ligne, std::string_view message,
                         int16_t touche) = 0;
  // The rule the value of field cle must follow, in the screen's words, shown on a line of its
  // own while the field is entered ("" none), so that a value refused without a message is
  // still understood. Kept until the next InitEcran or DefChamps.
  virtual void RegleChamp(std::string_view cle, std::string_view regle) = 0;
  // Starts a new, empty entry screen: no title, no field, empty lines. touche: 0.
  virtual void InitEcran(int16_t touche) = 0;
  // Shows texte on line ligne ("B" bottom line, "N" the current field's message line, "I"
  // information line under the title); any other letter is an ErreurService.
  virtual void Message(std::string_view ligne, std::string_view texte) = 0;
  // Sets the screen's title line.
  virtual void Titre(std::string_view titre) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_SAISIE_H_
