#include "fic/noms_reserves.h"

#include <cstdint>
#include <map>
#include <utility>

#include "core/cycle_saisie.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

using F = FormeReservee;

constexpr std::string_view kMot = "mot du BASIC";
constexpr std::string_view kProcedureAppelee = "procédure des programmes générés";
constexpr std::string_view kGlobal = "nom global des programmes générés";
constexpr std::string_view kTouche = "code de touche des programmes de saisie";

// clang-format off
constexpr NomReserve kTable[] = {
    // The declarations: the record, its number, the services, the data path.
    {"T", F::kNom, "enregistrement T des routines Lire et Ecrire"},
    {"E", F::kNom, "variable E des routines Lire et Ecrire et du CSV"},
    {"DllApl", F::kNom, "objet de services DllApl des déclarations"},
    {"CP", F::kNom, "préfixe CP des chemins des fichiers"},
    // The report and CSV program: its locals and labels.
    {"Exist", F::kNom, "variable locale Exist du programme d'édition"},
    {"NoFic", F::kNom, "variable locale NoFic du programme d'édition"},
    {"V", F::kNom, "variable locale V$ du programme d'édition"},
    {"A", F::kNom, "variable locale A$ du programme d'édition"},
    {"NCE", F::kNom, "nom condensé NCE$ de l'édition"},
    {"Fin", F::kNom, "étiquette Fin du programme d'édition"},
    {"FinEdt", F::kNom, "étiquette FinEdt du programme d'édition"},
    // The data-entry program: its parameter, locals, labels and the consultation's locals.
    {"Code", F::kNom, "paramètre Code$ du programme de saisie"},
    {"X", F::kNom, "variable locale X$ du programme de saisie"},
    {"C", F::kNom, "variable locale C$ du programme de saisie"},
    {"L", F::kNom, "variable locale L$ de la consultation"},
    {"M", F::kNom, "variable locale M$ de la consultation"},
    {"I", F::kNom, "variable locale I de la consultation"},
    {"Cle", F::kNom, "variable locale Cle$ du programme de saisie"},
    {"TR", F::kNom, "variable locale TR du programme de saisie"},
    {"DernEnr", F::kNom, "variable locale DernEnr& du programme de saisie"},
    {"MultEcr", F::kNom, "variable locale MultEcr du programme de saisie"},
    {"EcrM", F::kNom, "variable locale EcrM du programme de saisie"},
    {"ModifSF", F::kNom, "variable locale ModifSF du programme de saisie"},
    {"EnrMod", F::kNom, "variable locale EnrMod& du programme de saisie"},
    {"SupSF", F::kNom, "variable locale SupSF du programme de saisie"},
    {"V", F::kNumero, "variable d'affichage Vn$ de la consultation"},
    {"DebSais", F::kEtiquette, "étiquette DebSais+suffixe du programme de saisie"},
    {"DesEcr", F::kEcran, "étiquette DesEcr+suffixe+écran de la saisie"},
    {"MemEcr", F::kPremierEcran, "étiquette MemEcr+suffixe+1 de la saisie"},
    {"Enr", F::kEtiquette, "étiquette Enr+suffixe du programme de saisie"},
    {"Fin", F::kEtiquette, "étiquette Fin+suffixe du programme de saisie"},
    {"Supres", F::kEtiquette, "étiquette Supres+suffixe du programme de saisie"},
    // The names the programs use without declaring them.
    {"F1", F::kNom, kTouche}, {"F2", F::kNom, kTouche}, {"F3", F::kNom, kTouche},
    {"F4", F::kNom, kTouche}, {"F5", F::kNom, kTouche}, {"F6", F::kNom, kTouche},
    {"F7", F::kNom, kTouche}, {"FH", F::kNom, kTouche}, {"PH", F::kNom, kTouche},
    {"CR", F::kNom, kTouche}, {"Vrai", F::kNom, kGlobal}, {"Faux", F::kNom, kGlobal},
    {"rien", F::kNom, kGlobal}, {"DirEnt", F::kNom, kGlobal}, {"Abandon", F::kNom, kGlobal},
    // The procedures they call.
    {"Donnee", F::kNom, kProcedureAppelee}, {"LireFichier", F::kNom, kProcedureAppelee},
    {"EcrireFichier", F::kNom, kProcedureAppelee}, {"Chainage", F::kNom, kProcedureAppelee},
    {"Marquer", F::kNom, kProcedureAppelee}, {"DeMarquer", F::kNom, kProcedureAppelee},
    {"EffaceEcran", F::kNom, kProcedureAppelee}, {"Titre", F::kNom, kProcedureAppelee},
    {"Mates", F::kNom, kProcedureAppelee}, {"ConsDon", F::kNom, kProcedureAppelee},
    {"Sai", F::kNom, kProcedureAppelee}, {"MesSD", F::kNom, kProcedureAppelee},
    {"MesBasEcran", F::kNom, kProcedureAppelee}, {"LireEnr", F::kNom, kProcedureAppelee},
    {"LectCle", F::kNom, kProcedureAppelee}, {"LocFich", F::kNom, kProcedureAppelee},
    {"Mesad", F::kNom, kProcedureAppelee}, {"Sailon", F::kNom, kProcedureAppelee},
    {"ResEcrSais", F::kNom, kProcedureAppelee}, {"MemEcrSais", F::kNom, kProcedureAppelee},
    {"InsP", F::kNom, kProcedureAppelee}, {"InsS", F::kNom, kProcedureAppelee},
    {"SupP", F::kNom, kProcedureAppelee}, {"SupS", F::kNom, kProcedureAppelee},
    {"NUL", F::kNom, kProcedureAppelee}, {"CompDate", F::kNom, kProcedureAppelee},
    {"DecompDate", F::kNom, kProcedureAppelee}, {"ListeHomonymeCle", F::kNom, kProcedureAppelee},
    {"PremList", F::kNom, kProcedureAppelee}, {"AdjQList", F::kNom, kProcedureAppelee},
    {"Crelist", F::kNom, kProcedureAppelee}, {"ChoixList", F::kNom, kProcedureAppelee},
    {"Prelist", F::kNom, kProcedureAppelee}, {"ProList", F::kNom, kProcedureAppelee},
    {"FormNum", F::kNom, kProcedureAppelee}, {"PremCle", F::kNom, kProcedureAppelee},
    {"SuivCle", F::kNom, kProcedureAppelee}, {"OuvseqO", F::kNom, kProcedureAppelee},
    {"EcrireFichSeq", F::kNom, kProcedureAppelee}, {"DecodeVarCsv", F::kNom, kProcedureAppelee},
    {"OuvEdt", F::kNom, kProcedureAppelee}, {"EdTitre", F::kNom, kProcedureAppelee},
    {"Cadredt", F::kNom, kProcedureAppelee}, {"ACol", F::kNom, kProcedureAppelee},
    {"AColM", F::kNom, kProcedureAppelee}, {"ELC", F::kNom, kProcedureAppelee},
    {"LVT", F::kNom, kProcedureAppelee}, {"EDTFINCADRE", F::kNom, kProcedureAppelee},
    {"EDTOTAL", F::kNom, kProcedureAppelee}, {"EDTFINCOL", F::kNom, kProcedureAppelee},
    {"CLOEDT", F::kNom, kProcedureAppelee}, {"CloDonnee", F::kNom, kProcedureAppelee},
    // The BASIC words they are written in, with the blocks' words.
    {"Sub", F::kNom, kMot}, {"Function", F::kNom, kMot}, {"End", F::kNom, kMot},
    {"Exit", F::kNom, kMot}, {"Dim", F::kNom, kMot}, {"As", F::kNom, kMot},
    {"Public", F::kNom, kMot}, {"Boolean", F::kNom, kMot}, {"Integer", F::kNom, kMot},
    {"Long", F::kNom, kMot}, {"String", F::kNom, kMot}, {"Call", F::kNom, kMot},
    {"If", F::kNom, kMot}, {"Then", F::kNom, kMot}, {"Else", F::kNom, kMot},
    {"ElseIf", F::kNom, kMot}, {"Goto", F::kNom, kMot}, {"Gosub", F::kNom, kMot},
    {"Return", F::kNom, kMot}, {"While", F::kNom, kMot}, {"Wend", F::kNom, kMot},
    {"For", F::kNom, kMot}, {"To", F::kNom, kMot}, {"Step", F::kNom, kMot}, {"Next", F::kNom, kMot},
    {"Do", F::kNom, kMot}, {"Loop", F::kNom, kMot}, {"Select", F::kNom, kMot},
    {"Case", F::kNom, kMot}, {"Not", F::kNom, kMot}, {"And", F::kNom, kMot}, {"Or", F::kNom, kMot},
    {"Rem", F::kNom, kMot}, {"True", F::kNom, kMot}, {"False", F::kNom, kMot},
    {"Mid", F::kNom, kMot}, {"Space", F::kNom, kMot}, {"LSET", F::kNom, kMot},
    {"LEN", F::kNom, kMot}, {"VAL", F::kNom, kMot}, {"CVI", F::kNom, kMot}, {"CVS", F::kNom, kMot},
    {"CVD", F::kNom, kMot}, {"MKI", F::kNom, kMot}, {"MKS", F::kNom, kMot}, {"MKD", F::kNom, kMot},
    {"CDBL", F::kNom, kMot},
};
// clang-format on

