// SrvMessageImpl: a message box with a title over the current screen, acknowledged by a key.
// One thread.
#ifndef VESK_SRV_TUI_SRV_MESSAGE_IMPL_H_
#define VESK_SRV_TUI_SRV_MESSAGE_IMPL_H_

#include <memory>
#include <string>
#include <vector>

#include "srv/srv_message.h"
#include "srv/tui/console.h"

namespace vesk::tui {

class SrvMessageImpl : public SrvMessage {
 public:
  explicit SrvMessageImpl(std::shared_ptr<Console> console) : console_(std::move(console)) {}

  void Affiche(std::string_view message, std::string_view titre) override;
  void Visionne(std::string_view texte, std::string_view titre) override;

 private:
  std::shared_ptr<Console> console_;
};

// The lines of texte cut at its line ends and between words to at most largeur characters.
std::vector<std::u32string> Coupe(std::u32string_view texte, size_t largeur);
// Draws a box titled titre holding lignes, centred in g.
void DessineBoite(Grille& g, std::string_view titre, const std::vector<std::u32string>& lignes);

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_SRV_MESSAGE_IMPL_H_
