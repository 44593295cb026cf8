// The screens as a person sees them: each screen of `vesk` is run on the demo folder in a tmux
// pane at 80x24 and at 100x30, its frame read back and compared with the frame kept as text in
// src/cli/testdata/ecrans/ (VESK_REGOLDEN=1 rewrites them); values that fill their field are
// seen whole, a key typed over a value replaces it in what is stored, messages come and go.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "srv/tui/testing/panneau_tmux.h"

namespace {

namespace fs = std::filesystem;

struct Taille {
  int colonnes, lignes;
};

std::string Contenu(const fs::path& chemin) {
  std::ifstream in(chemin, std::ios::binary);
  std::stringstream tout;
  tout << in.rdbuf();
  return tout.str();
}

// The capture without the spaces that end its lines nor its empty last lines.
std::string SansBlancsFinaux(const std::string& ecran) {
  std::string propre, ligne;
  std::istringstream in(ecran);
  while (std::getline(in, ligne)) {
    ligne.erase(ligne.find_last_not_of(' ') + 1);
    propre += ligne + "\n";
  }
  while (propre.size() >= 2 && propre.ends_with("\n\n")) propre.pop_back();
  return propre;
}

class EcransDessines : public ::testing::TestWithParam<Taille> {
 protected:
  void SetUp() override {
    if (!vesk::testing::TmuxPresent()) GTEST_SKIP() << "tmux absent";
    panneau_ = std::make_unique<vesk::testing::PanneauTmux>("vesk_ecrans");
    dossier_ = fs::temp_directory_path() / panneau_->Socket();
    fs::create_directories(dossier_);
    const std::string demo =
        std::string(VESK_BINAIRE) + " demo " + (dossier_ / "demo").string() + " >/dev/null";
    ASSERT_EQ(std::system(demo.c_str()), 0);
  }
  void TearDown() override {
    panneau_.reset();
    std::error_code ignore;
    fs::remove_all(dossier_, ignore);
  }

