// `vesk usages NOM`: where a name of the dictionary is used. NOM may be a field's variable, a
// domain's code, a file or a B-tree table; each use is listed under its kind (files, fields, key
// lists, chainings, domains, and the programs recorded in the data folder's PROGRAMMES).
#include <algorithm>
#include <map>
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "fic/lecture_dictionnaire.h"
#include "platform/platform.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

using fic::GenrePartie;

// The uses found, by kind, in the order they are listed.
class Usages {
 public:
  void Ajoute(std::string_view genre, std::string usage) {
    auto& liste = par_genre_[Rang(genre)].second;
    par_genre_[Rang(genre)].first = genre;
    if (std::find(liste.begin(), liste.end(), usage) == liste.end()) liste.push_back(usage);
  }
  bool Vide() const { return par_genre_.empty(); }
  void Ecrit(std::ostream& sortie) const {
    for (const auto& [rang, genre] : par_genre_) {
      sortie << genre.first << " :\n";
      for (const std::string& u : genre.second) sortie << "  " << u << "\n";
    }
  }

 private:
  static int Rang(std::string_view genre) {
    constexpr std::string_view kOrdre[] = {"fichiers",  "rubriques", "listes de clé",
                                           "chaînages", "domaines",  "programmes"};
    for (int i = 0; i < 6; ++i) {
      if (kOrdre[i] == genre) return i;
    }
    return 6;
  }
  std::map<int, std::pair<std::string_view, std::vector<std::string>>> par_genre_;
};

std::string Fichier(const std::string& nom, const fic::Fichier& f) {
  return nom + " (" + std::to_string(f.rubriques.size()) + " rubrique(s))";
}

// The uses of nom as a file, a field's variable, a domain or a table.
void Cherche(const fic::ModeleDictionnaire& m, const std::string& nom, Usages& u) {
  const std::string haut = text::UpperAscii(nom);
  for (const auto& [f, fichier] : m.fichiers) {
    if (f == haut) u.Ajoute("fichiers", Fichier(f, fichier));
    for (const fic::Rubrique& r : fichier.rubriques) {
      const std::string rubrique = f + " " + r.variable + " (" + r.nom + ")";
      if (text::EqualNoCase(r.variable, nom)) u.Ajoute("rubriques", rubrique);
      if (r.domaine && *r.domaine == nom) {
        u.Ajoute("rubriques", rubrique);
        u.Ajoute("fichiers", Fichier(f, fichier));
      }
      if (f == haut && r.domaine && m.domaines.contains(*r.domaine)) {
        u.Ajoute("domaines", *r.domaine + " (" + m.domaines.at(*r.domaine).nom + ")");
      }
    }
  }
  for (const auto& [t, b] : m.barbres) {
    const std::string table = t + " du fichier " + b.fichier + " (" + b.nature + ") " + b.cle;
    const bool variable = text::UpperAscii(b.cle).find("[" + haut + ",") != std::string::npos;
    if (t == haut || b.fichier == haut || variable) u.Ajoute("listes de clé", table);
  }
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne == haut || c.entete == haut) {
      u.Ajoute("chaînages", ligne + " (lignes) sous " + c.entete + " (entête)");
    }
  }
  if (m.domaines.contains(nom)) u.Ajoute("domaines", nom + " (" + m.domaines.at(nom).nom + ")");
}

// The recorded programs made from what nom names.
void ChercheProgrammes(const std::vector<ProgrammeEnregistre>& programmes,
                       const fic::ModeleDictionnaire& m, const std::string& nom, Usages& u) {
  const std::string haut = text::UpperAscii(nom);
  for (const ProgrammeEnregistre& p : programmes) {
    bool utilise = p.fichier == haut || p.empreinte[GenrePartie::kTables].contains(haut) ||
                   p.empreinte[GenrePartie::kDomaines].contains(nom);
    for (const auto& [variable, h] : p.empreinte[GenrePartie::kRubriques]) {
      utilise = utilise || text::EqualNoCase(variable, nom);
    }
    for (const auto& [ligne, h] : p.empreinte[GenrePartie::kChainages]) {
      const auto c = m.chainages.find(ligne);
      utilise = utilise || ligne == haut || (c != m.chainages.end() && c->second.entete == haut);
    }
    if (utilise) u.Ajoute("programmes", p.nom + ".bas (" + p.generateur + " " + p.fichier + ")");
  }
}

}  // namespace

int CommandeUsages(Contexte& contexte) {
  const std::string nom = contexte.Options().arguments.front();
  const std::string dossier = platform::JoinPath(contexte.Config().dossier, kDossierProgrammes);
  const std::vector<ProgrammeEnregistre> programmes = LitRegistre(dossier);
  fic::ModeleDictionnaire modele;
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    modele = fic::LitDictionnaire(composant->Session());
    composant->Termine();
  }
  Usages usages;
  Cherche(modele, nom, usages);
  ChercheProgrammes(programmes, modele, nom, usages);
  std::ostream& sortie = contexte.Sortie();
  if (usages.Vide()) {
    sortie << "« " << nom << " » : ni fichier, ni rubrique, ni domaine, ni table du dictionnaire\n";
    return 1;
  }
  usages.Ecrit(sortie);
  return 0;
}

}  // namespace vesk::cli
