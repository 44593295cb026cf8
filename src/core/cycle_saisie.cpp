#include "core/cycle_saisie.h"

#include "core/arithmetique.h"
#include "core/lot.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kLigne = "B";
constexpr std::string_view kSansOption = "[]";

}  // namespace

CycleSaisie::CycleSaisie(Session& s, EcranCycle ecran) : etat_(s), ecran_(ecran) {
  SrvEcran& e = etat_.Ecran();
  e.ToucheRetour(retour_);
  e.ToucheDebut(debut_);
  e.ToucheSuppression(suppression_);
  e.ToucheEchap(echap_);
}

void CycleSaisie::NouvelEcran() {
  SrvSaisie& s = etat_.Saisie();
  s.InitEcran(0);
  s.Titre(ecran_.titre);
  s.DefChamps(ecran_.descripteur);
  s.MessChamp(ecran_.cle, kLigne, ecran_.aide_suppression, 0);
}

void CycleSaisie::MontrePrecedent(std::string_view cle) {
  etat_.Saisie().Message(kLigne, std::string(kEnregistrementPrecedent) + std::string(cle));
}

bool CycleSaisie::SaisitCle(std::string& valeur, int16_t& touche) {
  etat_.Saisie().Sai(ecran_.cle, valeur, touche, 0, kSansOption, kLigne);
  if (touche == retour_ || touche == debut_ || touche == echap_) return false;
  return !text::TrimRight(valeur).empty();
}

bool CycleSaisie::Cherche(const FichierCle& f, std::string_view cle, int32_t& e) {
  cle_trouvee_ = cle;
  if (ecran_.nom) return ChercheNom(etat_, f, cle, e, &cle_trouvee_);
  bool trouve = false;
  etat_.BArbre().Recherche(f.arbre, cle, f.fichier, trouve);
  e = 0;
  if (trouve) etat_.Donnee().NoEnrCourant(f.fichier, e);
  return trouve;
}

bool CycleSaisie::AfficheMode(bool trouve, int16_t touche_cle, std::string& lettre) {
  const bool suppression = trouve && touche_cle == suppression_;
  std::string_view mode = kModeCreation;
  if (trouve) mode = suppression ? kModeSuppression : kModeModification;
  lettre = trouve ? kLettreTrouve : kLettreNouveau;
  etat_.Saisie().AffMode(ecran_.cle, lettre, mode);
  return suppression;
}

bool CycleSaisie::ConfirmeSuppression() { return Confirmation(etat_, kLigne); }

bool CycleSaisie::SaisitChamps(std::span<const ChampCycle> champs, int16_t& touche) {
  size_t i = 0;
  while (i < champs.size()) {
    const ChampCycle& c = champs[i];
    etat_.Saisie().Sai(c.cle, *c.valeur, touche, 0, c.options, kLigne);
    if (Abandonne(touche)) return false;
    if (touche == retour_) {
      if (c.retour < 0) return false;
      if (static_cast<size_t>(c.retour) >= champs.size()) ErreurIndice(c.retour, champs.size());
      i = static_cast<size_t>(c.retour);
      continue;
    }
    if (c.controle) {
      std::optional<std::string> refus = c.controle(*c.valeur);
      if (refus) {
        if (!refus->empty()) etat_.Saisie().MessChamp(c.cle, kLigne, *refus, 0);
        continue;
      }
    }
    ++i;
  }
  return true;
}

bool CycleSaisie::SaisitEcran(const EtapesEcran& e, std::span<const ChampCycle> champs,
                              int16_t& touche) {
  for (;;) {
    if (e.depart) e.depart();
    if (!SaisitCle(*e.cle, touche)) return false;
    if (e.controle_cle && !e.controle_cle()) continue;
    std::string lettre;
    if (AfficheMode(e.cherche(), touche, e.lettre != nullptr ? *e.lettre : lettre)) {
      if (!ConfirmeSuppression()) continue;
      e.supprime();
      return true;
    }
    if (e.avant_champs && !e.avant_champs()) continue;
    if (!SaisitChamps(champs, touche)) continue;
    e.ecrit();
    return true;
  }
}

int32_t EcritEnregistrement(Session& s, const FichierCle& f, int32_t e,
                            const std::function<void()>& supprime,
                            const std::function<std::string()>& remplit,
                            const std::function<void(LotDictionnaire&)>& termine) {
  LotDictionnaire lot(s);
  if (e != 0) {
    s.Donnee().LireEnr(f.fichier, e);
    supprime();
  }
  const int32_t nouveau = InsereEnregistrement(s, f, remplit());
  if (termine) {
    termine(lot);
  } else {
    lot.Valide();
  }
  return nouveau;
}

bool Confirmation(Session& etat, std::string_view ligne) {
  int16_t confirme = 0, touche = 0, confirmation = 0;
  etat.Ecran().ValeurConfirmation(confirme);
  etat.Saisie().Confirme(confirme, touche, ligne);
  etat.Ecran().ToucheConfirmation(confirmation);
  return touche == confirmation && confirme != 0;
}

void AfficheTrouve(Session& s, const Enregistrement& e, std::span<const ChampTrouve> champs) {
  for (const ChampTrouve& c : champs) {
    s.Saisie().Affiche(c.cle, e[c.champ]);
    *c.valeur = std::string(text::TrimRight(e[c.champ]));
  }
}

void SupprimeEnregistrement(Session& s, const FichierCle& f, std::string_view cle, int32_t e) {
  s.BArbre().Supprime(f.arbre, cle, e, f.fichier);
}

int32_t InsereEnregistrement(Session& s, const FichierCle& f, std::string_view cle) {
  int32_t e = 0;
  s.BArbre().Insere(f.arbre, cle, f.fichier, e);
  return e;
}

void ParcourtCles(Session& etat, const FichierCle& f,
                  const std::function<void(const std::string& cle, int32_t e)>& lit) {
  bool trouve = false;
  std::string cle;
  for (etat.BArbre().PremCle(f.arbre, f.fichier, trouve, cle); trouve;
       etat.BArbre().SuivCle(f.arbre, f.fichier, trouve, cle)) {
    int32_t e = 0;
    etat.Donnee().NoEnrCourant(f.fichier, e);
    lit(cle, e);
  }
}

bool ChercheNom(Session& etat, const FichierCle& f, std::string_view cle, int32_t& e,
                std::string* stockee) {
  bool trouve = false;
  e = 0;
  etat.BArbre().Recherche(f.arbre, cle, f.fichier, trouve);
  if (trouve) {
    etat.Donnee().NoEnrCourant(f.fichier, e);
    if (stockee != nullptr) *stockee = cle;
    return true;
  }
  const std::string voulu = text::UpperAscii(text::TrimRight(cle));
  std::string trouvee;
  ParcourtCles(etat, f, [&](const std::string& k, int32_t no) {
    if (e != 0 || text::UpperAscii(text::TrimRight(k)) != voulu) return;
    e = no;
    trouvee = k;
  });
  if (e == 0) return false;
  etat.Donnee().LireEnr(f.fichier, e);
  if (stockee != nullptr) *stockee = trouvee;
  return true;
}

bool LettresEtChiffres(std::string_view texte) {
  if (texte.empty()) return false;
  for (char c : texte) {
    bool lettre = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!lettre && !(c >= '0' && c <= '9')) return false;
  }
  return true;
}

}  // namespace vesk
