// The data-file and text-file service, the same behaviour on every store.
#include "srv/comportement/magasin_essai.h"

namespace vesk::essai {
namespace {

using DonneeTest = ServicesTest;

TEST_P(DonneeTest, RecordsAreCompletedWithSpacesAndNamesTakenInAnyCase) {
  Proprio& p = Ouvre("Fic", 32);
  Donnee().EcrireFichier(p.fichier, 1, "AB");
  Donnee().EcrireFichier(p.fichier, 2, "Dépôt €");
  std::string t;
  Donnee().LireFichier(p.fichier, 1, t);
  EXPECT_EQ(t, "AB" + std::string(30, ' '));
  Donnee().LireFichier(p.fichier, 2, t);
  EXPECT_EQ(t, "Dépôt €" + std::string(25, ' '));
  int16_t again = 0;
  Donnee().Donnee(false, "FIC", 32, again, nullptr, "", "", "", false);
  EXPECT_EQ(again, p.fichier);
  // Rewriting a record keeps its number; the file is found again by a new user.
  Donnee().EcrireFichier(p.fichier, 1, "CD");
  Reouvre();
  Proprio& q = Ouvre("fic", 32);
  Donnee().LireFichier(q.fichier, 1, t);
  EXPECT_EQ(t, "CD" + std::string(30, ' '));
  bool existe = false;
  Donnee().Existe("Fic.dat", existe);
  EXPECT_TRUE(existe);
  Verifie();
}

TEST_P(DonneeTest, BadWritesAreRefusedAndChangeNothing) {
  Proprio& p = Ouvre("Dom", 10);
  Donnee().EcrireFichier(p.fichier, 1, "premier");
  EXPECT_ERREUR(Donnee().EcrireFichier(p.fichier, 1, "beaucoup trop long"), "plus long que 10");
  EXPECT_ERREUR(Donnee().EcrireFichier(p.fichier, 1, "Ω"), "Windows-1252");
  EXPECT_ERREUR(Donnee().EcrireFichier(p.fichier, 3, "trou"),
                "le fichier a 1 enregistrements, on ne peut écrire qu'après le dernier");
  EXPECT_ERREUR(Donnee().EcrireFichier(p.fichier, 0, "zéro"), "commencent à 1");
  std::string t;
  Donnee().LireFichier(p.fichier, 1, t);
  EXPECT_EQ(t, "premier   ");
  EXPECT_ERREUR(Donnee().LireFichier(p.fichier, 2, t), "DOM.DAT");
  EXPECT_ERREUR(Donnee().LireFichier(p.fichier, 2, t),
                "lecture de l'enregistrement 2 au-delà de la fin du fichier (1 enregistrements)");
  EXPECT_ERREUR(Donnee().LireFichier(42, 1, t), "fichier 42");
  EXPECT_ERREUR(Donnee().LireEnr(42, 1), "aucun fichier");
  EXPECT_ERREUR(Donnee().LireEnr(p.fichier, 5), "enregistrement 5 au-delà de la fin");
  int32_t no = -1;
  EXPECT_ERREUR(Donnee().NoEnrCourant(0, no), "aucun fichier");
  Verifie();
}

TEST_P(DonneeTest, OpenRefusesBadNamesLengthsModesAndOwners) {
  int16_t h = 0;
  for (std::string_view bad : {"../x", "a/b", "", "..", "a.b"}) {
    EXPECT_ERREUR(Donnee().Donnee(false, bad, 32, h, nullptr, "", "", "", true), "nom de fichier");
  }
  EXPECT_ERREUR(Donnee().Donnee(false, "Fic", 4, h, nullptr, "", "", "", true), "5 au moins");
  EXPECT_ERREUR(Donnee().Donnee(false, "Fic", 32, h, nullptr, "", "", "X", true), "mode");
  EXPECT_ERREUR(Donnee().Donnee(false, "Abs", 32, h, nullptr, "", "", "", false),
                "fichier absent : ");
  Proprio sans(&Donnee(), "Autre");  // answers LireAutre / EcrireAutre only
  EXPECT_ERREUR(Donnee().Donnee(false, "Fic", 32, h, &sans, "", "", "", true), "LireFic");
  EXPECT_ERREUR(Donnee().Donnee(true, "Fic", 32, h, nullptr, "", "", "", true),
                "aucune entreprise courante");
  bool existe = true;
  Donnee().ExisteDonnee(false, "Fic", existe);
  EXPECT_FALSE(existe);  // nothing was created by the refusals
  // The method suffix names the owner's methods.
  Donnee().Donnee(false, "Fic", 32, h, &sans, "", "Autre", "", true);
  EXPECT_GT(h, 0);
  // Another record length for an existing file.
  Reouvre();
  EXPECT_ERREUR(Donnee().Donnee(false, "Fic", 40, h, nullptr, "", "", "", true),
                "longueur d'enregistrement 40 demandée, le fichier a des enregistrements de 32");
}

TEST_P(DonneeTest, ReadOnlyAndOwnerlessFilesRefuseWhatTheyCannotDo) {
  int16_t h = 0;
  Donnee().Donnee(false, "Brut", 8, h, nullptr, "Fichier brut", "", "", true);
  Donnee().EcrireFichier(h, 1, "a");
  EXPECT_ERREUR(Donnee().LireEnr(h, 1), "sans propriétaire");
  Reouvre();
  Donnee().Donnee(false, "Brut", 8, h, nullptr, "", "", "L", false);
  EXPECT_ERREUR(Donnee().EcrireFichier(h, 1, "b"), "lecture seule");
  std::string t;
  Donnee().LireFichier(h, 1, t);
  EXPECT_EQ(t, "a       ");
}

TEST_P(DonneeTest, CompanyFilesAreApartFromTheRootAndFromOtherCompanies) {
  Reouvre("Ent1");
  Proprio& p = Ouvre("Cpt", 16, true);
  Donnee().EcrireFichier(p.fichier, 1, "compte");
  bool existe = false;
  Donnee().ExisteDonnee(true, "Cpt", existe);
  EXPECT_TRUE(existe);
  Donnee().ExisteDonnee(false, "Cpt", existe);
  EXPECT_FALSE(existe);
  Verifie();
  Reouvre("Ent2");
  Donnee().ExisteDonnee(true, "Cpt", existe);
  EXPECT_FALSE(existe);
  Reouvre();
  Donnee().ExisteDonnee(true, "Cpt", existe);  // no company: nothing depends on one
  EXPECT_FALSE(existe);
}

TEST_P(DonneeTest, ListeOuvertsNamesFilesAndHandles) {
  Ouvre("Fic", 32);
  Ouvre("Dom", 100);
  std::string liste;
  int32_t n = 0;
  Donnee().ListeOuverts("D", liste, n);
  EXPECT_EQ(liste, "[[FIC,1],[DOM,2]]");
  EXPECT_EQ(n, 2);
  Donnee().ListeOuverts("B", liste, n);
  EXPECT_EQ(liste, "[]");
  EXPECT_EQ(n, 0);
  EXPECT_ERREUR(Donnee().ListeOuverts("Z", liste, n), "nature");
}

TEST_P(DonneeTest, TextFilesAreReadLineByLine) {
  m_->EcritBrut("TVA.DOM",
                "Taux normal\r\nR\xE9"
                "duit\n\nsans fin");
  m_->EcritBrut("VIDE.DOM", "");
  m_->EcritBrut("CRLF.DOM", "a\r\n");
  bool existe = false;
  Donnee().Existe("tva.dom", existe);
  EXPECT_TRUE(existe);
  Donnee().Existe("ABS.DOM", existe);
  EXPECT_FALSE(existe);
  EXPECT_ERREUR(Donnee().Existe("../TVA.DOM", existe), "nom de fichier");

  int16_t h = 0;
  Donnee().OuvLect("Tva.Dom", h);
  std::vector<std::string> lines;
  bool fin = false;
  for (Donnee().FinFich(h, fin); !fin; Donnee().FinFich(h, fin)) {
    lines.emplace_back();
    Donnee().LireLigne(h, lines.back());
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"Taux normal", "Réduit", "", "sans fin"}));
  std::string l;
  EXPECT_ERREUR(Donnee().LireLigne(h, l), "dernière ligne");
  Donnee().FermeLect(h);
  EXPECT_ERREUR(Donnee().FinFich(h, fin), "aucun fichier texte");

