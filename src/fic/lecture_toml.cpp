// The dictionary text read into the model with toml++. Every fault of shape (a missing key, a
// value of the wrong kind, an unknown key) is collected with its line; the model is given only
// when there is none. Names of files and tables are taken in upper case, as they are stored.
#include <toml++/toml.h>

#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fic/dictionnaire_texte.h"
#include "fic/faute_toml.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

constexpr std::string_view kOperation = "import";

int32_t Ligne(const toml::node& n) { return static_cast<int32_t>(n.source().begin.line); }

class Lecteur {
 public:
  explicit Lecteur(std::string_view nom) : nom_(nom) {}

  void Faute(int32_t ligne, const std::string& message) {
    fautes_.push_back(nom_ + ":" + std::to_string(ligne) + " : " + message);
  }
  const std::vector<std::string>& Fautes() const { return fautes_; }

  // The keys of t that are not in connues are faults.
  void Connues(const toml::table& t, std::initializer_list<std::string_view> connues,
               std::string_view ou) {
    for (const auto& [k, v] : t) {
      bool connue = false;
      for (std::string_view c : connues) connue = connue || k.str() == c;
      if (!connue)
        Faute(Ligne(v), "clé inconnue « " + std::string(k.str()) + " » " + std::string(ou));
    }
  }
  const toml::table* Table(const toml::node* n, int32_t ligne, std::string_view quoi) {
    if (n != nullptr && n->is_table()) return n->as_table();
    Faute(n ? Ligne(*n) : ligne, std::string(quoi) + " : une table est attendue");
    return nullptr;
  }
  std::optional<std::string> Texte(const toml::table& t, std::string_view cle, int32_t ligne,
                                   bool requis) {
    const toml::node* n = t.get(cle);
    if (n == nullptr) {
      if (requis) Faute(ligne, "clé « " + std::string(cle) + " » absente");
      return std::nullopt;
    }
    if (!n->is_string()) {
      Faute(Ligne(*n), "« " + std::string(cle) + " » : un texte entre guillemets est attendu");
      return std::nullopt;
    }
    return n->as_string()->get();
  }
  std::optional<int64_t> Entier(const toml::table& t, std::string_view cle, int32_t ligne,
                                bool requis) {
    const toml::node* n = t.get(cle);
    if (n == nullptr) {
      if (requis) Faute(ligne, "clé « " + std::string(cle) + " » absente");
      return std::nullopt;
    }
    if (!n->is_integer()) {
      Faute(Ligne(*n), "« " + std::string(cle) + " » : un nombre entier est attendu");
      return std::nullopt;
    }
    return n->as_integer()->get();
  }
  // A file or table name, in upper case; faults for a duplicate of another case.
  std::string Nom(std::string_view nom, int32_t ligne, std::set<std::string>& vus,
                  std::string_view quoi) {
    std::string haut = text::UpperAscii(nom);
    if (!vus.insert(haut).second) {
      Faute(ligne, std::string(quoi) + " « " + std::string(nom) + " » donné deux fois");
    }
    return haut;
  }

 private:
  std::string nom_;
  std::vector<std::string> fautes_;
};

void LitDomaines(const toml::table& t, Lecteur& l, ModeleDictionnaire& m) {
  for (const auto& [code, v] : t) {
    const toml::table* d = l.Table(&v, Ligne(v), "domaine " + std::string(code.str()));
    if (d == nullptr) continue;
    const int32_t ligne = Ligne(v);
    l.Connues(*d, {"nom", "fichier", "definition"}, "dans un domaine");
    Domaine dom;
    dom.ligne = ligne;
    dom.nom = l.Texte(*d, "nom", ligne, false).value_or("");
    dom.fichier = l.Texte(*d, "fichier", ligne, true).value_or("");
    if (const toml::node* n = d->get("definition")) {
      if (!n->is_array()) {
        l.Faute(Ligne(*n), "« definition » : une liste de textes est attendue");
      } else {
        dom.definition.emplace();
        for (const toml::node& e : *n->as_array()) {
          if (!e.is_string())
            l.Faute(Ligne(e), "« definition » : chaque ligne est un texte");
          else
            dom.definition->push_back(e.as_string()->get());
        }
      }
    }
    m.domaines[std::string(code.str())] = std::move(dom);
  }
}

