#include "fic/dictionnaire_texte.h"

#include "core/etat_module.h"
#include "fic/plan_migration.h"
#include "srv/erreur_service.h"

namespace vesk::fic {

std::string ExporteDictionnaire() { return EcritToml(LitDictionnaire()); }

namespace {

// The import's migration: none when no file with records changes; otherwise refused unless
// asked for (then its plan); with essai, the plan only.
void PrepareMigration(const ModeleDictionnaire& m, std::string_view nom, const OptionsImport& o,
                      SuiviProgression* suivi, PlanDictionnaire* p, BilanImport* bilan) {
  *p = PlanifieMigration(LitDictionnaire(), m, o.tronque);
  if (p->plan.fichiers.empty()) return;
  SuiviMuet muet;
  BilanMigration essai;
  p->plan.essai = true;
  Etat().Donnee().Migre(p->plan, suivi != nullptr ? *suivi : muet, essai);
  p->plan.essai = false;
  if (!DonneesTouchees(*p, essai)) {
    p->plan.fichiers.clear();
    return;
  }
  bilan->plan = TextePlan(*p, essai);
  if (!o.migre) {
    throw ErreurService("import", nom,
                        "la disposition de fichiers qui ont des données change : " +
                            FichiersTouches(*p, essai) +
                            " ; --migrate convertit leurs données (--dry-run --migrate montre le "
                            "plan)");
  }
  if (MigrationRefusee(*p, essai)) {
    throw ErreurService("import", nom, "migration refusée, rien n'est écrit :\n" + bilan->plan);
  }
}

}  // namespace

BilanImport ImporteDictionnaire(std::string_view texte, std::string_view nom,
                                const OptionsImport& o, SuiviProgression* suivi) {
  const ModeleDictionnaire m = LitToml(texte, nom);
  const std::vector<std::string> fautes = ControleModele(m, nom);
  if (!fautes.empty()) RefuseTexte(nom, fautes);
  BilanImport bilan;
  PlanDictionnaire p;
  PrepareMigration(m, nom, o, suivi, &p, &bilan);
  if (!o.essai) {
    BilanMigration migration;
    RemplaceDictionnaire(m, suivi, p.plan.fichiers.empty() ? nullptr : &p.plan, &migration);
    if (!migration.refus.empty()) {
      throw ErreurService("import", nom, "migration refusée, rien n'est écrit : " + migration.refus);
    }
    bilan.sauvegarde = migration.sauvegarde;
  }
  bilan.domaines = m.domaines.size();
  bilan.fichiers = m.fichiers.size();
  for (const auto& [n, f] : m.fichiers) bilan.rubriques += f.rubriques.size();
  bilan.barbres = m.barbres.size();
  bilan.chainages = m.chainages.size();
  return bilan;
}

}  // namespace vesk::fic
