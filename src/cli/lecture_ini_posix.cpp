// Reading vesk.ini with inih (the POSIX build of `vesk`; the Windows build, where inih is not
// packaged, reads it with the portable reader of srv/config: lecture_ini_win32.cpp).
#include <ini.h>

#include <cstring>
#include <exception>

#include "cli/chargement.h"

namespace vesk::cli {

namespace {

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

}  // namespace

void LitIni(std::string_view texte, const std::string& fichier, Configuration& config) {
  LecteurConfiguration lecteur(config, fichier);
  lecteur.ControleTexte(texte);
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

}  // namespace vesk::cli
