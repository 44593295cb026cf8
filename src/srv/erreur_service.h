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
  ErreurService(std::string_view operation, std::string_view objet, std::string_view message);

  const std::string& Operation() const { return operation_; }
  const std::string& Objet() const { return objet_; }
  const std::string& Message() const { return message_; }

 private:
  std::string operation_;
  std::string objet_;
  std::string message_;
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
