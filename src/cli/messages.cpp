#include "cli/messages.h"

#include <CLI/CLI.hpp>

#include "cli/options.h"
#include "platform/platform.h"
#include "srv/log/ligne_log.h"
#include "srv/log/srv_anomalie_impl.h"

namespace vesk::cli {

bool OperationInterne(std::string_view operation) {
  return !operation.empty() && operation.find(' ') == std::string_view::npos;
}

std::string TexteUtilisateur(const ErreurService& e) {
  const bool usage = dynamic_cast<const ErreurUsage*>(&e) != nullptr;
  if (!usage && !OperationInterne(e.Operation())) return e.Texte();
  if (e.Objet().empty()) return e.Message();
  return e.Objet() + " : " + e.Message();
}

std::string GardeDetail(const ErreurService& e, const std::optional<Configuration>& config) {
  if (!config || !OperationInterne(e.Operation())) return "";
  const std::string texte = e.Objet().empty() ? e.Message() : e.Objet() + " : " + e.Message();
  try {
    AjouteLigne(config->CheminDonnees(SrvAnomalieImpl::kNomFichier),
                LigneLog(Horodatage(platform::Maintenant()), e.Operation(), texte), false,
                "Journal des anomalies");
  } catch (const ErreurService& echec) {
    return " (détail non gardé dans " + std::string(SrvAnomalieImpl::kNomFichier) + " : " +
           echec.Message() + ")";
  }
  return "";
}

std::string MessageAnalyse(const CLI::ParseError& e) {
  // CLI11's messages are English: only the option's name, before the first ':', is kept.
  const std::string detail = e.what();
  const size_t deux_points = detail.find(':');
  const std::string option = detail.starts_with("-") && deux_points != std::string::npos
                                 ? detail.substr(0, deux_points)
                                 : "";
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&e) != nullptr && !option.empty()) {
    return "l'option " + option + " attend une valeur";
  }
  if (!option.empty()) return "valeur refusée pour l'option " + option;
  return "ligne de commande illisible";
}

}  // namespace vesk::cli
