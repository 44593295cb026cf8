// The entry cycle shared by the dictionary's entry screens (domains, file specifications, B-tree
// tables, chainings): the key codes asked of SrvEcran once, the new screen with its deletion
// hint, the key field that leaves the screen, the lookup through the file's primary B-tree, the
// mode shown beside the key, the confirmed deletion, and the entry of the other fields in order
// with the back and start keys. A modification is written as a deletion followed by an
// insertion (SupprimeEnregistrement, then InsereEnregistrement). Works on the session it is
// given; one screen at a time per session.
#ifndef VESK_CORE_CYCLE_SAISIE_H_
#define VESK_CORE_CYCLE_SAISIE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/lot.h"
#include "core/session.h"

namespace vesk {

inline constexpr std::string_view kModeCreation = "Création";
inline constexpr std::string_view kModeModification = "MODIFICATION";
inline constexpr std::string_view kModeSuppression = "SUPPRESSION";
// Letters given to AffMode and carried into the next entry of the key field.
inline constexpr std::string_view kLettreTrouve = "I";
inline constexpr std::string_view kLettreNouveau = "B";
inline constexpr std::string_view kEnregistrementPrecedent = "Enregistrement Précédent ";

// A dictionary file reached through its primary B-tree.
struct FichierCle {
  int16_t fichier = 0;
  int16_t arbre = 0;
};

// One field entered after the key field.
struct ChampCycle {
  std::string_view cle;           // the field's key on the screen
  std::string* valeur = nullptr;  // the value the entry starts from and gives back
  int retour = -1;                // the field the back key returns to (index; -1: key field)
  // Checks the value entered: nullopt accepts it; "" enters the field again without a message;
  // any other text is shown on line "B" for the field, which is entered again. Empty: accepted.
  std::function<std::optional<std::string>(const std::string&)> controle;
  std::string_view options = "[]";  // Sai's option list
};

// A field of a record found, shown on the screen and entered again.
struct ChampTrouve {
  std::string_view cle;  // the field's key on the screen
  size_t champ;          // its index in the record
  std::string* valeur;   // receives the text its entry starts from
};

// The steps of one screen that differ from one entry screen to another.
struct EtapesEcran {
  std::string* cle = nullptr;          // the key field's text
  std::string* lettre = nullptr;       // receives the mode letter of each lookup
  std::function<void()> depart;        // before each key entry: sets its starting text (or none)
  std::function<bool()> controle_cle;  // after the key entry: false enters it again (or none)
  std::function<bool()> cherche;       // the lookup: true when a record was found
  std::function<bool()> avant_champs;  // before the other fields: false back to the key (or none)
  std::function<void()> supprime;      // deletes the record found
  std::function<void()> ecrit;         // writes the screen's record
};

// The screen's constant texts.
struct EcranCycle {
  std::string_view titre;
  std::string_view descripteur;
  std::string_view cle;               // the key field
  std::string_view aide_suppression;  // shown on line "B" for the key field on every new screen
  // The key is the name of a file or a table: looked up ignoring case (ChercheNom), so that a
  // name stored in lower case before names were taken in upper case is found.
  bool nom = false;
};

class CycleSaisie {
 public:
  // Asks SrvEcran for the back, start, deletion and Esc keys.
  CycleSaisie(Session& s, EcranCycle ecran);

