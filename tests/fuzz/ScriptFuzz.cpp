#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <tuple>

#include "workstation/velhost/Script.h"
#include "workstation/velhost/Text.h"

/// Any line is a call, an error on one printable line, or nothing; and a trigger can be written so that it reads back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto parsed = velhost::parseLine({reinterpret_cast<const char*>(data), size});
    const bool isPlain = parsed.error.find_first_of("\n\r\t\x1B") == std::string::npos;
    bool isSound = isPlain && (!parsed.call || parsed.error.empty());
    if (parsed.call && std::holds_alternative<AsyncTriggerPayload>(*parsed.call)) {
        const auto& [id, argument, name, value] = std::get<AsyncTriggerPayload>(*parsed.call);
        const std::string again = "trigger " + std::to_string(id) + ' ' + std::to_string(argument) + ' ' +
                                  velhost::scriptWord(name) + ' ' + std::to_string(value);
        const auto read = std::get<AsyncTriggerPayload>(velhost::parseLine(again).call.value());
        isSound = isSound && std::tie(read.triggerId, read.triggerArg, read.appName, read.triggerValue) ==
                                 std::tie(id, argument, name, value);
    }
    return isSound ? 0 : (std::abort(), 0);
}
