// `vesk import --migrate` on the demo folder: a dictionary text whose layout of CLIENT changes is
// refused without --migrate, planned with --dry-run, then migrated; the records read by
// `vesk donnees` are the same before and after, field by field, and `vesk verifie` passes.
#include <string>

#include "cli/testing/binaire.h"

namespace vesk::cli::testing {
namespace {

class MigrationTest : public VeskTest {
 protected:
  void SetUp() override {
    VeskTest::SetUp();
    ASSERT_EQ(Lance("demo demo").status, 0);
    texte_ = Lance("--data demo export").sortie;
  }
  // t with the line of the field variable changed: avant replaced by apres.
  static std::string Change(std::string t, const std::string& variable, const std::string& avant,
                            const std::string& apres) {
    const size_t ligne = t.rfind("{ nom", t.find("variable = \"" + variable + "\""));
    const size_t at = t.find(avant, ligne);
    EXPECT_NE(at, std::string::npos) << variable;
    return t.replace(at, avant.size(), apres);
  }
  static size_t Compte(const std::string& t, const std::string& motif) {
    size_t n = 0;
    for (size_t at = t.find(motif); at != std::string::npos; at = t.find(motif, at + 1)) ++n;
    return n;
  }
  std::string texte_;
};

TEST_F(MigrationTest, AWiderFieldAndAnAmountInAnotherFormatKeepEveryValue) {
  // CLVIL from 20 to 24 characters moves every later field; CLENC from M 9.2 (S) to M 12.2 (D).
  const std::string t = Change(texte_, "CLVIL", "total = 20", "total = 24");
  Ecrit(dossier_ / "d2.toml", Change(t, "CLENC", "total = 9", "total = 12"));
  const std::string avant = Lance("--data demo donnees CLIENT").sortie;

  const Execution refus = Lance("--data demo import d2.toml");
  EXPECT_EQ(refus.status, 1);
  EXPECT_NE(refus.erreurs.find("CLIENT (01 : 283 enregistrement(s))"), std::string::npos)
      << refus.erreurs;
  const Execution plan = Lance("--data demo import --dry-run --migrate d2.toml");
  ASSERT_EQ(plan.status, 0) << plan.erreurs;
  for (const char* ligne :
       {"CLIENT (01) : 283 enregistrement(s) à convertir", "~ CLVIL A 20 -> A 24",
        "~ CLENC M 9.2 S -> M 12.2 D", "B-arbres reconstruits : CLI1 CLI2"}) {
    EXPECT_NE(plan.sortie.find(ligne), std::string::npos) << ligne << "\n" << plan.sortie;
  }
  EXPECT_EQ(Lance("--data demo export").sortie, texte_);
  EXPECT_EQ(Lance("--data demo donnees CLIENT").sortie, avant);  // nothing written

  const Execution m = Lance("--data demo import --migrate d2.toml");
  ASSERT_EQ(m.status, 0) << m.erreurs;
  EXPECT_NE(m.sortie.find("Anciens fichiers gardés dans demo/SAUVEGARDE-"), std::string::npos);
  EXPECT_EQ(Lance("--data demo donnees CLIENT").sortie, avant);
  const Execution v = Lance("--data demo verifie");
  EXPECT_EQ(v.status, 0) << v.sortie;
  EXPECT_NE(Lance("--data demo export").sortie.find("total = 24, variable = \"CLVIL\""),
            std::string::npos);
}

// The file entry: CLVIL widened on the field list shows the plan and asks; any other key than
// the confirmation writes nothing; the confirmation converts the records with the
// specification; a narrowing whose values do not fit is refused, nothing written.
TEST_F(MigrationTest, TheFileEntryShowsThePlanAndAsksBeforeWriting) {
  const std::string avant = Lance("--data demo donnees CLIENT").sortie;
  auto entfic = [&](const std::string& champs, const std::string& fin) {
    Ecrit(dossier_ / "entfic.script", "NOMFIC = CLIENT\nDFE\nLONGENR\n" + champs +
                                          "LF1 <Esc>\n"
                                          "LONGENR\nok\n" +
                                          fin + "NOMFIC <Esc>\n");
    const Execution e = Lance("--data demo entfic --script entfic.script --transcript t.txt");
    EXPECT_EQ(e.status, 0) << e.erreurs;
    return Contenu(dossier_ / "t.txt");
  };
  const std::string elargit = "LF1 <F2>\nLF1 <F2>\nLF1\nLF2\nLF3 = 24\nLF5\nLF6\nLF10\nLF7\n";
  std::string t = entfic(elargit, "confirm <Esc>\n");
  EXPECT_NE(t.find("Boite «Données de CLIENT à convertir» «CLIENT (01) : 283 enregistrement(s) "
                   "à convertir\\n  ~ CLVIL A 20 -> A 24\\n"),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("Spécification de CLIENT inchangée : ses données ne sont pas converties"),
            std::string::npos)
      << t;
  EXPECT_EQ(Lance("--data demo export").sortie, texte_);

  t = entfic("LF1 <F2>\nLF1\nLF2\nLF3 = 12\nLF5\nLF6\nLF10\nLF7\n", "");
  EXPECT_NE(t.find("Boite «Migration refusée : CLIENT» «CLIENT (01) : 283 enregistrement(s) à "
                   "convertir\\n  ! enregistrement 1, CLNOM : "),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("Spécification de CLIENT inchangée : migration refusée"), std::string::npos);
  EXPECT_EQ(Lance("--data demo export").sortie, texte_);

  t = entfic(elargit, "confirm <F6>\n");
  EXPECT_NE(t.find("CLIENT écrit, données converties ; avant : SAUVEGARDE-"),
            std::string::npos)
      << t;
  EXPECT_EQ(Lance("--data demo donnees CLIENT").sortie, avant);
  EXPECT_EQ(Lance("--data demo verifie").status, 0);
  EXPECT_NE(Lance("--data demo export").sortie.find("total = 24, variable = \"CLVIL\""),
            std::string::npos);
}

TEST_F(MigrationTest, ValuesThatDoNotFitAreListedAndRefusedUnlessCut) {
  Ecrit(dossier_ / "d3.toml", Change(texte_, "CLNOM", "total = 30", "total = 12"));
  const std::string avant = Lance("--data demo donnees CLIENT").sortie;
  const Execution refus = Lance("--data demo import --migrate d3.toml");
  EXPECT_EQ(refus.status, 1);
  // Every name longer than 12 characters, with its record, the deleted ones left out.
  EXPECT_NE(refus.erreurs.find("! enregistrement 1, CLNOM : « "), std::string::npos);
  EXPECT_EQ(refus.erreurs.find("! enregistrement 17, "), std::string::npos);
  EXPECT_EQ(Compte(refus.erreurs, "ne tient pas dans 12"),
            Compte(refus.erreurs, "! enregistrement "));
  EXPECT_NE(refus.erreurs.find("Migration refusée : "), std::string::npos) << refus.erreurs;
  EXPECT_EQ(Lance("--data demo donnees CLIENT").sortie, avant);

  const Execution coupe = Lance("--data demo import --migrate --truncate d3.toml");
  ASSERT_EQ(coupe.status, 0) << coupe.erreurs;
  const std::string apres = Lance("--data demo donnees CLIENT").sortie;
  EXPECT_EQ(Compte(apres, "\n"), Compte(avant, "\n"));
  EXPECT_EQ(Lance("--data demo verifie CLIENT").status, 0);
  EXPECT_EQ(Lance("--data demo import --truncate d3.toml").status, 2);  // --migrate only
}

}  // namespace
}  // namespace vesk::cli::testing
