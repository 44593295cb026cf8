#include "srv/pg/verifie_pg.h"

#include <map>
#include <utility>

#include "srv/erreur_service.h"
#include "srv/pg/service_pg.h"

namespace vesk::pg {

namespace {

constexpr std::string_view kOp = "Vérification";
constexpr size_t kProblemesMax = 100;
constexpr int kExemples = 5;  // records named per kind of problem

// A data file of the catalog: its table, its records, which are deleted (by number - 1).
struct InfoFichier {
  std::string table, nom;
  uint32_t longueur = 0;
  std::vector<uint8_t> supprime;
  bool lu = false;
};

class Verificateur {
 public:
  Verificateur(BasePg& b, isam::FolderReport* r) : b_(b), r_(r) {}
  // The data files of the catalog, or those `ou` selects (a WHERE clause on entreprise and
  // nom with its parameters p).
  void Fichiers(const std::string& ou = "", const Parametres& p = Parametres());
  void Arbres();
  void Chaine(const ChainageVerifPg& c);

 private:
  void Probleme(std::string p) {
    if (r_->problems.size() < kProblemesMax) {
      r_->problems.push_back(std::move(p));
    } else if (r_->problems.size() == kProblemesMax) {
      r_->problems.push_back("... (les problèmes suivants ne sont pas listés)");
    }
  }
  static std::string Nom(const std::string& entreprise, const std::string& nom,
                         std::string_view ext) {
    return (entreprise.empty() ? "" : entreprise + "/") + nom + std::string(ext);
  }
  Lieu LieuDe(const std::string& entreprise) const {
    return Lieu{entreprise, SchemaEntreprise(b_.Adresse().racine, entreprise)};
  }
  InfoFichier* Cherche(const std::string& entreprise, const std::string& nom);
  void Fichier(const std::string& entreprise, InfoFichier& f);
  void Cles(const std::string& nom, char nature, uint16_t longueur_cle, const std::string& table,
            const InfoFichier& d);
  // The state of each record of f: read once.
  void Etats(InfoFichier& f);
  void ChaineDEntete(const ChainageVerifPg& c, const std::vector<uint32_t>& premiere,
                     const std::vector<uint32_t>& derniere, const InfoFichier& l,
                     const std::vector<uint32_t>& precedent, const std::vector<uint32_t>& suivant,
                     uint32_t h, const std::string& quoi, std::vector<uint32_t>& proprietaire);

