// The fixture of the domain tests: a fresh data folder with the standard services, the screens
// answered from a script (script::Session) and listings written as text into the folder.
#ifndef VESK_DOM_TESTING_DOMAINES_H_
#define VESK_DOM_TESTING_DOMAINES_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/ass.h"
#include "core/etat_module.h"
#include "core/testing/composant.h"
#include "dom/dom.h"
#include "srv/erreur_service.h"
#include "srv/report/srv_edition_impl.h"
#include "srv/script/srv_script_impl.h"
#include "srv/standard/fabrique_standard.h"
#include "srv/text/cp1252.h"

namespace vesk::dom {

// The scripted screen services, whose Annule turns true at the n-th poll when n > 0 (the
// listing is then cancelled after as many printed lines).
class EcranAnnulable : public script::SrvEcranScript {
 public:
  EcranAnnulable(std::shared_ptr<script::Session> session, int annule_au)
      : script::SrvEcranScript(std::move(session), "TEST"), annule_au_(annule_au) {}
  void Annule(int16_t& annule) override {
    script::SrvEcranScript::Annule(annule);
    if (annule_au_ > 0 && ++sondages_ >= annule_au_) annule = -1;
  }

 private:
  int annule_au_;
  int sondages_ = 0;
};

// The scripted entry screens, where a value made only of "_" stands for as many spaces: a
// script line cannot end with spaces, a keyboard can type them.
class SaisieEspaces : public script::SrvSaisieScript {
 public:
  using script::SrvSaisieScript::SrvSaisieScript;
  void Sai(std::string_view cle, std::string& valeur, int16_t& touche, int16_t initiale,
           std::string_view options, std::string_view ligne) override {
    script::SrvSaisieScript::Sai(cle, valeur, touche, initiale, options, ligne);
    if (!valeur.empty() && valeur.find_first_not_of('_') == std::string::npos) {
      valeur.assign(valeur.size(), ' ');
    }
  }
};

// The listing service, noting the value of every Termine call.
class EditionNotee : public SrvEditionImpl {
 public:
  EditionNotee(ConfigEdition config, std::shared_ptr<std::vector<int16_t>> termines)
      : SrvEditionImpl(std::move(config)), termines_(std::move(termines)) {}
  void Termine(int16_t valeur) override {
    termines_->push_back(valeur);
    SrvEditionImpl::Termine(valeur);
  }

 private:
  std::shared_ptr<std::vector<int16_t>> termines_;
};

class DomainesEssai : public ComposantEssai {
 protected:
  // The screens answered by script, Annule turning true at the annule_au-th poll (0: never).
  std::shared_ptr<AsS> Ouvre(const std::string& script, int annule_au = 0) {
    annule_au_ = annule_au;
    return ComposantEssai::Ouvre(script);
  }
  ServicesInterface Interface(std::shared_ptr<script::Session> s) override {
    ServicesInterface i = ComposantEssai::Interface(s);
    i.saisie = [s] { return std::make_unique<SaisieEspaces>(s); };
    i.ecran = [s, au = annule_au_] { return std::make_unique<EcranAnnulable>(s, au); };
    termines_ = std::make_shared<std::vector<int16_t>>();
    i.edition = [d = (dossier_ / "EDITIONS").string(), termines = termines_] {
      return std::make_unique<EditionNotee>(Editions(d), termines);
    };
    return i;
  }

  // Writes a definition file NAME.DOM (Windows-1252 on disk, CR LF).
  void EcritDom(const std::string& nom, const std::string& texte_utf8) {
    std::ofstream(dossier_ / (nom + ".DOM"), std::ios::binary) << Cp1252(texte_utf8);
  }
  static std::string Cp1252(const std::string& utf8) {
    std::string octets;
    EXPECT_TRUE(text::EncodeCp1252(utf8, &octets).ok);
    return octets;
  }

  // The domain code found in Dom: its record number (0 when absent), its fields in *champs.
  int32_t Cherche(const std::string& code, std::string* nom = nullptr, std::string* fdd = nullptr) {
    Session& etat = Etat();
    bool trouve = false;
    etat.BArbre().Recherche(etat.dom_arbre, code, etat.dom_fichier, trouve);
    if (!trouve) return 0;
    int32_t e = 0;
    etat.Donnee().NoEnrCourant(etat.dom_fichier, e);
    if (nom != nullptr) *nom = etat.dom[kNomDom];
    if (fdd != nullptr) *fdd = etat.dom[kFdd];
    return e;
  }
  // The raw text of record e of Dom.
  std::string Brut(int32_t e) {
    std::string texte;
    Etat().Donnee().LireFichier(Etat().dom_fichier, e, texte);
    return texte;
  }
  // Whether record e of Dom was given back (deleted): reading it into the fields is refused.
  bool Rendu(int32_t e) {
    try {
      Etat().Donnee().LireEnr(Etat().dom_fichier, e);
    } catch (const ErreurService& erreur) {
      return std::string(erreur.what()).find("supprimé") != std::string::npos;
    }
    return false;
  }

  int annule_au_ = 0;
  std::shared_ptr<std::vector<int16_t>> termines_;  // values given to Termine, in order
};

}  // namespace vesk::dom

#endif  // VESK_DOM_TEST_DOM_H_
