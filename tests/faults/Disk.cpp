#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// Cuts the power at every write, truncation, sync and deletion of a run of calls. All changes of the calls that had
// returned must be found again. Each row that the interrupted call changes must be as before or as after.

namespace fs = std::filesystem;

namespace {

using Files = std::map<std::string, std::string>; ///< from name to content

/// What is left of a file: each 512-byte sector, and the length, is as of the last sync or as it is now.
std::string tear(std::string synced, std::string now, std::mt19937& random) {
    const auto coin = [&random] { return (random() & 1U) != 0; };
    const std::size_t length = (coin() ? synced : now).size();
    synced.resize(length);
    now.resize(length);
    for (std::size_t sector = 0; sector < length; sector += 512) {
        now.replace(sector, 512, coin() ? synced : now, sector, 512);
    }
    return now;
}

struct Cut {
    std::size_t callsReturned;
    Files remains; ///< without the shared-memory files
};

/// Call number `number` of a run: every kind of change, on few applications.
int change(FeatureProbe& feature, int number) {
    const std::string name = "com.example." + std::to_string(number * 7 % 5);
    const int value = number * 389 % 1000;
    switch (number % 6) {
    case 0:
        return feature.remove(name);
    case 1:
    case 2:
        return feature.classify(name, value);
    case 3:
        return feature.weigh(name, value);
    default:
        return feature.report(name, {value, value, value});
    }
}

TEST(PowerCut, KeepsEveryChangeThatHadReturned) {
    std::vector<Contents> states(1); // number n: after n calls
    std::vector<Cut> cuts;
    {
        const Device device;
        std::mt19937 random{20251122};
        Files synced;
        const FaultVfs vfs([&](int kind, const fs::path& path, sqlite3_int64 /*end*/) {
            Files& remains = cuts.emplace_back(Cut{states.size() - 1, {}}).remains;
            for (const auto& file : fs::directory_iterator(device.file())) {
                if (const std::string name = file.path().filename(); name.find("-shm") == std::string::npos) {
                    remains[name] = tear(synced[name], contentOf(file), random);
                }
            }
            if (kind == SQLITE_IOERR_FSYNC) {
                synced[path.filename()] = contentOf(path);
            } else if (kind == SQLITE_IOERR_DELETE) {
                synced.erase(path.filename());
            }
            return SQLITE_OK;
        });
        std::unique_ptr<FeatureProbe> feature;
        for (int number = 0; number < 120; ++number) {
            if (number % 10 == 0) {
                feature.reset();
                feature = std::make_unique<FeatureProbe>("Tessary");
                sqlite3_wal_autocheckpoint(connectionOf(*feature->appDb), 4); // so that checkpoints are cut too
            }
            change(*feature, number);
            states.push_back(readContents(device.file()));
        }
    }
    for (const auto& [callsReturned, remains] : cuts) {
        SCOPED_TRACE(testing::Message() << "after " << callsReturned << " calls");
        const Device device;
        for (const auto& [name, content] : remains) {
            std::ofstream(device.file(name), std::ios::binary) << content;
        }
        const FaultVfs withoutSyncs;
        FeatureProbe feature("Tessary");
        const std::size_t next = std::min(callsReturned + 1, states.size() - 1);
        expectWholeOrAbsent(states[callsReturned], states[next], readContents(device.file()));
        feature.classify("next.application", 77);
        ASSERT_EQ(feature.type("next.application"), 77) << "the feature works on";
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(cuts.size(), 300U);
}

// A feature with 200 applications on a volume of 512 KiB: its databases and their logs must fit there for good, also
// while reads keep a log from starting over.

constexpr std::uintmax_t volumeSize = 512 * 1024;

/// Whether the folder has room once one of its files ends at `end`. Files take whole blocks of 4 KiB.
bool hasRoom(const fs::path& changed, std::uintmax_t end) {
    std::uintmax_t used = 0;
    for (const auto& file : fs::directory_iterator(changed.parent_path())) {
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
        feature.classify(application, number);
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
