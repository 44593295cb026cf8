#include "gencode/testing/structure_programme.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "srv/text/utf8.h"

namespace vesk {

namespace {

struct Bloc {
  std::string type;  // "SUB", "FUNCTION", "IF", "WHILE", "DO", "FOR", "SELECT"
  std::string nom;   // as the program writes it, for messages
  int32_t ligne;
};

struct Renvoi {
  std::string cible;  // upper case
  std::string texte;  // as written
  std::string mot;    // "Goto" or "Gosub"
  int32_t ligne;
};

bool EstLettre(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool EstMot(char c) {
  return EstLettre(c) || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80;
}

// s without its leading and trailing spaces and tabs.
std::string_view Nettoie(std::string_view s) { return text::Trim(s, " \t"); }

// The code of a line: without its comment (an apostrophe or a Rem statement outside strings),
// cut into statements at the colons outside strings.
std::vector<std::string_view> Instructions(std::string_view ligne) {
  std::vector<std::string_view> r;
  bool chaine = false;
  size_t debut = 0;
  for (size_t i = 0; i <= ligne.size(); ++i) {
    const char c = i < ligne.size() ? ligne[i] : ':';
    if (c == '"') chaine = !chaine;
    if (chaine && i < ligne.size()) continue;
    const bool fin = c == '\'' || i == ligne.size();
    if (c == ':' || fin) {
      std::string_view inst = Nettoie(ligne.substr(debut, i - debut));
      const std::string tete = text::UpperAscii(inst.substr(0, 4));
      if (tete == "REM" || tete == "REM ") return r;
      if (!inst.empty()) r.push_back(inst);
      debut = i + 1;
      if (fin) return r;
    }
  }
  return r;
}

// The words of a statement outside strings (strings become one word "\"").
std::vector<std::string_view> Mots(std::string_view inst) {
  std::vector<std::string_view> mots;
  size_t i = 0;
  while (i < inst.size()) {
    const char c = inst[i];
    if (c == '"') {
      const size_t fin = inst.find('"', i + 1);
      mots.push_back("\"");
      i = fin == std::string_view::npos ? inst.size() : fin + 1;
    } else if (EstMot(c)) {
      size_t j = i;
      while (j < inst.size() && EstMot(inst[j])) ++j;
      mots.push_back(inst.substr(i, j - i));
      i = j;
    } else {
      if (c == ',') mots.push_back(",");
      ++i;
    }
  }
  return mots;
}

class Analyse {
 public:
  void Ligne(std::string_view texte, int32_t numero);
  std::vector<DefautStructure> Fin();

 private:
  void Instruction(std::string_view inst, bool& suite_ignoree);
  void OuvreProcedure(const std::string& type, std::string_view inst);
  void Si(const std::string& premier, std::string_view inst,
          const std::vector<std::string_view>& mots, bool& suite_ignoree);
  void Ouvre(std::string type, std::string_view nom) {
    pile_.push_back({type, std::string(nom), ligne_});
  }
  void Ferme(const std::string& type, std::string_view fermeture);
  void Defaut(int32_t ligne, std::string message) {
    defauts_.push_back({ligne, std::move(message)});
  }
  void Renvois(const std::vector<std::string_view>& mots);
  std::string_view Etiquette(std::string_view& texte);

  int32_t ligne_ = 0;
  std::vector<Bloc> pile_;
  std::map<std::string, int32_t> etiquettes_;
  std::vector<Renvoi> renvois_;
  std::vector<DefautStructure> defauts_;
};

// A label opening the line ("Name:"), removed from texte; empty when there is none.
std::string_view Analyse::Etiquette(std::string_view& texte) {
  size_t i = 0;
  if (texte.empty() || !EstLettre(texte[0])) return {};
  while (i < texte.size() && EstMot(texte[i])) ++i;
  if (i >= texte.size() || texte[i] != ':') return {};
  const std::string_view nom = texte.substr(0, i);
  const std::string haut = text::UpperAscii(nom);
  if (haut == "ELSE") return {};
  texte = Nettoie(texte.substr(i + 1));
  return nom;
}

void Analyse::Ligne(std::string_view texte, int32_t numero) {
  ligne_ = numero;
  texte = Nettoie(texte);
  const std::string_view etiquette = Etiquette(texte);
  if (!etiquette.empty()) {
    auto [it, nouvelle] = etiquettes_.emplace(text::UpperAscii(etiquette), numero);
    if (!nouvelle) {
      Defaut(numero, "étiquette « " + std::string(etiquette) + " » déjà définie ligne " +
                         std::to_string(it->second));
    }
  }
  bool suite_ignoree = false;
  for (std::string_view inst : Instructions(texte)) {
    Renvois(Mots(inst));
    if (!suite_ignoree) Instruction(inst, suite_ignoree);
  }
}

void Analyse::Renvois(const std::vector<std::string_view>& mots) {
  for (size_t i = 0; i < mots.size(); ++i) {
    const std::string mot = text::UpperAscii(mots[i]);
    if (mot != "GOTO" && mot != "GOSUB") continue;
    const bool sur_erreur = i >= 2 && text::UpperAscii(mots[i - 1]) == "ERROR";
    for (size_t j = i + 1; j < mots.size(); j += 2) {
      if (!(sur_erreur && mots[j] == "0")) {
        renvois_.push_back({text::UpperAscii(mots[j]), std::string(mots[j]),
                            mot == "GOTO" ? "Goto" : "Gosub", ligne_});
      }
      if (j + 1 >= mots.size() || mots[j + 1] != ",") break;
    }
  }
}

void Analyse::OuvreProcedure(const std::string& type, std::string_view inst) {
  for (const Bloc& b : pile_) {
    if (b.type == "SUB" || b.type == "FUNCTION") {
      Defaut(ligne_, "« " + std::string(inst) + " » dans la procédure ouverte ligne " +
                         std::to_string(b.ligne));
      break;
    }
  }
  Ouvre(type, inst);
}

// If or ElseIf: a block when Then ends the statement, else a one-line If whose rest of the
// line is its own. "If condition Goto label", without Then, is a one-line If too.
void Analyse::Si(const std::string& premier, std::string_view inst,
                 const std::vector<std::string_view>& mots, bool& suite_ignoree) {
  auto then = std::find_if(mots.begin(), mots.end(),
                           [](std::string_view m) { return text::UpperAscii(m) == "THEN"; });
  const bool goto_seul =
      premier == "IF" && mots.size() >= 4 && text::UpperAscii(mots[mots.size() - 2]) == "GOTO";
  if (then == mots.end() && goto_seul) {
    suite_ignoree = true;
    return;
  }
  if (then == mots.end()) {
    Defaut(ligne_, "« " + std::string(inst) + " » sans « Then »");
    return;
  }
  const bool bloc = then + 1 == mots.end() && text::UpperAscii(inst).ends_with("THEN");
  if (premier == "ELSEIF") {
    if (pile_.empty() || pile_.back().type != "IF") {
      Defaut(ligne_, "« ElseIf » hors d'un bloc « If »");
    }
  } else if (bloc) {
    Ouvre("IF", inst);
  } else {
    suite_ignoree = true;
  }
}

void Analyse::Instruction(std::string_view inst, bool& suite_ignoree) {
  std::vector<std::string_view> mots = Mots(inst);
  if (mots.empty()) return;
  size_t k = 0;
  std::string premier = text::UpperAscii(mots[0]);
  if ((premier == "PUBLIC" || premier == "PRIVATE" || premier == "STATIC") && mots.size() > 1) {
    k = 1;
    premier = text::UpperAscii(mots[1]);
  }
  const std::string second = mots.size() > k + 1 ? text::UpperAscii(mots[k + 1]) : "";
  if (premier == "SUB" || premier == "FUNCTION") {
    OuvreProcedure(premier, inst);
  } else if (premier == "IF" || premier == "ELSEIF") {
    Si(premier, inst, mots, suite_ignoree);
  } else if (premier == "ELSE") {
    if (pile_.empty() || pile_.back().type != "IF")
      Defaut(ligne_, "« Else » hors d'un bloc « If »");
    suite_ignoree = true;
  } else if (premier == "END" &&
             (second == "IF" || second == "SUB" || second == "FUNCTION" || second == "SELECT")) {
    Ferme(second, inst);
  } else if (premier == "WHILE" || premier == "DO" || premier == "FOR") {
    Ouvre(premier, inst);
  } else if (premier == "SELECT") {
    Ouvre("SELECT", inst);
  } else if (premier == "WEND") {
    Ferme("WHILE", inst);
  } else if (premier == "LOOP") {
    Ferme("DO", inst);
  } else if (premier == "NEXT") {
    size_t n = 1;
    for (std::string_view m : mots) n += m == "," ? 1 : 0;
    for (size_t i = 0; i < n; ++i) Ferme("FOR", inst);
  }
}

void Analyse::Ferme(const std::string& type, std::string_view fermeture) {
  auto it =
      std::find_if(pile_.rbegin(), pile_.rend(), [&](const Bloc& b) { return b.type == type; });
  if (it == pile_.rend()) {
    Defaut(ligne_, "« " + std::string(fermeture) + " » sans bloc ouvert à fermer");
    return;
  }
  while (pile_.back().type != type) {
    const Bloc& b = pile_.back();
    Defaut(b.ligne, "« " + b.nom + " » non fermé avant « " + std::string(fermeture) + " » ligne " +
                        std::to_string(ligne_));
    pile_.pop_back();
  }
  pile_.pop_back();
}

std::vector<DefautStructure> Analyse::Fin() {
  for (const Bloc& b : pile_) Defaut(b.ligne, "« " + b.nom + " » jamais fermé");
  for (const Renvoi& r : renvois_) {
    if (etiquettes_.find(r.cible) == etiquettes_.end()) {
      Defaut(r.ligne, r.mot + " vers l'étiquette « " + r.texte + " », qui n'existe pas");
    }
  }
  std::stable_sort(
      defauts_.begin(), defauts_.end(),
      [](const DefautStructure& a, const DefautStructure& b) { return a.ligne < b.ligne; });
  return std::move(defauts_);
}

// The names a program assigns, and the names it may assign: its procedures' parameters and
// Dim declarations (per procedure), its Public declarations, the fields' variables, and the
// names its fixed lines use undeclared.
class Affectations {
 public:
  explicit Affectations(const std::vector<std::string>& champs) {
    for (const char* nom : {"NCE", "CODE", "VRAI", "FAUX", "RIEN", "DIRENT", "CP", "ABANDON", "F1",
                            "F2", "F3", "F4", "F5", "F6", "F7", "FH", "PH", "CR"}) {
      globales_.insert(nom);
    }
    for (const std::string& v : champs) {
      globales_.insert(text::UpperAscii(v));
      globales_.insert("X" + text::UpperAscii(v));
    }
  }

  void Ligne(std::string_view texte, int32_t numero) {
    ligne_ = numero;
    for (std::string_view inst : Instructions(texte)) Instruction(inst);
  }
  std::vector<DefautStructure> Fin() && { return std::move(defauts_); }

 private:
  void Instruction(std::string_view inst) {
    const std::vector<std::string_view> mots = Mots(inst);
    if (mots.empty()) return;
    size_t k = 0;
    const std::string premier = text::UpperAscii(mots[0]);
    const bool publique = premier == "PUBLIC" || premier == "PRIVATE" || premier == "STATIC";
    if (publique && mots.size() > 1) k = 1;
    const std::string mot = text::UpperAscii(mots[k]);
    if (mot == "SUB" || mot == "FUNCTION") {
      locales_.clear();
      for (size_t i = k + 2; i < mots.size(); ++i) Declare(mots, i, locales_);
    } else if (mot == "DIM" || publique) {
      std::set<std::string>& cible = publique ? globales_ : locales_;
      const size_t debut = mot == "DIM" ? k + 1 : k;
      for (size_t i = debut; i < mots.size(); ++i) {
        if (i == debut || mots[i - 1] == ",") Declare(mots, i, cible);
      }
      if (inst.find("V?$") != std::string_view::npos) v_numerotees_ = true;
    } else if (mot == "IF" || mot == "ELSEIF") {
      const std::string haut = text::UpperAscii(inst);
      const size_t then = haut.find(" THEN ");
      if (then != std::string::npos) Instruction(Nettoie(inst.substr(then + 6)));
    } else {
      Affectation(inst);
    }
  }
  // mots[i] names a declared variable (the words As and types aside).
  static void Declare(const std::vector<std::string_view>& mots, size_t i,
                      std::set<std::string>& cible) {
    const std::string nom = text::UpperAscii(mots[i]);
    if (nom != "AS" && nom != "," && nom != "\"") cible.insert(nom);
  }
  void Affectation(std::string_view inst) {
    std::string_view reste = inst;
    const std::string haut = text::UpperAscii(inst.substr(0, 5));
    if (haut == "LSET " || haut == "RSET ") reste = Nettoie(reste.substr(5));
    if (text::UpperAscii(reste.substr(0, 4)) == "LET ") reste = Nettoie(reste.substr(4));
    if (text::UpperAscii(reste.substr(0, 4)) == "FOR ") reste = Nettoie(reste.substr(4));
    size_t i = 0;
    while (i < reste.size() && EstMot(reste[i])) ++i;
    if (i == 0 || !EstLettre(reste[0])) return;
    const std::string nom = text::UpperAscii(reste.substr(0, i));
    while (i < reste.size() &&
           std::string_view("$%&!# ").find(reste[i]) != std::string_view::npos) {
      ++i;
    }
    if (i >= reste.size() || reste[i] != '=') return;
    if (Permis(nom)) return;
    defauts_.push_back({ligne_, "affectation à « " + std::string(Nettoie(reste.substr(0, i))) +
                                    " », ni variable d'une rubrique ni variable déclarée"});
  }
  bool Permis(const std::string& nom) const {
    if (globales_.contains(nom) || locales_.contains(nom)) return true;
    return v_numerotees_ && nom.size() > 1 && nom[0] == 'V' &&
           nom.find_first_not_of("0123456789", 1) == std::string::npos;
  }

  int32_t ligne_ = 0;
  std::set<std::string> globales_, locales_;
  bool v_numerotees_ = false;
  std::vector<DefautStructure> defauts_;
};

// Calls ligne(text, number) for each line of programme (CR LF or LF), from 1.
template <typename Fonction>
void ParcourtLignes(std::string_view programme, Fonction ligne) {
  int32_t numero = 0;
  size_t debut = 0;
  while (true) {
    const size_t fin = programme.find('\n', debut);
    std::string_view l = programme.substr(debut, fin == std::string_view::npos ? fin : fin - debut);
    if (!l.empty() && l.back() == '\r') l.remove_suffix(1);
    ligne(l, ++numero);
    if (fin == std::string_view::npos) return;
    debut = fin + 1;
  }
}

// The kind a layout rule gives a line (leading spaces removed, not empty): "Etiquette" for a
// line ending in ":", "IF" for one ending in "Then", else the first keyword it begins with
// (upper-cased), "" for an ordinary instruction.
std::string GenreDisposition(std::string_view ligne) {
  const std::string haut = text::UpperAscii(Nettoie(ligne));
  if (haut.ends_with(":")) return "Etiquette";
  if (haut.ends_with("THEN")) return "IF";
  for (const char* mot :
       {"REM", "ELSE", "END IF", "SUB", "FOR", "NEXT", "WHILE", "WEND", "EXIT SUB", "END SUB"}) {
    if (haut.starts_with(mot)) return mot;
  }
  return "";
}

// The kind whose most recent line gives a closing line its column ("" for another kind).
std::string_view Ouvrant(std::string_view genre) {
  if (genre == "ELSE" || genre == "END IF") return "IF";
  if (genre == "WEND") return "WHILE";
  if (genre == "NEXT") return "FOR";
  if (genre == "EXIT SUB" || genre == "END SUB") return "SUB";
  return "";
}

}  // namespace

std::vector<DefautStructure> DefautsColonnes(std::string_view programme) {
  std::vector<DefautStructure> defauts;
  std::map<std::string, int32_t> colonnes;  // by kind, the column of its most recent line
  ParcourtLignes(programme, [&](std::string_view l, int32_t n) {
    if (Nettoie(l).empty()) return;
    const int32_t colonne = static_cast<int32_t>(l.find_first_not_of(' '));
    const std::string genre = GenreDisposition(l);
    if (genre == "Etiquette") {
      if (colonne != 0) {
        defauts.push_back({n, "étiquette « " + std::string(Nettoie(l)) + " » en colonne " +
                                  std::to_string(colonne) + " au lieu de 0"});
      }
      return;
    }
    if (const std::string_view o = Ouvrant(genre); !o.empty()) {
      const auto c = colonnes.find(std::string(o));
      const int32_t voulue = c == colonnes.end() ? 0 : c->second;
      if (colonne != voulue) {
        defauts.push_back({n, "« " + std::string(Nettoie(l)) + " » en colonne " +
                                  std::to_string(colonne) + " au lieu de " +
                                  std::to_string(voulue) + " (celle du dernier " + std::string(o) +
                                  ")"});
      }
    }
    colonnes[genre] = colonne;
  });
  return defauts;
}

std::vector<DefautStructure> DefautsStructure(std::string_view programme) {
  Analyse v;
  ParcourtLignes(programme, [&](std::string_view l, int32_t n) { v.Ligne(l, n); });
  return v.Fin();
}

std::vector<DefautStructure> DefautsAffectations(std::string_view programme,
                                                 const std::vector<std::string>& champs) {
  Affectations a(champs);
  ParcourtLignes(programme, [&](std::string_view l, int32_t n) { a.Ligne(Nettoie(l), n); });
  return std::move(a).Fin();
}

std::string DecritDefauts(const std::vector<DefautStructure>& defauts) {
  std::string r;
  for (const DefautStructure& d : defauts) {
    r += "ligne " + std::to_string(d.ligne) + " : " + d.message + "\n";
  }
  return r;
}

}  // namespace vesk
