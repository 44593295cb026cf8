// The listing service's small rules: where a listing is written (formats, explicit paths, names
// made from the title and the time), how typed values are printed (numbers, booleans), which
// font family a font name means, and the options of a free text line. Free functions without
// state; safe from any thread. Those that refuse an argument throw ErreurService.
#ifndef VESK_SRV_REPORT_OUTPUT_NAMES_H_
#define VESK_SRV_REPORT_OUTPUT_NAMES_H_

#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "srv/report/descriptor.h"
#include "srv/report/renderer.h"

namespace vesk::report {

// The files a listing goes to.
struct Sorties {
  bool pdf = false;
  bool txt = false;
  std::string chemin;  // an explicit path without its extension; "" to name it in the folder
};

// Reads OuvEdt's sortie ("", "PDF", "TXT", "PDF+TXT", any case), the configured default and an
// explicit path (ending in .pdf or .txt, or without extension). "" takes the path's extension,
// else the default. Refuses an unknown output, an extension that contradicts the output, and
// PDF where no PDF renderer is built.
Sorties ChoisitSorties(std::string_view sortie, std::string_view defaut, std::string_view fichier,
                       bool pdf_disponible, std::string_view titre);
// The paths to write, ".pdf" before ".txt". Without an explicit path: in dossier (created when
// absent), "<TITRE>_<AAAAMMJJ>_<HHMMSS>" from the title (letters and digits kept, accents
// dropped, other characters made "_") and the opening time, "_2", "_3"... when taken.
std::vector<std::string> NommeSorties(const Sorties& sorties, const std::string& dossier,
                                      std::string_view titre, const platform::DateHeure& heure);
// The file part of a name made from a title ("EDITION_DES_DOMAINES", "EDITION" when empty).
std::string NomDeTitre(std::string_view titre);
bool EstPdf(std::string_view chemin);
// Writes through a temporary file renamed over chemin: a reader never sees half a listing.
void EcritAtomique(Renderer& rendu, const Document& document, const std::string& chemin,
                   SuiviProgression& suivi);

// "31/12/2026 14:05".
std::string TexteDate(const platform::DateHeure& heure);

// A number written in digits, optionally signed, with "." or "," before its decimals, printed
// with exactly decimales decimals after a ",". Blank gives "". False with a French *erreur when
// it is not a number or when it has more significant decimals than the column prints.
bool FormateNombre(std::string_view texte, int decimales, std::string* valeur, std::string* erreur);
// "Oui" for O, Oui, V, Vrai, -1, 1; "Non" for N, Non, F, Faux, 0 and blank (any case). False
// for anything else.
bool FormateBooleen(std::string_view texte, std::string* valeur);

// The family drawing a font name: Arial/Helvetica (and "") Liberation Sans, Times New Roman
// Liberation Serif, Courier New Liberation Mono. Throws for another name.
std::string FamillePolice(std::string_view police);
// The options of ImprTexte: letters G (left), C (centre), D (right), S (underlined), R (a
// continuation: TextLine::hang), written alone or as a list ("CS", "[C,S]"); "" or "[]" none.
void OptionsTexte(std::string_view options, TextLine* line);

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_OUTPUT_NAMES_H_
