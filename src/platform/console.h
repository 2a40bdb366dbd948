// The console: bytes out, lines in, colours and window size. Nothing here throws.
#pragma once

#include <string>
#include <string_view>

namespace nmp::platform {

/// Text attribute 1 to 15 in the console's own palette: bit 0 blue, bit 1 green, bit 2 red, bit 3
/// bright. On POSIX the matching escape sequence, and 7 is the terminal's own default. Only on a
/// terminal that has colours (TERM) and whose user wants them (NO_COLOR).
void console_attribute(int attribute);
/// Writes UTF-8 text to standard output, with the system's line ends on a console. Text is held
/// back up to the end of its line; any thread may write.
void console_write(std::string_view text);
void console_flush();
/// False where standard output is closed or broken (a full disk, a pipe nobody reads) or has lost
/// text before. Flushes in order to know.
bool console_ok();
bool stdout_is_terminal();
bool stdin_is_terminal();
/// Reads one line of standard input without its line end; false at the end of input. What a line
/// has past 1 MiB is dropped. Closed input is at its end, and an interruption (process.h) ends it
/// too. Standard output is flushed first. One thread reads.
bool console_read_line(std::string* line);
/// Columns of the console window, 80 where there is none.
int console_columns();
/// Resizes the window (each clamped to what the console allows, at least 1). No console: nothing.
void console_resize(int columns, int rows);
/// True when this process was started with a console window of its own.
bool console_is_own();
/// Waits for a key press in the way users of the system know.
void console_pause();
/// Erases the current line and puts the cursor at its start.
void console_erase_line();

}  // namespace nmp::platform
