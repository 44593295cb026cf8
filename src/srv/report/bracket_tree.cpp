#include "srv/report/bracket_tree.h"

#include "srv/report/chars.h"

namespace vesk::report {

namespace {

// Nesting deeper than this is refused: a descriptor never needs it, and the reader recurses.
constexpr int kMaxDepth = 32;

class Reader {
 public:
  explicit Reader(std::string_view text) : chars_(SplitChars(text)) {}

  BracketResult Read(BracketNode* root) {
    if (!ReadList(root, 0)) return result_;
    if (pos_ != chars_.size()) return Fail("texte après la fin de la liste");
    return result_;
  }

 private:
  BracketResult Fail(std::string reason) {
    if (result_.ok) {
      result_.ok = false;
      result_.position = pos_ + 1;
      result_.reason = std::move(reason);
    }
    return result_;
  }

  bool ReadList(BracketNode* node, int depth) {
    if (pos_ >= chars_.size() || chars_[pos_] != "[") {
      Fail("« [ » attendu");
      return false;
    }
    if (depth >= kMaxDepth) {
      Fail("listes imbriquées trop profondément");
      return false;
    }
    node->is_list = true;
    node->position = ++pos_;
    if (pos_ < chars_.size() && chars_[pos_] == "]") {
      ++pos_;
      return true;
    }
    while (true) {
      BracketNode child;
      if (pos_ < chars_.size() && chars_[pos_] == "[") {
        if (!ReadList(&child, depth + 1)) return false;
      } else {
        ReadAtom(&child);
      }
      node->children.push_back(std::move(child));
      if (pos_ >= chars_.size()) {
        Fail("« ] » manquant à la fin du texte");
        return false;
      }
      if (chars_[pos_] == "]") {
        ++pos_;
        return true;
      }
      if (chars_[pos_] != ",") {
        Fail("« , » ou « ] » attendu");
        return false;
      }
      ++pos_;
    }
  }

  void ReadAtom(BracketNode* node) {
    node->position = pos_ + 1;
    while (pos_ < chars_.size() && chars_[pos_] != "," && chars_[pos_] != "]" &&
           chars_[pos_] != "[") {
      node->text += chars_[pos_++];
    }
  }

  std::vector<std::string_view> chars_;
  size_t pos_ = 0;
  BracketResult result_;
};

}  // namespace

BracketResult ReadBracketTree(std::string_view text, BracketNode* root) {
  *root = BracketNode{};
  return Reader(text).Read(root);
}

}  // namespace vesk::report
