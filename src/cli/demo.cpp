#include "cli/demo.h"

#include <fstream>
#include <initializer_list>
#include <string_view>

#include "core/etat_module.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"

namespace vesk::cli {

namespace {

struct Domaine {
  std::string_view code, nom, fichier;
  std::initializer_list<std::string_view> lignes;
};

// A field line: name, type, total, decimals, variable, example, modification type, internal
// format, internal length, domain.
struct Rubrique {
  std::string_view nom, type;
  int16_t total, decimales;
  std::string_view variable, exemple, modification, format;
  int16_t interne;
  std::string_view domaine;
};

struct Fichier {
  std::string_view nom, dfe;
  std::initializer_list<Rubrique> rubriques;
};

const Domaine kDomaines[] = {
    {"TVA",
     "Taux de TVA",
     "TVA",
     {"N : Taux normal 20,00 %", "I : Taux intermédiaire 10,00 %", "R : Taux réduit 5,50 %",
      "P : Taux particulier 2,10 %", "E : Exonéré 0,00 %"}},
    {"PAYS",
     "Codes pays (ISO 3166)",
     "PAYS",
     {"FR France", "BE Belgique", "CH Suisse", "DE Allemagne", "ES Espagne", "IT Italie",
      "LU Luxembourg"}},
    {"REGLT",
     "Conditions de règlement",
     "REGLT",
     {"COMPT Comptant", "30J   30 jours net", "30FM  30 jours fin de mois",
      "45FM  45 jours fin de mois", "60J   60 jours net"}},
};

const Fichier kFichiers[] = {
    {"CLIENT",
     "O",
     {{"CODE CLIENT", "A", 6, 0, "CLCODE", "C00125", "U", "A", 6, "a¬Nul"},
      {"NOM DU CLIENT", "A", 30, 0, "CLNOM", "Dupont et Fils", "U", "A", 30, "a¬Nul"},
      {"VILLE", "A", 20, 0, "CLVIL", "Lyon", "U", "A", 20, "a¬Nul"},
      {"CODE PAYS", "A", 2, 0, "CLPAYS", "FR", "U", "A", 2, "PAYS"},
      {"CONDITIONS DE REGLEMENT", "A", 5, 0, "CLREG", "30FM", "U", "A", 5, "REGLT"},
      {"CODE TVA", "A", 1, 0, "CLTVA", "N", "U", "A", 1, "TVA"},
      {"ENCOURS AUTORISE", "M", 9, 2, "CLENC", "+99999.99", "R", "S", 4, "Ns¬Nul"},
      {"DATE DE CREATION", "D", 3, 0, "CLDCRE", "31/12/2026 Codée en Base 256", "U", "A", 3,
       "D Appartient à Exerc"}}},
    {"FACTUR",
     "O",
     {{"NUMERO DE FACTURE", "A", 8, 0, "FANUM", "F2026001", "S", "A", 8, "a¬Nul"},
      {"CODE CLIENT", "A", 6, 0, "FACLI", "C00125", "U", "A", 6, "a¬Nul"},
      {"DATE DE FACTURE", "D", 3, 0, "FADAT", "31/12/2026 Codée en Base 256", "U", "A", 3,
       "D Appartient à Exerc"},
      {"MONTANT HORS TAXES", "M", 12, 2, "FAMHT", "+999999999.99", "A", "D", 8, "Nd¬Nul"},
      {"PREMIERE LIGNE", "E", 3, 0, "FAPREM", "No Enr .DAT en Base 256", "S", "A", 3, ""},
      {"DERNIERE LIGNE", "E", 3, 0, "FADERN", "No Enr .DAT en Base 256", "S", "A", 3, ""}}},
    {"FACLIG",
     "O",
     {{"LIGNE PRECEDENTE", "E", 3, 0, "FLPREC", "No Enr .DAT en Base 256", "S", "A", 3, ""},
      {"LIGNE SUIVANTE", "E", 3, 0, "FLSUIV", "No Enr .DAT en Base 256", "S", "A", 3, ""},
      {"CODE ARTICLE", "A", 10, 0, "FLART", "ART0001", "U", "A", 10, "a¬Nul"},
      {"QUANTITE", "M", 7, 2, "FLQTE", "+999.99", "U", "S", 4, "Ns¬Nul"},
      {"PRIX UNITAIRE", "M", 10, 2, "FLPU", "+999999.99", "U", "D", 8, "Nd¬Nul"}}},
};

// B-tree tables: name, data file, nature, key length, key list.
const std::string_view kTables[][5] = {
    {"CLI1", "CLIENT", "P", "6", "[[CLCODE,_,_]]"},
    {"CLI2", "CLIENT", "S", "15", "[[CLNOM,1,10],[CLVIL,1,5]]"},
    {"FAC1", "FACTUR", "P", "8", "[[FANUM,_,_]]"},
};

bool Existe(int16_t arbre, int16_t fichier, std::string_view cle) {
  bool trouve = false;
  Etat().BArbre().Recherche(arbre, cle, fichier, trouve);
  return trouve;
}

void EcritFichierDom(const std::string& dossier, const Domaine& d) {
  std::string chemin = platform::JoinPath(dossier, std::string(d.fichier) + ".DOM");
  std::string texte;
  for (std::string_view ligne : d.lignes) {
    texte += text::EncodeCp1252OrThrow(ligne, "Démonstration", chemin);
    texte += "\r\n";
  }
  std::ofstream sortie(chemin, std::ios::binary | std::ios::trunc);
  sortie << texte;
  sortie.close();
  if (!sortie) throw ErreurService("Démonstration", chemin, "écriture du fichier impossible");
}

void AjouteDomaine(const Domaine& d) {
  EtatModule& etat = Etat();
  if (Existe(etat.dom_arbre, etat.dom_fichier, d.code)) return;
  etat.dom.Affecte(kCoDom, d.code);
  etat.dom.Affecte(kNomDom, d.nom);
  etat.dom.Affecte(kFdd, d.fichier);
  int32_t e = 0;
  etat.BArbre().Insere(etat.dom_arbre, etat.dom[kCoDom], etat.dom_fichier, e);
}

std::string Taille(int16_t valeur) {
  std::string taille;
  Etat().Texte().EncodeTaille(valeur, taille);
  return taille;
}

void AjouteRubrique(const Rubrique& r) {
  Enregistrement& l = Etat().lfic;
  l.Efface();
  l.Affecte(kLf1, r.nom);
  l.Affecte(kLf2, r.type);
  l.Affecte(kLf3, Taille(r.total));
  l.Affecte(kLf4, Taille(r.decimales));
  l.Affecte(kLf5, r.variable);
  l.Affecte(kLf6, r.exemple);
  l.Affecte(kLf7, r.modification);
  l.Affecte(kFormatInterne, r.format);
  l.Affecte(kLongueurInterne, Taille(r.interne));
  l.Affecte(kLf10, r.domaine);
  int32_t e = 0;
  Etat().Chainage().AjouteLigne(Etat().lfic_fichier, e);
}

void AjouteFichier(const Fichier& f) {
  EtatModule& etat = Etat();
  if (Existe(etat.fic_arbre, etat.fic_fichier, f.nom)) return;
  int32_t longueur = 0;
  for (const Rubrique& r : f.rubriques) longueur += r.interne;
  etat.fic.Efface();
  etat.fic.Affecte(kNomFic, f.nom);
  etat.fic.Affecte(kDfe, f.dfe);
  etat.fic.Affecte(kLongEnr, std::to_string(longueur));
  int32_t e = 0;
  etat.BArbre().Insere(etat.fic_arbre, etat.fic[kNomFic], etat.fic_fichier, e);
  if (!Existe(etat.fic_arbre, etat.fic_fichier, f.nom)) {
    throw ErreurService("Démonstration", f.nom, "fichier introuvable après son écriture");
  }
  for (const Rubrique& r : f.rubriques) AjouteRubrique(r);
}

void AjouteTables() {
  EtatModule& etat = Etat();
  for (const auto& t : kTables) {
    if (Existe(etat.ba_arbre, etat.ba_fichier, t[0])) continue;
    etat.ba.Affecte(kNomT, t[0]);
    etat.ba.Affecte(kNomD, t[1]);
    etat.ba.Affecte(kNatT, t[2]);
    etat.ba.Affecte(kLongCle, t[3]);
    etat.ba.Affecte(kLCle, t[4]);
    int32_t e = 0;
    etat.BArbre().Insere(etat.ba_arbre, etat.ba[kNomT], etat.ba_fichier, e);
  }
}

void AjouteChainage() {
  EtatModule& etat = Etat();
  if (Existe(etat.chain_arbre, etat.chain_fichier, "FACLIG")) return;
  const std::string_view champs[] = {"FACLIG", "1", "4", "FACTUR", "26", "29"};
  for (size_t i = 0; i < std::size(champs); ++i) etat.chain.Affecte(i, champs[i]);
  int32_t e = 0;
  etat.BArbre().Insere(etat.chain_arbre, etat.chain[kChainL], etat.chain_fichier, e);
}

// vesk.ini naming the demo application, unless the folder has one already.
void EcritConfiguration(const std::string& dossier) {
  std::string chemin = platform::JoinPath(dossier, "vesk.ini");
  bool existe = false;
  platform::IoStatus st = platform::FileExists(chemin, &existe);
  if (!st.ok()) throw ErreurService("Démonstration", chemin, st.message);
  if (existe) return;
  std::ofstream sortie(chemin, std::ios::binary | std::ios::trunc);
  sortie << "; Application de démonstration de Vesk : facturation\napplication = FACTU\n";
  sortie.close();
  if (!sortie) throw ErreurService("Démonstration", chemin, "écriture du fichier impossible");
}

}  // namespace

void RemplitDemo(const std::string& dossier) {
  EcritConfiguration(dossier);
  for (const Domaine& d : kDomaines) {
    AjouteDomaine(d);
    EcritFichierDom(dossier, d);
  }
  for (const Fichier& f : kFichiers) AjouteFichier(f);
  AjouteTables();
  AjouteChainage();
}

}  // namespace vesk::cli
