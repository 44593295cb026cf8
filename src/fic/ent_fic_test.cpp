// The file specification entry driven by scripts, whole cycles grouped by what they exercise:
// creation, modification, the keys of the name, DFE and the field list, the length check,
// deletion, and what is refused.
#include "fic/boite_ecran.h"
#include "fic/fic.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/testing/dictionnaire.h"
#include "fic/usages.h"
#include "gencode/etat_gencode.h"

namespace vesk::fic {
namespace {

// Script lines of a new field: name, type, decimals (M, N), total (not D, E, B), variable,
// then the proposed example, domain and modification accepted.
std::string Nouveau(const std::string& nom, const std::string& type, int total,
                    const std::string& variable, int decimales = -1) {
  std::string s = "LF1 = " + nom + "\nLF2 = " + type + "\n";
  if (decimales >= 0) s += "LF4 = " + std::to_string(decimales) + "\n";
  if (type != "D" && type != "E" && type != "B") s += "LF3 = " + std::to_string(total) + "\n";
  if (type == "M" && decimales == 0 && total == 5) s += "choose 1\n";
  return s + "LF5 = " + variable + "\nLF6\nLF10\nLF7\n";
}
// Script lines that go through an existing field keeping every value (type given to know
// which fields are asked).
std::string Garde(const std::string& type) {
  std::string s = "LF1\nLF2\n";
  if (type == "M" || type == "N") s += "LF4\n";
  if (type != "D" && type != "E" && type != "B") s += "LF3\n";
  return s + "LF5\nLF6\nLF10\nLF7\n";
}

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.F]
longueur = 300
rubriques = [
  { nom = "UN", type = "A", total = 100, variable = "W1" },
  { nom = "DEUX", type = "A", total = 100, variable = "W2" },
  { nom = "TROIS", type = "A", total = 50, variable = "W3" },
]
[fichiers.G]
longueur = 16
rubriques = [{ nom = "P", type = "E", variable = "P1" }, { nom = "S", type = "E", variable = "P2" }]
[barbres.T1]
fichier = "F"
nature = "P"
cle = "[[W1,1,8]]"
[barbres.T2]
fichier = "G"
nature = "P"
cle = "[[P1,_,_]]"
[chainages.G]
entete = "F"
arriere = 1
avant = 4
premier = 1
dernier = 4
)";

class EntFicTest : public DossierEssai {
 protected:
  void SetUp() override {
    DossierEssai::SetUp();
    Ouvre();
    Importe(kDictionnaire);
  }
  // Runs EntFic on the script (which ends it); gives the transcript.
  std::string Lance(const std::string& script) {
    Ouvre(script + "NOMFIC <Esc>\n");
    Etat().fic.Efface();
    ass_ = AsS::Cree();
    ass_->EntFic();
    EXPECT_EQ(session_->Restantes(), 0u);
    return session_->Transcription();
  }
  std::string Texte() { return ExporteDictionnaire(Etat()); }
  const Fichier* FichierLu(const std::string& nom) {
    modele_ = LitDictionnaire(Etat());
    auto it = modele_.fichiers.find(nom);
    return it == modele_.fichiers.end() ? nullptr : &it->second;
  }
  std::shared_ptr<AsS> ass_;
  ModeleDictionnaire modele_;
};

bool Contient(const std::string& texte, const std::string& motif) {
  return texte.find(motif) != std::string::npos;
}

