// What an arithmetic operation needs to know about where it runs.
#pragma once

#include <cstddef>

namespace nmp {

namespace parallel {
class Context;
}
class AlgorithmTable;

/// A light handle, passed by reference through all arithmetic. Owns nothing.
struct Context {
  parallel::Context& threads;      ///< how to use several threads
  const AlgorithmTable& products;  ///< which algorithm multiplies which length
  /// Products of more words in all are formed from pieces: slower, in less scratch.
  std::size_t longest_product = static_cast<std::size_t>(-1);
  /// Parallel tasks that a series may be cut into at a time.
  unsigned most_tasks = static_cast<unsigned>(-1);
};

}  // namespace nmp
