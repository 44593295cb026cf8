#include "gencode/disposition.h"

#include <algorithm>
#include <string>

#include "core/arithmetique.h"
#include "core/etat_module.h"
#include "gencode/etat_gencode.h"
#include "gencode/tampon.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

// The keywords that give a line its kind, in the order they are tried.
constexpr std::string_view kMotsCles[] = {"REM",  "ELSE",  "END IF", "SUB",      "FOR",
                                          "NEXT", "WHILE", "WEND",   "EXIT SUB", "END SUB"};
constexpr std::string_view kEtiquette = "Etiquette";
constexpr std::string_view kInst = "Inst";

// The line without its leading spaces, in upper case. Only ASCII letters change: the kinds
// depend on ASCII keywords, "THEN" and ":" alone, which no other letter's upper case can form.
std::string SansEspacesMajuscules(std::string_view ligne) {
  return text::UpperAscii(ligne.substr(std::min(ligne.find_first_not_of(' '), ligne.size())));
}

int16_t EspacesEnTete(std::string_view ligne) {
  const size_t debut = ligne.find_first_not_of(' ');
  return Convertit<int16_t>(debut == std::string_view::npos ? ligne.size() : debut);
}

bool Parmi(std::string_view t, std::initializer_list<std::string_view> types) {
  for (std::string_view u : types) {
    if (t == u) return true;
  }
  return false;
}

// Column of an ordinary instruction, from the last recorded entry.
int16_t ColonneInstruction() {
  const std::string t = TypeDernier();
  const int16_t i = DecalDernier();
  if (Parmi(t, {"SUB", "REM", "FOR"})) return Somme<int16_t>(i, 4);
  if (t == "IF") return Somme<int16_t>(i, 3);
  if (Parmi(t, {"END IF", "NEXT"})) return Difference<int16_t>(i, 4);
  if (t == kInst) return i;
  return 0;
}

// Column of a computed comment, from the last recorded entry.
int16_t ColonneCommentaire() {
  const std::string t = TypeDernier();
  const int16_t i = DecalDernier();
  if (Parmi(t, {"SUB", "REM", "FOR"})) return Somme<int16_t>(i, 4);
  if (Parmi(t, {"IF", "ELSE"})) return Somme<int16_t>(i, 3);
  if (t == "WHILE") return Somme<int16_t>(i, 6);
  if (Parmi(t, {"END IF", "NEXT", "Inst"})) return Difference<int16_t>(i, 4);
  return 0;
}

// The column d as leading spaces; a negative column ends the generation.
std::string Espaces(int16_t d, bool calculee, std::string_view operation, std::string_view ligne) {
  if (d < 0 && calculee) {
    throw ErreurService(operation, ligne,
                        "colonne calculée négative (" + std::to_string(d) + ") après une ligne « " +
                            TypeDernier() + " » en colonne " + std::to_string(DecalDernier()) +
                            " : la génération est arrêtée");
  }
  if (d < 0) {
    throw ErreurService(operation, ligne,
                        "colonne négative (" + std::to_string(d) +
                            ") : une colonne est un nombre d'espaces, 0 ou plus");
  }
  return std::string(static_cast<size_t>(d), ' ');
}

// The one backward search of the instruction record: the indentation of the most recent entry
// whose member champ is valeur; when there is none, the anomaly "@valeur@ " + message under
// procedure, and the indentation of entry 0.
int16_t RechDecal(std::string LigneInst::*champ, std::string_view valeur, std::string_view message,
                  std::string_view procedure) {
  const EtatGenCode& etat = EtatGen();
  int32_t j = etat.NbInst();
  while (j >= 1 && etat.Inst(j).*champ != valeur) --j;
  if (j < 1) {
    SignaleAnomalieGen("@" + std::string(valeur) + "@ " + std::string(message), procedure);
    j = 0;
  }
  return etat.Inst(j).indentation;
}

}  // namespace

std::string TypeInst(std::string_view ligne) {
  const std::string s = SansEspacesMajuscules(ligne);
  bool oui = false;
  Etat().Texte().FinitPar(s, ":", oui);  // the text service also refuses a line not in UTF-8
  if (oui) return std::string(kEtiquette);
  if (s.starts_with("IF") && s.ends_with("THEN")) return "IF";
  for (std::string_view mot : kMotsCles) {
    if (s.starts_with(mot)) return std::string(mot);
  }
  return std::string(kInst);
}

std::string TypeDernier() {
  const EtatGenCode& etat = EtatGen();
  return etat.Inst(etat.NbInst()).type;
}

int16_t DecalDernier() {
  const EtatGenCode& etat = EtatGen();
  return etat.Inst(etat.NbInst()).indentation;
}

int16_t RechDecalPrecedent(std::string_view type) {
  return RechDecal(&LigneInst::type, type, "Type Instruction non Retrouvé ", "RechDecalPrecedent");
}

int16_t RechDecalId(std::string_view identifiant) {
  return RechDecal(&LigneInst::identifiant, identifiant, "Identification Spécifique non Retrouvé ",
                   "RechDecalId");
}

void EcrireLigne(std::string_view ligne, std::string_view identifiant) {
  EtatGenCode& etat = EtatGen();
  etat.PrepareEcriture("EcrireLigne");
  std::string nue;
  Etat().Texte().SupBlancs(ligne, nue);
  if (!nue.empty()) {
    std::string type = TypeInst(ligne);
    if (type != kEtiquette) {
      etat.Enregistre({EspacesEnTete(ligne), std::move(type), std::string(identifiant)});
    }
  }
  AjouteLigneFeuille(ligne);
}

void GenInst(std::string_view instruction) {
  const std::string k = TypeInst(instruction);
  int16_t d = 0;
  if (Parmi(k, {"ELSE", "END IF"})) {
    d = RechDecalPrecedent("IF");
  } else if (k == "WEND") {
    d = RechDecalPrecedent("WHILE");
  } else if (k == "NEXT") {
    d = RechDecalPrecedent("FOR");
  } else if (Parmi(k, {"EXIT SUB", "END SUB"})) {
    d = RechDecalPrecedent("SUB");
  } else if (k != kEtiquette) {
    d = ColonneInstruction();
  }
  std::string ligne = Espaces(d, true, "GenInst", instruction);
  ligne.append(instruction);
  EcrireLigne(ligne, "");
}

void GenRem(std::string_view commentaire, int16_t colonne, std::string_view identifiant) {
  const int16_t d = colonne == kColonneCalculee ? ColonneCommentaire() : colonne;
  std::string ligne = Espaces(d, colonne == kColonneCalculee, "GenRem", commentaire);
  ligne.append("Rem ");
  ligne.append(commentaire);
  EcrireLigne(ligne, identifiant);
}

}  // namespace vesk
