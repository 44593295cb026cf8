// The vesk program on a database store, against the PostgreSQL server VESK_PG_URI names (the
// tests are skipped without one): the demo copied into the database and back, whole; the
// component's commands giving on the database what they give on the folder.
#ifdef VESK_AVEC_PG
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <regex>
#include <sstream>
#include <tuple>

#include "cli/verification.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/verify.h"
#include "srv/pg/outils_pg.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace {

namespace fs = std::filesystem;

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

// What a folder holds: each text by its bytes, each data file by its header's values and its
// records, each B-tree by its header's values and its entries (a tree built key by key and one
// loaded in bulk differ in their nodes; a file's count of commits is its own).
std::map<std::string, std::string> Donnees(const fs::path& dossier) {
  std::map<std::string, std::string> out;
  for (const auto& e : fs::recursive_directory_iterator(dossier)) {
    const std::string ext = e.path().extension().string();
    const std::string nom = fs::relative(e.path(), dossier).string();
    if (ext == ".DOM") out[nom] = Contenu(e.path());
    if (ext == ".DAT") {
      std::unique_ptr<vesk::isam::DataFile> f;
      vesk::isam::DataFile::Options options;
      options.read_only = true;
      EXPECT_TRUE(
          vesk::isam::DataFile::Open(vesk::isam::Env::Default(), e.path().string(), 0, options, &f)
              .ok());
      if (f == nullptr) continue;
      const vesk::isam::DataHeader& h = f->Header();
      std::string& s = out[nom];
      s = std::to_string(h.version) + " " + std::to_string(h.record_length) + " " +
          std::to_string(h.last_record) + " " + std::to_string(h.deleted) + " " + h.label + "\n";
      std::string octets(h.record_length, '\0');
      for (uint32_t no = 1; no <= h.last_record; ++no) {
        bool supprime = false;
        EXPECT_TRUE(f->Read(no, octets).ok() && f->IsDeleted(no, &supprime).ok());
        s += (supprime ? "-" : "+") + octets + "\n";
      }
    }
    if (ext != ".DAB") continue;
    std::unique_ptr<vesk::isam::BTree> t;
    EXPECT_TRUE(
        vesk::isam::BTree::OpenAsMade(vesk::isam::Env::Default(), e.path().string(), {}, &t).ok());
    if (t == nullptr) continue;
    vesk::isam::BTreeHeader h;
    EXPECT_TRUE(t->Header(&h).ok());
    std::string& s = out[nom];
    s = std::to_string(h.key_length) + h.nature + h.indexed_file + "\n";
    EXPECT_TRUE(t->ForEach([&](std::string_view cle, uint32_t no) {
                   s += std::string(cle) + " " + std::to_string(no) + "\n";
                   return true;
                 }).ok());
  }
  return out;
}

// A listing or a program without the date and time it was made.
std::string SansDate(const std::string& texte) {
  static const std::regex date(R"(\d\d/\d\d/\d\d\d\d( \d\d:\d\d(:\d\d)?)?)");
  return std::regex_replace(texte, date, "<date>");
}

class VeskSurPostgresql : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* uri = std::getenv("VESK_PG_URI");
    if (uri == nullptr || *uri == '\0') GTEST_SKIP() << "VESK_PG_URI ne désigne aucun serveur";
    uri_ = uri;
    dossier_ =
        fs::temp_directory_path() / ("vesk_pg_" + std::to_string(vesk::platform::HorlogeNs()));
    fs::create_directories(dossier_);
  }
  void TearDown() override {
    for (const std::string& s : schemas_) vesk::pg::EffaceSchemas(uri_, s);
    if (!dossier_.empty()) fs::remove_all(dossier_);
  }
  // The URI of a store of its own for this test.
  std::string Base(const std::string& nom) {
    const std::string schema = "t" + std::to_string(vesk::platform::HorlogeNs()) + "_" + nom;
    schemas_.push_back(schema);
    return uri_ + (uri_.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema;
  }
  // Runs vesk with arguments in the test folder; its exit status, the output then the errors.
  std::pair<int, std::string> Lance(const std::string& arguments) {
    const std::string commande = "cd '" + dossier_.string() + "' && env -u VESK_DATA '" +
                                 VESK_BINAIRE + "' " + arguments + " >sortie.txt 2>erreurs.txt";
    const int brut = std::system(commande.c_str());
    return {WIFEXITED(brut) ? WEXITSTATUS(brut) : -1,
            Contenu(dossier_ / "sortie.txt") + Contenu(dossier_ / "erreurs.txt")};
  }
  void Reussit(const std::string& arguments) {
    auto [status, texte] = Lance(arguments);
    ASSERT_EQ(status, 0) << arguments << "\n" << texte;
  }

  // The demo in the folder "dossier", copied into a store of its own (its URI returned) that the
  // folder "base" uses.
  std::string DemoEnBase(const std::string& nom) {
    Reussit("demo dossier");
    const std::string b = Base(nom);
    Reussit("copie dossier '" + b + "'");
    fs::create_directories(dossier_ / "base");
    std::ofstream(dossier_ / "base" / "vesk.ini")
        << Contenu(dossier_ / "dossier" / "vesk.ini") << "stockage = " << b << "\n";
    return b;
  }

  std::string uri_;
  fs::path dossier_;
  std::vector<std::string> schemas_;
};

