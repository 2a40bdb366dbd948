#include "tools/bbp/bbp_report.h"

#include <algorithm>

#include "foundation/format.h"

namespace numforge {
namespace {

constexpr std::size_t kDigitsPerGroup = 10, kDigitsPerLine = 50;

std::string row(std::string label, const std::string& value) {
  label.resize(28, ' ');
  return label + value;
}

}  // namespace

std::vector<std::string> bbp_report(const BBPSession& session, const BBPv2::Digits& digits,
                                    double seconds) {
  const BBPPlan& plan = digits.plan;
  const std::string& text = digits.text;
  std::vector<std::string> lines = {"Hexadecimal Digits of Pi from Offset " +
                                    nmp::with_commas(plan.offset) + ":"};
  for (std::size_t at = 0; at < text.size(); at += kDigitsPerLine) {
    std::string line;
    const std::size_t end = std::min(text.size(), at + kDigitsPerLine);
    for (std::size_t i = at; i < end; i += kDigitsPerGroup)
      line += text.substr(i, std::min(kDigitsPerGroup, end - i)) + " ";
    lines.push_back(line + " :  " + nmp::with_commas(plan.offset + end));
  }
  const std::uint64_t evaluations = plan.terms * plan.terms_of().pieces;
  lines.push_back("");
  lines.push_back(row("Formula:", plan.terms_of().name));
  lines.push_back(row("Correct Digits:", "all " + nmp::with_commas(plan.digits) +
                                             "  (the error bound proves " +
                                             nmp::with_commas(digits.proven) + ")"));
  lines.push_back(row("Internal Precision:", nmp::with_commas(plan.precision_bits()) + " bits"));
  lines.push_back(row("Instruction Set:", bbp_kernels().name));
  const auto threads = static_cast<double>(session.settings().threads);
  const double rate = seconds > 0 ? static_cast<double>(evaluations) / seconds / threads : 0;
  lines.push_back(row("Evaluations:", nmp::with_commas(evaluations) + "  (" +
                                          nmp::with_commas(static_cast<std::uint64_t>(rate)) +
                                          " per second and thread)"));
  lines.push_back(row("Total:", nmp::duration(seconds)));
  return lines;
}

}  // namespace numforge
