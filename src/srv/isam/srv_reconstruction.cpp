// The rebuild as the data-file service offers it: the plan checked and given to the engine, its
// steps and outcome told in the service's terms, refusals told apart from failures.
#include <exception>

#include "srv/erreur_service.h"
#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/rebuild.h"
#include "srv/isam/service_util.h"
#include "srv/isam/srv_donnee_impl.h"

namespace vesk {

namespace {

using isam::Status;

// The plan checked as the service takes it: names of the folder, trees of a known nature and
// key length, pointers at positions from 1. The engine reads it as it stands (rebuild.h).
void ControlePlan(const PlanReconstruction& plan, std::string_view op) {
  for (const FichierAReconstruire& f : plan.fichiers) {
    isam::Verifie(isam::CheckName(f.nom, "fichier"), op, f.nom);
    for (const BArbreAReconstruire& a : f.arbres) {
      isam::Verifie(isam::CheckName(a.nom, "B-arbre"), op, a.nom);
      Exige(a.longueur_cle >= 1 && (a.nature == "P" || a.nature == "S"), op, a.nom,
            "longueur de clé ou nature impossible");
    }
  }
  for (const ChainageAReconstruire& c : plan.chainages) {
    Exige(c.pos_premiere > 0 && c.pos_derniere > 0 && c.pos_precedente > 0 && c.pos_suivante > 0,
          op, "chaînage", "position de pointeur impossible");
  }
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
  ControlePlan(plan, kOp);
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
  const Status s = isam::Rebuild(*dossier_, plan, observer, &r);
  Bilan(r, bilan);
  if (r.key_error) std::rethrow_exception(r.key_error);
  if (erreur_suivi) std::rethrow_exception(erreur_suivi);
  if (s.ok()) return;
  if (r.refused && !r.in_place && !r.copy_failed) {
    bilan.refus = s.message();
    return;
  }
  isam::Verifie(s, kOp, bilan.chemin.empty() ? dossier_->Dossier() : bilan.chemin);
}

}  // namespace vesk
