// One data file of a database store and its trees checked as a folder's file is (verifie_pg.h).
#include <limits>
#include <utility>

#include "srv/erreur_service.h"
#include "srv/isam/names.h"
#include "srv/pg/service_pg.h"
#include "srv/pg/verifie_pg.h"

namespace vesk::pg {

namespace {

constexpr std::string_view kOp = "Vérification";
constexpr int kPage = 10000;  // rows read at a time

class VerifFichier {
 public:
  VerifFichier(BasePg& b, const std::string& entreprise, const isam::FileToCheck& f,
               const std::function<void(const isam::FileProblem&)>& probleme,
               isam::FileTally* bilan)
      : b_(b),
        lieu_{entreprise, SchemaEntreprise(b.Adresse().racine, entreprise)},
        f_(f),
        nom_(isam::UpperAscii(f.data)),
        objet_(nom_ + ".DAT"),
        table_(BasePg::Table(lieu_, "d_", nom_)),
        probleme_(probleme),
        bilan_(bilan) {}

  void Verifie() {
    if (!Longueur()) return;
    Enregistrements();
    for (const isam::KeyToCheck& k : f_.trees) Arbre(k);
  }

 private:
  void Probleme(std::string_view genre, uint32_t no, std::string texte) {
    probleme_({std::string(genre), no, std::move(texte)});
  }
  bool Longueur();
  void Enregistrements();
  void Numeros(int32_t de, int32_t a);
  void Arbre(const isam::KeyToCheck& k);
  void Entrees(const std::string& objet, const std::string& table, uint16_t longueur_cle,
               isam::EntryCheck& entrees);

