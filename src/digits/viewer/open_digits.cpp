#include "digits/viewer/open_digits.h"

#include <algorithm>

#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/file_io.h"
#include "platform/console.h"

namespace nmp {
namespace {

constexpr const char* kMenu = "Menu_DigitViewer()";
/// Digits that are looked at for their radix. A hexadecimal digit is a letter 6 times in 16, so
/// among 64 of them none is one with a probability of 1e-13.
constexpr std::size_t kSample = 4096, kEnough = 64;

std::string name_of(const std::string& path) {
  return path.substr(path.find_last_of("/\\") + 1);  // npos + 1 is 0: no folder
}

unsigned ask_radix() {
  if (!platform::stdin_is_terminal() || !console::is_terminal()) return 10;
  for (;;) {
    const auto answer = console::read_integer("Radix of the digits (10 or 16): ", 10);
    if (!answer || *answer == 10) return 10;
    if (*answer == 16) return 16;
    console::print_line("Invalid Radix");
  }
}

}  // namespace

std::string printable(const std::string& text, std::size_t most) {
  std::string shown = text.substr(0, most);
  for (char& c : shown)
    if (c < ' ' || c > '~') c = '?';
  return shown + (text.size() > most ? "..." : "");
}

unsigned text_radix(const std::string& path) {
  const std::string name = name_of(path);
  const bool decimal = name.find(" - Dec - ") != name.npos;
  if (decimal != (name.find(" - Hex - ") != name.npos)) return decimal ? 10 : 16;

  std::string sample(kSample, ' ');
  FileIO::CheckedFile file = FileIO::CheckedFile::open_read(path);
  sample.resize(file.read_at(sample.data(), sample.size(), 0));
  if (sample.find_first_of("abcdefABCDEF") != sample.npos) return 16;
  return sample.size() >= kEnough ? 10 : 0;
}

OpenDigits open_digits(const std::string& path, unsigned radix,
                       const std::vector<std::string>& folders) {
  const std::string name = name_of(path);
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos) throw InvalidParametersException(kMenu, "No Extension found.");
  const std::string extension = name.substr(dot);
  if (extension != ".txt" && extension != ".ncd")
    throw InvalidParametersException(kMenu, "Unrecognized Extension: " + printable(extension));
  if (platform::file_exists(path) && !platform::is_regular_file(path))
    throw FileIO::FileException(kMenu, path, 0, "This is not a regular file.");

  OpenDigits open{path};
  if (extension == ".ncd") {
    auto set = std::make_unique<BasicNcdSetReader>(path, folders);
    open.set = set.get();
    open.reader = std::move(set);
    return open;
  }
  if (radix == 0) radix = text_radix(path);
  if (radix == 0) radix = ask_radix();
  open.reader = std::make_unique<BasicTextReader>(path, radix);
  return open;
}

}  // namespace nmp
