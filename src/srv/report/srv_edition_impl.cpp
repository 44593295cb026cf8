#include "srv/report/srv_edition_impl.h"

#include <algorithm>
#include <utility>

#include "srv/erreur_service.h"
#include "srv/report/bracket_tree.h"
#include "srv/report/chars.h"
#include "srv/report/output_names.h"
#include "srv/text/utf8.h"

namespace vesk {

using report::Column;

namespace {

struct Evenement {
  enum class Genre { kCadre, kRangee, kTexte, kBlancs, kPage, kFerme, kSignet };
  Genre genre = Genre::kPage;
  std::shared_ptr<const report::Descriptor> cadre;
  report::Row rangee;
  report::TextLine texte;
  int nombre = 0;
  bool trait = false;
};

// Lays out one recorded call.
void Rejoue(const Evenement& ev, report::Paginator& pages) {
  switch (ev.genre) {
    case Evenement::Genre::kCadre:
      pages.Frame(ev.cadre);
      break;
    case Evenement::Genre::kRangee:
      pages.AddRow(ev.rangee);
      break;
    case Evenement::Genre::kTexte:
      pages.Text(ev.texte);
      break;
    case Evenement::Genre::kBlancs:
      pages.Blank(ev.nombre);
      break;
    case Evenement::Genre::kPage:
      pages.PageBreak();
      break;
    case Evenement::Genre::kFerme:
      pages.CloseFrame(ev.trait);
      break;
    case Evenement::Genre::kSignet:
      pages.Bookmark(ev.texte.text);
      break;
  }
}

// Calls laid out between two reports of the layout's progress.
constexpr int64_t kEvenementsParAvance = 4096;

// The last line of a listing the user cancelled.
report::TextLine LigneInterruption() {
  report::TextLine fin;
  fin.text = "*** Édition interrompue par l'utilisateur ***";
  fin.style = {'M', true};
  fin.font = report::FamillePolice("");
  return fin;
}

std::string Guillemets(std::string_view s) { return "« " + std::string(s) + " »"; }

// Refuses a text that is not UTF-8 or holds control characters; quoi names it in the message.
void ExigeTexte(std::string_view operation, std::string_view objet, std::string_view quoi,
                std::string_view texte) {
  const text::TextResult utf8 = text::CheckUtf8(texte);
  if (!utf8) {
    throw ErreurService(operation, objet,
                        std::string(quoi) + " : texte UTF-8 incorrect en position " +
                            std::to_string(utf8.position));
  }
  const size_t position = report::FirstControl(texte);
  if (position != 0) {
    throw ErreurService(
        operation, objet,
        std::string(quoi) + " : caractère de contrôle en position " + std::to_string(position));
  }
}

}  // namespace

struct SrvEditionImpl::Cellule {
  std::string texte;
  bool ecrite = false;
  bool gras = false;
  bool souligne = false;
  bool mots = false;
};

struct SrvEditionImpl::Edition {
  report::DocumentInfo info;
  std::string nom;       // of its files in the listings folder ("": from the title)
  char orientation = 0;  // 'V', 'H', 0: from the widest frame
  report::Sorties sorties;
  bool ecran = false;  // shown to the user, not written
  bool flux = false;   // the host's text stream (ConfigEdition::flux), not a file
  int lignes_page = 0;
  platform::DateHeure heure{};
  std::vector<Evenement> evenements;
  std::shared_ptr<const report::Descriptor> cadre;
  std::vector<Cellule> ligne;
  bool ligne_ecrite = false;
  double largeur_cadres = 0;  // points, widest frame declared
  bool interrompue = false;

