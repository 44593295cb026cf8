// The owner of a data file: an object that answers methods by name, as a COM object answers
// Invoke. The data-file and B-tree services call back its "Lire" + name and "Ecrire" + name
// methods with a record number to move a record between the file and the current fields.
// Thread rules: called only from the thread that opened the file.
#ifndef VESK_SRV_PROPRIETAIRE_H_
#define VESK_SRV_PROPRIETAIRE_H_

#include <cstdint>
#include <string_view>

namespace vesk {

class Proprietaire {
 public:
  virtual ~Proprietaire() = default;

  // Identifier of the method named nom, compared without regard to case as COM does, or -1 when
  // the owner has no such method. Services resolve the two methods once, when the file opens.
  virtual int32_t IdMethode(std::string_view nom) = 0;
  // Calls method id with the record number, passed by reference as the owner's methods take it.
  virtual void Invoque(int32_t id, int32_t& no_enr) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_PROPRIETAIRE_H_
