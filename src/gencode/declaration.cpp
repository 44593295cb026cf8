#include "gencode/declaration.h"

#include <span>
#include <string>

#include "core/arithmetique.h"
#include "fic/lecture_dictionnaire.h"
#include "gencode/disposition.h"
#include "gencode/fichier_genere.h"
#include "gencode/tampon.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

constexpr std::string_view kQ = "\"";
constexpr std::string_view kProcFichier = "DéclarationFichier";
constexpr std::string_view kProcOuv = "DéclarationOuvFich_BArbre";
constexpr std::string_view kProcLectEcr = "DéclarationLectEcrFich";
constexpr std::string_view kProcVar = "DéclarationVarFich";
constexpr int kLargeurNomFic = 6;

std::string SansBlancs(Session& s, std::string_view texte) {
  std::string r;
  s.Texte().SupBlancs(texte, r);
  return r;
}

std::string Nombre(Session& s, double valeur) {
  std::string r;
  s.Texte().NumTexte(valeur, r);
  return r;
}

// The name as a key of Fic: padded with spaces to the key's width (a longer name is left to
// the B-tree service, which refuses it).
std::string CleFic(std::string_view nom) {
  std::string cle(nom);
  const size_t n = text::CountChars(cle);
  if (n < kLargeurNomFic) cle.append(kLargeurNomFic - n, ' ');
  return cle;
}

// Searches the file in Fic: its record becomes current when found.
bool ChercheFic(Session& s, std::string_view nom) {
  Session& etat = s;
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, CleFic(SansBlancs(s, nom)), etat.fic_fichier, trouve);
  return trouve;
}

// The file the session's current Fic record describes (the one a search found last), as the
// dictionary m gives it; null when the record is blank. A file missing from Fic leaves the
// record as it was: the generator goes on with it.
const fic::Fichier* Courant(Session& s, const fic::ModeleDictionnaire& m) {
  return m.ChercheFichier(text::TrimRight(s.fic[kNomFic]));
}

// Searches the file in Fic and reports it under procedure when it is missing; true when found
// (it is then the current file).
bool ChercheOuSignale(Session& s, std::string_view nom, std::string_view procedure) {
  const bool trouve = ChercheFic(s, nom);
  if (!trouve) SignaleAnomalieGen(s, "@ " + SansBlancs(s, nom) + "@ Inconnu ", procedure);
  return trouve;
}

std::string Application(Session& s) {
  std::string app;
  s.Ecran().NomApplication(app);
  return app;
}

// "True" when the file depends on the company, else "False" (none does not).
std::string Dependance(const fic::Fichier* f) {
  return f != nullptr && f->entreprise ? "True" : "False";
}

void Commentaire(Session& s, std::string_view texte) { GenRem(s, texte, kColonneCalculee, ""); }

// The fields of the current file when the search found it, in their order; none otherwise.
std::span<const fic::Rubrique> Rubriques(bool trouve, const fic::Fichier* f) {
  if (!trouve || f == nullptr) return {};
  return f->rubriques;
}

// The record length of the current file (0 when there is none).
int32_t Longueur(const fic::Fichier* f) { return f == nullptr ? 0 : f->Longueur(); }

// One chaining of the file: the line file ligne under its header file.
void EcritChainage(Session& s, const fic::ModeleDictionnaire& m, const std::string& ligne,
                   const fic::Chainage& c, bool& entete_ecrit) {
  const std::string& entete = c.entete;
  GenLigneVide(s);
  if (!entete_ecrit) {
    Commentaire(s, "Chainage des Fichiers " + Application(s));
    entete_ecrit = true;
  }
  Commentaire(s, "Chainage de " + ligne + ".dat" + " - Entête : " + entete + ".dat");
  if (!ChercheFic(s, entete)) {
    SignaleAnomalieGen(s, "@ " + entete + "@ Fichier Entête de Chainage Inconnu ", kProcFichier);
  }
  const std::string lh = Nombre(s, Longueur(Courant(s, m)));
  if (!ChercheFic(s, ligne)) {
    SignaleAnomalieGen(s, "@ " + ligne + "@ Fichier Ligne de Chainage Inconnu ", kProcFichier);
  }
  const std::string ll = Nombre(s, Longueur(Courant(s, m)));
  const std::string q(kQ);
  GenInst(s, "Call Chainage(CP + " + q + entete + q + "," + lh + "," + std::to_string(c.premier) +
                 "," + std::to_string(c.dernier) + ",CP + " + q + ligne + q + "," + ll + "," +
                 std::to_string(c.arriere) + "," + std::to_string(c.avant) + ")");
}

void EcritLecture(Session& s, const std::string& nom, std::span<const fic::Rubrique> rubriques) {
  Commentaire(s, nom + ".dat");
  Commentaire(s, "Lecture");
  GenInst(s, "Sub Lire" + nom + "(E as Long)");
  Commentaire(s, "Déclaration");
  GenInst(s, "Dim T as String");
  Commentaire(s, "Lecture du Fichier");
  GenInst(s, "Call LireFichier(" + nom + "D%,E,T)");
  Commentaire(s, "Distribution dans les Variables");
  for (const fic::Rubrique& r : rubriques) {
    // The generated program counts positions in 16 bits: one past them ends the generation.
    GenInst(s, SansBlancs(s, r.variable) + " = Mid(T," + Nombre(s, Convertit<int16_t>(r.position)) +
                   "," + Nombre(s, r.interne.longueur) + ")");
    Convertit<int16_t>(r.Fin());
  }
  GenInst(s, "End Sub");
}

