#include "fic/disposition_fichier.h"

#include "fic/dictionnaire_texte.h"
#include "fic/rubrique.h"
#include "srv/erreur_service.h"

namespace vesk::fic {

const ChampDonnee* DispositionFichier::Champ(std::string_view variable) const {
  for (const ChampDonnee& c : champs) {
    if (c.variable == variable) return &c;
  }
  return nullptr;
}

DispositionFichier Disposition(const ModeleDictionnaire& m, const std::string& nom) {
  const auto it = m.fichiers.find(nom);
  if (it == m.fichiers.end()) {
    throw ErreurService("Disposition", nom, "fichier inconnu du dictionnaire");
  }
  const TableChamps table = ConstruitChamps(it->second);
  DispositionFichier d;
  d.nom = nom;
  d.entreprise = it->second.entreprise;
  d.longueur = static_cast<int32_t>(
      it->second.longueur.value_or(LongueurProposee(std::max(1, table.LongueurReelle()))));
  const std::vector<int32_t> debuts = table.Debuts();
  for (int32_t i = 1; i <= table.Nombre(); ++i) {
    ChampDonnee c;
    c.variable = std::string(table.Texte(i, kColVariable));
    c.nom = std::string(table.Texte(i, kColNom));
    c.domaine = std::string(table.Texte(i, kColDomaine));
    const std::string_view type = table.Texte(i, kColType);
    const std::string_view format = table.Texte(i, kColFormat);
    c.codage = {type.empty() ? ' ' : type[0], table.Total(i), table.Decimales(i),
                format.empty() ? 'A' : format[0], table.LongueurInterne(i)};
    c.debut = debuts[static_cast<size_t>(i - 1)] - 1;
    d.champs.push_back(std::move(c));
  }
  return d;
}

}  // namespace vesk::fic
