// `vesk donnees` and `vesk verifie` on the demo folder, whose records are changed byte by byte
// where a test needs known values or faults.
#include <regex>
#include <string>

#include "cli/testing/binaire.h"

namespace vesk::cli::testing {
namespace {

class DonneesTest : public VeskTest {
 protected:
  void SetUp() override {
    VeskTest::SetUp();
    ASSERT_EQ(Lance("demo demo").status, 0);
  }
  // Writes octets over record no of the demo's file nom (company 01) from its character
  // position (from 1): the slot of a record of length L is a state byte and L bytes, after
  // the 128 bytes of the header.
  void Remplace(const std::string& nom, size_t longueur, size_t no, size_t position,
                const std::string& octets) {
    std::fstream f(dossier_ / "demo" / "01" / (nom + ".DAT"),
                   std::ios::binary | std::ios::in | std::ios::out);
    f.seekp(static_cast<std::streamoff>(128 + (no - 1) * (longueur + 1) + position));
    f.write(octets.data(), static_cast<std::streamsize>(octets.size()));
    ASSERT_TRUE(f.good());
  }
  static std::string Ligne(const std::string& texte, size_t n) {
    std::istringstream in(texte);
    std::string l;
    for (size_t i = 0; i <= n && std::getline(in, l);) ++i;
    return l;
  }
};

// A customer of known values, in Windows-1252: a name that needs quoting, an S amount, a date.
const std::string kClient = std::string("C00001") + "\xC9mile; \"Zola\"" + std::string(17, ' ') +
                            "Gen\xE8ve" + std::string(14, ' ') + "CH" + "30J  " + "N" +
                            std::string("\x00\x50\x9A\x44", 4) + std::string("\x00\xB1\x26", 3);

TEST_F(DonneesTest, RecordsReadAsTheirValuesInCsvAndJson) {
  Remplace("CLIENT", 128, 1, 1, kClient);
  const Execution csv = Lance("--data demo donnees CLIENT");
  ASSERT_EQ(csv.status, 0) << csv.erreurs;
  EXPECT_EQ(Ligne(csv.sortie, 0), "CLCODE;CLNOM;CLVIL;CLPAYS;CLREG;CLTVA;CLENC;CLDCRE\r");
  EXPECT_EQ(Ligne(csv.sortie, 1),
            "C00001;\"Émile; \"\"Zola\"\"\";Genève;CH;30J;N;1234,50;29/02/2024\r");
  // 300 customers, every 17th deleted: 283 lines after the headings, C00017 not among them.
  EXPECT_EQ(std::count(csv.sortie.begin(), csv.sortie.end(), '\n'), 284);
  EXPECT_EQ(csv.sortie.find("C00017;"), std::string::npos);
  EXPECT_NE(csv.sortie.find("\r\nC00018;"), std::string::npos);

  const Execution json = Lance("--data demo --output clients.json donnees CLIENT --json");
  ASSERT_EQ(json.status, 0) << json.erreurs;
  const std::string t = Contenu(dossier_ / "clients.json");
  EXPECT_EQ(Ligne(t, 1),
            "{\"CLCODE\":\"C00001\",\"CLNOM\":\"Émile; \\\"Zola\\\"\",\"CLVIL\":\"Genève\","
            "\"CLPAYS\":\"CH\",\"CLREG\":\"30J\",\"CLTVA\":\"N\",\"CLENC\":1234.50,"
            "\"CLDCRE\":\"29/02/2024\"},");
  EXPECT_EQ(t.substr(t.size() - 4), "}\n]\n");

  // The chained lines: their pointers as record numbers, the first line of a chain has none
  // before it, and every real takes its decimals.
  const Execution lignes = Lance("--data demo donnees FACLIG --json");
  ASSERT_EQ(lignes.status, 0) << lignes.erreurs;
  for (const char* motif :
       {R"(\{"FLPREC":null,"FLSUIV":[0-9]+,"FLART":"ART[0-9]{7}")",
        R"(\{"FLPREC":[0-9]+,"FLSUIV":null,)", R"("FLQTE":[0-9]+\.00,"FLPU":[0-9]+\.[0-9]{2}\})"}) {
    EXPECT_TRUE(std::regex_search(lignes.sortie, std::regex(motif))) << motif;
  }
}

TEST_F(DonneesTest, ValuesTheRulesRefuseAreNamedAndLeftEmpty) {
  // A date of no day and an amount that is not a number.
  Remplace("CLIENT", 128, 2, 65, std::string("\x00\x00\xC0\x7F\xFF\xFF\xFF", 7));
  const Execution e = Lance("--data demo donnees CLIENT");
  EXPECT_EQ(e.status, 1);
  EXPECT_NE(e.erreurs.find("CLIENT, enregistrement 2, CLENC : nombre illisible"), std::string::npos)
      << e.erreurs;
  EXPECT_NE(e.erreurs.find("CLIENT, enregistrement 2, CLDCRE : date impossible (0xFF 0xFF 0xFF)"),
            std::string::npos)
      << e.erreurs;
  EXPECT_TRUE(Ligne(e.sortie, 2).ends_with(";;\r")) << Ligne(e.sortie, 2);

  const Execution inconnu = Lance("--data demo donnees ARTICL");
  EXPECT_EQ(inconnu.status, 1);
  EXPECT_NE(inconnu.erreurs.find("ARTICL"), std::string::npos);
  const Execution sans = Lance("--data demo --entreprise 02 donnees CLIENT");
  EXPECT_EQ(sans.status, 1);
  EXPECT_NE(sans.erreurs.find("pas de fichier de données"), std::string::npos) << sans.erreurs;
}

// The demo passes the check; each fault put into its files is found with its kind and record,
// in its file only.
TEST_F(DonneesTest, VerifieFindsEachFaultInItsFileWithItsRecord) {
  const Execution sain = Lance("--data demo verifie");
  ASSERT_EQ(sain.status, 0) << sain.sortie << sain.erreurs;
  EXPECT_NE(sain.sortie.find("CLIENT (01) : 283 enregistrement(s), 17 supprimé(s), 2 B-arbre(s) "
                             "(566 clé(s)), 0 chaînage(s) : correct"),
            std::string::npos)
      << sain.sortie;
  EXPECT_NE(sain.sortie.find("Vérification : 3 fichier(s)"), std::string::npos);

  Remplace("CLIENT", 128, 2, 69, "\xFF\xFF\xFF");                // a date of no day
  Remplace("CLIENT", 128, 3, 57, "XX");                          // a country not in PAYS.DOM
  Remplace("CLIENT", 128, 5, 1, "X");                            // CLCODE, not its CLI1 key
  Remplace("FACLIG", 32, 1, 1, std::string("\x00\x00\x07", 3));  // a wrong back pointer
  const Execution e = Lance("--data demo verifie --json");
  EXPECT_EQ(e.status, 1);
  const char* const attendus[] = {
      R"j({"genre":"date impossible","nombre":1,"enregistrements":[2],"exemple":)j"
      R"j("enregistrement 2, CLDCRE : date impossible (0xFF 0xFF 0xFF)"})j",
      R"j({"genre":"hors domaine","nombre":1,"enregistrements":[3],"exemple":)j"
      R"j("enregistrement 3, CLPAYS : « XX » n'est pas dans le domaine PAYS"})j",
      R"j({"genre":"clé fausse","nombre":1,"enregistrements":[5],)j",
      R"j({"fichier":"FACLIG","entreprise":"01","donnees":true,)j",
      R"j({"genre":"chaînage","nombre":1,)j",
      R"j("problemes":4})j"};
  for (const char* attendu : attendus) {
    EXPECT_NE(e.sortie.find(attendu), std::string::npos) << attendu << "\n" << e.sortie;
  }
  // The files named alone: FACTUR is sound.
  const Execution factur = Lance("--data demo verifie factur");
  EXPECT_EQ(factur.status, 0) << factur.sortie;
  EXPECT_EQ(factur.sortie.find("CLIENT"), std::string::npos);
  const Execution inconnu = Lance("--data demo verifie ARTICL");
  EXPECT_EQ(inconnu.status, 1);
  EXPECT_NE(inconnu.erreurs.find("ARTICL"), std::string::npos);
}

}  // namespace
}  // namespace vesk::cli::testing
