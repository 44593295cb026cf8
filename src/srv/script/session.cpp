#include "srv/script/session.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "srv/erreur_service.h"
#include "srv/text/utf8.h"
#include "srv/tui/touches.h"

namespace vesk::script {

namespace {

using Genre = Reponse::Genre;

std::string_view Rogne(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
    s.remove_suffix(1);
  }
  return s;
}

[[noreturn]] void Refus(std::string_view nom, int ligne, const std::string& message) {
  throw ErreurService("Script", nom, "ligne " + std::to_string(ligne) + " : " + message);
}

int16_t Touche(std::string_view nom, std::string_view script, int ligne) {
  std::optional<int16_t> code = tui::CodeDuNom(nom);
  if (!code) {
    Refus(
        script, ligne,
        "touche « " + std::string(nom) + " » inconnue (<Enter>, <Up>, <PgUp>, <Esc>, <F1> à <F7>)");
  }
  return *code;
}

// Takes a final "<Key>" off texte, if there is one.
bool ToucheFinale(std::string_view* texte, std::string_view* nom) {
  std::string_view t = Rogne(*texte);
  if (t.empty() || t.back() != '>') return false;
  size_t debut = t.rfind('<');
  if (debut == std::string_view::npos) return false;
  std::string_view n = t.substr(debut);
  if (n.find_first_of(" \t", 0) != std::string_view::npos || n.size() < 3) return false;
  *nom = n;
  t.remove_suffix(n.size());
  *texte = t;
  return true;
}

std::vector<int> Choix(std::string_view reste, std::string_view script, int ligne) {
  std::vector<int> choix;
  if (reste == "none") return choix;
  std::string_view texte = reste;
  while (true) {
    size_t virgule = texte.find(',');
    std::string_view n = Rogne(texte.substr(0, virgule));
    int valeur = 0;
    auto [fin, ec] = std::from_chars(n.data(), n.data() + n.size(), valeur);
    if (n.empty() || ec != std::errc() || fin != n.data() + n.size() || valeur < 1) {
      Refus(script, ligne,
            "« choose " + std::string(reste) +
                " » : un numéro à partir de 1, une liste "
                "N,M,... ou none attendu");
    }
    choix.push_back(valeur);
    if (virgule == std::string_view::npos) return choix;
    texte.remove_prefix(virgule + 1);
  }
}

Reponse LitChamp(std::string_view t, std::string_view script, int ligne) {
  Reponse r;
  r.genre = Genre::kChamp;
  r.ligne = ligne;
  std::string_view nom;
  size_t egal = t.find('=');
  if (egal != std::string_view::npos) {
    r.cle = std::string(Rogne(t.substr(0, egal)));
    std::string_view valeur = t.substr(egal + 1);
    if (!valeur.empty() && valeur.front() == ' ') valeur.remove_prefix(1);
    if (ToucheFinale(&valeur, &nom)) {
      r.touche = Touche(nom, script, ligne);
      valeur = Rogne(valeur).empty() ? std::string_view() : valeur;
      while (!valeur.empty() && valeur.back() == ' ') valeur.remove_suffix(1);
    }
    r.avec_valeur = true;
    r.valeur = std::string(valeur);
  } else {
    std::string_view reste = t;
    if (ToucheFinale(&reste, &nom)) r.touche = Touche(nom, script, ligne);
    r.cle = std::string(Rogne(reste));
  }
  if (r.cle.empty() || r.cle.find_first_of(" \t<>") != std::string::npos) {
    Refus(script, ligne,
          "ligne illisible : « CLE = VALEUR [<Touche>] », « CLE [<Touche>] », confirm, "
          "choose, ok ou cancel attendu");
  }
  return r;
}

Reponse LitLigne(std::string_view t, std::string_view script, int ligne) {
  size_t espace = t.find_first_of(" \t");
  std::string_view mot = t.substr(0, espace);
  std::string_view reste = espace == std::string_view::npos ? "" : Rogne(t.substr(espace));
  Reponse r;
  r.ligne = ligne;
  if (mot == "ok" || mot == "cancel") {
    if (!reste.empty())
      Refus(script, ligne, "rien n'est attendu après « " + std::string(mot) + " »");
    r.genre = mot == "ok" ? Genre::kOk : Genre::kAnnule;
    return r;
  }
  if (mot == "confirm") {
    r.genre = Genre::kConfirme;
    if (!reste.empty()) r.touche = Touche(reste, script, ligne);
    return r;
  }
  if (mot == "choose") {
    r.genre = Genre::kChoix;
    r.choix = Choix(reste, script, ligne);
    return r;
  }
  return LitChamp(t, script, ligne);
}

}  // namespace

