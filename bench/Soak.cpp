#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <random>

#include <android/log.h>
#include <unistd.h>

#include "bench/FeatureUnderTest.h"
#include "bench/Job.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

// Plays random operations into the feature and fails when the process needs more memory at the end than it did when
// the first tenth was over.
//
//     soak OPERATIONS

namespace {

constexpr unsigned applications = 200;
/// Seven bytes an operation in the shortest run: a leak of the smallest block shows if every fourth operation has it.
constexpr long allowedGrowthKiB = 128;

long residentKiB() {
    std::ifstream statm("/proc/self/statm");
    long total = 0;
    long resident = 0;
    statm >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// Calls the feature as a busy host might, with operations drawn in fixed proportions.
class Player {
public:
    void play(unsigned operations) {
        for (unsigned number = 0; number < operations; ++number) {
            playOne();
        }
    }

private:
    void playOne() {
        // Twice as many names as are stored at first: unknown applications come up all the time.
        std::string name = bench::applicationName(random(2 * applications));
        const unsigned choice = random(10);
        if (choice < 4) {
            feature.query(name);
        } else if (choice < 6) {
            feature.classify(name, static_cast<int>(random(1000)));
        } else if (choice < 7) {
            feature.weigh(name, static_cast<int>(random(100)));
        } else if (choice < 9) {
            feature.report(name, static_cast<int>(random(1000)));
        } else {
            feature.remove(name);
        }
    }

    unsigned random(unsigned end) { return std::uniform_int_distribution<unsigned>(0, end - 1)(generator); }

    // A fixed seed: a run that fails can be run again.
    std::mt19937 generator{20240229};
    bench::FeatureUnderTest feature{applications};
};

int soak(unsigned operations) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT); // names that are not known are part of the play
    const velhost::TemporaryDirectory directory;
    const velhost::DeviceVfs device(directory.path());
    Player player;
    // In this part caches and tables reach their size, which is growth but no leak.
    player.play(operations / 10);
    const long before = residentKiB();
    player.play(operations - operations / 10);
    const long growth = residentKiB() - before;
    std::printf(R"({"operations":%u,"residentKiB":%ld,"growthKiB":%ld})"
                "\n",
                operations, before, growth);
    return growth <= allowedGrowthKiB ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return soak(argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 20000);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
