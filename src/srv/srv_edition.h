// SrvEdition: printed listings. A listing is opened (OuvEdt), its frame declared (DefEdt), lines
// filled column by column (EcrCol) and printed (FinLigne), free text lines printed (ImprTexte),
// the frame closed (FermeEdt); Termine is always the last call. One object per thread; one
// listing at a time.
#ifndef VESK_SRV_SRV_EDITION_H_
#define VESK_SRV_SRV_EDITION_H_

#include <cstdint>
#include <string_view>

namespace vesk {

class SrvEdition {
 public:
  virtual ~SrvEdition() = default;

  // Opens a listing. titre: printed on every page. sous_titre: a second heading line ("" none).
  // orientation: "" chosen from the frame's width, "V" portrait, "H" landscape. sortie: "" as
  // configured, "PDF", "TXT" or "PDF+TXT". fichier: the output file, "" for a name made from the
  // title and the time in the listings folder. marge: page margins in millimetres (0: default).
  // lignes_page: lines per page (0: from the paper). date: print the date in the heading.
  // numeros: print "page n / N".
  virtual void OuvEdt(std::string_view titre, std::string_view sous_titre,
                      std::string_view orientation, std::string_view sortie,
                      std::string_view fichier, int16_t marge, int16_t lignes_page, bool date,
                      bool numeros) = 0;
  // Last call after a listing, made also when nothing was opened or printed.
  virtual void Termine(int16_t valeur) = 0;
  // Declares the columns of the frame from a report descriptor "[PS,n,[columns],[]]".
  virtual void DefEdt(std::string_view descripteur) = 0;
  // Puts texte in column cle of the current line. option "@": a plain text cell. gras: bold;
  // renvoi: wrap a text wider than the column inside the cell; souligne: underline.
  virtual void EcrCol(std::string_view cle, std::string_view texte, std::string_view option,
                      int16_t gras, int16_t renvoi, int16_t souligne) = 0;
  // Closes the frame; liste: a final line of texts per column ("[]": none); trait: rule below.
  virtual void FermeEdt(std::string_view liste, bool trait) = 0;
  // Prints a free text line in a style (size P/M/G then weight S/D: "PS", "GD"...) and a font.
  virtual void ImprTexte(std::string_view texte, std::string_view style, std::string_view police,
                         std::string_view options) = 0;
  // Prints the current line of the frame.
  virtual void FinLigne() = 0;
  // Skips nombre blank lines.
  virtual void Saute(int16_t nombre) = 0;
  // Starts a new page (the frame's headings are repeated on it).
  virtual void SautPage() = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_EDITION_H_
