#include "srv/tui/visionneuse.h"

#include <algorithm>

#include "platform/platform.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

namespace {

constexpr std::string_view kAide =
    "Échap Fermer - F2 Rechercher - F3 Suivant - F4 Enregistrer - ↑↓ PgUp PgDn Début Fin - ←→ "
    "Défiler";

Champ ChampLigne(std::string cle) {
  Champ c;
  c.cle = std::move(cle);
  c.longueur = 200;
  return c;
}

bool Contient(std::u32string_view ligne, std::u32string_view cherche) {
  if (cherche.size() > ligne.size()) return false;
  for (size_t i = 0; i + cherche.size() <= ligne.size(); ++i) {
    size_t k = 0;
    while (k < cherche.size() && Minuscule(ligne[i + k]) == Minuscule(cherche[k])) ++k;
    if (k == cherche.size()) return true;
  }
  return false;
}

}  // namespace

Visionneuse::Visionneuse(std::string titre, std::string texte)
    : titre_(std::move(titre)), texte_(std::move(texte)) {
  std::u32string points = VersPoints(texte_);
  size_t debut = 0;
  for (;;) {
    size_t fin = points.find(U'\n', debut);
    std::u32string ligne = points.substr(debut, fin == std::u32string::npos ? fin : fin - debut);
    if (!ligne.empty() && ligne.back() == U'\r') ligne.pop_back();
    lignes_.push_back(std::move(ligne));
    if (fin == std::u32string::npos) break;
    debut = fin + 1;
  }
}

int Visionneuse::Hauteur(const Grille& g) const {
  const int aide =
      saisie_ == Saisie::kAucune
          ? static_cast<int>(Plie(message_.empty() ? kAide : message_, g.Largeur()).size())
          : 1;
  return std::max(g.Hauteur() - 1 - aide, 1);
}

void Visionneuse::Dessine(Grille& g) {
  g.Efface();
  const int hauteur = Hauteur(g);
  g.Remplit(0, 0, g.Largeur(), U' ', kInverse);
  std::string entete =
      titre_ + " - ligne " + std::to_string(haut_ + 1) + " / " + std::to_string(lignes_.size());
  g.EcritUtf8(0, 1, entete, kInverse | kGras);
  for (int i = 0; i < hauteur && haut_ + i < lignes_.size(); ++i) {
    size_t n = haut_ + static_cast<size_t>(i);
    std::u32string_view ligne = lignes_[n];
    if (gauche_ < ligne.size()) g.Ecrit(1 + i, 0, ligne.substr(gauche_, g.Largeur()));
    if (trouvee_ == n) g.Marque(1 + i, 0, g.Largeur(), kGras);
  }
  int bas = g.Hauteur() - 1;
  if (saisie_ == Saisie::kAucune) {  // the keys, on as many lines as they need
    int y = 1 + hauteur;
    for (const std::u32string& l : Plie(message_.empty() ? kAide : message_, g.Largeur())) {
      g.Ecrit(y++, 0, l);
    }
    return;
  }
  std::string invite = saisie_ == Saisie::kRecherche ? "Rechercher : "
                       : saisie_ == Saisie::kFichier ? "Enregistrer sous : "
                                                     : message_ + " Remplacer (O/N) ? ";
  int x = g.EcritUtf8(bas, 0, invite, kGras);
  size_t debut = editeur_->Debut(std::max(g.Largeur() - x - 1, 1));
  g.Ecrit(bas, x, std::u32string_view(editeur_->Texte()).substr(debut), kSouligne);
  g.PlaceCurseur(bas, x + static_cast<int>(editeur_->Curseur() - debut));
}

void Visionneuse::Deplace(long delta, const Grille& g) {
  long hauteur = Hauteur(g);
  long max = std::max(static_cast<long>(lignes_.size()) - hauteur, 0L);
  haut_ = static_cast<size_t>(std::clamp(static_cast<long>(haut_) + delta, 0L, max));
}

