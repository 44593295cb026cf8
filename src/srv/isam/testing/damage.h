// Damage made on purpose, for the tests and fuzzers of damaged folders: bytes of a B-tree node,
// of a B-tree header or of a data-file header changed and their checksums made valid again, so
// that the damage gets past the checksums to the code that walks, looks up and rebuilds (a
// checksum only catches what a disk garbles; a hostile or buggy writer seals what it writes).
// Node numbers and offsets are those of docs/btree-format.md. Header-only; any thread.
#ifndef VESK_SRV_ISAM_TESTING_DAMAGE_H_
#define VESK_SRV_ISAM_TESTING_DAMAGE_H_

#include <cstdint>
#include <string>

#include "srv/isam/btree_impl.h"
#include "srv/isam/coding.h"
#include "srv/isam/data_file.h"

namespace vesk::isam::testing {

// The node length a B-tree file's header gives (bytes 12-15), 0 when too short to say.
inline uint32_t TreeNodeLength(const std::string& tree) {
  return tree.size() < btree::hdr::kSize ? 0 : Load32(tree.data() + btree::hdr::kNodeLenAt);
}

// Recomputes the checksum of node `node` (the header's when 0, whatever node length it claims)
// of the B-tree file's bytes; nothing when the node lies past the end, or when the header claims
// a node length shorter than a node's own header (a damaged header: there are no nodes).
inline void SealNode(std::string* tree, uint32_t node) {
  if (node == 0) {
    if (tree->size() < btree::hdr::kSize) return;
    Store32(tree->data() + btree::hdr::kChecksumAt,
            btree::Crc32(tree->data(), btree::hdr::kChecksumAt));
    return;
  }
  const uint32_t len = TreeNodeLength(*tree);
  if (len < btree::node::kHeader || (uint64_t{node} + 1) * len > tree->size()) return;
  char* n = tree->data() + size_t{node} * len;
  Store32(n + btree::node::kChecksumAt, btree::NodeChecksum(n, len));
}

// Every node and the header sealed.
inline void SealTree(std::string* tree) {
  const uint32_t len = TreeNodeLength(*tree);
  if (len < btree::node::kHeader) return SealNode(tree, 0);
  for (uint32_t no = 0; (uint64_t{no} + 1) * len <= tree->size(); ++no) SealNode(tree, no);
}

// Writes the size bytes of value (little-endian) at offset inside node `node`, and seals it.
inline void SetInNode(std::string* tree, uint32_t node, uint32_t offset, uint64_t value,
                      size_t size) {
  const uint32_t len = TreeNodeLength(*tree);
  if (len == 0 || offset + size > len || (uint64_t{node} + 1) * len > tree->size()) return;
  PutLe(tree->data() + size_t{node} * len + offset, value, static_cast<int>(size));
  SealNode(tree, node);
}

// Recomputes the checksum of a data file's header.
inline void SealDataHeader(std::string* data) {
  if (data->size() < kDataHeaderSize) return;
  PutLe(data->data() + 124, DataHeaderChecksum(data->data()), 4);
}

}  // namespace vesk::isam::testing

#endif  // VESK_SRV_ISAM_TESTING_DAMAGE_H_
