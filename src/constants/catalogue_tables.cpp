// The texts of the catalogue. Rows without a formula yet are listed all the same.
#include <iterator>

#include "constants/catalogue.h"

namespace numforge {
namespace {

constexpr ConstantCatalogueEntry kCatalogue[] = {
    {"sqrt", 'P', "Sqrt(n)", "", "  1.46"},
    {"goldenratio", 'P', "Golden Ratio", "1.618034...", "  1.46"},
    {"e", 'P', "e", "2.718281...", "  3.88 / 3.88"},
    {"pi", 'G', "Pi", "3.141592...", "  13.2 / 19.9"},
    {"log", 'G', "Log(n)", "", "> 35.7"},
    {"zeta3", 'G', "Zeta(3) (Apery's Constant)", "1.202056...", "  62.8 / 65.7"},
    {"catalan", 'G', "Catalan's Constant", "0.915965...", "  78.0 / 105."},
    {"lemniscate", 'G', "Lemniscate", "5.244115...", "  60.4 / 124. / 154."},
    {"gamma", 'B', "Euler-Mascheroni Constant", "0.577215...", "  383. / 574."},
    {"brent", 'B', "Euler-Mascheroni Constant (parameter override)", nullptr, nullptr},
    {"custom", 'R', "Custom constant with user-defined formula.", nullptr, nullptr},
};

constexpr AlgorithmEntry kNewton[] = {
    {"newton", "1st order Newton's Method", "", "Newton's Method"},
};
constexpr AlgorithmEntry kE[] = {
    {"exp(1)", "Taylor Series of exp(1)", "", "exp(1)"},
    {"exp(-1)", "Taylor Series of exp(-1)", "(same speed)\n", "exp(-1)"},
};
constexpr AlgorithmEntry kPi[] = {
    {"chudnovsky", "Chudnovsky (1988)", "(fastest)", "Chudnovsky"},
    {"ramanujan", "Ramanujan (1910)", "(~40% slower)", "Ramanujan"},
    {"chudnovsky-reduced", "Chudnovsky (1988) (reduced memory)", "", "Chudnovsky (reduced)"},
    {"ramanujan-reduced", "Ramanujan (1910) (reduced memory)", "", "Ramanujan (reduced)"},
};
constexpr AlgorithmEntry kLog[] = {
    {"machin-primary", "Primary Machin-like Formula", "", "Primary Machin-like Formula"},
    {"machin-secondary", "Secondary Machin-like Formula", "", "Secondary Machin-like Formula"},
};
constexpr AlgorithmEntry kZeta3[] = {
    {"wedeniwski", "Wedeniwski (1998)", "(fastest)", "Wedeniwski"},
    {"az", "Amdeberhan-Zeilberger (1997)", "(slightly slower)", "Amdeberhan-Zeilberger (1997)"},
};
constexpr AlgorithmEntry kCatalan[] = {
    {"pilehrood-short", "Pilehrood (2010-short)", "(fastest)", "Pilehrood (short)"},
    {"guillera2019", "Guillera (2019)", "(1.3x slower)", "Guillera (2019)"},
    {"pilehrood-long", "Pilehrood (2010-long)", "(1.5x slower)", "Pilehrood (long)"},
    {"guillera2008", "Guillera (2008)", "(1.8x slower)", "Guillera (2008)"},
    {"lupas", "Lupas (2000)", "(3.8x slower)", "Lupas"},
    {"huvent", "Huvent (2006)", "(4.3x slower)", "Huvent"},
};
constexpr AlgorithmEntry kLemniscate[] = {
    {"agm-pi", "AGM with Pi",
     "(Can be very slow on disk.)\n"
     "            Lemniscate = 2 Pi / AGM(1, sqrt(2))\n",
     "AGM-Pi"},
    {"gauss", "Gauss Formula",
     "(2x slower in ram, may be faster on disk)\n"
     "            Lemniscate = 8 * ArcSinlemn(1/2) + 4 * ArcSinLemn(7/23)\n",
     "Gauss"},
    {"sebah", "Sebah's Formula",
     "(20% slower than Gauss)\n"
     "            Lemniscate = 8 * ArcSinlemn(2/3) - 4 * ArcSinLemn(7/137)\n",
     "Sebah"},
};
constexpr AlgorithmEntry kBrent[] = {
    {"brent-refined", "Brent-McMillan with Refinement", "", "Brent-McMillan (refined)"},
    {"brent-original", "Brent-McMillan", "", "Brent-McMillan"},
};
constexpr AlgorithmEntry kCustom[] = {
    {"custom", "User-Defined Formula", "", "custom"},
};

// In the order of the catalogue's rows.
constexpr AlgorithmMenu kMenus[] = {
    {"sqrt", "Menu-Sqrt-Algorithms", kNewton,
     "    There are no alternate formulas for square roots. To verify sqrt(n),\n"
     "    compute sqrt(100*n) instead. The digits will be the same, but shifted\n"
     "    over by one digit.\n"},
    {"goldenratio", "Menu-Goldenratio-Algorithms", kNewton,
     "    There is no alternate formula for Golden Ratio. However, a verification\n"
     "    can be done by computing sqrt(125) instead. The digits will be the same,\n"
     "    but shifted over by one digit.\n"},
    {"e", "Menu-E-Algorithms", kE, ""},
    {"pi", "Menu-Pi-Algorithms", kPi,
     "    Reduced memory algorithms use alternate parameters that require less\n"
     "    memory at the cost of decreased performance.\n"},
    {"log", "Menu-Log-Algorithms", kLog, ""},
    {"zeta3", "Menu-Zeta3-Algorithms", kZeta3, ""},
    {"catalan", "Menu-Catalan-Algorithms", kCatalan, ""},
    {"lemniscate", "Menu-Lemniscate-Algorithms", kLemniscate, ""},
    {"gamma", "Menu-Brent-Algorithms", kBrent, ""},
    {"brent", "Menu-Brent-Algorithms", kBrent, ""},
    {"custom", "Menu-Custom-Algorithms", kCustom, ""},
};
static_assert(std::size(kMenus) == std::size(kCatalogue));

}  // namespace

std::span<const ConstantCatalogueEntry> catalogue() { return kCatalogue; }

const AlgorithmMenu& algorithm_menu(const ConstantCatalogueEntry& constant) {
  return kMenus[&constant - kCatalogue];
}

}  // namespace numforge
