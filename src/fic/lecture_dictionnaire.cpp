// The dictionary's records and definition files, read into the model and written from it.
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/dictionnaire.h"
#include "core/etat_module.h"
#include "core/lot.h"
#include "fic/controles.h"
#include "fic/dictionnaire_texte.h"
#include "fic/rubrique.h"
#include "srv/erreur_service.h"
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

// Walks the tree of a dictionary file and calls lit with each record in the current fields,
// checking that the tree indexes the file whole: each key is its record's key field, each
// record is reached once, and as many as the file has live records. A leaf that lost an entry,
// or a record whose key field was damaged, would otherwise give a dictionary with a piece
// missing (a table without its file) or a name no screen accepts.
void ParcourtEntier(const FichierCle& f, const Enregistrement& champs,
                    const FichierDictionnaire& quoi, const std::function<void()>& lit) {
  const std::string arbre = text::UpperAscii(quoi.nom) + ".DAB";
  const std::string donnees = text::UpperAscii(quoi.nom) + ".DAT";
  // A key that is not its record's names the data file: which of the two is damaged cannot be
  // told, and rebuilding the tree would only copy the record's key.
  auto endommage = [&](const std::string& pourquoi, const std::string& objet) {
    throw ErreurService("Lecture du dictionnaire", objet,
                        pourquoi + " : le dictionnaire est endommagé", true);
  };
  std::set<int32_t> vus;
  ParcourtCles(f, [&](const std::string& cle, int32_t e) {
    if (text::TrimRight(cle) != text::TrimRight(champs[0])) {
      endommage("la clé « " + std::string(text::TrimRight(cle)) + " » renvoie à l'enregistrement " +
                    std::to_string(e) + " de " + donnees + ", dont la clé est « " +
                    std::string(text::TrimRight(champs[0])) + " »",
                donnees);
    }
    if (!vus.insert(e).second) {
      endommage("deux clés renvoient à l'enregistrement " + std::to_string(e) + " de " + donnees,
                arbre);
    }
    lit();
  });
  int64_t cles = 0;
  int32_t vivants = 0;
  Etat().BArbre().Comptes(f.arbre, f.fichier, cles, vivants);
  if (static_cast<int64_t>(vus.size()) != vivants) {
    endommage(std::to_string(vus.size()) + " clé(s) parcourue(s) pour " + std::to_string(vivants) +
                  " enregistrement(s) en service dans " + donnees,
              arbre);
  }
}

}  // namespace

void RemplaceDictionnaire(const ModeleDictionnaire& m, SuiviProgression* suivi) {
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
  lot.Valide();
}

ModeleDictionnaire LitDictionnaire() {
  Session& etat = Etat();
  ModeleDictionnaire m;
  ParcourtEntier({etat.dom_fichier, etat.dom_arbre}, etat.dom, kDom,
                 [&] { m.domaines[Champ(etat.dom, kCoDom)] = LitDomaine(); });
  ParcourtEntier({etat.fic_fichier, etat.fic_arbre}, etat.fic, kFic,
                 [&] { m.fichiers[Champ(etat.fic, kNomFic)] = LitFichier(); });
  ParcourtEntier({etat.ba_fichier, etat.ba_arbre}, etat.ba, kBa, [&] {
    m.barbres[Champ(etat.ba, kNomT)] = {Champ(etat.ba, kNomD), Champ(etat.ba, kNatT),
                                        Champ(etat.ba, kLCle), 0};
  });
  ParcourtEntier({etat.chain_fichier, etat.chain_arbre}, etat.chain, kChain, [&] {
    m.chainages[Champ(etat.chain, kChainL)] = {Champ(etat.chain, kChainE),
                                               ValeurNumerique(Champ(etat.chain, kPnea)),
                                               ValeurNumerique(Champ(etat.chain, kPnes)),
                                               ValeurNumerique(Champ(etat.chain, kPpe)),
                                               ValeurNumerique(Champ(etat.chain, kPde)),
                                               0};
  });
  return m;
}

