// What `vesk` writes on its error stream is shown on a terminal: a message may quote bytes of
// a file (an import text, vesk.ini, a .DOM definition) whose control characters would act on
// the terminal (ESC and OSC sequences move the cursor, retitle the window, write to the
// clipboard). The error stream goes through this filter, which writes each control character
// as a visible escape instead: the bytes 0x00-0x1F (line feed and tab kept) and 0x7F as \xHH,
// the C1 characters U+0080-U+009F as \uHHHH, and a byte that is not UTF-8 as \xHH.
// One stream, one thread.
#ifndef VESK_CLI_FLUX_ECHAPPE_H_
#define VESK_CLI_FLUX_ECHAPPE_H_

#include <streambuf>
#include <string>
#include <string_view>

namespace vesk::cli {

// texte with its control characters escaped as above.
std::string EchappeControles(std::string_view texte);

// A stream buffer that writes into cible, line by line, every line escaped.
class TamponEchappe : public std::streambuf {
 public:
  explicit TamponEchappe(std::streambuf* cible) : cible_(cible) {}
  // Writes what is left, a cut character included (escaped).
  ~TamponEchappe() override;

 protected:
  int_type overflow(int_type c) override;
  // Writes what came, but a character cut at its end, which waits for its next bytes.
  int sync() override;

 private:
  int Ecrit(size_t n);  // the first n bytes pending, escaped

  std::streambuf* cible_;
  std::string ligne_;  // what came since the last write to cible_
};

}  // namespace vesk::cli

#endif  // VESK_CLI_FLUX_ECHAPPE_H_
