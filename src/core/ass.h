// AsS: the component's one class. A host creates one object, calls OuvS once, then one method
// per user command. The object holds no state of its own: every method works on the calling
// thread's module state (etat_module.h). It is also the owner of the dictionary files: the
// storage services call back its Lire.../Ecrire... methods by name.
// The thread's state keeps no reference to its owner: destroying the object that opened the
// dictionary closes the thread's files and services (the last release of a COM object does).
// Thread rules: an object is used, and destroyed, on the thread that created it (single-threaded
// apartment).
#ifndef VESK_CORE_ASS_H_
#define VESK_CORE_ASS_H_

#include <cstdint>
#include <memory>
#include <string_view>

#include "srv/proprietaire.h"

namespace vesk {

// The methods of AsS in their fixed order: hosts are compiled against this order.
class IAsS {
 public:
  virtual ~IAsS() = default;

  virtual std::shared_ptr<IAsS> InstanceAsS() = 0;    // 0
  virtual void ModifEntParam(int32_t parametre) = 0;  // 1
  virtual void OuvS() = 0;                            // 2
  virtual void LireFic(int32_t& e) = 0;               // 3
  virtual void EcrireFic(int32_t& e) = 0;             // 4
  virtual void LireLfic(int32_t& e) = 0;              // 5
  virtual void EcrireLfic(int32_t& e) = 0;            // 6
  virtual void LireDom(int32_t& e) = 0;               // 7
  virtual void EcrireDom(int32_t& e) = 0;             // 8
  virtual void LireBa(int32_t& e) = 0;                // 9
  virtual void EcrireBa(int32_t& e) = 0;              // 10
  virtual void LireChain(int32_t& e) = 0;             // 11
  virtual void EcrireChain(int32_t& e) = 0;           // 12
  virtual void EntDom() = 0;                          // 13
  virtual void EdtDom() = 0;                          // 14
  virtual void EntFic() = 0;                          // 15
  virtual void EdtLFic() = 0;                         // 16
  virtual void FicApp() = 0;                          // 17
  virtual void LectBA() = 0;                          // 18
  virtual void ReConsBA() = 0;                        // 19
  virtual void GenPS() = 0;                           // 20
  virtual void GenPE() = 0;                           // 21
  virtual void Util() = 0;                            // 22
};

class AsS : public IAsS, public Proprietaire, public std::enable_shared_from_this<AsS> {
 public:
  // Objects are shared: InstanceAsS hands out new references to the same object.
  static std::shared_ptr<AsS> Cree();
  // Drops the thread's module state when this object opened it (OublieEtatDe).
  ~AsS() override;

  std::shared_ptr<IAsS> InstanceAsS() override;
  void ModifEntParam(int32_t parametre) override;
  void OuvS() override;
  void LireFic(int32_t& e) override;
  void EcrireFic(int32_t& e) override;
  void LireLfic(int32_t& e) override;
  void EcrireLfic(int32_t& e) override;
  void LireDom(int32_t& e) override;
  void EcrireDom(int32_t& e) override;
  void LireBa(int32_t& e) override;
  void EcrireBa(int32_t& e) override;
  void LireChain(int32_t& e) override;
  void EcrireChain(int32_t& e) override;
  void EntDom() override;
  void EdtDom() override;
  void EntFic() override;
  void EdtLFic() override;
  void FicApp() override;
  void LectBA() override;
  void ReConsBA() override;
  void GenPS() override;
  void GenPE() override;
  void Util() override;

  // Proprietaire: the ten record methods, answered by name (without regard to case).
  int32_t IdMethode(std::string_view nom) override;
  void Invoque(int32_t id, int32_t& no_enr) override;

 private:
  AsS() = default;
};

}  // namespace vesk

#endif  // VESK_CORE_ASS_H_
