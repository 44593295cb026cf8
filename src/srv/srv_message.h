// SrvMessage: a message box with a title, acknowledged by a key. One object per thread.
#ifndef VESK_SRV_SRV_MESSAGE_H_
#define VESK_SRV_SRV_MESSAGE_H_

#include <string_view>

namespace vesk {

class SrvMessage {
 public:
  virtual ~SrvMessage() = default;

  // Shows message (line ends kept, long lines cut between words) in a box titled titre over the
  // current screen and waits for a key; the screen is shown again afterwards.
  virtual void Affiche(std::string_view message, std::string_view titre) = 0;
  // Shows a long text (generated code, a listing written as text) in a viewer titled titre,
  // scrolled and searched by the user and saved to a file on request, until Esc; the screen is
  // shown again afterwards.
  virtual void Visionne(std::string_view texte, std::string_view titre) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_MESSAGE_H_
