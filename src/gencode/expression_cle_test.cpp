// The key a generated data-entry program computes (Cle$, its expression evaluated as the BASIC
// tool chain would on a record) and the key the component builds from the same record for the
// rebuild (fic::CleEnregistrement) are the same bytes, for whole fields, parts of fields, parts
// running past a field's internal length and amounts held in fewer bytes than their characters.
#include <charconv>
#include <random>

#include "fic/cle_enregistrement.h"
#include "fic/controles.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/testing/dictionnaire.h"
#include "gencode/programme_saisie.h"

namespace vesk {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.F]
rubriques = [
  { nom = "NOM", type = "A", total = 10, variable = "NOM" },
  { nom = "MONTANT", type = "M", total = 9, decimales = 2, variable = "MT" },
  { nom = "DATE", type = "D", variable = "DAT", exemple = "x" },
  { nom = "VILLE", type = "A", total = 8, variable = "VILLE" },
  { nom = "ENTIER", type = "M", total = 5, variable = "ENT", format = "I" },
]
)";

// The value of an expression "A$+MID$(B$,3,4)+..." on a record, each record variable being
// the bytes of its field (its internal length at its position), MID$ taking what there is.
std::string Evalue(const std::string& expression, const std::vector<ChampProgramme>& champs,
                   const std::string& enr) {
  auto variable = [&](std::string_view nom) {
    size_t debut = 0;
    for (const ChampProgramme& c : champs) {
      if (c.cle + "$" == nom) return enr.substr(debut, static_cast<size_t>(c.longueur));
      debut += static_cast<size_t>(c.longueur);
    }
    ADD_FAILURE() << "variable inconnue " << nom;
    return std::string();
  };
  auto nombre = [](std::string_view t) {
    int n = 0;
    std::from_chars(t.data(), t.data() + t.size(), n);
    return static_cast<size_t>(n);
  };
  std::string cle;
  std::string_view reste = expression;
  while (!reste.empty()) {
    const size_t plus = reste.find('+');
    std::string_view partie = reste.substr(0, plus);
    reste = plus == std::string_view::npos ? "" : reste.substr(plus + 1);
    if (!partie.starts_with("MID$(")) {
      cle += variable(partie);
      continue;
    }
    partie = partie.substr(5, partie.size() - 6);  // "B$,3,4"
    const size_t v1 = partie.find(','), v2 = partie.rfind(',');
    const std::string valeur = variable(partie.substr(0, v1));
    const size_t debut = nombre(partie.substr(v1 + 1, v2 - v1 - 1)) - 1;
    if (debut < valeur.size()) cle += valeur.substr(debut, nombre(partie.substr(v2 + 1)));
  }
  return cle;
}

class ExpressionCleTest : public fic::DossierEssai {};

TEST_F(ExpressionCleTest, TheGeneratedKeyAndTheRebuildsKeyAreTheSame) {
  Ouvre();
  Importe(kDictionnaire);
  const fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
  const fic::Fichier& f = m.fichiers.at("F");
  ProgrammeSaisie p;
  p.champs = ChampsProgramme(f);
  std::mt19937 aleatoire(11);
  for (const char* liste :
       {"[[NOM,_,_]]", "[[NOM,3,7],[DAT,_,_]]", "[[MT,_,_],[VILLE,2,8]]", "[[MT,1,9],[NOM,10,10]]",
        "[[MT,5,9]]", "[[ENT,_,_],[ENT,2,_]]", "[[VILLE,_,4],[NOM,_,_],[DAT,2,3]]"}) {
    const TableProgramme table{"T", liste, fic::ControleListeCle(Etat(), liste, f.rubriques)};
    ASSERT_TRUE(table.analyse.valide) << liste;
    const std::string expression = ExpressionCle(p, table);
    for (int essai = 0; essai < 20; ++essai) {
      std::string enr(static_cast<size_t>(f.LongueurReelle() + 5), ' ');
      for (char& c : enr) c = static_cast<char>('A' + aleatoire() % 26);
      EXPECT_EQ(fic::CleEnregistrement(table.analyse.tranches, enr),
                Evalue(expression, p.champs, enr))
          << liste << " : " << expression;
    }
  }
}

}  // namespace
}  // namespace vesk
