#include "gencode/gen_pe.h"

#include <set>
#include <string>
#include <vector>

#include "fic/lecture_dictionnaire.h"
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
// The fields of the file, in their order.
std::vector<Colonne> Colonnes(const fic::Fichier& f) {
  std::vector<Colonne> colonnes;
  for (const ChampProgramme& c : ChampsProgramme(f)) {
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

// A comment at the computed column; one that carries a section's identifier lines up with the
// first comment of that section, when there is one.
void Rem(Session& s, std::string_view texte, std::string_view id = "") {
  std::set<std::string>& identifiants = s.Gen().Identifiants();
  const std::string cle(id);
  if (!id.empty() && identifiants.count(cle) > 0) {
    GenRem(s, texte, RechDecalId(s, id), id);
    return;
  }
  GenRem(s, texte, kColonneCalculee, id);
  if (!id.empty()) identifiants.insert(cle);
}

// A name for the CSV header: without its ";".
std::string NomCsv(Session& s, std::string_view nom) {
  std::string propre;
  s.Texte().Remplace(nom, ";", "", propre);
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
std::string CadreEdition(Session& s, const Edition& e) {
  std::string descriptions, u;
  for (const Colonne& c : e.colonnes) {
    if (c.type == "E") continue;
    descriptions += (descriptions.empty() ? "" : ",") + DescriptionColonne(c);
    if (c.type == "M") u += (u.empty() ? "" : ",") + c.variable;
  }
  GenInst(s, "Call Cadredt(" + std::string(kQ) + "[PS,1,[" + descriptions + "],[]]" +
                 std::string(kQ) + ")");
  return "[" + u + "]";
}

void Entete(Session& s, const Edition& e) {
  GenTitre(s,
           e.csv ? "Sortie du Fichier " + e.fichier + " au Format Csv"
                 : "Edition du Fichier " + e.fichier,
           "=", "");
  GenInst(s, "Sub " + e.programme);
  Rem(s, "Déclaration", "Init");
  GenInst(s, "Dim Exist As Boolean, NoFic As Integer, E$ , V$, A$");
  GenLigneVide(s);
  Rem(s, e.csv ? "Initialisation des Fichiers pour la Sortie" : "Initialisation de l'Edition",
      "Init");
  Rem(s, "Lecture de la Première Clé");
  GenInst(s, "Call PremCle(" + e.p + "," + e.d + ",EXIST)");
  Rem(s, "Saut à Fin de Programme si Fichier Vide");
  GenInst(s, "If Not(Exist) then Goto Fin");
  if (!e.csv) {
    Rem(s, "Nom Condensé de l'Edition");
    GenInst(s, "NCE$=" + std::string(kQ) + s.Gen().Nce() + std::string(kQ));
  }
  GenLigneVide(s);
  Rem(s, "Entete de l'Edition", "Init");
}

void OuvertureCsv(Session& s, const Edition& e) {
  Rem(s, "Ouverture du Fichier Csv");
  GenInst(s, "Call OuvseqO(DirEnt + Cp +" + std::string(kQ) + e.fichier + ".Csv" + std::string(kQ) +
                 ",NoFic)");
  std::string separateur, h;
  s.Journal().SeparateurCsv(separateur);
  for (const Colonne& c : e.colonnes) {
    if (c.type == "E") continue;
    h += (h.empty() ? "" : separateur) + NomCsv(s, c.nom);
  }
  Rem(s, "Ecriture de l'Entete dans le Fichier Csv");
  GenInst(s, "Call EcrireFichSeq(NoFic, " + std::string(kQ) + h + std::string(kQ) + ")");
}

std::string OuvertureEdition(Session& s, const Edition& e) {
  Rem(s, "Ouverture de l'Edition");
  GenInst(s, "Call OuvEdt(FAUX,rien,rien,NCE$)");
  Rem(s, "Titre de l'Edition");
  GenInst(s, "Call EdTitre((NCE)," + std::string(kQ) + "G" + std::string(kQ) + ")");
  Rem(s, "Cadre d'Edition");
  const std::string u = CadreEdition(s, e);
  GenInst(s, "If Abandon Goto FinEdt");
  return u;
}

// The line that hands one field of the record to the CSV line or the report's line.
void Affectation(Session& s, const Edition& e, const Colonne& c) {
  const std::string v = c.variable;
  if (e.csv) {
    GenInst(s, "Call DecodeVarCsv(E$ ," + v + "$, " + std::string(kQ) + c.type + std::string(kQ) +
                   ", " + std::string(kQ) + c.codage + std::string(kQ) + ", " +
                   std::to_string(c.decimales) + ")");
  } else if (c.type != "M") {
    GenInst(s, "Call ACol(" + std::string(kQ) + v + std::string(kQ) + "," + v + "$)");
  } else if (c.codage == "D") {
    GenInst(s, "Call AColM(" + std::string(kQ) + v + std::string(kQ) + ",CV" + c.codage + "(" + v +
                   "$))");
  } else {
    GenInst(s, "Call AColM(" + std::string(kQ) + v + std::string(kQ) + ",CDBL(CV" + c.codage + "(" +
                   v + "$)))");
  }
}

void Iteration(Session& s, const Edition& e) {
  GenLigneVide(s);
  Rem(s, "Itération d'Edition", "Init");
  Rem(s, "Itération");
  GenInst(s, "While Exist");
  Rem(s,
      e.csv ? "Adjonction a la ligne d'un enregistrement du Fichier Csv"
            : "Edition  d'un Enregistrement",
      "Edt");
  Rem(s, e.csv ? "" : "Affectation au Tampon d'Edition");
  if (e.csv) {
    Rem(s, "Initialisation");
    GenInst(s, "E$ = " + std::string(kQ) + std::string(kQ));
    Rem(s, "Affectation");
  }
  for (const Colonne& c : e.colonnes) Affectation(s, e, c);
  if (e.csv) {
    GenLigneVide(s);
    Rem(s, "Ecriture de l'Enregistrement dans le Fichier Csv");
    GenInst(s, "Call EcrireFichSeq(NoFic, E$)");
  } else {
    Rem(s, "Edition");
    GenInst(s, "CALL ELC");
    GenInst(s, "IF ABANDON GOTO FINEDT");
    Rem(s, "Saut de Ligne");
    GenInst(s, "CALL LVT(1)");
  }
  GenLigneVide(s);
  Rem(s, "Lecture de l'Enregistrement Suivant", "Edt");
  GenInst(s, "Call SuivCle(" + e.p + "," + e.d + ",Exist)");
  GenInst(s, "WEND");
  GenLigneVide(s);
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

void Cloture(Session& s, const Edition& e, const std::string& u) {
  if (e.csv) {
    Rem(s, "Cloture du Fichier Csv", "Init");
    GenInst(s, "Call CloDonnee(NoFic)");
  } else {
    Rem(s, "Fin du Cadre", "Init");
    GenInst(s, "CALL EDTFINCADRE(" + std::string(kQ) + u + std::string(kQ) + ")");
    if (u != "[]") {
      Rem(s, "Totaux des Colonnes");
      GenInst(s, "CALL EDTOTAL(" + std::string(kQ) + Totaux(e) + std::string(kQ) + ")");
      Rem(s, "Soulignage des Colonnes");
      GenInst(s, "CALL EDTFINCOL(" + std::string(kQ) + u + std::string(kQ) + ")");
    }
    GenLigneVide(s);
    EcrireLigne(s, "FinEdt:", "");
    Rem(s, "Cloture de l'Edition", "Init");
    GenInst(s, "CALL CLOEDT");
  }
  EcrireLigne(s, "Fin:", "");
  GenInst(s, "End Sub");
}

void Genere(Session& s, const Edition& e) {
  s.Gen().Identifiants().clear();
  Entete(s, e);
  std::string u = "[]";
  if (e.csv) {
    OuvertureCsv(s, e);
  } else {
    u = OuvertureEdition(s, e);
  }
  Iteration(s, e);
  Cloture(s, e, u);
  TermineGenCode(s);
}

// The file's handles and columns.
Edition Prepare(const fic::Fichier& f, const DemandeEdition& demande, const std::string& table) {
  Edition e;
  e.fichier = NomFichier(demande.fichier);
  e.programme = SansBlancs(demande.programme);
  if (e.programme.empty()) e.programme = "Csv" + e.fichier;
  e.csv = demande.csv;
  e.p = table + "T%";
  e.d = e.fichier + "D%";
  e.colonnes = Colonnes(f);
  return e;
}

// The refusal of a procedure's name typed on NPROG ("" when accepted, or empty: asked again):
// a letter then letters and digits, meeting no name of the program (fic/noms_reserves.h).
std::string RefusNprog(Session& s, const fic::ModeleDictionnaire& m, const std::string& nprog,
                       const std::string& nfic) {
  const std::string nom = SansBlancs(nprog);
  if (nom.empty()) return "";
  if (!NomProgramme(nom)) {
    return "Nom de procédure « " + nom + " » refusé : une lettre puis des lettres et des chiffres";
  }
  return fic::RefusProcedure(nom, false, PorteeFichier(s, m, nfic)).value_or("");
}

// The dialog, field after field with the back and start keys; false when the user leaves.
bool DialogueEdition(Session& s, const fic::ModeleDictionnaire& m, DemandeEdition& demande) {
  const auto [retour, debut, echap] = OuvreDialogue(s, kTitreGenPE, kDescripteurGenPE);
  SrvSaisie& saisie = s.Saisie();
  std::string nfic, nprog, scsv = "O";
  int etape = 1;
  while (etape <= 3) {
    int16_t touche = 0;
    if (etape == 1) {
      if (!SaisitFichier(s, m, nfic, "")) return false;
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
    } else if (const std::string refus = etape == 2 ? RefusNprog(s, m, nprog, nfic) : "";
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

std::string TablePrimaire(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                          std::string_view procedure) {
  const std::vector<std::string> tables = TablesPrimaires(m, nom);
  if (tables.size() > 1) SignaleAnomalieGen(s, "@ Plusieurs Table Primaire", procedure);
  return tables.empty() ? "" : tables.back();
}

void GenereEdition(Session& s, const fic::ModeleDictionnaire& m, const DemandeEdition& demande) {
  const std::string nom = NomFichier(demande.fichier);
  const fic::Fichier* f = m.ChercheFichier(nom);
  if (!ChercheFichier(s, nom) || f == nullptr) {
    throw ErreurService("GenPE", nom, "fichier non spécifié dans le dictionnaire");
  }
  if (TablesPrimaires(m, nom).empty()) {
    throw ErreurService("GenPE", nom, std::string(kAucuneTablePrimaire));
  }
  InitGenCode(s);
  const std::string table = TablePrimaire(s, m, nom, kProcedure);
  const Edition e = Prepare(*f, demande, table);
  SignaleNomsReserves(s, m, nom, kProcedure);
  if (auto refus = fic::RefusProcedure(e.programme, false, PorteeFichier(s, m, nom))) {
    SignaleAnomalieGen(s, "@ " + nom + "@ " + *refus, kProcedure);
  }
  Genere(s, e);
}

void GenereEdition(Session& s, const DemandeEdition& demande) {
  GenereEdition(s, fic::LitDictionnairePour(s, demande.fichier), demande);
}

void GenPE(Session& s) {
  const fic::ModeleDictionnaire m = fic::LitDictionnaire(s);
  DemandeEdition demande;
  if (DialogueEdition(s, m, demande)) GenereEdition(s, m, demande);
}

}  // namespace vesk
