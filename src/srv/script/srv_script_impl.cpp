#include "srv/script/srv_script_impl.h"

#include <algorithm>

#include "srv/erreur_service.h"
#include "srv/tui/texte.h"
#include "srv/tui/touches.h"

namespace vesk::script {

namespace {

using Genre = Reponse::Genre;

void Valide(std::string_view operation, std::string_view objet, std::string_view texte) {
  tui::VersPointsStrict(texte, operation, objet);
}

std::string Positions(const std::vector<int>& choix) {
  std::string texte;
  for (int n : choix) texte += (texte.empty() ? "" : ",") + std::to_string(n);
  return texte;
}

}  // namespace

// ---- SrvSaisieScript

size_t SrvSaisieScript::Index(std::string_view operation, std::string_view cle) const {
  std::optional<size_t> i = tui::ChercheChamp(champs_, cle);
  if (!i) {
    throw ErreurService(operation, cle,
                        "champ inconnu de l'écran (la description des champs ne le nomme pas)");
  }
  return *i;
}

void SrvSaisieScript::DefChamps(std::string_view descripteur) {
  Valide("DefChamps", "descripteur", descripteur);
  champs_ = tui::LitDescripteur(descripteur, "DefChamps");
  session_->Note("DefChamps");
  for (const tui::Champ& c : champs_) {
    std::string ligne = "  " + c.cle + " " + Cite(c.libelle) + " " + c.type_texte + " " +
                        std::to_string(c.longueur);
    if (c.ligne > 0) ligne += " ligne " + std::to_string(c.ligne);
    if (c.colonne > 1) ligne += " colonne " + std::to_string(c.colonne);
    session_->Note(ligne);
  }
}

void SrvSaisieScript::Sai(std::string_view cle, std::string& valeur, int16_t& touche,
                          int16_t touche_initiale, std::string_view options,
                          std::string_view ligne) {
  size_t i = Index("Sai", cle);
  tui::ControleLigneMessage("Sai", ligne);
  tui::Options opts = tui::LitOptions(options, "Sai", cle);
  std::string depart = tui::ValeurDeDepart(champs_, i, valeur, "Sai");
  std::string note = "Sai " + std::string(cle) + " " + Cite(depart);
  if (!opts.valeurs.empty()) note += " options " + std::string(options);
  if (tui::TermineSaisie(touche_initiale)) {
    // The key given by the caller ends the entry before anything is typed.
    valeur = depart;
    touche = touche_initiale;
    session_->Note(note + " -> " + Cite(valeur) + " " + tui::NomTouche(touche) + " (initiale)");
    return;
  }
  const Reponse& r =
      session_->Prend("Sai", Genre::kChamp, "la saisie du champ " + std::string(cle));
  if (r.cle != cle) {
    session_->Erreur("Sai", r,
                     "le script répond au champ " + r.cle +
                         " alors que l'écran demande la "
                         "saisie du champ " +
                         std::string(cle));
  }
  std::string resultat = r.avec_valeur ? r.valeur : depart;
  // Esc leaves with the text as typed: only what the keyboard refuses is checked then.
  std::optional<std::string> refus =
      r.touche == tui::kEchap ? tui::RefusTexte(champs_[i], tui::VersPoints(resultat), false)
                              : tui::RefusValeur(champs_[i], &resultat, opts);
  if (refus) {
    session_->Erreur("Sai", r, "valeur refusée pour le champ " + std::string(cle) + " : " + *refus);
  }
  valeur = resultat;
  touche = r.touche;
  session_->Note(note + " -> " + Cite(valeur) + " " + tui::NomTouche(touche));
}

void SrvSaisieScript::Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) {
  (void)confirme;
  tui::ControleLigneMessage("Confirme", ligne);
  const Reponse& r =
      session_->Prend("Confirme", Genre::kConfirme, "la confirmation d'une suppression (confirm)");
  touche = r.touche;
  session_->Note("Confirme " + std::string(ligne) + " -> " + tui::NomTouche(touche));
}

