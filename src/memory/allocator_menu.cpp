#include "memory/allocator_menu.h"

#include "foundation/console.h"

namespace nmp {
namespace {

/// The type that the user picks, or null at the end of input.
const AllocatorType* choose_type(const AllocatorType* current) {
  const std::span<const AllocatorType> types = allocator_types().all();
  console::print_line("\n\nSelect a Memory Allocator:\n");
  for (std::size_t i = 0; i < types.size(); ++i)
    console::print_line("   " + std::to_string(i) + "        " + types[i].display_name);
  console::print_line();
  for (;;) {
    const std::optional<std::int64_t> answer =
        console::read_integer("option: ", current - types.data());
    if (!answer) return nullptr;
    if (*answer >= 0 && *answer < static_cast<std::int64_t>(types.size()))
      return &types[static_cast<std::size_t>(*answer)];
    console::print_line("Invalid input.");
  }
}

}  // namespace

std::optional<AllocatorChoice> choose_allocator(const AllocatorChoice& current) {
  AllocatorChoice choice = current;
  choice.type = choose_type(current.type);
  if (choice.type == nullptr) return std::nullopt;
  if (choice.type != current.type) choice.settings = {};
  for (const AllocatorFlag& flag : choice.type->flags) {
    bool& setting = choice.settings.*flag.field;
    const std::optional<std::int64_t> answer =
        console::read_integer(std::string(flag.question) + " (0 = no, 1 = yes): ", setting);
    if (!answer) return std::nullopt;
    setting = *answer != 0;
  }
  return choice;
}

}  // namespace nmp
