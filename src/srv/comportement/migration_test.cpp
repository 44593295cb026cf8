// The layout migration through the data-file service, the same on every store: records
// converted under their numbers with the batch that holds the new dictionary, or refused with
// both left as they were; a dry run that only reads; a file moved to its company.
#include "srv/migration.h"

#include <functional>

#include "srv/comportement/magasin_essai.h"
#include "srv/reconstruction.h"
#include "srv/suivi_progression.h"

namespace vesk::essai {
namespace {

// CLI (company 01, 16 characters: a code of 3, a text of 13) with its primary tree CLI1 on the
// code; DIC, the root's "dictionary", written by the batch the migration ends.
class MigrationTest : public ServicesTest {
 protected:
  void SetUp() override {
    ServicesTest::SetUp();
    if (IsSkipped()) return;
    Reouvre("01");
    Proprio& cli = Ouvre("Cli", 16, true);
    int16_t arbre = 0;
    BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", true);
    for (const std::string c : {"AAA", "BBB", "CCC", "DDD"}) {
      cli.champs = c + "texte " + c;
      int32_t no = 0;
      BArbre().Insere(arbre, c, cli.fichier, no);
    }
    BArbre().Supprime(arbre, "BBB", 2, cli.fichier);  // record 2 deleted
    Reouvre("01");
  }

  static BArbreAReconstruire Arbre(const std::string& nom, int16_t from, int16_t longueur,
                                   const std::string& nature) {
    BArbreAReconstruire a;
    a.nom = nom;
    a.longueur_cle = longueur;
    a.nature = nature;
    a.cle = [from, longueur](std::string_view r, std::string& cle) {
      cle = std::string(r.substr(static_cast<size_t>(from), static_cast<size_t>(longueur)));
    };
    return a;
  }
  static PieceMigration Piece(PieceMigration::Source s, std::string variable, int32_t position,
                              int32_t longueur, int32_t ancienne = 0, int32_t longueur_a = 0) {
    PieceMigration p;
    p.source = s;
    p.variable = std::move(variable);
    p.position = position;
    p.longueur = longueur;
    p.position_ancienne = ancienne;
    p.longueur_ancienne = longueur_a;
    return p;
  }
  // CLI to 20 characters: the code, a "*" given, the text widened to 16; CLI1 rebuilt and a
  // secondary tree CLI2 on the text's first 3 characters added.
  static PlanMigration Elargit() {
    FichierMigre f;
    f.nom = "Cli";
    f.dependance_ancienne = f.dependance = true;
    f.longueur_ancienne = 16;
    f.longueur = 20;
    f.convertit = true;
    f.pieces.push_back(Piece(PieceMigration::Source::kCopie, "CODE", 1, 3, 1, 3));
    f.pieces.push_back(Piece(PieceMigration::Source::kDonnee, "MARQUE", 4, 1));
    f.pieces.back().texte = "*";
    f.pieces.push_back(Piece(PieceMigration::Source::kCopie, "TEXTE", 5, 16, 4, 13));
    f.arbres_anciens = {"Cli1"};
    f.arbres.push_back(Arbre("Cli1", 0, 3, "P"));
    f.arbres.push_back(Arbre("Cli2", 4, 3, "S"));
    PlanMigration p;
    p.fichiers.push_back(std::move(f));
    return p;
  }
  // PAR (8 characters, at the root) comes to depend on the company, with its tree PAR1 when
  // avec_arbre; CLI, with CLI1, removed.
  static PlanMigration DeplaceParRetireCli(bool avec_arbre) {
    FichierMigre f;
    f.nom = "Par";
    f.dependance = true;
    f.longueur_ancienne = f.longueur = 8;
    if (avec_arbre) {
      f.arbres_anciens = {"Par1"};
      f.arbres.push_back(Arbre("Par1", 0, 2, "P"));
    }
    FichierMigre retire;
    retire.nom = "Cli";
    retire.dependance_ancienne = retire.dependance = true;
    retire.longueur_ancienne = 16;
    retire.supprime = true;
    retire.arbres_anciens = {"Cli1"};
    PlanMigration plan;
    plan.fichiers = {f, retire};
    return plan;
  }
  // The batch's own change: a record of DIC.
  void EcritDic() {
    Donnee().DebutLot();
    Proprio& dic = Ouvre("Dic", 10);
    dic.champs = "VERSION 2";
    Donnee().EcrireFichier(dic.fichier, 1, dic.champs);
  }
  std::string Dic() {
    Proprio& dic = Ouvre("Dic", 10);
    std::string texte;
    try {
      Donnee().LireFichier(dic.fichier, 1, texte);
    } catch (const ErreurService&) {
      return "";
    }
    return texte;
  }
  // CLI's records by number ("-" before a deleted one), opened at longueur.
  std::vector<std::string> Cli(int16_t longueur) {
    Proprio& cli = Ouvre("Cli", longueur, true);
    std::vector<std::string> out;
    for (int32_t no = 1; no <= 4; ++no) {
      std::string texte;
      Donnee().LireFichier(cli.fichier, no, texte);
      out.push_back((no == 2 ? "-" : "") + texte);
    }
    return out;
  }
  // The record the tree nom (keys of 3) gives for key cle, 0 when none.
  int32_t Cherche(const std::string& nom, const std::string& cle, int16_t fichier,
                  const std::string& nature = "P") {
    int16_t arbre = 0;
    BArbre().B_Arbre(true, nom, 3, nature, arbre, "", false);
    bool trouve = false;
    BArbre().Recherche(arbre, cle, fichier, trouve);
    int32_t no = 0;
    if (trouve) Donnee().NoEnrCourant(fichier, no);
    return no;
  }

