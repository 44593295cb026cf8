// The B-tree reconstruction through scripts, on an application with data: invoices and their
// chained lines, stock records with an E field no chaining follows. The files are filled
// through the services, as a generated program fills them, and checked the same way afterwards
// and by the folder's verifier.
#include <filesystem>

#include "btree/reconstruction.h"
#include "core/dictionnaire.h"
#include "core/proprietaire_texte.h"
#include "fic/lecture_dictionnaire.h"
#include "fic/testing/dictionnaire.h"
#include "srv/erreur_service.h"
#include "srv/isam/fault_env.h"
#include "srv/isam/verify.h"

namespace vesk::btree {
namespace {

constexpr char kDictionnaire[] = R"(version = 1
[fichiers.FACTUR]
longueur = 32
rubriques = [
  { nom = "NUMERO", type = "A", total = 8, variable = "FANUM" },
  { nom = "CLIENT", type = "A", total = 6, variable = "FACLI" },
  { nom = "PREMIERE", type = "E", total = 3, variable = "FAPREM" },
  { nom = "DERNIERE", type = "E", total = 3, variable = "FADERN" },
]
[fichiers.FACLIG]
longueur = 16
rubriques = [
  { nom = "PRECEDENTE", type = "E", total = 3, variable = "FLPREC" },
  { nom = "SUIVANTE", type = "E", total = 3, variable = "FLSUIV" },
  { nom = "ARTICLE", type = "A", total = 6, variable = "FLART" },
]
[fichiers.STOCK]
longueur = 16
rubriques = [
  { nom = "CODE", type = "A", total = 6, variable = "STCODE" },
  { nom = "FACTURE", type = "E", total = 3, variable = "STFAC" },
]
[barbres.FAC1]
fichier = "FACTUR"
nature = "P"
cle = "[[FANUM,_,_]]"
[barbres.FAC2]
fichier = "FACTUR"
nature = "S"
cle = "[[FACLI,1,4],[FANUM,7,8]]"
[barbres.LIG1]
fichier = "FACLIG"
nature = "S"
cle = "[[FLART,_,_]]"
[barbres.STO1]
fichier = "STOCK"
nature = "P"
cle = "[[STCODE,_,_]]"
[chainages.FACLIG]
entete = "FACTUR"
arriere = 1
avant = 4
premier = 15
dernier = 18
)";

class ReConsBATest : public fic::EditionEssai {
 protected:
  // The dictionary, then the application's files opened through the services.
  void Prepare(const std::string& script) {
    Ouvre(script);
    Importe(kDictionnaire);
    Session& e = Etat();
    for (ProprietaireTexte* p : {&fac_, &lig_, &sto_}) {
      const std::string nom = p == &fac_ ? "FACTUR" : p == &lig_ ? "FACLIG" : "STOCK";
      e.Donnee().Donnee(false, nom, p == &fac_ ? 32 : 16, p->fichier, p, "", "", "", true);
    }
    e.BArbre().B_Arbre(false, "FAC1", 8, "P", fac1_, "FACTUR", true);
    e.BArbre().B_Arbre(false, "FAC2", 6, "S", fac2_, "FACTUR", true);
    e.BArbre().B_Arbre(false, "LIG1", 6, "S", lig1_, "FACLIG", true);
    e.BArbre().B_Arbre(false, "STO1", 6, "P", sto1_, "STOCK", true);
    e.Chainage().Chainage("FACTUR", 32, 15, 18, "FACLIG", 16, 1, 4);
  }
  void Facture(const std::string& numero, const std::string& client, int lignes) {
    Session& e = Etat();
    fac_.champs = numero + client;
    int32_t no = 0;
    e.BArbre().Insere(fac1_, numero, fac_.fichier, no);
    e.BArbre().InsS(fac2_, client.substr(0, 4) + numero.substr(6, 2), no, fac_.fichier);
    for (int i = 0; i < lignes; ++i) {
      const std::string article = "A" + numero.substr(5, 3) + std::to_string(i) + " ";
      lig_.champs = "      " + article;
      e.Chainage().AjouteLigne(lig_.fichier, no);
      e.BArbre().InsS(lig1_, article, no, lig_.fichier);
    }
  }
  void SupprimeLigne(const std::string& numero, int32_t no) {
    Session& e = Etat();
    bool trouve = false;
    e.BArbre().Recherche(fac1_, numero, fac_.fichier, trouve);
    ASSERT_TRUE(trouve);
    e.Donnee().LireFichier(lig_.fichier, no, lig_.champs);
    e.BArbre().Supprime(lig1_, lig_.champs.substr(6, 6), no, lig_.fichier);
    e.Chainage().SupprimeLigne(lig_.fichier, no);
  }
  // The articles of an invoice's lines, with their record numbers, walked through the chain.
  std::string Lignes(const std::string& numero) {
    Session& e = Etat();
    bool trouve = false;
    e.BArbre().Recherche(fac1_, numero, fac_.fichier, trouve);
    std::string out;
    int32_t no = 0;
    for (e.Chainage().PremLigne(lig_.fichier, no); no != 0;
         e.Chainage().SuivLigne(lig_.fichier, no)) {
      out += lig_.champs.substr(6, 5) + "@" + std::to_string(no) + " ";
    }
    return out;
  }
  // The folder checked with the chainings the dictionary describes, as its model gives them.
  void Verifie() {
    std::vector<isam::ChainToCheck> chainages;
    const auto dat = [&](const std::string& nom) { return (dossier_ / (nom + ".DAT")).string(); };
    for (const auto& [ligne, c] : fic::LitDictionnaire(Etat()).chainages) {
      chainages.push_back({dat(c.entete), dat(ligne), uint32_t(c.premier - 1),
                           uint32_t(c.dernier - 1), uint32_t(c.arriere - 1),
                           uint32_t(c.avant - 1)});
    }
    const PositionsChainage& l = kChainageLficFic;
    chainages.push_back({dat("FIC"), dat("LFIC"), uint32_t(l.premiere - 1),
                         uint32_t(l.derniere - 1), uint32_t(l.precedente - 1),
                         uint32_t(l.suivante - 1)});
    isam::FolderReport r;
    ASSERT_TRUE(isam::VerifyFolder(isam::Env::Default(), dossier_.string(), chainages, &r).ok());
    for (const std::string& p : r.problems) ADD_FAILURE() << p;
  }
  std::string Journal() { return Contenu(dossier_ / "JOURNAL.LOG"); }
  // The data of the folder: its files but the logs.
  std::map<std::string, std::string> Donnees() const {
    auto f = Fichiers();
    std::erase_if(f, [](const auto& e) { return e.first.ends_with(".LOG"); });
    return f;
  }

