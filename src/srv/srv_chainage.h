// SrvChainage: chainings of a line file to a header file. Each header record holds the numbers
// of its first and last lines; each line record holds its previous and next lines. The service
// alone writes these 3-character pointers. One object per thread.
#ifndef VESK_SRV_SRV_CHAINAGE_H_
#define VESK_SRV_SRV_CHAINAGE_H_

#include <cstdint>
#include <string_view>

namespace vesk {

class SrvChainage {
 public:
  virtual ~SrvChainage() = default;

  // Declares that the records of the line file are chained to the header records, with the
  // 1-based positions of the four pointers. Both files must be open (SrvDonnee.Donnee).
  virtual void Chainage(std::string_view fichier_entete, int16_t longueur_entete,
                        int16_t pos_premiere, int16_t pos_derniere, std::string_view fichier_ligne,
                        int16_t longueur_ligne, int16_t pos_precedente, int16_t pos_suivante) = 0;
  // First line of the header file's current record (0 when it has none); the line becomes the
  // current fields of the line file.
  virtual void PremLigne(int16_t fichier_ligne, int32_t& no_enr) = 0;
  // The line after no_enr (0 after the last); it becomes the current fields of the line file.
  virtual void SuivLigne(int16_t fichier_ligne, int32_t& no_enr) = 0;
  // Writes the line file's current fields as a new record chained last under the header's
  // current record; no_enr receives its number.
  virtual void AjouteLigne(int16_t fichier_ligne, int32_t& no_enr) = 0;
  // Unchains line no_enr from the header's current record and gives it back as deleted.
  virtual void SupprimeLigne(int16_t fichier_ligne, int32_t no_enr) = 0;
  // Removes every line of the header's current record.
  virtual void SupprimeLignes(int16_t fichier_ligne) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_CHAINAGE_H_
