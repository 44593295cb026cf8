#include "cli/difference.h"

#include <algorithm>

namespace vesk::cli {

namespace {

// Past this many cells the table of common lengths is not built.
constexpr size_t kCellulesMax = size_t{1} << 22;

}  // namespace

std::vector<std::string> LignesTexte(std::string_view texte) {
  std::vector<std::string> lignes;
  size_t debut = 0;
  while (true) {
    const size_t fin = texte.find('\n', debut);
    std::string_view ligne = texte.substr(debut, fin == std::string_view::npos ? fin : fin - debut);
    if (fin != std::string_view::npos && !ligne.empty() && ligne.back() == '\r') {
      ligne.remove_suffix(1);
    }
    lignes.emplace_back(ligne);
    if (fin == std::string_view::npos) return lignes;
    debut = fin + 1;
  }
}

std::vector<LigneChangee> Difference(const std::vector<std::string>& avant,
                                     const std::vector<std::string>& apres) {
  size_t debut = 0;
  while (debut < avant.size() && debut < apres.size() && avant[debut] == apres[debut]) ++debut;
  size_t fin_a = avant.size(), fin_b = apres.size();
  while (fin_a > debut && fin_b > debut && avant[fin_a - 1] == apres[fin_b - 1]) {
    --fin_a;
    --fin_b;
  }
  const size_t n = fin_a - debut, m = fin_b - debut;
  std::vector<LigneChangee> changees;
  auto retire = [&](size_t i) {
    changees.push_back({false, static_cast<int32_t>(i + 1), avant[i]});
  };
  auto ajoute = [&](size_t j) {
    changees.push_back({true, static_cast<int32_t>(j + 1), apres[j]});
  };
  if (n == 0 || m == 0 || (n + 1) * (m + 1) > kCellulesMax) {
    for (size_t i = debut; i < fin_a; ++i) retire(i);
    for (size_t j = debut; j < fin_b; ++j) ajoute(j);
    return changees;
  }
  // commun[i][j]: the longest common lines of avant[debut+i..fin_a) and apres[debut+j..fin_b).
  std::vector<uint32_t> commun((n + 1) * (m + 1), 0);
  auto c = [&](size_t i, size_t j) -> uint32_t& { return commun[i * (m + 1) + j]; };
  for (size_t i = n; i-- > 0;) {
    for (size_t j = m; j-- > 0;) {
      c(i, j) = avant[debut + i] == apres[debut + j] ? c(i + 1, j + 1) + 1
                                                     : std::max(c(i + 1, j), c(i, j + 1));
    }
  }
  size_t i = 0, j = 0;
  std::vector<size_t> ajoutees;  // added lines wait until the removed ones of their place
  auto vide = [&] {
    for (size_t k : ajoutees) ajoute(debut + k);
    ajoutees.clear();
  };
  while (i < n || j < m) {
    if (i < n && j < m && avant[debut + i] == apres[debut + j]) {
      vide();
      ++i;
      ++j;
    } else if (j < m && (i == n || c(i, j + 1) >= c(i + 1, j))) {
      ajoutees.push_back(j++);
    } else {
      retire(debut + i++);
    }
  }
  vide();
  return changees;
}

}  // namespace vesk::cli
