// The demo application's data: customers, invoices and their chained lines of the company "01",
// written through the services as a generated program writes them (an owner gives the current
// fields, Insere / InsS / AjouteLigne / Supprime do the rest), in one batch; a few of each are
// deleted, so that the B-tree inspection and the reconstruction have something to show. The
// same folder always gets the same records (a fixed pseudo-random sequence).
#include <cstring>
#include <random>

#include "cli/demo.h"
#include "core/proprietaire_texte.h"
#include "core/session.h"
#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk::cli {

namespace {

constexpr const char* kNoms[] = {"Dupont et Fils",  "Martin SA",           "Bernard Négoce",
                                 "Petit Frères",    "Durand Import",       "Leroy Matériaux",
                                 "Moreau Textile",  "Simon Électricité",   "Laurent Boissons",
                                 "Lefèvre SARL",    "Michel Bureautique",  "Garcia Primeurs",
                                 "David Outillage", "Bertrand Transports", "Roux Imprimerie",
                                 "Vincent Jardins", "Fournier Optique",    "Morel Boulangerie"};
constexpr const char* kVilles[] = {"Lyon",     "Paris",  "Marseille",  "Lille",     "Nantes",
                                   "Bordeaux", "Genève", "Bruxelles",  "Liège",     "Strasbourg",
                                   "Toulouse", "Annecy", "Luxembourg", "Barcelone", "Turin"};
constexpr const char* kPays[] = {"FR", "FR", "FR", "FR", "FR", "FR", "CH", "BE",
                                 "BE", "FR", "FR", "FR", "LU", "ES", "IT"};
constexpr const char* kReglements[] = {"COMPT", "30J", "30FM", "45FM", "60J"};
constexpr const char* kTva[] = {"N", "N", "N", "I", "R", "E"};
constexpr int kClients = 300, kFactures = 800;

// texte cut or padded to largeur characters (not bytes: "é" is two bytes of UTF-8 and one of
// the record, so a field padded by bytes would shift every field after it).
std::string Fixe(std::string_view texte, size_t largeur) {
  return text::FixedWidth(texte, largeur);
}

// Bytes on disk as record text (every byte has its character, Windows-1252).
std::string Octets(const void* p, size_t n) {
  return text::DecodeCp1252(std::string_view(static_cast<const char*>(p), n));
}
// An amount of internal format S (4 bytes) or D (8 bytes): IEEE, little-endian, as MKS$/MKD$.
std::string Simple(double v) {
  const float f = static_cast<float>(v);
  char b[4];
  std::memcpy(b, &f, 4);
  return Octets(b, 4);
}
std::string Double(double v) {
  char b[8];
  std::memcpy(b, &v, 8);
  return Octets(b, 8);
}
// A date as its day number (1 for 1 January 1900), 3 bytes, high byte first.
std::string Date(int annee, int mois, int jour) {
  int a = annee, m = mois;
  if (m <= 2) {
    --a;
    m += 12;
  }
  const long jours = 365L * a + a / 4 - a / 100 + a / 400 + (153 * (m - 3) + 2) / 5 + jour;
  const long numero = jours - 693901L;  // 1 January 1900 gives 1
  const char b[3] = {static_cast<char>(numero >> 16), static_cast<char>(numero >> 8),
                     static_cast<char>(numero)};
  return Octets(b, 3);
}

std::string Code(const char* prefixe, int n, size_t largeur) {
  std::string chiffres = std::to_string(n);
  return prefixe + std::string(largeur - std::strlen(prefixe) - chiffres.size(), '0') + chiffres;
}

// The owners of the demo's files live as long as the thread's module state, which keeps the
// files open.
struct Demo {
  explicit Demo(Session& session) : s(session) {}

