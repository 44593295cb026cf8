#include "srv/log/ligne_log.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include "srv/erreur_service.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

// How long an append waits for another process holding the file.
constexpr int kAttenteVerrouMs = 5000;

void AjouteEchappe(std::string& out, std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    auto c = static_cast<uint8_t>(s[i]);
    size_t suivant = i;
    char32_t cp = 0;
    if (!text::DecodeUtf8(s, &suivant, &cp) || (c < 0x20 && c != '\t') || c == 0x7F) {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02X", c);
      out += code;
      ++i;
    } else {
      out.append(s.substr(i, suivant - i));
      i = suivant;
    }
  }
}

void Verifie(const platform::IoStatus& status, std::string_view operation,
             const std::string& chemin) {
  if (!status.ok()) throw ErreurService(operation, chemin, status.message);
}

}  // namespace

std::string Horodatage(const platform::DateHeure& t) {
  char texte[32];
  std::snprintf(texte, sizeof texte, "%04d-%02d-%02d %02d:%02d:%02d", t.annee, t.mois, t.jour,
                t.heure, t.minute, t.seconde);
  return texte;
}

std::string LigneLog(std::string_view horodatage, std::string_view procedure,
                     std::string_view texte) {
  std::string ligne(horodatage);
  ligne += ' ';
  AjouteEchappe(ligne, procedure);
  ligne += " : ";
  AjouteEchappe(ligne, texte);
  ligne += '\n';
  return ligne;
}

void AjouteLigne(const std::string& chemin, std::string_view ligne, bool synchro,
                 std::string_view operation) {
  std::unique_ptr<platform::File> fichier;
  // A log of the data folder is one of its files: never written through a link.
  Verifie(
      platform::OpenFile(chemin, platform::OpenMode::kCreate, &fichier, platform::Links::kRefuse),
      operation, chemin);
  Verifie(fichier->Lock(platform::LockKind::kExclusive, kAttenteVerrouMs), operation, chemin);
  uint64_t fin = 0;
  platform::IoStatus status = fichier->Size(&fin);
  if (!status.ok()) {
    (void)fichier->Unlock();
    Verifie(status, operation, chemin);
  }
  status = fichier->WriteAt(fin, std::span<const char>(ligne));
  if (status.ok() && synchro) status = fichier->Sync();
  if (!status.ok()) {
    // Give back the bytes of a torn write so that the file keeps whole lines only; the error
    // reported is the write's own.
    (void)fichier->Truncate(fin);
  }
  (void)fichier->Unlock();  // closing the file releases the lock anyway
  Verifie(status, operation, chemin);
}

}  // namespace vesk
