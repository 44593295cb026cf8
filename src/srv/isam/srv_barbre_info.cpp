// The two diagnostic queries of SrvBArbreImpl: DescBArbre and InfoBArbre.
#include <algorithm>
#include <cstdio>
#include <functional>

#include "srv/isam/infos_lisibles.h"
#include "srv/isam/names.h"
#include "srv/isam/service_util.h"
#include "srv/isam/srv_barbre_impl.h"
#include "srv/list/liste.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk {

using isam::ArbreOuvert;
using isam::Status;
using isam::Verifie;

namespace {

// A text that a list can hold: separators and brackets become look-alikes.
std::string Neutre(std::string_view s) {
  std::string out(s);
  for (char& c : out) {
    if (c == ',') c = ';';
    if (c == '[') c = '(';
    if (c == ']') c = ')';
  }
  return out;
}

void Ajoute(std::string& liste, std::string_view element, std::string_view op) {
  list::Which which;
  list::Fault f = list::Append(liste, element, which);
  Exige(f.ok(), op, element, f.Message());
}

template <typename T>
std::string ListeNombres(const std::vector<T>& values, std::string_view op) {
  std::string out = "[]";
  for (T v : values) Ajoute(out, std::to_string(v), op);
  return out;
}

std::string Paire(std::string_view titre, std::string_view texte) {
  std::string t = Neutre(titre);
  std::string x = Neutre(texte);
  if (x.empty()) x.assign(1, '-');  // (not = "-": a false -Wrestrict of g++ 12 at -O3)
  std::string_view parts[] = {t, x};
  std::string out;
  size_t bad = 0;
  list::Build(parts, out, bad);
  return out;
}

template <typename T>
std::string ParNiveau(const std::vector<T>& values) {
  std::string out;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i > 0) out += "|";
    out += "niveau " + std::to_string(i + 1) + " : " + std::to_string(values[i]);
  }
  return out;
}

std::string Octets(uint64_t n) { return std::to_string(n) + " octets"; }

}  // namespace

std::vector<uint32_t> SrvBArbreImpl::SupprimesIndexes(ArbreOuvert& a, std::string* objet,
                                                      isam::DataFile** data, std::string_view op) {
  *data = nullptr;
  std::string nom = !a.fichier_indexe.empty() ? a.fichier_indexe
                    : a.dernier_fichier != 0  ? dossier_->Fichier(a.dernier_fichier)->nom
                                              : a.nom;
  *objet = nom + ".DAT";
  if (int16_t h = dossier_->ChercheFichier(nom, a.dependance)) {
    *data = dossier_->Fichier(h)->fichier.get();
  } else {
    // Not open: read from the folder, when it is there.
    std::string path;
    Verifie(dossier_->Chemin(a.dependance, nom, ".DAT", false, &path), op, *objet);
    isam::DataFile::Options options;
    options.read_only = true;
    Status s = isam::DataFile::Open(dossier_->env(), path, 0, options, &lu_);
    if (s.IsNotFound()) return {};
    Verifie(s, op, *objet);
    *data = lu_.get();
  }
  std::vector<uint32_t> records;
  Verifie((*data)->DeletedRecords(&records), op, *objet);
  return records;
}

