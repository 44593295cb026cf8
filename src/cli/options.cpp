#include "cli/options.h"

#include <CLI/CLI.hpp>

namespace vesk::cli {

namespace {

using O = OptionsLigne;

// One line an option; the commands that take it name it in their own line (commandes.cpp).
const OptionAide kOptions[] = {
    {"--data", "", "DOSSIER",
     "Dossier des données (défaut : la variable VESK_DATA, sinon le dossier courant)",
     Genre::kDossier, "", true, &O::data},
    {"--entreprise", "", "NOM", "Entreprise courante (remplace « entreprise » de vesk.ini)",
     Genre::kTexte, "", true, &O::entreprise},
    {"--help", "-h", "", "Affiche l'aide (de la commande qui précède ou suit)", Genre::kDrapeau, "",
     true, nullptr, nullptr, &O::aide},
    {"--version", "-V", "", "Affiche la version", Genre::kDrapeau, "", true},
    {"--output", "", "FICHIER",
     "Écrit le résultat dans FICHIER (« - » : la sortie standard) ; une édition va dans un "
     "fichier .pdf ou .txt, ou en texte sur la sortie standard",
     Genre::kFichier, "", false, &O::sortie},
    {"--output-dir", "", "[DOSSIER]",
     "Écrit le programme NOM.bas dans DOSSIER (sans valeur : PROGRAMMES du dossier de données) et "
     "l'enregistre pour vesk perimes et vesk regenere",
     Genre::kDossier, "", false, &O::dossier_programmes, nullptr, nullptr, nullptr, true},
    {"--script", "", "FICHIER", "Rejoue les réponses d'un script au lieu de lire le clavier",
     Genre::kFichier, "", false, &O::script},
    {"--transcript", "", "FICHIER",
     "Avec --script : écrit dans ce fichier le compte rendu de chaque appel d'écran",
     Genre::kFichier, "", false, &O::transcription},
    {"--encoding", "", "utf8|cp1252", "Encodage du code généré : utf8 (défaut) ou cp1252",
     Genre::kChoix, "utf8 cp1252", false, nullptr, &O::encodage_texte},
    {"--eol", "", "crlf|lf", "Fins de ligne du code généré : crlf (défaut) ou lf", Genre::kChoix,
     "crlf lf", false, nullptr, &O::fin_texte},
    {"--csv", "", "",
     "Au format CSV (défaut) : le programme de sortie (genpe), les enregistrements (donnees)",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::csv},
    {"--json", "", "", "Au format JSON : les enregistrements (donnees), le bilan (verifie)",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::json},
    {"--edition", "", "", "Un programme d'édition imprimée", Genre::kDrapeau, "", false, nullptr,
     nullptr, &O::edition},
    {"--tous", "", "", "Reconstruit tous les fichiers, sans écran", Genre::kDrapeau, "", false,
     nullptr, nullptr, &O::tous},
    {"--force", "", "",
     "Compacte même quand des rubriques E ne suivent aucun chaînage (sans écran)", Genre::kDrapeau,
     "", false, nullptr, nullptr, &O::force},
    {"--dictionnaire", "", "",
     "Reconstruit les B-arbres du dictionnaire depuis ses fichiers, sans lire les anciens",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::dictionnaire},
    {"--dry-run", "", "", "Vérifie le texte sans rien écrire (avec --migrate : le plan)",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::essai},
    {"--migrate", "", "",
     "Convertit les données des fichiers dont la disposition change, avec le dictionnaire",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::migre},
    {"--truncate", "", "",
     "Avec --migrate : coupe les textes et arrondit les décimales qui ne tiennent pas",
     Genre::kDrapeau, "", false, nullptr, nullptr, &O::tronque},
    {"--application", "", "NOM", "Nom de l'application écrit dans vesk.ini", Genre::kTexte, "",
     false, &O::application},
    {"--set", "", "CLE=VALEUR",
     "Change une clé de vesk.ini (plusieurs fois pour plusieurs clés), les autres lignes gardées",
     Genre::kTexte, "", false, nullptr, nullptr, nullptr, &O::reglages},
};

std::string Noms(const OptionAide& o) {
  return o.court.empty() ? std::string(o.nom) : std::string(o.court) + "," + std::string(o.nom);
}

}  // namespace

std::span<const OptionAide> Options() { return kOptions; }

const OptionAide* TrouveOption(std::string_view nom) {
  for (const OptionAide& o : kOptions) {
    if (o.nom == nom || (!o.court.empty() && o.court == nom)) return &o;
  }
  return nullptr;
}

void DeclareOptions(CLI::App& app, OptionsLigne& o) {
  for (const OptionAide& d : kOptions) {
    CLI::Option* option = nullptr;
    if (d.texte != nullptr) {
      std::optional<std::string>* cible = &(o.*d.texte);
      option = app.add_option_function<std::string>(
          Noms(d), [cible](const std::string& v) { *cible = v; }, std::string(d.aide));
    } else if (d.chaine != nullptr) {
      option = app.add_option(Noms(d), o.*d.chaine, std::string(d.aide));
    } else if (d.liste != nullptr) {
      option = app.add_option(Noms(d), o.*d.liste, std::string(d.aide))->allow_extra_args(false);
    } else if (d.drapeau != nullptr) {
      option = app.add_flag(Noms(d), o.*d.drapeau, std::string(d.aide));
    } else {
      continue;  // --version: declared by the application
    }
    if (!d.valeur.empty()) option->type_name(std::string(d.valeur));
    if (d.valeur_facultative) option->expected(0, 1);
  }
  app.add_option("commande", o.commande, "La commande à exécuter (sans commande : le menu)");
  app.add_option("arguments", o.arguments, "Les arguments de la commande");
  app.allow_extras();  // unknown options are refused by ControleOptions, in French
}

std::vector<std::string_view> OptionsDonnees(const CLI::App& app) {
  std::vector<std::string_view> donnees;
  for (const OptionAide& d : kOptions) {
    const CLI::Option* option = app.get_option_no_throw(std::string(d.nom));
    if (option != nullptr && option->count() > 0) donnees.push_back(d.nom);
  }
  return donnees;
}

void ControleOptions(const CLI::App& app, OptionsLigne& o) {
  for (const std::string& reste : app.remaining()) {
    throw ErreurUsage(reste, "option inconnue (vesk help donne la liste)");
  }
  if (o.encodage_texte == "utf8") {
    o.encodage = Encodage::kUtf8;
  } else if (o.encodage_texte == "cp1252") {
    o.encodage = Encodage::kCp1252;
  } else {
    throw ErreurUsage("--encoding",
                      "encodage « " + o.encodage_texte + " » inconnu : utf8 ou cp1252 attendu");
  }
  if (o.fin_texte == "crlf") {
    o.fin_de_ligne = FinDeLigne::kCrLf;
  } else if (o.fin_texte == "lf") {
    o.fin_de_ligne = FinDeLigne::kLf;
  } else {
    throw ErreurUsage("--eol",
                      "fin de ligne « " + o.fin_texte + " » inconnue : crlf ou lf attendu");
  }
  using Nomme = std::pair<const char*, const std::optional<std::string>*>;
  for (const auto& [option, valeur] :
       {Nomme{"--data", &o.data}, Nomme{"--script", &o.script}, Nomme{"--output", &o.sortie},
        Nomme{"--transcript", &o.transcription}}) {
    if (valeur->has_value() && valeur->value().empty()) {
      throw ErreurUsage(option, "un nom de fichier ou de dossier est attendu");
    }
  }
  if (o.transcription && !o.script) {
    throw ErreurUsage("--transcript",
                      "le compte rendu est celui des écrans scriptés : --script FICHIER est "
                      "nécessaire");
  }
}

std::string_view NomEncodage(Encodage encodage) {
  return encodage == Encodage::kUtf8 ? "utf8" : "cp1252";
}

std::string_view NomFinDeLigne(FinDeLigne fin) { return fin == FinDeLigne::kCrLf ? "crlf" : "lf"; }

}  // namespace vesk::cli