bool Chiffres(std::string_view s) {
  if (s.empty()) return false;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// True when nom is stem + a tail: the tail of each form (a suffix, a suffix and a screen's
// number, a suffix and "1", a number).
bool Prefixe(std::string_view nom, std::string_view stem, std::string_view& reste) {
  if (nom.size() <= stem.size() || !text::EqualNoCase(nom.substr(0, stem.size()), stem)) {
    return false;
  }
  reste = nom.substr(stem.size());
  return true;
}

bool Correspond(std::string_view nom, const NomReserve& r) {
  std::string_view reste;
  switch (r.forme) {
    case F::kNom:
      return text::EqualNoCase(nom, r.nom);
    case F::kNumero:
      return Prefixe(nom, r.nom, reste) && Chiffres(reste);
    case F::kEtiquette:
      return Prefixe(nom, r.nom, reste) && SuffixePossible(reste);
    case F::kPremierEcran:
      return Prefixe(nom, r.nom, reste) && reste.back() == '1' &&
             SuffixePossible(reste.substr(0, reste.size() - 1));
    case F::kEcran:
      if (!Prefixe(nom, r.nom, reste)) return false;
      for (size_t n = 1; n <= kLargeurSuffixe && n < reste.size(); ++n) {
        if (SuffixePossible(reste.substr(0, n)) && Chiffres(reste.substr(n)) && reste[n] != '0') {
          return true;
        }
      }
      return false;
  }
  return false;
}

// The entry of the table nom matches, the labels' forms left out unless etiquettes.
const NomReserve* Reserve(std::string_view nom, bool etiquettes) {
  for (const NomReserve& r : kTable) {
    const bool etiquette =
        r.forme == F::kEtiquette || r.forme == F::kEcran || r.forme == F::kPremierEcran;
    if ((etiquettes || !etiquette) && Correspond(nom, r)) return &r;
  }
  return nullptr;
}

// The names the file's dictionary entry gives its programs, with what each one is.
std::optional<std::string> NomDuFichier(std::string_view nom, const PorteeNoms& p, bool defauts) {
  const std::string& f = p.fichier;
  if (text::EqualNoCase(nom, f + "D")) return "poignée " + f + "D% du fichier " + f;
  for (const std::string& t : p.tables) {
    if (text::EqualNoCase(nom, t + "T")) return "poignée " + t + "T% du B-arbre " + t;
  }
  const std::pair<std::string, std::string_view> routines[] = {
      {"Lire" + f, "routine de lecture"},
      {"Ecrire" + f, "routine d'écriture"},
      {"Cons" + f, "procédure de consultation"},
      {"Ent" + f, "procédure de saisie par défaut"},
      {"Csv" + f, "procédure d'édition par défaut"}};
  for (size_t i = 0; i < std::size(routines); ++i) {
    if (!defauts && i >= 3) break;
    if (text::EqualNoCase(nom, routines[i].first)) {
      return std::string(routines[i].second) + " " + routines[i].first + " du fichier " + f;
    }
  }
  if (!p.application.empty() && text::EqualNoCase(nom, "Ouv" + p.application)) {
    return "routine d'ouverture Ouv" + p.application;
  }
  return std::nullopt;
}

// What nom meets among the fields' variables: a variable, or an entry variable x + variable.
std::optional<std::string> NomDesRubriques(std::string_view nom, const PorteeNoms& p) {
  for (const std::string& v : p.variables) {
    if (text::EqualNoCase(nom, v)) return "variable " + v + " d'une rubrique";
    if (text::EqualNoCase(nom, "x" + v)) {
      return "variable de saisie x" + v + "$ de la rubrique " + v;
    }
  }
  return std::nullopt;
}

}  // namespace

