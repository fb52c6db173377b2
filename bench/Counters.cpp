#include "bench/Counters.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

bench::Counters counted{};

/// The SQLite library finds these before the C library's.
#define BENCH_INTERPOSED extern "C" __attribute__((visibility("default")))

/// What the kernel took counts, not what it was offered: a failed write has cost no bytes.
ssize_t countWrite(long written) {
    counted.bytes += written > 0 ? static_cast<std::uint64_t>(written) : 0;
    return written;
}

} // namespace

bench::Counters bench::counters() { return counted; }

// The kernel is called directly: asking the C library for the function of the same name would come back here.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
BENCH_INTERPOSED int fdatasync(int file) {
    ++counted.syncs;
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

BENCH_INTERPOSED int fsync(int file) {
    ++counted.syncs;
    return static_cast<int>(syscall(SYS_fsync, file));
}

BENCH_INTERPOSED ssize_t write(int file, const void* bytes, size_t size) {
    return countWrite(syscall(SYS_write, file, bytes, size));
}

BENCH_INTERPOSED ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
    return countWrite(syscall(SYS_pwrite64, file, bytes, size, offset));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

// `operator new[]` arrives here too. Zero bytes must give a pointer of their own, which malloc need not.
void* operator new(std::size_t size) {
    ++counted.allocations;
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++counted.allocations;
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
