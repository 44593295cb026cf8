// What the TOML reader says of a text it cannot read, told in French. The reader's own words are
// English ("Error while parsing key-value pair: expected '=', saw 'x'"); the frequent faults are
// translated whole, any other is wrapped, the reader's words quoted and attributed to it, so that
// no English sentence stands unannounced inside a French message.
#ifndef VESK_FIC_FAUTE_TOML_H_
#define VESK_FIC_FAUTE_TOML_H_

#include <string>
#include <string_view>

namespace vesk::fic {

// description: the reader's text, "Error while parsing <what>: <detail>" or <detail> alone.
// E.g. "Error while parsing boolean: expected 'false', saw 'fi'" gives
// "lecture d'un booléen : « false » attendu, trouvé « fi »".
std::string TraduitFauteToml(std::string_view description);

}  // namespace vesk::fic

#endif  // VESK_FIC_FAUTE_TOML_H_
