#include "workstation/velhost/Text.h"

#include <algorithm>
#include <iterator>

namespace velhost {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// Each list is sorted.

// Control, invisible and private-use characters, and those that change the direction of their neighbours.
constexpr Range hiddenCharacters[] = {
    {0x0, 0x1F},      {0x7F, 0x9F},     {0xAD, 0xAD},     {0x61C, 0x61C},   {0x1160, 0x11FF},   {0x17B4, 0x17B5},
    {0x180B, 0x180F}, {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x3164, 0x3164},   {0xE000, 0xF8FF},
    {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF9, 0xFFFB}, {0xE0000, 0x10FFFF}};

// Marks that join the character before them.
constexpr Range joiningMarks[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},
                                  {0x64B, 0x65F},   {0xE31, 0xE31},   {0xE34, 0xE3A},   {0xE47, 0xE4E},
                                  {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0xFE20, 0xFE2F}};

// East Asian characters and pictures.
constexpr Range wideCharacters[] = {{0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x25FD, 0x25FE},
                                    {0x2614, 0x2615},   {0x2648, 0x2653},   {0x2753, 0x2755},   {0x2795, 0x2797},
                                    {0x2B1B, 0x2B1C},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F},
                                    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
                                    {0xFFE0, 0xFFE6},   {0x16FE0, 0x1B2FF}, {0x1F18E, 0x1F19A}, {0x1F200, 0x1F64F},
                                    {0x1F680, 0x1F6FF}, {0x1F7E0, 0x1F7EB}, {0x1F900, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <std::size_t count>
bool isIn(const Range (&ranges)[count], char32_t character) {
    const Range* range = std::find_if(std::begin(ranges), std::end(ranges),
                                      [character](Range candidate) { return character <= candidate.last; });
    return range != std::end(ranges) && character >= range->first;
}

/// The first character of a text.
struct Character {
    std::size_t length; ///< in bytes; 0 when no valid UTF-8 character begins here
    bool hidden;
    std::size_t columns;
};

unsigned char byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

Character firstOf(std::string_view bytes) {
    constexpr Character invalid{0, true, 0};
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const unsigned char lead = byteAt(bytes, 0);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if ((lead >= 0x80 && lead < 0xC0) || lead > 0xF4 || length > bytes.size()) {
        return invalid;
    }
    char32_t code = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(bytes, i) & 0xC0U) != 0x80) {
            return invalid;
        }
        code = (code << 6U) | (byteAt(bytes, i) & 0x3FU);
    }
    // Overlong forms, halves of surrogate pairs and values beyond Unicode are no characters.
    if (code < smallest[length] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) {
        return invalid;
    }
    const std::size_t columns = isIn(joiningMarks, code) ? 0 : isIn(wideCharacters, code) ? 2 : 1;
    return {length, isIn(hiddenCharacters, code), columns};
}

/// Returns the size of the longest beginning of the escaped `text` that takes at most `columns`.
std::size_t sizeWithin(std::string_view text, std::size_t columns) {
    std::size_t size = 0;
    while (size < text.size()) {
        const Character character = firstOf(text.substr(size));
        if (character.columns > columns) {
            break;
        }
        columns -= character.columns;
        size += character.length;
    }
    return size;
}

} // namespace

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = firstOf(bytes).length;
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string hexadecimal(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) {
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4U];
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xFU];
    }
    return digits;
}

std::string escaped(std::string_view bytes, std::string_view also) {
    std::string out;
    while (!bytes.empty()) {
        const Character character = firstOf(bytes);
        const std::string_view part = bytes.substr(0, std::max<std::size_t>(character.length, 1));
        if (character.hidden) {
            for (const char byte : part) {
                out += "\\x" + hexadecimal({&byte, 1});
            }
        } else {
            out += also.find(part) == std::string_view::npos ? "" : "\\";
            out += part;
        }
        bytes.remove_prefix(part.size());
    }
    return out;
}

std::string scriptWord(std::string_view bytes) {
    std::string word = escaped(bytes, "\"\\");
    const bool bare = !word.empty() && word == bytes && word.front() != '#' && word.find(' ') == std::string::npos;
    return bare ? word : '"' + word + '"';
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const Character character = firstOf(text);
        columns += character.columns;
        text.remove_prefix(character.length);
    }
    return columns;
}

std::string shortened(std::string_view text, std::size_t columns) {
    const std::size_t present = columnsOf(text);
    if (present <= columns) {
        return std::string(text);
    }
    const std::size_t kept = columns - 3; // the dots take the rest
    // Package names differ at their ends, which get the greater part.
    const std::size_t tail = kept * 2 / 3;
    const std::size_t head = sizeWithin(text, kept - tail);
    std::size_t end = sizeWithin(text, present - tail - 1);
    end += firstOf(text.substr(end)).length; // drops a wide character that lies across the cut
    return std::string(text).replace(head, end - head, "...");
}

std::string inQuotes(std::string_view word) { return "'" + shortened(escaped(word, "\"\\"), 40) + "'"; }

} // namespace velhost
