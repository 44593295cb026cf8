#include "srv/tui/barre_progression.h"

#include <algorithm>
#include <iostream>

#include "platform/platform.h"

namespace vesk::tui {

namespace {

constexpr uint64_t kIntervalleNs = 100'000'000;  // at most ten drawings a second
constexpr size_t kLibelleMax = 22;
constexpr int kCases = 16;

size_t Largeur(std::string_view texte) {
  size_t n = 0;
  for (char c : texte) n += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  return n;
}

// "0:07", "12:34", "1:02:03".
std::string Duree(int64_t secondes) {
  const int64_t h = secondes / 3600, m = secondes / 60 % 60, s = secondes % 60;
  std::string texte = h > 0 ? std::to_string(h) + ":" + (m < 10 ? "0" : "") : "";
  return texte + std::to_string(m) + ":" + (s < 10 ? "0" : "") + std::to_string(s);
}

// The label cut to kLibelleMax characters.
std::string Coupe(std::string_view libelle) {
  std::string coupe;
  size_t n = 0;
  for (size_t i = 0; i < libelle.size(); ++i) {
    const bool debut = (static_cast<unsigned char>(libelle[i]) & 0xC0) != 0x80;
    if (debut && ++n > kLibelleMax) break;
    coupe += libelle[i];
  }
  return coupe;
}

}  // namespace

BarreProgression::BarreProgression(std::ostream& flux, bool terminal,
                                   std::function<uint64_t()> horloge)
    : flux_(flux), terminal_(terminal), horloge_(std::move(horloge)) {}

BarreProgression::~BarreProgression() {
  if (ouverte_) Fin();
}

std::string BarreProgression::Ligne(std::string_view libelle, int64_t fait, int64_t total,
                                    double secondes) {
  std::string ligne = Coupe(libelle);
  const int64_t debit =
      secondes > 0 ? static_cast<int64_t>(static_cast<double>(fait) / secondes) : 0;
  if (total > 0) {
    const int pleines = static_cast<int>(kCases * std::min(fait, total) / total);
    ligne += " [" + std::string(pleines, '#') + std::string(kCases - pleines, '-') + "]  ";
    ligne += std::to_string(fait) + "/" + std::to_string(total);
  } else if (fait > 0) {
    ligne += "  " + std::to_string(fait);
  }
  if (debit > 0) {
    ligne += "  " + std::to_string(debit) + "/s";
    if (total > 0) ligne += "  reste " + Duree((std::max<int64_t>(total - fait, 0)) / debit);
  }
  return ligne;
}

void BarreProgression::Debut(std::string_view libelle, int64_t total) {
  libelle_ = libelle;
  total_ = total;
  fait_ = 0;
  debut_ns_ = horloge_();
  dessin_ns_ = 0;
  ouverte_ = true;
  Dessine(true);
}

void BarreProgression::Avance(int64_t fait) {
  fait_ = fait;
  if (total_ > 0 && fait_ > total_) total_ = fait_;
  Dessine(false);
}

void BarreProgression::Fin() {
  ouverte_ = false;
  if (!terminal_ || largeur_ == 0) return;
  flux_ << '\r' << std::string(largeur_, ' ') << '\r' << std::flush;
  largeur_ = 0;
}

void BarreProgression::Dessine(bool force) {
  if (!terminal_) return;
  const uint64_t maintenant = horloge_();
  if (!force && maintenant - dessin_ns_ < kIntervalleNs) return;
  dessin_ns_ = maintenant;
  const double secondes = static_cast<double>(maintenant - debut_ns_) / 1e9;
  const std::string ligne = Ligne(libelle_, fait_, total_, secondes);
  const size_t largeur = Largeur(ligne);
  // Blanks over what a longer line before left.
  flux_ << '\r' << ligne << std::string(largeur_ > largeur ? largeur_ - largeur : 0, ' ')
        << std::flush;
  largeur_ = largeur;
}

std::unique_ptr<SuiviProgression> BarreSurErreurs() {
  return std::make_unique<BarreProgression>(std::cerr, platform::ErreursEstTerminal(),
                                            platform::HorlogeNs);
}

}  // namespace vesk::tui
