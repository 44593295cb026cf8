#include "cli/aide.h"

#include <algorithm>

#include "cli/options.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kTitre = "Vesk : Gestion des Fichiers et B-Arbre d'Application";
constexpr std::string_view kResume =
    "Vesk décrit les fichiers de données d'une application écrite en BASIC sur fichiers ISAM "
    "(rubriques, B-arbres, chaînages, domaines), édite cette description, inspecte et "
    "reconstruit les B-arbres, et génère les programmes qui ouvrent, lisent, écrivent, "
    "saisissent et éditent chaque fichier. Sans commande, dans un terminal, il montre le menu "
    "des écrans.";

struct Entree {
  std::string_view nom;
  std::string_view texte;
};

constexpr Entree kFichiers[] = {
    {"vesk.ini",
     "La configuration du dossier : application, entreprise, editions, separateur_csv, synchro, "
     "script (vesk config la montre, vesk config --set la change)."},
    {"FIC.DAT, LFIC.DAT, DOM.DAT, BA.DAT, CHAIN.DAT",
     "Le dictionnaire : fichiers, rubriques, domaines, tables B-arbres et chaînages, avec leurs "
     "B-arbres (fichiers .DAB)."},
    {"NOM.DAT, TABLE.DAB",
     "Les fichiers de données de l'application et leurs B-arbres ; ceux qui dépendent de "
     "l'entreprise sont dans le sous-dossier de l'entreprise courante."},
    {"CODE.DOM", "Les valeurs d'un domaine de définition, en texte."},
    {"EDITIONS/",
     "Les éditions (PDF ou texte), sauf si « editions » de vesk.ini en nomme un autre."},
    {"PROGRAMMES/",
     "Les programmes générés par --output-dir sans dossier, avec leur registre "
     "vesk-programmes.toml (vesk perimes, vesk regenere)."},
    {"ANOMALIES.LOG",
     "Les anomalies signalées (« @ ... »), datées, avec la procédure qui les a rencontrées, et le "
     "détail des erreurs qui ont fini une commande."},
    {"JOURNAL.LOG", "Le journal des outils de maintenance (reconstruction)."},
    {"VESK.JNL, VESK.LCK",
     "Le journal d'une écriture en cours (défait à l'ouverture suivante après un arrêt brutal) et "
     "le verrou des processus qui partagent le dossier."},
    {"*.NEUF, *.ANC", "Les fichiers d'une reconstruction pendant leur mise en place."},
};

constexpr Entree kEnvironnement[] = {
    {"VESK_DATA",
     "Le dossier des données quand --data n'est pas donné (sinon le dossier courant)."},
    {"TERM", "Le type du terminal des écrans."},
};

constexpr Entree kStatuts[] = {
    {"0", "Fait."},
    {"1", "Refusé ou échoué : le message dit pourquoi, rien n'est perdu."},
    {"2", "Erreur d'utilisation : commande, option ou argument (vesk help COMMANDE)."},
    {"130", "Interrompu par Ctrl+C sur un écran : le terminal est rendu, rien d'écrit n'est "
            "perdu."},
};

constexpr std::string_view kExemples[] = {
    "vesk demo /tmp/vesk-demo",
    "vesk --data /tmp/vesk-demo edtdom --output -",
    "vesk --data /tmp/vesk-demo export dico.toml",
    "vesk --data /tmp/vesk-demo import dico.toml",
    "vesk --data /tmp/vesk-demo reconsba --tous",
};

