// The generated-code buffer: the start of a generation, the appending of a line to the text of
// the form "Génération de Code", and the framing comments every generator uses (rule line,
// blank line, title box, title box with a list). Work on the calling thread's s.Gen() and
// services; one thread at a time.
#ifndef VESK_GENCODE_TAMPON_H_
#define VESK_GENCODE_TAMPON_H_

#include <string>
#include <string_view>

#include "core/session.h"

namespace vesk {

// Width of a rule line after "Rem ", and of a title box line.
inline constexpr int kLargeurTrait = 76;

// Starts a generation, in this order: creates the form if the thread has none, shows it (the
// host's display), empties its text and the anomalies, then re-creates the instruction record
// as entries 0 to 10; the count of recorded lines is kept from the previous generation.
void InitGenCode(Session& s);
// Tells the host's display that the generation wrote its last line.
void TermineGenCode(Session& s);
// Appends CR LF and the line to the generated text. Only EcrireLigne calls it.
void AjouteLigneFeuille(Session& s, std::string_view ligne);
// Reports an anomaly through the anomaly service and keeps it for the host.
void SignaleAnomalieGen(Session& s, std::string_view message, std::string_view procedure);

// "Rem " and the rule text repeated 76 times, at column 0.
void GenTrait(Session& s, std::string_view caractere);
// An empty line (not recorded).
void GenLigneVide(Session& s);
// A rule of haut, the title centred on 40 characters between two haut, a rule of bas (of haut
// when bas is empty).
void GenTitre(Session& s, std::string_view titre, std::string_view haut, std::string_view bas);
// A title box, an empty comment, one comment per element of liste (which is consumed: "[]"
// afterwards), an empty comment and a rule of "=".
void GenCartouche(Session& s, std::string_view titre, std::string& liste);

}  // namespace vesk

#endif  // VESK_GENCODE_TAMPON_H_
