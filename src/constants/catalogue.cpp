#include "constants/catalogue.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "constants/euler_gamma.h"
#include "constants/machin_search.h"
#include "foundation/command_line.h"
#include "foundation/exceptions.h"

namespace numforge {
namespace {

[[noreturn]] void refuse(const char* function, const std::string& message) {
  throw nmp::InvalidParametersException(function, message);
}

bool is(const ConstantCatalogueEntry& constant, std::string_view key) {
  return constant.key == key;
}

/// The length of the formula that the algorithm stands for, where the argument decides.
std::string terms_text(const ConstantCatalogueEntry& constant, const AlgorithmEntry& algorithm,
                       std::uint64_t argument) {
  if (!is(constant, "log")) return "";
  const MachinFormula formula = log_formula(static_cast<std::uint32_t>(argument), algorithm.key);
  return " (" + std::to_string(formula.terms.size()) + " terms)";
}

constexpr std::int64_t kLargestArgument = 4294967295;

}  // namespace

const ConstantCatalogueEntry& constant_by_key(std::string_view key) {
  std::string known;
  for (const ConstantCatalogueEntry& entry : catalogue()) {
    if (entry.key == key) return entry;
    known += (known.empty() ? "" : ", ") + std::string(entry.key);
  }
  refuse("constant_by_key()",
         "Invalid Constant: " + std::string(key) + "\nThe constants are: " + known + ".");
}

bool is_available(std::string_view key) { return key != "custom"; }

std::string unavailable_text(const ConstantCatalogueEntry& constant) {
  return "The constant \"" + std::string(constant.key) + "\" is not built into this version yet.";
}

const AlgorithmEntry& algorithm_by_key(const ConstantCatalogueEntry& constant,
                                       std::string_view key) {
  for (const AlgorithmEntry& entry : algorithm_menu(constant).algorithms)
    if (entry.key == key) return entry;
  refuse("algorithm_by_key()", "Invalid Algorithm: " + std::string(key));
}

bool is_perfect_square(std::uint32_t n) {
  // The root of 2^32 - 1 rounds to 2^16, whose square wraps to 0: no false positive, as n >= 1.
  const auto root = static_cast<std::uint32_t>(std::sqrt(static_cast<double>(n)) + 0.5);
  return root * root == n;
}

std::uint64_t check_log_argument(std::int64_t n) {
  if (n < 2) refuse("check_log_argument()", "Argument must be greater than 1.");
  if (n > kLargestArgument) refuse("check_log_argument()", "Argument is too large.");
  return static_cast<std::uint64_t>(n);
}

std::uint64_t check_sqrt_argument(std::int64_t n) {
  if (n < 2) refuse("check_sqrt_argument()", "Argument must be greater than 1.");
  if (n > kLargestArgument) refuse("check_sqrt_argument()", "Argument is too large.");
  if (is_perfect_square(static_cast<std::uint32_t>(n)))
    refuse("check_sqrt_argument()", std::to_string(n) + " is a perfect square.");
  return static_cast<std::uint64_t>(n);
}

std::uint64_t check_brent_argument(std::int64_t k) {
  if (k <= 0) refuse("check_brent_argument()", "Argument must be greater than 0.");
  if (k > kLargestArgument) refuse("check_brent_argument()", "Argument is too large.");
  if (k > 63) refuse("check_brent_argument()", std::to_string(k) + " is out of range.");
  return std::uint64_t{1} << k;
}

bool takes_number(const ConstantCatalogueEntry& constant) {
  return is(constant, "sqrt") || is(constant, "log") || is(constant, "brent");
}

std::uint64_t check_argument(const ConstantCatalogueEntry& constant, std::int64_t number) {
  if (is(constant, "sqrt")) return check_sqrt_argument(number);
  if (is(constant, "log")) return check_log_argument(number);
  if (is(constant, "brent")) return check_brent_argument(number);
  refuse("check_argument()", std::string(constant.display_name) + " takes no argument.");
}

std::uint64_t parse_argument(const ConstantCatalogueEntry& constant, std::string_view text) {
  if (!takes_number(constant) && text.empty()) return 0;
  return check_argument(constant, nmp::parse_plain_integer(text));
}

std::string result_name(const ConstantCatalogueEntry& constant, std::uint64_t argument) {
  if (is(constant, "sqrt")) return "Sqrt(" + std::to_string(argument) + ")";
  if (is(constant, "log")) return "Log(" + std::to_string(argument) + ")";
  if (is(constant, "zeta3")) return "Zeta(3)";
  if (is(constant, "catalan")) return "Catalan";
  if (is(constant, "gamma") || is(constant, "brent")) return "Euler-Mascheroni";
  if (is(constant, "custom")) return "Custom";
  return constant.display_name;
}

std::string file_name_text(std::string name) {
  std::erase_if(name, [](char c) {
    return static_cast<unsigned char>(c) < 32 ||
           std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos;
  });
  return name;
}

std::string long_name(const ConstantCatalogueEntry& constant, const AlgorithmEntry& algorithm,
                      std::uint64_t argument, std::uint64_t words) {
  std::string text = algorithm.long_name;
  unsigned k = 0;
  if (is(constant, "brent")) k = static_cast<unsigned>(std::countr_zero(argument));
  if (is(constant, "gamma") && words != 0)
    k = Formulas::EulerGamma_BrentMcMillan_BigFloatR::k_for(
        words, std::string_view(algorithm.key) == "brent-refined");
  if (k != 0) text += " ( n = 2^" + std::to_string(k) + ")";
  return text + terms_text(constant, algorithm, argument);
}

std::string short_name(const ConstantCatalogueEntry& constant, const AlgorithmEntry& algorithm,
                       std::uint64_t argument) {
  return algorithm.short_name + terms_text(constant, algorithm, argument);
}

}  // namespace numforge