void SrvSaisieScript::Affiche(std::string_view cle, std::string_view valeur) {
  Index("Affiche", cle);
  Valide("Affiche", cle, valeur);
  session_->Note("Affiche " + std::string(cle) + " " + Cite(valeur));
}

void SrvSaisieScript::AffMode(std::string_view cle, std::string_view lettre,
                              std::string_view mode) {
  Index("AffMode", cle);
  if (lettre != "I" && lettre != "B") {
    throw ErreurService("AffMode", lettre,
                        "lettre de mode inconnue (I enregistrement trouvé, B nouveau)");
  }
  Valide("AffMode", cle, mode);
  session_->Note("AffMode " + std::string(cle) + " " + std::string(lettre) + " " + Cite(mode));
}

void SrvSaisieScript::MessChamp(std::string_view cle, std::string_view ligne,
                                std::string_view message, int16_t touche) {
  (void)touche;
  Index("MessChamp", cle);
  tui::ControleLigneMessage("MessChamp", ligne);
  Valide("MessChamp", cle, message);
  session_->Note("MessChamp " + std::string(cle) + " " + std::string(ligne) + " " + Cite(message));
}

void SrvSaisieScript::RegleChamp(std::string_view cle, std::string_view regle) {
  Index("RegleChamp", cle);
  Valide("RegleChamp", cle, regle);
  session_->Note("RegleChamp " + std::string(cle) + " " + Cite(regle));
}

void SrvSaisieScript::InitEcran(int16_t touche) {
  (void)touche;
  champs_.clear();
  session_->Note("InitEcran");
}

void SrvSaisieScript::Message(std::string_view ligne, std::string_view texte) {
  tui::ControleLigneMessage("Message", ligne);
  Valide("Message", ligne, texte);
  session_->Note("Message " + std::string(ligne) + " " + Cite(texte));
}

void SrvSaisieScript::Titre(std::string_view titre) {
  Valide("Titre", "", titre);
  session_->Note("Titre " + Cite(titre));
}

// ---- SrvEcranScript

void SrvEcranScript::ValeurConfirmation(int16_t& v) { v = tui::kValeurConfirmation; }
void SrvEcranScript::ToucheSuppression(int16_t& t) { t = tui::kToucheSuppression; }
void SrvEcranScript::ToucheRetour(int16_t& t) { t = tui::kToucheRetour; }
void SrvEcranScript::ToucheDebut(int16_t& t) { t = tui::kToucheDebut; }
void SrvEcranScript::ToucheConfirmation(int16_t& t) { t = tui::kToucheConfirmation; }
void SrvEcranScript::ToucheF1(int16_t& t) { t = tui::kF1; }
void SrvEcranScript::ToucheF2(int16_t& t) { t = tui::kF1 + 1; }
void SrvEcranScript::ToucheF3(int16_t& t) { t = tui::kF1 + 2; }
void SrvEcranScript::ToucheF4(int16_t& t) { t = tui::kF1 + 3; }
void SrvEcranScript::ToucheF5(int16_t& t) { t = tui::kF1 + 4; }
void SrvEcranScript::ToucheF6(int16_t& t) { t = tui::kF1 + 5; }
void SrvEcranScript::ToucheF7(int16_t& t) { t = tui::kF1 + 6; }
void SrvEcranScript::ToucheEchap(int16_t& t) { t = tui::kEchap; }

void SrvEcranScript::Annule(int16_t& annule) {
  const Reponse* r = session_->Regarde();
  if (!session_->annule && r != nullptr && r->genre == Genre::kAnnule) {
    session_->Saute();
    session_->annule = true;
    session_->Note("Annule -> oui");
  }
  annule = session_->annule ? -1 : 0;
}

void SrvEcranScript::TitreEdition(std::string_view titre) {
  Valide("TitreEdition", "", titre);
  session_->annule = false;
  session_->Note("TitreEdition " + Cite(titre));
}

