#include "constants/catalogue_menu.h"

#include <chrono>
#include <string>

#include "constants/machin_search.h"
#include "foundation/command_line.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace numforge {
namespace {

namespace console = nmp::console;

struct Group {
  const char* title;
  std::size_t first, last;  ///< rows [first, last)
};
constexpr Group kGroups[] = {
    {"Fast Constants:", 0, 3},
    {"Moderate Constants:", 3, 8},
    {"Slow Constants:", 8, 9},
    {"Other:", 9, 11},
};

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.resize(width, ' ');
  return text;
}

/// A number that ends in column `width`.
std::string numbered(std::size_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - digits.size(), ' ') + digits;
}

void print_row(std::size_t row) {
  const ConstantCatalogueEntry& entry = catalogue()[row];
  const std::string value = entry.value ? entry.value : "";
  console::print_line(entry.color, numbered(row, 3) + std::string(9, ' ') +
                                       padded(entry.display_name, 28) +
                                       (value.empty() ? "  " : "= ") + padded(value, 16) +
                                       (entry.difficulty ? entry.difficulty : ""));
}

struct ArgumentPrompt {
  const char* key;
  const char* title;
  const char* prompt;
};
constexpr ArgumentPrompt kPrompts[] = {
    {"sqrt", "Square Root of n", "n = "},
    {"log", "Log(n)", "n = "},
    {"brent", "Euler's Constant\n\nn = 2^k", "k = "},
};

/// Derives the formula of each algorithm and prints them. False if that fails.
bool show_log_formulas(const AlgorithmMenu& menu, std::uint64_t n) {
  std::string formulas;
  console::print_line();
  for (const AlgorithmEntry& entry : menu.algorithms) {
    const std::string_view name(entry.long_name);
    console::print("Generating " + std::string(name.substr(0, name.find(' '))) + " Formula...  ");
    console::flush();
    const auto start = std::chrono::steady_clock::now();
    try {
      const MachinFormula formula = log_formula(static_cast<std::uint32_t>(n), entry.key);
      formulas += "\n" + std::string(name) + ":\n\n" + formula.text() + "\n";
    } catch (const nmp::AlgorithmFailedException& failure) {
      console::print_line('R', "\n\nError\n" + failure.message());
      console::print_line("Please report this as a bug.");
      return false;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    console::print_line('T', nmp::duration(took.count()));
  }
  console::print(formulas);
  return true;
}

void print_refusal(const ConstantCatalogueEntry& constant, std::int64_t number,
                   const nmp::InvalidParametersException& reason) {
  const bool square = std::string_view(constant.key) == "sqrt" && number > 1 &&
                      number <= 0xffffffff && is_perfect_square(static_cast<std::uint32_t>(number));
  if (square) {
    console::print_line("\nThis number is a perfect square.");
    console::print_line("Please choose something more interesting :)\n");
  } else {
    console::print_line("\n" + reason.message() + "\n");
  }
}

}  // namespace

const ConstantCatalogueEntry* choose_catalogue_entry() {
  console::print_line("\n\nCompute a Constant: (in ascending order of difficulty to compute)\n");
  console::print_line(
      "  #         Constant                      Value        "
      "Approximate Difficulty*\n");
  for (const Group& group : kGroups) {
    console::print_line(group.title);
    for (std::size_t row = group.first; row < group.last; ++row) print_row(row);
    console::print_line();
  }
  console::print_line("*Actual numbers will vary. Radix conversion = 1.00\n");
  console::print_line('w', "Enter your choice:");
  const std::optional<std::int64_t> choice = console::read_integer("option: ");
  if (!choice || *choice < 0 || *choice >= static_cast<std::int64_t>(catalogue().size()))
    return nullptr;
  return &catalogue()[static_cast<std::size_t>(*choice)];
}

std::optional<std::uint64_t> prompt_argument(const ConstantCatalogueEntry& constant) {
  const ArgumentPrompt* prompt = kPrompts;
  while (std::string_view(prompt->key) != constant.key) ++prompt;
  console::print_line("\n\n" + std::string(prompt->title) + "\n");
  for (;;) {
    const std::optional<std::string> answer = console::read_line(prompt->prompt);
    if (!answer) return std::nullopt;
    const std::int64_t number = nmp::parse_plain_integer(*answer);
    try {
      return check_argument(constant, number);
    } catch (const nmp::InvalidParametersException& reason) {
      print_refusal(constant, number, reason);
    }
  }
}

const AlgorithmEntry* choose_algorithm(const ConstantCatalogueEntry& constant,
                                       std::uint64_t argument, std::uint64_t words) {
  const AlgorithmMenu& menu = algorithm_menu(constant);
  if (std::string_view(constant.key) == "log" && !show_log_formulas(menu, argument)) return nullptr;
  console::print_line("\n\nSelect an Algorithm:\n");
  for (std::size_t i = 0; i < menu.algorithms.size(); ++i) {
    const AlgorithmEntry& entry = menu.algorithms[i];
    std::string line =
        numbered(i, 4) + std::string(8, ' ') + long_name(constant, entry, argument, words);
    if (*entry.note) line = padded(line, 44) + entry.note;
    console::print_line(line);
  }
  console::print_line();
  if (*menu.notes) console::print_line(menu.notes);
  for (;;) {
    const std::optional<std::int64_t> choice = console::read_integer("Algorithm: ", 0);
    if (!choice) return nullptr;
    if (*choice >= 0 && *choice < static_cast<std::int64_t>(menu.algorithms.size()))
      return &menu.algorithms[static_cast<std::size_t>(*choice)];
    console::print_line("Invalid input.");
  }
}

std::optional<ConstantChoice> choose_constant(std::uint64_t words) {
  const ConstantCatalogueEntry* constant = choose_catalogue_entry();
  if (constant == nullptr) return std::nullopt;
  if (!is_available(constant->key)) {
    console::print_line("\n" + unavailable_text(*constant));
    return std::nullopt;
  }
  std::uint64_t argument = 0;
  if (takes_number(*constant)) {
    const std::optional<std::uint64_t> answer = prompt_argument(*constant);
    if (!answer) return std::nullopt;
    argument = *answer;
  }
  const AlgorithmEntry* algorithm = choose_algorithm(*constant, argument, words);
  if (algorithm == nullptr) return std::nullopt;
  return ConstantChoice{constant, algorithm, argument};
}

}  // namespace numforge
