#include "fic/table_champs.h"

#include "core/cycle_saisie.h"
#include "core/lot.h"
#include "fic/rubrique.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

size_t TableChamps::Indice(int32_t i) const {
  if (i < 1 || i > nombre_) ErreurIndice(i, static_cast<size_t>(nombre_));
  return static_cast<size_t>(i);
}

int TableChamps::IndiceLfic(int c) {
  if (c < 1 || c > kNbColonnes) ErreurIndice(c, kNbColonnes);
  return c + static_cast<int>(kLf1) - 1;
}

const std::string& TableChamps::Cellule(int32_t i, int c) const {
  IndiceLfic(c);
  return lignes_[static_cast<long long>(Indice(i))][static_cast<size_t>(c - 1)];
}

void TableChamps::Affecte(int32_t i, int c, std::string_view valeur) {
  IndiceLfic(c);
  lignes_[static_cast<long long>(Indice(i))][static_cast<size_t>(c - 1)] = std::string(valeur);
}

const TableChamps::Ligne& TableChamps::Rangee(int32_t i) const {
  return lignes_[static_cast<long long>(Indice(i))];
}

void TableChamps::AffecteRangee(int32_t i, const Ligne& ligne) {
  lignes_[static_cast<long long>(Indice(i))] = ligne;
}

std::string_view TableChamps::Texte(int32_t i, int c) const {
  return text::TrimRight(Cellule(i, c));
}

namespace {

int16_t Decode(Session& s, const std::string& taille) {
  int16_t v = 0;
  s.Texte().DecodeTaille(taille, v);
  return v;
}

}  // namespace

int16_t TableChamps::Total(int32_t i) const { return Decode(*s_, Cellule(i, kColTotal)); }
int16_t TableChamps::Decimales(int32_t i) const { return Decode(*s_, Cellule(i, kColDecimales)); }
int16_t TableChamps::LongueurInterne(int32_t i) const {
  return Decode(*s_, Cellule(i, kColLongueur));
}

std::string TableChamps::Taille(int16_t valeur) const {
  std::string taille;
  s_->Texte().EncodeTaille(valeur, taille);
  return taille;
}

std::vector<int32_t> TableChamps::Debuts() const {
  std::vector<int16_t> longueurs;
  for (int32_t i = 1; i <= nombre_; ++i) longueurs.push_back(LongueurInterne(i));
  return Positions(longueurs);
}

int32_t TableChamps::LongueurReelle() const {
  int32_t total = 0;
  for (int32_t i = 1; i <= nombre_; ++i) total = Somme<int32_t>(total, LongueurInterne(i));
  return total;
}

int32_t TableChamps::ChercheVariable(std::string_view texte) const {
  std::string_view cherche = text::TrimRight(texte);
  for (int32_t i = 1; i <= nombre_; ++i) {
    if (Texte(i, kColVariable) == cherche) return i;
  }
  return 0;
}

int32_t TableChamps::ChercheNom(std::string_view texte) const {
  std::string_view cherche = text::TrimRight(texte);
  for (int32_t i = 1; i <= nombre_; ++i) {
    if (Texte(i, kColNom) == cherche) return i;
  }
  return 0;
}

void TableChamps::Ajoute(Ligne ligne) {
  const int16_t n = Somme<int16_t>(nombre_, 1);
  if (lignes_.Taille() <= static_cast<size_t>(n)) lignes_.Redimensionne(static_cast<size_t>(n) * 2);
  nombre_ = n;
  lignes_[n] = std::move(ligne);
}

int32_t TableChamps::InsereApres(int32_t p) {
  const int16_t n = nombre_;
  if (p < 1 || p > n + 1) ErreurIndice(p, static_cast<size_t>(n) + 1);
  if (n == 0) {  // an empty row: no text, sizes 0
    Ligne vide;
    for (int c : {kColTotal, kColDecimales, kColLongueur}) vide[size_t(c - 1)] = Taille(0);
    Ajoute(std::move(vide));
    return 1;
  }
  Ajoute(lignes_[n]);  // row n to n+1
  const int32_t premier = p == n + 1 ? n : p;
  for (int32_t i = n - 1; i >= premier; --i) lignes_[i + 1] = lignes_[i];
  return p == nombre_ ? p : p + 1;
}

void TableChamps::Supprime(int32_t p) {
  const int16_t n = nombre_;
  if (p < 1 || p > n + 1) ErreurIndice(p, static_cast<size_t>(n) + 1);
  if (p == n + 1) return;
  for (int32_t i = p; i < n; ++i) lignes_[i] = lignes_[i + 1];
  nombre_ = Difference<int16_t>(n, 1);
}

