#include "parallel/context.h"

#include <algorithm>
#include <charconv>

#include "foundation/exceptions.h"
#include "parallel/launch_context.h"
#include "parallel/serial.h"
#include "parallel/work_pool.h"
#include "platform/processor.h"
#include "platform/system_pool.h"

namespace nmp::parallel {
namespace {

struct Framework : FrameworkName {
  std::unique_ptr<Context> (*make)(std::string key, unsigned threads);
};

template <typename Class, auto... extra>
std::unique_ptr<Context> make(std::string key, unsigned threads) {
  return std::make_unique<Class>(std::move(key), threads, extra...);
}

constexpr Framework kFrameworks[] = {
    {{"none", "No threads but the program's own", false},
     [](std::string, unsigned) -> std::unique_ptr<Context> {
       return std::make_unique<SerialContext>();
     }},
    {{"cppasync", "std::async for every helper of a loop", true}, make_async_context},
    {{"spawn", "A new thread for every helper of a loop", true}, make_spawn_context},
    {{"taskqueue", "Pool of threads with one queue", true}, make<WorkPool, WorkPool::Queues::kOne>},
    {{"pushpool", "Pool of threads with a queue each (work stealing)", true},
     make<WorkPool, WorkPool::Queues::kOnePerThread>},
    {{"winpool", "Windows thread pool", true}, make_system_pool_context},
};

struct Description {
  const Framework& framework;
  unsigned threads;
};

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

[[noreturn]] void refuse(const std::string& message) {
  throw InvalidParametersException("parallel::make_context()", message);
}

const Framework& framework_by_key(std::string_view key) {
  std::string list;
  for (const Framework& framework : kFrameworks) {
    if (framework.key == key) return framework;
    list += (list.empty() ? "" : ", ") + quoted(framework.key);
  }
  refuse("Unknown parallel framework " + quoted(key) + ". Known frameworks: " + list + ".");
}

unsigned parse_threads(std::string_view text) {
  unsigned threads = 0;
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, threads);
  if (error != std::errc() || at != end || threads < 1 || threads > kMostThreads)
    refuse("The number of threads of a parallel framework must be between 1 and " +
           std::to_string(kMostThreads) + ", not " + quoted(text) + ".");
  return threads;
}

Description parse(std::string_view text) {
  const std::size_t colon = text.find(':');
  const std::string_view key = text.substr(0, colon);
  const Framework& framework = framework_by_key(key);
  if (key == "winpool" && !platform::SystemPool::is_available())
    refuse("The parallel framework \"winpool\" is only available on Windows.");
  if (colon == std::string_view::npos)
    return {framework, std::min(kMostThreads, platform::logical_processors())};
  if (!framework.threaded)
    refuse("The parallel framework " + quoted(key) + " takes no number of threads.");
  return {framework, parse_threads(text.substr(colon + 1))};
}

}  // namespace

std::vector<FrameworkName> framework_names() {
  return {std::begin(kFrameworks), std::end(kFrameworks)};
}

std::unique_ptr<Context> make_context(std::string_view description) {
  const Description parsed = parse(description);
  return parsed.framework.make(std::string(parsed.framework.key), parsed.threads);
}

std::string canonical_description(std::string_view description) {
  const Description parsed = parse(description);
  std::string text(parsed.framework.key);
  return parsed.framework.threaded ? text + ':' + std::to_string(parsed.threads) : text;
}

}  // namespace nmp::parallel
