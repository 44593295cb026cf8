// The check of an application's data on a database store (cli/verification.h): the tables of
// its catalog read as a folder's files are, by the database store's own verifier
// (srv/pg/verifie_pg.h). Built with the database store only.
#ifdef VESK_AVEC_PG
#include "cli/verification.h"
#include "srv/config/stockage.h"
#include "srv/erreur_service.h"
#include "srv/pg/verifie_pg.h"

namespace vesk::cli {

namespace {

class DonneesDeLaBase : public DonneesAVerifier {
 public:
  explicit DonneesDeLaBase(const AdresseBase& adresse) : base_(adresse, "") {}

  std::vector<std::string> Entreprises(const std::string& nom, const fic::Fichier& f) override {
    std::vector<std::string> out;
    for (const std::string& e : pg::EntreprisesDuFichier(base_, nom)) {
      if (e.empty() != f.entreprise) out.push_back(e);
    }
    return out;
  }
  void Fichier(const std::string& entreprise, const isam::FileToCheck& f,
               const std::function<void(const isam::FileProblem&)>& probleme,
               isam::FileTally* bilan) override {
    pg::VerifieFichier(base_, entreprise, f, probleme, bilan);
  }
  bool Chainage(const std::string& entreprise, const isam::ChainToCheck& c, bool entete_ici,
                std::vector<std::string>* problemes, std::string* absent) override {
    const std::string ou = entete_ici ? entreprise : "";
    const pg::Lieu lieu{ou, SchemaEntreprise(base_.Adresse().racine, ou)};
    if (base_.LongueurFichier(lieu, c.header, "Vérification") == 0) {
      *absent = base_.Chemin(lieu, c.header + ".DAT");
      return false;
    }
    *problemes = pg::VerifieChainage(
        base_, {entreprise, c.header, c.line, c.first, c.last, c.previous, c.next});
    return true;
  }

 private:
  pg::BasePg base_;
};

}  // namespace

std::unique_ptr<DonneesAVerifier> DonneesBase(const std::string& stockage) {
  AdresseBase adresse;
  const std::string pourquoi = AnalyseAdresseBase(stockage, adresse);
  if (!pourquoi.empty()) throw ErreurService("Vérification", stockage, pourquoi);
  return std::make_unique<DonneesDeLaBase>(adresse);
}

}  // namespace vesk::cli
#endif
