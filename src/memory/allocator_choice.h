// The kinds of memory allocators by name, and what a user chose of them.
//
// A choice is written as KEY or KEY:SETTING,SETTING, for instance "mmap:largepages,lockedpages".
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/config/value.h"
#include "memory/memory_allocator.h"

namespace nmp {

/// A yes or no that an allocator can be told.
struct AllocatorFlag {
  const char* word;        ///< in descriptions: "largepages"
  const char* config_key;  ///< in configuration files: "LargePages"
  const char* question;    ///< in menus
  bool AllocatorSettings::*field;
  bool word_means;  ///< what the field becomes where the word stands
};

struct AllocatorType {
  const char* key;           ///< "malloc"
  const char* display_name;  ///< "C malloc()"
  std::span<const AllocatorFlag> flags;
  std::unique_ptr<MemoryAllocator> (*make)(const AllocatorSettings&);
};

class AllocatorTypes {
 public:
  /// Throws InvalidParametersException "Duplicate Allocator Type" for a key that is there already.
  void add(const AllocatorType& type);
  /// Throws InvalidParametersException "Invalid Memory Allocator:" and the name when it is unknown.
  const AllocatorType& at(std::string_view key) const;
  std::span<const AllocatorType> all() const { return types_; }

 private:
  std::vector<AllocatorType> types_;
};
/// "malloc", "mmap" and "interleave".
const AllocatorTypes& allocator_types();

struct AllocatorChoice {
  const AllocatorType* type = nullptr;  ///< of allocator_types()
  AllocatorSettings settings;

  /// The text from which parse_allocator makes an equal choice.
  std::string description() const;
  std::unique_ptr<MemoryAllocator> make() const { return type->make(settings); }
};

/// Pages as the system gives them: with large ones where it does so by itself.
inline constexpr std::string_view kDefaultAllocator = "mmap";

/// Throws InvalidParametersException for a description that is malformed.
AllocatorChoice parse_allocator(std::string_view description);

/// The settings object of a choice: {MemoryPolicy : "mmap"  LargePages : 1  LockedPages : 0}. A
/// flag that is missing keeps its default.
void add_to_config(config::Object& object, const AllocatorChoice& choice);
/// Throws what the lookups throw, and InvalidParametersException for an unknown allocator.
AllocatorChoice allocator_from_config(const config::Object& object);

}  // namespace nmp
