// The tree of values that a configuration file holds: integers, strings, arrays and objects.
//
// Every tree that can be built here can be written in both notations and reads back the same. What
// neither could express is refused where it is added: the integer -2^63, a key that is no
// identifier, and containers nested deeper than kMaximumDepth.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace nmp::config {

class Array;
class Object;

/// Containers around a value, itself included; keeps every recursion over a tree short.
inline constexpr unsigned kMaximumDepth = 1000;

/// One value. Its kind never changes.
class Value {
 public:
  Value(std::int64_t integer, std::uint64_t line);
  Value(std::string string, std::uint64_t line);
  Value(Array array, std::uint64_t line);
  Value(Object object, std::uint64_t line);
  Value(Value&&) noexcept;
  Value& operator=(Value&&) noexcept;
  ~Value();

  /// The line of the text on which it started, from 1; 0 for one that was not read from a text.
  std::uint64_t line() const { return line_; }

  /// The content, or null for a value of another kind.
  const std::int64_t* if_integer() const { return std::get_if<std::int64_t>(&content_); }
  const std::string* if_string() const { return std::get_if<std::string>(&content_); }
  const Array* if_array() const;
  const Object* if_object() const;

  /// The content. Throws ParseException with the value's line for another kind.
  std::int64_t integer() const;
  const std::string& string() const;
  const Array& array() const;
  const Object& object() const;

 private:
  // Containers stay where they are when the values around them move.
  std::variant<std::int64_t, std::string, std::unique_ptr<Array>, std::unique_ptr<Object>> content_;
  std::uint64_t line_;
};

/// The same kinds and contents in the same order, wherever they came from.
bool operator==(const Value& a, const Value& b);

/// An ordered list of values.
class Array {
 public:
  const std::vector<Value>& values() const { return values_; }

  void add_integer(std::int64_t value);
  void add_string(std::string value);
  Object& add_object();
  Array& add_array();

 private:
  friend class TreeBuilder;
  friend class Object;
  explicit Array(unsigned depth) : depth_(depth) {}

  unsigned depth_;
  std::vector<Value> values_;
};

/// A map from keys to values that remembers the order in which they were added.
class Object {
 public:
  struct Member {
    std::string key;
    Value value;
    std::string section;  ///< text of the comment block before it, or empty
  };

  Object() : Object(1) {}

  const std::vector<Member>& members() const { return members_; }

  /// The value of a key, or null.
  const Value* find(std::string_view key) const;
  /// The value of a key. Throws KeyNotFoundException, which names the key.
  const Value& at(std::string_view key) const;
  /// The content of a key's value. Throws KeyNotFoundException, and ParseException with the value's
  /// line where it is of another kind.
  std::int64_t integer(std::string_view key) const;
  const std::string& string(std::string_view key) const;
  const Array& array(std::string_view key) const;
  const Object& object(std::string_view key) const;

  /// Add a member. They throw InvalidParametersException "Attempted to add an existing key.", and
  /// for keys that are no identifiers. What they return stays valid as long as this object.
  void add_integer(std::string key, std::int64_t value);
  void add_string(std::string key, std::string value);
  Object& add_object(std::string key);
  Array& add_array(std::string key);
  /// A comment block before the member that is added next. Only people see it.
  void add_section(std::string text) { next_section_ = std::move(text); }

 private:
  friend class TreeBuilder;
  friend class Array;
  explicit Object(unsigned depth) : depth_(depth) {}

  const Value& add(std::string key, Value value);

  unsigned depth_;
  std::vector<Member> members_;
  std::map<std::string, std::size_t, std::less<>> index_;  ///< key -> place in members_
  std::string next_section_;
};

/// Makes trees whose places are already known: the readers' way in. They check depths themselves.
class TreeBuilder {
 public:
  static Array make_array(unsigned depth) { return Array(depth); }
  static Object make_object(unsigned depth) { return Object(depth); }
  static void append(Array& array, Value value) { array.values_.push_back(std::move(value)); }
  static void add(Object& object, std::string key, Value value) {
    object.add(std::move(key), std::move(value));
  }
};

}  // namespace nmp::config