  Session& s;
  ProprietaireTexte client{"CLIENT"}, facture{"FACTUR"}, ligne{"FACLIG"};
  int16_t cli1 = 0, cli2 = 0, fac1 = 0;
  std::vector<std::string> cles_cli2;  // the secondary key of each customer
  std::mt19937 aleatoire{2026};
  int Tire(int n) { return static_cast<int>(aleatoire() % static_cast<uint32_t>(n)); }
};

void Ouvre(Demo& d) {
  Session& e = d.s;
  e.Donnee().Donnee(true, "CLIENT", 128, d.client.fichier, &d.client, "Clients", "", "", true);
  e.Donnee().Donnee(true, "FACTUR", 32, d.facture.fichier, &d.facture, "Factures", "", "", true);
  e.Donnee().Donnee(true, "FACLIG", 32, d.ligne.fichier, &d.ligne, "Lignes de factures", "", "",
                    true);
  e.BArbre().B_Arbre(true, "CLI1", 6, "P", d.cli1, "CLIENT", true);
  e.BArbre().B_Arbre(true, "CLI2", 15, "S", d.cli2, "CLIENT", true);
  e.BArbre().B_Arbre(true, "FAC1", 8, "P", d.fac1, "FACTUR", true);
  e.Chainage().Chainage("FACTUR", 32, 26, 29, "FACLIG", 32, 1, 4);
}

void Clients(Demo& d) {
  Session& e = d.s;
  for (int i = 1; i <= kClients; ++i) {
    const int n = d.Tire(18), v = d.Tire(15);
    const std::string code = Code("C", i, 6);
    const std::string nom = Fixe(std::string(kNoms[n]) + " " + std::to_string(i), 30);
    const std::string ville = Fixe(kVilles[v], 20);
    d.client.champs = code + nom + ville + kPays[v] + Fixe(kReglements[d.Tire(5)], 5) +
                      kTva[d.Tire(6)] + Simple(1000.0 * (1 + d.Tire(50))) +
                      Date(2020 + d.Tire(6), 1 + d.Tire(12), 1 + d.Tire(28));
    int32_t no = 0;
    e.BArbre().Insere(d.cli1, code, d.client.fichier, no);
    d.cles_cli2.push_back(std::string(text::Left(nom, 10)) + std::string(text::Left(ville, 5)));
    e.BArbre().InsS(d.cli2, d.cles_cli2.back(), no, d.client.fichier);
  }
}

// One invoice: its lines first drawn (their total is the invoice's amount), then the header
// inserted and the lines chained under it.
void Facture(Demo& d, int i) {
  Session& e = d.s;
  const int nb = 1 + d.Tire(5);
  std::vector<std::string> lignes;
  double total = 0;
  for (int k = 0; k < nb; ++k) {
    const double quantite = 1 + d.Tire(20), prix = (100 + d.Tire(90000)) / 100.0;
    total += quantite * prix;
    lignes.push_back("      " + Code("ART", 1 + d.Tire(400), 10) + Simple(quantite) + Double(prix));
  }
  const std::string numero = Code("F2026", i, 8);
  d.facture.champs = numero + Code("C", 1 + d.Tire(kClients), 6) +
                     Date(2026, 1 + d.Tire(11), 1 + d.Tire(28)) + Double(total);
  int32_t no = 0;
  e.BArbre().Insere(d.fac1, numero, d.facture.fichier, no);
  for (const std::string& l : lignes) {
    d.ligne.champs = l;
    e.Chainage().AjouteLigne(d.ligne.fichier, no);
  }
}

// Some records given back: every 17th customer, every 23rd invoice with its lines, and the
// first line of every 29th invoice.
void Suppressions(Demo& d) {
  Session& e = d.s;
  bool trouve = false;
  for (int i = 17; i <= kClients; i += 17) {
    const std::string code = Code("C", i, 6);
    e.BArbre().Recherche(d.cli1, code, d.client.fichier, trouve);
    int32_t no = 0;
    e.Donnee().NoEnrCourant(d.client.fichier, no);
    e.BArbre().Supprime(d.cli2, d.cles_cli2[static_cast<size_t>(i - 1)], no, d.client.fichier);
    e.BArbre().Supprime(d.cli1, code, no, d.client.fichier);
  }
  for (int i = 1; i <= kFactures; ++i) {
    if (i % 23 != 0 && i % 29 != 0) continue;
    const std::string numero = Code("F2026", i, 8);
    e.BArbre().Recherche(d.fac1, numero, d.facture.fichier, trouve);
    int32_t no = 0;
    if (i % 23 == 0) {
      e.Chainage().SupprimeLignes(d.ligne.fichier);
      e.Donnee().NoEnrCourant(d.facture.fichier, no);
      e.BArbre().Supprime(d.fac1, numero, no, d.facture.fichier);
    } else {
      e.Chainage().PremLigne(d.ligne.fichier, no);
      if (no != 0) e.Chainage().SupprimeLigne(d.ligne.fichier, no);
    }
  }
}

}  // namespace

void RemplitDonneesDemo(Session& e) {
  auto demo = std::make_shared<Demo>(e);  // the owners of the files, kept while they are open
  e.Garde(demo);
  Demo& d = *demo;
  Ouvre(d);  // creates the absent files, empty, outside the batch
  bool trouve = false;
  std::string cle;
  e.BArbre().PremCle(d.cli1, d.client.fichier, trouve, cle);
  if (trouve) return;  // the batch that wrote the customers wrote everything
  e.Donnee().DebutLot();
  try {
    Clients(d);
    for (int i = 1; i <= kFactures; ++i) Facture(d, i);
    Suppressions(d);
  } catch (...) {
    e.Donnee().AnnuleLot();
    throw;
  }
  e.Donnee().FinLot();
}

}  // namespace vesk::cli
