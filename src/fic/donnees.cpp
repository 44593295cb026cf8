#include "fic/donnees.h"

#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

CodageRubrique Codage(const Rubrique& r) {
  return {r.Type(), r.Total(), r.Decimales(), r.interne.format, r.interne.longueur};
}

ValeursEnregistrement LitEnregistrement(const Fichier& f, std::string_view octets) {
  ValeursEnregistrement valeurs;
  valeurs.reserve(f.rubriques.size());
  for (const Rubrique& r : f.rubriques) {
    const size_t debut = std::min(static_cast<size_t>(r.position - 1), octets.size());
    valeurs.push_back(
        LitValeur(Codage(r), octets.substr(debut, static_cast<size_t>(r.interne.longueur))));
  }
  return valeurs;
}

bool DansDomaine(const ModeleDictionnaire& m, const Rubrique& r, const Valeur& v) {
  if (!r.domaine.has_value()) return true;
  const auto d = m.domaines.find(*r.domaine);
  if (d == m.domaines.end() || !d->second.definition.has_value()) return true;
  for (const std::string& ligne : *d->second.definition) {
    const std::string_view mots = text::Trim(ligne);
    if (mots.substr(0, mots.find(' ')) == v.texte && !v.texte.empty()) return true;
  }
  return false;
}

void ParcourtDonnees(Session& s, const std::string& nom, const Fichier& f,
                     const std::function<void(int32_t no, std::string_view octets)>& visite) {
  bool existe = false;
  s.Donnee().ExisteDonnee(f.entreprise, nom, existe);
  if (!existe) {
    throw ErreurService("Données", nom,
                        f.entreprise ? "pas de fichier de données dans le dossier de l'entreprise"
                                     : "pas de fichier de données");
  }
  int16_t h = 0;
  s.Donnee().Donnee(f.entreprise, nom, static_cast<int16_t>(f.Longueur()), h, nullptr, "", "", "L",
                    false);
  std::string octets;
  s.Donnee().ParcourtEnregistrements(h, [&](int32_t no, std::string_view texte) {
    octets = text::EncodeCp1252OrThrow(texte, "Données", nom);
    visite(no, octets);
    return true;
  });
}

}  // namespace vesk::fic