// The demo into a database and back: the records, keys and texts come back as they were; a
// second round trip gives the same bytes; a destination holding data is refused.
TEST_F(VeskSurPostgresql, TheDemoGoesIntoTheDatabaseAndBackWhole) {
  Reussit("demo d1");
  const std::string b1 = Base("a"), b2 = Base("b");
  Reussit("copie d1 '" + b1 + "'");
  Reussit("copie '" + b1 + "' d2");
  EXPECT_EQ(Donnees(dossier_ / "d2"), Donnees(dossier_ / "d1"));
  Reussit("copie d2 '" + b2 + "'");
  Reussit("copie '" + b2 + "' d3");
  // Copies of copies are the same to the byte.
  for (const auto& [nom, octets] : Donnees(dossier_ / "d2")) {
    EXPECT_EQ(Contenu(dossier_ / "d3" / nom), Contenu(dossier_ / "d2" / nom)) << nom;
  }
  vesk::isam::FolderReport rapport;
  const std::string d3 = (dossier_ / "d3").string();
  const vesk::cli::ControlesDictionnaire controles = vesk::cli::ControlesDuDossier(d3, &rapport);
  ASSERT_TRUE(vesk::isam::VerifyFolder(vesk::isam::Env::Default(), d3, controles.chainages,
                                       &rapport, controles.cles)
                  .ok());
  EXPECT_TRUE(rapport.problems.empty()) << rapport.problems.front();
  EXPECT_EQ(rapport.chained_lines, 2297u);

  auto [dans_base, texte_base] = Lance("copie d1 '" + b1 + "'");
  EXPECT_EQ(dans_base, 1);
  EXPECT_NE(texte_base.find("une copie va dans une base vide"), std::string::npos) << texte_base;
  auto [dans_dossier, texte_dossier] = Lance("copie '" + b1 + "' d1");
  EXPECT_EQ(dans_dossier, 1);
  EXPECT_NE(texte_dossier.find("une copie va dans un dossier vide"), std::string::npos)
      << texte_dossier;
  auto [sens, texte_sens] = Lance("copie d1 d2");
  EXPECT_EQ(sens, 1);
  EXPECT_NE(texte_sens.find("un dossier de données et une base"), std::string::npos);
}

