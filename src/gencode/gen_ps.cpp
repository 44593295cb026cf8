// The data-entry program generator: its dialog, the file read from the dictionary, and the
// program's skeleton section after section (the screen and field pieces are in
// modeles_saisie.cpp).
#include "gencode/gen_ps.h"

#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"
#include "gencode/fichier_genere.h"
#include "gencode/gen_pe.h"
#include "gencode/programme_saisie.h"
#include "gencode/tampon.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kQ = "\"";
constexpr std::string_view kProcedure = "GenPs";

void Rem(std::string_view texte, std::string_view id = "") { GenRem(texte, kColonneCalculee, id); }
// A comment lined up with the key's entry.
void RemP(const ProgrammeSaisie& p, std::string_view texte) {
  GenRem(texte, p.colonne_primaire, "");
}
// A comment lined up with the section that carries the identifier id.
void RemA(std::string_view id, std::string_view texte) { GenRem(texte, RechDecalId(id), ""); }

std::string Guillemets(std::string_view texte) {
  return std::string(kQ) + std::string(texte) + std::string(kQ);
}
std::string Trim(std::string_view texte) { return std::string(text::Trim(texte)); }
// The tables of the file: the last primary one (several: an anomaly), the others in order.
void LitTables(ProgrammeSaisie& p) {
  Session& etat = Etat();
  int primaires = 0;
  ParcourtCles({etat.ba_fichier, etat.ba_arbre}, [&](const std::string&, int32_t) {
    if (NomFichier(etat.ba[kNomD]) != p.fichier) return;
    TableProgramme t{Trim(etat.ba[kNomT]), Trim(etat.ba[kLCle])};
    if (Trim(etat.ba[kNatT]) == "P") {
      p.primaire = std::move(t);
      ++primaires;
    } else {
      p.secondaires.push_back(std::move(t));
    }
  });
  if (primaires > 1) SignaleAnomalieGen("@ Plusieurs Table Primaire", kProcedure);
}

// The primary key's fields, in the order of the key list, each once.
void MarqueCles(ProgrammeSaisie& p) {
  Session& etat = Etat();
  std::string reste = p.primaire.cle, element, variable;
  while (reste != "[]" && !reste.empty()) {
    etat.Liste().Extrait(reste, element);
    etat.Liste().Element(element, 1, variable);
    for (size_t i = 0; i < p.champs.size(); ++i) {
      if (!text::EqualNoCase(p.champs[i].cle, text::Trim(variable)) || p.champs[i].cle_primaire) {
        continue;
      }
      p.champs[i].cle_primaire = true;
      p.cles.push_back(i);
    }
  }
  if (p.cles.empty()) {
    throw ErreurService("GenPS", p.primaire.nom,
                        "la clé primaire « " + p.primaire.cle + " » ne nomme aucune rubrique");
  }
}

// The label of the code field's domain, or the field's name when its domain is primitive or
// unknown.
std::string LibelleCode(const ProgrammeSaisie& p) {
  Session& etat = Etat();
  const ChampProgramme& code = p.Code();
  if (code.domaine.empty() || text::CountChars(code.domaine) > 20) return code.nom;
  bool trouve = false;
  etat.BArbre().Recherche(etat.dom_arbre, code.domaine, etat.dom_fichier, trouve);
  return trouve ? Trim(etat.dom[kNomDom]) : code.nom;
}

// Header and declarations (steps 1 to 7).
void Entete(const ProgrammeSaisie& p, const std::string& libelle) {
  GenTitre(p.titre, "=", "-");
  GenRem("", 0, "");
  GenRem("En Entrée : Code$ " + libelle + " A Proposer", 0, "");
  GenRem("", 0, "");
  GenRem("En Sortie : Code$ " + libelle + " Créé", 0, "");
  GenRem("", 0, "");
  GenTrait("=");
  GenInst("Sub " + p.programme + "(Code$)");
  Rem("Déclaration");
  std::string dim;
  for (const ChampProgramme& c : p.champs) dim += (dim.empty() ? "" : ", ") + ("x" + c.cle + "$");
  GenInst("Dim " + dim);
  GenInst("Dim DernEnr&, MultEcr As Boolean, EcrM As Boolean, TR As Integer, Cle$");
  GenInst("Dim ModifSF As Boolean, EnrMod&, X$, C$, SupSF As Boolean");
  GenLigneVide();
}

