#include "cli/commandes.h"

#include <ostream>

#include "cli/composant.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// One entry a command: add a command here once it works end to end; its help, its manual
// entry and its completion follow from the entry.
constexpr Commande kCommandes[] = {
    {"entfic", "", "Saisie des spécifications de fichiers (écran)",
     "L'écran de saisie des fichiers : nom, dépendance par entreprise, longueur, puis la liste "
     "des rubriques. F2 à F5 mènent aux tables B-arbres, aux chaînages, aux déclarations et à "
     "l'édition du fichier à l'écran.",
     "--script --transcript", CommandeEntFic},
    {"entdom", "", "Saisie des domaines de définition (écran)",
     "L'écran de saisie des domaines de définition : code, nom, fichier de définition. Flèche "
     "haut ou Page haut sur le code quitte l'écran.",
     "--script --transcript", CommandeEntDom},
    {"edtdom", "", "Édition des domaines de définition (PDF ; --output x.txt : texte)",
     "L'édition des domaines de définition et des valeurs de leurs fichiers .DOM : un PDF dans "
     "le dossier des éditions, ou le fichier de --output (.pdf ou .txt ; « - » : le texte sur la "
     "sortie standard).",
     "--output", CommandeEdtDom, Argument::kAucun, "", "vesk edtdom --output -"},
    {"edtfic", "NOM", "Édition des spécifications du fichier NOM (PDF ; --output x.txt : texte)",
     "L'édition des spécifications du fichier NOM : ses rubriques, ses tables B-arbres et ses "
     "chaînages.",
     "--output", CommandeEdtFic, Argument::kNomFichier, "Nom du fichier",
     "vesk edtfic CLIENT --output client.pdf"},
    {"edtlfic", "", "Édition de la liste des fichiers spécifiés (PDF ; --output x.txt : texte)",
     "L'édition de la liste des fichiers spécifiés, avec leurs tables B-arbres et leurs "
     "chaînages.",
     "--output", CommandeEdtLFic},
    {"ficapp", "", "Édition de l'application : la liste des fichiers puis chacun (PDF ; --output)",
     "L'édition de l'application : la liste des fichiers spécifiés, puis les spécifications de "
     "chacun.",
     "--output", CommandeFicApp},
    {"lectba", "[NOM]",
     "Lecture d'un B-arbre ouvert : en-tête, noeuds libres, contrôle (PDF ; --output)",
     "La lecture d'un B-arbre ouvert (ceux du dictionnaire et de l'application) : son en-tête, "
     "ses noeuds libres et le contrôle de ses clés. Sans NOM, le B-arbre est choisi sur un "
     "écran ; avec NOM (CLI1, FIC...), sans écran ni terminal. Le code de sortie est 1 quand le "
     "contrôle trouve le B-arbre endommagé.",
     "--script --transcript --output", CommandeLectBA, Argument::kAucun, "",
     "vesk lectba CLI1 --output cli1.txt"},
    {"reconsba", "[NOM...]",
     "Reconstruction des B-arbres : compactage, chaînages, B-arbres (écran ; NOM... ou --tous)",
     "La reconstruction des B-arbres : chaque fichier choisi est compacté (ses enregistrements "
     "supprimés retirés), les pointeurs de ses chaînages suivent, puis tous ses B-arbres sont "
     "reconstruits. Sans NOM ni --tous, l'écran de choix ; sinon sans écran, un résumé par "
     "fichier sur la sortie et une barre de progression dans un terminal. --dictionnaire "
     "reconstruit les B-arbres du dictionnaire lui-même depuis ses fichiers, quand ils sont "
     "endommagés ou perdus.",
     "--script --transcript --output --tous --force --dictionnaire", CommandeReConsBA,
     Argument::kNomFichier, "", "vesk reconsba --tous"},
    {"entba", "NOM", "Saisie des tables B-arbres du fichier NOM (écran)",
     "L'écran de saisie des tables B-arbres du fichier NOM : nom, nature, longueur et liste de "
     "la clé.",
     "--script --transcript", CommandeEntBa, Argument::kNomFichier, "Nom du fichier"},
    {"entchain", "NOM", "Saisie des chaînages du fichier NOM (écran)",
     "L'écran de saisie des chaînages du fichier NOM : fichier des lignes, fichier d'entête et "
     "positions de leurs pointeurs.",
     "--script --transcript", CommandeEntChain, Argument::kNomFichier, "Nom du fichier"},
    {"init", "[DOSSIER]", "Crée un dictionnaire vide dans DOSSIER (ou le dossier de données)",
     "Crée DOSSIER s'il le faut, un dictionnaire vide et un fichier vesk.ini commenté (s'il "
     "n'y en a pas) qui porte le nom de l'application et l'entreprise donnés.",
     "--application", CommandeInit, Argument::kDossier, "",
     "vesk init ventes --application VENTES --entreprise 01"},
    {"demo", "[DOSSIER]",
     "Crée un dossier de démonstration : un dictionnaire de facturation et ses données (clients, "
     "factures et lignes)",
     "Crée (ou complète) un dossier de démonstration : le dictionnaire d'une petite facturation "
     "(clients, factures, lignes, taux de TVA, pays, règlements) et ses données dans "
     "l'entreprise 01.",
     "", CommandeDemo, Argument::kDossier, "", "vesk demo /tmp/vesk-demo"},
    {"decl", "NOM",
     "Écrit les déclarations du fichier NOM (ouverture, lecture, écriture, variables)",
     "Les déclarations générées pour le fichier NOM : l'ouverture du fichier et de ses B-arbres, "
     "la lecture et l'écriture de ses enregistrements, ses variables. Dans un terminal, le "
     "visualiseur « Génération de Code » ; sinon la sortie.",
     "--output --output-dir --encoding --eol", CommandeDecl, Argument::kNomFichier, "",
     "vesk decl CLIENT --eol lf --output client.bas"},
    {"genps", "[NOM]", "Génère le programme de saisie du fichier NOM (écran sans NOM)",
     "Le programme de saisie d'un fichier : sans NOM, son écran de génération ; avec NOM, le "
     "programme du fichier NOM avec toutes les valeurs par défaut, sur la sortie.",
     "--script --transcript --output --output-dir --encoding --eol", CommandeGenPS,
     Argument::kNomFichier, "Nom du fichier"},
    {"genpe", "[NOM]",
     "Génère le programme d'édition ou de sortie CSV du fichier NOM (--csv, --edition)",
     "Le programme d'édition ou de sortie CSV d'un fichier : sans NOM, son écran de génération ; "
     "avec NOM, le programme de sortie CSV du fichier NOM (--edition : l'édition imprimée) sur "
     "la sortie.",
     "--script --transcript --output --output-dir --encoding --eol --csv --edition", CommandeGenPE,
     Argument::kNomFichier, "Nom du fichier", "vesk genpe FACTUR --edition"},
    {"perimes", "[DOSSIER]",
     "Liste les programmes générés dans DOSSIER que le dictionnaire a changés, et ce qui a changé",
     "Compare chaque programme enregistré dans DOSSIER (par --output-dir ; défaut : PROGRAMMES "
     "du dossier de données) aux parties du dictionnaire dont il est fait : son fichier, ses "
     "rubriques, ses tables, ses chaînages et ses domaines. Liste ceux qui ont changé, avec ce "
     "qui a changé ; statut 1 s'il y en a.",
     "--output", CommandePerimes, Argument::kDossier, "", "vesk perimes"},
    {"regenere", "[DOSSIER]",
     "Régénère les programmes périmés de DOSSIER avec leurs réponses enregistrées",
     "Régénère chaque programme périmé de DOSSIER (défaut : PROGRAMMES du dossier de données) "
     "avec les réponses, l'encodage et les fins de ligne enregistrés, et montre les lignes qui "
     "ont changé dans chacun.",
     "--output", CommandeRegenere, Argument::kDossier, "", "vesk regenere"},
    {"usages", "NOM",
     "Où NOM est utilisé : fichiers, rubriques, listes de clé, chaînages, domaines, programmes",
     "Les utilisations de NOM, variable de rubrique, code de domaine, fichier ou table B-arbre : "
     "les fichiers, rubriques, listes de clé, chaînages et domaines qui le nomment, et les "
     "programmes enregistrés dans PROGRAMMES du dossier de données qui en sont faits, groupés "
     "par genre ; statut 1 quand rien ne l'utilise.",
     "--output", CommandeUsages, Argument::kNomFichier, "", "vesk usages CLNOM"},
#ifndef _WIN32
    {"site", "DOSSIER",
     "Écrit le dictionnaire en site statique dans DOSSIER : pages, diagramme, recherche",
     "Le dictionnaire en site à parcourir hors ligne (file://) : l'index des fichiers, domaines "
     "et tables B-arbres, une page par fichier (rubriques, tables, chaînages, utilisations, "
     "programmes enregistrés dans PROGRAMMES et s'ils sont périmés) et par domaine, le "
     "diagramme de l'application dessiné par Graphviz, et une recherche. DOSSIER est créé ou "
     "remplacé en entier, s'il est vide ou si c'est déjà un site ; rien d'autre n'est touché.",
     "--output", CommandeSite, Argument::kDossier, "", "vesk site /tmp/site"},
#endif
    {"export", "[FICHIER]",
     "Écrit le dictionnaire entier en texte TOML (sortie, --output ou FICHIER)",
     "Le dictionnaire entier en texte TOML (domaines, fichiers, rubriques, B-arbres, chaînages), "
     "à relire, comparer et réimporter.",
     "--output", CommandeExport, Argument::kFichier, "", "vesk export dico.toml"},
    {"import", "FICHIER",
     "Remplace le dictionnaire par le texte TOML de FICHIER (--dry-run : vérifie ; --migrate)",
     "Remplace le dictionnaire par le texte TOML de FICHIER, vérifié en entier puis écrit en un "
     "seul lot : tout ou rien. Quand la disposition de fichiers qui ont des données change, "
     "l'import est refusé, sauf --migrate : leurs données sont alors converties et mises en "
     "place avec le dictionnaire, les anciens fichiers gardés dans un dossier de sauvegarde daté "
     "(un schéma daté sur une base) (--dry-run --migrate montre le plan ; --truncate coupe les "
     "textes et arrondit les "
     "décimales qui ne tiennent pas).",
     "--dry-run --migrate --truncate", CommandeImport, Argument::kFichier, "",
     "vesk import --dry-run --migrate dico.toml"},
    {"donnees", "NOM",
     "Écrit les enregistrements du fichier NOM lus par le dictionnaire (CSV ; --json)",
     "Les enregistrements en service du fichier de données NOM, dans l'ordre de leurs numéros, "
     "lus par les règles de ses rubriques : en CSV (défaut ; le séparateur de vesk.ini, les "
     "variables en titres, les nombres avec leurs décimales après une virgule, les dates "
     "jj/mm/aaaa, les booléens O ou N, les pointeurs par leur numéro d'enregistrement) ou en JSON "
     "(--json : un objet par enregistrement). Un fichier qui dépend de l'entreprise est lu dans "
     "le dossier de l'entreprise courante (--entreprise). Une valeur que les règles refusent "
     "reste vide et est nommée sur la sortie d'erreur (statut 1).",
     "--output --csv --json", CommandeDonnees, Argument::kNomFichier, "",
     "vesk --entreprise 01 donnees CLIENT --output clients.csv"},
    {"verifie", "[NOM...]",
     "Vérifie les données des fichiers NOM (défaut : tous) d'après le dictionnaire (--json)",
     "Les données de l'application vérifiées d'après le dictionnaire, par fichier et par dossier "
     "d'entreprise : chaque enregistrement lu par les règles de ses rubriques et de leurs "
     "domaines, chaque B-arbre avec exactement une clé par enregistrement en service, celle que "
     "l'enregistrement donne, chaque chaînage entier, le fichier d'accord avec son en-tête. Un "
     "bilan par fichier (enregistrements, problèmes par genre avec les premiers numéros "
     "d'enregistrement) ; --json pour les outils. Rien n'est écrit : un dossier en lecture seule "
     "se vérifie aussi, et une base (stockage = postgresql://...) de même, table par table. Le "
     "code "
     "de sortie est 1 au moindre problème.",
     "--output --json", CommandeVerifie, Argument::kNomFichier, "", "vesk verifie CLIENT FACTUR"},
    {"config", "", "Affiche la configuration effective (vesk.ini et options), ou la change (--set)",
     "La configuration effective : vesk.ini du dossier de données et les options, au format de "
     "vesk.ini. Avec --set CLE=VALEUR, change cette clé dans vesk.ini (créé s'il manque) en "
     "gardant ses autres lignes et ses commentaires.",
     "--output --encoding --eol --script --set", CommandeConfig, Argument::kAucun, "",
     "vesk config --set application=VENTES"},
    {"help", "[COMMANDE]", "Affiche l'aide de vesk ou de la commande COMMANDE",
     "L'aide générale, ou celle de la commande COMMANDE : son usage, ses arguments et ses "
     "options.",
     "", CommandeAide, Argument::kCommande, "", "vesk help reconsba"},
#ifdef VESK_AVEC_PG
    {"copie", "SOURCE DESTINATION",
     "Copie les données d'un dossier dans une base PostgreSQL vide, ou d'une base dans un dossier",
     "Copie toutes les données d'une application, le dictionnaire compris (fichiers de données "
     "avec leurs enregistrements supprimés, B-arbres, textes .DOM, de chaque entreprise), d'un "
     "dossier de données dans une base PostgreSQL vide (postgresql://..., en une transaction), ou "
     "d'une base dans un dossier sans données (les fichiers mis en place ensemble). Le mot de "
     "passe vient de ~/.pgpass ou PGPASSWORD, jamais de l'adresse ; schema=NOM choisit le schéma "
     "racine (vesk par défaut). Une barre de progression dans un terminal.",
     "", CommandeCopie, Argument::kDossier, "",
     "vesk copie /srv/appli postgresql://serveur/compta"},
    {"sql", "vues|ddl", "Crée les vues SQL typées des données d'une base, ou les écrit en SQL",
     "Sur des données dans une base PostgreSQL (stockage = postgresql://... dans vesk.ini) : "
     "« vues » crée ou remplace, pour chaque fichier spécifié, la vue v_NOM de son schéma, une "
     "colonne par rubrique nommée d'après sa variable (texte, nombre avec ses décimales, entier, "
     "date, booléen), ainsi que les fonctions SQL qui décodent les enregistrements ; « ddl » écrit "
     "ces fonctions et ces vues en SQL sans rien changer. import et entfic refont les vues.",
     "--output", CommandeSql, Argument::kAucun, "", "vesk sql ddl --output vues.sql"},
#endif
};

