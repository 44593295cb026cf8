// Random valid dictionaries through every generator: whatever a user can enter, the programs
// generated for it have their labels defined once, every Goto and Gosub target defined, their
// blocks balanced, and assign no name that is neither a field's variable nor declared.
// VESK_DICTIONNAIRES sets how many dictionaries (default 300), VESK_GRAINE the first seed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <random>
#include <set>

#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/rubrique.h"
#include "fic/testing/dictionnaire.h"
#include "gencode/declaration.h"
#include "gencode/gen_pe.h"
#include "gencode/gen_ps.h"
#include "gencode/testing/structure_programme.h"
#include "srv/isam/env.h"
#include "srv/text/utf8.h"

namespace vesk {
namespace {

using fic::ModeleDictionnaire;

// A random valid dictionary: 1 to 3 files of 1 to 80 fields of every type and modification
// type, 1 to 4 tables each with key lists over several fields and slices, chainings between
// them, domains, names up to their longest. Variables begin with Q or Z and table names with T,
// so that none meets a name of the generated programs (those are refused, and tested apart).
class Tirage {
 public:
  Tirage(Session& s, uint32_t graine) : s_(s), alea_(graine) {}

  ModeleDictionnaire Dictionnaire() {
    ModeleDictionnaire m;
    for (int d = 0, n = Entre(0, 3); d < n; ++d) {
      m.domaines["DOM" + std::to_string(d)] = {Texte(Entre(1, 40)), "FD" + std::to_string(d),
                                               std::nullopt, 0};
    }
    const int fichiers = Entre(1, 3);
    for (int f = 0; f < fichiers; ++f) {
      const std::string nom = "F" + Nom(Entre(0, 5), false);
      if (m.fichiers.contains(nom) || nom == "FIC") continue;  // FIC: the dictionary's own
      m.fichiers[nom] = Fichier(m);
      for (int t = 0, n = Entre(1, 4); t < n; ++t) {
        fic::BArbre& b = m.barbres["T" + Nom(5, false)];
        b.fichier = nom;
        b.nature = t == 0 ? "P" : "S";
        b.cle = Cle(m.fichiers[nom]);
      }
    }
    if (m.fichiers.size() >= 2 && Entre(0, 1) == 1) Chaine(m);
    return m;
  }

 private:
  int Entre(int a, int b) { return std::uniform_int_distribution<int>(a, b)(alea_); }
  std::string Un(std::initializer_list<const char*> choix) {
    return *(choix.begin() + Entre(0, static_cast<int>(choix.size()) - 1));
  }
  // Capitals and digits (lower case too when minuscules).
  std::string Nom(int n, bool minuscules) {
    static constexpr std::string_view kCar = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdefghij";
    std::string s;
    for (int i = 0; i < n; ++i) s += kCar[Entre(0, minuscules ? 45 : 35)];
    return s;
  }
  std::string Texte(int n) {
    static constexpr std::string_view kCar = "ABCDE FGHIJ KLMNO PQRST éèà;.-'";
    std::string s;
    while (static_cast<int>(text::CountChars(s)) < n) {
      const int i = Entre(0, static_cast<int>(kCar.size()) - 1);
      s += (static_cast<unsigned char>(kCar[i]) >= 0x80) ? "é" : std::string(1, kCar[i]);
    }
    return text::TrimRight(s).empty() ? "X" : s;
  }

  fic::Rubrique Rubrique(const ModeleDictionnaire& m) {
    fic::Rubrique r;
    r.nom = Texte(Entre(1, 40));
    r.type = Un({"A", "A", "M", "N", "D", "E", "B", "L"});
    if (r.type == "A" || r.type == "L") r.total = Entre(1, 40);
    if (r.type == "M" || r.type == "N") {
      const int d = Entre(0, 4);
      r.decimales = d;
      r.total = d > 0 ? Entre(d + 2, 17) : Entre(1, 16);
      if (r.type == "M" && d == 0 && *r.total == 5 && Entre(0, 1) == 1) r.format = Un({"I", "S"});
    }
    r.modification = Un({"U", "U", "R", "A", "S"});
    if (!m.domaines.empty() && Entre(0, 3) == 0) {
      r.domaine = "DOM" + std::to_string(Entre(0, static_cast<int>(m.domaines.size()) - 1));
    }
    return r;
  }

  fic::Fichier Fichier(const ModeleDictionnaire& m) {
    fic::Fichier f;
    f.entreprise = Entre(0, 1) == 1;
    std::set<std::string> variables;
    const int n = Entre(1, 80);
    for (int i = 0; i < n; ++i) {
      fic::Rubrique r;
      if (i == 0) {  // the code: long enough for any record to reach its least length
        r.nom = "CODE";
        r.type = "A";
        r.total = Entre(5, 20);
      } else {
        r = Rubrique(m);
      }
      do {
        r.variable = Un({"Q", "Z"}) + Nom(Entre(1, 19), false);
      } while (!variables.insert(r.variable).second);
      f.rubriques.push_back(std::move(r));
    }
    return f;
  }

