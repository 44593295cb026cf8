#include "srv/pg/srv_donnee_pg.h"

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/list/liste.h"
#include "srv/pg/service_pg.h"
#include "srv/text/cp1252.h"

namespace vesk {

using pg::FichierPg;
using pg::Parametres;

namespace {

// "[name,handle]".
std::string Paire(std::string_view nom, int16_t handle) {
  std::string h = std::to_string(handle);
  std::string_view parts[] = {nom, h};
  std::string out;
  size_t bad = 0;
  list::Build(parts, out, bad);
  return out;
}

// Resolves the owner's two methods; an error names the missing one.
void ResoutMethodes(FichierPg& f, bool ecriture, std::string_view operation) {
  if (f.proprietaire == nullptr) return;
  const std::string lire = "Lire" + f.methode;
  const std::string ecrire = "Ecrire" + f.methode;
  f.id_lire = f.proprietaire->IdMethode(lire);
  Exige(f.id_lire >= 0, operation, f.objet, "le propriétaire n'a pas de méthode " + lire);
  if (!ecriture) return;
  f.id_ecrire = f.proprietaire->IdMethode(ecrire);
  Exige(f.id_ecrire >= 0, operation, f.objet, "le propriétaire n'a pas de méthode " + ecrire);
}

// The statement that writes a record over record no, keeping the chaining pointers of a live
// record as they are.
std::string SqlReecriture(const FichierPg& f) {
  if (f.pointeurs.empty()) {
    return "UPDATE " + f.table + " SET supprime = false, octets = $2 WHERE no = $1";
  }
  std::string garde = "$2";
  for (uint32_t at : f.pointeurs) {
    const std::string debut = std::to_string(at + 1);
    garde =
        "overlay(" + garde + " placing substr(octets, " + debut + ", 3) from " + debut + " for 3)";
  }
  return "UPDATE " + f.table + " SET octets = CASE WHEN supprime THEN $2 ELSE " + garde +
         " END, supprime = false WHERE no = $1";
}

}  // namespace

SrvDonneePg::SrvDonneePg(std::shared_ptr<pg::BasePg> base) : base_(std::move(base)) {}

void SrvDonneePg::ListeOuverts(std::string_view nature, std::string& liste, int32_t& nombre) {
  constexpr std::string_view kOp = "ListeOuverts";
  const std::string n = isam::UpperAscii(nature);
  Exige(n == "B" || n == "D", kOp, nature,
        "nature inconnue : \"B\" pour les B-arbres, \"D\" pour les fichiers de données");
  std::string out = "[]";
  const int16_t count = n == "B" ? base_->NombreArbres() : base_->NombreFichiers();
  for (int16_t h = 1; h <= count; ++h) {
    const std::string& nom = n == "B" ? base_->Arbre(h)->nom : base_->Fichier(h)->nom;
    list::Which which;
    list::Fault f = list::Append(out, Paire(nom, h), which);
    Exige(f.ok(), kOp, nom, f.Message());
  }
  liste = std::move(out);
  nombre = count;
}

void SrvDonneePg::LireEnr(int16_t fichier, int32_t no_enr) {
  constexpr std::string_view kOp = "LireEnr";
  FichierPg& f = pg::FichierOuErreur(*base_, fichier, kOp);
  pg::EtatEnregistrement e = pg::LitVivant(*base_, f, no_enr, kOp);
  base_->Livre(f, no_enr, e.octets, kOp);
  f.courant = no_enr;
}

void SrvDonneePg::Donnee(bool dependance_entreprise, std::string_view nom, int16_t longueur_enr,
                         int16_t& fichier, Proprietaire* proprietaire, std::string_view libelle,
                         std::string_view methode, std::string_view mode, bool creation) {
  constexpr std::string_view kOp = "Donnee";
  isam::Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  const std::string objet = isam::UpperAscii(nom) + ".DAT";
  Exige(longueur_enr >= kLongueurEnrMin, kOp, objet,
        "longueur d'enregistrement " + std::to_string(longueur_enr) + " refusée (5 au moins)");
  const std::string m = isam::UpperAscii(mode);
  Exige(m.empty() || m == "L", kOp, objet,
        "mode \"" + std::string(mode) +
            "\" inconnu : \"\" pour lire et écrire, \"L\" pour lire seulement");
  if (!methode.empty()) isam::Verifie(isam::CheckName(methode, "méthode"), kOp, objet);
  std::string label;
  isam::Verifie(isam::EncodeFixed(libelle, isam::kLabelLength, "libellé", &label), kOp, objet);
  label.erase(label.find_last_not_of(' ') + 1);

  auto f = std::make_unique<FichierPg>();
  f->nom = isam::UpperAscii(nom);
  f->objet = objet;
  f->dependance = dependance_entreprise;
  f->proprietaire = proprietaire;
  f->methode = methode.empty() ? std::string(nom) : std::string(methode);
  f->lecture_seule = !m.empty();
  ResoutMethodes(*f, m.empty(), kOp);

  if (int16_t h = base_->ChercheFichier(f->nom, dependance_entreprise)) {
    FichierPg& open = *base_->Fichier(h);
    Exige(
        open.longueur == static_cast<uint32_t>(longueur_enr), kOp, objet,
        "déjà ouvert avec des enregistrements de " + std::to_string(open.longueur) + " caractères");
    if (proprietaire != nullptr) {
      open.proprietaire = proprietaire;
      open.methode = f->methode;
      open.id_lire = f->id_lire;
      open.id_ecrire = f->id_ecrire;
    }
    fichier = h;
    return;
  }
  const pg::Lieu lieu = base_->Place(dependance_entreprise, nom, kOp, objet);
  f->entreprise = lieu.entreprise;
  f->chemin = base_->Chemin(lieu, objet);
  f->table = pg::BasePg::Table(lieu, "d_", nom);
  uint32_t longueur = base_->LongueurFichier(lieu, nom, kOp, &f->oid);
  if (longueur == 0) {
    Exige(creation, kOp, objet, "fichier absent : " + f->chemin);
    base_->CreeFichier(lieu, nom, static_cast<uint32_t>(longueur_enr), label, kOp);
    longueur = base_->LongueurFichier(lieu, nom, kOp, &f->oid);
  }
  Exige(longueur == static_cast<uint32_t>(longueur_enr), kOp, objet,
        f->chemin + " : longueur d'enregistrement " + std::to_string(longueur_enr) +
            " demandée, le fichier a des enregistrements de " + std::to_string(longueur));
  f->longueur = longueur;
  fichier = base_->AjouteFichier(std::move(f), kOp);
}

void SrvDonneePg::EcrireFichier(int16_t fichier, int32_t no_enr, std::string_view texte) {
  constexpr std::string_view kOp = "EcrireFichier";
  pg::OperationPg op(*base_, kOp);
  FichierPg& f = pg::FichierOuErreur(*base_, fichier, kOp);
  pg::ExigeEcriture(f, kOp);
  const int64_t last = base_->Dernier(f, kOp);
  if (no_enr < 1 || no_enr > last + 1) {
    throw ErreurService(kOp, f.objet,
                        "écriture de l'enregistrement " + std::to_string(no_enr) +
                            (no_enr < 1 ? " : les numéros commencent à 1"
                                        : " : le fichier a " + std::to_string(last) +
                                              " enregistrements, on ne peut écrire qu'après le "
                                              "dernier"));
  }
  isam::Verifie(isam::EncodeFixed(texte, f.longueur, "texte de l'enregistrement", &octets_), kOp,
                f.objet);
  Parametres p;
  p.Entier(no_enr).Octets(octets_);
  if (no_enr == last + 1) {
    base_->Ecrit("INSERT INTO " + f.table + " (no, supprime, octets) VALUES ($1, false, $2)",
                 std::move(p));
    base_->NoteDernier(f, no_enr);
  } else {
    base_->Ecrit(SqlReecriture(f), std::move(p));
  }
  base_->Touche(f);
  op.Fin(f.objet);
}

void SrvDonneePg::LireFichier(int16_t fichier, int32_t no_enr, std::string& texte) {
  constexpr std::string_view kOp = "LireFichier";
  FichierPg& f = pg::FichierOuErreur(*base_, fichier, kOp);
  if (const std::string_view* livre = base_->Livraison(f, no_enr)) {
    isam::DecodeBytes(*livre, &texte);
    return;
  }
  pg::EtatEnregistrement e;
  if (no_enr >= 1) e = pg::LitEtat(*base_, f, no_enr, kOp);
  if (no_enr < 1 || !e.present) {
    throw ErreurService(kOp, f.objet,
                        "lecture de l'enregistrement " + std::to_string(no_enr) +
                            (no_enr < 1 ? " : les numéros commencent à 1"
                                        : " au-delà de la fin du fichier (" +
                                              std::to_string(e.dernier) + " enregistrements)"));
  }
  isam::DecodeBytes(e.octets, &texte);
}

void SrvDonneePg::ParcourtEnregistrements(
    int16_t fichier, const std::function<bool(int32_t no_enr, std::string_view texte)>& visite) {
  constexpr std::string_view kOp = "ParcourtEnregistrements";
  constexpr int kPage = 10000;  // records read at a time
  FichierPg& f = pg::FichierOuErreur(*base_, fichier, kOp);
  const std::string sql = "SELECT no, octets FROM " + f.table +
                          " WHERE NOT supprime AND no > $1 ORDER BY no LIMIT " +
                          std::to_string(kPage);
  auto parcours = [&] {
    std::string texte;
    for (int32_t apres = 0;;) {
      Parametres p;
      p.Entier(apres);
      const pg::Resultat r = base_->Lit(kOp, f.objet, sql, p);
      for (int i = 0; i < r.Lignes(); ++i) {
        apres = r.Entier(i, 0);
        isam::DecodeBytes(r.Octets(i, 1), &texte);
        if (!visite(apres, texte)) return;
      }
      if (r.Lignes() < kPage) return;
    }
  };
  if (base_->DansLot() || base_->DansTransaction()) {
    parcours();
  } else {
    base_->Lecture(kOp, f.objet, parcours);
  }
}

void SrvDonneePg::NoEnrCourant(int16_t fichier, int32_t& no_enr) {
  no_enr = pg::FichierOuErreur(*base_, fichier, "NoEnrCourant").courant;
}

void SrvDonneePg::DebutLot() { base_->DebutLot(); }

void SrvDonneePg::FinLot() { base_->FinLot(); }

void SrvDonneePg::AnnuleLot() { base_->AnnuleLot(); }

void SrvDonneePg::ExisteDonnee(bool dependance_entreprise, std::string_view nom, bool& existe) {
  constexpr std::string_view kOp = "ExisteDonnee";
  isam::Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  existe = false;
  if (dependance_entreprise && base_->Entreprise().empty()) return;
  const pg::Lieu lieu = base_->Place(dependance_entreprise, nom, kOp, nom);
  existe = base_->LongueurFichier(lieu, nom, kOp) > 0;
}

void SrvDonneePg::Supprimes(bool dependance_entreprise, std::string_view nom, int32_t& nombre) {
  constexpr std::string_view kOp = "Supprimes";
  isam::Verifie(isam::CheckName(nom, "fichier"), kOp, nom);
  const pg::Lieu lieu = base_->Place(dependance_entreprise, nom, kOp, nom);
  const std::string chemin = base_->Chemin(lieu, isam::UpperAscii(nom) + ".DAT");
  Exige(base_->LongueurFichier(lieu, nom, kOp) > 0, kOp, chemin, "fichier absent : " + chemin);
  pg::Resultat r = base_->Lit(
      kOp, chemin, "SELECT count(*) FROM " + pg::BasePg::Table(lieu, "d_", nom) + " WHERE supprime",
      Parametres());
  nombre = static_cast<int32_t>(r.Grand(0, 0));
}

}  // namespace vesk
