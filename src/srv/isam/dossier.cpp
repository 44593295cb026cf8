#include "srv/isam/dossier.h"

#include <limits>

#include "srv/isam/names.h"

namespace vesk::isam {

namespace {

constexpr size_t kMaxHandles = std::numeric_limits<int16_t>::max();

template <typename T>
T* At(std::vector<std::unique_ptr<T>>& v, int16_t handle) {
  if (handle < 1 || static_cast<size_t>(handle) > v.size()) return nullptr;
  return v[handle - 1].get();
}

template <typename T>
Status Add(std::vector<std::unique_ptr<T>>& v, std::unique_ptr<T> item, int16_t* handle,
           std::string_view what) {
  if (v.size() >= kMaxHandles) {
    return Status::InvalidArgument("trop de " + std::string(what) + " ouverts (" +
                                   std::to_string(kMaxHandles) + " au plus)");
  }
  v.push_back(std::move(item));
  *handle = static_cast<int16_t>(v.size());
  return Status::Ok();
}

}  // namespace

DossierDonnees::DossierDonnees(Env* env, std::string dossier, std::string entreprise,
                               size_t cache_octets)
    : env_(env),
      dossier_(std::move(dossier)),
      entreprise_(std::move(entreprise)),
      cache_octets_(cache_octets) {}

DossierDonnees::~DossierDonnees() {
  // Whatever is still in the caches goes to the files; a failure here has no one to tell.
  Status ignored = Ecrit();
  (void)ignored;
}

Status DossierDonnees::Chemin(bool dependance, std::string_view nom, std::string_view extension,
                              bool create, std::string* path) {
  VESK_RETURN_IF_ERROR(CheckName(nom, "fichier"));
  std::string dir = dossier_;
  if (dependance) {
    if (entreprise_.empty()) {
      return Status::InvalidArgument("fichier " + UpperAscii(nom) +
                                     " dépendant de l'entreprise : aucune entreprise courante");
    }
    VESK_RETURN_IF_ERROR(CheckName(entreprise_, "entreprise"));
    dir = platform::JoinPath(dossier_, UpperAscii(entreprise_));
    if (create) VESK_RETURN_IF_ERROR(Status::FromIo(env_->CreateDirectories(dir)));
  }
  *path = platform::JoinPath(dir, UpperAscii(nom) + std::string(extension));
  return Status::Ok();
}

FichierOuvert* DossierDonnees::Fichier(int16_t handle) { return At(fichiers_, handle); }
ArbreOuvert* DossierDonnees::Arbre(int16_t handle) { return At(arbres_, handle); }
TexteOuvert* DossierDonnees::Texte(int16_t handle) { return At(textes_, handle); }

int16_t DossierDonnees::ChercheFichier(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom && fichiers_[i]->dependance == dependance) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

int16_t DossierDonnees::ChercheFichier(std::string_view nom) const {
  for (size_t i = 0; i < fichiers_.size(); ++i) {
    if (fichiers_[i]->nom == nom) return static_cast<int16_t>(i + 1);
  }
  return 0;
}

int16_t DossierDonnees::ChercheArbre(std::string_view nom, bool dependance) const {
  for (size_t i = 0; i < arbres_.size(); ++i) {
    if (arbres_[i]->nom == nom && arbres_[i]->dependance == dependance) {
      return static_cast<int16_t>(i + 1);
    }
  }
  return 0;
}

Status DossierDonnees::AjouteFichier(std::unique_ptr<FichierOuvert> f, int16_t* handle) {
  VESK_RETURN_IF_ERROR(Add(fichiers_, std::move(f), handle, "fichiers de données"));
  RecalculePointeurs();
  return Status::Ok();
}

Status DossierDonnees::AjouteArbre(std::unique_ptr<ArbreOuvert> a, int16_t* handle) {
  return Add(arbres_, std::move(a), handle, "B-arbres");
}

Status DossierDonnees::AjouteTexte(std::unique_ptr<TexteOuvert> t, int16_t* handle) {
  // A closed handle is given again before the table grows.
  for (size_t i = 0; i < textes_.size(); ++i) {
    if (!textes_[i]) {
      textes_[i] = std::move(t);
      *handle = static_cast<int16_t>(i + 1);
      return Status::Ok();
    }
  }
  return Add(textes_, std::move(t), handle, "fichiers texte");
}

void DossierDonnees::FermeTexte(int16_t handle) {
  if (handle >= 1 && static_cast<size_t>(handle) <= textes_.size()) textes_[handle - 1].reset();
}

void DossierDonnees::DeclareChainage(const ChainageOuvert& c) {
  for (ChainageOuvert& old : chainages_) {
    if (old.ligne == c.ligne) {
      old = c;
      RecalculePointeurs();
      return;
    }
  }
  chainages_.push_back(c);
  RecalculePointeurs();
}

ChainageOuvert* DossierDonnees::ChainageDeLigne(int16_t ligne) {
  for (ChainageOuvert& c : chainages_) {
    if (c.ligne == ligne) return &c;
  }
  return nullptr;
}

void DossierDonnees::RecalculePointeurs() {
  for (auto& f : fichiers_) f->pointeurs.clear();
  for (const ChainageOuvert& c : chainages_) {
    if (FichierOuvert* e = Fichier(c.entete)) {
      e->pointeurs.push_back(c.premiere);
      e->pointeurs.push_back(c.derniere);
    }
    if (FichierOuvert* l = Fichier(c.ligne)) {
      l->pointeurs.push_back(c.precedente);
      l->pointeurs.push_back(c.suivante);
    }
  }
}

void DossierDonnees::Touche(FichierOuvert* f) {
  if (!f->touche) {
    f->touche = true;
    fichiers_touches_.push_back(f);
  }
}

void DossierDonnees::Touche(ArbreOuvert* a) {
  if (!a->touche) {
    a->touche = true;
    arbres_touches_.push_back(a);
  }
}

Status DossierDonnees::Ecrit() {
  Status first;
  auto keep = [&first](Status s) {
    if (first.ok() && !s.ok()) first = s;
  };
  for (FichierOuvert* f : fichiers_touches_) {
    keep(synchro_full_ ? f->fichier->Sync() : f->fichier->Flush());
    f->touche = false;
  }
  for (ArbreOuvert* a : arbres_touches_) {
    keep(synchro_full_ ? a->arbre->Sync() : a->arbre->Flush());
    a->touche = false;
  }
  fichiers_touches_.clear();
  arbres_touches_.clear();
  return first;
}

Status DossierDonnees::Sort() {
  if (profondeur_ > 0) --profondeur_;
  if (profondeur_ > 0 || lot_ > 0) return Status::Ok();
  return Ecrit();
}

Status DossierDonnees::DebutLot() {
  ++lot_;
  return Status::Ok();
}

Status DossierDonnees::FinLot() {
  if (lot_ == 0) return Status::InvalidArgument("fin de lot sans début de lot");
  if (--lot_ > 0 || profondeur_ > 0) return Status::Ok();
  return Ecrit();
}

Lot::Lot(DossierDonnees& dossier) : dossier_(dossier) {
  Status ignored = dossier_.DebutLot();
  (void)ignored;
}

Lot::~Lot() {
  if (!fini_) {
    Status ignored = Termine();
    (void)ignored;
  }
}

Status Lot::Termine() {
  if (fini_) return Status::Ok();
  fini_ = true;
  return dossier_.FinLot();
}

}  // namespace vesk::isam
