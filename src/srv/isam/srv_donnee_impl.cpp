#include "srv/isam/srv_donnee_impl.h"

#include <cstring>

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/service_util.h"
#include "srv/list/liste.h"
#include "srv/text/cp1252.h"

namespace vesk {

using isam::FichierOuvert;
using isam::Status;
using isam::Verifie;

static_assert(kLongueurEnrMin == isam::kMinRecordLength &&
              kLongueurEnrMax == isam::kMaxRecordLength);

namespace {

// "[e1,e2]" of name and handle.
std::string Paire(std::string_view nom, int16_t handle) {
  std::string h = std::to_string(handle);
  std::string_view parts[] = {nom, h};
  std::string out;
  size_t bad = 0;
  list::Build(parts, out, bad);
  return out;
}

void AjouteElement(std::string& liste, std::string_view element, std::string_view operation) {
  list::Which which;
  list::Fault f = list::Append(liste, element, which);
  Exige(f.ok(), operation, element, f.Message());
}

// Resolves the owner's two methods; an error names the missing one.
void ResoutMethodes(FichierOuvert& f, bool ecriture, std::string_view operation) {
  if (f.proprietaire == nullptr) return;
  std::string lire = "Lire" + f.methode;
  std::string ecrire = "Ecrire" + f.methode;
  f.id_lire = f.proprietaire->IdMethode(lire);
  Exige(f.id_lire >= 0, operation, f.objet, "le propriétaire n'a pas de méthode " + lire);
  if (!ecriture) return;
  f.id_ecrire = f.proprietaire->IdMethode(ecrire);
  Exige(f.id_ecrire >= 0, operation, f.objet, "le propriétaire n'a pas de méthode " + ecrire);
}

}  // namespace

SrvDonneeImpl::SrvDonneeImpl(std::shared_ptr<isam::DossierDonnees> dossier)
    : dossier_(std::move(dossier)) {}

void SrvDonneeImpl::ListeOuverts(std::string_view nature, std::string& liste, int32_t& nombre) {
  constexpr std::string_view kOp = "ListeOuverts";
  std::string n = isam::UpperAscii(nature);
  Exige(n == "B" || n == "D", kOp, nature,
        "nature inconnue : \"B\" pour les B-arbres, \"D\" pour les fichiers de données");
  std::string out = "[]";
  int16_t count = n == "B" ? dossier_->NombreArbres() : dossier_->NombreFichiers();
  for (int16_t h = 1; h <= count; ++h) {
    const std::string& nom = n == "B" ? dossier_->Arbre(h)->nom : dossier_->Fichier(h)->nom;
    AjouteElement(out, Paire(nom, h), kOp);
  }
  liste = std::move(out);
  nombre = count;
}

void SrvDonneeImpl::LireEnr(int16_t fichier, int32_t no_enr) {
  constexpr std::string_view kOp = "LireEnr";
  isam::Lecture lecture(*dossier_, kOp);
  FichierOuvert& f = isam::FichierOuErreur(*dossier_, fichier, kOp);
  isam::ExigeVivant(f, no_enr, kOp);
  isam::AppelleProprietaire(f, true, no_enr, kOp);
  f.courant = no_enr;
}

void SrvDonneeImpl::Donnee(bool dependance_entreprise, std::string_view nom, int16_t longueur_enr,
                           int16_t& fichier, Proprietaire* proprietaire, std::string_view libelle,
                           std::string_view methode, std::string_view mode, bool creation) {
  constexpr std::string_view kOp = "Donnee";
  Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  std::string objet = isam::UpperAscii(nom) + ".DAT";
  Exige(longueur_enr >= static_cast<int16_t>(isam::kMinRecordLength), kOp, objet,
        "longueur d'enregistrement " + std::to_string(longueur_enr) + " refusée (5 au moins)");
  std::string m = isam::UpperAscii(mode);
  Exige(m.empty() || m == "L", kOp, objet,
        "mode \"" + std::string(mode) +
            "\" inconnu : \"\" pour lire et écrire, \"L\" pour lire seulement");
  if (!methode.empty()) Verifie(isam::CheckName(methode, "méthode"), kOp, objet);
  std::string label;
  Verifie(isam::EncodeFixed(libelle, isam::kLabelLength, "libellé", &label), kOp, objet);

  auto f = std::make_unique<FichierOuvert>();
  f->nom = isam::UpperAscii(nom);
  f->objet = objet;
  f->dependance = dependance_entreprise;
  f->proprietaire = proprietaire;
  f->methode = methode.empty() ? std::string(nom) : std::string(methode);
  ResoutMethodes(*f, m.empty(), kOp);

  if (int16_t h = dossier_->ChercheFichier(f->nom, dependance_entreprise)) {
    FichierOuvert& open = *dossier_->Fichier(h);
    Exige(open.fichier->RecordLength() == static_cast<uint32_t>(longueur_enr), kOp, objet,
          "déjà ouvert avec des enregistrements de " +
              std::to_string(open.fichier->RecordLength()) + " caractères");
    if (proprietaire != nullptr) {
      open.proprietaire = proprietaire;
      open.methode = f->methode;
      open.id_lire = f->id_lire;
      open.id_ecrire = f->id_ecrire;
    }
    fichier = h;
    return;
  }
  std::string path;
  Verifie(dossier_->Chemin(dependance_entreprise, nom, ".DAT", creation, &path), kOp, objet);
  isam::DataFile::Options options;
  options.create = creation;
  options.read_only = !m.empty();
  size_t end = label.find_last_not_of(' ');
  options.label = std::string_view(label).substr(0, end == std::string::npos ? 0 : end + 1);
  options.cache_blocks = dossier_->CacheBlocs();
  options.pool = dossier_->Cache();
  // Opened under the folder's lock, as every read: a header read while another process commits
  // could count records whose blocks are not written yet ("fichier tronqué").
  isam::SousVerrou(*dossier_, creation, path, kOp, [&] {
    Verifie(isam::DataFile::Open(dossier_->env(), path, static_cast<uint32_t>(longueur_enr),
                                 options, &f->fichier),
            kOp, objet);
  });
  int16_t h = 0;
  Verifie(dossier_->AjouteFichier(std::move(f), &h), kOp, objet);
  fichier = h;
}

void SrvDonneeImpl::EcrireFichier(int16_t fichier, int32_t no_enr, std::string_view texte) {
  constexpr std::string_view kOp = "EcrireFichier";
  isam::Operation op(*dossier_, kOp);
  FichierOuvert& f = isam::FichierOuErreur(*dossier_, fichier, kOp);
  isam::ExigeEcriture(f, kOp);
  uint32_t last = f.fichier->LastRecord();
  if (no_enr < 1 || static_cast<uint32_t>(no_enr) > last + 1) {
    throw ErreurService(kOp, f.objet,
                        "écriture de l'enregistrement " + std::to_string(no_enr) +
                            (no_enr < 1 ? " : les numéros commencent à 1"
                                        : " : le fichier a " + std::to_string(last) +
                                              " enregistrements, on ne peut écrire qu'après le "
                                              "dernier"));
  }
  uint32_t length = f.fichier->RecordLength();
  Verifie(isam::EncodeFixed(texte, length, "texte de l'enregistrement", &octets_), kOp, f.objet);
  uint32_t no = static_cast<uint32_t>(no_enr);
  if (!f.pointeurs.empty() && no <= last) {
    // The chaining pointers stay as the chaining service wrote them.
    ancien_.resize(length);
    Verifie(f.fichier->Read(no, ancien_), kOp, f.objet);
    bool supprime = false;
    Verifie(f.fichier->IsDeleted(no, &supprime), kOp, f.objet);
    if (!supprime) {
      for (uint32_t at : f.pointeurs) std::memcpy(octets_.data() + at, ancien_.data() + at, 3);
    }
  }
  Verifie(f.fichier->Write(no, octets_), kOp, f.objet);
  op.Fin(f.objet);
}

void SrvDonneeImpl::LireFichier(int16_t fichier, int32_t no_enr, std::string& texte) {
  constexpr std::string_view kOp = "LireFichier";
  isam::Lecture lecture(*dossier_, kOp);
  FichierOuvert& f = isam::FichierOuErreur(*dossier_, fichier, kOp);
  uint32_t last = f.fichier->LastRecord();
  if (no_enr < 1 || static_cast<uint32_t>(no_enr) > last) {
    throw ErreurService(kOp, f.objet,
                        "lecture de l'enregistrement " + std::to_string(no_enr) +
                            (no_enr < 1 ? " : les numéros commencent à 1"
                                        : " au-delà de la fin du fichier (" + std::to_string(last) +
                                              " enregistrements)"));
  }
  const char* bytes = nullptr;
  Verifie(f.fichier->View(static_cast<uint32_t>(no_enr), &bytes), kOp, f.objet);
  isam::DecodeBytes(std::string_view(bytes, f.fichier->RecordLength()), &texte);
}

void SrvDonneeImpl::ParcourtEnregistrements(
    int16_t fichier, const std::function<bool(int32_t no_enr, std::string_view texte)>& visite) {
  constexpr std::string_view kOp = "ParcourtEnregistrements";
  isam::Lecture lecture(*dossier_, kOp);
  FichierOuvert& f = isam::FichierOuErreur(*dossier_, fichier, kOp);
  isam::DataFile& d = *f.fichier;
  std::string texte;
  for (uint32_t no = 1; no <= d.LastRecord(); ++no) {
    bool supprime = false;
    Verifie(d.IsDeleted(no, &supprime), kOp, f.objet);
    if (supprime) continue;
    const char* bytes = nullptr;
    Verifie(d.View(no, &bytes), kOp, f.objet);
    isam::DecodeBytes(std::string_view(bytes, d.RecordLength()), &texte);
    if (!visite(static_cast<int32_t>(no), texte)) return;
  }
}

void SrvDonneeImpl::NoEnrCourant(int16_t fichier, int32_t& no_enr) {
  no_enr = isam::FichierOuErreur(*dossier_, fichier, "NoEnrCourant").courant;
}

std::string SrvDonneeImpl::CheminTexte(std::string_view nom, std::string_view operation,
                                       bool* existe) {
  std::string upper;
  Verifie(isam::CheckFileName(nom, &upper), operation, nom);
  isam::Env* env = dossier_->env();
  std::string path = platform::JoinPath(dossier_->Dossier(), upper);
  Verifie(Status::FromIo(env->FileExists(path, existe)), operation, upper);
  if (*existe) return path;
  // A file written by another tool may have another case.
  std::vector<std::string> names;
  if (!env->ListDirectory(dossier_->Dossier(), &names).ok()) return path;
  for (const std::string& n : names) {
    if (isam::UpperAscii(n) == upper) {
      *existe = true;
      return platform::JoinPath(dossier_->Dossier(), n);
    }
  }
  return path;
}

void SrvDonneeImpl::OuvLect(std::string_view nom, int16_t& handle) {
  constexpr std::string_view kOp = "OuvLect";
  bool existe = false;
  std::string path = CheminTexte(nom, kOp, &existe);
  Exige(existe, kOp, nom, "fichier texte absent du dossier de données");
  auto t = std::make_unique<isam::TexteOuvert>();
  t->objet = isam::UpperAscii(nom);
  Verifie(isam::TextReader::Open(dossier_->env(), path, &t->lecteur), kOp, t->objet);
  std::string objet = t->objet;
  int16_t h = 0;
  Verifie(dossier_->AjouteTexte(std::move(t), &h), kOp, objet);
  handle = h;
}

isam::TexteOuvert& SrvDonneeImpl::TexteOuErreur(int16_t handle, std::string_view operation) {
  isam::TexteOuvert* t = dossier_->Texte(handle);
  if (t == nullptr) {
    throw ErreurService(operation, "fichier texte " + std::to_string(handle),
                        "aucun fichier texte ouvert sous ce numéro");
  }
  return *t;
}

void SrvDonneeImpl::FinFich(int16_t handle, bool& fin) {
  isam::TexteOuvert& t = TexteOuErreur(handle, "FinFich");
  Verifie(t.lecteur->AtEnd(&fin), "FinFich", t.objet);
}

void SrvDonneeImpl::LireLigne(int16_t handle, std::string& ligne) {
  isam::TexteOuvert& t = TexteOuErreur(handle, "LireLigne");
  Verifie(t.lecteur->ReadLine(&ligne), "LireLigne", t.objet);
}

void SrvDonneeImpl::Existe(std::string_view nom, bool& existe) {
  bool found = false;
  CheminTexte(nom, "Existe", &found);
  existe = found;
}

void SrvDonneeImpl::FermeLect(int16_t handle) {
  TexteOuErreur(handle, "FermeLect");
  dossier_->FermeTexte(handle);
}

void SrvDonneeImpl::EcritTexte(std::string_view nom, const std::vector<std::string>& lignes) {
  constexpr std::string_view kOp = "EcritTexte";
  bool existe = false;
  std::string path = CheminTexte(nom, kOp, &existe);
  std::string octets;
  for (const std::string& ligne : lignes) {
    octets += text::EncodeCp1252OrThrow(ligne, kOp, path);
    octets += "\r\n";
  }
  // A writer of the folder: under its exclusive lock (in a folder that cannot be written, the
  // refusal says so before anything is tried).
  isam::Operation op(*dossier_, kOp);
  isam::Env* env = dossier_->env();
  const std::string aside = path + ".NEW";
  std::unique_ptr<platform::File> f;
  Verifie(Status::FromIo(env->OpenFile(aside, platform::OpenMode::kCreateAlways, &f)), kOp, aside);
  Status s = Status::FromIo(f->WriteAt(0, octets));
  if (s.ok()) s = Status::FromIo(f->Sync());
  f.reset();
  if (s.ok()) s = Status::FromIo(env->RenameFile(aside, path));
  if (!s.ok()) {
    Status ignored = Status::FromIo(env->RemoveFile(aside));
    (void)ignored;
    Verifie(s, kOp, path);
  }
  if (env == isam::Env::Default()) {
    Verifie(Status::FromIo(platform::SyncDirectory(dossier_->Dossier())), kOp, dossier_->Dossier());
  }
  op.Fin(path);
}

void SrvDonneeImpl::SupprimeTexte(std::string_view nom) {
  constexpr std::string_view kOp = "SupprimeTexte";
  bool existe = false;
  std::string path = CheminTexte(nom, kOp, &existe);
  if (!existe) return;
  isam::Operation op(*dossier_, kOp);
  Verifie(Status::FromIo(dossier_->env()->RemoveFile(path)), kOp, path);
  op.Fin(path);
}

void SrvDonneeImpl::DebutLot() { Verifie(dossier_->DebutLot(), "DebutLot", dossier_->Dossier()); }

void SrvDonneeImpl::FinLot() {
  isam::VerifieValidation(*dossier_, dossier_->FinLot(), "FinLot", dossier_->Dossier());
}

void SrvDonneeImpl::AnnuleLot() {
  Verifie(dossier_->AnnuleLot(), "AnnuleLot", dossier_->Dossier());
}

}  // namespace vesk
