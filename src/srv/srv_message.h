// SrvMessage: a message box with a title, acknowledged by a key. One object per thread.
#ifndef VESK_SRV_SRV_MESSAGE_H_
#define VESK_SRV_SRV_MESSAGE_H_

#include <string_view>

namespace vesk {

class SrvMessage {
 public:
  virtual ~SrvMessage() = default;

  // Shows message in a box titled titre and waits for a key.
  virtual void Affiche(std::string_view message, std::string_view titre) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_MESSAGE_H_
