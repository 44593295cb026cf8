#include "srv/config/configuration.h"

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk {
namespace {

Configuration Lit(std::string_view texte) {
  Configuration config;
  config.dossier = "/donnees";
  LecteurConfiguration lecteur(config, "/donnees/vesk.ini");
  LitConfiguration(texte, lecteur);
  return config;
}

// The error text of reading texte, or "" when it was read.
std::string ErreurDe(std::string_view texte) {
  try {
    Lit(texte);
  } catch (const ErreurService& e) {
    return e.what();
  }
  return "";
}

TEST(ConfigurationTest, DefaultsWhenEmpty) {
  Configuration config = Lit("");
  EXPECT_EQ(config.application, "");
  EXPECT_EQ(config.entreprise, "");
  EXPECT_EQ(config.separateur_csv, ";");
  EXPECT_EQ(config.synchro, Synchro::kFull);
  EXPECT_EQ(config.DossierEditions(), platform::JoinPath("/donnees", "EDITIONS"));
}

TEST(ConfigurationTest, ReadsEveryKeyWithCommentsSectionAndCrLf) {
  Configuration config =
      Lit("\xEF\xBB\xBF# Configuration de Vesk\r\n"
          "; commentaire\r\n"
          "[vesk]\r\n"
          "Application = Gestion Commerciale ; nom montré\r\n"
          "entreprise=SOC01\r\n"
          "\r\n"
          "editions : Sorties/PDF\r\n"
          "separateur_csv=;\r\n"
          "SYNCHRO = Off\r\n");
  EXPECT_EQ(config.application, "Gestion Commerciale");
  EXPECT_EQ(config.entreprise, "SOC01");
  EXPECT_EQ(config.DossierEditions(), platform::JoinPath("/donnees", "Sorties/PDF"));
  EXPECT_EQ(config.separateur_csv, ";");
  EXPECT_EQ(config.synchro, Synchro::kOff);
}

TEST(ConfigurationTest, QuotedValuesAndAbsoluteListingsFolder) {
  Configuration config =
      Lit("separateur_csv = \"\t\"\n"
          "application = \"  Paie;2024 \"\n"
          "editions = /srv/editions\n");
  EXPECT_EQ(config.separateur_csv, "\t");
  EXPECT_EQ(config.application, "  Paie;2024 ");
  EXPECT_EQ(config.DossierEditions(), "/srv/editions");
  EXPECT_EQ(Lit("editions = C:\\Editions\n").DossierEditions(), "C:\\Editions");
  EXPECT_EQ(Lit("separateur_csv = é\n").separateur_csv, "é");  // one character, two bytes
}

TEST(ConfigurationTest, BadValuesNameFileLineAndKey) {
  std::string e = ErreurDe("application = X\n\nsynchro = normal\n");
  EXPECT_NE(e.find("/donnees/vesk.ini, ligne 3"), std::string::npos) << e;
  EXPECT_NE(e.find("« synchro »"), std::string::npos) << e;
  EXPECT_NE(e.find("full ou off"), std::string::npos) << e;

  EXPECT_NE(ErreurDe("separateur_csv = \";;\"\n").find("un seul caractère"), std::string::npos);
  // "x = ;" is an empty value followed by a comment, refused with a hint.
  EXPECT_NE(ErreurDe("separateur_csv = ;\n").find("écrivez separateur_csv = \";\""),
            std::string::npos);
  EXPECT_NE(ErreurDe("separateur_csv = \"\"\n").find("valeur vide"), std::string::npos);
  EXPECT_NE(ErreurDe("separateur_csv = \"\"\"\n").find("guillemet"), std::string::npos);
  EXPECT_NE(ErreurDe("entreprise = ../autre\n").find("lettres"), std::string::npos);
  EXPECT_NE(ErreurDe("entreprise = Société\n").find("lettres"), std::string::npos);
  EXPECT_NE(ErreurDe("editions =\n").find("dossier est attendu"), std::string::npos);
  EXPECT_NE(ErreurDe("application = \"ouvert\n").find("guillemet fermant"), std::string::npos);
  // A ';' after a blank starts a comment even between quotes, as in every ini reader.
  EXPECT_NE(ErreurDe("application = \"a ;b\"\n").find("guillemet fermant"), std::string::npos);
}

TEST(ConfigurationTest, UnknownKeysSectionsAndRepeatsAreRefused) {
  std::string e = ErreurDe("[vesk]\nimprimante = LPT1\n");
  EXPECT_NE(e.find("ligne 2"), std::string::npos) << e;
  EXPECT_NE(e.find("clé inconnue « imprimante »"), std::string::npos) << e;

  e = ErreurDe("[autre]\nsynchro = off\n");
  EXPECT_NE(e.find("section inconnue « autre »"), std::string::npos) << e;

  e = ErreurDe("synchro = off\napplication = A\nsynchro = full\n");
  EXPECT_NE(e.find("ligne 3"), std::string::npos) << e;
  EXPECT_NE(e.find("déjà donnée ligne 1"), std::string::npos) << e;
}

TEST(ConfigurationTest, UnreadableLinesAndBytesAreRefused) {
  EXPECT_NE(ErreurDe("synchro off\n").find("ligne 1) : ligne illisible"), std::string::npos)
      << ErreurDe("synchro off\n");
  EXPECT_NE(ErreurDe("[vesk\n").find("« ] » manquant"), std::string::npos);
  EXPECT_NE(ErreurDe("synchro = off\n  suite\n").find("ligne en retrait"), std::string::npos);
  // "Société" saved in Windows-1252: the é is a lone 0xE9 byte.
  std::string e = ErreurDe("application = A\n; Soci\xE9t\xE9\n");
  EXPECT_NE(e.find("ligne 2"), std::string::npos) << e;
  EXPECT_NE(e.find("UTF-8"), std::string::npos) << e;
  EXPECT_NE(ErreurDe(std::string_view("a = b\0", 6)).find("code 0"), std::string::npos);
}

TEST(ConfigurationTest, OptionsOverrideWithTheSameChecks) {
  Configuration config = Lit("entreprise = SOC01\nsynchro = off\n");
  AppliqueOption(config, "--entreprise", "entreprise", "SOC02");
  EXPECT_EQ(config.entreprise, "SOC02");
  EXPECT_EQ(config.synchro, Synchro::kOff);
  try {
    AppliqueOption(config, "--entreprise", "entreprise", "a/b");
    FAIL() << "valeur acceptée";
  } catch (const ErreurService& e) {
    EXPECT_EQ(e.Objet(), "--entreprise");
    EXPECT_NE(e.Message().find("lettres"), std::string::npos);
  }
  EXPECT_EQ(config.entreprise, "SOC02");  // a refused value changes nothing
}

TEST(ConfigurationTest, DescriptionReadsBack) {
  Configuration config =
      Lit("application = Ventes ; 2025\nseparateur_csv = \";\"\nentreprise = A1\nsynchro = off\n"
          "script = ecrans.txt\n");
  std::string texte = DecritConfiguration(config);
  EXPECT_NE(texte.find("dossier = /donnees\n"), std::string::npos) << texte;
  // Every key but `dossier` reads back to the same values.
  std::string sans_dossier = texte.substr(texte.find('\n') + 1);
  Configuration relue = Lit(sans_dossier);
  EXPECT_EQ(relue.application, "Ventes");
  EXPECT_EQ(relue.separateur_csv, ";");
  EXPECT_EQ(relue.entreprise, "A1");
  EXPECT_EQ(relue.synchro, Synchro::kOff);
  EXPECT_EQ(relue.DossierEditions(), config.DossierEditions());
  EXPECT_EQ(relue.Chemin(relue.script), platform::JoinPath("/donnees", "ecrans.txt"));
  EXPECT_NE(ErreurDe("script =\n").find("un fichier est attendu"), std::string::npos);
}

}  // namespace
}  // namespace vesk