std::string Initialisation(const ChampProgramme& c) {
  const std::string x = "x" + c.cle + "$";
  switch (c.type) {
    case 'M':
      return x + "=MK" + std::string(1, c.format == ' ' ? 'S' : c.format) + "(0)";
    case 'N':
      return x + "=" + Guillemets("0");
    case 'E':
      return "Call NUL(" + x + ")";
    case 'B':
      return x + "=" + Guillemets("O");
    case 'L':
      return x + "=" + Guillemets("[]");
    default:
      return x + "=" + Guillemets("");
  }
}

// Marking and initialisation (steps 8 to 11).
void Initialisations(const ProgrammeSaisie& p) {
  Rem("Marquage", "Marquage");
  GenInst("Call Marquer");
  GenLigneVide();
  Rem("Initialisation Avant Saisie");
  GenInst("DernEnr&=0");
  GenInst(std::string("MultEcr=") + (p.ecrans.size() > 1 ? "Vrai" : "Faux"));
  GenInst("Ecrm=Faux");
  GenInst("x" + p.Code().cle + "$=Code$");
  GenLigneVide();
  EcrireLigne("DebSais" + p.suffixe + ":", "");
  Rem("Initialisation Saisie");
  for (const ChampProgramme& c : p.champs) GenInst(Initialisation(c));
  GenLigneVide();
}

// The initial screen up to its key (steps 12 to 16).
void EcranInitial(const ProgrammeSaisie& p) {
  EcrireLigne("DesEcr" + p.suffixe + "1:", "");
  Rem("Gestion Remontée à l'Ecran Initial");
  GenInst("If Ecrm Then");
  Rem("Restitution de l'Ecran Initial Mémorisé");
  GenInst("Call ResEcrSais");
  Rem("l'Ecran Initial n'est plus Mémorisé");
  GenInst("Ecrm=Faux");
  Rem("Saut à la Rubrique Hors Clé Primaire");
  GenInst("Goto " + PremierHorsCle(p));
  GenInst("End If");
  GenLigneVide();
  DessineEcran(p, 1);
  Rem("Messages");
  GenInst("Call MesSD(" + Guillemets("Code Vide : Fin de la Saisie") + "," + Guillemets("B") + "," +
          Guillemets("Suppression : Confirmez par F6") + ")");
  GenLigneVide();
  RemA("DesEcr", "Affichage Précédent Enregistrement");
  GenInst("If DernEnr&<>0 Then");
  Rem("Lecture de l'Enregistrement");
  GenInst("Call LireEnr( " + p.d() + ",DernEnr&)");
  Rem("Affichage");
  std::string cles;
  for (size_t i : p.cles) cles += "+x" + p.champs[i].cle + "$";
  GenInst("Call MesBasEcran(" + Guillemets("B") + "," + Guillemets("Enregistrement Précédent ") +
          cles + ")");
  GenInst("End If");
  GenLigneVide();
}

// The key, its lookup, the mode and the deletion (steps 17 to 21).
void ClePrimaire(const ProgrammeSaisie& p) {
  Rem("Saisie Constitution Clé Primaire", "Primaire");
  p.colonne_primaire = RechDecalId("Primaire");
  SaisitChamps(p, 1, true);
  RemP(p, "Gestion de Modification");
  Rem("Lecture si Existe");
  CalculeCle(p, p.primaire.cle);
  Rem("Lecture si Existe");
  GenInst("Call LectCle(" + p.t() + ",Cle$," + p.d() + ",ModIfSF)");
  RemP(p, "Initialisation du No Enregistrement Modifié EnrMod");
  GenInst("If ModifSF Then EnrMod&=LocFich(" + p.d() + ") Else EnrMod&=0");
  GenLigneVide();
  RemP(p, "Affichage du Mode Création/ModIf/Supression");
  Rem("Calcul du Mode Création/ModIf/Suppression");
  GenInst("If ModifSF Then");
  Rem("Affectation Variables Saisie Pour ModIfication");
  for (const ChampProgramme& c : p.champs) DepuisTampon(c);
  Rem("Affichage des Données");
  AfficheDonnees(p, p.ecrans.front());
  Rem("Message Modification ou Suppression");
  GenInst("If TR=F6 Then X$=" + Guillemets("Suppression") +
          " Else X$=" + Guillemets("Modification"));
  GenInst("C$=" + Guillemets("I"));
  GenInst("Else");
  Rem("Message");
  GenInst("X$=" + Guillemets("Création"));
  GenInst("C$=" + Guillemets("B"));
  GenInst("End If");
  Rem("Affichage du Mode");
  GenInst("Call Mesad(" + Guillemets(p.champs[p.cles.back()].cle) + ",C$,X$)");
  GenLigneVide();
  RemP(p, "Gestion de la Suppression");
  GenInst("If ModIfSF And TR=F6 Then");
  Rem("Saisie de la Confirmation de Suppression");
  GenInst("SupSF=Faux");
  GenInst("Call Sailon(SupSF,TR)");
  GenInst("If TR<>CR Or Not(SupSF) Then Goto " + p.Code().cle);
  Rem("Suppression");
  GenInst("Gosub Supres" + p.suffixe);
  Rem("Retour Nouvelle Saisie");
  GenInst("Goto DebSais" + p.suffixe);
  GenInst("End If");
  GenLigneVide();
}