Rubrique LitRubrique(const toml::table& r, int32_t ligne, Lecteur& l) {
  l.Connues(r,
            {"nom", "type", "total", "decimales", "variable", "exemple", "modification", "domaine",
             "format"},
            "dans une rubrique");
  Rubrique rub;
  rub.ligne = ligne;
  rub.nom = l.Texte(r, "nom", ligne, true).value_or("");
  rub.type = l.Texte(r, "type", ligne, true).value_or("");
  rub.total = l.Entier(r, "total", ligne, false);
  rub.decimales = l.Entier(r, "decimales", ligne, false);
  rub.variable = l.Texte(r, "variable", ligne, true).value_or("");
  rub.exemple = l.Texte(r, "exemple", ligne, false);
  rub.modification = l.Texte(r, "modification", ligne, false);
  rub.domaine = l.Texte(r, "domaine", ligne, false);
  rub.format = l.Texte(r, "format", ligne, false);
  return rub;
}

void LitFichiers(const toml::table& t, Lecteur& l, ModeleDictionnaire& m) {
  std::set<std::string> vus;
  for (const auto& [nom, v] : t) {
    const toml::table* f = l.Table(&v, Ligne(v), "fichier " + std::string(nom.str()));
    if (f == nullptr) continue;
    const int32_t ligne = Ligne(v);
    l.Connues(*f, {"entreprise", "longueur", "rubriques"}, "dans un fichier");
    Fichier fic;
    fic.ligne = ligne;
    if (const toml::node* e = f->get("entreprise")) {
      if (e->is_boolean())
        fic.entreprise = e->as_boolean()->get();
      else
        l.Faute(Ligne(*e), "« entreprise » : true ou false");
    }
    fic.longueur = l.Entier(*f, "longueur", ligne, false);
    const toml::node* rubs = f->get("rubriques");
    if (rubs == nullptr || !rubs->is_array()) {
      l.Faute(rubs ? Ligne(*rubs) : ligne, "« rubriques » : une liste de rubriques est attendue");
    } else {
      for (const toml::node& r : *rubs->as_array()) {
        if (const toml::table* rt = l.Table(&r, Ligne(r), "rubrique")) {
          fic.rubriques.push_back(LitRubrique(*rt, Ligne(r), l));
        }
      }
    }
    m.fichiers[l.Nom(nom.str(), ligne, vus, "fichier")] = std::move(fic);
  }
}

void LitBArbres(const toml::table& t, Lecteur& l, ModeleDictionnaire& m) {
  std::set<std::string> vus;
  for (const auto& [nom, v] : t) {
    const toml::table* b = l.Table(&v, Ligne(v), "table " + std::string(nom.str()));
    if (b == nullptr) continue;
    const int32_t ligne = Ligne(v);
    l.Connues(*b, {"fichier", "nature", "cle"}, "dans une table B-arbre");
    BArbre ba;
    ba.ligne = ligne;
    ba.fichier = text::UpperAscii(l.Texte(*b, "fichier", ligne, true).value_or(""));
    ba.nature = l.Texte(*b, "nature", ligne, true).value_or("");
    ba.cle = l.Texte(*b, "cle", ligne, true).value_or("");
    m.barbres[l.Nom(nom.str(), ligne, vus, "table")] = std::move(ba);
  }
}

void LitChainages(const toml::table& t, Lecteur& l, ModeleDictionnaire& m) {
  std::set<std::string> vus;
  for (const auto& [nom, v] : t) {
    const toml::table* c = l.Table(&v, Ligne(v), "chaînage " + std::string(nom.str()));
    if (c == nullptr) continue;
    const int32_t ligne = Ligne(v);
    l.Connues(*c, {"entete", "arriere", "avant", "premier", "dernier"}, "dans un chaînage");
    Chainage ch;
    ch.ligne = ligne;
    ch.entete = text::UpperAscii(l.Texte(*c, "entete", ligne, true).value_or(""));
    ch.arriere = l.Entier(*c, "arriere", ligne, true).value_or(0);
    ch.avant = l.Entier(*c, "avant", ligne, true).value_or(0);
    ch.premier = l.Entier(*c, "premier", ligne, true).value_or(0);
    ch.dernier = l.Entier(*c, "dernier", ligne, true).value_or(0);
    m.chainages[l.Nom(nom.str(), ligne, vus, "chaînage")] = std::move(ch);
  }
}

void LitRacine(const toml::table& racine, Lecteur& l, ModeleDictionnaire& m) {
  l.Connues(racine, {"version", "domaines", "fichiers", "barbres", "chainages"}, "");
  const std::optional<int64_t> version = l.Entier(racine, "version", 1, true);
  if (version && *version != 1) {
    l.Faute(Ligne(*racine.get("version")),
            "version " + std::to_string(*version) + " inconnue : ce programme lit la version 1");
  }
  using Partie = void (*)(const toml::table&, Lecteur&, ModeleDictionnaire&);
  const std::pair<std::string_view, Partie> parties[] = {{"domaines", LitDomaines},
                                                         {"fichiers", LitFichiers},
                                                         {"barbres", LitBArbres},
                                                         {"chainages", LitChainages}};
  for (const auto& [cle, lit] : parties) {
    if (const toml::node* n = racine.get(cle)) {
      if (const toml::table* t = l.Table(n, Ligne(*n), cle)) lit(*t, l, m);
    }
  }
}

