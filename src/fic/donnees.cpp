#include "fic/donnees.h"

#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"

namespace vesk::fic {

ValeursEnregistrement LitEnregistrement(const DispositionFichier& d, std::string_view octets) {
  ValeursEnregistrement valeurs;
  valeurs.reserve(d.champs.size());
  for (const ChampDonnee& c : d.champs) {
    const size_t debut = std::min(static_cast<size_t>(c.debut), octets.size());
    valeurs.push_back(LitValeur(c.codage, octets.substr(debut, static_cast<size_t>(c.codage.longueur))));
  }
  return valeurs;
}

void ParcourtDonnees(Session& s, const DispositionFichier& d,
                     const std::function<void(int32_t no, const ValeursEnregistrement&)>& visite) {
  bool existe = false;
  s.Donnee().ExisteDonnee(d.entreprise, d.nom, existe);
  if (!existe) {
    throw ErreurService("Données", d.nom,
                        d.entreprise ? "pas de fichier de données dans le dossier de l'entreprise"
                                     : "pas de fichier de données");
  }
  int16_t h = 0;
  s.Donnee().Donnee(d.entreprise, d.nom, static_cast<int16_t>(d.longueur), h, nullptr, "", "", "L",
                    false);
  std::string octets;
  s.Donnee().ParcourtEnregistrements(h, [&](int32_t no, std::string_view texte) {
    octets = text::EncodeCp1252OrThrow(texte, "Données", d.nom);
    visite(no, LitEnregistrement(d, octets));
    return true;
  });
}

}  // namespace vesk::fic
