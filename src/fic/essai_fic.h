// The fixture of the component's tests that need a dictionary: the component's fixture
// (core/essai_composant.h) with dictionaries written as text (vesk's own format) rather than by
// hand. Shared by the test programs of the folders above core; one thread.
#ifndef VESK_FIC_ESSAI_FIC_H_
#define VESK_FIC_ESSAI_FIC_H_

#include <gtest/gtest.h>

#include <string>

#include "core/essai_composant.h"
#include "fic/dictionnaire_texte.h"

namespace vesk::fic {

// The component's fixture, with dictionaries written as text.
class DossierEssai : public ComposantEssai {
 protected:
  // Replaces the open dictionary by the text.
  void Importe(const std::string& texte) { ImporteDictionnaire(texte, "essai.toml", false); }
};

// Expects statement to throw ErreurService whose text holds part.
#define EXPECT_REFUS(statement, part)                                             \
  do {                                                                            \
    try {                                                                         \
      statement;                                                                  \
      ADD_FAILURE() << "pas d'erreur, « " << (part) << " » attendu";              \
    } catch (const ::vesk::ErreurService& e) {                                    \
      EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what(); \
    }                                                                             \
  } while (0)

}  // namespace vesk::fic

#endif  // VESK_FIC_ESSAI_FIC_H_
