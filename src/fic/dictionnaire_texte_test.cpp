// The dictionary as text: exact round trips, defaults, every refusal leaving the old
// dictionary as it was, and the definition files.
#include "fic/dictionnaire_texte.h"

#include "fic/lecture_dictionnaire.h"
#include "fic/rubrique.h"
#include "fic/testing/dictionnaire.h"
#include "srv/isam/fault_env.h"

namespace vesk::fic {
namespace {

constexpr std::string_view kDemo =
#include "demo_texte.inc"
    ;

class DictionnaireTexteTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre();
  }
  std::string Lignes(const std::string& fichier) {
    std::ifstream in(dossier_ / fichier, std::ios::binary);
    std::stringstream tout;
    tout << in.rdbuf();
    return tout.str();
  }
};

TEST_F(DictionnaireTexteTest, ExportImportExportGivesTheSameBytes) {
  Importe(std::string(kDemo));
  const std::string premier = ExporteDictionnaire(Etat());
  // The demo text is the export itself, but for its opening comments.
  EXPECT_EQ(
      premier,
      std::string(kDemo.substr(kDemo.find("version = 1"))).insert(0, "# Dictionnaire Vesk\n"));
  ImporteDictionnaire(Etat(), premier, "premier.toml", false);
  EXPECT_EQ(ExporteDictionnaire(Etat()), premier);
  Ouvre();  // read again from the files
  EXPECT_EQ(ExporteDictionnaire(Etat()), premier);
  EXPECT_EQ(Lignes("TVA.DOM").substr(0, 25), "N : Taux normal 20,00 %\r\n");
  // The key lengths are computed from the key lists.
  bool trouve = false;
  Etat().BArbre().Recherche(Etat().ba_arbre, "CLI2", Etat().ba_fichier, trouve);
  ASSERT_TRUE(trouve);
  EXPECT_EQ(Etat().ba[kLongCle], "15   ");
}

TEST_F(DictionnaireTexteTest, OmittedKeysTakeTheDefaultsOfTheFieldRules) {
  Importe(R"(version = 1
[fichiers.f]
rubriques = [
  { nom = "NOM", type = "A", total = 3, variable = "W1" },
  { nom = "MT", type = "M", total = 5, variable = "W2" },
  { nom = "NB", type = "N", total = 6, decimales = 2, variable = "W3" },
  { nom = "E", type = "E", variable = "W4" },
  { nom = "B", type = "B", variable = "W5" },
  { nom = "L", type = "L", total = 20, variable = "W6" },
])");
  const ModeleDictionnaire m = LitDictionnaire(Etat());
  ASSERT_TRUE(m.fichiers.contains("F"));  // names are stored in upper case
  const Fichier& f = m.fichiers.at("F");
  EXPECT_FALSE(f.entreprise);
  EXPECT_EQ(f.longueur, 64);  // 3 + 2 + 6 + 3 + 1 + 20 = 35
  const Rubrique& mt = f.rubriques[1];
  EXPECT_EQ(mt.format, "I");
  EXPECT_EQ(mt.decimales, 0);
  EXPECT_EQ(mt.exemple, "+9999 - Nombre Appartient à [-32768..327");
  EXPECT_EQ(mt.domaine, "Ni¬Nul");
  EXPECT_EQ(f.rubriques[0].exemple, "NOM");
  EXPECT_EQ(f.rubriques[2].exemple, "+99.99");
  EXPECT_EQ(f.rubriques[2].domaine, "Na¬Nul");
  EXPECT_EQ(f.rubriques[3].total, 3);
  EXPECT_EQ(f.rubriques[3].modification, "S");
  EXPECT_EQ(f.rubriques[3].domaine, "");
  EXPECT_EQ(f.rubriques[4].exemple, "O");
  // The rules' default example of a list holds brackets and commas: it is kept and exported.
  EXPECT_EQ(f.rubriques[5].exemple, "[E1,E2,...,En] où Ei=");
  ImporteDictionnaire(Etat(), ExporteDictionnaire(Etat()), "retour.toml", false);
  EXPECT_EQ(LitDictionnaire(Etat()).fichiers.at("F").rubriques[5].exemple, "[E1,E2,...,En] où Ei=");
}

