#include <gtest/gtest.h>

#include <sstream>

#include "srv/erreur_service.h"
#include "srv/script/srv_script_impl.h"
#include "srv/tui/touches.h"

namespace vesk::script {
namespace {

constexpr std::string_view kDom =
    "[[CODOM,CODE DU DOMAINE DE DEFINITION,A,20],[NOMDOM,NOM DU DOMAINE,A,40],"
    "[FDD,NOM FICHIER DE DEFINITION (.DOM),A,8]]";

struct Ecrans {
  explicit Ecrans(std::string_view script)
      : session(Session::DepuisTexte(script, "essai.script")),
        saisie(session),
        ecran(session, "GESTION"),
        choix(session),
        message(session) {}

  std::string Entre(std::string_view cle, std::string valeur = "", std::string_view options = "[]",
                    int16_t initiale = 0) {
    saisie.Sai(cle, valeur, touche, initiale, options, "B");
    return valeur;
  }

  std::shared_ptr<Session> session;
  SrvSaisieScript saisie;
  SrvEcranScript ecran;
  SrvChoixScript choix;
  SrvMessageScript message;
  int16_t touche = 0;
};

std::string Erreur(auto&& f) {
  try {
    f();
  } catch (const ErreurService& e) {
    return e.what();
  }
  return "pas d'erreur";
}

TEST(Script, ReplaysAnEntryAndWritesTheTranscript) {
  Ecrans e(
      "# création d'un domaine\n"
      "CODOM = TVA\n"
      "NOMDOM = Taux de TVA <Up>\n"
      "\n"
      "CODOM <F6>\r\n"
      "confirm <F6>\n"
      "FDD =\n"
      "FDD = TAUX=1 <Esc>\n");
  std::ostringstream copie;
  e.session->EcritAussiDans(&copie);
  e.saisie.InitEcran(0);
  e.saisie.Titre("ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial");
  e.saisie.DefChamps(kDom);
  e.saisie.MessChamp("CODOM", "B", "Suppression : Confirmez par F6", 0);
  EXPECT_EQ(e.Entre("CODOM", "B"), "TVA");
  EXPECT_EQ(e.touche, tui::kEntree);
  e.saisie.AffMode("CODOM", "B", "Création");
  EXPECT_EQ(e.Entre("NOMDOM"), "Taux de TVA");
  EXPECT_EQ(e.touche, tui::kHaut);
  EXPECT_EQ(e.Entre("CODOM", "TVA"), "TVA");  // the value it starts from
  EXPECT_EQ(e.touche, tui::kF1 + 5);
  int16_t confirme = -1;
  e.saisie.Confirme(confirme, e.touche, "B");
  EXPECT_EQ(e.touche, tui::kF1 + 5);
  EXPECT_EQ(e.Entre("FDD", "X"), "");
  EXPECT_EQ(e.Entre("FDD"), "TAUX=1");
  EXPECT_EQ(e.touche, tui::kEchap);
  EXPECT_EQ(e.Entre("FDD", "Y", "[]", tui::kPageHaut), "Y");  // ended by the caller's key
  const std::string attendu =
      "InitEcran\n"
      "Titre «ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial»\n"
      "DefChamps\n"
      "  CODOM «CODE DU DOMAINE DE DEFINITION» A 20\n"
      "  NOMDOM «NOM DU DOMAINE» A 40\n"
      "  FDD «NOM FICHIER DE DEFINITION (.DOM)» A 8\n"
      "MessChamp CODOM B «Suppression : Confirmez par F6»\n"
      "Sai CODOM «» -> «TVA» <Enter>\n"
      "AffMode CODOM B «Création»\n"
      "Sai NOMDOM «» -> «Taux de TVA» <Up>\n"
      "Sai CODOM «TVA» -> «TVA» <F6>\n"
      "Confirme B -> <F6>\n"
      "Sai FDD «X» -> «» <Enter>\n"
      "Sai FDD «» -> «TAUX=1» <Esc>\n"
      "Sai FDD «Y» -> «Y» <PgUp> (initiale)\n";
  EXPECT_EQ(e.session->Transcription(), attendu);
  EXPECT_EQ(copie.str(), attendu);
  EXPECT_EQ(e.session->Restantes(), 0u);
}

TEST(Script, ChoicesMessagesAndCancel) {
  Ecrans e("choose 2\nchoose none\nchoose 3, 1\nok\ncancel\n");
  bool choisi = false;
  std::string element;
  e.choix.Choix("[[G,40,B-Arbres Ouverts]]", "Lecture", "[CLI1,[CLI2,x],FOU1]", choisi, element);
  EXPECT_TRUE(choisi);
  EXPECT_EQ(element, "[CLI2,x]");
  e.choix.Choix("[[G,40,B-Arbres Ouverts]]", "Lecture", "[CLI1]", choisi, element);
  EXPECT_FALSE(choisi);
  e.choix.ChoixMultiple("[[G,5,F]]", "Dup", "[a,b,c]", choisi, element);
  EXPECT_EQ(element, "[a,c]");
  e.message.Affiche("Rien à faire\r\nFin", "Information");
  int16_t annule = 0;
  e.ecran.TitreEdition("Liste");
  e.ecran.Annule(annule);
  EXPECT_EQ(annule, -1);
  e.ecran.Annule(annule);
  EXPECT_EQ(annule, -1);
  e.ecran.FinTitreEdition();
  e.ecran.Annule(annule);  // nothing left: not cancelled, and no error
  EXPECT_EQ(annule, 0);
  EXPECT_EQ(e.session->Transcription(),
            "Choix «Lecture» [[G,40,B-Arbres Ouverts]] 3 élément(s) -> 2 «[CLI2,x]»\n"
            "Choix «Lecture» [[G,40,B-Arbres Ouverts]] 1 élément(s) -> aucun\n"
            "ChoixMultiple «Dup» [[G,5,F]] 3 élément(s) -> 1,3 «[a,c]»\n"
            "Boite «Information» «Rien à faire\\r\\nFin» -> ok\n"
            "TitreEdition «Liste»\n"
            "Annule -> oui\n"
            "FinTitreEdition\n");
}

TEST(Script, WrongOrMissingAnswersNameTheLine) {
  Ecrans e("CODOM = A\n\n# commentaire\nNOMDOM = x\nok\nchoose 4\nchoose 1,2\n");
  e.saisie.DefChamps(kDom);
  e.Entre("CODOM");
  EXPECT_EQ(Erreur([&] { e.Entre("FDD"); }),
            "Sai (essai.script) : ligne 4 : le script répond au champ NOMDOM alors que l'écran "
            "demande la saisie du champ FDD");
  bool choisi;
  std::string element;
  EXPECT_EQ(Erreur([&] { e.choix.Choix("[[G,4,T]]", "L", "[a]", choisi, element); }),
            "Choix (essai.script) : ligne 5 : le script donne l'acquittement d'un message (ok) "
            "alors que l'écran demande un choix dans la liste «L» (choose)");
  e.message.Affiche("m", "Information");  // the answer of the wrong kind was left in place
  EXPECT_EQ(Erreur([&] { e.choix.Choix("[[G,4,T]]", "L", "[a,b,c]", choisi, element); }),
            "Choix (essai.script) : ligne 6 : l'élément 4 n'existe pas : la liste «L» en a 3");
  EXPECT_NE(Erreur([&] {
              e.choix.Choix("[[G,4,T]]", "L", "[a,b]", choisi, element);
            }).find("ligne 7 : un seul élément"),
            std::string::npos);
  EXPECT_EQ(Erreur([&] { e.message.Affiche("m", "Information"); }),
            "Affiche (essai.script) : le script n'a plus de réponse (après la ligne 7) alors "
            "que l'écran demande l'acquittement du message «Information» (ok)");
}

TEST(Script, ValuesAreCheckedLikeTheKeyboardWould) {
  Ecrans e(
      "QT = 12345\nQT = 1.5\nOK = o\nMT = -3,25\nLF7 = X\nLF7 = A\nNOM = Ω\n"
      "NOM = Œuvre\n");
  e.saisie.DefChamps(
      "[[QT,QUANTITE,I0,4],[OK,VALIDE,B,1],[MT,MONTANT,N2,8],"
      "[LF7,TYPE,A,1],[NOM,NOM,A,10]]");
  EXPECT_NE(Erreur([&] { e.Entre("QT"); })
                .find("ligne 1 : valeur refusée pour le champ QT : "
                      "le champ QT ne prend que 4 caractère(s)"),
            std::string::npos);
  EXPECT_NE(Erreur([&] { e.Entre("QT"); }).find("ligne 2 : valeur refusée"), std::string::npos);
  EXPECT_EQ(e.Entre("OK"), "O");      // typed o, stored O
  EXPECT_EQ(e.Entre("MT"), "-3.25");  // the comma is the decimal point
  EXPECT_NE(Erreur([&] { e.Entre("LF7", "", "[U,R,A,S]"); }).find("non prévue (U, R, A, S)"),
            std::string::npos);
  EXPECT_EQ(e.Entre("LF7", "", "[U,R,A,S]"), "A");
  EXPECT_NE(Erreur([&] { e.Entre("NOM"); }).find("Windows-1252"), std::string::npos);
  EXPECT_EQ(e.Entre("NOM"), "Œuvre");
}

TEST(Script, MalformedScriptsAreRefusedWithTheirLine) {
  struct Cas {
    std::string script, attendu;
  };
  for (const Cas& c :
       std::vector<Cas>{{"ok\nCODOM = A <F9>\n", "ligne 2 : touche « <F9> » inconnue"},
                        {"confirm F6\n", "ligne 1 : touche « F6 » inconnue"},
                        {"choose\n", "ligne 1 : « choose  » : un numéro"},
                        {"choose 0\n", "ligne 1 : « choose 0 »"},
                        {"choose 1,x\n", "ligne 1 : « choose 1,x »"},
                        {"ok merci\n", "ligne 1 : rien n'est attendu après « ok »"},
                        {"CODOM ABC\n", "ligne 1 : ligne illisible"},
                        {" = ABC\n", "ligne 1 : ligne illisible"},
                        {"CODOM = \xff\n", "UTF-8"}}) {
    std::string m = Erreur([&] { Session::DepuisTexte(c.script, "s"); });
    EXPECT_NE(m.find(c.attendu), std::string::npos) << c.script << " -> " << m;
  }
  EXPECT_NE(Erreur([] { Session::DepuisFichier("/chemin/absent.script"); }).find("absent"),
            std::string::npos);
}

TEST(Script, KeyCodesMatchTheTerminalScreens) {
  Ecrans e("");
  int16_t t = 0;
  e.ecran.ToucheRetour(t);
  EXPECT_EQ(tui::NomTouche(t), "<Up>");
  e.ecran.ToucheDebut(t);
  EXPECT_EQ(tui::NomTouche(t), "<PgUp>");
  e.ecran.ToucheConfirmation(t);
  EXPECT_EQ(tui::NomTouche(t), "<F6>");
  e.ecran.ValeurConfirmation(t);
  EXPECT_EQ(t, -1);
  std::string texte;
  e.ecran.NomApplication(texte);
  EXPECT_EQ(texte, "GESTION");
  e.ecran.DateDefaut(texte);
  EXPECT_EQ(texte, "31/12/2026");
  EXPECT_THROW(e.saisie.Affiche("CODOM", "x"), ErreurService);  // no field declared
}

}  // namespace
}  // namespace vesk::script
