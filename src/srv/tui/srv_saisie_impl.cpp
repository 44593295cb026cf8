#include "srv/tui/srv_saisie_impl.h"

#include <algorithm>
#include <map>

#include "srv/erreur_service.h"
#include "srv/tui/descripteur.h"
#include "srv/tui/liste_choix.h"
#include "srv/tui/texte.h"

namespace vesk::tui {

namespace {

void Valide(std::string_view operation, std::string_view objet, std::string_view texte) {
  VersPointsStrict(texte, operation, objet);
}

// The options of a field as its message: "U Utilisateur - R ..." (Down shows their list).
std::string TexteOptions(const Options& o) {
  if (o.valeurs.empty()) return {};
  std::string texte;
  for (size_t i = 0; i < o.valeurs.size(); ++i) {
    if (i > 0) texte += o.libelles.empty() ? ", " : " - ";
    texte += o.valeurs[i];
    if (!o.libelles.empty()) texte += " " + o.libelles[i];
  }
  return texte;
}

Touche ToucheInitiale(int16_t code) {
  bool nommee = code < 32 || code == 127 || code > 255;
  return nommee ? Touche::De(code) : Touche::Car(static_cast<char32_t>(code));
}

}  // namespace

SrvSaisieImpl::SrvSaisieImpl(std::shared_ptr<Console> console) : console_(std::move(console)) {
  console_->DefinitFond([this](Grille& g) { Dessine(g); });
}

SrvSaisieImpl::~SrvSaisieImpl() { console_->DefinitFond(nullptr); }

size_t SrvSaisieImpl::Index(std::string_view operation, std::string_view cle) const {
  std::optional<size_t> i = ChercheChamp(champs_, cle);
  if (!i) {
    throw ErreurService(operation, cle,
                        "champ inconnu de l'écran (la description des champs ne le nomme pas)");
  }
  return *i;
}

void SrvSaisieImpl::Redessine() {
  console_->DessineFond();
  console_->Peint();
}

void SrvSaisieImpl::DefChamps(std::string_view descripteur) {
  Valide("DefChamps", "descripteur", descripteur);
  std::vector<Champ> champs = LitDescripteur(descripteur, "DefChamps");
  champs_ = std::move(champs);
  etats_.assign(champs_.size(), EtatChamp{});
  courant_.reset();
  decalage_ = 0;
  Redessine();
}

bool SrvSaisieImpl::ChoisitOption(Editeur& ed, const Options& options) {
  std::vector<Colonne> colonnes = {{'G', 10, "Valeur"}};
  std::vector<std::string> elements;
  for (size_t i = 0; i < options.valeurs.size(); ++i) {
    if (options.libelles.empty()) {
      elements.push_back(options.valeurs[i]);
    } else {
      elements.push_back("[" + options.valeurs[i] + "," + options.libelles[i] + "]");
    }
  }
  if (!options.libelles.empty()) colonnes.push_back({'G', 30, "Libellé"});
  ListeChoix liste(colonnes, champs_[*courant_].libelle, elements, false, "Sai");
  std::optional<std::vector<size_t>> choix = liste.Execute(*console_);
  if (!choix || choix->empty()) return false;
  ed.Remplace(VersPoints(options.valeurs[choix->front()]));
  return true;
}

bool SrvSaisieImpl::Termine(Editeur& ed, const Options& options, int16_t code) {
  if (code == kEchap) return true;
  std::optional<std::string> refus = RefusTexte(champs_[*courant_], ed.Texte(), true);
  if (!refus) refus = RefusOption(options, VersUtf8(ed.Texte()));
  if (refus) refus_ = *refus;
  return !refus;
}

void SrvSaisieImpl::Sai(std::string_view cle, std::string& valeur, int16_t& touche,
                        int16_t touche_initiale, std::string_view options, std::string_view ligne) {
  size_t i = Index("Sai", cle);
  ControleLigneMessage("Sai", ligne);
  Options opts = LitOptions(options, "Sai", cle);
  Editeur ed(champs_[i], VersPoints(ValeurDeDepart(champs_, i, valeur, "Sai")));
  courant_ = i;
  edition_ = &ed;
  ligne_refus_ = ligne;
  aide_options_ = TexteOptions(opts);
  struct Fin {
    SrvSaisieImpl* s;
    ~Fin() {
      s->edition_ = nullptr;
      s->aide_options_.clear();
      s->refus_.clear();
    }
  } fin{this};
  std::optional<Touche> initiale;
  if (touche_initiale != 0) initiale = ToucheInitiale(touche_initiale);
  touche = Edite(ed, opts, initiale);
  valeur = VersUtf8(ed.Texte());
  etats_[i].valeur = valeur;
  etats_[i].entre = true;
  edition_ = nullptr;
  ligne_b_.clear();  // a message lasts until the end of the next entry
  Redessine();
}

int16_t SrvSaisieImpl::Edite(Editeur& ed, const Options& opts, std::optional<Touche> initiale) {
  for (;;) {
    Redessine();
    Touche t = initiale ? *initiale : console_->LitTouche();
    initiale.reset();
    if (t.code == kRedimension || t.code == kAucune) continue;
    refus_.clear();
    if (t.code == kBas && !opts.valeurs.empty()) {
      if (!ChoisitOption(ed, opts)) continue;
      t = Touche::De(kEntree);
    }
    int16_t code = t.code;
    if (code == kBas || code == kTabulation) code = kEntree;
    if (code == kTabArriere) code = kHaut;
    if (TermineSaisie(code)) {
      if (Termine(ed, opts, code)) return code;
      continue;
    }
    if (std::optional<std::string> refus = ed.Applique(t)) refus_ = *refus;
  }
}

void SrvSaisieImpl::Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) {
  (void)confirme;  // the caller compares the key with ToucheConfirmation
  ControleLigneMessage("Confirme", ligne);
  confirmation_ = true;
  struct Fin {
    bool* b;
    ~Fin() { *b = false; }
  } fin{&confirmation_};
  for (;;) {
    Redessine();
    Touche t = console_->LitTouche();
    if (t.code == kRedimension || t.code == kAucune) continue;
    if (t.code == kCaractere) {
      touche = t.caractere < 256 ? static_cast<int16_t>(t.caractere) : int16_t{kCaractere};
    } else {
      touche = t.code;
    }
    confirmation_ = false;
    Redessine();
    return;
  }
}