// Each text holds one fault; the message names its line, and nothing is written.
TEST_F(DictionnaireTexteTest, EveryRefusalLeavesTheOldDictionaryByteForByte) {
  Importe(std::string(kDemo));
  const auto avant = Fichiers();
  const std::string fichier = "\n[fichiers.F]\nlongueur = 64\nrubriques = [\n";
  const std::pair<std::string, std::string> cas[] = {
      {"version = 1\n[fichiers.\"F-1\"]\nrubriques = [{ nom = \"N\", type = \"A\", total = 1, "
       "variable = \"VV\" }]",
       "essai.toml:2 : nom de fichier « F-1 »"},
      {"version = 1" + fichier + "{ nom = \"A,B\", type = \"A\", total = 1, variable = \"VV\" }]",
       "essai.toml:5 : nom de rubrique « A,B » : les caractères"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 1, variable = \"VV\", "
           "exemple = \"a\\\"b\" }]",
       "exemple « a\"b » : le caractère \" est refusé"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 1, variable = \"VV\", "
           "domaine = \"a\\\"b\" }]",
       "domaine « a\"b »"},
      {"version = 1" + fichier + "{ nom = \"Ω\", type = \"A\", total = 1, variable = \"VV\" }]",
       "Windows-1252"},
      {"version = 1" + fichier + "{ nom = \"" + std::string(41, 'x') +
           "\", type = \"A\", total = 1, variable = \"VV\" }]",
       "41 caractères, 40 au plus"},
      {"version = 1" + fichier + "{ nom = \"N\", type = \"Q\", total = 1, variable = \"VV\" }]",
       "type « Q »"},
      {"version = 1" + fichier + "{ nom = \"N\", type = \"N\", total = 17, variable = \"VV\" }]",
       "total 17"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"M\", total = 4, decimales = 16, "
           "variable = \"VV\" }]",
       "décimales 16"},
      {"version = 1" + fichier + "{ nom = \"N\", type = \"A\", total = 40000, variable = \"VV\" }]",
       "total 40000"},
      {"version = 1" + fichier + "{ nom = \"N\", type = \"A\", total = 1, variable = \"9V\" }]",
       "variable « 9V »"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 1, variable = \"VV\" },\n"
           "{ nom = \"M\", type = \"A\", total = 1, variable = \"VV\" }]",
       "essai.toml:6 : variable VV déjà prise par la rubrique « N » (ligne 5)"},
      {"version = 1\n[fichiers.F]\nrubriques = []", "fichier F sans rubrique"},
      // A name of the generated programs, and a table's handle.
      {"version = 1" + fichier +
           "{ nom = \"CODE CLIENT\", type = \"A\", total = 4, variable = \"Code\" }]",
       "essai.toml:5 : variable « Code » de la rubrique « CODE CLIENT » refusée : paramètre "
       "Code$ du programme de saisie"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 4, variable = \"X1T\" }]\n"
           "[barbres.X1]\nfichier = \"F\"\nnature = \"P\"\ncle = \"[[X1T,_,_]]\"",
       "variable « X1T » de la rubrique « N » refusée : poignée X1T% du B-arbre X1"},
      {"version = 1" + fichier + "{ nom = \"N\", type = \"A\", total = 65, variable = \"VV\" }]",
       "longueur 64 inférieure à la longueur réelle 65"},
      {"version = 1\n[fichiers.F]\nlongueur = 40000\nrubriques = [{ nom = \"N\", type = \"A\", "
       "total = 1, variable = \"VV\" }]",
       "de 5 à 32767 caractères"},
      {"version = 1\n[fichiers.F]\nrubriques = [{ nom = \"N\", type = \"A\", total = 32767, "
       "variable = \"VV\" }, { nom = \"M\", type = \"A\", total = 1, variable = \"W\" }]",
       "longueur réelle 32768"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"VV\" }]\n"
           "[barbres.T1]\nfichier = \"F\"\nnature = \"P\"\ncle = \"[[VV,1,9]]\"",
       "essai.toml:6 : VV-9 Erreur"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"VV\" }]\n"
           "[barbres.T1]\nfichier = \"F\"\nnature = \"P\"\ncle = \"[[W,1,2]]\"",
       "W Inconnue"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"VV\" }]\n"
           "[barbres.T1]\nfichier = \"F\"\nnature = \"P\"\ncle = \"[[VV,1,2]\"",
       "Erreur de Syntaxe 10eme Car"},
      {"version = 1\n[barbres.T1]\nfichier = \"G\"\nnature = \"P\"\ncle = \"[[VV,1,2]]\"",
       "fichier « G » non spécifié"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"VV\" }]\n"
           "[chainages.F]\nentete = \"F\"\narriere = 1\navant = 65\n"
           "premier = 1\ndernier = 2",
       "avant 65 : de 1 (arriere) à 64"},
      {"version = 1\n[domaines.X]\nnom = \"x\"\nfichier = \"../X\"", "fichier de définition"},
      {"version = 1\n[domaines.X]\nfichier = \"X\"\ncouleur = 1", "clé inconnue « couleur »"},
      {"version = 2", "version 2 inconnue"},
      {"version = 1\n# Réglé\n[domaines.Réglt]\nfichier = \"R\"",
       "essai.toml:3 : caractère non ASCII hors d'un texte entre guillemets"},
      {"version = 1\n[domaines.R]\nnom = \"\"\"deux\nlignes\"\"\"\nfichier = \"R\"",
       "essai.toml:3 : texte sur plusieurs lignes refusé"},
      {"version = 1\n[fichiers.F\n", "essai.toml:2"},
      // A name of the dictionary's own files, in any case, for a file or a table.
      {"version = 1\n[fichiers.Lfic]\nrubriques = [{ nom = \"N\", type = \"A\", total = 1, "
       "variable = \"V\" }]",
       "essai.toml:2 : nom de fichier « LFIC » refusé : nom réservé aux fichiers du dictionnaire"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"V\" }]\n"
           "[barbres.FIC]\nfichier = \"F\"\nnature = \"S\"\ncle = \"[[V,1,2]]\"",
       "essai.toml:6 : nom de table « FIC » refusé"},
      // Numbers are checked whole, never narrowed first (4294967298 is not 2).
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"M\", total = 9, decimales = 4294967298, variable = \"V\" }]",
       "décimales 4294967298"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = -4294967290, variable = \"V\" }]",
       "total -4294967290"},
      {"version = 1" + fichier +
           "{ nom = \"N\", type = \"A\", total = 8, variable = \"V\" }]\n"
           "[barbres.T1]\nfichier = \"f\"\nnature = \"P\"\ncle = \"[[V,_,_]]\"\n"
           "[barbres.t1]\nfichier = \"F\"\nnature = \"S\"\ncle = \"[[V,_,_]]\"",
       "table « t1 » donné deux fois"},
  };
  for (const auto& [texte, message] : cas) {
    SCOPED_TRACE(texte);
    EXPECT_REFUS(Importe(texte), message);
    EXPECT_TRUE(Fichiers() == avant);
  }
}