int32_t TableChamps::Duplique(int32_t courant, std::span<const int32_t> choisies) {
  std::vector<Ligne> copies;
  copies.reserve(choisies.size());
  for (int32_t c : choisies) copies.push_back(Rangee(c));
  int32_t premiere = courant;
  for (size_t k = 0; k < copies.size(); ++k) {
    const int32_t apres = Somme<int32_t>(courant, static_cast<int32_t>(k));
    const bool au_dela = apres == nombre_ + 1;
    InsereApres(apres);
    const int32_t nouvelle = au_dela ? apres : apres + 1;
    lignes_[nouvelle] = copies[k];
    if (k == 0) premiere = nouvelle;
  }
  return premiere;
}

std::string TableChamps::Grille() const {
  Session& etat = *s_;
  const std::vector<int32_t> debuts = Debuts();
  std::string grille = "[]";
  for (int32_t i = 1; i <= nombre_; ++i) {
    const int32_t debut = debuts[static_cast<size_t>(i - 1)];
    std::string deb;
    etat.Texte().EntierTexte(debut, 5, deb);
    const std::string_view type = Texte(i, kColType);
    std::string format = std::string(type) + std::to_string(Total(i));
    if (type == "M" || type == "N") format += "." + std::to_string(Decimales(i));
    const std::string fin = std::to_string(debut + LongueurInterne(i) - 1);
    const std::string variable = std::string(Texte(i, kColVariable)) + "$";
    const std::string interne =
        std::string(Texte(i, kColFormat)) + std::to_string(LongueurInterne(i));
    const std::string_view parts[] = {
        deb, Texte(i, kColNom), format, variable, Texte(i, kColModification), interne, fin};
    std::string ligne = "[]";
    for (std::string_view part : parts) etat.Liste().Ajoute(ligne, part);
    etat.Liste().Ajoute(grille, ligne);
  }
  return grille;
}

std::vector<Rubrique> TableChamps::Rubriques() const {
  std::vector<Rubrique> rubriques;
  for (int32_t i = 1; i <= nombre_; ++i) {
    Rubrique r;
    r.nom = std::string(Texte(i, kColNom));
    r.type = std::string(Texte(i, kColType));
    r.total = Total(i);
    const char type = r.Type();
    if (type == 'M' || type == 'N') r.decimales = Decimales(i);
    r.variable = std::string(Texte(i, kColVariable));
    r.exemple = std::string(Texte(i, kColExemple));
    r.modification = std::string(Texte(i, kColModification));
    r.domaine = std::string(Texte(i, kColDomaine));
    const std::string_view format = Texte(i, kColFormat);
    if (FormatDemande(type, Total(i), Decimales(i))) r.format = std::string(format);
    r.interne = {format.empty() ? ' ' : format[0], LongueurInterne(i)};
    rubriques.push_back(std::move(r));
  }
  PlaceRubriques(rubriques);
  return rubriques;
}

TableChamps TableChamps::De(Session& s, const Fichier& fichier) {
  TableChamps table(s);
  for (const Rubrique& r : fichier.rubriques) {
    table.Ajoute({r.nom, r.type, table.Taille(r.Total()), table.Taille(r.Decimales()), r.variable,
                  r.exemple.value_or(""), r.modification.value_or(""),
                  std::string(1, r.interne.format), table.Taille(r.interne.longueur),
                  r.domaine.value_or("")});
  }
  return table;
}

void TableChamps::Charge() {
  Session& etat = *s_;
  nombre_ = 0;
  int32_t e = 0;
  etat.Chainage().PremLigne(etat.lfic_fichier, e);
  while (e != 0) {
    Ligne ligne;
    for (int c = 1; c <= kNbColonnes; ++c) {
      ligne[static_cast<size_t>(c - 1)] = etat.lfic[static_cast<size_t>(IndiceLfic(c))];
    }
    Ajoute(std::move(ligne));
    etat.Chainage().SuivLigne(etat.lfic_fichier, e);
  }
}

bool TableChamps::ChargeFichier(std::string_view nom) {
  Session& etat = *s_;
  etat.fic.Affecte(kNomFic, nom);
  int32_t e = 0;
  if (!vesk::ChercheNom(etat, {etat.fic_fichier, etat.fic_arbre}, etat.fic[kNomFic], e))
    return false;
  Charge();
  return true;
}

void TableChamps::Sauve() const {
  Session& etat = *s_;
  LotDictionnaire lot(etat);
  etat.Chainage().SupprimeLignes(etat.lfic_fichier);
  for (int32_t i = 1; i <= nombre_; ++i) {
    etat.lfic.Efface();
    for (int c = 1; c <= kNbColonnes; ++c) {
      etat.lfic.Affecte(static_cast<size_t>(IndiceLfic(c)), Cellule(i, c));
    }
    int32_t e = 0;
    etat.Chainage().AjouteLigne(etat.lfic_fichier, e);
  }
  lot.Valide();
}

}  // namespace vesk::fic
