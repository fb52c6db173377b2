#include "workstation/velhost/Script.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "workstation/velhost/Error.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

using Words = std::vector<std::string>;

/// What is wrong with a line, in words for its writer.
struct Fault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Words. Each function takes what it reads from the front of `rest`.

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; }

char takeByte(std::string_view& rest) {
    if (rest.empty()) {
        throw Fault("the closing quote is missing");
    }
    const char byte = rest.front();
    rest.remove_prefix(1);
    return byte;
}

char takeHexadecimal(std::string_view& rest) {
    // from_chars accepts neither a sign nor "0x" here, so two bytes taken are two digits.
    unsigned char value = 0;
    const char* end = rest.data() + std::min<std::size_t>(rest.size(), 2);
    if (std::from_chars(rest.data(), end, value, 16).ptr != rest.data() + 2) {
        throw Fault("\\x needs two hexadecimal digits");
    }
    rest.remove_prefix(2);
    return static_cast<char>(value);
}

/// Returns the byte that an escape stands for, its backslash already taken.
char takeEscape(std::string_view& rest) {
    constexpr std::string_view letters = "\"\\nrt0";
    constexpr std::string_view meanings("\"\\\n\r\t\0", 6);
    const char byte = takeByte(rest);
    if (byte == 'x') {
        return takeHexadecimal(rest);
    }
    const std::size_t index = letters.find(byte);
    if (index == std::string_view::npos) {
        throw Fault("unknown escape '\\" + escaped({&byte, 1}) + "'");
    }
    return meanings[index];
}

std::string takeQuoted(std::string_view& rest) {
    std::string word;
    rest.remove_prefix(1);
    for (char byte = takeByte(rest); byte != '"'; byte = takeByte(rest)) {
        if (isControl(byte)) {
            throw Fault("a control character in quotes must be written as an escape");
        }
        word += byte == '\\' ? takeEscape(rest) : byte;
    }
    // "a"b would read as two words or as one; neither is what was meant.
    if (!rest.empty() && rest.front() != ' ' && rest.front() != '\t') {
        throw Fault("no blank after the closing quote of " + inQuotes(word));
    }
    return word;
}

std::string takeBare(std::string_view& rest) {
    std::string word(rest.substr(0, rest.find_first_of(" \t")));
    rest.remove_prefix(word.size());
    // A stray quote or backslash is more likely a mistake than part of a package name.
    if (std::any_of(word.begin(), word.end(), [](char c) { return c == '"' || c == '\\' || isControl(c); })) {
        throw Fault(inQuotes(word) + " must stand in quotes");
    }
    return word;
}

Words splitWords(std::string_view rest) {
    Words words;
    for (;;) {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
        if (rest.empty() || rest.front() == '#') {
            return words;
        }
        words.push_back(rest.front() == '"' ? takeQuoted(rest) : takeBare(rest));
    }
}

/// Returns the number that `word` stands for, which must lie in the range of `Number` or in `least`..`most`.
template <typename Number>
Number numberFrom(const std::string& word, Number least = std::numeric_limits<Number>::min(),
                  Number most = std::numeric_limits<Number>::max()) {
    std::string_view digits = word;
    const bool isNegative = !digits.empty() && digits[0] == '-';
    digits.remove_prefix(isNegative ? 1 : 0);
    const bool isHexadecimal = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    digits.remove_prefix(isHexadecimal ? 2 : 0);
    // Outside the range of every Number. On overflow from_chars leaves `magnitude` at this value.
    constexpr std::uint64_t clamp = 1ULL << 40U;
    std::uint64_t magnitude = clamp;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, magnitude, isHexadecimal ? 16 : 10);
    if (digits.empty() || result.ptr != end) {
        throw Fault(inQuotes(word) + " is not a number");
    }
    const auto clamped = static_cast<std::int64_t>(std::min(magnitude, clamp));
    const std::int64_t value = isNegative ? -clamped : clamped;
    if (value < static_cast<std::int64_t>(least) || value > static_cast<std::int64_t>(most)) {
        throw Fault(inQuotes(word) + " is not in " + std::to_string(least) + ".." + std::to_string(most));
    }
    return static_cast<Number>(value);
}

// The two triggers that the feature acts on, as a host knows them: from the contract and not from its sources.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;

