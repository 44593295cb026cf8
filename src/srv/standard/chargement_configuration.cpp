#include "srv/standard/chargement_configuration.h"

#include <memory>
#include <vector>

#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk {

namespace {

constexpr std::string_view kOuverture = "Ouverture du dossier des données";
constexpr uint64_t kTailleMaxIni = 1 << 20;

std::string LitFichier(const std::string& chemin) {
  std::unique_ptr<platform::File> fichier;
  platform::IoStatus st = platform::OpenFile(chemin, platform::OpenMode::kRead, &fichier);
  uint64_t taille = 0;
  if (st.ok()) st = fichier->Size(&taille);
  if (st.ok() && taille > kTailleMaxIni) {
    throw ErreurService("Lecture de la configuration", chemin, "fichier trop grand (plus de 1 Mo)");
  }
  std::string texte(taille, '\0');
  size_t lu = 0;
  if (st.ok()) st = fichier->ReadAt(0, std::span<char>(texte), &lu);
  if (!st.ok()) throw ErreurService("Lecture de la configuration", chemin, st.message);
  texte.resize(lu);
  return texte;
}

void ControleDossier(const std::string& dossier, const std::string& origine) {
  bool est_dossier = false, existe = false;
  platform::IoStatus st = platform::IsDirectory(dossier, &est_dossier);
  if (st.ok() && !est_dossier) st = platform::FileExists(dossier, &existe);
  if (!st.ok()) throw ErreurService(kOuverture, dossier, st.message + " (" + origine + ")");
  if (!est_dossier) {
    throw ErreurService(kOuverture, dossier,
                        std::string(existe ? "ce n'est pas un dossier" : "dossier introuvable") +
                            " (" + origine + ")");
  }
  std::vector<std::string> noms;
  st = platform::ListDirectory(dossier, &noms);
  if (!st.ok()) {
    throw ErreurService(kOuverture, dossier, "dossier illisible : " + st.message);
  }
}

}  // namespace

void LitIniPortable(std::string_view texte, const std::string& fichier, Configuration& config) {
  LecteurConfiguration lecteur(config, fichier);
  LitConfiguration(texte, lecteur);
}

Configuration ChargeConfigurationDossier(const std::string& dossier, const std::string& origine,
                                         LecteurIni lecteur) {
  ControleDossier(dossier, origine);
  Configuration config;
  config.dossier = dossier;
  std::string ini = config.CheminDonnees(kFichierConfiguration);
  bool existe = false;
  platform::IoStatus st = platform::FileExists(ini, &existe);
  if (!st.ok()) throw ErreurService("Lecture de la configuration", ini, st.message);
  if (existe) lecteur(LitFichier(ini), ini, config);
  return config;
}

}  // namespace vesk
