#include "srv/tui/descripteur.h"

#include <charconv>

#include "srv/erreur_service.h"
#include "srv/list/liste.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

namespace {

// Parses a whole number of at most 4 digits; nothing otherwise.
std::optional<int> Nombre(std::string_view s) {
  if (s.empty() || s.size() > 4) return std::nullopt;
  int n = 0;
  auto [fin, ec] = std::from_chars(s.data(), s.data() + s.size(), n);
  if (ec != std::errc() || fin != s.data() + s.size()) return std::nullopt;
  return n;
}

[[noreturn]] void Refus(std::string_view operation, std::string_view objet,
                        const std::string& message) {
  throw ErreurService(operation, objet, message);
}

void LitType(Champ& champ, std::string_view op, std::string_view element) {
  const std::string& t = champ.type_texte;
  std::optional<int> d = t.size() > 1 ? Nombre(std::string_view(t).substr(1)) : 0;
  bool ok = !t.empty() && d.has_value() && *d <= 9;
  if (ok && t[0] == 'A' && t.size() == 1) {
    champ.type = TypeChamp::kTexte;
  } else if (ok && t[0] == 'B' && t.size() == 1) {
    champ.type = TypeChamp::kOuiNon;
  } else if (ok && t[0] == 'N') {
    champ.type = TypeChamp::kNombre;
  } else if (ok && t[0] == 'I') {
    champ.type = TypeChamp::kEntier;
  } else {
    Refus(op, element,
          "type « " + t + " » inconnu pour le champ " + champ.cle +
              " (A, B, N<décimales> ou I<décimales> attendu)");
  }
  champ.decimales = d.value_or(0);
}

// The length of a field, 1 to 1000, more than its decimals.
void LitLongueur(Champ& champ, const std::string& texte, std::string_view op,
                 std::string_view element) {
  std::optional<int> longueur = Nombre(texte);
  if (!longueur || *longueur < 1 || *longueur > 1000) {
    Refus(op, element,
          "longueur « " + texte + " » invalide pour le champ " + champ.cle +
              " (nombre de 1 à 1000 attendu)");
  }
  champ.longueur = *longueur;
  if (champ.type == TypeChamp::kNombre && champ.decimales > 0 &&
      champ.decimales >= champ.longueur) {
    Refus(op, element, "le champ " + champ.cle + " a plus de décimales que de caractères");
  }
}

// A line or column of the field (quoi names it), 1 to 500; an empty text keeps the default.
void LitPlace(int& place, const std::string& texte, std::string_view quoi, const std::string& cle,
              std::string_view op, std::string_view element) {
  if (texte.empty()) return;
  std::optional<int> valeur = Nombre(texte);
  if (!valeur || *valeur < 1 || *valeur > 500) {
    Refus(op, element, std::string(quoi) + " « " + texte + " » invalide pour le champ " + cle);
  }
  place = *valeur;
}

Champ LitChamp(std::string_view element, std::string_view op) {
  if (element.empty() || element.front() != '[') {
    Refus(op, element, "chaque champ doit être une liste [CLE,LIBELLE,TYPE,LONGUEUR,...]");
  }
  std::vector<std::string> parties = ElementsDeListe(element, op);
  // A boolean field ("B") may leave out its length, which is 1 ("[DFE,DEPENDANCE,B]").
  if (parties.size() == 3 && parties[2] == "B") parties.push_back("1");
  if (parties.size() < 4 || parties.size() > 6) {
    Refus(op, element,
          "un champ a de 4 à 6 parties (clé, libellé, type, longueur, ligne, colonne ; un champ B "
          "peut omettre sa longueur), pas " +
              std::to_string(parties.size()));
  }
  Champ c;
  c.cle = parties[0];
  c.libelle = parties[1];
  c.type_texte = parties[2];
  if (c.cle.empty()) Refus(op, element, "la clé du champ est vide");
  LitType(c, op, element);
  LitLongueur(c, parties[3], op, element);
  if (parties.size() > 4) LitPlace(c.ligne, parties[4], "ligne", c.cle, op, element);
  if (parties.size() > 5) LitPlace(c.colonne, parties[5], "colonne", c.cle, op, element);
  return c;
}

bool EstChiffre(char32_t c) { return c >= U'0' && c <= U'9'; }

// Checks a number: sign, digits, and (N only) a point followed by up to d decimals.
std::optional<std::string> RefusNombre(const Champ& champ, std::u32string_view texte,
                                       bool complet) {
  bool point = false;
  int decimales = 0;
  int chiffres = 0;
  for (size_t i = 0; i < texte.size(); ++i) {
    char32_t c = texte[i];
    if (EstChiffre(c)) {
      ++chiffres;
      if (point && ++decimales > champ.decimales) {
        return "au plus " + std::to_string(champ.decimales) + " décimale(s)";
      }
    } else if ((c == U'-' || c == U'+') && i == 0) {
    } else if (c == U'.' && champ.type == TypeChamp::kNombre && champ.decimales > 0 && !point) {
      point = true;
    } else if (c == U'-' || c == U'+') {
      return "le signe ne peut être qu'en tête du nombre";
    } else if (c == U'.' && point) {
      return "un seul point décimal";
    } else if (champ.type == TypeChamp::kEntier || champ.decimales == 0) {
      return "caractère " + DecritCaractere(c) + " refusé : chiffres et signe seulement";
    } else {
      return "caractère " + DecritCaractere(c) +
             " refusé : chiffres, signe et point décimal seulement";
    }
  }
  if (complet && !texte.empty() && chiffres == 0) return "nombre incomplet";
  return std::nullopt;
}

}  // namespace