// The TOML reader meets characters outside the ASCII set with undefined behaviour (a fault of
// the library: every such character past U+00A0 that it tests for white space reaches a point
// it declares unreachable, also inside a text on some error paths). So it is only ever given
// ASCII: a character outside it is written as its escape "\u00E9" inside a text between double
// quotes, and as "?" in a comment (which is not read); anywhere else it is refused here, with
// its line. Texts on several lines (three quotes) are refused too: a dictionary's values are
// one line each.
class Ascii {
 public:
  Ascii(std::string_view texte, std::string_view nom) : t_(texte), nom_(nom) {}

  // The text for the reader into sortie; the fault when there is one.
  std::optional<std::string> Convertit(std::string& sortie) {
    size_t i = t_.starts_with("\xEF\xBB\xBF") ? 3 : 0;  // a byte order mark
    while (i < t_.size()) {
      const char c = t_[i];
      if (static_cast<unsigned char>(c) >= 0x80) {
        if (auto faute = NonAscii(i, sortie)) return faute;
        continue;
      }
      if (auto faute = UnAscii(c, i, sortie)) return faute;
      ++i;
    }
    return std::nullopt;
  }

 private:
  std::optional<std::string> Faute(const std::string& quoi) const {
    return nom_ + ":" + std::to_string(ligne_) + " : " + quoi;
  }
  std::optional<std::string> UnAscii(char c, size_t i, std::string& sortie) {
    sortie += c;
    if (c == '\n') {
      ++ligne_;
      etat_ = kHors;
    } else if (etat_ == kBasique) {
      if (echappe_) {
        echappe_ = false;
      } else if (c == '\\') {
        echappe_ = true;
      } else if (c == '"') {
        etat_ = kHors;
      }
    } else if (etat_ == kLitteral) {
      if (c == '\'') etat_ = kHors;
    } else if (etat_ == kHors) {
      if ((c == '"' || c == '\'') && t_.substr(i, 3) == std::string(3, c)) {
        return Faute("texte sur plusieurs lignes refusé : un texte tient sur une ligne");
      }
      etat_ = c == '#' ? kCommentaire : c == '"' ? kBasique : c == '\'' ? kLitteral : kHors;
    }
    return std::nullopt;
  }
  std::optional<std::string> NonAscii(size_t& i, std::string& sortie) {
    char32_t cp = 0;
    if (!text::DecodeUtf8(t_, &i, &cp)) return Faute("le texte n'est pas en UTF-8");
    if (etat_ == kCommentaire) {
      sortie += '?';
    } else if (etat_ == kBasique && !echappe_) {
      char echappement[16];
      std::snprintf(echappement, sizeof echappement, cp > 0xFFFF ? "\\U%08X" : "\\u%04X",
                    static_cast<unsigned>(cp));
      sortie += echappement;
    } else if (etat_ == kLitteral) {
      return Faute(
          "caractère non ASCII dans un texte entre apostrophes : écrivez-le entre guillemets");
    } else {
      return Faute(
          "caractère non ASCII hors d'un texte entre guillemets (une clé qui en a s'écrit "
          "entre guillemets : [domaines.\"Réglt\"])");
    }
    return std::nullopt;
  }

  std::string_view t_;
  std::string nom_;
  enum { kHors, kCommentaire, kBasique, kLitteral } etat_ = kHors;
  bool echappe_ = false;
  int32_t ligne_ = 1;
};

}  // namespace

ModeleDictionnaire LitToml(std::string_view texte, std::string_view nom) {
  std::string ascii;
  if (std::optional<std::string> faute = Ascii(texte, nom).Convertit(ascii)) {
    RefuseTexte(nom, {*faute});
  }
  toml::table racine;
  try {
    racine = toml::parse(ascii, std::string(nom));
  } catch (const toml::parse_error& e) {
    RefuseTexte(nom, {std::string(nom) + ":" + std::to_string(e.source().begin.line) + " : " +
                      TraduitFauteToml(e.description())});
  }
  Lecteur l(nom);
  ModeleDictionnaire m;
  LitRacine(racine, l, m);
  if (!l.Fautes().empty()) RefuseTexte(nom, l.Fautes());
  return m;
}

void RefuseTexte(std::string_view nom, const std::vector<std::string>& fautes) {
  std::string message = fautes.size() == 1 ? "1 faute" : std::to_string(fautes.size()) + " fautes";
  message += ", rien n'est écrit :";
  for (const std::string& f : fautes) message += "\n  " + f;
  throw ErreurService(kOperation, nom, message);
}

}  // namespace vesk::fic
