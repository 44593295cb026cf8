#include "cli/application.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <ostream>

#include "cli/aide.h"
#include "cli/chargement.h"
#include "cli/commandes.h"
#include "cli/flux_echappe.h"
#include "cli/menu.h"
#include "cli/messages.h"
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

// What the user needs to know beside an error: that the work is done all the same (a failure
// past the commit point), or what repairs the damage it reports, when `vesk` has the command
// for it: a dictionary tree that does not check (its checksum, its links, its count against its
// file) or is lost is rebuilt from its data file by reconsba --dictionnaire, which reads nothing
// of it.
std::string Remede(const ErreurService& e) {
  if (dynamic_cast<const ErreurApresValidation*>(&e) != nullptr) {
    return "\n  (ce qui était demandé est fait : les fichiers seront mis à jour à la prochaine "
           "ouverture du dossier)";
  }
  if (!e.Endommage()) return "";
  for (const FichierDictionnaire& f : kFichiersDictionnaire) {
    if (f.longueur_cle != 0 && e.Objet() == text::UpperAscii(f.nom) + ".DAB") {
      return "\n  (vesk reconsba --dictionnaire reconstruit les B-arbres du dictionnaire depuis "
             "ses fichiers)";
    }
  }
  return "";
}

// The command named on the line (nullptr: none); an unknown one is a usage error.
const Commande* CommandeDemandee(const OptionsLigne& options) {
  if (options.commande.empty()) return nullptr;
  const Commande* commande = TrouveCommande(options.commande);
  if (commande == nullptr) {
    throw ErreurUsage(options.commande, "commande inconnue (vesk help donne la liste)");
  }
  return commande;
}

// Refuses an option that the command does not take, and a count of arguments its usage does
// not allow.
void ControleUsage(const CLI::App& app, const OptionsLigne& options, const Commande* commande) {
  for (std::string_view nom : OptionsDonnees(app)) {
    if (TrouveOption(nom)->generale) continue;
    if (commande == nullptr) {
      throw ErreurUsage(nom, "option d'une commande, donnée sans commande");
    }
    if (!commande->Prend(nom)) {
      throw ErreurUsage(nom, "option sans objet pour la commande " + std::string(commande->nom));
    }
  }
  if (commande == nullptr) return;
  const size_t n = options.arguments.size();
  if (n < commande->MinArguments() || n > commande->MaxArguments()) {
    const std::string attendu = "vesk " + std::string(commande->nom) +
                                (commande->usage.empty() ? "" : " " + std::string(commande->usage));
    throw ErreurUsage(
        commande->nom,
        (n < commande->MinArguments() ? "argument manquant : " : "argument en trop : ") + attendu);
  }
}

int Lance(const OptionsLigne& options, const Commande* commande, std::ostream& sortie,
          std::ostream& erreurs, std::optional<Configuration>& config) {
  // The help needs no data folder.
  config = commande != nullptr && commande->execute == CommandeAide ? Configuration{}
                                                                    : ChargeConfiguration(options);
  Contexte contexte(*config, options, sortie, erreurs);
  if (commande == nullptr) {
    if (MenuInteractif(contexte)) return MenuTerminal(contexte);
    contexte.Sortie() << kTitre << "\n\n" << Menu();
    contexte.TermineSortie();
    return kStatutFait;
  }
  int status = commande->execute(contexte);
  contexte.TermineSortie();
  return status;
}

}  // namespace

int CommandeAide(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (o.arguments.empty()) {
    contexte.Sortie() << AideGenerale();
    return kStatutFait;
  }
  const Commande* commande = TrouveCommande(o.arguments.front());
  if (commande == nullptr) {
    throw ErreurUsage(o.arguments.front(), "commande inconnue (vesk help donne la liste)");
  }
  contexte.Sortie() << AideCommande(*commande);
  return kStatutFait;
}

int Execute(int argc, char** argv, std::ostream& sortie, std::ostream& flux_erreurs) {
  // Every message goes out with its control characters made visible (flux_echappe.h).
  TamponEchappe tampon(flux_erreurs.rdbuf());
  std::ostream erreurs(&tampon);
  CLI::App app{kTitre, "vesk"};
  OptionsLigne options;
  std::optional<Configuration> config;
  try {
    app.set_help_flag();  // -h and --help are options of the table, for every command
    app.set_version_flag("-V,--version", "vesk " VESK_VERSION, "Affiche la version");
    DeclareOptions(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::Success& e) {  // --version
      return app.exit(e, sortie, erreurs);
    } catch (const CLI::ParseError& e) {
      throw ErreurUsage("", MessageAnalyse(e));
    }
    ControleOptions(app, options);
    const Commande* commande = CommandeDemandee(options);
    if (options.aide) {
      sortie << (commande != nullptr ? AideCommande(*commande) : AideGenerale());
      return kStatutFait;
    }
    ControleUsage(app, options, commande);
    return Lance(options, commande, sortie, erreurs, config);
  } catch (const Interruption& e) {
    erreurs << "vesk : " << e.Message() << "\n";
    return kStatutInterruption;
  } catch (const ErreurUsage& e) {
    erreurs << "vesk : " << TexteUtilisateur(e) << "\n";
    erreurs << "Aide : vesk help" << (options.commande.empty() ? "" : " " + options.commande)
            << "\n";
    return kStatutUsage;
  } catch (const ErreurService& e) {
    erreurs << "vesk : " << TexteUtilisateur(e) << GardeDetail(e, config) << Remede(e) << "\n";
  } catch (const std::exception& e) {
    erreurs << "vesk : erreur inattendue : " << e.what() << "\n";
  }
  return kStatutEchec;
}

}  // namespace vesk::cli
