#include "srv/isam/srv_barbre_impl.h"

#include <cstdio>
#include <limits>

#include "srv/isam/btree_impl.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/service_util.h"
#include "srv/list/liste.h"
#include "srv/text/utf8.h"

namespace vesk {

static_assert(kLongueurCleMax == isam::btree::kMaxKeyLength);

using isam::ArbreOuvert;
using isam::FichierOuvert;
using isam::Status;
using isam::Verifie;

namespace {

void Ajoute(std::string& liste, std::string_view element, std::string_view op) {
  list::Which which;
  list::Fault f = list::Append(liste, element, which);
  Exige(f.ok(), op, element, f.Message());
}

std::string Trim(std::string_view s) {
  size_t end = s.find_last_not_of(' ');
  return std::string(end == std::string_view::npos ? "" : s.substr(0, end + 1));
}

}  // namespace

SrvBArbreImpl::SrvBArbreImpl(std::shared_ptr<isam::DossierDonnees> dossier)
    : dossier_(std::move(dossier)) {}

FichierOuvert& SrvBArbreImpl::FichierDe(ArbreOuvert& a, int16_t fichier, std::string_view op) {
  FichierOuvert& f = isam::FichierOuErreur(*dossier_, fichier, op);
  if (a.dernier_fichier != fichier) {
    Exige(a.fichier_indexe.empty() || a.fichier_indexe == f.nom, op, a.objet,
          "ce B-arbre indexe " + a.fichier_indexe + ".DAT, pas " + f.objet);
    a.dernier_fichier = fichier;
  }
  return f;
}

void SrvBArbreImpl::Cle(ArbreOuvert& a, std::string_view cle, std::string_view op) {
  Verifie(isam::EncodeFixed(cle, a.arbre->KeyLength(), "clé", &key_), op, a.objet);
}

void SrvBArbreImpl::LitEnregistrement(ArbreOuvert& a, FichierOuvert& f, uint32_t no,
                                      std::string_view op) {
  // A damaged tree may name any number, 0 included: each is checked before the record is read.
  bool deleted = false;
  Status s = no == 0 ? Status::NotFound("") : f.fichier->IsDeleted(no, &deleted);
  if (s.IsNotFound() || deleted ||
      no > static_cast<uint32_t>(std::numeric_limits<int32_t>::max())) {
    throw ErreurService(op, a.objet,
                        "le B-arbre renvoie à l'enregistrement " + std::to_string(no) + " de " +
                            f.objet + (deleted ? ", qui est supprimé" : ", absent du fichier"),
                        true);
  }
  Verifie(s, op, f.objet);
  isam::AppelleProprietaire(f, true, static_cast<int32_t>(no), op);
  f.courant = static_cast<int32_t>(no);
}

void SrvBArbreImpl::Existe(bool dependance_entreprise, std::string_view nom, bool& existe) {
  constexpr std::string_view kOp = "Existe";
  Verifie(isam::CheckName(nom, "B-arbre"), kOp, nom);
  existe = false;
  if (dependance_entreprise && dossier_->Entreprise().empty()) return;
  const std::string objet = isam::UpperAscii(nom) + ".DAB";
  std::string path;
  Verifie(dossier_->Chemin(dependance_entreprise, nom, ".DAB", false, &path), kOp, objet);
  bool present = false;
  Verifie(isam::Status::FromIo(dossier_->env()->FileExists(path, &present)), kOp, objet);
  existe = present;
}

void SrvBArbreImpl::B_Arbre(bool dependance_entreprise, std::string_view nom, int16_t longueur_cle,
                            std::string_view nature, int16_t& arbre,
                            std::string_view fichier_indexe, bool creation) {
  constexpr std::string_view kOp = "B_Arbre";
  Verifie(isam::CheckName(nom, "B-arbre"), kOp, nom);
  std::string objet = isam::UpperAscii(nom) + ".DAB";
  Exige(longueur_cle >= 1 && longueur_cle <= 1024, kOp, objet,
        "longueur de clé " + std::to_string(longueur_cle) + " refusée (de 1 à 1024)");
  std::string n = isam::UpperAscii(nature);
  Exige(n == "P" || n == "S", kOp, objet,
        "nature \"" + std::string(nature) +
            "\" inconnue : \"P\" clés uniques, \"S\" clés en double admises");
  if (!fichier_indexe.empty()) {
    Verifie(isam::CheckName(fichier_indexe, "fichier indexé"), kOp, objet);
  }
  std::string indexe = isam::UpperAscii(fichier_indexe);
  std::string upper = isam::UpperAscii(nom);
  if (int16_t h = dossier_->ChercheArbre(upper, dependance_entreprise)) {
    ArbreOuvert& a = *dossier_->Arbre(h);
    Exige(a.arbre->KeyLength() == static_cast<uint16_t>(longueur_cle) && a.arbre->Nature() == n[0],
          kOp, objet,
          "déjà ouvert avec des clés de " + std::to_string(a.arbre->KeyLength()) +
              " caractères et la nature " + std::string(1, a.arbre->Nature()));
    if (!indexe.empty()) a.fichier_indexe = indexe;
    arbre = h;
    return;
  }
  std::string path;
  Verifie(dossier_->Chemin(dependance_entreprise, nom, ".DAB", creation, &path), kOp, objet);
  auto a = std::make_unique<ArbreOuvert>();
  a->nom = upper;
  a->objet = objet;
  a->dependance = dependance_entreprise;
  isam::BTreeOptions options;
  options.cache_bytes = dossier_->CacheBlocs() * 4096;
  options.pool = dossier_->Cache();
  // Opened under the folder's lock, as every read: a header read while another process commits
  // could count nodes whose blocks are not written yet.
  isam::SousVerrou(*dossier_, creation, path, kOp, [&] {
    if (creation)
      SansArbreVide(dependance_entreprise, indexe.empty() ? upper : indexe, path, objet);
    Verifie(isam::BTree::Open(dossier_->env(), path, static_cast<uint16_t>(longueur_cle), n[0],
                              indexe, creation, options, &a->arbre),
            kOp, objet);
  });
  isam::BTreeHeader header;
  Verifie(a->arbre->Header(&header), kOp, objet);
  a->fichier_indexe = indexe.empty() ? isam::UpperAscii(header.indexed_file) : indexe;
  int16_t h = 0;
  Verifie(dossier_->AjouteArbre(std::move(a), &h), kOp, objet);
  arbre = h;
}

// A tree that is absent is created empty only when its data file has no live record: a tree
// lost beside a file that holds records would otherwise come back empty, and every record
// would silently vanish from the walks. It is rebuilt instead.
void SrvBArbreImpl::SansArbreVide(bool dependance, const std::string& fichier,
                                  const std::string& path, const std::string& objet) {
  constexpr std::string_view kOp = "B_Arbre";
  bool present = false;
  Verifie(isam::Status::FromIo(dossier_->env()->FileExists(path, &present)), kOp, objet);
  if (present) return;
  std::string donnees;
  Verifie(dossier_->Chemin(dependance, fichier, ".DAT", false, &donnees), kOp, objet);
  bool existe = false;
  Verifie(isam::Status::FromIo(dossier_->env()->FileExists(donnees, &existe)), kOp, objet);
  if (!existe) return;
  isam::Lecture lecture(*dossier_, kOp);
  std::unique_ptr<isam::DataFile> d;
  isam::DataFile::Options options;
  options.read_only = true;
  options.cache_blocks = 4;
  Verifie(isam::DataFile::Open(dossier_->env(), donnees, 0, options, &d), kOp, fichier + ".DAT");
  const uint32_t vivants = d->LastRecord() - d->Deleted();
  if (vivants != 0) isam::ArbreVideRefuse(objet, fichier, vivants);
}

void SrvBArbreImpl::Comptes(int16_t arbre, int16_t fichier, int64_t& cles, int32_t& vivants) {
  constexpr std::string_view kOp = "Comptes";
  isam::Lecture lecture(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  FichierOuvert& f = FichierDe(a, fichier, kOp);
  isam::BTreeHeader h;
  Verifie(a.arbre->Header(&h), kOp, a.objet);
  cles = static_cast<int64_t>(h.keys);
  vivants = static_cast<int32_t>(f.fichier->LastRecord() - f.fichier->Deleted());
}

void SrvBArbreImpl::Insere(int16_t arbre, std::string_view cle, int16_t fichier, int32_t& no_enr) {
  constexpr std::string_view kOp = "Insere";
  isam::Operation op(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  FichierOuvert& f = FichierDe(a, fichier, kOp);
  isam::ExigeEcriture(f, kOp);
  if (f.proprietaire == nullptr) {
    throw ErreurService(kOp, f.objet,
                        "fichier ouvert sans propriétaire : pas de méthode Ecrire" + f.methode);
  }
  Cle(a, cle, kOp);
  uint32_t no = f.fichier->LastRecord() + 1;
  Exige(no <= static_cast<uint32_t>(std::numeric_limits<int32_t>::max()), kOp, f.objet,
        "le fichier est plein");
  // The key goes in first: a refused key leaves both files as they were.
  Status s = a.arbre->Insert(key_, no);
  if (s.IsDuplicate()) {
    std::string shown;
    isam::DecodeBytes(key_, &shown);
    throw ErreurService(kOp, a.objet,
                        "la clé \"" + Trim(shown) + "\" existe déjà : rien n'est écrit");
  }
  Verifie(s, kOp, a.objet);
  // Kept for the undo in a string of its own: the owner's method may insert through this same
  // service, which reuses key_.
  const std::string undo_key(key_);
  try {
    isam::AppelleProprietaire(f, false, static_cast<int32_t>(no), kOp);
    if (f.fichier->LastRecord() < no) {
      throw ErreurService(kOp, f.objet,
                          "la méthode Ecrire" + f.methode + " n'a pas écrit l'enregistrement " +
                              std::to_string(no));
    }
  } catch (...) {
    Status undo = a.arbre->Erase(undo_key, no);
    (void)undo;  // the owner's error is reported; the operation's undo restores the tree anyway
    throw;
  }
  f.courant = static_cast<int32_t>(no);
  no_enr = static_cast<int32_t>(no);
  op.Fin(a.objet);
}

void SrvBArbreImpl::InsS(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) {
  constexpr std::string_view kOp = "InsS";
  isam::Operation op(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  FichierOuvert& f = FichierDe(a, fichier, kOp);
  Exige(a.arbre->Nature() == 'S', kOp, a.objet,
        "InsS est réservé aux B-arbres secondaires : Insere crée l'enregistrement d'une clé "
        "primaire");
  isam::ExigeVivant(f, no_enr, kOp);
  Cle(a, cle, kOp);
  Status s = a.arbre->Insert(key_, static_cast<uint32_t>(no_enr));
  Exige(!s.IsDuplicate(), kOp, a.objet,
        "la clé existe déjà pour l'enregistrement " + std::to_string(no_enr));
  Verifie(s, kOp, a.objet);
  op.Fin(a.objet);
}

void SrvBArbreImpl::Recherche(int16_t arbre, std::string_view cle, int16_t fichier, bool& trouve) {
  constexpr std::string_view kOp = "Recherche";
  isam::Lecture lecture(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  FichierOuvert& f = FichierDe(a, fichier, kOp);
  Cle(a, cle, kOp);
  uint32_t no = 0;
  Status s = a.arbre->Find(key_, &no);
  a.curseur = true;
  a.cle_curseur.assign(key_);
  if (s.IsNotFound()) {
    a.no_curseur = 0;
    f.courant = 0;
    trouve = false;
    return;
  }
  Verifie(s, kOp, a.objet);
  a.no_curseur = no;
  LitEnregistrement(a, f, no, kOp);
  trouve = true;
}

void SrvBArbreImpl::Parcours(int16_t arbre, int16_t fichier, bool premier, bool& trouve,
                             std::string& cle) {
  std::string_view op = premier ? "PremCle" : "SuivCle";
  isam::Lecture lecture(*dossier_, op);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, op);
  FichierOuvert& f = FichierDe(a, fichier, op);
  Exige(premier || a.curseur, op, a.objet,
        "aucune position dans le B-arbre : PremCle ou Recherche d'abord");
  // On a primary tree the walk goes past the key whatever its record: a record modified under
  // the walk (deleted, then inserted again with a new number) is not met twice.
  uint32_t after = a.arbre->Nature() == 'P' && a.no_curseur != 0
                       ? std::numeric_limits<uint32_t>::max()
                       : a.no_curseur;
  uint32_t no = 0;
  Status s = premier ? a.arbre->SeekAfter("", 0, &found_, &no)
                     : a.arbre->SeekAfter(a.cle_curseur, after, &found_, &no);
  if (s.IsNotFound()) {
    if (premier) a.curseur = false;
    f.courant = 0;
    trouve = false;
    cle.clear();
    return;
  }
  Verifie(s, op, a.objet);
  a.curseur = true;
  a.cle_curseur.swap(found_);
  a.no_curseur = no;
  // The walk's records lie anywhere in the data file: where the block of the record two reads
  // ahead sits is asked now, its bytes halfway there, so that the fetches from memory overlap
  // the steps in between.
  const uint32_t loin = a.arbre->RecordAhead(2 * isam::kLectureAvance);
  f.fichier->PrefetchLocation(loin);
  uint32_t& proche = a.avance[a.pas++ % isam::kLectureAvance];
  f.fichier->Prefetch(proche);
  proche = loin;
  LitEnregistrement(a, f, no, op);
  isam::DecodeBytes(a.cle_curseur, &cle);
  trouve = true;
}

void SrvBArbreImpl::PremCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) {
  Parcours(arbre, fichier, true, trouve, cle);
}

void SrvBArbreImpl::SuivCle(int16_t arbre, int16_t fichier, bool& trouve, std::string& cle) {
  Parcours(arbre, fichier, false, trouve, cle);
}

void SrvBArbreImpl::Supprime(int16_t arbre, std::string_view cle, int32_t no_enr, int16_t fichier) {
  constexpr std::string_view kOp = "Supprime";
  isam::Operation op(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  FichierOuvert& f = FichierDe(a, fichier, kOp);
  Cle(a, cle, kOp);
  bool primaire = a.arbre->Nature() == 'P';
  if (primaire) {
    isam::ExigeEcriture(f, kOp);
    isam::ExigeVivant(f, no_enr, kOp);
  }
  if (no_enr < 1) {
    throw ErreurService(kOp, a.objet,
                        "numéro d'enregistrement " + std::to_string(no_enr) + " refusé");
  }
  Status s = a.arbre->Erase(key_, static_cast<uint32_t>(no_enr));
  if (s.IsNotFound()) {
    std::string shown;
    isam::DecodeBytes(key_, &shown);
    throw ErreurService(kOp, a.objet,
                        "la clé \"" + Trim(shown) + "\" n'existe pas pour l'enregistrement " +
                            std::to_string(no_enr) + " : rien n'est supprimé");
  }
  Verifie(s, kOp, a.objet);
  if (primaire) {
    Verifie(f.fichier->MarkDeleted(static_cast<uint32_t>(no_enr)), kOp, f.objet);
  }
  if (f.courant == no_enr) f.courant = 0;
  op.Fin(a.objet);
}

void SrvBArbreImpl::ListeEnr(int16_t arbre, int32_t& nombre, std::string& liste,
                             std::string_view filtre) {
  constexpr std::string_view kOp = "ListeEnr";
  isam::Lecture lecture(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  // The filter's bytes, then only as many as it has characters (the rest is padding).
  std::string bytes;
  Verifie(isam::EncodeFixed(filtre, a.arbre->KeyLength(), "filtre", &bytes), kOp, a.objet);
  size_t prefix_len = text::CountChars(filtre);
  std::string_view want(bytes.data(), prefix_len);
  std::string out = "[]";
  int32_t count = 0;
  auto add = [&](std::string_view key, uint32_t record) {
    if (!key.starts_with(want)) return false;
    Ajoute(out, std::to_string(record), kOp);
    ++count;
    return true;
  };
  if (prefix_len == 0) {
    Verifie(a.arbre->ForEach(add), kOp, a.objet);
  } else {
    std::string start(want);
    start.resize(a.arbre->KeyLength(), '\0');
    std::string key;
    uint32_t record = 0;
    Status s = a.arbre->SeekAfter(start, 0, &key, &record);
    while (s.ok() && add(key, record)) {
      std::string from = key;
      s = a.arbre->SeekAfter(from, record, &key, &record);
    }
    if (!s.IsNotFound()) Verifie(s, kOp, a.objet);
  }
  liste = std::move(out);
  nombre = count;
}

}  // namespace vesk
