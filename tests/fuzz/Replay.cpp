#include <cstdint>
#include <iostream>

#include "tests/support/Device.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Gives every file of the folder to the fuzz target that this is linked with.
int main(int /*count*/, char** arguments) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        const std::string input = contentOf(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++files;
    }
    std::cout << "counted: " << files << " fuzz inputs replayed" << std::endl;
    return files == 0 ? 1 : 0;
}
