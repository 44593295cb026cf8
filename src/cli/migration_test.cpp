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
  EXPECT_NE(t.find("CLIENT écrit, données converties ; avant : SAUVEGARDE-"), std::string::npos)
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

// The records of FICHIER as JSON lines, without the field variable (every value of it removed).
std::string SansRubrique(std::string json, const std::string& variable) {
  const std::string motif = "\"" + variable + "\":";
  for (size_t at = json.find(motif); at != std::string::npos; at = json.find(motif, at)) {
    size_t fin = at + motif.size();
    if (json[fin] == '"') fin = json.find('"', fin + 1) + 1;
    while (json[fin] != ',' && json[fin] != '}') ++fin;
    if (json[fin] == ',')
      ++fin;
    else if (json[at - 1] == ',')
      --at;
    json.erase(at, fin - at);
  }
  return json;
}

TEST_F(MigrationTest, AFieldInsertedBeforeTheKeyMovesEveryValueAndTheTreesFollow) {
  const std::string code =
      "  { nom = \"CODE CLIENT\", type = \"A\", total = 6, variable = \"CLCODE\"";
  std::string t = texte_;
  t.insert(t.find(code),
           "  { nom = \"REGION\", type = \"A\", total = 4, variable = \"CLRGN\", "
           "exemple = \"NORD\", modification = \"U\", domaine = \"\" },\n");
  Ecrit(dossier_ / "d4.toml", t);
  const std::string avant = Lance("--data demo donnees CLIENT --json").sortie;
  const Execution plan = Lance("--data demo import --dry-run --migrate d4.toml");
  ASSERT_EQ(plan.status, 0) << plan.erreurs;
  for (const char* ligne :
       {"+ CLRGN A 4 : ajoutée", "~ CLCODE déplacée : position 1 -> 5",
        "~ CLDCRE déplacée : position 69 -> 73", "B-arbres reconstruits : CLI1 CLI2"}) {
    EXPECT_NE(plan.sortie.find(ligne), std::string::npos) << ligne << "\n" << plan.sortie;
  }
  ASSERT_EQ(Lance("--data demo import --migrate d4.toml").status, 0);
  const std::string apres = Lance("--data demo donnees CLIENT --json").sortie;
  EXPECT_NE(apres.find("{\"CLRGN\":\"\",\"CLCODE\":\"C00001\","), std::string::npos) << apres;
  EXPECT_EQ(SansRubrique(apres, "CLRGN"), avant);
  // Every key of CLI1 and CLI2 is the one the moved fields give, and the chainings hold.
  const Execution v = Lance("--data demo verifie");
  EXPECT_EQ(v.status, 0) << v.sortie;
}

TEST_F(MigrationTest, AChangedKeyListRebuildsTheTreesAndMovesNoRecord) {
  const std::string cle = "cle = \"[[CLNOM,1,10],[CLVIL,1,5]]\"";
  std::string t = texte_;
  Ecrit(dossier_ / "d5.toml",
        t.replace(t.find(cle), cle.size(), "cle = \"[[CLVIL,1,5],[CLNOM,1,10]]\""));
  const std::string avant = Lance("--data demo donnees CLIENT").sortie;
  EXPECT_EQ(Lance("--data demo import d5.toml").status, 1);  // the trees hold the old keys
  const Execution plan = Lance("--data demo import --dry-run --migrate d5.toml");
  ASSERT_EQ(plan.status, 0) << plan.erreurs;
  EXPECT_NE(
      plan.sortie.find("CLIENT (01) : 283 enregistrement(s)\n  B-arbres reconstruits : CLI1 CLI2"),
      std::string::npos)
      << plan.sortie;
  EXPECT_EQ(plan.sortie.find("à convertir"), std::string::npos) << plan.sortie;
  ASSERT_EQ(Lance("--data demo import --migrate d5.toml").status, 0);
  EXPECT_EQ(Lance("--data demo donnees CLIENT").sortie, avant);
  // verifie builds each key of CLI2 from the new list: the rebuilt tree must hold exactly those.
  const Execution v = Lance("--data demo verifie CLIENT");
  EXPECT_EQ(v.status, 0) << v.sortie;
}

