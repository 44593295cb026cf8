#include "core/enregistrement.h"

#include "core/arithmetique.h"
#include "srv/text/utf8.h"

namespace vesk {

Enregistrement::Enregistrement(std::string_view fichier, std::span<const DefChamp> champs)
    : fichier_(fichier), champs_(champs) {
  int32_t position = 1;
  for (const DefChamp& champ : champs_) {
    positions_.push_back(position);
    position = Somme<int32_t>(position, champ.largeur);
  }
  valeurs_.resize(champs_.size());
  Efface();
}

size_t Enregistrement::Indice(size_t i) const {
  if (i >= champs_.size()) ErreurIndice(static_cast<long long>(i), champs_.size());
  return i;
}

const DefChamp& Enregistrement::Def(size_t i) const { return champs_[Indice(i)]; }

int32_t Enregistrement::Position(size_t i) const { return positions_[Indice(i)]; }

const std::string& Enregistrement::operator[](size_t i) const { return valeurs_[Indice(i)]; }

void Enregistrement::Affecte(size_t i, std::string_view valeur) {
  size_t k = Indice(i);
  text::AssignFixed(&valeurs_[k], valeur, static_cast<size_t>(champs_[k].largeur));
}

void Enregistrement::Efface() {
  for (size_t i = 0; i < champs_.size(); ++i) {
    valeurs_[i].assign(static_cast<size_t>(champs_[i].largeur), ' ');
  }
}

std::string Enregistrement::Joint() const {
  std::string texte;
  for (const std::string& valeur : valeurs_) texte += valeur;
  return texte;
}

void Enregistrement::Decoupe(std::string_view texte) {
  for (size_t i = 0; i < champs_.size(); ++i) {
    std::string_view tranche = text::Mid(texte, static_cast<size_t>(positions_[i]),
                                         static_cast<size_t>(champs_[i].largeur));
    Affecte(i, tranche);
  }
}

}  // namespace vesk