// The other fields of the initial screen, then the further screens (steps 22 to 24).
void Ecrans(const ProgrammeSaisie& p) {
  RemP(p, "Saisie Rubrique Hors Cle Primaire");
  SaisitChamps(p, 1, false);
  GenInst("MemEcr" + p.suffixe + "1:");
  RemP(p, "Mémorisation de l'Ecran Initial");
  GenInst("If MultEcr Then");
  Rem("Mémorisation de l'Ecran Initial");
  GenInst("Call MemEcrSais");
  Rem("L'Ecran Initial est Mémorisé");
  GenInst("Ecrm=Vrai");
  GenInst("End If");
  for (size_t n = 2; n <= p.ecrans.size(); ++n) {
    EcrireLigne("DesEcr" + p.suffixe + std::to_string(n) + ":", "");
    DessineEcran(p, n);
    GenLigneVide();
    RemP(p, "Affichage Ecran No" + std::to_string(n));
    AfficheDonnees(p, p.ecrans[n - 1]);
    RemP(p, "Saisie Ecran No" + std::to_string(n));
    SaisitChamps(p, n, false);
    GenLigneVide();
  }
}

// The writing of the record and its B-trees (steps 25 to 29).
void Ecriture(const ProgrammeSaisie& p) {
  EcrireLigne("Enr" + p.suffixe + ":", "");
  RemP(p, "Gestion de l'Enregistrement");
  Rem("Cas de ModIfication - Lecture et Suppression");
  GenInst("If ModifSF Then");
  Rem("Lecture de l'Ancien Enregistrement");
  GenInst("Call LireEnr( " + p.d() + ",EnrMod&)");
  Rem("Suppression");
  GenInst("Gosub Supres" + p.suffixe);
  GenInst("End If");
  GenLigneVide();
  Rem("Affectation du Tampon");
  for (const ChampProgramme& c : p.champs) VersTampon(c);
  GenLigneVide();
  Rem("Affectation du Code Créé");
  GenInst("Code$=x" + p.Code().cle + "$");
  GenLigneVide();
  Rem("Enregistrement du B-Arbre Primaire " + p.primaire.nom);
  CalculeCle(p, p.primaire.cle);
  Rem("Enregistrement");
  GenInst("Call InsP(" + p.t() + ",Cle$," + p.d() + ",DernEnr&)");
  for (const TableProgramme& b : p.secondaires) {
    Rem("Enregistrement du B-Arbre Secondaire " + b.nom + ".DAB");
    CalculeCle(p, b.cle);
    Rem("Enregistrement");
    GenInst("Call InsS(" + b.nom + "T%" + ",Cle$,DERNENR&)");
    GenLigneVide();
  }
}

// The next entry and the end (steps 30 and 31).
void Fin(const ProgrammeSaisie& p) {
  RemA("Marquage", "Prochaine Saisie");
  Rem("Restitution de l'Ecran Mémorisé");
  GenInst("If Ecrm Then");
  Rem("Restitution de l'Ecran Initial Mémorisé");
  GenInst("Call ResEcrsais");
  Rem("l'Ecran Initial n'est plus Mémorisé");
  GenInst("Ecrm=Faux");
  GenInst("End If");
  Rem("Remontée à Prochaine Saisie");
  GenInst("x" + p.Code().cle + "$=" + Guillemets(""));
  GenInst("Goto DebSais" + p.suffixe);
  GenLigneVide();
  EcrireLigne("Fin" + p.suffixe + ":", "");
  RemA("Marquage", "DeMarquage");
  GenInst("Call DeMarquer");
  GenLigneVide();
  GenInst("Exit Sub");
}

