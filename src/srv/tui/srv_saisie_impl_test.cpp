#include "srv/tui/srv_saisie_impl.h"

#include <gtest/gtest.h>

#include "srv/erreur_service.h"
#include "srv/tui/testing/ecran.h"

namespace vesk::tui {
namespace {

constexpr std::string_view kDom =
    "[[CODOM,CODE DU DOMAINE DE DEFINITION,A,20],[NOMDOM,NOM DU DOMAINE,A,40],"
    "[FDD,NOM FICHIER DE DEFINITION (.DOM),A,8]]";

class SaisieTest : public ::testing::Test {
 protected:
  explicit SaisieTest(int colonnes = 80, int lignes = 24)
      : e_(colonnes, lignes), saisie_(e_.console) {}

  // Enters cle from depart with the keys queued beforehand; gives the value and sets touche_.
  std::string Entre(std::string_view cle, std::string depart = "", std::string_view options = "[]",
                    std::string_view ligne = "B", int16_t initiale = 0) {
    saisie_.Sai(cle, depart, touche_, initiale, options, ligne);
    return depart;
  }
  void Ecran(std::string_view descripteur) {
    saisie_.InitEcran(0);
    saisie_.Titre("ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial");
    saisie_.DefChamps(descripteur);
  }

  EcranDeTest e_;
  SrvSaisieImpl saisie_;
  int16_t touche_ = 0;
};

TEST_F(SaisieTest, LaysOutTitleLabelsModeAndLines) {
  Ecran(kDom);
  saisie_.MessChamp("CODOM", "B", "Suppression : Confirmez par F6", 0);
  saisie_.Affiche("NOMDOM", "Taux de TVA");
  saisie_.AffMode("CODOM", "I", "MODIFICATION");
  saisie_.Message("I", "Enregistrement Précédent TVA");
  EXPECT_EQ(e_.Ligne(0), " ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial");
  EXPECT_EQ(e_.Ligne(1), "Enregistrement Précédent TVA");
  // Boxes start two columns after the widest label (32 characters).
  EXPECT_EQ(e_.Ligne(2), "CODE DU DOMAINE DE DEFINITION" + std::string(26, ' ') + "MODIFICATION");
  EXPECT_EQ(e_.Ligne(3), "NOM DU DOMAINE" + std::string(20, ' ') + "Taux de TVA");
  EXPECT_EQ(e_.Ligne(4), "NOM FICHIER DE DEFINITION (.DOM)");
  EXPECT_EQ(e_.Ligne(23), "Suppression : Confirmez par F6");
  const Grille& g = e_.terminal->Peinte();
  EXPECT_EQ(g.At(2, 33).attr & kSouligne, 0);  // the box of CODOM: 20 columns
  EXPECT_EQ(g.At(2, 34).attr & kSouligne, kSouligne);
  EXPECT_EQ(g.At(2, 53).attr & kSouligne, kSouligne);
  EXPECT_EQ(g.At(2, 54).attr & kSouligne, 0);
  EXPECT_EQ(g.At(0, 0).attr & kInverse, kInverse);
}

TEST_F(SaisieTest, EditsWithArrowsInsertOverwriteAndDeletion) {
  Ecran(kDom);
  e_.terminal->Tape("xyz");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("NOMDOM"), "xyz");
  EXPECT_EQ(touche_, kEntree);
  // ABCD, Home, Right, Delete -> ACD; Insert (overwrite), x -> AxD; Backspace -> AD; End, é.
  for (int16_t k : {kOrigine, kDroite, kSuppr, kInsertion}) e_.terminal->Appuie(k);
  e_.terminal->Tape("x");
  e_.terminal->Appuie(kRetourArriere);
  e_.terminal->Appuie(kFin);
  e_.terminal->Tape("é");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("NOMDOM", "ABCD"), "ADé");
  EXPECT_EQ(e_.Ligne(3), "NOM DU DOMAINE" + std::string(20, ' ') + "ADé");
}

