#include "fic/dictionnaire_texte.h"

#include "fic/lecture_dictionnaire.h"

namespace vesk::fic {

std::string ExporteDictionnaire(Session& s) {
  ModeleDictionnaire m = LitDictionnaire(s);
  LitDefinitions(s, m);
  return EcritToml(m);
}

BilanImport ImporteDictionnaire(Session& s, std::string_view texte, std::string_view nom,
                                bool essai, SuiviProgression* suivi) {
  ModeleDictionnaire m = LitToml(texte, nom);
  const std::vector<std::string> fautes = ControleModele(s, m, nom);
  if (!fautes.empty()) RefuseTexte(nom, fautes);
  Complete(s, m);
  if (!essai) RemplaceDictionnaire(s, m, suivi);
  BilanImport bilan;
  bilan.domaines = m.domaines.size();
  bilan.fichiers = m.fichiers.size();
  for (const auto& [n, f] : m.fichiers) bilan.rubriques += f.rubriques.size();
  bilan.barbres = m.barbres.size();
  bilan.chainages = m.chainages.size();
  return bilan;
}

}  // namespace vesk::fic
