#include "cli/demo.h"

#include <fstream>
#include <string_view>

#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

namespace {

// The demo dictionary, as `vesk export` writes it (docs/demo-facturation.toml).
constexpr std::string_view kDemo =
#include "demo_texte.inc"
    ;
constexpr std::string_view kNomDemo = "facturation.toml";

// vesk.ini naming the demo application, unless the folder has one already.
void EcritConfiguration(const std::string& dossier) {
  std::string chemin = platform::JoinPath(dossier, "vesk.ini");
  bool existe = false;
  platform::IoStatus st = platform::FileExists(chemin, &existe);
  if (!st.ok()) throw ErreurService("Démonstration", chemin, st.message);
  if (existe) return;
  std::ofstream sortie(chemin, std::ios::binary | std::ios::trunc);
  sortie << "; Application de démonstration de Vesk : facturation\napplication = FACTU\n"
         << "entreprise = " << kEntrepriseDemo << "\n";
  sortie.close();
  if (!sortie) throw ErreurService("Démonstration", chemin, "écriture du fichier impossible");
}

}  // namespace

void RemplitDemo(Session& s, const std::string& dossier) {
  EcritConfiguration(dossier);
  fic::ModeleDictionnaire modele = fic::LitDictionnaire(s);
  fic::LitDefinitions(s, modele);
  const std::string actuel = fic::EcritToml(modele);
  const std::string demo = fic::EcritToml(fic::LitToml(kDemo, kNomDemo));
  if (actuel == demo) return;
  if (actuel != fic::EcritToml(fic::ModeleDictionnaire{})) {
    throw ErreurService("Démonstration", dossier,
                        "ce dossier contient déjà un autre dictionnaire : la démonstration ne le "
                        "remplace pas");
  }
  fic::ImporteDictionnaire(s, kDemo, kNomDemo, false);
}

}  // namespace vesk::cli