// The commands that read the dictionary and the data give the same listings, programs and
// records on the database as on the folder; the rebuild leaves the same records and keys.
TEST_F(VeskSurPostgresql, TheCommandsGiveOnTheDatabaseWhatTheyGiveOnTheFolder) {
  const std::string b = DemoEnBase("c");
  const std::vector<std::string> commandes = {"export",
                                              "decl CLIENT",
                                              "genps CLIENT",
                                              "genpe CLIENT",
                                              "genpe FACTUR --edition",
                                              "edtfic CLIENT --output r.txt",
                                              "edtlfic --output r.txt",
                                              "ficapp --output r.txt",
                                              "edtdom --output r.txt",
                                              "donnees CLIENT",
                                              "donnees FACLIG --json",
                                              "verifie",
                                              "verifie FACLIG --json",
                                              "reconsba --tous",
                                              "export"};
  for (const std::string& c : commandes) {
    std::string sorties[2];
    for (int i = 0; i < 2; ++i) {
      fs::remove(dossier_ / "r.txt");
      auto [status, texte] = Lance("--data " + std::string(i == 0 ? "dossier " : "base ") + c);
      ASSERT_EQ(status, 0) << c << "\n" << texte;
      // The rebuild's times differ from run to run.
      sorties[i] = SansDate(std::regex_replace(texte + Contenu(dossier_ / "r.txt"),
                                               std::regex(R"(\(\d+[.,]\d+ s\))"), "(<s>)"));
    }
    EXPECT_EQ(sorties[1], sorties[0]) << c;
  }
  Reussit("copie '" + b + "' retour");
  std::map<std::string, std::string> dossier = Donnees(dossier_ / "dossier");
  dossier.erase("EDITIONS");
  EXPECT_EQ(Donnees(dossier_ / "retour"), dossier);
  // The B-tree inspection reads the database's own figures.
  std::ofstream(dossier_ / "lecture.script") << "choose 2\n";
  Reussit("--data base --script lecture.script lectba --output dom.txt");
  const std::string dom = Contenu(dossier_ / "dom.txt");
  EXPECT_NE(dom.find("PAYS|REGLT|TVA"), std::string::npos) << dom;
}

// verifie finds the faults put into the demo's rows with psql's means (a record's bytes changed,
// a key row deleted or lengthened, a record row deleted), each with its kind and record number.
TEST_F(VeskSurPostgresql, VerifieFindsEachFaultOfTheRowsWithItsRecord) {
  DemoEnBase("k");
  const std::string societe = schemas_.back() + "_01";
  auto base = vesk::pg::OuvreBase(uri_, schemas_.back(), false);
  auto octets = [&](const char* fichier, int no, int position, const char* hex, int n) {
    return "UPDATE " + societe + ".d_" + fichier + " SET octets = overlay(octets placing '\\x" +
           hex + "'::bytea from " + std::to_string(position) + " for " + std::to_string(n) +
           ") WHERE no = " + std::to_string(no);
  };
  for (const std::string& sql : {
           octets("client", 2, 69, "ffffff", 3),  // a date of no day
           octets("client", 5, 1, "58", 1),       // CLCODE, not its CLI1 key
           "DELETE FROM " + societe + ".b_cli2 WHERE no = 7",
           "UPDATE " + societe + ".b_cli1 SET cle = cle || 'Z' WHERE no = 9",
           "DELETE FROM " + societe + ".d_factur WHERE no = 10",
       }) {
    base->Lit("essai", "faute", sql, vesk::pg::Parametres());
  }
  auto [status, texte] = Lance("--data base verifie --json");
  EXPECT_EQ(status, 1) << texte;
  const char* const attendus[] = {
      R"j({"genre":"date impossible","nombre":1,"enregistrements":[2],"exemple":)j"
      R"j("enregistrement 2, CLDCRE : date impossible (0xFF 0xFF 0xFF)"})j",
      R"j({"genre":"clé fausse","nombre":1,"enregistrements":[5],)j",
      R"j({"genre":"arbre","nombre":1,"enregistrements":[9],"exemple":)j"
      R"j("CLI1.DAB : la clé de l'enregistrement 9 a 7 octets, pas 6"})j",
      R"j({"genre":"clé absente","nombre":2,"enregistrements":[9,7],)j",
      R"j({"genre":"fichier","nombre":1,"enregistrements":[10],"exemple":)j"
      R"j("FACTUR.DAT : aucun enregistrement ne porte le numéro 10"})j",
      R"j("exemple":"FAC1.DAB : une clé renvoie à l'enregistrement 10, absent de FACTUR.DAT"})j",
      R"j({"fichier":"FACLIG","entreprise":"01","donnees":true,)j"};
  for (const char* attendu : attendus) {
    EXPECT_NE(texte.find(attendu), std::string::npos) << attendu << "\n" << texte;
  }
  // A record length other than the dictionary's stops the file's check there.
  base->Lit("essai", "faute",
            "UPDATE " + schemas_.back() + ".vesk_fichiers SET longueur = 100 WHERE nom = 'FACTUR'",
            vesk::pg::Parametres());
  auto [longueur, texte_longueur] = Lance("--data base verifie FACTUR");
  EXPECT_EQ(longueur, 1);
  EXPECT_NE(texte_longueur.find("FACTUR.DAT : longueur d'enregistrement 32 demandée, le fichier a "
                                "des enregistrements de 100"),
            std::string::npos)
      << texte_longueur;
}