void Visionneuse::Cherche(bool suivante) {
  if (recherche_.empty()) {
    message_ = "Rien à rechercher : F2 d'abord";
    return;
  }
  size_t depart = trouvee_ ? *trouvee_ + (suivante ? 1 : 0) : haut_;
  for (size_t k = 0; k < lignes_.size(); ++k) {
    size_t n = (depart + k) % lignes_.size();
    if (Contient(lignes_[n], recherche_)) {
      trouvee_ = n;
      haut_ = n;
      message_ = "Trouvé ligne " + std::to_string(n + 1);
      return;
    }
  }
  trouvee_.reset();
  message_ = "« " + VersUtf8(recherche_) + " » introuvable";
}

void Visionneuse::Enregistre(bool remplacer) {
  std::string chemin = VersUtf8(fichier_);
  bool existe = false;
  platform::IoStatus s = platform::FileExists(chemin, &existe);
  if (s.ok() && existe && !remplacer) {
    message_ = "Le fichier " + chemin + " existe.";
    saisie_ = Saisie::kRemplacer;
    editeur_ = std::make_unique<Editeur>(ChampLigne("REPONSE"), U"");
    return;
  }
  std::unique_ptr<platform::File> f;
  if (s.ok()) s = platform::OpenFile(chemin, platform::OpenMode::kCreateAlways, &f);
  if (s.ok()) s = f->WriteAt(0, texte_);
  if (s.ok()) s = f->Sync();
  message_ =
      s.ok() ? "Texte enregistré dans " + chemin : "Enregistrement impossible : " + s.message;
}

bool Visionneuse::AppliqueSaisie(const Touche& t) {
  if (t.code == kEchap) {
    saisie_ = Saisie::kAucune;
    message_.clear();
  } else if (t.code == kEntree) {
    std::u32string texte = editeur_->Texte();
    Saisie s = saisie_;
    saisie_ = Saisie::kAucune;
    if (s == Saisie::kRecherche && !texte.empty()) {
      recherche_ = texte;
      trouvee_.reset();
      Cherche(false);
    } else if (s == Saisie::kFichier && !texte.empty()) {
      fichier_ = texte;
      Enregistre(false);
    } else if (s == Saisie::kRemplacer) {
      bool oui = !texte.empty() && (texte[0] == U'O' || texte[0] == U'o');
      if (oui) {
        Enregistre(true);
      } else {
        message_ = "Enregistrement abandonné";
      }
    }
  } else if (std::optional<std::string> refus = editeur_->Applique(t)) {
    message_ = *refus;
  }
  return true;
}

bool Visionneuse::Applique(const Touche& t, const Grille& g) {
  if (saisie_ != Saisie::kAucune) return AppliqueSaisie(t);
  message_.clear();
  if (t.code == kEchap) return false;
  const long tout = static_cast<long>(lignes_.size());
  if (std::optional<long> delta = Deplacement(t.code, std::max(Hauteur(g) - 1, 1), tout)) {
    Deplace(*delta, g);
  } else {
    AppliqueCommande(t.code);
  }
  return true;
}

void Visionneuse::AppliqueCommande(int16_t code) {
  switch (code) {
    case kGauche:
      gauche_ = gauche_ >= 8 ? gauche_ - 8 : 0;
      break;
    case kDroite:
      gauche_ += 8;
      break;
    case kF1 + 2:
      Cherche(true);
      break;
    case kF1 + 1:
      saisie_ = Saisie::kRecherche;
      editeur_ = std::make_unique<Editeur>(ChampLigne("RECHERCHE"), recherche_);
      break;
    case kF1 + 3:
      saisie_ = Saisie::kFichier;
      editeur_ = std::make_unique<Editeur>(ChampLigne("FICHIER"), fichier_);
      break;
    default:
      break;
  }
}

void Visionneuse::Montre(Console& console) {
  for (;;) {
    Dessine(console.Ecran());
    console.Peint();
    Touche t = console.LitTouche();
    if (t.code == kRedimension || t.code == kAucune) continue;
    if (!Applique(t, console.Ecran())) break;
  }
  console.DessineFond();
  console.Peint();
}

void MontreTexte(Console& console, std::string_view titre, std::string_view texte) {
  Visionneuse v{std::string(titre), std::string(texte)};
  v.Montre(console);
}

}  // namespace vesk::tui
