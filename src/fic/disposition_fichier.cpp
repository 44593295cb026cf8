#include "fic/disposition_fichier.h"

#include "fic/donnees.h"
#include "srv/erreur_service.h"

namespace vesk::fic {

const ChampDonnee* DispositionFichier::Champ(std::string_view variable) const {
  for (const ChampDonnee& c : champs) {
    if (c.variable == variable) return &c;
  }
  return nullptr;
}

DispositionFichier Disposition(const ModeleDictionnaire& m, const std::string& nom) {
  const Fichier* f = m.ChercheFichier(nom);
  if (f == nullptr) throw ErreurService("Disposition", nom, "fichier inconnu du dictionnaire");
  DispositionFichier d;
  d.nom = nom;
  d.entreprise = f->entreprise;
  d.longueur = f->Longueur();
  for (const Rubrique& r : f->rubriques) {
    d.champs.push_back({r.variable, r.nom, r.domaine.value_or(""), Codage(r), r.position - 1});
  }
  return d;
}

}  // namespace vesk::fic