// The date of day n (1 for 1 January 1900) as yyyy-mm-dd, by the civil calendar's arithmetic.
std::string Jour(int64_t n) {
  const int64_t z = n + 693900, era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100), mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1, m = mp < 10 ? mp + 3 : mp - 9;
  char texte[80];
  std::snprintf(texte, sizeof texte, "%04lld-%02lld-%02lld",
                static_cast<long long>(yoe + era * 400 + (m <= 2 ? 1 : 0)),
                static_cast<long long>(m), static_cast<long long>(d));
  return texte;
}

// A value of a record as the typed views should give it, decoded here from the record's bytes:
// f the field's internal form (S, D real; J date; E number; A text of n bytes), at offset.
std::string Attendu(const std::string& r, size_t offset, char f, size_t n) {
  const auto* b = reinterpret_cast<const unsigned char*>(r.data() + offset);
  if (f == 'S' || f == 'D') {
    double v = 0;
    if (f == 'S') {
      float x = 0;
      std::memcpy(&x, b, 4);
      v = x;
    } else {
      std::memcpy(&v, b, 8);
    }
    char texte[400];
    std::snprintf(texte, sizeof texte, "%.2f", v);
    return std::string(texte) == "-0.00" ? "0.00" : texte;  // numeric has no negative zero
  }
  const int64_t numero = (b[0] << 16) | (b[1] << 8) | b[2];
  if (f == 'E') return std::to_string(numero);
  if (f == 'J') return Jour(numero);
  std::string a = vesk::text::DecodeCp1252(r.substr(offset, n));
  while (!a.empty() && a.back() == ' ') a.pop_back();
  return a;
}

// The views decode every live record of the demo as the bytes say: binary reals of 4 and 8
// bytes, coded dates, record numbers and texts; deleted records are not in them. A folder store
// has no views.
TEST_F(VeskSurPostgresql, TheViewsGiveTheDemoTyped) {
  DemoEnBase("v");
  const std::string schema = schemas_.back();
  auto [refus, texte_refus] = Lance("--data dossier sql vues");
  EXPECT_EQ(refus, 1);
  EXPECT_NE(texte_refus.find("demandent une base"), std::string::npos) << texte_refus;
  Reussit("--data base sql vues");

  struct Cas {
    const char* fichier;
    const char* colonne;
    size_t offset;
    char forme;
    size_t longueur;
  };
  const Cas cas[] = {{"CLIENT", "clcode", 0, 'A', 6},  {"CLIENT", "clnom", 6, 'A', 30},
                     {"CLIENT", "clenc", 64, 'S', 4},  {"CLIENT", "cldcre", 68, 'J', 3},
                     {"FACTUR", "fadat", 14, 'J', 3},  {"FACTUR", "famht", 17, 'D', 8},
                     {"FACTUR", "fadern", 28, 'E', 3}, {"FACLIG", "flart", 6, 'A', 10},
                     {"FACLIG", "flqte", 16, 'S', 4},  {"FACLIG", "flpu", 20, 'D', 8},
                     {"FACLIG", "flprec", 0, 'E', 3}};
  auto base = vesk::pg::OuvreBase(uri_, schema, false);
  for (const Cas& c : cas) {
    std::map<int32_t, std::string> attendu;
    std::unique_ptr<vesk::isam::DataFile> f;
    vesk::isam::DataFile::Options options;
    options.read_only = true;
    const std::string chemin = (dossier_ / "dossier" / "01" / (std::string(c.fichier) + ".DAT"));
    ASSERT_TRUE(
        vesk::isam::DataFile::Open(vesk::isam::Env::Default(), chemin, 0, options, &f).ok());
    std::string octets(f->Header().record_length, '\0');
    for (uint32_t no = 1; no <= f->Header().last_record; ++no) {
      bool supprime = false;
      ASSERT_TRUE(f->Read(no, octets).ok() && f->IsDeleted(no, &supprime).ok());
      if (!supprime)
        attendu[static_cast<int32_t>(no)] = Attendu(octets, c.offset, c.forme, c.longueur);
    }
    const std::string colonne = c.forme == 'J'
                                    ? "to_char(" + std::string(c.colonne) + ", 'YYYY-MM-DD')"
                                    : std::string(c.colonne) + "::text";
    const vesk::pg::Resultat r = base->Lit("essai", c.colonne,
                                           "SELECT no, " + colonne + " FROM " + schema + "_01.v_" +
                                               vesk::text::LowerAscii(c.fichier) + " ORDER BY no",
                                           vesk::pg::Parametres());
    std::map<int32_t, std::string> vu;
    for (int i = 0; i < r.Lignes(); ++i) vu[r.Entier(i, 0)] = std::string(r.Octets(i, 1));
    EXPECT_EQ(vu, attendu) << c.fichier << "." << c.colonne;
  }
}

