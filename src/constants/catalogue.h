// The fixed list of constants, with their algorithms, names and arguments.
//
// Keys are what the command line and configuration files use; a row's number is its choice in the
// catalogue menu.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace numforge {

struct ConstantCatalogueEntry {
  const char* key;           ///< "pi"
  char color;                ///< console colour of the row
  const char* display_name;  ///< "Pi"
  const char* value;         ///< first digits, or null
  /// Cost relative to a radix conversion, one number per algorithm, or null.
  const char* difficulty;
};

/// The eleven rows in menu order.
std::span<const ConstantCatalogueEntry> catalogue();
/// Throws InvalidParametersException "Invalid Constant: " and the key, with the known keys.
const ConstantCatalogueEntry& constant_by_key(std::string_view key);
/// Whether this version can compute the constant. The one place that says so.
bool is_available(std::string_view key);
/// The sentence that says that it cannot.
std::string unavailable_text(const ConstantCatalogueEntry& constant);

struct AlgorithmEntry {
  const char* key;         ///< "chudnovsky"
  const char* long_name;   ///< in the menu: "Chudnovsky (1988)"
  const char* note;        ///< behind it: "(fastest)"; further lines may follow
  const char* short_name;  ///< in summaries and file names: "Chudnovsky"
};

/// What the algorithm menu of a constant shows. The first algorithm is the default.
struct AlgorithmMenu {
  const char* constant;  ///< key
  const char* name;      ///< "Menu-Pi-Algorithms"
  std::span<const AlgorithmEntry> algorithms;
  const char* notes;  ///< lines under the options
};
const AlgorithmMenu& algorithm_menu(const ConstantCatalogueEntry& constant);
/// Throws InvalidParametersException "Invalid Algorithm: " and the key.
const AlgorithmEntry& algorithm_by_key(const ConstantCatalogueEntry& constant,
                                       std::string_view key);

/// Arguments. A check returns what the job keeps, or throws InvalidParametersException.
/// sqrt: n itself, 2 to 2^32 - 1, no perfect square.
std::uint64_t check_sqrt_argument(std::int64_t n);
/// log: n itself, 2 to 2^32 - 1.
std::uint64_t check_log_argument(std::int64_t n);
/// brent: k from 1 to 63; the job keeps 2^k.
std::uint64_t check_brent_argument(std::int64_t k);
bool is_perfect_square(std::uint32_t n);

/// True for the constants whose argument is a number (sqrt, log, brent).
bool takes_number(const ConstantCatalogueEntry& constant);
/// The check of that constant; a constant without an argument refuses every number.
std::uint64_t check_argument(const ConstantCatalogueEntry& constant, std::int64_t number);
/// The same for text, read up to its first character that is no digit. Constants without a number
/// accept only the empty text and keep 0.
std::uint64_t parse_argument(const ConstantCatalogueEntry& constant, std::string_view text);

/// Status lines and file names: "Pi", "Sqrt(2)". Holds no character that file systems refuse.
std::string result_name(const ConstantCatalogueEntry& constant, std::uint64_t argument);
/// A name without characters that file systems refuse.
std::string file_name_text(std::string name);
/// The menu text with the parts that depend on the argument: "Brent-McMillan ( n = 2^10)",
/// "Primary Machin-like Formula (3 terms)", and the short name with its own. `words`: the
/// precision, where it is known; it chooses the n of gamma.
std::string long_name(const ConstantCatalogueEntry& constant, const AlgorithmEntry& algorithm,
                      std::uint64_t argument, std::uint64_t words = 0);
std::string short_name(const ConstantCatalogueEntry& constant, const AlgorithmEntry& algorithm,
                       std::uint64_t argument);

}  // namespace numforge
