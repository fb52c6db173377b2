#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include <android/log.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<int> minimumPriority{ANDROID_LOG_VERBOSE};

char priorityLetter(int priority) {
    // Unknown and default come first, silent last.
    static const char letters[] = "??VDIWEFS";
    const bool known = priority >= 0 && priority <= ANDROID_LOG_SILENT;
    return known ? letters[priority] : '?';
}

/// Writes "11-22 21:30:01.123  1234  1235 E TAG     : " as a device's log does.
int writeHeader(char* line, std::size_t size, int priority, const char* tag) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const std::size_t stamp = strftime(line, size, "%m-%d %H:%M:%S", &local);
    const int rest = std::snprintf(line + stamp, size - stamp, ".%03ld %5d %5ld %c %-8s: ", now.tv_nsec / 1000000,
                                   getpid(), syscall(SYS_gettid), priorityLetter(priority), tag);
    return static_cast<int>(stamp) + rest;
}

/// Copies `text` to `out` as printable ASCII, other bytes as \xHH, and returns the size. What exceeds `room` is cut
/// off. The plug-in's lines quote what lies in foreign files: nothing of it may steer a terminal or look like another
/// line.
std::size_t escape(std::string_view text, char* out, std::size_t room) {
    std::size_t size = 0;
    for (const char byte : text) {
        const bool isPlain = byte >= ' ' && byte <= '~';
        char escaped[5] = {byte};
        if (!isPlain) {
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", static_cast<unsigned char>(byte));
        }
        const std::size_t length = isPlain ? 1 : 4;
        if (size + length > room) {
            break;
        }
        std::memcpy(out + size, escaped, length);
        size += length;
    }
    return size;
}

} // namespace

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    if (priority < minimumPriority) {
        return 1;
    }
    char raw[2048];
    const auto room = static_cast<int>(sizeof(raw)) - 1; // the last byte is kept for the end of the line
    int used = writeHeader(raw, sizeof(raw), priority, tag);
    if (used >= room) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): initialised one line above
    const int message = std::vsnprintf(raw + used, static_cast<std::size_t>(room - used), format, arguments);
    va_end(arguments);
    if (message < 0) {
        return -1;
    }
    used = used + message < room ? used + message : room - 1;
    // Most of the row store's messages end in a line break; the other messages do not.
    if (raw[used - 1] == '\n') {
        --used;
    }
    char line[sizeof(raw)];
    const std::size_t size = escape({raw, static_cast<std::size_t>(used)}, line, sizeof(line) - 2);
    line[size] = '\n';
    // In one piece, so that the lines of two threads do not mix.
    return std::fwrite(line, 1, size + 1, stderr) == size + 1 ? 1 : -1;
}

extern "C" int __android_log_set_minimum_priority(int priority) { return minimumPriority.exchange(priority); }
