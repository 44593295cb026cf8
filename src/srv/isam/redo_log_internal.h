// What the redo log's two halves share: the framing of a record, the header's constants, the
// checks on a path a redo log names, and the recovery of a rollback log left by an older
// version of the engine (versions 1 and 2, redo_log_legacy.cpp). Pure functions; any thread.
#ifndef VESK_SRV_ISAM_REDO_LOG_INTERNAL_H_
#define VESK_SRV_ISAM_REDO_LOG_INTERNAL_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "srv/isam/env.h"
#include "srv/isam/status.h"

namespace vesk::isam::redo_log {

inline constexpr char kMagic[8] = {'V', 'E', 'S', 'K', 'J', 'N', 'L', '\x1A'};
inline constexpr size_t kHeaderSize = 64;
// The version of the redo log, the one written.
inline constexpr uint32_t kRedoVersion = 3;
inline constexpr size_t kHeaderHashAt = 56;
// Each record: type, 3 zero bytes, payload length (u32), payload, checksum (u64).
inline constexpr size_t kRecordOverhead = 16;
// The records of a redo log (version 3): a file, a block's new bytes, a file's new size,
// the commit of a transaction.
inline constexpr char kRedoFile = 'F', kRedoPage = 'P', kRedoSize = 'S', kRedoCommit = 'C';

// The 64-byte header of a redo log; ReadHeader is false when it does not check.
std::string Header(uint32_t version, uint64_t nonce);
bool ReadHeader(std::string_view h, uint32_t* version, uint64_t* nonce);

// Appends one record to out; its checksum covers type, length and payload, seeded with seed.
void AppendRecord(std::string& out, char type, std::string_view head, std::span<const char> tail,
                  uint64_t seed);

inline Status Io(const platform::IoStatus& io) { return Status::FromIo(io); }

// A fresh random number for a redo log's nonce.
uint64_t NewNonce();

// Refuses a recorded path one of whose parts, from the folder down, is a symbolic link: writing
// through it could reach a file outside the data folder.
Status SansLien(Env* env, const std::string& dossier, const std::string& relatif);

// Recovers the rollback log bytes (versions 1 and 2) found at path: rolled back when the
// files do not hold its transaction's new bytes everywhere, otherwise left alone. The caller
// then empties the redo log.
Status RecoverRollback(Env* env, const std::string& dossier, const std::string& path,
                       std::string_view bytes, bool* rolled_back);

}  // namespace vesk::isam::redo_log

#endif  // VESK_SRV_ISAM_JOURNAL_INTERNAL_H_
