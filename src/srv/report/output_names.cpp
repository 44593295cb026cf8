#include "srv/report/output_names.h"

#include <array>
#include <cstdio>
#include <utility>

#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::report {

namespace {

std::string Quote(std::string_view s) { return "« " + std::string(s) + " »"; }

// The extension of a path (".pdf"), lower case; "" when its last part has none.
std::string Extension(std::string_view chemin) {
  const size_t slash = chemin.find_last_of("/\\");
  const size_t dot = chemin.rfind('.');
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) return "";
  return text::LowerAscii(chemin.substr(dot));
}

void LitSortie(std::string_view sortie, Sorties* s, std::string_view titre) {
  const std::string u = text::UpperAscii(text::Trim(sortie));
  if (u == "PDF" || u == "PDF+TXT" || u == "TXT+PDF") s->pdf = true;
  if (u == "TXT" || u == "PDF+TXT" || u == "TXT+PDF") s->txt = true;
  if (!s->pdf && !s->txt) {
    throw ErreurService("OuvEdt", titre,
                        "sortie " + Quote(sortie) + " inconnue (PDF, TXT ou PDF+TXT)");
  }
}

// Accented Latin letters and their plain form, for file names.
constexpr std::array<std::pair<std::string_view, std::string_view>, 30> kSansAccent = {{
    {"à", "a"}, {"â", "a"}, {"ä", "a"},  {"á", "a"},  {"ç", "c"}, {"é", "e"},
    {"è", "e"}, {"ê", "e"}, {"ë", "e"},  {"î", "i"},  {"ï", "i"}, {"í", "i"},
    {"ô", "o"}, {"ö", "o"}, {"ó", "o"},  {"ù", "u"},  {"û", "u"}, {"ü", "u"},
    {"ú", "u"}, {"ÿ", "y"}, {"œ", "oe"}, {"æ", "ae"}, {"À", "A"}, {"Â", "A"},
    {"Ç", "C"}, {"É", "E"}, {"È", "E"},  {"Ê", "E"},  {"Ô", "O"}, {"Û", "U"},
}};

}  // namespace

Sorties ChoisitSorties(std::string_view sortie, std::string_view defaut, std::string_view fichier,
                       bool pdf_disponible, std::string_view titre) {
  Sorties s;
  const std::string ext = Extension(fichier);
  if (!ext.empty() && ext != ".pdf" && ext != ".txt") {
    throw ErreurService("OuvEdt", fichier,
                        "extension " + Quote(ext) + " inconnue pour une édition (.pdf ou .txt)");
  }
  if (!text::Trim(sortie).empty()) {
    LitSortie(sortie, &s, titre);
  } else if (!ext.empty()) {
    s.pdf = ext == ".pdf";
    s.txt = ext == ".txt";
  } else {
    LitSortie(defaut, &s, titre);
  }
  if ((ext == ".pdf" && !s.pdf) || (ext == ".txt" && !s.txt)) {
    throw ErreurService(
        "OuvEdt", fichier,
        "le fichier " + Quote(fichier) + " ne convient pas à la sortie " + Quote(sortie));
  }
  if (s.pdf && !pdf_disponible) {
    throw ErreurService("OuvEdt", titre,
                        "la sortie PDF n'existe pas dans cette version : demandez TXT");
  }
  if (!fichier.empty()) s.chemin = fichier.substr(0, fichier.size() - ext.size());
  return s;
}

std::string NomDeTitre(std::string_view titre) {
  std::string nom;
  for (std::string_view c : text::SplitChars(titre)) {
    std::string_view plain = c;
    for (const auto& [accent, lettre] : kSansAccent) {
      if (c == accent) plain = lettre;
    }
    const char first = plain[0];
    const bool alnum = plain.size() > 1 || (first >= 'A' && first <= 'Z') ||
                       (first >= 'a' && first <= 'z') || (first >= '0' && first <= '9');
    if (alnum && static_cast<unsigned char>(first) < 0x80) {
      nom += plain;
    } else if (!nom.empty() && nom.back() != '_') {
      nom += '_';
    }
    if (nom.size() >= 60) break;
  }
  while (!nom.empty() && nom.back() == '_') nom.pop_back();
  return nom.empty() ? "EDITION" : nom;
}

std::vector<std::string> NommeSorties(const Sorties& sorties, const std::string& dossier,
                                      std::string_view titre, const platform::DateHeure& heure) {
  std::string base = sorties.chemin;
  if (base.empty()) {
    const platform::IoStatus s = platform::CreateDirectories(dossier);
    if (!s.ok()) {
      throw ErreurService("Termine", dossier,
                          "dossier des éditions impossible à créer : " + s.message);
    }
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "_%04d%02d%02d_%02d%02d%02d", heure.annee, heure.mois,
                  heure.jour, heure.heure, heure.minute, heure.seconde);
    const std::string stem = platform::JoinPath(dossier, NomDeTitre(titre) + stamp);
    base = stem;
    for (int n = 2;; ++n) {
      bool pris = false;
      for (const char* ext : {".pdf", ".txt"}) {
        bool existe = false;
        platform::FileExists(base + ext, &existe);
        pris = pris || existe;
      }
      if (!pris) break;
      base = stem + "_" + std::to_string(n);
    }
  }
  std::vector<std::string> chemins;
  if (sorties.pdf) chemins.push_back(base + ".pdf");
  if (sorties.txt) chemins.push_back(base + ".txt");
  return chemins;
}

