#include "cli/verification.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "btree/reconstruction.h"
#include "core/ass.h"
#include "core/dictionnaire.h"
#include "core/etat_module.h"
#include "fic/donnees.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/noms_reserves.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/isam/env.h"
#include "srv/isam/record_text.h"
#include "srv/srv_donnee.h"
#include "srv/standard/fabrique_standard.h"

namespace vesk::cli {

namespace {

using isam::Env;

constexpr std::string_view kGenreChainage = "chaînage";
constexpr std::string_view kGenreDomaine = "hors domaine";

bool Existe(const std::string& chemin) {
  bool existe = false;
  return Env::Default()->FileExists(chemin, &existe).ok() && existe;
}

std::string Nom(const std::string& chemin) {
  const size_t barre = chemin.find_last_of("/\\");
  return barre == std::string::npos ? chemin : chemin.substr(barre + 1);
}

}  // namespace

std::vector<std::string> DossiersDonnees(const std::string& dossier, const std::string& nom,
                                         const fic::Fichier& f) {
  std::vector<std::string> dossiers;
  const std::vector<std::string> candidats =
      f.entreprise ? isam::CompanyFolders(Env::Default(), dossier) : std::vector{dossier};
  for (const std::string& d : candidats) {
    if (Existe(platform::JoinPath(d, nom + ".DAT"))) dossiers.push_back(d);
  }
  return dossiers;
}

namespace {

// The values of record no by the field rules and domains of f.
void ControleValeurs(const fic::ModeleDictionnaire& m, const fic::Fichier& f, uint32_t no,
                     std::string_view octets, VerificationFichier& v) {
  const fic::ValeursEnregistrement valeurs = fic::LitEnregistrement(f, octets);
  for (size_t i = 0; i < valeurs.size(); ++i) {
    const fic::Rubrique& r = f.rubriques[i];
    const fic::Lecture& l = valeurs[i];
    const std::string ou = "enregistrement " + std::to_string(no) + ", " + r.variable + " : ";
    if (l.defaut != fic::Defaut::kAucun) {
      v.Ajoute(fic::NomDefaut(l.defaut), no,
               ou + std::string(fic::NomDefaut(l.defaut)) + " (" + l.detail + ")");
    } else if (!fic::DansDomaine(m, r, l.valeur)) {
      v.Ajoute(kGenreDomaine, no,
               ou + "« " + l.valeur.texte + " » n'est pas dans le domaine " + *r.domaine);
    }
  }
}

// The chainings whose lines are the file nom of the company entreprise: each whole.
void ControleChainages(const fic::ModeleDictionnaire& m, DonneesAVerifier& donnees,
                       const std::string& entreprise, const std::string& nom, const fic::Fichier& f,
                       VerificationFichier& v) {
  const auto c = m.chainages.find(nom);
  if (c == m.chainages.end()) return;
  const fic::Fichier* entete = m.ChercheFichier(c->second.entete);
  if (entete == nullptr) return;
  const isam::ChainToCheck chainage{c->second.entete,
                                    nom,
                                    static_cast<uint32_t>(c->second.premier - 1),
                                    static_cast<uint32_t>(c->second.dernier - 1),
                                    static_cast<uint32_t>(c->second.arriere - 1),
                                    static_cast<uint32_t>(c->second.avant - 1)};
  ++v.chainages;
  std::vector<std::string> problemes;
  std::string absent;
  if (!donnees.Chainage(entreprise, chainage, entete->entreprise == f.entreprise, &problemes,
                        &absent)) {
    if (v.bilan.records > 0) v.Ajoute(kGenreChainage, 0, "fichier d'en-tête " + absent + " absent");
    return;
  }
  for (const std::string& p : problemes) v.Ajoute(kGenreChainage, 0, p);
}

// Records read between two reports of the check's progress.
constexpr uint64_t kEnregistrementsParAvance = 1024;

// The phase of one file and folder, ended even when the check fails.
class PhaseVerification {
 public:
  PhaseVerification(SuiviProgression& suivi, const VerificationFichier& v) : suivi_(suivi) {
    suivi_.Debut(
        "Vérification " + v.fichier + (v.entreprise.empty() ? "" : " (" + v.entreprise + ")"), 0);
  }
  ~PhaseVerification() { suivi_.Fin(); }
  PhaseVerification(const PhaseVerification&) = delete;
  PhaseVerification& operator=(const PhaseVerification&) = delete;

