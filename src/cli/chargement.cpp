#include "cli/chargement.h"

#include <ini.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kOuverture = "Ouverture du dossier des données";
constexpr uint64_t kTailleMaxIni = 1 << 20;

// The text handed to inih line by line, counting lines so that errors can name them.
struct Flux {
  std::string_view reste;
  int ligne = 0;
  bool trop_longue = false;
  bool retrait = false;  // the current line begins with a blank
};

// inih's reader (fgets-like). A line that does not fit in inih's buffer stops the reading
// instead of being cut.
char* LitLigne(char* tampon, int taille, void* flux_brut) {
  auto* flux = static_cast<Flux*>(flux_brut);
  if (flux->reste.empty()) return nullptr;
  size_t fin = flux->reste.find('\n');
  size_t n = fin == std::string_view::npos ? flux->reste.size() : fin + 1;
  if (n + 1 > static_cast<size_t>(taille)) {
    flux->trop_longue = true;
    return nullptr;
  }
  std::memcpy(tampon, flux->reste.data(), n);
  tampon[n] = '\0';
  flux->retrait = n > 0 && (tampon[0] == ' ' || tampon[0] == '\t');
  flux->reste.remove_prefix(n);
  ++flux->ligne;
  return tampon;
}

struct Etat {
  LecteurConfiguration* lecteur;
  Flux* flux;
  std::exception_ptr erreur;  // the first refused key, and its line
  int ligne_erreur = 0;
  std::string derniere_cle, derniere_section;
};

// inih's handler; no exception may cross inih's C frames.
int Gere(void* etat_brut, const char* section, const char* nom, const char* valeur) {
  auto* etat = static_cast<Etat*>(etat_brut);
  if (etat->erreur) return 1;
  try {
    // inih hands an indented line after a key as a second value of that key.
    if (etat->flux->retrait && nom == etat->derniere_cle && section == etat->derniere_section) {
      etat->lecteur->ErreurLigne(etat->flux->ligne,
                                 "ligne en retrait : une valeur tient sur une seule ligne");
    }
    etat->derniere_cle = nom;
    etat->derniere_section = section;
    etat->lecteur->Applique(section, nom, valeur, etat->flux->ligne);
  } catch (...) {
    etat->erreur = std::current_exception();
    etat->ligne_erreur = etat->flux->ligne;
    return 0;
  }
  return 1;
}

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

// The data folder and where its name came from, for the error messages.
std::pair<std::string, std::string> DossierDonnees(const OptionsLigne& options) {
  if (options.data) return {*options.data, "option --data"};
  std::string env = platform::Environnement("VESK_DATA");
  if (!env.empty()) return {env, "variable VESK_DATA"};
  return {".", "dossier courant"};
}

void VerifieDossier(const std::string& dossier, const std::string& origine) {
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

void LitIni(std::string_view texte, const std::string& fichier, Configuration& config) {
  LecteurConfiguration lecteur(config, fichier);
  lecteur.VerifieTexte(texte);
  Flux flux{texte};
  Etat etat{&lecteur, &flux, nullptr, 0, "", ""};
  int rc = ini_parse_stream(LitLigne, &flux, Gere, &etat);
  if (rc < 0) lecteur.ErreurLigne(flux.ligne, "mémoire insuffisante pour la lecture");
  if (rc > 0 && (!etat.erreur || rc < etat.ligne_erreur)) {
    lecteur.ErreurLigne(rc, "ligne illisible : « clé = valeur » ou « [vesk] » attendu");
  }
  if (etat.erreur) std::rethrow_exception(etat.erreur);
  if (flux.trop_longue) {
    lecteur.ErreurLigne(flux.ligne + 1, "ligne trop longue (au plus " +
                                            std::to_string(INI_MAX_LINE - 2) + " octets)");
  }
}

Configuration ChargeConfiguration(const OptionsLigne& options) {
  Configuration config;
  auto [dossier, origine] = DossierDonnees(options);
  VerifieDossier(dossier, origine);
  config.dossier = dossier;
  std::string ini = config.CheminDonnees(kFichierConfiguration);
  bool existe = false;
  platform::IoStatus st = platform::FileExists(ini, &existe);
  if (!st.ok()) throw ErreurService("Lecture de la configuration", ini, st.message);
  if (existe) LitIni(LitFichier(ini), ini, config);
  if (options.entreprise) {
    AppliqueOption(config, "--entreprise", "entreprise", *options.entreprise);
  }
  return config;
}

}  // namespace vesk::cli
