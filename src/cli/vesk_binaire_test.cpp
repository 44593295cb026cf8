// Runs the real vesk program as a child process and checks its output and exit status.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/testing/binaire.h"
#include "cli/verification.h"
#include "platform/platform.h"
#include "srv/isam/verify.h"

namespace {

namespace fs = std::filesystem;
using vesk::cli::testing::Contenu;
using vesk::cli::testing::Execution;
using vesk::cli::testing::VeskTest;

TEST_F(VeskTest, HelpAndVersion) {
  Execution aide = Lance("--help");
  EXPECT_EQ(aide.status, 0);
  for (const char* option : {"--data", "--entreprise", "--script", "--transcript", "--encoding",
                             "--eol", "--output", "--version", "VESK_DATA", "Codes de sortie"}) {
    EXPECT_NE(aide.sortie.find(option), std::string::npos) << option;
  }
  EXPECT_NE(aide.sortie.find("config"), std::string::npos);  // the commands are listed
  for (const char* version : {"--version", "-V"}) {
    Execution e = Lance(version);
    EXPECT_EQ(e.status, 0);
    EXPECT_EQ(e.sortie, "vesk " VESK_VERSION "\n");
  }
}

// A failure is status 1; a mistake in the command line status 2, with where to find the help.
TEST_F(VeskTest, ErrorsEndWithAMessageAndTheirStatus) {
  Execution absent = Lance("--data manquant config");
  EXPECT_EQ(absent.status, 1);
  EXPECT_NE(absent.erreurs.find("(manquant)"), std::string::npos) << absent.erreurs;
  EXPECT_NE(absent.erreurs.find("introuvable"), std::string::npos);

  Execution env = Lance("config", "VESK_DATA=ailleurs");
  EXPECT_EQ(env.status, 1);
  EXPECT_NE(env.erreurs.find("(ailleurs)"), std::string::npos) << env.erreurs;
  EXPECT_NE(env.erreurs.find("VESK_DATA"), std::string::npos);

  struct Cas {
    const char* arguments;
    const char* message;
  };
  for (const Cas& c : {Cas{"--data donnees entfoo", "entfoo : commande inconnue"},
                       Cas{"--bogus", "--bogus : option inconnue"},
                       Cas{"--eol cr", "--eol : fin de ligne « cr » inconnue"},
                       Cas{"--encoding latin1 decl X", "encodage « latin1 » inconnu"},
                       Cas{"--data", "l'option --data attend une valeur"},
                       Cas{"config x", "config : argument en trop : vesk config"},
                       Cas{"help entfoo", "entfoo : commande inconnue"}}) {
    Execution e = Lance(c.arguments);
    EXPECT_EQ(e.status, 2) << c.arguments;
    EXPECT_EQ(e.sortie, "") << c.arguments;
    EXPECT_EQ(e.erreurs.rfind("vesk : ", 0), 0u) << c.arguments;
    EXPECT_NE(e.erreurs.find(c.message), std::string::npos) << c.arguments << " : " << e.erreurs;
    EXPECT_NE(e.erreurs.find("Aide : vesk help"), std::string::npos) << c.arguments;
  }
}

TEST_F(VeskTest, ConfigShowsFileOptionsAndWritesTheOutputFile) {
  std::ofstream(dossier_ / "donnees" / "vesk.ini")
      << "application = Ventes\nentreprise = A\nscript = ecrans.txt\n";
  Execution e = Lance("--entreprise B --eol lf --output config.txt config", "VESK_DATA=donnees");
  EXPECT_EQ(e.status, 0) << e.erreurs;
  EXPECT_EQ(e.sortie, "");
  std::string texte = Contenu(dossier_ / "config.txt");
  EXPECT_NE(texte.find("dossier = donnees\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("application = Ventes\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("entreprise = B\n"), std::string::npos) << texte;
  EXPECT_NE(texte.find("fins de ligne du code généré = lf"), std::string::npos) << texte;
  EXPECT_NE(texte.find("script = donnees/ecrans.txt\n"), std::string::npos) << texte;

  std::ofstream(dossier_ / "donnees" / "vesk.ini") << "synchro = off\nsynchro = full\n";
  Execution mauvais = Lance("--data donnees");
  EXPECT_EQ(mauvais.status, 1);
  EXPECT_NE(mauvais.erreurs.find("vesk.ini, ligne 2"), std::string::npos) << mauvais.erreurs;
}

TEST_F(VeskTest, DomainsEnteredFromAScriptThenListed) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  std::ofstream(dossier_ / "saisie.script") << "# a new domain, the file name refused once\n"
                                               "CODOM = DEV\nNOMDOM = Devises\n"
                                               "FDD = ../DEV\nFDD = DEV\n"
                                               "CODOM = REGLT <F6>\nconfirm <F6>\nCODOM =\n";
  std::ofstream(dossier_ / "donnees" / "DEV.DOM") << "EUR Euro\r\nCHF Franc suisse\r\n";
  Execution saisie =
      Lance("--data donnees --script saisie.script --transcript compte-rendu.txt entdom");
  EXPECT_EQ(saisie.status, 0) << saisie.erreurs;
  EXPECT_EQ(saisie.sortie, "");
  std::string compte_rendu = Contenu(dossier_ / "compte-rendu.txt");
  EXPECT_NE(compte_rendu.find("MessChamp FDD B «Nom de fichier « ../DEV » refusé"),
            std::string::npos)
      << compte_rendu;
  EXPECT_NE(compte_rendu.find("AffMode CODOM I «SUPPRESSION»\nConfirme B -> <F6>\n"),
            std::string::npos)
      << compte_rendu;

  Execution edition = Lance("--data donnees edtdom --output domaines.txt");
  EXPECT_EQ(edition.status, 0) << edition.erreurs;
  EXPECT_EQ(edition.sortie, "Édition écrite dans domaines.txt\n");
  std::string texte = Contenu(dossier_ / "domaines.txt");
  EXPECT_NE(texte.find("| DEV "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| CHF Franc suisse "), std::string::npos) << texte;
  EXPECT_NE(texte.find("| PAYS "), std::string::npos) << texte;
  EXPECT_EQ(texte.find("| REGLT "), std::string::npos) << texte;  // deleted

  Execution pdf = Lance("--data donnees edtdom");  // PDF in the listings folder
  EXPECT_EQ(pdf.status, 0) << pdf.erreurs;
  EXPECT_NE(pdf.sortie.find("donnees/EDITIONS/EDITION_DES_DOMAINES_DE_DEFINITION_"),
            std::string::npos)
      << pdf.sortie;

  ASSERT_EQ(Lance("init vide").status, 0);
  Execution rien = Lance("--data vide edtdom --output vide.txt");
  EXPECT_EQ(rien.status, 0) << rien.erreurs;
  EXPECT_EQ(rien.sortie, "Aucun domaine de définition : rien à éditer.\n");
  EXPECT_FALSE(fs::exists(dossier_ / "vide.txt"));
}

TEST_F(VeskTest, DomainCommandsRefuseWhatTheyCannotDo) {
  ASSERT_EQ(Lance("init donnees").status, 0);
  std::ofstream(dossier_ / "trop.script") << "CODOM =\nCODOM = TVA\n";
  std::ofstream(dossier_ / "faux.script") << "CODOM = TVA\nconfirm <F6>\n";
  struct Cas {
    const char* arguments;
    int status;
    const char* message;
  };
  for (const Cas& c : {
           Cas{"--data donnees --transcript t.txt entdom", 2, "--script FICHIER est nécessaire"},
           Cas{"--data donnees --script trop.script entdom", 1,
               "ligne 2 : la saisie du champ CODOM"},
           Cas{"--data donnees --script faux.script entdom", 1, "ligne 2 : le script donne"},
           Cas{"--data donnees --script absent.script entdom", 1, "absent.script"},
           Cas{"--data donnees edtdom --output x.doc", 2, "fichier .pdf ou .txt"},
           Cas{"--data donnees entdom", 1, "terminal"},  // no terminal, no script
       }) {
    Execution e = Lance(std::string(c.arguments) + " </dev/null");
    EXPECT_EQ(e.status, c.status) << c.arguments;
    EXPECT_NE(e.erreurs.find(c.message), std::string::npos) << c.arguments << " : " << e.erreurs;
  }
}

}  // namespace

TEST_F(VeskTest, DeclWritesTheDeclarationsOfAFileInTheAskedForm) {
  Execution sans = Lance("--data donnees decl CLIENT");
  EXPECT_EQ(sans.status, 1);
  EXPECT_NE(sans.erreurs.find("aucun dictionnaire"), std::string::npos) << sans.erreurs;
  EXPECT_FALSE(fs::exists(dossier_ / "donnees" / "FIC.DAT"));  // a reading command creates nothing

  ASSERT_EQ(Lance("demo demo").status, 0);
  Execution crlf = Lance("--data demo decl CLIENT");
  EXPECT_EQ(crlf.status, 0) << crlf.erreurs;
  EXPECT_EQ(crlf.sortie.substr(0, 7), "\r\nRem =");
  EXPECT_NE(crlf.sortie.find("Call Donnee(True,\"CLIENT\",128,CLIENTD%,DllApl)\r\n"),
            std::string::npos);
  EXPECT_NE(crlf.sortie.find("Public CLI1T As Integer, CLI2T As Integer, CLIENTD As Integer"),
            std::string::npos);

  Execution lf = Lance("--data demo --eol lf --encoding cp1252 decl CLIENT");
  EXPECT_EQ(lf.status, 0);
  EXPECT_EQ(lf.sortie.find('\r'), std::string::npos);
  EXPECT_NE(lf.sortie.find("Rem D\xE9"
                           "claration\n"),
            std::string::npos);

  // Refused before the generator runs, as genps refuses it: no text, no anomaly.
  Execution inconnu = Lance("--data demo decl ABSENT");
  EXPECT_EQ(inconnu.status, 1);
  EXPECT_NE(inconnu.erreurs.find("ABSENT : fichier non spécifié"), std::string::npos)
      << inconnu.erreurs;
  EXPECT_EQ(inconnu.erreurs.find("Inconnu"), std::string::npos) << inconnu.erreurs;
  EXPECT_EQ(inconnu.sortie, "");
}

namespace {

// A dictionary text of n files of 20 fields, each with a primary table; tag changes its names.
std::string GrandDictionnaire(int n, const std::string& tag) {
  std::string t = "version = 1\n";
  for (int f = 0; f < n; ++f) {
    const std::string nom = tag + std::to_string(1000 + f);
    t += "[fichiers." + nom + "]\nrubriques = [\n";
    for (int r = 0; r < 20; ++r) {
      t += "{ nom = \"R" + std::to_string(r) + "\", type = \"A\", total = 4, variable = \"W" +
           std::to_string(r) + "\" },\n";
    }
    t += "]\n[barbres." + nom + "]\nfichier = \"" + nom +
         "\"\nnature = \"P\"\ncle = \"[[W0,_,_]]\"\n";
  }
  return t;
}

TEST_F(VeskTest, ExportImportAndTheirRefusals) {
  ASSERT_EQ(Lance("demo demo").status, 0);
  Execution exporte = Lance("--data demo export dico.toml");
  EXPECT_EQ(exporte.status, 0) << exporte.erreurs;
  const std::string texte = Contenu(dossier_ / "dico.toml");
  EXPECT_NE(texte.find("[chainages.FACLIG]\nentete = \"FACTUR\""), std::string::npos) << texte;
  EXPECT_EQ(Lance("--data demo export").sortie, texte);

  ASSERT_EQ(Lance("init copie").status, 0);
  Execution essai = Lance("--data copie import --dry-run dico.toml");
  EXPECT_EQ(essai.status, 0) << essai.erreurs;
  EXPECT_EQ(essai.sortie,
            "Texte correct, rien n'est écrit : 3 domaine(s), 3 fichier(s), 19 rubrique(s), 3 "
            "B-arbre(s), 1 chaînage(s)\n");
  EXPECT_EQ(Lance("--data copie export").sortie, "# Dictionnaire Vesk\nversion = 1\n");
  Execution import = Lance("--data copie import dico.toml");
  EXPECT_EQ(import.status, 0) << import.erreurs;
  EXPECT_EQ(Lance("--data copie export").sortie, texte);
  EXPECT_EQ(Contenu(dossier_ / "copie" / "TVA.DOM"), Contenu(dossier_ / "demo" / "TVA.DOM"));

  std::ofstream(dossier_ / "faux.toml")
      << "version = 1\n[fichiers.X]\nrubriques = [\n"
         "{ nom = \"N\", type = \"A\", total = 0, variable = \"V\" }]\n";
  Execution faux = Lance("--data copie import faux.toml");
  EXPECT_EQ(faux.status, 1);
  EXPECT_NE(faux.erreurs.find("faux.toml:4 : total 0 pour un champ A : de 1 à 32767"),
            std::string::npos)
      << faux.erreurs;
  EXPECT_EQ(Lance("--data copie export").sortie, texte);
  EXPECT_NE(Lance("--data copie import absent.toml").erreurs.find("absent.toml"),
            std::string::npos);
  ASSERT_EQ(Lance("init rien").status, 0);
  fs::remove(dossier_ / "rien" / "FIC.DAT");
  EXPECT_NE(Lance("--data rien export").erreurs.find("aucun dictionnaire"), std::string::npos);
  EXPECT_EQ(Lance("--data copie import").status, 2);  // FICHIER missing
}

// kill -9 at many instants of an import: afterwards the folder holds the old dictionary or the
// new one, whole, and its files pass the engine's checker.
TEST_F(VeskTest, AnImportKilledAtAnyInstantLeavesTheOldOrTheNewDictionary) {
  std::ofstream(dossier_ / "ancien.toml") << GrandDictionnaire(5, "A");
  std::ofstream(dossier_ / "nouveau.toml") << GrandDictionnaire(150, "N");
  ASSERT_EQ(Lance("init donnees").status, 0);
  ASSERT_EQ(Lance("init temoin").status, 0);
  const uint64_t debut = vesk::platform::HorlogeNs();
  ASSERT_EQ(Lance("--data temoin import nouveau.toml").status, 0);
  const double duree_ms = static_cast<double>(vesk::platform::HorlogeNs() - debut) / 1e6;
  const std::string nouveau = Lance("--data temoin export").sortie;
  ASSERT_EQ(Lance("--data donnees import ancien.toml").status, 0);
  const std::string ancien = Lance("--data donnees export").sortie;
  int anciens = 0, nouveaux = 0;
  // Instants spread over the time one whole import takes, closer together near its end, where
  // the batch commits.
  for (double part : {0.01, 0.05, 0.1,  0.2,  0.3,  0.4, 0.5,  0.6,  0.7, 0.8,
                      0.85, 0.9,  0.93, 0.96, 0.98, 1.0, 1.02, 1.05, 1.1, 1.2}) {
    const int delai_ms = static_cast<int>(part * duree_ms);
    const std::string commande = "cd '" + dossier_.string() + "' && exec '" + VESK_BINAIRE +
                                 "' --data donnees import nouveau.toml >/dev/null 2>&1";
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      execl("/bin/sh", "sh", "-c", commande.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    usleep(static_cast<useconds_t>(delai_ms) * 1000);
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    const std::string apres = Lance("--data donnees export").sortie;
    ASSERT_TRUE(apres == ancien || apres == nouveau) << "tué après " << delai_ms << " ms";
    const std::string d = (dossier_ / "donnees").string();
    vesk::isam::FolderReport rapport;
    ASSERT_TRUE(vesk::isam::VerifyFolder(vesk::isam::Env::Default(), d,
                                         {{d + "/FIC.DAT", d + "/LFIC.DAT", 12, 15, 0, 3}},
                                         &rapport)
                    .ok());
    ASSERT_TRUE(rapport.problems.empty()) << rapport.problems.front();
    if (apres == nouveau) {
      ++nouveaux;
      ASSERT_EQ(Lance("--data donnees import ancien.toml").status, 0);
    } else {
      ++anciens;
    }
  }
  EXPECT_GT(anciens, 0);
  std::printf("import tué : %d fois l'ancien dictionnaire, %d fois le nouveau\n", anciens,
              nouveaux);
}

TEST_F(VeskTest, TheSpecificationListingsAndTheBTreeInspection) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  Execution un = Lance("--data donnees edtfic client --output client.txt");
  EXPECT_EQ(un.status, 0) << un.erreurs;
  EXPECT_NE(Contenu(dossier_ / "client.txt").find("Longueur :  128 - No Canal : CLIENTD%"),
            std::string::npos);
  Execution inconnu = Lance("--data donnees edtfic NOPE --output nope.txt");
  EXPECT_EQ(inconnu.status, 1);
  EXPECT_NE(inconnu.erreurs.find("fichier non spécifié"), std::string::npos) << inconnu.erreurs;
  EXPECT_FALSE(fs::exists(dossier_ / "nope.txt"));

  Execution liste = Lance("--data donnees edtlfic --output liste.txt");
  EXPECT_EQ(liste.status, 0) << liste.erreurs;
  EXPECT_NE(Contenu(dossier_ / "liste.txt").find("| FACLIG  |"), std::string::npos);

  std::ofstream(dossier_ / "lecture.script") << "choose 2\n";
  Execution lecture = Lance("--data donnees --script lecture.script lectba --output dom.txt");
  EXPECT_EQ(lecture.status, 0) << lecture.erreurs;
  EXPECT_NE(Contenu(dossier_ / "dom.txt").find("PAYS|REGLT|TVA"), std::string::npos);
  // A tree named: no screen, no terminal; its keys' accents as they are.
  Execution nomme = Lance("--data donnees lectba cli2 --output cli2.txt </dev/null");
  EXPECT_EQ(nomme.status, 0) << nomme.erreurs;
  EXPECT_NE(Contenu(dossier_ / "cli2.txt").find("Bernard NéBarce|"), std::string::npos);
  // Damaged: listed all the same, and the status says it.
  {
    std::fstream f(dossier_ / "donnees" / "01" / "CLI2.DAB",
                   std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(4096 + 64);
    f.write(std::string(200, '\xEE').data(), 200);
  }
  Execution abime = Lance("--data donnees lectba CLI2 --output abime.txt </dev/null");
  EXPECT_EQ(abime.status, 1);
  EXPECT_EQ(abime.sortie, "Édition écrite dans abime.txt\n");
  EXPECT_EQ(abime.erreurs.rfind("vesk : B-arbre CLI2 endommagé : ", 0), 0u) << abime.erreurs;
  Execution inconnu_b = Lance("--data donnees lectba NOPE </dev/null");
  EXPECT_EQ(inconnu_b.status, 1);
  EXPECT_NE(inconnu_b.erreurs.find("aucun B-arbre ouvert de ce nom (ouverts : FIC, DOM, BA"),
            std::string::npos)
      << inconnu_b.erreurs;

  // The application's listing as PDF, read back: named apart from the list of files, with an
  // outline entry per file at its first page.
  Execution pdf = Lance("--data donnees ficapp");
  EXPECT_EQ(pdf.status, 0) << pdf.erreurs;
  const std::string prefixe = "Édition écrite dans donnees/EDITIONS/EDITION_APPLICATION_";
  ASSERT_EQ(pdf.sortie.rfind(prefixe, 0), 0u) << pdf.sortie;
  const size_t debut = pdf.sortie.find("donnees/");
  const std::string chemin = pdf.sortie.substr(debut, pdf.sortie.size() - debut - 1);
  if (std::system("pdftohtml -v >/dev/null 2>&1") == 0) {
    ASSERT_EQ(std::system(("cd '" + dossier_.string() + "' && pdftohtml -xml -i -stdout '" +
                           chemin + "' >plan.xml 2>/dev/null")
                              .c_str()),
              0);
    EXPECT_NE(Contenu(dossier_ / "plan.xml")
                  .find("<outline>\n<item page=\"1\">CLIENT</item>\n<item page=\"2\">FACLIG"
                        "</item>\n<item page=\"3\">FACTUR</item>\n</outline>"),
              std::string::npos)
        << Contenu(dossier_ / "plan.xml");
  }
  // As text, a form feed before each file but the first (which follows the list).
  ASSERT_EQ(Lance("--data donnees ficapp --output app.txt").status, 0);
  const std::string app = Contenu(dossier_ / "app.txt");
  EXPECT_EQ(std::count(app.begin(), app.end(), '\f'), 2);
  EXPECT_LT(app.find("CLIENTD%"), app.find('\f'));
  EXPECT_LT(app.find('\f'), app.find("FACLIGD%"));
  EXPECT_LT(app.rfind('\f'), app.find("Longueur :  64 - No Canal : FACTURD%"));
  if (std::system("pdftotext -v >/dev/null 2>&1") == 0) {
    ASSERT_EQ(
        std::system(("cd '" + dossier_.string() + "' && pdftotext -layout '" + chemin + "' app.txt")
                        .c_str()),
        0);
    const std::string texte = Contenu(dossier_ / "app.txt");
    for (const char* part : {"EDITION LISTE DES FICHIERS SPECIFIES", "page 3 / 3",
                             "Construction de la Clé : [CLNOM,1,10], [CLVIL,1,5]",
                             "Chaînage de : FACLIG.dat (FACLIGD%) - Entête : FACTUR.dat (FACTURD%)",
                             "D Appartient à Exerc"}) {
      EXPECT_NE(texte.find(part), std::string::npos) << part;
    }
  }

  ASSERT_EQ(Lance("init vide").status, 0);
  for (const char* commande : {"edtlfic", "ficapp"}) {
    Execution rien = Lance(std::string("--data vide ") + commande + " --output vide.txt");
    EXPECT_EQ(rien.status, 0) << rien.erreurs;
    EXPECT_EQ(rien.sortie, "Le dictionnaire ne contient aucun fichier : rien à éditer.\n");
    EXPECT_FALSE(fs::exists(dossier_ / "vide.txt"));
  }
}

TEST_F(VeskTest, AHundredFilesListedWithTheirPageNumbersRight) {
  std::ofstream texte(dossier_ / "cent.toml");
  texte << "version = 1\n";
  for (int i = 0; i < 100; ++i) {
    texte << "[fichiers.F" << 100 + i << "]\nlongueur = 16\nrubriques = [{ nom = \"CODE\", "
          << "type = \"A\", total = 8, variable = \"C" << i << "\" }]\n";
  }
  texte.close();
  ASSERT_EQ(Lance("init donnees").status, 0);
  Execution import = Lance("--data donnees import cent.toml");
  ASSERT_EQ(import.status, 0) << import.erreurs;
  Execution app = Lance("--data donnees ficapp --output app.txt");
  ASSERT_EQ(app.status, 0) << app.erreurs;
  const std::string listing = Contenu(dossier_ / "app.txt");
  // Every page numbered against the same total, the last one included.
  const size_t fin = listing.rfind("page ");
  ASSERT_NE(fin, std::string::npos);
  const std::string derniere = listing.substr(fin, listing.find('\n', fin) - fin);
  const int total = std::stoi(derniere.substr(derniere.find('/') + 1));
  EXPECT_EQ(derniere, "page " + std::to_string(total) + " / " + std::to_string(total));
  EXPECT_GE(total, 100);
  for (int n = 1; n <= total; ++n) {
    const std::string page = "page " + std::to_string(n) + " / " + std::to_string(total) + "\n";
    EXPECT_NE(listing.find(page), std::string::npos) << page;
  }
  EXPECT_NE(listing.find("Longueur :  16 - No Canal : F199D%"), std::string::npos);
}

TEST_F(VeskTest, GenpsAndGenpeWriteTheProgramsOfAFile) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  Execution csv = Lance("--data donnees genpe client --eol lf --output client.bas");
  EXPECT_EQ(csv.status, 0) << csv.erreurs;
  const std::string texte = Contenu(dossier_ / "client.bas");
  EXPECT_NE(texte.find("\n    Sub CsvCLIENT\n"), std::string::npos) << texte;
  EXPECT_EQ(texte.find('\r'), std::string::npos);
  // The separator of the CSV header is the one of vesk.ini.
  std::ofstream(dossier_ / "donnees" / "vesk.ini", std::ios::app) << "separateur_csv = \"|\"\n";
  Execution barre = Lance("--data donnees genpe FACTUR");
  EXPECT_NE(barre.sortie.find("\"NUMERO DE FACTURE|CODE CLIENT|DATE DE FACTURE|"),
            std::string::npos)
      << barre.sortie << barre.erreurs;
  Execution edition = Lance("--data donnees genpe FACTUR --edition");
  EXPECT_EQ(edition.status, 0) << edition.erreurs;
  EXPECT_NE(edition.sortie.find("CALL EDTOTAL(\"[[[[FAMHT,1],Totaux]],FAMHT+FAMHT]\")"),
            std::string::npos)
      << edition.sortie;
  struct Cas {
    const char* arguments;
    const char* message;
  };
  Execution saisie = Lance("--data donnees genps FACTUR --encoding cp1252");
  EXPECT_EQ(saisie.status, 0) << saisie.erreurs;
  EXPECT_NE(saisie.sortie.find("Sub EntFACTUR(Code$)\r\n"), std::string::npos);
  EXPECT_NE(saisie.sortie.find("Entr\xE9"
                               "e Du Fichier FACTUR"),
            std::string::npos);
  for (const Cas& c : {Cas{"--data donnees genpe NOPE", "NOPE : fichier non spécifié"},
                       Cas{"--data donnees genps NOPE", "NOPE : fichier non spécifié"},
                       Cas{"--data donnees genpe --csv", "avec un nom de fichier seulement"},
                       Cas{"--data donnees genpe CLIENT --csv --edition", "pas les deux"}}) {
    Execution e = Lance(c.arguments);
    EXPECT_EQ(e.status, std::string(c.arguments).find("NOPE") != std::string::npos ? 1 : 2)
        << c.arguments;
    EXPECT_NE(e.erreurs.find(c.message), std::string::npos) << c.arguments << "\n" << e.erreurs;
  }
}

// The rebuild on the demo's data: without screens (a summary per file), through the screen
// with a script, and what it refuses.
TEST_F(VeskTest, ReconsbaOnTheDemoData) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  Execution lignes = Lance("--data donnees reconsba faclig FACLIG");  // rebuilt once
  EXPECT_EQ(lignes.status, 0) << lignes.erreurs;
  EXPECT_EQ(lignes.sortie.find("FACLIG : "), lignes.sortie.rfind("FACLIG : ")) << lignes.sortie;
  EXPECT_NE(lignes.sortie.find("FACLIG : 2278 enregistrements gardés, 122 supprimés ; FACTUR "
                               "réenregistré ; B-Arbre FAC1 : 766 clés ("),
            std::string::npos)
      << lignes.sortie;
  EXPECT_NE(lignes.sortie.find("Travaux post-reconstruction : Attention veuillez verifier"),
            std::string::npos);
  const std::string d = (dossier_ / "donnees").string();
  vesk::isam::FolderReport rapport;
  const vesk::cli::ControlesDictionnaire controles = vesk::cli::ControlesDuDossier(d, &rapport);
  ASSERT_TRUE(vesk::isam::VerifyFolder(vesk::isam::Env::Default(), d, controles.chainages, &rapport,
                                       controles.cles)
                  .ok());
  EXPECT_TRUE(rapport.problems.empty()) << rapport.problems.front();
  EXPECT_EQ(rapport.deleted, 17u + 34u);  // CLIENT's and FACTUR's deleted records are left

  std::ofstream(dossier_ / "choix.script") << "choose 6\nok\n";
  Execution ecran = Lance("--data donnees --script choix.script --transcript choix.txt reconsba");
  EXPECT_EQ(ecran.status, 0) << ecran.erreurs;
  // The summary once the screen is closed.
  EXPECT_EQ(ecran.sortie.rfind("CLIENT : 283 enregistrements gardés, 17 supprimés ; B-Arbre CLI1 "
                               ": 283 clés ; B-Arbre CLI2 : 283 clés (",
                               0),
            0u)
      << ecran.sortie;
  EXPECT_NE(ecran.sortie.find("\nTravaux post-reconstruction : Attention"), std::string::npos);
  std::ofstream(dossier_ / "rien.script") << "choose none\n";
  EXPECT_EQ(Lance("--data donnees --script rien.script reconsba").sortie,
            "Aucun fichier choisi : rien n'est reconstruit.\n");
  const std::string t = Contenu(dossier_ / "choix.txt");
  EXPECT_NE(t.find("-> 6 «[[CLIENT,CLI1 CLI2]]»"), std::string::npos) << t;
  EXPECT_NE(t.find("Message B «17 Nb Enregist Supprimés"), std::string::npos) << t;
  EXPECT_NE(t.find("Message B «B-Arbre CLI2 : 283 clés»"), std::string::npos) << t;

  struct Cas {
    const char* arguments;
    const char* message;
  };
  for (const Cas& c : {Cas{"--data donnees reconsba NOPE", "fichier inconnu du dictionnaire"},
                       Cas{"--data donnees reconsba --force", "avec des noms de fichiers"},
                       Cas{"--data donnees reconsba CLIENT --tous", "pas les deux"}}) {
    Execution e = Lance(c.arguments);
    EXPECT_EQ(e.status, std::string(c.arguments).find("NOPE") != std::string::npos ? 1 : 2)
        << c.arguments;
    EXPECT_NE(e.erreurs.find(c.message), std::string::npos) << c.arguments << "\n" << e.erreurs;
  }
}

// The bytes of the files a rebuild of FACLIG replaces.
std::string Ensemble(const fs::path& entreprise) {
  return Contenu(entreprise / "FACLIG.DAT") + Contenu(entreprise / "FACTUR.DAT") +
         Contenu(entreprise / "FAC1.DAB");
}

// vesk reconsba killed at instants spread over its run: the next command finds the set of
// files as it was or as the rebuild makes it, never a mix.
TEST_F(VeskTest, ARebuildKilledAtAnyInstantLeavesTheOldOrTheNewFiles) {
  ASSERT_EQ(Lance("demo temoin").status, 0);
  const std::string ancien = Ensemble(dossier_ / "temoin" / "01");
  const uint64_t debut = vesk::platform::HorlogeNs();
  ASSERT_EQ(Lance("--data temoin reconsba FACLIG").status, 0);
  const double duree_ms = static_cast<double>(vesk::platform::HorlogeNs() - debut) / 1e6;
  const std::string nouveau = Ensemble(dossier_ / "temoin" / "01");
  int anciens = 0, nouveaux = 0;
  // From before the program starts to well after its end (the first and last instants give one
  // outcome each even when the runs' times vary), most of them over the rebuild itself.
  for (double part : {0.02, 0.3, 0.5, 0.6, 0.7, 0.8, 0.85, 0.9, 0.95, 1.0, 1.1, 2.0}) {
    fs::remove_all(dossier_ / "donnees");
    ASSERT_EQ(Lance("demo donnees").status, 0);
    const std::string commande = "cd '" + dossier_.string() + "' && exec '" + VESK_BINAIRE +
                                 "' --data donnees reconsba FACLIG >/dev/null 2>&1";
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      execl("/bin/sh", "sh", "-c", commande.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    usleep(static_cast<useconds_t>(part * duree_ms * 1000));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_EQ(Lance("--data donnees export").status, 0);  // the next user finishes or undoes
    const std::string apres = Ensemble(dossier_ / "donnees" / "01");
    ASSERT_TRUE(apres == ancien || apres == nouveau) << "tué après " << part * duree_ms << " ms";
    (apres == nouveau ? nouveaux : anciens)++;
  }
  std::printf("reconstruction tuée : %d fois les anciens fichiers, %d fois les nouveaux\n", anciens,
              nouveaux);
  // Both outcomes seen: the instants fall on both sides of the swap.
  EXPECT_GE(anciens, 1);
  EXPECT_GE(nouveaux, 1);
}

}  // namespace

namespace {

// The commands listed by the general help, in its order.
std::vector<std::string> CommandesDeLAide(const std::string& aide) {
  std::vector<std::string> noms;
  const size_t debut = aide.find("Commandes :\n");
  std::istringstream lignes(aide.substr(debut, aide.find("\n\n", debut) - debut));
  std::string ligne;
  std::getline(lignes, ligne);
  while (std::getline(lignes, ligne)) {
    if (ligne.size() > 2 && ligne[2] != ' ')
      noms.push_back(ligne.substr(2, ligne.find(' ', 2) - 2));
  }
  return noms;
}

// Every command of the help has its own help (the same as `vesk help CMD`), an entry in the
// manual page and a place in the completion, all written from one table.
TEST_F(VeskTest, EveryCommandHasItsHelpItsManualEntryAndItsCompletion) {
  const std::vector<std::string> noms = CommandesDeLAide(Lance("help").sortie);
  const std::string manuel = Contenu(VESK_MANUEL);
  const std::string completion = Contenu(VESK_COMPLETION);
  EXPECT_GE(noms.size(), 19u);
  for (const std::string& nom : noms) {
    Execution aide = Lance(nom + " --help");
    EXPECT_EQ(aide.status, 0) << nom;
    EXPECT_EQ(aide.sortie.rfind("Utilisation : vesk [--data DOSSIER] " + nom, 0), 0u)
        << aide.sortie;
    EXPECT_EQ(Lance("help " + nom).sortie, aide.sortie) << nom;
    EXPECT_NE(manuel.find(".TP\n\\fB" + nom + "\\fR"), std::string::npos) << nom;
    EXPECT_NE(completion.find("    " + nom + ") echo"), std::string::npos) << nom;
  }
  for (const char* section : {".SH FICHIERS", "ANOMALIES.LOG", ".SH ENVIRONNEMENT", "VESK_DATA",
                              ".SH \"CODE DE RETOUR\"", ".SH EXEMPLES"}) {
    EXPECT_NE(manuel.find(section), std::string::npos) << section;
  }
}

// An option given to a command that does not take it is refused with its name (status 2,
// nothing done), where the same option is taken by a command that has it.
TEST_F(VeskTest, AnOptionACommandDoesNotTakeIsRefusedWithItsName) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  struct Cas {
    const char* arguments;
    const char* option;
  };
  for (const Cas& c :
       {Cas{"export --edition", "--edition"}, Cas{"entdom --output x.txt", "--output"},
        Cas{"genps FACTUR --csv", "--csv"}, Cas{"import x.toml --output x.txt", "--output"},
        Cas{"edtdom --script x.txt", "--script"}, Cas{"demo autre --output x.txt", "--output"},
        Cas{"init autre --tous", "--tous"}, Cas{"config --force", "--force"},
        Cas{"decl CLIENT --dry-run", "--dry-run"}, Cas{"--set application=X edtdom", "--set"},
        Cas{"--output x.txt", "--output"}}) {
    Execution e = Lance(std::string("--data donnees ") + c.arguments + " </dev/null");
    EXPECT_EQ(e.status, 2) << c.arguments;
    EXPECT_NE(e.erreurs.find(std::string("vesk : ") + c.option + " : option "), std::string::npos)
        << c.arguments << " : " << e.erreurs;
    EXPECT_FALSE(fs::exists(dossier_ / "x.txt")) << c.arguments;
    EXPECT_FALSE(fs::exists(dossier_ / "autre")) << c.arguments;
  }
  Execution prise = Lance("--data donnees genpe FACTUR --csv --output x.txt");
  EXPECT_EQ(prise.status, 0) << prise.erreurs;
}

TEST_F(VeskTest, OutputDashWritesTheResultToStandardOutput) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  Execution liste = Lance("--data donnees edtdom --output -");
  EXPECT_EQ(liste.status, 0) << liste.erreurs;
  EXPECT_NE(liste.sortie.find("| TVA "), std::string::npos) << liste.sortie;
  EXPECT_NE(liste.sortie.find("page 1 / 1"), std::string::npos) << liste.sortie;
  EXPECT_EQ(liste.sortie.find("Édition écrite"), std::string::npos);
  EXPECT_FALSE(fs::exists(dossier_ / "donnees" / "EDITIONS"));
  EXPECT_FALSE(fs::exists(dossier_ / "-"));
  for (const char* commande : {"decl CLIENT", "export", "config"}) {
    Execution tiret = Lance(std::string("--data donnees ") + commande + " --output -");
    EXPECT_EQ(tiret.status, 0) << commande;
    EXPECT_EQ(tiret.sortie, Lance(std::string("--data donnees ") + commande).sortie) << commande;
  }
  ASSERT_EQ(Lance("init vide").status, 0);
  Execution rien = Lance("--data vide edtlfic --output -");
  EXPECT_EQ(rien.status, 0);
  EXPECT_EQ(rien.sortie, "");
  EXPECT_NE(rien.erreurs.find("rien à éditer"), std::string::npos) << rien.erreurs;
}

// init writes a commented vesk.ini naming the application and the company; config --set changes
// one key and keeps every other line; a value the key refuses changes nothing.
TEST_F(VeskTest, InitWritesACommentedIniThatConfigSetChanges) {
  Execution init = Lance("init ventes --application VENTES --entreprise 02");
  ASSERT_EQ(init.status, 0) << init.erreurs;
  const std::string ini = Contenu(dossier_ / "ventes" / "vesk.ini");
  EXPECT_NE(ini.find("\napplication = VENTES\n"), std::string::npos) << ini;
  EXPECT_NE(ini.find("\nentreprise = 02\n"), std::string::npos) << ini;
  EXPECT_NE(ini.find("; synchro = full\n"), std::string::npos) << ini;
  EXPECT_NE(Lance("--data ventes config").sortie.find("application = VENTES\n"), std::string::npos);

  Execution change =
      Lance("--data ventes config --set application=\"Ventes 2\" --set separateur_csv=';'");
  ASSERT_EQ(change.status, 0) << change.erreurs;
  const std::string apres = Contenu(dossier_ / "ventes" / "vesk.ini");
  EXPECT_NE(apres.find("\napplication = Ventes 2\n"), std::string::npos) << apres;
  EXPECT_NE(apres.find("\nseparateur_csv = \";\"\n"), std::string::npos) << apres;
  EXPECT_NE(apres.find("; L'entreprise courante"), std::string::npos);  // comments kept
  const std::string config = Lance("--data ventes config").sortie;
  EXPECT_NE(config.find("separateur_csv = \";\"\n"), std::string::npos) << config;

  for (const char* faute : {"entreprise=a/b", "couleur=bleu", "synchro"}) {
    Execution e = Lance(std::string("--data ventes config --set ") + faute);
    EXPECT_NE(e.status, 0) << faute;
    EXPECT_NE(e.erreurs.find("vesk : "), std::string::npos) << faute;
    EXPECT_EQ(Contenu(dossier_ / "ventes" / "vesk.ini"), apres) << faute;
  }

  ASSERT_EQ(Lance("init sans").status, 0);
  EXPECT_NE(Contenu(dossier_ / "sans" / "vesk.ini").find("; application = NOM\n"),
            std::string::npos);
  ASSERT_EQ(Lance("demo sans").status, 0);  // the folder's own vesk.ini is kept
  Execution decl = Lance("--data sans decl CLIENT");
  EXPECT_NE(decl.erreurs.find("config --set application=NOM"), std::string::npos) << decl.erreurs;
}

// bash's completion function, run on a line whose last word is being typed.
std::string Complete(const fs::path& dossier, const std::string& mots) {
  std::ofstream(dossier / "complete.sh")
      << "source '" VESK_COMPLETION "'\nCOMP_WORDS=('" VESK_BINAIRE "' " << mots
      << ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_vesk\nprintf '%s\\n' \"${COMPREPLY[@]}\" | "
         "sort\n";
  std::system(("cd '" + dossier.string() + "' && bash complete.sh >complete.txt 2>&1").c_str());
  return Contenu(dossier / "complete.txt");
}

TEST_F(VeskTest, BashCompletesCommandsOptionsValuesAndTheDictionarysFiles) {
  ASSERT_EQ(Lance("demo donnees").status, 0);
  std::ofstream(dossier_ / "dico.toml") << "version = 1\n";
  struct Cas {
    const char* mots;
    const char* reponses;
  };
  for (const Cas& c :
       {Cas{"ed", "edtdom\nedtfic\nedtlfic\n"}, Cas{"--data donnees edtfic c", "CLIENT\n"},
        Cas{"--data donnees --entreprise 01 decl ''", "CLIENT\nFACLIG\nFACTUR\n"},
        Cas{"genpe --ed", "--edition\n"}, Cas{"decl --eol ''", "crlf\nlf\n"},
        Cas{"--data don", "donnees\n"}, Cas{"help rec", "reconsba\n"},
        Cas{"import --dry-run di", "dico.toml\n"}, Cas{"--data nulle part decl ''", "\n"}}) {
    EXPECT_EQ(Complete(dossier_, c.mots), c.reponses) << c.mots;
  }
}

}  // namespace
