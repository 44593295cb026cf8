#include "cli/application.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "cli/chargement.h"
#include "cli/commandes.h"
#include "cli/flux_echappe.h"
#include "cli/menu.h"
#include "cli/options.h"
#include "core/dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

#ifndef VESK_VERSION
#define VESK_VERSION "inconnue"
#endif

namespace vesk::cli {

namespace {

constexpr const char* kTitre = "Vesk : Gestion des Fichiers et B-Arbre d'Application";

void Francise(CLI::App& app) {
  auto formatter = app.get_formatter();
  formatter->label("Usage", "Utilisation ");
  formatter->label("Positionals", "Arguments");
  formatter->label("REQUIRED", "OBLIGATOIRE");
  formatter->column_width(34);
  app.set_help_flag("-h,--help", "Affiche cette aide")->group("Options");
  app.set_version_flag("--version", "vesk " VESK_VERSION, "Affiche la version")->group("Options");
  app.footer("\n" + Menu() + "\nLes erreurs finissent par un message et le code de sortie 1.");
}

// A French message for what CLI11 refused.
std::string MessageAnalyse(const CLI::ParseError& e) {
  std::string detail = e.what();
  size_t deux_points = detail.find(':');
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&e) != nullptr && detail.starts_with("--") &&
      deux_points != std::string::npos) {
    return "l'option " + detail.substr(0, deux_points) + " attend une valeur";
  }
  return "ligne de commande incorrecte (" + detail + ")";
}

// What repairs the damage an error reports, when `vesk` has the command for it: a dictionary
// tree that does not check (its checksum, its links, its count against its file) or is lost
// is rebuilt from its data file by reconsba --dictionnaire, which reads nothing of it.
std::string Remede(const ErreurService& e) {
  if (!e.Endommage()) return "";
  for (const FichierDictionnaire& f : kFichiersDictionnaire) {
    if (f.longueur_cle != 0 && e.Objet() == text::UpperAscii(f.nom) + ".DAB") {
      return "\n  (vesk reconsba --dictionnaire reconstruit les B-arbres du dictionnaire depuis "
             "ses fichiers)";
    }
  }
  return "";
}

int Lance(const OptionsLigne& options, std::ostream& sortie, std::ostream& erreurs) {
  const Commande* commande = nullptr;
  if (!options.commande.empty()) {
    commande = TrouveCommande(options.commande);
    if (commande == nullptr) {
      throw ErreurService("Ligne de commande", options.commande,
                          "commande inconnue (vesk sans commande donne la liste)");
    }
  }
  Contexte contexte(ChargeConfiguration(options), options, sortie, erreurs);
  if (commande == nullptr) {
    contexte.SansArgument();
    if (MenuInteractif(contexte)) return MenuTerminal(contexte);
    contexte.Sortie() << kTitre << "\n\n" << Menu();
    contexte.TermineSortie();
    return 0;
  }
  int status = commande->execute(contexte);
  contexte.TermineSortie();
  return status;
}

}  // namespace

int Execute(int argc, char** argv, std::ostream& sortie, std::ostream& flux_erreurs) {
  // Every message goes out with its control characters made visible (flux_echappe.h).
  TamponEchappe tampon(flux_erreurs.rdbuf());
  std::ostream erreurs(&tampon);
  CLI::App app{kTitre, "vesk"};
  OptionsLigne options;
  try {
    Francise(app);
    DeclareOptions(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::Success& e) {  // --help, --version
      return app.exit(e, sortie, erreurs);
    } catch (const CLI::ParseError& e) {
      throw ErreurService("Ligne de commande", "", MessageAnalyse(e));
    }
    VerifieOptions(app, options);
    return Lance(options, sortie, erreurs);
  } catch (const ErreurService& e) {
    erreurs << "vesk : " << e.Texte() << Remede(e) << "\n";
  } catch (const std::exception& e) {
    erreurs << "vesk : erreur inattendue : " << e.what() << "\n";
  }
  return 1;
}

}  // namespace vesk::cli
