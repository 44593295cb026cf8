#include "fic/etape_migration.h"

#include <algorithm>

#include "fic/boite_ecran.h"
#include "fic/lecture_dictionnaire.h"
#include "srv/srv_donnee.h"
#include "srv/srv_message.h"
#include "srv/suivi_progression.h"

namespace vesk::fic {

namespace {

std::vector<std::string> Lignes(const std::string& texte) {
  std::vector<std::string> lignes;
  for (size_t debut = 0; debut < texte.size();) {
    const size_t fin = texte.find('\n', debut);
    lignes.push_back(texte.substr(debut, fin - debut));
    if (fin == std::string::npos) break;
    debut = fin + 1;
  }
  return lignes;
}

// A migration's progress on line "B" of the screen, every kPas units of a phase (« Migration
// 01/CLIENT.DAT : 20000 / 1000000 »), the line cleared at the phase's end. A small file shows
// nothing; the screen is not touched otherwise.
class SuiviEcran final : public SuiviProgression {
 public:
  explicit SuiviEcran(Session& s) : s_(s) {}
  void Debut(std::string_view libelle, int64_t total) override {
    libelle_ = libelle;
    total_ = total;
    montre_ = 0;
  }
  void Avance(int64_t fait) override {
    if (fait - montre_ < kPas) return;
    montre_ = fait;
    s_.Saisie().Message("B", libelle_ + " : " + std::to_string(fait) + " / " +
                                 std::to_string(std::max(fait, total_)));
  }
  void Fin() override {
    if (montre_ != 0) s_.Saisie().Message("B", "");
    montre_ = 0;
  }

 private:
  static constexpr int64_t kPas = 10000;
  Session& s_;
  std::string libelle_;
  int64_t total_ = 0, montre_ = 0;
};

}  // namespace

bool EssaieMigration(Session& s, const ModeleDictionnaire& ancien,
                     const ModeleDictionnaire& nouveau, bool tronque, SuiviProgression& suivi,
                     PlanDictionnaire& plan, BilanMigration& essai) {
  plan = PlanifieMigration(ancien, nouveau, tronque);
  if (plan.plan.fichiers.empty()) return false;
  plan.plan.essai = true;
  s.Donnee().Migre(plan.plan, suivi, essai);
  plan.plan.essai = false;
  if (DonneesTouchees(plan, essai)) return true;
  plan.plan.fichiers.clear();
  return false;
}

MigrationEcran DemandeMigration(Session& s, const ModeleDictionnaire& ancien,
                                const ModeleDictionnaire& nouveau, const SujetMigration& sujet) {
  MigrationEcran m;
  SuiviEcran suivi(s);
  BilanMigration essai;
  if (!EssaieMigration(s, ancien, nouveau, false, suivi, m.plan, essai)) return m;
  const bool refusee = MigrationRefusee(m.plan, essai);
  const std::string texte = TexteBoite(Lignes(TextePlan(m.plan, essai, 1)),
                                       " : vesk import --dry-run --migrate", refusee);
  s.Message().Affiche(texte, refusee ? "Migration refusée : " + sujet.fichier
                                     : "Données de " + sujet.fichier + " à convertir");
  if (refusee) {
    m.ecrit = false;
    m.message = sujet.inchange + " : migration refusée";
  } else if (!Confirmation(s, "B")) {
    m.ecrit = false;
    m.message = sujet.inchange + " : ses données ne sont pas converties";
  }
  return m;
}

std::string TermineLot(Session& s, LotDictionnaire& lot, const MigrationEcran& m,
                       const SujetMigration& sujet) {
  if (m.plan.plan.fichiers.empty()) {
    lot.Valide();
    return "";
  }
  SuiviEcran suivi(s);
  BilanMigration bilan;
  lot.Migre(m.plan.plan, suivi, bilan);
  if (!bilan.refus.empty()) return sujet.inchange + " : migration refusée (" + bilan.refus + ")";
  return sujet.ecrit + " écrit, données converties ; avant : " + bilan.sauvegarde;
}

std::string EcritSelonDonnees(Session& s, const FichierCle& f, int32_t e,
                              const std::function<void()>& supprime,
                              const std::function<std::string()>& remplit,
                              const std::function<void(ModeleDictionnaire&)>& modifie,
                              const SujetMigration& sujet) {
  const ModeleDictionnaire ancien = LitDictionnaire(s);
  ModeleDictionnaire nouveau = ancien;
  modifie(nouveau);
  const MigrationEcran migration = DemandeMigration(s, ancien, nouveau, sujet);
  if (!migration.ecrit) return migration.message;
  std::string message;
  EcritEnregistrement(s, f, e, supprime, remplit, [&](LotDictionnaire& lot) {
    message = TermineLot(s, lot, migration, sujet);
  });
  return message;
}

}  // namespace vesk::fic
