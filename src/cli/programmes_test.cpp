// Generated programs kept in a folder (perimes, regenere) and where names are used (usages),
// through the real vesk program.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "cli/testing/binaire.h"

namespace vesk::cli {
namespace {

using testing::Contenu;
using testing::Execution;
using testing::VeskTest;
namespace fs = std::filesystem;

// Programs written to a folder are recorded with what they were made from: a change of the
// dictionary under them makes them stale (and only them), and regenerating gives the bytes a
// fresh generation gives.
TEST_F(VeskTest, ProgramsInAFolderAreKnownStaleAndRegenerated) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  Execution defaut = Lance("--data donnees genps CLIENT --output-dir");
  EXPECT_EQ(defaut.status, 0) << defaut.erreurs;
  EXPECT_EQ(defaut.sortie, "Programme écrit dans donnees/PROGRAMMES/EntCLIENT.bas\n");
  for (const char* commande :
       {"genps FACTUR --output-dir progs", "decl FACLIG --output-dir=progs --encoding cp1252",
        "genpe FACTUR --edition --eol lf --output-dir progs", "genps CLIENT --output-dir progs"}) {
    Execution e = Lance(std::string("--data donnees ") + commande);
    EXPECT_EQ(e.status, 0) << commande << " : " << e.erreurs;
  }
  Execution frais = Lance("--data donnees perimes progs");
  EXPECT_EQ(frais.status, 0) << frais.erreurs;
  EXPECT_EQ(frais.sortie, "Aucun programme périmé parmi les 4 de progs\n");

  ASSERT_EQ(Lance("--data donnees export dico.toml").status, 0);
  const std::string dico = Contenu(dossier_ / "dico.toml");
  auto importe = [&](std::string_view avant, std::string_view apres) {
    std::string texte = dico;
    const size_t p = texte.find(avant);
    ASSERT_NE(p, std::string::npos) << avant;
    std::ofstream(dossier_ / "dico2.toml", std::ios::binary)
        << texte.replace(p, avant.size(), apres);
    Execution e = Lance("--data donnees import dico2.toml");
    ASSERT_EQ(e.status, 0) << e.erreurs;
  };
  importe("\"60J   60 jours net\",", "\"60J   60 jours net\",\n  \"90J   90 jours net\",");
  EXPECT_EQ(Lance("--data donnees perimes progs").status, 0);  // a domain's values: no program
  // The invoices hold no record yet (their files removed): the chaining's pointers change
  // without any data to migrate.
  for (const char* f : {"FACTUR.DAT", "FAC1.DAB", "FACLIG.DAT"}) {
    ASSERT_TRUE(fs::remove(dossier_ / "donnees" / "01" / f)) << f;
  }
  importe("premier = 26", "premier = 27");
  Execution perimes = Lance("--data donnees perimes progs");
  EXPECT_EQ(perimes.status, 1);
  EXPECT_EQ(perimes.sortie,
            "CsvFACTUR.bas (genpe FACTUR) : chaînages : FACLIG modifié\n"
            "DeclFACLIG.bas (decl FACLIG) : chaînages : FACLIG modifié\n"
            "EntFACTUR.bas (genps FACTUR) : chaînages : FACLIG modifié\n"
            "3 programme(s) périmé(s) sur 4\n");

  Execution refait = Lance("--data donnees regenere progs");
  EXPECT_EQ(refait.status, 0) << refait.erreurs;
  EXPECT_NE(refait.sortie.find("DeclFACLIG.bas (decl FACLIG) : régénéré, 1 ligne(s) retirée(s), 1 "
                               "ajoutée(s)\n  -"),
            std::string::npos)
      << refait.sortie;
  EXPECT_NE(refait.sortie.find("3 programme(s) régénéré(s)\n"), std::string::npos);
  EXPECT_EQ(Lance("--data donnees perimes progs").status, 0);
  struct Frais {
    const char* commande;
    const char* programme;
  };
  for (const Frais& f : {Frais{"decl FACLIG --encoding cp1252", "DeclFACLIG.bas"},
                         Frais{"genpe FACTUR --edition --eol lf", "CsvFACTUR.bas"},
                         Frais{"genps FACTUR", "EntFACTUR.bas"}}) {
    Execution e = Lance(std::string("--data donnees --output frais.bas ") + f.commande);
    EXPECT_EQ(e.status, 0) << e.erreurs;
    EXPECT_EQ(Contenu(dossier_ / "progs" / f.programme), Contenu(dossier_ / "frais.bas"))
        << f.programme;
  }
}

TEST_F(VeskTest, ProgramFoldersRefuseWhatTheyCannotUse) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  EXPECT_EQ(Lance("--data donnees perimes vide").sortie, "Aucun programme enregistré dans vide\n");
  EXPECT_EQ(Lance("--data donnees genps --output-dir progs").status, 2);
  EXPECT_EQ(Lance("--data donnees decl NOPE --output-dir progs").status, 1);
  EXPECT_FALSE(fs::exists(dossier_ / "progs" / "vesk-programmes.toml"));
  ASSERT_EQ(Lance("--data donnees genpe CLIENT --output-dir progs").status, 0);
  std::ofstream(dossier_ / "progs" / "vesk-programmes.toml", std::ios::app) << "[programmes.X]\n";
  Execution casse = Lance("--data donnees perimes progs");
  EXPECT_EQ(casse.status, 1);
  EXPECT_NE(casse.erreurs.find("vesk-programmes.toml:"), std::string::npos) << casse.erreurs;
}

// Every kind of name: a field's variable, a domain, a file, a table; and what names nothing.
TEST_F(VeskTest, UsagesListWhatUsesAName) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  ASSERT_EQ(Lance("--data donnees genps CLIENT --output-dir").status, 0);
  struct Cas {
    const char* nom;
    const char* sortie;
  };
  for (const Cas& c : {
           Cas{"clnom",
               "rubriques :\n  CLIENT CLNOM (NOM DU CLIENT)\nlistes de clé :\n  CLI2 du fichier "
               "CLIENT (S) [[CLNOM,1,10],[CLVIL,1,5]]\nprogrammes :\n  EntCLIENT.bas (genps "
               "CLIENT)\n"},
           Cas{"PAYS",
               "fichiers :\n  CLIENT (8 rubrique(s))\nrubriques :\n  CLIENT CLPAYS (CODE "
               "PAYS)\ndomaines :\n  PAYS (Codes pays (ISO 3166))\nprogrammes :\n  "
               "EntCLIENT.bas (genps CLIENT)\n"},
           Cas{"FACTUR",
               "fichiers :\n  FACTUR (6 rubrique(s))\nlistes de clé :\n  FAC1 du fichier FACTUR "
               "(P) [[FANUM,_,_]]\nchaînages :\n  FACLIG (lignes) sous FACTUR (entête)\n"},
           Cas{"CLI1",
               "listes de clé :\n  CLI1 du fichier CLIENT (P) [[CLCODE,_,_]]\nprogrammes :\n  "
               "EntCLIENT.bas (genps CLIENT)\n"},
       }) {
    Execution e = Lance(std::string("--data donnees usages ") + c.nom);
    EXPECT_EQ(e.status, 0) << c.nom << " : " << e.erreurs;
    EXPECT_EQ(e.sortie, c.sortie) << c.nom;
  }
  Execution rien = Lance("--data donnees usages NOPE");
  EXPECT_EQ(rien.status, 1);
  EXPECT_NE(rien.sortie.find("« NOPE » : ni fichier"), std::string::npos) << rien.sortie;
}

}  // namespace
}  // namespace vesk::cli
