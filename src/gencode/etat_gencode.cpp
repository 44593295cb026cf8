#include "gencode/etat_gencode.h"

#include <mutex>
#include <utility>

#include "platform/platform.h"

namespace vesk {

namespace {

// Per-thread objects through the platform's thread keys (see platform::ParThread).
platform::ParThread<std::shared_ptr<AffichageGenCode>>& AffichageThread() {
  static platform::ParThread<std::shared_ptr<AffichageGenCode>> affichage;
  return affichage;
}

std::mutex& VerrouAffichage() {
  static std::mutex verrou;
  return verrou;
}

std::shared_ptr<AffichageGenCode>& AffichageGlobal() {
  static std::shared_ptr<AffichageGenCode> affichage;
  return affichage;
}

}  // namespace

void InstalleAffichageGenCode(std::shared_ptr<AffichageGenCode> affichage) {
  std::lock_guard<std::mutex> garde(VerrouAffichage());
  AffichageGlobal() = std::move(affichage);
}

void InstalleAffichageGenCodeThread(std::shared_ptr<AffichageGenCode> affichage) {
  AffichageThread().Remplace(
      affichage ? std::make_unique<std::shared_ptr<AffichageGenCode>>(std::move(affichage))
                : nullptr);
}

std::shared_ptr<AffichageGenCode> AffichageCourant() {
  if (auto* propre = AffichageThread().Pointeur()) return *propre;
  std::lock_guard<std::mutex> garde(VerrouAffichage());
  return AffichageGlobal();
}

}  // namespace vesk
