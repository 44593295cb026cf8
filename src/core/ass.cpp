#include "core/ass.h"

#include <array>
#include <string>

#include "core/commandes_composant.h"
#include "core/dictionnaire.h"
#include "core/etat_module.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

// Opens one dictionary file, as every dictionary file is opened: no company dependence, the
// AsS object as owner, three empty texts and creation when absent.
void OuvreFichier(Session& etat, const FichierDictionnaire& f, int16_t& fichier,
                  Proprietaire* proprietaire) {
  etat.Donnee().Donnee(false, f.nom, f.longueur_enr, fichier, proprietaire, "", "", "", true);
}

void OuvreArbre(Session& etat, const FichierDictionnaire& f, int16_t& arbre) {
  etat.BArbre().B_Arbre(false, f.nom, f.longueur_cle, "P", arbre, "", true);
}

// A dictionary tree must hold one key per live record of its file: a tree or file damaged, or
// a tree lost and recreated, shows first as a difference of their counts, which every command
// checks cheaply (from the headers) before it reads anything; the export checks key by key.
void AccordArbre(Session& etat, const FichierDictionnaire& f, int16_t arbre, int16_t fichier) {
  int64_t cles = 0;
  int32_t vivants = 0;
  etat.BArbre().Comptes(arbre, fichier, cles, vivants);
  if (cles == vivants) return;
  const std::string nom = text::UpperAscii(f.nom);
  throw ErreurService("OuvS", nom + ".DAB",
                      nom + ".DAB compte " + std::to_string(cles) + " clé(s) et " + nom + ".DAT " +
                          std::to_string(vivants) +
                          " enregistrement(s) : le dictionnaire est endommagé",
                      true);
}

void Lit(Session& etat, int16_t fichier, int32_t e, Enregistrement& champs) {
  std::string texte;
  etat.Donnee().LireFichier(fichier, e, texte);
  champs.Decoupe(texte);
}

void Ecrit(Session& etat, int16_t fichier, int32_t e, const Enregistrement& champs) {
  etat.Donnee().EcrireFichier(fichier, e, champs.Joint());
}

// The record methods the storage services call back by name, in the order of the interface:
// the one source of their names, of their numbers (kPremiereMethode + index) and of the call.
struct MethodeEnregistrement {
  std::string_view nom;
  void (AsS::*appel)(int32_t&);
};
constexpr int32_t kPremiereMethode = 3;
constexpr std::array<MethodeEnregistrement, 10> kMethodes = {{
    {"LireFic", &AsS::LireFic},
    {"EcrireFic", &AsS::EcrireFic},
    {"LireLfic", &AsS::LireLfic},
    {"EcrireLfic", &AsS::EcrireLfic},
    {"LireDom", &AsS::LireDom},
    {"EcrireDom", &AsS::EcrireDom},
    {"LireBa", &AsS::LireBa},
    {"EcrireBa", &AsS::EcrireBa},
    {"LireChain", &AsS::LireChain},
    {"EcrireChain", &AsS::EcrireChain},
}};

}  // namespace

std::shared_ptr<AsS> AsS::Cree() { return std::shared_ptr<AsS>(new AsS()); }

AsS::~AsS() { OublieEtatDe(this); }

std::shared_ptr<IAsS> AsS::InstanceAsS() { return shared_from_this(); }

void AsS::ModifEntParam(int32_t) {}

void AsS::OuvS() {
  Session& etat = Etat();
  etat.proprietaire = this;
  OuvreFichier(etat, kFic, etat.fic_fichier, this);
  etat.fic.Efface();
  OuvreArbre(etat, kFic, etat.fic_arbre);
  OuvreFichier(etat, kLfic, etat.lfic_fichier, this);
  etat.lfic.Efface();
  OuvreFichier(etat, kDom, etat.dom_fichier, this);
  etat.dom.Efface();
  OuvreArbre(etat, kDom, etat.dom_arbre);
  OuvreFichier(etat, kBa, etat.ba_fichier, this);
  etat.ba.Efface();
  OuvreArbre(etat, kBa, etat.ba_arbre);
  OuvreFichier(etat, kChain, etat.chain_fichier, this);
  etat.chain.Efface();
  OuvreArbre(etat, kChain, etat.chain_arbre);
  const PositionsChainage& c = kChainageLficFic;
  etat.Chainage().Chainage(kFic.nom, kFic.longueur_enr, c.premiere, c.derniere, kLfic.nom,
                           kLfic.longueur_enr, c.precedente, c.suivante);
  AccordArbre(etat, kFic, etat.fic_arbre, etat.fic_fichier);
  AccordArbre(etat, kDom, etat.dom_arbre, etat.dom_fichier);
  AccordArbre(etat, kBa, etat.ba_arbre, etat.ba_fichier);
  AccordArbre(etat, kChain, etat.chain_arbre, etat.chain_fichier);
}

