#include <algorithm>
#include <utility>

#include "foundation/config/notation.h"

namespace nmp::config {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Both notations: they differ in separators, quotes and comments.
class Writer {
 public:
  explicit Writer(Format format) : json_(format == Format::kJson) {
    if (!json_) line("//  numforge Configuration File");
  }

  void value(const Value& value) {
    if (const std::int64_t* integer = value.if_integer()) {
      text_ += std::to_string(*integer);
    } else if (const std::string* string = value.if_string()) {
      quoted(*string);
    } else if (const Array* list = value.if_array()) {
      array(*list);
    } else {
      object(*value.if_object());
    }
  }

  void object(const Object& object) {
    open('{');
    bool first = true;
    for (const Object::Member& member : object.members()) {
      next_line(&first);
      if (!member.section.empty() && !json_) section(member.section);
      indent();
      key(member.key);
      text_ += json_ ? ": " : " : ";
      value(member.value);
    }
    close('}', object.members().empty());
  }

  std::string finish() {
    text_ += kLineEnd;
    return std::move(text_);
  }

 private:
  void line(std::string_view text) {
    text_ += text;
    text_ += kLineEnd;
  }

  void open(char bracket) {
    text_ += bracket;
    ++depth_;
  }
  /// Ends the line of the member or element before, whether there is one or not.
  void next_line(bool* first) {
    if (!std::exchange(*first, false) && json_) text_ += ',';
    text_ += kLineEnd;
  }
  void close(char bracket, bool empty) {
    --depth_;
    if (!empty) {
      text_ += kLineEnd;
      indent();
    }
    text_ += bracket;
  }
  void indent() {
    constexpr unsigned kDeepest = 16;  // deep trees would be mostly blanks
    text_.append(4 * std::min(depth_, kDeepest), ' ');
  }

  /// Lists of plain values stand in one line.
  void array(const Array& array) {
    const bool one_line = std::ranges::none_of(array.values(), [](const Value& value) {
      return value.if_array() != nullptr || value.if_object() != nullptr;
    });
    open('[');
    bool first = true;
    for (const Value& element : array.values()) {
      if (one_line) {
        if (!std::exchange(first, false)) text_ += json_ ? ", " : " ";
      } else {
        next_line(&first);
        indent();
      }
      value(element);
    }
    close(']', one_line);
  }

  void section(std::string_view block) {
    line("");
    line(std::string(79, '/'));
    for (std::size_t start = 0; start <= block.size();) {
      const std::size_t end = std::min(block.find('\n', start), block.size());
      line("//  " + std::string(block.substr(start, end - start)));
      start = end + 1;
    }
  }

  void key(const std::string& key) {
    if (json_) {
      quoted(key);
    } else {
      escaped(key);
    }
  }
  void quoted(const std::string& string) {
    text_ += '"';
    escaped(string);
    text_ += '"';
  }
  void escaped(const std::string& string) {
    for (const char c : string) {
      if (c == '"' || c == '\\') text_ += '\\';
      if (json_ && static_cast<unsigned char>(c) < 0x20) {
        control(c);
      } else {
        text_ += c;
      }
    }
  }
  void control(char c) {
    text_ += "\\u00";
    text_ += "01"[c >> 4];
    text_ += "0123456789abcdef"[c & 15];
  }

  bool json_;
  unsigned depth_ = 0;
  std::string text_;
};

}  // namespace

std::string write(const Value& root, Format format) {
  Writer writer(format);
  writer.value(root);
  return writer.finish();
}

std::string write(const Object& root, Format format) {
  Writer writer(format);
  writer.object(root);
  return writer.finish();
}

}  // namespace nmp::config
