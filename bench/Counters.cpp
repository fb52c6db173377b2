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

/// Counts what the kernel took, not what it was offered.
ssize_t countWrite(long written) {
    counted.bytes += written > 0 ? static_cast<std::uint64_t>(written) : 0;
    return written;
}

} // namespace

bench::Counters bench::counters() { return counted; }

// Calls the kernel directly: the C library's function of the same name is this one.
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

// The other forms of new and delete call these.
void* operator new(std::size_t size) {
    ++counted.heap;
    void* memory = std::malloc(size != 0 ? size : 1); // malloc may answer null for 0 bytes, `operator new` may not
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
