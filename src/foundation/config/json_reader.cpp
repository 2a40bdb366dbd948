#include "foundation/config/identifier.h"
#include "foundation/config/notation.h"
#include "foundation/config/scanner.h"
#include "foundation/config/words.h"

namespace nmp::config {
namespace {

void append_utf8(std::string& text, std::uint32_t code) {
  const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
    return;
  }
  if (code < 0x800) {
    put(0xc0 | code >> 6);
  } else {
    if (code < 0x10000) {
      put(0xe0 | code >> 12);
    } else {
      put(0xf0 | code >> 18);
      put(0x80 | (code >> 12 & 0x3f));
    }
    put(0x80 | (code >> 6 & 0x3f));
  }
  put(0x80 | (code & 0x3f));
}

class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : in_(text, "config::parse_json()") {}

  Value document() {
    Value root = value(1);
    in_.skip_blanks_or_end();
    if (in_.at_end()) return root;
    refuse_delimiter(in_.peek());
    in_.fail("Unexpected text after the value.");
  }

 private:
  void refuse_delimiter(char c) const {
    if (c == ']' || c == '}' || c == ',') in_.fail(std::string("Unexpected '") + c + "'.");
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
    for (const char* word : {"true", "false", "null"})
      if (in_.rest().starts_with(word))
        in_.fail("\"true\", \"false\" and \"null\" are not supported.");
    const std::string_view digits = in_.rest().substr(in_.peek() == '-' ? 1 : 0);
    if (digits.size() > 1 && digits[0] == '0' && is_digit(digits[1])) in_.fail(kInvalidInteger);
    const std::int64_t value = in_.read_integer();
    if (in_.at_end()) return value;
    const char end = in_.peek();
    if (end == '.' || end == 'e' || end == 'E') in_.fail("Numbers must be integers.");
    if (end != ',' && end != ']' && end != '}' && end != '/' && !is_blank(end))
      in_.fail(kInvalidInteger);
    return value;
  }

  /// The four digits of a \u escape.
  std::uint32_t hex4() {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i) {
      constexpr std::string_view kDigits = "0123456789abcdef";
      const char c = in_.take();
      const std::size_t digit = kDigits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
      if (digit == std::string_view::npos) in_.fail(kInvalidUnicode);
      code = code << 4 | static_cast<std::uint32_t>(digit);
    }
    return code;
  }

  /// A character beyond the first 65536 comes as two surrogates; one alone is no character.
  std::uint32_t unicode() {
    const std::uint32_t code = hex4();
    if (code < 0xd800 || code > 0xdfff) return code;
    if (code > 0xdbff || in_.take() != '\\' || in_.take() != 'u') in_.fail(kInvalidUnicode);
    const std::uint32_t low = hex4();
    if (low < 0xdc00 || low > 0xdfff) in_.fail(kInvalidUnicode);
    return 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
  }

  void escape(std::string& text) {
    constexpr std::string_view kLetters = "\"\\/bfnrt", kMeanings = "\"\\/\b\f\n\r\t";
    const char c = in_.peek();
    const std::size_t letter = kLetters.find(c);
    if (c != 'u' && letter == std::string_view::npos)
      in_.fail(std::string("Invalid escape character: ") + c);
    in_.take();
    if (c == 'u') {
      append_utf8(text, unicode());
    } else {
      text += kMeanings[letter];
    }
  }

  std::string string() {
    std::string text;
    in_.take();
    for (char c = in_.peek(); c != '"'; c = in_.peek()) {
      if (static_cast<unsigned char>(c) < 0x20) in_.fail("Control character in string.");
      in_.take();
      if (c == '\\') {
        escape(text);
      } else {
        text += c;
      }
    }
    in_.take();
    return text;
  }

  Array array(unsigned depth) {
    Array array = TreeBuilder::make_array(depth);
    for (bool first = true; in_.skip_blanks() != ']'; first = false) {
      if (!first) {
        if (in_.peek() != ',') in_.fail("Expected ',' before array element.");
        in_.take();
      }
      TreeBuilder::append(array, value(depth + 1));
    }
    in_.take();
    return array;
  }

  std::string key() {
    const char first = in_.skip_blanks();
    if (first == ',' || first == '}') refuse_delimiter(first);
    if (first != '"') in_.fail("Expected object key string.");
    std::string text = string();
    if (const char* refusal = key_refusal(text)) in_.fail(refusal);
    return text;
  }

  Object object(unsigned depth) {
    Object object = TreeBuilder::make_object(depth);
    for (bool first = true; in_.skip_blanks() != '}'; first = false) {
      if (!first) {
        if (in_.peek() != ',') in_.fail("Expected ',' before object key string.");
        in_.take();
      }
      std::string name = key();
      if (in_.skip_blanks() != ':') in_.fail(kExpectedColon);
      in_.take();
      if (object.find(name) != nullptr) in_.fail(kDuplicateKey);
      TreeBuilder::add(object, std::move(name), value(depth + 1));
    }
    in_.take();
    return object;
  }

  static constexpr const char* kInvalidUnicode = "Invalid Unicode escape.";
  Scanner in_;
};

}  // namespace

Value parse_json(std::string_view text) { return JsonReader(text).document(); }

}  // namespace nmp::config
