// The drawing of the terminal entry screen: the title and the information lines at the top, the
// message, rule, key and "B" lines at the bottom, the fields between them, each box as wide as
// its field with a cell for the cursor after it.
#include <algorithm>
#include <map>
#include <utility>

#include "srv/tui/srv_ecran_impl.h"
#include "srv/tui/srv_saisie_impl.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

namespace {

constexpr std::string_view kTouchesSaisie =
    "Entrée Valider - ↑ Retour - PgUp Début - Échap Abandon - Ctrl+U Vider";

// Lines of text, each with its attributes.
using Lignes = std::vector<std::pair<std::u32string, uint8_t>>;

void Ajoute(Lignes& lignes, std::string_view texte, int largeur, uint8_t attr = kNormal) {
  for (std::u32string& l : Plie(texte, largeur)) lignes.emplace_back(std::move(l), attr);
}

// Clears the lines from y and writes lignes there.
void Ecrit(Grille& g, int y, const Lignes& lignes) {
  for (const auto& [texte, attr] : lignes) {
    g.Remplit(y, 0, g.Largeur(), U' ');
    g.Ecrit(y++, 0, texte, attr);
  }
}

}  // namespace

std::vector<SrvSaisieImpl::Place> SrvSaisieImpl::Places(const Grille& g) const {
  std::vector<Place> places(champs_.size());
  std::map<int, int> largeur_libelles;
  for (size_t i = 0; i < champs_.size(); ++i) {
    places[i].colonne_libelle = champs_[i].colonne - 1;
    int& l = largeur_libelles[places[i].colonne_libelle];
    l = std::max(l, static_cast<int>(Longueur(champs_[i].libelle)));
  }
  int suivante = 0;  // the line after the previous field
  for (size_t i = 0; i < champs_.size(); ++i) {
    Place& p = places[i];
    const int longueur = champs_[i].longueur;
    // The box of a short field, or ten columns of a long one, and the cursor's cell.
    const int voulu = std::min(longueur, 10) + 1;
    p.colonne_boite = p.colonne_libelle + largeur_libelles[p.colonne_libelle] + 2;
    if (g.Largeur() - p.colonne_boite < voulu) p.colonne_boite = std::max(0, g.Largeur() - voulu);
    const int place = std::max(g.Largeur() - p.colonne_boite, 2);
    p.largeur = longueur < place ? longueur : place;
    p.lignes = longueur < place ? 1 : longueur / place + 1;
    p.ligne = champs_[i].ligne > 0 ? champs_[i].ligne - 1 : suivante;
    suivante = p.ligne + p.lignes;
  }
  return places;
}

std::string SrvSaisieImpl::MessageChamp(size_t i) const {
  const bool courant = courant_ == i;
  if (courant && !refus_.empty() && ligne_refus_ == "N") return refus_;
  if (courant && etats_[i].message.empty()) return aide_options_;
  return etats_[i].message;
}

bool SrvSaisieImpl::Tient(const Grille& g, size_t i, const Place& p) const {
  const std::string& mode = etats_[i].mode;
  const int x = p.Apres(champs_[i]) + (mode.empty() ? 0 : static_cast<int>(Longueur(mode)) + 1);
  return x + static_cast<int>(Longueur(MessageChamp(i))) <= g.Largeur();
}

void SrvSaisieImpl::DessineChamp(Grille& g, size_t i, const Place& p, int y) {
  const Champ& c = champs_[i];
  const bool courant = courant_ == i;
  const bool edite = courant && edition_ != nullptr;
  g.EcritUtf8(y, p.colonne_libelle, c.libelle, courant ? kGras : kNormal);
  const uint8_t attr = courant ? (kSouligne | kGras) : kSouligne;
  // A value the entry started from is shown selected: the first key typed replaces it.
  const uint8_t attr_valeur = edite && edition_->Neuf() ? (attr | kInverse) : attr;
  std::u32string valeur = edite ? edition_->Texte() : VersPoints(etats_[i].valeur);
  if (valeur.size() > static_cast<size_t>(c.longueur)) valeur.resize(c.longueur);
  for (int r = 0; r < p.lignes; ++r) {
    const size_t debut = static_cast<size_t>(r) * p.largeur;
    g.Remplit(y + r, p.colonne_boite, std::min(p.largeur, c.longueur - r * p.largeur), U' ', attr);
    if (debut < valeur.size()) {
      g.Ecrit(y + r, p.colonne_boite, std::u32string_view(valeur).substr(debut, p.largeur),
              attr_valeur);
    }
  }
  if (edite) {
    const int pos = static_cast<int>(edition_->Curseur());
    const bool une = p.lignes == 1;
    g.PlaceCurseur(y + (une ? 0 : pos / p.largeur),
                   p.colonne_boite + (une ? pos : pos % p.largeur));
  }
  const int derniere = y + p.lignes - 1;
  int x = p.Apres(c);
  if (!etats_[i].mode.empty()) {
    const uint8_t a = etats_[i].lettre == "B" ? (kGras | kInverse) : kGras;
    x = g.EcritUtf8(derniere, x, etats_[i].mode, a) + 1;
  }
  // A message too long to stand beside its field is not cut: the current field's goes under
  // the fields, another's waits until its field is entered.
  if (Tient(g, i, p)) g.EcritUtf8(derniere, x, MessageChamp(i));
}