// The decoding functions at the edges of their formats: reals negative, tiny, not numbers;
// integers at their bounds; dates empty; numbers as text with spaces or not numbers at all.
TEST_F(VeskSurPostgresql, TheDecodingFunctionsHoldAtTheEdges) {
  DemoEnBase("f");
  const std::string schema = schemas_.back();
  Reussit("--data base sql vues");
  auto octets = [](const void* p, size_t n) { return std::string(static_cast<const char*>(p), n); };
  auto simple = [&](float v) { return octets(&v, 4); };
  auto dbl = [&](double v) { return octets(&v, 8); };
  const struct {
    std::string fonction, octets, attendu;
  } cas[] = {
      {"vesk_reel4($1)::text", simple(-1.5f), "-1.5"},
      {"vesk_reel4($1) = 1e-45::float4", simple(1e-45f), "true"},  // the least subnormal
      {"vesk_reel4($1) = 3.4028235e38::float4", simple(3.4028235e38f), "true"},
      {"vesk_reel4($1) IS NULL", simple(std::numeric_limits<float>::quiet_NaN()), "true"},
      {"vesk_reel8($1)::text", dbl(-1234567.25), "-1234567.25"},
      {"vesk_reel8($1) = 5e-324::float8", dbl(5e-324), "true"},
      {"vesk_reel8($1) = 1.7976931348623157e308", dbl(1.7976931348623157e308), "true"},
      {"vesk_reel8($1) IS NULL", dbl(-std::numeric_limits<double>::infinity()), "true"},
      {"vesk_entier2($1)::text", std::string("\xff\xff", 2), "-1"},
      {"vesk_entier2($1)::text", std::string("\x00\x80", 2), "-32768"},
      {"vesk_entier2($1)::text", std::string("\xff\x7f", 2), "32767"},
      {"vesk_date($1)::text", std::string("\x00\x00\x01", 3), "1900-01-01"},
      {"vesk_date($1)::text", std::string("\x00\x00\x3c", 3), "1900-03-01"},
      {"vesk_date($1)::text", std::string("\x00\xb3\x8b", 3), "2025-11-03"},
      {"vesk_date($1) IS NULL", std::string("\x00\x00\x00", 3), "true"},
      {"vesk_date($1) IS NULL", "   ", "true"},
      {"vesk_numero($1)::text", "\xff\xff\xff", "16777215"},
      {"vesk_nombre($1, 2)::text", " -12.5  ", "-12.50"},
      {"vesk_nombre($1, 0)::text", "+.6", "1"},
      {"vesk_nombre($1, 2) IS NULL", "12,5", "true"},
      {"vesk_nombre($1, 2) IS NULL", "    ", "true"},
      {"vesk_nombre($1, 2) IS NULL", "\xe9", "true"},
  };
  auto base = vesk::pg::OuvreBase(uri_, schema, false);
  for (const auto& c : cas) {
    vesk::pg::Parametres p;
    p.Octets(c.octets);
    const vesk::pg::Resultat r =
        base->Lit("essai", c.fonction, "SELECT (" + schema + "." + c.fonction + ")::text", p);
    EXPECT_EQ(std::string(r.Octets(0, 0)), c.attendu) << c.fonction;
  }
}

