#include <cstdlib>
#include <new>

#include <sys/syscall.h>
#include <unistd.h>

#include "bench/Bench.h"

namespace {

bench::Counters counted{};

/// Exports a function: the SQLite library then calls it in place of the C library's.
#define BENCH_INTERPOSED extern "C" __attribute__((visibility("default")))

} // namespace

bench::Counters bench::counters() { return counted; }

// Each calls the kernel directly: the C library's name leads here.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's own names are reserved
BENCH_INTERPOSED int fdatasync(int file) {
    ++counted.syncs;
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

BENCH_INTERPOSED ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
    const ssize_t written = syscall(SYS_pwrite64, file, bytes, size, offset);
    counted.bytes += written > 0 ? static_cast<std::uint64_t>(written) : 0;
    return written;
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