void AsS::LireFic(int32_t& e) {
  Session& s = Etat();
  Lit(s, s.fic_fichier, e, s.fic);
}
void AsS::EcrireFic(int32_t& e) {
  Session& s = Etat();
  Ecrit(s, s.fic_fichier, e, s.fic);
}
void AsS::LireLfic(int32_t& e) {
  Session& s = Etat();
  Lit(s, s.lfic_fichier, e, s.lfic);
}
void AsS::EcrireLfic(int32_t& e) {
  Session& s = Etat();
  Ecrit(s, s.lfic_fichier, e, s.lfic);
}
void AsS::LireDom(int32_t& e) {
  Session& s = Etat();
  Lit(s, s.dom_fichier, e, s.dom);
}
void AsS::EcrireDom(int32_t& e) {
  Session& s = Etat();
  Ecrit(s, s.dom_fichier, e, s.dom);
}
void AsS::LireBa(int32_t& e) {
  Session& s = Etat();
  Lit(s, s.ba_fichier, e, s.ba);
}
void AsS::EcrireBa(int32_t& e) {
  Session& s = Etat();
  Ecrit(s, s.ba_fichier, e, s.ba);
}
void AsS::LireChain(int32_t& e) {
  Session& s = Etat();
  Lit(s, s.chain_fichier, e, s.chain);
}
void AsS::EcrireChain(int32_t& e) {
  Session& s = Etat();
  Ecrit(s, s.chain_fichier, e, s.chain);
}

void AsS::EntDom() { ExecuteCommande(Etat(), CommandeAsS::kEntDom, "EntDom"); }
void AsS::EdtDom() { ExecuteCommande(Etat(), CommandeAsS::kEdtDom, "EdtDom"); }
void AsS::EntFic() { ExecuteCommande(Etat(), CommandeAsS::kEntFic, "EntFic"); }
void AsS::EdtLFic() { ExecuteCommande(Etat(), CommandeAsS::kEdtLFic, "EdtLFic"); }
void AsS::FicApp() { ExecuteCommande(Etat(), CommandeAsS::kFicApp, "FicApp"); }
void AsS::LectBA() { ExecuteCommande(Etat(), CommandeAsS::kLectBA, "LectBA"); }
void AsS::ReConsBA() { ExecuteCommande(Etat(), CommandeAsS::kReConsBA, "ReConsBA"); }
void AsS::GenPS() { ExecuteCommande(Etat(), CommandeAsS::kGenPS, "GenPS"); }
void AsS::GenPE() { ExecuteCommande(Etat(), CommandeAsS::kGenPE, "GenPE"); }
void AsS::Util() {}

int32_t AsS::IdMethode(std::string_view nom) {
  for (size_t i = 0; i < kMethodes.size(); ++i) {
    if (text::EqualNoCase(nom, kMethodes[i].nom)) {
      return kPremiereMethode + static_cast<int32_t>(i);
    }
  }
  return -1;
}

void AsS::Invoque(int32_t id, int32_t& no_enr) {
  const int64_t i = static_cast<int64_t>(id) - kPremiereMethode;
  if (i < 0 || i >= static_cast<int64_t>(kMethodes.size())) {
    throw ErreurService("Invoque", "AsS",
                        "méthode " + std::to_string(id) +
                            " inconnue du propriétaire (méthodes d'enregistrement : 3 à 12)");
  }
  (this->*kMethodes[static_cast<size_t>(i)].appel)(no_enr);
}

}  // namespace vesk
