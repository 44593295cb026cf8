// The bracketed list of a report descriptor read into a tree, each node knowing its character
// position for error messages. Free function without state; safe from any thread.
// This is the listing's one use of the bracketed-list notation: the syntax is the list
// service's (src/srv/list), which checks the text and splits each level.
#ifndef VESK_SRV_REPORT_BRACKET_TREE_H_
#define VESK_SRV_REPORT_BRACKET_TREE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::report {

struct BracketNode {
  bool is_list = false;
  std::string text;                   // an atom's text, as written (spaces kept)
  size_t position = 0;                // 1-based character position where the node starts
  std::vector<BracketNode> children;  // a list's elements
};

// Outcome of ReadBracketTree: ok, or the 1-based character position of the first faulty
// character (one past the end when the text ends too early) and a French sentence naming it
// ("caractère 3 : ...").
struct BracketResult {
  bool ok = true;
  size_t position = 0;
  std::string reason;
};

// Reads text, which must be one bracketed list and nothing else, into *root.
BracketResult ReadBracketTree(std::string_view text, BracketNode* root);

}  // namespace vesk::report

#endif  // VESK_SRV_REPORT_BRACKET_TREE_H_
