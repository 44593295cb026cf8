#include "srv/report/bracket_tree.h"

#include "srv/list/liste.h"

namespace vesk::report {

namespace {

// Nesting deeper than this is refused: a descriptor never needs it, and the tree is built by
// recursion.
constexpr int kMaxDepth = 32;

class TreeBuilder {
 public:
  explicit TreeBuilder(std::string_view text) : text_(text) {}

  BracketResult Build(BracketNode* root) {
    const list::Fault fault = list::Check(text_);
    if (!fault.ok()) return {false, fault.position, fault.Message()};
    Fill(text_, root, 1);
    return result_;
  }

 private:
  size_t Position(std::string_view part) const {
    return list::CharPosition(text_, static_cast<size_t>(part.data() - text_.data()));
  }

  // part is a well-formed list (checked as a whole), a view into text_.
  void Fill(std::string_view part, BracketNode* node, int depth) {
    node->is_list = true;
    node->position = Position(part);
    if (depth > kMaxDepth) {
      if (result_.ok) {
        result_ = {false, node->position,
                   "caractère " + std::to_string(node->position) +
                       " : listes imbriquées trop profondément (" + std::to_string(kMaxDepth) +
                       " niveaux au plus)"};
      }
      return;
    }
    std::vector<std::string_view> elements;
    list::Split(part, elements);
    for (std::string_view e : elements) {
      BracketNode child;
      if (!e.empty() && e.front() == '[') {
        Fill(e, &child, depth + 1);
      } else {
        child.text = std::string(e);
        child.position = Position(e);
      }
      node->children.push_back(std::move(child));
    }
  }

  std::string_view text_;
  BracketResult result_;
};

}  // namespace

BracketResult ReadBracketTree(std::string_view text, BracketNode* root) {
  *root = BracketNode{};
  return TreeBuilder(text).Build(root);
}

}  // namespace vesk::report
