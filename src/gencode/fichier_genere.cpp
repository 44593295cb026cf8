#include "gencode/fichier_genere.h"

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "fic/dictionnaire_texte.h"
#include "gencode/gen_pe.h"
#include "gencode/tampon.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr size_t kLargeurNomFic = 6;

std::string Trim(std::string_view texte) { return std::string(text::Trim(texte)); }

int16_t Taille(std::string_view code) {
  int16_t n = 0;
  Etat().Texte().DecodeTaille(code, n);
  return n;
}

char Lettre(std::string_view texte) {
  const std::string_view t = text::Trim(texte);
  return t.empty() ? ' ' : t[0];
}

}  // namespace

std::string NomFichier(std::string_view texte) { return text::UpperAscii(text::Trim(texte)); }

bool ChercheFichier(std::string_view nom) {
  Session& etat = Etat();
  std::string cle = NomFichier(nom);
  if (cle.empty() || text::CountChars(cle) > kLargeurNomFic) return false;
  cle.append(kLargeurNomFic - text::CountChars(cle), ' ');
  int32_t e = 0;
  return ChercheNom({etat.fic_fichier, etat.fic_arbre}, cle, e);
}

std::vector<ChampProgramme> LitChamps() {
  Session& etat = Etat();
  std::vector<ChampProgramme> champs;
  int32_t no = 0;
  for (etat.Chainage().PremLigne(etat.lfic_fichier, no); no != 0;
       etat.Chainage().SuivLigne(etat.lfic_fichier, no)) {
    const Enregistrement& l = etat.lfic;
    champs.push_back({Trim(l[kLf5]), Trim(l[kLf1]), Lettre(l[kLf2]), Lettre(l[kFormatInterne]),
                      Lettre(l[kLf7]), Taille(l[kLf3]), Taille(l[kLf4]),
                      Taille(l[kLongueurInterne]), Trim(l[kLf10])});
  }
  return champs;
}

std::vector<std::string> TablesPrimaires(std::string_view nom) {
  Session& etat = Etat();
  const std::string fichier = NomFichier(nom);
  std::vector<std::string> tables;
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    if (NomFichier(etat.ba[kNomD]) == fichier && Trim(etat.ba[kNatT]) == "P") {
      tables.push_back(Trim(etat.ba[kNomT]));
    }
  });
  return tables;
}

fic::PorteeNoms PorteeFichier(std::string_view nom) {
  std::string application;
  Etat().Ecran().NomApplication(application);
  const std::optional<fic::ModeleDictionnaire> parties = fic::LitPartiesFichier(NomFichier(nom));
  if (!parties) return {NomFichier(nom), {}, {}, application};
  return fic::Portee(*parties, NomFichier(nom), application);
}

void SignaleNomsReserves(std::string_view nom, std::string_view procedure) {
  const fic::PorteeNoms portee = PorteeFichier(nom);
  for (const auto& [variable, conflit] : fic::ConflitsFichier(portee)) {
    SignaleAnomalieGen("@ " + variable + "@ Nom Réservé : " + conflit, procedure);
  }
}

TouchesDialogue OuvreDialogue(std::string_view titre, std::string_view descripteur) {
  Session& etat = Etat();
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

bool SaisitFichier(std::string& nfic, std::string_view aide) {
  Session& etat = Etat();
  int16_t retour = 0, debut = 0, echap = 0;
  etat.Ecran().ToucheRetour(retour);
  etat.Ecran().ToucheDebut(debut);
  etat.Ecran().ToucheEchap(echap);
  SrvSaisie& saisie = etat.Saisie();
  for (;;) {
    if (!aide.empty()) saisie.MessChamp("NFIC", "N", aide, 0);
    int16_t touche = 0;
    saisie.Sai("NFIC", nfic, touche, 0, "[]", "B");
    if (touche == echap) return false;
    if (touche == retour || touche == debut) continue;
    if (Trim(nfic).empty()) return false;
    if (!ChercheFichier(nfic)) continue;  // asked again, without a message
    if (TablesPrimaires(nfic).empty()) {
      saisie.MessChamp("NFIC", "B", kAucuneTablePrimaire, 0);
      continue;
    }
    saisie.MessChamp("NFIC", "B", "", 0);
    nfic = NomFichier(nfic);
    return true;
  }
}

}  // namespace vesk
