#include "tools/bbp/bbp_menu.h"

#include <optional>
#include <string>

#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace numforge {
namespace {

namespace console = nmp::console;
using Answer = std::optional<std::int64_t>;

constexpr const char* kFormulaMenu[] = {
    "Select the formula:",
    "",
    "   0   Original 4-term BBP",
    "",
    "          inf   1       4      2      1      1",
    "    Pi = SUM ---- ( ---- - ---- - ---- - ---- )",
    "          k=0 16^k    8k+1   8k+4   8k+5   8k+6",
    "",
    "   1   Bellard's 7-term BBP  (~43% faster)",
    "",
    "          inf (-1)^k     2^-1   2^-6    2^2      1     2^-4    2^-4    2^-6",
    "    Pi = SUM ------ ( - ---- - ---- + ----- - ----- - ----- - ----- + ----- )",
    "          k=0 1024^k     4k+1   4k+3   10k+1   10k+3   10k+5   10k+7   10k+9",
    "",
};

constexpr const char* kModesText[] = {
    "The BBP digit extractor has different modes for different ranges of divisor",
    "sizes. Modes that can handle larger divisors tend to be slower.",
    "",
    "By default, all modes are enabled and the program will automatically use",
    "the fastest mode for each term based on the size of its divisor.",
    "",
    "Therefore, there is no need change anything here since the default settings",
    "are the fastest. This menu is primarily a developer feature to force the",
    "program to use the slower modes by selectively disabling the faster ones.",
    "",
};

template <std::size_t n>
void print_lines(const char* const (&lines)[n]) {
  console::print_line("\n");
  for (const char* line : lines) console::print_line(line);
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

void print_row(const char* label, const std::string& value) {
  console::print('w', padded(label, 32));
  console::print_line('G', value);
}

std::string mode_letters(BBPModeSet modes) {
  std::string text;
  for (unsigned mode = 0; mode < kBBPModes; ++mode)
    if ((modes & mode_bit(BBPMode{mode})) != 0)
      text += std::string(text.empty() ? "" : " ") + static_cast<char>('A' + mode);
  return text.empty() ? "none" : text;
}

void print_screen(const BBPSession& session, const nmp::BuildProfile& profile) {
  const BBPSettings& settings = session.settings();
  const BBPPlan& plan = session.plan();
  console::print_line(
      'T', std::string("\n\nnumforge BBP Pi Digit Extractor v") + nmp::program_version());
  console::print_line('T', std::string(profile.label) + "\n");
  print_row("  1     Formula:", plan.terms_of().name);
  print_row("  2     Hexadecimal Offset:", nmp::with_commas(plan.offset));
  print_row("  3     Digits to Compute:", nmp::with_commas(plan.digits));
  console::print_line();
  print_row("        Internal Precision:", nmp::with_commas(plan.precision_bits()) + " bits");
  print_row("        Terms Needed:", nmp::with_commas(plan.terms));
  print_row("        Largest Divisor:", nmp::with_commas(plan.largest_divisor));
  console::print_line();
  print_row("  4     Multi-Threading:", nmp::with_commas(std::uint64_t(settings.threads)) +
                                            (settings.threads == 1 ? " thread" : " threads"));
  print_row("  5     Pin Threads to Cores:", settings.pin_threads ? "Yes" : "No");
  print_row("  6     Modes:", mode_letters(session.usable_modes()));
  console::print_line();
  if (const std::string reason = session.cannot_start(); !reason.empty())
    console::print_line('R', "        Cannot Start: " + reason + "\n");
  else
    console::print_line('Y', "  0     Start Computation!\n");
  console::print_line('w', "Enter your choice:");
}

void print_modes(const BBPSession& session) {
  print_lines(kModesText);
  console::print_line("  Option   Mode      Divisor Limit    Speed          Status\n");
  for (unsigned mode = 0; mode < kBBPModes; ++mode) {
    const BBPModeInfo& info = kBBPModeInfo[mode];
    const BBPModeSet bit = mode_bit(BBPMode{mode});
    const bool available = (bbp_kernels().modes() & bit) != 0;
    const bool enabled = available && (session.settings().modes & bit) != 0;
    console::print('w', padded("  " + std::to_string(mode + 1), 11) + padded(info.name, 10) +
                            padded(info.limit_text, 17) + padded(info.speed, 15));
    console::print_line(enabled ? 'G' : 'R', !available ? "Not Available"
                                             : enabled  ? "Enabled"
                                                        : "Disabled");
  }
  console::print_line("\n  0     Done!\n");
}

/// False at the end of the input.
bool select_modes(BBPSession& session) {
  for (;;) {
    print_modes(session);
    const Answer choice = console::read_integer("option: ");
    if (!choice) return false;
    if (*choice == 0) return true;
    if (*choice < 1 || *choice > std::int64_t{kBBPModes}) continue;
    BBPSettings settings = session.settings();
    settings.modes ^= mode_bit(BBPMode{static_cast<unsigned>(*choice - 1)});
    session.update_settings(settings);
  }
}

/// Asks for one number; a refused one is explained and stays as it was. False at the end of input.
bool ask(BBPSession& session, const char* prompt, std::int64_t BBPSettings::*field) {
  BBPSettings settings = session.settings();
  console::print_line();
  const Answer answer = console::read_integer(prompt, settings.*field);
  if (!answer) return false;
  settings.*field = *answer;
  try {
    session.update_settings(settings);
  } catch (const nmp::InvalidParametersException& e) {
    console::print_line('R', "\n" + e.message());
  }
  return true;
}

bool select_formula(BBPSession& session) {
  print_lines(kFormulaMenu);
  const Answer answer = console::read_integer("option: ", session.settings().formula);
  if (!answer) return false;
  BBPSettings settings = session.settings();
  settings.formula = *answer;
  session.update_settings(settings);
  return true;
}

bool apply(BBPSession& session, std::int64_t choice) {
  switch (choice) {
    case 1:
      return select_formula(session);
    case 2:
      return ask(session, "Hexadecimal Offset: ", &BBPSettings::offset);
    case 3:
      return ask(session, "Digits to Compute: ", &BBPSettings::digits);
    case 4:
      return ask(session, "Threads: ", &BBPSettings::threads);
    case 5: {
      BBPSettings settings = session.settings();
      settings.pin_threads = !settings.pin_threads;
      session.update_settings(settings);
      return true;
    }
    case 6:
      return select_modes(session);
    default:
      return true;
  }
}

}  // namespace

bool bbp_menu(BBPSession& session, const nmp::BuildProfile& profile) {
  for (;;) {
    print_screen(session, profile);
    const Answer choice = console::read_integer("option: ");
    if (!choice) return false;
    if (*choice == 0 && session.cannot_start().empty()) return true;
    if (!apply(session, *choice)) return false;
  }
}

}  // namespace numforge
