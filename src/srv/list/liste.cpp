#include "srv/list/liste.h"

#include <string>

#include "srv/text/utf8.h"

namespace vesk::list {

namespace {

Fault MakeFault(std::string_view text, FaultKind kind, std::size_t offset) {
  return Fault{kind, offset, CharPosition(text, offset)};
}

bool IsSpecial(char c) { return c == '[' || c == ']' || c == ','; }

// Walks text once, left to right, with a depth counter and two flags: no recursion, no stack.
// Calls on_element(begin, end) with the byte range of each element of the outer list, in order.
template <typename OnElement>
Fault Scan(std::string_view text, OnElement&& on_element) {
  if (text.empty() || text[0] != '[') return MakeFault(text, FaultKind::kNoOpeningBracket, 0);
  std::size_t depth = 1;
  bool plain = false;   // the current element has plain characters
  bool closed = false;  // the current element is a sub-list, now closed
  std::size_t start = 1;
  const std::size_t size = text.size();
  for (std::size_t i = 1; i < size; ++i) {
    const char c = text[i];
    if (!IsSpecial(c)) {
      if (closed) return MakeFault(text, FaultKind::kTextAfterSublist, i);
      plain = true;
      while (i + 1 < size && !IsSpecial(text[i + 1])) ++i;  // the rest of a plain run
      continue;
    }
    if (closed && c == '[') return MakeFault(text, FaultKind::kTextAfterSublist, i);
    if (c == '[') {
      if (plain) return MakeFault(text, FaultKind::kBracketInElement, i);
      if (++depth > kMaxDepth) return MakeFault(text, FaultKind::kTooDeep, i);
    } else if (c == ',') {
      if (depth == 1) {
        on_element(start, i);
        start = i + 1;
      }
      closed = false;
    } else if (--depth > 0) {
      closed = true;
    } else {
      if (i > 1) on_element(start, i);  // "[]" has no element
      if (i + 1 < size) return MakeFault(text, FaultKind::kTextAfterEnd, i + 1);
      return Fault{};
    }
    plain = false;
  }
  if (depth > 0) return MakeFault(text, FaultKind::kUnclosed, text.size());
  return Fault{};
}

const char* Describe(FaultKind kind) {
  switch (kind) {
    case FaultKind::kNone:
      return "aucune erreur";
    case FaultKind::kNoOpeningBracket:
      return "une liste commence par \"[\"";
    case FaultKind::kUnclosed:
      return "la liste se termine avant d'être refermée par \"]\"";
    case FaultKind::kTextAfterEnd:
      return "texte après le \"]\" qui ferme la liste";
    case FaultKind::kBracketInElement:
      return "\"[\" au milieu d'un élément";
    case FaultKind::kTextAfterSublist:
      return "texte après une sous-liste, \",\" ou \"]\" attendu";
    case FaultKind::kTooDeep:
      return "plus de 10000 niveaux de listes imbriquées";
    case FaultKind::kSeparator:
      return "\",\", \"[\" ou \"]\" dans un élément qui n'est pas une liste";
    case FaultKind::kLoneEmpty:
      return "un élément vide seul ne peut s'écrire, \"[]\" est la liste vide";
  }
  return "erreur inconnue";
}

}  // namespace

std::string Fault::Message() const {
  if (kind == FaultKind::kLoneEmpty || kind == FaultKind::kNone) return Describe(kind);
  return "caractère " + std::to_string(position) + " : " + Describe(kind);
}

std::size_t CharPosition(std::string_view text, std::size_t offset) {
  return 1 + text::CountChars(text.substr(0, offset));
}

Fault Check(std::string_view text) {
  return Scan(text, [](std::size_t, std::size_t) {});
}

Fault Split(std::string_view text, std::vector<std::string_view>& elements) {
  elements.clear();
  Fault fault = Scan(text, [&](std::size_t begin, std::size_t end) {
    elements.push_back(text.substr(begin, end - begin));
  });
  if (!fault.ok()) elements.clear();
  return fault;
}

Fault Count(std::string_view text, std::size_t& count) {
  std::size_t n = 0;
  Fault fault = Scan(text, [&](std::size_t, std::size_t) { ++n; });
  count = fault.ok() ? n : 0;
  return fault;
}

Fault First(std::string_view text, std::string_view& element, std::size_t& rest_offset) {
  std::size_t n = 0;
  std::size_t first_end = 1;
  Fault fault = Scan(text, [&](std::size_t, std::size_t end) {
    if (n++ == 0) first_end = end;
  });
  if (!fault.ok()) return fault;
  element = text.substr(1, first_end - 1);
  // After the first element's "," when others follow; at the final "]" otherwise.
  rest_offset = n > 1 ? first_end + 1 : text.size() - 1;
  if (n == 0) rest_offset = 1;
  return fault;
}

Fault CheckElement(std::string_view element) {
  if (!element.empty() && element[0] == '[') return Check(element);
  const std::size_t bad = element.find_first_of(",[]");
  if (bad != std::string_view::npos) return MakeFault(element, FaultKind::kSeparator, bad);
  return Fault{};
}

Fault Build(std::span<const std::string_view> elements, std::string& out, std::size_t& bad_index) {
  std::size_t size = 2 + (elements.empty() ? 0 : elements.size() - 1);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    Fault fault = CheckElement(elements[i]);
    if (!fault.ok()) {
      bad_index = i;
      return fault;
    }
    size += elements[i].size();
  }
  if (elements.size() == 1 && elements[0].empty()) {
    bad_index = 0;
    return Fault{FaultKind::kLoneEmpty, 0, 1};
  }
  std::string text;
  text.reserve(size);
  text += '[';
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (i > 0) text += ',';
    text += elements[i];
  }
  text += ']';
  out = std::move(text);
  return Fault{};
}

Fault Append(std::string& list, std::string_view element, Which& which_text) {
  which_text = Which::kList;
  Fault fault = Check(list);
  if (!fault.ok()) return fault;
  which_text = Which::kElement;
  fault = CheckElement(element);
  if (!fault.ok()) return fault;
  const bool empty_list = list.size() == 2;  // a well-formed list of two characters is "[]"
  if (empty_list && element.empty()) return Fault{FaultKind::kLoneEmpty, 0, 1};
  std::string tail;
  tail.reserve(element.size() + 2);
  if (!empty_list) tail += ',';
  tail += element;
  tail += ']';
  list.pop_back();
  list += tail;
  return Fault{};
}

Fault TakeFirst(std::string& list, std::string& element) {
  std::string_view first;
  std::size_t rest = 0;
  Fault fault = First(list, first, rest);
  if (!fault.ok()) return fault;
  std::string taken(first);
  if (rest + 1 >= list.size()) {
    // Nothing, or only an empty element (the tail of "[a,]"), remains: "[]" says both.
    list.assign("[]");
  } else {
    list.erase(1, rest - 1);
  }
  element = std::move(taken);
  return Fault{};
}

Fault Part(std::string_view element, std::size_t index, std::string_view& part) {
  part = std::string_view();
  if (element.empty() || element[0] != '[') {
    Fault fault = CheckElement(element);
    if (fault.ok() && index == 1) part = element;
    return fault;
  }
  std::size_t n = 0;
  std::string_view found;
  Fault fault = Scan(element, [&](std::size_t begin, std::size_t end) {
    if (++n == index) found = element.substr(begin, end - begin);
  });
  if (fault.ok()) part = found;
  return fault;
}

}  // namespace vesk::list