TEST_F(SaisieTest, EndKeysAndTheirFallbacks) {
  Ecran(kDom);
  struct Cas {
    std::vector<int16_t> touches;
    int16_t attendu;
  };
  for (const Cas& c : {Cas{{kHaut}, kHaut}, Cas{{kPageHaut}, kPageHaut}, Cas{{kF1 + 5}, kF1 + 5},
                       Cas{{kTabulation}, kEntree}, Cas{{kBas}, kEntree}, Cas{{kTabArriere}, kHaut},
                       Cas{{kF1 + 8, kEchap}, kEchap}}) {
    for (int16_t k : c.touches) e_.terminal->Appuie(k);
    EXPECT_EQ(Entre("FDD", "TVA"), "TVA");
    EXPECT_EQ(touche_, c.attendu);
  }
  e_.terminal->Appuie(kEchap);  // Esc then 7: F7 (Alt+7 on most terminals)
  e_.terminal->Tape("7");
  Entre("FDD");
  EXPECT_EQ(touche_, kF1 + 6);
  // A key given at the call acts first: nothing is read.
  EXPECT_EQ(Entre("FDD", "X", "[]", "B", kHaut), "X");
  EXPECT_EQ(touche_, kHaut);
  EXPECT_EQ(e_.terminal->TouchesRestantes(), 0u);
}

TEST_F(SaisieTest, ModeLetterStartsAnEmptyKeyEntry) {
  Ecran(kDom);
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("CODOM", "I"), "");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("NOMDOM", "I"), "I");  // only on the key field
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("FDD", "TVA       "), "TVA     ");  // spaces beyond the width go
  EXPECT_THROW(Entre("FDD", "TROPLONGS"), ErreurService);
}

TEST_F(SaisieTest, RefusesCharactersOutsideWindows1252OnTheMessageLine) {
  Ecran(kDom);
  e_.terminal->Tape("Œuvre Ω");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("NOMDOM"), "Œuvre ");
  // The refusal was shown on line B before Enter cleared it: replay to see it.
  e_.terminal->Tape("€Ω");
  EXPECT_THROW(Entre("NOMDOM"), ErreurService);  // no more keys after the refusal
  EXPECT_EQ(e_.Ligne(22),
            "caractère « Ω » (U+03A9) refusé : le jeu Windows-1252 des fichiers ne le");
  EXPECT_EQ(e_.Ligne(23), "contient pas");
  EXPECT_NE(e_.Ligne(3).find("€"), std::string::npos);
}

TEST_F(SaisieTest, ChecksNumbersIntegersAndYesNo) {
  Ecran("[[MT,MONTANT,N2,8],[QT,QUANTITE,I0,4],[OK,VALIDE,B,1]]");
  e_.terminal->Tape("-12,345a");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("MT"), "-12.34");
  e_.terminal->Tape("+1.5-3");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("QT"), "+153");
  e_.terminal->Tape("xo");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("OK"), "O");
  // A sign alone is not a number: Enter is refused until a digit comes.
  e_.terminal->Tape("-");
  e_.terminal->Appuie(kEntree);
  e_.terminal->Tape("5");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("QT", "", "[]", "N"), "-5");
  // Width: a fifth character does not fit.
  e_.terminal->Tape("123456");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("QT"), "1234");
}

TEST_F(SaisieTest, RefusalShowsBesideTheFieldOnLineN) {
  Ecran("[[QT,QUANTITE,I0,4]]");
  e_.terminal->Tape("1x");
  EXPECT_THROW(Entre("QT", "", "[]", "N"), ErreurService);
  EXPECT_EQ(e_.Ligne(2),
            "QUANTITE  1    caractère « x » (U+0078) refusé : chiffres et signe seulement");
}

TEST_F(SaisieTest, OptionsAreChosenFromAListAndEnforced) {
  Ecran("[[LF7,TYPE DE MODIFICATION,A,1,,1]]");
  const std::string options =
      "[[U,R,A,S],[Utilisateur,Utilisateur Responsable,Affichée Seulement,Systeme]]";
  e_.terminal->Tape("X");  // not an option: refused at Enter
  e_.terminal->Appuie(kEntree);
  e_.terminal->Appuie(kRetourArriere);
  e_.terminal->Appuie(kBas);  // the list
  e_.terminal->Appuie(kBas);
  e_.terminal->Appuie(kBas);
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("LF7", "", options), "A");
  EXPECT_EQ(touche_, kEntree);
  e_.terminal->Tape("x");
  EXPECT_THROW(Entre("LF7", "", options), ErreurService);
  EXPECT_NE(e_.Texte().find("U Utilisateur - R Utilisateur Responsable"), std::string::npos);
  EXPECT_THROW(Entre("LF7", "", "[[U,R],[Seul]]"), ErreurService);
}

