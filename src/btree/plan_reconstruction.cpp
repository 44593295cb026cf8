// What a reconstruction rewrites, read from the dictionary: the candidates, the plan of one
// file (its trees, the header files of its chainings) and the E fields it cannot follow.
#include <algorithm>
#include <map>

#include "btree/reconstruction.h"
#include "core/dictionnaire.h"
#include "fic/cle_enregistrement.h"
#include "srv/erreur_service.h"
#include "srv/srv_donnee.h"
#include "srv/text/utf8.h"

namespace vesk::btree {

namespace {

constexpr std::string_view kProcedure = "ReconsBA";

// The dictionary's own file named nom (in any case), or null.
const FichierDictionnaire* Interne(std::string_view nom) {
  for (const FichierDictionnaire& f : kFichiersDictionnaire) {
    if (text::EqualNoCase(f.nom, nom)) return &f;
  }
  return nullptr;
}

// A dictionary file in the plan, under its data file's name, with its tree (Lfic has none)
// indexed by its first field.
FichierAReconstruire PlanInterne(const FichierDictionnaire& f, bool choisi) {
  const std::string nom = text::UpperAscii(f.nom);
  FichierAReconstruire r{nom, false, choisi, {}};
  if (f.longueur_cle == 0) return r;
  const std::vector<fic::TrancheCle> tranches{{0, f.longueur_cle}};
  r.arbres.push_back({nom, f.longueur_cle, "P", [tranches](std::string_view enr, std::string& cle) {
                        cle = fic::CleEnregistrement(tranches, enr);
                      }});
  return r;
}

// The tables of the file nom, each with the key builder of its key list over the file's fields.
std::vector<BArbreAReconstruire> Arbres(const fic::ModeleDictionnaire& m, const std::string& nom) {
  std::vector<BArbreAReconstruire> arbres;
  for (const auto& [table, b] : m.TablesDe(nom)) {
    const fic::ResultatCle& cle = b->analyse;
    if (!cle.valide) {
      throw ErreurService(kProcedure, table,
                          "la liste de clé " + b->cle + " ne convient plus aux rubriques de " +
                              nom + " (" + cle.message + ") : corriger la table d'abord");
    }
    std::vector<fic::TrancheCle> tranches = cle.tranches;
    arbres.push_back({table, cle.longueur, b->nature,
                      [tranches = std::move(tranches)](std::string_view enr, std::string& c) {
                        c = fic::CleEnregistrement(tranches, enr);
                      }});
  }
  return arbres;
}

FichierAReconstruire FichierApplication(const fic::ModeleDictionnaire& m, const std::string& nom,
                                        bool choisi) {
  const auto it = m.fichiers.find(nom);
  if (it == m.fichiers.end()) {
    throw ErreurService(kProcedure, nom, "fichier non spécifié dans le dictionnaire");
  }
  return {nom, it->second.entreprise, choisi, Arbres(m, nom)};
}

int32_t Position(int64_t p, std::string_view quoi) {
  if (p < 1 || p > kLongueurEnrMax) {
    throw ErreurService(kProcedure, quoi,
                        "position de pointeur " + std::to_string(p) + " impossible");
  }
  return static_cast<int32_t>(p);
}

}  // namespace

std::vector<Candidat> Candidats(Session& s, const fic::ModeleDictionnaire& modele) {
  std::vector<Candidat> candidats;
  for (const FichierDictionnaire& f : kFichiersDictionnaire) {
    candidats.push_back({text::UpperAscii(f.nom), false, {}});
    if (f.longueur_cle != 0) candidats.back().arbres.push_back(candidats.back().nom);
  }
  for (const auto& [nom, f] : modele.fichiers) {
    if (Interne(nom) != nullptr) continue;
    bool existe = false;
    s.Donnee().ExisteDonnee(f.entreprise, nom, existe);
    if (!existe) continue;
    Candidat c{nom, f.entreprise, {}};
    for (const auto& [table, b] : modele.barbres) {
      if (b.fichier == nom) c.arbres.push_back(table);
    }
    candidats.push_back(std::move(c));
  }
  return candidats;
}

FichierAReconstruire ArbresDuFichier(const fic::ModeleDictionnaire& modele,
                                     const std::string& nom) {
  if (const FichierDictionnaire* f = Interne(nom)) return PlanInterne(*f, true);
  return FichierApplication(modele, nom, true);
}

PlanReconstruction PlanFichier(Session& s, const fic::ModeleDictionnaire& modele,
                               const std::string& nom) {
  PlanReconstruction plan;
  if (const FichierDictionnaire* f = Interne(nom)) {
    plan.fichiers.push_back(PlanInterne(*f, true));
    if (f->nom == kLfic.nom) {  // the dictionary's own chaining: Lfic under Fic
      plan.fichiers.push_back(PlanInterne(kFic, false));
      const PositionsChainage& c = kChainageLficFic;
      plan.chainages.push_back({1, 0, c.premiere, c.derniere, c.precedente, c.suivante});
    }
    return plan;
  }
  plan.fichiers.push_back(FichierApplication(modele, nom, true));
  const auto c = modele.chainages.find(nom);
  if (c == modele.chainages.end()) return plan;
  const fic::Chainage& ch = c->second;
  size_t entete = 0;
  if (ch.entete != nom) {
    plan.fichiers.push_back(FichierApplication(modele, ch.entete, false));
    bool existe = false;
    s.Donnee().ExisteDonnee(plan.fichiers.back().dependance_entreprise, ch.entete, existe);
    if (!existe) {
      throw ErreurService(kProcedure, nom,
                          "le fichier entête de chaînage " + ch.entete +
                              " n'a pas de fichier de données : ses pointeurs ne peuvent suivre "
                              "les lignes déplacées");
    }
    entete = 1;
  }
  plan.chainages.push_back({entete, 0, Position(ch.premier, ch.entete),
                            Position(ch.dernier, ch.entete), Position(ch.arriere, nom),
                            Position(ch.avant, nom)});
  return plan;
}

std::vector<std::string> ChampsENonSuivis(const fic::ModeleDictionnaire& modele) {
  // The pointer positions of each file: as line file, then as header file.
  std::map<std::string, std::vector<int64_t>> pointeurs;
  for (const auto& [ligne, c] : modele.chainages) {
    pointeurs[ligne].insert(pointeurs[ligne].end(), {c.arriere, c.avant});
    pointeurs[c.entete].insert(pointeurs[c.entete].end(), {c.premier, c.dernier});
  }
  std::vector<std::string> champs;
  for (const auto& [nom, f] : modele.fichiers) {
    const std::vector<int64_t>& suivis = pointeurs[nom];
    for (const fic::Rubrique& r : f.rubriques) {
      if (r.type != "E") continue;
      if (std::find(suivis.begin(), suivis.end(), r.position) != suivis.end()) continue;
      champs.push_back(nom + "." + r.variable);
    }
  }
  return champs;
}

}  // namespace vesk::btree