// The words of a usage or an option list, separated by spaces.
std::vector<std::string_view> Mots(std::string_view texte) {
  std::vector<std::string_view> mots;
  size_t i = 0;
  while (i < texte.size()) {
    size_t fin = texte.find(' ', i);
    if (fin == std::string_view::npos) fin = texte.size();
    if (fin > i) mots.push_back(texte.substr(i, fin - i));
    i = fin + 1;
  }
  return mots;
}

}  // namespace

Contexte::Contexte(Configuration config, OptionsLigne options, std::ostream& sortie_standard,
                   std::ostream& erreurs)
    : config_(std::move(config)),
      options_(std::move(options)),
      sortie_standard_(sortie_standard),
      erreurs_(erreurs) {}

bool Contexte::SortieStandardDemandee() const {
  return !options_.sortie || *options_.sortie == kSortieStandard;
}

std::ostream& Contexte::Sortie() {
  if (SortieStandardDemandee()) return sortie_standard_;
  if (!fichier_.is_open()) {
    fichier_.open(*options_.sortie, std::ios::binary | std::ios::trunc);
    if (!fichier_) {
      throw ErreurService("Écriture du résultat", *options_.sortie,
                          "impossible de créer le fichier (--output)");
    }
  }
  return fichier_;
}

void Contexte::TermineSortie() {
  const bool standard = SortieStandardDemandee();
  std::ostream& sortie = standard ? sortie_standard_ : static_cast<std::ostream&>(fichier_);
  sortie.flush();
  if (!standard && fichier_.is_open()) fichier_.close();
  if (!sortie) {
    throw ErreurService("Écriture du résultat", standard ? "sortie standard" : *options_.sortie,
                        "écriture incomplète (disque plein ou sortie fermée)");
  }
}

