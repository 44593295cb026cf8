#include "gencode/declaration.h"

#include <string>

#include "core/arithmetique.h"
#include "core/etat_module.h"
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

std::string SansBlancs(std::string_view texte) {
  std::string r;
  Etat().Texte().SupBlancs(texte, r);
  return r;
}

std::string Nombre(double valeur) {
  std::string r;
  Etat().Texte().NumTexte(valeur, r);
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
bool ChercheFic(std::string_view nom) {
  Session& etat = Etat();
  bool trouve = false;
  etat.BArbre().Recherche(etat.fic_arbre, CleFic(SansBlancs(nom)), etat.fic_fichier, trouve);
  return trouve;
}

// Searches the file in Fic and reports it under procedure when it is missing.
bool ChercheOuSignale(std::string_view nom, std::string_view procedure) {
  const bool trouve = ChercheFic(nom);
  if (!trouve) SignaleAnomalieGen("@ " + SansBlancs(nom) + "@ Inconnu ", procedure);
  return trouve;
}

std::string Application() {
  std::string app;
  Etat().Ecran().NomApplication(app);
  return app;
}

// "True" when the current Fic record depends on the company, else "False".
std::string Dependance() { return Etat().fic[kDfe] == "O" ? "True" : "False"; }

void Commentaire(std::string_view texte) { GenRem(texte, kColonneCalculee, ""); }

// Calls f for each field line of the Fic record just found, in chain order (the line is then
// the current Lfic record). A file missing from Fic has no current record: no lines.
template <typename F>
void PourChaqueRubrique(bool trouve, F f) {
  if (!trouve) return;
  Session& etat = Etat();
  int32_t no = 0;
  etat.Chainage().PremLigne(etat.lfic_fichier, no);
  while (no != 0) {
    f();
    etat.Chainage().SuivLigne(etat.lfic_fichier, no);
  }
}

// Calls f for each Ba record, in key order, whose NOMD is the current NOMFIC (as stored).
template <typename F>
void PourChaqueBArbre(F f) {
  Session& etat = Etat();
  bool trouve = false;
  std::string cle;
  etat.BArbre().PremCle(etat.ba_arbre, etat.ba_fichier, trouve, cle);
  while (trouve) {
    if (etat.ba[kNomD] == etat.fic[kNomFic]) f();
    etat.BArbre().SuivCle(etat.ba_arbre, etat.ba_fichier, trouve, cle);
  }
}

// Variable name and decoded internal size of the current field line.
std::string Variable() { return SansBlancs(Etat().lfic[kLf5]); }
int16_t TailleInterne() {
  int16_t n = 0;
  Etat().Texte().DecodeTaille(Etat().lfic[kLongueurInterne], n);
  return n;
}

// LONGENR of the current Fic record as a number: decimal digits between blanks; blank is 0.
int32_t LongueurEnregistrement(std::string_view fichier) {
  const std::string texte = SansBlancs(Etat().fic[kLongEnr]);
  int32_t valeur = 0;
  for (char c : texte) {
    if (c < '0' || c > '9') {
      throw ErreurService(kProcFichier, std::string(fichier) + ".dat",
                          "longueur d'enregistrement « " + texte +
                              " » illisible : des chiffres décimaux sont attendus");
    }
    valeur = Somme<int32_t>(Produit<int32_t>(valeur, 10), c - '0');
  }
  return valeur;
}

// One chaining record taken (the current Chain record).
void EcritChainage(bool& entete_ecrit) {
  Session& etat = Etat();
  const std::string ligne = SansBlancs(etat.chain[kChainL]);
  const std::string entete = SansBlancs(etat.chain[kChainE]);
  const std::string pnea = SansBlancs(etat.chain[kPnea]);
  const std::string pnes = SansBlancs(etat.chain[kPnes]);
  const std::string ppe = SansBlancs(etat.chain[kPpe]);
  const std::string pde = SansBlancs(etat.chain[kPde]);
  GenLigneVide();
  if (!entete_ecrit) {
    Commentaire("Chainage des Fichiers " + Application());
    entete_ecrit = true;
  }
  Commentaire("Chainage de " + ligne + ".dat" + " - Entête : " + entete + ".dat");
  if (!ChercheFic(entete)) {
    SignaleAnomalieGen("@ " + entete + "@ Fichier Entête de Chainage Inconnu ", kProcFichier);
  }
  const std::string lh = Nombre(LongueurEnregistrement(entete));
  if (!ChercheFic(ligne)) {
    SignaleAnomalieGen("@ " + ligne + "@ Fichier Ligne de Chainage Inconnu ", kProcFichier);
  }
  const std::string ll = Nombre(LongueurEnregistrement(ligne));
  std::string q(kQ);
  GenInst("Call Chainage(CP + " + q + entete + q + "," + lh + "," + ppe + "," + pde + ",CP + " + q +
          ligne + q + "," + ll + "," + pnea + "," + pnes + ")");
}

void EcritLecture(const std::string& nom, bool trouve) {
  Commentaire(nom + ".dat");
  Commentaire("Lecture");
  GenInst("Sub Lire" + nom + "(E as Long)");
  Commentaire("Déclaration");
  GenInst("Dim T as String");
  Commentaire("Lecture du Fichier");
  GenInst("Call LireFichier(" + nom + "D%,E,T)");
  Commentaire("Distribution dans les Variables");
  int16_t position = 0;
  PourChaqueRubrique(trouve, [&] {
    const int16_t taille = TailleInterne();
    GenInst(Variable() + " = Mid(T," + Nombre(Somme<int16_t>(position, 1)) + "," + Nombre(taille) +
            ")");
    position = Somme<int16_t>(position, taille);
  });
  GenInst("End Sub");
}

void EcritEcriture(const std::string& nom, bool trouve) {
  Commentaire("Ecriture");
  GenInst("Sub Ecrire" + nom + "(E as Long)");
  Commentaire("Déclaration");
  GenInst("Dim T as String");
  Commentaire("Constitution de l'Enregistrement");
  std::string joint;
  bool premier = true;
  PourChaqueRubrique(trouve, [&] {
    if (!premier) joint.append(" + ");
    joint.append(Variable());
    premier = false;
  });
  GenInst("T = " + joint);
  Commentaire("Ecriture du Fichier");
  GenInst("Call EcrireFichier(" + nom + "D%,E,T)");
  GenInst("End Sub");
  GenLigneVide();
}

}  // namespace

