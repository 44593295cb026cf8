#include "srv/pg/base_pg.h"

#include <array>
#include <exception>

#include "srv/erreur_service.h"
#include "srv/isam/names.h"
#include "srv/text/utf8.h"

namespace vesk::pg {

namespace {

// The two advisory locks of a store: its data (writers one after the other) and its
// structure (tables made one at a time), each keyed by the root schema.
constexpr int32_t kClasseVerrou = 0x56455331;
constexpr int32_t kClasseStructure = 0x56455332;
// Writes a batch may leave in flight before their results are gathered.
constexpr size_t kEnVolMax = 512;
// The failure of the structure check (BasePg::Verification).
constexpr std::string_view kEtatStructure = "22012";
// The longest name of a file or tree: PostgreSQL's identifiers hold 63 bytes, "d_" comes first.
constexpr size_t kNomMax = 61;

int32_t Hache(std::string_view s) {
  uint32_t h = 2166136261u;
  for (char c : s) {
    h ^= static_cast<unsigned char>(c);
    h *= 16777619u;
  }
  return static_cast<int32_t>(h);
}

std::string Guillemets(std::string_view id) { return "\"" + std::string(id) + "\""; }

}  // namespace

BasePg::BasePg(AdresseBase adresse, std::string entreprise)
    : adresse_(std::move(adresse)),
      entreprise_(isam::UpperAscii(entreprise)),
      cle_verrou_(Hache(adresse_.racine)) {}

BasePg::~BasePg() = default;

std::string BasePg::Catalogue(std::string_view table) const {
  return Guillemets(adresse_.racine) + "." + std::string(table);
}

ConnexionPg& BasePg::Connexion(std::string_view operation) {
  if (connexion_ != nullptr && !connexion_->Vivante() && !transaction_) connexion_.reset();
  if (connexion_ == nullptr) Ouvre(operation);
  return *connexion_;
}

void BasePg::Ouvre(std::string_view operation) {
  try {
    auto c = std::make_unique<ConnexionPg>(adresse_.connexion);
    Regle(*c);
    Parametres p;
    p.Texte(Catalogue("vesk_structure"));
    Resultat r = c->Execute("SELECT to_regclass($1::text) IS NOT NULL", p);
    connexion_ = std::move(c);
    if (!r.Booleen(0, 0)) Catalogues(operation);
    // Once: a connection made again must not forget a change it did not see.
    if (structure_vue_ < 0) {
      structure_vue_ =
          connexion_->Execute("SELECT compteur FROM " + Catalogue("vesk_structure")).Grand(0, 0);
    }
  } catch (const ErreurPg& e) {
    throw ErreurService(operation, Nom(), e.what());
  }
}

namespace {

constexpr std::array<std::string_view, 4> kCatalogues = {"vesk_fichiers", "vesk_arbres",
                                                         "vesk_textes", "vesk_structure"};

}  // namespace

// The catalog's tables, made when missing (a store made before the structure counter has
// every one but it); what was missing is noted for DefaitCatalogues.
void BasePg::Catalogues(std::string_view operation) {
  const std::string racine = Guillemets(adresse_.racine);
  std::string sql = "SELECT to_regnamespace($1) IS NULL";
  Parametres p;
  p.Texte(racine);
  for (size_t i = 0; i < kCatalogues.size(); ++i) {
    sql += ", to_regclass($" + std::to_string(i + 2) + ") IS NULL";
    p.Texte(Catalogue(kCatalogues[i]));
  }
  const Resultat avant = connexion_->Execute(sql, p);
  std::vector<Requete> r(6);
  r[0].sql = "CREATE SCHEMA IF NOT EXISTS " + racine;
  r[1].sql = "CREATE TABLE IF NOT EXISTS " + Catalogue("vesk_fichiers") +
             " (entreprise text NOT NULL, nom text NOT NULL, longueur integer NOT NULL, "
             "libelle bytea NOT NULL, PRIMARY KEY (entreprise, nom))";
  r[2].sql = "CREATE TABLE IF NOT EXISTS " + Catalogue("vesk_arbres") +
             " (entreprise text NOT NULL, nom text NOT NULL, longueur_cle integer NOT NULL, "
             "nature \"char\" NOT NULL, fichier_indexe text NOT NULL, "
             "PRIMARY KEY (entreprise, nom))";
  r[3].sql = "CREATE TABLE IF NOT EXISTS " + Catalogue("vesk_textes") +
             " (nom text PRIMARY KEY, octets bytea NOT NULL)";
  r[4].sql =
      "CREATE TABLE IF NOT EXISTS " + Catalogue("vesk_structure") + " (compteur bigint NOT NULL)";
  r[5].sql = "INSERT INTO " + Catalogue("vesk_structure") + " SELECT 0 WHERE NOT EXISTS (SELECT " +
             "FROM " + Catalogue("vesk_structure") + ")";
  Structure(operation, Nom(), r);
  schema_fait_ = avant.Booleen(0, 0);
  catalogues_faits_.clear();
  for (size_t i = 0; i < kCatalogues.size(); ++i) {
    if (avant.Booleen(0, static_cast<int>(i) + 1)) {
      catalogues_faits_.push_back(Catalogue(kCatalogues[i]));
    }
  }
}

void BasePg::DefaitCatalogues(std::string_view operation) {
  if (!schema_fait_ && catalogues_faits_.empty()) return;
  std::vector<Requete> r(1);
  r[0].sql = "DO $$BEGIN IF EXISTS (SELECT FROM " + Catalogue("vesk_fichiers") +
             ") OR EXISTS (SELECT FROM " + Catalogue("vesk_arbres") + ") OR EXISTS (SELECT FROM " +
             Catalogue("vesk_textes") +
             ") THEN RAISE EXCEPTION 'un autre programme y a écrit entre-temps : le schéma " +
             adresse_.racine + " reste'; END IF; END$$";
  for (const std::string& t : catalogues_faits_) r.push_back({"DROP TABLE " + t, {}});
  if (schema_fait_) r.push_back({"DROP SCHEMA " + Guillemets(adresse_.racine), {}});
  Structure(operation, Nom(), r);
  schema_fait_ = false;
  catalogues_faits_.clear();
  connexion_.reset();
  structure_.reset();
  structure_vue_ = -1;
}

Lieu BasePg::Place(bool dependance, std::string_view nom, std::string_view operation,
                   std::string_view objet) const {
  const std::string upper = isam::UpperAscii(nom);
  Exige(nom.size() <= kNomMax, operation, objet,
        "nom \"" + upper + "\" trop long pour la base (" + std::to_string(kNomMax) +
            " caractères au plus)");
  if (!dependance) return Lieu{"", adresse_.racine};
  Exige(!entreprise_.empty(), operation, objet,
        "fichier " + upper + " dépendant de l'entreprise : aucune entreprise courante");
  isam::Status s = isam::CheckName(entreprise_, "entreprise");
  if (!s.ok()) throw ErreurService(operation, objet, s.message());
  return Lieu{entreprise_, SchemaEntreprise(adresse_.racine, entreprise_)};
}

std::string BasePg::Chemin(const Lieu& lieu, std::string_view objet) const {
  return Nom() + "/" + lieu.schema + "/" + std::string(objet);
}

std::string BasePg::Table(const Lieu& lieu, std::string_view prefixe, std::string_view nom) {
  return Guillemets(lieu.schema) + "." + Guillemets(std::string(prefixe) + text::LowerAscii(nom));
}

// ---- Handles ----

int16_t BasePg::ChercheFichier(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom && fichiers_[i]->dependance == dependance &&
        fichiers_[i]->remplace.empty()) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

int16_t BasePg::ChercheFichier(std::string_view nom) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom && fichiers_[i]->remplace.empty()) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

