#include "cli/programmes.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "fic/dictionnaire_texte.h"
#include "fic/faute_toml.h"
#include "platform/platform.h"
#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

constexpr std::string_view kOperation = "Registre des programmes";
constexpr int64_t kVersion = 1;

using fic::ChaineToml;
using fic::CleToml;

void EcritProgramme(std::string& out, const ProgrammeEnregistre& p) {
  out += "\n[programmes." + CleToml(p.nom) + "]\ngenerateur = " + ChaineToml(p.generateur) +
         "\nfichier = " + ChaineToml(p.fichier) + "\n";
  if (p.generateur != "decl") out += "programme = " + ChaineToml(p.programme) + "\n";
  if (p.generateur == "genps") {
    out += "titre = " + ChaineToml(p.titre) + "\nsuffixe = " + ChaineToml(p.suffixe) + "\n";
  }
  if (p.generateur == "genpe") out += std::string("csv = ") + (p.csv ? "true" : "false") + "\n";
  out += "encodage = " + ChaineToml(NomEncodage(p.encodage)) +
         "\nfin_de_ligne = " + ChaineToml(NomFinDeLigne(p.fin_de_ligne)) + "\n";
  out += "\n[programmes." + CleToml(p.nom) + ".empreinte]\n";
  for (size_t g = 0; g < fic::kGenresParties; ++g) {
    out += std::string(fic::CleGenre(static_cast<fic::GenrePartie>(g))) + " = {";
    bool premier = true;
    for (const auto& [nom, h] : p.empreinte.parties[g]) {
      out += (premier ? " " : ", ") + CleToml(nom) + " = " + ChaineToml(h);
      premier = false;
    }
    out += premier ? "}\n" : " }\n";
  }
}

// Reads one program's table; a fault ends the reading with the node's line.
class Lecteur {
 public:
  explicit Lecteur(const std::string& chemin) : chemin_(chemin) {}

  [[noreturn]] void Faute(const toml::node& n, const std::string& message) const {
    throw ErreurService(kOperation, chemin_ + ":" + std::to_string(n.source().begin.line), message);
  }

  std::string Texte(const toml::table& t, std::string_view cle) const {
    const toml::node* n = t.get(cle);
    if (n == nullptr) Faute(t, "clé « " + std::string(cle) + " » absente");
    if (!n->is_string()) Faute(*n, "« " + std::string(cle) + " » : un texte est attendu");
    return n->as_string()->get();
  }

  ProgrammeEnregistre Programme(const std::string& nom, const toml::table& t) const {
    ProgrammeEnregistre p;
    p.nom = nom;
    p.generateur = Texte(t, "generateur");
    if (p.generateur != "decl" && p.generateur != "genps" && p.generateur != "genpe") {
      Faute(t, "générateur « " + p.generateur + " » inconnu : decl, genps ou genpe attendu");
    }
    p.fichier = Texte(t, "fichier");
    if (p.generateur != "decl") p.programme = Texte(t, "programme");
    if (p.generateur == "genps") {
      p.titre = Texte(t, "titre");
      p.suffixe = Texte(t, "suffixe");
    }
    if (p.generateur == "genpe") {
      const toml::node* csv = t.get("csv");
      if (csv == nullptr || !csv->is_boolean()) Faute(t, "« csv » : true ou false attendu");
      p.csv = csv->as_boolean()->get();
    }
    const std::string encodage = Texte(t, "encodage"), fin = Texte(t, "fin_de_ligne");
    if (encodage != "utf8" && encodage != "cp1252")
      Faute(t, "encodage « " + encodage + " » inconnu");
    if (fin != "crlf" && fin != "lf") Faute(t, "fin de ligne « " + fin + " » inconnue");
    p.encodage = encodage == "utf8" ? Encodage::kUtf8 : Encodage::kCp1252;
    p.fin_de_ligne = fin == "crlf" ? FinDeLigne::kCrLf : FinDeLigne::kLf;
    p.empreinte = Empreinte(t);
    return p;
  }

 private:
  fic::Empreinte Empreinte(const toml::table& t) const {
    const toml::table* e = t.get_as<toml::table>("empreinte");
    if (e == nullptr) Faute(t, "table « empreinte » absente");
    fic::Empreinte empreinte;
    for (size_t g = 0; g < fic::kGenresParties; ++g) {
      const std::string_view cle = fic::CleGenre(static_cast<fic::GenrePartie>(g));
      const toml::table* parties = e->get_as<toml::table>(cle);
      if (parties == nullptr) Faute(*e, "empreinte : « " + std::string(cle) + " » absente");
      for (const auto& [nom, h] : *parties) {
        if (!h.is_string()) Faute(h, "empreinte : un texte est attendu");
        empreinte.parties[g][std::string(nom.str())] = h.as_string()->get();
      }
    }
    return empreinte;
  }

