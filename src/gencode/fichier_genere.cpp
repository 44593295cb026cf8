#include "gencode/fichier_genere.h"

#include "core/cycle_saisie.h"
#include "gencode/gen_pe.h"
#include "gencode/tampon.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr size_t kLargeurNomFic = 6;

std::string Trim(std::string_view texte) { return std::string(text::Trim(texte)); }

char Lettre(std::string_view texte) {
  const std::string_view t = text::Trim(texte);
  return t.empty() ? ' ' : t[0];
}

}  // namespace

std::string NomFichier(std::string_view texte) { return text::UpperAscii(text::Trim(texte)); }

bool ChercheFichier(Session& s, std::string_view nom) {
  Session& etat = s;
  std::string cle = NomFichier(nom);
  if (cle.empty() || text::CountChars(cle) > kLargeurNomFic) return false;
  cle.append(kLargeurNomFic - text::CountChars(cle), ' ');
  int32_t e = 0;
  return ChercheNom(etat, {etat.fic_fichier, etat.fic_arbre}, cle, e);
}

std::vector<ChampProgramme> ChampsProgramme(const fic::Fichier& f) {
  std::vector<ChampProgramme> champs;
  for (const fic::Rubrique& r : f.rubriques) {
    champs.push_back({Trim(r.variable), Trim(r.nom), Lettre(r.type),
                      Lettre(std::string(1, r.interne.format)), Lettre(r.modification.value_or("")),
                      r.Total(), r.Decimales(), r.interne.longueur, Trim(r.domaine.value_or(""))});
  }
  return champs;
}

std::vector<std::string> TablesPrimaires(const fic::ModeleDictionnaire& m, std::string_view nom) {
  std::vector<std::string> tables;
  for (const auto& [table, b] : m.TablesDe(NomFichier(nom))) {
    if (Trim(b->nature) == "P") tables.push_back(table);
  }
  return tables;
}

fic::PorteeNoms PorteeFichier(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom) {
  std::string application;
  s.Ecran().NomApplication(application);
  const std::string fichier = NomFichier(nom);
  if (m.ChercheFichier(fichier) == nullptr) return {fichier, {}, {}, application};
  return fic::Portee(m, fichier, application);
}

void SignaleNomsReserves(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                         std::string_view procedure) {
  const fic::PorteeNoms portee = PorteeFichier(s, m, nom);
  for (const auto& [variable, conflit] : fic::ConflitsFichier(portee)) {
    SignaleAnomalieGen(s, "@ " + variable + "@ Nom Réservé : " + conflit, procedure);
  }
}

TouchesDialogue OuvreDialogue(Session& s, std::string_view titre, std::string_view descripteur) {
  Session& etat = s;
  TouchesDialogue t;
  etat.Ecran().ToucheRetour(t.retour);
  etat.Ecran().ToucheDebut(t.debut);
  etat.Ecran().ToucheEchap(t.echap);
  etat.Saisie().InitEcran(0);
  etat.Saisie().Titre(titre);
  etat.Saisie().DefChamps(descripteur);
  return t;
}

bool NomProgramme(std::string_view nom) {
  const std::string_view n = text::Trim(nom);
  return LettresEtChiffres(n) && !(n[0] >= '0' && n[0] <= '9');
}

bool SaisitFichier(Session& s, const fic::ModeleDictionnaire& m, std::string& nfic,
                   std::string_view aide) {
  Session& etat = s;
  int16_t retour = 0, debut = 0, echap = 0;
  etat.Ecran().ToucheRetour(retour);
  etat.Ecran().ToucheDebut(debut);
  etat.Ecran().ToucheEchap(echap);
  SrvSaisie& saisie = etat.Saisie();
  saisie.RegleChamp("NFIC", "Un fichier spécifié du dictionnaire ; vide : fin");
  for (;;) {
    if (!aide.empty()) saisie.MessChamp("NFIC", "N", aide, 0);
    int16_t touche = 0;
    saisie.Sai("NFIC", nfic, touche, 0, "[]", "B");
    if (touche == echap) return false;
    if (touche == retour || touche == debut) continue;
    if (Trim(nfic).empty()) return false;
    const std::string haut = NomFichier(nfic);  // shown as taken, like entfic's names
    if (haut != nfic) saisie.Affiche("NFIC", haut);
    nfic = haut;
    if (!ChercheFichier(s, nfic)) continue;  // asked again, without a message
    if (TablesPrimaires(m, nfic).empty()) {
      saisie.MessChamp("NFIC", "B", kAucuneTablePrimaire, 0);
      continue;
    }
    saisie.MessChamp("NFIC", "B", "", 0);
    nfic = NomFichier(nfic);
    return true;
  }
}

}  // namespace vesk
