// The dictionary read from its five files into the model (fic/modele_dictionnaire.h), and the
// rules that turn a record's text into the model's values: the one place each of them is
// applied. Also the completion of a model read from a text (the field rules' defaults). Works
// on the session's services; the dictionary must be open (AsS::OuvS).
#ifndef VESK_FIC_LECTURE_DICTIONNAIRE_H_
#define VESK_FIC_LECTURE_DICTIONNAIRE_H_

#include <string>
#include <string_view>
#include <vector>

#include "core/enregistrement.h"
#include "core/session.h"
#include "fic/modele_dictionnaire.h"

namespace vesk::fic {

// The whole dictionary, complete, in one walk of each file: domains (their definition files
// left unread: LitDefinitions), files with their fields, tables with their key lists parsed,
// chainings. The session's current records are as they were before the call.
ModeleDictionnaire LitDictionnaire(Session& s);
// The dictionary as LitDictionnaire reads it, but with the fields of the file nom only (the other
// files without fields, the key lists of their tables not parsed): everything a program of nom
// is made from (PartiesFichier), without walking the field lines of every file.
ModeleDictionnaire LitDictionnairePour(Session& s, std::string_view nom);
// Reads the lines of every domain's definition file into the model (absent: no file).
void LitDefinitions(Session& s, ModeleDictionnaire& m);
// The names of the tables of the file nom in the B-tree dictionary, in table order (only the
// current Ba record changes): what a field's entry checks its variable against.
std::vector<std::string> TablesDuFichier(Session& s, std::string_view nom);

// LONGENR of a Fic record: decimal digits between spaces (all spaces: 0); anything else is an
// ErreurService naming the file.
int32_t LongueurEnr(const Enregistrement& fic);
// The chaining of a Chain record: its header file and pointer positions.
Chainage ChainageDe(const Enregistrement& chain);

// The values a checked model read from a text leaves out, given by the field rules: totals,
// examples (the screen service's default date for a date field), modification types, domains,
// internal formats, record lengths; then the fields placed and the key lists parsed.
void Complete(Session& s, ModeleDictionnaire& m);
void CompleteFichier(Session& s, Fichier& f);
// Parses the key list of every table of m against the fields of its file.
void AnalyseCles(Session& s, ModeleDictionnaire& m);

}  // namespace vesk::fic

#endif  // VESK_FIC_LECTURE_DICTIONNAIRE_H_