TEST_F(MigrationTest, ARemovedFieldIsPlannedFirstThenDroppedAndTheOthersKept) {
  std::string t = texte_;
  const size_t tva = t.find("  { nom = \"CODE TVA\"");
  Ecrit(dossier_ / "d6.toml", t.erase(tva, t.find('\n', tva) + 1 - tva));
  const std::string avant = Lance("--data demo donnees CLIENT --json").sortie;
  const Execution plan = Lance("--data demo import --dry-run --migrate d6.toml");
  ASSERT_EQ(plan.status, 0) << plan.erreurs;
  EXPECT_NE(plan.sortie.find("- CLTVA A 1 : retirée"), std::string::npos) << plan.sortie;
  EXPECT_NE(plan.sortie.find("~ CLENC déplacée : position 65 -> 64"), std::string::npos);
  EXPECT_EQ(Lance("--data demo export").sortie, texte_);
  EXPECT_EQ(Lance("--data demo donnees CLIENT --json").sortie, avant);

  ASSERT_EQ(Lance("--data demo import --migrate d6.toml").status, 0);
  const std::string apres = Lance("--data demo donnees CLIENT --json").sortie;
  EXPECT_EQ(apres.find("CLTVA"), std::string::npos);
  EXPECT_EQ(apres, SansRubrique(avant, "CLTVA"));
  EXPECT_EQ(Lance("--data demo verifie").status, 0);
}

TEST_F(MigrationTest, EachCompanyFolderIsMigratedWithItsOwnRecords) {
  // Company 02 starts as a copy of 01 whose lines are then compacted: other record numbers,
  // other pointers, the same invoices.
  fs::copy(dossier_ / "demo" / "01", dossier_ / "demo" / "02");
  ASSERT_EQ(Lance("--data demo --entreprise 02 reconsba FACLIG").status, 0);
  const std::string avant1 = Lance("--data demo donnees FACLIG").sortie;
  const std::string avant2 = Lance("--data demo --entreprise 02 donnees FACLIG").sortie;
  ASSERT_NE(avant1, avant2);
  Ecrit(dossier_ / "d7.toml", Change(texte_, "FLART", "total = 10", "total = 12"));
  const Execution m = Lance("--data demo import --migrate d7.toml");
  ASSERT_EQ(m.status, 0) << m.erreurs;
  for (const char* ligne :
       {"FACLIG (01) : 2278 enregistrement(s) à convertir",
        "FACLIG (02) : 2278 enregistrement(s) à convertir", "~ FLART A 10 -> A 12"}) {
    EXPECT_NE(m.sortie.find(ligne), std::string::npos) << ligne << "\n" << m.sortie;
  }
  EXPECT_EQ(Lance("--data demo donnees FACLIG").sortie, avant1);
  EXPECT_EQ(Lance("--data demo --entreprise 02 donnees FACLIG").sortie, avant2);
  const Execution v = Lance("--data demo verifie FACLIG FACTUR");
  EXPECT_EQ(v.status, 0) << v.sortie;
  EXPECT_NE(v.sortie.find("FACLIG (02) : 2278 enregistrement(s), 0 supprimé(s)"), std::string::npos)
      << v.sortie;
}

