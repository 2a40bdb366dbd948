#include "constants/machin_formula.h"

#include <cmath>
#include <cstdio>

namespace numforge {

double MachinFormula::cost() const {
  double sum = 0;
  for (const MachinTerm& term : terms) sum += 1 / std::log(static_cast<double>(term.x));
  return sum;
}

std::string MachinFormula::text() const {
  std::string text = "Log[" + std::to_string(n) + "] = \n";
  for (const MachinTerm& term : terms) {
    char line[80];
    std::snprintf(line, sizeof line, "\n%14lld * ArcCoth[%llu]",
                  static_cast<long long>(term.coefficient),
                  static_cast<unsigned long long>(term.x));
    text += line;
  }
  char line[40];
  std::snprintf(line, sizeof line, "\n        Cost = %.6f", cost());
  return text + line;
}

}  // namespace numforge