// The deletion subroutine (steps 32 to 36).
void Suppression(const ProgrammeSaisie& p) {
  GenTitre("Sous Routines Globales Au Programme", "=", "");
  GenLigneVide();
  std::string liste =
      "[Entrée : L'Enregistrement de Donnée Lu,         ENRMOD Le No Enregistrement Donné Lu,,"
      "Sortie : L'Enregistrement Supprimé Avec Fichiers et B-Arbres Associés]";
  GenCartouche("SR de Suppression", liste);
  EcrireLigne("Supres" + p.suffixe + ":", "");
  Rem("Suppression du B-Arbre Primaire " + p.primaire.nom);
  CalculeCle(p, p.primaire.cle);
  Rem("Suppression");
  GenInst("Call SupP(" + p.t() + ",Cle$,EnrMod&," + p.d() + ")");
  for (const TableProgramme& b : p.secondaires) {
    Rem("Suppression du B-Arbre Secondaire " + b.nom + ".DAB");
    CalculeCle(p, b.cle);
    Rem("Suppression");
    GenInst("Call SupS(" + b.nom + "T%" + ",Cle$,EnrMod&)");
    GenLigneVide();
  }
  Rem("Remise à Zéro Dernier No Enregistrement Saisi");
  GenInst("DERNENR&=0");
  GenLigneVide();
  Rem("Fin de la Sous Routine");
  GenInst("Return");
  GenLigneVide();
  GenInst("End Sub");
  GenLigneVide();
}

// The width a field's value takes in the consultation list.
int LargeurAffichee(const ChampProgramme& c) {
  switch (c.type) {
    case 'D':
      return 10;
    case 'B':
      return 3;
    default:
      return std::max<int>(c.total, 1);
  }
}

// The fields the consultation shows: the key's, then the others in order, E fields left out,
// while their columns fit 80 characters.
std::vector<size_t> ChampsAffiches(const ProgrammeSaisie& p) {
  std::vector<size_t> ordre = p.cles;
  for (size_t i = 0; i < p.champs.size(); ++i) {
    if (!p.champs[i].cle_primaire) ordre.push_back(i);
  }
  std::vector<size_t> affiches;
  int largeur = 0;
  for (size_t i : ordre) {
    const ChampProgramme& c = p.champs[i];
    if (c.type == 'E') continue;
    const int l = std::max<int>(LargeurAffichee(c), static_cast<int>(text::CountChars(c.nom)));
    if (!affiches.empty() && largeur + l + 1 > 80) break;
    largeur += l + 1;
    affiches.push_back(i);
  }
  return affiches;
}

// The integer digits of an amount's picture: its total less the sign, the point and the
// decimals (at least 1).
int Chiffres(const ChampProgramme& c) {
  return std::max(1, c.total - 1 - c.decimales - (c.decimales > 0 ? 1 : 0));
}

// The line that turns field c into the display variable v.
std::string Conversion(const ChampProgramme& c, const std::string& v) {
  const std::string k = c.cle + "$";
  const std::string chiffres = std::to_string(Chiffres(c)) + "," + std::to_string(c.decimales);
  switch (c.type) {
    case 'M':
      return "Call FormNum(CV" + std::string(1, c.format) + "(" + k + ")," + chiffres + ", Vrai, " +
             v + ")";
    case 'N':
      return "Call FormNum(VAL(" + k + ")," + chiffres + ", Vrai, " + v + ")";
    case 'B':
      return "If " + k + "=" + Guillemets("O") + " Then " + v + "=" + Guillemets("OUI") + " Else " +
             v + "=" + Guillemets("NON");
    case 'D':
      return "Call DecompDate(" + k + ", " + v + ", (rien))";
    default:
      return v + "=" + k;
  }
}

