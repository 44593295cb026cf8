// A script of answers for the scripted screens, and the transcript of every screen call. The
// four scripted services of a thread share one Session: they take its answers in order and
// write to its transcript. One thread.
#ifndef VESK_SRV_SCRIPT_SESSION_H_
#define VESK_SRV_SCRIPT_SESSION_H_

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::script {

// One answer of the script: one line.
struct Reponse {
  enum class Genre { kChamp, kConfirme, kChoix, kOk, kAnnule };
  Genre genre = Genre::kChamp;
  int ligne = 0;             // 1-based line of the script
  std::string cle;           // kChamp: the field
  bool avec_valeur = false;  // kChamp: "KEY = VALUE" (else "KEY": the value is kept)
  std::string valeur;
  int16_t touche = 13;     // kChamp, kConfirme: the key that ends (Enter by default)
  std::vector<int> choix;  // kChoix: 1-based positions; empty for "choose none"
};

// What an answer is, in words, for messages: "la saisie du champ CODOM", "un choix"...
std::string Decrit(const Reponse& r);

class Session {
 public:
  // Parses the script text; nom names it in errors. ErreurService naming the line on a
  // malformed line.
  static std::shared_ptr<Session> DepuisTexte(std::string_view texte, std::string nom = "script");
  // Reads and parses a UTF-8 script file.
  static std::shared_ptr<Session> DepuisFichier(const std::string& chemin);

  // Each transcript line is also written to *sortie as it comes (nullptr: none).
  void EcritAussiDans(std::ostream* sortie) { sortie_ = sortie; }
  // The transcript so far: one line per screen call, each ended by "\n".
  const std::string& Transcription() const { return transcription_; }
  const std::string& Nom() const { return nom_; }
  // Answers not yet taken.
  size_t Restantes() const { return reponses_.size() - prochaine_; }

  // For the services: the next answer, which must be of genre; ErreurService(operation, nom,
  // ...) naming the script line when the script has run out or the answer is of another kind.
  const Reponse& Prend(std::string_view operation, Reponse::Genre genre, std::string_view demande);
  // The next answer without taking it, or nullptr at the end.
  const Reponse* Regarde() const;
  void Saute() { ++prochaine_; }
  // ErreurService for answer r: "ligne N : message".
  [[noreturn]] void Erreur(std::string_view operation, const Reponse& r,
                           const std::string& message) const;
  void Note(const std::string& ligne);

  bool annule = false;  // SrvEcran.Annule: set by "cancel"

 private:
  Session(std::vector<Reponse> reponses, std::string nom)
      : nom_(std::move(nom)), reponses_(std::move(reponses)) {}

  std::string nom_;
  std::vector<Reponse> reponses_;
  size_t prochaine_ = 0;
  std::string transcription_;
  std::ostream* sortie_ = nullptr;
};

// «texte» for the transcript, line ends and other control characters written \r, \n, \xNN.
std::string Cite(std::string_view texte);

}  // namespace vesk::script

#endif  // VESK_SRV_SCRIPT_SESSION_H_
