#include "foundation/config/value.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/config/identifier.h"
#include "foundation/config/words.h"
#include "foundation/exceptions.h"

namespace nmp::config {
namespace {

/// Only magnitudes up to 2^63 - 1 can be written.
std::int64_t writable(std::int64_t value) {
  if (value == std::numeric_limits<std::int64_t>::min())
    throw InvalidParametersException("config::Value::Value()", kIntegerTooLarge);
  return value;
}

unsigned depth_below(unsigned depth) {
  if (depth >= kMaximumDepth)
    throw InvalidParametersException("config::Object::add_object()", kTooDeep);
  return depth + 1;
}

/// `content` where it is not null.
template <typename T>
const T& expect(const T* content, const char* kind, const Value& value) {
  if (content == nullptr)
    throw ParseException("config::Value", std::string("Expected ") + kind + ".", value.line());
  return *content;
}

/// The same for the value of a key.
template <typename T>
const T& expect(const T* content, const char* kind, const Value& value, std::string_view key) {
  if (content == nullptr)
    throw ParseException("config::Object",
                         "\"" + std::string(key) + "\" must be " + std::string(kind) + ".",
                         value.line());
  return *content;
}

constexpr const char* kAnInteger = "an integer";
constexpr const char* kAString = "a string";
constexpr const char* kAnArray = "an array";
constexpr const char* kAnObject = "an object";

}  // namespace

Value::Value(std::int64_t integer, std::uint64_t line) : content_(writable(integer)), line_(line) {}
Value::Value(std::string string, std::uint64_t line) : content_(std::move(string)), line_(line) {}
Value::Value(Array array, std::uint64_t line)
    : content_(std::make_unique<Array>(std::move(array))), line_(line) {}
Value::Value(Object object, std::uint64_t line)
    : content_(std::make_unique<Object>(std::move(object))), line_(line) {}
Value::Value(Value&&) noexcept = default;
Value& Value::operator=(Value&&) noexcept = default;
Value::~Value() = default;

const Array* Value::if_array() const {
  const auto* array = std::get_if<std::unique_ptr<Array>>(&content_);
  return array ? array->get() : nullptr;
}
const Object* Value::if_object() const {
  const auto* object = std::get_if<std::unique_ptr<Object>>(&content_);
  return object ? object->get() : nullptr;
}

std::int64_t Value::integer() const { return expect(if_integer(), kAnInteger, *this); }
const std::string& Value::string() const { return expect(if_string(), kAString, *this); }
const Array& Value::array() const { return expect(if_array(), kAnArray, *this); }
const Object& Value::object() const { return expect(if_object(), kAnObject, *this); }

bool operator==(const Value& a, const Value& b) {
  if (const std::int64_t* integer = a.if_integer())
    return b.if_integer() != nullptr && *integer == *b.if_integer();
  if (const std::string* string = a.if_string())
    return b.if_string() != nullptr && *string == *b.if_string();
  if (const Array* array = a.if_array())
    return b.if_array() != nullptr && array->values() == b.if_array()->values();
  const auto same = [](const Object::Member& x, const Object::Member& y) {
    return x.key == y.key && x.value == y.value;
  };
  return b.if_object() != nullptr &&
         std::ranges::equal(a.if_object()->members(), b.if_object()->members(), same);
}

void Array::add_integer(std::int64_t value) { values_.emplace_back(value, 0); }
void Array::add_string(std::string value) { values_.emplace_back(std::move(value), 0); }
Object& Array::add_object() {
  values_.emplace_back(Object(depth_below(depth_)), 0);
  return const_cast<Object&>(values_.back().object());
}
Array& Array::add_array() {
  values_.emplace_back(Array(depth_below(depth_)), 0);
  return const_cast<Array&>(values_.back().array());
}

const Value* Object::find(std::string_view key) const {
  const auto found = index_.find(key);
  return found == index_.end() ? nullptr : &members_[found->second].value;
}

const Value& Object::at(std::string_view key) const {
  const Value* value = find(key);
  if (value == nullptr)
    throw KeyNotFoundException("config::Object::at()", "Key not found: " + std::string(key));
  return *value;
}

std::int64_t Object::integer(std::string_view key) const {
  return expect(at(key).if_integer(), kAnInteger, at(key), key);
}
const std::string& Object::string(std::string_view key) const {
  return expect(at(key).if_string(), kAString, at(key), key);
}
const Array& Object::array(std::string_view key) const {
  return expect(at(key).if_array(), kAnArray, at(key), key);
}
const Object& Object::object(std::string_view key) const {
  return expect(at(key).if_object(), kAnObject, at(key), key);
}

const Value& Object::add(std::string key, Value value) {
  constexpr const char* kHere = "config::Object::add()";
  if (const char* refusal = key_refusal(key)) throw InvalidParametersException(kHere, refusal);
  if (!index_.emplace(key, members_.size()).second)
    throw InvalidParametersException(kHere, "Attempted to add an existing key.");
  members_.push_back({std::move(key), std::move(value), std::exchange(next_section_, {})});
  return members_.back().value;
}

void Object::add_integer(std::string key, std::int64_t value) {
  add(std::move(key), Value(value, 0));
}
void Object::add_string(std::string key, std::string value) {
  add(std::move(key), Value(std::move(value), 0));
}
Object& Object::add_object(std::string key) {
  return const_cast<Object&>(add(std::move(key), Value(Object(depth_below(depth_)), 0)).object());
}
Array& Object::add_array(std::string key) {
  return const_cast<Array&>(add(std::move(key), Value(Array(depth_below(depth_)), 0)).array());
}

}  // namespace nmp::config
