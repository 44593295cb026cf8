// The scripted screen services: the four screen interfaces answered from a Session's script
// instead of a keyboard, each call written to the Session's transcript. They check what a
// terminal would enforce (field keys, widths, types, options, list positions), so a script that
// passes here could have been typed. One thread.
#ifndef VESK_SRV_SCRIPT_SRV_SCRIPT_IMPL_H_
#define VESK_SRV_SCRIPT_SRV_SCRIPT_IMPL_H_

#include <memory>
#include <string>
#include <vector>

#include "srv/script/session.h"
#include "srv/srv_choix.h"
#include "srv/srv_ecran.h"
#include "srv/srv_message.h"
#include "srv/srv_saisie.h"
#include "srv/tui/descripteur.h"

namespace vesk::script {

class SrvSaisieScript : public SrvSaisie {
 public:
  explicit SrvSaisieScript(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  void DefChamps(std::string_view descripteur) override;
  void Sai(std::string_view cle, std::string& valeur, int16_t& touche, int16_t touche_initiale,
           std::string_view options, std::string_view ligne) override;
  void Confirme(int16_t& confirme, int16_t& touche, std::string_view ligne) override;
  void Affiche(std::string_view cle, std::string_view valeur) override;
  void AffMode(std::string_view cle, std::string_view lettre, std::string_view mode) override;
  void MessChamp(std::string_view cle, std::string_view ligne, std::string_view message,
                 int16_t touche) override;
  void RegleChamp(std::string_view cle, std::string_view regle) override;
  void InitEcran(int16_t touche) override;
  void Message(std::string_view ligne, std::string_view texte) override;
  void Titre(std::string_view titre) override;

 private:
  size_t Index(std::string_view operation, std::string_view cle) const;

  std::shared_ptr<Session> session_;
  std::vector<tui::Champ> champs_;
};

// Key codes are those of the terminal screens (srv/tui/touches.h).
class SrvEcranScript : public SrvEcran {
 public:
  SrvEcranScript(std::shared_ptr<Session> session, std::string nom_application,
                 std::string date = "31/12/2026")
      : session_(std::move(session)),
        nom_application_(std::move(nom_application)),
        date_(std::move(date)) {}

  void NomApplication(std::string& nom) override { nom = nom_application_; }
  void ValeurConfirmation(int16_t& valeur) override;
  void ToucheSuppression(int16_t& touche) override;
  void ToucheRetour(int16_t& touche) override;
  void ToucheDebut(int16_t& touche) override;
  void ToucheConfirmation(int16_t& touche) override;
  // True from the moment the next answer is "cancel" (taken then) until the listing ends.
  void Annule(int16_t& annule) override;
  void ToucheF1(int16_t& touche) override;
  void ToucheF2(int16_t& touche) override;
  void ToucheF3(int16_t& touche) override;
  void ToucheF4(int16_t& touche) override;
  void ToucheF5(int16_t& touche) override;
  void ToucheF6(int16_t& touche) override;
  void ToucheF7(int16_t& touche) override;
  void ToucheEchap(int16_t& touche) override;
  // A fixed date (given at construction) so that transcripts do not change from day to day.
  void DateDefaut(std::string& date) override { date = date_; }
  void TitreEdition(std::string_view titre) override;
  void FinTitreEdition() override;

 private:
  std::shared_ptr<Session> session_;
  std::string nom_application_;
  std::string date_;
};

class SrvChoixScript : public SrvChoix {
 public:
  explicit SrvChoixScript(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  void Choix(std::string_view colonnes, std::string_view titre, std::string_view liste,
             bool& choisi, std::string& element) override;
  void ChoixMultiple(std::string_view colonnes, std::string_view titre, std::string_view liste,
                     bool& choisi, std::string& elements) override;

 private:
  std::vector<int> Prend(std::string_view operation, std::string_view colonnes,
                         std::string_view titre, size_t nombre, bool multiple);

  std::shared_ptr<Session> session_;
};

class SrvMessageScript : public SrvMessage {
 public:
  explicit SrvMessageScript(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  void Affiche(std::string_view message, std::string_view titre) override;
  // Notes the title and the line count in the transcript; no answer is taken.
  void Visionne(std::string_view texte, std::string_view titre) override;

 private:
  std::shared_ptr<Session> session_;
};

}  // namespace vesk::script

#endif  // VESK_SRV_SCRIPT_SRV_SCRIPT_IMPL_H_
