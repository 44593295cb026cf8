#include "srv/config/configuration.h"

#include <cstdint>

#include "platform/platform.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kOperation = "Lecture de la configuration";
constexpr std::string_view kClesConnues =
    "application, entreprise, editions, separateur_csv, synchro, script, stockage";
constexpr std::string_view kBlancs = " \t\r\n";

bool EstBlanc(char c) { return kBlancs.find(c) != std::string_view::npos; }

std::string_view SansBlancs(std::string_view s) { return text::Trim(s, kBlancs); }

bool ContientControle(std::string_view s) {
  for (char c : s) {
    auto u = static_cast<uint8_t>(c);
    if (u < 0x20 || u == 0x7F) return true;
  }
  return false;
}

std::string Cite(std::string_view s) { return "« " + std::string(s) + " »"; }

// Checks the value of a key and stores it; returns the reason of a refusal, empty when taken.
std::string Affecte(Configuration& config, const std::string& cle, std::string_view valeur) {
  if (!text::IsValidUtf8(valeur)) {
    return "la valeur de " + Cite(cle) + " n'est pas un texte UTF-8 valide";
  }
  std::string refus = "valeur " + Cite(valeur) + " refusée pour " + Cite(cle) + " : ";
  if (cle == "application") {
    if (ContientControle(valeur)) return refus + "caractère de contrôle";
    config.application = valeur;
  } else if (cle == "entreprise") {
    for (char c : valeur) {
      bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
      if (!alnum) return refus + "seules des lettres (sans accent) et des chiffres sont admises";
    }
    config.entreprise = valeur;
  } else if (cle == "editions") {
    if (valeur.empty()) return refus + "un dossier est attendu";
    if (ContientControle(valeur)) return refus + "caractère de contrôle";
    config.editions = valeur;
  } else if (cle == "separateur_csv") {
    if (valeur.empty()) {
      return refus + "valeur vide (un « ; » précédé d'un blanc commence un commentaire : " +
             "écrivez separateur_csv = \";\")";
    }
    if (text::CountChars(valeur) != 1) return refus + "un seul caractère est attendu";
    if ((ContientControle(valeur) && valeur != "\t") || valeur == "\"") {
      return refus + "ni guillemet ni caractère de contrôle (la tabulation est admise)";
    }
    config.separateur_csv = valeur;
  } else if (cle == "synchro") {
    std::string v = text::LowerAscii(valeur);
    if (v != "full" && v != "off") return refus + "full ou off attendu";
    config.synchro = v == "full" ? Synchro::kFull : Synchro::kOff;
  } else if (cle == "script") {
    if (valeur.empty()) return refus + "un fichier est attendu";
    if (ContientControle(valeur)) return refus + "caractère de contrôle";
    config.script = valeur;
  } else if (cle == "stockage") {
    if (!valeur.empty()) {
      AdresseBase adresse;
      std::string pourquoi = AnalyseAdresseBase(valeur, adresse);
      if (!pourquoi.empty()) return refus + pourquoi;
    }
    config.stockage = valeur;
  } else {
    return "clé inconnue " + Cite(cle) + " (clés reconnues : " + std::string(kClesConnues) + ")";
  }
  return {};
}

// A value between double quotes is taken as written, without them.
bool OteGuillemets(std::string_view& valeur) {
  if (valeur.empty() || valeur.front() != '"') return true;
  if (valeur.size() < 2 || valeur.back() != '"') return false;
  valeur = valeur.substr(1, valeur.size() - 2);
  return true;
}

// Position of an inline comment: a ';' that follows a blank, or npos.
size_t DebutCommentaire(std::string_view s) {
  for (size_t i = 1; i < s.size(); ++i) {
    if (s[i] == ';' && EstBlanc(s[i - 1])) return i;
  }
  return std::string_view::npos;
}

}  // namespace

std::string Configuration::DossierEditions() const {
  return Chemin(editions.empty() ? "EDITIONS" : editions);
}

std::string Configuration::Chemin(std::string_view chemin) const {
  bool absolu = !chemin.empty() && (chemin.front() == '/' || chemin.front() == '\\' ||
                                    (chemin.size() >= 2 && chemin[1] == ':'));
  return absolu ? std::string(chemin) : platform::JoinPath(dossier, chemin);
}

std::string Configuration::CheminDonnees(std::string_view nom) const {
  return platform::JoinPath(dossier, nom);
}

std::string_view NomSynchro(Synchro synchro) { return synchro == Synchro::kFull ? "full" : "off"; }

std::string ValeurIni(std::string_view v) {
  bool cite = v.empty() || EstBlanc(v.front()) || EstBlanc(v.back()) || v.front() == '"' ||
              v.find(';') != std::string_view::npos;
  return cite ? "\"" + std::string(v) + "\"" : std::string(v);
}

std::string DecritConfiguration(const Configuration& config) {
  const auto valeur = ValeurIni;
  std::string out;
  out += "dossier = " + valeur(config.dossier) + "\n";
  out += "application = " + valeur(config.application) + "\n";
  out += "entreprise = " + valeur(config.entreprise) + "\n";
  out += "editions = " + valeur(config.DossierEditions()) + "\n";
  out += "separateur_csv = " + valeur(config.separateur_csv) + "\n";
  out += "synchro = " + std::string(NomSynchro(config.synchro)) + "\n";
  if (!config.script.empty()) out += "script = " + valeur(config.Chemin(config.script)) + "\n";
  if (!config.stockage.empty()) out += "stockage = " + valeur(config.stockage) + "\n";
  return out;
}

LecteurConfiguration::LecteurConfiguration(Configuration& config, std::string fichier)
    : config_(config), fichier_(std::move(fichier)) {}

