// The checks of a dictionary model before it is written: what an entry screen would refuse is
// refused here too, with the line of the text and the reason.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "fic/controles.h"
#include "fic/dictionnaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/noms_reserves.h"
#include "fic/rubrique.h"
#include "srv/srv_barbre.h"
#include "srv/srv_donnee.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

// The widths of the dictionary records' fields that the text fills.
constexpr size_t kLargeurNomFichier = 6, kLargeurNomRubrique = 40, kLargeurVariable = 20,
                 kLargeurExemple = 40, kLargeurDomaine = 20, kLargeurNomDomaine = 40,
                 kLargeurFdd = 8, kLargeurListeCle = 100;
constexpr int64_t kPositionMax = 99999;  // five digits

class Fautes {
 public:
  explicit Fautes(std::string_view nom) : nom_(nom) {}
  void Ajoute(int32_t ligne, const std::string& message) {
    fautes_.push_back(nom_ + ":" + std::to_string(ligne) + " : " + message);
  }
  std::vector<std::string> Liste() && { return std::move(fautes_); }
  size_t Nombre() const { return fautes_.size(); }

  // A text of the records: Windows-1252, no control character, at most largeur characters,
  // and, when liste, none of the characters that would break a bracketed list or a string of
  // the generated programs.
  void Texte(int32_t ligne, std::string_view quoi, std::string_view v, size_t largeur, bool liste) {
    const std::string cite = std::string(quoi) + " « " + std::string(v) + " »";
    std::string octets;
    const text::TextResult r = text::EncodeCp1252(v, &octets);
    if (!r.ok) return Ajoute(ligne, cite + " : " + r.message);
    for (unsigned char c : octets) {
      if (c < 0x20 || c == 0x7F) return Ajoute(ligne, cite + " : caractère de contrôle refusé");
    }
    const size_t n = text::CountChars(v);
    if (n > largeur) {
      return Ajoute(ligne, cite + " : " + std::to_string(n) + " caractères, " +
                               std::to_string(largeur) + " au plus");
    }
    if (liste && v.find_first_of("[],\"") != std::string_view::npos) {
      Ajoute(ligne, cite + " : les caractères [ ] , et \" sont refusés");
    }
  }
  // A name of the data folder: letters and digits, at most largeur.
  void Nom(int32_t ligne, std::string_view quoi, std::string_view v, size_t largeur) {
    if (!LettresEtChiffres(v) || v.size() > largeur) {
      Ajoute(ligne, std::string(quoi) + " « " + std::string(v) + " » : de 1 à " +
                        std::to_string(largeur) + " lettres (sans accent) et chiffres");
    }
  }

 private:
  std::string nom_;
  std::vector<std::string> fautes_;
};

bool Variable(std::string_view v) {
  return LettresEtChiffres(v) && ((v[0] >= 'A' && v[0] <= 'Z') || (v[0] >= 'a' && v[0] <= 'z'));
}

void ControleDomaines(const ModeleDictionnaire& m, Fautes& f) {
  std::map<std::string, const Domaine*> par_fichier;
  for (const auto& [code, d] : m.domaines) {
    if (text::TrimRight(code).empty()) f.Ajoute(d.ligne, "code de domaine vide");
    f.Texte(d.ligne, "code de domaine", code, kLargeurDomaine, true);
    f.Texte(d.ligne, "nom du domaine", d.nom, kLargeurNomDomaine, false);
    f.Nom(d.ligne, "fichier de définition", d.fichier, kLargeurFdd);
    if (d.definition) {
      for (const std::string& l : *d.definition) f.Texte(d.ligne, "définition", l, SIZE_MAX, false);
    }
    const std::string fdd = text::UpperAscii(d.fichier);
    auto [it, nouveau] = par_fichier.emplace(fdd, &d);
    if (!nouveau && it->second->definition != d.definition) {
      f.Ajoute(d.ligne, "le fichier de définition " + fdd +
                            ".DOM est aussi celui d'un autre domaine, avec une autre définition");
    }
  }
}

