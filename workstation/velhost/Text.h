#ifndef WORKSTATION_VELHOST_TEXT_H
#define WORKSTATION_VELHOST_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

// How bytes from outside (names, paths, messages, words of a script) are shown: on one line and harmless to a terminal.
// Only `hexadecimal` and `scriptWord` can be read back exactly.

namespace velhost {

/// Whether `bytes` are valid UTF-8.
bool isUtf8(std::string_view bytes);

/// Returns two digits per byte.
std::string hexadecimal(std::string_view bytes);

/// Returns `bytes` with some escaped as in a quoted script word: control, invisible and direction-changing characters,
/// what is not UTF-8, and the ASCII characters in `also`. Escaping the result again, without `also`, changes nothing.
std::string escaped(std::string_view bytes, std::string_view also = {});

/// Returns `bytes` as a script writes them: bare where a bare word will do, else quoted and escaped. Reading the result
/// as a word of a script gives `bytes` again.
std::string scriptWord(std::string_view bytes);

/// Returns how many columns of a terminal the escaped `text` takes.
std::size_t columnsOf(std::string_view text);

/// Returns the escaped `text`, its middle replaced by "..." when it takes more than `columns`, which must be at
/// least 5.
std::string shortened(std::string_view text, std::size_t columns);

/// Returns a word for an error message: escaped, shortened and between single quotes.
std::string inQuotes(std::string_view word);

} // namespace velhost

#endif
