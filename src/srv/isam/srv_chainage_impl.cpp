#include "srv/isam/srv_chainage_impl.h"

#include <algorithm>

#include "srv/isam/names.h"
#include "srv/isam/record_text.h"
#include "srv/isam/service_util.h"

namespace vesk {

using isam::ChainageOuvert;
using isam::FichierOuvert;
using isam::Verifie;

namespace {

// The open data file named nom for a chaining, of record length longueur.
FichierOuvert& FichierChaine(isam::DossierDonnees& d, std::string_view nom, int16_t longueur,
                             std::string_view op) {
  Verifie(isam::CheckName(nom, "fichier"), op, nom);
  std::string upper = isam::UpperAscii(nom);
  int16_t h = d.ChercheFichier(upper);
  Exige(h != 0, op, upper + ".DAT", "fichier non ouvert : ouvrir le fichier (Donnee) d'abord");
  FichierOuvert& f = *d.Fichier(h);
  isam::ExigeLongueurChainage({f.objet, f.fichier->RecordLength()}, longueur, op);
  return f;
}

std::string Rec(uint32_t no, const FichierOuvert& f) {
  return "l'enregistrement " + std::to_string(no) + " de " + f.objet;
}

}  // namespace

SrvChainageImpl::SrvChainageImpl(std::shared_ptr<isam::DossierDonnees> dossier)
    : dossier_(std::move(dossier)) {}

void SrvChainageImpl::Chainage(std::string_view fichier_entete, int16_t longueur_entete,
                               int16_t pos_premiere, int16_t pos_derniere,
                               std::string_view fichier_ligne, int16_t longueur_ligne,
                               int16_t pos_precedente, int16_t pos_suivante) {
  constexpr std::string_view kOp = "Chainage";
  FichierOuvert& e = FichierChaine(*dossier_, fichier_entete, longueur_entete, kOp);
  FichierOuvert& l = FichierChaine(*dossier_, fichier_ligne, longueur_ligne, kOp);
  const isam::PointeursChainage p = isam::PointeursDeChainage(
      {e.objet, e.fichier->RecordLength()}, pos_premiere, pos_derniere,
      {l.objet, l.fichier->RecordLength()}, pos_precedente, pos_suivante, kOp);
  ChainageOuvert c;
  c.entete = dossier_->ChercheFichier(e.nom);
  c.ligne = dossier_->ChercheFichier(l.nom);
  c.premiere = p.premiere;
  c.derniere = p.derniere;
  c.precedente = p.precedente;
  c.suivante = p.suivante;
  dossier_->DeclareChainage(c);
}

SrvChainageImpl::Contexte SrvChainageImpl::Prepare(int16_t fichier_ligne, std::string_view op) {
  FichierOuvert& l = isam::FichierOuErreur(*dossier_, fichier_ligne, op);
  ChainageOuvert* c = dossier_->ChainageDeLigne(fichier_ligne);
  Exige(c != nullptr, op, l.objet, "aucun chaînage déclaré pour ce fichier de lignes");
  FichierOuvert& e = *dossier_->Fichier(c->entete);
  Exige(e.courant != 0, op, e.objet,
        "aucun enregistrement courant dans le fichier d'en-tête (Recherche d'abord)");
  isam::ExigeVivant(e, e.courant, op);
  return Contexte{c, &e, &l, static_cast<uint32_t>(e.courant)};
}

SrvChainageImpl::Contexte SrvChainageImpl::PrepareEcriture(int16_t fichier_ligne,
                                                           std::string_view op) {
  Contexte x = Prepare(fichier_ligne, op);
  isam::ExigeEcriture(*x.entete, op);
  isam::ExigeEcriture(*x.ligne, op);
  return x;
}

uint32_t SrvChainageImpl::Pointeur(FichierOuvert& f, uint32_t no, uint32_t at,
                                   std::string_view op) {
  char p[3];
  Verifie(f.fichier->ReadPart(no, at, p), op, f.objet);
  return isam::DecodePointer(p);
}

void SrvChainageImpl::EcritPointeur(FichierOuvert& f, uint32_t no, uint32_t at, uint32_t valeur,
                                    std::string_view op) {
  char p[3];
  isam::EncodePointer(valeur, p);
  Verifie(f.fichier->WritePart(no, at, p), op, f.objet);
}

void SrvChainageImpl::ExigeCible(FichierOuvert& ligne, uint32_t valeur, std::string_view de,
                                 std::string_view op) {
  uint32_t last = ligne.fichier->LastRecord();
  if (valeur > last) {
    throw ErreurService(op, ligne.objet,
                        "pointeur de chaînage endommagé : " + std::string(de) +
                            " renvoie à l'enregistrement " + std::to_string(valeur) +
                            ", au-delà de la fin (" + std::to_string(last) + " enregistrements)");
  }
  bool deleted = false;
  Verifie(ligne.fichier->IsDeleted(valeur, &deleted), op, ligne.objet);
  Exige(!deleted, op, ligne.objet,
        "pointeur de chaînage endommagé : " + std::string(de) + " renvoie à " + Rec(valeur, ligne) +
            ", qui est supprimé");
}

std::vector<uint32_t> SrvChainageImpl::Lignes(const Contexte& x, std::string_view op) {
  FichierOuvert& l = *x.ligne;
  std::string head = Rec(x.courant, *x.entete);
  uint32_t first = Pointeur(*x.entete, x.courant, x.c->premiere, op);
  uint32_t last = Pointeur(*x.entete, x.courant, x.c->derniere, op);
  std::vector<uint32_t> lines;
  uint32_t prev = 0;
  for (uint32_t no = first; no != 0;) {
    ExigeCible(l, no, prev == 0 ? head : Rec(prev, l), op);
    Exige(lines.size() < l.fichier->LastRecord(), op, l.objet, "chaînage en boucle sous " + head);
    Exige(Pointeur(l, no, x.c->precedente, op) == prev, op, l.objet,
          "pointeurs de chaînage en désaccord : le précédent de " + Rec(no, l) + " n'est pas " +
              std::to_string(prev));
    lines.push_back(no);
    prev = no;
    no = Pointeur(l, no, x.c->suivante, op);
  }
  Exige(last == prev, op, x.entete->objet,
        "pointeur de dernière ligne de " + head + " (" + std::to_string(last) +
            ") en désaccord avec la chaîne (" + std::to_string(prev) + ")");
  return lines;
}

void SrvChainageImpl::PremLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "PremLigne";
  isam::Lecture lecture(*dossier_, kOp);
  Contexte x = Prepare(fichier_ligne, kOp);
  uint32_t first = Pointeur(*x.entete, x.courant, x.c->premiere, kOp);
  x.c->pas = 0;
  if (first == 0) {
    no_enr = 0;
    return;
  }
  ExigeCible(*x.ligne, first, Rec(x.courant, *x.entete), kOp);
  isam::AppelleProprietaire(*x.ligne, true, static_cast<int32_t>(first), kOp);
  x.ligne->courant = static_cast<int32_t>(first);
  x.c->pas = 1;
  no_enr = static_cast<int32_t>(first);
}

