// Opens a digit file of any kind.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "digits/ncd_set_reader.h"
#include "digits/text_reader.h"

namespace nmp {

struct OpenDigits {
  std::string path;
  std::unique_ptr<DigitReader> reader;
  BasicNcdSetReader* set = nullptr;  ///< the reader, where it is one of compressed files
};

/// ".txt" opens a text file, ".ncd" a set of compressed ones. `radix`, 0 or that of a text file,
/// wins over what the file shows; `folders` is where blocks of a set are looked for besides its own
/// folder. InvalidParametersException "No Extension found.", "Unrecognized Extension: ..."; a plain
/// sentence for what is no regular file; and what the readers throw.
OpenDigits open_digits(const std::string& path, unsigned radix,
                       const std::vector<std::string>& folders);

/// The radix of a text file: what its name says (" - Dec - ", " - Hex - "), else 16 where letters
/// are among its digits, else 10 where there are enough without. 0: cannot be told.
unsigned text_radix(const std::string& path);

/// Text from a file, safe to print: at most `most` characters, "?" for what is not printable.
std::string printable(const std::string& text, std::size_t most = 60);

}  // namespace nmp