// The consultation procedure (steps 37 to 42).
void Consultation(const ProgrammeSaisie& p) {
  std::string liste =
      "[En Sortie : Code$ le Code Choisi dans la Consultation,                  (Rien (\"\") Si "
      "Rien choisi,,En Local  : X$ Local pour Chaîne,            L$ Liste pour les Nos "
      "d'Enregistrement,            M$ Liste des Données des Enregistrements à consulter]";
  GenCartouche("Choix Par Consultation Fichier " + p.fichier, liste);
  GenInst("Sub Cons" + p.fichier + "(Code$)");
  Rem("Déclaration");
  GenInst("Dim L$, M$, X$, I As Long, V0$, V?$");
  GenLigneVide();
  Rem("Lecture de la Liste des Nos d'Enregistrement", "Lecture");
  GenInst("Call ListeHomonymeCle(" + p.t() + "," + Guillemets("") + ",L$)");
  Rem("Constitution de la Liste des Codes et Noms");
  Rem("Initialisation");
  GenInst("M$ = " + Guillemets("[]"));
  Rem("Itération");
  GenInst("While L$ <> " + Guillemets("[]"));
  Rem("Extraction Premier Element");
  GenInst("Call PremList(L$, X$)");
  Rem("Lecture No Enregistrement");
  GenInst("Call LireEnr (" + p.d() + ", VAL(X$))");
  Rem("Adjonction a la Liste");
  Rem("Calcul des Données à Adjoindre");
  const std::vector<size_t> affiches = ChampsAffiches(p);
  std::string variables, colonnes;
  for (size_t n = 0; n < affiches.size(); ++n) {
    const ChampProgramme& c = p.champs[affiches[n]];
    const std::string v = "V" + std::to_string(n + 1) + "$";
    GenInst(Conversion(c, v));
    variables += (n > 0 ? "," : "") + v;
    colonnes += std::string(n > 0 ? "," : "") + "[" + (c.type == 'M' || c.type == 'N' ? "D" : "G") +
                "," + std::to_string(std::max<int>(LargeurAffichee(c), text::CountChars(c.nom))) +
                "," + c.nom + "]";
  }
  Rem("Adjonction à la Liste");
  GenInst("Call AdjQList(M$, Crelist(" + variables + "))");
  GenInst("Wend");
  GenLigneVide();
  RemA("Lecture", "Selection du Code Concerné");
  GenInst("Call MemEcrSais");
  GenInst("Call ChoixList(" + Guillemets("Consultation Fichier " + p.fichier) + "," +
          Guillemets("[" + colonnes + "]") + ",(M$),I)");
  GenInst("Call ResEcrSais");
  GenLigneVide();
  Rem("Gestion des Cas");
  GenInst("If I = 0 Then");
  Rem("Cas Abandon");
  GenInst("Code$ = " + Guillemets(""));
  GenInst("Else");
  Rem("Lecture du Code Choisi");
  GenInst("Code$ = Prelist(ProList(M$, I))");
  GenInst("End If");
  GenInst("End Sub");
}

// The whole program of p.
void Genere(const ProgrammeSaisie& p) {
  Entete(p, LibelleCode(p));
  Initialisations(p);
  EcranInitial(p);
  ClePrimaire(p);
  Ecrans(p);
  Ecriture(p);
  Fin(p);
  Suppression(p);
  Consultation(p);
  TermineGenCode();
}

// The procedure's name and the label suffix, as the dialog checks them: a demand made without
// the dialog (defaults, recorded answers) that meets a name is reported, and generated.
void SignaleNomsDemande(const ProgrammeSaisie& p) {
  const fic::PorteeNoms portee = PorteeFichier(p.fichier);
  for (const std::optional<std::string>& refus :
       {fic::RefusProcedure(p.programme, true, portee),
        fic::RefusSuffixe(p.suffixe, p.programme, portee)}) {
    if (refus) SignaleAnomalieGen("@ " + p.fichier + "@ " + *refus, kProcedure);
  }
}

