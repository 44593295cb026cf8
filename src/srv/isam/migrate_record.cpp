#include "srv/isam/migrate_record.h"

#include <algorithm>
#include <cstring>

#include "srv/isam/data_file.h"
#include "srv/isam/names.h"
#include "srv/isam/record_text.h"

namespace vesk::isam {

namespace {

std::string Trimmed(std::string_view bytes) {
  std::string t;
  DecodeBytes(bytes, &t);
  const size_t end = t.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : t.substr(0, end + 1);
}

void Problem(const PlanMigration& plan, BilanMigration::Lieu& lieu, int64_t* problems, uint32_t no,
             const PieceWork& w, std::string raison) {
  ++*problems;
  ++lieu.problemes;
  if (lieu.premiers.size() < plan.problemes_listes) {
    lieu.premiers.push_back({static_cast<int32_t>(no), w.def->variable, std::move(raison)});
  }
}

}  // namespace

Status CheckMigratedFile(const FichierMigre& f, std::vector<PieceWork>* pieces) {
  VESK_RETURN_IF_ERROR(CheckName(f.nom, "fichier"));
  auto length_ok = [](int32_t l) {
    return l >= static_cast<int32_t>(kMinRecordLength) &&
           l <= static_cast<int32_t>(kMaxRecordLength);
  };
  if (!length_ok(f.longueur_ancienne) || (!f.supprime && !length_ok(f.longueur)) ||
      (!f.convertit && !f.supprime && f.longueur != f.longueur_ancienne)) {
    return Status::InvalidArgument("migration de " + f.nom + " : longueurs impossibles");
  }
  for (const std::string& t : f.arbres_anciens) VESK_RETURN_IF_ERROR(CheckName(t, "B-arbre"));
  for (const BArbreAReconstruire& t : f.arbres) {
    VESK_RETURN_IF_ERROR(CheckName(t.nom, "B-arbre"));
    if (t.longueur_cle < 1 || t.longueur_cle > 1024 || (t.nature != "P" && t.nature != "S")) {
      return Status::InvalidArgument("B-arbre " + t.nom +
                                     " : longueur de clé ou nature impossible");
    }
  }
  for (const PieceMigration& p : f.pieces) {
    PieceWork w{&p,
                static_cast<uint32_t>(p.position - 1),
                static_cast<uint32_t>(p.longueur),
                static_cast<uint32_t>(p.position_ancienne - 1),
                static_cast<uint32_t>(p.longueur_ancienne),
                ""};
    const bool source = p.source != PieceMigration::Source::kDonnee;
    if (p.position < 1 || p.longueur < 1 || p.position - 1 + p.longueur > f.longueur ||
        (source && (p.position_ancienne < 1 || p.longueur_ancienne < 1 ||
                    p.position_ancienne - 1 + p.longueur_ancienne > f.longueur_ancienne)) ||
        (p.source == PieceMigration::Source::kConversion && !p.conversion)) {
      return Status::InvalidArgument("migration de " + f.nom + " : pièce " + p.variable +
                                     " hors de l'enregistrement");
    }
    if (!source) VESK_RETURN_IF_ERROR(EncodeFixed(p.texte, w.length, p.variable, &w.bytes));
    pieces->push_back(std::move(w));
  }
  return Status::Ok();
}

// The same place, or the current company for a file that comes to depend on the company, or
// the root for one that no longer does (from a single company: two could not be merged under
// their record numbers).
std::string PlacesOfFile(const FichierMigre& f, const std::vector<std::string>& holders,
                         const std::string& current,
                         std::vector<std::pair<std::string, std::string>>* places) {
  if (holders.empty()) return "";
  if (f.dependance == f.dependance_ancienne || f.supprime) {
    for (const std::string& c : holders) places->emplace_back(c, c);
    return "";
  }
  if (f.dependance) {
    if (current.empty()) {
      return f.nom +
             " dépend désormais de l'entreprise : aucune entreprise courante pour "
             "recevoir ses enregistrements (--entreprise)";
    }
    places->emplace_back("", current);
    return "";
  }
  if (holders.size() > 1) {
    std::string list;
    for (const std::string& c : holders) list += (list.empty() ? "" : ", ") + c;
    return f.nom + " ne dépend plus de l'entreprise, mais les entreprises " + list +
           " en ont chacune un fichier : un seul peut aller à la racine";
  }
  places->emplace_back(holders.front(), "");
  return "";
}

void ConvertRecord(const PlanMigration& plan, const FichierMigre& f,
                   const std::vector<PieceWork>& pieces, uint32_t no, const char* old, char* out,
                   BilanMigration::Lieu& lieu, int64_t* problems) {
  if (!f.convertit) {
    std::memcpy(out, old, static_cast<size_t>(f.longueur));
    return;
  }
  std::memset(out, ' ', static_cast<size_t>(f.longueur));
  std::string text, fresh, raison, bytes;
  for (const PieceWork& w : pieces) {
    const std::string_view from(old + w.from, w.old_length);
    switch (w.def->source) {
      case PieceMigration::Source::kDonnee:
        std::memcpy(out + w.to, w.bytes.data(), w.length);
        break;
      case PieceMigration::Source::kCopie: {
        std::memcpy(out + w.to, from.data(), std::min(w.length, w.old_length));
        const std::string_view cut = from.substr(std::min(w.length, w.old_length));
        if (!plan.tronque && cut.find_first_not_of(' ') != std::string_view::npos) {
          Problem(plan, lieu, problems, no, w,
                  "« " + Trimmed(from) + " » : texte de " + std::to_string(w.old_length) +
                      " caractères dont la fin ne tient pas dans " + std::to_string(w.length));
        }
        break;
      }
      case PieceMigration::Source::kConversion:
        DecodeBytes(from, &text);
        fresh.clear();
        raison.clear();
        if (!w.def->conversion(text, fresh, raison)) {
          Problem(plan, lieu, problems, no, w, raison);
        } else if (Status s = EncodeFixed(fresh, w.length, w.def->variable, &bytes); !s.ok()) {
          Problem(plan, lieu, problems, no, w, s.message());
        } else {
          std::memcpy(out + w.to, bytes.data(), w.length);
        }
        break;
    }
  }
}

std::string ProblemsRefusal(int64_t problems, bool tronque) {
  if (!tronque) {
    return std::to_string(problems) +
           " valeur(s) ne tiennent pas dans la nouvelle disposition (--truncate coupe les "
           "textes et arrondit les décimales)";
  }
  return std::to_string(problems) +
         " valeur(s) ne tiennent pas dans la nouvelle disposition, même coupées ou arrondies";
}

std::string LengthRefusal(const std::string& where, uint32_t length, int32_t expected) {
  return where + " : enregistrements de " + std::to_string(length) +
         " caractères, le dictionnaire en dit " + std::to_string(expected);
}

std::string MoveRefusal(const std::string& where, const std::string& nom) {
  return where + " existe déjà : " + nom + " ne peut y être déplacé";
}

}  // namespace vesk::isam