size_t Largeur(std::string_view texte) {
  return static_cast<size_t>(std::count_if(texte.begin(), texte.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// texte folded into lines of at most 79 columns, each begun by retrait spaces.
std::string Replie(std::string_view texte, size_t retrait) {
  std::string lignes, ligne;
  size_t i = 0;
  while (i < texte.size()) {
    size_t fin = texte.find(' ', i);
    if (fin == std::string_view::npos) fin = texte.size();
    const std::string_view mot = texte.substr(i, fin - i);
    if (!ligne.empty() && retrait + Largeur(ligne) + 1 + Largeur(mot) > 79) {
      lignes += std::string(retrait, ' ') + ligne + "\n";
      ligne.clear();
    }
    ligne += (ligne.empty() ? "" : " ") + std::string(mot);
    i = fin + 1;
  }
  if (!ligne.empty()) lignes += std::string(retrait, ' ') + ligne + "\n";
  return lignes;
}

// "  nom   texte" with texte folded under a column.
std::string Rubrique(std::string_view nom, std::string_view texte, size_t colonne) {
  const std::string tete = "  " + std::string(nom);
  const std::string corps = Replie(texte, colonne);
  if (Largeur(tete) + 2 > colonne) return tete + "\n" + corps;
  return tete + std::string(colonne - Largeur(tete), ' ') + corps.substr(colonne);
}

std::string Forme(const OptionAide& o) {
  std::string forme = o.court.empty() ? "" : std::string(o.court) + ", ";
  forme += o.nom;
  if (!o.valeur.empty()) forme += " " + std::string(o.valeur);
  return forme;
}

std::vector<const OptionAide*> OptionsDe(const Commande& c) {
  std::vector<const OptionAide*> liste;
  for (const OptionAide& o : Options()) {
    if (c.Prend(o.nom)) liste.push_back(&o);
  }
  return liste;
}

std::string_view TexteArgument(Argument a) {
  switch (a) {
    case Argument::kNomFichier:
      return "Un fichier du dictionnaire (en majuscules ou en minuscules).";
    case Argument::kFichier:
      return "Un fichier.";
    case Argument::kDossier:
      return "Un dossier de données (créé s'il manque ; sans lui, le dossier des données).";
    case Argument::kCommande:
      return "Une commande de vesk.";
    case Argument::kAucun:
      break;
  }
  return "";
}

// The usage's first word without its brackets and dots ("[NOM...]" gives "NOM").
std::string NomArgument(std::string_view usage) {
  std::string nom;
  for (char c : usage.substr(0, usage.find(' '))) {
    if (c != '[' && c != ']' && c != '.') nom += c;
  }
  return nom;
}

std::string Usage(const Commande& c) {
  std::string usage = "vesk [--data DOSSIER] " + std::string(c.nom);
  if (!c.usage.empty()) usage += " " + std::string(c.usage);
  if (!c.options.empty()) usage += " [OPTIONS]";
  return usage;
}

}  // namespace

std::string AideGenerale() {
  std::string aide = std::string(kTitre) + "\n\n";
  aide += "Utilisation : vesk [--data DOSSIER] COMMANDE [ARGUMENTS] [OPTIONS]\n";
  aide += "              vesk help [COMMANDE]\n\n" + Replie(kResume, 0) + "\nCommandes :\n";
  for (const Commande& c : Commandes()) aide += Rubrique(c.nom, c.description, 12);
  aide += "\nOptions générales :\n";
  for (const OptionAide& o : Options()) {
    if (o.generale) aide += Rubrique(Forme(o), o.aide, 26);
  }
  aide += "\nOptions des commandes (vesk help COMMANDE dit lesquelles) :\n";
  for (const OptionAide& o : Options()) {
    if (!o.generale) aide += Rubrique(Forme(o), o.aide, 26);
  }
  aide += "\nEnvironnement :\n";
  for (const Entree& e : kEnvironnement) aide += Rubrique(e.nom, e.texte, 12);
  aide += "\nCodes de sortie :\n";
  for (const Entree& e : kStatuts) aide += Rubrique(e.nom, e.texte, 6);
  aide += "\nLe manuel : man vesk.\n";
  return aide;
}

std::string AideCommande(const Commande& c) {
  std::string aide = "Utilisation : " + Usage(c) + "\n\n" + Replie(c.detail, 0);
  if (c.argument != Argument::kAucun) {
    aide += "\nArguments :\n" + Rubrique(NomArgument(c.usage), TexteArgument(c.argument), 14);
  }
  const std::vector<const OptionAide*> options = OptionsDe(c);
  if (!options.empty()) {
    aide += "\nOptions :\n";
    for (const OptionAide* o : options) aide += Rubrique(Forme(*o), o->aide, 26);
  }
  aide += "\nOptions générales :\n";
  for (const OptionAide& o : Options()) {
    if (o.generale) aide += Rubrique(Forme(o), o.aide, 26);
  }
  if (!c.exemple.empty()) aide += "\nExemple :\n  " + std::string(c.exemple) + "\n";
  return aide;
}

namespace {

// Text for roff: backslashes and hyphens escaped, no line taken for a request.
std::string Roff(std::string_view texte) {
  std::string r;
  for (char c : texte) {
    if (c == '\\') {
      r += "\\e";
    } else if (c == '-') {
      r += "\\-";
    } else {
      r += c;
    }
  }
  if (!r.empty() && (r.front() == '.' || r.front() == '\'')) r.insert(0, "\\&");
  return r;
}

std::string Gras(std::string_view t) { return "\\fB" + Roff(t) + "\\fR"; }
std::string Italique(std::string_view t) { return "\\fI" + Roff(t) + "\\fR"; }

// An option as the manual writes it: names in bold, the value in italics.
std::string FormeManuel(const OptionAide& o) {
  std::string forme = o.court.empty() ? "" : Gras(o.court) + ", ";
  forme += Gras(o.nom);
  if (!o.valeur.empty()) forme += " " + Italique(o.valeur);
  return forme;
}

std::string Paragraphe(std::string_view tete, std::string_view texte) {
  return ".TP\n" + std::string(tete) + "\n" + Roff(texte) + "\n";
}

std::string CommandeManuel(const Commande& c) {
  std::string tete = Gras(c.nom);
  if (!c.usage.empty()) tete += " " + Italique(c.usage);
  std::string m = Paragraphe(tete, c.detail);
  const std::vector<const OptionAide*> options = OptionsDe(c);
  if (!options.empty()) {
    std::string liste;
    for (const OptionAide* o : options) liste += (liste.empty() ? "" : ", ") + FormeManuel(*o);
    m += ".IP\nOptions : " + liste + ".\n";
  }
  if (!c.exemple.empty()) m += ".IP\nExemple : " + Gras(c.exemple) + "\n";
  return m;
}

}  // namespace

std::string PageManuel(std::string_view version, std::string_view date) {
  std::string m = ".\\\" -*- coding: UTF-8 -*-\n";
  m += ".\\\" Written by vesk-documentation from the help of vesk: edit the help, not this page.\n";
  m += ".TH VESK 1 \"" + Roff(date) + "\" \"vesk " + Roff(version) +
       "\" \"Commandes\"\n.nh\n.ad l\n";
  m += ".SH NOM\nvesk \\- dictionnaire de données et génération de code d'applications BASIC sur "
       "fichiers ISAM\n";
  m += ".SH SYNOPSIS\n" + Gras("vesk") + " [" + Gras("--data") + " " + Italique("DOSSIER") + "] " +
       Italique("COMMANDE") + " [" + Italique("ARGUMENTS") + "] [" + Italique("OPTIONS") +
       "]\n.br\n" + Gras("vesk help") + " [" + Italique("COMMANDE") + "]\n";
  m += ".SH DESCRIPTION\n" + Roff(kResume) + "\n.PP\n" + Roff(kTitre) + ".\n";
  m += ".SH COMMANDES\n";
  for (const Commande& c : Commandes()) m += CommandeManuel(c);
  m += ".SH OPTIONS\n";
  for (const OptionAide& o : Options()) {
    m += Paragraphe(FormeManuel(o),
                    std::string(o.aide) + (o.generale ? " (toutes les commandes)." : "."));
  }
  m += ".SH FICHIERS\nDans le dossier des données :\n";
  for (const Entree& e : kFichiers) m += Paragraphe(Italique(e.nom), e.texte);
  m += ".SH ENVIRONNEMENT\n";
  for (const Entree& e : kEnvironnement) m += Paragraphe(Gras(e.nom), e.texte);
  m += ".SH \"CODE DE RETOUR\"\n";
  for (const Entree& e : kStatuts) m += Paragraphe(Gras(e.nom), e.texte);
  m += ".SH EXEMPLES\n";
  for (std::string_view e : kExemples) m += ".nf\n" + Roff(e) + "\n.fi\n";
  m += ".SH \"VOIR AUSSI\"\nLa documentation de " + Italique("/usr/share/doc/vesk") + ".\n";
  return m;
}

namespace {

std::string Cas(std::string_view motif, std::string_view valeur) {
  return "    " + std::string(motif) + ") echo '" + std::string(valeur) + "' ;;\n";
}

std::string_view NomGenre(Genre g) {
  switch (g) {
    case Genre::kTexte:
      return "texte";
    case Genre::kFichier:
      return "fichier";
    case Genre::kDossier:
      return "dossier";
    case Genre::kChoix:
      return "choix";
    case Genre::kDrapeau:
      break;
  }
  return "drapeau";
}

std::string_view NomArgumentCompletion(Argument a) {
  switch (a) {
    case Argument::kNomFichier:
      return "nom";
    case Argument::kFichier:
      return "fichier";
    case Argument::kDossier:
      return "dossier";
    case Argument::kCommande:
      return "commande";
    case Argument::kAucun:
      break;
  }
  return "aucun";
}

// The part of the script that does not depend on the tables.
constexpr std::string_view kCorpsCompletion = R"BASH(
# The files of the dictionary: the [fichiers.NOM] tables of `vesk export` on the data folder
# given on the line (else VESK_DATA, else the current folder).
_vesk_noms() {
  "$@" export 2>/dev/null | sed -n 's/^\[fichiers\.\([A-Za-z0-9]*\)\]$/\1/p'
}

_vesk() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
  local i w commande='' dossier=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    w=${COMP_WORDS[i]}
    case $w in
      --data | --entreprise)
        dossier+=("$w" "${COMP_WORDS[i + 1]}")
        ((i++))
        ;;
      -*)
        case $(_vesk_genre_option "$w") in
          texte | fichier | dossier | choix) ((i++)) ;;
        esac
        ;;
      *) [[ -z $commande ]] && commande=$w ;;
    esac
  done
  COMPREPLY=()
  case $(_vesk_genre_option "$prev") in
    dossier)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      return
      ;;
    fichier)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return
      ;;
    choix)
      mapfile -t COMPREPLY < <(compgen -W "$(_vesk_choix "$prev")" -- "$cur")
      return
      ;;
    texte) return ;;
  esac
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$_vesk_generales $(_vesk_options "$commande")" -- "$cur")
    return
  fi
  if [[ -z $commande ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$_vesk_commandes" -- "$cur")
    return
  fi
  case $(_vesk_argument "$commande") in
    nom)
      mapfile -t COMPREPLY < <(compgen -W "$(_vesk_noms "${COMP_WORDS[0]}" "${dossier[@]}")" \
        -- "${cur^^}")
      ;;
    fichier)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      ;;
    dossier)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      ;;
    commande) mapfile -t COMPREPLY < <(compgen -W "$_vesk_commandes" -- "$cur") ;;
  esac
}
complete -F _vesk vesk
)BASH";

}  // namespace