TEST_F(EntFicTest, CreatesAFileOfEachTypeFamilyWithItsPositionsAndLength) {
  const std::string t = Lance("NOMFIC = abc\nDFE = O\nLONGENR\n" + Nouveau("NOM", "A", 10, "NOM") +
                              Nouveau("QTE", "M", 5, "QTE", 0) + Nouveau("JOUR", "D", 3, "JOUR") +
                              "LF1 =\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "Titre «Champ No 2/ 1 - Position : 11 - Fichier : ABC.DAT»")) << t;
  EXPECT_TRUE(Contient(t, "Choix «|n|<32767»")) << t;
  EXPECT_TRUE(Contient(t, "MessChamp LF3 N «Format Interne : I2»\nAffiche PF «12»")) << t;
  EXPECT_TRUE(Contient(t, "Titre «Champ No 3/ 2 - Position : 13 - Fichier : ABC.DAT»")) << t;
  EXPECT_TRUE(
      Contient(t, "Affiche LF3 «3»\nMessChamp LF3 N «Format Interne : A3»\nAffiche PF «15»"));
  EXPECT_TRUE(Contient(t, "Affiche LONGENR «16»\nMessChamp LONGENR B «Longueur Réelle 15»")) << t;
  EXPECT_TRUE(Contient(t, "Message B «Enregistrement Précédent ABC   »")) << t;
  const Fichier* f = FichierLu("ABC");
  ASSERT_NE(f, nullptr);
  EXPECT_TRUE(f->entreprise);
  EXPECT_EQ(f->longueur, 16);
  ASSERT_EQ(f->rubriques.size(), 3u);
  EXPECT_EQ(f->rubriques[1].format, "I");
  EXPECT_EQ(f->rubriques[1].domaine, "Ni¬Nul");
  EXPECT_EQ(f->rubriques[2].total, 3);
}

TEST_F(EntFicTest, AModificationReloadsTheFieldsInChainOrderAndKeepsALargerLength) {
  const std::string t = Lance("NOMFIC = F\nDFE\nLONGENR\n" + Garde("A") + Garde("A") + Garde("A") +
                              "LF1 =\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "AffMode LF1 I «Modif Premier»")) << t;
  EXPECT_TRUE(Contient(t, "Sai LF5 «W2» -> «W2»")) << t;
  EXPECT_TRUE(Contient(t, "Affiche LONGENR «300»\nMessChamp LONGENR B «Longueur Réelle 250»"));
  EXPECT_EQ(FichierLu("F")->longueur, 300);  // 300 kept for 250
  // Grown to 301: the proposed power of two.
  Lance("NOMFIC = F\nDFE\nLONGENR\nLF1 <F4>\n" + Nouveau("X", "A", 51, "XX") + "LF1 =\nLONGENR\n");
  EXPECT_EQ(FichierLu("F")->longueur, 512);
  EXPECT_EQ(FichierLu("F")->rubriques.size(), 4u);
}

TEST_F(EntFicTest, ProposedLengthsArePowersOfTwoThatTheUserMayRaise) {
  struct Cas {
    int total;
    const char* saisie;  // what the user types on the length check ("" keeps the proposal)
    int attendue;
  };
  for (const Cas& c : {Cas{100, "", 128}, Cas{129, "", 256}, Cas{64, "", 64}, Cas{64, "99", 99}}) {
    SCOPED_TRACE(c.total);
    const std::string saisie =
        *c.saisie ? std::string("LONGENR = ") + c.saisie + "\n" : "LONGENR\n";
    Lance("NOMFIC = N" + std::to_string(c.total) + "\nDFE\nLONGENR\n" +
          Nouveau("A", "A", c.total, "AA") + "LF1 =\n" + saisie);
    EXPECT_EQ(FichierLu("N" + std::to_string(c.total))->longueur, c.attendue);
  }
  // Below the real length, or past what the engine stores: refused on the length's line.
  const std::string t = Lance("NOMFIC = P\nDFE\nLONGENR\n" + Nouveau("A", "A", 3, "AA") +
                              "LF1 =\nLONGENR = 2\nLONGENR = 4\nLONGENR = 40000\nLONGENR = 5\n");
  EXPECT_TRUE(Contient(t, "«Longueur 2 inférieure à la longueur réelle 3»")) << t;
  EXPECT_TRUE(Contient(t, "«Longueur 4 : un enregistrement fait de 5 à 32767 caractères»")) << t;
  EXPECT_TRUE(Contient(t, "«Longueur 40000 : un enregistrement fait de 5 à 32767 caractères»"));
  EXPECT_EQ(FichierLu("P")->longueur, 5);
}

TEST_F(EntFicTest, NamesAreLettersAndDigitsStoredInUpperCase) {
  const std::string t = Lance(
      "NOMFIC = Fic-1\nNOMFIC = Été\nNOMFIC = chain\nNOMFIC =\nNOMFIC = ABC123\nDFE\n"
      "LONGENR\n" +
      Nouveau("A", "A", 8, "AA") + "LF1 =\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "MessChamp NOMFIC B «Nom de fichier « Fic-1 » refusé")) << t;
  EXPECT_TRUE(Contient(t, "MessChamp NOMFIC B «Nom de fichier « Été » refusé")) << t;
  // A dictionary's own file in any case: its .DAT and .DAB would be the dictionary's.
  EXPECT_TRUE(Contient(t, "MessChamp NOMFIC B «Nom de fichier « chain » refusé : nom réservé"))
      << t;
  EXPECT_NE(FichierLu("ABC123"), nullptr);
}

TEST_F(EntFicTest, F1KeepsTheLastFieldsForANewFile) {
  const std::string t = Lance(
      "NOMFIC = F\nDFE\nLONGENR\nLF1 <Esc>\nLONGENR\n"
      "NOMFIC = COPIE\nDFE <F1>\nLONGENR\nLF1 <Esc>\nLONGENR\n");
  EXPECT_TRUE(Contient(t,
                       "Message I «A la Rubrique DEPENDANCE Options : - F1 : Conserver les "
                       "Derniers Champs»"));
  EXPECT_TRUE(Contient(t,
                       "Message I «A la Rubrique DEPENDANCE Options : - F2 : Aller à la Saisie "
                       "des B-Arbres - F3 : Aller à la Saisie des Chainage - F4 : Aller à la "
                       "Genération des Déclarations de F - F5 : Aller à l'Edition du Fichier»"))
      << t;
  ASSERT_NE(FichierLu("COPIE"), nullptr);
  EXPECT_EQ(FichierLu("COPIE")->rubriques.size(), 3u);
  EXPECT_EQ(FichierLu("COPIE")->longueur, 256);
  // Without F1, a new file starts with no field.
  Lance("NOMFIC = VIDE\nDFE\nLONGENR\nLF1 <Esc>\nLONGENR <PgUp>\n");
  EXPECT_EQ(FichierLu("VIDE"), nullptr);
}

TEST_F(EntFicTest, F2ToF5ReachTheirToolsAndComeBackToTheName) {
  const std::string t = Lance(
      "NOMFIC = F\nDFE <F2>\nNOMT =\nNOMFIC = F\nDFE <F3>\nCHAINL =\n"
      "NOMFIC = F\nDFE <F4>\nNOMFIC = F\nDFE <F5>\nchoose 2\nNOMFIC = F\nDFE <F5>\n"
      "choose none\n");
  // F5: the specification on screen (the PDF, named on the name's line, is the command's
  // test); no choice, nothing.
  EXPECT_TRUE(Contient(t, "TitreEdition «EDITION DES SPECIFICATIONS DU FICHIER»")) << t;
  EXPECT_TRUE(Contient(t, "Visionne «EDITION SPECIFICATIONS FICHIER F.DAT»")) << t;
  EXPECT_EQ(t.find("\nTitreEdition"), t.rfind("\nTitreEdition")) << t;
  EXPECT_TRUE(Contient(t, "Titre «SAISIE DES TABLES B-ARBRES »")) << t;
  EXPECT_TRUE(Contient(t, "Sai NOMT «F» -> «» <Enter>")) << t;
  EXPECT_TRUE(Contient(t, "Sai CHAINL «F» -> «» <Enter>")) << t;
  EXPECT_TRUE(Contient(EtatGen().Texte(), "Sub LireF(E as Long)")) << EtatGen().Texte();
}

TEST_F(EntFicTest, ADeletionRemovesTheFileWithItsTablesAndChainingsOnceConfirmed) {
  // What uses F is shown before the confirmation; Esc then keeps it all.
  std::string t = Lance("NOMFIC = F <F6>\nok\nconfirm <Esc>\n");
  EXPECT_TRUE(Contient(t,
                       "Boite «Usages de F» «listes de clé :\\n  T1 du fichier F (P) [[W1,1,8]]\\n"
                       "chaînages :\\n  G (lignes) sous F (entête)» -> ok"))
      << t;
  EXPECT_NE(FichierLu("F"), nullptr);
  t = Lance("NOMFIC = F <F6>\nok\nconfirm <F6>\n");
  EXPECT_TRUE(Contient(t, "Message B «F supprimé : 3 rubriques, 1 B-Arbre, 1 chaînage»")) << t;
  const std::string texte = Texte();
  EXPECT_EQ(FichierLu("F"), nullptr);
  EXPECT_FALSE(Contient(texte, "[barbres.T1]"));
  EXPECT_FALSE(Contient(texte, "[chainages.G]"));
  EXPECT_TRUE(Contient(texte, "[barbres.T2]"));  // G's own table stays
}

TEST_F(EntFicTest, TheFieldListKeys) {
  // F5 after field 2 of 3: the copy becomes field 3, its variable changed; F6 on the last.
  std::string t = Lance(
      "NOMFIC = F\nDFE\nLONGENR\nLF1 <F2>\nLF1 <F5>\nLF1 = QUATRE\nLF2\nLF3\n"
      "LF5 = W4\nLF6\nLF10\nLF7\nLF1 <F4>\nLF1 <Up>\nLF1 <F6>\nLF1 <Esc>\n"
      "LONGENR\n");
  EXPECT_TRUE(Contient(t, "AffMode LF1 I «Modif Suiv»")) << t;
  EXPECT_TRUE(Contient(t, "AffMode LF1 I «Insertion»")) << t;
  const Fichier* f = FichierLu("F");
  ASSERT_EQ(f->rubriques.size(), 3u);
  EXPECT_EQ(f->rubriques[2].variable, "W4");
  EXPECT_EQ(f->rubriques[1].variable, "W2");
  // F3 chooses a field; F7 duplicates two after it; the duplicate variables are refused at the
  // length check, which goes back to the second of them.
  t = Lance("NOMFIC = F\nDFE\nLONGENR\nLF1 <F3>\nchoose 2\nLF1 <F7>\nchoose 1,2\nLF1 <Esc>\n" +
            std::string("LF1\nLF2\nLF3\nLF5 = W5\nLF6\nLF10\nLF7\nLF1\nLF2\nLF3\nLF5 = W6\nLF6\n") +
            "LF10\nLF7\nLF1 <Esc>\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "Choix «CHOIX D'UN CHAMP - Fichier : F»")) << t;
  EXPECT_TRUE(Contient(t, "ChoixMultiple «DUPLICATION DE CHAMPS - Fichier : F»")) << t;
  EXPECT_TRUE(Contient(t, "Message B «Variable W1 en double : champs 1 et 3»")) << t;
  f = FichierLu("F");
  ASSERT_EQ(f->rubriques.size(), 5u);
  EXPECT_EQ(f->rubriques[2].nom, "UN");
  EXPECT_EQ(f->rubriques[2].variable, "W5");
  EXPECT_EQ(f->rubriques[4].nom, "QUATRE");
  // F1 on field 1: "O" deletes the fields after it.
  t = Lance("NOMFIC = F\nDFE\nLONGENR\nLF1 <F1>\nLF1 = O\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "MessChamp LF1 N «Suppression des Champs Restants : »")) << t;
  EXPECT_EQ(FichierLu("F")->rubriques.size(), 1u);
}

// A field that a key list or a recorded program uses is deleted only once the user, shown the
// uses, answers "O"; a field nothing uses goes at once; F1's deletion of the remaining fields
// asks once for all of them.
TEST_F(EntFicTest, DeletingAUsedFieldShowsItsUsesAndAsks) {
  ProgrammeUtilise p{"EntF", "genps", "F", {}};
  p.empreinte[GenrePartie::kRubriques] = {{"W1", "0"}, {"W3", "0"}};
  ProgrammeUtilise autre{"EntG", "genps", "G", {}};
  autre.empreinte[GenrePartie::kRubriques] = {{"W1", "0"}};
  InstalleProgrammesThread([&] { return std::vector<ProgrammeUtilise>{p, autre}; });
  std::string t = Lance("NOMFIC = F\nDFE\nLONGENR\nLF1 <F6>\nok\nLF1 = N\nLF1 <Esc>\nLONGENR\n");
  EXPECT_TRUE(Contient(t,
                       "Boite «Usages de W1» «listes de clé :\\n  T1 du fichier F (P) [[W1,1,8]]"
                       "\\nprogrammes :\\n  EntF.bas (genps F)» -> ok"))
      << t;
  EXPECT_TRUE(Contient(t, "MessChamp LF1 N «Supprimer W1 malgré ses usages : »")) << t;
  EXPECT_EQ(FichierLu("F")->rubriques.size(), 3u);
  t = Lance("NOMFIC = F\nDFE\nLONGENR\nLF1 <F1>\nLF1 = O\nok\nLF1 = N\nLONGENR\n");
  EXPECT_TRUE(
      Contient(t, "Boite «Usages des champs supprimés» «programmes :\\n  EntF.bas (genps F)»"))
      << t;
  EXPECT_EQ(FichierLu("F")->rubriques.size(), 3u);
  t = Lance(
      "NOMFIC = F\nDFE\nLONGENR\nLF1 <F2>\nLF1 <F6>\nLF1 <Up>\nLF1 <F1>\nLF1 = O\nok\n"
      "LF1 = O\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "Boite «Usages de W3» «programmes :\\n  EntF.bas (genps F)» -> ok")) << t;
  EXPECT_FALSE(Contient(t, "Usages de W2")) << t;
  const Fichier* f = FichierLu("F");
  ASSERT_EQ(f->rubriques.size(), 1u);
  EXPECT_EQ(f->rubriques[0].variable, "W1");
  InstalleProgrammesThread(nullptr);
}

// The box keeps to what an 80x24 screen holds: whole lines, the rest counted.
TEST(BoiteUsagesTest, ALongListIsCutAtAWholeLineAndALongLineEndsWithAnEllipsis) {
  Usages u;
  for (int i = 0; i < 20; ++i) {
    u.Ajoute({GenreUsage::kListesCle, "T" + std::to_string(i) + " du fichier F", "F", ""});
  }
  u.Ajoute({GenreUsage::kProgrammes, std::string(80, 'e') + "é", "F", ""});
  const std::string texte = TexteBoiteUsages(u, "F");
  std::vector<std::string> lignes;
  for (size_t debut = 0, fin = 0; fin != std::string::npos; debut = fin + 1) {
    fin = texte.find('\n', debut);
    lignes.push_back(texte.substr(debut, fin - debut));
  }
  ASSERT_EQ(lignes.size(), kLignesBoite);
  EXPECT_EQ(lignes[12], "  T11 du fichier F");
  EXPECT_EQ(lignes[13], "… et 10 autres lignes : vesk usages F");
  u = u.Filtre([](const Usage& x) { return x.genre == GenreUsage::kProgrammes; });
  EXPECT_EQ(TexteBoiteUsages(u, "F"), "programmes :\n  " + std::string(67, 'e') + "…");
}

TEST_F(EntFicTest, DeletingTheOnlyFieldLeavesNothingToWriteUntilAbandoned) {
  const auto avant = Fichiers();
  const std::string t = Lance(
      "NOMFIC = G\nDFE\nLONGENR\nLF1 <F6>\nok\nLF1 = O\nLF1 <F6>\nLF1 <F6>\n"
      "LF1 <Esc>\nLONGENR\nLF1 <Esc>\nLONGENR <PgUp>\n");
  EXPECT_TRUE(Contient(t, "AffMode LF1 I «Pred Sup»")) << t;
  EXPECT_TRUE(Contient(t, "MessChamp LONGENR B «Aucune Rubrique»")) << t;
  EXPECT_TRUE(Contient(t, "Message B «Spécification de G abandonnée : rien n'est écrit»")) << t;
  EXPECT_TRUE(Fichiers() == avant);
}

TEST_F(EntFicTest, ANewDomainCodeIsDefinedOnTheSpot) {
  const std::string t = Lance(
      "NOMFIC = H\nDFE\nLONGENR\nLF1 = DEVISE\nLF2 = A\nLF3 = 8\nLF5 = DEV\nLF6\n"
      "LF10 = DEVISES\nCODOM\nNOMDOM = Devises\nFDD = DEV\nCODOM =\nLF7\nLF1 =\nLONGENR\n");
  EXPECT_TRUE(Contient(t, "Sai CODOM «DEVISES» -> «DEVISES» <Enter>")) << t;
  EXPECT_EQ(FichierLu("H")->rubriques[0].domaine, "DEVISES");
  EXPECT_TRUE(Contient(Texte(), "[domaines.DEVISES]\nnom = \"Devises\""));
}

// A field's variable becomes variables and a label of the generated programs: one that would
// meet a name of theirs is refused on its line, naming it, and asked again.
TEST_F(EntFicTest, AVariableThatMeetsANameOfTheGeneratedProgramsIsRefusedOnItsLine) {
  std::string t = Lance(
      "NOMFIC = K\nDFE\nLONGENR\nLF1 = CODE\nLF2 = A\nLF3 = 4\n"
      "LF5 = Code\nLF5 = EnrKK\nLF5 = KD\nLF5 = KCODE\nLF6\nLF10\nLF7\n"
      "LF1 = NOM\nLF2 = A\nLF3 = 10\nLF5 = xkcode\n"
      "LF5 = KNOM\nLF6\nLF10\nLF7\nLF1 =\nLONGENR\n");
  for (const char* refus : {"Variable « Code » refusée : paramètre Code$ du programme de saisie",
                            "Variable « EnrKK » refusée : étiquette Enr+suffixe du programme de "
                            "saisie",
                            "Variable « KD » refusée : poignée KD% du fichier K",
                            "Variable « xkcode » refusée : variable de saisie xKCODE$ de la "
                            "rubrique KCODE"}) {
    EXPECT_TRUE(Contient(t, std::string("MessChamp LF5 B «") + refus + "»")) << refus << "\n" << t;
  }
  const Fichier* f = FichierLu("K");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->rubriques[0].variable, "KCODE");
  EXPECT_EQ(f->rubriques[1].variable, "KNOM");
  // The tables of the file: T1 of F gives its programs T1T%.
  t = Lance(
      "NOMFIC = F\nDFE\nLONGENR\nLF1 <F4>\nLF1 = X\nLF2 = A\nLF3 = 4\nLF5 = T1T\nLF5 = T2T\n"
      "LF6\nLF10\nLF7\nLF1 =\nLONGENR\n");
  EXPECT_TRUE(Contient(t,
                       "MessChamp LF5 B «Variable « T1T » refusée : poignée T1T% du B-arbre "
                       "T1»"))
      << t;
  EXPECT_EQ(FichierLu("F")->rubriques.back().variable, "T2T");  // T2 is G's table
}

}  // namespace
}  // namespace vesk::fic
