// The dictionary's records and definition files, read into the model and written from it.
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "core/lot.h"
#include "fic/controles.h"
#include "fic/dictionnaire_texte.h"
#include "fic/rubrique.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

std::string Champ(const Enregistrement& e, size_t i) { return std::string(text::TrimRight(e[i])); }

std::vector<std::string> LignesDefinition(const std::string& fdd) {
  SrvDonnee& d = Etat().Donnee();
  int16_t h = 0;
  d.OuvLect(fdd + ".DOM", h);
  std::vector<std::string> lignes;
  bool fin = false;
  for (d.FinFich(h, fin); !fin; d.FinFich(h, fin)) {
    lignes.emplace_back();
    d.LireLigne(h, lignes.back());
  }
  d.FermeLect(h);
  return lignes;
}

DomaineTexte LitDomaine() {
  Session& etat = Etat();
  DomaineTexte d;
  d.nom = Champ(etat.dom, kNomDom);
  d.fichier = Champ(etat.dom, kFdd);
  bool existe = false;
  if (!d.fichier.empty()) etat.Donnee().Existe(d.fichier + ".DOM", existe);
  if (existe) d.definition = LignesDefinition(d.fichier);
  return d;
}

RubriqueTexte LitRubrique(const TableChamps& t, int32_t i) {
  RubriqueTexte r;
  r.nom = std::string(t.Texte(i, kColNom));
  r.type = std::string(t.Texte(i, kColType));
  r.total = t.Total(i);
  const char type = r.type.empty() ? ' ' : r.type[0];
  if (type == 'M' || type == 'N') r.decimales = t.Decimales(i);
  r.variable = std::string(t.Texte(i, kColVariable));
  r.exemple = std::string(t.Texte(i, kColExemple));
  r.modification = std::string(t.Texte(i, kColModification));
  r.domaine = std::string(t.Texte(i, kColDomaine));
  if (FormatDemande(type, t.Total(i), t.Decimales(i))) {
    r.format = std::string(t.Texte(i, kColFormat));
  }
  return r;
}

FichierTexte LitFichier() {
  Session& etat = Etat();
  FichierTexte f;
  f.entreprise = etat.fic[kDfe] == "O";
  f.longueur = ValeurNumerique(Champ(etat.fic, kLongEnr));
  TableChamps table;
  table.Charge();
  for (int32_t i = 1; i <= table.Nombre(); ++i) f.rubriques.push_back(LitRubrique(table, i));
  return f;
}

// The keys and record numbers of every record of a dictionary file.
std::vector<std::pair<std::string, int32_t>> Cles(int16_t arbre, int16_t fichier) {
  std::vector<std::pair<std::string, int32_t>> cles;
  ParcourtCles({fichier, arbre},
               [&](const std::string& cle, int32_t e) { cles.emplace_back(cle, e); });
  return cles;
}

// Removes every record of the four indexed files, with the field lines of each Fic record.
void VideDictionnaire() {
  Session& etat = Etat();
  for (const auto& [cle, e] : Cles(etat.fic_arbre, etat.fic_fichier)) {
    etat.Donnee().LireEnr(etat.fic_fichier, e);
    etat.Chainage().SupprimeLignes(etat.lfic_fichier);
    etat.BArbre().Supprime(etat.fic_arbre, cle, e, etat.fic_fichier);
  }
  const std::pair<int16_t, int16_t> autres[] = {{etat.dom_arbre, etat.dom_fichier},
                                                {etat.ba_arbre, etat.ba_fichier},
                                                {etat.chain_arbre, etat.chain_fichier}};
  for (const auto& [arbre, fichier] : autres) {
    for (const auto& [cle, e] : Cles(arbre, fichier))
      etat.BArbre().Supprime(arbre, cle, e, fichier);
  }
}

void EcritDefinitions(const ModeleDictionnaire& m) {
  for (const auto& [code, d] : m.domaines) {
    const std::string nom = d.fichier + ".DOM";
    if (d.definition) {
      Etat().Donnee().EcritTexte(nom, *d.definition);
    } else {
      Etat().Donnee().SupprimeTexte(nom);
    }
  }
}

void Insere(Enregistrement& e, int16_t arbre, int16_t fichier) {
  int32_t no = 0;
  Etat().BArbre().Insere(arbre, e[0], fichier, no);
}

