#include "gencode/gen_pe.h"

#include <set>
#include <string>
#include <vector>

#include "core/cycle_saisie.h"
#include "core/etat_module.h"
#include "gencode/disposition.h"
#include "gencode/etat_gencode.h"
#include "gencode/fichier_genere.h"
#include "gencode/tampon.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kQ = "\"";
constexpr std::string_view kProcedure = "GenPe";

// One field of the file as the report shows it: its column's key (the variable), its name,
// type, internal coding, and its two sizes (total at 48-49, decimals at 50-51).
struct Colonne {
  std::string variable;
  std::string nom;
  std::string type;
  std::string codage;
  int16_t total = 0;
  int16_t decimales = 0;
};

std::string SansBlancs(std::string_view texte) { return std::string(text::Trim(texte)); }
// The fields of the current Fic record, in the order of their lines.
std::vector<Colonne> Colonnes() {
  std::vector<Colonne> colonnes;
  for (const ChampProgramme& c : LitChamps()) {
    colonnes.push_back({c.cle, c.nom, std::string(1, c.type), SansBlancs(std::string(1, c.format)),
                        c.total, c.decimales});
  }
  return colonnes;
}

// What the generation works from: the demand, the file's handles and its columns.
struct Edition {
  std::string fichier;    // NFIC without blanks
  std::string programme;  // NPROG
  bool csv = true;
  std::string p;  // primary B-tree handle
  std::string d;  // data file handle
  std::vector<Colonne> colonnes;
};

// The section identifiers written so far in this generation.
thread_local std::set<std::string> identifiants;

// A comment at the computed column; one that carries a section's identifier lines up with the
// first comment of that section, when there is one.
void Rem(std::string_view texte, std::string_view id = "") {
  const std::string cle(id);
  if (!id.empty() && identifiants.count(cle) > 0) {
    GenRem(texte, RechDecalId(id), id);
    return;
  }
  GenRem(texte, kColonneCalculee, id);
  if (!id.empty()) identifiants.insert(cle);
}

// A name for the CSV header: without its ";".
std::string NomCsv(std::string_view nom) {
  std::string propre;
  Etat().Texte().Remplace(nom, ";", "", propre);
  return propre;
}

// The description of a column inside "Call Cadredt(": its key, name and type; an amount (M, N)
// by its decimals with its width as option L, a date (D) and a boolean (B) by their total, a
// text (A, L) by its total. E fields have no column.
std::string DescriptionColonne(const Colonne& c) {
  const std::string debut = "[" + c.variable + "," + c.nom + ",";
  if (c.type == "M" || c.type == "N") {
    return debut + c.type + "," + std::to_string(c.decimales) + ",D,[L" +
           std::to_string(std::max<int>(c.total, c.decimales + 1)) + "]]";
  }
  if (c.type == "D" || c.type == "B") return debut + c.type + "," + std::to_string(c.total) + ",C]";
  return debut + "A," + std::to_string(std::max<int16_t>(c.total, 1)) + ",G]";
}

// The line that opens the report's frame; gives U, the amount columns ("[]" when none).
std::string CadreEdition(const Edition& e) {
  std::string descriptions, u;
  for (const Colonne& c : e.colonnes) {
    if (c.type == "E") continue;
    descriptions += (descriptions.empty() ? "" : ",") + DescriptionColonne(c);
    if (c.type == "M") u += (u.empty() ? "" : ",") + c.variable;
  }
  GenInst("Call Cadredt(" + std::string(kQ) + "[PS,1,[" + descriptions + "],[]]" + std::string(kQ) +
          ")");
  return "[" + u + "]";
}

void Entete(const Edition& e) {
  GenTitre(e.csv ? "Sortie du Fichier " + e.fichier + " au Format Csv"
                 : "Edition du Fichier " + e.fichier,
           "=", "");
  GenInst("Sub " + e.programme);
  Rem("Déclaration", "Init");
  GenInst("Dim Exist As Boolean, NoFic As Integer, E$ , V$, A$");
  GenLigneVide();
  Rem(e.csv ? "Initialisation des Fichiers pour la Sortie" : "Initialisation de l'Edition", "Init");
  Rem("Lecture de la Première Clé");
  GenInst("Call PremCle(" + e.p + "," + e.d + ",EXIST)");
  Rem("Saut à Fin de Programme si Fichier Vide");
  GenInst("If Not(Exist) then Goto Fin");
  if (!e.csv) {
    Rem("Nom Condensé de l'Edition");
    GenInst("NCE$=" + std::string(kQ) + EtatGen().Nce() + std::string(kQ));
  }
  GenLigneVide();
  Rem("Entete de l'Edition", "Init");
}