constexpr std::string_view kFic =
    "[[NOMFIC,NOM DU FICHIER,A,6],[DFE,DEPENDANCE PAR ENTREPRISE,B],"
    "[LONGENR,LONGUEUR DE L'ENREGISTREMENT,N0,5]]";

TEST_F(SaisieTest, AValueThatFillsItsFieldIsSeenWholeAndTypedOver) {
  Ecran(kFic);
  EXPECT_THROW(Entre("NOMFIC", "FACTUR"), ErreurService);  // no key: the screen as drawn
  EXPECT_EQ(e_.Ligne(2), "NOM DU FICHIER                FACTUR");
  const Grille& g = e_.terminal->Peinte();
  EXPECT_EQ(g.CurseurColonne(), 30 + 6);             // after the sixth letter
  EXPECT_EQ(g.At(2, 30).attr & kInverse, kInverse);  // selected: typing replaces it
  EXPECT_EQ(g.At(2, 36).attr & kSouligne, 0);        // the cursor's cell is not the box's
  e_.terminal->Tape("O");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("DFE", "N"), "O");
  e_.terminal->Tape("CLI");
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("NOMFIC", "FACTUR"), "CLI");
}

TEST_F(SaisieTest, AMessageOnBLastsUntilTheNextEntryAndTheHintComesBackToConfirm) {
  Ecran(kFic);
  saisie_.MessChamp("NOMFIC", "B", "Suppression : Confirmez par F6", 0);
  saisie_.Message("B", "Enregistrement Précédent CLIENT");
  EXPECT_EQ(e_.Ligne(23), "Enregistrement Précédent CLIENT");
  e_.terminal->Tape("Fic-1");
  e_.terminal->Appuie(kEntree);
  Entre("NOMFIC");
  EXPECT_EQ(e_.Ligne(23), "");  // the entry is over
  saisie_.MessChamp("NOMFIC", "B", "Nom de fichier « Fic-1 » refusé", 0);
  e_.terminal->Appuie(kF1 + 5);
  EXPECT_EQ(Entre("NOMFIC"), "");  // the refusal is shown while the name is entered again...
  EXPECT_EQ(e_.Ligne(23), "");     // ...and goes with its entry
  int16_t confirme = -1;
  saisie_.RegleChamp("DFE", "O ou N");
  EXPECT_THROW(saisie_.Confirme(confirme, touche_, "B"), ErreurService);  // no key: as drawn
  EXPECT_EQ(e_.Ligne(23), "Suppression : Confirmez par F6");
  EXPECT_EQ(e_.terminal->Peinte().At(23, 0).attr & kGras, kGras);
  EXPECT_EQ(e_.Ligne(22), "F6 Confirmer - autre touche : Annuler");
  EXPECT_EQ(e_.Texte().find("O ou N"), std::string::npos);  // DFE is not being entered
}

TEST_F(SaisieTest, TheRuleOfTheFieldEnteredStandsAboveTheKeyLine) {
  Ecran(kFic);
  saisie_.RegleChamp("LONGENR", "Longueur de 5 à 32767");
  EXPECT_THROW(Entre("LONGENR", "32"), ErreurService);
  EXPECT_EQ(e_.Ligne(21), "Longueur de 5 à 32767");
  EXPECT_EQ(e_.Ligne(22), "Entrée Valider - ↑ Retour - PgUp Début - Échap Abandon - Ctrl+U Vider");
  EXPECT_THROW(Entre("DFE", "N"), ErreurService);
  EXPECT_EQ(e_.Texte().find("Longueur de 5"), std::string::npos);
}

