// gencode_bench: the time of the data-entry program generator for a file of 1,000 fields and
// of ten times as many (the ratio of the two), of the declarations generator for a file of 500,
// 1000, 2000 and 4000 fields (a dictionary in a temporary data folder, standard services), and of
// the layout and buffer alone for as many instruction lines. Each time is the best of five runs;
// the ratio to the previous size shows whether the growth is linear (about 2 when the size
// doubles).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "core/ass.h"
#include "core/etat_module.h"
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

// seul_genps: only the data-entry program, on 1,000 fields repeated (for a profiler).
int Principal(bool seul_genps) {
  namespace fs = std::filesystem;
  std::random_device aleatoire;
  const fs::path dossier =
      fs::temp_directory_path() / ("vesk-gencode-bench-" + std::to_string(aleatoire()));
  fs::create_directories(dossier);
  OptionsServices options;
  options.config.dossier = dossier.string();
  options.config.synchro = Synchro::kOff;
  options.interface.ecran = [] { return std::make_unique<EcranBanc>(); };
  InstalleServicesThread(CreateurStandard(options));
  auto ass = AsS::Cree();
  ass->OuvS();
  if (seul_genps) {
    AjouteFichier("F1000", 1000);
    for (int i = 0; i < 200; ++i) {
      OublieEtatGen();
      GenereSaisie(Etat(), {"F1000", "", "", ""}, nullptr);
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
  OublieEtat();
  std::error_code ignore;
  fs::remove_all(dossier, ignore);
  return 0;
}

}  // namespace
}  // namespace vesk

int main(int argc, char** argv) {
  try {
    return vesk::Principal(argc > 1 && std::string(argv[1]) == "--genps");
  } catch (const vesk::ErreurService& e) {
    std::fprintf(stderr, "%s : %s : %s\n", e.Operation().c_str(), e.Objet().c_str(),
                 e.Message().c_str());
    return 1;
  }
}
