// Long random sequences of inserts, searches, deletions, walks and chaining changes through the
// three services on real files, checked step by step against an in-memory model and, at the
// end, by the folder verifier.
#include <map>
#include <set>

#include "srv/isam/testing/engine.h"
#include "srv/text/utf8.h"

namespace vesk::isam::testing {
namespace {

constexpr int kKeyLen = 6;

struct Modele {
  struct Entete {
    int32_t no = 0;
    std::string donnees;  // 12 characters
    std::vector<std::pair<int32_t, std::string>> lignes;
  };
  std::map<std::string, Entete> entetes;           // by padded key
  std::multimap<std::string, int32_t> secondaire;  // 3-character key -> record
};

class ModelTest : public EngineTest {
 protected:
  void OuvreTout() {
    cli_ = &Ouvre("Cli", 24);
    lig_ = &Ouvre("Lig", 20);
    barbre_->B_Arbre(false, "Cli", kKeyLen, "P", prim_, "Cli", true);
    barbre_->B_Arbre(false, "CliSec", 3, "S", sec_, "Cli", true);
    chainage_->Chainage("Cli", 24, 19, 22, "Lig", 20, 1, 4);
  }
  std::string Cle(int k) {
    std::string c = "K" + std::to_string(k);
    c.resize(kKeyLen, ' ');
    return c;
  }

  void Insere(const std::string& cle) {
    std::string donnees = "D" + std::to_string(rng_() % 100000);
    donnees.resize(12, '.');
    cli_->champs = cle + donnees + "      ";
    int32_t no = 0;
    if (m_.entetes.count(cle)) {
      EXPECT_ERREUR(barbre_->Insere(prim_, cle, cli_->fichier, no), "existe déjà");
      return;
    }
    barbre_->Insere(prim_, cle, cli_->fichier, no);
    barbre_->InsS(sec_, donnees.substr(0, 3), no, cli_->fichier);
    m_.entetes[cle] = Modele::Entete{no, donnees, {}};
    m_.secondaire.emplace(donnees.substr(0, 3), no);
  }
  bool Cherche(const std::string& cle) {
    bool trouve = false;
    barbre_->Recherche(prim_, cle, cli_->fichier, trouve);
    auto it = m_.entetes.find(cle);
    EXPECT_EQ(trouve, it != m_.entetes.end()) << cle;
    if (trouve && it != m_.entetes.end()) {
      EXPECT_EQ(cli_->champs.substr(0, 18), cle + it->second.donnees);
      int32_t no = 0;
      donnee_->NoEnrCourant(cli_->fichier, no);
      EXPECT_EQ(no, it->second.no);
    }
    return trouve;
  }
  // Deletes the header cle and its lines; without searching it (the walk cursor stays) when it
  // has no lines.
  void Supprime(const std::string& cle, bool cherche = true) {
    auto found = m_.entetes.find(cle);
    if (!cherche && (found == m_.entetes.end() || !found->second.lignes.empty())) return;
    if (cherche && !Cherche(cle)) return;
    Modele::Entete& e = m_.entetes[cle];
    if (cherche) chainage_->SupprimeLignes(lig_->fichier);
    barbre_->Supprime(sec_, e.donnees.substr(0, 3), e.no, cli_->fichier);
    barbre_->Supprime(prim_, cle, e.no, cli_->fichier);
    auto range = m_.secondaire.equal_range(e.donnees.substr(0, 3));
    for (auto it = range.first; it != range.second; ++it) {
      if (it->second == e.no) {
        m_.secondaire.erase(it);
        break;
      }
    }
    m_.entetes.erase(cle);
  }
  // Walks part of the tree, changes it under the cursor, then walks on.
  void Parcours() {
    bool trouve = false;
    std::string cle;
    std::string last;
    barbre_->PremCle(prim_, cli_->fichier, trouve, cle);
    for (int i = 0; trouve && i < 5; ++i) {
      auto it = m_.entetes.upper_bound(last);
      ASSERT_NE(it, m_.entetes.end());
      EXPECT_EQ(cle, it->first);
      EXPECT_EQ(cli_->champs.substr(6, 12), it->second.donnees);
      last = cle;
      barbre_->SuivCle(prim_, cli_->fichier, trouve, cle);
    }
    if (!trouve) return;
    last = cle;
    Supprime(Cle(rng_() % 60), false);
    Supprime(last, false);  // the key the cursor stands on
    Insere(Cle(rng_() % 60));
    auto expect = m_.entetes.upper_bound(last);
    barbre_->SuivCle(prim_, cli_->fichier, trouve, cle);
    EXPECT_EQ(trouve, expect != m_.entetes.end());
    if (trouve && expect != m_.entetes.end()) {
      EXPECT_EQ(cle, expect->first);
    }
  }
  void Lignes(const std::string& cle) {
    if (!Cherche(cle)) return;
    Modele::Entete& e = m_.entetes[cle];
    int choix = static_cast<int>(rng_() % 3);
    if (choix == 0 || e.lignes.empty()) {
      std::string texte = "L" + std::to_string(rng_() % 1000);
      texte.resize(14, ' ');
      lig_->champs = "ZZZZZZ" + texte;
      int32_t no = 0;
      chainage_->AjouteLigne(lig_->fichier, no);
      e.lignes.emplace_back(no, texte);
    } else if (choix == 1) {
      size_t at = rng_() % e.lignes.size();
      chainage_->SupprimeLigne(lig_->fichier, e.lignes[at].first);
      e.lignes.erase(e.lignes.begin() + static_cast<std::ptrdiff_t>(at));
    }
    std::vector<std::pair<int32_t, std::string>> vu;
    int32_t no = 0;
    for (chainage_->PremLigne(lig_->fichier, no); no != 0;
         chainage_->SuivLigne(lig_->fichier, no)) {
      vu.emplace_back(no, std::string(text::Mid(lig_->champs, 7)));
    }
    EXPECT_EQ(vu, e.lignes);
  }
  void Secondaire() {
    std::string filtre = "D" + std::to_string(rng_() % 10);
    std::vector<int32_t> nos;
    for (const auto& [k, no] : m_.secondaire) {
      if (k.starts_with(filtre)) nos.push_back(no);
    }
    std::string liste;
    int32_t n = 0;
    barbre_->ListeEnr(sec_, n, liste, filtre);
    EXPECT_EQ(n, static_cast<int32_t>(nos.size()));
  }

