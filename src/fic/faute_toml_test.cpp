#include "fic/faute_toml.h"

#include <gtest/gtest.h>
#include <toml++/toml.h>

#include <string>

namespace vesk::fic {
namespace {

std::string FauteDe(const std::string& texte) {
  try {
    (void)toml::parse(texte);
  } catch (const toml::parse_error& e) {
    return TraduitFauteToml(e.description());
  }
  return "(lu sans faute)";
}

// Texts a user mistypes, read by the real reader: each fault comes out in French.
TEST(FauteToml, LesFautesFrequentesSontTraduites) {
  struct Cas {
    const char* texte;
    const char* attendu;
  };
  for (const Cas& c : {
           Cas{"a = fi\n", "lecture d'un booléen : « false » attendu, trouvé « fi »"},
           Cas{"a 1\n", "lecture d'une ligne « clé = valeur » : « = » attendu, trouvé « 1 »"},
           Cas{"a = \"x\\q\"\n",
               "lecture d'une chaîne : séquence d'échappement inconnue « \\q » (\\\\, \\\", \\n, "
               "\\t, \\uXXXX sont connues)"},
           Cas{"a = 1\na = 2\n", "« a » est déjà défini plus haut"},
           Cas{"a = [1, 2\n", "lecture d'un tableau : le texte s'arrête avant la fin de l'élément"},
           Cas{"a = [1 2]\n", "lecture d'un tableau : une virgule ou « ] » attendu, trouvé « 2 »"},
           Cas{"a = \"x\n", "lecture d'une chaîne : caractère de contrôle dans une chaîne"},
           Cas{"a = 007\n", "lecture d'un entier : un nombre ne commence pas par des zéros"},
           Cas{"a = 1 2\n",
               "lecture d'une ligne « clé = valeur » : la fin de la ligne ou un commentaire "
               "attendu, trouvé « 2 »"},
           Cas{"a = @\n",
               "lecture d'une valeur : valeur illisible (texte entre guillemets, "
               "nombre, true, false, [ ] ou { } attendu)"},
       }) {
    const std::string faute = FauteDe(c.texte);
    EXPECT_NE(faute.find(c.attendu), std::string::npos) << c.texte << " → " << faute;
    EXPECT_EQ(faute.find("Error"), std::string::npos) << faute;
  }
}

// A fault the table does not know keeps the reader's words, quoted and attributed.
TEST(FauteToml, UneFauteInconnueEstCiteeEtAttribuee) {
  EXPECT_EQ(TraduitFauteToml("Error while parsing time: expected hour between 0 and 23, saw 25"),
            "lecture d'une heure : texte TOML illisible (selon le lecteur TOML : « expected hour "
            "between 0 and 23, saw 25 »)");
  EXPECT_EQ(TraduitFauteToml("Error while parsing gizmo: something odd"),
            "lecture de « gizmo » : texte TOML illisible (selon le lecteur TOML : « something "
            "odd »)");
  EXPECT_EQ(TraduitFauteToml("expected '\\n' after '\\r', saw EOF"),
            "texte TOML illisible (selon le lecteur TOML : « expected '\\n' after '\\r', saw "
            "EOF »)");
}

}  // namespace
}  // namespace vesk::fic