void LecteurConfiguration::ControleTexte(std::string_view texte) const {
  int ligne = 1;
  size_t pos = 0;
  char32_t c = 0;
  while (pos < texte.size()) {
    if (texte[pos] == '\0') ErreurLigne(ligne, "octet de code 0 dans le fichier");
    if (!text::DecodeUtf8(texte, &pos, &c)) {
      ErreurLigne(ligne,
                  "le fichier n'est pas en UTF-8 (enregistrez-le en UTF-8, pas en Windows-1252)");
    }
    if (c == '\n') ++ligne;
  }
}

void LecteurConfiguration::Applique(std::string_view section, std::string_view cle,
                                    std::string_view valeur, int ligne) {
  std::string nom = text::LowerAscii(SansBlancs(cle));
  if (!section.empty() && !text::EqualNoCase(SansBlancs(section), "vesk")) {
    ErreurLigne(ligne, "clé " + Cite(nom) + " sous la section inconnue " +
                           Cite(std::string(section)) + " (seule [vesk] est lue)");
  }
  if (auto vu = lignes_.find(nom); vu != lignes_.end()) {
    ErreurLigne(ligne, "clé " + Cite(nom) + " déjà donnée ligne " + std::to_string(vu->second));
  }
  std::string_view v = SansBlancs(valeur);
  if (!OteGuillemets(v)) {
    ErreurLigne(ligne, "guillemet fermant manquant dans la valeur de " + Cite(nom));
  }
  std::string refus = Affecte(config_, nom, v);
  if (!refus.empty()) ErreurLigne(ligne, refus);
  lignes_.emplace(nom, ligne);
}

void LecteurConfiguration::ErreurLigne(int ligne, std::string_view detail) const {
  throw ErreurService(kOperation, fichier_ + ", ligne " + std::to_string(ligne), detail);
}

void LitConfiguration(std::string_view texte, LecteurConfiguration& lecteur) {
  lecteur.ControleTexte(texte);
  if (texte.substr(0, 3) == "\xEF\xBB\xBF") texte.remove_prefix(3);
  std::string section;
  bool apres_cle = false;  // an indented line after a key would continue its value
  int numero = 0;
  while (!texte.empty()) {
    size_t fin = texte.find('\n');
    std::string_view ligne = texte.substr(0, fin);
    texte = fin == std::string_view::npos ? std::string_view() : texte.substr(fin + 1);
    ++numero;
    std::string_view s = SansBlancs(ligne);
    if (s.empty() || s.front() == ';' || s.front() == '#') continue;
    if (s.front() == '[') {
      size_t ferme = s.find(']');
      if (ferme == std::string_view::npos) lecteur.ErreurLigne(numero, "« ] » manquant");
      section = SansBlancs(s.substr(1, ferme - 1));
      apres_cle = false;
      continue;
    }
    if (apres_cle && EstBlanc(ligne.front())) {
      lecteur.ErreurLigne(numero, "ligne en retrait : une valeur tient sur une seule ligne");
    }
    size_t egal = s.find_first_of("=:");
    size_t commentaire = DebutCommentaire(s);
    if (egal == std::string_view::npos || commentaire < egal) {
      lecteur.ErreurLigne(numero, "ligne illisible : « clé = valeur » attendu");
    }
    // As in every ini reader, the blank right after '=' counts: "x = ;" is an empty value.
    std::string_view valeur = s.substr(egal + 1);
    valeur = SansBlancs(valeur.substr(0, DebutCommentaire(valeur)));
    lecteur.Applique(section, s.substr(0, egal), valeur, numero);
    apres_cle = true;
  }
}

std::string ChangeCle(std::string_view texte, std::string_view cle, std::string_view valeur) {
  const std::string nom = text::LowerAscii(SansBlancs(cle));
  Configuration essai;
  const std::string refus = Affecte(essai, nom, valeur);
  if (!refus.empty()) throw ErreurService("Changement de la configuration", nom, refus);
  if (DebutCommentaire(" " + ValeurIni(valeur)) != std::string_view::npos) {
    throw ErreurService("Changement de la configuration", nom,
                        "une valeur ne peut pas tenir « ; » après un blanc : vesk.ini y verrait "
                        "un commentaire");
  }
  const std::string ligne_neuve = nom + " = " + ValeurIni(valeur);
  std::string resultat;
  bool remplace = false;
  while (!texte.empty()) {
    const size_t fin = texte.find('\n');
    std::string_view ligne =
        texte.substr(0, fin == std::string_view::npos ? texte.size() : fin + 1);
    texte.remove_prefix(ligne.size());
    const std::string_view s = SansBlancs(ligne);
    const size_t egal = s.find_first_of("=:");
    const bool commentaire = s.empty() || s.front() == ';' || s.front() == '#' || s.front() == '[';
    if (!remplace && !commentaire && egal != std::string_view::npos &&
        text::LowerAscii(SansBlancs(s.substr(0, egal))) == nom) {
      // The line's own comment stays after the new value.
      const size_t note = DebutCommentaire(s);
      resultat += ligne_neuve;
      if (note != std::string_view::npos) resultat += " " + std::string(s.substr(note));
      resultat += ligne.ends_with("\r\n") ? "\r\n" : "\n";
      remplace = true;
      continue;
    }
    resultat += ligne;
  }
  if (!remplace) {
    if (!resultat.empty() && resultat.back() != '\n') resultat += '\n';
    resultat += ligne_neuve + "\n";
  }
  return resultat;
}

void AppliqueOption(Configuration& config, std::string_view option, std::string_view cle,
                    std::string_view valeur) {
  std::string refus = Affecte(config, std::string(cle), valeur);
  if (!refus.empty()) throw ErreurService("Ligne de commande", std::string(option), refus);
}

}  // namespace vesk
