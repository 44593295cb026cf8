// Session: what the component's commands work on, given to each of them as an argument: the
// services (each created on first use through the thread's service factory, then kept), the
// handles of the dictionary files and B-trees, the current record fields of the five dictionary
// files, and the state of the code generators. A host has one session per thread: AsS's methods
// and the COM server's entry points look the calling thread's up (Etat(), core/etat_module.h),
// once per call, and hand it down; nothing below them looks it up again. Thread rules: a
// session belongs to one thread; nothing in it is shared or locked.
#ifndef VESK_CORE_SESSION_H_
#define VESK_CORE_SESSION_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "core/dictionnaire.h"
#include "core/enregistrement.h"
#include "core/texte_genere.h"
#include "srv/fabrique_services.h"
#include "srv/proprietaire.h"

namespace vesk {

class Session {
 public:
  // gen: the thread's generator state, which outlives the session (EtatGen()).
  explicit Session(std::shared_ptr<EtatGenCode> gen);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The thread's service objects, each created on first use and kept.
  SrvDonnee& Donnee();
  SrvBArbre& BArbre();
  SrvChainage& Chainage();
  SrvTexte& Texte();
  SrvListe& Liste();
  SrvEdition& Edition();
  SrvAnomalie& Anomalie();
  SrvSaisie& Saisie();
  SrvEcran& Ecran();
  SrvChoix& Choix();
  SrvMessage& Message();
  SrvJournal& Journal();

  // Handles of the dictionary files and of their B-trees (Lfic has none).
  int16_t fic_fichier = 0, lfic_fichier = 0, dom_fichier = 0, ba_fichier = 0, chain_fichier = 0;
  int16_t fic_arbre = 0, dom_arbre = 0, ba_arbre = 0, chain_arbre = 0;

  // The owner of the dictionary files: the AsS object that opened them. Not a reference: the
  // state never keeps its owner alive (a COM object would then never be released). Instead the
  // owner's destruction drops the state (OublieEtatDe), so that no service can call back into
  // a destroyed object.
  const Proprietaire* proprietaire = nullptr;

  // Current record fields of the dictionary files.
  Enregistrement fic{kFic.nom, kChampsFic};
  Enregistrement lfic{kLfic.nom, kChampsLfic};
  Enregistrement dom{kDom.nom, kChampsDom};
  Enregistrement ba{kBa.nom, kChampsBa};
  Enregistrement chain{kChain.nom, kChampsChain};

  // The state of the code generators (the generated text, the instruction record).
  EtatGenCode& Gen() { return *gen_; }
  void RemplaceGen(std::shared_ptr<EtatGenCode> gen) { gen_ = std::move(gen); }

  // Keeps objet alive as long as the session: the owner of a data file a host opened through
  // the session's services, which may call it back until the services close.
  void Garde(std::shared_ptr<void> objet) { gardes_.push_back(std::move(objet)); }

 private:
  FabriqueServices& Fabrique();
  template <typename S>
  S& Service(std::unique_ptr<S>& service, std::unique_ptr<S> (FabriqueServices::*creer)());

  std::unique_ptr<FabriqueServices> fabrique_;
  std::unique_ptr<SrvDonnee> donnee_;
  std::unique_ptr<SrvBArbre> barbre_;
  std::unique_ptr<SrvChainage> chainage_;
  std::unique_ptr<SrvTexte> texte_;
  std::unique_ptr<SrvListe> liste_;
  std::unique_ptr<SrvEdition> edition_;
  std::unique_ptr<SrvAnomalie> anomalie_;
  std::unique_ptr<SrvSaisie> saisie_;
  std::unique_ptr<SrvEcran> ecran_;
  std::unique_ptr<SrvChoix> choix_;
  std::unique_ptr<SrvMessage> message_;
  std::unique_ptr<SrvJournal> journal_;
  std::shared_ptr<EtatGenCode> gen_;
  std::vector<std::shared_ptr<void>> gardes_;
};

// Whether the session's data folder holds a dictionary (its file Fic): AsS::OuvS creates one where
// there is none.
bool DictionnaireExiste(Session& s);

// True once the user has cancelled the listing in progress (the session's SrvEcran::Annule is
// not 0): the one cancellation check of the component's listings.
bool EditionAnnulee(Session& s);

}  // namespace vesk

#endif  // VESK_CORE_SESSION_H_