// One builder for each command. `words` holds the command and as many arguments as its entry below allows.
Call classify(const Words& words) {
    const auto type = numberFrom<std::uint32_t>(words[2], 0, 0xFFFFFF);
    const std::uint32_t operation = words.size() > 3 ? numberFrom<std::uint32_t>(words[3], 0, 0xFF) : 1;
    return AsyncTriggerPayload{classificationTrigger, operation << 24U | type, words[1], 0};
}

Call remove(const Words& words) { return AsyncTriggerPayload{classificationTrigger, 0, words[1], 0}; }

Call weight(const Words& words) {
    return AsyncTriggerPayload{weightTrigger, 0, words[1], numberFrom<std::int32_t>(words[2])};
}

Call report(const Words& words) {
    ReportCall call{words[1], {}};
    for (std::size_t i = 2; i < words.size(); ++i) {
        call.values.push_back(numberFrom<int>(words[i]));
    }
    return call;
}

Call query(const Words& words) {
    const std::string field = words.size() > 2 ? words[2] : "type";
    if (field != "type" && field != "weight") {
        throw Fault(inQuotes(field) + " is neither type nor weight");
    }
    return QueryCall{words[1], field == "type" ? QueryField::type : QueryField::weight};
}

Call trigger(const Words& words) {
    return AsyncTriggerPayload{numberFrom<std::uint32_t>(words[1]), numberFrom<std::uint32_t>(words[2]), words[3],
                               numberFrom<std::int32_t>(words[4])};
}

/// A command of the language and how many arguments it takes.
struct Command {
    const char* name;
    const char* arguments;
    std::size_t fewest; ///< arguments that must be there
    std::size_t most;
    Call (*build)(const Words& words);
};

constexpr Command commands[] = {
    {"classify", "APP TYPE [OP]", 2, 3, classify},
    {"remove", "APP", 1, 1, remove},
    {"weight", "APP VALUE", 2, 2, weight},
    {"report", "APP [M0 M1 M2 ...]", 1, std::numeric_limits<std::size_t>::max(), report},
    {"query", "APP [type|weight]", 1, 2, query},
    {"trigger", "ID ARG APP VALUE", 4, 4, trigger},
};

/// Reads one line: a call, or nothing when it holds only blanks and a comment. Throws Fault.
std::optional<Call> callFrom(std::string_view line) {
    const Words words = splitWords(line);
    if (words.empty()) {
        return std::nullopt;
    }
    const auto* command = std::find_if(std::begin(commands), std::end(commands),
                                       [&words](const Command& candidate) { return words[0] == candidate.name; });
    if (command == std::end(commands)) {
        throw Fault("unknown command " + inQuotes(words[0]));
    }
    try {
        if (words.size() - 1 < command->fewest || words.size() - 1 > command->most) {
            throw Fault(std::string("expects ") + command->arguments);
        }
        return command->build(words);
    } catch (const Fault& fault) {
        throw Fault(std::string(command->name) + ": " + fault.what());
    }
}

/// All of `source`. Throws Error, with `name` for the file.
std::string contentOf(std::FILE* source, const std::string& name) {
    constexpr std::size_t largest = 1U << 28U; // or /dev/zero would take all memory
    std::string content;
    char buffer[1 << 16];
    while (const std::size_t size = source == nullptr ? 0 : std::fread(buffer, 1, sizeof(buffer), source)) {
        content.append(buffer, size);
        if (content.size() > largest) {
            throw Error(Exit::refused, name + ": the script is larger than 256 MiB");
        }
    }
    if (source == nullptr || std::ferror(source) != 0) {
        throw Error(Exit::refused, name + ": " + std::strerror(errno));
    }
    return content;
}

} // namespace

Script::Script(const std::string& path) : name(path == "-" ? "<stdin>" : path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(path == "-" ? nullptr : std::fopen(path.c_str(), "r"),
                                                               std::fclose);
    const std::string content = contentOf(path == "-" ? stdin : file.get(), name);
    std::string_view rest = content;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        line.remove_suffix(!line.empty() && line.back() == '\r' ? 1 : 0);
        try {
            if (auto call = callFrom(line)) {
                calls.push_back({number, std::string(line), std::move(*call)});
            }
        } catch (const Fault& fault) {
            throw Error(Exit::refused, fault.what(), position(number));
        }
    }
}

} // namespace velhost
