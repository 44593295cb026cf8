// The dictionary's records and definition files written from a complete model, in one batch.
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/lot.h"
#include "fic/dictionnaire_texte.h"
#include "fic/table_champs.h"

namespace vesk::fic {

namespace {

// The keys and record numbers of every record of a dictionary file.
std::vector<std::pair<std::string, int32_t>> Cles(Session& s, int16_t arbre, int16_t fichier) {
  std::vector<std::pair<std::string, int32_t>> cles;
  ParcourtCles(s, {fichier, arbre},
               [&](const std::string& cle, int32_t e) { cles.emplace_back(cle, e); });
  return cles;
}

// Removes every record of the four indexed files, with the field lines of each Fic record.
void VideDictionnaire(Session& etat) {
  for (const auto& [cle, e] : Cles(etat, etat.fic_arbre, etat.fic_fichier)) {
    etat.Donnee().LireEnr(etat.fic_fichier, e);
    etat.Chainage().SupprimeLignes(etat.lfic_fichier);
    etat.BArbre().Supprime(etat.fic_arbre, cle, e, etat.fic_fichier);
  }
  const std::pair<int16_t, int16_t> autres[] = {{etat.dom_arbre, etat.dom_fichier},
                                                {etat.ba_arbre, etat.ba_fichier},
                                                {etat.chain_arbre, etat.chain_fichier}};
  for (const auto& [arbre, fichier] : autres) {
    for (const auto& [cle, e] : Cles(etat, arbre, fichier))
      etat.BArbre().Supprime(arbre, cle, e, fichier);
  }
}

void EcritDefinitions(Session& s, const ModeleDictionnaire& m) {
  for (const auto& [code, d] : m.domaines) {
    const std::string nom = d.fichier + ".DOM";
    if (d.definition) {
      s.Donnee().EcritTexte(nom, *d.definition);
    } else {
      s.Donnee().SupprimeTexte(nom);
    }
  }
}

void Insere(Session& s, Enregistrement& e, int16_t arbre, int16_t fichier) {
  int32_t no = 0;
  s.BArbre().Insere(arbre, e[0], fichier, no);
}

void EcritFichier(Session& etat, const std::string& nom, const Fichier& f) {
  etat.fic.Efface();
  etat.fic.Affecte(kNomFic, nom);
  etat.fic.Affecte(kDfe, f.entreprise ? "O" : "N");
  etat.fic.Affecte(kLongEnr, std::to_string(f.Longueur()));
  Insere(etat, etat.fic, etat.fic_arbre, etat.fic_fichier);
  TableChamps::De(etat, f).Sauve();
}

void EcritBArbre(Session& etat, const std::string& nom, const BArbre& b) {
  etat.ba.Efface();
  etat.ba.Affecte(kNomT, nom);
  etat.ba.Affecte(kNomD, b.fichier);
  etat.ba.Affecte(kNatT, b.nature);
  etat.ba.Affecte(kLongCle, std::to_string(b.longueur));
  etat.ba.Affecte(kLCle, b.cle);
  Insere(etat, etat.ba, etat.ba_arbre, etat.ba_fichier);
}

void EcritChainage(Session& etat, const std::string& nom, const Chainage& c) {
  const std::string champs[] = {nom,      std::to_string(c.arriere), std::to_string(c.avant),
                                c.entete, std::to_string(c.premier), std::to_string(c.dernier)};
  etat.chain.Efface();
  for (size_t i = 0; i < std::size(champs); ++i) etat.chain.Affecte(i, champs[i]);
  Insere(etat, etat.chain, etat.chain_arbre, etat.chain_fichier);
}

}  // namespace

void RemplaceDictionnaire(Session& etat, const ModeleDictionnaire& m, SuiviProgression* suivi,
                          const PlanMigration* migration, BilanMigration* bilan) {
  SuiviMuet muet;
  SuiviProgression& s = suivi != nullptr ? *suivi : muet;
  int64_t fait = 0;
  auto avance = [&] { s.Avance(++fait); };
  EcritDefinitions(etat, m);
  LotDictionnaire lot(etat);
  VideDictionnaire(etat);
  s.Debut("Import du dictionnaire", static_cast<int64_t>(m.domaines.size() + m.fichiers.size() +
                                                         m.barbres.size() + m.chainages.size()));
  for (const auto& [code, d] : m.domaines) {
    etat.dom.Efface();
    etat.dom.Affecte(kCoDom, code);
    etat.dom.Affecte(kNomDom, d.nom);
    etat.dom.Affecte(kFdd, d.fichier);
    Insere(etat, etat.dom, etat.dom_arbre, etat.dom_fichier);
    avance();
  }
  for (const auto& [nom, f] : m.fichiers) {
    EcritFichier(etat, nom, f);
    avance();
  }
  for (const auto& [nom, b] : m.barbres) {
    EcritBArbre(etat, nom, b);
    avance();
  }
  for (const auto& [nom, c] : m.chainages) {
    EcritChainage(etat, nom, c);
    avance();
  }
  s.Fin();
  if (migration == nullptr) {
    lot.Valide();
    return;
  }
  lot.Migre(*migration, s, *bilan);
}

}  // namespace vesk::fic
