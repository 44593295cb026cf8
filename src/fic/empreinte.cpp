#include "fic/empreinte.h"

#include <cstdio>

#include "fic/dictionnaire_texte.h"

namespace vesk::fic {

namespace {

// FNV-1a, 64 bits, as 16 hexadecimal digits: enough to tell an item's text from its next one.
std::string Hache(std::string_view texte) {
  uint64_t h = 0xcbf29ce484222325ULL;
  for (char c : texte) {
    h ^= static_cast<unsigned char>(c);
    h *= 0x100000001b3ULL;
  }
  char hex[17];
  std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(h));
  return hex;
}

struct Genre {
  std::string_view cle;
  std::string_view nom;  // in messages
  bool feminin;
};

constexpr Genre kGenres[kGenresParties] = {{"fichier", "fichier", false},
                                           {"rubriques", "rubriques", true},
                                           {"tables", "tables", true},
                                           {"chainages", "chaînages", false},
                                           {"domaines", "domaines", false}};

// The item's text: the model holding that item alone, as the dictionary text writes it.
std::string TexteFichier(const Fichier& f) {
  ModeleDictionnaire m;
  m.fichiers["F"] = {f.entreprise, f.longueur, {}, 0};
  std::string texte = EcritToml(m);
  for (const Rubrique& r : f.rubriques) texte += r.variable + "\n";
  return texte;
}

// Without its example, which no program shows.
std::string TexteRubrique(Rubrique r) {
  ModeleDictionnaire m;
  r.ligne = 0;
  r.exemple.reset();
  m.fichiers["F"] = {false, std::nullopt, {r}, 0};
  return EcritToml(m);
}

}  // namespace

std::string_view CleGenre(GenrePartie genre) { return kGenres[static_cast<size_t>(genre)].cle; }

Empreinte EmpreinteFichier(const ModeleDictionnaire& parties, std::string_view nom) {
  Empreinte e;
  const auto f = parties.fichiers.find(std::string(nom));
  if (f == parties.fichiers.end()) return e;
  e[GenrePartie::kFichier][f->first] = Hache(TexteFichier(f->second));
  for (const Rubrique& r : f->second.rubriques) {
    e[GenrePartie::kRubriques][r.variable] = Hache(TexteRubrique(r));
  }
  for (const auto& [table, b] : parties.barbres) {
    ModeleDictionnaire m;
    BArbre& t = m.barbres[table];
    t.fichier = b.fichier;
    t.nature = b.nature;
    t.cle = b.cle;
    e[GenrePartie::kTables][table] = Hache(EcritToml(m));
  }
  for (const auto& [ligne, c] : parties.chainages) {
    ModeleDictionnaire m;
    m.chainages[ligne] = c;
    m.chainages[ligne].ligne = 0;
    for (const std::string& autre : {ligne, c.entete}) {
      const auto a = parties.fichiers.find(autre);
      if (autre == nom || a == parties.fichiers.end()) continue;
      m.fichiers[autre] = {a->second.entreprise, a->second.longueur, {}, 0};
    }
    e[GenrePartie::kChainages][ligne] = Hache(EcritToml(m));
  }
  for (const auto& [code, d] : parties.domaines) {
    ModeleDictionnaire m;
    m.domaines[code] = {d.nom, d.fichier, std::nullopt, 0};
    e[GenrePartie::kDomaines][code] = Hache(EcritToml(m));
  }
  return e;
}

std::vector<std::string> Changements(const Empreinte& avant, const Empreinte& apres) {
  std::vector<std::string> changements;
  for (size_t g = 0; g < kGenresParties; ++g) {
    const Genre& genre = kGenres[g];
    const std::string e = genre.feminin ? "e" : "";
    std::string liste;
    auto ajoute = [&](const std::string& nom, std::string_view quoi) {
      liste += (liste.empty() ? "" : ", ") + nom + " " + std::string(quoi) + e;
    };
    const auto& a = avant.parties[g];
    const auto& b = apres.parties[g];
    for (const auto& [nom, h] : a) {
      const auto n = b.find(nom);
      if (n == b.end()) {
        ajoute(nom, "supprimé");
      } else if (n->second != h) {
        ajoute(nom, "modifié");
      }
    }
    for (const auto& [nom, h] : b) {
      if (!a.contains(nom)) ajoute(nom, "ajouté");
    }
    if (!liste.empty()) changements.push_back(std::string(genre.nom) + " : " + liste);
  }
  return changements;
}

}  // namespace vesk::fic
