#include "srv/log/ligne_log.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include "srv/erreur_service.h"

namespace vesk {

namespace {

// How long an append waits for another process holding the file.
constexpr int kAttenteVerrouMs = 5000;

// Length of the UTF-8 sequence at s[i], or 0 when the bytes there are not one.
size_t SequenceUtf8(std::string_view s, size_t i) {
  auto b = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
  uint8_t c = b(i);
  if (c < 0x80) return 1;
  size_t n = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
  if (n == 0 || c > 0xF4 || i + n > s.size()) return 0;
  for (size_t k = 1; k < n; ++k) {
    if ((b(i + k) & 0xC0) != 0x80) return 0;
  }
  uint8_t c1 = b(i + 1);
  if ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 > 0x9F)) return 0;
  if ((c == 0xF0 && c1 < 0x90) || (c == 0xF4 && c1 > 0x8F)) return 0;
  return n;
}

void AjouteEchappe(std::string& out, std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    auto c = static_cast<uint8_t>(s[i]);
    size_t n = SequenceUtf8(s, i);
    if (n == 0 || (c < 0x20 && c != '\t') || c == 0x7F) {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02X", c);
      out += code;
      ++i;
    } else {
      out.append(s.substr(i, n));
      i += n;
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
  Verifie(platform::OpenFile(chemin, platform::OpenMode::kCreate, &fichier), operation, chemin);
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
