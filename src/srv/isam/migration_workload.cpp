#include "srv/isam/migration_workload.h"

#include <algorithm>

#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/srv_donnee_impl.h"

namespace vesk::isam {

namespace {

using Source = PieceMigration::Source;

PieceMigration Copie(const char* variable, int32_t vers, int32_t longueur, int32_t depuis,
                     int32_t longueur_ancienne) {
  return {Source::kCopie, variable, vers, longueur, depuis, longueur_ancienne, "", {}};
}

BArbreAReconstruire Arbre(const char* nom, int16_t longueur, const char* nature, size_t at) {
  return {nom, longueur, nature, [at, longueur](std::string_view rec, std::string& cle) {
            cle.assign(rec.substr(at, static_cast<size_t>(longueur)));
          }};
}

std::string Extension(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(dot);
}

void AjouteDonnees(Env* env, const std::string& path, std::string* out) {
  std::unique_ptr<DataFile> f;
  DataFile::Options options;
  options.read_only = true;
  Status s = DataFile::Open(env, path, 0, options, &f);
  if (!s.ok()) {
    *out += "erreur " + s.message() + "\n";
    return;
  }
  *out += std::to_string(f->RecordLength()) + " " + std::to_string(f->LastRecord()) + "/" +
          std::to_string(f->Deleted()) + "\n";
  std::string rec(f->RecordLength(), '\0');
  for (uint32_t no = 1; no <= f->LastRecord(); ++no) {
    bool deleted = false;
    s = f->Read(no, rec);
    if (s.ok()) s = f->IsDeleted(no, &deleted);
    *out += s.ok() ? (deleted ? "- " : "+ ") + rec : "erreur " + s.message();
    *out += "\n";
  }
}

void AjouteArbre(Env* env, const std::string& path, std::string* out) {
  std::unique_ptr<BTree> t;
  Status s = BTree::OpenAsMade(env, path, BTreeOptions{}, &t);
  if (s.ok()) {
    *out += std::to_string(t->KeyLength()) + t->Nature() + "\n";
    s = t->ForEach([&](std::string_view key, uint32_t record) {
      *out += std::string(key) + " " + std::to_string(record) + "\n";
      return true;
    });
  }
  if (!s.ok()) *out += "erreur " + s.message() + "\n";
}

}  // namespace

void MigrationWorkload::Prepare(DossierDonnees& d) {
  auto dossier = std::shared_ptr<DossierDonnees>(&d, [](DossierDonnees*) {});
  SrvDonneeImpl donnee(dossier);
  int16_t h = 0;
  donnee.Donnee(false, "Dic", 16, h, nullptr, "Dictionnaire", "", "", true);
  if (d.Fichier(h)->fichier->LastRecord() == 0) donnee.EcrireFichier(h, 1, "VERSION 1");
}

PlanMigration MigrationWorkload::Plan() {
  FichierMigre f;
  f.nom = "Cli";
  f.longueur_ancienne = 40;
  f.longueur = 48;
  f.convertit = true;
  f.pieces = {Copie("CLE", 1, 10, 1, 8),       {Source::kDonnee, "PAYS", 11, 2, 0, 0, "FR", {}},
              Copie("VILLE", 13, 4, 9, 4),     Copie("NOM", 17, 18, 13, 18),
              Copie("PREMIERE", 35, 3, 31, 3), Copie("DERNIERE", 38, 3, 34, 3)};
  f.arbres_anciens = {"Cli", "Cli2"};
  f.arbres = {Arbre("Cli", 10, "P", 0), Arbre("Cli2", 4, "S", 12)};
  PlanMigration p;
  p.fichiers.push_back(std::move(f));
  return p;
}

void MigrationWorkload::Run(DossierDonnees& d) {
  auto dossier = std::shared_ptr<DossierDonnees>(&d, [](DossierDonnees*) {});
  SrvDonneeImpl donnee(dossier);
  int16_t h = 0;
  donnee.Donnee(false, "Dic", 16, h, nullptr, "Dictionnaire", "", "", false);
  donnee.DebutLot();
  donnee.EcrireFichier(h, 1, "VERSION 2");
  SuiviMuet muet;
  BilanMigration bilan;
  donnee.Migre(Plan(), muet, bilan);
  if (!bilan.refus.empty()) throw ErreurService("Migre", d.Dossier(), bilan.refus);
}

std::string MigrationWorkload::State(Env* env, const std::string& dir) {
  std::vector<std::string> names;
  if (!env->ListDirectory(dir, &names).ok()) return "dossier illisible\n";
  std::sort(names.begin(), names.end());
  std::string out;
  for (const std::string& n : names) {
    const std::string ext = Extension(n);
    if (ext != ".DAT" && ext != ".DAB") continue;
    out += n + "\n";
    if (ext == ".DAT") {
      AjouteDonnees(env, platform::JoinPath(dir, n), &out);
    } else {
      AjouteArbre(env, platform::JoinPath(dir, n), &out);
    }
  }
  return out;
}

ChainToCheck MigrationWorkload::Chaining(const std::string& dir, bool after) {
  return {platform::JoinPath(dir, "CLI.DAT"),
          platform::JoinPath(dir, "LIG.DAT"),
          after ? 34u : 30u,
          after ? 37u : 33u,
          0,
          3};
}

}  // namespace vesk::isam