void EcritFichier(const std::string& nom, const FichierTexte& f) {
  Session& etat = Etat();
  const TableChamps table = ConstruitChamps(f);
  etat.fic.Efface();
  etat.fic.Affecte(kNomFic, nom);
  etat.fic.Affecte(kDfe, f.entreprise ? "O" : "N");
  const int64_t longueur = f.longueur ? *f.longueur : LongueurProposee(table.LongueurReelle());
  etat.fic.Affecte(kLongEnr, std::to_string(longueur));
  Insere(etat.fic, etat.fic_arbre, etat.fic_fichier);
  table.Sauve();
}

void EcritBArbre(const std::string& nom, const BArbreTexte& b, const ModeleDictionnaire& m) {
  Session& etat = Etat();
  const ResultatCle cle = ControleListeCle(b.cle, ConstruitChamps(m.fichiers.at(b.fichier)));
  etat.ba.Efface();
  etat.ba.Affecte(kNomT, nom);
  etat.ba.Affecte(kNomD, b.fichier);
  etat.ba.Affecte(kNatT, b.nature);
  etat.ba.Affecte(kLongCle, std::to_string(cle.longueur));
  etat.ba.Affecte(kLCle, b.cle);
  Insere(etat.ba, etat.ba_arbre, etat.ba_fichier);
}

void EcritChainage(const std::string& nom, const ChainageTexte& c) {
  Session& etat = Etat();
  const std::string champs[] = {nom,      std::to_string(c.arriere), std::to_string(c.avant),
                                c.entete, std::to_string(c.premier), std::to_string(c.dernier)};
  etat.chain.Efface();
  for (size_t i = 0; i < std::size(champs); ++i) etat.chain.Affecte(i, champs[i]);
  Insere(etat.chain, etat.chain_arbre, etat.chain_fichier);
}

}  // namespace

void RemplaceDictionnaire(const ModeleDictionnaire& m, SuiviProgression* suivi,
                          const PlanMigration* migration, BilanMigration* bilan) {
  Session& etat = Etat();
  SuiviMuet muet;
  SuiviProgression& s = suivi != nullptr ? *suivi : muet;
  int64_t fait = 0;
  auto avance = [&] { s.Avance(++fait); };
  EcritDefinitions(m);
  LotDictionnaire lot;
  VideDictionnaire();
  s.Debut("Import du dictionnaire", static_cast<int64_t>(m.domaines.size() + m.fichiers.size() +
                                                         m.barbres.size() + m.chainages.size()));
  for (const auto& [code, d] : m.domaines) {
    etat.dom.Efface();
    etat.dom.Affecte(kCoDom, code);
    etat.dom.Affecte(kNomDom, d.nom);
    etat.dom.Affecte(kFdd, d.fichier);
    Insere(etat.dom, etat.dom_arbre, etat.dom_fichier);
    avance();
  }
  for (const auto& [nom, f] : m.fichiers) {
    EcritFichier(nom, f);
    avance();
  }
  for (const auto& [nom, b] : m.barbres) {
    EcritBArbre(nom, b, m);
    avance();
  }
  for (const auto& [nom, c] : m.chainages) {
    EcritChainage(nom, c);
    avance();
  }
  s.Fin();
  if (migration == nullptr) {
    lot.Valide();
    return;
  }
  lot.Migre(*migration, s, *bilan);
}

ModeleDictionnaire LitDictionnaire() {
  Session& etat = Etat();
  ModeleDictionnaire m;
  using Cle = const std::string&;
  ParcourtCles({etat.dom_fichier, etat.dom_arbre},
               [&](Cle, int32_t) { m.domaines[Champ(etat.dom, kCoDom)] = LitDomaine(); });
  ParcourtCles({etat.fic_fichier, etat.fic_arbre},
               [&](Cle, int32_t) { m.fichiers[Champ(etat.fic, kNomFic)] = LitFichier(); });
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](Cle, int32_t) {
    m.barbres[Champ(etat.ba, kNomT)] = {Champ(etat.ba, kNomD), Champ(etat.ba, kNatT),
                                        Champ(etat.ba, kLCle), 0};
  });
  ParcourtCles({etat.chain_fichier, etat.chain_arbre}, [&](Cle, int32_t) {
    m.chainages[Champ(etat.chain, kChainL)] = {Champ(etat.chain, kChainE),
                                               ValeurNumerique(Champ(etat.chain, kPnea)),
                                               ValeurNumerique(Champ(etat.chain, kPnes)),
                                               ValeurNumerique(Champ(etat.chain, kPpe)),
                                               ValeurNumerique(Champ(etat.chain, kPde)),
                                               0};
  });
  return m;
}

}  // namespace vesk::fic
