#include "srv/isam/workload.h"

#include <cstdio>

#include "srv/erreur_service.h"
#include "srv/proprietaire.h"

namespace vesk::isam {

namespace {

std::string Fixed(std::string s, size_t width) {
  s.resize(width, ' ');
  return s;
}

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

// The owner of both files: its current fields are one text per file.
struct Workload::Owner : Proprietaire {
  explicit Owner(SrvDonnee* srv) : srv(srv) {}
  int32_t IdMethode(std::string_view nom) override {
    std::string n = Upper(nom);
    if (n == "LIRECLI") return 1;
    if (n == "ECRIRECLI") return 2;
    if (n == "LIRELIG") return 3;
    if (n == "ECRIRELIG") return 4;
    return -1;
  }
  void Invoque(int32_t id, int32_t& no) override {
    std::string& champs = id <= 2 ? cli : lig;
    int16_t f = id <= 2 ? cli_file : lig_file;
    if (id % 2 == 1) {
      srv->LireFichier(f, no, champs);
    } else {
      srv->EcrireFichier(f, no, champs);
    }
  }
  SrvDonnee* srv;
  int16_t cli_file = 0, lig_file = 0;
  std::string cli, lig;
};

Workload::Workload(std::shared_ptr<DossierDonnees> dossier, uint64_t seed, char prefix)
    : Workload(std::make_unique<SrvDonneeImpl>(dossier), std::make_unique<SrvBArbreImpl>(dossier),
               std::make_unique<SrvChainageImpl>(dossier), seed, prefix) {
  dossier_ = std::move(dossier);
}

Workload::Workload(std::unique_ptr<SrvDonnee> donnee, std::unique_ptr<SrvBArbre> barbre,
                   std::unique_ptr<SrvChainage> chainage, uint64_t seed, char prefix)
    : donnee_(std::move(donnee)),
      barbre_(std::move(barbre)),
      chainage_(std::move(chainage)),
      owner_(std::make_unique<Owner>(donnee_.get())),
      rng_(seed),
      prefix_(prefix) {
  donnee_->Donnee(false, "Cli", 40, cli_, owner_.get(), "Clients", "", "", true);
  donnee_->Donnee(false, "Lig", 30, lig_, owner_.get(), "Lignes", "", "", true);
  owner_->cli_file = cli_;
  owner_->lig_file = lig_;
  barbre_->B_Arbre(false, "Cli", 8, "P", tree_, "", true);
  barbre_->B_Arbre(false, "Cli2", 4, "S", towns_, "", true);
  chainage_->Chainage("Cli", 40, 31, 34, "Lig", 30, 1, 4);
}

Workload::~Workload() = default;

std::string Workload::NewKey() {
  char b[16];
  std::snprintf(b, sizeof b, "%c%07d", prefix_, next_key_++);
  return b;
}

void Workload::Find(const std::string& key) {
  bool found = false;
  barbre_->Recherche(tree_, key, cli_, found);
  if (!found) throw ErreurService("Recherche", "CLI", "client " + key + " absent");
}

void Workload::Step() {
  if (queue_.empty()) {
    std::vector<std::string> keys = Keys();
    int action = keys.size() < 4 ? 0 : static_cast<int>(rng_() % 10);
    std::string key = keys.empty() ? "" : keys[rng_() % keys.size()];
    if (action <= 2) {
      QueueNewCustomer();
    } else if (action <= 5) {
      QueueAddLine(key);
    } else if (action == 6 && model_[key].lines > 0) {
      QueueDeleteLine(key);
    } else if (action <= 7) {
      QueueRename(key);
    } else {
      QueueDeleteCustomer(key);
    }
  }
  queue_.front()();  // on an exception the step stays first in the queue
  queue_.pop_front();
  ++steps_;
}

void Workload::QueueNewCustomer() {
  std::string k = NewKey();
  std::string town = std::to_string(100 + rng_() % 20);
  town.insert(town.begin(), 'T');
  std::string name = "client " + std::to_string(rng_() % 1000000);
  queue_.push_back([this, k, town, name] {
    owner_->cli = Fixed(k, 8) + town + Fixed(name, 18);
    int32_t no = 0;
    barbre_->Insere(tree_, k, cli_, no);
    model_[k] = Customer{no, town, 0};
  });
  queue_.push_back([this, k, town] { barbre_->InsS(towns_, town, model_[k].no, cli_); });
}

void Workload::QueueAddLine(const std::string& key) {
  std::string text = "ligne " + std::to_string(rng_() % 100000);
  queue_.push_back([this, key, text] {
    Find(key);
    owner_->lig = Fixed("", 6) + text;
    int32_t no = 0;
    chainage_->AjouteLigne(lig_, no);
    ++model_[key].lines;
  });
}

void Workload::QueueDeleteLine(const std::string& key) {
  int skip = static_cast<int>(rng_() % model_[key].lines);
  queue_.push_back([this, key, skip] {
    Find(key);
    int32_t no = 0;
    chainage_->PremLigne(lig_, no);
    for (int i = 0; i < skip; ++i) chainage_->SuivLigne(lig_, no);
    chainage_->SupprimeLigne(lig_, no);
    --model_[key].lines;
  });
}

void Workload::QueueRename(const std::string& key) {
  std::string name = "renomme " + std::to_string(rng_() % 1000000);
  queue_.push_back([this, key, name] {
    const Customer& c = model_[key];
    donnee_->EcrireFichier(cli_, c.no, Fixed(key, 8) + c.town + Fixed(name, 18));
  });
}

void Workload::QueueDeleteCustomer(const std::string& key) {
  queue_.push_back([this, key] {
    Find(key);
    chainage_->SupprimeLignes(lig_);
    model_[key].lines = 0;
  });
  queue_.push_back([this, key] {
    const Customer& c = model_[key];
    barbre_->Supprime(towns_, c.town, c.no, cli_);
  });
  queue_.push_back([this, key] {
    barbre_->Supprime(tree_, key, model_[key].no, cli_);
    model_.erase(key);
  });
}

PlanReconstruction Workload::Plan(bool lines) {
  auto slice = [](size_t at, size_t n) {
    return [at, n](std::string_view record, std::string& key) { key.assign(record.substr(at, n)); };
  };
  FichierAReconstruire cli{
      "Cli", false, !lines, {{"Cli", 8, "P", slice(0, 8)}, {"Cli2", 4, "S", slice(8, 4)}}};
  if (!lines) return {{cli}, {}};
  FichierAReconstruire lig{"Lig", false, true, {}};
  return {{lig, cli}, {{1, 0, 31, 34, 1, 4}}};
}

std::vector<std::string> Workload::Keys() const {
  std::vector<std::string> out;
  for (const auto& [k, c] : model_) out.push_back(k);
  return out;
}

void Workload::CheckModel() {
  for (const auto& [key, c] : model_) {
    Find(key);
    int32_t no = 0;
    donnee_->NoEnrCourant(cli_, no);
    if (no != c.no || owner_->cli.substr(8, 4) != c.town) {
      throw ErreurService("Verification", "CLI", "client " + key + " différent du modèle");
    }
    int lines = 0;
    for (chainage_->PremLigne(lig_, no); no != 0; chainage_->SuivLigne(lig_, no)) ++lines;
    if (lines != c.lines) {
      throw ErreurService("Verification", "LIG",
                          "client " + key + " : " + std::to_string(lines) + " lignes au lieu de " +
                              std::to_string(c.lines));
    }
  }
}

std::string Workload::Vue(char prefix) {
  std::string out, key;
  bool found = false;
  for (barbre_->PremCle(tree_, cli_, found, key); found;
       barbre_->SuivCle(tree_, cli_, found, key)) {
    if (key.empty() || key[0] != prefix) continue;
    out += owner_->cli.substr(0, 30);  // key, town, name: the line pointers follow
    int32_t no = 0;
    for (chainage_->PremLigne(lig_, no); no != 0; chainage_->SuivLigne(lig_, no)) {
      out += "|" + owner_->lig.substr(6);
    }
    out += "\n";
  }
  return out;
}

std::string Workload::State(DossierDonnees& d) {
  std::string out;
  for (int16_t h = 1; h <= d.NombreFichiers(); ++h) {
    FichierOuvert* f = d.Fichier(h);
    out += f->objet + " " + std::to_string(f->fichier->LastRecord()) + "/" +
           std::to_string(f->fichier->Deleted()) + "\n";
    std::string rec(f->fichier->RecordLength(), '\0');
    for (uint32_t no = 1; no <= f->fichier->LastRecord(); ++no) {
      Status s = f->fichier->Read(no, rec);
      out += s.ok() ? rec : "erreur " + s.message();
      out += "\n";
    }
  }
  for (int16_t h = 1; h <= d.NombreArbres(); ++h) {
    ArbreOuvert* a = d.Arbre(h);
    out += a->objet + "\n";
    Status s = a->arbre->ForEach([&](std::string_view key, uint32_t record) {
      out += std::string(key) + " " + std::to_string(record) + "\n";
      return true;
    });
    if (!s.ok()) out += "erreur " + s.message() + "\n";
  }
  return out;
}

}  // namespace vesk::isam
