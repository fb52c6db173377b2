#ifndef WORKSTATION_VELHOST_TEXT_H
#define WORKSTATION_VELHOST_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

// How bytes from outside (application names, words of a script) are shown: on one line, harmless to a terminal, and
// without losing a byte. All operations are pure and throw nothing but std::bad_alloc.

namespace velhost {

/// Returns `bytes` with backslashes, quotes, control characters, invisible or direction-changing characters and
/// whatever is not UTF-8 written as the escapes of a quoted script word.
std::string escaped(std::string_view bytes);

/// Returns `bytes` as a script writes them: bare where a bare word will do, else quoted and escaped. Reading the result
/// as a word of a script gives `bytes` again.
std::string scriptWord(std::string_view bytes);

/// Returns how many columns valid UTF-8 `text` takes, one for each character.
std::size_t columnsOf(std::string_view text);

/// Returns `text`, its middle replaced by "..." when it takes more than `columns`. `columns` must be at least 5.
std::string shortened(std::string_view text, std::size_t columns);

/// Returns a word for an error message: escaped, shortened and between single quotes.
std::string named(std::string_view word);

} // namespace velhost

#endif
