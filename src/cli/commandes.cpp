#include "cli/commandes.h"

#include <ostream>

#include "cli/composant.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

// One line a command. Add a command here once it works end to end.
constexpr Commande kCommandes[] = {
    {"entfic", "Saisie des spécifications de fichiers (écran)", CommandeEntFic},
    {"entdom", "Saisie des domaines de définition (écran)", CommandeEntDom},
    {"edtdom", "Édition des domaines de définition (PDF ; --output x.txt : texte)", CommandeEdtDom},
    {"edtfic", "Édition des spécifications du fichier NOM (PDF ; --output x.txt : texte)",
     CommandeEdtFic, "Nom du fichier"},
    {"edtlfic", "Édition de la liste des fichiers spécifiés (PDF ; --output x.txt : texte)",
     CommandeEdtLFic},
    {"ficapp", "Édition de l'application : la liste des fichiers puis chacun (PDF ; --output)",
     CommandeFicApp},
    {"lectba", "Lecture d'un B-arbre ouvert : en-tête, noeuds libres, contrôle (PDF ; --output)",
     CommandeLectBA},
    {"reconsba",
     "Reconstruction des B-arbres : compactage, chaînages, B-arbres (écran ; NOM... ou --tous)",
     CommandeReConsBA},
    {"entba", "Saisie des tables B-arbres du fichier NOM (écran)", CommandeEntBa, "Nom du fichier"},
    {"entchain", "Saisie des chaînages du fichier NOM (écran)", CommandeEntChain, "Nom du fichier"},
    {"init", "Crée un dictionnaire vide dans DOSSIER (ou le dossier de données)", CommandeInit},
    {"demo",
     "Crée un dossier de démonstration : un dictionnaire de facturation et ses données (clients, "
     "factures et lignes)",
     CommandeDemo},
    {"decl", "Écrit les déclarations du fichier NOM (ouverture, lecture, écriture, variables)",
     CommandeDecl},
    {"genps", "Génère le programme de saisie du fichier NOM (écran sans NOM)", CommandeGenPS,
     "Nom du fichier"},
    {"genpe", "Génère le programme d'édition ou de sortie CSV du fichier NOM (--csv, --edition)",
     CommandeGenPE, "Nom du fichier"},
    {"export", "Écrit le dictionnaire entier en texte TOML (sortie, --output ou FICHIER)",
     CommandeExport},
    {"import", "Remplace le dictionnaire par le texte TOML de FICHIER (--dry-run : vérifie)",
     CommandeImport},
    {"config", "Affiche la configuration effective (vesk.ini et options)", CommandeConfig},
#ifdef VESK_AVEC_PG
    {"copie",
     "Copie les données d'un dossier dans une base PostgreSQL (vide), ou d'une base dans un "
     "dossier : SOURCE DESTINATION",
     CommandeCopie},
#endif
};

}  // namespace

Contexte::Contexte(Configuration config, OptionsLigne options, std::ostream& sortie_standard,
                   std::ostream& erreurs)
    : config_(std::move(config)),
      options_(std::move(options)),
      sortie_standard_(sortie_standard),
      erreurs_(erreurs) {}

std::ostream& Contexte::Sortie() {
  if (!options_.sortie) return sortie_standard_;
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
  std::ostream& sortie = options_.sortie ? static_cast<std::ostream&>(fichier_) : sortie_standard_;
  sortie.flush();
  if (options_.sortie && fichier_.is_open()) fichier_.close();
  if (!sortie) {
    throw ErreurService("Écriture du résultat",
                        options_.sortie ? *options_.sortie : "sortie standard",
                        "écriture incomplète (disque plein ou sortie fermée)");
  }
}

void Contexte::SansArgument() const {
  if (!options_.arguments.empty()) {
    throw ErreurService("Ligne de commande", options_.commande,
                        "argument inattendu « " + options_.arguments.front() + " »");
  }
}

std::string Contexte::NomFichier() const {
  if (options_.arguments.size() != 1) {
    throw ErreurService("Ligne de commande", options_.commande,
                        "un nom de fichier attendu : vesk " + options_.commande + " NOM");
  }
  return text::UpperAscii(options_.arguments.front());
}

std::string Contexte::FichierEdition() const {
  const std::optional<std::string>& sortie = options_.sortie;
  if (!sortie) return "";
  auto finit = [&](std::string_view fin) {
    return sortie->size() > fin.size() &&
           text::EqualNoCase(std::string_view(*sortie).substr(sortie->size() - fin.size()), fin);
  };
  if (!finit(".pdf") && !finit(".txt")) {
    throw ErreurService("Ligne de commande", "--output",
                        "« " + *sortie + " » : une édition s'écrit dans un fichier .pdf ou .txt");
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
  std::ostream& sortie = contexte.SortieStandard();
  if (ecrits.empty()) sortie << rien << "\n";
  for (const std::string& chemin : ecrits) sortie << "Édition écrite dans " << chemin << "\n";
  return 0;
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
