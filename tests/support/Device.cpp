#include "tests/support/Device.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <regex>
#include <utility>

#include <android/log.h>

namespace {

/// A log call as the product made it. Fixed buffers, so that lines are kept also while allocations fail.
struct LogLine {
    int priority;
    char tag[24];
    char format[96];
    char text[512];
};

std::mutex guard;
std::array<LogLine, 512> lines;
std::size_t logged = 0;

std::string render(const LogLine& line) {
    static const std::regex head(R"(^(\w+: ~?\w+\(\)) [1-9]\d*: )");
    const std::string text = std::regex_replace(line.text, head, "$1 #: ");
    const bool common = text != line.text && std::strncmp(line.format, "%s: %s() %d: ", 13) == 0 &&
                        std::strcmp(line.tag, "ANDR-PERF-VEL") == 0;
    const char* priority = line.priority == ANDROID_LOG_ERROR ? "E " : line.priority == ANDROID_LOG_WARN ? "W " : "? ";
    return (common ? "" : "(not of the common form) ") + (priority + text);
}

} // namespace

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    LogLine line{};
    line.priority = priority;
    std::snprintf(line.tag, sizeof(line.tag), "%s", tag);
    std::snprintf(line.format, sizeof(line.format), "%s", format);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.text, sizeof(line.text), format, arguments);
    va_end(arguments);
    const std::lock_guard<std::mutex> lock(guard);
    if (const std::size_t index = logged++; index < lines.size()) {
        lines[index] = line;
    }
    return 1;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

Lines Device::takeLog() {
    const std::lock_guard<std::mutex> lock(guard);
    Lines rendered(std::min(std::exchange(logged, 0), lines.size()));
    std::transform(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(rendered.size()), rendered.begin(),
                   render);
    return rendered;
}

std::size_t Device::dropLog() {
    const std::lock_guard<std::mutex> lock(guard);
    return std::exchange(logged, 0);
}