TEST_F(DictionnaireTexteTest, DefinitionFilesFollowTheirDomains) {
  Importe(std::string(kDemo));
  Importe(R"(version = 1
[domaines.TVA]
nom = "Taux"
fichier = "TVA"
[domaines.VIDE]
nom = "Vide"
fichier = "VIDE"
definition = []
[domaines.UN]
fichier = "PAYS"
definition = ["FR France"]
)");
  EXPECT_FALSE(std::filesystem::exists(dossier_ / "TVA.DOM"));  // no definition: no file
  EXPECT_EQ(Lignes("VIDE.DOM"), "");
  EXPECT_EQ(Lignes("PAYS.DOM"), "FR France\r\n");
  const std::string texte = ExporteDictionnaire(Etat());
  EXPECT_NE(texte.find("[domaines.TVA]\nnom = \"Taux\"\nfichier = \"TVA\"\n\n"), std::string::npos);
  EXPECT_NE(texte.find("definition = []"), std::string::npos);
  EXPECT_EQ(texte.find("fichiers"), std::string::npos);  // the demo's files went
  EXPECT_REFUS(Importe("version = 1\n[domaines.A]\nfichier = \"T\"\ndefinition = [\"a\"]\n"
                       "[domaines.B]\nfichier = \"T\"\ndefinition = [\"b\"]"),
               "T.DOM est aussi celui d'un autre domaine");
  // A code with spaces and signs is a quoted key; a byte order mark is allowed.
  Importe("\xEF\xBB\xBFversion = 1\n[domaines.\"D Appartient à Exerc\"]\nfichier = \"EXERC\"");
  EXPECT_NE(ExporteDictionnaire(Etat()).find("[domaines.\"D Appartient à Exerc\"]"),
            std::string::npos);
}

