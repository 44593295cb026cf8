// The pieces of text the B-tree information (InfoBArbre) shows the same way on every store: a
// key as a listing carries it, and a count with its word. Pure functions; any thread.
#ifndef VESK_SRV_ISAM_INFOS_LISIBLES_H_
#define VESK_SRV_ISAM_INFOS_LISIBLES_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

// A key as a listing can carry it: its padding taken off, its printable Windows-1252
// characters as themselves (in UTF-8) and every other byte written as \xHH (binary parts).
std::string CleLisible(std::string_view cle);
// "1 clé", "0 clé", "2 clés": n and its word, plural from 2 on.
std::string Compte(uint64_t n, std::string_view un, std::string_view plusieurs);

}  // namespace vesk

#endif  // VESK_SRV_ISAM_INFOS_LISIBLES_H_
