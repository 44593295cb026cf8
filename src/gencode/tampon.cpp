#include "gencode/tampon.h"

#include "core/etat_module.h"
#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"

namespace vesk {

namespace {

constexpr int16_t kLargeurTitre = 40;
constexpr int kEspacesTitre = 33;

}  // namespace

void InitGenCode() {
  EtatGenCode& etat = EtatGen();  // the form, created on the thread's first use
  if (auto affichage = AffichageCourant()) affichage->Montre(etat);
  etat.VideTexte();
  etat.RecreeInst();
}

void TermineGenCode() {
  if (auto affichage = AffichageCourant()) affichage->Termine(EtatGen());
}

void AjouteLigneFeuille(std::string_view ligne) { EtatGen().AjouteTexte(ligne); }

void SignaleAnomalieGen(std::string_view message, std::string_view procedure) {
  EtatGen().AjouteAnomalie(message, procedure);
  Etat().Anomalie().Signale(message, procedure);
}

void GenTrait(std::string_view caractere) {
  std::string ligne = "Rem ";
  ligne.reserve(ligne.size() + caractere.size() * kLargeurTrait);
  for (int i = 0; i < kLargeurTrait; ++i) ligne.append(caractere);
  EcrireLigne(ligne, "");
}

void GenLigneVide() { EcrireLigne("", ""); }

void GenTitre(std::string_view titre, std::string_view haut, std::string_view bas) {
  GenTrait(haut);
  std::string ajuste;
  Etat().Texte().Justifie(titre, kLargeurTitre, true, ajuste);
  std::string ligne(haut);
  ligne.append(kEspacesTitre, ' ');
  ligne.append(ajuste);
  ligne.append(" ");
  ligne.append(haut);
  GenRem(ligne, 0, "");
  GenTrait(bas.empty() ? haut : bas);
}

void GenCartouche(std::string_view titre, std::string& liste) {
  GenTitre(titre, "=", "-");
  GenRem("", 0, "");
  std::string element;
  while (liste != "[]") {
    Etat().Liste().Extrait(liste, element);
    GenRem(element, 0, "");
  }
  GenRem("", 0, "");
  GenTrait("=");
}

}  // namespace vesk
