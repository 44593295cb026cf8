#include "srv/report/descriptor.h"

#include <algorithm>
#include <charconv>

#include "srv/erreur_service.h"
#include "srv/report/bracket_tree.h"
#include "srv/report/chars.h"
#include "srv/text/utf8.h"

namespace vesk::report {

namespace {

constexpr int kMaxWidth = 999;
constexpr int kMaxDecimals = 15;
constexpr int kLargeurMontant = 16;  // an amount column without its width
constexpr int kMaxKeepLines = 999;

[[noreturn]] void Fail(size_t position, std::string_view what) {
  throw ErreurService("DefEdt", "descripteur d'édition",
                      "caractère " + std::to_string(position) + " : " + std::string(what));
}

std::string Quote(std::string_view s) { return "« " + std::string(s) + " »"; }

// An integer from lo to hi written in digits, else -1.
int ParseInt(std::string_view s, int lo, int hi) {
  s = text::Trim(s);
  int value = 0;
  if (s.empty() || s.find_first_not_of("0123456789") != std::string_view::npos) return -1;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size() || value < lo || value > hi) return -1;
  return value;
}

const BracketNode& Atom(const BracketNode& node, std::string_view what) {
  if (node.is_list)
    Fail(node.position, std::string(what) + " : un texte est attendu, pas une liste");
  return node;
}

class Parser {
 public:
  Descriptor Parse(std::string_view text) {
    BracketNode root;
    const BracketResult r = ReadBracketTree(text, &root);
    if (!r.ok) throw ErreurService("DefEdt", "descripteur d'édition", "syntaxe, " + r.reason);
    if (root.children.size() != 4) {
      Fail(root.position, "quatre éléments sont attendus, « [PS,n,[colonnes],[]] », et non " +
                              std::to_string(root.children.size()));
    }
    const BracketNode& style = Atom(root.children[0], "style du cadre");
    if (!ParseStyle(text::Trim(style.text), &d_.style)) {
      Fail(style.position, "style du cadre " + Quote(style.text) +
                               " inconnu (taille P, M ou G puis graisse S ou D, ex. « PS »)");
    }
    const BracketNode& keep = Atom(root.children[1], "nombre de lignes");
    d_.keep_lines = ParseInt(keep.text, 1, kMaxKeepLines);
    if (d_.keep_lines < 0) {
      Fail(keep.position, "nombre de lignes " + Quote(keep.text) + " incorrect (1 à 999 attendu)");
    }
    const BracketNode& cols = root.children[2];
    if (!cols.is_list || cols.children.empty()) {
      Fail(cols.position, "la liste des colonnes est absente ou vide");
    }
    const BracketNode& last = root.children[3];
    if (!last.is_list || !last.children.empty()) {
      Fail(last.position, "le dernier élément doit être la liste vide « [] »");
    }
    for (const BracketNode& c : cols.children) Element(c, 0);
    FitWidths();
    return std::move(d_);
  }

 private:
  void Element(const BracketNode& node, int level) {
    if (!node.is_list) {
      Fail(node.position,
           "une colonne « [CLE,TITRE,TYPE,...] » ou un groupe « [@NOM,...] » est "
           "attendu, et non " +
               Quote(node.text));
    }
    if (!node.children.empty() && !node.children[0].is_list &&
        text::Trim(node.children[0].text).starts_with('@')) {
      GroupElement(node, level);
    } else {
      ColumnElement(node);
    }
  }

  void GroupElement(const BracketNode& node, int level) {
    const std::string_view name = text::Trim(node.children[0].text).substr(1);
    if (name.empty()) Fail(node.children[0].position, "nom de groupe vide après « @ »");
    if (node.children.size() < 2) {
      Fail(node.position, "le groupe " + Quote(name) + " n'a aucune colonne");
    }
    const size_t index = d_.groups.size();
    d_.groups.push_back({std::string(name), static_cast<int>(d_.columns.size()), 0, level});
    d_.depth = std::max(d_.depth, level + 1);
    for (size_t i = 1; i < node.children.size(); ++i) Element(node.children[i], level + 1);
    d_.groups[index].last = static_cast<int>(d_.columns.size()) - 1;
  }

