#ifndef WORKSTATION_VELHOST_SCRIPTWORDS_H
#define WORKSTATION_VELHOST_SCRIPTWORDS_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The lower half of the script language: words. What a line of them means is the upper half (Script.h).

namespace velhost {

/// What is wrong with a line of a script, in words for its writer.
class ScriptFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Splits one line of a script into its words, escapes resolved; a line without words gives none. Throws ScriptFault.
///
/// Words stand between blanks (spaces, tabs). A '#' where a word would begin starts a comment. A bare word holds no
/// quote, backslash or control character; a word between double quotes may hold blanks and the escapes \" \\ \n \r \t
/// \0 and \xHH (any byte, two hexadecimal digits), and may be empty.
std::vector<std::string> splitWords(std::string_view line);

} // namespace velhost

#endif
