// The dictionary model written as TOML text: deterministic, one line per field.
#include <cstdio>
#include <string>
#include <vector>

#include "fic/dictionnaire_texte.h"

namespace vesk::fic {

namespace {

constexpr int64_t kVersion = 1;
void EcritDomaine(std::string& out, const std::string& code, const Domaine& d) {
  out += "\n[domaines." + CleToml(code) + "]\nnom = " + ChaineToml(d.nom) +
         "\nfichier = " + ChaineToml(d.fichier) + "\n";
  if (!d.definition) return;
  if (d.definition->empty()) {
    out += "definition = []\n";
    return;
  }
  out += "definition = [\n";
  for (const std::string& l : *d.definition) out += "  " + ChaineToml(l) + ",\n";
  out += "]\n";
}

std::string TexteRubrique(const Rubrique& r) {
  std::string out = "{ nom = " + ChaineToml(r.nom) + ", type = " + ChaineToml(r.type);
  if (r.total) out += ", total = " + std::to_string(*r.total);
  if (r.decimales) out += ", decimales = " + std::to_string(*r.decimales);
  if (r.format) out += ", format = " + ChaineToml(*r.format);
  out += ", variable = " + ChaineToml(r.variable);
  if (r.exemple) out += ", exemple = " + ChaineToml(*r.exemple);
  if (r.modification) out += ", modification = " + ChaineToml(*r.modification);
  if (r.domaine) out += ", domaine = " + ChaineToml(*r.domaine);
  return out + " }";
}

void EcritFichier(std::string& out, const std::string& nom, const Fichier& f) {
  out +=
      "\n[fichiers." + CleToml(nom) + "]\nentreprise = " + (f.entreprise ? "true" : "false") + "\n";
  if (f.longueur) out += "longueur = " + std::to_string(*f.longueur) + "\n";
  out += "rubriques = [\n";
  for (const Rubrique& r : f.rubriques) out += "  " + TexteRubrique(r) + ",\n";
  out += "]\n";
}

}  // namespace

std::string ChaineToml(std::string_view s) {
  std::string out = "\"";
  for (char c : s) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20 || u == 0x7F) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04X", u);
      out += buf;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string CleToml(std::string_view k) {
  bool nue = !k.empty();
  for (char c : k) {
    nue = nue && ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                  c == '_' || c == '-');
  }
  return nue ? std::string(k) : ChaineToml(k);
}

std::string EcritToml(const ModeleDictionnaire& m) {
  std::string out = "# Dictionnaire Vesk\nversion = " + std::to_string(kVersion) + "\n";
  for (const auto& [code, d] : m.domaines) EcritDomaine(out, code, d);
  for (const auto& [nom, f] : m.fichiers) EcritFichier(out, nom, f);
  for (const auto& [nom, b] : m.barbres) {
    out += "\n[barbres." + CleToml(nom) + "]\nfichier = " + ChaineToml(b.fichier) +
           "\nnature = " + ChaineToml(b.nature) + "\ncle = " + ChaineToml(b.cle) + "\n";
  }
  for (const auto& [nom, c] : m.chainages) {
    out += "\n[chainages." + CleToml(nom) + "]\nentete = " + ChaineToml(c.entete) +
           "\narriere = " + std::to_string(c.arriere) + "\navant = " + std::to_string(c.avant) +
           "\npremier = " + std::to_string(c.premier) + "\ndernier = " + std::to_string(c.dernier) +
           "\n";
  }
  return out;
}

}  // namespace vesk::fic