std::string Decrit(const Reponse& r) {
  switch (r.genre) {
    case Genre::kChamp:
      return "la saisie du champ " + r.cle;
    case Genre::kConfirme:
      return "une confirmation (confirm)";
    case Genre::kChoix:
      return "un choix dans une liste (choose)";
    case Genre::kOk:
      return "l'acquittement d'un message (ok)";
    case Genre::kAnnule:
      return "l'interruption d'une édition (cancel)";
  }
  return {};
}

std::shared_ptr<Session> Session::DepuisTexte(std::string_view texte, std::string nom) {
  text::TextResult utf8 = text::CheckUtf8(texte);
  if (!utf8.ok) throw ErreurService("Script", nom, utf8.message);
  std::vector<Reponse> reponses;
  int numero = 0;
  size_t debut = 0;
  while (debut < texte.size()) {
    size_t fin = texte.find('\n', debut);
    if (fin == std::string_view::npos) fin = texte.size();
    std::string_view ligne = Rogne(texte.substr(debut, fin - debut));
    ++numero;
    debut = fin + 1;
    if (ligne.empty() || ligne.front() == '#') continue;
    reponses.push_back(LitLigne(ligne, nom, numero));
  }
  return std::shared_ptr<Session>(new Session(std::move(reponses), std::move(nom)));
}

std::shared_ptr<Session> Session::DepuisFichier(const std::string& chemin) {
  std::ifstream f(chemin, std::ios::binary);
  if (!f) throw ErreurService("Script", chemin, "fichier de script illisible ou absent");
  std::stringstream texte;
  texte << f.rdbuf();
  if (f.bad()) throw ErreurService("Script", chemin, "erreur de lecture du fichier de script");
  return DepuisTexte(texte.str(), chemin);
}

const Reponse* Session::Regarde() const {
  return prochaine_ < reponses_.size() ? &reponses_[prochaine_] : nullptr;
}

void Session::Erreur(std::string_view operation, const Reponse& r,
                     const std::string& message) const {
  throw ErreurService(operation, nom_, "ligne " + std::to_string(r.ligne) + " : " + message);
}

const Reponse& Session::Prend(std::string_view operation, Genre genre, std::string_view demande) {
  const Reponse* r = Regarde();
  if (r == nullptr) {
    std::string apres = reponses_.empty()
                            ? "le script est vide"
                            : "après la ligne " + std::to_string(reponses_.back().ligne);
    throw ErreurService(operation, nom_,
                        "le script n'a plus de réponse (" + apres + ") alors que l'écran demande " +
                            std::string(demande));
  }
  if (r->genre != genre) {
    Erreur(operation, *r,
           "le script donne " + Decrit(*r) + " alors que l'écran demande " + std::string(demande));
  }
  ++prochaine_;
  return *r;
}

void Session::Note(const std::string& ligne) {
  transcription_ += ligne;
  transcription_ += '\n';
  if (sortie_ != nullptr) *sortie_ << ligne << '\n' << std::flush;
}

std::string Cite(std::string_view texte) {
  std::string out = "«";
  for (char c : texte) {
    unsigned char u = static_cast<unsigned char>(c);
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else if (u < 0x20) {
      char code[8];
      std::snprintf(code, sizeof code, "\\x%02X", u);
      out += code;
    } else {
      out += c;
    }
  }
  return out + "»";
}

}  // namespace vesk::script