// The file of the demand read from the dictionary (its Fic record current), with its screens.
ProgrammeSaisie Prepare(const DemandeSaisie& d, const std::function<void()>& trop_de_cles) {
  ProgrammeSaisie p;
  p.fichier = NomFichier(d.fichier);
  p.programme = Trim(d.programme).empty() ? "Ent" + p.fichier : Trim(d.programme);
  p.titre = Trim(d.titre).empty() ? "Entrée Du Fichier " + p.fichier : Trim(d.titre);
  p.suffixe = Trim(d.suffixe).empty() ? SuffixeDefaut(p.fichier) : Trim(d.suffixe);
  p.champs = LitChamps();
  LitTables(p);
  MarqueCles(p);
  bool trop = false;
  p.ecrans = RepartitEcrans(p.champs, p.cles, trop);
  if (trop && trop_de_cles) trop_de_cles();
  return p;
}

// A refusal of the value of field n (1 NProg, 2 TProg, 3 CodLab), or "" when it is accepted:
// a procedure's name or a label suffix must meet no name of the program (portee: the file's).
std::string Refus(int n, const std::string& valeur, const DemandeSaisie& d,
                  const fic::PorteeNoms& portee) {
  if (n == 2) {
    return valeur.find('"') == std::string::npos
               ? ""
               : "Titre refusé : un guillemet fermerait le texte du programme";
  }
  if (!NomProgramme(valeur)) {
    return (n == 1 ? "Nom de procédure « " : "Suffixe « ") + valeur +
           " » refusé : une lettre puis des lettres et des chiffres";
  }
  const std::optional<std::string> refus =
      n == 1 ? fic::RefusProcedure(valeur, true, portee)
             : fic::RefusSuffixe(valeur, Trim(d.programme), portee);
  return refus.value_or("");
}

// The dialog: NFIC, then NProg, TProg and CodLab each filled with its default when empty; the
// back key goes to the field before, the start key to NFIC; false when the user leaves.
bool Dialogue(DemandeSaisie& d) {
  const auto [retour, debut, echap] = OuvreDialogue(kTitreGenPS, kDescripteurGenPS);
  SrvSaisie& saisie = Etat().Saisie();
  constexpr std::string_view kCles[] = {"NProg", "TProg", "CodLab"};
  std::string* valeurs[] = {&d.programme, &d.titre, &d.suffixe};
  int etape = 0;
  fic::PorteeNoms portee;
  while (etape <= 3) {
    if (etape == 0) {
      if (!SaisitFichier(d.fichier, kAideNficGenPS)) return false;
      portee = PorteeFichier(d.fichier);
      etape = 1;
      continue;
    }
    std::string& valeur = *valeurs[etape - 1];
    if (Trim(valeur).empty()) {
      const std::string defauts[] = {"Ent" + d.fichier, "Entrée Du Fichier " + d.fichier,
                                     SuffixeDefaut(d.fichier)};
      valeur = defauts[etape - 1];
    }
    int16_t touche = 0;
    saisie.Sai(kCles[etape - 1], valeur, touche, 0, "[]", "B");
    if (touche == echap) return false;
    if (touche == debut) {
      etape = 0;
    } else if (touche == retour) {
      --etape;
    } else if (!Trim(valeur).empty()) {
      const std::string refus = Refus(etape, Trim(valeur), d, portee);
      saisie.MessChamp(kCles[etape - 1], "B", refus, 0);
      if (refus.empty()) ++etape;
    }
  }
  return true;
}

}  // namespace

std::string SuffixeDefaut(std::string_view fichier) {
  const std::string f = NomFichier(fichier);
  return f.empty() ? "" : std::string(1, f.front()) + std::string(1, f.back());
}

void GenereSaisie(const DemandeSaisie& demande, const std::function<void()>& trop_de_cles) {
  const std::string nom = NomFichier(demande.fichier);
  if (!ChercheFichier(nom)) {
    throw ErreurService("GenPS", nom, "fichier non spécifié dans le dictionnaire");
  }
  if (TablesPrimaires(nom).empty()) {
    throw ErreurService("GenPS", nom, std::string(kAucuneTablePrimaire));
  }
  InitGenCode();
  ChercheFichier(nom);
  const ProgrammeSaisie p = Prepare(demande, trop_de_cles);
  SignaleNomsReserves(nom, kProcedure);
  SignaleNomsDemande(p);
  EtatGen().AffecteNce(p.fichier);
  Genere(p);
}

void GenPS() {
  DemandeSaisie demande;
  if (!Dialogue(demande)) return;
  GenereSaisie(demande, [] { Etat().Message().Affiche(kTropDeCles, kTitreGenPS); });
}

}  // namespace vesk
