#include "fic/dictionnaire_texte.h"

#include "fic/lecture_dictionnaire.h"
#include "srv/erreur_service.h"

namespace vesk::fic {

// The text is read back as the import reads it before it is given: a dictionary whose records
// hold what no entry screen accepts (a damaged byte, a NUL in a definition file) is refused
// here, naming each fault, rather than written as a text the import would refuse.
std::string ExporteDictionnaire(Session& s) {
  ModeleDictionnaire m = LitDictionnaire(s);
  LitDefinitions(s, m);
  std::string texte = EcritToml(m);
  constexpr std::string_view kNom = "texte exporté";
  std::vector<std::string> fautes;
  try {
    fautes = ControleModele(s, LitToml(texte, kNom), kNom);
  } catch (const ErreurService& e) {
    fautes = {e.Message()};
  }
  if (fautes.empty()) return texte;
  std::string message = "le dictionnaire est endommagé, son texte serait refusé à l'import :";
  for (const std::string& f : fautes) message += "\n  " + f;
  throw ErreurService("export", "", message, true);
}

BilanImport ImporteDictionnaire(Session& s, std::string_view texte, std::string_view nom,
                                bool essai, SuiviProgression* suivi) {
  ModeleDictionnaire m = LitToml(texte, nom);
  const std::vector<std::string> fautes = ControleModele(s, m, nom);
  if (!fautes.empty()) RefuseTexte(nom, fautes);
  Complete(s, m);
  BilanImport bilan;
  try {
    if (!essai) RemplaceDictionnaire(s, m, suivi);
  } catch (const ErreurApresValidation& e) {
    bilan.ecriture_differee = e.Message();  // the import is made: its commit holds
  }
  bilan.domaines = m.domaines.size();
  bilan.fichiers = m.fichiers.size();
  for (const auto& [n, f] : m.fichiers) bilan.rubriques += f.rubriques.size();
  bilan.barbres = m.barbres.size();
  bilan.chainages = m.chainages.size();
  return bilan;
}

}  // namespace vesk::fic
