// Coloured console output and the prompts that read from it.
//
// A colour is one letter: upper case bright, lower case dark; B G T R P Y, anything else ("w")
// grey-white, a blank leaves the colour as it is.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace nmp::console {

/// Colours on or off for the whole process ("colors" option). On by default; they are only ever
/// sent to a real console.
void enable_colors(bool enabled);

/// True when standard output is an interactive console.
bool is_terminal();

/// Sets the colour of what follows.
void set_color(char code);

/// Prints text as it stands, in the current colour or in `code`, and goes back to "w" after it.
void print(std::string_view text);
void print(char code, std::string_view text);
/// The same with a line break after it.
void print_line(std::string_view text = "");
void print_line(char code, std::string_view text);

/// A piece of a line and its colour.
struct ColoredText {
  char color;
  std::string text;
};
/// Replaces the current line (a live status line), cut to the width of the console. Only on a
/// terminal; elsewhere does nothing.
void rewrite_line(std::span<const ColoredText> parts);
/// Wipes the live status line, if there is one.
void clear_line();
void flush();

/// Prints `prompt` and reads one line without its line end. Empty optional at end of input. Throws
/// InterruptedException when the user stops the program meanwhile.
std::optional<std::string> read_line(std::string_view prompt);

/// Prints `prompt` and reads a signed decimal integer with an optional K, M, B or T suffix. Asks
/// again after an answer that is no number ("Invalid input."); nothing typed counts as `usual`,
/// where one is given. Empty optional at end of input.
std::optional<std::int64_t> read_integer(std::string_view prompt,
                                         std::optional<std::int64_t> usual = std::nullopt);

/// Waits for a key, but only when a person sits at both ends; a pipe or file never waits.
void wait_for_key();

}  // namespace nmp::console
