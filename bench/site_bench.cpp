// site_bench: `vesk site` of generated dictionaries of 200 and 2,000 files (10 fields, a primary
// B-tree table each, every third file a header with two line files chained under it, a domain
// of 20 named by each file): the model read from the dictionary's records, then the site
// written from it with every diagram. Each time is the best of three runs; the ratio of the
// times is printed against the ratio of the sizes (10): near 10, the time is linear in the
// dictionary's size. The size of each site is printed too.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "cli/site.h"
#include "core/ass.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk {
namespace {

constexpr int kDomaines = 20;

std::string Fichier(int f) {
  const std::string nom = "F" + std::to_string(10000 + f);
  std::string t = "\n[fichiers." + nom + "]\nrubriques = [\n";
  t += "  { nom = \"CODE\", type = \"A\", total = 8, variable = \"W0\" },\n";
  t += "  { nom = \"PRÉCÉDENT\", type = \"E\", total = 3, variable = \"W1\" },\n";
  t += "  { nom = \"SUIVANT\", type = \"E\", total = 3, variable = \"W2\" },\n";
  t += "  { nom = \"MONTANT\", type = \"M\", total = 9, decimales = 2, variable = \"W3\" },\n";
  t += "  { nom = \"DATE\", type = \"D\", total = 3, variable = \"W4\", exemple = \"31/12/2026\" "
       "},\n";
  t += "  { nom = \"GENRE\", type = \"A\", total = 4, variable = \"W5\", domaine = \"DOM" +
       std::to_string(f % kDomaines) + "\" },\n";
  for (int r = 6; r < 10; ++r) {
    t += "  { nom = \"LIBELLÉ " + std::to_string(r) +
         "\", type = \"A\", total = 20, variable = \"W" + std::to_string(r) + "\" },\n";
  }
  t += "]\n[barbres.T" + std::to_string(10000 + f) + "]\nfichier = \"" + nom +
       "\"\nnature = \"P\"\ncle = \"[[W0,_,_]]\"\n";
  if (f % 3 != 0) {
    t += "[chainages." + nom + "]\nentete = \"F" + std::to_string(10000 + f - f % 3) +
         "\"\narriere = 9\navant = 12\npremier = 9\ndernier = 12\n";
  }
  return t;
}

std::string Texte(int fichiers) {
  std::string t = "version = 1\n";
  for (int d = 0; d < kDomaines; ++d) {
    t += "\n[domaines.DOM" + std::to_string(d) + "]\nnom = \"Genre " + std::to_string(d) +
         "\"\nfichier = \"DOM" + std::to_string(d) +
         "\"\ndefinition = [\"A Achat\", \"V Vente\"]\n";
  }
  for (int f = 0; f < fichiers; ++f) t += Fichier(f);
  return t;
}

double Meilleur(const std::function<void()>& f) {
  double meilleur = 1e30;
  for (int essai = 0; essai < 3; ++essai) {
    const auto debut = std::chrono::steady_clock::now();
    f();
    meilleur = std::min(
        meilleur, std::chrono::duration<double>(std::chrono::steady_clock::now() - debut).count());
  }
  return meilleur;
}

struct Mesure {
  double lecture = 0;  // the model read from the records, with the domains' definitions
  double site = 0;     // the site written from it
  cli::BilanSite bilan;
};

Mesure Site(const std::filesystem::path& dossier, int fichiers) {
  fic::ImporteDictionnaire(Etat(), Texte(fichiers), "banc.toml", /*essai=*/false);
  Mesure m;
  cli::DonneesSite d;
  m.lecture = Meilleur([&] {
    d.modele = fic::LitDictionnaire(Etat());
    fic::LitDefinitions(Etat(), d.modele);
  });
  m.site = Meilleur([&] { m.bilan = cli::EcritSite(d, (dossier / "site").string()); });
  return m;
}

int Lance() {
  std::random_device aleatoire;
  const auto dossier =
      std::filesystem::temp_directory_path() / ("vesk-banc-site-" + std::to_string(aleatoire()));
  std::filesystem::create_directories(dossier);
  OptionsServices options;
  options.config.dossier = dossier.string();
  InstalleServicesThread(CreateurStandard(options));
  auto ass = AsS::Cree();
  ass->OuvS();
  const Mesure petit = Site(dossier, 200);
  const Mesure grand = Site(dossier, 2000);
  for (const auto& [n, m] : {std::pair{200, petit}, std::pair{2000, grand}}) {
    std::printf("%4d fichiers  lecture %.3f s  site %.3f s  %zu fichiers écrits, %.1f Mio\n", n,
                m.lecture, m.site, m.bilan.fichiers,
                static_cast<double>(m.bilan.octets) / (1024.0 * 1024.0));
  }
  std::printf(
      "ratio des temps 2000/200 pour 10 fois plus de fichiers (linéaire : 10) : lecture "
      "%.2f, site %.2f, les deux %.2f\n",
      grand.lecture / petit.lecture, grand.site / petit.site,
      (grand.lecture + grand.site) / (petit.lecture + petit.site));
  ass.reset();
  OublieEtat();
  std::filesystem::remove_all(dossier);
  return 0;
}

}  // namespace
}  // namespace vesk

int main() {
  try {
    return vesk::Lance();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "site_bench : %s\n", e.what());
    return 1;
  }
}
