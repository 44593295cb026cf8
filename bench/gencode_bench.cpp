// gencode_bench: the time of the data-entry program generator for a file of 1,000 fields and
// of ten times as many (the ratio of the two), of the declarations generator for a file of 500,
// 1000, 2000 and 4000 fields (a dictionary in a temporary data folder, standard services), and of
// the layout and buffer alone for as many instruction lines. Each time is the best of five runs;
// the ratio to the previous size shows whether the growth is linear (about 2 when the size
// doubles). Then what `vesk perimes` does (the record of 1,000 programs read, the dictionary of
// 2,000 files read, each program's fingerprint taken again and compared) against its peer,
// one data-entry program generated for each of 20 files of the same dictionary.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "cli/programmes.h"
#include "core/ass.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "gencode/declaration.h"
#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"
#include "gencode/gen_ps.h"
#include "gencode/tampon.h"
#include "srv/erreur_service.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk {
namespace {

// The screen services the generator asks: the application's name; nothing else is used.
class EcranBanc : public SrvEcran {
 public:
  void NomApplication(std::string& nom) override { nom = "BANC"; }
  void ValeurConfirmation(int16_t& v) override { v = -1; }
  void ToucheSuppression(int16_t& t) override { t = 0; }
  void ToucheRetour(int16_t& t) override { t = 0; }
  void ToucheDebut(int16_t& t) override { t = 0; }
  void ToucheConfirmation(int16_t& t) override { t = 0; }
  void Annule(int16_t& a) override { a = 0; }
  void ToucheF1(int16_t& t) override { t = 0; }
  void ToucheF2(int16_t& t) override { t = 0; }
  void ToucheF3(int16_t& t) override { t = 0; }
  void ToucheF4(int16_t& t) override { t = 0; }
  void ToucheF5(int16_t& t) override { t = 0; }
  void ToucheF6(int16_t& t) override { t = 0; }
  void ToucheF7(int16_t& t) override { t = 0; }
  void ToucheEchap(int16_t& t) override { t = 0; }
  void DateDefaut(std::string& d) override { d = "31/12/2026"; }
  void TitreEdition(std::string_view) override {}
  void FinTitreEdition() override {}
};

void AjouteFichier(const std::string& nom, int nb_champs) {
  Session& etat = Etat();
  etat.fic.Efface();
  etat.fic.Affecte(kNomFic, nom);
  etat.fic.Affecte(kDfe, "O");
  etat.fic.Affecte(kLongEnr, std::to_string(nb_champs * 8));
  int32_t e = 0;
  etat.BArbre().Insere(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, e);
  etat.ba.Efface();
  etat.ba.Affecte(kNomT, nom + "1");
  etat.ba.Affecte(kNomD, nom);
  etat.ba.Affecte(kNatT, "P");
  etat.ba.Affecte(kLongCle, "8");
  etat.ba.Affecte(kLCle, "[[W10000,_,_]]");
  etat.BArbre().Insere(etat.ba_arbre, etat.ba[kNomT], etat.ba_fichier, e);
  std::string taille;
  etat.Texte().EncodeTaille(8, taille);
  for (int i = 0; i < nb_champs; ++i) {
    etat.lfic.Efface();
    etat.lfic.Affecte(kLf1, "Rubrique " + std::to_string(i));
    etat.lfic.Affecte(kLf2, "A");
    etat.lfic.Affecte(kLf3, taille);
    etat.lfic.Affecte(kLf5, "W" + std::to_string(10000 + i));
    etat.lfic.Affecte(kFormatInterne, "A");
    etat.lfic.Affecte(kLongueurInterne, taille);
    etat.Chainage().AjouteLigne(etat.lfic_fichier, e);
  }
}

double Meilleur(const std::function<void()>& f) {
  double meilleur = 1e30;
  for (int essai = 0; essai < 5; ++essai) {
    OublieEtatGen();
    const auto debut = std::chrono::steady_clock::now();
    f();
    const std::chrono::duration<double, std::milli> duree =
        std::chrono::steady_clock::now() - debut;
    meilleur = std::min(meilleur, duree.count());
  }
  return meilleur;
}

void Serie(const char* titre, const std::function<double(int)>& mesure) {
  std::printf("%s\n%8s %12s %8s %10s\n", titre, "champs", "ms", "ratio", "lignes");
  double avant = 0;
  for (int n : {500, 1000, 2000, 4000}) {
    const double ms = mesure(n);
    const size_t lignes = std::count(EtatGen().Texte().begin(), EtatGen().Texte().end(), '\n');
    if (avant > 0) {
      std::printf("%8d %12.2f %8.2f %10zu\n", n, ms, ms / avant, lignes);
    } else {
      std::printf("%8d %12.2f %8s %10zu\n", n, ms, "-", lignes);
    }
    avant = ms;
  }
}

// The standard services over dossier, the dictionary opened.
std::shared_ptr<AsS> OuvreDossier(const std::string& dossier) {
  OptionsServices options;
  options.config.dossier = dossier;
  options.config.synchro = Synchro::kOff;
  options.interface.ecran = [] { return std::make_unique<EcranBanc>(); };
  InstalleServicesThread(CreateurStandard(options));
  auto ass = AsS::Cree();
  ass->OuvS();
  return ass;
}

constexpr int kFichiersPerimes = 2000;
constexpr int kProgrammesPerimes = 1000;
constexpr int kGenerations = 20;

// A dictionary of kFichiersPerimes files of 12 fields and a primary table each, as text.
std::string DictionnairePerimes() {
  std::string t = "version = 1\n";
  for (int f = 0; f < kFichiersPerimes; ++f) {
    const std::string nom = "P" + std::to_string(10000 + f);
    t += "\n[fichiers." + nom + "]\nrubriques = [\n";
    for (int r = 0; r < 12; ++r) {
      t += std::string("  { nom = \"RUBRIQUE ") + std::to_string(r) + "\", type = \"" +
           (r % 3 == 1 ? "N\", decimales = 2, total = 9" : "A\", total = 12") + ", variable = \"W" +
           std::to_string(r) + "\" },\n";
    }
    t += "]\n[barbres." + nom + "]\nfichier = \"" + nom +
         "\"\nnature = \"P\"\ncle = \"[[W0,_,_]]\"\n";
  }
  return t;
}

// `perimes` over kProgrammesPerimes recorded programs against kGenerations generations; the
// dictionary of dossier replaced by DictionnairePerimes().
void Perimes(const std::string& dossier) {
  fic::ImporteDictionnaire(Etat(), DictionnairePerimes(), "banc.toml", false);
  const std::string programmes_dossier = dossier + "/PROGRAMMES";
  std::filesystem::create_directories(programmes_dossier);
  {
    const fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
    std::vector<cli::ProgrammeEnregistre> programmes;
    for (int i = 0; i < kProgrammesPerimes; ++i) {
      const std::string f = "P" + std::to_string(10000 + 2 * i);
      cli::ProgrammeEnregistre p{.nom = "Ent" + f, .generateur = "genps", .fichier = f};
      p.programme = p.nom;
      p.titre = "Entrée Du Fichier " + f;
      p.suffixe = SuffixeDefaut(f);
      p.empreinte = fic::EmpreinteFichier(fic::PartiesFichier(m, f), f);
      programmes.push_back(std::move(p));
    }
    cli::EcritRegistre(programmes_dossier, programmes);
  }
  size_t perimes = 0;
  const double ms_perimes = Meilleur([&] {
    const std::vector<cli::ProgrammeEnregistre> programmes = cli::LitRegistre(programmes_dossier);
    const fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
    perimes = 0;
    for (const cli::ProgrammeEnregistre& p : programmes) {
      perimes += cli::ChangementsProgramme(p, m).empty() ? 0 : 1;
    }
  });
  const double ms_generations = Meilleur([] {
    for (int i = 0; i < kGenerations; ++i) {
      const std::string f = "P" + std::to_string(10000 + 97 * i);
      GenereSaisie(Etat(), {f, "Ent" + f, "Entrée Du Fichier " + f, SuffixeDefaut(f)}, nullptr);
    }
  });
  std::printf(
      "perimes : %d programmes, dictionnaire de %d fichiers : %.2f ms (%zu périmé(s)) ; "
      "%d programmes de saisie générés : %.2f ms\n",
      kProgrammesPerimes, kFichiersPerimes, ms_perimes, perimes, kGenerations, ms_generations);
  std::printf("ratio perimes/%d generations=%.2f (objectif < 1)\n", kGenerations,
              ms_perimes / ms_generations);
}

// seul_genps: only the data-entry program, on that many fields (1,000: repeated 200 times),
// for a profiler; 0: every measure.
int Principal(int seul_genps) {
  namespace fs = std::filesystem;
  std::random_device aleatoire;
  const fs::path dossier =
      fs::temp_directory_path() / ("vesk-gencode-bench-" + std::to_string(aleatoire()));
  fs::create_directories(dossier);
  auto ass = OuvreDossier(dossier.string());
  if (seul_genps > 0) {
    const std::string nom = "F" + std::to_string(seul_genps);
    AjouteFichier(nom, seul_genps);
    for (int i = 0; i < (seul_genps == 1000 ? 200 : 1); ++i) {
      OublieEtatGen();
      GenereSaisie(Etat(), {nom, "", "", ""}, nullptr);
    }
    return 0;
  }
  for (int n : {500, 1000, 2000, 4000, 10000}) AjouteFichier("F" + std::to_string(n), n);

  // The data-entry program: 1,000 fields, then ten times as many, against it.
  double mille = 0;
  for (int n : {1000, 10000}) {
    const double ms = Meilleur([n] {
      GenereSaisie(Etat(), {"F" + std::to_string(n), "", "", ""}, nullptr);
    });
    const size_t lignes = std::count(EtatGen().Texte().begin(), EtatGen().Texte().end(), '\n');
    std::printf("Programme de saisie (GenereSaisie) : %d champs %.2f ms, %zu lignes\n", n, ms,
                lignes);
    if (n == 1000) mille = ms;
    if (n == 10000)
      std::printf("ratio genps 10000/1000 champs=%.2f (objectif <= 12)\n", ms / mille);
  }

  Serie("Déclarations d'un fichier (DeclarationFichier)", [](int n) {
    return Meilleur([n] { DeclarationFichier(Etat(), "F" + std::to_string(n)); });
  });
  Serie("Disposition et tampon seuls (5 lignes par champ)", [](int n) {
    return Meilleur([n] {
      InitGenCode(Etat());
      GenTitre(Etat(), "Banc", "=", "");
      for (int i = 0; i < n; ++i) {
        GenRem(Etat(), "Champ " + std::to_string(i), 0, "");
        GenInst(Etat(), "If V" + std::to_string(i) + " = \"\" Then");
        GenInst(Etat(), "V = Space(8)");
        GenInst(Etat(), "End If");
        GenInst(Etat(), "X = Mid(T,1,8)");
      }
    });
  });
  // perimes in a folder of its own: this one's files of 10,000 fields hold impossible lengths.
  ass.reset();
  OublieEtat();
  const fs::path autre = dossier.string() + "-perimes";
  fs::create_directories(autre);
  ass = OuvreDossier(autre.string());
  Perimes(autre.string());
  ass.reset();
  OublieEtat();
  std::error_code ignore;
  fs::remove_all(dossier, ignore);
  fs::remove_all(autre, ignore);
  return 0;
}

// --perimes: only perimes against its peer, in a folder of its own.
int SeulPerimes() {
  namespace fs = std::filesystem;
  std::random_device aleatoire;
  const fs::path dossier =
      fs::temp_directory_path() / ("vesk-gencode-perimes-" + std::to_string(aleatoire()));
  fs::create_directories(dossier);
  auto ass = OuvreDossier(dossier.string());
  Perimes(dossier.string());
  ass.reset();
  OublieEtat();
  std::error_code ignore;
  fs::remove_all(dossier, ignore);
  return 0;
}

}  // namespace
}  // namespace vesk

int main(int argc, char** argv) {
  try {
    if (argc > 1 && std::string(argv[1]) == "--perimes") return vesk::SeulPerimes();
    int seul_genps = 0;
    if (argc > 1 && std::string(argv[1]) == "--genps")
      seul_genps = argc > 2 ? std::atoi(argv[2]) : 1000;
    return vesk::Principal(seul_genps);
  } catch (const vesk::ErreurService& e) {
    std::fprintf(stderr, "%s : %s : %s\n", e.Operation().c_str(), e.Objet().c_str(),
                 e.Message().c_str());
    return 1;
  }
}