void OuvertureCsv(const Edition& e) {
  Rem("Ouverture du Fichier Csv");
  GenInst("Call OuvseqO(DirEnt + Cp +" + std::string(kQ) + e.fichier + ".Csv" + std::string(kQ) +
          ",NoFic)");
  std::string separateur, h;
  Etat().Journal().SeparateurCsv(separateur);
  for (const Colonne& c : e.colonnes) {
    if (c.type == "E") continue;
    h += (h.empty() ? "" : separateur) + NomCsv(c.nom);
  }
  Rem("Ecriture de l'Entete dans le Fichier Csv");
  GenInst("Call EcrireFichSeq(NoFic, " + std::string(kQ) + h + std::string(kQ) + ")");
}

std::string OuvertureEdition(const Edition& e) {
  Rem("Ouverture de l'Edition");
  GenInst("Call OuvEdt(FAUX,rien,rien,NCE$)");
  Rem("Titre de l'Edition");
  GenInst("Call EdTitre((NCE)," + std::string(kQ) + "G" + std::string(kQ) + ")");
  Rem("Cadre d'Edition");
  const std::string u = CadreEdition(e);
  GenInst("If Abandon Goto FinEdt");
  return u;
}

// The line that hands one field of the record to the CSV line or the report's line.
void Affectation(const Edition& e, const Colonne& c) {
  const std::string v = c.variable;
  if (e.csv) {
    GenInst("Call DecodeVarCsv(E$ ," + v + "$, " + std::string(kQ) + c.type + std::string(kQ) +
            ", " + std::string(kQ) + c.codage + std::string(kQ) + ", " +
            std::to_string(c.decimales) + ")");
  } else if (c.type != "M") {
    GenInst("Call ACol(" + std::string(kQ) + v + std::string(kQ) + "," + v + "$)");
  } else if (c.codage == "D") {
    GenInst("Call AColM(" + std::string(kQ) + v + std::string(kQ) + ",CV" + c.codage + "(" + v +
            "$))");
  } else {
    GenInst("Call AColM(" + std::string(kQ) + v + std::string(kQ) + ",CDBL(CV" + c.codage + "(" +
            v + "$)))");
  }
}

void Iteration(const Edition& e) {
  GenLigneVide();
  Rem("Itération d'Edition", "Init");
  Rem("Itération");
  GenInst("While Exist");
  Rem(e.csv ? "Adjonction a la ligne d'un enregistrement du Fichier Csv"
            : "Edition  d'un Enregistrement",
      "Edt");
  Rem(e.csv ? "" : "Affectation au Tampon d'Edition");
  if (e.csv) {
    Rem("Initialisation");
    GenInst("E$ = " + std::string(kQ) + std::string(kQ));
    Rem("Affectation");
  }
  for (const Colonne& c : e.colonnes) Affectation(e, c);
  if (e.csv) {
    GenLigneVide();
    Rem("Ecriture de l'Enregistrement dans le Fichier Csv");
    GenInst("Call EcrireFichSeq(NoFic, E$)");
  } else {
    Rem("Edition");
    GenInst("CALL ELC");
    GenInst("IF ABANDON GOTO FINEDT");
    Rem("Saut de Ligne");
    GenInst("CALL LVT(1)");
  }
  GenLigneVide();
  Rem("Lecture de l'Enregistrement Suivant", "Edt");
  GenInst("Call SuivCle(" + e.p + "," + e.d + ",Exist)");
  GenInst("WEND");
  GenLigneVide();
}

// The totals line: each amount column totalled once ([key,1]), the label "Totaux", then the
// span of the columns the line covers, from the first amount to the last.
std::string Totaux(const Edition& e) {
  std::string pieces, premiere, derniere;
  for (const Colonne& c : e.colonnes) {
    if (c.type != "M") continue;
    pieces += (pieces.empty() ? "" : ",") + ("[" + c.variable + ",1]");
    if (premiere.empty()) premiere = c.variable;
    derniere = c.variable;
  }
  return "[[[" + pieces + ",Totaux]]," + premiere + "+" + derniere + "]";
}

void Cloture(const Edition& e, const std::string& u) {
  if (e.csv) {
    Rem("Cloture du Fichier Csv", "Init");
    GenInst("Call CloDonnee(NoFic)");
  } else {
    Rem("Fin du Cadre", "Init");
    GenInst("CALL EDTFINCADRE(" + std::string(kQ) + u + std::string(kQ) + ")");
    if (u != "[]") {
      Rem("Totaux des Colonnes");
      GenInst("CALL EDTOTAL(" + std::string(kQ) + Totaux(e) + std::string(kQ) + ")");
      Rem("Soulignage des Colonnes");
      GenInst("CALL EDTFINCOL(" + std::string(kQ) + u + std::string(kQ) + ")");
    }
    GenLigneVide();
    EcrireLigne("FinEdt:", "");
    Rem("Cloture de l'Edition", "Init");
    GenInst("CALL CLOEDT");
  }
  EcrireLigne("Fin:", "");
  GenInst("End Sub");
}