  void Lance(uint32_t seed, int steps) {
    rng_.seed(seed);
    OuvreTout();
    for (int step = 0; step < steps; ++step) {
      int op = static_cast<int>(rng_() % 100);
      std::string cle = Cle(static_cast<int>(rng_() % 60));
      if (op < 30) {
        Insere(cle);
      } else if (op < 50) {
        Cherche(cle);
      } else if (op < 62) {
        Supprime(cle);
      } else if (op < 66) {
        Parcours();
      } else if (op < 90) {
        Lignes(cle);
      } else if (op < 95) {
        Secondaire();
      } else if (op < 97) {
        Lot lot(*dossier_);
        for (int i = 0; i < 20; ++i) Insere(Cle(static_cast<int>(rng_() % 60)));
        ASSERT_TRUE(lot.Termine().ok());
      } else {
        Reopen();
        OuvreTout();
      }
      if (HasFailure()) FAIL() << "graine " << seed << ", pas " << step;
    }
    Verify();
  }

  std::mt19937 rng_;
  Modele m_;
  Proprio* cli_ = nullptr;
  Proprio* lig_ = nullptr;
  int16_t prim_ = 0;
  int16_t sec_ = 0;
};

TEST_F(ModelTest, RandomSequencesAgreeWithTheModel) { Lance(1, 3000); }
TEST_F(ModelTest, AnotherSeed) { Lance(20240607, 3000); }

}  // namespace
}  // namespace vesk::isam::testing
