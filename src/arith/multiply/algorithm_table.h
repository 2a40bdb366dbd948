// Maps the length of a product to the algorithm that multiplies it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "arith/multiply/algorithm.h"

namespace nmp {

/// All registered algorithms, in the order in which menus list them. `instance` is null where this
/// program has no implementation of a registered name.
struct RegisteredAlgorithm {
  const char* id;
  const char* name;
  const char* tag;
  const char* description;
  std::uint64_t max_size;  ///< bits
  const Algorithm* instance;
};
std::span<const RegisteredAlgorithm> algorithm_registry();

/// One line of a tuning list: use `id` for products of up to `threshold` bits.
struct TuningEntry {
  const char* id;
  std::uint64_t threshold;  ///< bits
};

class AlgorithmTable {
 public:
  static constexpr std::uint32_t kUnit = kWordBits;  ///< bits per word

  explicit AlgorithmTable(std::string name = "AlgorithmTable") : name_(std::move(name)) {}

  /// Appends an entry: `algorithm` serves products of up to `threshold` words. Null is ignored.
  /// Throws StringException "Thresholds must be increasing." or "Thresholds is larger than maximum
  /// size.".
  void add(std::uint64_t threshold, const Algorithm* algorithm);

  /// The algorithm for a product of n words: the first entry whose threshold is not below n.
  /// Throws LimitExceededException past the last entry.
  const Algorithm& get_algorithm(std::uint64_t n) const;

  /// Fills the table from a tuning list. Unknown ids and algorithms without an instance are
  /// reported on the console and skipped.
  void load(std::span<const TuningEntry> list);

  /// Algorithm::prepare of every entry that products of at most n words may use.
  void prepare(std::uint64_t n) const;

  /// The same where only so much scratch is at hand: a later entry, if it needs less and the first
  /// one more than there is.
  const Algorithm& get_algorithm(std::uint64_t n, unsigned threads, std::size_t scratch) const;

  /// Bytes of scratch with which products of at most n words can be formed: by the algorithm that
  /// n words get, shorter ones by it too where their own needs more.
  std::size_t scratch_bytes(std::uint64_t n, unsigned threads) const;

 private:
  struct Entry {
    std::uint64_t threshold;  ///< words
    const Algorithm* algorithm;
  };
  std::string name_;
  std::vector<Entry> entries_;
};

/// Bytes of scratch that `multiply` needs for al + bl <= n words.
std::size_t multiply_scratch(const Context& context, std::size_t n);

/// The same context, with shorter pieces for products of n words until they need no more than
/// `scratch` bytes, or the pieces are as short as they get.
Context with_pieces_within(const Context& context, std::size_t n, std::size_t scratch);

/// Products of this many words and more are checked against the residues of their operands.
inline constexpr std::size_t kCheckedProductWords = 512;

/// c[0, al + bl) = a * b through the dispatcher; see Algorithm::multiply for the contract. Products
/// of kCheckedProductWords words are checked: the residue of c modulo 2^61 - 1 must be the
/// product of the operands' residues, else AlgorithmFailedException. Numbers that carry residues
/// give the product's as `residue`; without it the operands are read for theirs.
void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
              std::size_t bl, AlignedBufferC scratch,
              std::optional<std::uint64_t> residue = std::nullopt);

}  // namespace nmp
