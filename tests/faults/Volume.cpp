#include <algorithm>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// A feature with 200 applications on a volume of 512 KiB: its databases and their logs must fit there for good, also
// while reads keep a log from starting over.

namespace {

constexpr std::uintmax_t volumeSize = 512 * 1024;

/// Whether the folder has room once one of its files ends at `end`. Files take whole blocks of 4 KiB.
bool hasRoom(const std::filesystem::path& changed, std::uintmax_t end) {
    std::uintmax_t used = 0;
    for (const auto& file : std::filesystem::directory_iterator(changed.parent_path())) {
        used += (std::max(file.file_size(), file.path() == changed ? end : 0) + 4095) / 4096 * 4096;
    }
    return used <= volumeSize;
}

void changeThousandTimes(FeatureProbe& feature, bool readsBeside) {
    for (int number = 0; number < 1000; ++number) {
        sqlite3_stmt* reads[2] = {};
        if (readsBeside && number % 2 == 0) {
            sqlite3_prepare_v2(connectionOf(*feature.appDb), "SELECT * FROM Tessary", -1, &reads[0], nullptr);
            sqlite3_prepare_v2(connectionOf(*feature.heavyGameDb), "SELECT * FROM HeavyGame", -1, &reads[1], nullptr);
        }
        std::for_each(std::begin(reads), std::end(reads), sqlite3_step);
        const std::string application = "com.example.application.number" + std::to_string(number % 200);
        feature.classify(application, static_cast<unsigned>(number));
        feature.report(application, {number, 0, 0});
        std::for_each(std::begin(reads), std::end(reads), sqlite3_finalize);
    }
}

TEST(Volume, HoldsBothDatabasesAndTheirLogsForGood) {
    for (const bool readsBeside : {false, true}) {
        const Device device;
        const FaultVfs vfs([](int /*kind*/, const auto& path, sqlite3_int64 end) {
            return hasRoom(path, static_cast<std::uintmax_t>(end)) ? SQLITE_OK : SQLITE_FULL;
        });
        for (int life = 0; life < 3; ++life) {
            FeatureProbe feature("Tessary");
            changeThousandTimes(feature, readsBeside);
            EXPECT_EQ(Device::takeLog(), Lines{}) << "life " << life << (readsBeside ? ", with reads" : "");
        }
    }
}

} // namespace
