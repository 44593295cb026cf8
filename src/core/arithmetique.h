// Checked arithmetic and bounds-checked tables of the component. The component's 16-bit and
// 32-bit integers (counts, positions, lengths, layout columns) go through these: an overflow or
// an index out of range throws ErreurService and ends the command; nothing wraps silently.
// Free functions and a value type; no shared state.
#ifndef VESK_CORE_ARITHMETIQUE_H_
#define VESK_CORE_ARITHMETIQUE_H_

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

#include "srv/erreur_service.h"

namespace vesk {

[[noreturn]] void ErreurDepassement(const char* operation, long long a, long long b);
[[noreturn]] void ErreurIndice(long long indice, size_t taille);

template <std::integral T>
T Somme(T a, T b) {
  T r;
  if (__builtin_add_overflow(a, b, &r)) ErreurDepassement("addition", a, b);
  return r;
}

template <std::integral T>
T Difference(T a, T b) {
  T r;
  if (__builtin_sub_overflow(a, b, &r)) ErreurDepassement("soustraction", a, b);
  return r;
}

template <std::integral T>
T Produit(T a, T b) {
  T r;
  if (__builtin_mul_overflow(a, b, &r)) ErreurDepassement("multiplication", a, b);
  return r;
}

// v converted to T, or an error when it does not fit.
template <std::integral T, std::integral U>
T Convertit(U v) {
  T r;
  if (__builtin_add_overflow(v, U{0}, &r)) ErreurDepassement("conversion", v, 0);
  return r;
}

// A table whose every access is checked against its size.
template <typename T>
class TableBornee {
 public:
  TableBornee() = default;
  explicit TableBornee(size_t taille) : valeurs_(taille) {}

  T& operator[](long long i) { return valeurs_[Indice(i)]; }
  const T& operator[](long long i) const { return valeurs_[Indice(i)]; }
  size_t Taille() const { return valeurs_.size(); }
  void Redimensionne(size_t taille) { valeurs_.resize(taille); }
  void Vide() { valeurs_.clear(); }

 private:
  size_t Indice(long long i) const {
    if (i < 0 || static_cast<unsigned long long>(i) >= valeurs_.size()) {
      ErreurIndice(i, valeurs_.size());
    }
    return static_cast<size_t>(i);
  }

  std::vector<T> valeurs_;
};

}  // namespace vesk

#endif  // VESK_CORE_VERIFIE_H_