// The B-tree and chaining screens take the same step as the file entry: a key list changed or a
// new table over CLIENT's records rebuilds its trees once confirmed; pointers moved over
// FACLIG's records carry their bytes, and a pointer over a field other than E is refused.
TEST_F(MigrationTest, TheTableAndChainingScreensShowThePlanAndAskBeforeWriting) {
  const std::string autre_liste = "LCLE = [[CLVIL,1,5],[CLNOM,1,10]]\nok\n";
  Ecrit(dossier_ / "ba.script", "NOMT = CLI2\nNOMD\nNATT\n" + autre_liste +
                                    "confirm <Esc>\nNOMT = CLI2\nNOMD\nNATT\n" + autre_liste +
                                    "confirm <F6>\nNOMT = CLI3\nNOMD\nNATT = S\n"
                                    "LCLE = [[CLPAYS,_,_]]\nok\nconfirm <F6>\nNOMT <Esc>\n");
  ASSERT_EQ(Lance("--data demo entba CLIENT --script ba.script --transcript t.txt").status, 0);
  std::string t = Contenu(dossier_ / "t.txt");
  for (const char* ligne :
       {"Boite «Données de CLIENT à convertir» «CLIENT (01) : 283 enregistrement(s)\\n  "
        "B-arbres reconstruits : CLI1 CLI2» -> ok",
        "Message B «Table CLI2 inchangée : ses données ne sont pas converties»",
        "Message B «CLI2 écrit, données converties ; avant : SAUVEGARDE-",
        "B-arbres reconstruits : CLI1 CLI2 CLI3» -> ok",
        "Message B «CLI3 écrit, données converties ; avant : SAUVEGARDE-"}) {
    EXPECT_NE(t.find(ligne), std::string::npos) << ligne << "\n" << t;
  }
  Execution v = Lance("--data demo verifie CLIENT");
  EXPECT_EQ(v.status, 0) << v.sortie;
  EXPECT_NE(v.sortie.find("3 B-arbre(s) (849 clé(s))"), std::string::npos) << v.sortie;

  const std::string lignes = Lance("--data demo donnees FACLIG").sortie;
  Ecrit(dossier_ / "chain.script",
        "CHAINL = FACLIG\nPNEA\nPNES = 7\nCHAINE\nPPE\nPDE\nok\n"
        "CHAINL = FACLIG\nPNEA\nPNES = 30\nCHAINE\nPPE\nPDE\nok\nconfirm <F6>\nCHAINL <Esc>\n");
  ASSERT_EQ(Lance("--data demo entchain FACLIG --script chain.script --transcript t.txt").status,
            0);
  t = Contenu(dossier_ / "t.txt");
  for (const char* ligne :
       {"Boite «Migration refusée : FACLIG et FACTUR» «FACLIG (01) : 2278 enregistrement(s) à "
        "convertir\\n  ~ pointeur suivant FACLIG sous FACTUR : position 4 -> 7\\n  ! pointeur "
        "suivant en position 7 sur FLART (A 10) : refusé»",
        "Message B «Chaînage FACLIG inchangé : migration refusée»",
        "~ pointeur suivant FACLIG sous FACTUR : position 4 -> 30» -> ok",
        "Message B «FACLIG écrit, données converties ; avant : SAUVEGARDE-"}) {
    EXPECT_NE(t.find(ligne), std::string::npos) << ligne << "\n" << t;
  }
  v = Lance("--data demo verifie");
  EXPECT_EQ(v.status, 0) << v.sortie;  // the chains are walked through the new position
  EXPECT_EQ(Lance("--data demo donnees FACLIG").sortie, lignes);
}

// A field of a key widened on the file entry changes the key length of its table with the
// specification: the table's record and its rebuilt tree agree, so that a later rebuild from
// the dictionary keeps whole keys.
TEST_F(MigrationTest, AKeyFieldWidenedOnTheFileEntryChangesTheTablesKeyLength) {
  Ecrit(dossier_ / "fic.script",
        "NOMFIC = CLIENT\nDFE\nLONGENR\nLF1\nLF2\nLF3 = 7\nLF5\nLF6\nLF10\nLF7\nLF1 <Esc>\n"
        "LONGENR\nok\nconfirm <F6>\nNOMFIC <Esc>\n");
  ASSERT_EQ(Lance("--data demo entfic --script fic.script").status, 0);
  Ecrit(dossier_ / "ba.script", "NOMT = CLI1\nNOMD <Esc>\nNOMT <Esc>\n");
  ASSERT_EQ(Lance("--data demo entba CLIENT --script ba.script --transcript t.txt").status, 0);
  EXPECT_NE(Contenu(dossier_ / "t.txt").find("Affiche LONGCLE «7    »"), std::string::npos);
  ASSERT_EQ(Lance("--data demo reconsba --tous").status, 0);
  const Execution v = Lance("--data demo verifie CLIENT");
  EXPECT_EQ(v.status, 0) << v.sortie;
}

}  // namespace
}  // namespace vesk::cli::testing
