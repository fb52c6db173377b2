#include "workstation/velhost/Text.h"

#include <algorithm>
#include <iterator>

namespace velhost {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// Controls, and characters that a terminal shows as nothing or that reorder their neighbours.
constexpr Range hiddenCharacters[] = {{0x0, 0x1F},      {0x7F, 0x9F},     {0xAD, 0xAD},     {0x200B, 0x200F},
                                      {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}};

bool isHidden(char32_t character) {
    // From there on: tags, more selectors, private use.
    return character >= 0xE0000 ||
           std::any_of(std::begin(hiddenCharacters), std::end(hiddenCharacters),
                       [character](Range range) { return character >= range.first && character <= range.last; });
}

unsigned char byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80; }

/// How long a character with this first byte is, 0 when none begins so (0xC0 and 0xC1 begin overlong forms only).
std::size_t lengthFromLead(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/// Puts the character that `bytes` begin with into `character` and returns its length, 0 when it is not valid UTF-8.
std::size_t decodeCharacter(std::string_view bytes, char32_t& character) {
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const std::size_t length = lengthFromLead(byteAt(bytes, 0));
    if (length == 0 || length > bytes.size()) {
        return 0;
    }
    character = length == 1 ? byteAt(bytes, 0) : byteAt(bytes, 0) & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(bytes[i])) {
            return 0;
        }
        character = (character << 6U) | (byteAt(bytes, i) & 0x3FU);
    }
    // Overlong forms, halves of surrogate pairs and values beyond Unicode are no characters.
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return surrogate || character < smallest[length] || character > 0x10FFFF ? 0 : length;
}

/// As a script writes a byte that cannot stand for itself.
void appendEscape(std::string& out, char byte) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    out += {'\\', 'x', digits[value >> 4U], digits[value & 0xFU]};
}

/// Appends what `bytes` begin with, escaped where need be, and returns how many bytes that was.
std::size_t appendOne(std::string& out, std::string_view bytes) {
    char32_t character = 0;
    const std::size_t length = decodeCharacter(bytes, character);
    if (length == 0) {
        appendEscape(out, bytes[0]);
        return 1;
    }
    if (isHidden(character)) {
        for (const char byte : bytes.substr(0, length)) {
            appendEscape(out, byte);
        }
        return length;
    }
    if (character == '"' || character == '\\') {
        out += '\\';
    }
    out += bytes.substr(0, length);
    return length;
}

/// Returns the index in `text` of its character number `column`.
std::size_t indexOfColumn(std::string_view text, std::size_t column) {
    std::size_t index = 0;
    for (; index < text.size(); ++index) {
        if (!isContinuation(text[index]) && column-- == 0) {
            break;
        }
    }
    return index;
}

} // namespace

std::string escaped(std::string_view bytes) {
    std::string out;
    while (!bytes.empty()) {
        bytes.remove_prefix(appendOne(out, bytes));
    }
    return out;
}

std::string scriptWord(std::string_view bytes) {
    std::string word = escaped(bytes);
    const bool bare = !word.empty() && word == bytes && word.front() != '#' && word.find(' ') == std::string::npos;
    return bare ? word : '"' + word + '"';
}

std::size_t columnsOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

std::string shortened(std::string_view text, std::size_t columns) {
    const std::size_t present = columnsOf(text);
    if (present <= columns) {
        return std::string(text);
    }
    const std::size_t kept = columns - 3; // the dots take the rest
    // Package names differ at their ends, which get the greater part.
    const std::size_t tail = kept * 2 / 3;
    std::string out(text.substr(0, indexOfColumn(text, kept - tail)));
    out += "...";
    out += text.substr(indexOfColumn(text, present - tail));
    return out;
}

std::string named(std::string_view word) { return "'" + shortened(escaped(word), 40) + "'"; }

} // namespace velhost
