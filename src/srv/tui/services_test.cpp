// The message box, the screen-wide services and the text viewer.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "srv/tui/srv_ecran_impl.h"
#include "srv/tui/srv_message_impl.h"
#include "srv/tui/srv_saisie_impl.h"
#include "srv/tui/testing/ecran.h"
#include "srv/tui/visionneuse.h"

namespace vesk::tui {
namespace {

TEST(Message, BoxOverTheEntryScreenUntilAKey) {
  EcranDeTest e(60, 16);
  SrvSaisieImpl saisie(e.console);
  saisie.Titre("ECRAN");
  SrvMessageImpl message(e.console);
  e.terminal->Tape("x");
  message.Affiche("Le fichier CLI n'a aucune rubrique.\nRien à générer.", "Information");
  EXPECT_EQ(e.Ligne(0), " ECRAN");   // the screen is back
  e.terminal->ChangeTaille(40, 12);  // a resize does not acknowledge
  e.terminal->Appuie(kEntree);
  message.Affiche("Un message assez long pour être coupé entre deux mots de la ligne", "Info");
  EXPECT_EQ(e.terminal->TouchesRestantes(), 0u);
  EXPECT_EQ(Coupe(U"un deux trois", 7), (std::vector<std::u32string>{U"un deux", U"trois"}));
  EXPECT_EQ(Coupe(U"abcdefghij", 4), (std::vector<std::u32string>{U"abcd", U"efgh", U"ij"}));
  EXPECT_EQ(Coupe(U"a\r\nb", 10), (std::vector<std::u32string>{U"a", U"b"}));
}

TEST(Ecran, KeyCodesDateAndName) {
  SrvEcranImpl ecran(nullptr, "GESTION");
  std::string nom;
  ecran.NomApplication(nom);
  EXPECT_EQ(nom, "GESTION");
  int16_t v = 0;
  ecran.ValeurConfirmation(v);
  EXPECT_EQ(v, -1);
  int16_t retour, debut, suppression, confirmation, f6, echap;
  ecran.ToucheRetour(retour);
  ecran.ToucheDebut(debut);
  ecran.ToucheSuppression(suppression);
  ecran.ToucheConfirmation(confirmation);
  ecran.ToucheF6(f6);
  ecran.ToucheEchap(echap);
  EXPECT_EQ(retour, kHaut);
  EXPECT_EQ(debut, kPageHaut);
  EXPECT_EQ(suppression, f6);
  EXPECT_EQ(confirmation, f6);
  EXPECT_EQ(echap, kEchap);
  int16_t f[7];
  ecran.ToucheF1(f[0]);
  ecran.ToucheF2(f[1]);
  ecran.ToucheF3(f[2]);
  ecran.ToucheF4(f[3]);
  ecran.ToucheF5(f[4]);
  ecran.ToucheF6(f[5]);
  ecran.ToucheF7(f[6]);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(NomTouche(f[i]), "<F" + std::to_string(i + 1) + ">");
  std::string date;
  ecran.DateDefaut(date);
  ASSERT_EQ(date.size(), 10u);
  EXPECT_EQ(date[2], '/');
  EXPECT_EQ(date[5], '/');
  int16_t annule = 5;
  ecran.Annule(annule);  // no terminal: never cancelled
  EXPECT_EQ(annule, 0);
}

TEST(Ecran, EscDuringAListingCancelsIt) {
  EcranDeTest e;
  SrvEcranImpl ecran(e.console, "");
  ecran.TitreEdition("Liste des Fichiers Spécifiés");
  EXPECT_NE(e.Texte().find("Édition en cours : Liste des Fichiers Spécifiés"), std::string::npos);
  int16_t annule = 5;
  ecran.Annule(annule);  // nothing typed: polling does not wait
  EXPECT_EQ(annule, 0);
  e.terminal->Tape("a");
  e.terminal->Appuie(kEchap);
  ecran.Annule(annule);
  EXPECT_EQ(annule, -1);
  ecran.Annule(annule);
  EXPECT_EQ(annule, -1);
  EXPECT_NE(e.Texte().find("Interruption demandée"), std::string::npos);
  ecran.FinTitreEdition();
  ecran.Annule(annule);
  EXPECT_EQ(annule, 0);
  EXPECT_EQ(e.Texte().find("Édition en cours"), std::string::npos);
}

std::string Programme(int lignes) {
  std::string texte;
  for (int i = 1; i <= lignes; ++i) texte += "\r\nRem ligne " + std::to_string(i);
  return texte;
}

TEST(Visionneuse, ScrollsSearchesAndCloses) {
  Visionneuse v("Génération de Code", Programme(100));
  Grille g(80, 12);
  v.Dessine(g);
  EXPECT_EQ(g.Ligne(0), " Génération de Code - ligne 1 / 101");
  EXPECT_EQ(g.Ligne(1), "");  // the text starts with a line end
  EXPECT_EQ(g.Ligne(2), "Rem ligne 1");
  // The keys on two lines at 80 columns, the last one the sideways scrolling: 9 lines of text.
  EXPECT_EQ(g.Ligne(10), "Échap Fermer - F2 Rechercher - F3 Suivant - F4 Enregistrer");
  EXPECT_EQ(g.Ligne(11), "- ↑↓ PgUp PgDn Début Fin - ←→ Défiler");
  v.Applique(Touche::De(kPageBas), g);
  v.Applique(Touche::De(kBas), g);
  EXPECT_EQ(v.PremiereLigne(), 9u);
  v.Applique(Touche::De(kFin), g);
  EXPECT_EQ(v.PremiereLigne(), 92u);  // the last page is full
  v.Applique(Touche::De(kF1 + 1), g);
  for (char c : std::string("LIGNE 5")) v.Applique(Touche::Car(static_cast<char32_t>(c)), g);
  v.Applique(Touche::De(kEntree), g);  // from line 92 on, round to line 5
  EXPECT_EQ(v.PremiereLigne(), 5u);
  v.Applique(Touche::De(kF1 + 2), g);  // next: ligne 50
  EXPECT_EQ(v.PremiereLigne(), 50u);
  v.Applique(Touche::De(kF1 + 1), g);  // the last search, replaced by what is typed
  v.Applique(Touche::Car(U'z'), g);
  v.Applique(Touche::De(kEntree), g);
  EXPECT_EQ(v.MessageBas(), "« z » introuvable");
  v.Applique(Touche::De(kF1 + 1), g);  // End goes into it: typing adds
  v.Applique(Touche::De(kFin), g);
  v.Applique(Touche::Car(U'z'), g);
  v.Applique(Touche::De(kEntree), g);
  EXPECT_EQ(v.MessageBas(), "« zz » introuvable");
  EXPECT_FALSE(v.Applique(Touche::De(kEchap), g));
}

TEST(Visionneuse, SavesTheTextUnchanged) {
  auto dossier = std::filesystem::temp_directory_path() / "vesk_visionneuse_test";
  std::filesystem::remove_all(dossier);
  std::filesystem::create_directories(dossier);
  std::string chemin = (dossier / "GEN.BAS").string();
  const std::string texte = "\r\nRem Édition\r\nSub X";
  Visionneuse v("Génération de Code", texte);
  Grille g(200, 12);  // wide enough for the prompt and a long temporary path
  auto tape = [&](std::string_view s) {
    for (char32_t c : std::u32string(s.begin(), s.end())) v.Applique(Touche::Car(c), g);
  };
  v.Applique(Touche::De(kF1 + 3), g);
  tape(chemin);
  v.Applique(Touche::De(kEntree), g);
  EXPECT_EQ(v.MessageBas(), "Texte enregistré dans " + chemin);
  {
    std::ifstream f(chemin, std::ios::binary);
    std::stringstream lu;
    lu << f.rdbuf();
    EXPECT_EQ(lu.str(), texte);
  }
  // Saving again asks before replacing; N keeps the file.
  v.Applique(Touche::De(kF1 + 3), g);
  v.Applique(Touche::De(kEntree), g);
  v.Dessine(g);
  EXPECT_NE(g.Ligne(11).find("existe. Remplacer (O/N) ?"), std::string::npos) << g.Ligne(11);
  tape("N");
  v.Applique(Touche::De(kEntree), g);
  EXPECT_EQ(v.MessageBas(), "Enregistrement abandonné");
  // A folder that does not exist: the error is shown, the viewer stays open.
  v.Applique(Touche::De(kF1 + 3), g);
  for (int i = 0; i < 300; ++i) v.Applique(Touche::De(kRetourArriere), g);
  tape((dossier / "absent" / "X.BAS").string());
  v.Applique(Touche::De(kEntree), g);
  EXPECT_EQ(v.MessageBas().rfind("Enregistrement impossible : ", 0), 0u) << v.MessageBas();
  std::filesystem::remove_all(dossier);
}

}  // namespace
}  // namespace vesk::tui
