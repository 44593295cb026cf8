// The data-entry program generator: its dialog, the file read from the dictionary, and the
// program's skeleton section after section (the screen and field pieces are in
// modeles_saisie.cpp).
#include "gencode/gen_ps.h"

#include <string>
#include <vector>

#include "fic/lecture_dictionnaire.h"
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

void Rem(Session& s, std::string_view texte, std::string_view id = "") {
  GenRem(s, texte, kColonneCalculee, id);
}
// A comment lined up with the key's entry.
void RemP(Session& s, const ProgrammeSaisie& p, std::string_view texte) {
  GenRem(s, texte, p.colonne_primaire, "");
}
// A comment lined up with the section that carries the identifier id.
void RemA(Session& s, std::string_view id, std::string_view texte) {
  GenRem(s, texte, RechDecalId(s, id), "");
}

std::string Guillemets(std::string_view texte) {
  return std::string(kQ) + std::string(texte) + std::string(kQ);
}
std::string Trim(std::string_view texte) { return std::string(text::Trim(texte)); }
// The tables of the file: the last primary one (several: an anomaly), the others in order.
void LitTables(Session& s, const fic::ModeleDictionnaire& m, ProgrammeSaisie& p) {
  int primaires = 0;
  for (const auto& [table, b] : m.TablesDe(p.fichier)) {
    TableProgramme t{table, b->cle, b->analyse};
    if (Trim(b->nature) == "P") {
      p.primaire = std::move(t);
      ++primaires;
    } else {
      p.secondaires.push_back(std::move(t));
    }
  }
  if (primaires > 1) SignaleAnomalieGen(s, "@ Plusieurs Table Primaire", kProcedure);
  std::vector<const TableProgramme*> tables{&p.primaire};
  for (const TableProgramme& t : p.secondaires) tables.push_back(&t);
  for (const TableProgramme* t : tables) {
    if (t->analyse.valide || t->nom.empty()) continue;
    throw ErreurService("GenPS", t->nom,
                        "la liste de clé " + t->cle + " ne convient plus aux rubriques de " +
                            p.fichier + " (" + t->analyse.message +
                            ") : corriger la table d'abord");
  }
}

// The primary key's fields, in the order of the key list, each once.
void MarqueCles(ProgrammeSaisie& p) {
  for (const fic::PartieCle& partie : p.primaire.analyse.parties) {
    const size_t i = static_cast<size_t>(partie.rubrique);
    if (p.champs.at(i).cle_primaire) continue;
    p.champs[i].cle_primaire = true;
    p.cles.push_back(i);
  }
  if (p.cles.empty()) {
    throw ErreurService("GenPS", p.primaire.nom,
                        "la clé primaire « " + p.primaire.cle + " » ne nomme aucune rubrique");
  }
}

// The label of the code field's domain, or the field's name when its domain is primitive or
// unknown.
std::string LibelleCode(const fic::ModeleDictionnaire& m, const ProgrammeSaisie& p) {
  const ChampProgramme& code = p.Code();
  if (code.domaine.empty() || text::CountChars(code.domaine) > 20) return code.nom;
  const auto domaine = m.domaines.find(code.domaine);
  return domaine != m.domaines.end() ? Trim(domaine->second.nom) : code.nom;
}

