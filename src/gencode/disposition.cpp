#include "gencode/disposition.h"

#include <algorithm>
#include <string>

#include "core/arithmetique.h"
#include "core/session.h"
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
int16_t ColonneInstruction(Session& s) {
  const std::string t = TypeDernier(s);
  const int16_t i = DecalDernier(s);
  if (Parmi(t, {"SUB", "REM", "FOR"})) return Somme<int16_t>(i, 4);
  if (t == "IF") return Somme<int16_t>(i, 3);
  if (Parmi(t, {"END IF", "NEXT"})) return Difference<int16_t>(i, 4);
  if (t == kInst) return i;
  return 0;
}

// Column of a computed comment, from the last recorded entry.
int16_t ColonneCommentaire(Session& s) {
  const std::string t = TypeDernier(s);
  const int16_t i = DecalDernier(s);
  if (Parmi(t, {"SUB", "REM", "FOR"})) return Somme<int16_t>(i, 4);
  if (Parmi(t, {"IF", "ELSE"})) return Somme<int16_t>(i, 3);
  if (t == "WHILE") return Somme<int16_t>(i, 6);
  if (Parmi(t, {"END IF", "NEXT", "Inst"})) return Difference<int16_t>(i, 4);
  return 0;
}

// The column d as leading spaces; a negative column ends the generation.
std::string Espaces(Session& s, int16_t d, bool calculee, std::string_view operation,
                    std::string_view ligne) {
  if (d < 0 && calculee) {
    throw ErreurService(operation, ligne,
                        "colonne calculée négative (" + std::to_string(d) + ") après une ligne « " +
                            TypeDernier(s) + " » en colonne " + std::to_string(DecalDernier(s)) +
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
int16_t RechDecal(Session& s, std::string LigneInst::*champ, std::string_view valeur,
                  std::string_view message, std::string_view procedure) {
  const EtatGenCode& etat = s.Gen();
  int32_t j = etat.NbInst();
  while (j >= 1 && etat.Inst(j).*champ != valeur) --j;
  if (j < 1) {
    SignaleAnomalieGen(s, "@" + std::string(valeur) + "@ " + std::string(message), procedure);
    j = 0;
  }
  return etat.Inst(j).indentation;
}

}  // namespace

std::string TypeInst(Session& s, std::string_view ligne) {
  const std::string t = SansEspacesMajuscules(ligne);
  bool oui = false;
  s.Texte().FinitPar(t, ":", oui);  // the text service also refuses a line not in UTF-8
  if (oui) return std::string(kEtiquette);
  if (t.starts_with("IF") && t.ends_with("THEN")) return "IF";
  for (std::string_view mot : kMotsCles) {
    if (t.starts_with(mot)) return std::string(mot);
  }
  return std::string(kInst);
}

std::string TypeDernier(Session& s) {
  const EtatGenCode& etat = s.Gen();
  return etat.Inst(etat.NbInst()).type;
}

int16_t DecalDernier(Session& s) {
  const EtatGenCode& etat = s.Gen();
  return etat.Inst(etat.NbInst()).indentation;
}

int16_t RechDecalPrecedent(Session& s, std::string_view type) {
  return RechDecal(s, &LigneInst::type, type, "Type Instruction non Retrouvé ",
                   "RechDecalPrecedent");
}

int16_t RechDecalId(Session& s, std::string_view identifiant) {
  return RechDecal(s, &LigneInst::identifiant, identifiant,
                   "Identification Spécifique non Retrouvé ", "RechDecalId");
}

void EcrireLigne(Session& s, std::string_view ligne, std::string_view identifiant) {
  EtatGenCode& etat = s.Gen();
  etat.PrepareEcriture("EcrireLigne");
  std::string nue;
  s.Texte().SupBlancs(ligne, nue);
  if (!nue.empty()) {
    std::string type = TypeInst(s, ligne);
    if (type != kEtiquette) {
      etat.Enregistre({EspacesEnTete(ligne), std::move(type), std::string(identifiant)});
    }
  }
  AjouteLigneFeuille(s, ligne);
}

void GenInst(Session& s, std::string_view instruction) {
  const std::string k = TypeInst(s, instruction);
  int16_t d = 0;
  if (Parmi(k, {"ELSE", "END IF"})) {
    d = RechDecalPrecedent(s, "IF");
  } else if (k == "WEND") {
    d = RechDecalPrecedent(s, "WHILE");
  } else if (k == "NEXT") {
    d = RechDecalPrecedent(s, "FOR");
  } else if (Parmi(k, {"EXIT SUB", "END SUB"})) {
    d = RechDecalPrecedent(s, "SUB");
  } else if (k != kEtiquette) {
    d = ColonneInstruction(s);
  }
  std::string ligne = Espaces(s, d, true, "GenInst", instruction);
  ligne.append(instruction);
  EcrireLigne(s, ligne, "");
}

void GenRem(Session& s, std::string_view commentaire, int16_t colonne,
            std::string_view identifiant) {
  const int16_t d = colonne == kColonneCalculee ? ColonneCommentaire(s) : colonne;
  std::string ligne = Espaces(s, d, colonne == kColonneCalculee, "GenRem", commentaire);
  ligne.append("Rem ");
  ligne.append(commentaire);
  EcrireLigne(s, ligne, identifiant);
}

}  // namespace vesk
