// The rebuild as the data-file service offers it: the plan in the component's terms turned into
// the engine's, record texts and keys between UTF-8 and the bytes on disk, refusals told apart
// from failures.
#include <exception>

#include "srv/erreur_service.h"
#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/rebuild.h"
#include "srv/isam/record_text.h"
#include "srv/isam/service_util.h"
#include "srv/isam/srv_donnee_impl.h"

namespace vesk {

namespace {

using isam::Status;

// A key builder of the component over record bytes: the record decoded, the key encoded and
// padded to the tree's length. An exception of the builder is kept for the caller and stops the
// rebuild.
isam::RebuildTree Arbre(const BArbreAReconstruire& a, std::exception_ptr* erreur) {
  isam::RebuildTree t;
  t.name = a.nom;
  t.key_length = static_cast<uint16_t>(a.longueur_cle);
  t.nature = a.nature == "S" ? 'S' : 'P';
  t.key = [&a, erreur, texte = std::string(), cle = std::string()](std::string_view octets,
                                                                   std::string* key) mutable {
    try {
      isam::DecodeBytes(octets, &texte);
      cle.clear();
      a.cle(texte, cle);
    } catch (...) {
      *erreur = std::current_exception();
      return Status::InvalidArgument("clé de " + a.nom);
    }
    return isam::EncodeFixed(cle, static_cast<size_t>(a.longueur_cle), "clé de " + a.nom, key);
  };
  return t;
}

isam::RebuildPlan Plan(const PlanReconstruction& plan, std::exception_ptr* erreur,
                       std::string_view op) {
  isam::RebuildPlan p;
  for (const FichierAReconstruire& f : plan.fichiers) {
    isam::Verifie(isam::CheckName(f.nom, "fichier"), op, f.nom);
    isam::RebuildFile r{f.nom, f.dependance_entreprise, f.choisi, {}};
    for (const BArbreAReconstruire& a : f.arbres) {
      isam::Verifie(isam::CheckName(a.nom, "B-arbre"), op, a.nom);
      Exige(a.longueur_cle >= 1 && (a.nature == "P" || a.nature == "S"), op, a.nom,
            "longueur de clé ou nature impossible");
      r.trees.push_back(Arbre(a, erreur));
    }
    p.files.push_back(std::move(r));
  }
  for (const ChainageAReconstruire& c : plan.chainages) {
    Exige(c.pos_premiere > 0 && c.pos_derniere > 0 && c.pos_precedente > 0 && c.pos_suivante > 0,
          op, "chaînage", "position de pointeur impossible");
    p.chains.push_back({c.entete, c.ligne, static_cast<uint32_t>(c.pos_premiere - 1),
                        static_cast<uint32_t>(c.pos_derniere - 1),
                        static_cast<uint32_t>(c.pos_precedente - 1),
                        static_cast<uint32_t>(c.pos_suivante - 1)});
  }
  return p;
}

EtapeReconstruction Etape(const isam::RebuildEvent& e) {
  using K = isam::RebuildEvent::Kind;
  using N = EtapeReconstruction::Nature;
  const N nature = e.kind == K::kRecord      ? N::kEnregistrement
                   : e.kind == K::kCompacted ? N::kCompacte
                   : e.kind == K::kWritten   ? N::kEcrit
                                             : N::kBArbre;
  return {nature,
          e.file,
          e.tree,
          static_cast<int32_t>(e.old_no),
          static_cast<int32_t>(e.new_no),
          static_cast<int64_t>(e.count),
          e.moved};
}

void Bilan(const isam::RebuildResult& r, BilanReconstruction& bilan) {
  bilan = BilanReconstruction{};
  for (const isam::RebuildResult::File& f : r.files) {
    BilanReconstruction::Fichier b;
    b.reecrit = f.rewritten;
    b.gardes = static_cast<int32_t>(f.kept);
    b.supprimes = static_cast<int32_t>(f.removed);
    for (uint64_t k : f.keys) b.cles.push_back(static_cast<int64_t>(k));
    b.arbres_reconstruits = f.trees_rebuilt;
    bilan.fichiers.push_back(std::move(b));
  }
  bilan.en_place = r.in_place;
  bilan.copie_echouee = r.copy_failed;
  bilan.chemin = r.chosen_path;
}

}  // namespace

void SrvDonneeImpl::ExisteDonnee(bool dependance_entreprise, std::string_view nom, bool& existe) {
  constexpr std::string_view kOp = "ExisteDonnee";
  isam::Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  existe = false;
  if (dependance_entreprise && dossier_->Entreprise().empty()) return;
  std::string path;
  isam::Verifie(dossier_->Chemin(dependance_entreprise, nom, ".DAT", false, &path), kOp, nom);
  isam::Verifie(Status::FromIo(dossier_->env()->FileExists(path, &existe)), kOp, path);
}

void SrvDonneeImpl::Supprimes(bool dependance_entreprise, std::string_view nom, int32_t& nombre) {
  constexpr std::string_view kOp = "Supprimes";
  isam::Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  std::string path;
  isam::Verifie(dossier_->Chemin(dependance_entreprise, nom, ".DAT", false, &path), kOp, nom);
  isam::Lecture lecture(*dossier_, kOp);
  std::unique_ptr<isam::DataFile> f;
  isam::DataFile::Options options;
  options.read_only = true;
  options.cache_blocks = 4;
  isam::Verifie(isam::DataFile::Open(dossier_->env(), path, 0, options, &f), kOp, path);
  nombre = static_cast<int32_t>(f->Deleted());
}

void SrvDonneeImpl::Reconstruit(const PlanReconstruction& plan, const SuiviReconstruction& suivi,
                                BilanReconstruction& bilan) {
  constexpr std::string_view kOp = "Reconstruit";
  std::exception_ptr erreur;
  const isam::RebuildPlan p = Plan(plan, &erreur, kOp);
  std::exception_ptr erreur_suivi;
  isam::RebuildObserver observer = [&](const isam::RebuildEvent& e) {
    if (!suivi) return Status::Ok();
    try {
      suivi(Etape(e));
      return Status::Ok();
    } catch (...) {
      // Shown once the folder is let go; the rebuild stops, nothing put in place.
      erreur_suivi = std::current_exception();
      return Status::InvalidArgument("reconstruction interrompue par son suivi");
    }
  };
  isam::RebuildResult r;
  const Status s = isam::Rebuild(*dossier_, p, observer, &r);
  Bilan(r, bilan);
  if (erreur) std::rethrow_exception(erreur);
  if (erreur_suivi) std::rethrow_exception(erreur_suivi);
  if (s.ok()) return;
  if (r.refused && !r.in_place && !r.copy_failed) {
    bilan.refus = s.message();
    return;
  }
  isam::Verifie(s, kOp, bilan.chemin.empty() ? dossier_->Dossier() : bilan.chemin);
}

}  // namespace vesk
