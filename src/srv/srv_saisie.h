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

  // Declares and draws the fields of "[[KEY,LABEL,TYPE,LENGTH,...],...]"; types A (text),
  // B (O/N), N<d> (number with d decimals), I<d> (integer entry with d decimals).
  virtual void DefChamps(std::string_view descripteur) = 0;
  // Enters field cle starting from valeur; gives back the text typed and the code of the key
  // that ended the entry. touche_initiale: 0, or a key code to act as if pressed first.
  // options: "[]" or a choice list offered on the field. ligne: the line of its messages.
  virtual void Sai(std::string_view cle, std::string& valeur, int16_t& touche,
                   int16_t touche_initiale, std::string_view options, std::string_view ligne) = 0;
  // Waits for the key that confirms a deletion; gives the key and leaves confirme as it is
  // (the caller compares the key with ToucheConfirmation).
  virtual void Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) = 0;
  // Shows valeur in field cle without entry.
  virtual void Affiche(std::string_view cle, std::string_view valeur) = 0;
  // Shows the mode beside the key field; lettre "I" (found) or "B" (new).
  virtual void AffMode(std::string_view cle, std::string_view lettre, std::string_view mode) = 0;
  // Shows message on line ligne for field cle.
  virtual void MessChamp(std::string_view cle, std::string_view ligne, std::string_view message,
                         int16_t touche) = 0;
  // Starts a new, empty entry screen.
  virtual void InitEcran(int16_t touche) = 0;
  // Shows texte on line ligne ("B" bottom line, "N" the current field's message line, "I"
  // information line).
  virtual void Message(std::string_view ligne, std::string_view texte) = 0;
  // Sets the screen's title line.
  virtual void Titre(std::string_view titre) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_SAISIE_H_
