#include "fic/lecture_dictionnaire.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "core/arithmetique.h"
#include "core/cycle_saisie.h"
#include "core/dictionnaire.h"
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

// Walks the tree of a dictionary file and calls lit with each record in the current fields,
// checking that the tree indexes the file whole: each key is its record's key field, each
// record is reached once, and as many as the file has live records. A leaf that lost an entry,
// or a record whose key field was damaged, would otherwise give a dictionary with a piece
// missing (a table without its file) or a name no screen accepts.
void ParcourtEntier(Session& s, const FichierCle& f, const Enregistrement& champs,
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
  ParcourtCles(s, f, [&](const std::string& cle, int32_t e) {
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
  s.BArbre().Comptes(f.arbre, f.fichier, cles, vivants);
  if (static_cast<int64_t>(vus.size()) != vivants) {
    endommage(std::to_string(vus.size()) + " clé(s) parcourue(s) pour " + std::to_string(vivants) +
                  " enregistrement(s) en service dans " + donnees,
              arbre);
  }
}

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

namespace {

// The dictionary, with the fields of every file (seul null) or of the file *seul only.
ModeleDictionnaire Lit(Session& s, const std::string* seul) {
  EnregistrementsCourants courants(s);
  ModeleDictionnaire m;
  ParcourtEntier(s, {s.dom_fichier, s.dom_arbre}, s.dom, kDom, [&] {
    m.domaines[Champ(s.dom, kCoDom)] = {Champ(s.dom, kNomDom), Champ(s.dom, kFdd), {}, 0};
  });
  ParcourtEntier(s, {s.fic_fichier, s.fic_arbre}, s.fic, kFic, [&] {
    const std::string nom = Champ(s.fic, kNomFic);
    m.fichiers[nom] = seul == nullptr || text::UpperAscii(nom) == text::UpperAscii(*seul)
                          ? LitFichier(s)
                          : Fichier{s.fic[kDfe] == "O", LongueurEnr(s.fic), {}, 0};
  });
  ParcourtEntier(s, {s.ba_fichier, s.ba_arbre}, s.ba, kBa,
                 [&] { m.barbres[Champ(s.ba, kNomT)] = LitBArbre(s.ba); });
  ParcourtEntier(s, {s.chain_fichier, s.chain_arbre}, s.chain, kChain,
                 [&] { m.chainages[Champ(s.chain, kChainL)] = ChainageDe(s.chain); });
  AnalyseCles(s, m);
  return m;
}

}  // namespace

ModeleDictionnaire LitDictionnaire(Session& s) { return Lit(s, nullptr); }

ModeleDictionnaire LitDictionnairePour(Session& s, std::string_view nom) {
  const std::string seul(nom);
  return Lit(s, &seul);
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