namespace {

// Searches a record by its key, padded with spaces to the key's width; true when found (the
// record is then current).
bool Cherche(int16_t arbre, int16_t fichier, std::string_view nom, size_t largeur) {
  std::string cle(nom);
  if (text::CountChars(cle) > largeur) return false;
  cle.append(largeur - text::CountChars(cle), ' ');
  bool trouve = false;
  Etat().BArbre().Recherche(arbre, cle, fichier, trouve);
  return trouve;
}

constexpr size_t kLargeurCleFic = 6, kLargeurCleDom = 20;

}  // namespace

std::optional<ModeleDictionnaire> LitPartiesFichier(std::string_view nom) {
  Session& etat = Etat();
  if (!Cherche(etat.fic_arbre, etat.fic_fichier, nom, kLargeurCleFic)) return std::nullopt;
  ModeleDictionnaire m;
  const std::string fichier = Champ(etat.fic, kNomFic);
  m.fichiers[fichier] = LitFichier();
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    if (Champ(etat.ba, kNomD) != fichier) return;
    m.barbres[Champ(etat.ba, kNomT)] = {Champ(etat.ba, kNomD), Champ(etat.ba, kNatT),
                                        Champ(etat.ba, kLCle), 0};
  });
  ParcourtCles({etat.chain_fichier, etat.chain_arbre}, [&](const std::string&, int32_t) {
    const std::string ligne = Champ(etat.chain, kChainL), entete = Champ(etat.chain, kChainE);
    if (ligne != fichier && entete != fichier) return;
    m.chainages[ligne] = {entete,
                          ValeurNumerique(Champ(etat.chain, kPnea)),
                          ValeurNumerique(Champ(etat.chain, kPnes)),
                          ValeurNumerique(Champ(etat.chain, kPpe)),
                          ValeurNumerique(Champ(etat.chain, kPde)),
                          0};
  });
  const std::map<std::string, ChainageTexte> chainages = m.chainages;
  for (const auto& [ligne, c] : chainages) {
    for (const std::string& autre : {ligne, c.entete}) {
      if (m.fichiers.contains(autre)) continue;
      if (!Cherche(etat.fic_arbre, etat.fic_fichier, autre, kLargeurCleFic)) continue;
      m.fichiers[autre] = {
          etat.fic[kDfe] == "O", ValeurNumerique(Champ(etat.fic, kLongEnr)), {}, 0};
    }
  }
  for (const RubriqueTexte& r : m.fichiers.at(fichier).rubriques) {
    const std::string code = r.domaine.value_or("");
    if (code.empty() || m.domaines.contains(code)) continue;
    if (!Cherche(etat.dom_arbre, etat.dom_fichier, code, kLargeurCleDom)) continue;
    m.domaines[code] = {Champ(etat.dom, kNomDom), Champ(etat.dom, kFdd), std::nullopt, 0};
  }
  return m;
}

std::vector<std::string> TablesDuFichier(std::string_view nom) {
  Session& etat = Etat();
  std::vector<std::string> tables;
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    if (Champ(etat.ba, kNomD) == nom) tables.push_back(Champ(etat.ba, kNomT));
  });
  return tables;
}

ModeleDictionnaire PartiesFichier(const ModeleDictionnaire& m, std::string_view nom) {
  ModeleDictionnaire p;
  const auto f = m.fichiers.find(std::string(nom));
  if (f == m.fichiers.end()) return p;
  p.fichiers.insert(*f);
  for (const auto& [table, b] : m.barbres) {
    if (b.fichier == nom) p.barbres.emplace(table, b);
  }
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne != nom && c.entete != nom) continue;
    p.chainages.emplace(ligne, c);
    for (const std::string& autre : {ligne, c.entete}) {
      const auto a = m.fichiers.find(autre);
      if (a == m.fichiers.end() || p.fichiers.contains(autre)) continue;
      p.fichiers[autre] = {a->second.entreprise, a->second.longueur, {}, 0};
    }
  }
  for (const RubriqueTexte& r : f->second.rubriques) {
    const auto d = m.domaines.find(r.domaine.value_or(""));
    if (d == m.domaines.end()) continue;
    p.domaines[d->first] = {d->second.nom, d->second.fichier, std::nullopt, 0};
  }
  return p;
}

}  // namespace vesk::fic
