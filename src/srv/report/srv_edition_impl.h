// SrvEditionImpl: the listing service. It records the calls of one listing, lays the pages out
// at Termine (the page count is known only then) and writes one file per output format into the
// listings folder. One object per thread; one listing at a time.
#ifndef VESK_SRV_REPORT_SRV_EDITION_IMPL_H_
#define VESK_SRV_REPORT_SRV_EDITION_IMPL_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "srv/report/layout.h"
#include "srv/report/renderer.h"
#include "srv/srv_edition.h"
#include "srv/suivi_progression.h"

namespace vesk {

// The imposed file that stands for the host's text stream (ConfigEdition::flux).
inline constexpr std::string_view kFluxTexte = "-";

struct ConfigEdition {
  // Listings folder (configuration "editions"; by default EDITIONS/ under the data folder),
  // created at the first listing written into it.
  std::string dossier;
  // Output when OuvEdt's sortie is "": "PDF", "TXT" or "PDF+TXT".
  std::string sortie = "PDF";
  // A path imposed by the host (e.g. `vesk --sortie x.pdf`), over OuvEdt's fichier ("" none).
  std::string fichier_impose;
  // The user's cancellation, asked after each printed line (empty: never cancelled).
  std::function<bool()> annule;
  // The clock giving the listing's date and file name (empty: platform::Maintenant).
  std::function<platform::DateHeure()> horloge;
  // The PDF renderer; null where it is not built (Windows): asking for PDF is then an error.
  std::unique_ptr<report::Renderer> pdf;
  // Receives the text of a listing whose imposed file is kFluxTexte (`vesk --output -`: standard
  // output); a listing asked as PDF is then refused. Empty: "-" is a file name like another.
  std::function<void(std::string_view texte)> flux;
  // Shows a listing's text to the user (output "ECRAN"); empty: that output is refused.
  std::function<void(std::string_view titre, std::string_view texte)> visionne;
  // Makes what shows how far the writing of a listing is (its layout, then the pages of each
  // file); empty: nothing is shown.
  std::function<std::unique_ptr<SuiviProgression>()> suivi;
};

class SrvEditionImpl : public SrvEdition {
 public:
  explicit SrvEditionImpl(ConfigEdition config);
  ~SrvEditionImpl() override;

  void OuvEdt(std::string_view titre, std::string_view sous_titre, std::string_view orientation,
              std::string_view sortie, std::string_view fichier, int16_t marge, int16_t lignes_page,
              bool date, bool numeros) override;
  void Termine(int16_t valeur) override;
  void DefEdt(std::string_view descripteur) override;
  void EcrCol(std::string_view cle, std::string_view texte, std::string_view option, int16_t gras,
              int16_t renvoi, int16_t souligne) override;
  void FermeEdt(std::string_view liste, bool trait) override;
  void ImprTexte(std::string_view texte, std::string_view style, std::string_view police,
                 std::string_view options) override;
  void FinLigne() override;
  void Saute(int16_t nombre) override;
  void SautPage() override;
  void SortieSuivante(std::string_view sortie) override;
  void Signet(std::string_view titre) override;
  void NomSuivant(std::string_view nom) override;

  // Paths of the files written by the last Termine (empty when nothing was written).
  const std::vector<std::string>& Ecrits() const { return ecrits_; }
  void FichiersEcrits(std::vector<std::string>& fichiers) override { fichiers = ecrits_; }
  // True while a listing is open (between OuvEdt and Termine).
  bool Ouverte() const { return edition_ != nullptr; }

 private:
  struct Edition;
  struct Cellule;

  Edition& ExigeOuverte(std::string_view operation) const;
  Edition& ExigeCadre(std::string_view operation) const;
  bool Interrompue(Edition& e);
  std::string Valeur(const report::Column& col, std::string_view texte, bool brut) const;
  report::Row Rangee(const Edition& e) const;
  void Ecrit(const Edition& e);
  report::Document MetEnPage(const Edition& e, SuiviProgression& suivi) const;

  ConfigEdition config_;
  std::unique_ptr<Edition> edition_;
  std::vector<std::string> ecrits_;
  std::string sortie_suivante_;  // imposed on the next listing by SortieSuivante
  std::string nom_suivant_;      // given to the next listing by NomSuivant
};

}  // namespace vesk

#endif  // VESK_SRV_REPORT_SRV_EDITION_IMPL_H_
