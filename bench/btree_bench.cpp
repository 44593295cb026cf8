// Micro-benchmark of the B-tree alone: random inserts, random finds, a SeekAfter walk and random
// erases of N 16-byte keys in a file of a temporary folder, with a cache that holds the tree.
// Usage: btree_bench [N] [folder]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "srv/isam/btree.h"

namespace {

using Clock = std::chrono::steady_clock;

// Wall time since a point; CPU time of the process goes beside it (the machine may be busy).
struct Since {
  Clock::time_point wall = Clock::now();
  std::clock_t cpu = std::clock();
};

void Report(const char* what, size_t n, const Since& since) {
  double wall = std::chrono::duration<double>(Clock::now() - since.wall).count();
  double cpu = static_cast<double>(std::clock() - since.cpu) / CLOCKS_PER_SEC;
  std::printf("%-16s %9zu ops  wall %7.3f s %11.0f ops/s  cpu %7.3f s %11.0f ops/s\n", what, n,
              wall, static_cast<double>(n) / wall, cpu, static_cast<double>(n) / cpu);
}

int Fail(const vesk::isam::Status& st) {
  std::fprintf(stderr, "erreur : %s\n", st.message().c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  using vesk::isam::BTree;
  size_t n = argc > 1 ? std::stoul(argv[1]) : 1000000;
  std::filesystem::path dir = argc > 2
                                  ? std::filesystem::path(argv[2])
                                  : std::filesystem::temp_directory_path() / "vesk_btree_bench";
  std::filesystem::create_directories(dir);
  std::string path = (dir / "BENCH.DAB").string();
  std::filesystem::remove(path);

  std::mt19937_64 rng(42);
  std::vector<std::string> keys(n);
  for (auto& k : keys) {
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(rng()));
    k.assign(buf, 16);
  }
  vesk::isam::BTreeOptions options;
  options.cache_bytes = size_t{1} << 30;
  std::unique_ptr<BTree> tree;
  vesk::isam::Status st =
      BTree::Open(vesk::isam::Env::Default(), path, 16, 'P', "BENCH", true, options, &tree);
  if (!st.ok()) return Fail(st);

  Since t;
  for (size_t i = 0; i < n; ++i) {
    st = tree->Insert(keys[i], static_cast<uint32_t>(i + 1));
    if (!st.ok() && !st.IsDuplicate()) return Fail(st);
  }
  Report("insert (random)", n, t);
  t = Since();
  if (!(st = tree->Flush()).ok()) return Fail(st);
  Report("flush", 1, t);

  std::vector<size_t> order(n);
  for (size_t i = 0; i < n; ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), rng);
  std::vector<std::string> shuffled(n);
  for (size_t i = 0; i < n; ++i) shuffled[i] = keys[order[i]];
  t = Since();
  uint64_t sum = 0;
  for (const std::string& k : shuffled) {
    uint32_t record = 0;
    if (!(st = tree->Find(k, &record)).ok()) return Fail(st);
    sum += record;
  }
  Report("find (random)", n, t);

  t = Since();
  std::string key;
  uint32_t record = 0;
  size_t walked = 0;
  for (st = tree->SeekAfter("", 0, &key, &record); st.ok();
       st = tree->SeekAfter(key, record, &key, &record)) {
    ++walked;
  }
  if (!st.IsNotFound()) return Fail(st);
  Report("seekafter walk", walked, t);

  vesk::isam::BTreeStats stats;
  if (!(st = tree->Stats(&stats)).ok()) return Fail(st);
  std::printf("levels %zu, fill %.2f, file %.1f MiB\n", stats.keys_per_level.size(),
              stats.fill_ratio, static_cast<double>(stats.file_bytes) / (1 << 20));

  t = Since();
  for (size_t i = 0; i < n; ++i) {
    if (!(st = tree->Erase(shuffled[i], static_cast<uint32_t>(order[i] + 1))).ok()) {
      return Fail(st);
    }
  }
  Report("erase (random)", n, t);
  std::printf("(checksum %llu)\n", static_cast<unsigned long long>(sum));
  tree.reset();
  std::filesystem::remove(path);
  return 0;
}
