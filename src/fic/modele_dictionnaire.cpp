#include "fic/modele_dictionnaire.h"

#include "core/arithmetique.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

int16_t Rubrique::Total() const { return Convertit<int16_t>(total.value_or(0)); }

int16_t Rubrique::Decimales() const { return Convertit<int16_t>(decimales.value_or(0)); }

char Rubrique::Modification() const {
  return modification && !modification->empty() ? (*modification)[0] : ' ';
}

int32_t Fichier::Longueur() const { return Convertit<int32_t>(longueur.value_or(0)); }

int32_t Fichier::LongueurReelle() const {
  int32_t total = 0;
  for (const Rubrique& r : rubriques) total = Somme<int32_t>(total, r.interne.longueur);
  return total;
}

int32_t Fichier::ChercheVariable(std::string_view variable) const {
  const std::string_view cherche = text::TrimRight(variable);
  for (size_t i = 0; i < rubriques.size(); ++i) {
    if (text::TrimRight(rubriques[i].variable) == cherche) return static_cast<int32_t>(i);
  }
  return -1;
}

const Fichier* ModeleDictionnaire::ChercheFichier(std::string_view nom) const {
  const auto it = fichiers.find(std::string(nom));
  return it == fichiers.end() ? nullptr : &it->second;
}

std::vector<std::pair<std::string, const BArbre*>> ModeleDictionnaire::TablesDe(
    std::string_view nom) const {
  std::vector<std::pair<std::string, const BArbre*>> tables;
  for (const auto& [table, b] : barbres) {
    if (b.fichier == nom) tables.emplace_back(table, &b);
  }
  return tables;
}

std::vector<int32_t> Positions(std::span<const int16_t> longueurs) {
  std::vector<int32_t> positions;
  positions.reserve(longueurs.size());
  int32_t position = 1;
  for (int16_t longueur : longueurs) {
    positions.push_back(position);
    position = Somme<int32_t>(position, longueur);
  }
  return positions;
}

void PlaceRubriques(std::span<Rubrique> rubriques) {
  std::vector<int16_t> longueurs;
  for (const Rubrique& r : rubriques) longueurs.push_back(r.interne.longueur);
  const std::vector<int32_t> positions = Positions(longueurs);
  for (size_t i = 0; i < rubriques.size(); ++i) rubriques[i].position = positions[i];
}

ModeleDictionnaire PartiesFichier(const ModeleDictionnaire& m, std::string_view nom) {
  ModeleDictionnaire p;
  const auto f = m.fichiers.find(std::string(nom));
  if (f == m.fichiers.end()) return p;
  p.fichiers.insert(*f);
  for (const auto& [table, b] : m.barbres) {
    if (b.fichier == nom) p.barbres.emplace(table, b);
  }
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne != nom && c.entete != nom) continue;
    p.chainages.emplace(ligne, c);
    for (const std::string& autre : {ligne, c.entete}) {
      const auto a = m.fichiers.find(autre);
      if (a == m.fichiers.end() || p.fichiers.contains(autre)) continue;
      p.fichiers[autre] = {a->second.entreprise, a->second.longueur, {}, 0};
    }
  }
  for (const Rubrique& r : f->second.rubriques) {
    const auto d = m.domaines.find(r.domaine.value_or(""));
    if (d != m.domaines.end()) p.domaines[d->first] = {d->second.nom, d->second.fichier, {}, 0};
  }
  return p;
}

}  // namespace vesk::fic
