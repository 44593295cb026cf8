// The error of a failing service operation. A service operation that cannot do what it is asked
// throws ErreurService; the component never catches it, so the current command ends and the
// host shows the message. It carries the operation, the object (file name, handle, field key)
// and a clear French message.
#ifndef VESK_SRV_ERREUR_SERVICE_H_
#define VESK_SRV_ERREUR_SERVICE_H_

#include <stdexcept>
#include <string>
#include <string_view>

namespace vesk {

class ErreurService : public std::runtime_error {
 public:
  // endommage: the object is damaged (a checksum, a count or a link that does not hold), as
  // opposed to a refused request; a host may then say how to repair it.
  ErreurService(std::string_view operation, std::string_view objet, std::string_view message,
                bool endommage = false);

  const std::string& Operation() const { return operation_; }
  const std::string& Objet() const { return objet_; }
  const std::string& Message() const { return message_; }
  bool Endommage() const { return endommage_; }
  // The whole text, as what() gives it but whole also when a quoted byte is a NUL.
  const std::string& Texte() const { return texte_; }

 private:
  std::string texte_;
  std::string operation_;
  std::string objet_;
  std::string message_;
  bool endommage_;
};

// The error of an operation or a batch that failed past its commit point: what it changed holds
// (the folder's redo log keeps it) but its files could not all be written now (the message
// says why); the next opening of the folder writes them. A command may take it as done.
class ErreurApresValidation : public ErreurService {
 public:
  using ErreurService::ErreurService;
};

// Ctrl+C pressed on a screen: the command ends at once, as after any error, and the host says
// so (`vesk` exits with the status 130).
class Interruption : public ErreurService {
 public:
  Interruption() : ErreurService("Interruption", "Ctrl+C", "interrompu par Ctrl+C") {}
};

// Throws ErreurService unless condition holds; for argument checks at the service interfaces.
inline void Exige(bool condition, std::string_view operation, std::string_view objet,
                  std::string_view message) {
  if (!condition) throw ErreurService(operation, objet, message);
}

}  // namespace vesk

#endif  // VESK_SRV_ERREUR_SERVICE_H_
