#include "fic/etape_migration.h"

#include "core/cycle_saisie.h"
#include "fic/boite_ecran.h"
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
                                const ModeleDictionnaire& nouveau, const std::string& nom) {
  MigrationEcran m;
  SuiviMuet muet;
  BilanMigration essai;
  if (!EssaieMigration(s, ancien, nouveau, false, muet, m.plan, essai)) return m;
  const bool refusee = MigrationRefusee(m.plan, essai);
  const std::string texte = TexteBoite(Lignes(TextePlan(m.plan, essai, 1)),
                                       " : vesk import --dry-run --migrate", refusee);
  s.Message().Affiche(
      texte, refusee ? "Migration refusée : " + nom : "Données de " + nom + " à convertir");
  if (refusee) {
    m.ecrit = false;
    m.message = "Spécification de " + nom + " inchangée : migration refusée";
  } else if (!Confirmation(s, "B")) {
    m.ecrit = false;
    m.message = "Spécification de " + nom + " inchangée : ses données ne sont pas converties";
  }
  return m;
}

std::string TermineLot(LotDictionnaire& lot, const MigrationEcran& m, const std::string& nom) {
  if (m.plan.plan.fichiers.empty()) {
    lot.Valide();
    return "";
  }
  SuiviMuet muet;
  BilanMigration bilan;
  lot.Migre(m.plan.plan, muet, bilan);
  if (!bilan.refus.empty()) {
    return "Spécification de " + nom + " inchangée : migration refusée (" + bilan.refus + ")";
  }
  return nom + " écrit, données converties ; avant : " + bilan.sauvegarde;
}

}  // namespace vesk::fic