  // One to five parts, each a whole field or a slice of it.
  std::string Cle(const fic::Fichier& f) {
    std::string cle = "[";
    for (int i = 0, n = Entre(1, 5); i < n; ++i) {
      const fic::Rubrique& r = f.rubriques[Entre(0, static_cast<int>(f.rubriques.size()) - 1)];
      const int total = static_cast<int>(r.total.value_or(r.type == "B" ? 1 : 3));
      std::string partie = "[" + r.variable + ",_,_]";
      if (Entre(0, 1) == 1) {
        const int debut = Entre(1, total);
        partie = "[" + r.variable + "," + std::to_string(debut) + "," +
                 std::to_string(Entre(debut, total)) + "]";
      }
      if (cle.size() + partie.size() + 2 > 100) break;
      cle += (i == 0 ? "" : ",") + partie;
    }
    return cle + "]";
  }

  void Chaine(ModeleDictionnaire& m) {
    auto f = m.fichiers.begin();
    const std::string entete = f->first, ligne = (++f)->first;
    auto longueur = [&](const std::string& nom) {
      fic::Fichier complet = m.fichiers[nom];
      fic::CompleteFichier(s_, complet);
      return fic::LongueurProposee(complet.LongueurReelle());
    };
    const int ll = longueur(ligne), le = longueur(entete);
    const int arriere = Entre(1, ll), premier = Entre(1, le);
    m.chainages[ligne] = {entete, arriere, Entre(arriere, ll), premier, Entre(premier, le), 0};
  }

  Session& s_;
  std::mt19937 alea_;
};

int Nombre(const char* variable, int defaut) {
  const char* v = std::getenv(variable);
  return v != nullptr ? std::atoi(v) : defaut;
}

class DictionnairesAleatoiresTest : public fic::DossierEssai {
 protected:
  // The dictionaries are written in memory: what is tested is the generation, and writing
  // hundreds of dictionaries to disk would take most of the time.
  void SetUp() override {
    DossierEssai::SetUp();
    env_ = &memoire_;
    Ouvre();
  }
  void TearDown() override {  // the dictionary closed while its files still exist
    ouvert_.reset();
    DossierEssai::TearDown();
  }
  isam::MemEnv memoire_;
  // The faults of the program just generated for the file of variables.
  std::string Defauts(const std::vector<std::string>& variables) {
    const std::string& texte = Etat().Gen().Texte();
    std::string defauts = DecritDefauts(DefautsStructure(texte)) +
                          DecritDefauts(DefautsAffectations(texte, variables)) +
                          DecritDefauts(DefautsColonnes(texte));
    for (const AnomalieGeneree& a : Etat().Gen().Anomalies()) {
      defauts += "anomalie " + a.message + " (" + a.procedure + ")\n";
    }
    return defauts;
  }
};

TEST_F(DictionnairesAleatoiresTest, EveryProgramOfEveryDictionaryIsSound) {
  const int graine = Nombre("VESK_GRAINE", 1), nombre = Nombre("VESK_DICTIONNAIRES", 300);
  int programmes = 0;
  for (int g = graine; g < graine + nombre; ++g) {
    const ModeleDictionnaire m = Tirage(Etat(), static_cast<uint32_t>(g)).Dictionnaire();
    const std::vector<std::string> fautes = fic::ControleModele(Etat(), m, "tirage");
    ASSERT_TRUE(fautes.empty()) << "graine " << g << " : " << fautes.front() << "\n"
                                << fic::EcritToml(m);
    fic::ModeleDictionnaire complet = m;
    fic::Complete(Etat(), complet);
    fic::RemplaceDictionnaire(Etat(), complet);
    for (const auto& [nom, f] : m.fichiers) {
      std::vector<std::string> variables;
      for (const fic::Rubrique& r : f.rubriques) variables.push_back(r.variable);
      const std::pair<const char*, std::function<void()>> generations[] = {
          {"decl", [&] { DeclarationFichier(Etat(), nom); }},
          {"genps",
           [&] {
             GenereSaisie(Etat(), {nom, "", "", ""}, nullptr);
           }},
          {"genpe --csv",
           [&] {
             GenereEdition(Etat(), {nom, "", true});
           }},
          {"genpe --edition", [&] {
             GenereEdition(Etat(), {nom, "", false});
           }}};
      for (const auto& [generateur, genere] : generations) {
        // Each program from a fresh generator state, as each command has: the instruction
        // record's count goes on from one generation of a thread to the next, so that
        // thousands of them in one thread would make the record ever longer.
        OublieEtatGen();
        genere();
        ++programmes;
        const std::string defauts = Defauts(variables);
        ASSERT_EQ(defauts, "") << "graine " << g << ", " << generateur << " " << nom << "\n"
                               << fic::EcritToml(m);
      }
    }
  }
  EXPECT_GE(programmes, nombre * 4);
}

}  // namespace
}  // namespace vesk