  // A new screen: InitEcran, Titre, DefChamps, then the deletion hint on line "B".
  void NouvelEcran();
  // "Enregistrement Précédent " followed by cle, on line "B".
  void MontrePrecedent(std::string_view cle);
  // Enters the key field starting from valeur (touche receives the ending key). False when the
  // user leaves the screen: back, start or Esc key, or an empty (blank) value.
  bool SaisitCle(std::string& valeur, int16_t& touche);
  // Looks cle (the key field at its width) up; found: the record is in the current fields, e is
  // its number and CleTrouvee() its key as stored; otherwise e is 0.
  bool Cherche(const FichierCle& f, std::string_view cle, int32_t& e);
  const std::string& CleTrouvee() const { return cle_trouvee_; }
  // Shows the mode of a lookup beside the key field: "MODIFICATION" ("SUPPRESSION" when the key
  // entry ended with the deletion key) with the letter "I" for a record found, "Création" with
  // "B" otherwise; lettre receives the letter. True when a deletion is asked of a found record.
  bool AfficheMode(bool trouve, int16_t touche_cle, std::string& lettre);
  // Asks for the confirmation of a deletion (Confirmation on line "B").
  bool ConfirmeSuppression();
  // Enters champs in order from the first. The back key goes to the field's retour, the start
  // key and Esc to the key field; touche receives each ending key. True once the last field is
  // accepted; false when the cycle returns to the key field.
  bool SaisitChamps(std::span<const ChampCycle> champs, int16_t& touche);

  // One screen from its key field: the key entered, checked and looked up, the mode shown, a
  // confirmed deletion, or the fields entered and the record written. False when the user
  // leaves the screen; true when a record was deleted or written (a new screen follows).
  bool SaisitEcran(const EtapesEcran& etapes, std::span<const ChampCycle> champs, int16_t& touche);

  int16_t ToucheRetour() const { return retour_; }
  int16_t ToucheDebut() const { return debut_; }
  int16_t ToucheSuppression() const { return suppression_; }
  // The start key or Esc: on a field after the key field both abandon the record entered.
  bool Abandonne(int16_t touche) const { return touche == debut_ || touche == echap_; }

 private:
  Session& etat_;
  EcranCycle ecran_;
  int16_t retour_ = 0;
  int16_t debut_ = 0;
  int16_t suppression_ = 0;
  int16_t echap_ = 0;
  std::string cle_trouvee_;
};

// Asks Confirme on line ligne: true when the key pressed is the confirmation key and the flag
// (from ValeurConfirmation) is not 0.
bool Confirmation(Session& s, std::string_view ligne);

// A record found: each field shown as the record holds it (padded), and the text its entry
// starts from taken without the padding, so that the user types after it.
void AfficheTrouve(Session& s, const Enregistrement& e, std::span<const ChampTrouve> champs);

// Removes the key cle and gives record e back to the file.
void SupprimeEnregistrement(Session& s, const FichierCle& f, std::string_view cle, int32_t e);
// Writes the current fields as a new record under the key cle; gives its number.
int32_t InsereEnregistrement(Session& s, const FichierCle& f, std::string_view cle);
// Writes a screen's record in one batch, so that a crash cannot lose a modified record: the
// record e found by the lookup (0: none) read again and deleted by supprime, then the current
// fields filled by remplit, which gives their key, inserted. The batch is committed, or ended
// by termine when one is given (a migration ends it with the data). Gives the new record's
// number.
int32_t EcritEnregistrement(Session& s, const FichierCle& f, int32_t e,
                            const std::function<void()>& supprime,
                            const std::function<std::string()>& remplit,
                            const std::function<void(LotDictionnaire&)>& termine = {});

// Calls lit(key, record number) for every record of f in key order, the record being the
// file's current fields during the call.
void ParcourtCles(Session& s, const FichierCle& f,
                  const std::function<void(const std::string& cle, int32_t e)>& lit);

// Looks the name cle up in f: as given, then ignoring case and trailing spaces (a name stored
// before names were upper-cased). Found: the record is current, e is its number and stockee
// (when given) its key as stored; otherwise e is 0.
bool ChercheNom(Session& s, const FichierCle& f, std::string_view cle, int32_t& e,
                std::string* stockee = nullptr);

// True when texte is made of letters "a"-"z", "A"-"Z" and digits only (and is not empty): a
// name that can only designate a file of the data folder.
bool LettresEtChiffres(std::string_view texte);

}  // namespace vesk

#endif  // VESK_CORE_CYCLE_SAISIE_H_
