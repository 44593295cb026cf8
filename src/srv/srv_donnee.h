// SrvDonnee: data files of fixed-length records, and text files read line by line, all in the
// data folder. One object per thread; handles are valid only in the object that gave them.
// Every operation throws ErreurService when it cannot do what it is asked.
#ifndef VESK_SRV_SRV_DONNEE_H_
#define VESK_SRV_SRV_DONNEE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "srv/migration.h"
#include "srv/proprietaire.h"
#include "srv/reconstruction.h"
#include "srv/suivi_progression.h"

namespace vesk {

// The record lengths a data file may have.
inline constexpr int16_t kLongueurEnrMin = 5;
inline constexpr int16_t kLongueurEnrMax = 32767;

class SrvDonnee {
 public:
  virtual ~SrvDonnee() = default;

  // Bracketed list of the open objects of a kind: "B" the open B-trees, "D" the open data files;
  // each element is [name,handle]. nombre receives the count of elements.
  virtual void ListeOuverts(std::string_view nature, std::string& liste, int32_t& nombre) = 0;
  // Reads record no_enr into the current fields through the owner's "Lire" + name method.
  virtual void LireEnr(int16_t fichier, int32_t no_enr) = 0;
  // Opens the data file nom (letters and digits only) of records of longueur_enr characters and
  // gives its handle. dependance_entreprise: the file lives in the current company's sub-folder.
  // proprietaire: the owner called back to read and write the current fields (may be null for a
  // file used only through LireFichier/EcrireFichier); it must outlive the file. libelle: a
  // description kept in the file's header when it is created. methode: the name the owner's methods
  // end with, when not the file's own name. mode: "" read and write, "L" read only. creation:
  // create the file when it is absent (otherwise an absent file is an error).
  virtual void Donnee(bool dependance_entreprise, std::string_view nom, int16_t longueur_enr,
                      int16_t& fichier, Proprietaire* proprietaire, std::string_view libelle,
                      std::string_view methode, std::string_view mode, bool creation) = 0;
  // Writes texte as record no_enr (from 1), completed with spaces to the record length; a text
  // longer than the record is an error. Writing one past the last record appends it.
  virtual void EcrireFichier(int16_t fichier, int32_t no_enr, std::string_view texte) = 0;
  // Reads the text of record no_enr, of exactly the record length.
  virtual void LireFichier(int16_t fichier, int32_t no_enr, std::string& texte) = 0;
  // Calls visite with each live record of the data file, in record order: its number and its
  // text (of exactly the record length), until visite gives false. The whole walk reads one
  // committed state of the folder, under its shared lock (writers wait until it ends): visite
  // must not change the folder. Nothing of the owner is called.
  virtual void ParcourtEnregistrements(
      int16_t fichier,
      const std::function<bool(int32_t no_enr, std::string_view texte)>& visite) = 0;
  // Number of the record found by the last B-tree search or walk on this file (0: none).
  virtual void NoEnrCourant(int16_t fichier, int32_t& no_enr) = 0;
  // Opens the text file nom ("TVA.DOM": letters and digits, a dot, an extension) for reading.
  virtual void OuvLect(std::string_view nom, int16_t& handle) = 0;
  // True once every line of the text file has been read.
  virtual void FinFich(int16_t handle, bool& fin) = 0;
  // Reads the next line (Windows-1252 on disk, CR LF or LF, without its end of line).
  virtual void LireLigne(int16_t handle, std::string& ligne) = 0;
  // Whether the file nom (a name with its extension) exists in the data folder.
  virtual void Existe(std::string_view nom, bool& existe) = 0;
  // Closes a text file opened by OuvLect; its handle becomes invalid.
  virtual void FermeLect(int16_t handle) = 0;

  // Writes the text file nom ("TVA.DOM") of the data folder's root whole: lignes in
  // Windows-1252, each ended by CR LF. The file is written aside, synced and renamed over the old
  // one, so that a crash leaves the old text or the new one, never a torn file. A line with a
  // character Windows-1252 cannot hold is refused before anything is written.
  virtual void EcritTexte(std::string_view nom, const std::vector<std::string>& lignes) = 0;
  // Removes the text file nom of the data folder's root; nothing to do when it is absent.
  virtual void SupprimeTexte(std::string_view nom) = 0;

  // Batches: the modifying operations made between DebutLot and FinLot, on every file of the
  // folder, are committed together at FinLot, all or nothing (also against a crash); the folder
  // stays locked for other processes until then. AnnuleLot undoes them instead and ends the
  // batch. Batches nest: only the outermost FinLot commits, and AnnuleLot ends them all. A
  // FinLot (or an operation) that fails past the commit point throws ErreurApresValidation:
  // the batch holds, and the next opening of the folder writes its files.
  virtual void DebutLot() = 0;
  virtual void FinLot() = 0;
  virtual void AnnuleLot() = 0;

  // Whether the data file nom (letters and digits, without extension) exists, at the root or,
  // company-dependent, in the current company's folder (false when no company is current).
  virtual void ExisteDonnee(bool dependance_entreprise, std::string_view nom, bool& existe) = 0;
  // The number of deleted records of the data file nom, as last committed.
  virtual void Supprimes(bool dependance_entreprise, std::string_view nom, int32_t& nombre) = 0;
  // Rebuilds as plan says (reconstruction.h): the chosen file compacted, the chaining pointers
  // that held its moved records renumbered, every B-tree of the files rewritten built again;
  // the new files are written aside and put in place together, under the folder's exclusive
  // lock, after every commit is on disk. A refusal for what the files hold is given in
  // bilan.refus, the files left as they were; any other failure throws ErreurService, bilan
  // filled (copie_echouee: the old files stay). Outside any batch.
  virtual void Reconstruit(const PlanReconstruction& plan, const SuiviReconstruction& suivi,
                           BilanReconstruction& bilan) = 0;
  // A layout migration (migration.h). With plan.essai, outside any batch: reads the files and
  // tells in bilan what the migration would convert and which values do not fit; nothing is
  // written. Otherwise it ends the outermost batch (the new dictionary, written in it): the
  // converted files and their trees are written aside and put in place together with the
  // batch's changes, all or nothing, the old files moved into a dated backup folder (a
  // schema on a database). A refusal for what the files hold is given in bilan.refus (the
  // batch undone, the files as they were); any other failure throws ErreurService, the batch
  // undone unless bilan.en_place (then only the cleaning failed, finished by the next user).
  // suivi shows how far it is.
  virtual void Migre(const PlanMigration& plan, SuiviProgression& suivi, BilanMigration& bilan) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_DONNEE_H_