void SrvEcranScript::FinTitreEdition() {
  session_->annule = false;
  session_->Note("FinTitreEdition");
}

// ---- SrvChoixScript

std::vector<int> SrvChoixScript::Prend(std::string_view operation, std::string_view colonnes,
                                       std::string_view titre, size_t nombre, bool multiple) {
  const Reponse& r = session_->Prend(operation, Genre::kChoix,
                                     "un choix dans la liste " + Cite(titre) + " (choose)");
  std::vector<int> choix = r.choix;
  if (!multiple && choix.size() > 1) {
    session_->Erreur(operation, r, "un seul élément peut être choisi dans la liste " + Cite(titre));
  }
  std::sort(choix.begin(), choix.end());
  if (std::adjacent_find(choix.begin(), choix.end()) != choix.end()) {
    session_->Erreur(operation, r, "un élément est choisi deux fois");
  }
  if (!choix.empty() && static_cast<size_t>(choix.back()) > nombre) {
    session_->Erreur(operation, r,
                     "l'élément " + std::to_string(choix.back()) + " n'existe pas : la liste " +
                         Cite(titre) + " en a " + std::to_string(nombre));
  }
  (void)colonnes;
  return choix;
}

void SrvChoixScript::Choix(std::string_view colonnes, std::string_view titre,
                           std::string_view liste, bool& choisi, std::string& element) {
  tui::LitColonnes(colonnes, "Choix");
  Valide("Choix", titre, liste);
  std::vector<std::string> elements = tui::ElementsDeListe(liste, "Choix");
  std::vector<int> choix = Prend("Choix", colonnes, titre, elements.size(), false);
  choisi = !choix.empty();
  if (choisi) element = elements[static_cast<size_t>(choix[0]) - 1];
  session_->Note("Choix " + Cite(titre) + " " + std::string(colonnes) + " " +
                 std::to_string(elements.size()) + " élément(s) -> " +
                 (choisi ? std::to_string(choix[0]) + " " + Cite(element) : "aucun"));
}

void SrvChoixScript::ChoixMultiple(std::string_view colonnes, std::string_view titre,
                                   std::string_view liste, bool& choisi, std::string& elements) {
  tui::LitColonnes(colonnes, "ChoixMultiple");
  Valide("ChoixMultiple", titre, liste);
  std::vector<std::string> tous = tui::ElementsDeListe(liste, "ChoixMultiple");
  std::vector<int> choix = Prend("ChoixMultiple", colonnes, titre, tous.size(), true);
  choisi = !choix.empty();
  elements = "[";
  for (size_t i = 0; i < choix.size(); ++i) {
    elements += (i ? "," : "") + tous[static_cast<size_t>(choix[i]) - 1];
  }
  elements += "]";
  session_->Note("ChoixMultiple " + Cite(titre) + " " + std::string(colonnes) + " " +
                 std::to_string(tous.size()) + " élément(s) -> " +
                 (choisi ? Positions(choix) + " " + Cite(elements) : "aucun"));
}

// ---- SrvMessageScript

void SrvMessageScript::Affiche(std::string_view message, std::string_view titre) {
  Valide("Affiche", titre, message);
  session_->Prend("Affiche", Genre::kOk, "l'acquittement du message " + Cite(titre) + " (ok)");
  session_->Note("Boite " + Cite(titre) + " " + Cite(message) + " -> ok");
}

void SrvMessageScript::Visionne(std::string_view texte, std::string_view titre) {
  Valide("Visionne", titre, texte);
  size_t lignes = 0;
  for (char c : texte) lignes += c == '\n' ? 1 : 0;
  if (!texte.empty() && texte.back() != '\n') ++lignes;
  session_->Note("Visionne " + Cite(titre) + " " + std::to_string(lignes) + " ligne(s)");
}

}  // namespace vesk::script
