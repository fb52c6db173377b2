#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// A feature with 200 applications on a volume of 512 KiB: its databases and their logs must fit there for good.

namespace {

std::string application(int number) { return "com.example.application.number" + std::to_string(number % 200); }

TEST(Volume, HoldsBothDatabasesAndTheirLogsForGood) {
    const Device device;
    const FaultVfs vfs([](int, const char*, bool) {}, FaultVfs::Volume{device.file(), 512 * 1024});
    for (int life = 0; life < 3; ++life) {
        FeatureProbe feature("Tessary");
        for (int number = 0; number < 1000; ++number) {
            feature.classify(application(number), static_cast<unsigned>(number));
            feature.report(application(number), {number, 0, 0});
        }
        EXPECT_EQ(Device::takeLog(), Lines{}) << "life " << life;
    }
}

TEST(Volume, HoldsThemAlsoWhileReadsKeepTheLogFromStartingOver) {
    const Device device;
    const FaultVfs vfs([](int, const char*, bool) {}, FaultVfs::Volume{device.file(), 512 * 1024});
    FeatureProbe feature("Tessary");
    for (int number = 0; number < 1000; ++number) {
        // Read beside every other change, on each database.
        sqlite3_stmt* reads[2] = {};
        if (number % 2 == 0) {
            sqlite3_prepare_v2(connectionOf(*feature.appDb), "SELECT * FROM Tessary", -1, &reads[0], nullptr);
            sqlite3_prepare_v2(connectionOf(*feature.heavyGameDb), "SELECT * FROM HeavyGame", -1, &reads[1], nullptr);
        }
        for (sqlite3_stmt* read : reads) {
            sqlite3_step(read);
        }
        feature.classify(application(number), static_cast<unsigned>(number));
        feature.report(application(number), {number, 0, 0});
        for (sqlite3_stmt* read : reads) {
            sqlite3_finalize(read);
        }
    }
    EXPECT_EQ(Device::takeLog(), Lines{});
}

} // namespace