std::string Contexte::NomFichier() const {
  if (options_.arguments.size() != 1) {
    throw ErreurUsage(options_.commande,
                      "un nom de fichier attendu : vesk " + options_.commande + " NOM");
  }
  return text::UpperAscii(options_.arguments.front());
}

std::string Contexte::FichierEdition() const {
  const std::optional<std::string>& sortie = options_.sortie;
  if (!sortie || *sortie == kSortieStandard) return sortie.value_or("");
  auto finit = [&](std::string_view fin) {
    return sortie->size() > fin.size() &&
           text::EqualNoCase(std::string_view(*sortie).substr(sortie->size() - fin.size()), fin);
  };
  if (!finit(".pdf") && !finit(".txt")) {
    throw ErreurUsage("--output", "« " + *sortie +
                                      " » : une édition s'écrit dans un fichier .pdf ou .txt, ou "
                                      "en texte sur la sortie standard (--output -)");
  }
  return *sortie;
}

int Edite(Contexte& contexte, const std::function<void(Composant&)>& edite, std::string_view rien,
          bool exige_dictionnaire) {
  std::unique_ptr<Composant> composant =
      OuvreComposant(contexte, contexte.Config(), contexte.FichierEdition(), exige_dictionnaire);
  edite(*composant);
  std::vector<std::string> ecrits = composant->EditionsEcrites();
  composant->Termine();  // the terminal is given back before anything is printed
  if (contexte.Options().sortie == kSortieStandard) {
    // The listing is the output: the notes go beside it.
    if (ecrits.empty()) contexte.Erreurs() << "vesk : " << rien << "\n";
    return 0;
  }
  std::ostream& sortie = contexte.SortieStandard();
  if (ecrits.empty()) sortie << rien << "\n";
  for (const std::string& chemin : ecrits) sortie << "Édition écrite dans " << chemin << "\n";
  return 0;
}