void Genere(const Edition& e) {
  identifiants.clear();
  Entete(e);
  std::string u = "[]";
  if (e.csv) {
    OuvertureCsv(e);
  } else {
    u = OuvertureEdition(e);
  }
  Iteration(e);
  Cloture(e, u);
  TermineGenCode();
}

// The file's handles and columns; the file must be current in Fic, with its primary table.
Edition Prepare(const DemandeEdition& demande, const std::string& table) {
  Edition e;
  e.fichier = NomFichier(demande.fichier);
  e.programme = SansBlancs(demande.programme);
  if (e.programme.empty()) e.programme = "Csv" + e.fichier;
  e.csv = demande.csv;
  e.p = table + "T%";
  e.d = e.fichier + "D%";
  e.colonnes = Colonnes();
  return e;
}

// The refusal of a procedure's name typed on NPROG ("" when accepted, or empty: asked again):
// a letter then letters and digits, meeting no name of the program (fic/noms_reserves.h).
std::string RefusNprog(const std::string& nprog, const std::string& nfic) {
  const std::string nom = SansBlancs(nprog);
  if (nom.empty()) return "";
  if (!NomProgramme(nom)) {
    return "Nom de procédure « " + nom + " » refusé : une lettre puis des lettres et des chiffres";
  }
  return fic::RefusProcedure(nom, false, PorteeFichier(nfic)).value_or("");
}

// The dialog, field after field with the back and start keys; false when the user leaves.
bool DialogueEdition(DemandeEdition& demande) {
  const auto [retour, debut, echap] = OuvreDialogue(kTitreGenPE, kDescripteurGenPE);
  SrvSaisie& saisie = Etat().Saisie();
  std::string nfic, nprog, scsv = "O";
  int etape = 1;
  while (etape <= 3) {
    int16_t touche = 0;
    if (etape == 1) {
      if (!SaisitFichier(nfic, "")) return false;
      etape = 2;
      continue;
    }
    std::string& valeur = etape == 2 ? nprog : scsv;
    if (etape == 2 && SansBlancs(nprog).empty()) nprog = "Csv" + NomFichier(nfic);
    saisie.Sai(etape == 2 ? "NPROG" : "SCSV", valeur, touche, 0, "[]", "B");
    if (touche == echap) return false;
    if (touche == debut || (touche == retour && etape == 2)) {
      etape = 1;
    } else if (touche == retour) {
      etape = 2;
    } else if (const std::string refus = etape == 2 ? RefusNprog(nprog, nfic) : "";
               !refus.empty()) {
      saisie.MessChamp("NPROG", "B", refus, 0);
    } else if (etape == 3 || !SansBlancs(nprog).empty()) {
      if (etape == 2) saisie.MessChamp("NPROG", "B", "", 0);
      ++etape;
    }
  }
  demande = {NomFichier(nfic), SansBlancs(nprog), text::Trim(scsv) == "O"};
  return true;
}

}  // namespace

std::string TablePrimaire(std::string_view nom, std::string_view procedure) {
  const std::vector<std::string> tables = TablesPrimaires(nom);
  if (tables.size() > 1) SignaleAnomalieGen("@ Plusieurs Table Primaire", procedure);
  return tables.empty() ? "" : tables.back();
}

void GenereEdition(const DemandeEdition& demande) {
  const std::string nom = NomFichier(demande.fichier);
  if (!ChercheFichier(nom)) {
    throw ErreurService("GenPE", nom, "fichier non spécifié dans le dictionnaire");
  }
  if (TablesPrimaires(nom).empty()) {
    throw ErreurService("GenPE", nom, std::string(kAucuneTablePrimaire));
  }
  InitGenCode();
  const std::string table = TablePrimaire(nom, kProcedure);
  ChercheFichier(nom);  // the Fic record again, for the walk of its lines
  const Edition e = Prepare(demande, table);
  SignaleNomsReserves(nom, kProcedure);
  if (auto refus = fic::RefusProcedure(e.programme, false, PorteeFichier(nom))) {
    SignaleAnomalieGen("@ " + nom + "@ " + *refus, kProcedure);
  }
  Genere(e);
}

void GenPE() {
  DemandeEdition demande;
  if (DialogueEdition(demande)) GenereEdition(demande);
}

}  // namespace vesk
