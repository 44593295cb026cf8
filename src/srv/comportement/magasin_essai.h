// The stores the behaviour suite of the data services runs on, one parameter each: a fresh
// data folder in the system's temporary folder, and, when the program is built with the
// database store and VESK_PG_URI names a server, a fresh root schema in that database. Each
// gives the three services over it, a second user of the same store, the raw writes a test
// needs to damage it, and its verifier. An owner object (Proprio) keeps the current fields of
// its files.
// For the *_test.cpp files of this folder only.
#ifndef VESK_SRV_COMPORTEMENT_MAGASIN_ESSAI_H_
#define VESK_SRV_COMPORTEMENT_MAGASIN_ESSAI_H_

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/isam/data_file.h"
#include "srv/isam/dossier.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/isam/srv_chainage_impl.h"
#include "srv/isam/srv_donnee_impl.h"
#include "srv/isam/tree_build.h"
#include "srv/isam/verify.h"
#include "srv/testing/proprio.h"
#ifdef VESK_AVEC_PG
#include "srv/pg/outils_pg.h"
#include "srv/pg/srv_barbre_pg.h"
#include "srv/pg/srv_chainage_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/pg/verifie_pg.h"
#endif

namespace vesk::essai {

class Magasin {
 public:
  virtual ~Magasin() = default;
  // New services over the same store (files to be reopened by the test); entreprise: the
  // current company; delai_ms: how long the store's lock is waited for.
  virtual void Ouvre(const std::string& entreprise = "", int delai_ms = 10000) = 0;
  // A second user of the same store, with services of its own.
  virtual std::unique_ptr<Magasin> Autre(int delai_ms) = 0;
  // Writes bytes at offset of record no of the open file of handle fichier, past every check.
  virtual void Abime(int16_t fichier, int32_t no, size_t offset, std::string_view octets) = 0;
  // Damages record no of data file nom (upper case) of company entreprise ("": the root), not
  // open, so that a reader of the whole file finds it unsound: on a folder its slot's state byte,
  // on a database its row's length, or the row deleted when retire (a number missing; a folder
  // has no slot to lose: its state byte is damaged all the same).
  virtual void AbimeEnregistrement(const std::string& entreprise, const std::string& nom,
                                   int32_t no, bool retire = false) = 0;
  // Removes data file or B-tree nom ("CLI.DAT", "CLI1.DAB") of company entreprise by hand, past
  // the store: on a folder the file, on a database its table (the catalog still lists it).
  virtual void Retire(const std::string& entreprise, const std::string& nom) = 0;
  // Writes the text file nom of the root as these bytes.
  virtual void EcritBrut(const std::string& nom, std::string_view octets) = 0;
  // What the store's verifier finds, with the chainings declared (empty: sound).
  virtual std::vector<std::string> Problemes() = 0;

  SrvDonnee& Donnee() { return *donnee_; }
  SrvBArbre& BArbre() { return *barbre_; }
  SrvChainage& Chainage() { return *chainage_; }

 protected:
  void Vide() {
    chainage_.reset();
    barbre_.reset();
    donnee_.reset();
  }
  std::unique_ptr<SrvDonnee> donnee_;
  std::unique_ptr<SrvBArbre> barbre_;
  std::unique_ptr<SrvChainage> chainage_;
};

inline std::string Aleatoire() {
  std::random_device r;
  return std::to_string(r()) + std::to_string(r());
}

class MagasinDossier : public Magasin {
 public:
  explicit MagasinDossier(std::filesystem::path racine, bool proprietaire = true)
      : racine_(std::move(racine)), proprietaire_(proprietaire) {
    std::filesystem::create_directories(racine_);
    Ouvre();
  }
  MagasinDossier()
      : MagasinDossier(std::filesystem::temp_directory_path() /
                       ("vesk-comportement-" + Aleatoire())) {}
  ~MagasinDossier() override {
    Vide();
    dossier_.reset();
    std::error_code ignore;
    if (proprietaire_) std::filesystem::remove_all(racine_, ignore);
  }
  void Ouvre(const std::string& entreprise = "", int delai_ms = 10000) override {
    Vide();
    dossier_ = std::make_shared<isam::DossierDonnees>(isam::Env::Default(), racine_.string(),
                                                      entreprise, 1 << 20);
    dossier_->Synchro(false);
    dossier_->DelaiVerrou(delai_ms);
    donnee_ = std::make_unique<SrvDonneeImpl>(dossier_);
    barbre_ = std::make_unique<SrvBArbreImpl>(dossier_);
    chainage_ = std::make_unique<SrvChainageImpl>(dossier_);
  }
  std::unique_ptr<Magasin> Autre(int delai_ms) override {
    auto autre = std::make_unique<MagasinDossier>(racine_, false);
    autre->Ouvre("", delai_ms);
    return autre;
  }
  void Abime(int16_t fichier, int32_t no, size_t offset, std::string_view octets) override {
    isam::FichierOuvert* f = dossier_->Fichier(fichier);
    ASSERT_TRUE(f->fichier
                    ->WritePart(static_cast<uint32_t>(no), static_cast<uint32_t>(offset),
                                std::span<const char>(octets.data(), octets.size()))
                    .ok());
  }
  void AbimeEnregistrement(const std::string& entreprise, const std::string& nom, int32_t no,
                           bool = false) override {
    const std::filesystem::path chemin = racine_ / entreprise / (nom + ".DAT");
    isam::DataHeader h;
    ASSERT_TRUE(isam::ReadDataHeader(isam::Env::Default(), chemin.string(), &h).ok());
    std::fstream f(chemin, std::ios::binary | std::ios::in | std::ios::out);
    f.seekp(static_cast<std::streamoff>(isam::SlotOffset(h, static_cast<uint32_t>(no))));
    f.put('X');
    ASSERT_TRUE(f.good());
  }
  void Retire(const std::string& entreprise, const std::string& nom) override {
    ASSERT_TRUE(std::filesystem::remove(racine_ / entreprise / nom));
  }
  void EcritBrut(const std::string& nom, std::string_view octets) override {
    std::ofstream(racine_ / nom, std::ios::binary) << octets;
  }
  std::vector<std::string> Problemes() override {
    EXPECT_TRUE(dossier_->Ecrit().ok());
    isam::FolderReport r;
    EXPECT_TRUE(isam::VerifyFolder(isam::Env::Default(), racine_.string(),
                                   isam::DeclaredChains(*dossier_), &r)
                    .ok());
    return r.problems;
  }
  std::string Racine() const { return racine_.string(); }

