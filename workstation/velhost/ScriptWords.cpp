#include "workstation/velhost/ScriptWords.h"

#include <charconv>

#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

bool isBlank(char byte) { return byte == ' ' || byte == '\t'; }

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; }

/// Reads the words of one line, one after the other.
class WordReader {
public:
    explicit WordReader(std::string_view line) : rest(line) {}

    bool atEnd() {
        while (!rest.empty() && isBlank(rest.front())) {
            rest.remove_prefix(1);
        }
        return rest.empty() || rest.front() == '#';
    }

    /// `atEnd` must have returned false.
    std::string next() { return rest.front() == '"' ? quotedWord() : bareWord(); }

private:
    /// The next byte inside quotes.
    char take() {
        if (rest.empty()) {
            throw ScriptFault("the closing quote is missing");
        }
        const char byte = rest.front();
        rest.remove_prefix(1);
        return byte;
    }

    std::string bareWord() {
        std::string word(rest.substr(0, rest.find_first_of(" \t")));
        rest.remove_prefix(word.size());
        // A stray quote or backslash is more likely a mistake than part of a package name.
        for (const char byte : word) {
            if (byte == '"' || byte == '\\' || isControl(byte)) {
                throw ScriptFault(named(word) + " must stand in quotes");
            }
        }
        return word;
    }

    std::string quotedWord() {
        std::string word;
        rest.remove_prefix(1);
        for (char byte = take(); byte != '"'; byte = take()) {
            if (isControl(byte)) {
                throw ScriptFault("a control character in quotes must be written as an escape");
            }
            word += byte == '\\' ? escape() : byte;
        }
        // "a"b would read as two words or as one; neither is what was meant.
        if (!rest.empty() && !isBlank(rest.front())) {
            throw ScriptFault("no blank after the closing quote of " + named(word));
        }
        return word;
    }

    /// The byte that an escape stands for, its backslash already taken.
    char escape() {
        const char byte = take();
        switch (byte) {
        case '"':
        case '\\':
            return byte;
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case '0':
            return '\0';
        case 'x':
            return hexadecimal();
        default:
            throw ScriptFault("unknown escape '\\" + escaped({&byte, 1}) + "'");
        }
    }

    char hexadecimal() {
        // from_chars takes neither sign nor prefix, so two digits are two digits.
        unsigned char value = 0;
        const char* end = rest.data() + (rest.size() < 2 ? rest.size() : 2);
        if (std::from_chars(rest.data(), end, value, 16).ptr != rest.data() + 2) {
            throw ScriptFault("\\x needs two hexadecimal digits");
        }
        rest.remove_prefix(2);
        return static_cast<char>(value);
    }

    std::string_view rest;
};

} // namespace

std::vector<std::string> splitWords(std::string_view line) {
    std::vector<std::string> words;
    WordReader reader(line);
    while (!reader.atEnd()) {
        words.push_back(reader.next());
    }
    return words;
}

} // namespace velhost
