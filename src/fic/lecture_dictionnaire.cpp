#include "fic/lecture_dictionnaire.h"

#include <string>
#include <vector>

#include "core/arithmetique.h"
#include "core/cycle_saisie.h"
#include "fic/controles.h"
#include "fic/rubrique.h"
#include "fic/table_champs.h"
#include "srv/erreur_service.h"
#include "srv/srv_donnee.h"
#include "srv/text/utf8.h"

namespace vesk::fic {

namespace {

std::string Champ(const Enregistrement& e, size_t i) { return std::string(text::TrimRight(e[i])); }

std::vector<std::string> LignesDefinition(Session& s, const std::string& fdd) {
  SrvDonnee& d = s.Donnee();
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

// The file of the current Fic record, with its fields from its Lfic chain.
Fichier LitFichier(Session& s) {
  Fichier f;
  f.entreprise = s.fic[kDfe] == "O";
  f.longueur = LongueurEnr(s.fic);
  TableChamps table(s);
  table.Charge();
  f.rubriques = table.Rubriques();
  return f;
}

BArbre LitBArbre(const Enregistrement& ba) {
  BArbre b;
  b.fichier = Champ(ba, kNomD);
  b.nature = Champ(ba, kNatT);
  b.cle = Champ(ba, kLCle);
  b.longueur = ValeurNumerique(ba[kLongCle]);
  return b;
}

// The current record fields of the session, put back after a walk of the dictionary.
struct EnregistrementsCourants {
  explicit EnregistrementsCourants(Session& s)
      : s_(s), fic_(s.fic), lfic_(s.lfic), dom_(s.dom), ba_(s.ba), chain_(s.chain) {}
  ~EnregistrementsCourants() {
    s_.fic = fic_;
    s_.lfic = lfic_;
    s_.dom = dom_;
    s_.ba = ba_;
    s_.chain = chain_;
  }
  EnregistrementsCourants(const EnregistrementsCourants&) = delete;
  EnregistrementsCourants& operator=(const EnregistrementsCourants&) = delete;

 private:
  Session& s_;
  Enregistrement fic_, lfic_, dom_, ba_, chain_;
};

}  // namespace

int32_t LongueurEnr(const Enregistrement& fic) {
  const std::string texte(text::Trim(fic[kLongEnr]));
  int32_t valeur = 0;
  for (char c : texte) {
    if (c < '0' || c > '9') {
      throw ErreurService("Fic", Champ(fic, kNomFic) + ".dat",
                          "longueur d'enregistrement « " + texte +
                              " » illisible : des chiffres décimaux sont attendus");
    }
    valeur = Somme<int32_t>(Produit<int32_t>(valeur, 10), c - '0');
  }
  return valeur;
}

Chainage ChainageDe(const Enregistrement& chain) {
  return {Champ(chain, kChainE),         ValeurNumerique(chain[kPnea]),
          ValeurNumerique(chain[kPnes]), ValeurNumerique(chain[kPpe]),
          ValeurNumerique(chain[kPde]),  0};
}

ModeleDictionnaire LitDictionnaire(Session& s) {
  EnregistrementsCourants courants(s);
  ModeleDictionnaire m;
  using Cle = const std::string&;
  ParcourtCles(s, {s.dom_fichier, s.dom_arbre}, [&](Cle, int32_t) {
    m.domaines[Champ(s.dom, kCoDom)] = {Champ(s.dom, kNomDom), Champ(s.dom, kFdd), {}, 0};
  });
  ParcourtCles(s, {s.fic_fichier, s.fic_arbre},
               [&](Cle, int32_t) { m.fichiers[Champ(s.fic, kNomFic)] = LitFichier(s); });
  ParcourtCles(s, {s.ba_fichier, s.ba_arbre},
               [&](Cle, int32_t) { m.barbres[Champ(s.ba, kNomT)] = LitBArbre(s.ba); });
  ParcourtCles(s, {s.chain_fichier, s.chain_arbre},
               [&](Cle, int32_t) { m.chainages[Champ(s.chain, kChainL)] = ChainageDe(s.chain); });
  AnalyseCles(s, m);
  return m;
}

void LitDefinitions(Session& s, ModeleDictionnaire& m) {
  for (auto& [code, d] : m.domaines) {
    bool existe = false;
    if (!d.fichier.empty()) s.Donnee().Existe(d.fichier + ".DOM", existe);
    if (existe) d.definition = LignesDefinition(s, d.fichier);
  }
}

void CompleteFichier(Session& s, Fichier& f) {
  for (Rubrique& r : f.rubriques) {
    const RegleType& regle = *ChercheType(r.type);
    if (!r.total) r.total = regle.total_fixe;
    const int16_t total = r.Total(), decimales = r.Decimales();
    r.interne = CalculeFormat(regle.type, total, decimales,
                              [&] { return r.format.value_or(std::string(kReponseEntier)); });
    if (!r.exemple) {
      std::string date;  // the screen service's default date, asked only for a date field
      if (regle.type == 'D') s.Ecran().DateDefaut(date);
      r.exemple = ExempleDefaut(regle.type, r.nom, total, decimales, r.interne.format, date);
    }
    if (!r.modification) r.modification = std::string(ModificationDefaut(regle.type));
    if (!r.domaine) r.domaine = DomaineDefaut(regle.type, decimales, r.interne.format);
  }
  PlaceRubriques(f.rubriques);
  // The proposed length, when the text gives none and the fields fit in a record (the checks
  // refuse the others).
  const int32_t reelle = f.LongueurReelle();
  if (!f.longueur && reelle >= 1 && reelle <= kLongueurEnrMax) {
    f.longueur = LongueurProposee(reelle);
  }
}

void AnalyseCles(Session& s, ModeleDictionnaire& m) {
  for (auto& [nom, b] : m.barbres) {
    const Fichier* f = m.ChercheFichier(b.fichier);
    b.analyse = f != nullptr ? ControleListeCle(s, b.cle, f->rubriques) : ResultatCle{};
  }
}

void Complete(Session& s, ModeleDictionnaire& m) {
  for (auto& [nom, f] : m.fichiers) CompleteFichier(s, f);
  AnalyseCles(s, m);
  for (auto& [nom, b] : m.barbres) {
    if (b.analyse.valide) b.longueur = b.analyse.longueur;
  }
}

std::vector<std::string> TablesDuFichier(Session& s, std::string_view nom) {
  std::vector<std::string> tables;
  ParcourtCles(s, {s.ba_fichier, s.ba_arbre}, [&](const std::string&, int32_t) {
    if (Champ(s.ba, kNomD) == nom) tables.push_back(Champ(s.ba, kNomT));
  });
  return tables;
}

}  // namespace vesk::fic
