// SrvSaisieImpl: the entry screen on a terminal. Owns the screen's state (title, fields laid out
// from the descriptor, values shown, mode, messages, rules) and redraws it whole into the
// console's grid at each change, so that a resize or a box drawn over it costs nothing to
// repair. One thread.
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

// Lines of the screen, from the top: the title; the information line "I", folded on as many
// lines as it needs; the fields. From the bottom: line "B", the key line of the field being
// entered, its rule (RegleChamp), and its message when too long to stand beside it. Every text
// is folded, never cut (Plie).
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
  void RegleChamp(std::string_view cle, std::string_view regle) override;
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
    std::string aide_b;   // its message on "B" given before its first entry: the hint
    std::string regle;    // RegleChamp
    bool entre = false;   // entered since the screen was laid out
  };
  // Where a field stands in the field area.
  struct Place {
    int ligne = 0;  // 0-based line in the field area
    int colonne_libelle = 0;
    int colonne_boite = 0;
    int largeur = 1;  // columns of the box on each of its lines
    int lignes = 1;   // lines of the box: a field wider than the line goes on below
    // Column after the box's last line, where the mode and the message start.
    int Apres(const Champ& c) const {
      return colonne_boite + (c.longueur - (lignes - 1) * largeur) + 1;
    }
  };

  size_t Index(std::string_view operation, std::string_view cle) const;
  void Redessine();
  std::vector<Place> Places(const Grille& g) const;
  void DessineChamp(Grille& g, size_t i, const Place& p, int y);
  // The message of field i (its "N" line, a refusal, its options) and whether it stands beside
  // the field; the current field's message goes under the fields when it does not.
  std::string MessageChamp(size_t i) const;
  bool Tient(const Grille& g, size_t i, const Place& p) const;
  std::string TexteB() const;
  std::string TexteTouches() const;
  // Draws the fields in the area of hauteur lines from line haut, scrolled to the current one.
  void DessineChamps(Grille& g, const std::vector<Place>& places, int haut, int hauteur);
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