 private:
  std::filesystem::path racine_;
  bool proprietaire_;
  std::shared_ptr<isam::DossierDonnees> dossier_;
};

#ifdef VESK_AVEC_PG
class MagasinBase : public Magasin {
 public:
  // uri: the server (VESK_PG_URI); schema: the root schema of this store, dropped at the end
  // with its companies' schemas when proprietaire.
  MagasinBase(std::string uri, std::string schema, bool proprietaire = true)
      : uri_(std::move(uri)), schema_(std::move(schema)), proprietaire_(proprietaire) {
    Ouvre();
  }
  ~MagasinBase() override {
    Vide();
    base_.reset();
    if (proprietaire_) Efface();
  }
  void Ouvre(const std::string& entreprise = "", int delai_ms = 10000) override {
    Vide();
    AdresseBase adresse;
    const std::string pourquoi = AnalyseAdresseBase(
        uri_ + (uri_.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema_, adresse);
    EXPECT_EQ(pourquoi, "");
    base_ = std::make_shared<pg::BasePg>(adresse, entreprise);
    base_->Synchro(false);
    base_->DelaiVerrou(delai_ms);
    donnee_ = std::make_unique<SrvDonneePg>(base_);
    barbre_ = std::make_unique<SrvBArbrePg>(base_);
    chainage_ = std::make_unique<SrvChainagePg>(base_);
  }
  std::unique_ptr<Magasin> Autre(int delai_ms) override {
    auto autre = std::make_unique<MagasinBase>(uri_, schema_, false);
    autre->Ouvre("", delai_ms);
    return autre;
  }
  void Abime(int16_t fichier, int32_t no, size_t offset, std::string_view octets) override {
    pg::FichierPg& f = *base_->Fichier(fichier);
    pg::Parametres p;
    p.Entier(no).Octets(octets).Entier(static_cast<int32_t>(offset + 1));
    base_->Lit("Abime", f.objet,
               "UPDATE " + f.table +
                   " SET octets = overlay(octets placing $2 from $3) "
                   "WHERE no = $1",
               p);
    base_->Touche(f);
  }
  void AbimeEnregistrement(const std::string& entreprise, const std::string& nom, int32_t no,
                           bool retire = false) override {
    const pg::Lieu lieu{entreprise, SchemaEntreprise(base_->Adresse().racine, entreprise)};
    pg::Parametres p;
    p.Entier(no);
    const std::string table = pg::BasePg::Table(lieu, "d_", nom);
    base_->Lit("Abime", nom,
               retire ? "DELETE FROM " + table + " WHERE no = $1"
                      : "UPDATE " + table + " SET octets = octets || '\\x58'::bytea WHERE no = $1",
               p);
  }
  void Retire(const std::string& entreprise, const std::string& nom) override {
    const pg::Lieu lieu{entreprise, SchemaEntreprise(base_->Adresse().racine, entreprise)};
    const std::string base = nom.substr(0, nom.size() - 4);
    const char* prefixe = nom.ends_with(".DAB") ? "b_" : "d_";
    base_->Lit("Retire", nom, "DROP TABLE " + pg::BasePg::Table(lieu, prefixe, base) + " CASCADE",
               pg::Parametres());
  }
  void EcritBrut(const std::string& nom, std::string_view octets) override {
    pg::Parametres p;
    std::string upper = nom;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    p.Texte(upper).Octets(octets);
    base_->Lit("EcritBrut", nom,
               "INSERT INTO " + base_->Catalogue("vesk_textes") +
                   " VALUES ($1, $2) ON CONFLICT (nom) DO UPDATE SET octets = EXCLUDED.octets",
               p);
  }
  std::vector<std::string> Problemes() override {
    isam::FolderReport r;
    pg::VerifieBase(*base_, pg::ChainagesDeclares(*base_), &r);
    return r.problems;
  }
  pg::BasePg& Base() { return *base_; }

 private:
  void Efface() {
    try {
      pg::EffaceSchemas(uri_, schema_);
    } catch (const ErreurService& e) {
      ADD_FAILURE() << e.what();
    }
  }
  std::string uri_, schema_;
  bool proprietaire_;
  std::shared_ptr<pg::BasePg> base_;
};
#endif

// The stores of the suite: "dossier" always, "postgresql" in a program built with the database
// store (its tests are skipped when VESK_PG_URI names no server).
inline std::vector<std::string> Stockages() {
  std::vector<std::string> s = {"dossier"};
#ifdef VESK_AVEC_PG
  s.push_back("postgresql");
#endif
  return s;
}

// The server of the database tests ("" when none is given).
inline std::string ServeurEssai() {
  const char* uri = std::getenv("VESK_PG_URI");
  return uri == nullptr ? "" : uri;
}

inline std::unique_ptr<Magasin> Cree([[maybe_unused]] const std::string& stockage) {
#ifdef VESK_AVEC_PG
  if (stockage == "postgresql") {
    return std::make_unique<MagasinBase>(ServeurEssai(), "essai_" + Aleatoire());
  }
#endif
  return std::make_unique<MagasinDossier>();
}

// The fixture: a store of the test's parameter, files opened with owners it keeps.
class ServicesTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "postgresql" && ServeurEssai().empty()) {
      GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur PostgreSQL";
    }
    m_ = Cree(GetParam());
  }
  void TearDown() override {
    proprios_.clear();
    m_.reset();
  }
  // New services over the same store; the owners of the files opened before are dropped.
  void Reouvre(const std::string& entreprise = "") {
    proprios_.clear();
    m_->Ouvre(entreprise);
  }
  // Opens (creating) data file nom with an owner kept by the fixture.
  Proprio& Ouvre(const std::string& nom, int16_t longueur, bool dependance = false) {
    auto p = std::make_unique<Proprio>(&Donnee(), nom);
    Proprio& ref = *p;
    Donnee().Donnee(dependance, nom, longueur, ref.fichier, &ref, "", "", "", true);
    proprios_.push_back(std::move(p));
    return ref;
  }
  // A second user of the store, with the existing data file nom (records of longueur) and its
  // primary tree of keys of 6 opened through services of its own.
  struct AutreUtilisateur {
    std::unique_ptr<Magasin> magasin;
    std::unique_ptr<Proprio> p;
    int16_t arbre = 0;
    // Inserts cle with the record champs through the second user's services; its number.
    int32_t Insere(const std::string& cle, const std::string& champs) {
      p->champs = champs;
      int32_t no = 0;
      magasin->BArbre().Insere(arbre, cle, p->fichier, no);
      return no;
    }
  };
  AutreUtilisateur OuvreAutre(const std::string& nom, int16_t longueur, int delai_ms = 10000) {
    AutreUtilisateur a;
    a.magasin = m_->Autre(delai_ms);
    a.p = std::make_unique<Proprio>(&a.magasin->Donnee(), nom);
    a.magasin->Donnee().Donnee(false, nom, longueur, a.p->fichier, a.p.get(), "", "", "", false);
    a.magasin->BArbre().B_Arbre(false, nom, 6, "P", a.arbre, "", false);
    return a;
  }
  // The verifier finds nothing wrong.
  void Verifie() {
    for (const std::string& p : m_->Problemes()) ADD_FAILURE() << p;
  }
  SrvDonnee& Donnee() { return m_->Donnee(); }
  SrvBArbre& BArbre() { return m_->BArbre(); }
  SrvChainage& Chainage() { return m_->Chainage(); }

  std::unique_ptr<Magasin> m_;
  std::vector<std::unique_ptr<Proprio>> proprios_;
};

inline std::string NomDuStockage(const ::testing::TestParamInfo<std::string>& info) {
  return info.param;
}

// Runs statement and expects an ErreurService whose message contains part.
#define EXPECT_ERREUR(statement, part)                                            \
  do {                                                                            \
    try {                                                                         \
      statement;                                                                  \
      ADD_FAILURE() << "pas d'erreur pour " #statement;                           \
    } catch (const ::vesk::ErreurService& e) {                                    \
      EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what(); \
    }                                                                             \
  } while (0)

}  // namespace vesk::essai

#endif  // VESK_SRV_COMPORTEMENT_MAGASIN_ESSAI_H_
