#include "srv/tui/editeur.h"

#include <algorithm>

namespace vesk::tui {

Editeur::Editeur(Champ champ, std::u32string texte)
    : champ_(std::move(champ)),
      texte_(std::move(texte)),
      curseur_(texte_.size()),
      neuf_(!texte_.empty()) {}

void Editeur::Remplace(std::u32string texte) {
  texte_ = std::move(texte);
  curseur_ = texte_.size();
  neuf_ = false;
}

// A fresh text is replaced: the character is typed into an empty field.
std::optional<std::string> Editeur::Tape(char32_t c) {
  c = NormaliseCaractere(champ_, c);
  std::u32string candidat = neuf_ ? std::u32string() : texte_;
  const size_t curseur = neuf_ ? 0 : curseur_;
  if (insertion_ || curseur >= candidat.size()) {
    if (candidat.size() >= static_cast<size_t>(champ_.longueur)) {
      return "champ plein : " + std::to_string(champ_.longueur) + " caractère(s) au plus";
    }
    candidat.insert(curseur, 1, c);
  } else {
    candidat[curseur] = c;
  }
  if (auto refus = RefusTexte(champ_, candidat, false)) return refus;
  texte_ = std::move(candidat);
  curseur_ = curseur + 1;
  neuf_ = false;
  return std::nullopt;
}

std::optional<std::string> Editeur::Applique(const Touche& t) {
  if (t.code == kCaractere) return Tape(t.caractere);
  if (t.code != kInsertion) neuf_ = false;
  switch (t.code) {
    case kEfface:
      texte_.clear();
      curseur_ = 0;
      break;
    case kGauche:
      if (curseur_ > 0) --curseur_;
      break;
    case kDroite:
      if (curseur_ < texte_.size()) ++curseur_;
      break;
    case kOrigine:
      curseur_ = 0;
      break;
    case kFin:
      curseur_ = texte_.size();
      break;
    case kInsertion:
      insertion_ = !insertion_;
      break;
    case kRetourArriere:
      if (curseur_ > 0) texte_.erase(--curseur_, 1);
      break;
    case kSuppr:
      if (curseur_ < texte_.size()) texte_.erase(curseur_, 1);
      break;
    default:
      break;
  }
  return std::nullopt;
}

size_t Editeur::Debut(int visible) {
  size_t v = static_cast<size_t>(std::max(visible, 1));
  if (curseur_ < debut_) debut_ = curseur_;
  if (curseur_ >= debut_ + v) debut_ = curseur_ - v + 1;
  return debut_;
}

}  // namespace vesk::tui