 private:
  SuiviProgression& suivi_;
};

VerificationFichier VerifieDans(const fic::ModeleDictionnaire& m, DonneesAVerifier& donnees,
                                const std::string& entreprise, const std::string& nom,
                                const fic::Fichier& f, SuiviProgression& suivi) {
  VerificationFichier v;
  v.fichier = nom;
  v.entreprise = entreprise;
  const PhaseVerification phase(suivi, v);
  uint64_t lus = 0;
  v.donnees = true;
  isam::FileToCheck fv;
  fv.data = nom;
  fv.record_length = static_cast<uint32_t>(f.Longueur());
  for (const BArbreAReconstruire& a : btree::ArbresDuFichier(m, nom).arbres) {
    fv.trees.push_back({a.nom, ConstructeurCle(a)});
  }
  v.arbres = fv.trees.size();
  fv.on_record = [&](uint32_t no, std::string_view octets) {
    ControleValeurs(m, f, no, octets, v);
    if (++lus % kEnregistrementsParAvance == 0) suivi.Avance(static_cast<int64_t>(lus));
  };
  donnees.Fichier(
      entreprise, fv, [&](const isam::FileProblem& p) { v.Ajoute(p.kind, p.record, p.text); },
      &v.bilan);
  ControleChainages(m, donnees, entreprise, nom, f, v);
  return v;
}

// A data folder's files, by path.
class DonneesDuDossier : public DonneesAVerifier {
 public:
  explicit DonneesDuDossier(std::string dossier) : dossier_(std::move(dossier)) {}

  std::vector<std::string> Entreprises(const std::string& nom, const fic::Fichier& f) override {
    std::vector<std::string> out;
    for (const std::string& d : DossiersDonnees(dossier_, nom, f)) {
      out.push_back(d == dossier_ ? "" : Nom(d));
    }
    return out;
  }
  void Fichier(const std::string& entreprise, const isam::FileToCheck& f,
               const std::function<void(const isam::FileProblem&)>& probleme,
               isam::FileTally* bilan) override {
    const std::string d = Dossier(entreprise);
    isam::FileToCheck fv = f;
    fv.data = platform::JoinPath(d, f.data + ".DAT");
    for (isam::KeyToCheck& k : fv.trees) k.tree = platform::JoinPath(d, k.tree + ".DAB");
    const isam::Status s = isam::VerifyFile(Env::Default(), fv, probleme, bilan);
    if (!s.ok()) throw ErreurService("Vérification", fv.data, s.message());
  }
  bool Chainage(const std::string& entreprise, const isam::ChainToCheck& c, bool entete_ici,
                std::vector<std::string>* problemes, std::string* absent) override {
    isam::ChainToCheck chemins = c;
    chemins.header =
        platform::JoinPath(entete_ici ? Dossier(entreprise) : dossier_, c.header + ".DAT");
    chemins.line = platform::JoinPath(Dossier(entreprise), c.line + ".DAT");
    if (!Existe(chemins.header)) {
      *absent = chemins.header;
      return false;
    }
    const isam::Status s = isam::VerifyChain(Env::Default(), chemins, problemes);
    if (!s.ok()) problemes->push_back(s.message());
    return true;
  }

