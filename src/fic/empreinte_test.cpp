#include "fic/empreinte.h"

#include <gtest/gtest.h>

#include "fic/dictionnaire_texte.h"
#include "fic/testing/dictionnaire.h"

namespace vesk::fic {
namespace {

constexpr std::string_view kDemo =
#include "demo_texte.inc"
    ;

// The demo text with one piece replaced (which must be there).
std::string Change(std::string_view avant, std::string_view apres) {
  std::string texte(kDemo);
  const size_t p = texte.find(avant);
  EXPECT_NE(p, std::string::npos) << avant;
  return p == std::string::npos ? texte : texte.replace(p, avant.size(), apres);
}

class EmpreinteTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre();
  }
  Empreinte DuFichier(std::string_view nom) {
    return EmpreinteFichier(PartiesFichier(LitDictionnaire(Etat()), nom), nom);
  }
};

// A file's parts hold its fields, the domains they name and the chainings at either of its
// ends; a file the dictionary does not hold has none.
TEST_F(EmpreinteTest, AFilesPartsAreWhatItsProgramsAreMadeFrom) {
  Importe(std::string(kDemo));
  const ModeleDictionnaire tout = LitDictionnaire(Etat());
  for (const auto& [nom, f] : tout.fichiers) {
    EXPECT_EQ(DuFichier(nom)[GenrePartie::kRubriques].size(), f.rubriques.size()) << nom;
  }
  EXPECT_EQ(DuFichier("CLIENT")[GenrePartie::kDomaines].size(), 3u);  // PAYS, REGLT, TVA
  EXPECT_EQ(DuFichier("FACLIG")[GenrePartie::kChainages].size(), 1u);
  EXPECT_EQ(DuFichier("NOPE"), Empreinte{});
}

// Each kind of change is told for the files whose programs it touches, and only for them.
TEST_F(EmpreinteTest, EachChangeIsToldForTheFilesItTouches) {
  struct Cas {
    std::string_view avant, apres;
    std::map<std::string, std::vector<std::string>> attendu;  // by file; the others unchanged
  };
  const Cas cas[] = {
      {"total = 30, variable = \"CLNOM\"",
       "total = 40, variable = \"CLNOM\"",
       {{"CLIENT", {"rubriques : CLNOM modifiée"}}}},
      {"cle = \"[[CLNOM,1,10],[CLVIL,1,5]]\"",
       "cle = \"[[CLNOM,1,12],[CLVIL,1,5]]\"",
       {{"CLIENT", {"tables : CLI2 modifiée"}}}},
      {"nom = \"Codes pays (ISO 3166)\"",
       "nom = \"Pays\"",
       {{"CLIENT", {"domaines : PAYS modifié"}}}},
      {"longueur = 32\nrubriques = [\n  { nom = \"NUMERO",
       "longueur = 40\nrubriques = [\n  { nom = \"NUMERO",
       {{"FACTUR", {"fichier : FACTUR modifié"}}, {"FACLIG", {"chaînages : FACLIG modifié"}}}},
      {"premier = 26",
       "premier = 27",
       {{"FACTUR", {"chaînages : FACLIG modifié"}}, {"FACLIG", {"chaînages : FACLIG modifié"}}}},
      {"[barbres.CLI2]", "[barbres.CLI3]", {{"CLIENT", {"tables : CLI2 supprimée, CLI3 ajoutée"}}}},
      // Unrelated: an example text (no program shows it) and a domain's values.
      {"exemple = \"Lyon\"", "exemple = \"Lille\"", {}},
      {"\"IT Italie\",", "\"IT Italie\",\n  \"NL Pays-Bas\",", {}},
  };
  Importe(std::string(kDemo));
  std::map<std::string, Empreinte> avant;
  for (const char* f : {"CLIENT", "FACLIG", "FACTUR"}) avant[f] = DuFichier(f);
  for (const Cas& c : cas) {
    Importe(Change(c.avant, c.apres));
    for (const auto& [f, e] : avant) {
      const auto a = c.attendu.find(f);
      EXPECT_EQ(Changements(e, DuFichier(f)),
                a == c.attendu.end() ? std::vector<std::string>{} : a->second)
          << c.apres << " / " << f;
    }
  }
}

TEST_F(EmpreinteTest, AFieldMovedChangesTheFile) {
  Importe(std::string(kDemo));
  const Empreinte avant = DuFichier("CLIENT");
  const std::string ville =
      "  { nom = \"VILLE\", type = \"A\", total = 20, variable = \"CLVIL\", exemple = \"Lyon\", "
      "modification = \"U\", domaine = \"a¬Nul\" },\n";
  std::string texte = Change(ville, "");
  texte.insert(texte.find("  { nom = \"CODE TVA\""), ville);
  Importe(texte);
  EXPECT_EQ(Changements(avant, DuFichier("CLIENT")),
            (std::vector<std::string>{"fichier : CLIENT modifié"}));
}

// CLTVA leaves, and with it the only use of the domain TVA.
TEST_F(EmpreinteTest, ARemovedFieldTakesItsDomainAlong) {
  Importe(std::string(kDemo));
  const Empreinte avant = DuFichier("CLIENT");
  const std::string tva =
      "  { nom = \"CODE TVA\", type = \"A\", total = 1, variable = \"CLTVA\", exemple = \"N\", "
      "modification = \"U\", domaine = \"TVA\" },\n";
  Importe(Change(tva, ""));
  EXPECT_EQ(Changements(avant, DuFichier("CLIENT")),
            (std::vector<std::string>{"fichier : CLIENT modifié", "rubriques : CLTVA supprimée",
                                      "domaines : TVA supprimé"}));
}

}  // namespace
}  // namespace vesk::fic
