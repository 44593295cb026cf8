// SrvChoixImpl: the choice of one or several elements of a list, in a box over the current
// screen (see ListeChoix). One thread.
#ifndef VESK_SRV_TUI_SRV_CHOIX_IMPL_H_
#define VESK_SRV_TUI_SRV_CHOIX_IMPL_H_

#include <memory>

#include "srv/srv_choix.h"
#include "srv/tui/console.h"

namespace vesk::tui {

class SrvChoixImpl : public SrvChoix {
 public:
  explicit SrvChoixImpl(std::shared_ptr<Console> console) : console_(std::move(console)) {}

  void Choix(std::string_view colonnes, std::string_view titre, std::string_view liste,
             bool& choisi, std::string& element) override;
  void ChoixMultiple(std::string_view colonnes, std::string_view titre, std::string_view liste,
                     bool& choisi, std::string& elements) override;

 private:
  std::shared_ptr<Console> console_;
};

}  // namespace vesk::tui

#endif  // VESK_SRV_TUI_SRV_CHOIX_IMPL_H_