// The limits of one field's total and decimals, and its internal format when it is chosen. The
// text's numbers are 64-bit: each is checked whole before it is narrowed to the rules' 32 bits,
// or 4294967298 decimals would pass for 2.
void ControleTaille(const Rubrique& r, const RegleType& regle, Fautes& f) {
  const char type = regle.type;
  const int64_t d = r.decimales.value_or(0);
  if (r.decimales && (d < 0 || d > kTotalMax || !DecimalesValides(type, static_cast<int32_t>(d)))) {
    f.Ajoute(r.ligne,
             "décimales " + std::to_string(d) +
                 (regle.decimales ? " : de 0 à 15" : " : un champ " + r.type + " n'en a pas"));
    return;
  }
  if (!r.total && regle.total_fixe == 0) return f.Ajoute(r.ligne, "total absent");
  const int64_t t = r.total.value_or(regle.total_fixe);
  if (t < 1 || t > kTotalMax ||
      !TotalValide(type, static_cast<int32_t>(t), static_cast<int32_t>(d))) {
    std::string limites = regle.total_fixe > 0 ? std::to_string(regle.total_fixe)
                          : !regle.decimales   ? "de 1 à 32767"
                          : d > 0              ? "de " + std::to_string(d + 2) + " à 17"
                                               : "de 1 à 16";
    return f.Ajoute(r.ligne,
                    "total " + std::to_string(t) + " pour un champ " + r.type +
                        (regle.decimales ? " de " + std::to_string(d) + " décimales" : "") + " : " +
                        limites);
  }
  const bool demande = FormatDemande(type, static_cast<int16_t>(t), static_cast<int16_t>(d));
  if (r.format && (!demande || (*r.format != "I" && *r.format != "S"))) {
    f.Ajoute(r.ligne, demande
                          ? "format « " + *r.format + " » : I ou S"
                          : "format : seul un montant de 5 caractères sans décimales le choisit");
  }
}

void ControleRubrique(const Rubrique& r, Fautes& f) {
  if (text::TrimRight(r.nom).empty()) f.Ajoute(r.ligne, "nom de rubrique vide");
  f.Texte(r.ligne, "nom de rubrique", r.nom, kLargeurNomRubrique, true);
  if (!Variable(r.variable) || r.variable.size() > kLargeurVariable) {
    f.Ajoute(r.ligne, "variable « " + r.variable +
                          " » : une lettre puis des lettres et chiffres, 20 au plus");
  }
  // The rules' own default examples hold brackets and commas ("[E1,E2,...,En] où Ei="): only
  // the double quote, which would end a string of the generated programs, is refused.
  if (r.exemple) {
    f.Texte(r.ligne, "exemple", *r.exemple, kLargeurExemple, false);
    if (r.exemple->find('"') != std::string::npos) {
      f.Ajoute(r.ligne, "exemple « " + *r.exemple + " » : le caractère \" est refusé");
    }
  }
  if (r.domaine) f.Texte(r.ligne, "domaine", *r.domaine, kLargeurDomaine, true);
  if (r.modification && !ModificationConnue(*r.modification)) {
    f.Ajoute(r.ligne, "type de modification « " + *r.modification + " » : U, R, A ou S");
  }
  const RegleType* regle = ChercheType(r.type);
  if (regle == nullptr) return f.Ajoute(r.ligne, "type « " + r.type + " » : A, M, N, D, E, B ou L");
  ControleTaille(r, *regle, f);
}

void ControleLongueur(const Fichier& fichier, int64_t reelle, Fautes& f) {
  const std::string limites = "de " + std::to_string(kLongueurEnrMin) + " à " +
                              std::to_string(kLongueurEnrMax) + " caractères";
  if (reelle > kLongueurEnrMax) {
    return f.Ajoute(fichier.ligne, "longueur réelle " + std::to_string(reelle) +
                                       " : un enregistrement fait " + limites);
  }
  if (!fichier.longueur) {
    const int32_t proposee = LongueurProposee(static_cast<int32_t>(reelle));
    if (proposee < kLongueurEnrMin) {
      f.Ajoute(fichier.ligne, "longueur proposée " + std::to_string(proposee) +
                                  " : un enregistrement fait " + limites + ", donnez-la");
    }
    return;
  }
  const int64_t l = *fichier.longueur;
  if (l < reelle) {
    f.Ajoute(fichier.ligne, "longueur " + std::to_string(l) + " inférieure à la longueur réelle " +
                                std::to_string(reelle));
  } else if (l < kLongueurEnrMin || l > kLongueurEnrMax) {
    f.Ajoute(fichier.ligne,
             "longueur " + std::to_string(l) + " : un enregistrement fait " + limites);
  }
}

// A variable that meets a name of the programs generated for the file.
void ControleNomsReserves(const Fichier& fichier, const PorteeNoms& portee, Fautes& f) {
  for (const Rubrique& r : fichier.rubriques) {
    if (!Variable(r.variable)) continue;
    if (std::optional<std::string> conflit = ConflitVariable(r.variable, portee)) {
      f.Ajoute(r.ligne, "variable « " + r.variable + " » de la rubrique « " + r.nom +
                            " » refusée : " + *conflit);
    }
  }
}

