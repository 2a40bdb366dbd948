#include "foundation/config/identifier.h"
#include "foundation/config/notation.h"
#include "foundation/config/scanner.h"
#include "foundation/config/words.h"

namespace nmp::config {
namespace {

constexpr const char* kNoCommas = "Don't use commas to separate elements.";

class AcfgReader {
 public:
  explicit AcfgReader(std::string_view text) : in_(text, "config::parse_acfg()") {}

  Value document() {
    Value root = value(1);
    in_.skip_blanks_or_end();
    if (in_.at_end()) return root;
    refuse_delimiter(in_.peek());
    in_.fail("Unexpected text after the value.");
  }

 private:
  void refuse_delimiter(char c) const {
    if (c == ']') in_.fail("Unexpected ']'.");
    if (c == '}') in_.fail("Unexpected '}'.");
    if (c == ',') in_.fail(kNoCommas);
  }

  /// `depth` is the one that a container in this place has.
  Value value(unsigned depth) {
    const char first = in_.skip_blanks();
    const std::uint64_t line = in_.line();
    refuse_delimiter(first);
    if (first == '"') return {string(), line};
    if (first != '[' && first != '{') return {integer(), line};
    if (depth > kMaximumDepth) in_.fail(kTooDeep);
    in_.take();
    if (first == '[') return {array(depth), line};
    return {object(depth), line};
  }

  std::int64_t integer() {
    const std::int64_t value = in_.read_integer();
    const char end = in_.peek();
    if (end == ',') in_.fail(kNoCommas);
    if (end != ']' && end != '}' && !is_blank(end)) in_.fail(kInvalidInteger);
    return value;
  }

  /// The character that a backslash, already taken, lets stand for itself.
  char escaped() {
    const char c = in_.peek();
    if (c != '"' && c != '\\') in_.fail(std::string("Invalid escape character: ") + c);
    return in_.take();
  }

  std::string string() {
    std::string text;
    in_.take();
    for (char c = in_.take(); c != '"'; c = in_.take()) text += c == '\\' ? escaped() : c;
    return text;
  }

  Array array(unsigned depth) {
    Array array = TreeBuilder::make_array(depth);
    while (in_.skip_blanks() != ']') TreeBuilder::append(array, value(depth + 1));
    in_.take();
    return array;
  }

  std::string identifier() {
    std::string text;
    for (char c = in_.peek(); !is_blank(c) && c != ':' && c != '"'; c = in_.peek()) {
      if (c != '\\' && !is_identifier_character(c)) in_.fail(kInvalidIdentifier);
      in_.take();
      text += c == '\\' ? escaped() : c;
    }
    if (text.empty()) in_.fail(kExpectedIdentifier);
    return text;
  }

  Object object(unsigned depth) {
    Object object = TreeBuilder::make_object(depth);
    while (in_.skip_blanks() != '}') {
      std::string key = identifier();
      if (in_.skip_blanks() != ':') in_.fail(kExpectedColon);
      in_.take();
      if (object.find(key) != nullptr) in_.fail(kDuplicateKey);
      TreeBuilder::add(object, std::move(key), value(depth + 1));
    }
    in_.take();
    return object;
  }

  Scanner in_;
};

}  // namespace

Value parse_acfg(std::string_view text) { return AcfgReader(text).document(); }

}  // namespace nmp::config
