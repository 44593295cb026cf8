#include "cli/options.h"

#include <CLI/CLI.hpp>

#include "srv/erreur_service.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kOperation = "Ligne de commande";

CLI::Option* Texte(CLI::App& app, const char* nom, std::optional<std::string>& cible,
                   const char* type, const char* aide) {
  return app
      .add_option_function<std::string>(
          nom, [&cible](const std::string& v) { cible = v; }, aide)
      ->type_name(type)
      ->group("Options");
}

}  // namespace

void DeclareOptions(CLI::App& app, OptionsLigne& o) {
  Texte(app, "--data", o.data, "DOSSIER",
        "Dossier des données (défaut : la variable VESK_DATA, sinon le dossier courant)");
  Texte(app, "--entreprise", o.entreprise, "NOM",
        "Entreprise courante (remplace « entreprise » de vesk.ini)");
  Texte(app, "--script", o.script, "FICHIER",
        "Rejoue les réponses d'un script au lieu de lire le clavier");
  Texte(app, "--transcript", o.transcription, "FICHIER",
        "Avec --script : écrit dans ce fichier le compte rendu de chaque appel d'écran");
  app.add_option("--encoding", o.encodage_texte,
                 "Encodage du code généré : utf8 (défaut) ou cp1252")
      ->type_name("utf8|cp1252")
      ->group("Options");
  app.add_option("--eol", o.fin_texte, "Fins de ligne du code généré : crlf (défaut) ou lf")
      ->type_name("crlf|lf")
      ->group("Options");
  app.add_flag("--dry-run", o.essai, "Avec import : vérifie le texte sans rien écrire")
      ->group("Options");
  app.add_flag("--csv", o.csv, "Avec genpe NOM : un programme de sortie au format CSV (défaut)")
      ->group("Options");
  app.add_flag("--edition", o.edition, "Avec genpe NOM : un programme d'édition")->group("Options");
  app.add_flag("--tous", o.tous, "Avec reconsba : reconstruit tous les fichiers, sans écran")
      ->group("Options");
  app.add_flag("--force", o.force,
               "Avec reconsba NOM : compacte même quand des rubriques E ne suivent aucun chaînage")
      ->group("Options");
  app.add_flag("--dictionnaire", o.dictionnaire,
               "Avec reconsba : reconstruit les B-arbres du dictionnaire depuis ses fichiers, "
               "sans lire les anciens")
      ->group("Options");
  Texte(app, "--output", o.sortie, "FICHIER", "Écrit le résultat dans ce fichier");
  app.add_option("commande", o.commande, "La commande à exécuter (sans commande : le menu)")
      ->type_name("COMMANDE");
  app.add_option("arguments", o.arguments, "Les arguments de la commande")->type_name("ARGUMENTS");
  app.allow_extras();  // unknown options are refused by VerifieOptions, in French
}

void VerifieOptions(const CLI::App& app, OptionsLigne& o) {
  for (const std::string& reste : app.remaining()) {
    throw ErreurService(kOperation, reste, "option inconnue (vesk --help donne la liste)");
  }
  if (o.encodage_texte == "utf8") {
    o.encodage = Encodage::kUtf8;
  } else if (o.encodage_texte == "cp1252") {
    o.encodage = Encodage::kCp1252;
  } else {
    throw ErreurService(kOperation, "--encoding",
                        "encodage « " + o.encodage_texte + " » inconnu : utf8 ou cp1252 attendu");
  }
  if (o.fin_texte == "crlf") {
    o.fin_de_ligne = FinDeLigne::kCrLf;
  } else if (o.fin_texte == "lf") {
    o.fin_de_ligne = FinDeLigne::kLf;
  } else {
    throw ErreurService(kOperation, "--eol",
                        "fin de ligne « " + o.fin_texte + " » inconnue : crlf ou lf attendu");
  }
  using Nomme = std::pair<const char*, const std::optional<std::string>*>;
  for (const auto& [option, valeur] :
       {Nomme{"--data", &o.data}, Nomme{"--script", &o.script}, Nomme{"--output", &o.sortie},
        Nomme{"--transcript", &o.transcription}}) {
    if (valeur->has_value() && valeur->value().empty()) {
      throw ErreurService(kOperation, option, "un nom de fichier ou de dossier est attendu");
    }
  }
  if (o.transcription && !o.script) {
    throw ErreurService(kOperation, "--transcript",
                        "le compte rendu est celui des écrans scriptés : --script FICHIER est "
                        "nécessaire");
  }
}

std::string_view NomEncodage(Encodage encodage) {
  return encodage == Encodage::kUtf8 ? "utf8" : "cp1252";
}

std::string_view NomFinDeLigne(FinDeLigne fin) { return fin == FinDeLigne::kCrLf ? "crlf" : "lf"; }

}  // namespace vesk::cli