  SuiviMuet muet_;
};

// Counts the phases shown and not yet ended.
struct SuiviCompte final : SuiviProgression {
  void Debut(std::string_view, int64_t) override { ++ouvertes; }
  void Avance(int64_t) override {}
  void Fin() override { --ouvertes; }
  int ouvertes = 0;
};

TEST_P(MigrationTest, RecordsAreConvertedUnderTheirNumbersWithTheBatch) {
  // A handle on a file it replaces refuses the migration, the batch undone.
  Ouvre("Cli", 16, true);
  EcritDic();
  BilanMigration bilan;
  EXPECT_ERREUR(Donnee().Migre(Elargit(), muet_, bilan), "est ouvert dans ce programme");
  Reouvre("01");
  EXPECT_EQ(Dic(), "");

  Reouvre("01");
  EcritDic();
  Donnee().Migre(Elargit(), muet_, bilan);
  EXPECT_EQ(bilan.refus, "");
  EXPECT_TRUE(bilan.en_place);
  EXPECT_NE(bilan.sauvegarde, "");
  ASSERT_EQ(bilan.fichiers.size(), 1u);
  ASSERT_EQ(bilan.fichiers[0].lieux.size(), 1u);
  const BilanMigration::Lieu& l = bilan.fichiers[0].lieux[0];
  EXPECT_EQ(l.entreprise, "01");
  EXPECT_EQ(l.entreprise_nouvelle, "01");
  EXPECT_EQ(l.enregistrements, 3);
  EXPECT_EQ(l.supprimes, 1);
  EXPECT_EQ(l.cles, (std::vector<int64_t>{3, 3}));

  Reouvre("01");
  EXPECT_EQ(Dic(), "VERSION 2 ");
  const std::string fin(7, ' ');
  EXPECT_EQ(Cli(20), (std::vector<std::string>{"AAA*texte AAA" + fin, "-" + std::string(20, ' '),
                                               "CCC*texte CCC" + fin, "DDD*texte DDD" + fin}));
  int32_t supprimes = 0;
  Donnee().Supprimes(true, "Cli", supprimes);
  EXPECT_EQ(supprimes, 1);
  const int16_t cli = proprios_.back()->fichier;
  EXPECT_EQ(Cherche("Cli1", "CCC", cli), 3);
  EXPECT_EQ(Cherche("Cli1", "BBB", cli), 0);
  EXPECT_EQ(Cherche("Cli2", "tex", cli, "S"), 1);  // the first of three
  Verifie();
}

TEST_P(MigrationTest, ARefusalLeavesTheStoreAndTheBatchAsTheyWere) {
  // The text narrowed to 4 characters: "texte AAA" does not fit, three times.
  PlanMigration etroit = Elargit();
  etroit.fichiers[0].pieces[2].longueur = 4;
  etroit.problemes_listes = 2;
  EcritDic();
  BilanMigration bilan;
  Donnee().Migre(etroit, muet_, bilan);
  EXPECT_EQ(bilan.refus,
            "3 valeur(s) ne tiennent pas dans la nouvelle disposition (--truncate coupe les "
            "textes et arrondit les décimales)");
  EXPECT_FALSE(bilan.en_place);
  EXPECT_EQ(bilan.sauvegarde, "");
  const BilanMigration::Lieu& l = bilan.fichiers[0].lieux.at(0);
  EXPECT_EQ(l.problemes, 3);
  ASSERT_EQ(l.premiers.size(), 2u);
  EXPECT_EQ(l.premiers[1].enregistrement, 3);
  EXPECT_EQ(l.premiers[1].variable, "TEXTE");
  EXPECT_EQ(l.premiers[1].raison,
            "« texte CCC » : texte de 13 caractères dont la fin ne tient pas dans 4");

  // A primary key met twice: every record's key is "tex".
  PlanMigration double_cle = Elargit();
  double_cle.fichiers[0].arbres[0] = Arbre("Cli1", 4, 3, "P");
  Reouvre("01");
  EcritDic();
  SuiviCompte suivi;  // the refusal ends the tree's phase: nothing stays shown under it
  Donnee().Migre(double_cle, suivi, bilan);
  EXPECT_EQ(bilan.refus, "B-Arbre Cli1 : clé « tex » en double (enregistrements 1 et 3)");
  EXPECT_EQ(suivi.ouvertes, 0);

  Reouvre("01");
  EXPECT_EQ(Dic(), "");
  EXPECT_EQ(Cli(16)[0], "AAAtexte AAA    ");
  const int16_t cli = proprios_.back()->fichier;
  EXPECT_EQ(Cherche("Cli1", "DDD", cli), 4);
  bool existe = true;
  Donnee().ExisteDonnee(true, "Cli", existe);
  EXPECT_TRUE(existe);
  Verifie();
}

TEST_P(MigrationTest, ADryRunReportsAndWritesNothing) {
  PlanMigration essai = Elargit();
  essai.fichiers[0].pieces[2].longueur = 2;  // "texte AAA" does not fit in 2
  essai.essai = true;
  BilanMigration bilan;
  Donnee().Migre(essai, muet_, bilan);
  EXPECT_EQ(bilan.refus,
            "3 valeur(s) ne tiennent pas dans la nouvelle disposition (--truncate coupe les "
            "textes et arrondit les décimales)");
  EXPECT_FALSE(bilan.en_place);
  const BilanMigration::Lieu& l = bilan.fichiers[0].lieux.at(0);
  EXPECT_EQ(l.enregistrements, 3);
  EXPECT_EQ(l.problemes, 3);
  EXPECT_EQ(l.premiers.at(0).raison,
            "« texte AAA » : texte de 13 caractères dont la fin ne tient pas dans 2");
  EXPECT_EQ(l.cles, (std::vector<int64_t>{3, 3}));
  // Cut, they fit: the dry run finds nothing to refuse, and still writes nothing.
  essai.tronque = true;
  Donnee().Migre(essai, muet_, bilan);
  EXPECT_EQ(bilan.refus, "");
  EXPECT_EQ(Cli(16)[3], "DDDtexte DDD    ");
  Verifie();
}

// A record the store's reader finds unsound is an error naming the file and the record (the
// store is damaged), not a refusal of the plan: the batch is undone and nothing is written, the
// dry run fails the same way.
TEST_P(MigrationTest, ADamagedRecordIsAnErrorAndWritesNothing) {
  m_->AbimeEnregistrement("01", "CLI", 3);
  Reouvre("01");
  EcritDic();
  BilanMigration bilan;
  SuiviCompte suivi;
  for (bool essai : {false, true}) {
    PlanMigration plan = Elargit();
    plan.essai = essai;
    try {
      Donnee().Migre(plan, suivi, bilan);
      ADD_FAILURE() << "pas d'erreur ; refus : " << bilan.refus;
    } catch (const ErreurService& e) {
      EXPECT_TRUE(e.Endommage()) << e.what();
      EXPECT_NE(e.Message().find("CLI.DAT"), std::string::npos) << e.what();
      EXPECT_NE(e.Message().find("enregistrement 3"), std::string::npos) << e.what();
    }
    EXPECT_EQ(bilan.refus, "");
    EXPECT_FALSE(bilan.en_place);
    EXPECT_EQ(bilan.sauvegarde, "");
    EXPECT_EQ(suivi.ouvertes, 0);
  }
  Reouvre("01");
  EXPECT_EQ(Dic(), "");
  Proprio& cli = Ouvre("Cli", 16, true);
  std::string texte;
  Donnee().LireFichier(cli.fichier, 4, texte);
  EXPECT_EQ(texte, "DDDtexte DDD    ");
}

// A data file or a B-tree whose data is gone (its file deleted; its table dropped by hand while
// the catalog of the database still lists it) is refused at its opening, naming it, in the
// folder's words. On a database the catalog says it is there: its opening with creation, a
// migration (and its dry run) and a rebuild are errors marked as damage that write nothing (a
// folder has no catalog: what is gone is simply not there to migrate). The tree first: a
// missing CLI.DAT is met before its trees.
TEST_P(MigrationTest, AFileWhoseDataIsGoneIsAnErrorNamingIt) {
  const bool base = GetParam() == "postgresql";
  Proprio q(&Donnee(), "Cli");
  int16_t arbre = 0;
  // Each way through the store to the object gone: an error marked as damage naming it.
  auto endommage = [&](const std::string& absent, const std::string& objet,
                       const std::function<void()>& ouvre) {
    auto verifie = [&](const std::function<void()>& appel, const char* quoi) {
      try {
        appel();
        ADD_FAILURE() << quoi << " : pas d'erreur";
      } catch (const ErreurService& e) {
        EXPECT_TRUE(e.Endommage()) << quoi << " : " << e.what();
        EXPECT_NE(e.Message().find(absent + "postgresql://"), std::string::npos) << e.what();
        EXPECT_NE(e.Message().find("_01/" + objet + " (la table "), std::string::npos) << e.what();
        EXPECT_NE(e.Message().find("n'existe plus, le catalogue de la base la donne encore"),
                  std::string::npos)
            << e.what();
      }
    };
    verifie(ouvre, "ouverture avec création");
    PlanReconstruction compacte;
    compacte.fichiers.push_back({"Cli", true, true, {Arbre("Cli1", 0, 3, "P")}});
    BilanReconstruction reconstruit;
    verifie([&] { Donnee().Reconstruit(compacte, nullptr, reconstruit); }, "Reconstruit");
    EXPECT_FALSE(reconstruit.en_place);
    EcritDic();
    for (bool essai : {true, false}) {
      PlanMigration plan = Elargit();
      plan.essai = essai;
      BilanMigration bilan;
      verifie([&] { Donnee().Migre(plan, muet_, bilan); }, essai ? "essai" : "Migre");
      EXPECT_FALSE(bilan.en_place);
      EXPECT_EQ(bilan.sauvegarde, "");
    }
    Reouvre("01");
    EXPECT_EQ(Dic(), "");
  };

  m_->Retire("01", "CLI1.DAB");
  Reouvre("01");
  EXPECT_ERREUR(BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", false), "B-arbre introuvable : ");
  EXPECT_ERREUR(BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", false), "CLI1.DAB");
  if (base) {
    endommage("B-arbre introuvable : ", "CLI1.DAB",
              [&] { BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", true); });
    const std::vector<std::string> cli = Cli(16);  // neither compacted nor widened
    EXPECT_EQ(cli[0] + cli[3], "AAAtexte AAA    DDDtexte DDD    ");
  }

  m_->Retire("01", "CLI.DAT");
  Reouvre("01");
  EXPECT_ERREUR(Donnee().Donnee(true, "Cli", 16, q.fichier, &q, "", "", "", false),
                "fichier absent : ");
  EXPECT_ERREUR(Donnee().Donnee(true, "Cli", 16, q.fichier, &q, "", "", "", false), "CLI.DAT");
  if (base) {
    endommage("fichier absent : ", "CLI.DAT",
              [&] { Donnee().Donnee(true, "Cli", 16, q.fichier, &q, "", "", "", true); });
  }
  EXPECT_ERREUR(BArbre().B_Arbre(true, "Cli2", 3, "S", q.fichier, "", false), "CLI2.DAB");
}

// A company-dependent file migrates in every company that has it; a file that no longer
// depends on the company goes to the root from one company only, and is refused when two
// companies each have one.
TEST_P(MigrationTest, EveryCompanyMigratesAndADependenceLeavesFromOneCompanyOnly) {
  for (const char* e : {"01", "02"}) {
    Reouvre(e);
    Proprio& art = Ouvre("Art", 8, true);
    Donnee().EcrireFichier(art.fichier, 1, std::string("A") + e);
  }
  Reouvre("01");
  Proprio& sol = Ouvre("Sol", 8, true);
  Donnee().EcrireFichier(sol.fichier, 1, "S01");
  FichierMigre art;
  art.nom = "Art";
  art.dependance_ancienne = art.dependance = true;
  art.longueur_ancienne = 8;
  art.longueur = 10;
  art.convertit = true;
  art.pieces = {Piece(PieceMigration::Source::kCopie, "CODE", 3, 8, 1, 8),
                Piece(PieceMigration::Source::kDonnee, "N", 1, 2)};
  art.pieces.back().texte = "N°";
  PlanMigration plan;
  plan.fichiers.push_back(art);
  Reouvre("01");
  EcritDic();
  BilanMigration bilan;
  Donnee().Migre(plan, muet_, bilan);
  EXPECT_EQ(bilan.refus, "");
  ASSERT_EQ(bilan.fichiers.at(0).lieux.size(), 2u);
  for (const std::string e : {"01", "02"}) {
    Reouvre(e);
    std::string texte;
    Donnee().LireFichier(Ouvre("Art", 10, true).fichier, 1, texte);
    EXPECT_EQ(texte, "N°A" + e + "     ") << e;  // the record holds "N" and 0xB0
  }

  FichierMigre racine;
  racine.dependance_ancienne = true;
  racine.nom = "Art";
  racine.longueur_ancienne = racine.longueur = 10;
  plan.fichiers = {racine};
  Reouvre("01");
  EcritDic();
  Donnee().Migre(plan, muet_, bilan);
  EXPECT_NE(bilan.refus.find("les entreprises 01, 02 en ont chacune un fichier"), std::string::npos)
      << bilan.refus;
  racine.nom = "Sol";
  racine.longueur_ancienne = racine.longueur = 8;
  plan.fichiers = {racine};
  Reouvre("01");
  EcritDic();
  Donnee().Migre(plan, muet_, bilan);
  EXPECT_EQ(bilan.refus, "");
  Reouvre("01");
  bool existe = true;
  Donnee().ExisteDonnee(true, "Sol", existe);
  EXPECT_FALSE(existe);
  std::string texte;
  Donnee().LireFichier(Ouvre("Sol", 8).fichier, 1, texte);
  EXPECT_EQ(texte, "S01     ");
  Verifie();
}

// A root file that comes to depend on the company goes to the current company's place, its
// trees with it; the root no longer has it. A file whose specification is removed goes, with
// its trees, to the backup.
TEST_P(MigrationTest, AFileMovesToItsCompanyAndARemovedOneGoes) {
  Reouvre("01");
  Proprio& par = Ouvre("Par", 8);
  int16_t arbre = 0;
  BArbre().B_Arbre(false, "Par1", 2, "P", arbre, "", true);
  par.champs = "P1 un";
  int32_t no = 0;
  BArbre().Insere(arbre, "P1", par.fichier, no);
  Reouvre("01");
  EcritDic();
  BilanMigration bilan;
  Donnee().Migre(DeplaceParRetireCli(true), muet_, bilan);
  EXPECT_EQ(bilan.refus, "");
  ASSERT_EQ(bilan.fichiers[0].lieux.size(), 1u);
  ASSERT_EQ(bilan.fichiers[1].lieux.size(), 1u);
  EXPECT_EQ(bilan.fichiers[1].lieux[0].enregistrements, 3);
  EXPECT_EQ(bilan.fichiers[0].lieux[0].entreprise, "");
  EXPECT_EQ(bilan.fichiers[0].lieux[0].entreprise_nouvelle, "01");

  Reouvre("01");
  bool existe = true;
  Donnee().ExisteDonnee(false, "Par", existe);
  EXPECT_FALSE(existe);
  Donnee().ExisteDonnee(true, "Cli", existe);
  EXPECT_FALSE(existe);
  int16_t cli1 = 0;
  EXPECT_ERREUR(BArbre().B_Arbre(true, "Cli1", 3, "P", cli1, "", false), "CLI1.DAB");
  Proprio& moved = Ouvre("Par", 8, true);
  std::string texte;
  Donnee().LireFichier(moved.fichier, 1, texte);
  EXPECT_EQ(texte, "P1 un   ");
  int16_t a = 0;
  BArbre().B_Arbre(true, "Par1", 2, "P", a, "", false);
  bool trouve = false;
  BArbre().Recherche(a, "P1", moved.fichier, trouve);
  EXPECT_TRUE(trouve);
  Verifie();
}

// Another program with CLI and CLI1 open while a migration replaces them: none of its later
// writes or reads goes through those handles (a record of 16 characters never lands among
// records of 20); the file and the tree named in the refusal. Opened again, they work.
TEST_P(MigrationTest, AnotherProgramsHandlesOnAReplacedFileAreRefused) {
  std::unique_ptr<Magasin> autre = m_->Autre(10000);
  autre->Ouvre("01");
  Proprio p(&autre->Donnee(), "Cli");
  autre->Donnee().Donnee(true, "Cli", 16, p.fichier, &p, "", "", "", false);
  int16_t arbre = 0;
  autre->BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", false);
  std::string texte;
  autre->Donnee().LireFichier(p.fichier, 1, texte);
  EXPECT_EQ(texte, "AAAtexte AAA    ");

  Reouvre("01");
  EcritDic();
  BilanMigration bilan;
  Donnee().Migre(Elargit(), muet_, bilan);
  ASSERT_EQ(bilan.refus, "");

  const std::string change = "CLI.DAT : longueur d'enregistrement changée (20 au lieu de 16)";
  EXPECT_ERREUR(autre->Donnee().LireFichier(p.fichier, 3, texte), change);
  p.champs = "EEEtexte EEE";
  EXPECT_ERREUR(autre->Donnee().EcrireFichier(p.fichier, 5, p.champs), change);
  EXPECT_ERREUR(autre->Donnee().EcrireFichier(p.fichier, 1, p.champs), change);
  int32_t no = 0;
  EXPECT_ERREUR(autre->BArbre().Insere(arbre, "EEE", p.fichier, no), "CLI");

  Reouvre("01");
  const std::string fin(7, ' ');
  EXPECT_EQ(Cli(20), (std::vector<std::string>{"AAA*texte AAA" + fin, "-" + std::string(20, ' '),
                                               "CCC*texte CCC" + fin, "DDD*texte DDD" + fin}));
  const int16_t cli = proprios_.back()->fichier;
  EXPECT_ERREUR(Donnee().LireFichier(cli, 5, texte), "au-delà de la fin du fichier");
  EXPECT_EQ(Cherche("Cli1", "EEE", cli), 0);
  Verifie();

  autre->Ouvre("01");
  Proprio q(&autre->Donnee(), "Cli");
  autre->Donnee().Donnee(true, "Cli", 20, q.fichier, &q, "", "", "", false);
  autre->Donnee().LireFichier(q.fichier, 3, texte);
  EXPECT_EQ(texte, "CCC*texte CCC" + fin);
}

// Another program with files open that a migration removes (CLI, and CLI1 with it) or moves
// from the root into the company (PAR): every use of those handles is refused, naming the file,
// until it opens them again; nothing it tries is written.
TEST_P(MigrationTest, AnotherProgramsHandlesOnARemovedOrMovedFileAreRefused) {
  Reouvre("01");
  Proprio& par = Ouvre("Par", 8);
  Donnee().EcrireFichier(par.fichier, 1, "P1 un");
  std::unique_ptr<Magasin> autre = m_->Autre(10000);
  autre->Ouvre("01");
  Proprio p(&autre->Donnee(), "Cli");
  autre->Donnee().Donnee(true, "Cli", 16, p.fichier, &p, "", "", "", false);
  int16_t arbre = 0;
  autre->BArbre().B_Arbre(true, "Cli1", 3, "P", arbre, "", false);
  Proprio q(&autre->Donnee(), "Par");
  autre->Donnee().Donnee(false, "Par", 8, q.fichier, &q, "", "", "", false);
  std::string texte;
  autre->Donnee().LireFichier(q.fichier, 1, texte);

  Reouvre("01");
  EcritDic();
  BilanMigration bilan;
  Donnee().Migre(DeplaceParRetireCli(false), muet_, bilan);
  ASSERT_EQ(bilan.refus, "");

  // A database names the handle's own file; a folder refuses every operation while a file it
  // has open is gone, naming that file (the first of them); the same words on every system.
  auto refus = [&](const std::string& fichier) {
    return (GetParam() == "postgresql" ? fichier : std::string("CLI.DAT")) +
           " : remplacé par la migration d'un autre programme, à rouvrir";
  };
  EXPECT_ERREUR(autre->Donnee().LireFichier(p.fichier, 1, texte), refus("_01/CLI.DAT"));
  p.champs = "EEEtexte EEE";
  EXPECT_ERREUR(autre->Donnee().EcrireFichier(p.fichier, 5, p.champs), refus("_01/CLI.DAT"));
  int32_t no = 0;
  EXPECT_ERREUR(autre->BArbre().Insere(arbre, "EEE", p.fichier, no), refus("_01/CLI1.DAB"));
  EXPECT_ERREUR(autre->Donnee().LireFichier(q.fichier, 1, texte), refus("/PAR.DAT"));
  q.champs = "P2 deux";
  EXPECT_ERREUR(autre->Donnee().EcrireFichier(q.fichier, 2, q.champs), refus("/PAR.DAT"));

  Reouvre("01");
  bool existe = true;
  Donnee().ExisteDonnee(true, "Cli", existe);
  EXPECT_FALSE(existe);
  Donnee().ExisteDonnee(false, "Par", existe);
  EXPECT_FALSE(existe);
  Proprio& moved = Ouvre("Par", 8, true);
  Donnee().LireFichier(moved.fichier, 1, texte);
  EXPECT_EQ(texte, "P1 un   ");
  EXPECT_ERREUR(Donnee().LireFichier(moved.fichier, 2, texte), "au-delà de la fin du fichier");
  Verifie();

  autre->Ouvre("01");
  Proprio r(&autre->Donnee(), "Par");
  autre->Donnee().Donnee(true, "Par", 8, r.fichier, &r, "", "", "", false);
  autre->Donnee().LireFichier(r.fichier, 1, texte);
  EXPECT_EQ(texte, "P1 un   ");
}

// The same write first in the other program, then a migration that replaces none of the files
// it has open: it goes on writing and reading them.
TEST_P(MigrationTest, AMigrationOfOtherFilesLeavesAnotherProgramAlone) {
  std::unique_ptr<Magasin> autre = m_->Autre(10000);
  autre->Ouvre("01");
  Proprio p(&autre->Donnee(), "Dic");
  autre->Donnee().Donnee(false, "Dic", 10, p.fichier, &p, "", "", "", true);
  Reouvre("01");
  BilanMigration bilan;
  EcritDic();
  Donnee().Migre(Elargit(), muet_, bilan);
  ASSERT_EQ(bilan.refus, "");
  std::string texte;
  autre->Donnee().LireFichier(p.fichier, 1, texte);
  EXPECT_EQ(texte, "VERSION 2 ");
  autre->Donnee().EcrireFichier(p.fichier, 2, "VERSION 3");
  autre->Donnee().LireFichier(p.fichier, 2, texte);
  EXPECT_EQ(texte, "VERSION 3 ");
  Verifie();
}

INSTANTIATE_TEST_SUITE_P(Stockages, MigrationTest, ::testing::ValuesIn(Stockages()), NomDuStockage);

}  // namespace
}  // namespace vesk::essai