void SrvChainageImpl::SuivLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "SuivLigne";
  isam::Lecture lecture(*dossier_, kOp);
  FichierOuvert& l = isam::FichierOuErreur(*dossier_, fichier_ligne, kOp);
  ChainageOuvert* c = dossier_->ChainageDeLigne(fichier_ligne);
  Exige(c != nullptr, kOp, l.objet, "aucun chaînage déclaré pour ce fichier de lignes");
  isam::ExigeVivant(l, no_enr, kOp);
  uint32_t no = static_cast<uint32_t>(no_enr);
  uint32_t next = Pointeur(l, no, c->suivante, kOp);
  if (next == 0) {
    no_enr = 0;
    return;
  }
  ExigeCible(l, next, Rec(no, l), kOp);
  Exige(Pointeur(l, next, c->precedente, kOp) == no, kOp, l.objet,
        "pointeurs de chaînage en désaccord : le précédent de " + Rec(next, l) + " n'est pas " +
            std::to_string(no));
  Exige(++c->pas <= l.fichier->LastRecord(), kOp, l.objet, "chaînage en boucle");
  isam::AppelleProprietaire(l, true, static_cast<int32_t>(next), kOp);
  l.courant = static_cast<int32_t>(next);
  no_enr = static_cast<int32_t>(next);
}