  BasePg& b_;
  const Lieu lieu_;
  const isam::FileToCheck& f_;
  const std::string nom_, objet_, table_;
  const std::function<void(const isam::FileProblem&)>& probleme_;
  isam::FileTally* bilan_;
  std::vector<uint8_t> supprime_;  // by record number - 1: 1 deleted, EntryCheck::kNoRecord absent
};

// The catalog's record length is the one asked: a file of another layout is not read further.
bool VerifFichier::Longueur() {
  const uint32_t longueur = b_.LongueurFichier(lieu_, nom_, kOp);
  if (longueur == f_.record_length) return true;
  Probleme(isam::kKindFile, 0,
           objet_ + " : longueur d'enregistrement " + std::to_string(f_.record_length) +
               " demandée, le fichier a des enregistrements de " + std::to_string(longueur));
  return false;
}

// Numbers de to a - 1 have no row: the file has a hole where a folder's cannot.
void VerifFichier::Numeros(int32_t de, int32_t a) {
  if (a <= de) return;
  supprime_.resize(static_cast<size_t>(a - 1), isam::EntryCheck::kNoRecord);
  Probleme(
      isam::kKindFile, static_cast<uint32_t>(de),
      objet_ + (a - 1 == de ? " : aucun enregistrement ne porte le numéro " + std::to_string(de)
                            : " : aucun enregistrement ne porte les numéros " + std::to_string(de) +
                                  " à " + std::to_string(a - 1)));
}

void VerifFichier::Enregistrements() {
  const std::string sql = "SELECT no, supprime, octets FROM " + table_ +
                          " WHERE no > $1 ORDER BY no LIMIT " + std::to_string(kPage);
  int32_t apres = std::numeric_limits<int32_t>::min();
  for (int lignes = kPage; lignes == kPage;) {
    Parametres p;
    p.Entier(apres);
    const Resultat r = b_.Lit(kOp, objet_, sql, p);
    lignes = r.Lignes();
    for (int i = 0; i < lignes; ++i) {
      apres = r.Entier(i, 0);
      const std::string_view octets = r.Octets(i, 2);
      const auto no = static_cast<uint32_t>(apres);
      if (apres < 1) {
        Probleme(isam::kKindFile, 0,
                 objet_ + " : numéro d'enregistrement impossible " + std::to_string(apres));
        continue;
      }
      Numeros(static_cast<int32_t>(supprime_.size()) + 1, apres);
      supprime_.push_back(r.Booleen(i, 1) ? 1 : 0);
      if (supprime_.back()) {
        ++bilan_->deleted;
      } else if (octets.size() != f_.record_length) {
        Probleme(isam::kKindFile, no,
                 objet_ + " : l'enregistrement " + std::to_string(no) + " a " +
                     std::to_string(octets.size()) + " octets, pas " +
                     std::to_string(f_.record_length));
      } else {
        ++bilan_->records;
        if (f_.on_record) f_.on_record(no, octets);
      }
    }
  }
}

void VerifFichier::Arbre(const isam::KeyToCheck& k) {
  const std::string nom = isam::UpperAscii(k.tree), objet = nom + ".DAB";
  const BasePg::ArbreCatalogue a = b_.LitArbre(lieu_, nom, kOp);
  if (!a.existe) {
    if (bilan_->records > 0) {
      Probleme(isam::kKindTree, 0,
               objet + " : B-arbre absent, " + objet_ + " a des enregistrements en service");
    }
    return;
  }
  if (!a.fichier_indexe.empty() && isam::UpperAscii(a.fichier_indexe) != nom_) {
    Probleme(isam::kKindTree, 0,
             objet + " : indexe " + isam::UpperAscii(a.fichier_indexe) + ".DAT, pas " + objet_);
    return;
  }
  isam::EntryCheck entrees(objet, objet_, supprime_, true, &k, probleme_);
  Entrees(objet, BasePg::Table(lieu_, "b_", nom), a.longueur_cle, entrees);
  entrees.End();
}

// The entries in key order, each with its record's row (none for a number without one), a page
// at a time after the last pair read.
void VerifFichier::Entrees(const std::string& objet, const std::string& table,
                           uint16_t longueur_cle, isam::EntryCheck& entrees) {
  std::string cle;
  int32_t no = 0;
  for (int lignes = kPage, page = 0; lignes == kPage; ++page) {
    Parametres p;
    if (page > 0) p.Octets(cle).Entier(no);
    const Resultat r =
        b_.Lit(kOp, objet,
               SqlPageArbre(table, table_, page == 0 ? "" : " WHERE (b.cle, b.no) > ($1, $2)",
                            " ORDER BY b.cle, b.no", kPage, "octets"),
               p);
    lignes = r.Lignes();
    for (int i = 0; i < lignes; ++i) {
      cle.assign(r.Octets(i, 0));
      no = r.Entier(i, 1);
      ++bilan_->keys;
      if (cle.size() != longueur_cle) {
        Probleme(isam::kKindTree, static_cast<uint32_t>(no),
                 objet + " : la clé de l'enregistrement " + std::to_string(no) + " a " +
                     std::to_string(cle.size()) + " octets, pas " + std::to_string(longueur_cle));
        continue;
      }
      const std::string_view octets = r.Nul(i, 2) ? std::string_view() : r.Octets(i, 2);
      entrees.Entry(cle, no < 1 ? 0 : static_cast<uint32_t>(no), [&](std::string* record) {
        if (octets.size() != f_.record_length) {
          return isam::Status::Corruption("l'enregistrement a " + std::to_string(octets.size()) +
                                          " octets");
        }
        record->assign(octets);
        return isam::Status::Ok();
      });
    }
  }
}

}  // namespace

void VerifieFichier(BasePg& b, const std::string& entreprise, const isam::FileToCheck& f,
                    const std::function<void(const isam::FileProblem&)>& probleme,
                    isam::FileTally* bilan) {
  *bilan = {};
  VerifFichier v(b, entreprise, f, probleme, bilan);
  b.Lecture(kOp, isam::UpperAscii(f.data) + ".DAT", [&] { v.Verifie(); });
}

std::vector<std::string> EntreprisesDuFichier(BasePg& b, const std::string& nom) {
  Parametres p;
  p.Texte(isam::UpperAscii(nom));
  const Resultat r = b.Lit(kOp, nom + ".DAT",
                           "SELECT entreprise FROM " + b.Catalogue("vesk_fichiers") +
                               " WHERE nom = $1 ORDER BY entreprise",
                           p);
  std::vector<std::string> out;
  for (int i = 0; i < r.Lignes(); ++i) out.emplace_back(r.Octets(i, 0));
  return out;
}

}  // namespace vesk::pg