size_t Commande::MinArguments() const {
  size_t n = 0;
  for (std::string_view mot : Mots(usage)) n += mot.front() == '[' ? 0 : 1;
  return n;
}

size_t Commande::MaxArguments() const {
  const std::vector<std::string_view> mots = Mots(usage);
  for (std::string_view mot : mots) {
    if (mot.find("...") != std::string_view::npos) return SIZE_MAX;
  }
  return mots.size();
}

bool Commande::Prend(std::string_view option) const {
  for (std::string_view mot : Mots(options)) {
    if (mot == option) return true;
  }
  return false;
}

std::span<const Commande> Commandes() { return kCommandes; }

const Commande* TrouveCommande(std::string_view nom) {
  for (const Commande& commande : kCommandes) {
    if (text::EqualNoCase(commande.nom, nom)) return &commande;
  }
  return nullptr;
}

std::string Menu() {
  std::string menu = "Commandes :\n";
  size_t largeur = 0;
  for (const Commande& c : kCommandes) largeur = std::max(largeur, c.nom.size());
  for (const Commande& c : kCommandes) {
    menu += "  ";
    menu += c.nom;
    menu += std::string(largeur - c.nom.size() + 2, ' ');
    menu += c.description;
    menu += '\n';
  }
  return menu;
}

}  // namespace vesk::cli