std::string CompletionBash() {
  std::string s =
      "# bash completion of vesk, written by vesk-documentation from the help of vesk.\n";
  std::string commandes, generales, options, genres, choix, arguments;
  for (const Commande& c : Commandes()) {
    commandes += (commandes.empty() ? "" : " ") + std::string(c.nom);
    options += Cas(c.nom, c.options);
    arguments += Cas(c.nom, NomArgumentCompletion(c.argument));
  }
  for (const OptionAide& o : Options()) {
    std::string noms(o.nom);
    if (!o.court.empty()) noms = std::string(o.court) + " | " + noms;
    if (o.generale) generales += (generales.empty() ? "" : " ") + noms;
    genres += Cas(noms, NomGenre(o.genre));
    if (o.genre == Genre::kChoix) choix += Cas(o.nom, o.choix);
  }
  std::erase(generales, '|');
  s += "_vesk_commandes='" + commandes + "'\n_vesk_generales='" + generales + "'\n";
  s += "_vesk_options() {\n  case $1 in\n" + options + "  esac\n}\n";
  s += "_vesk_argument() {\n  case $1 in\n" + arguments + "  esac\n}\n";
  s += "_vesk_genre_option() {\n  case $1 in\n" + genres + "    *) echo aucun ;;\n  esac\n}\n";
  s += "_vesk_choix() {\n  case $1 in\n" + choix + "  esac\n}\n";
  return s + std::string(kCorpsCompletion);
}

}  // namespace vesk::cli