  ProprietaireTexte fac_{"FACTUR"}, lig_{"FACLIG"}, sto_{"STOCK"};
  int16_t fac1_ = 0, fac2_ = 0, lig1_ = 0, sto1_ = 0;
};

// The line file chosen: its messages in their order, the lines moved with their headers, the
// line file's own tree and the header's trees rebuilt, and the same answers afterwards.
TEST_F(ReConsBATest, TheLineFileIsCompactedAndItsHeadersFollow) {
  Prepare("choose 6\nconfirm <F6>\nok\n");  // STOCK.STFAC could point anywhere
  Facture("F2026001", "DUPONT", 3);         // lines 1-3
  Facture("F2026002", "MARTIN", 2);         // lines 4-5
  SupprimeLigne("F2026001", 2);
  SupprimeLigne("F2026002", 4);
  ReConsBA(Etat());
  EXPECT_EQ(session_->Restantes(), 0u);
  const std::string t = session_->Transcription();
  size_t at = 0;
  for (const char* attendu :
       {"Titre «RECONSTRUCTION DES B-ARBRES»",
        "ChoixMultiple «Choix des Fichiers dont les B-Arbres sont à Reconstruire» "
        "[[G,6,Nom],[G,60,B-Arbres]] 8 élément(s) -> 6 «[[FACLIG,LIG1]]»",
        "Message B «5 Enregistrement traité»",
        "Message B «2 Nb Enregist Supprimés Déplacés en Fin de Fichier et à Nil»",
        "Message B «Suppression Effective des Enregistrements Supprimés»",
        "Message B «Transfert Lignes de FACLIG»", "Message B «Réenregistrement Lignes de FACTUR»",
        "Message B «Reconstruction du B-Arbre LIG1»", "Message B «Reconstruction du B-Arbre FAC1»",
        "Message B «Reconstruction du B-Arbre FAC2»", "Message B «B-Arbre LIG1 : 3 clés»",
        "Message B «B-Arbre FAC2 : 2 clés»", "Boite «Information» «Travaux post-reconstruction"}) {
    const size_t p = t.find(attendu, at);
    ASSERT_NE(p, std::string::npos) << attendu << "\n" << t;
    at = p;
  }
  EXPECT_EQ(Lignes("F2026001"), "A0010@1 A0012@2 ");
  EXPECT_EQ(Lignes("F2026002"), "A0021@3 ");
  bool trouve = false;
  Etat().BArbre().Recherche(lig1_, "A0021", lig_.fichier, trouve);
  ASSERT_TRUE(trouve);
  int32_t no = 0;
  Etat().Donnee().NoEnrCourant(lig_.fichier, no);
  EXPECT_EQ(no, 3);
  Verifie();
}

// An E field outside any chaining: asked before the compaction; refused, the files stay as they
// were; confirmed, the file is rebuilt.
TEST_F(ReConsBATest, EFieldsOutsideChainingsAreNamedAndConfirmed) {
  Prepare("choose 8\nconfirm <Esc>\nok\nchoose 8\nconfirm <F6>\nok\n");
  Session& e = Etat();
  for (int i = 1; i <= 3; ++i) {
    sto_.champs = "S0000" + std::to_string(i);
    int32_t no = 0;
    e.BArbre().Insere(sto1_, sto_.champs, sto_.fichier, no);
  }
  e.BArbre().Supprime(sto1_, "S00001", 1, sto_.fichier);
  const auto avant = Donnees();
  ReConsBA(Etat());
  std::string t = session_->Transcription();
  EXPECT_NE(t.find("Message B «Rubriques E hors chaînage non suivies : STOCK.STFAC - Confirmez "
                   "par F6»"),
            std::string::npos)
      << t;
  EXPECT_NE(t.find("Message B «Fichier STOCK non reconstruit»"), std::string::npos) << t;
  EXPECT_TRUE(Anomalies().empty()) << Anomalies().front().message;  // the user's choice
  EXPECT_EQ(Donnees(), avant);
  ReConsBA(Etat());
  t = session_->Transcription();
  EXPECT_NE(t.find("«1 Nb Enregist Supprimés"), std::string::npos) << t;
  std::string texte;
  e.Donnee().LireFichier(sto_.fichier, 1, texte);
  EXPECT_EQ(texte.substr(0, 6), "S00002");
  Verifie();
}

// A primary key found twice: named with both records, the files left as they were.
TEST_F(ReConsBATest, APrimaryKeyTwiceLeavesTheFilesAsTheyWere) {
  Prepare("choose 7\nok\n");
  Facture("F2026001", "DUPONT", 1);
  Facture("F2026002", "DUPONT", 1);
  // The secondary table on the client becomes primary.
  fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
  m.barbres["FAC2"].nature = "P";
  m.barbres["FAC2"].cle = "[[FACLI,_,_]]";
  fic::RemplaceDictionnaire(Etat(), m);
  const auto avant = Donnees();
  ReConsBA(Etat());
  const std::string t = session_->Transcription();
  EXPECT_NE(t.find("B-Arbre FAC2 : clé « DUPONT » en double (enregistrements 1 et 2)"),
            std::string::npos)
      << t;
  EXPECT_EQ(Donnees(), avant);
}

// The header file of the chosen file's chaining has no data file: the chosen file is refused
// with a message naming it, nothing is written for it, and the next chosen file is rebuilt.
TEST_F(ReConsBATest, AnAbsentHeaderFileSkipsItsLineFileOnly) {
  Ouvre("choose 6,7\nok\n");
  Importe(kDictionnaire);
  Session& e = Etat();
  e.Donnee().Donnee(false, "FACLIG", 16, lig_.fichier, &lig_, "", "", "", true);
  e.Donnee().Donnee(false, "STOCK", 16, sto_.fichier, &sto_, "", "", "", true);
  e.BArbre().B_Arbre(false, "STO1", 6, "P", sto1_, "STOCK", true);
  for (const char* code : {"S00001", "S00002"}) {
    sto_.champs = code;
    int32_t no = 0;
    e.BArbre().Insere(sto1_, code, sto_.fichier, no);
  }
  const std::string lignes = Contenu(dossier_ / "FACLIG.DAT");
  ReConsBA(Etat());
  const std::string t = session_->Transcription();
  EXPECT_NE(t.find("-> 6,7 «[[FACLIG,LIG1],[STOCK,STO1]]»"), std::string::npos) << t;
  const size_t refus = t.find("le fichier entête de chaînage FACTUR n'a pas de fichier de données");
  ASSERT_NE(refus, std::string::npos) << t;
  EXPECT_NE(t.find("Message B «B-Arbre STO1 : 2 clés»", refus), std::string::npos) << t;
  EXPECT_EQ(Contenu(dossier_ / "FACLIG.DAT"), lignes);
  EXPECT_FALSE(std::filesystem::exists(dossier_ / "FACTUR.DAT"));
  EXPECT_FALSE(std::filesystem::exists(dossier_ / "LIG1.DAB"));
}

// The dictionary's own five files, with deleted records in three of them: after their rebuild
// the dictionary reads the same, and its Lfic-to-Fic chaining is sound.
TEST_F(ReConsBATest, TheDictionaryFilesRebuildToTheSameDictionary) {
  Prepare("choose 1,2,3,4,5\nok\n");
  fic::ModeleDictionnaire m = fic::LitDictionnaire(Etat());
  m.fichiers.erase("STOCK");  // no E field left outside a chaining: no question
  m.barbres.erase("STO1");
  fic::RemplaceDictionnaire(Etat(), m);
  const std::string avant = fic::ExporteDictionnaire(Etat());
  ReConsBA(Etat());
  EXPECT_EQ(session_->Restantes(), 0u);
  const std::string t = session_->Transcription();
  EXPECT_NE(t.find("Message B «Réenregistrement Lignes de FIC»"), std::string::npos) << t;
  EXPECT_EQ(fic::ExporteDictionnaire(Etat()), avant);
  Verifie();
}

// The new files cannot be put in place (a rename fails in the file layer): the journal names
// the file, the command ends with the error, and the folder keeps its old files.
class ReConsBAPanneTest : public ReConsBATest {
 protected:
  void SetUp() override {
    ReConsBATest::SetUp();
    memoire_ = std::make_unique<isam::MemEnv>();
    panne_ = std::make_unique<isam::FaultEnv>(memoire_.get());
  }
  void Prepare(const std::string& script) {
    OublieEtat();
    session_ = script::Session::DepuisTexte(script, "essai");
    OptionsServices options;
    options.config.dossier = dossier_.string();
    options.config.synchro = Synchro::kOff;
    options.interface = Interface(session_);
    options.env = panne_.get();
    InstalleServicesThread(CreateurStandard(options));
    ass_ = AsS::Cree();
    ass_->OuvS();
    Importe(kDictionnaire);
    OuvreApplication();
  }
  void OuvreApplication() {
    Session& e = Etat();
    e.Donnee().Donnee(false, "FACTUR", 32, fac_.fichier, &fac_, "", "", "", true);
    e.Donnee().Donnee(false, "FACLIG", 16, lig_.fichier, &lig_, "", "", "", true);
    e.BArbre().B_Arbre(false, "FAC1", 8, "P", fac1_, "FACTUR", true);
    e.BArbre().B_Arbre(false, "FAC2", 6, "S", fac2_, "FACTUR", true);
    e.BArbre().B_Arbre(false, "LIG1", 6, "S", lig1_, "FACLIG", true);
    e.Chainage().Chainage("FACTUR", 32, 15, 18, "FACLIG", 16, 1, 4);
  }
  std::unique_ptr<isam::MemEnv> memoire_;
  std::unique_ptr<isam::FaultEnv> panne_;
  std::shared_ptr<AsS> ass_;
};

TEST_F(ReConsBAPanneTest, ACopyThatFailsIsJournalledAndTheOldFilesStay) {
  Prepare("choose 6\nconfirm <F6>\n");
  Facture("F2026001", "DUPONT", 3);
  SupprimeLigne("F2026001", 2);
  const std::string fichier = platform::JoinPath(dossier_.string(), "FACLIG.DAT");
  const std::string avant = *memoire_->Contents(fichier);
  panne_->FailRenameAt(1);
  EXPECT_REFUS(ReConsBA(Etat()), "échec simulé");
  EXPECT_NE(Journal().find("CompEnrSup : Temp.Dat Non Recopiée sur " + fichier), std::string::npos)
      << Journal();
  EXPECT_EQ(*memoire_->Contents(fichier), avant);
  EXPECT_EQ(Lignes("F2026001"), "A0010@1 A0012@3 ");
}

}  // namespace
}  // namespace vesk::btree