std::vector<std::string> ElementsDeListe(std::string_view liste, std::string_view operation) {
  std::vector<std::string_view> vues;
  list::Fault faute = list::Split(liste, vues);
  if (!faute.ok()) Refus(operation, liste, "liste mal formée : " + faute.Message());
  return std::vector<std::string>(vues.begin(), vues.end());
}

std::vector<Champ> LitDescripteur(std::string_view descripteur, std::string_view operation) {
  std::vector<Champ> champs;
  for (const std::string& element : ElementsDeListe(descripteur, operation)) {
    Champ c = LitChamp(element, operation);
    if (ChercheChamp(champs, c.cle)) {
      Refus(operation, descripteur, "le champ " + c.cle + " est décrit deux fois");
    }
    champs.push_back(std::move(c));
  }
  return champs;
}

std::optional<size_t> ChercheChamp(const std::vector<Champ>& champs, std::string_view cle) {
  for (size_t i = 0; i < champs.size(); ++i) {
    if (champs[i].cle == cle) return i;
  }
  return std::nullopt;
}

Options LitOptions(std::string_view options, std::string_view operation, std::string_view cle) {
  Options o;
  if (options.empty() || options == "[]") return o;
  std::vector<std::string> elements = ElementsDeListe(options, operation);
  if (!elements.empty() && !elements[0].empty() && elements[0].front() == '[') {
    if (elements.size() != 2) {
      Refus(
          operation, cle,
          "options « " + std::string(options) + " » : [valeurs] ou [[valeurs],[libellés]] attendu");
    }
    o.valeurs = ElementsDeListe(elements[0], operation);
    o.libelles = ElementsDeListe(elements[1], operation);
    if (o.libelles.size() != o.valeurs.size()) {
      Refus(operation, cle,
            "options « " + std::string(options) + " » : autant de libellés que de valeurs");
    }
  } else {
    o.valeurs = std::move(elements);
  }
  return o;
}

char32_t NormaliseCaractere(const Champ& champ, char32_t c) {
  if (champ.type == TypeChamp::kNombre && c == U',') return U'.';
  if (champ.type == TypeChamp::kOuiNon && (c == U'o' || c == U'n')) return c - 32;
  return c;
}

