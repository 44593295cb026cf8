// The fixture of the component's tests that need a dictionary: the component's fixture
// (core/testing/composant.h) with dictionaries written as text (vesk's own format) rather than by
// hand. Shared by the test programs of the folders above core; one thread.
#ifndef VESK_FIC_TESTING_DICTIONNAIRE_H_
#define VESK_FIC_TESTING_DICTIONNAIRE_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/testing/composant.h"
#include "dom/testing/domaines.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/table_champs.h"
#include "srv/log/srv_anomalie_impl.h"

namespace vesk::fic {

// The component's fixture, with dictionaries written as text.
class DossierEssai : public ComposantEssai {
 protected:
  // Replaces the open dictionary by the text.
  void Importe(const std::string& texte) {
    ImporteDictionnaire(Etat(), texte, "essai.toml", false);
  }
};

// The fixture of the listing tests: listings written as text, the closing calls noted.
class EditionEssai : public DossierEssai {
 protected:
  ServicesInterface Interface(std::shared_ptr<script::Session> s) override {
    ServicesInterface i = DossierEssai::Interface(s);
    termines_ = std::make_shared<std::vector<int16_t>>();
    i.edition = [d = (dossier_ / "EDITIONS").string(), termines = termines_] {
      return std::make_unique<dom::EditionNotee>(Editions(d), termines);
    };
    i.ecran = [s, n = annule_au_] { return std::make_unique<dom::EcranAnnulable>(s, n); };
    return i;
  }
  // The text of the one listing written by the last call.
  std::string Listing() {
    auto& edition = dynamic_cast<SrvEditionImpl&>(Etat().Edition());
    EXPECT_EQ(edition.Ecrits().size(), 1u);
    return edition.Ecrits().empty() ? "" : Contenu(edition.Ecrits()[0]);
  }
  std::vector<Rapport> Anomalies() {
    return dynamic_cast<SrvAnomalieImpl&>(Etat().Anomalie()).Rapports();
  }
  // Compares texte with the reference file nom of the folder dossier (VESK_REGOLDEN=1 rewrites
  // it).
  void Golden(const std::string& texte, const std::string& nom,
              const std::string& dossier = "src/fic/testdata") {
    const char* source = std::getenv("VESK_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path chemin = std::filesystem::path(source) / dossier / nom;
    if (std::getenv("VESK_REGOLDEN") != nullptr) std::ofstream(chemin, std::ios::binary) << texte;
    EXPECT_EQ(texte, Contenu(chemin)) << "fichier de référence " << chemin;
  }
  // Lines of texte holding part.
  static int Compte(const std::string& texte, const std::string& part) {
    int n = 0;
    for (size_t p = texte.find(part); p != std::string::npos; p = texte.find(part, p + 1)) ++n;
    return n;
  }
  std::shared_ptr<std::vector<int16_t>> termines_;
  int annule_au_ = 0;  // the user cancels the listing at this poll of Annule (0: never)
};

// A file read from a text, the field rules' defaults applied and its fields placed (as the
// import writes it), and its field table.
inline Fichier FichierComplet(Fichier f) {
  CompleteFichier(Etat(), f);
  return f;
}
inline TableChamps TableComplete(const Fichier& f) {
  return TableChamps::De(Etat(), FichierComplet(f));
}

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
