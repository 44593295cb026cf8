// The names of the generated programs against the names a dictionary gives: which field
// variables, label suffixes and procedure names meet one, and what the refusal says.
#include "fic/noms_reserves.h"

#include <gtest/gtest.h>

namespace vesk::fic {
namespace {

// The file CLIENT, its tables CLI1 and CLI2, the application GESCOM.
PorteeNoms Client(std::vector<std::string> variables) {
  return {"CLIENT", {"CLI1", "CLI2"}, std::move(variables), "GESCOM"};
}

struct Cas {
  const char* nom;
  const char* refus;  // "" : accepted
};

TEST(NomsReservesTest, AVariableMeetingANameOfTheProgramsIsRefusedNamingIt) {
  const PorteeNoms p = Client({"CLNOM", "xVILLE", "CLDAT"});
  for (const Cas& c : {
           Cas{"Code", "paramètre Code$ du programme de saisie"},
           Cas{"cle", "variable locale Cle$ du programme de saisie"},  // BASIC ignores case
           Cas{"T", "enregistrement T des routines Lire et Ecrire"},
           Cas{"DllApl", "objet de services DllApl des déclarations"},
           Cas{"Exist", "variable locale Exist du programme d'édition"},
           Cas{"FinEdt", "étiquette FinEdt du programme d'édition"},
           Cas{"V0", "variable d'affichage Vn$ de la consultation"},
           Cas{"v17", "variable d'affichage Vn$ de la consultation"},
           Cas{"F6", "code de touche des programmes de saisie"},
           Cas{"Vrai", "nom global des programmes générés"},
           Cas{"Sai", "procédure des programmes générés"},
           Cas{"Wend", "mot du BASIC"},
           // Labels: a stem and any suffix a dialog accepts (a letter, then 2 more at most).
           Cas{"EnrCL", "étiquette Enr+suffixe du programme de saisie"},
           Cas{"finx", "étiquette Fin+suffixe du programme de saisie"},
           Cas{"DebSaisA1b", "étiquette DebSais+suffixe du programme de saisie"},
           Cas{"DesEcrCL12", "étiquette DesEcr+suffixe+écran de la saisie"},
           Cas{"DesEcrCL0", ""},  // no screen 0
           Cas{"DesEcr12", ""},   // a suffix begins with a letter
           Cas{"MemEcrZ1", "étiquette MemEcr+suffixe+1 de la saisie"},
           Cas{"MemEcrZ2", ""},    // only the initial screen is memorised
           Cas{"Enregistre", ""},  // "egistre" is no suffix
           Cas{"Finance", ""},     // nor "ance"
           // Names the file's entry gives its programs.
           Cas{"CLIENTD", "poignée CLIENTD% du fichier CLIENT"},
           Cas{"cli2t", "poignée CLI2T% du B-arbre CLI2"},
           Cas{"LireCLIENT", "routine de lecture LireCLIENT du fichier CLIENT"},
           Cas{"EntCLIENT", "procédure de saisie par défaut EntCLIENT du fichier CLIENT"},
           Cas{"OuvGesCom", "routine d'ouverture OuvGESCOM"},
           // The entry variables: x + another field's variable, either way.
           Cas{"xClNom", "variable de saisie xCLNOM$ de la rubrique CLNOM"},
           Cas{"VILLE", "sa variable de saisie xVILLE$ serait la variable xVILLE"},
           Cas{"ClDat", "même nom que la variable CLDAT (le BASIC ignore la casse)"},
           Cas{"CLNOM", ""},  // itself
           Cas{"CLVIL", ""},
           Cas{"V", "variable locale V$ du programme d'édition"},
           Cas{"V1A", ""},
       }) {
    const std::optional<std::string> conflit = ConflitVariable(c.nom, p);
    EXPECT_EQ(conflit.value_or(""), c.refus) << c.nom;
  }
  EXPECT_EQ(RefusVariable("Code", p).value_or(""),
            "Variable « Code » refusée : paramètre Code$ du programme de saisie");
  // Without an application's name there is no opening routine to meet.
  EXPECT_FALSE(ConflitVariable("Ouv", PorteeNoms{"CLIENT", {}, {}, ""}));
}

TEST(NomsReservesTest, ASuffixOrAProcedureThatWouldMakeTwoNamesMeetIsRefused) {
  // A dictionary stored before the check may hold FinCL and DesEcrZ3.
  const PorteeNoms p = Client({"CLNOM", "FinCL", "DesEcrZ3"});
  for (const Cas& c : {
           Cas{"Mod",
               "Suffixe « Mod » refusé : étiquette EnrMod = variable locale EnrMod& du "
               "programme de saisie"},
           Cas{"cl", "Suffixe « cl » refusé : étiquette Fincl = variable FinCL d'une rubrique"},
           Cas{"Z",
               "Suffixe « Z » refusé : étiquette DesEcrZ3 = variable DesEcrZ3 d'une "
               "rubrique"},
           Cas{"Proc", "Suffixe « Proc » refusé : étiquette EnrProc = nom de la procédure"},
           Cas{"CT", ""},
       }) {
    EXPECT_EQ(RefusSuffixe(c.nom, "EnrProc", p).value_or(""), c.refus) << c.nom;
  }
  for (const Cas& c : {
           Cas{"Sai", "Nom de procédure « Sai » refusé : procédure des programmes générés"},
           Cas{"ConsCLIENT",
               "Nom de procédure « ConsCLIENT » refusé : procédure de consultation "
               "ConsCLIENT du fichier CLIENT"},
           Cas{"xclnom",
               "Nom de procédure « xclnom » refusé : variable de saisie xCLNOM$ de la "
               "rubrique CLNOM"},
           Cas{"DebSaisX",
               "Nom de procédure « DebSaisX » refusé : étiquette DebSais+suffixe du "
               "programme de saisie"},
           Cas{"EntCLIENT", ""},
       }) {
    EXPECT_EQ(RefusProcedure(c.nom, true, p).value_or(""), c.refus) << c.nom;
  }
  // A report has no label suffix, but its own labels.
  EXPECT_FALSE(RefusProcedure("DebSaisX", false, p));
  EXPECT_EQ(RefusProcedure("Fin", false, p).value_or(""),
            "Nom de procédure « Fin » refusé : étiquette Fin du programme d'édition");
  EXPECT_FALSE(SuffixePossible("ABCD"));
  EXPECT_FALSE(SuffixePossible("1A"));
}

TEST(NomsReservesTest, TheVariablesOfAStoredFileThatMeetANameAreListed) {
  const auto conflits = ConflitsFichier(Client({"CLNOM", "TR", "clnom"}));
  ASSERT_EQ(conflits.size(), 3u);
  EXPECT_EQ(conflits[0].first, "CLNOM");
  EXPECT_EQ(conflits[1].second, "variable locale TR du programme de saisie");
  EXPECT_EQ(conflits[2].second, "même nom que la variable CLNOM (le BASIC ignore la casse)");
}

TEST(NomsReservesTest, TheListOfAFileSaysForEachVariableWhatItsOwnCheckSays) {
  // The list finds the meeting names through an index; each one must be the first in field
  // order that the check of the variable alone finds, whatever the case and the X prefixes.
  const PorteeNoms p =
      Client({"ART", "xart", "Qte", "XXQTE", "xQte", "QTE", "A1", "B2", "xb2", "XA1", "x"});
  std::vector<std::pair<std::string, std::string>> attendus;
  for (const std::string& v : p.variables) {
    if (auto c = ConflitVariable(v, p)) attendus.emplace_back(v, *c);
  }
  EXPECT_EQ(ConflitsFichier(p), attendus);
  EXPECT_EQ(attendus.size(), p.variables.size());  // each meets another or a name
}
}  // namespace
}  // namespace vesk::fic