 private:
  std::string Dossier(const std::string& entreprise) const {
    return entreprise.empty() ? dossier_ : platform::JoinPath(dossier_, entreprise);
  }
  const std::string dossier_;
};

}  // namespace

std::function<isam::Status(std::string_view, std::string*)> ConstructeurCle(
    const BArbreAReconstruire& a) {
  const std::string objet = a.nom + ".DAB";
  const size_t longueur = static_cast<size_t>(a.longueur_cle);
  return [a, objet, longueur](std::string_view octets, std::string* key) {
    std::string texte, c;
    isam::DecodeBytes(octets, &texte);
    try {
      a.cle(texte, c);
    } catch (const ErreurService& e) {
      return isam::Status::InvalidArgument(e.Message());
    }
    return isam::EncodeFixed(c, longueur, "clé de " + objet, key);
  };
}

isam::KeyToCheck CleDeTable(const std::string& dossier, const BArbreAReconstruire& a) {
  return {platform::JoinPath(dossier, a.nom + ".DAB"), ConstructeurCle(a)};
}

std::unique_ptr<DonneesAVerifier> DonneesDossier(const std::string& dossier) {
  return std::make_unique<DonneesDuDossier>(dossier);
}

namespace {

// The key checks of every table of m (the dictionary's own files first), in the folders of its
// file: the root, or each company folder for a company-dependent file.
std::vector<isam::KeyToCheck> ClesDuModele(const fic::ModeleDictionnaire& m, const std::string& dir,
                                           const std::vector<std::string>& entreprises) {
  std::vector<std::string> noms;
  for (const FichierDictionnaire& f : kFichiersDictionnaire) noms.emplace_back(f.nom);
  for (const auto& [nom, f] : m.fichiers) noms.push_back(nom);
  std::vector<isam::KeyToCheck> cles;
  for (const std::string& nom : noms) {
    const FichierAReconstruire f = btree::ArbresDuFichier(m, nom);
    for (const std::string& d : f.dependance_entreprise ? entreprises : std::vector{dir}) {
      for (const BArbreAReconstruire& a : f.arbres) cles.push_back(CleDeTable(d, a));
    }
  }
  return cles;
}

// The chainings of m whose files are in dir or its company folders (pointer positions from 0). A
// chaining whose pointer positions cannot be is a problem of rapport, not checked.
std::vector<isam::ChainToCheck> ChainagesDuModele(const fic::ModeleDictionnaire& m,
                                                  const std::string& dir,
                                                  const std::vector<std::string>& entreprises,
                                                  isam::FolderReport* rapport) {
  std::vector<isam::ChainToCheck> chainages;
  const auto dans = [](const std::string& d, const std::string& nom) {
    return platform::JoinPath(d, nom + ".DAT");
  };
  const PositionsChainage& l = kChainageLficFic;
  if (Existe(dans(dir, "FIC")) && Existe(dans(dir, "LFIC"))) {
    chainages.push_back({dans(dir, "FIC"), dans(dir, "LFIC"), uint32_t(l.premiere - 1),
                         uint32_t(l.derniere - 1), uint32_t(l.precedente - 1),
                         uint32_t(l.suivante - 1)});
  }
  std::vector<std::string> dossiers = {dir};
  dossiers.insert(dossiers.end(), entreprises.begin(), entreprises.end());
  for (const auto& [ligne, c] : m.chainages) {
    if (std::min({c.premier, c.dernier, c.arriere, c.avant}) < 1 ||
        std::max({c.premier, c.dernier, c.arriere, c.avant}) > kLongueurEnrMax) {
      rapport->problems.push_back("dictionnaire : le chaînage de " + ligne + " sous " + c.entete +
                                  " a une position de pointeur impossible");
      continue;
    }
    for (const std::string& d : dossiers) {
      std::string entete = dans(d, c.entete);
      if (!Existe(entete)) entete = dans(dir, c.entete);
      if (!Existe(dans(d, ligne)) || !Existe(entete)) continue;
      chainages.push_back({entete, dans(d, ligne), uint32_t(c.premier - 1), uint32_t(c.dernier - 1),
                           uint32_t(c.arriere - 1), uint32_t(c.avant - 1)});
    }
  }
  return chainages;
}

}  // namespace

ControlesDictionnaire ControlesDuDossier(const std::string& dossier, isam::FolderReport* rapport) {
  ControlesDictionnaire controles;
  if (!Existe(platform::JoinPath(dossier, "FIC.DAT"))) return controles;
  OptionsServices options;
  options.config.dossier = dossier;
  InstalleServicesThread(CreateurStandard(options));
  try {
    std::shared_ptr<AsS> ass = AsS::Cree();
    ass->OuvS();
    const fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
    const std::vector<std::string> entreprises = isam::CompanyFolders(Env::Default(), dossier);
    controles.cles = ClesDuModele(m, dossier, entreprises);
    controles.chainages = ChainagesDuModele(m, dossier, entreprises, rapport);
  } catch (const ErreurService& e) {
    rapport->problems.push_back("dictionnaire : " + e.Texte());
    controles = {};
  }
  OublieEtat();
  InstalleServicesThread(nullptr);
  return controles;
}

uint64_t VerificationFichier::Problemes() const {
  uint64_t n = 0;
  for (const GenreProbleme& g : problemes) n += g.nombre;
  return n;
}

void VerificationFichier::Ajoute(std::string_view genre, uint32_t enregistrement,
                                 const std::string& texte) {
  auto g = std::find_if(problemes.begin(), problemes.end(),
                        [&](const GenreProbleme& p) { return p.genre == genre; });
  if (g == problemes.end()) {
    problemes.push_back({std::string(genre), 0, {}, texte});
    g = std::prev(problemes.end());
  }
  ++g->nombre;
  if (enregistrement != 0 && g->premiers.size() < kPremiers &&
      std::find(g->premiers.begin(), g->premiers.end(), enregistrement) == g->premiers.end()) {
    g->premiers.push_back(enregistrement);
  }
}

std::vector<VerificationFichier> VerifieDonnees(const fic::ModeleDictionnaire& m,
                                                DonneesAVerifier& donnees,
                                                const std::vector<std::string>& noms,
                                                SuiviProgression& suivi) {
  std::vector<std::string> choisis = noms;
  if (choisis.empty()) {
    for (const auto& [nom, f] : m.fichiers) choisis.push_back(nom);
  }
  std::vector<VerificationFichier> resultats;
  for (const std::string& nom : choisis) {
    const fic::Fichier* f = m.ChercheFichier(nom);
    if (f == nullptr) {
      throw ErreurService("Vérification", nom, "fichier non spécifié dans le dictionnaire");
    }
    const std::vector<std::string> entreprises = donnees.Entreprises(nom, *f);
    if (entreprises.empty()) {
      VerificationFichier sans;
      sans.fichier = nom;
      resultats.push_back(std::move(sans));
    }
    for (const std::string& e : entreprises) {
      resultats.push_back(VerifieDans(m, donnees, e, nom, *f, suivi));
    }
  }
  return resultats;
}

void AjouteNomsReserves(const fic::ModeleDictionnaire& m, std::string_view application,
                        std::vector<VerificationFichier>& resultats) {
  std::string precedent;
  for (VerificationFichier& v : resultats) {
    if (v.fichier == precedent) continue;  // the names are the dictionary's: told once a file
    precedent = v.fichier;
    for (const auto& [variable, conflit] :
         fic::ConflitsFichier(fic::Portee(m, v.fichier, application))) {
      v.Ajoute("nom réservé", 0, variable + " : " + conflit);
    }
  }
}

}  // namespace vesk::cli
