#include "tests/support/Device.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <regex>
#include <string_view>
#include <utility>

#include <android/log.h>

namespace {

// Fixed buffers, so that lines are kept also while allocations fail.
std::mutex guard;
std::array<char[512], 512> lines;
std::size_t logged = 0;

} // namespace

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    const bool isCommon =
        std::string_view(format).find("%s: %s() %d: ") == 0 && tag == std::string_view("ANDR-PERF-VEL");
    const char* letter = priority == ANDROID_LOG_ERROR ? "E" : priority == ANDROID_LOG_WARN ? "W" : "?";
    const std::lock_guard<std::mutex> lock(guard);
    if (const std::size_t index = logged++; index < lines.size()) {
        auto& line = lines[index];
        const int size = std::snprintf(line, sizeof(line), isCommon ? "%s " : "(not of the common form) %s ", letter);
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(line + size, sizeof(line) - static_cast<std::size_t>(size), format, arguments);
        va_end(arguments);
    }
    return 1;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

Lines Device::takeLog() {
    static const std::regex sourceLine(R"(^(. \w+: ~?\w+\(\)) [1-9]\d*: )");
    const std::lock_guard<std::mutex> lock(guard);
    Lines taken(lines.begin(), lines.begin() + std::min(std::exchange(logged, 0), lines.size()));
    for (std::string& line : taken) {
        line = std::regex_replace(line, sourceLine, "$1 #: ");
    }
    return taken;
}