std::span<const NomReserve> NomsReserves() { return kTable; }

bool SuffixePossible(std::string_view s) {
  return s.size() <= kLargeurSuffixe && LettresEtChiffres(s) && !(s[0] >= '0' && s[0] <= '9');
}

PorteeNoms Portee(const ModeleDictionnaire& m, std::string_view fichier,
                  std::string_view application) {
  PorteeNoms p{std::string(fichier), {}, {}, std::string(application)};
  for (const auto& [table, b] : m.barbres) {
    if (b.fichier == fichier) p.tables.push_back(table);
  }
  const auto f = m.fichiers.find(p.fichier);
  if (f == m.fichiers.end()) return p;
  for (const Rubrique& r : f->second.rubriques) p.variables.push_back(r.variable);
  return p;
}

namespace {

// The fields' variables by their upper-case form, each with its places in field order: what a
// variable meets among the others is found by lookups, not by a pass over them all.
using IndexVariables = std::map<std::string, std::vector<size_t>>;

IndexVariables Indexe(const std::vector<std::string>& variables) {
  IndexVariables index;
  for (size_t i = 0; i < variables.size(); ++i) index[text::UpperAscii(variables[i])].push_back(i);
  return index;
}

// The first variable in field order that v meets: the same but for case, x + it is v, or it is
// x + v; with what it meets, as the refusal says it.
std::optional<std::string> ConflitRubriques(std::string_view v, const PorteeNoms& p,
                                            const IndexVariables& index) {
  const std::string haut = text::UpperAscii(v);
  size_t premier = SIZE_MAX;
  std::string role;
  auto candidats = [&](const std::string& cle, auto&& message) {
    const auto it = index.find(cle);
    if (it == index.end()) return;
    for (size_t i : it->second) {
      if (i >= premier || p.variables[i] == v) continue;
      premier = i;
      role = message(p.variables[i]);
    }
  };
  candidats(haut, [](const std::string& w) {
    return "même nom que la variable " + w + " (le BASIC ignore la casse)";
  });
  if (haut.size() > 1 && haut[0] == 'X') {
    candidats(haut.substr(1), [](const std::string& w) {
      return "variable de saisie x" + w + "$ de la rubrique " + w;
    });
  }
  candidats("X" + haut, [&](const std::string& w) {
    return "sa variable de saisie x" + std::string(v) + "$ serait la variable " + w;
  });
  if (premier == SIZE_MAX) return std::nullopt;
  return role;
}

std::optional<std::string> ConflitVariable(std::string_view v, const PorteeNoms& p,
                                           const IndexVariables& index) {
  if (const NomReserve* r = Reserve(v, true)) return std::string(r->role);
  if (auto role = NomDuFichier(v, p, true)) return role;
  return ConflitRubriques(v, p, index);
}

}  // namespace

