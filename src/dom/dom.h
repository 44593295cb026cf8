// Definition domains: the entry screen of the Dom records and their listing. Both work on the
// calling thread's module state (the dictionary must be open: AsS::OuvS) and return when the
// user leaves the screen or the listing is done.
#ifndef VESK_DOM_DOM_H_
#define VESK_DOM_DOM_H_

#include <cstdint>
#include <string>

#include "core/session.h"

namespace vesk::dom {

inline constexpr const char kTitreSaisie[] = "ENTREE DES DEFINITIONS DE DOMAINE - Ecran Initial";
inline constexpr const char kDescripteurSaisie[] =
    "[[CODOM,CODE DU DOMAINE DE DEFINITION,A,20],"
    "[NOMDOM,NOM DU DOMAINE,A,40],"
    "[FDD,NOM FICHIER DE DEFINITION (.DOM),A,8]]";
inline constexpr const char kAideSuppression[] = "Suppression : Confirmez par F6";

inline constexpr const char kTitreEdition[] = "EDITION DES DOMAINES DE DEFINITION";
inline constexpr const char kDescripteurEdition[] =
    "[PS,1,[[CODOM,CODE DOMAINE,A,40,G,[A,E]],"
    "[NOMDOM,NOM ET DEFINITION DU DOMAINE,A,80,G,[A]],"
    "[FDD,FICHIER,A,20,G,[A,E]]],[]]";

// The entry screen of the definition domains. code: the starting value of the code field, and
// on return the mode letter of the last lookup ("I" found, "B" new); touche: the key that ended
// the last entry. Returns when the user leaves from the code field (back key, start key or an
// empty code).
void EntDom(Session& s, std::string& code, int16_t& touche);

// The listing of every domain in code order, each followed by the lines of its definition file
// (FDD.DOM), or "Inconnu" when that file does not exist. Always ends with SrvEdition::Termine(0).
void EdtDom(Session& s);

}  // namespace vesk::dom

#endif  // VESK_DOM_DOM_H_
