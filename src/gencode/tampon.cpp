#include "gencode/tampon.h"

#include "core/session.h"
#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"

namespace vesk {

namespace {

constexpr int16_t kLargeurTitre = 40;
constexpr int kEspacesTitre = 33;

}  // namespace

void InitGenCode(Session& s) {
  EtatGenCode& etat = s.Gen();  // the form, created on the thread's first use
  if (auto affichage = AffichageCourant()) affichage->Montre(etat);
  etat.VideTexte();
  etat.RecreeInst();
}

void TermineGenCode(Session& s) {
  if (auto affichage = AffichageCourant()) affichage->Termine(s.Gen());
}

void AjouteLigneFeuille(Session& s, std::string_view ligne) { s.Gen().AjouteTexte(ligne); }

void SignaleAnomalieGen(Session& s, std::string_view message, std::string_view procedure) {
  s.Gen().AjouteAnomalie(message, procedure);
  s.Anomalie().Signale(message, procedure);
}

void GenTrait(Session& s, std::string_view caractere) {
  std::string ligne = "Rem ";
  ligne.reserve(ligne.size() + caractere.size() * kLargeurTrait);
  for (int i = 0; i < kLargeurTrait; ++i) ligne.append(caractere);
  EcrireLigne(s, ligne, "");
}

void GenLigneVide(Session& s) { EcrireLigne(s, "", ""); }

void GenTitre(Session& s, std::string_view titre, std::string_view haut, std::string_view bas) {
  GenTrait(s, haut);
  std::string ajuste;
  s.Texte().Justifie(titre, kLargeurTitre, true, ajuste);
  std::string ligne(haut);
  ligne.append(kEspacesTitre, ' ');
  ligne.append(ajuste);
  ligne.append(" ");
  ligne.append(haut);
  GenRem(s, ligne, 0, "");
  GenTrait(s, bas.empty() ? haut : bas);
}

void GenCartouche(Session& s, std::string_view titre, std::string& liste) {
  GenTitre(s, titre, "=", "-");
  GenRem(s, "", 0, "");
  std::string element;
  while (liste != "[]") {
    s.Liste().Extrait(liste, element);
    GenRem(s, element, 0, "");
  }
  GenRem(s, "", 0, "");
  GenTrait(s, "=");
}

}  // namespace vesk
