#include "parallel/context.h"

#include "foundation/exceptions.h"
#include "parallel/serial.h"

namespace nmp::parallel {
namespace {

using Maker = std::unique_ptr<Context> (*)();

struct Framework {
  std::string_view key;
  Maker make;  ///< null while the framework is known but not part of this version
};

constexpr Framework kFrameworks[] = {
    {"none", []() -> std::unique_ptr<Context> { return std::make_unique<SerialContext>(); }},
    {"cppasync", nullptr},
    {"spawn", nullptr},
    {"taskqueue", nullptr},
    {"pushpool", nullptr},
    {"winpool", nullptr},
};

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string list_of_keys() {
  std::string list;
  for (const Framework& framework : kFrameworks)
    list += (list.empty() ? "" : ", ") + quoted(framework.key);
  return list;
}

}  // namespace

std::unique_ptr<Context> make_context(std::string_view description) {
  constexpr const char* kFunction = "parallel::make_context()";
  for (const Framework& framework : kFrameworks) {
    if (framework.key != description) continue;
    if (framework.make) return framework.make();
    throw InvalidParametersException(kFunction,
                                     "The parallel framework " + quoted(description) +
                                         " is not available in this version. Use \"none\".");
  }
  throw InvalidParametersException(kFunction, "Unknown parallel framework " + quoted(description) +
                                                  ". Known frameworks: " + list_of_keys() + ".");
}

}  // namespace nmp::parallel