  // Runs `vesk arguments` in the demo folder, in a pane of the test's size, once texte shows.
  void Lance(const std::string& arguments, const std::string& texte) {
    panneau_->Lance("cd " + (dossier_ / "demo").string() + " && " + VESK_BINAIRE + " " + arguments +
                        "; echo $? > ../status; sleep 60",
                    GetParam().colonnes, GetParam().lignes);
    panneau_->Attend(texte);
  }
  // The screen once it no longer changes.
  std::string Cadre() {
    std::string avant = panneau_->Capture();
    for (int i = 0; i < 40; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(60));
      std::string apres = panneau_->Capture();
      if (apres == avant) break;
      avant = std::move(apres);
    }
    return SansBlancsFinaux(avant);
  }
  // The frame compared with the one kept as nom_CxL.txt.
  void Compare(const std::string& nom) {
    const char* source = std::getenv("VESK_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const Taille t = GetParam();
    const fs::path chemin =
        fs::path(source) / "src/cli/testdata/ecrans" /
        (nom + "_" + std::to_string(t.colonnes) + "x" + std::to_string(t.lignes) + ".txt");
    const std::string cadre = Cadre();
    if (std::getenv("VESK_REGOLDEN") != nullptr) std::ofstream(chemin, std::ios::binary) << cadre;
    EXPECT_EQ(cadre, Contenu(chemin)) << "cadre attendu : " << chemin;
  }
  void Envoie(const std::string& touches) { panneau_->Envoie(touches); }
  void Tape(const std::string& texte) { panneau_->Tape(texte); }
  std::string Attend(const std::string& texte) { return panneau_->Attend(texte); }
  // The exit status of the command, once it has ended.
  std::string Status() {
    for (int i = 0; i < 100; ++i) {
      const std::string s = Contenu(dossier_ / "status");
      if (!s.empty()) return s.substr(0, s.find('\n'));
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return "pas de fin";
  }
  // The dictionary as text, after the screens.
  std::string Export() {
    return vesk::testing::SortieCommande("cd " + (dossier_ / "demo").string() + " && " +
                                         VESK_BINAIRE + " export");
  }
  // The line of the screen that holds texte ("" when none).
  std::string Ligne(const std::string& texte) {
    std::istringstream in(Cadre());
    for (std::string ligne; std::getline(in, ligne);) {
      if (ligne.find(texte) != std::string::npos) return ligne;
    }
    return "";
  }

  std::unique_ptr<vesk::testing::PanneauTmux> panneau_;
  fs::path dossier_;
};

constexpr char kTouches[] = "Entrée Valider - ↑ Retour - PgUp Début - Échap Abandon - Ctrl+U Vider";

TEST_P(EcransDessines, TheMenuListsItsCommandsAndEscLeaves) {
  Lance("", "Gestion des Fichiers");
  Compare("menu");
  EXPECT_TRUE(Ligne("Entrée Choisir").ends_with("Lettres : Recherche"));
  Envoie("Escape");
  EXPECT_EQ(Status(), "0");
}

// The file screen: a refused name says why until the next valid entry; the F2-F5 help is whole;
// the one-letter dependence is seen and replaced by the key typed; the field list is drawn.
TEST_P(EcransDessines, EntFicFromItsNameToTheFieldList) {
  Lance("entfic", "ENTREE DE SPECIFICATIONS");
  Compare("entfic");
  EXPECT_EQ(Ligne("Entrée Valider"), kTouches);
  Tape("Fic-1");
  Envoie("Enter");
  Attend("Nom de fichier « Fic-1 » refusé : lettres (sans accent) et chiffres seulement");
  Tape("factur");
  Envoie("Enter");
  Attend("MODIFICATION");
  Compare("entfic_factur");
  EXPECT_TRUE(Ligne("NOM DU FICHIER").ends_with(" FACTUR MODIFICATION")) << Cadre();
  EXPECT_EQ(Ligne("refusé"), "");
  EXPECT_EQ(Ligne("F5 :"), "- F5 : Aller à l'Edition du Fichier");
  EXPECT_TRUE(Ligne("DEPENDANCE PAR ENTREPRISE").ends_with(" O")) << Cadre();
  Tape("N");
  Envoie("Enter");
  Envoie("Enter");
  Attend("Champ No 1");
  Compare("champs");
  Envoie("Escape");
  Attend("Longueur Réelle");
  Envoie("Enter");
  // FACTUR's 766 records move from the company folder to the root with it: asked first.
  Attend("Données de FACTUR à convertir");
  EXPECT_NE(Ligne("FACTUR (01 -> racine) : 766 enregistrement(s)"), "") << Cadre();
  Envoie("Enter");
  Attend("F6 Confirmer - autre touche : Annuler");
  Envoie("F6");
  Attend("FACTUR écrit, données converties ; avant : SAUVEGARDE-");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0");
  const std::string dico = Export();
  EXPECT_NE(dico.find("[fichiers.FACTUR]\n"), std::string::npos) << dico;
  EXPECT_EQ(dico.find("[fichiers.FACTUR]\nentreprise = true"), std::string::npos) << dico;
}

// Programs recorded as generated from CLIENT, in the demo's PROGRAMMES: what a deletion of
// CLIENT or of one of its fields makes stale.
void EnregistreProgrammes(const fs::path& demo, int nombre) {
  fs::create_directories(demo / "PROGRAMMES");
  std::ofstream registre(demo / "PROGRAMMES/vesk-programmes.toml", std::ios::binary);
  registre << "version = 1\n";
  for (int i = 1; i <= nombre; ++i) {
    const std::string nom = "[programmes.DeclCLIENT" + std::to_string(i);
    registre << "\n"
             << nom << "]\ngenerateur = \"decl\"\nfichier = \"CLIENT\"\n"
             << "encodage = \"utf8\"\nfin_de_ligne = \"crlf\"\n\n"
             << nom << ".empreinte]\n"
             << "fichier = { CLIENT = \"0\" }\nrubriques = { CLCODE = \"0\" }\ntables = {}\n"
             << "chainages = {}\ndomaines = {}\n";
  }
}

// Deleting what something uses: the uses in a box over the screen, a long list cut at a whole
// line and counted; then the question. Esc on the file's confirmation and "N" on the field's
// question keep everything.
TEST_P(EcransDessines, EntFicShowsTheUsesBeforeADeletionAndAsks) {
  EnregistreProgrammes(dossier_ / "demo", 14);
  Lance("entfic", "ENTREE DE SPECIFICATIONS");
  Tape("CLIENT");
  Envoie("F6");
  Attend("Usages de CLIENT");
  Compare("entfic_usages");
  EXPECT_NE(Ligne("… et 5 autres lignes : vesk usages CLIENT"), "") << Cadre();
  Envoie("Enter");
  Attend("F6 Confirmer - autre touche : Annuler");
  Envoie("Escape");
  Attend("NOM DU FICHIER");
  Tape("CLIENT");
  Envoie("Enter");
  Attend("MODIFICATION");
  Envoie("Enter");
  Envoie("Enter");
  Attend("Champ No 1");
  Envoie("F6");
  Attend("Usages de CLCODE");
  Envoie("Enter");
  Attend("Supprimer CLCODE malgré ses usages");
  Compare("champs_usages");
  Envoie("Enter");  // "N" proposed
  Attend("Champ No 1/ 8");
  Envoie("Escape");
  Attend("Longueur Réelle");
  Envoie("Enter");
  Attend("Enregistrement Précédent CLIENT");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0");
  const std::string dico = Export();
  EXPECT_NE(dico.find("[fichiers.CLIENT]"), std::string::npos) << dico;
  EXPECT_NE(dico.find("variable = \"CLCODE\""), std::string::npos) << dico;
}

// A field widened on a file with data: the plan over the screen, then the confirmation; a key
// other than it writes nothing.
TEST_P(EcransDessines, EntFicShowsTheMigrationPlanBeforeWriting) {
  Lance("entfic", "ENTREE DE SPECIFICATIONS");
  Tape("CLIENT");
  Envoie("Enter");
  Attend("MODIFICATION");
  Envoie("Enter");
  Envoie("Enter");
  Attend("Champ No 1/ 8");
  Envoie("F2");
  Envoie("F2");
  Attend("Champ No 3/ 8");
  for (int i = 0; i < 2; ++i) Envoie("Enter");  // name and type: the total is next
  Envoie("C-u");
  Tape("24");
  for (int i = 0; i < 5; ++i) Envoie("Enter");  // total, variable, example, domain, modification
  Attend("Champ No 4/ 8");
  Envoie("Escape");
  Attend("Longueur Réelle");
  Envoie("Enter");
  Attend("Données de CLIENT à convertir");
  Compare("entfic_migration");
  Envoie("Enter");
  Attend("F6 Confirmer - autre touche : Annuler");
  Envoie("Escape");
  Attend("Spécification de CLIENT inchangée : ses données ne sont pas converties");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0");
  EXPECT_NE(Export().find("total = 20, variable = \"CLVIL\""), std::string::npos);
}

// The B-tree screen: its six-letter name and one-letter nature seen whole, each replaced by
// what is typed over it; a lower-case name taken in upper case; CLI2 made primary over CLIENT's
// records, whose key two clients share: the plan refused, nothing written; Esc leaves.
TEST_P(EcransDessines, EntBaTypedOverAndStored) {
  Lance("entba CLIENT", "SAISIE DES TABLES B-ARBRES");
  Compare("entba");
  EXPECT_TRUE(Ligne("NOM DE LA TABLE").ends_with(" CLIENT"));
  Tape("cli-2");
  Envoie("Enter");
  Attend("Nom de table « cli-2 » refusé");
  Envoie("C-u");
  Tape("cli2");
  Envoie("Enter");
  Attend("MODIFICATION");
  EXPECT_EQ(Ligne("refusé"), "");
  EXPECT_TRUE(Ligne("NOM DE LA TABLE").find(" CLI2 ") != std::string::npos) << Cadre();
  Envoie("Enter");  // NOMD
  Cadre();
  EXPECT_TRUE(Ligne("NATURE DU B-ARBRE").find(" S ") != std::string::npos) << Cadre();
  Tape("P");
  Envoie("Enter");
  Envoie("Enter");  // LCLE: CLIENT's trees would be rebuilt, but two clients share a key
  Attend("Migration refusée : CLIENT");
  EXPECT_NE(Ligne("B-arbres reconstruits : CLI1 CLI2"), "") << Cadre();
  EXPECT_NE(Ligne("Migration refusée : B-Arbre CLI2 : clé « "), "") << Cadre();
  Envoie("Enter");  // nothing written, a new screen on CLIENT
  Attend("Table CLI2 inchangée : migration refusée");
  Envoie("Escape");
  EXPECT_EQ(Status(), "0");
  const std::string dico = Export();
  EXPECT_NE(dico.find("[barbres.CLI2]\nfichier = \"CLIENT\"\nnature = \"S\""), std::string::npos)
      << dico;
}

// The screens left with Esc at once: their first frame, their key line, the exit status.
struct EcranSimple {
  const char* nom;
  const char* commande;
  const char* attendu;    // a text of the frame, waited for
  const char* fin_aide;   // the end of the screen's key line
  const char* apres_fin;  // a text the command writes after its screen ("" none)
};

constexpr EcranSimple kEcransSimples[] = {
    {"entchain", "entchain FACLIG", "SAISIE DES CHAINAGES", "Ctrl+U Vider", ""},
    {"entdom", "entdom", "ENTREE DES DEFINITIONS DE DOMAINE", "Ctrl+U Vider", ""},
    {"genps", "genps", "Générateur de Programme de Saisie", "Ctrl+U Vider", ""},
    {"genpe", "genpe", "Generateur de Programme d'Edition", "Ctrl+U Vider", ""},
    {"reconsba", "reconsba", "Choix des Fichiers", "Échap Abandon", "Aucun fichier choisi"},
    {"lectba", "lectba", "Choix du B-Arbre", "Lettres : Recherche", ""},
    {"visionneuse", "decl CLIENT", "Génération de Code", "←→ Défiler", ""},
};

TEST_P(EcransDessines, EveryOtherScreenAsDrawnThenLeftWithEsc) {
  for (const EcranSimple& e : kEcransSimples) {
    SCOPED_TRACE(e.nom);
    std::error_code ignore;
    fs::remove(dossier_ / "status", ignore);
    // A server of its own for each screen: one started again on the socket of a server just
    // killed may find it still going away.
    panneau_ = std::make_unique<vesk::testing::PanneauTmux>(std::string("vesk_ecran_") + e.nom);
    Lance(e.commande, e.attendu);
    Compare(e.nom);
    EXPECT_NE(Cadre().find(std::string(e.fin_aide) + "\n"), std::string::npos) << Cadre();
    Envoie("Escape");
    EXPECT_EQ(Status(), "0");
    if (*e.apres_fin != '\0') Attend(e.apres_fin);
  }
}

INSTANTIATE_TEST_SUITE_P(Tailles, EcransDessines,
                         ::testing::Values(Taille{80, 24}, Taille{100, 30}),
                         [](const ::testing::TestParamInfo<Taille>& t) {
                           return std::to_string(t.param.colonnes) + "x" +
                                  std::to_string(t.param.lignes);
                         });

}  // namespace
