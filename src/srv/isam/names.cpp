#include "srv/isam/names.h"

#include "srv/text/utf8.h"

namespace vesk::isam {

namespace {

bool IsAsciiAlnum(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

// The name quoted for a message, cut when it is very long.
std::string Quote(std::string_view nom) {
  std::string q = "\"";
  q += nom.substr(0, 80);
  if (nom.size() > 80) q += "...";
  q += "\"";
  return q;
}

}  // namespace

std::string UpperAscii(std::string_view nom) { return text::UpperAscii(nom); }

Status CheckName(std::string_view nom, std::string_view what) {
  std::string prefix = "nom de " + std::string(what) + " ";
  if (nom.empty()) return Status::InvalidArgument(prefix + "vide");
  if (nom.size() > kMaxNameLength) {
    return Status::InvalidArgument(prefix + Quote(nom) + " trop long (" +
                                   std::to_string(kMaxNameLength) + " caractères au plus)");
  }
  for (char c : nom) {
    if (!IsAsciiAlnum(c)) {
      return Status::InvalidArgument(prefix + Quote(nom) +
                                     " refusé : seuls les lettres et les chiffres sont admis");
    }
  }
  return Status::Ok();
}

Status CheckFileName(std::string_view nom, std::string* upper) {
  size_t dot = nom.find('.');
  if (dot == std::string_view::npos) {
    return Status::InvalidArgument("nom de fichier " + Quote(nom) +
                                   " refusé : il faut un nom, un point et une extension");
  }
  VESK_RETURN_IF_ERROR(CheckName(nom.substr(0, dot), "fichier"));
  std::string_view ext = nom.substr(dot + 1);
  bool ext_ok = !ext.empty() && ext.size() <= 3;
  for (char c : ext) ext_ok = ext_ok && IsAsciiAlnum(c);
  if (!ext_ok) {
    return Status::InvalidArgument("extension du fichier " + Quote(nom) +
                                   " refusée : 1 à 3 lettres ou chiffres après le point");
  }
  *upper = UpperAscii(nom);
  return Status::Ok();
}

}  // namespace vesk::isam