void SrvBArbreImpl::DescBArbre(int16_t arbre, std::string& entete, std::string& noeuds_libres,
                               std::string& enregistrements_libres) {
  constexpr std::string_view kOp = "DescBArbre";
  isam::Lecture lecture(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  isam::BTreeHeader h;
  Verifie(a.arbre->Header(&h), kOp, a.objet);
  std::vector<std::string> values = {
      std::to_string(h.node_length), std::to_string(h.key_length), std::to_string(h.pointer_length),
      std::string(1, h.nature),      std::to_string(h.order),      std::to_string(h.levels),
      std::to_string(h.keys),        std::to_string(h.nodes),      std::to_string(h.root)};
  std::string head = "[]";
  for (const std::string& v : values) Ajoute(head, v, kOp);
  std::vector<uint32_t> free_nodes;
  Verifie(a.arbre->FreeNodes(&free_nodes), kOp, a.objet);
  std::string objet;
  isam::DataFile* data = nullptr;
  std::vector<uint32_t> deleted = SupprimesIndexes(a, &objet, &data, kOp);
  lu_.reset();
  entete = std::move(head);
  noeuds_libres = ListeNombres(free_nodes, kOp);
  enregistrements_libres = ListeNombres(deleted, kOp);
}

namespace {

// What the indexed data file holds, beside its tree: its records and, for a primary tree,
// whether they agree with the keys.
void InfosDonnees(isam::DataFile& data, const isam::BTreeHeader& h, size_t supprimes,
                  const std::function<void(std::string_view, std::string_view)>& add) {
  const uint32_t live = data.LastRecord() - data.Deleted();
  add("Enregistrements du Fichier de Données",
      Compte(data.LastRecord(), "utilisé", "utilisés") + "|" + std::to_string(live) +
          " en service|" + Compte(supprimes, "supprimé", "supprimés") + "|longueur " +
          std::to_string(data.RecordLength()));
  add("Taille du Fichier de Données", Octets(data.FileBytes()));
  if (h.nature == 'P') {
    add("Clés et Enregistrements en Service",
        Compte(h.keys, "clé", "clés") + " pour " +
            Compte(live, "enregistrement", "enregistrements") +
            (h.keys == live ? " : en accord" : " : en désaccord, reconstruire le B-arbre"));
  }
}

using Ajout = std::function<void(std::string_view, std::string_view)>;

void InfosNoeuds(const isam::BTreeStats& st, const Ajout& add) {
  char fill[32];
  std::snprintf(fill, sizeof fill, "%.1f %%", st.fill_ratio * 100.0);
  add("Taux de Remplissage des Noeuds", fill);
  add("Clés par Niveau", ParNiveau(st.keys_per_level));
  add("Noeuds par Niveau", ParNiveau(st.nodes_per_level));
  add("Noeuds Libres", std::to_string(st.free_nodes));
  add("Taille du Fichier B-Arbre", Octets(st.file_bytes));
}

constexpr size_t kPremieresCles = 10;

std::string PremieresCles(isam::BTree& arbre) {
  std::string out;
  size_t n = 0;
  const Status s = arbre.ForEach([&](std::string_view cle, uint32_t) {
    out += (n > 0 ? "|" : "") + CleLisible(cle);
    return ++n < kPremieresCles;
  });
  if (!s.ok()) return out + (n > 0 ? "|" : "") + "illisible : " + s.message();
  return n == 0 ? "aucune" : out;
}

// The engine's check of the tree, then of every key against the indexed file: "Correct" or
// the first fault found.
std::string Controle(isam::BTree& arbre, isam::DataFile* data,
                     const std::vector<uint32_t>& supprimes) {
  std::vector<std::string> problems;
  const Status verify = arbre.Verify(&problems);
  if (!verify.ok()) return verify.message();
  if (!problems.empty()) return problems.front();
  if (data == nullptr) return "Correct";
  std::string faute;
  const Status s = arbre.ForEach([&](std::string_view cle, uint32_t no) {
    if (no > data->LastRecord()) {
      faute = "clé " + CleLisible(cle) + " : enregistrement " + std::to_string(no) +
              " au-delà du dernier (" + std::to_string(data->LastRecord()) + ")";
    } else if (std::binary_search(supprimes.begin(), supprimes.end(), no)) {
      faute = "clé " + CleLisible(cle) + " : enregistrement " + std::to_string(no) + " supprimé";
    }
    return faute.empty();
  });
  if (!s.ok()) return s.message();
  return faute.empty() ? "Correct" : faute;
}

}  // namespace

void SrvBArbreImpl::InfoBArbre(int16_t arbre, std::string& infos) {
  constexpr std::string_view kOp = "InfoBArbre";
  isam::Lecture lecture(*dossier_, kOp);
  ArbreOuvert& a = isam::ArbreOuErreur(*dossier_, arbre, kOp);
  isam::BTreeHeader h;
  Verifie(a.arbre->Header(&h), kOp, a.objet);
  std::string objet;
  isam::DataFile* data = nullptr;
  std::vector<uint32_t> deleted = SupprimesIndexes(a, &objet, &data, kOp);

  std::string out = "[]";
  auto add = [&](std::string_view titre, std::string_view texte) {
    Ajoute(out, Paire(titre, texte), kOp);
  };
  add("Fichier B-Arbre",
      a.objet + (h.nature == 'P' ? " : clés uniques" : " : clés en double admises"));
  add("Fichier de Données Indexé", data != nullptr ? objet : objet + " (absent)");
  // A damaged tree is described as far as it can be read: the fault is the listing's answer.
  isam::BTreeStats st;
  const Status stats = a.arbre->Stats(&st);
  if (stats.ok()) InfosNoeuds(st, add);
  if (data != nullptr) InfosDonnees(*data, h, deleted.size(), add);
  add("Premières Clés", PremieresCles(*a.arbre));
  std::sort(deleted.begin(), deleted.end());
  add("Contrôle du B-Arbre",
      stats.ok() ? Controle(*a.arbre, data, deleted) : "illisible : " + stats.message());
  lu_.reset();
  infos = std::move(out);
}

namespace {

// Whether a byte of a key is a Windows-1252 character a listing shows as itself: a printable
// one, apart from the characters that separate keys and list elements (| , [ ] and the
// backslash). Control bytes, the five bytes Windows-1252 leaves undefined, the no-break space
// and the soft hyphen are not.
bool Imprimable(unsigned char c) {
  if (c < 0x20 || c == 0x7F || c == 0xA0 || c == 0xAD) return false;
  if (c == '|' || c == ',' || c == '[' || c == ']' || c == '\\') return false;
  const char32_t cp = text::Cp1252ToCodePoint(c);
  return cp < 0x80 || cp > 0x9F;
}

}  // namespace

std::string CleLisible(std::string_view cle) {
  while (!cle.empty() && cle.back() == ' ') cle.remove_suffix(1);
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : cle) {
    if (Imprimable(c)) {
      text::AppendUtf8(text::Cp1252ToCodePoint(c), &out);
    } else {
      out += {'\\', 'x', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return out;
}

std::string Compte(uint64_t n, std::string_view un, std::string_view plusieurs) {
  return std::to_string(n) + " " + std::string(n > 1 ? plusieurs : un);
}

}  // namespace vesk