TEST_F(SaisieTest, CtrlCInterruptsAnEntryAConfirmationAndAChoice) {
  Ecran(kFic);
  e_.terminal->Tape("AB");
  e_.terminal->Appuie(kInterruption);
  EXPECT_THROW(Entre("NOMFIC"), Interruption);
  int16_t confirme = -1;
  e_.terminal->Appuie(kInterruption);
  EXPECT_THROW(saisie_.Confirme(confirme, touche_, "B"), Interruption);
  e_.terminal->Appuie(kBas);
  e_.terminal->Appuie(kInterruption);
  EXPECT_THROW(Entre("DFE", "", "[O,N]"), Interruption);
}

class SaisieEtroite : public SaisieTest {
 protected:
  SaisieEtroite() : SaisieTest(80, 12) {}
};

class SaisieEtroite60 : public SaisieTest {
 protected:
  SaisieEtroite60() : SaisieTest(60, 12) {}
};

TEST_F(SaisieEtroite, AWideFieldTakesTheLinesItNeeds) {
  Ecran("[[TXT,TEXTE LONG,A,100],[FIN,FIN,A,1]]");
  std::string cent;
  for (int i = 0; i < 100; ++i) cent += static_cast<char>('0' + i % 10);
  e_.terminal->Tape(cent + "X");  // the 101st character is refused
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("TXT"), cent);
  // The box takes the 68 columns after the label, then a second line: the whole value shows.
  EXPECT_EQ(e_.Ligne(2), "TEXTE LONG  " + cent.substr(0, 68));
  EXPECT_EQ(e_.Ligne(3), std::string(12, ' ') + cent.substr(68));
  EXPECT_EQ(e_.Ligne(4), "FIN");
  // Home, then Z in the full field: refused; Delete, then Z at the start of the value.
  for (int16_t k : {kOrigine, kDroite, kSuppr}) e_.terminal->Appuie(k);
  e_.terminal->Tape("Z");
  e_.terminal->Appuie(kFin);
  EXPECT_THROW(Entre("TXT", cent), ErreurService);
  const Grille& g = e_.terminal->Peinte();
  EXPECT_EQ(e_.Ligne(2).substr(12, 5), "0Z234");
  EXPECT_EQ(g.CurseurLigne(), 3);  // after the last character, on the second line
  EXPECT_EQ(g.CurseurColonne(), 12 + 100 - 68);
}

TEST_F(SaisieEtroite, TallScreenScrollsToTheCurrentField) {
  std::string d = "[";
  for (int i = 1; i <= 30; ++i) {
    d += (i > 1 ? ",[F" : "[F") + std::to_string(i) + ",CHAMP " + std::to_string(i) + ",A,5]";
  }
  Ecran(d + "]");
  EXPECT_EQ(e_.Ligne(2), "CHAMP 1");
  e_.terminal->Appuie(kEntree);
  Entre("F30");
  // Once the entry is over, nine lines between the title and information lines and the "B"
  // line (while it lasted, the key line took two of them).
  EXPECT_EQ(e_.Ligne(10).substr(0, 8), "CHAMP 30");
  EXPECT_EQ(e_.Ligne(2).substr(0, 8), "CHAMP 22");
}

TEST_F(SaisieEtroite60, ALongHelpGoesUnderTheFieldsFoldedBetweenItsElements) {
  Ecran("[[LF1,NOM DE LA RUBRIQUE,A,40,,1],[LF2,TYPE DE LA RUBRIQUE,A,1,,1]]");
  const std::string aide =
      "(F1 Enr - F2 Suiv - F3 Choix - F4 Adj - F5 Ins Après - F6 Sup - F7 Dup Après)";
  saisie_.MessChamp("LF1", "N", aide, 0);
  saisie_.MessChamp("LF2", "N", "(A,M,N,D,E,B,L)", 0);
  e_.terminal->Appuie(kEntree);
  Entre("LF1", "", "[]", "N");
  e_.terminal->Tape("Z");
  EXPECT_THROW(Entre("LF1", "", "[]", "N"), ErreurService);
  // At the bottom, above the key line and line "B".
  EXPECT_EQ(e_.Ligne(7), "(F1 Enr - F2 Suiv - F3 Choix - F4 Adj - F5 Ins Après");
  EXPECT_EQ(e_.Ligne(8), "- F6 Sup - F7 Dup Après)");
  EXPECT_EQ(e_.Ligne(9), "Entrée Valider - ↑ Retour - PgUp Début - Échap Abandon");
  // LF1 takes two lines at this width: 40 characters and the cursor after them.
  EXPECT_EQ(e_.Ligne(4), "TYPE DE LA RUBRIQUE    (A,M,N,D,E,B,L)") << e_.Texte();
}