std::optional<std::string> ConflitVariable(std::string_view v, const PorteeNoms& p) {
  return ConflitVariable(v, p, Indexe(p.variables));
}

std::optional<std::string> RefusVariable(std::string_view v, const PorteeNoms& p) {
  std::optional<std::string> conflit = ConflitVariable(v, p);
  if (!conflit) return std::nullopt;
  return "Variable « " + std::string(v) + " » refusée : " + *conflit;
}

std::optional<std::string> RefusSuffixe(std::string_view s, std::string_view procedure,
                                        const PorteeNoms& p) {
  const std::string refus = "Suffixe « " + std::string(s) + " » refusé : étiquette ";
  for (const NomReserve& r : kTable) {
    std::string etiquette = std::string(r.nom) + std::string(s);
    if (r.forme == F::kEcran) {
      // DesEcr + suffix + any screen's number.
      for (const std::string& v : p.variables) {
        std::string_view n;
        if (Prefixe(v, etiquette, n) && Chiffres(n)) {
          return refus + v + " = variable " + v + " d'une rubrique";
        }
      }
    }
    if (r.forme == F::kPremierEcran || r.forme == F::kEcran) {
      etiquette += "1";
    } else if (r.forme != F::kEtiquette) {
      continue;
    }
    if (!procedure.empty() && text::EqualNoCase(etiquette, procedure)) {
      return refus + etiquette + " = nom de la procédure";
    }
    std::optional<std::string> role = NomDesRubriques(etiquette, p);
    if (!role) role = NomDuFichier(etiquette, p, true);
    const NomReserve* n = Reserve(etiquette, false);
    if (!role && n != nullptr) role = std::string(n->role);
    if (role) return refus + etiquette + " = " + *role;
  }
  return std::nullopt;
}

std::optional<std::string> RefusProcedure(std::string_view nom, bool saisie, const PorteeNoms& p) {
  const std::string refus = "Nom de procédure « " + std::string(nom) + " » refusé : ";
  if (const NomReserve* r = Reserve(nom, saisie)) return refus + std::string(r->role);
  if (auto role = NomDuFichier(nom, p, false)) return refus + *role;
  if (auto role = NomDesRubriques(nom, p)) return refus + *role;
  return std::nullopt;
}

std::vector<std::pair<std::string, std::string>> ConflitsFichier(const PorteeNoms& p) {
  std::vector<std::pair<std::string, std::string>> conflits;
  const IndexVariables index = Indexe(p.variables);
  for (const std::string& v : p.variables) {
    if (auto conflit = ConflitVariable(v, p, index)) conflits.emplace_back(v, std::move(*conflit));
  }
  return conflits;
}

}  // namespace vesk::fic
