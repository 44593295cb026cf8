// The report and CSV program generator: both programs of a file of every type against reference
// texts, what each variant leaves out, the frame read back by the listing service, and the
// screen driven by scripts.
#include "gencode/gen_pe.h"

#include "fic/testing/dictionnaire.h"
#include "gencode/etat_gencode.h"
#include "gencode/testing/structure_programme.h"
#include "srv/report/descriptor.h"

namespace vesk {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.ARTIC]
longueur = 128
rubriques = [
  { nom = "CODE ARTICLE", type = "A", total = 8, variable = "ARCODE" },
  { nom = "FAMILLE", type = "L", total = 4, variable = "ARFAM" },
  { nom = "STOCK", type = "M", total = 4, variable = "ARSTK" },
  { nom = "PRIX; HT", type = "M", total = 9, decimales = 2, variable = "ARPRIX" },
  { nom = "CHIFFRE ANNUEL", type = "M", total = 12, decimales = 2, variable = "ARCA" },
  { nom = "POIDS", type = "N", total = 6, decimales = 3, variable = "ARPDS" },
  { nom = "CREATION", type = "D", variable = "ARDCRE" },
  { nom = "SUIVANT", type = "E", variable = "ARSUIV" },
  { nom = "ACTIF", type = "B", variable = "ARACT" },
]
[fichiers.SANS]
longueur = 16
rubriques = [{ nom = "CODE", type = "A", total = 4, variable = "SC" }]
[fichiers.DOUBLE]
longueur = 16
rubriques = [{ nom = "CODE", type = "A", total = 4, variable = "DC" }]
[fichiers.TEXTE]
longueur = 16
rubriques = [
  { nom = "CODE", type = "A", total = 4, variable = "TC" },
  { nom = "NO", type = "E", variable = "TN" },
]
[barbres.ART1]
fichier = "ARTIC"
nature = "P"
cle = "[[ARCODE,_,_]]"
[barbres.ART2]
fichier = "ARTIC"
nature = "S"
cle = "[[ARFAM,_,_]]"
[barbres.DBL1]
fichier = "DOUBLE"
nature = "P"
cle = "[[DC,_,_]]"
[barbres.DBL2]
fichier = "DOUBLE"
nature = "P"
cle = "[[DC,1,2]]"
[barbres.TXT1]
fichier = "TEXTE"
nature = "P"
cle = "[[TC,_,_]]"
)";

class GenPETest : public fic::EditionEssai {
 protected:
  void SetUp() override {
    EditionEssai::SetUp();
    OublieEtatGen();  // NCE and the text of another test's generation
    Ouvre();
    Importe(kDictionnaire);
  }
  std::string Genere(const std::string& fichier, bool csv, const std::string& programme = "") {
    GenereEdition(Etat(), {fichier, programme, csv});
    const std::string texte = EtatGen().Texte();
    EXPECT_EQ(DecritDefauts(DefautsStructure(texte)), "");
    return texte;
  }
  static bool Contient(const std::string& texte, const std::string& part) {
    return texte.find(part) != std::string::npos;
  }
};

TEST_F(GenPETest, BothProgramsOfAFileOfEveryType) {
  const std::string csv = Genere("ARTIC", true);
  Golden(csv, "genpe-csv-ARTIC.txt", "src/gencode/testdata");
  // The header: E fields left out, ";" taken out of the names.
  EXPECT_TRUE(Contient(csv,
                       "Call EcrireFichSeq(NoFic, \"CODE ARTICLE;FAMILLE;STOCK;PRIX HT;CHIFFRE "
                       "ANNUEL;POIDS;CREATION;ACTIF\")"))
      << csv;
  EXPECT_TRUE(Contient(csv, "Call DecodeVarCsv(E$ ,ARSUIV$, \"E\", \"A\", 0)"));
  EXPECT_TRUE(Contient(csv, "Call DecodeVarCsv(E$ ,ARPRIX$, \"M\", \"S\", 2)"));
  EXPECT_TRUE(Contient(csv, "Sub CsvARTIC\r\n"));

  EtatGen().AffecteNce("ARTIC");
  const std::string edition = Genere("ARTIC", false, "EdtArtic");
  Golden(edition, "genpe-edition-ARTIC.txt", "src/gencode/testdata");
  for (const char* part :
       {"Sub EdtArtic\r\n", "NCE$=\"ARTIC\"", "Call AColM(\"ARSTK\",CDBL(CVI(ARSTK$)))",
        "Call AColM(\"ARPRIX\",CDBL(CVS(ARPRIX$)))", "Call AColM(\"ARCA\",CVD(ARCA$))",
        "Call ACol(\"ARSUIV\",ARSUIV$)", "CALL EDTFINCADRE(\"[ARSTK,ARPRIX,ARCA]\")",
        "CALL EDTOTAL(\"[[[[ARSTK,1],[ARPRIX,1],[ARCA,1],Totaux]],ARSTK+ARCA]\")",
        "CALL EDTFINCOL(\"[ARSTK,ARPRIX,ARCA]\")", "Call PremCle(ART1T%,ARTICD%,EXIST)",
        "Call SuivCle(ART1T%,ARTICD%,Exist)"}) {
    EXPECT_TRUE(Contient(edition, part)) << part;
  }
}