int16_t BasePg::ChercheArbre(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < arbres_.size(); ++i) {
    if (arbres_[i]->nom == nom && arbres_[i]->dependance == dependance &&
        arbres_[i]->remplace.empty()) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

namespace {

template <typename T>
int16_t Ajoute(std::vector<std::unique_ptr<T>>& v, std::unique_ptr<T> x, std::string_view quoi,
               std::string_view operation, std::string_view objet) {
  Exige(v.size() < 32767, operation, objet, "trop de " + std::string(quoi) + " ouverts");
  v.push_back(std::move(x));
  return static_cast<int16_t>(v.size());
}

}  // namespace

int16_t BasePg::AjouteFichier(std::unique_ptr<FichierPg> f, std::string_view operation) {
  const std::string objet = f->objet;
  return Ajoute(fichiers_, std::move(f), "fichiers", operation, objet);
}

int16_t BasePg::AjouteArbre(std::unique_ptr<ArbrePg> a, std::string_view operation) {
  const std::string objet = a->objet;
  return Ajoute(arbres_, std::move(a), "B-arbres", operation, objet);
}

int16_t BasePg::AjouteTexte(std::unique_ptr<TextePg> t, std::string_view operation) {
  // A closed text's handle is given again.
  for (size_t i = 0; i < textes_.size(); ++i) {
    if (textes_[i] == nullptr) {
      textes_[i] = std::move(t);
      return static_cast<int16_t>(i + 1);
    }
  }
  const std::string objet = t->objet;
  return Ajoute(textes_, std::move(t), "fichiers texte", operation, objet);
}

void BasePg::FermeTexte(int16_t h) {
  if (h >= 1 && static_cast<size_t>(h) <= textes_.size()) textes_[h - 1].reset();
}

void BasePg::DeclareChainage(const ChainagePg& c) {
  bool remplace = false;
  for (ChainagePg& x : chainages_) {
    if (x.ligne == c.ligne) {
      x = c;
      remplace = true;
    }
  }
  if (!remplace) chainages_.push_back(c);
  // The pointers each file holds, kept when its records are written again.
  for (auto& f : fichiers_) f->pointeurs.clear();
  for (const ChainagePg& x : chainages_) {
    if (FichierPg* e = Fichier(x.entete)) {
      e->pointeurs.push_back(x.premiere);
      e->pointeurs.push_back(x.derniere);
    }
    if (FichierPg* l = Fichier(x.ligne)) {
      l->pointeurs.push_back(x.precedente);
      l->pointeurs.push_back(x.suivante);
    }
  }
}

ChainagePg* BasePg::ChainageDeLigne(int16_t ligne) {
  for (ChainagePg& c : chainages_) {
    if (c.ligne == ligne) return &c;
  }
  return nullptr;
}

// ---- Statements ----

void BasePg::Refuse(std::string_view operation) const {
  if (!rompue_.empty()) {
    throw ErreurService(
        operation, Nom(),
        "opération refusée : une erreur de la base a annulé l'opération en cours (" + rompue_ +
            ")");
  }
  if (gache_.empty()) return;
  throw ErreurService(
      operation, Nom(),
      "lot abandonné après une erreur de la base (" + gache_ + ") : seul AnnuleLot est possible");
}

void BasePg::EnvoieFile() {
  for (Requete& r : file_) connexion_->Envoie(r.sql, r.parametres);
  file_.clear();
}

std::vector<Resultat> BasePg::Lit(std::string_view operation, std::string_view objet,
                                  const std::vector<Requete>& requetes) {
  Refuse(operation);
  ConnexionPg& c = Connexion(operation);
  try {
    if (profondeur_ > 0 && !file_.empty()) {
      // The read must see the operation's writes, which can then no longer be dropped: a
      // savepoint undoes them instead.
      if (DansLot() && !point_) {
        c.Envoie("SAVEPOINT vesk_op", Parametres());
        point_ = true;
      }
      EnvoieFile();
    }
    if (!transaction_ && !brut_ && structure_vue_ >= 0) {
      const Requete v = Verification();
      c.Envoie(v.sql, v.parametres);
    }
    std::vector<size_t> tickets;
    for (const Requete& r : requetes) tickets.push_back(c.Envoie(r.sql, r.parametres, true));
    c.Synchronise();
    std::vector<Resultat> out;
    for (size_t t : tickets) out.push_back(c.Prend(t));
    return out;
  } catch (const ErreurPg& e) {
    Echoue(e, operation, objet);
  }
}

Resultat BasePg::Lit(std::string_view operation, std::string_view objet, std::string_view sql,
                     const Parametres& p) {
  std::vector<Requete> r(1);
  r[0].sql = std::string(sql);
  r[0].parametres = p;
  return std::move(Lit(operation, objet, r).front());
}

void BasePg::Copie(std::string_view operation, std::string_view objet, std::string_view sql,
                   const std::function<void(const std::function<void(std::string_view)>&)>& ecrit) {
  Refuse(operation);
  ConnexionPg& c = Connexion(operation);
  ++generation_;
  try {
    if (profondeur_ > 0 && !file_.empty()) EnvoieFile();
    c.CopieEntree(sql, ecrit);
  } catch (const ErreurPg& e) {
    Echoue(e, operation, objet);
  }
}

void BasePg::Ecrit(std::string sql, Parametres p) {
  file_.push_back(Requete{std::move(sql), std::move(p)});
}

void BasePg::Compense(std::string sql, Parametres p) {
  compensations_.push_back(Requete{std::move(sql), std::move(p)});
}

int64_t BasePg::Dernier(FichierPg& f, std::string_view operation) {
  if (verrou_ && f.dernier >= 0) return f.dernier;
  Resultat r = Lit(operation, f.objet, "SELECT coalesce(max(no), 0) FROM " + f.table, Parametres());
  const int64_t v = r.Entier(0, 0);
  if (verrou_) f.dernier = v;
  return v;
}

void BasePg::NoteDernier(FichierPg& f, int64_t dernier) {
  if (!verrou_) return;
  derniers_.emplace_back(&f, f.dernier);
  f.dernier = dernier;
}

// ---- Scopes ----

void BasePg::Entre(std::string_view operation) {
  Refuse(operation);
  if (profondeur_ > 0) {
    ++profondeur_;
    return;
  }
  ConnexionPg& c = Connexion(operation);
  try {
    if (!transaction_) {
      c.Envoie("BEGIN", Parametres());
      transaction_ = true;
    }
    if (!verrou_) {
      Parametres p;
      p.Entier(kClasseVerrou).Entier(cle_verrou_);
      c.Envoie("SELECT pg_advisory_xact_lock($1, $2)", p);
      verrou_ = true;
      const Requete v = Verification();
      c.Envoie(v.sql, v.parametres);
    }
  } catch (const ErreurPg& e) {
    Echoue(e, operation, Nom());
  }
  profondeur_ = 1;
  exceptions_ = std::uncaught_exceptions();
  point_ = false;
}

void BasePg::FinTransaction() {
  ++epoque_;
  transaction_ = false;
  verrou_ = false;
  point_ = false;
  pari_ = false;
  structure_neuve_ = -1;
  ecrites_lot_.clear();
  for (auto& f : fichiers_) f->dernier = -1;
}

void BasePg::Valide() {
  if (structure_neuve_ >= 0) structure_vue_ = structure_neuve_;
  for (auto& f : fichiers_) {
    if (f->dernier < 0) continue;
    f->dernier_connu = f->dernier;
    f->dernier_generation = generation_;
  }
  for (auto& a : arbres_) {
    if (a->cles_epoque == epoque_) a->cles_generation = generation_;
  }
  FinTransaction();
}

void BasePg::Sort(std::string_view operation, std::string_view objet, bool succes) {
  if (profondeur_ == 0) return;
  if (--profondeur_ > 0) return;
  if (!rompue_.empty()) {
    // Its transaction was undone under it: it ends as failed, whatever the owner's method did.
    const std::string rompue = std::exchange(rompue_, std::string());
    Abandonne(operation);
    if (succes) {
      throw ErreurService(operation, objet,
                          "opération annulée par une erreur de la base (" + rompue + ")");
    }
    return;
  }
  if (!succes) {
    Abandonne(operation);
    return;
  }
  compensations_.clear();
  derniers_.clear();
  try {
    EnvoieFile();
    if (point_) connexion_->Envoie("RELEASE SAVEPOINT vesk_op", Parametres());
    point_ = false;
    if (!DansLot()) {
      connexion_->Envoie("COMMIT", Parametres());
      connexion_->Synchronise();
      Valide();
    } else if (connexion_->EnVol() >= kEnVolMax) {
      connexion_->Synchronise();
    }
  } catch (const ErreurPg& e) {
    Echoue(e, operation, objet);
  }
}

void BasePg::Abandonne(std::string_view operation) {
  // What the operation already sent is undone: what was learnt since may no longer hold.
  if (point_ || !compensations_.empty()) ++epoque_;
  ++generation_;
  file_.clear();
  for (auto it = derniers_.rbegin(); it != derniers_.rend(); ++it) it->first->dernier = it->second;
  derniers_.clear();
  std::vector<Requete> compensations;
  compensations.swap(compensations_);
  if (!transaction_ || connexion_ == nullptr) return;
  try {
    if (!DansLot()) {
      connexion_->Envoie("ROLLBACK", Parametres());
      FinTransaction();
      connexion_->Synchronise();
    } else if (gache_.empty()) {
      if (point_) {
        connexion_->Envoie("ROLLBACK TO SAVEPOINT vesk_op", Parametres());
        connexion_->Envoie("RELEASE SAVEPOINT vesk_op", Parametres());
        point_ = false;
      }
      for (Requete& r : compensations) connexion_->Envoie(r.sql, r.parametres);
    }
  } catch (const ErreurPg& e) {
    // The operation's own error is on its way; what the undo met spoils the batch.
    if (DansLot()) {
      gache_ = e.what();
    } else {
      FinTransaction();
    }
  }
  (void)operation;
}

void BasePg::Echoue(const ErreurPg& e, std::string_view operation, std::string_view objet) {
  ++epoque_;
  ++generation_;
  // A bet's checks: a key or a record number another program took meanwhile.
  if (pari_ && (e.Etat() == "23505" || e.Etat() == "23502")) pari_perdu_ = true;
  std::string message = e.Verrou() ? "fichier verrouillé : la base " + Nom() +
                                         " est utilisée par un autre programme (attente de " +
                                         std::to_string(delai_verrou_ms_) + " ms dépassée)"
                                   : std::string(e.what());
  if (e.Etat() == kEtatStructure) message = Rafraichit(operation, objet);
  if (transaction_) {
    if (DansLot()) {
      if (gache_.empty()) gache_ = message;
    } else {
      // The pipeline stopped at the failure: the transaction is left failed, ended here.
      try {
        if (connexion_->Vivante()) {
          connexion_->Envoie("ROLLBACK", Parametres());
          connexion_->Synchronise();
        }
      } catch (const ErreurPg&) {
        // The server ends the transaction itself when the connection goes.
      }
      FinTransaction();
      if (profondeur_ > 0) rompue_ = message;
    }
  }
  if (e.Connexion() && !transaction_) connexion_.reset();
  throw ErreurService(operation, objet, message);
}

void BasePg::DebutLot() {
  if (lot_ == 0) ecrites_lot_.clear();
  ++lot_;
}

void BasePg::FinLot() {
  Exige(lot_ > 0, "FinLot", Nom(), "fin de lot sans début de lot");
  if (--lot_ > 0 || profondeur_ > 0 || !transaction_) return;
  if (!gache_.empty()) {
    const std::string gache = gache_;
    Annule();
    throw ErreurService("FinLot", Nom(), "lot annulé : " + gache);
  }
  try {
    connexion_->Envoie("COMMIT", Parametres());
    connexion_->Synchronise();
    Valide();
  } catch (const ErreurPg& e) {
    const bool connexion = e.Connexion();
    Echoue(e, "FinLot",
           connexion ? Nom() +
                           " (connexion perdue pendant la validation : le lot est peut-être "
                           "validé)"
                     : Nom());
  }
}

void BasePg::AnnuleLot() {
  Exige(lot_ > 0, "AnnuleLot", Nom(), "annulation de lot sans début de lot");
  Exige(profondeur_ == 0, "AnnuleLot", Nom(), "annulation de lot pendant une opération");
  lot_ = 0;
  Annule();
}

void BasePg::Annule() {
  ++epoque_;
  ++generation_;
  gache_.clear();
  // What was read ahead may hold the batch's writes.
  for (auto& f : fichiers_) ++f->version;
  for (auto& a : arbres_) ++a->version;
  if (!transaction_) return;
  FinTransaction();
  try {
    connexion_->Envoie("ROLLBACK", Parametres());
    connexion_->Synchronise();
  } catch (const ErreurPg&) {
    // A connection lost takes the transaction with it: the batch is undone all the same.
    connexion_.reset();
  }
}

void BasePg::FinLecture(std::string_view operation, std::string_view objet, bool succes) {
  transaction_ = false;
  brut_ = true;
  try {
    Lit(operation, objet, succes ? "COMMIT" : "ROLLBACK", Parametres());
  } catch (const ErreurService&) {
    brut_ = false;
    if (succes) throw;
  }
  brut_ = false;
}

// ---- Owners ----

void BasePg::Livre(FichierPg& f, int32_t no, std::string_view octets, std::string_view operation) {
  if (f.proprietaire == nullptr) {
    throw ErreurService(operation, f.objet,
                        "fichier ouvert sans propriétaire : pas de méthode Lire" + f.methode +
                            " pour les champs courants");
  }
  // A delivery inside the owner's method (it reads another record through a walk) is undone
  // when it ends, so that the outer one holds again.
  struct Retour {
    BasePg& b;
    const FichierPg* f;
    int32_t no;
    std::string_view octets;
    ~Retour() {
      b.livre_ = f;
      b.livre_no_ = no;
      b.livre_octets_ = octets;
    }
  } retour{*this, livre_, livre_no_, livre_octets_};
  livre_ = &f;
  livre_no_ = no;
  livre_octets_ = octets;
  int32_t arg = no;
  f.proprietaire->Invoque(f.id_lire, arg);
}

const std::string_view* BasePg::Livraison(const FichierPg& f, int32_t no) const {
  return livre_ == &f && livre_no_ == no ? &livre_octets_ : nullptr;
}

}  // namespace vesk::pg