// Header and declarations (steps 1 to 7).
void Entete(Session& s, const ProgrammeSaisie& p, const std::string& libelle) {
  GenTitre(s, p.titre, "=", "-");
  GenRem(s, "", 0, "");
  GenRem(s, "En Entrée : Code$ " + libelle + " A Proposer", 0, "");
  GenRem(s, "", 0, "");
  GenRem(s, "En Sortie : Code$ " + libelle + " Créé", 0, "");
  GenRem(s, "", 0, "");
  GenTrait(s, "=");
  GenInst(s, "Sub " + p.programme + "(Code$)");
  Rem(s, "Déclaration");
  std::string dim;
  for (const ChampProgramme& c : p.champs) dim += (dim.empty() ? "" : ", ") + ("x" + c.cle + "$");
  GenInst(s, "Dim " + dim);
  GenInst(s, "Dim DernEnr&, MultEcr As Boolean, EcrM As Boolean, TR As Integer, Cle$");
  GenInst(s, "Dim ModifSF As Boolean, EnrMod&, X$, C$, SupSF As Boolean");
  GenLigneVide(s);
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
void Initialisations(Session& s, const ProgrammeSaisie& p) {
  Rem(s, "Marquage", "Marquage");
  GenInst(s, "Call Marquer");
  GenLigneVide(s);
  Rem(s, "Initialisation Avant Saisie");
  GenInst(s, "DernEnr&=0");
  GenInst(s, std::string("MultEcr=") + (p.ecrans.size() > 1 ? "Vrai" : "Faux"));
  GenInst(s, "Ecrm=Faux");
  GenInst(s, "x" + p.Code().cle + "$=Code$");
  GenLigneVide(s);
  EcrireLigne(s, "DebSais" + p.suffixe + ":", "");
  Rem(s, "Initialisation Saisie");
  for (const ChampProgramme& c : p.champs) GenInst(s, Initialisation(c));
  GenLigneVide(s);
}

// The initial screen up to its key (steps 12 to 16).
void EcranInitial(Session& s, const ProgrammeSaisie& p) {
  EcrireLigne(s, "DesEcr" + p.suffixe + "1:", "");
  Rem(s, "Gestion Remontée à l'Ecran Initial");
  GenInst(s, "If Ecrm Then");
  Rem(s, "Restitution de l'Ecran Initial Mémorisé");
  GenInst(s, "Call ResEcrSais");
  Rem(s, "l'Ecran Initial n'est plus Mémorisé");
  GenInst(s, "Ecrm=Faux");
  Rem(s, "Saut à la Rubrique Hors Clé Primaire");
  GenInst(s, "Goto " + PremierHorsCle(p));
  GenInst(s, "End If");
  GenLigneVide(s);
  DessineEcran(s, p, 1);
  Rem(s, "Messages");
  GenInst(s, "Call MesSD(" + Guillemets("Code Vide : Fin de la Saisie") + "," + Guillemets("B") +
                 "," + Guillemets("Suppression : Confirmez par F6") + ")");
  GenLigneVide(s);
  RemA(s, "DesEcr", "Affichage Précédent Enregistrement");
  GenInst(s, "If DernEnr&<>0 Then");
  Rem(s, "Lecture de l'Enregistrement");
  GenInst(s, "Call LireEnr( " + p.d() + ",DernEnr&)");
  Rem(s, "Affichage");
  std::string cles;
  for (size_t i : p.cles) cles += "+x" + p.champs[i].cle + "$";
  GenInst(s, "Call MesBasEcran(" + Guillemets("B") + "," + Guillemets("Enregistrement Précédent ") +
                 cles + ")");
  GenInst(s, "End If");
  GenLigneVide(s);
}

// The key, its lookup, the mode and the deletion (steps 17 to 21).
void ClePrimaire(Session& s, const ProgrammeSaisie& p) {
  Rem(s, "Saisie Constitution Clé Primaire", "Primaire");
  p.colonne_primaire = RechDecalId(s, "Primaire");
  SaisitChamps(s, p, 1, true);
  RemP(s, p, "Gestion de Modification");
  Rem(s, "Lecture si Existe");
  CalculeCle(s, p, p.primaire);
  Rem(s, "Lecture si Existe");
  GenInst(s, "Call LectCle(" + p.t() + ",Cle$," + p.d() + ",ModIfSF)");
  RemP(s, p, "Initialisation du No Enregistrement Modifié EnrMod");
  GenInst(s, "If ModifSF Then EnrMod&=LocFich(" + p.d() + ") Else EnrMod&=0");
  GenLigneVide(s);
  RemP(s, p, "Affichage du Mode Création/ModIf/Supression");
  Rem(s, "Calcul du Mode Création/ModIf/Suppression");
  GenInst(s, "If ModifSF Then");
  Rem(s, "Affectation Variables Saisie Pour ModIfication");
  for (const ChampProgramme& c : p.champs) DepuisTampon(s, c);
  Rem(s, "Affichage des Données");
  AfficheDonnees(s, p, p.ecrans.front());
  Rem(s, "Message Modification ou Suppression");
  GenInst(s, "If TR=F6 Then X$=" + Guillemets("Suppression") +
                 " Else X$=" + Guillemets("Modification"));
  GenInst(s, "C$=" + Guillemets("I"));
  GenInst(s, "Else");
  Rem(s, "Message");
  GenInst(s, "X$=" + Guillemets("Création"));
  GenInst(s, "C$=" + Guillemets("B"));
  GenInst(s, "End If");
  Rem(s, "Affichage du Mode");
  GenInst(s, "Call Mesad(" + Guillemets(p.champs[p.cles.back()].cle) + ",C$,X$)");
  GenLigneVide(s);
  RemP(s, p, "Gestion de la Suppression");
  GenInst(s, "If ModIfSF And TR=F6 Then");
  Rem(s, "Saisie de la Confirmation de Suppression");
  GenInst(s, "SupSF=Faux");
  GenInst(s, "Call Sailon(SupSF,TR)");
  GenInst(s, "If TR<>CR Or Not(SupSF) Then Goto " + p.Code().cle);
  Rem(s, "Suppression");
  GenInst(s, "Gosub Supres" + p.suffixe);
  Rem(s, "Retour Nouvelle Saisie");
  GenInst(s, "Goto DebSais" + p.suffixe);
  GenInst(s, "End If");
  GenLigneVide(s);
}

// The other fields of the initial screen, then the further screens (steps 22 to 24).
void Ecrans(Session& s, const ProgrammeSaisie& p) {
  RemP(s, p, "Saisie Rubrique Hors Cle Primaire");
  SaisitChamps(s, p, 1, false);
  GenInst(s, "MemEcr" + p.suffixe + "1:");
  RemP(s, p, "Mémorisation de l'Ecran Initial");
  GenInst(s, "If MultEcr Then");
  Rem(s, "Mémorisation de l'Ecran Initial");
  GenInst(s, "Call MemEcrSais");
  Rem(s, "L'Ecran Initial est Mémorisé");
  GenInst(s, "Ecrm=Vrai");
  GenInst(s, "End If");
  for (size_t n = 2; n <= p.ecrans.size(); ++n) {
    EcrireLigne(s, "DesEcr" + p.suffixe + std::to_string(n) + ":", "");
    DessineEcran(s, p, n);
    GenLigneVide(s);
    RemP(s, p, "Affichage Ecran No" + std::to_string(n));
    AfficheDonnees(s, p, p.ecrans[n - 1]);
    RemP(s, p, "Saisie Ecran No" + std::to_string(n));
    SaisitChamps(s, p, n, false);
    GenLigneVide(s);
  }
}

// The writing of the record and its B-trees (steps 25 to 29).
void Ecriture(Session& s, const ProgrammeSaisie& p) {
  EcrireLigne(s, "Enr" + p.suffixe + ":", "");
  RemP(s, p, "Gestion de l'Enregistrement");
  Rem(s, "Cas de ModIfication - Lecture et Suppression");
  GenInst(s, "If ModifSF Then");
  Rem(s, "Lecture de l'Ancien Enregistrement");
  GenInst(s, "Call LireEnr( " + p.d() + ",EnrMod&)");
  Rem(s, "Suppression");
  GenInst(s, "Gosub Supres" + p.suffixe);
  GenInst(s, "End If");
  GenLigneVide(s);
  Rem(s, "Affectation du Tampon");
  for (const ChampProgramme& c : p.champs) VersTampon(s, c);
  GenLigneVide(s);
  Rem(s, "Affectation du Code Créé");
  GenInst(s, "Code$=x" + p.Code().cle + "$");
  GenLigneVide(s);
  Rem(s, "Enregistrement du B-Arbre Primaire " + p.primaire.nom);
  CalculeCle(s, p, p.primaire);
  Rem(s, "Enregistrement");
  GenInst(s, "Call InsP(" + p.t() + ",Cle$," + p.d() + ",DernEnr&)");
  for (const TableProgramme& b : p.secondaires) {
    Rem(s, "Enregistrement du B-Arbre Secondaire " + b.nom + ".DAB");
    CalculeCle(s, p, b);
    Rem(s, "Enregistrement");
    GenInst(s, "Call InsS(" + b.nom + "T%" + ",Cle$,DERNENR&)");
    GenLigneVide(s);
  }
}

// The next entry and the end (steps 30 and 31).
void Fin(Session& s, const ProgrammeSaisie& p) {
  RemA(s, "Marquage", "Prochaine Saisie");
  Rem(s, "Restitution de l'Ecran Mémorisé");
  GenInst(s, "If Ecrm Then");
  Rem(s, "Restitution de l'Ecran Initial Mémorisé");
  GenInst(s, "Call ResEcrsais");
  Rem(s, "l'Ecran Initial n'est plus Mémorisé");
  GenInst(s, "Ecrm=Faux");
  GenInst(s, "End If");
  Rem(s, "Remontée à Prochaine Saisie");
  GenInst(s, "x" + p.Code().cle + "$=" + Guillemets(""));
  GenInst(s, "Goto DebSais" + p.suffixe);
  GenLigneVide(s);
  EcrireLigne(s, "Fin" + p.suffixe + ":", "");
  RemA(s, "Marquage", "DeMarquage");
  GenInst(s, "Call DeMarquer");
  GenLigneVide(s);
  GenInst(s, "Exit Sub");
}

// The deletion subroutine (steps 32 to 36).
void Suppression(Session& s, const ProgrammeSaisie& p) {
  GenTitre(s, "Sous Routines Globales Au Programme", "=", "");
  GenLigneVide(s);
  std::string liste =
      "[Entrée : L'Enregistrement de Donnée Lu,         ENRMOD Le No Enregistrement Donné Lu,,"
      "Sortie : L'Enregistrement Supprimé Avec Fichiers et B-Arbres Associés]";
  GenCartouche(s, "SR de Suppression", liste);
  EcrireLigne(s, "Supres" + p.suffixe + ":", "");
  Rem(s, "Suppression du B-Arbre Primaire " + p.primaire.nom);
  CalculeCle(s, p, p.primaire);
  Rem(s, "Suppression");
  GenInst(s, "Call SupP(" + p.t() + ",Cle$,EnrMod&," + p.d() + ")");
  for (const TableProgramme& b : p.secondaires) {
    Rem(s, "Suppression du B-Arbre Secondaire " + b.nom + ".DAB");
    CalculeCle(s, p, b);
    Rem(s, "Suppression");
    GenInst(s, "Call SupS(" + b.nom + "T%" + ",Cle$,EnrMod&)");
    GenLigneVide(s);
  }
  Rem(s, "Remise à Zéro Dernier No Enregistrement Saisi");
  GenInst(s, "DERNENR&=0");
  GenLigneVide(s);
  Rem(s, "Fin de la Sous Routine");
  GenInst(s, "Return");
  GenLigneVide(s);
  GenInst(s, "End Sub");
  GenLigneVide(s);
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
void Consultation(Session& s, const ProgrammeSaisie& p) {
  std::string liste =
      "[En Sortie : Code$ le Code Choisi dans la Consultation,                  (Rien (\"\") Si "
      "Rien choisi,,En Local  : X$ Local pour Chaîne,            L$ Liste pour les Nos "
      "d'Enregistrement,            M$ Liste des Données des Enregistrements à consulter]";
  GenCartouche(s, "Choix Par Consultation Fichier " + p.fichier, liste);
  GenInst(s, "Sub Cons" + p.fichier + "(Code$)");
  Rem(s, "Déclaration");
  GenInst(s, "Dim L$, M$, X$, I As Long, V0$, V?$");
  GenLigneVide(s);
  Rem(s, "Lecture de la Liste des Nos d'Enregistrement", "Lecture");
  GenInst(s, "Call ListeHomonymeCle(" + p.t() + "," + Guillemets("") + ",L$)");
  Rem(s, "Constitution de la Liste des Codes et Noms");
  Rem(s, "Initialisation");
  GenInst(s, "M$ = " + Guillemets("[]"));
  Rem(s, "Itération");
  GenInst(s, "While L$ <> " + Guillemets("[]"));
  Rem(s, "Extraction Premier Element");
  GenInst(s, "Call PremList(L$, X$)");
  Rem(s, "Lecture No Enregistrement");
  GenInst(s, "Call LireEnr (" + p.d() + ", VAL(X$))");
  Rem(s, "Adjonction a la Liste");
  Rem(s, "Calcul des Données à Adjoindre");
  const std::vector<size_t> affiches = ChampsAffiches(p);
  std::string variables, colonnes;
  for (size_t n = 0; n < affiches.size(); ++n) {
    const ChampProgramme& c = p.champs[affiches[n]];
    const std::string v = "V" + std::to_string(n + 1) + "$";
    GenInst(s, Conversion(c, v));
    variables += (n > 0 ? "," : "") + v;
    colonnes += std::string(n > 0 ? "," : "") + "[" + (c.type == 'M' || c.type == 'N' ? "D" : "G") +
                "," + std::to_string(std::max<int>(LargeurAffichee(c), text::CountChars(c.nom))) +
                "," + c.nom + "]";
  }
  Rem(s, "Adjonction à la Liste");
  GenInst(s, "Call AdjQList(M$, Crelist(" + variables + "))");
  GenInst(s, "Wend");
  GenLigneVide(s);
  RemA(s, "Lecture", "Selection du Code Concerné");
  GenInst(s, "Call MemEcrSais");
  GenInst(s, "Call ChoixList(" + Guillemets("Consultation Fichier " + p.fichier) + "," +
                 Guillemets("[" + colonnes + "]") + ",(M$),I)");
  GenInst(s, "Call ResEcrSais");
  GenLigneVide(s);
  Rem(s, "Gestion des Cas");
  GenInst(s, "If I = 0 Then");
  Rem(s, "Cas Abandon");
  GenInst(s, "Code$ = " + Guillemets(""));
  GenInst(s, "Else");
  Rem(s, "Lecture du Code Choisi");
  GenInst(s, "Code$ = Prelist(ProList(M$, I))");
  GenInst(s, "End If");
  GenInst(s, "End Sub");
}

// The whole program of p.
void Genere(Session& s, const fic::ModeleDictionnaire& m, const ProgrammeSaisie& p) {
  Entete(s, p, LibelleCode(m, p));
  Initialisations(s, p);
  EcranInitial(s, p);
  ClePrimaire(s, p);
  Ecrans(s, p);
  Ecriture(s, p);
  Fin(s, p);
  Suppression(s, p);
  Consultation(s, p);
  TermineGenCode(s);
}

// The procedure's name and the label suffix, as the dialog checks them: a demand made without
// the dialog (defaults, recorded answers) that meets a name is reported, and generated.
void SignaleNomsDemande(Session& s, const fic::ModeleDictionnaire& m, const ProgrammeSaisie& p) {
  const fic::PorteeNoms portee = PorteeFichier(s, m, p.fichier);
  for (const std::optional<std::string>& refus :
       {fic::RefusProcedure(p.programme, true, portee),
        fic::RefusSuffixe(p.suffixe, p.programme, portee)}) {
    if (refus) SignaleAnomalieGen(s, "@ " + p.fichier + "@ " + *refus, kProcedure);
  }
}

// The file of the demand as the dictionary m describes it, with its screens.
ProgrammeSaisie Prepare(Session& s, const fic::ModeleDictionnaire& m, const fic::Fichier& f,
                        const DemandeSaisie& d, const std::function<void()>& trop_de_cles) {
  ProgrammeSaisie p;
  p.fichier = NomFichier(d.fichier);
  p.programme = Trim(d.programme).empty() ? "Ent" + p.fichier : Trim(d.programme);
  p.titre = Trim(d.titre).empty() ? "Entrée Du Fichier " + p.fichier : Trim(d.titre);
  p.suffixe = Trim(d.suffixe).empty() ? SuffixeDefaut(p.fichier) : Trim(d.suffixe);
  p.champs = ChampsProgramme(f);
  LitTables(s, m, p);
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
bool Dialogue(Session& s, const fic::ModeleDictionnaire& m, DemandeSaisie& d) {
  const auto [retour, debut, echap] = OuvreDialogue(s, kTitreGenPS, kDescripteurGenPS);
  SrvSaisie& saisie = s.Saisie();
  constexpr std::string_view kCles[] = {"NProg", "TProg", "CodLab"};
  std::string* valeurs[] = {&d.programme, &d.titre, &d.suffixe};
  int etape = 0;
  fic::PorteeNoms portee;
  while (etape <= 3) {
    if (etape == 0) {
      if (!SaisitFichier(s, m, d.fichier, kAideNficGenPS)) return false;
      portee = PorteeFichier(s, m, d.fichier);
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

void GenereSaisie(Session& s, const fic::ModeleDictionnaire& m, const DemandeSaisie& demande,
                  const std::function<void()>& trop_de_cles) {
  const std::string nom = NomFichier(demande.fichier);
  const fic::Fichier* f = m.ChercheFichier(nom);
  if (!ChercheFichier(s, nom) || f == nullptr) {
    throw ErreurService("GenPS", nom, "fichier non spécifié dans le dictionnaire");
  }
  if (TablesPrimaires(m, nom).empty()) {
    throw ErreurService("GenPS", nom, std::string(kAucuneTablePrimaire));
  }
  InitGenCode(s);
  const ProgrammeSaisie p = Prepare(s, m, *f, demande, trop_de_cles);
  SignaleNomsReserves(s, m, nom, kProcedure);
  SignaleNomsDemande(s, m, p);
  s.Gen().AffecteNce(p.fichier);
  Genere(s, m, p);
}

void GenereSaisie(Session& s, const DemandeSaisie& demande,
                  const std::function<void()>& trop_de_cles) {
  GenereSaisie(s, fic::LitDictionnairePour(s, demande.fichier), demande, trop_de_cles);
}

void GenPS(Session& s) {
  const fic::ModeleDictionnaire m = fic::LitDictionnaire(s);
  DemandeSaisie demande;
  if (!Dialogue(s, m, demande)) return;
  GenereSaisie(s, m, demande, [&s] { s.Message().Affiche(kTropDeCles, kTitreGenPS); });
}

}  // namespace vesk