void EcritEcriture(Session& s, const std::string& nom, std::span<const fic::Rubrique> rubriques) {
  Commentaire(s, "Ecriture");
  GenInst(s, "Sub Ecrire" + nom + "(E as Long)");
  Commentaire(s, "Déclaration");
  GenInst(s, "Dim T as String");
  Commentaire(s, "Constitution de l'Enregistrement");
  std::string joint;
  for (const fic::Rubrique& r : rubriques) {
    if (!joint.empty()) joint.append(" + ");
    joint.append(SansBlancs(s, r.variable));
  }
  GenInst(s, "T = " + joint);
  Commentaire(s, "Ecriture du Fichier");
  GenInst(s, "Call EcrireFichier(" + nom + "D%,E,T)");
  GenInst(s, "End Sub");
  GenLigneVide(s);
}

}  // namespace

void DeclarationFichier(Session& s, std::string_view nom) {
  const fic::ModeleDictionnaire m = fic::LitDictionnairePour(s, nom);
  InitGenCode(s);
  GenTitre(s, "Ouverture des Fichiers et B-Arbres", "=", "");
  GenInst(s, "Sub Ouv" + Application(s));
  DeclarationOuvFich_BArbre(s, m, nom);
  bool entete_ecrit = false;
  DeclarationChainage(s, m, nom, entete_ecrit);
  GenInst(s, "End Sub");
  GenLigneVide(s);
  GenTitre(s, "Lecture/Ecriture des Fichiers", "=", "");
  DeclarationLectEcrFich(s, m, nom);
  GenTitre(s, "Déclaration des Variables des Fichiers", "=", "");
  DeclarationVarFich(s, m, nom);
  SignaleNomsReserves(s, m, nom, kProcFichier);
  if (!ChercheFic(s, nom)) {
    SignaleAnomalieGen(s, "@ " + SansBlancs(s, nom) + "@ Inconnu ", kProcFichier);
  }
  TermineGenCode(s);
}

void DeclarationOuvFich_BArbre(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom) {
  const std::string n = SansBlancs(s, nom);
  const std::string q(kQ);
  Commentaire(s, "Ouverture Fichier et B-Arbres " + Application(s));
  const bool trouve = ChercheOuSignale(s, nom, kProcOuv);
  const fic::Fichier* f = Courant(s, m);
  Commentaire(s, n + ".dat");
  Commentaire(s, "Ouverture du Fichier " + n + ".dat");
  const std::string c = Dependance(f);
  GenInst(s, "Call Donnee(" + c + "," + q + n + q + "," +
                 (f != nullptr ? std::to_string(f->Longueur()) : "") + "," + n + "D%,DllApl)");
  Commentaire(s, "Initialisation des Variables du Fichier");
  for (const fic::Rubrique& r : Rubriques(trouve, f)) {
    GenInst(s, SansBlancs(s, r.variable) + " = Space(" + Nombre(s, r.interne.longueur) + ")");
  }
  if (f == nullptr) return;
  for (const auto& [table, b] : m.TablesDe(text::TrimRight(s.fic[kNomFic]))) {
    Commentaire(s, "Ouverture du B-Arbre " + table + ".dab");
    GenInst(s, "Call B_Arbre(" + c + "," + q + table + q + "," + std::to_string(b->longueur) + "," +
                   q + SansBlancs(s, b->nature) + q + "," + table + "T%)");
  }
}

void DeclarationChainage(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom,
                         bool& entete_ecrit) {
  const std::string n = SansBlancs(s, nom);
  for (const auto& [ligne, c] : m.chainages) {
    if (ligne == n || c.entete == n) EcritChainage(s, m, ligne, c, entete_ecrit);
  }
}

void DeclarationLectEcrFich(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom) {
  const bool trouve = ChercheOuSignale(s, nom, kProcLectEcr);
  const std::span<const fic::Rubrique> rubriques = Rubriques(trouve, Courant(s, m));
  const std::string n = SansBlancs(s, nom);
  EcritLecture(s, n, rubriques);
  EcritEcriture(s, n, rubriques);
}

void DeclarationVarFich(Session& s, const fic::ModeleDictionnaire& m, std::string_view nom) {
  const bool trouve = ChercheOuSignale(s, nom, kProcVar);
  const fic::Fichier* f = Courant(s, m);
  const std::string n = SansBlancs(s, nom);
  Commentaire(s, "Fichier " + n + ".dat");
  std::string liste;
  auto ajoute = [&liste](std::string_view element) {
    if (!liste.empty()) liste.append(", ");
    liste.append(element);
  };
  for (const auto& [table, b] : m.TablesDe(text::TrimRight(s.fic[kNomFic]))) {
    ajoute(table + "T As Integer");
  }
  ajoute(n + "D As Integer");
  for (const fic::Rubrique& r : Rubriques(trouve, f)) {
    ajoute(SansBlancs(s, r.variable) + " As String");
  }
  GenInst(s, "Public " + liste);
}

}  // namespace vesk
