#include "fic/plan_migration.h"

#include <algorithm>
#include <map>
#include <set>

#include "fic/cle_enregistrement.h"
#include "fic/controles.h"
#include "fic/dictionnaire_texte.h"
#include "fic/disposition_fichier.h"
#include "srv/text/cp1252.h"

namespace vesk::fic {

namespace {

// Values listed per file and folder in a plan.
constexpr size_t kProblemesListes = 1000;

using Source = PieceMigration::Source;

bool MemeCodage(const CodageRubrique& a, const CodageRubrique& b) {
  return a.type == b.type && a.total == b.total && a.decimales == b.decimales &&
         a.format == b.format && a.longueur == b.longueur;
}

// "A 6", "M 9.2 S", "N 7.2", "D".
std::string Decrit(const CodageRubrique& c) {
  std::string t(1, c.type);
  if (c.type == 'D' || c.type == 'E' || c.type == 'B') return t;
  t += " " + std::to_string(c.total);
  if (c.type == 'M' || c.type == 'N') t += "." + std::to_string(c.decimales);
  if (c.type == 'M') t += std::string(" ") + c.format;
  return t;
}

// The conversion of a value from one coding to another, by the field rules.
auto Conversion(CodageRubrique ancien, CodageRubrique nouveau, bool tronque) {
  return [ancien, nouveau, tronque](std::string_view texte, std::string& resultat,
                                    std::string& raison) {
    std::string octets;
    text::EncodeCp1252(texte, &octets);  // the bytes of a record: every character has one
    const Lecture l = LitValeur(ancien, octets);
    if (l.defaut != Defaut::kAucun) {
      raison = std::string(NomDefaut(l.defaut)) + " (" + l.detail + ")";
      return false;
    }
    const Ecriture e = EcritValeur(nouveau, l.valeur, tronque);
    if (!e.ecrit) {
      raison = e.raison;
      return false;
    }
    resultat = text::DecodeCp1252(e.octets);
    return true;
  };
}

// How the new field n is made from the old field a (same variable), or why it cannot be.
struct Passage {
  bool possible = true;
  Source source = Source::kCopie;
};
Passage PassageDe(const CodageRubrique& a, const CodageRubrique& n) {
  const bool nombre_a = a.type == 'M' || a.type == 'N', nombre_n = n.type == 'M' || n.type == 'N';
  if (a.type != n.type && !(nombre_a && nombre_n)) return {false, Source::kCopie};
  if (MemeCodage(a, n) || a.type == 'A' || a.type == 'L') return {true, Source::kCopie};
  if (nombre_a) return {true, Source::kConversion};
  return {true, Source::kCopie};  // D, E and B keep their bytes
}

struct Comparaison {
  FichierMigre f;
  ChangementFichier c;
  std::vector<std::string> refus;
};

void Champs(const DispositionFichier& a, const DispositionFichier& n, bool tronque,
            Comparaison& r) {
  std::map<std::string, int> vus;
  for (const ChampDonnee& c : a.champs) {
    if (++vus[c.variable] == 2) r.refus.push_back(c.variable + " : variable deux fois");
  }
  for (const ChampDonnee& nc : n.champs) {
    PieceMigration p;
    p.variable = nc.variable;
    p.position = nc.debut + 1;
    p.longueur = nc.codage.longueur;
    const ChampDonnee* ac = a.Champ(nc.variable);
    if (ac == nullptr) {
      p.source = Source::kDonnee;
      p.texte = text::DecodeCp1252(OctetsNeufs(nc.codage));
      r.c.lignes.push_back("+ " + nc.variable + " " + Decrit(nc.codage) + " : ajoutée");
      r.f.pieces.push_back(std::move(p));
      continue;
    }
    const Passage passage = PassageDe(ac->codage, nc.codage);
    if (!passage.possible) {
      r.refus.push_back(nc.variable + " : " + Decrit(ac->codage) + " -> " + Decrit(nc.codage) +
                        " refusé (seuls M et N se convertissent l'un en l'autre)");
      continue;
    }
    if (!MemeCodage(ac->codage, nc.codage)) {
      r.c.lignes.push_back("~ " + nc.variable + " " + Decrit(ac->codage) + " -> " +
                           Decrit(nc.codage));
    } else if (ac->debut != nc.debut) {
      r.c.lignes.push_back("~ " + nc.variable + " déplacée : position " +
                           std::to_string(ac->debut + 1) + " -> " + std::to_string(nc.debut + 1));
    }
    p.source = passage.source;
    p.position_ancienne = ac->debut + 1;
    p.longueur_ancienne = ac->codage.longueur;
    if (p.source == Source::kConversion) p.conversion = Conversion(ac->codage, nc.codage, tronque);
    r.f.pieces.push_back(std::move(p));
  }
  for (const ChampDonnee& ac : a.champs) {
    if (n.Champ(ac.variable) != nullptr) continue;
    std::string ligne = "- " + ac.variable + " " + Decrit(ac.codage) + " : retirée";
    for (const ChampDonnee& nc : n.champs) {
      if (nc.nom == ac.nom && a.Champ(nc.variable) == nullptr) {
        ligne += " (renommée en " + nc.variable + " : ses valeurs ne suivent pas)";
      }
    }
    r.c.lignes.push_back(ligne);
  }
}

bool MemesChamps(const DispositionFichier& a, const DispositionFichier& n) {
  if (a.longueur != n.longueur || a.champs.size() != n.champs.size()) return false;
  for (size_t i = 0; i < a.champs.size(); ++i) {
    const ChampDonnee &x = a.champs[i], &y = n.champs[i];
    if (x.variable != y.variable || x.debut != y.debut || !MemeCodage(x.codage, y.codage)) {
      return false;
    }
  }
  return true;
}

// The pointer positions (from 1) of the chainings a file takes part in, by role.
std::map<std::string, int64_t> Pointeurs(const ModeleDictionnaire& m, const std::string& nom) {
  std::map<std::string, int64_t> p;
  for (const auto& [ligne, c] : m.chainages) {
    const std::string lien = ligne + " sous " + c.entete;
    if (ligne == nom) {
      p["précédent " + lien] = c.arriere;
      p["suivant " + lien] = c.avant;
    }
    if (c.entete == nom) {
      p["premier " + lien] = c.premier;
      p["dernier " + lien] = c.dernier;
    }
  }
  return p;
}

// The field of d that the 3 bytes of a pointer at position (from 1) overlap, when it is not an E
// field lying exactly there; null otherwise.
const ChampDonnee* Recouvre(const DispositionFichier& d, int64_t position) {
  for (const ChampDonnee& c : d.champs) {
    const int64_t debut = c.debut + 1, fin = debut + c.codage.longueur;
    if (position + 3 <= debut || position >= fin) continue;
    if (c.codage.type == 'E' && debut == position) return nullptr;
    return &c;
  }
  return nullptr;
}

// The chaining pointers of the file: when its records are rewritten, or when a pointer moves,
// each pointer's 3 bytes are carried from its old position to its new one, over whatever field
// the new position holds (a field other than an E field there refuses the migration). Gives
// whether a pointer moves.
bool Chainages(const ModeleDictionnaire& a, const ModeleDictionnaire& n,
               const DispositionFichier& dn, bool champs, Comparaison& r) {
  const std::map<std::string, int64_t> avant = Pointeurs(a, dn.nom), apres = Pointeurs(n, dn.nom);
  bool change = false;
  for (const auto& [role, position] : apres) {
    const auto it = avant.find(role);
    if (it == avant.end() || (it->second == position && !champs)) continue;
    if (it->second != position) {
      change = true;
      r.c.lignes.push_back("~ pointeur " + role + " : position " + std::to_string(it->second) +
                           " -> " + std::to_string(position));
    }
    if (const ChampDonnee* c = Recouvre(dn, position)) {
      // Short enough for a line of the screens' box: the move above names the chaining.
      r.refus.push_back("pointeur " + role.substr(0, role.find(' ')) + " en position " +
                        std::to_string(position) + " sur " + c->variable + " (" +
                        Decrit(c->codage) + ") : refusé");
    }
    PieceMigration p;
    p.variable = "pointeur " + role;
    p.source = Source::kCopie;
    p.position = static_cast<int32_t>(position);
    p.position_ancienne = static_cast<int32_t>(it->second);
    p.longueur = p.longueur_ancienne = 3;
    r.f.pieces.push_back(std::move(p));
  }
  return change;
}

std::vector<std::string> Tables(const ModeleDictionnaire& m, const std::string& nom) {
  std::vector<std::string> t;
  for (const auto& [table, b] : m.barbres) {
    if (b.fichier == nom) t.push_back(table);
  }
  return t;
}

bool MemesTables(const ModeleDictionnaire& a, const ModeleDictionnaire& n, const std::string& nom) {
  const std::vector<std::string> ta = Tables(a, nom), tn = Tables(n, nom);
  if (ta != tn) return false;
  for (const std::string& t : ta) {
    const BArbre &x = a.barbres.at(t), &y = n.barbres.at(t);
    if (x.cle != y.cle || x.nature != y.nature) return false;
  }
  return true;
}

// The tree of table t of the new model, its keys built from the records as the rebuild builds
// them.
BArbreAReconstruire Arbre(const ModeleDictionnaire& n, const std::string& t) {
  const BArbre& b = n.barbres.at(t);
  std::vector<TrancheCle> tranches = b.analyse.tranches;
  return {t, b.analyse.longueur, b.nature,
          [tranches = std::move(tranches)](std::string_view enr, std::string& c) {
            c = CleEnregistrement(tranches, enr);
          }};
}

void Arbres(const ModeleDictionnaire& a, const ModeleDictionnaire& n, const std::string& nom,
            Comparaison& r) {
  r.f.arbres_anciens = Tables(a, nom);
  std::string liste;
  for (const std::string& t : Tables(n, nom)) {
    r.f.arbres.push_back(Arbre(n, t));
    liste += " " + t;
  }
  for (const std::string& t : r.f.arbres_anciens) {
    if (n.barbres.count(t) == 0 || n.barbres.at(t).fichier != nom) liste += " -" + t;
  }
  if (!liste.empty()) r.c.lignes.push_back("B-arbres reconstruits :" + liste);
}

// The part of the plan of a file of both dictionaries; false when its data need not change.
bool CompareFichier(const ModeleDictionnaire& a, const ModeleDictionnaire& n,
                    const std::string& nom, bool tronque, Comparaison& r) {
  const DispositionFichier da = Disposition(a, nom), dn = Disposition(n, nom);
  r.f = {nom, da.entreprise, dn.entreprise, da.longueur, dn.longueur, false, {}, false, {}, {}};
  r.c.nom = nom;
  const bool champs = !MemesChamps(da, dn);
  if (champs) Champs(da, dn, tronque, r);
  const bool pointeurs = Chainages(a, n, dn, champs, r);
  if (pointeurs && !champs) {  // the fields stay where they are, the pointers move over them
    std::vector<PieceMigration> deplaces = std::move(r.f.pieces);
    r.f.pieces.clear();
    PieceMigration tout{Source::kCopie, "", 1, dn.longueur, 1, da.longueur, "", {}};
    r.f.pieces.push_back(std::move(tout));
    for (PieceMigration& p : deplaces) r.f.pieces.push_back(std::move(p));
  }
  if (da.longueur != dn.longueur) {
    r.c.lignes.push_back("~ longueur d'enregistrement " + std::to_string(da.longueur) + " -> " +
                         std::to_string(dn.longueur));
  }
  r.f.convertit = champs || pointeurs;
  const bool deplace = da.entreprise != dn.entreprise;
  if (deplace) {
    r.c.lignes.push_back(dn.entreprise ? "-> déplacé dans le dossier de l'entreprise courante"
                                       : "-> déplacé à la racine du dossier de données");
  }
  const bool arbres = r.f.convertit || deplace || !MemesTables(a, n, nom);
  if (arbres) Arbres(a, n, nom, r);
  return r.f.convertit || deplace || arbres;
}

}  // namespace

PlanDictionnaire PlanifieMigration(const ModeleDictionnaire& ancien,
                                   const ModeleDictionnaire& nouveau, bool tronque) {
  PlanDictionnaire p;
  p.plan.tronque = tronque;
  p.plan.problemes_listes = kProblemesListes;
  for (const auto& [nom, f] : ancien.fichiers) {
    Comparaison r;
    if (nouveau.fichiers.count(nom) == 0) {
      const DispositionFichier da = Disposition(ancien, nom);
      r.f = {nom, da.entreprise, da.entreprise,       da.longueur, da.longueur, false,
             {},  true,          Tables(ancien, nom), {}};
      r.c = {nom, {"spécification supprimée : ses données vont dans la sauvegarde"}, true};
    } else if (!CompareFichier(ancien, nouveau, nom, tronque, r)) {
      continue;
    }
    p.plan.fichiers.push_back(std::move(r.f));
    p.changements.push_back(std::move(r.c));
    p.refus.push_back(std::move(r.refus));
  }
  return p;
}

namespace {

int64_t Enregistrements(const BilanMigration::Fichier& f) {
  int64_t n = 0;
  for (const BilanMigration::Lieu& l : f.lieux) n += l.enregistrements;
  return n;
}

std::string Dossier(const BilanMigration::Lieu& l) {
  return l.entreprise.empty() ? "racine" : l.entreprise;
}

}  // namespace

bool DonneesTouchees(const PlanDictionnaire& p, const BilanMigration& bilan) {
  for (size_t i = 0; i < p.plan.fichiers.size() && i < bilan.fichiers.size(); ++i) {
    if (Enregistrements(bilan.fichiers[i]) > 0) return true;
  }
  return false;
}

bool MigrationRefusee(const PlanDictionnaire& p, const BilanMigration& bilan) {
  if (!bilan.refus.empty()) return true;
  for (size_t i = 0; i < p.refus.size() && i < bilan.fichiers.size(); ++i) {
    if (!p.refus[i].empty() && Enregistrements(bilan.fichiers[i]) > 0) return true;
  }
  return false;
}

std::string FichiersTouches(const PlanDictionnaire& p, const BilanMigration& bilan) {
  std::string t;
  for (size_t i = 0; i < p.plan.fichiers.size() && i < bilan.fichiers.size(); ++i) {
    if (Enregistrements(bilan.fichiers[i]) == 0) continue;
    std::string lieux;
    for (const BilanMigration::Lieu& l : bilan.fichiers[i].lieux) {
      if (l.enregistrements == 0) continue;
      lieux += (lieux.empty() ? "" : ", ") + Dossier(l) + " : " +
               std::to_string(l.enregistrements) + " enregistrement(s)";
    }
    t += (t.empty() ? "" : ", ") + p.plan.fichiers[i].nom + " (" + lieux + ")";
  }
  return t;
}

std::string TextePlan(const PlanDictionnaire& p, const BilanMigration& bilan, size_t premiers) {
  std::string t;
  for (size_t i = 0; i < p.plan.fichiers.size() && i < bilan.fichiers.size(); ++i) {
    const BilanMigration::Fichier& b = bilan.fichiers[i];
    if (Enregistrements(b) == 0) continue;
    const FichierMigre& f = p.plan.fichiers[i];
    for (const BilanMigration::Lieu& l : b.lieux) {
      t += f.nom + " (" + Dossier(l) +
           (l.entreprise_nouvelle != l.entreprise
                ? " -> " + (l.entreprise_nouvelle.empty() ? std::string("racine")
                                                          : l.entreprise_nouvelle)
                : "") +
           ") : " + std::to_string(l.enregistrements) + " enregistrement(s)" +
           (f.supprime    ? " vont dans la sauvegarde"
            : f.convertit ? " à convertir"
                          : "") +
           "\n";
      const size_t montres = std::min(premiers, l.premiers.size());
      for (size_t k = 0; k < montres; ++k) {
        const ProblemeMigration& pr = l.premiers[k];
        t += "  ! enregistrement " + std::to_string(pr.enregistrement) + ", " + pr.variable +
             " : " + pr.raison + "\n";
      }
      if (l.problemes > static_cast<int64_t>(montres)) {
        t += "  ! ... et " + std::to_string(l.problemes - static_cast<int64_t>(montres)) +
             " autre(s)\n";
      }
    }
    for (const std::string& ligne : p.changements[i].lignes) t += "  " + ligne + "\n";
    for (const std::string& r : p.refus[i]) t += "  ! " + r + "\n";
  }
  if (!bilan.refus.empty()) t += "Migration refusée : " + bilan.refus + "\n";
  return t;
}

}  // namespace vesk::fic