  Evenement& Ajoute(Evenement::Genre genre) {
    evenements.emplace_back();
    evenements.back().genre = genre;
    return evenements.back();
  }
};

SrvEditionImpl::SrvEditionImpl(ConfigEdition config) : config_(std::move(config)) {
  if (config_.dossier.empty()) config_.dossier = "EDITIONS";
  if (!config_.horloge) config_.horloge = platform::Maintenant;
}

SrvEditionImpl::~SrvEditionImpl() = default;

SrvEditionImpl::Edition& SrvEditionImpl::ExigeOuverte(std::string_view operation) const {
  if (!edition_) {
    throw ErreurService(operation, "", "aucune édition ouverte : OuvEdt doit venir d'abord");
  }
  return *edition_;
}

SrvEditionImpl::Edition& SrvEditionImpl::ExigeCadre(std::string_view operation) const {
  Edition& e = ExigeOuverte(operation);
  if (!e.cadre && !e.interrompue) {
    throw ErreurService(operation, e.info.title,
                        "aucun cadre déclaré : DefEdt doit venir avant les colonnes");
  }
  return e;
}

bool SrvEditionImpl::Interrompue(Edition& e) {
  if (!e.interrompue && config_.annule && config_.annule()) e.interrompue = true;
  return e.interrompue;
}

void SrvEditionImpl::OuvEdt(std::string_view titre, std::string_view sous_titre,
                            std::string_view orientation, std::string_view sortie,
                            std::string_view fichier, int16_t marge, int16_t lignes_page, bool date,
                            bool numeros) {
  constexpr std::string_view op = "OuvEdt";
  if (edition_) {
    throw ErreurService(op, titre,
                        "l'édition " + Guillemets(edition_->info.title) +
                            " est encore ouverte : Termine doit la finir d'abord");
  }
  ExigeTexte(op, titre, "titre", titre);
  ExigeTexte(op, titre, "sous-titre", sous_titre);
  auto e = std::make_unique<Edition>();
  if (orientation == "V" || orientation == "H") {
    e->orientation = orientation[0];
  } else if (!orientation.empty()) {
    throw ErreurService(op, titre,
                        "orientation " + Guillemets(orientation) +
                            " inconnue (V portrait, H paysage, vide : selon le cadre)");
  }
  Exige(marge >= 0 && marge <= 50, op, titre,
        "marge de " + std::to_string(marge) + " mm incorrecte (0 à 50, 0 : 8 mm)");
  Exige(lignes_page >= 0, op, titre,
        "nombre de lignes par page " + std::to_string(lignes_page) + " incorrect (0 ou plus)");
  const std::string_view impose =
      config_.fichier_impose.empty() ? fichier : std::string_view(config_.fichier_impose);
  const std::string suivante = std::exchange(sortie_suivante_, std::string());
  e->nom = std::exchange(nom_suivant_, std::string());
  if (sortie.empty() && suivante == "ECRAN") {
    e->ecran = true;
  } else if (impose == kFluxTexte && config_.flux) {
    // Standard output holds the text only; a listing asked as PDF cannot go there.
    const std::string demandee = text::UpperAscii(sortie.empty() ? suivante : sortie);
    Exige(demandee.empty() || demandee == "TXT", op, titre,
          "une édition " + demandee +
              " ne s'écrit pas sur la sortie standard : donnez un fichier "
              ".pdf (la sortie standard reçoit le texte)");
    e->flux = true;
  } else {
    e->sorties = report::ChoisitSorties(sortie.empty() ? std::string_view(suivante) : sortie,
                                        config_.sortie, impose, config_.pdf != nullptr, titre);
  }
  e->info.title = titre;
  e->info.subtitle = sous_titre;
  e->info.numbers = numeros;
  if (marge > 0) e->info.margin = marge * report::kPointsPerMm;
  e->lignes_page = lignes_page;
  e->heure = config_.horloge();
  if (date) e->info.date = report::TexteDate(e->heure);
  ecrits_.clear();
  edition_ = std::move(e);
}

void SrvEditionImpl::DefEdt(std::string_view descripteur) {
  Edition& e = ExigeOuverte("DefEdt");
  if (e.interrompue) return;
  Exige(!e.ligne_ecrite, "DefEdt", e.info.title,
        "la ligne en cours du cadre précédent n'est pas imprimée (FinLigne manquant)");
  auto cadre = std::make_shared<const report::Descriptor>(report::ParseDescriptor(descripteur));
  e.largeur_cadres = std::max(e.largeur_cadres, report::FrameWidthPoints(*cadre));
  e.cadre = cadre;
  e.ligne.assign(cadre->columns.size(), Cellule{});
  e.Ajoute(Evenement::Genre::kCadre).cadre = std::move(cadre);
}

std::string SrvEditionImpl::Valeur(const Column& col, std::string_view texte, bool brut) const {
  if (brut) texte = text::TrimRight(texte);
  if (col.type == 'N') {
    std::string valeur;
    std::string erreur;
    if (!report::FormateNombre(texte, col.decimals, &valeur, &erreur)) {
      throw ErreurService("EcrCol", col.key, erreur);
    }
    return valeur;
  }
  if (col.type == 'B') {
    std::string valeur;
    if (!report::FormateBooleen(texte, &valeur)) {
      throw ErreurService("EcrCol", col.key,
                          "valeur booléenne " + Guillemets(texte) +
                              " incorrecte (O, N, Oui, Non, -1, 0, 1, V, F ou vide)");
    }
    return valeur;
  }
  return std::string(texte);
}

void SrvEditionImpl::EcrCol(std::string_view cle, std::string_view texte, std::string_view option,
                            int16_t gras, int16_t renvoi, int16_t souligne) {
  Edition& e = ExigeCadre("EcrCol");
  if (e.interrompue) return;
  const int index = e.cadre->Find(cle);
  if (index < 0) {
    std::string noms;
    for (const Column& c : e.cadre->columns) noms += (noms.empty() ? "" : ", ") + c.key;
    throw ErreurService(
        "EcrCol", cle,
        "colonne " + Guillemets(cle) + " inconnue dans le cadre (colonnes : " + noms + ")");
  }
  Exige(option.empty() || option == "@", "EcrCol", cle,
        "option " + Guillemets(option) + " inconnue (\"@\" ou vide)");
  ExigeTexte("EcrCol", cle, "texte", texte);
  const Column& col = e.cadre->columns[index];
  Cellule& cell = e.ligne[index];
  const std::string valeur = Valeur(col, report::NormalizeBreaks(texte), option == "@");
  cell.texte = cell.ecrite ? cell.texte + "\n" + valeur : valeur;
  cell.ecrite = true;
  cell.gras = gras != 0;
  cell.souligne = souligne != 0;
  cell.mots = renvoi != 0;
  e.ligne_ecrite = true;
}

report::Row SrvEditionImpl::Rangee(const Edition& e) const {
  report::Row row;
  row.cells.resize(e.ligne.size());
  row.values.resize(e.ligne.size());
  for (size_t i = 0; i < e.ligne.size(); ++i) {
    const Cellule& cell = e.ligne[i];
    if (!cell.ecrite) continue;
    const Column& col = e.cadre->columns[i];
    for (std::string& l : report::Wrap(cell.texte, col.layout_width, cell.mots || col.wrap_words)) {
      row.cells[i].push_back({std::move(l), cell.gras, cell.souligne});
    }
    row.values[i] = cell.texte.substr(0, cell.texte.find('\n'));
  }
  return row;
}

void SrvEditionImpl::FinLigne() {
  Edition& e = ExigeCadre("FinLigne");
  if (e.interrompue) return;
  if (e.ligne_ecrite) {
    e.Ajoute(Evenement::Genre::kRangee).rangee = Rangee(e);
    e.ligne.assign(e.ligne.size(), Cellule{});
    e.ligne_ecrite = false;
  }
  Interrompue(e);
}

void SrvEditionImpl::Saute(int16_t nombre) {
  Edition& e = ExigeOuverte("Saute");
  Exige(nombre >= 0, "Saute", e.info.title,
        "nombre de lignes à sauter " + std::to_string(nombre) + " négatif");
  if (e.interrompue || nombre == 0) return;
  e.Ajoute(Evenement::Genre::kBlancs).nombre = nombre;
  Interrompue(e);
}

void SrvEditionImpl::SautPage() {
  Edition& e = ExigeOuverte("SautPage");
  if (e.interrompue) return;
  e.Ajoute(Evenement::Genre::kPage);
  Interrompue(e);
}

void SrvEditionImpl::ImprTexte(std::string_view texte, std::string_view style,
                               std::string_view police, std::string_view options) {
  Edition& e = ExigeOuverte("ImprTexte");
  if (e.interrompue) return;
  report::TextLine line;
  if (!report::ParseStyle(style, &line.style)) {
    throw ErreurService("ImprTexte", style,
                        "style " + Guillemets(style) +
                            " inconnu (taille P, M ou G puis graisse S ou D, ex. « PS »)");
  }
  line.font = report::FamillePolice(police);
  report::OptionsTexte(options, &line);
  ExigeTexte("ImprTexte", e.info.title, "texte", texte);
  line.text = report::NormalizeBreaks(texte);
  e.Ajoute(Evenement::Genre::kTexte).texte = std::move(line);
  Interrompue(e);
}

void SrvEditionImpl::FermeEdt(std::string_view liste, bool trait) {
  Edition& e = ExigeCadre("FermeEdt");
  if (e.interrompue) return;
  report::BracketNode root;
  const report::BracketResult r = report::ReadBracketTree(liste, &root);
  if (!r.ok) {
    throw ErreurService("FermeEdt", liste, "liste de fin incorrecte, " + r.reason);
  }
  Exige(root.children.size() <= e.ligne.size(), "FermeEdt", liste,
        "la ligne de fin a " + std::to_string(root.children.size()) +
            " éléments pour un cadre de " + std::to_string(e.ligne.size()) + " colonnes");
  FinLigne();  // a line filled but not printed yet is printed, not lost
  if (e.interrompue) return;
  for (size_t i = 0; i < root.children.size(); ++i) {
    const report::BracketNode& n = root.children[i];
    Exige(!n.is_list, "FermeEdt", liste,
          "élément " + std::to_string(i + 1) + " de la ligne de fin : un texte est attendu");
    if (n.text.empty()) continue;
    EcrCol(e.cadre->columns[i].key, n.text, "@", -1, -1, 0);
  }
  FinLigne();
  e.Ajoute(Evenement::Genre::kFerme).trait = trait;
  e.cadre.reset();
  e.ligne.clear();
}

void SrvEditionImpl::Termine(int16_t valeur) {
  ecrits_.clear();
  nom_suivant_.clear();  // given for a listing that was never opened
  if (!edition_) return;
  std::unique_ptr<Edition> e = std::move(edition_);
  if (valeur != 0) return;  // abandoned: nothing is written
  // A cancellation seen by the caller before any line was printed still marks the document.
  Interrompue(*e);
  // A frame never closed by FermeEdt: the caller stopped half-way (an error); nothing of it is
  // written, whatever the value.
  if (e->cadre && !e->interrompue) return;
  Ecrit(*e);
}

report::Document SrvEditionImpl::MetEnPage(const Edition& e, SuiviProgression& suivi) const {
  report::DocumentInfo info = e.info;
  info.landscape =
      e.orientation == 'H' || (e.orientation == 0 && e.largeur_cadres > info.BodyWidth() + 1e-6);
  report::Paginator pages(info, e.lignes_page);
  const PhaseSuivie phase(suivi, "Mise en page", static_cast<int64_t>(e.evenements.size()));
  int64_t faits = 0;
  for (const Evenement& ev : e.evenements) {
    Rejoue(ev, pages);
    if (++faits % kEvenementsParAvance == 0) suivi.Avance(faits);
  }
  suivi.Avance(faits);
  if (e.interrompue) pages.Text(LigneInterruption());
  return pages.Finish();
}

void SrvEditionImpl::Ecrit(const Edition& e) {
  const std::unique_ptr<SuiviProgression> suivi =
      config_.suivi ? config_.suivi() : std::make_unique<SuiviMuet>();
  const report::Document document = MetEnPage(e, *suivi);
  if (e.ecran) {
    config_.visionne(e.info.title, report::RenderText(document));
    return;
  }
  if (e.flux) {
    config_.flux(report::RenderText(document));
    ecrits_.push_back(std::string(kFluxTexte));
    return;
  }
  const std::unique_ptr<report::Renderer> texte = report::MakeTextRenderer();
  const std::vector<std::string> chemins = report::NommeSorties(
      e.sorties, config_.dossier, e.nom.empty() ? e.info.title : e.nom, e.heure);
  for (const std::string& chemin : chemins) {
    const bool pdf = report::EstPdf(chemin);
    const PhaseSuivie phase(*suivi, "Écriture " + chemin.substr(chemin.find_last_of("/\\") + 1),
                            static_cast<int64_t>(document.pages.size()));
    report::EcritAtomique(pdf ? *config_.pdf : *texte, document, chemin, *suivi);
    ecrits_.push_back(chemin);
  }
}

void SrvEditionImpl::Signet(std::string_view titre) {
  Edition& e = ExigeOuverte("Signet");
  ExigeTexte("Signet", e.info.title, "signet", titre);
  if (e.interrompue) return;
  e.Ajoute(Evenement::Genre::kSignet).texte.text = std::string(titre);
}

void SrvEditionImpl::NomSuivant(std::string_view nom) {
  ExigeTexte("NomSuivant", nom, "nom", nom);
  nom_suivant_ = std::string(nom);
}

void SrvEditionImpl::SortieSuivante(std::string_view sortie) {
  std::string s = text::UpperAscii(sortie);
  if (s == "ECRAN") {
    Exige(static_cast<bool>(config_.visionne), "SortieSuivante", sortie,
          "aucun écran pour y montrer une édition");
  } else {
    try {
      report::ChoisitSorties(s, config_.sortie, "", config_.pdf != nullptr, "");
    } catch (const ErreurService& e) {
      throw ErreurService("SortieSuivante", sortie, e.Message());
    }
  }
  sortie_suivante_ = std::move(s);
}

}  // namespace vesk
