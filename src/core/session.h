// The component's module state: one object per thread that uses the component (per COM
// apartment), created empty on the thread's first use. It holds the service objects (each
// created on first use through the thread's service factory and kept), the handles of the
// dictionary files and B-trees, and the current record fields of the five dictionary files.
// The code generators keep their own per-thread state (EtatGen(), gencode/etat_gencode.h): it
// belongs to a layer above this one and outlives OublieEtat (the generated text stays readable).
// Thread rules: each thread sees only its own state; nothing here is shared or locked.
#ifndef VESK_CORE_ETAT_MODULE_H_
#define VESK_CORE_ETAT_MODULE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <typeindex>

#include "core/dictionnaire.h"
#include "core/enregistrement.h"
#include "srv/fabrique_services.h"

namespace vesk {

// Installs the creator used by every thread that has none of its own (the host does this once,
// before the first use of the component).
void InstalleServices(CreateurServices createur);
// Installs a creator for the calling thread only (tests, hosts with several configurations).
void InstalleServicesThread(CreateurServices createur);

class EtatModule {
 public:
  EtatModule();
  ~EtatModule();

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

  // The thread's state of a subsystem above core (the field table of the file being specified,
  // the screens' variables kept between calls): one T per thread, made on first use, dropped
  // with the module state. This keeps every per-thread state of the component in one place
  // while the dependencies point down to core.
  template <typename T>
  T& Partie() {
    std::shared_ptr<void>& p = parties_[std::type_index(typeid(T))];
    if (!p) p = std::make_shared<T>();
    return *static_cast<T*>(p.get());
  }

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
  std::map<std::type_index, std::shared_ptr<void>> parties_;
};

// The calling thread's module state, created empty on first use.
EtatModule& Etat();
// Drops the calling thread's module state (its services close their files); the next use
// starts afresh. For hosts that end a session, and for tests.
void OublieEtat();
// Drops the calling thread's module state when `proprietaire` is the owner of its dictionary
// files (its files and services close); does nothing otherwise. Called by AsS's destructor.
void OublieEtatDe(const Proprietaire* proprietaire);

// True once the user has cancelled the listing in progress (the thread's SrvEcran::Annule is not
// 0). The one cancellation check of listings: the component's listings ask it, and a host gives
// it to its listing service (ConfigEdition::annule), so that both see the same cancellation.
bool EditionAnnulee();

}  // namespace vesk

#endif  // VESK_CORE_ETAT_MODULE_H_
