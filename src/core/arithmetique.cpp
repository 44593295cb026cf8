#include "core/arithmetique.h"

namespace vesk {

void ErreurDepassement(const char* operation, long long a, long long b) {
  throw ErreurService(
      "Calcul", operation,
      "dépassement de capacité (" + std::to_string(a) + ", " + std::to_string(b) + ")");
}

void ErreurIndice(long long indice, size_t taille) {
  throw ErreurService("Tableau", "indice " + std::to_string(indice),
                      "indice hors des bornes (taille " + std::to_string(taille) + ")");
}

}  // namespace vesk
