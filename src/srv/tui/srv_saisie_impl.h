// SrvSaisieImpl: the entry screen on a terminal. Owns the screen's state (title, fields laid out
// from the descriptor, values shown, mode, messages) and redraws it whole into the console's grid
// at each change, so that a resize or a box drawn over it costs nothing to repair. One thread.
#ifndef VESK_SRV_TUI_SRV_SAISIE_IMPL_H_
#define VESK_SRV_TUI_SRV_SAISIE_IMPL_H_

#include <memory>
#include <string>
#include <vector>

#include "srv/srv_saisie.h"
#include "srv/tui/console.h"
#include "srv/tui/descripteur.h"
#include "srv/tui/editeur.h"

namespace vesk::tui {

// Lines of the screen: 0 the title, 1 the information line "I", then the fields, the line
// before last for a message of the current field too long to stand beside it, the last line
// "B".
class SrvSaisieImpl : public SrvSaisie {
 public:
  explicit SrvSaisieImpl(std::shared_ptr<Console> console);
  ~SrvSaisieImpl() override;

  void DefChamps(std::string_view descripteur) override;
  void Sai(std::string_view cle, std::string& valeur, int16_t& touche, int16_t touche_initiale,
           std::string_view options, std::string_view ligne) override;
  void Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) override;
  void Affiche(std::string_view cle, std::string_view valeur) override;
  void AffMode(std::string_view cle, std::string_view lettre, std::string_view mode) override;
  void MessChamp(std::string_view cle, std::string_view ligne, std::string_view message,
                 int16_t touche) override;
  void InitEcran(int16_t touche) override;
  void Message(std::string_view ligne, std::string_view texte) override;
  void Titre(std::string_view titre) override;

  // Draws the screen into g (the console's grid when painting).
  void Dessine(Grille& g);

 private:
  struct EtatChamp {
    std::string valeur;
    std::string mode;
    std::string lettre;
    std::string message;  // the field's "N" line
  };
  struct Place {
    int ligne = 0;  // 0-based line in the field area
    int colonne_libelle = 0;
    int colonne_boite = 0;
    int visible = 0;  // columns of the box on screen
  };

  size_t Index(std::string_view operation, std::string_view cle) const;
  void Redessine();
  std::vector<Place> Places(const Grille& g) const;
  void DessineChamp(Grille& g, size_t i, const Place& p, int y);
  void PlaceMessage(Grille& g, size_t i, const Place& p, int y, int x);
  void EcritLigne(std::string_view operation, std::string_view ligne, std::string texte);
  bool Termine(Editeur& ed, const Options& options, int16_t code);
  // Applies keys to ed (the first one initiale, when given) until a key ends the entry with a
  // value accepted; gives that key, Down and Tab read as Enter, Shift+Tab as Up.
  int16_t Edite(Editeur& ed, const Options& opts, std::optional<Touche> initiale);
  bool ChoisitOption(Editeur& ed, const Options& options);

  std::shared_ptr<Console> console_;
  std::string titre_;
  std::vector<Champ> champs_;
  std::vector<EtatChamp> etats_;
  std::string ligne_b_;
  std::string ligne_i_;
  std::string refus_;         // the refusal of the last key, until the next one
  std::string ligne_refus_;   // where it shows: "N", "B" or "I"
  std::string aide_options_;  // the options of the field being entered
  std::optional<size_t> courant_;
  Editeur* edition_ = nullptr;
  bool confirmation_ = false;
  int decalage_ = 0;  // first field line shown when the fields do not fit
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_SRV_SAISIE_IMPL_H_
