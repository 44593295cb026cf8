// The binary format of PostgreSQL's COPY FROM STDIN: a signature, then each row as its number
// of columns and each column as its length and its bytes (integers big-endian), then -1.
// Plain value; any thread.
#ifndef VESK_SRV_PG_COPIE_BINAIRE_H_
#define VESK_SRV_PG_COPIE_BINAIRE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk::pg {

class CopieBinaire {
 public:
  CopieBinaire() { octets_.assign("PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19); }

  void Ligne(int16_t colonnes) { Gros(static_cast<uint32_t>(colonnes), 2); }
  void Entier(int32_t v) {
    Gros(4, 4);
    Gros(static_cast<uint32_t>(v), 4);
  }
  void Booleen(bool v) {
    Gros(1, 4);
    octets_.push_back(v ? 1 : 0);
  }
  void Octets(std::string_view v) {
    Gros(static_cast<uint32_t>(v.size()), 4);
    octets_.append(v);
  }
  // The bytes of the rows so far, the signature first: one COPY's data, once Fin is called.
  const std::string& Partie() const { return octets_; }
  // The end of the data.
  void Fin() { Gros(0xFFFF, 2); }

 private:
  void Gros(uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i) octets_.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  }
  std::string octets_;
};

}  // namespace vesk::pg

#endif  // VESK_SRV_PG_COPIE_BINAIRE_H_
