#include "fic/dictionnaire_texte.h"

namespace vesk::fic {

std::string ExporteDictionnaire() { return EcritToml(LitDictionnaire()); }

BilanImport ImporteDictionnaire(std::string_view texte, std::string_view nom, bool essai,
                                SuiviProgression* suivi) {
  const ModeleDictionnaire m = LitToml(texte, nom);
  const std::vector<std::string> fautes = ControleModele(m, nom);
  if (!fautes.empty()) RefuseTexte(nom, fautes);
  if (!essai) RemplaceDictionnaire(m, suivi);
  BilanImport bilan;
  bilan.domaines = m.domaines.size();
  bilan.fichiers = m.fichiers.size();
  for (const auto& [n, f] : m.fichiers) bilan.rubriques += f.rubriques.size();
  bilan.barbres = m.barbres.size();
  bilan.chainages = m.chainages.size();
  return bilan;
}

}  // namespace vesk::fic
