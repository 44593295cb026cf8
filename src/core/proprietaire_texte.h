// ProprietaireTexte: the owner of one data file whose current fields are a single text, the
// whole record, read and written through the calling thread's data-file service: an owner is
// called back by the services, like AsS's record methods, and looks the thread's session up
// (Etat()) as they do. What a host or a test uses to write an application's records as a
// generated program writes them (the demo's data, the rebuild's tests). Thread rules: the thread
// that opened the file.
#ifndef VESK_CORE_PROPRIETAIRE_TEXTE_H_
#define VESK_CORE_PROPRIETAIRE_TEXTE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "core/etat_module.h"
#include "srv/proprietaire.h"
#include "srv/text/utf8.h"

namespace vesk {

class ProprietaireTexte : public Proprietaire {
 public:
  // nom: the file's name, which its "Lire" and "Ecrire" methods end with.
  explicit ProprietaireTexte(std::string nom) : nom_(std::move(nom)) {}

  int32_t IdMethode(std::string_view nom) override {
    if (text::EqualNoCase(nom, "Lire" + nom_)) return 1;
    return text::EqualNoCase(nom, "Ecrire" + nom_) ? 2 : -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    if (id == 1) {
      Etat().Donnee().LireFichier(fichier, no, champs);
    } else {
      Etat().Donnee().EcrireFichier(fichier, no, champs);
    }
  }

  int16_t fichier = 0;  // the handle Donnee gave
  std::string champs;   // the current fields: the whole record

 private:
  std::string nom_;
};

}  // namespace vesk

#endif  // VESK_CORE_PROPRIETAIRE_TEXTE_H_