std::string SrvSaisieImpl::TexteB() const {
  if (confirmation_ && courant_ && !etats_[*courant_].aide_b.empty()) {
    return etats_[*courant_].aide_b;
  }
  if (!refus_.empty() && ligne_refus_ == "B") return refus_;
  return ligne_b_;
}

std::string SrvSaisieImpl::TexteTouches() const {
  if (confirmation_) {
    const std::string nom = NomTouche(kToucheConfirmation);  // "<F6>"
    return nom.substr(1, nom.size() - 2) + " Confirmer - autre touche : Annuler";
  }
  if (edition_ == nullptr) return {};
  return std::string(kTouchesSaisie) + (aide_options_.empty() ? "" : " - ↓ Liste");
}

void SrvSaisieImpl::DessineChamps(Grille& g, const std::vector<Place>& places, int haut,
                                  int hauteur) {
  int fin = 0;  // the line after the last field
  for (const Place& p : places) fin = std::max(fin, p.ligne + p.lignes);
  if (courant_) {
    const Place& c = places[*courant_];
    if (c.ligne < decalage_) decalage_ = c.ligne;
    if (c.ligne + c.lignes > decalage_ + hauteur) decalage_ = c.ligne + c.lignes - hauteur;
  }
  decalage_ = std::clamp(decalage_, 0, std::max(fin - hauteur, 0));
  for (size_t i = 0; i < champs_.size(); ++i) {
    const int y = haut + places[i].ligne - decalage_;
    if (y + places[i].lignes <= haut || y >= haut + hauteur) continue;
    DessineChamp(g, i, places[i], y);
  }
  if (decalage_ > 0) g.Ecrit(haut, g.Largeur() - 1, U"↑", kGras);
  if (fin > decalage_ + hauteur) g.Ecrit(haut + hauteur - 1, g.Largeur() - 1, U"↓", kGras);
}

void SrvSaisieImpl::Dessine(Grille& g) {
  const int largeur = g.Largeur();
  const std::vector<Place> places = Places(g);
  Lignes haut;
  Ajoute(haut, !refus_.empty() && ligne_refus_ == "I" ? refus_ : ligne_i_, largeur);
  if (haut.empty()) haut.emplace_back();
  Lignes bas;
  if (courant_ && edition_ != nullptr) {
    if (!Tient(g, *courant_, places[*courant_])) Ajoute(bas, MessageChamp(*courant_), largeur);
    Ajoute(bas, etats_[*courant_].regle, largeur);
  }
  Ajoute(bas, TexteTouches(), largeur);
  Ajoute(bas, TexteB(), largeur, confirmation_ ? kGras : kNormal);
  if (TexteB().empty()) bas.emplace_back();  // line "B" is the last, even empty
  const int debut = 1 + static_cast<int>(haut.size());
  const int hauteur = std::max(g.Hauteur() - debut - static_cast<int>(bas.size()), 1);
  DessineChamps(g, places, debut, hauteur);
  // The zones are drawn over whatever a field cut by the scrolling left there.
  g.Remplit(0, 0, largeur, U' ', kInverse);
  g.EcritUtf8(0, 1, titre_, kInverse | kGras);
  if (edition_ != nullptr) {  // the key Ins and the mode it toggles
    g.EcritUtf8(0, largeur - 14, edition_->Insertion() ? "Ins Insertion" : "Ins Refrappe ",
                kInverse);
  }
  Ecrit(g, 1, haut);
  Ecrit(g, g.Hauteur() - static_cast<int>(bas.size()), bas);
}

}  // namespace vesk::tui
