#include "srv/erreur_service.h"

namespace vesk {

namespace {

// "Operation (objet) : message", or "Operation : message" when there is no object.
std::string Compose(std::string_view operation, std::string_view objet, std::string_view message) {
  std::string text(operation);
  if (!objet.empty()) {
    text += " (";
    text += objet;
    text += ")";
  }
  text += " : ";
  text += message;
  return text;
}

}  // namespace

ErreurService::ErreurService(std::string_view operation, std::string_view objet,
                             std::string_view message, bool endommage)
    : std::runtime_error(Compose(operation, objet, message)),
      texte_(Compose(operation, objet, message)),
      operation_(operation),
      objet_(objet),
      message_(message),
      endommage_(endommage) {}

}  // namespace vesk
