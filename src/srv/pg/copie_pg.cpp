#include "srv/pg/copie_pg.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "srv/erreur_service.h"
#include "srv/isam/btree.h"
#include "srv/isam/data_file.h"
#include "srv/isam/dossier.h"
#include "srv/isam/names.h"
#include "srv/isam/replace_set.h"
#include "srv/isam/service_util.h"
#include "srv/isam/verify.h"
#include "srv/pg/copie_binaire.h"

namespace vesk::pg {

namespace {

constexpr std::string_view kOp = "Copie";
constexpr size_t kCopieMax = size_t{8} << 20;  // bytes sent by one COPY
constexpr int kPage = 10000;                   // rows read at a time

using isam::Verifie;

// A file of a folder or of the catalog: its company ("" at the root) and its name.
struct Objet {
  std::string entreprise, nom;
  std::string chemin;  // in the folder
};

struct Inventaire {
  std::vector<Objet> fichiers, arbres, textes;
};

std::string Extension(const std::string& nom) {
  const size_t point = nom.rfind('.');
  return point == std::string::npos ? "" : isam::UpperAscii(nom.substr(point + 1));
}

std::string Affiche(const Objet& o, std::string_view ext) {
  return (o.entreprise.empty() ? "" : o.entreprise + "/") + o.nom + std::string(ext);
}

// The data of the folder: .DAT and .DAB at its root and in its company folders, .DOM at its
// root.
Inventaire Inventorie(isam::Env* env, const std::string& dossier) {
  Inventaire inv;
  std::vector<std::pair<std::string, std::string>> dirs = {{"", dossier}};
  for (const std::string& sous : isam::CompanyFolders(env, dossier)) {
    dirs.emplace_back(isam::UpperAscii(std::filesystem::path(sous).filename().string()), sous);
  }
  for (const auto& [entreprise, dir] : dirs) {
    std::vector<std::string> noms;
    Verifie(isam::Status::FromIo(env->ListDirectory(dir, &noms)), kOp, dir);
    for (const std::string& n : noms) {
      const std::string ext = Extension(n);
      const std::string nom = isam::UpperAscii(n.substr(0, n.rfind('.')));
      if (!isam::CheckName(nom, "fichier").ok()) continue;
      Objet o{entreprise, nom, platform::JoinPath(dir, n)};
      if (ext == "DAT") inv.fichiers.push_back(o);
      if (ext == "DAB") inv.arbres.push_back(o);
      if (ext == "DOM" && entreprise.empty()) inv.textes.push_back(o);
    }
  }
  return inv;
}

Lieu LieuDe(const BasePg& b, const std::string& entreprise) {
  return Lieu{entreprise, SchemaEntreprise(b.Adresse().racine, entreprise)};
}

// Sends the rows gathered in copie when they are many (fin: whatever is left), as one COPY.
void Envoie(BasePg& b, const std::string& table, std::string_view colonnes, CopieBinaire& copie,
            bool fin, bool& vide) {
  if (vide || (!fin && copie.Partie().size() < kCopieMax)) return;
  copie.Fin();
  b.Copie(kOp, table,
          "COPY " + table + " (" + std::string(colonnes) + ") FROM STDIN (FORMAT binary)",
          [&](const std::function<void(std::string_view)>& e) { e(copie.Partie()); });
  copie = CopieBinaire();
  vide = true;
}

void FichierVersBase(isam::Env* env, const Objet& o, BasePg& b, SuiviProgression& suivi,
                     BilanCopie* bilan) {
  const std::string objet = Affiche(o, ".DAT");
  std::unique_ptr<isam::DataFile> f;
  isam::DataFile::Options options;
  options.read_only = true;
  options.cache_blocks = 64;
  Verifie(isam::DataFile::Open(env, o.chemin, 0, options, &f), kOp, objet);
  const isam::DataHeader& h = f->Header();
  const Lieu lieu = LieuDe(b, o.entreprise);
  b.CreeFichier(lieu, o.nom, h.record_length, h.label, kOp, true);
  const std::string table = BasePg::Table(lieu, "d_", o.nom);
  CopieBinaire copie;
  bool vide = true;
  std::string octets(h.record_length, '\0');
  PhaseSuivie phase(suivi, "Copie " + objet, h.last_record);
  for (uint32_t no = 1; no <= h.last_record; ++no) {
    bool supprime = false;
    Verifie(f->Read(no, octets), kOp, objet);
    Verifie(f->IsDeleted(no, &supprime), kOp, objet);
    copie.Ligne(3);
    copie.Entier(static_cast<int32_t>(no));
    copie.Booleen(supprime);
    copie.Octets(octets);
    vide = false;
    Envoie(b, table, "no, supprime, octets", copie, false, vide);
    phase.Avance(no);
  }
  Envoie(b, table, "no, supprime, octets", copie, true, vide);
  ++bilan->fichiers;
  bilan->enregistrements += h.last_record;
}

void ArbreVersBase(isam::Env* env, const Objet& o, BasePg& b, SuiviProgression& suivi,
                   BilanCopie* bilan) {
  const std::string objet = Affiche(o, ".DAB");
  std::unique_ptr<isam::BTree> t;
  Verifie(isam::BTree::OpenAsMade(env, o.chemin, isam::BTreeOptions{}, &t), kOp, objet);
  isam::BTreeHeader h;
  Verifie(t->Header(&h), kOp, objet);
  const Lieu lieu = LieuDe(b, o.entreprise);
  BasePg::ArbreCatalogue c;
  c.longueur_cle = h.key_length;
  c.nature = h.nature;
  c.fichier_indexe = isam::UpperAscii(h.indexed_file);
  b.CreeArbre(lieu, o.nom, c, kOp, true);
  const std::string table = BasePg::Table(lieu, "b_", o.nom);
  CopieBinaire copie;
  bool vide = true;
  int64_t n = 0;
  PhaseSuivie phase(suivi, "Copie " + objet, static_cast<int64_t>(h.keys));
  Verifie(t->ForEach([&](std::string_view cle, uint32_t no) {
    copie.Ligne(2);
    copie.Octets(cle);
    copie.Entier(static_cast<int32_t>(no));
    vide = false;
    Envoie(b, table, "cle, no", copie, false, vide);
    phase.Avance(++n);
    return true;
  }),
          kOp, objet);
  Envoie(b, table, "cle, no", copie, true, vide);
  ++bilan->arbres;
  bilan->cles += h.keys;
}

void TexteVersBase(isam::Env* env, const Objet& o, BasePg& b, BilanCopie* bilan) {
  std::unique_ptr<platform::File> f;
  Verifie(isam::Status::FromIo(env->OpenFile(o.chemin, platform::OpenMode::kRead, &f)), kOp,
          o.chemin);
  uint64_t taille = 0;
  Verifie(isam::Status::FromIo(f->Size(&taille)), kOp, o.chemin);
  std::string octets(taille, '\0');
  size_t lu = 0;
  Verifie(isam::Status::FromIo(f->ReadAt(0, std::span<char>(octets), &lu)), kOp, o.chemin);
  octets.resize(lu);
  Parametres p;
  p.Texte(o.nom + ".DOM").Octets(octets);
  b.Lit(kOp, o.chemin,
        "INSERT INTO " + b.Catalogue("vesk_textes") + " (nom, octets) VALUES ($1, $2)", p);
  ++bilan->textes;
}

// Refuses a store that holds data already.
void ExigeBaseVide(BasePg& b) {
  Resultat r = b.Lit(kOp, b.Nom(),
                     "SELECT (SELECT count(*) FROM " + b.Catalogue("vesk_fichiers") +
                         ") + (SELECT count(*) FROM " + b.Catalogue("vesk_arbres") +
                         ") + (SELECT count(*) FROM " + b.Catalogue("vesk_textes") + ")",
                     Parametres());
  Exige(r.Grand(0, 0) == 0, kOp, b.Nom() + " (schéma " + b.Adresse().racine + ")",
        "la base contient déjà " + std::to_string(r.Grand(0, 0)) +
            " fichiers, B-arbres ou textes : une copie va dans une base vide");
}

}  // namespace

void CopieVersBase(const std::string& dossier, BasePg& base, SuiviProgression& suivi,
                   BilanCopie* bilan) {
  *bilan = BilanCopie{};
  isam::Env* env = isam::Env::Default();
  isam::DossierDonnees d(env, dossier);
  // A commit or a replacement left by a writer that died is finished before anything is read;
  // the folder's shared lock keeps writers away until the copy is done.
  Verifie(d.Reprise(), kOp, dossier);
  isam::Lecture lecture(d, kOp);
  const Inventaire inv = Inventorie(env, dossier);
  try {
    base.Transaction(kOp, base.Nom(), [&] {
      ExigeBaseVide(base);
      for (const Objet& o : inv.fichiers) FichierVersBase(env, o, base, suivi, bilan);
      for (const Objet& o : inv.arbres) ArbreVersBase(env, o, base, suivi, bilan);
      for (const Objet& o : inv.textes) TexteVersBase(env, o, base, bilan);
    });
  } catch (const ErreurService& e) {
    // The copy rolled back; the schema and catalog its opening made go too.
    try {
      base.DefaitCatalogues(kOp);
    } catch (const ErreurService& f) {
      throw ErreurService(e.Operation(), e.Objet(), e.Message() + " (et " + f.Message() + ")",
                          e.Endommage());
    }
    throw;
  }
}

namespace {

struct FichierCatalogue {
  Objet o;
  uint32_t longueur = 0;
  std::string libelle;
};

struct ArbreCatalogue {
  Objet o;
  uint16_t longueur_cle = 0;
  char nature = 'P';
  std::string indexe;
};

std::string Chemin(const std::string& dossier, const std::string& entreprise,
                   const std::string& nom) {
  return platform::JoinPath(entreprise.empty() ? dossier : platform::JoinPath(dossier, entreprise),
                            nom);
}

void ExigeDossierVide(isam::Env* env, const std::string& dossier) {
  const Inventaire inv = Inventorie(env, dossier);
  const size_t n = inv.fichiers.size() + inv.arbres.size() + inv.textes.size();
  Exige(n == 0, kOp, dossier,
        "le dossier contient déjà " + std::to_string(n) +
            " fichiers de données, B-arbres ou textes : une copie va dans un dossier vide");
}

// The rows of a data file's table in pages, by number; each row given to ligne.
template <typename Ligne>
void Enregistrements(BasePg& b, const std::string& table, const std::string& objet, Ligne ligne) {
  int32_t apres = 0;
  for (;;) {
    Parametres p;
    p.Entier(apres);
    Resultat r = b.Lit(kOp, objet,
                       "SELECT no, supprime, octets FROM " + table +
                           " WHERE no > $1 ORDER BY no LIMIT " + std::to_string(kPage),
                       p);
    for (int i = 0; i < r.Lignes(); ++i) ligne(r, i);
    if (r.Lignes() < kPage) return;
    apres = r.Entier(r.Lignes() - 1, 0);
  }
}

// The entries of a tree's table in pages, in key order; each row given to ligne.
template <typename Ligne>
void Entrees(BasePg& b, const std::string& table, char nature, const std::string& objet,
             Ligne ligne) {
  std::string cle;
  int32_t no = 0;
  for (bool premiere = true;; premiere = false) {
    Parametres p;
    std::string ou;
    if (!premiere) {
      p.Octets(cle);
      if (nature == 'P') {
        ou = " WHERE cle > $1";
      } else {
        p.Entier(no);
        ou = " WHERE (cle, no) > ($1, $2)";
      }
    }
    Resultat r = b.Lit(
        kOp, objet,
        "SELECT cle, no FROM " + table + ou + " ORDER BY cle, no LIMIT " + std::to_string(kPage),
        p);
    for (int i = 0; i < r.Lignes(); ++i) ligne(r, i);
    if (r.Lignes() < kPage) return;
    cle.assign(r.Octets(r.Lignes() - 1, 0));
    no = r.Entier(r.Lignes() - 1, 1);
  }
}

void FichierVersDossier(isam::Env* env, BasePg& b, const FichierCatalogue& f,
                        const std::string& cible, SuiviProgression& suivi, BilanCopie* bilan) {
  const std::string objet = Affiche(f.o, ".DAT");
  const std::string table = BasePg::Table(LieuDe(b, f.o.entreprise), "d_", f.o.nom);
  Resultat n = b.Lit(kOp, objet, "SELECT count(*) FROM " + table, Parametres());
  const int64_t total = n.Grand(0, 0);
  std::unique_ptr<isam::DataFile> d;
  isam::DataFile::Options options;
  options.create = true;
  options.label = f.libelle;
  const std::string aside = isam::ReplaceSet::AsidePath(cible);
  Verifie(isam::DataFile::Open(env, aside, f.longueur, options, &d), kOp, aside);
  uint32_t attendu = 1;
  {
    PhaseSuivie phase(suivi, "Copie " + objet, total);
    Enregistrements(b, table, objet, [&](const Resultat& r, int i) {
      const int32_t no = r.Entier(i, 0);
      Exige(no == static_cast<int32_t>(attendu), kOp, objet,
            "l'enregistrement " + std::to_string(attendu) + " manque à la table (base endommagée)");
      const std::string_view octets = r.Octets(i, 2);
      Verifie(d->Write(attendu, std::span<const char>(octets.data(), octets.size())), kOp, objet);
      if (r.Booleen(i, 1)) Verifie(d->MarkDeleted(attendu), kOp, objet);
      phase.Avance(attendu);
      ++attendu;
    });
  }
  Verifie(d->Sync(), kOp, aside);
  ++bilan->fichiers;
  bilan->enregistrements += static_cast<uint64_t>(total);
}

void ArbreVersDossier(isam::Env* env, BasePg& b, const ArbreCatalogue& a, const std::string& cible,
                      SuiviProgression& suivi, BilanCopie* bilan) {
  const std::string objet = Affiche(a.o, ".DAB");
  const std::string table = BasePg::Table(LieuDe(b, a.o.entreprise), "b_", a.o.nom);
  std::string packed;  // keys and records one after the other
  size_t count = 0;
  {
    PhaseSuivie phase(suivi, "Copie " + objet, 0);
    Entrees(b, table, a.nature, objet, [&](const Resultat& r, int i) {
      const std::string_view cle = r.Octets(i, 0);
      Exige(cle.size() == a.longueur_cle, kOp, objet,
            "une clé n'a pas la longueur " + std::to_string(a.longueur_cle) + " (base endommagée)");
      packed += cle;
      const uint32_t no = static_cast<uint32_t>(r.Entier(i, 1));
      packed.append(reinterpret_cast<const char*>(&no), 4);
      phase.Avance(static_cast<int64_t>(++count));
    });
  }
  const std::string aside = isam::ReplaceSet::AsidePath(cible);
  std::unique_ptr<isam::BTree> t;
  Verifie(isam::BTree::Open(env, aside, a.longueur_cle, a.nature, a.indexe, true, &t), kOp, aside);
  const size_t pas = a.longueur_cle + 4u;
  Verifie(t->Load(count,
                  [&](size_t e, const char** key, uint32_t* record) {
                    *key = packed.data() + e * pas;
                    std::memcpy(record, *key + a.longueur_cle, 4);
                  }),
          kOp, objet);
  Verifie(t->Sync(), kOp, aside);
  ++bilan->arbres;
  bilan->cles += count;
}

void TexteVersDossier(isam::Env* env, BasePg& b, const std::string& nom, const std::string& cible,
                      BilanCopie* bilan) {
  Parametres p;
  p.Texte(nom);
  Resultat r =
      b.Lit(kOp, nom, "SELECT octets FROM " + b.Catalogue("vesk_textes") + " WHERE nom = $1", p);
  const std::string aside = isam::ReplaceSet::AsidePath(cible);
  std::unique_ptr<platform::File> f;
  Verifie(isam::Status::FromIo(env->OpenFile(aside, platform::OpenMode::kCreateAlways, &f)), kOp,
          aside);
  Verifie(isam::Status::FromIo(f->WriteAt(0, r.Octets(0, 0))), kOp, aside);
  Verifie(isam::Status::FromIo(f->Sync()), kOp, aside);
  ++bilan->textes;
}

}  // namespace

void CopieVersDossier(BasePg& base, const std::string& dossier, SuiviProgression& suivi,
                      BilanCopie* bilan) {
  *bilan = BilanCopie{};
  isam::Env* env = isam::Env::Default();
  Verifie(isam::Status::FromIo(env->CreateDirectories(dossier)), kOp, dossier);
  ExigeDossierVide(env, dossier);
  base.Lecture(kOp, base.Nom(), [&] {
    std::vector<FichierCatalogue> fichiers;
    std::vector<ArbreCatalogue> arbres;
    std::vector<std::string> textes, cibles;
    Resultat r = base.Lit(kOp, base.Nom(),
                          "SELECT entreprise, nom, longueur, libelle FROM " +
                              base.Catalogue("vesk_fichiers") + " ORDER BY entreprise, nom",
                          Parametres());
    for (int i = 0; i < r.Lignes(); ++i) {
      Objet o{std::string(r.Octets(i, 0)), std::string(r.Octets(i, 1)), ""};
      o.chemin = Chemin(dossier, o.entreprise, o.nom + ".DAT");
      fichiers.push_back({o, static_cast<uint32_t>(r.Entier(i, 2)), std::string(r.Octets(i, 3))});
    }
    r = base.Lit(kOp, base.Nom(),
                 "SELECT entreprise, nom, longueur_cle, nature, fichier_indexe FROM " +
                     base.Catalogue("vesk_arbres") + " ORDER BY entreprise, nom",
                 Parametres());
    for (int i = 0; i < r.Lignes(); ++i) {
      Objet o{std::string(r.Octets(i, 0)), std::string(r.Octets(i, 1)), ""};
      o.chemin = Chemin(dossier, o.entreprise, o.nom + ".DAB");
      arbres.push_back({o, static_cast<uint16_t>(r.Entier(i, 2)),
                        r.Octets(i, 3).empty() ? 'P' : r.Octets(i, 3)[0],
                        std::string(r.Octets(i, 4))});
    }
    r = base.Lit(kOp, base.Nom(),
                 "SELECT nom FROM " + base.Catalogue("vesk_textes") + " ORDER BY nom",
                 Parametres());
    for (int i = 0; i < r.Lignes(); ++i) textes.emplace_back(r.Octets(i, 0));
    for (const FichierCatalogue& f : fichiers) {
      cibles.push_back(f.o.chemin);
      if (!f.o.entreprise.empty()) {
        Verifie(isam::Status::FromIo(
                    env->CreateDirectories(platform::JoinPath(dossier, f.o.entreprise))),
                kOp, dossier);
      }
    }
    for (const ArbreCatalogue& a : arbres) {
      cibles.push_back(a.o.chemin);
      if (!a.o.entreprise.empty()) {
        Verifie(isam::Status::FromIo(
                    env->CreateDirectories(platform::JoinPath(dossier, a.o.entreprise))),
                kOp, dossier);
      }
    }
    for (const std::string& t : textes) cibles.push_back(platform::JoinPath(dossier, t));
    // The new files are written aside and put in place together, under the folder's lock.
    isam::DossierDonnees d(env, dossier);
    Verifie(d.DebutRemplacement(), kOp, dossier);
    isam::Status s;
    bool en_place = false;
    try {
      isam::ReplaceSet set(env, dossier);
      Verifie(set.Begin(cibles, d.NonceRemplacement()), kOp, dossier);
      for (const FichierCatalogue& f : fichiers) {
        FichierVersDossier(env, base, f, f.o.chemin, suivi, bilan);
      }
      for (const ArbreCatalogue& a : arbres) {
        ArbreVersDossier(env, base, a, a.o.chemin, suivi, bilan);
      }
      for (const std::string& t : textes) {
        TexteVersDossier(env, base, t, platform::JoinPath(dossier, t), bilan);
      }
      s = set.Commit();
      en_place = set.Committed();
      if (!s.ok() && !en_place) s = s.Then(set.Abandon());
    } catch (const ErreurService&) {
      bool reste = false;
      (void)env->FileExists(platform::JoinPath(dossier, std::string(isam::kReplaceName)), &reste);
      (void)d.FinRemplacement(false, reste);
      throw;
    }
    bool reste = false;
    (void)env->FileExists(platform::JoinPath(dossier, std::string(isam::kReplaceName)), &reste);
    isam::Status fin = d.FinRemplacement(en_place, reste);
    Verifie(s, kOp, dossier);
    Verifie(fin, kOp, dossier);
  });
}

}  // namespace vesk::pg
