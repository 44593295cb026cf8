// Test support of the generators: a small service factory (real text and list services, a
// recording anomaly service, a screen service that names the application) and a dictionary on
// a fresh data folder, filled through OuvS and the services as the entry screens fill it.
// One thread: each fixture installs its services for the calling thread.
#ifndef VESK_GENCODE_TESTING_GENERATEURS_H_
#define VESK_GENCODE_TESTING_GENERATEURS_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/ass.h"
#include "core/etat_module.h"

namespace vesk {

// The anomalies reported to the anomaly service: (message, procedure).
using Signalements = std::vector<std::pair<std::string, std::string>>;

// Text and list services, a recording anomaly service and a screen service naming app; the
// rest refused. Dropped with the module and generator states at TearDown.
class ServicesEssai : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::shared_ptr<Signalements> signalements_ = std::make_shared<Signalements>();
};

// The generated text cut into its lines (the text begins with CR LF: line 0 is empty).
std::vector<std::string> Lignes(const std::string& texte);

// A dictionary in a fresh data folder (standard services, application "GESCOM"), opened by
// OuvS, with helpers that add entries as the entry screens do.
class DictionnaireEssai : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void AjouteFichier(std::string_view nom, std::string_view dfe, std::string_view longueur);
  // A field line chained last under the Fic record of fichier.
  void AjouteRubrique(std::string_view fichier, std::string_view variable, int16_t taille);
  void AjouteBArbre(std::string_view nom, std::string_view fichier, std::string_view nature,
                    std::string_view longueur_cle);
  void AjouteChainage(std::string_view ligne, std::string_view pnea, std::string_view pnes,
                      std::string_view entete, std::string_view ppe, std::string_view pde);
  // The reports the anomaly service received since SetUp: (message, procedure).
  Signalements Rapports() const;

  std::filesystem::path dossier_;
  std::shared_ptr<AsS> ass_;
};

}  // namespace vesk

#endif  // VESK_GENCODE_SOUTIEN_TEST_H_