  BasePg& b_;
  isam::FolderReport* r_;
  std::map<std::pair<std::string, std::string>, InfoFichier> fichiers_;
};

InfoFichier* Verificateur::Cherche(const std::string& entreprise, const std::string& nom) {
  auto it = fichiers_.find({entreprise, nom});
  if (it == fichiers_.end() && !entreprise.empty()) it = fichiers_.find({"", nom});
  return it == fichiers_.end() ? nullptr : &it->second;
}

void Verificateur::Fichiers(const std::string& ou, const Parametres& p) {
  Resultat r = b_.Lit(kOp, b_.Nom(),
                      "SELECT entreprise, nom, longueur FROM " + b_.Catalogue("vesk_fichiers") +
                          ou + " ORDER BY entreprise, nom",
                      p);
  for (int i = 0; i < r.Lignes(); ++i) {
    const std::string entreprise(r.Octets(i, 0)), nom(r.Octets(i, 1));
    InfoFichier& f = fichiers_[{entreprise, nom}];
    f.table = BasePg::Table(LieuDe(entreprise), "d_", nom);
    f.nom = Nom(entreprise, nom, ".DAT");
    f.longueur = static_cast<uint32_t>(r.Entier(i, 2));
    try {
      Fichier(entreprise, f);
    } catch (const ErreurService& e) {
      Probleme(f.nom + " : " + e.Message());
    }
  }
}

void Verificateur::Fichier(const std::string& entreprise, InfoFichier& f) {
  (void)entreprise;
  Parametres p;
  p.Entier(static_cast<int32_t>(f.longueur));
  Resultat r = b_.Lit(kOp, f.nom,
                      "SELECT count(*), count(*) FILTER (WHERE supprime), "
                      "coalesce(max(no), 0)::bigint, coalesce(min(no), 1)::bigint, "
                      "count(*) FILTER (WHERE octet_length(octets) <> $1) FROM " +
                          f.table,
                      p);
  const int64_t n = r.Grand(0, 0), supprimes = r.Grand(0, 1), dernier = r.Grand(0, 2);
  ++r_->files;
  if (dernier != n || r.Grand(0, 3) != 1) {
    Probleme(f.nom + " : " + std::to_string(n) + " enregistrements pour les numéros " +
             std::to_string(r.Grand(0, 3)) + " à " + std::to_string(dernier) +
             " (des numéros manquent)");
  }
  if (r.Grand(0, 4) > 0) {
    Probleme(f.nom + " : " + std::to_string(r.Grand(0, 4)) +
             " enregistrements n'ont pas la longueur " + std::to_string(f.longueur));
  }
  r_->records += static_cast<uint64_t>(n - supprimes);
  r_->deleted += static_cast<uint64_t>(supprimes);
}

void Verificateur::Etats(InfoFichier& f) {
  if (f.lu) return;
  f.lu = true;
  Resultat r =
      b_.Lit(kOp, f.nom, "SELECT no, supprime FROM " + f.table + " ORDER BY no", Parametres());
  for (int i = 0; i < r.Lignes(); ++i) {
    const size_t no = static_cast<size_t>(r.Entier(i, 0));
    if (no > f.supprime.size()) f.supprime.resize(no, 1);
    f.supprime[no - 1] = r.Booleen(i, 1) ? 1 : 0;
  }
}

void Verificateur::Arbres() {
  Resultat r = b_.Lit(kOp, b_.Nom(),
                      "SELECT entreprise, nom, longueur_cle, nature, fichier_indexe FROM " +
                          b_.Catalogue("vesk_arbres") + " ORDER BY entreprise, nom",
                      Parametres());
  for (int i = 0; i < r.Lignes(); ++i) {
    const std::string entreprise(r.Octets(i, 0)), nom(r.Octets(i, 1));
    const std::string indexe(r.Octets(i, 4));
    const std::string objet = Nom(entreprise, nom, ".DAB");
    const std::string table = BasePg::Table(LieuDe(entreprise), "b_", nom);
    const uint16_t longueur = static_cast<uint16_t>(r.Entier(i, 2));
    const char nature = r.Octets(i, 3).empty() ? 'P' : r.Octets(i, 3)[0];
    ++r_->trees;
    try {
      Parametres p;
      p.Entier(longueur);
      Resultat n = b_.Lit(
          kOp, objet,
          "SELECT count(*), count(*) FILTER (WHERE octet_length(cle) <> $1) FROM " + table, p);
      r_->keys += static_cast<uint64_t>(n.Grand(0, 0));
      if (n.Grand(0, 1) > 0) {
        Probleme(objet + " : " + std::to_string(n.Grand(0, 1)) + " clés n'ont pas la longueur " +
                 std::to_string(longueur));
      }
      const std::string donnees = indexe.empty() ? nom : indexe;
      const InfoFichier* d = Cherche(entreprise, donnees);
      if (d == nullptr) {
        if (!indexe.empty()) Probleme(objet + " : fichier indexé " + donnees + ".DAT absent");
        continue;
      }
      Cles(objet, nature, longueur, table, *d);
    } catch (const ErreurService& e) {
      Probleme(objet + " : " + e.Message());
    }
  }
}

void Verificateur::Cles(const std::string& nom, char nature, uint16_t, const std::string& table,
                        const InfoFichier& d) {
  const std::string limite = " LIMIT " + std::to_string(kExemples);
  std::vector<Requete> q(3);
  q[0].sql = "SELECT b.no, d.no IS NULL FROM " + table + " b LEFT JOIN " + d.table +
             " d ON d.no = b.no WHERE d.no IS NULL OR d.supprime ORDER BY b.cle, b.no" + limite;
  q[1].sql = nature == 'P' ? "SELECT no FROM " + table +
                                 " GROUP BY no HAVING count(*) > 1 ORDER BY no" + limite
                           : "SELECT 1 WHERE false";
  q[2].sql = nature == 'P' ? "SELECT d.no FROM " + d.table +
                                 " d WHERE NOT d.supprime AND NOT EXISTS (SELECT 1 FROM " + table +
                                 " b WHERE b.no = d.no) ORDER BY d.no" + limite
                           : "SELECT 1 WHERE false";
  std::vector<Resultat> r = b_.Lit(kOp, nom, q);
  for (int i = 0; i < r[0].Lignes(); ++i) {
    const std::string no = std::to_string(r[0].Entier(i, 0));
    Probleme(nom + (r[0].Booleen(i, 1)
                        ? " : une clé renvoie à l'enregistrement " + no + ", absent de " + d.nom
                        : " : une clé renvoie à l'enregistrement supprimé " + no + " de " + d.nom));
  }
  for (int i = 0; i < r[1].Lignes(); ++i) {
    Probleme(nom + " : l'enregistrement " + std::to_string(r[1].Entier(i, 0)) + " de " + d.nom +
             " a plusieurs clés");
  }
  for (int i = 0; nature == 'P' && i < r[2].Lignes(); ++i) {
    Probleme(nom + " : l'enregistrement " + std::to_string(r[2].Entier(i, 0)) + " de " + d.nom +
             " n'a pas de clé");
  }
}

}  // namespace

namespace {

// The two pointers at offsets a and b of every record of table, by number - 1.
void Pointeurs(BasePg& b, const std::string& table, uint32_t a, uint32_t c,
               std::vector<uint32_t>* pa, std::vector<uint32_t>* pc) {
  Resultat r = b.Lit(kOp, table,
                     "SELECT no, " + SqlPointeur("octets", a) + ", " + SqlPointeur("octets", c) +
                         " FROM " + table + " ORDER BY no",
                     Parametres());
  for (int i = 0; i < r.Lignes(); ++i) {
    const size_t no = static_cast<size_t>(r.Entier(i, 0));
    if (no > pa->size()) {
      pa->resize(no, 0);
      pc->resize(no, 0);
    }
    (*pa)[no - 1] = static_cast<uint32_t>(r.Entier(i, 1));
    (*pc)[no - 1] = static_cast<uint32_t>(r.Entier(i, 2));
  }
}

}  // namespace

void Verificateur::Chaine(const ChainageVerifPg& c) {
  InfoFichier* e = Cherche(c.entreprise, c.entete);
  InfoFichier* l = Cherche(c.entreprise, c.ligne);
  const std::string quoi = "chaînage " + c.ligne + ".DAT sous " + c.entete + ".DAT";
  if (e == nullptr || l == nullptr) {
    Probleme(quoi + " : fichier absent ou illisible");
    return;
  }
  if (std::max(c.premiere, c.derniere) + 3 > e->longueur ||
      std::max(c.precedente, c.suivante) + 3 > l->longueur) {
    Probleme(quoi + " : position de pointeur hors de l'enregistrement");
    return;
  }
  try {
    Etats(*e);
    Etats(*l);
    std::vector<uint32_t> premiere, derniere, precedent, suivant;
    Pointeurs(b_, e->table, c.premiere, c.derniere, &premiere, &derniere);
    Pointeurs(b_, l->table, c.precedente, c.suivante, &precedent, &suivant);
    std::vector<uint32_t> proprietaire(l->supprime.size(), 0);
    for (uint32_t h = 1; h <= e->supprime.size(); ++h) {
      if (!e->supprime[h - 1]) {
        ChaineDEntete(c, premiere, derniere, *l, precedent, suivant, h, quoi, proprietaire);
      }
    }
    for (size_t i = 0; i < proprietaire.size(); ++i) {
      if (!l->supprime[i] && proprietaire[i] == 0) {
        Probleme(quoi + " : la ligne " + std::to_string(i + 1) +
                 " n'est chaînée sous aucun en-tête");
      }
    }
  } catch (const ErreurService& x) {
    Probleme(quoi + " : " + x.Message());
  }
}

void Verificateur::ChaineDEntete(const ChainageVerifPg&, const std::vector<uint32_t>& premiere,
                                 const std::vector<uint32_t>& derniere, const InfoFichier& l,
                                 const std::vector<uint32_t>& precedent,
                                 const std::vector<uint32_t>& suivant, uint32_t h,
                                 const std::string& quoi, std::vector<uint32_t>& proprietaire) {
  const std::string tete = quoi + ", en-tête " + std::to_string(h);
  uint32_t prev = 0;
  for (uint32_t no = premiere[h - 1]; no != 0; no = suivant[no - 1]) {
    if (no > proprietaire.size() || l.supprime[no - 1] || proprietaire[no - 1] != 0) {
      Probleme(tete + " : la ligne " + std::to_string(no) +
               (no > proprietaire.size() ? " est au-delà de la fin du fichier"
                : l.supprime[no - 1]     ? " est supprimée"
                                         : " est déjà chaînée (sous l'en-tête " +
                                           std::to_string(proprietaire[no - 1]) + ")"));
      return;
    }
    proprietaire[no - 1] = h;
    ++r_->chained_lines;
    if (precedent[no - 1] != prev) {
      Probleme(tete + " : le pointeur arrière de la ligne " + std::to_string(no) +
               " ne désigne pas " + std::to_string(prev));
    }
    prev = no;
  }
  if (derniere[h - 1] != prev) {
    Probleme(tete + " : le pointeur de dernière ligne ne désigne pas " + std::to_string(prev));
  }
}

void VerifieBase(BasePg& b, const std::vector<ChainageVerifPg>& chainages,
                 isam::FolderReport* rapport) {
  Exige(!b.DansLot() && !b.DansTransaction(), kOp, b.Nom(), "vérification pendant un lot");
  Verificateur v(b, rapport);
  v.Fichiers();
  v.Arbres();
  for (const ChainageVerifPg& c : chainages) v.Chaine(c);
}

std::vector<std::string> VerifieChainage(BasePg& b, const ChainageVerifPg& c) {
  isam::FolderReport r;
  Verificateur v(b, &r);
  Parametres p;
  p.Texte(c.entreprise).Texte(c.entete).Texte(c.ligne);
  v.Fichiers(" WHERE entreprise IN ($1, '') AND nom IN ($2, $3)", p);
  const auto fichiers = static_cast<std::ptrdiff_t>(r.problems.size());
  v.Chaine(c);
  return {r.problems.begin() + fichiers, r.problems.end()};
}

std::vector<ChainageVerifPg> ChainagesDeclares(BasePg& b) {
  std::vector<ChainageVerifPg> out;
  for (const ChainagePg& c : b.Chainages()) {
    FichierPg* e = b.Fichier(c.entete);
    FichierPg* l = b.Fichier(c.ligne);
    if (e == nullptr || l == nullptr) continue;
    out.push_back(
        {l->entreprise, e->nom, l->nom, c.premiere, c.derniere, c.precedente, c.suivante});
  }
  return out;
}

}  // namespace vesk::pg
