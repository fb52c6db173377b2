#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

namespace fs = std::filesystem;

namespace {

// Cuts the power at every write, truncation, sync and deletion of a run of calls. All changes of the calls that had
// returned must be found again. Each row that the interrupted call changes must be as before or as after.

using Files = std::map<std::string, std::string>; ///< from name to content

struct Step {
    StoredRows before;
    std::vector<Files> cuts; ///< what a power cut at each change leaves; without the shared memory
};

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

using Change = void (*)(FeatureProbe& feature, const std::string& name, int value);

const Change changes[] = {
    [](FeatureProbe& feature, const std::string& name, int /*value*/) { feature.remove(name); },
    [](FeatureProbe& feature, const std::string& name, int value) { feature.classify(name, value); },
    [](FeatureProbe& feature, const std::string& name, int value) { feature.weigh(name, value); },
    [](FeatureProbe& feature, const std::string& name, int value) {
        feature.report(name, {value, 1, 1});
    },
};

/// A run of 120 calls. The last step only destroys the feature.
std::vector<Step> runWithCuts() {
    const Device device;
    std::mt19937 random{20251122};
    std::vector<Step> steps(1);
    Files synced;
    const FaultVfs vfs([&](FileChange change, const fs::path& path) {
        Files& files = steps.back().cuts.emplace_back();
        for (const auto& file : fs::directory_iterator(device.file())) {
            if (const std::string name = file.path().filename(); name.find("-shm") == std::string::npos) {
                files[name] = tear(synced[name], contentOf(file), random);
            }
        }
        if (change == FileChange::sync) {
            synced[path.filename()] = contentOf(path);
        } else if (change == FileChange::remove) {
            synced.erase(path.filename());
        }
    });
    std::unique_ptr<FeatureProbe> feature;
    for (int number = 0; number < 120; ++number) {
        if (number % 10 == 0) {
            feature.reset();
            feature = std::make_unique<FeatureProbe>("Tessary");
            sqlite3_wal_autocheckpoint(connectionOf(*feature->appDb), 4); // so that checkpoints are cut too
        }
        changes[number % 4](*feature, "com.example." + std::to_string(number * 7 % 5), number * 389 % 1000);
        steps.push_back({readRows(device.file()), {}});
    }
    feature.reset();
    return steps;
}

TEST(PowerCut, KeepsEveryChangeThatHadReturned) {
    const std::vector<Step> steps = runWithCuts();
    for (std::size_t number = 0; number < steps.size(); ++number) {
        const auto& [before, cuts] = steps[number];
        const StoredRows& after = steps[std::min(number + 1, steps.size() - 1)].before;
        EXPECT_FALSE(cuts.empty() && before != after);
        for (const Files& files : cuts) {
            SCOPED_TRACE(testing::Message() << "in call " << number);
            const Device device;
            for (const auto& [name, content] : files) {
                std::ofstream(device.file(name), std::ios::binary) << content;
            }
            const FaultVfs withoutSyncs;
            FeatureProbe feature("Tessary");
            ASSERT_EQ(neitherOldNorNew(before, after, readRows(device.file())), Lines{});
            feature.classify("next.application", 77);
            ASSERT_EQ(feature.type("next.application"), 77) << "the feature works on";
        }
    }
}

// The databases of 200 applications and their logs must fit on a volume of 512 KiB for good, also while reads keep the
// logs from starting over.
TEST(Volume, HoldsBothDatabasesAndTheirLogsForGood) {
    const Device device;
    const FaultVfs withoutSyncs;
    for (int life = 0; life < 3; ++life) {
        FeatureProbe feature("Tessary");
        Sql readers[] = {Sql(device.file("Tessary.db")), Sql(device.file("TessaryHeavyGame.db"))};
        for (int number = 0; number < 2000; ++number) {
            for (Sql& reader : readers) {
                reader.run(number % 2 == 0 ? "BEGIN; SELECT count(*) FROM sqlite_master" : "COMMIT");
            }
            const std::string application = "com.example.application.number" + std::to_string(number % 200);
            feature.classify(application, number);
            feature.report(application, {number, 0, 0});
            std::uintmax_t used = 0;
            for (const auto& file : fs::directory_iterator(device.file())) {
                used += (file.file_size() + 4095) / 4096 * 4096; // files take whole blocks
            }
            ASSERT_LE(used, 512U * 1024) << "call " << number << " of life " << life;
        }
    }
    EXPECT_EQ(Device::takeLog(), Lines{});
}

} // namespace
