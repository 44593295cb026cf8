// `vesk config`: prints the effective configuration, in the format of vesk.ini, followed by the
// options that shape the output of the other commands, as comments; `vesk config --set
// cle=valeur` changes keys of vesk.ini. `vesk init [DIR]` writes a commented vesk.ini.
#include <fstream>
#include <ostream>
#include <sstream>

#include "cli/chargement.h"
#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/programmes.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kOperation = "Écriture de vesk.ini";

// The text of vesk.ini ("" when the file is absent).
std::string TexteIni(const std::string& chemin) {
  bool existe = false;
  const platform::IoStatus st = platform::FileExists(chemin, &existe);
  if (!st.ok()) throw ErreurService("Lecture de vesk.ini", chemin, st.message);
  if (!existe) return "";
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  if (!in && !in.eof()) throw ErreurService("Lecture de vesk.ini", chemin, "lecture impossible");
  return tout.str();
}

// Writes texte as the new vesk.ini, after reading it back as vesk reads it: a text it would refuse
// is never written. Through a temporary file renamed over it: a reader sees the old file or the
// new one.
void EcritIni(const std::string& chemin, const std::string& texte) {
  Configuration verifiee;
  LitIni(texte, chemin, verifiee);
  EcritFichierEntier(chemin, texte, kOperation);
}

// "cle=valeur" taken apart.
std::pair<std::string, std::string> Reglage(const std::string& reglage) {
  const size_t egal = reglage.find('=');
  if (egal == std::string::npos || egal == 0) {
    throw ErreurUsage("--set", "« " + reglage + " » : CLE=VALEUR attendu");
  }
  return {reglage.substr(0, egal), reglage.substr(egal + 1)};
}

// The vesk.ini that init writes: every key explained, those not given left as comments.
std::string ModeleIni(const std::string& application, const std::string& entreprise) {
  auto cle = [](std::string_view nom, const std::string& valeur, std::string_view exemple) {
    return valeur.empty() ? "; " + std::string(nom) + " = " + std::string(exemple) + "\n"
                          : std::string(nom) + " = " + ValeurIni(valeur) + "\n";
  };
  return "; vesk.ini : la configuration de ce dossier de données de Vesk.\n"
         "; Une clé par ligne, « clé = valeur » ; une ligne qui commence par « ; » ou « # » est\n"
         "; un commentaire. vesk config montre la configuration effective et\n"
         "; vesk config --set clé=valeur en change une.\n\n"
         "; Le nom de l'application, repris par le code généré (Sub Ouv de vesk decl).\n" +
         cle("application", application, "NOM") +
         "\n; L'entreprise courante : les fichiers qui dépendent de l'entreprise sont dans son\n"
         "; sous-dossier (lettres et chiffres).\n" +
         cle("entreprise", entreprise, "01") +
         "\n; Le dossier des éditions (défaut : EDITIONS dans ce dossier).\n; editions = EDITIONS\n"
         "\n; Le séparateur des champs des sorties CSV générées (défaut : « ; »).\n"
         "; separateur_csv = \";\"\n"
         "\n; full : chaque écriture atteint le disque (défaut) ; off : plus rapide, au risque de\n"
         "; perdre les dernières écritures en cas de coupure de courant.\n; synchro = full\n";
}

int ChangeConfiguration(Contexte& contexte) {
  const std::string chemin = contexte.Config().CheminDonnees(kFichierConfiguration);
  std::string texte = TexteIni(chemin);
  for (const std::string& reglage : contexte.Options().reglages) {
    const auto [cle, valeur] = Reglage(reglage);
    texte = ChangeCle(texte, cle, valeur);
  }
  EcritIni(chemin, texte);
  for (const std::string& reglage : contexte.Options().reglages) {
    contexte.Sortie() << chemin << " : " << reglage << "\n";
  }
  return 0;
}

}  // namespace

int CommandeConfig(Contexte& contexte) {
  const OptionsLigne& o = contexte.Options();
  if (!o.reglages.empty()) return ChangeConfiguration(contexte);
  std::ostream& sortie = contexte.Sortie();
  sortie << DecritConfiguration(contexte.Config());
  sortie << "; encodage du code généré = " << NomEncodage(o.encodage) << "\n";
  sortie << "; fins de ligne du code généré = " << NomFinDeLigne(o.fin_de_ligne) << "\n";
  if (o.script) sortie << "; --script = " << *o.script << "\n";
  return 0;
}

int CommandeInit(Contexte& contexte) {
  Configuration config = DossierCible(contexte);
  const OptionsLigne& o = contexte.Options();
  const std::string chemin = config.CheminDonnees(kFichierConfiguration);
  std::string texte = TexteIni(chemin);
  const std::string application = o.application.value_or("");
  const std::string entreprise = o.entreprise.value_or("");
  if (texte.empty()) {
    EcritIni(chemin, ModeleIni(application, entreprise));
  } else if (!application.empty() || !entreprise.empty()) {
    if (!application.empty()) texte = ChangeCle(texte, "application", application);
    if (!entreprise.empty()) texte = ChangeCle(texte, "entreprise", entreprise);
    EcritIni(chemin, texte);
  }
  OuvreComposant(contexte, config)->Termine();
  contexte.Sortie() << "Dictionnaire prêt dans " << config.dossier << " (configuration : " << chemin
                    << ")\n";
  if (application.empty() && config.application.empty()) {
    contexte.Sortie() << "Nom de l'application à donner : vesk --data " << config.dossier
                      << " config --set application=NOM\n";
  }
  return 0;
}

}  // namespace vesk::cli
