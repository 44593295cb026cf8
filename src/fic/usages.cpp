#include "fic/usages.h"

#include <algorithm>
#include <array>

#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::array<std::string_view, 6> kGenres = {"fichiers",  "rubriques", "listes de clé",
                                                     "chaînages", "domaines",  "programmes"};

std::string TexteFichier(const std::string& nom, const Fichier& f) {
  return nom + " (" + std::to_string(f.rubriques.size()) + " rubrique(s))";
}

// Whether the key list cle names the variable (held upper-cased in haut).
bool CleNomme(std::string_view cle, const std::string& haut) {
  return text::UpperAscii(cle).find("[" + haut + ",") != std::string::npos;
}

// The uses of nom as a file, a field's variable, a domain or a table.
void Cherche(const ModeleDictionnaire& m, std::string_view nom, Usages& u) {
  const std::string haut = text::UpperAscii(nom);
  for (const auto& [f, fichier] : m.fichiers) {
    if (f == haut) u.Ajoute({GenreUsage::kFichiers, TexteFichier(f, fichier), f, f});
    for (const Rubrique& r : fichier.rubriques) {
      const std::string rubrique = f + " " + r.variable + " (" + r.nom + ")";
      if (text::EqualNoCase(r.variable, nom)) {
        u.Ajoute({GenreUsage::kRubriques, rubrique, f, r.variable});
      }
      if (r.domaine && *r.domaine == nom) {
        u.Ajoute({GenreUsage::kRubriques, rubrique, f, r.variable});
        u.Ajoute({GenreUsage::kFichiers, TexteFichier(f, fichier), f, f});
      }
      if (f == haut && r.domaine && m.domaines.contains(*r.domaine)) {
        const std::string texte = *r.domaine + " (" + m.domaines.at(*r.domaine).nom + ")";
        u.Ajoute({GenreUsage::kDomaines, texte, "", *r.domaine});
      }
    }
  }
  for (const auto& [t, b] : m.barbres) {
    const std::string table = t + " du fichier " + b.fichier + " (" + b.nature + ") " + b.cle;
    if (t == haut || b.fichier == haut || CleNomme(b.cle, haut)) {
      u.Ajoute({GenreUsage::kListesCle, table, b.fichier, t});
    }
  }
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne == haut || c.entete == haut) {
      u.Ajoute({GenreUsage::kChainages, ligne + " (lignes) sous " + c.entete + " (entête)", ligne,
                ligne});
    }
  }
  const auto d = m.domaines.find(std::string(nom));
  if (d != m.domaines.end()) {
    u.Ajoute({GenreUsage::kDomaines, d->first + " (" + d->second.nom + ")", "", d->first});
  }
}

// The recorded programs made from what nom names.
void ChercheProgrammes(const ModeleDictionnaire& m, std::string_view nom,
                       std::span<const ProgrammeUtilise> programmes, Usages& u) {
  const std::string haut = text::UpperAscii(nom);
  for (const ProgrammeUtilise& p : programmes) {
    bool utilise = p.fichier == haut || p.empreinte[GenrePartie::kTables].contains(haut) ||
                   p.empreinte[GenrePartie::kDomaines].contains(std::string(nom));
    for (const auto& [variable, h] : p.empreinte[GenrePartie::kRubriques]) {
      utilise = utilise || text::EqualNoCase(variable, nom);
    }
    for (const auto& [ligne, h] : p.empreinte[GenrePartie::kChainages]) {
      const auto c = m.chainages.find(ligne);
      utilise = utilise || ligne == haut || (c != m.chainages.end() && c->second.entete == haut);
    }
    if (utilise) {
      u.Ajoute({GenreUsage::kProgrammes, p.nom + ".bas (" + p.generateur + " " + p.fichier + ")",
                p.fichier, p.nom});
    }
  }
}

}  // namespace

void Usages::Ajoute(Usage usage) {
  const bool connu = std::any_of(usages_.begin(), usages_.end(), [&](const Usage& u) {
    return u.genre == usage.genre && u.texte == usage.texte;
  });
  if (!connu) usages_.push_back(std::move(usage));
}

Usages Usages::Filtre(const std::function<bool(const Usage&)>& garde) const {
  Usages gardes;
  for (const Usage& u : usages_) {
    if (garde(u)) gardes.usages_.push_back(u);
  }
  return gardes;
}

std::vector<std::string> Usages::Lignes() const {
  std::vector<std::string> lignes;
  for (size_t g = 0; g < kGenres.size(); ++g) {
    bool titre = false;
    for (const Usage& u : usages_) {
      if (static_cast<size_t>(u.genre) != g) continue;
      if (!titre) lignes.push_back(std::string(kGenres[g]) + " :");
      titre = true;
      lignes.push_back("  " + u.texte);
    }
  }
  return lignes;
}

Usages UsagesNom(const ModeleDictionnaire& m, std::string_view nom,
                 std::span<const ProgrammeUtilise> programmes) {
  Usages u;
  Cherche(m, nom, u);
  ChercheProgrammes(m, nom, programmes, u);
  return u;
}

Usages UsagesFichier(const ModeleDictionnaire& m, std::string_view fichier,
                     std::span<const ProgrammeUtilise> programmes) {
  return UsagesNom(m, fichier, programmes).Filtre([&](const Usage& u) {
    switch (u.genre) {
      case GenreUsage::kFichiers:
        return u.fichier != fichier;
      case GenreUsage::kDomaines:
        return false;
      case GenreUsage::kRubriques: {  // a field whose domain code is the file's name
        const Fichier* f = m.ChercheFichier(u.fichier);
        const int32_t i = f == nullptr ? -1 : f->ChercheVariable(u.partie);
        return i >= 0 && f->rubriques[size_t(i)].domaine == fichier;
      }
      default:
        return true;
    }
  });
}

Usages UsagesRubrique(const ModeleDictionnaire& m, std::string_view fichier,
                      std::string_view variable, std::span<const ProgrammeUtilise> programmes) {
  const std::string haut = text::UpperAscii(variable);
  return UsagesNom(m, variable, programmes).Filtre([&](const Usage& u) {
    if (u.fichier != fichier) return false;
    if (u.genre == GenreUsage::kProgrammes) return true;
    return u.genre == GenreUsage::kListesCle && CleNomme(m.barbres.at(u.partie).cle, haut);
  });
}

namespace {

SourceProgrammes& SourceDuThread() {
  thread_local SourceProgrammes source;
  return source;
}

}  // namespace

void InstalleProgrammesThread(SourceProgrammes source) { SourceDuThread() = std::move(source); }

std::vector<ProgrammeUtilise> ProgrammesDuThread() {
  const SourceProgrammes& source = SourceDuThread();
  return source ? source() : std::vector<ProgrammeUtilise>{};
}

}  // namespace vesk::fic