std::optional<std::string> RefusTexte(const Champ& champ, std::u32string_view texte, bool complet) {
  if (texte.size() > static_cast<size_t>(champ.longueur)) {
    return "le champ " + champ.cle + " ne prend que " + std::to_string(champ.longueur) +
           " caractère(s)";
  }
  for (char32_t c : texte) {
    if (c < 0x20 || (c >= 0x7F && c < 0xA0 && c != 0x80)) {
      return "caractère " + DecritCaractere(c) + " refusé : caractère de commande";
    }
    if (!EstCp1252(c)) {
      return "caractère " + DecritCaractere(c) +
             " refusé : le jeu Windows-1252 des fichiers ne le contient pas";
    }
  }
  switch (champ.type) {
    case TypeChamp::kTexte:
      return std::nullopt;
    case TypeChamp::kOuiNon:
      for (char32_t c : texte) {
        if (c != U'O' && c != U'N') return std::string("répondre O ou N");
      }
      if (texte.size() > 1) return std::string("répondre O ou N");
      return std::nullopt;
    case TypeChamp::kNombre:
    case TypeChamp::kEntier:
      return RefusNombre(champ, texte, complet);
  }
  return std::nullopt;
}

std::optional<std::string> RefusOption(const Options& options, std::string_view valeur) {
  if (options.valeurs.empty() || valeur.empty()) return std::nullopt;
  std::string liste;
  for (const std::string& v : options.valeurs) {
    if (v == valeur) return std::nullopt;
    liste += liste.empty() ? v : ", " + v;
  }
  return "valeur « " + std::string(valeur) + " » non prévue (" + liste + ")";
}

std::optional<std::string> RefusValeur(const Champ& champ, std::string* valeur,
                                       const Options& options) {
  std::u32string points = VersPoints(*valeur);
  for (char32_t& c : points) c = NormaliseCaractere(champ, c);
  *valeur = VersUtf8(points);
  if (auto refus = RefusTexte(champ, points, true)) return refus;
  return RefusOption(options, *valeur);
}

std::string ValeurDeDepart(const std::vector<Champ>& champs, size_t index, std::string_view valeur,
                           std::string_view operation) {
  if (index == 0 && (valeur == "I" || valeur == "B")) return {};
  std::u32string points = VersPointsStrict(valeur, operation, champs[index].cle);
  size_t largeur = static_cast<size_t>(champs[index].longueur);
  if (points.size() <= largeur) return std::string(valeur);
  for (size_t i = largeur; i < points.size(); ++i) {
    if (points[i] != U' ') {
      throw ErreurService(operation, champs[index].cle,
                          "valeur de départ de " + std::to_string(points.size()) +
                              " caractères pour un champ de " + std::to_string(largeur));
    }
  }
  points.resize(largeur);
  return VersUtf8(points);
}

std::vector<Colonne> LitColonnes(std::string_view colonnes, std::string_view operation) {
  std::vector<Colonne> out;
  for (const std::string& element : ElementsDeListe(colonnes, operation)) {
    std::vector<std::string> parties = element.empty() || element.front() != '['
                                           ? std::vector<std::string>{}
                                           : ElementsDeListe(element, operation);
    if (parties.size() != 3) {
      Refus(operation, colonnes, "colonne « " + element + " » : [G|D|C,largeur,titre] attendu");
    }
    Colonne c;
    std::optional<int> largeur = Nombre(parties[1]);
    if (parties[0] != "G" && parties[0] != "D" && parties[0] != "C") {
      Refus(operation, colonnes,
            "alignement « " + parties[0] + " » inconnu (G gauche, D droite, C centre)");
    }
    if (!largeur || *largeur < 1 || *largeur > 500) {
      Refus(operation, colonnes, "largeur de colonne « " + parties[1] + " » invalide");
    }
    c.alignement = parties[0][0];
    c.largeur = *largeur;
    c.titre = parties[2];
    out.push_back(std::move(c));
  }
  if (out.empty()) Refus(operation, colonnes, "aucune colonne décrite");
  return out;
}

void ControleLigneMessage(std::string_view operation, std::string_view ligne) {
  if (ligne != "N" && ligne != "B" && ligne != "I") {
    throw ErreurService(
        operation, ligne,
        "ligne de message inconnue (N champ courant, B bas d'écran, I information)");
  }
}

}  // namespace vesk::tui
