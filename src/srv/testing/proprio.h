// An owner of data files for the tests of the storage services: its methods "Lire<nom>" and
// "Ecrire<nom>" move the record of one file between the file and its current fields (one text:
// the whole record). For *_test.cpp files only.
#ifndef VESK_SRV_TESTING_PROPRIO_H_
#define VESK_SRV_TESTING_PROPRIO_H_

#include <cctype>
#include <string>
#include <string_view>

#include "srv/proprietaire.h"
#include "srv/srv_donnee.h"

namespace vesk::essai {

class Proprio : public Proprietaire {
 public:
  Proprio(SrvDonnee* srv, std::string nom) : srv_(srv), nom_(Majuscules(std::move(nom))) {}

  int32_t IdMethode(std::string_view nom) override {
    const std::string n = Majuscules(std::string(nom));
    if (n == "LIRE" + nom_) return 1;
    if (n == "ECRIRE" + nom_) return 2;
    return -1;
  }
  void Invoque(int32_t id, int32_t& no_enr) override {
    ++appels;
    if (id == 1) {
      srv_->LireFichier(fichier, no_enr, champs);
    } else {
      srv_->EcrireFichier(fichier, no_enr, champs);
    }
  }

  int16_t fichier = 0;
  std::string champs;  // the current fields
  int appels = 0;      // the calls of its methods

 private:
  static std::string Majuscules(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
  }
  SrvDonnee* srv_;
  std::string nom_;
};

}  // namespace vesk::essai

#endif  // VESK_SRV_TESTING_PROPRIO_H_
