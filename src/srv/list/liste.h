// The bracketed-list notation: one iterative, linear-time reader and writer of "[a,b,[c,d]]"
// texts, used by every service that takes lists apart or builds them. Free functions without
// state; safe from any thread. Nothing here throws: faults come back as a Fault value.
//
// The notation, as this reader accepts it:
//   list     = "[" [ element { "," element } ] "]"
//   element  = plain | list
//   plain    = any characters but "[", "]" and "," (possibly none)
// - "[]" is the empty list; "[a,,b]" has three elements, the middle one empty; "[,]" has two
//   empty elements; "[ ]" has one element, a space. Spaces are part of the element that holds
//   them: "[ a , b ]" has the elements " a " and " b ".
// - An element that is a list is kept whole, brackets included: "[a,[b,c]]" has the two
//   elements "a" and "[b,c]".
// - There is no escape character. A "[" may only open an element ("[a[b]]" is a fault at the
//   "["), and a sub-list ends its element ("[[a]b]" is a fault at the "b").
// - Nesting deeper than kMaxDepth levels (the outer list counting as one) is a fault.
// - A list of one empty element cannot be written: "[]" is the empty list. Build refuses it.
// Positions given to users count characters (UTF-8 code points), from 1.
#ifndef VESK_SRV_LIST_LISTE_H_
#define VESK_SRV_LIST_LISTE_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::list {

// Deepest nesting accepted; the outer list is level 1.
inline constexpr std::size_t kMaxDepth = 10000;

enum class FaultKind {
  kNone,
  kNoOpeningBracket,  // the text is empty or does not begin with "["
  kUnclosed,          // the text ends before its lists are closed
  kTextAfterEnd,      // characters after the "]" that closes the outer list
  kBracketInElement,  // a "[" after other characters of the same element
  kTextAfterSublist,  // characters after a sub-list, before the next "," or "]"
  kTooDeep,           // a "[" that opens level kMaxDepth + 1
  kSeparator,         // an element to write holds a "," or a bracket outside a well-formed list
  kLoneEmpty,         // an empty element alone cannot be written ("[]" is the empty list)
};

// The first fault met in a text. offset is the byte offset of the faulty character (the text's
// size when the text ends too early); position is the same place as a 1-based character count.
struct Fault {
  FaultKind kind = FaultKind::kNone;
  std::size_t offset = 0;
  std::size_t position = 0;

  bool ok() const { return kind == FaultKind::kNone; }
  // A French sentence naming the fault and its position, e.g.
  // "caractère 3 : \"[\" au milieu d'un élément".
  std::string Message() const;
};

// 1-based character position of byte offset in text (offset may be text.size()).
std::size_t CharPosition(std::string_view text, std::size_t offset);

// Checks text as a list.
Fault Check(std::string_view text);

// Reads text as a list: elements receives views into text, one per element, in order.
// On a fault, elements is left empty.
Fault Split(std::string_view text, std::vector<std::string_view>& elements);

// Number of elements of the list text.
Fault Count(std::string_view text, std::size_t& count);

// The first element of the list text and the byte offset where the elements after it begin
// (just past its ","), or text.size() - 1 (the final "]") when it is the only one. For "[]" the
// element is empty and rest_offset is 1. The whole text is checked.
Fault First(std::string_view text, std::string_view& element, std::size_t& rest_offset);

// Checks that element can be written into a list and read back as itself: either plain text
// without "[", "]" and ",", or a well-formed list. The fault's position is within element.
Fault CheckElement(std::string_view element);

// "[e1,e2,...]" from elements, each checked by CheckElement. A single empty element is refused
// (kLoneEmpty). On a fault, out is left unchanged and bad_index names the refused element.
Fault Build(std::span<const std::string_view> elements, std::string& out, std::size_t& bad_index);

// Appends element to the list text, in place (amortised cost of the element's length after the
// check of list). Refuses what Build refuses; the list is then unchanged. A fault in list has
// its position in list; a fault in element has its position in element (see which_text).
enum class Which { kList, kElement };
Fault Append(std::string& list, std::string_view element, Which& which_text);

// Removes the first element of the list text, in place, and gives it in element. "[]" gives ""
// and stays "[]"; a list whose only remaining element would be empty becomes "[]". On a fault
// list and element are unchanged.
Fault TakeFirst(std::string& list, std::string& element);

// The part at 1-based index of element: a list element gives its index-th element (empty past
// its end); a plain element has one part, itself. A fault names a place within element.
Fault Part(std::string_view element, std::size_t index, std::string_view& part);

}  // namespace vesk::list

#endif  // VESK_SRV_LIST_LISTE_H_
