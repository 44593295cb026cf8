#include "fic/controles.h"

#include <algorithm>

#include "core/arithmetique.h"
#include "srv/srv_barbre.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

bool Chiffres(std::string_view texte) {
  if (texte.empty() || texte.size() > 5) return false;
  for (char c : texte) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// The three plain parts of a key element, or false when it is not such a list.
bool TroisParties(SrvListe& liste, std::string_view element, std::string parties[3]) {
  if (element.empty() || element.front() != '[') return false;
  int32_t nombre = 0;
  liste.NbElements(element, nombre);
  if (nombre != 3) return false;
  for (int16_t k = 0; k < 3; ++k) {
    liste.Element(element, static_cast<int16_t>(k + 1), parties[k]);
    if (!parties[k].empty() && parties[k].front() == '[') return false;
  }
  return true;
}

// The names a file or table of the application may not take, whatever their case.
constexpr std::string_view kNomsReserves[] = {"FIC", "LFIC", "DOM", "BA", "CHAIN", "TEMP"};

ResultatCle Refus(std::string message) {
  ResultatCle r;
  r.message = std::move(message);
  return r;
}

// The value of a bound typed as digits (at most 5), or 0 when it is not such a number.
int32_t Borne(std::string_view texte) {
  return Chiffres(texte) ? std::stoi(std::string(texte)) : 0;
}

// Checks one element's bounds against its field; nullopt when they hold.
std::optional<std::string> ControlePartie(const std::string parties[3],
                                          std::span<const Rubrique> champs, PartieCle& partie) {
  const std::string& variable = parties[0];
  const std::string_view cherche = text::TrimRight(variable);
  const auto it = std::find_if(champs.begin(), champs.end(), [&](const Rubrique& r) {
    return text::TrimRight(r.variable) == cherche;
  });
  if (variable.empty() || it == champs.end()) return variable + " Inconnue";
  partie.rubrique = static_cast<int32_t>(it - champs.begin());
  const int16_t total = it->Total();
  const std::string pd = parties[1] == "_" ? "1" : parties[1];
  const int32_t debut = Borne(pd);
  if (debut < 1 || debut > total) return variable + "-" + pd + " Erreur";
  const std::string pf = parties[2] == "_" ? std::to_string(total) : parties[2];
  const int32_t fin = Borne(pf);
  if (fin < 1 || fin > total || fin < debut) return variable + "-" + pf + " Erreur";
  partie.debut = static_cast<int16_t>(debut);
  partie.fin = static_cast<int16_t>(fin);
  partie.entiere = parties[1] == "_" && parties[2] == "_";
  return std::nullopt;
}

// The slice of the record a part takes: from the part's first character within the field,
// within the field's internal length (a whole field, "[V,_,_]", is its internal bytes).
TrancheCle Tranche(const PartieCle& p, const Rubrique& r) {
  const int32_t fin = std::min<int32_t>(p.fin, r.interne.longueur);
  const int32_t longueur = std::max<int32_t>(0, fin - p.debut + 1);
  return {Somme<int32_t>(r.position - 1, p.debut - 1), longueur};
}

}  // namespace

ResultatCle ControleListeCle(Session& etat, std::string_view texte,
                             std::span<const Rubrique> champs) {
  int16_t position = 0;
  etat.Liste().VerifieSyntaxe(texte, position);
  if (position != 0) return Refus("Erreur de Syntaxe " + std::to_string(position) + "eme Car");
  std::string liste(texte);
  if (liste == "[]") return Refus("Liste de clé vide : au moins une variable [[Var,Pd,Pf]]");
  ResultatCle r;
  while (liste != "[]") {
    std::string element;
    etat.Liste().Extrait(liste, element);
    std::string parties[3];
    if (!TroisParties(etat.Liste(), element, parties)) return Refus("Faux Avant " + liste);
    PartieCle partie;
    if (auto refus = ControlePartie(parties, champs, partie)) return Refus(*refus);
    r.longueur = Somme<int16_t>(r.longueur, static_cast<int16_t>(partie.fin - partie.debut + 1));
    r.parties.push_back(partie);
    r.tranches.push_back(Tranche(partie, champs[static_cast<size_t>(partie.rubrique)]));
  }
  if (r.longueur > kLongueurCleMax) {
    return Refus("Clé de " + std::to_string(r.longueur) + " caractères : un B-arbre en tient " +
                 std::to_string(kLongueurCleMax) + " au plus");
  }
  r.valide = true;
  return r;
}

std::optional<std::string> NomDuDictionnaire(std::string_view quoi, std::string_view nom) {
  const std::string_view n = text::TrimRight(nom);
  for (std::string_view r : kNomsReserves) {
    if (text::EqualNoCase(n, r)) {
      return std::string(quoi) + " « " + std::string(n) +
             " » refusé : nom réservé aux fichiers du dictionnaire (FIC, LFIC, DOM, BA, CHAIN, "
             "TEMP)";
    }
  }
  return std::nullopt;
}

std::string ListeCleDefaut(Session& s, std::span<const Rubrique> champs) {
  std::string liste = "[]";
  for (const Rubrique& r : champs) {
    const std::string_view type = text::TrimRight(r.type);
    if (type != "A" && type != "D") continue;
    s.Liste().Ajoute(liste, "[" + std::string(text::TrimRight(r.variable)) + ",_,_]");
  }
  return liste;
}

int32_t ValeurNumerique(std::string_view texte) {
  size_t i = 0;
  while (i < texte.size() && texte[i] == ' ') ++i;
  bool negatif = false;
  if (i < texte.size() && (texte[i] == '+' || texte[i] == '-')) negatif = texte[i++] == '-';
  int64_t v = 0;
  for (; i < texte.size() && texte[i] >= '0' && texte[i] <= '9'; ++i) {
    v = v * 10 + (texte[i] - '0');
    if (v > INT32_MAX) ErreurDepassement("conversion", v, 0);
  }
  return static_cast<int32_t>(negatif ? -v : v);
}

bool PositionValide(int32_t position, int32_t longueur, std::optional<int32_t> premiere) {
  if (position <= 0 || position > longueur) return false;
  return !premiere || position >= *premiere;
}

}  // namespace vesk::fic
