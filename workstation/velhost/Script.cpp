#include "workstation/velhost/Script.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <system_error>

#include "workstation/velhost/ScriptWords.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

using Words = std::vector<std::string>;

// The two triggers that the feature acts on, as a host knows them: from the contract and not from its sources. The
// classification trigger packs its two numbers into one word.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr std::uint32_t largestType = 0xFFFFFF;
constexpr std::uint32_t largestOperation = 0xFF;

/// Returns the number that `word` stands for; beyond 64 bits it gives the largest or smallest there is.
std::int64_t readNumber(const std::string& word) {
    // Base 10 reads leading zeros as zeros; there is no octal. A sign may stand before either form, a plus may not.
    const bool negative = word.front() == '-';
    const char* begin = word.data() + (negative ? 1 : 0);
    const char* end = word.data() + word.size();
    int base = 10;
    if (end - begin > 2 && begin[0] == '0' && (begin[1] == 'x' || begin[1] == 'X')) {
        base = 16;
        begin += 2;
    }
    std::uint64_t magnitude = 0;
    const auto result = std::from_chars(begin, end, magnitude, base);
    if (begin == end || result.ptr != end) {
        throw ScriptFault(named(word) + " is not a number");
    }
    // Every range asked for is far within 64 bits, so that a clamped value is out of range too.
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    const bool fits = result.ec == std::errc() && magnitude <= largest;
    const auto value = static_cast<std::int64_t>(fits ? magnitude : largest);
    return negative ? -value : value;
}

/// Returns the number that `word` stands for, which must lie in `least`..`most`.
template <typename Number>
Number numberFrom(const std::string& word, Number least, Number most) {
    if (word.empty()) {
        throw ScriptFault("'' is not a number");
    }
    const std::int64_t value = readNumber(word);
    if (value < static_cast<std::int64_t>(least) || value > static_cast<std::int64_t>(most)) {
        throw ScriptFault(named(word) + " is not in " + std::to_string(least) + ".." + std::to_string(most));
    }
    return static_cast<Number>(value);
}

template <typename Number>
Number numberFrom(const std::string& word) {
    return numberFrom(word, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max());
}

// One builder for each command. `words` holds the command and as many arguments as its entry below allows.
Call classify(const Words& words) {
    const auto type = numberFrom<std::uint32_t>(words[2], 0, largestType);
    const std::uint32_t operation = words.size() > 3 ? numberFrom<std::uint32_t>(words[3], 0, largestOperation) : 1;
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
    if (words.size() == 2 || words[2] == "type") {
        return QueryCall{words[1], QueryField::type};
    }
    if (words[2] != "weight") {
        throw ScriptFault(named(words[2]) + " is neither type nor weight");
    }
    return QueryCall{words[1], QueryField::weight};
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

/// Throws when the language has no such command.
const Command& commandNamed(const std::string& name) {
    const auto* found = std::find_if(std::begin(commands), std::end(commands),
                                     [&name](const Command& command) { return name == command.name; });
    if (found == std::end(commands)) {
        throw ScriptFault("unknown command " + named(name));
    }
    return *found;
}

Call buildCall(const Command& command, const Words& words) {
    const std::size_t arguments = words.size() - 1;
    if (arguments < command.fewest || arguments > command.most) {
        throw ScriptFault(std::string("expects ") + command.arguments);
    }
    return command.build(words);
}

/// Puts the command's name before what is wrong with its arguments.
Call callFrom(const Words& words) {
    const Command& command = commandNamed(words[0]);
    try {
        return buildCall(command, words);
    } catch (const ScriptFault& fault) {
        throw ScriptFault(std::string(command.name) + ": " + fault.what());
    }
}

} // namespace

ParsedLine parseLine(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    try {
        const Words words = splitWords(line);
        if (words.empty()) {
            return {};
        }
        return {callFrom(words), {}};
    } catch (const ScriptFault& fault) {
        return {std::nullopt, fault.what()};
    }
}

} // namespace velhost
