// The programs vesk generated into a folder, and what each was made from: the record
// DOSSIER/vesk-programmes.toml (UTF-8), one table a program, written whole through a temporary
// file renamed over it. The program's own text (NAME.bas) stays exactly as generated; the record
// keeps the generator, the file, the dialog's answers, the text's form and the fingerprint of
// the dictionary parts the program used (fic/empreinte.h). Used from main's thread.
#ifndef VESK_CLI_PROGRAMMES_H_
#define VESK_CLI_PROGRAMMES_H_

#include <string>
#include <string_view>
#include <vector>

#include "cli/commandes.h"
#include "cli/options.h"
#include "fic/empreinte.h"
#include "fic/usages.h"

namespace vesk::cli {

inline constexpr std::string_view kRegistreProgrammes = "vesk-programmes.toml";
// The folder of generated programs under the data folder, when none is named.
inline constexpr std::string_view kDossierProgrammes = "PROGRAMMES";

struct ProgrammeEnregistre {
  std::string nom{};         // the program's name; its text is nom + ".bas"
  std::string generateur{};  // "decl", "genps" or "genpe"
  std::string fichier{};     // the data file it was generated for
  // The answers of the generator's dialog: genps NProg, TProg, CodLab; genpe NPROG and SCSV.
  std::string programme{}, titre{}, suffixe{};
  bool csv = true;
  Encodage encodage = Encodage::kUtf8;
  FinDeLigne fin_de_ligne = FinDeLigne::kCrLf;
  fic::Empreinte empreinte{};
};

// The record's text: the programs in name order. The same record always gives the same bytes.
std::string TexteRegistre(const std::vector<ProgrammeEnregistre>& programmes);
// The record read from its text (chemin names it in messages): a text that is not a record is
// an ErreurService naming chemin, the line and the fault.
std::vector<ProgrammeEnregistre> LitTexteRegistre(std::string_view texte,
                                                  const std::string& chemin);

// The record of dossier: empty when the folder holds none.
std::vector<ProgrammeEnregistre> LitRegistre(const std::string& dossier);
// The programs of a record as the dictionary's uses see them (fic/usages.h).
std::vector<fic::ProgrammeUtilise> ProgrammesUtilises(
    const std::vector<ProgrammeEnregistre>& programmes);
// What changed in the dictionary modele under p since it was recorded (empty: nothing, the
// program is up to date): fic::Changements, or its file removed.
std::vector<std::string> ChangementsProgramme(const ProgrammeEnregistre& p,
                                              const fic::ModeleDictionnaire& modele);
// Writes the record of dossier (creating the folder when needed).
void EcritRegistre(const std::string& dossier, const std::vector<ProgrammeEnregistre>& programmes);
// Adds programme to the record, replacing the one of the same name (compared without case).
void Enregistre(std::vector<ProgrammeEnregistre>& programmes, ProgrammeEnregistre programme);

// The folder of --output-dir: its value, or without one the data folder's PROGRAMMES.
std::string DossierProgrammes(const Contexte& contexte);
// Generates programme's program without screens (its dialog's answers as given), writes it to
// the folder of --output-dir as NAME.bas and records it there with the fingerprint of what it
// was made from. The exit status: 1 when the generation reported anomalies (all is written).
int GenereDansDossier(Contexte& contexte, ProgrammeEnregistre programme);

// Writes texte as the file chemin through a temporary file renamed over it (ErreurService of
// operation naming chemin when it cannot be written).
void EcritFichierEntier(const std::string& chemin, std::string_view texte,
                        std::string_view operation = "Écriture");
// The whole content of chemin; found false when there is no such file.
std::string LitFichierEntier(const std::string& chemin, bool& trouve);

}  // namespace vesk::cli

#endif  // VESK_CLI_PROGRAMMES_H_