// Checks a file and its fields; gives the file completed when its fields can be placed.
std::optional<Fichier> ControleFichier(Session& s, const std::string& nom, const Fichier& fichier,
                                       const PorteeNoms& portee, Fautes& f) {
  const size_t avant = f.Nombre();
  f.Nom(fichier.ligne, "nom de fichier", nom, kLargeurNomFichier);
  if (auto refus = NomDuDictionnaire("nom de fichier", nom)) f.Ajoute(fichier.ligne, *refus);
  if (fichier.rubriques.empty()) f.Ajoute(fichier.ligne, "fichier " + nom + " sans rubrique");
  std::map<std::string, const Rubrique*> variables;
  for (const Rubrique& r : fichier.rubriques) {
    ControleRubrique(r, f);
    auto [it, nouvelle] = variables.emplace(r.variable, &r);
    if (!nouvelle) {
      f.Ajoute(r.ligne, "variable " + r.variable + " déjà prise par la rubrique « " +
                            it->second->nom + " » (ligne " + std::to_string(it->second->ligne) +
                            ")");
    }
  }
  ControleNomsReserves(fichier, portee, f);
  if (f.Nombre() != avant) return std::nullopt;
  Fichier complet = fichier;
  CompleteFichier(s, complet);
  ControleLongueur(fichier, complet.LongueurReelle(), f);
  if (f.Nombre() != avant) return std::nullopt;
  return complet;
}

// The files whose fields pass their checks, completed.
using Valides = std::map<std::string, Fichier>;

void ControleBArbre(Session& s, const std::string& nom, const BArbre& b,
                    const ModeleDictionnaire& m, const Valides& valides, Fautes& f) {
  f.Nom(b.ligne, "table", nom, kLargeurNomFichier);
  if (auto refus = NomDuDictionnaire("nom de table", nom)) f.Ajoute(b.ligne, *refus);
  if (b.nature != "P" && b.nature != "S") {
    f.Ajoute(b.ligne, "nature « " + b.nature + " » : P (primaire) ou S (secondaire)");
  }
  f.Texte(b.ligne, "liste de clé", b.cle, kLargeurListeCle, false);
  if (!m.fichiers.contains(b.fichier)) {
    return f.Ajoute(b.ligne, "table " + nom + " : fichier « " + b.fichier + " » non spécifié");
  }
  if (!valides.contains(b.fichier)) return;
  const ResultatCle r = ControleListeCle(s, b.cle, valides.at(b.fichier).rubriques);
  if (!r.valide) f.Ajoute(b.ligne, r.message);
}

void ControlePositions(int32_t ligne, const char* noms[2], int64_t premiere, int64_t seconde,
                       int64_t longueur, Fautes& f) {
  const std::string borne =
      " : de 1 à " + std::to_string(longueur) + " (longueur de l'enregistrement)";
  if (premiere < 1 || premiere > longueur || premiere > kPositionMax) {
    f.Ajoute(ligne, std::string(noms[0]) + " " + std::to_string(premiere) + borne);
  } else if (seconde < premiere || seconde > longueur) {
    f.Ajoute(ligne, std::string(noms[1]) + " " + std::to_string(seconde) + " : de " +
                        std::to_string(premiere) + " (" + noms[0] + ") à " +
                        std::to_string(longueur));
  }
}

void ControleChainage(const std::string& nom, const Chainage& c, const ModeleDictionnaire& m,
                      const Valides& valides, Fautes& f) {
  bool connus = true;
  for (const std::string& fichier : {nom, c.entete}) {
    if (m.fichiers.contains(fichier)) continue;
    f.Ajoute(c.ligne, "chaînage " + nom + " : fichier « " + fichier + " » non spécifié");
    connus = false;
  }
  if (!connus || !valides.contains(nom) || !valides.contains(c.entete)) return;
  const char* ligne[2] = {"arriere", "avant"};
  const char* entete[2] = {"premier", "dernier"};
  ControlePositions(c.ligne, ligne, c.arriere, c.avant, valides.at(nom).Longueur(), f);
  ControlePositions(c.ligne, entete, c.premier, c.dernier, valides.at(c.entete).Longueur(), f);
}

}  // namespace

std::vector<std::string> ControleModele(Session& s, const ModeleDictionnaire& m,
                                        std::string_view nom) {
  Fautes f(nom);
  ControleDomaines(m, f);
  Valides valides;
  // The application's name is the screen service's, which an import may run without: the
  // opening routine's name is left to the generators' report.
  for (const auto& [n, fichier] : m.fichiers) {
    if (std::optional<Fichier> complet = ControleFichier(s, n, fichier, Portee(m, n, ""), f)) {
      valides.emplace(n, std::move(*complet));
    }
  }
  for (const auto& [n, b] : m.barbres) ControleBArbre(s, n, b, m, valides, f);
  for (const auto& [n, c] : m.chainages) ControleChainage(n, c, m, valides, f);
  return std::move(f).Liste();
}

}  // namespace vesk::fic