void SrvSaisieImpl::Affiche(std::string_view cle, std::string_view valeur) {
  size_t i = Index("Affiche", cle);
  Valide("Affiche", cle, valeur);
  etats_[i].valeur = std::string(valeur);
  Redessine();
}

void SrvSaisieImpl::AffMode(std::string_view cle, std::string_view lettre, std::string_view mode) {
  size_t i = Index("AffMode", cle);
  if (lettre != "I" && lettre != "B") {
    throw ErreurService("AffMode", lettre,
                        "lettre de mode inconnue (I enregistrement trouvé, B nouveau)");
  }
  Valide("AffMode", cle, mode);
  etats_[i].mode = std::string(mode);
  etats_[i].lettre = std::string(lettre);
  Redessine();
}

void SrvSaisieImpl::MessChamp(std::string_view cle, std::string_view ligne,
                              std::string_view message, int16_t touche) {
  (void)touche;  // no key is attached to a message on a terminal
  size_t i = Index("MessChamp", cle);
  ControleLigneMessage("MessChamp", ligne);
  Valide("MessChamp", cle, message);
  if (ligne == "N") {
    etats_[i].message = std::string(message);
  } else {
    // Given before the field's first entry, it is the field's hint: a deletion's confirmation
    // shows it again.
    if (ligne == "B" && !etats_[i].entre) etats_[i].aide_b = std::string(message);
    EcritLigne("MessChamp", ligne, std::string(message));
  }
  Redessine();
}

void SrvSaisieImpl::RegleChamp(std::string_view cle, std::string_view regle) {
  size_t i = Index("RegleChamp", cle);
  Valide("RegleChamp", cle, regle);
  etats_[i].regle = std::string(regle);
  Redessine();
}

void SrvSaisieImpl::InitEcran(int16_t touche) {
  (void)touche;  // always 0: a new screen starts empty
  titre_.clear();
  champs_.clear();
  etats_.clear();
  ligne_b_.clear();
  ligne_i_.clear();
  courant_.reset();
  decalage_ = 0;
  Redessine();
}

void SrvSaisieImpl::EcritLigne(std::string_view operation, std::string_view ligne,
                               std::string texte) {
  ControleLigneMessage(operation, ligne);
  if (ligne == "B") {
    ligne_b_ = std::move(texte);
  } else if (ligne == "I") {
    ligne_i_ = std::move(texte);
  } else if (courant_) {
    etats_[*courant_].message = std::move(texte);
  } else if (!etats_.empty()) {
    etats_.front().message = std::move(texte);
  } else {
    ligne_i_ = std::move(texte);
  }
}

void SrvSaisieImpl::Message(std::string_view ligne, std::string_view texte) {
  Valide("Message", ligne, texte);
  EcritLigne("Message", ligne, std::string(texte));
  Redessine();
}

void SrvSaisieImpl::Titre(std::string_view titre) {
  Valide("Titre", "", titre);
  titre_ = std::string(titre);
  Redessine();
}

}  // namespace vesk::tui