// The services over env (a folder of memory), the dictionary open.
class DisquePleinTest : public DictionnaireTexteTest {
 protected:
  void OuvreSur(isam::Env* env) {
    OublieEtat();
    ouvert_.reset();
    OptionsServices options;
    options.config.dossier = "/d";
    options.config.synchro = Synchro::kOff;
    options.env = env;
    options.interface = Interface(session_);
    InstalleServicesThread(CreateurStandard(options));
    ouvert_ = AsS::Cree();
    ouvert_->OuvS();
  }
};

// An import on a disk that fills at each of its writes in turn (once, or for good): it fails
// with the first error and the old dictionary stays, or it is made, past its commit point,
// whether its files could all be written then or are written at the next opening. Never an
// error beside the new dictionary, nor the error of a later write in place of the first.
TEST_F(DisquePleinTest, AnImportFailsWithTheOldDictionaryOrIsMadeWithTheNew) {
  const std::string ancien(kDemo);
  const std::string nouveau =
      ancien +
      "\n[fichiers.NOUVO]\nrubriques = [{ nom = \"N\", type = \"A\", total = 8, "
      "variable = \"VN\" }]\n";
  int echecs = 0, differees = 0;
  for (const bool plein : {false, true}) {
    for (uint64_t n = 1;; ++n) {
      isam::MemEnv base;
      isam::FaultEnv env(&base);
      OuvreSur(&env);
      Importe(ancien);
      const std::string texte_ancien = ExporteDictionnaire(Etat());
      if (plein) {
        env.FailFrom(isam::FaultEnv::Op::kWrite, n, platform::Code::kNoSpace);
      } else {
        env.FailAt(isam::FaultEnv::Op::kWrite, n, platform::Code::kNoSpace);
      }
      const uint64_t avant = env.Count(isam::FaultEnv::Op::kWrite);
      std::string erreur;
      BilanImport bilan;
      try {
        bilan = ImporteDictionnaire(Etat(), nouveau, "essai.toml", false);
      } catch (const ErreurService& e) {
        erreur = e.what();
      }
      const bool fini = env.Count(isam::FaultEnv::Op::kWrite) - avant < n;
      OuvreSur(&base);  // the next opening, on a disk with room again
      const std::string apres = ExporteDictionnaire(Etat());
      SCOPED_TRACE((plein ? "plein dès l'écriture " : "écriture ") + std::to_string(n));
      if (!erreur.empty()) {
        ++echecs;
        EXPECT_NE(erreur.find("disque plein (simulé)"), std::string::npos) << erreur;
        EXPECT_EQ(apres, texte_ancien);
      } else {
        if (!bilan.ecriture_differee.empty()) ++differees;
        EXPECT_EQ(bilan.ecriture_differee.find("disque plein") == std::string::npos,
                  bilan.ecriture_differee.empty());
        EXPECT_NE(apres.find("[fichiers.NOUVO]"), std::string::npos);
      }
      if (fini) break;
      ASSERT_LT(n, 2000u);
    }
  }
  EXPECT_GT(echecs, 0);
  EXPECT_GT(differees, 0);
}

TEST_F(DictionnaireTexteTest, ADryRunChecksAndWritesNothing) {
  Importe(std::string(kDemo));
  const auto avant = Fichiers();
  BilanImport b = ImporteDictionnaire(Etat(), "version = 1", "vide.toml", true);
  EXPECT_EQ(b.fichiers, 0u);
  EXPECT_TRUE(Fichiers() == avant);
  b = ImporteDictionnaire(Etat(), kDemo, "demo.toml", true);
  EXPECT_EQ(b.domaines, 3u);
  EXPECT_EQ(b.fichiers, 3u);
  EXPECT_EQ(b.rubriques, 19u);
  EXPECT_EQ(b.barbres, 3u);
  EXPECT_EQ(b.chainages, 1u);
}

}  // namespace
}  // namespace vesk::fic