void SrvChainageImpl::AjouteLigne(int16_t fichier_ligne, int32_t& no_enr) {
  constexpr std::string_view kOp = "AjouteLigne";
  isam::Operation op(*dossier_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  FichierOuvert& e = *x.entete;
  FichierOuvert& l = *x.ligne;
  Exige(l.proprietaire != nullptr, kOp, l.objet,
        "fichier ouvert sans propriétaire : pas de méthode Ecrire" + l.methode);
  std::vector<uint32_t> lines = Lignes(x, kOp);
  uint32_t last = lines.empty() ? 0 : lines.back();
  uint32_t no = l.fichier->LastRecord() + 1;
  Exige(no <= isam::kMaxPointer && no != 0x202020, kOp, l.objet,
        "l'enregistrement " + std::to_string(no) +
            " ne peut pas être désigné par un pointeur de 3 caractères");
  isam::AppelleProprietaire(l, false, static_cast<int32_t>(no), kOp);
  Exige(l.fichier->LastRecord() >= no, kOp, l.objet,
        "la méthode Ecrire" + l.methode + " n'a pas écrit l'enregistrement " + std::to_string(no));
  EcritPointeur(l, no, x.c->precedente, last, kOp);
  EcritPointeur(l, no, x.c->suivante, 0, kOp);
  if (last != 0) {
    EcritPointeur(l, last, x.c->suivante, no, kOp);
  } else {
    EcritPointeur(e, x.courant, x.c->premiere, no, kOp);
  }
  EcritPointeur(e, x.courant, x.c->derniere, no, kOp);
  l.courant = static_cast<int32_t>(no);
  no_enr = static_cast<int32_t>(no);
  op.Fin(l.objet);
}

void SrvChainageImpl::SupprimeLigne(int16_t fichier_ligne, int32_t no_enr) {
  constexpr std::string_view kOp = "SupprimeLigne";
  isam::Operation op(*dossier_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  FichierOuvert& e = *x.entete;
  FichierOuvert& l = *x.ligne;
  std::vector<uint32_t> lines = Lignes(x, kOp);
  auto it = std::find(lines.begin(), lines.end(), static_cast<uint32_t>(no_enr));
  Exige(no_enr > 0 && it != lines.end(), kOp, l.objet,
        "la ligne " + std::to_string(no_enr) + " n'est pas chaînée sous " + Rec(x.courant, e));
  uint32_t prev = it == lines.begin() ? 0 : *(it - 1);
  uint32_t next = it + 1 == lines.end() ? 0 : *(it + 1);
  if (prev != 0) {
    EcritPointeur(l, prev, x.c->suivante, next, kOp);
  } else {
    EcritPointeur(e, x.courant, x.c->premiere, next, kOp);
  }
  if (next != 0) {
    EcritPointeur(l, next, x.c->precedente, prev, kOp);
  } else {
    EcritPointeur(e, x.courant, x.c->derniere, prev, kOp);
  }
  Verifie(l.fichier->MarkDeleted(static_cast<uint32_t>(no_enr)), kOp, l.objet);
  if (l.courant == no_enr) l.courant = 0;
  op.Fin(l.objet);
}

void SrvChainageImpl::SupprimeLignes(int16_t fichier_ligne) {
  constexpr std::string_view kOp = "SupprimeLignes";
  isam::Operation op(*dossier_, kOp);
  Contexte x = PrepareEcriture(fichier_ligne, kOp);
  std::vector<uint32_t> lines = Lignes(x, kOp);
  for (uint32_t no : lines) {
    Verifie(x.ligne->fichier->MarkDeleted(no), kOp, x.ligne->objet);
    if (x.ligne->courant == static_cast<int32_t>(no)) x.ligne->courant = 0;
  }
  EcritPointeur(*x.entete, x.courant, x.c->premiere, 0, kOp);
  EcritPointeur(*x.entete, x.courant, x.c->derniere, 0, kOp);
  op.Fin(x.ligne->objet);
}

}  // namespace vesk