  void ColumnElement(const BracketNode& node) {
    std::vector<const BracketNode*> parts;
    for (const BracketNode& p : node.children) parts.push_back(&p);
    Column col;
    const BracketNode* options = nullptr;
    if (!parts.empty() && parts.back()->is_list) {
      options = parts.back();
      parts.pop_back();
    }
    if (parts.size() < 3) {
      Fail(node.position, "colonne incomplète : « [CLE,TITRE,TYPE,LARGEUR,...,CADRAGE] » attendu");
    }
    col.key = text::Trim(Atom(*parts[0], "clé de colonne").text);
    if (col.key.empty()) Fail(parts[0]->position, "clé de colonne vide");
    if (d_.Find(col.key) >= 0) Fail(parts[0]->position, "colonne " + Quote(col.key) + " en double");
    col.title = text::Trim(Atom(*parts[1], "titre de colonne").text);
    const std::string_view type = text::Trim(Atom(*parts[2], "type de colonne").text);
    if (type != "A" && type != "N" && type != "B" && type != "M" && type != "D") {
      Fail(parts[2]->position, "colonne " + col.key + " : type " + Quote(type) +
                                   " inconnu (A texte, N nombre, M montant, D date, B booléen)");
    }
    col.type = type[0];
    const std::vector<const BracketNode*> rest(parts.begin() + 3, parts.end());
    if (col.type == 'M' || (col.type == 'N' && rest.size() == 2)) {
      Montant(col, rest);
    } else if (col.type == 'D') {
      Date(col, rest, node.position);
    } else {
      Sizes(col, rest, node.position);
    }
    if (options != nullptr) Options(col, *options);
    d_.columns.push_back(std::move(col));
  }

  // An amount, as the generated report programs describe it: DECIMALS,ALIGN after the type
  // (M, or N with two parts); the width is the option L<n>, else kLargeurMontant. Printed as a
  // number.
  void Montant(Column& col, const std::vector<const BracketNode*>& rest) {
    if (rest.size() != 2) {
      Fail(rest.empty() ? 0 : rest[0]->position,
           "colonne " + col.key + " de type M : « DECIMALES,CADRAGE » attendu après le type");
    }
    col.type = 'N';
    col.width = kLargeurMontant;
    Decimales(col, *rest[0]);
    Cadrage(col, *rest[1]);
  }

  // A date: SIZE,ALIGN after the type; printed as written, at least 10 characters wide (a
  // date is shown as JJ/MM/AAAA whatever its coded size).
  void Date(Column& col, const std::vector<const BracketNode*>& rest, size_t position) {
    if (rest.size() != 2) {
      Fail(position,
           "colonne " + col.key + " de type D : « TAILLE,CADRAGE » attendu après le type");
    }
    col.type = 'A';
    Largeur(col, *rest[0]);
    col.width = std::max(col.width, 10);
    Cadrage(col, *rest[1]);
  }

  void Largeur(Column& col, const BracketNode& node) {
    const BracketNode& w = Atom(node, "largeur");
    col.width = ParseInt(w.text, 1, kMaxWidth);
    if (col.width < 0) {
      Fail(w.position, "colonne " + col.key + " : largeur " + Quote(w.text) +
                           " incorrecte (nombre de 1 à 999 attendu)");
    }
  }

  void Decimales(Column& col, const BracketNode& node) {
    const BracketNode& dec = Atom(node, "décimales");
    col.decimals = ParseInt(dec.text, 0, std::min(kMaxDecimals, col.width - 1));
    if (col.decimals < 0) {
      Fail(dec.position, "colonne " + col.key + " : nombre de décimales " + Quote(dec.text) +
                             " incorrect (0 à 15, moins que la largeur)");
    }
  }