// On a database, an import that changes the layout of CLIENT, which holds records, is refused
// without --migrate, planned with --dry-run, refused when values do not fit (nothing written,
// the dictionary and the rows as they were), then made with --migrate: the rows converted in
// the transaction of the new dictionary, the keys rebuilt, the old tables kept in a backup
// schema, `vesk verifie` clean, the views showing the new columns; ddl writes them.
TEST_F(VeskSurPostgresql, ImportMigratesTheRowsAndRemakesTheViews) {
  DemoEnBase("i");
  const std::string schema = schemas_.back(), societe = schema + "_01";
  Reussit("--data base sql vues");
  Reussit("--data base export dico.toml");
  const std::string dico = Contenu(dossier_ / "dico.toml");
  auto change = [&](const std::string& texte, const std::string& de, const std::string& en) {
    const size_t at = texte.find(de);
    EXPECT_NE(at, std::string::npos) << de;
    return at == std::string::npos ? texte : std::string(texte).replace(at, de.size(), en);
  };
  // CLVIL from 20 to 24 characters (the later fields move), CLNOM renamed CLRAIS.
  std::ofstream(dossier_ / "d2.toml", std::ios::binary) << std::regex_replace(
      change(dico, "total = 20, variable = \"CLVIL\"", "total = 24, variable = \"CLVIL\""),
      std::regex("CLNOM"), "CLRAIS");
  // CLNOM narrowed to 12 characters: the names do not fit.
  std::ofstream(dossier_ / "d3.toml", std::ios::binary)
      << change(dico, "total = 30, variable = \"CLNOM\"", "total = 12, variable = \"CLNOM\"");
  auto base = vesk::pg::OuvreBase(uri_, schema, false);
  auto lit = [&](const std::string& sql) {
    return std::string(base->Lit("essai", "lecture", sql, vesk::pg::Parametres()).Octets(0, 0));
  };
  // The rows of CLIENT and of its trees, the dictionary as exported, and the schemas.
  auto etat = [&] {
    std::string e;
    for (const char* t : {"d_client", "b_cli1", "b_cli2"}) {
      e += lit("SELECT md5(string_agg(t::text, ',' ORDER BY t::text)) FROM \"" + societe + "\"." +
               t + " t") +
           "\n";
    }
    e +=
        lit("SELECT string_agg(nspname, ',' ORDER BY nspname)::text FROM pg_namespace WHERE "
            "nspname LIKE '" +
            schema + "%'");
    Reussit("--data base export avant.toml");
    return e + Contenu(dossier_ / "avant.toml");
  };
  const std::string avant = etat();
  // The dictionary's file FIC and the texts, as they were.
  auto dictionnaire = [&](const std::string& dans) {
    return lit("SELECT md5(string_agg(t::text, ',' ORDER BY t::text)) FROM \"" + dans +
               "\".d_fic t") +
           lit("SELECT md5(string_agg(t::text, ',' ORDER BY t::text)) FROM \"" + dans +
               "\".vesk_textes t");
  };
  const std::string ancien_dictionnaire = dictionnaire(schema);
  const std::string ville = lit("SELECT clvil FROM \"" + societe + "\".v_client WHERE no = 7");
  ASSERT_FALSE(ville.empty());

  auto [status, texte] = Lance("--data base import d2.toml");
  EXPECT_EQ(status, 1);
  EXPECT_NE(texte.find("la disposition de fichiers qui ont des données change : CLIENT (01 : "
                       "283 enregistrement(s))"),
            std::string::npos)
      << texte;
  std::tie(status, texte) = Lance("--data base import --dry-run --migrate d2.toml");
  EXPECT_EQ(status, 0) << texte;
  EXPECT_NE(texte.find("Plan de migration, rien n'est écrit :\nCLIENT (01) : 283 "
                       "enregistrement(s) à convertir\n"),
            std::string::npos)
      << texte;
  EXPECT_NE(texte.find("  ~ CLVIL A 20 -> A 24\n"), std::string::npos) << texte;
  EXPECT_EQ(etat(), avant);
  std::tie(status, texte) = Lance("--data base import --migrate d3.toml");
  EXPECT_EQ(status, 1);
  EXPECT_NE(texte.find(" valeur(s) ne tiennent pas dans la nouvelle disposition (--truncate"),
            std::string::npos)
      << texte;
  EXPECT_NE(texte.find("! enregistrement 1, CLNOM : « Vincent Jardins 1 » : texte de 30 "
                       "caractères dont la fin ne tient pas dans 12"),
            std::string::npos)
      << texte;
  EXPECT_EQ(etat(), avant);

  // A user's own view over the typed view: it follows the old rows into the backup instead of
  // stopping the migration.
  const std::string vue_utilisateur = "\"" + societe + "\".rapport_villes";
  ASSERT_EQ(std::system(("psql -q '" + uri_ + "' -c 'CREATE VIEW " + vue_utilisateur +
                         " AS SELECT no, clvil FROM \"" + societe + "\".v_client'")
                            .c_str()),
            0);
  std::tie(status, texte) = Lance("--data base import --migrate d2.toml");
  EXPECT_EQ(status, 0) << texte;
  EXPECT_EQ(lit("SELECT clvil FROM " + vue_utilisateur + " WHERE no = 7"), ville);
  const std::regex gardes("Anciens fichiers gardés dans le schéma (" + schema +
                          "_sauvegarde_\\d{8}_\\d{6})\n");
  std::smatch sauvegarde;
  ASSERT_TRUE(std::regex_search(texte, sauvegarde, gardes)) << texte;
  Reussit("--data base verifie");
  EXPECT_EQ(dictionnaire(sauvegarde[1].str()), ancien_dictionnaire);
  EXPECT_NE(dictionnaire(schema), ancien_dictionnaire);
  EXPECT_EQ(lit("SELECT count(*)::text FROM \"" + sauvegarde[1].str() + "_01\".d_client"),
            lit("SELECT count(*)::text FROM \"" + societe + "\".d_client"));
  EXPECT_EQ(lit("SELECT count(*)::text FROM \"" + societe + "\".b_cli1"), "283");
  EXPECT_EQ(lit("SELECT clvil FROM \"" + societe + "\".v_client WHERE no = 7"), ville);
  EXPECT_EQ(lit("SELECT (length(octets) = 128 AND substr(octets, 37, 24) = convert_to(rpad(clvil, "
                "24), 'WIN1252'))::text FROM \"" +
                societe + "\".d_client JOIN \"" + societe + "\".v_client USING (no) WHERE no = 7"),
            "true");
  const vesk::pg::Resultat r =
      base->Lit("essai", "colonnes",
                "SELECT string_agg(column_name, ',' ORDER BY ordinal_position)::text FROM "
                "information_schema.columns WHERE table_schema = '" +
                    societe + "' AND table_name = 'v_client'",
                vesk::pg::Parametres());
  EXPECT_EQ(std::string(r.Octets(0, 0)), "no,clcode,clrais,clvil,clpays,clreg,cltva,clenc,cldcre");
  Reussit("--data base sql ddl --output vues.sql");
  const std::string ddl = Contenu(dossier_ / "vues.sql");
  EXPECT_NE(ddl.find("CREATE OR REPLACE FUNCTION \"" + schema + "\".vesk_reel8(b bytea)"),
            std::string::npos);
  EXPECT_NE(ddl.find("CREATE VIEW \"" + schema + "_01\".\"v_faclig\" AS"), std::string::npos);
  EXPECT_NE(ddl.find("AS \"clrais\""), std::string::npos);
}