  Donnee().OuvLect("VIDE.DOM", h);
  Donnee().FinFich(h, fin);
  EXPECT_TRUE(fin);
  Donnee().FermeLect(h);
  Donnee().OuvLect("CRLF.DOM", h);
  Donnee().LireLigne(h, l);
  EXPECT_EQ(l, "a");
  Donnee().FinFich(h, fin);
  EXPECT_TRUE(fin);
  EXPECT_ERREUR(Donnee().OuvLect("ABS.DOM", h), "absent");
}

TEST_P(DonneeTest, TextFilesAreWrittenWholeInWindows1252AndRemoved) {
  Donnee().EcritTexte("tva.dom", {"N : Taux normal", "R : réduit"});
  std::vector<std::string> lines;
  auto lit = [&] {
    lines.clear();
    int16_t h = 0;
    Donnee().OuvLect("TVA.DOM", h);
    bool fin = false;
    for (Donnee().FinFich(h, fin); !fin; Donnee().FinFich(h, fin)) {
      lines.emplace_back();
      Donnee().LireLigne(h, lines.back());
    }
    Donnee().FermeLect(h);
  };
  lit();
  EXPECT_EQ(lines, (std::vector<std::string>{"N : Taux normal", "R : réduit"}));
  // A line Windows-1252 cannot hold is refused and the old text stays.
  EXPECT_ERREUR(Donnee().EcritTexte("TVA.DOM", {"Ω"}), "Windows-1252");
  lit();
  EXPECT_EQ(lines.size(), 2u);
  EXPECT_ERREUR(Donnee().EcritTexte("../TVA.DOM", {}), "../TVA.DOM");
  Donnee().EcritTexte("TVA.DOM", {});
  lit();
  EXPECT_TRUE(lines.empty());
  Donnee().SupprimeTexte("TVA.DOM");
  Donnee().SupprimeTexte("TVA.DOM");
  bool existe = true;
  Donnee().Existe("TVA.DOM", existe);
  EXPECT_FALSE(existe);
}

INSTANTIATE_TEST_SUITE_P(Stockages, DonneeTest, ::testing::ValuesIn(Stockages()), NomDuStockage);

}  // namespace
}  // namespace vesk::essai