void DeclarationFichier(std::string_view nom) {
  InitGenCode();
  GenTitre("Ouverture des Fichiers et B-Arbres", "=", "");
  GenInst("Sub Ouv" + Application());
  DeclarationOuvFich_BArbre(nom);
  bool entete_ecrit = false;
  DeclarationChainage(nom, entete_ecrit);
  GenInst("End Sub");
  GenLigneVide();
  GenTitre("Lecture/Ecriture des Fichiers", "=", "");
  DeclarationLectEcrFich(nom);
  GenTitre("Déclaration des Variables des Fichiers", "=", "");
  DeclarationVarFich(nom);
  SignaleNomsReserves(nom, kProcFichier);
  if (!ChercheFic(nom)) SignaleAnomalieGen("@ " + SansBlancs(nom) + "@ Inconnu ", kProcFichier);
  TermineGenCode();
}

void DeclarationOuvFich_BArbre(std::string_view nom) {
  const std::string n = SansBlancs(nom);
  const std::string q(kQ);
  Commentaire("Ouverture Fichier et B-Arbres " + Application());
  const bool trouve = ChercheOuSignale(nom, kProcOuv);
  Commentaire(n + ".dat");
  Commentaire("Ouverture du Fichier " + n + ".dat");
  const std::string c = Dependance();
  GenInst("Call Donnee(" + c + "," + q + n + q + "," + SansBlancs(Etat().fic[kLongEnr]) + "," + n +
          "D%,DllApl)");
  Commentaire("Initialisation des Variables du Fichier");
  PourChaqueRubrique(trouve,
                     [] { GenInst(Variable() + " = Space(" + Nombre(TailleInterne()) + ")"); });
  PourChaqueBArbre([&] {
    const Session& etat = Etat();
    const std::string b = SansBlancs(etat.ba[kNomT]);
    Commentaire("Ouverture du B-Arbre " + b + ".dab");
    GenInst("Call B_Arbre(" + c + "," + q + b + q + "," + SansBlancs(etat.ba[kLongCle]) + "," + q +
            SansBlancs(etat.ba[kNatT]) + q + "," + b + "T%)");
  });
}

void DeclarationChainage(std::string_view nom, bool& entete_ecrit) {
  Session& etat = Etat();
  const std::string cle = CleFic(SansBlancs(nom));
  bool trouve = false;
  std::string cle_chain;
  etat.BArbre().PremCle(etat.chain_arbre, etat.chain_fichier, trouve, cle_chain);
  while (trouve) {
    if (etat.chain[kChainL] == cle || etat.chain[kChainE] == cle) EcritChainage(entete_ecrit);
    etat.BArbre().SuivCle(etat.chain_arbre, etat.chain_fichier, trouve, cle_chain);
  }
}

void DeclarationLectEcrFich(std::string_view nom) {
  const bool trouve = ChercheOuSignale(nom, kProcLectEcr);
  const std::string n = SansBlancs(nom);
  EcritLecture(n, trouve);
  EcritEcriture(n, trouve);
}

void DeclarationVarFich(std::string_view nom) {
  const bool trouve = ChercheOuSignale(nom, kProcVar);
  const std::string n = SansBlancs(nom);
  Commentaire("Fichier " + n + ".dat");
  std::string liste;
  auto ajoute = [&liste](std::string_view element) {
    if (!liste.empty()) liste.append(", ");
    liste.append(element);
  };
  PourChaqueBArbre([&] { ajoute(SansBlancs(Etat().ba[kNomT]) + "T As Integer"); });
  ajoute(n + "D As Integer");
  PourChaqueRubrique(trouve, [&] { ajoute(Variable() + " As String"); });
  GenInst("Public " + liste);
}

}  // namespace vesk