  const std::string& chemin_;
};

}  // namespace

std::string TexteRegistre(const std::vector<ProgrammeEnregistre>& programmes) {
  std::vector<const ProgrammeEnregistre*> tries;
  for (const ProgrammeEnregistre& p : programmes) tries.push_back(&p);
  std::sort(tries.begin(), tries.end(), [](auto* a, auto* b) { return a->nom < b->nom; });
  std::string out =
      "# Les programmes que vesk a générés dans ce dossier et ce dont chacun est fait : vesk "
      "perimes les compare au\n# dictionnaire, vesk regenere refait ceux qui ont changé. Écrit "
      "par vesk.\nversion = " +
      std::to_string(kVersion) + "\n";
  for (const ProgrammeEnregistre* p : tries) EcritProgramme(out, *p);
  return out;
}

std::vector<ProgrammeEnregistre> LitTexteRegistre(std::string_view texte,
                                                  const std::string& chemin) {
  toml::table racine;
  try {
    racine = toml::parse(texte, chemin);
  } catch (const toml::parse_error& e) {
    throw ErreurService(kOperation, chemin + ":" + std::to_string(e.source().begin.line),
                        fic::TraduitFauteToml(e.description()));
  }
  const Lecteur lecteur(chemin);
  const toml::node* version = racine.get("version");
  if (version == nullptr || version->value<int64_t>() != kVersion) {
    lecteur.Faute(version != nullptr ? *version : racine, "version 1 attendue");
  }
  std::vector<ProgrammeEnregistre> programmes;
  const toml::table* tables = racine.get_as<toml::table>("programmes");
  if (tables == nullptr) return programmes;
  for (const auto& [nom, t] : *tables) {
    if (!t.is_table()) lecteur.Faute(t, "« " + std::string(nom.str()) + " » : une table attendue");
    programmes.push_back(lecteur.Programme(std::string(nom.str()), *t.as_table()));
  }
  return programmes;
}

std::vector<fic::ProgrammeUtilise> ProgrammesUtilises(
    const std::vector<ProgrammeEnregistre>& programmes) {
  std::vector<fic::ProgrammeUtilise> utilises;
  for (const ProgrammeEnregistre& p : programmes) {
    utilises.push_back({p.nom, p.generateur, p.fichier, p.empreinte});
  }
  return utilises;
}

std::vector<std::string> ChangementsProgramme(const ProgrammeEnregistre& p,
                                              const fic::ModeleDictionnaire& modele) {
  if (!modele.fichiers.contains(p.fichier)) {
    return {"fichier " + p.fichier + " supprimé du dictionnaire"};
  }
  return fic::Changements(p.empreinte,
                          fic::EmpreinteFichier(fic::PartiesFichier(modele, p.fichier), p.fichier));
}

std::vector<ProgrammeEnregistre> LitRegistre(const std::string& dossier) {
  const std::string chemin = platform::JoinPath(dossier, kRegistreProgrammes);
  bool trouve = false;
  const std::string texte = LitFichierEntier(chemin, trouve);
  if (!trouve) return {};
  return LitTexteRegistre(texte, chemin);
}

void EcritRegistre(const std::string& dossier, const std::vector<ProgrammeEnregistre>& programmes) {
  EcritFichierEntier(platform::JoinPath(dossier, kRegistreProgrammes), TexteRegistre(programmes));
}

void Enregistre(std::vector<ProgrammeEnregistre>& programmes, ProgrammeEnregistre programme) {
  std::erase_if(programmes, [&](const ProgrammeEnregistre& p) {
    return text::EqualNoCase(p.nom, programme.nom);
  });
  programmes.push_back(std::move(programme));
}

void EcritFichierEntier(const std::string& chemin, std::string_view texte,
                        std::string_view operation) {
  const std::string provisoire = chemin + ".tmp";
  std::ofstream sortie(provisoire, std::ios::binary | std::ios::trunc);
  sortie << texte;
  sortie.close();
  platform::IoStatus st =
      sortie ? platform::RenameFile(provisoire, chemin)
             : platform::IoStatus{platform::Code::kIoError, 0, "écriture impossible"};
  if (!st.ok()) {
    platform::RemoveFile(provisoire);
    throw ErreurService(operation, chemin, st.message);
  }
}

std::string LitFichierEntier(const std::string& chemin, bool& trouve) {
  trouve = false;
  const platform::IoStatus st = platform::FileExists(chemin, &trouve);
  if (!st.ok()) throw ErreurService("Lecture", chemin, st.message);
  if (!trouve) return "";
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  if (!in && !in.eof()) throw ErreurService("Lecture", chemin, "lecture impossible");
  return tout.str();
}

}  // namespace vesk::cli