TEST_F(GenPETest, TheFrameIsOneTheListingServiceReads) {
  const std::string texte = Genere("ARTIC", false);
  const std::string debut = "Call Cadredt(\"";
  const size_t p = texte.find(debut);
  ASSERT_NE(p, std::string::npos);
  const std::string cadre = texte.substr(p + debut.size(), texte.find("\")", p) - p - debut.size());
  EXPECT_EQ(cadre.rfind("[PS,1,[[", 0), 0u);
  const report::Descriptor d = report::ParseDescriptor(cadre);
  ASSERT_EQ(d.columns.size(), 8u);  // the E field has no column
  EXPECT_EQ(d.columns[3].key, "ARPRIX");
  EXPECT_EQ(d.columns[3].title, "PRIX; HT");
  EXPECT_EQ(d.columns[3].decimals, 2);
  EXPECT_EQ(d.columns[3].width, 9);
  EXPECT_EQ(d.columns[5].decimals, 3);  // N, by its decimals too
  EXPECT_EQ(d.columns[6].width, 10);    // the date
}

TEST_F(GenPETest, WithoutAmountsNoTotalsAndTheDefaults) {
  const std::string texte = Genere("TEXTE", false);
  EXPECT_TRUE(Contient(texte, "Sub CsvTEXTE\r\n"));  // whatever the output
  EXPECT_TRUE(Contient(texte, "NCE$=\"\""));
  EXPECT_TRUE(Contient(texte, "CALL EDTFINCADRE(\"[]\")"));
  for (const char* absent : {"AColM", "EDTOTAL", "EDTFINCOL"}) {
    EXPECT_FALSE(Contient(texte, absent)) << absent;
  }
  EXPECT_TRUE(Contient(Genere("TEXTE", true), "Call EcrireFichSeq(NoFic, \"CODE\")"));
}

TEST_F(GenPETest, PrimaryTablesNoneOrSeveral) {
  EXPECT_REFUS(GenereEdition(Etat(), {"SANS", "", true}), "Aucune Table Primaire");
  EXPECT_REFUS(GenereEdition(Etat(), {"NOPE", "", true}), "fichier non spécifié");
  Genere("DOUBLE", true);
  ASSERT_EQ(EtatGen().Anomalies().size(), 1u);
  EXPECT_EQ(EtatGen().Anomalies()[0].message, "@ Plusieurs Table Primaire");
  EXPECT_TRUE(Contient(EtatGen().Texte(), "Call PremCle(DBL2T%,DOUBLED%,EXIST)"));  // the last
}

TEST_F(GenPETest, TheScreenAsksAgainAndGoesBack) {
  // An unknown file asked again without a message, one without a primary table with it; the
  // back key on NPROG goes to NFIC, on SCSV to NPROG; an empty NPROG is asked again, and one
  // that is a label of the program is refused.
  Ouvre(
      "NFIC = NOPE\nNFIC = SANS\nNFIC = texte\nNPROG <Up>\nNFIC\nNPROG =\nNPROG = Edt T\n"
      "NPROG = FinEdt\nNPROG = EdtT\n"
      "SCSV = N <Up>\nNPROG\nSCSV = N\n");
  GenPE(Etat());
  EXPECT_EQ(session_->Restantes(), 0u);
  const std::string t = session_->Transcription();
  EXPECT_TRUE(Contient(t, "Titre «Generateur de Programme d'Edition ou Sortie au Format Csv»"));
  EXPECT_TRUE(Contient(t, "MessChamp NFIC B «Aucune Table Primaire»")) << t;
  EXPECT_TRUE(Contient(t, "Sai NPROG «CsvTEXTE»")) << t;
  EXPECT_TRUE(Contient(t, "Sai SCSV «O»")) << t;
  EXPECT_TRUE(Contient(t, "MessChamp NPROG B «Nom de procédure « Edt T » refusé")) << t;
  EXPECT_TRUE(Contient(t,
                       "MessChamp NPROG B «Nom de procédure « FinEdt » refusé : étiquette "
                       "FinEdt du programme d'édition»"))
      << t;
  EXPECT_TRUE(Contient(EtatGen().Texte(), "Sub EdtT\r\n"));
  EXPECT_TRUE(Contient(EtatGen().Texte(), "Edition du Fichier TEXTE"));

  // An empty name, or Esc, ends it without generating.
  const int32_t generations = EtatGen().Generations();
  Ouvre("NFIC =\n");
  GenPE(Etat());
  Ouvre("NFIC = TEXTE\nNPROG <Esc>\n");
  GenPE(Etat());
  EXPECT_EQ(EtatGen().Generations(), generations);
}

}  // namespace
}  // namespace vesk
