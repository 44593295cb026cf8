// The rebuild on a database store, in one transaction holding the store's lock: the plan's
// files read page by page, the chosen file compacted, the chaining pointers renumbered, the
// trees' keys built by the component's builders and checked, then the rewritten tables
// emptied and filled again (COPY). A chaining whose lines would be renumbered is checked
// first, as the verifier checks it. The refusals, their texts and the progress told are the
// folder engine's (srv/isam/rebuild.cpp); readers see the old tables or the new ones.
#include <algorithm>
#include <cstring>
#include <exception>

#include "srv/config/stockage.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/pg/copie_binaire.h"
#include "srv/pg/service_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/pg/verifie_pg.h"

namespace vesk {

using pg::Parametres;

namespace {

constexpr std::string_view kOp = "Reconstruit";
constexpr int kPage = 10000;  // records read at a time

// What the files hold refuses the rebuild: the transaction is rolled back.
struct Refus {
  std::string message;
};
// A key builder or the progress's observer failed: their exception is given once the
// transaction is rolled back.
struct Interrompu {
  std::exception_ptr cause;
};
// The most bytes of new records kept before they are copied to the server.
constexpr size_t kCopieMax = size_t{8} << 20;

struct Remap {
  uint32_t offset = 0;
  size_t into = 0;
  const char* role = "";
};

struct ArbreTravail {
  const BArbreAReconstruire* def = nullptr;
  std::string table;
  std::string packed;  // keys and records (4 bytes, native order) one after the other
  size_t count = 0;
};

struct FichierTravail {
  const FichierAReconstruire* def = nullptr;
  pg::Lieu lieu;
  std::string table, chemin;
  uint32_t longueur = 0;
  int64_t dernier = 0, supprimes = 0;
  bool moves = false, rewrite = false, build_trees = false;
  std::vector<uint32_t> map;   // old number -> new (0: removed), when moves
  std::vector<uint32_t> back;  // new number -> old, when moves
  std::vector<Remap> remaps;
  std::vector<ArbreTravail> trees;
};

std::string Shown(std::string_view bytes) {
  std::string text;
  isam::DecodeBytes(bytes, &text);
  const size_t end = text.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

class Reconstructeur {
 public:
  Reconstructeur(pg::BasePg& b, const PlanReconstruction& plan, const SuiviReconstruction& suivi,
                 BilanReconstruction& bilan)
      : b_(b), plan_(plan), suivi_(suivi), bilan_(bilan) {}

  void Prepare();
  void Lance();

 private:
  void MapRecords(FichierTravail& w);
  void PlanChains();
  // Each record of w by number (deleted ones included); a number missing or a row of another
  // length is damage.
  template <typename Visite, typename FinPage>
  void ParPage(const FichierTravail& w, Visite visite, FinPage fin_page);
  void Scan(size_t i);
  void Renumber(const FichierTravail& w, int32_t no, std::string& record) const;
  void AddKeys(FichierTravail& w, std::string_view record, uint32_t no);
  void BuildTree(size_t i, size_t t);
  void Tell(const EtapeReconstruction& e) const {
    if (!suivi_) return;
    try {
      suivi_(e);
    } catch (...) {
      throw Interrompu{std::current_exception()};
    }
  }

  pg::BasePg& b_;
  const PlanReconstruction& plan_;
  const SuiviReconstruction& suivi_;
  BilanReconstruction& bilan_;
  std::vector<FichierTravail> work_;
  std::string key_, texte_;
};

void Reconstructeur::Prepare() {
  work_.resize(plan_.fichiers.size());
  bilan_.fichiers.assign(plan_.fichiers.size(), {});
  for (size_t i = 0; i < plan_.fichiers.size(); ++i) {
    FichierTravail& w = work_[i];
    w.def = &plan_.fichiers[i];
    const std::string objet = isam::UpperAscii(w.def->nom) + ".DAT";
    w.lieu = b_.Place(w.def->dependance_entreprise, w.def->nom, kOp, objet);
    w.chemin = b_.Chemin(w.lieu, objet);
    w.table = pg::BasePg::Table(w.lieu, "d_", w.def->nom);
    if (w.def->choisi && bilan_.chemin.empty()) bilan_.chemin = w.chemin;
    w.longueur = b_.LongueurFichier(w.lieu, w.def->nom, kOp);
    Exige(w.longueur != 0, kOp, w.chemin, "fichier absent : " + w.chemin);
    pg::Resultat r = b_.Lit(kOp, w.chemin,
                            "SELECT coalesce(max(no), 0)::bigint, count(*) FILTER (WHERE supprime) "
                            "FROM " +
                                w.table,
                            Parametres());
    w.dernier = r.Grand(0, 0);
    w.supprimes = r.Grand(0, 1);
    if (w.def->choisi && w.supprimes > 0) {
      w.moves = w.rewrite = true;
      MapRecords(w);
    }
  }
  PlanChains();
  for (FichierTravail& w : work_) {
    w.build_trees = w.def->choisi || w.rewrite;
    if (!w.build_trees) continue;
    for (const BArbreAReconstruire& t : w.def->arbres) {
      ArbreTravail tw;
      tw.def = &t;
      const pg::Lieu lieu = b_.Place(w.def->dependance_entreprise, t.nom, kOp, t.nom);
      tw.table = pg::BasePg::Table(lieu, "b_", t.nom);
      pg::BasePg::ArbreCatalogue c = b_.LitArbre(lieu, t.nom, kOp);
      if (!c.existe) {
        // Made in the rebuild's transaction: a refused rebuild leaves no tree behind.
        c.longueur_cle = static_cast<uint16_t>(t.longueur_cle);
        c.nature = t.nature == "S" ? 'S' : 'P';
        c.fichier_indexe = isam::UpperAscii(w.def->nom);
        b_.CreeArbre(lieu, t.nom, c, kOp, true);
      }
      w.trees.push_back(std::move(tw));
    }
  }
}

// A row that is not what the catalog says: the store is damaged. The rebuild of the plan is
// refused naming the file and the record, as a folder's rebuild refuses a damaged slot.
[[noreturn]] void Endommage(const FichierTravail& w, int64_t no, std::string_view quoi) {
  throw Refus{w.chemin + " : l'enregistrement " + std::to_string(no) + " " + std::string(quoi) +
              " (base endommagée)"};
}

template <typename Visite, typename FinPage>
void Reconstructeur::ParPage(const FichierTravail& w, Visite visite, FinPage fin_page) {
  int32_t apres = 0;
  int64_t attendu = 1;
  for (;;) {
    Parametres p;
    p.Entier(apres);
    pg::Resultat r = b_.Lit(kOp, w.chemin,
                            "SELECT no, supprime, octets FROM " + w.table +
                                " WHERE no > $1 ORDER BY no LIMIT " + std::to_string(kPage),
                            p);
    for (int k = 0; k < r.Lignes(); ++k) {
      const int32_t no = r.Entier(k, 0);
      const std::string_view octets = r.Octets(k, 2);
      if (no != attendu) Endommage(w, attendu, "manque à la table");
      if (octets.size() != w.longueur) Endommage(w, no, "n'a pas la longueur du fichier");
      ++attendu;
      visite(no, r.Booleen(k, 1), octets);
    }
    fin_page();
    if (r.Lignes() < kPage) return;
    apres = r.Entier(r.Lignes() - 1, 0);
  }
}

void Reconstructeur::MapRecords(FichierTravail& w) {
  w.map.assign(static_cast<size_t>(w.dernier) + 1, 0);
  w.back.assign(1, 0);
  uint32_t next = 1;
  ParPage(
      w,
      [&](int32_t no, bool supprime, std::string_view) {
        if (!supprime) {
          w.map[static_cast<size_t>(no)] = next++;
          w.back.push_back(static_cast<uint32_t>(no));
        }
      },
      [] {});
}

void Reconstructeur::PlanChains() {
  for (const ChainageAReconstruire& c : plan_.chainages) {
    Exige(c.entete < work_.size() && c.ligne < work_.size(), kOp, "chaînage",
          "reconstruction : chaînage hors du plan");
    FichierTravail& line = work_[c.ligne];
    if (!line.moves) continue;
    FichierTravail& header = work_[c.entete];
    const auto off = [](int32_t pos) { return static_cast<uint32_t>(pos - 1); };
    // Lines are renumbered only when chained as the chaining says, as in a folder.
    const std::vector<std::string> problemes =
        pg::VerifieChainage(b_, {line.lieu.entreprise, isam::UpperAscii(header.def->nom),
                                 isam::UpperAscii(line.def->nom), off(c.pos_premiere),
                                 off(c.pos_derniere), off(c.pos_precedente), off(c.pos_suivante)});
    if (!problemes.empty()) throw Refus{isam::ChainRefusal(problemes)};
    line.remaps.push_back({off(c.pos_precedente), c.ligne, "pointeur précédent"});
    line.remaps.push_back({off(c.pos_suivante), c.ligne, "pointeur suivant"});
    header.remaps.push_back({off(c.pos_premiere), c.ligne, "pointeur de première ligne"});
    header.remaps.push_back({off(c.pos_derniere), c.ligne, "pointeur de dernière ligne"});
    header.rewrite = true;
  }
  for (FichierTravail& w : work_) {
    for (const Remap& r : w.remaps) {
      if (r.offset + 3 > w.longueur) {
        throw Refus{w.chemin + " : pointeur de chaînage en position " +
                    std::to_string(r.offset + 1) + " hors de l'enregistrement"};
      }
    }
  }
}

void Reconstructeur::Renumber(const FichierTravail& w, int32_t no, std::string& record) const {
  for (const Remap& r : w.remaps) {
    const uint32_t p = isam::DecodePointer(record.data() + r.offset);
    if (p == 0) continue;
    const FichierTravail& into = work_[r.into];
    if (p > into.dernier || into.map[p] == 0) {
      throw Refus{std::string(r.role) + " de l'enregistrement " + std::to_string(no) + " de " +
                  w.chemin + " : l'enregistrement " + std::to_string(p) + " de " + into.chemin +
                  (p > into.dernier ? " n'existe pas" : " est supprimé")};
    }
    isam::EncodePointer(into.map[p], record.data() + r.offset);
  }
}

void Reconstructeur::AddKeys(FichierTravail& w, std::string_view record, uint32_t no) {
  for (ArbreTravail& t : w.trees) {
    isam::DecodeBytes(record, &texte_);
    std::string cle;
    try {
      t.def->cle(texte_, cle);
    } catch (...) {
      throw Interrompu{std::current_exception()};
    }
    isam::Status s = isam::EncodeFixed(cle, static_cast<size_t>(t.def->longueur_cle),
                                       "clé de " + t.def->nom, &key_);
    if (!s.ok()) {
      throw Interrompu{std::make_exception_ptr(ErreurService(kOp, bilan_.chemin, s.message()))};
    }
    t.packed += key_;
    char r[4];
    std::memcpy(r, &no, 4);
    t.packed.append(r, 4);
    ++t.count;
  }
}

void Reconstructeur::Scan(size_t i) {
  FichierTravail& w = work_[i];
  BilanReconstruction::Fichier& r = bilan_.fichiers[i];
  const std::string neuf = "vesk_neuf";
  if (w.rewrite) {
    b_.Lit(kOp, w.chemin,
           "CREATE TEMP TABLE IF NOT EXISTS " + neuf +
               " (no integer, supprime boolean, octets bytea) ON COMMIT DROP",
           Parametres());
    b_.Lit(kOp, w.chemin, "TRUNCATE " + neuf, Parametres());
  }
  uint32_t next_no = 1;
  pg::CopieBinaire copie;
  const std::string sql_copie = "COPY " + neuf + " FROM STDIN (FORMAT binary)";
  auto envoie = [&] {
    copie.Fin();
    b_.Copie(kOp, w.chemin, sql_copie,
             [&](const std::function<void(std::string_view)>& e) { e(copie.Partie()); });
    copie = pg::CopieBinaire();
  };
  std::string record;
  ParPage(
      w,
      [&](int32_t no, bool supprime, std::string_view octets) {
        if (supprime) {
          if (w.moves) {
            ++r.supprimes;
            return;
          }
          if (w.rewrite) {
            copie.Ligne(3);
            copie.Entier(static_cast<int32_t>(next_no));
            copie.Booleen(true);
            copie.Octets(octets);
          }
          ++next_no;
          return;
        }
        const uint32_t new_no = next_no++;
        ++r.gardes;
        record.assign(octets);
        if (w.rewrite) {
          Renumber(w, no, record);
          copie.Ligne(3);
          copie.Entier(static_cast<int32_t>(new_no));
          copie.Booleen(false);
          copie.Octets(record);
        }
        if (w.def->choisi) {
          Tell({EtapeReconstruction::Nature::kEnregistrement, i, 0, no,
                static_cast<int32_t>(new_no), 0, w.moves});
        }
        AddKeys(w, record, new_no);
      },
      [&] {
        if (copie.Partie().size() >= kCopieMax) envoie();
      });
  if (w.def->choisi) {
    Tell({EtapeReconstruction::Nature::kCompacte, i, 0, 0, 0, r.supprimes, w.moves});
  }
  if (!w.rewrite) return;
  envoie();
  b_.Lit(kOp, w.chemin, "TRUNCATE " + w.table, Parametres());
  b_.Lit(kOp, w.chemin, "INSERT INTO " + w.table + " SELECT * FROM " + neuf + " ORDER BY no",
         Parametres());
  r.reecrit = true;
  Tell({EtapeReconstruction::Nature::kEcrit, i, 0, 0, 0, 0, w.moves});
}

void Reconstructeur::BuildTree(size_t i, size_t t) {
  FichierTravail& w = work_[i];
  ArbreTravail& tw = w.trees[t];
  Tell({EtapeReconstruction::Nature::kBArbre, i, t, 0, 0, static_cast<int64_t>(tw.count), w.moves});
  const size_t k = static_cast<size_t>(tw.def->longueur_cle), stride = k + 4;
  std::vector<uint32_t> order(tw.count);
  for (size_t e = 0; e < tw.count; ++e) order[e] = static_cast<uint32_t>(e);
  const char* base = tw.packed.data();
  std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return std::memcmp(base + a * stride, base + b * stride, k) < 0;
  });
  const bool primaire = tw.def->nature != "S";
  pg::CopieBinaire copie;
  for (size_t e = 0; e < tw.count; ++e) {
    const char* entry = base + order[e] * stride;
    uint32_t no = 0;
    std::memcpy(&no, entry + k, 4);
    if (primaire && e > 0 && std::memcmp(base + order[e - 1] * stride, entry, k) == 0) {
      uint32_t ra = 0;
      std::memcpy(&ra, base + order[e - 1] * stride + k, 4);
      uint32_t rb = no;
      if (w.moves) {
        ra = w.back[ra];
        rb = w.back[rb];
      }
      throw Refus{"B-Arbre " + tw.def->nom + " : clé « " + Shown({entry, k}) +
                  " » en double (enregistrements " + std::to_string(ra) + " et " +
                  std::to_string(rb) + ")"};
    }
    copie.Ligne(2);
    copie.Octets(std::string_view(entry, k));
    copie.Entier(static_cast<int32_t>(no));
  }
  copie.Fin();
  b_.Lit(kOp, tw.table, "TRUNCATE " + tw.table, Parametres());
  // A tree rebuilt records the file it indexes, as a folder's rebuilt tree does.
  Parametres indexe;
  indexe.Texte(isam::UpperAscii(w.def->nom))
      .Texte(w.lieu.entreprise)
      .Texte(isam::UpperAscii(tw.def->nom));
  b_.Lit(kOp, tw.table,
         "UPDATE " + b_.Catalogue("vesk_arbres") +
             " SET fichier_indexe = $1 WHERE entreprise = $2 AND nom = $3",
         indexe);
  b_.Copie(kOp, tw.table, "COPY " + tw.table + " (cle, no) FROM STDIN (FORMAT binary)",
           [&](const std::function<void(std::string_view)>& envoie) { envoie(copie.Partie()); });
  bilan_.fichiers[i].cles[t] = static_cast<int64_t>(tw.count);
  tw.packed = std::string();
}

void Reconstructeur::Lance() {
  for (size_t i = 0; i < work_.size(); ++i) {
    bilan_.fichiers[i].cles.assign(work_[i].def->arbres.size(), 0);
  }
  for (size_t i = 0; i < work_.size(); ++i) {
    if (work_[i].build_trees) Scan(i);
  }
  for (size_t i = 0; i < work_.size(); ++i) {
    for (size_t t = 0; t < work_[i].trees.size(); ++t) BuildTree(i, t);
    bilan_.fichiers[i].arbres_reconstruits = !work_[i].trees.empty();
  }
}

// The plan's names and values checked as the folder engine checks them.
void VerifiePlan(const PlanReconstruction& plan) {
  for (const FichierAReconstruire& f : plan.fichiers) {
    isam::Status s = isam::CheckName(f.nom, "fichier");
    if (!s.ok()) throw ErreurService(kOp, f.nom, s.message());
    for (const BArbreAReconstruire& a : f.arbres) {
      s = isam::CheckName(a.nom, "B-arbre");
      if (!s.ok()) throw ErreurService(kOp, a.nom, s.message());
      Exige(a.longueur_cle >= 1 && (a.nature == "P" || a.nature == "S"), kOp, a.nom,
            "longueur de clé ou nature impossible");
    }
  }
  for (const ChainageAReconstruire& c : plan.chainages) {
    Exige(c.pos_premiere > 0 && c.pos_derniere > 0 && c.pos_precedente > 0 && c.pos_suivante > 0,
          kOp, "chaînage", "position de pointeur impossible");
  }
}

}  // namespace

void SrvDonneePg::Reconstruit(const PlanReconstruction& plan, const SuiviReconstruction& suivi,
                              BilanReconstruction& bilan) {
  bilan = BilanReconstruction{};
  VerifiePlan(plan);
  Exige(!base_->DansLot() && !base_->DansTransaction(), kOp, base_->Nom(),
        "base " + base_->Nom() + " : reconstruction pendant une opération ou un lot");
  try {
    base_->Transaction(kOp, base_->Nom(), [&] {
      Reconstructeur r(*base_, plan, suivi, bilan);
      r.Prepare();
      r.Lance();
    });
    bilan.en_place = true;
    // Every open file and tree of the plan changed under this thread's read ahead.
    for (int16_t h = 1; h <= base_->NombreFichiers(); ++h) base_->Touche(*base_->Fichier(h));
    for (int16_t h = 1; h <= base_->NombreArbres(); ++h) base_->Touche(*base_->Arbre(h));
  } catch (const Refus& refus) {
    bilan.refus = refus.message;
  } catch (const Interrompu& i) {
    std::rethrow_exception(i.cause);
  } catch (const ErreurService&) {
    // The server failed: the old tables stay.
    bilan.copie_echouee = true;
    throw;
  }
}

}  // namespace vesk
