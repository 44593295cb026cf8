#include "srv/text/srv_texte_impl.h"

#include <charconv>
#include <cmath>
#include <string>
#include <utility>

#include "srv/erreur_service.h"
#include "srv/text/cp1252.h"
#include "srv/text/utf8.h"

namespace vesk {

namespace {

// Throws unless texte is valid UTF-8; argument names the argument in the message.
void ExigeUtf8(std::string_view operation, std::string_view argument, std::string_view texte) {
  const text::TextResult r = text::CheckUtf8(texte);
  if (!r.ok) throw ErreurService(operation, "", std::string(argument) + " : " + r.message);
}

constexpr int kTailleMax = 32767;

}  // namespace

void SrvTexteImpl::EntierTexte(int32_t valeur, int16_t largeur, std::string& texte) {
  Exige(largeur > 0, "EntierTexte", "",
        "largeur " + std::to_string(largeur) + " invalide : elle doit être positive");
  char chiffres[16];
  const auto [fin, ec] = std::to_chars(chiffres, chiffres + sizeof chiffres, valeur);
  const auto longueur = static_cast<size_t>(fin - chiffres);
  Exige(longueur <= static_cast<size_t>(largeur), "EntierTexte", "",
        "l'entier " + std::string(chiffres, longueur) + " ne tient pas en " +
            std::to_string(largeur) + " caractère" + (largeur > 1 ? "s" : ""));
  std::string resultat(static_cast<size_t>(largeur) - longueur, ' ');
  resultat.append(chiffres, longueur);
  texte = std::move(resultat);
}

void SrvTexteImpl::NumTexte(double nombre, std::string& texte) {
  Exige(std::isfinite(nombre), "NumTexte", "",
        std::isnan(nombre) ? "le nombre n'est pas un nombre (NaN)" : "le nombre est infini");
  if (nombre == 0) nombre = 0;  // -0 is written "0"
  // Fixed notation, shortest digits that read back exactly: 1e20 gives 21 digits, the
  // smallest subnormal about 330 characters.
  char chiffres[400];
  const auto [fin, ec] =
      std::to_chars(chiffres, chiffres + sizeof chiffres, nombre, std::chars_format::fixed);
  Exige(ec == std::errc(), "NumTexte", "", "le nombre ne peut être écrit en texte");
  texte.assign(chiffres, fin);
}

void SrvTexteImpl::Justifie(std::string_view texte, int16_t largeur, bool centre,
                            std::string& resultat) {
  Exige(largeur >= 0, "Justifie", "",
        "largeur " + std::to_string(largeur) + " invalide : elle ne peut être négative");
  ExigeUtf8("Justifie", "texte", texte);
  const auto cible = static_cast<size_t>(largeur);
  const std::string_view coupe = text::Left(texte, cible);
  const size_t manque = cible - text::CountChars(coupe);
  const size_t gauche = centre ? manque / 2 : 0;
  std::string sortie;
  sortie.reserve(coupe.size() + manque);
  sortie.append(gauche, ' ');
  sortie.append(coupe);
  sortie.append(manque - gauche, ' ');
  resultat = std::move(sortie);
}

void SrvTexteImpl::SupBlancs(std::string_view texte, std::string& resultat) {
  ExigeUtf8("SupBlancs", "texte", texte);
  resultat = std::string(text::Trim(texte));
}

void SrvTexteImpl::Remplace(std::string_view texte, std::string_view cherche,
                            std::string_view remplace, std::string& resultat) {
  Exige(!cherche.empty(), "Remplace", "", "le texte cherché est vide");
  ExigeUtf8("Remplace", "texte", texte);
  ExigeUtf8("Remplace", "texte cherché", cherche);
  ExigeUtf8("Remplace", "texte de remplacement", remplace);
  std::string sortie;
  sortie.reserve(texte.size());
  size_t depuis = 0;
  for (size_t trouve; (trouve = texte.find(cherche, depuis)) != std::string_view::npos;) {
    sortie.append(texte, depuis, trouve - depuis);
    sortie.append(remplace);
    depuis = trouve + cherche.size();
  }
  sortie.append(texte, depuis);
  resultat = std::move(sortie);
}

void SrvTexteImpl::DecodeTaille(std::string_view taille, int16_t& valeur) {
  ExigeUtf8("DecodeTaille", "taille", taille);
  const size_t n = text::CountChars(taille);
  Exige(n == 2, "DecodeTaille", "",
        "une taille codée fait 2 caractères, celle-ci en a " + std::to_string(n));
  std::string octets;
  const text::TextResult r = text::EncodeCp1252(taille, &octets);
  if (!r.ok) throw ErreurService("DecodeTaille", "", "taille codée illisible : " + r.message);
  const int v = static_cast<unsigned char>(octets[0]) * 256 + static_cast<unsigned char>(octets[1]);
  Exige(v <= kTailleMax, "DecodeTaille", "",
        "la taille codée vaut " + std::to_string(v) + ", au-delà du maximum 32767");
  valeur = static_cast<int16_t>(v);
}

void SrvTexteImpl::FinitPar(std::string_view texte, std::string_view suffixe, bool& resultat) {
  ExigeUtf8("FinitPar", "texte", texte);
  ExigeUtf8("FinitPar", "suffixe", suffixe);
  resultat = texte.ends_with(suffixe);
}

void SrvTexteImpl::CommencePar(std::string_view prefixe, std::string_view texte, bool& resultat) {
  ExigeUtf8("CommencePar", "préfixe", prefixe);
  ExigeUtf8("CommencePar", "texte", texte);
  resultat = texte.starts_with(prefixe);
}

void SrvTexteImpl::EncodeTaille(int16_t valeur, std::string& taille) {
  Exige(valeur >= 0, "EncodeTaille", "",
        "la taille " + std::to_string(valeur) + " est négative : elle doit être entre 0 et 32767");
  const auto v = static_cast<unsigned>(valeur);
  std::string sortie;
  text::AppendUtf8(text::Cp1252ToCodePoint(static_cast<unsigned char>(v >> 8)), &sortie);
  text::AppendUtf8(text::Cp1252ToCodePoint(static_cast<unsigned char>(v & 0xFF)), &sortie);
  taille = std::move(sortie);
}

}  // namespace vesk