// entfic on a database store makes the views again once the dictionary is written: a file
// deleted there loses its view, while a view a user made in the same schema stays.
TEST_F(VeskSurPostgresql, EntficDropsTheViewOfAFileItDeletes) {
  DemoEnBase("e");
  const std::string societe = schemas_.back() + "_01";
  Reussit("--data base sql vues");
  auto base = vesk::pg::OuvreBase(uri_, schemas_.back(), false);
  base->Lit("essai", "v_a_moi", "CREATE VIEW " + societe + ".v_a_moi AS SELECT 1 AS no",
            vesk::pg::Parametres());
  // FACLIG is chained under FACTUR: its uses are shown, acknowledged, then the deletion confirmed.
  std::ofstream(dossier_ / "efface.script")
      << "NOMFIC = FACLIG <F6>\nok\nconfirm <F6>\nNOMFIC <Esc>\n";
  Reussit("--data base --script efface.script entfic");
  vesk::pg::Parametres p;
  p.Texte(societe);
  const vesk::pg::Resultat r =
      base->Lit("essai", "vues",
                "SELECT string_agg(table_name, ',' ORDER BY table_name)::text FROM "
                "information_schema.views WHERE table_schema = $1",
                p);
  EXPECT_EQ(std::string(r.Octets(0, 0)), "v_a_moi,v_client,v_factur");
}

}  // namespace
#endif
