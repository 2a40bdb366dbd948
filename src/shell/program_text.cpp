#include "shell/program_text.h"

#include "compute/job_options.h"
#include "constants/catalogue.h"
#include "digits/viewer/digit_viewer.h"
#include "foundation/console.h"
#include "shell/actions.h"
#include "shell/global_options.h"
#include "tools/bbp/bbp_options.h"

namespace numforge {
namespace {

namespace console = nmp::console;

/// One line per constant that can be computed, with its algorithm keys.
std::string constants_help() {
  std::string text;
  for (const ConstantCatalogueEntry& constant : catalogue()) {
    if (!is_available(constant.key)) continue;
    std::string line = std::string("    ") + constant.key + (takes_number(constant) ? ":N" : "");
    line.resize(28, ' ');
    for (const AlgorithmEntry& algorithm : algorithm_menu(constant).algorithms)
      line += std::string(algorithm.key) + "  ";
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

std::string bbp_help() { return "\nOptions of \"bbp\":\n" + nmp::option_help(bbp_options()); }

void print_help(const nmp::BuildProfile& profile) {
  console::print(nmp::program_title(profile) +
                 "\n\n"
                 "Computes mathematical constants to many digits. Without an action a menu opens.\n"
                 "\n"
                 "Usage:\n"
                 "    numforge [GLOBAL OPTION ...] [ACTION ...]\n"
                 "\n"
                 "Global options:\n" +
                 nmp::option_help(global_options()) + "\nActions:\n" + nmp::option_help(actions()) +
                 "    --help, -h, help        this text\n" +
                 "    --version               the version\n" + "\nOptions of \"custom\":\n" +
                 nmp::option_help(job_options()) + bbp_help() + "\nChoices of \"digitviewer\":\n" +
                 nmp::option_help(nmp::viewer_options()) + "\nConstants and their algorithms:\n" +
                 constants_help() +
                 "\nExample:\n"
                 "    numforge custom pi -dec:1M -o:digits\n");
}

}  // namespace

void print_about(const nmp::BuildProfile& profile) {
  console::print(
      "\n" + nmp::program_title(profile) +
      "\n\n"
      "numforge computes mathematical constants to very many digits: it sums series by binary\n"
      "splitting over exact integers, divides and takes roots by Newton's method, converts the\n"
      "result to decimal and hexadecimal digits and writes them to files. It checks its own work\n"
      "as it goes, by residues modulo 2^61 - 1.\n"
      "\n"
      "Start it with --help for the command line.\n");
}

bool print_program_text(std::string_view word, const nmp::BuildProfile& profile) {
  if (word == "--version") {
    console::print_line(nmp::program_title(profile));
    return true;
  }
  if (word != "--help" && word != "-h" && word != "help") return false;
  print_help(profile);
  return true;
}

}  // namespace numforge
