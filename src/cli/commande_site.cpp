// `vesk site DOSSIER`: the dictionary as a static site in DOSSIER (cli/site.h, docs/site.md),
// with the records of each data file and the programs recorded in the data folder's
// PROGRAMMES.
#include <memory>
#include <ostream>

#include "cli/commandes.h"
#include "cli/composant.h"
#include "cli/site.h"
#include "cli/verification.h"
#include "fic/lecture_dictionnaire.h"
#include "platform/platform.h"
#include "srv/isam/data_file.h"
#include "srv/isam/env.h"

namespace vesk::cli {

namespace {

// The live records of f's data file in each folder that holds one; a file that cannot be read
// is named on the error stream and left out (false).
bool CompteEnregistrements(Contexte& contexte, const std::string& nom, const fic::Fichier& f,
                           DonneesSite& d) {
  bool lus = true;
  const std::string& racine = contexte.Config().dossier;
  for (const std::string& dossier : DossiersDonnees(racine, nom, f)) {
    std::unique_ptr<isam::DataFile> fichier;
    const std::string chemin = platform::JoinPath(dossier, nom + ".DAT");
    isam::DataFile::Options options;
    options.read_only = true;
    const isam::Status s = isam::DataFile::Open(isam::Env::Default(), chemin, 0, options, &fichier);
    if (!s.ok()) {
      contexte.Erreurs() << "vesk : " << chemin << " : " << s.message()
                         << " (enregistrements non comptés)\n";
      lus = false;
      continue;
    }
    const std::string entreprise =
        dossier == racine ? "" : dossier.substr(dossier.find_last_of("/\\") + 1);
    d.enregistrements[nom].push_back({entreprise, fichier->LastRecord() - fichier->Deleted()});
  }
  return lus;
}

}  // namespace

int CommandeSite(Contexte& contexte) {
  const std::string cible = contexte.Options().arguments.front();
  DonneesSite d;
  d.application = contexte.Config().application;
  d.programmes = LitRegistre(platform::JoinPath(contexte.Config().dossier, kDossierProgrammes));
  {
    std::unique_ptr<Composant> composant = OuvreComposant(contexte, contexte.Config(), "", true);
    d.modele = fic::LitDictionnaire(composant->Session());
    fic::LitDefinitions(composant->Session(), d.modele);
    composant->Termine();
  }
  bool complet = true;
  for (const auto& [nom, f] : d.modele.fichiers) {
    complet = CompteEnregistrements(contexte, nom, f, d) && complet;
  }
  const BilanSite bilan = EcritSite(d, cible);
  contexte.Sortie() << "Site écrit dans " << cible << " : " << bilan.fichiers << " fichiers, "
                    << (bilan.octets + 1023) / 1024 << " Kio\n";
  return complet ? 0 : 1;
}

}  // namespace vesk::cli