  void Cadrage(Column& col, const BracketNode& node) {
    const BracketNode& a = Atom(node, "cadrage");
    const std::string_view align = text::Trim(a.text);
    if (align == "G") {
      col.align = Align::kLeft;
    } else if (align == "D") {
      col.align = Align::kRight;
    } else if (align == "C") {
      col.align = Align::kCentre;
    } else {
      Fail(a.position, "colonne " + col.key + " : cadrage " + Quote(align) +
                           " inconnu (G gauche, D droite, C centre)");
    }
  }

  // The parts after the type: WIDTH,ALIGN (A); WIDTH,DECIMALS,ALIGN (N); (WIDTH,)ALIGN (B).
  void Sizes(Column& col, const std::vector<const BracketNode*>& rest, size_t position) {
    size_t expected = col.type == 'N' ? 3 : 2;
    if (col.type == 'B' && rest.size() == 1) expected = 1;
    if (rest.size() != expected) {
      const char* form = col.type == 'N'   ? "LARGEUR,DECIMALES,CADRAGE"
                         : col.type == 'B' ? "(LARGEUR,)CADRAGE"
                                           : "LARGEUR,CADRAGE";
      Fail(position, "colonne " + col.key + " de type " + col.type + " : « " + form +
                         " » attendu après le type");
    }
    col.width = 3;  // "Oui" / "Non"
    if (expected > 1) Largeur(col, *rest[0]);
    if (col.type == 'N') Decimales(col, *rest[1]);
    Cadrage(col, *rest.back());
  }

  void Options(Column& col, const BracketNode& options) {
    for (const BracketNode& o : options.children) {
      const std::string_view letter = text::Trim(Atom(o, "option de colonne").text);
      if (letter == "A") {
        col.wrap_words = true;
      } else if (letter == "E") {
        col.repeat_on_page = true;
      } else if (letter.size() > 1 && letter[0] == 'L') {
        const int largeur = ParseInt(letter.substr(1), 1, kMaxWidth);
        if (largeur < col.decimals + 1) {
          Fail(o.position, "colonne " + col.key + " : largeur " + Quote(letter.substr(1)) +
                               " incorrecte (nombre de 1 à 999, plus que les décimales)");
        }
        col.width = largeur;
      } else {
        Fail(o.position, "colonne " + col.key + " : option " + Quote(letter) +
                             " inconnue (A renvoi par mots, E rappel en haut de page, Ln largeur)");
      }
    }
  }

  // Widens columns so that no word of a title or group heading has to be cut.
  void FitWidths() {
    for (Column& c : d_.columns) {
      c.layout_width = std::max(c.width, static_cast<int>(LongestWord(c.title)));
    }
    std::vector<Group> inner_first = d_.groups;
    std::stable_sort(inner_first.begin(), inner_first.end(),
                     [](const Group& a, const Group& b) { return a.level > b.level; });
    for (const Group& g : inner_first) {
      int span = -3;
      for (int i = g.first; i <= g.last; ++i) span += d_.columns[i].layout_width + 3;
      const int need = static_cast<int>(LongestWord(g.title));
      if (need > span) d_.columns[g.last].layout_width += need - span;
    }
  }

  Descriptor d_;
};

}  // namespace

bool ParseStyle(std::string_view code, Style* style) {
  if (code.size() != 2) return false;
  if (code[0] != 'P' && code[0] != 'M' && code[0] != 'G') return false;
  if (code[1] != 'S' && code[1] != 'D') return false;
  style->size = code[0];
  style->bold = code[1] == 'D';
  return true;
}

int Descriptor::Find(std::string_view key) const {
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].key == key) return static_cast<int>(i);
  }
  return -1;
}

int Descriptor::TextWidth() const {
  int width = 1;
  for (const Column& c : columns) width += c.layout_width + 3;
  return width;
}

Descriptor ParseDescriptor(std::string_view text) {
  const text::TextResult utf8 = text::CheckUtf8(text);
  if (!utf8) Fail(utf8.position, "texte UTF-8 incorrect");
  return Parser().Parse(text);
}

}  // namespace vesk::report