TEST_F(SaisieTest, RedrawsAfterAResize) {
  Ecran(kDom);
  e_.terminal->ChangeTaille(100, 30);
  e_.terminal->Appuie(kEntree);
  Entre("CODOM");
  EXPECT_EQ(e_.terminal->Peinte().Largeur(), 100);
  EXPECT_EQ(e_.Ligne(29), "");
  EXPECT_EQ(e_.Ligne(2).substr(0, 29), "CODE DU DOMAINE DE DEFINITION");
}

TEST_F(SaisieTest, ConfirmeGivesTheKeyPressed) {
  Ecran(kDom);
  int16_t confirme = -1;
  e_.terminal->Appuie(kF1 + 5);
  saisie_.Confirme(confirme, touche_, "B");
  EXPECT_EQ(touche_, kF1 + 5);
  EXPECT_EQ(e_.Ligne(22), "");  // the confirmation over, its key line goes
  EXPECT_EQ(confirme, -1);
  e_.terminal->Tape("n");
  saisie_.Confirme(confirme, touche_, "B");
  EXPECT_EQ(touche_, 'n');
}

TEST_F(SaisieTest, BadCallsAreClearErrors) {
  Ecran(kDom);
  auto message = [](auto&& f) {
    try {
      f();
    } catch (const ErreurService& e) {
      return std::string(e.what());
    }
    return std::string("pas d'erreur");
  };
  EXPECT_EQ(message([&] { Entre("INCONNU"); }),
            "Sai (INCONNU) : champ inconnu de l'écran (la description des champs ne le nomme pas)");
  EXPECT_NE(message([&] { saisie_.Message("Z", "x"); }).find("ligne de message inconnue"),
            std::string::npos);
  EXPECT_NE(message([&] { saisie_.AffMode("CODOM", "X", "M"); }).find("lettre de mode"),
            std::string::npos);
  EXPECT_NE(message([&] { saisie_.Affiche("CODOM", "\xff"); }).find("UTF-8"), std::string::npos);
  struct Cas {
    std::string descripteur, attendu;
  };
  for (const Cas& c :
       std::vector<Cas>{{"[[A,LIB,X,5]]", "type « X » inconnu pour le champ A"},
                        {"[[A,LIB,A,0]]", "longueur « 0 » invalide pour le champ A"},
                        {"[[A,LIB,N3,3]]", "plus de décimales que de caractères"},
                        {"[[A,LIB,A,5,,1,9]]", "de 4 à 6 parties"},
                        {"[[A,LIB,A,5],[A,AUTRE,A,2]]", "le champ A est décrit deux fois"},
                        {"[[A,LIB,A,5]", "liste mal formée : caractère 13"},
                        {"[[A,LIB,A,5,x]]", "ligne « x » invalide"},
                        {"[A]", "chaque champ doit être une liste"}}) {
    std::string m = message([&] { saisie_.DefChamps(c.descripteur); });
    EXPECT_NE(m.find(c.attendu), std::string::npos) << c.descripteur << ": " << m;
  }
  // A refused descriptor leaves the screen as it was.
  e_.terminal->Appuie(kEntree);
  EXPECT_EQ(Entre("CODOM", "ABC"), "ABC");
}

TEST_F(SaisieTest, FieldsOnGivenLinesAndColumns) {
  Ecran("[[A,UN,A,3,2,1],[B,DEUX,A,3,2,20],[C,TROIS,A,3]]");
  saisie_.Affiche("A", "aaa");
  saisie_.Affiche("B", "bbb");
  saisie_.Affiche("C", "ccc");
  EXPECT_EQ(e_.Ligne(2), "");
  EXPECT_EQ(e_.Ligne(3), "UN     aaa         DEUX  bbb");
  EXPECT_EQ(e_.Ligne(4), "TROIS  ccc");
}

}  // namespace
}  // namespace vesk::tui
