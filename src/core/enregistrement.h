// The current record fields of one dictionary file: fixed-width texts cut from and joined into
// the record at fixed character positions. Each field always holds exactly its width (shorter
// values padded with spaces, longer ones cut), like a BASIC fixed-length string.
// Owned by the thread's module state; one thread only.
#ifndef VESK_CORE_ENREGISTREMENT_H_
#define VESK_CORE_ENREGISTREMENT_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// One field of a record: its key (or a description when it has none) and its width. Fields
// follow one another from position 1 in the order of their table.
struct DefChamp {
  std::string_view cle;
  int16_t largeur;
};

class Enregistrement {
 public:
  Enregistrement(std::string_view fichier, std::span<const DefChamp> champs);

  const std::string& Fichier() const { return fichier_; }
  size_t NbChamps() const { return champs_.size(); }
  const DefChamp& Def(size_t i) const;
  // 1-based position of field i in the record.
  int32_t Position(size_t i) const;

  const std::string& operator[](size_t i) const;
  // Assigns valeur to field i, padded with spaces or cut to the field's width.
  void Affecte(size_t i, std::string_view valeur);
  // Every field to spaces of its width.
  void Efface();

  // The fields joined in record order, without separators.
  std::string Joint() const;
  // Cuts a record text into the fields: each takes the slice at its position and width; a text
  // shorter than a field's position yields an empty (then space-padded) field.
  void Decoupe(std::string_view texte);

 private:
  size_t Indice(size_t i) const;

  std::string fichier_;
  std::span<const DefChamp> champs_;
  std::vector<int32_t> positions_;
  std::vector<std::string> valeurs_;
};

}  // namespace vesk

#endif  // VESK_CORE_ENREGISTREMENT_H_
