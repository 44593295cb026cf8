// The verifier of a data folder: reads every data file (.DAT) and B-tree (.DAB) of the folder
// and of its company sub-folders and checks them against each other: each B-tree's own
// invariants, index entries naming live records (one to one for a primary tree), deleted
// records counted and marked, and chaining pointers agreeing both ways. It changes nothing.
// Free functions; one thread at a time per folder.
#ifndef VESK_SRV_ISAM_VERIFY_H_
#define VESK_SRV_ISAM_VERIFY_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/isam/dossier.h"
#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam {

// A chaining to check: the two files by path and the 0-based offsets of the four pointers.
struct ChainageVerif {
  std::string entete;  // path of the header file
  std::string ligne;   // path of the line file
  uint32_t premiere = 0, derniere = 0, precedente = 0, suivante = 0;
};

// How the key of a tree's entries is built from their records, to check that every key is its
// record's (a key that is not was written from other bytes, or its record changed without it).
// arbre: the path of the .DAB; cle: the key of a record's bytes (as on disk), which the verifier
// pads with spaces to the tree's key length. A failing builder is a problem of the report.
struct CleVerif {
  std::string arbre;
  std::function<Status(std::string_view record, std::string* key)> cle;
};

struct RapportVerif {
  std::vector<std::string> problemes;  // empty when the folder is sound
  uint32_t fichiers = 0;
  uint32_t arbres = 0;
  uint64_t enregistrements = 0;  // live records
  uint64_t supprimes = 0;
  uint64_t cles = 0;
  uint64_t lignes_chainees = 0;
};

// Checks the folder dossier and its sub-folders (SousDossiers) with the chainings given, and
// the keys of the trees cles names against their records. A file that cannot be read at all is
// a problem of the report, not a failing Status; the Status fails only when the folder itself
// cannot be listed.
Status VerifieDossier(Env* env, const std::string& dossier,
                      const std::vector<ChainageVerif>& chainages, RapportVerif* rapport,
                      const std::vector<CleVerif>& cles = {});

// Checks one chaining alone, as VerifieDossier does: the lines of each live header followed
// from its first-line pointer, each live and chained once, its backward pointer on the line
// before it, the last-line pointer on the last, and no live line chained under no header.
// problemes receives what is wrong with the chaining (each naming the header record); what is
// wrong with the files themselves is not its concern.
Status VerifieChainage(Env* env, const ChainageVerif& chainage,
                       std::vector<std::string>* problemes);

// The refusal of a rebuild that would renumber the lines of a chaining whose check gave
// problemes (not empty): the first, how many others, and that nothing is written. Both stores'
// rebuilds give it.
std::string RefusDeChainage(const std::vector<std::string>& problemes);

// One problem of a file checked alone (VerifieFichier): its kind, the record it is about (0 when
// it is about the file or a tree as a whole) and the text that says it.
struct ProblemeVerif {
  std::string genre;  // one of the kGenre... below, or a kind of the caller's record check
  uint32_t enregistrement = 0;
  std::string texte;
};
inline constexpr std::string_view kGenreFichier = "fichier";        // the data file itself
inline constexpr std::string_view kGenreArbre = "arbre";            // a tree itself
inline constexpr std::string_view kGenreSansCle = "clé absente";    // a live record, no key
inline constexpr std::string_view kGenreCles = "clés multiples";    // a record, several keys
inline constexpr std::string_view kGenreCleVide = "clé orpheline";  // a key, no live record
inline constexpr std::string_view kGenreCleFausse = "clé fausse";   // not the record's key

// A data file with every tree that indexes it, checked as a dictionary describes them.
struct FichierVerif {
  std::string donnees;    // path of the .DAT
  uint32_t longueur = 0;  // the record length it must have
  // Each tree of the file (an absent one is a problem when the file holds live records) and
  // how its keys are built: every tree holds exactly one key per live record, the one cle
  // builds, and nothing else.
  std::vector<CleVerif> arbres;
  // Called with each live record (its number and bytes), in record order; may be empty.
  std::function<void(uint32_t no, std::string_view record)> enregistrement;
};

struct BilanFichierVerif {
  uint64_t enregistrements = 0;  // live records
  uint64_t supprimes = 0;
  uint64_t cles = 0;  // keys of its trees
};

// Checks the file f as VerifieDossier checks a file and its trees (the data file against its
// header, each tree's invariants), with the stricter rule above for every tree, primary or
// secondary. Each problem goes to probleme, none left out. The Status fails only when the
// checker itself cannot go on (never for what the files hold).
Status VerifieFichier(Env* env, const FichierVerif& f,
                      const std::function<void(const ProblemeVerif&)>& probleme,
                      BilanFichierVerif* bilan);

// The chainings declared in d, by path.
std::vector<ChainageVerif> ChainagesDeclares(DossierDonnees& d);

// The sub-folders of dossier that the Env can list (company folders).
std::vector<std::string> SousDossiers(Env* env, const std::string& dossier);

}  // namespace vesk::isam

#endif  // VESK_SRV_ISAM_VERIFY_H_
