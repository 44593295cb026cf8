// The text files of SrvDonneePg: rows of the root schema's vesk_textes, read whole when opened
// and split into lines as a folder's text files are (CR LF or LF, a last line without an end
// of line counts); and Existe, which also answers for the data files and B-trees of the root.
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/pg/service_pg.h"
#include "srv/pg/srv_donnee_pg.h"
#include "srv/text/cp1252.h"

namespace vesk {

using pg::Parametres;

namespace {

std::string NomTexte(std::string_view nom, std::string_view operation) {
  std::string upper;
  isam::Status s = isam::CheckFileName(nom, &upper);
  if (!s.ok()) throw ErreurService(operation, nom, s.message());
  return upper;
}

}  // namespace

pg::TextePg& SrvDonneePg::TexteOuErreur(int16_t handle, std::string_view operation) {
  pg::TextePg* t = base_->Texte(handle);
  if (t == nullptr) {
    throw ErreurService(operation, "fichier texte " + std::to_string(handle),
                        "aucun fichier texte ouvert sous ce numéro");
  }
  return *t;
}

void SrvDonneePg::OuvLect(std::string_view nom, int16_t& handle) {
  constexpr std::string_view kOp = "OuvLect";
  const std::string upper = NomTexte(nom, kOp);
  Parametres p;
  p.Texte(upper);
  pg::Resultat r = base_->Lit(
      kOp, upper, "SELECT octets FROM " + base_->Catalogue("vesk_textes") + " WHERE nom = $1", p);
  Exige(r.Lignes() == 1, kOp, nom, "fichier texte absent de la base");
  auto t = std::make_unique<pg::TextePg>();
  t->objet = upper;
  t->octets.assign(r.Octets(0, 0));
  handle = base_->AjouteTexte(std::move(t), kOp);
}

void SrvDonneePg::FinFich(int16_t handle, bool& fin) {
  pg::TextePg& t = TexteOuErreur(handle, "FinFich");
  fin = t.position >= t.octets.size();
}

void SrvDonneePg::LireLigne(int16_t handle, std::string& ligne) {
  constexpr std::string_view kOp = "LireLigne";
  pg::TextePg& t = TexteOuErreur(handle, kOp);
  if (t.position >= t.octets.size()) {
    throw ErreurService(kOp, t.objet,
                        base_->Chemin(pg::Lieu{"", base_->Adresse().racine}, t.objet) +
                            " : lecture au-delà de la dernière ligne");
  }
  const size_t nl = t.octets.find('\n', t.position);
  size_t stop = nl == std::string::npos ? t.octets.size() : nl;
  const size_t next = nl == std::string::npos ? t.octets.size() : nl + 1;
  if (stop > t.position && t.octets[stop - 1] == '\r') --stop;
  isam::DecodeBytes(std::string_view(t.octets).substr(t.position, stop - t.position), &ligne);
  t.position = next;
}

void SrvDonneePg::Existe(std::string_view nom, bool& existe) {
  constexpr std::string_view kOp = "Existe";
  const std::string upper = NomTexte(nom, kOp);
  const size_t point = upper.find('.');
  const std::string base = upper.substr(0, point), extension = upper.substr(point + 1);
  Parametres p;
  std::string sql;
  if (extension == "DAT" || extension == "DAB") {
    // A data file or a B-tree of the root, as a folder holds them beside its texts.
    sql = "SELECT 1 FROM " +
          base_->Catalogue(extension == "DAT" ? "vesk_fichiers" : "vesk_arbres") +
          " WHERE entreprise = '' AND nom = $1";
    p.Texte(base);
  } else {
    sql = "SELECT 1 FROM " + base_->Catalogue("vesk_textes") + " WHERE nom = $1";
    p.Texte(upper);
  }
  existe = base_->Lit(kOp, upper, sql, p).Lignes() > 0;
}

void SrvDonneePg::FermeLect(int16_t handle) {
  TexteOuErreur(handle, "FermeLect");
  base_->FermeTexte(handle);
}

void SrvDonneePg::EcritTexte(std::string_view nom, const std::vector<std::string>& lignes) {
  constexpr std::string_view kOp = "EcritTexte";
  const std::string upper = NomTexte(nom, kOp);
  const std::string chemin = base_->Chemin(pg::Lieu{"", base_->Adresse().racine}, upper);
  std::string octets;
  for (const std::string& ligne : lignes) {
    octets += text::EncodeCp1252OrThrow(ligne, kOp, chemin);
    octets += "\r\n";
  }
  pg::OperationPg op(*base_, kOp);
  Parametres p;
  p.Texte(upper).Octets(octets);
  base_->Ecrit("INSERT INTO " + base_->Catalogue("vesk_textes") +
                   " (nom, octets) VALUES ($1, $2) ON CONFLICT (nom) DO UPDATE SET octets = "
                   "EXCLUDED.octets",
               std::move(p));
  op.Fin(chemin);
}

void SrvDonneePg::SupprimeTexte(std::string_view nom) {
  constexpr std::string_view kOp = "SupprimeTexte";
  const std::string upper = NomTexte(nom, kOp);
  pg::OperationPg op(*base_, kOp);
  Parametres p;
  p.Texte(upper);
  base_->Ecrit("DELETE FROM " + base_->Catalogue("vesk_textes") + " WHERE nom = $1", std::move(p));
  op.Fin(upper);
}

}  // namespace vesk
