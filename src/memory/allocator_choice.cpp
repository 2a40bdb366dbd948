#include "memory/allocator_choice.h"

#include <algorithm>

#include "foundation/exceptions.h"
#include "platform/pages.h"

namespace nmp {
namespace {

constexpr const char* kPolicyKey = "MemoryPolicy";

constexpr AllocatorFlag kPageFlags[] = {
    {"largepages", "LargePages", "Use large pages?", &AllocatorSettings::large_pages, true},
    {"lockedpages", "LockedPages", "Lock pages in memory?", &AllocatorSettings::locked_pages, true},
};
constexpr AllocatorFlag kInterleaveFlags[] = {
    {"largepages", "LargePages", "Use large pages?", &AllocatorSettings::large_pages, true},
    {"lockedpages", "LockPages", "Lock pages in memory?", &AllocatorSettings::locked_pages, true},
    {"nobind", "NumaBind", "Place pages from their own nodes?", &AllocatorSettings::numa_bind,
     false},
};

[[noreturn]] void refuse(const std::string& message) {
  throw InvalidParametersException("parse_allocator()", message);
}

void set_flag(AllocatorChoice& choice, std::string_view word) {
  for (const AllocatorFlag& flag : choice.type->flags)
    if (word == flag.word) {
      choice.settings.*flag.field = flag.word_means;
      return;
    }
  refuse("Memory allocator \"" + std::string(choice.type->key) + "\" has no setting \"" +
         std::string(word) + "\".");
}

}  // namespace

void AllocatorTypes::add(const AllocatorType& type) {
  for (const AllocatorType& other : types_)
    if (std::string_view(other.key) == type.key)
      throw InvalidParametersException("AllocatorTypes::add()", "Duplicate Allocator Type");
  types_.push_back(type);
}

const AllocatorType& AllocatorTypes::at(std::string_view key) const {
  for (const AllocatorType& type : types_)
    if (type.key == key) return type;
  throw InvalidParametersException("AllocatorTypes::at()",
                                   "Invalid Memory Allocator: " + std::string(key));
}

const AllocatorTypes& allocator_types() {
  static const AllocatorTypes types = [] {
    AllocatorTypes all;
    all.add({"malloc", "C malloc()", {}, make_malloc_allocator});
    all.add({"mmap", platform::kPageAllocatorName, kPageFlags, make_page_allocator});
    all.add({"interleave", "Node Interleaving", kInterleaveFlags, make_interleave_allocator});
    return all;
  }();
  return types;
}

std::string AllocatorChoice::description() const {
  std::string text = type->key;
  char separator = ':';
  for (const AllocatorFlag& flag : type->flags) {
    if (settings.*flag.field != flag.word_means) continue;
    text += separator + std::string(flag.word);
    separator = ',';
  }
  return text;
}

AllocatorChoice parse_allocator(std::string_view description) {
  const std::size_t colon = std::min(description.find(':'), description.size());
  AllocatorChoice choice{&allocator_types().at(description.substr(0, colon)), {}};
  if (colon == description.size()) return choice;
  for (std::string_view words = description.substr(colon + 1);;) {
    const std::size_t comma = words.find(',');
    set_flag(choice, words.substr(0, comma));
    if (comma == words.npos) return choice;
    words.remove_prefix(comma + 1);
  }
}

void add_to_config(config::Object& object, const AllocatorChoice& choice) {
  object.add_string(kPolicyKey, choice.type->key);
  for (const AllocatorFlag& flag : choice.type->flags)
    object.add_integer(flag.config_key, choice.settings.*flag.field ? 1 : 0);
}

AllocatorChoice allocator_from_config(const config::Object& object) {
  AllocatorChoice choice{&allocator_types().at(object.string(kPolicyKey)), {}};
  for (const AllocatorFlag& flag : choice.type->flags)
    if (object.find(flag.config_key) != nullptr)
      choice.settings.*flag.field = object.integer(flag.config_key) != 0;
  return choice;
}

}  // namespace nmp
