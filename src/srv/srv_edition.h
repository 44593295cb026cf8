// SrvEdition: printed listings. A listing is opened (OuvEdt), its frame declared (DefEdt), lines
// filled column by column (EcrCol) and printed (FinLigne), free text lines printed (ImprTexte),
// the frame closed (FermeEdt); Termine is always the last call. Pages are laid out at Termine
// (the page count "page n / N" is known only then) and written as PDF and/or text. One object
// per thread; one listing at a time. Every refused call throws ErreurService and changes nothing.
#ifndef VESK_SRV_SRV_EDITION_H_
#define VESK_SRV_SRV_EDITION_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

class SrvEdition {
 public:
  virtual ~SrvEdition() = default;

  // Opens a listing. titre: printed on every page, and names the file. sous_titre: a second
  // heading line ("" none). orientation: "" landscape only when a frame is too wide for
  // portrait, "V" portrait, "H" landscape. sortie: "" as configured (or as fichier's extension),
  // "PDF", "TXT" or "PDF+TXT". fichier: the output path (".pdf", ".txt" or no extension), ""
  // for "<TITRE>_<AAAAMMJJ>_<HHMMSS>" in the listings folder. marge: page margins in
  // millimetres, 0 to 50 (0: 8 mm). lignes_page: at most that many lines per page, 0: as many as
  // the paper holds. date: print the date and time in the heading. numeros: print "page n / N".
  // Refused while another listing is open (Termine it first).
  virtual void OuvEdt(std::string_view titre, std::string_view sous_titre,
                      std::string_view orientation, std::string_view sortie,
                      std::string_view fichier, int16_t marge, int16_t lignes_page, bool date,
                      bool numeros) = 0;
  // Last call after a listing, made also when nothing was opened or printed (then it does
  // nothing). valeur 0 lays the listing out and writes its files; any other value abandons it
  // without writing anything. A listing whose frame was never closed by FermeEdt (the caller
  // stopped half-way, on an error) is abandoned whatever the value, unless the user cancelled
  // it: nothing half-printed is written. The listing is closed even when writing fails.
  virtual void Termine(int16_t valeur) = 0;
  // Declares the columns of the frame from a report descriptor "[PS,n,[columns],[]]" (see
  // docs/listings.md). A new DefEdt closes the frame before it.
  virtual void DefEdt(std::string_view descripteur) = 0;
  // Puts texte in column cle of the current line; a second text for the same column goes under
  // the first in the cell. option "@": texte is a field value, its trailing spaces are dropped;
  // "": texte is printed as given. The column's type applies either way (N: a number, printed
  // with its decimals; B: a boolean, printed "Oui"/"Non"). gras: bold; renvoi: a text wider than
  // the column wraps at word boundaries (0: cut at the column width); souligne: underline.
  // Nothing is ever cut off: a long text takes more lines in its cell.
  virtual void EcrCol(std::string_view cle, std::string_view texte, std::string_view option,
                      int16_t gras, int16_t renvoi, int16_t souligne) = 0;
  // Closes the frame; liste: a final line of texts, one per column from the left ("[]": none),
  // printed in bold; trait: a rule below the frame. A line filled but not printed is printed.
  virtual void FermeEdt(std::string_view liste, bool trait) = 0;
  // Prints a free text line in a style (size P/M/G then weight S/D: "PS", "GD"...) and a font
  // ("Arial" and "" as Liberation Sans, "Times New Roman", "Courier New"). options: G, C or D
  // (left, centre, right), S (underline) and R (a continuation: its leading spaces stand for as
  // many characters of the text line above, so it starts under them in any font), e.g. "CS"
  // ("" left). A line wider than the page wraps. Inside a frame it interrupts the frame; the next
  // line repeats the headings.
  virtual void ImprTexte(std::string_view texte, std::string_view style, std::string_view police,
                         std::string_view options) = 0;
  // Prints the current line of the frame; prints nothing when no column was written since the
  // last FinLigne (Saute prints blank lines).
  virtual void FinLigne() = 0;
  // Skips nombre (>= 0) blank lines; blank lines never start a page.
  virtual void Saute(int16_t nombre) = 0;
  // Starts a new page (the frame's headings are repeated on it); nothing on an empty page.
  virtual void SautPage() = 0;
  // The output of the next listing whose OuvEdt leaves its sortie "" (as configured): "PDF",
  // "TXT", "PDF+TXT", or "ECRAN", its text shown to the user in the viewer at Termine and no file
  // written. Used by that listing only; an output the service cannot give is refused here.
  virtual void SortieSuivante(std::string_view sortie) = 0;
  // Marks where what comes next starts with titre, an entry of the document's outline: a
  // bookmark of the PDF pointing at the page of the next line printed (the text output has no
  // outline). The printed text is not changed.
  virtual void Signet(std::string_view titre) = 0;
  // The name the files of the next listing take in the listings folder, in place of its title
  // ("<NOM>_<AAAAMMJJ>_<HHMMSS>"), so that two listings of the same title can be told apart.
  // Used by that listing only; ignored when a path is imposed.
  virtual void NomSuivant(std::string_view nom) = 0;
  // The paths of the files the last listing wrote at its Termine (none when it was abandoned or
  // nothing was printed), for the host to tell the user where they are.
  virtual void FichiersEcrits(std::vector<std::string>& fichiers) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_EDITION_H_