bool EstPdf(std::string_view chemin) { return Extension(chemin) == ".pdf"; }

void EcritAtomique(Renderer& rendu, const Document& document, const std::string& chemin,
                   SuiviProgression& suivi) {
  const std::string provisoire = chemin + ".tmp";
  try {
    rendu.Write(document, provisoire, suivi);
  } catch (const ErreurService& e) {
    platform::RemoveFile(provisoire);
    throw ErreurService("Termine", chemin, e.Message());
  }
  const platform::IoStatus s = platform::RenameFile(provisoire, chemin);
  if (!s.ok()) {
    platform::RemoveFile(provisoire);
    throw ErreurService("Termine", chemin, "écriture de l'édition impossible : " + s.message);
  }
}

std::string TexteDate(const platform::DateHeure& h) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d/%02d/%04d %02d:%02d", h.jour, h.mois, h.annee, h.heure,
                h.minute);
  return text;
}

bool FormateNombre(std::string_view texte, int decimales, std::string* valeur,
                   std::string* erreur) {
  const std::string_view t = text::Trim(texte);
  valeur->clear();
  if (t.empty()) return true;
  size_t i = 0;
  const bool negatif = t[0] == '-';
  if (t[0] == '-' || t[0] == '+') ++i;
  std::string entier, fraction;
  while (i < t.size() && t[i] >= '0' && t[i] <= '9') entier += t[i++];
  if (i < t.size() && (t[i] == '.' || t[i] == ',')) {
    ++i;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9') fraction += t[i++];
  }
  if (i != t.size() || (entier.empty() && fraction.empty())) {
    *erreur = "« " + std::string(texte) + " » n'est pas un nombre";
    return false;
  }
  while (fraction.size() > static_cast<size_t>(decimales) && fraction.back() == '0') {
    fraction.pop_back();
  }
  if (fraction.size() > static_cast<size_t>(decimales)) {
    *erreur = "« " + std::string(texte) + " » a plus de " + std::to_string(decimales) +
              " décimale(s), le nombre que la colonne imprime";
    return false;
  }
  fraction.resize(decimales, '0');
  entier.erase(0, std::min(entier.find_first_not_of('0'), entier.size()));
  if (entier.empty()) entier = "0";
  const bool zero = entier == "0" && fraction.find_first_not_of('0') == std::string::npos;
  *valeur = (negatif && !zero ? "-" : "") + entier + (decimales > 0 ? "," + fraction : "");
  return true;
}

bool FormateBooleen(std::string_view texte, std::string* valeur) {
  const std::string u = text::UpperAscii(text::Trim(texte));
  if (u == "O" || u == "OUI" || u == "V" || u == "VRAI" || u == "-1" || u == "1") {
    *valeur = "Oui";
  } else if (u.empty() || u == "N" || u == "NON" || u == "F" || u == "FAUX" || u == "0") {
    *valeur = "Non";
  } else {
    return false;
  }
  return true;
}

std::string FamillePolice(std::string_view police) {
  const std::string u = text::UpperAscii(text::Trim(police));
  if (u.empty() || u == "ARIAL" || u == "HELVETICA" || u == "LIBERATION SANS") {
    return "Liberation Sans";
  }
  if (u == "TIMES NEW ROMAN" || u == "TIMES" || u == "LIBERATION SERIF") return "Liberation Serif";
  if (u == "COURIER NEW" || u == "COURIER" || u == "LIBERATION MONO") return "Liberation Mono";
  throw ErreurService(
      "ImprTexte", police,
      "police " + Quote(police) + " inconnue (Arial, Times New Roman, Courier New)");
}

void OptionsTexte(std::string_view options, TextLine* line) {
  line->align = Align::kLeft;
  line->underline = false;
  line->hang = false;
  int cadrages = 0;
  for (char c : options) {
    if (c == '[' || c == ']' || c == ',' || c == ' ') continue;
    if (c == 'G' || c == 'C' || c == 'D') {
      line->align = c == 'G' ? Align::kLeft : c == 'C' ? Align::kCentre : Align::kRight;
      ++cadrages;
    } else if (c == 'S') {
      line->underline = true;
    } else if (c == 'R') {
      line->hang = true;
    } else {
      throw ErreurService("ImprTexte", options,
                          "option " + Quote(options) +
                              " inconnue (G gauche, C centre, D droite, S souligné, R retrait)");
    }
  }
  if (cadrages > 1) {
    throw ErreurService("ImprTexte", options, "options " + Quote(options) + " : un seul cadrage");
  }
}

}  // namespace vesk::report
