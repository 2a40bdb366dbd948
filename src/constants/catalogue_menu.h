// The console dialogues in which a person picks a constant, its argument and its algorithm.
//
// Each returns nothing when the person leaves without a choice or the input ends.
#pragma once

#include <cstdint>
#include <optional>

#include "constants/catalogue.h"

namespace numforge {

struct ConstantChoice {
  const ConstantCatalogueEntry* constant;
  const AlgorithmEntry* algorithm;
  std::uint64_t argument;  ///< as the argument checks return it; 0 without one
};

/// The whole dialogue: catalogue, argument, algorithm. A constant that cannot be computed yet is
/// said to be so and counts as no choice. `words`: the precision, for the menu texts.
std::optional<ConstantChoice> choose_constant(std::uint64_t words = 0);

/// The catalogue alone: prints it and reads the number of a row.
const ConstantCatalogueEntry* choose_catalogue_entry();
/// Asks for the number that sqrt, log or brent takes until it passes its check.
std::optional<std::uint64_t> prompt_argument(const ConstantCatalogueEntry& constant);
/// The algorithm menu of a constant. Nothing typed picks the default.
const AlgorithmEntry* choose_algorithm(const ConstantCatalogueEntry& constant,
                                       std::uint64_t argument, std::uint64_t words = 0);

}  // namespace numforge
