// The text viewer of generated code ("Génération de Code"): scrolling, search, saving the text
// to a file, Esc to close. The text is kept as given (line ends included) and saved unchanged.
// One thread.
#ifndef VESK_SRV_TUI_VISIONNEUSE_H_
#define VESK_SRV_TUI_VISIONNEUSE_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "srv/tui/console.h"
#include "srv/tui/editeur.h"

namespace vesk::tui {

class Visionneuse {
 public:
  Visionneuse(std::string titre, std::string texte);

  // Shows the text until Esc.
  void Montre(Console& console);

  // For tests: draws into g, applies one key (false once closed).
  void Dessine(Grille& g);
  bool Applique(const Touche& t, const Grille& g);
  size_t PremiereLigne() const { return haut_; }
  const std::string& MessageBas() const { return message_; }

 private:
  enum class Saisie { kAucune, kRecherche, kFichier, kRemplacer };

  // Lines of text shown: the screen less the title and the key lines.
  int Hauteur(const Grille& g) const;
  bool AppliqueSaisie(const Touche& t);
  // A key other than a movement: scroll sideways (Left, Right), search again (F3), enter a
  // search (F2) or a file name to save to (F4).
  void AppliqueCommande(int16_t code);
  void Cherche(bool suivante);
  void Enregistre(bool remplacer);
  void Deplace(long delta, const Grille& g);

  std::string titre_;
  std::string texte_;
  std::vector<std::u32string> lignes_;
  size_t haut_ = 0;
  size_t gauche_ = 0;
  std::optional<size_t> trouvee_;
  std::u32string recherche_;
  std::u32string fichier_;
  std::string message_;
  Saisie saisie_ = Saisie::kAucune;
  std::unique_ptr<Editeur> editeur_;
};

// Shows texte in a viewer titled titre (the generated code: "Génération de Code").
void MontreTexte(Console& console, std::string_view titre, std::string_view texte);

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_VISIONNEUSE_H_
