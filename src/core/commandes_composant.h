// The commands of the component (methods 13 to 21 of AsS) are carried out by the folders above
// core (dom, fic, btree, gencode), which register them here; AsS runs what is registered. The
// dependency thus points from those folders down to core. Each folder registers its commands
// from a file X_enregistrement.cpp that every program linking it compiles (see vesk_library), so
// hosts register nothing. The table is shared by all threads and guarded.
#ifndef VESK_CORE_COMMANDES_COMPOSANT_H_
#define VESK_CORE_COMMANDES_COMPOSANT_H_

#include <string_view>

namespace vesk {

class Session;

enum class CommandeAsS {
  kEntDom,
  kEdtDom,
  kEntFic,
  kEdtLFic,
  kFicApp,
  kLectBA,
  kReConsBA,
  kGenPS,
  kGenPE
};

// A command runs on the session its caller looked up (one lookup per call of AsS).
using ExecutionCommande = void (*)(Session& s);

// Registers (or replaces) the code that carries out commande.
void EnregistreCommande(CommandeAsS commande, ExecutionCommande execution);

// Runs the code registered for commande; nom names it in the error thrown when none is
// registered ("cette commande n'est pas encore disponible").
void ExecuteCommande(Session& s, CommandeAsS commande, std::string_view nom);

// The tools that the file specification entry reaches, carried out by other folders of the
// component and registered like the commands: the generation of the declarations of the file
// on screen (key F4), its specification listing (key F5), and the domain entry started on a
// field's new domain code (the name given is the code).
enum class OutilFichier { kDeclarations, kEdition, kDomaine };
using ExecutionOutil = void (*)(Session& s, std::string_view nom);

void EnregistreOutil(OutilFichier outil, ExecutionOutil execution);
// Runs the tool registered for outil on the file nom; quoi names it in the error thrown when
// none is registered.
void ExecuteOutil(Session& s, OutilFichier outil, std::string_view nom, std::string_view quoi);

}  // namespace vesk

#endif  // VESK_CORE_COMMANDES_COMPOSANT_H_
