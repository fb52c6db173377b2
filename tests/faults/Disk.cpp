#include <filesystem>
#include <fstream>
#include <functional>
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

using Files = std::map<std::string, std::string>; ///< from name to content

/// One call of a recorded run, every tenth with a restart of the feature.
struct Step {
    StoredRows before;
    StoredRows after;
    std::vector<Files> cuts; ///< the files after a power cut at each write, truncation, sync and deletion
};

/// A file after a power cut. Its length, and each 512-byte sector, is chosen at random: from the last sync or from now.
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

/// Makes one of four changes to one of five applications.
void changeAtRandom(FeatureProbe& feature, std::mt19937& random) {
    const std::string name = "com.example." + std::to_string(random() % 5);
    const int value = static_cast<int>(random() % 1000);
    const std::function<void()> changes[] = {
        [&] { feature.remove(name); },
        [&] { feature.classify(name, value); },
        [&] { feature.weigh(name, value); },
        [&] { feature.report(name, std::vector<int>(3, value)); },
    };
    changes[random() % 4]();
}

/// Records 120 calls and, as the last step, the end of the feature.
std::vector<Step> recordRun() {
    const Device device;
    std::mt19937 random{20251122};
    std::vector<Step> steps;
    Files synced;
    const FaultVfs vfs([&](FileChange change, const char* path) {
        Files& files = steps.back().cuts.emplace_back();
        for (const auto& file : fs::directory_iterator(device.file())) {
            const std::string name = file.path().filename();
            files[name] = tear(synced[name], contentOf(file), random);
        }
        if (change == FileChange::sync) {
            synced[fs::path(path).filename()] = contentOf(path);
        } else if (change == FileChange::remove) {
            synced.erase(fs::path(path).filename());
        }
    });
    std::unique_ptr<FeatureProbe> feature;
    StoredRows rows;
    for (int call = 0; call < 120; ++call) {
        steps.push_back({rows, {}, {}});
        if (call % 10 == 0) {
            feature.reset();
            feature = std::make_unique<FeatureProbe>("Tessary");
            sqlite3_wal_autocheckpoint(connectionOf(*feature->appDb), 4); // so that checkpoints are cut too
        }
        changeAtRandom(*feature, random);
        rows = steps.back().after = readRows(device.file());
    }
    steps.push_back({rows, rows, {}});
    feature.reset();
    return steps;
}

// Starts a feature on the files of each power cut. Each row must be as before or as after the interrupted call.
TEST(PowerCut, KeepsEveryChangeThatHadReturned) {
    int call = 0;
    for (const auto& [before, after, cuts] : recordRun()) {
        EXPECT_TRUE(before == after || !cuts.empty()) << "call " << call << " changed rows but no file";
        for (std::size_t cut = 0; cut < cuts.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << "call " << call << ", cut " << cut);
            const Device device;
            for (const auto& [name, content] : cuts[cut]) {
                std::ofstream(device.file(name), std::ios::binary) << content;
            }
            const FaultVfs withoutSyncs;
            FeatureProbe feature("Tessary");
            ASSERT_EQ(neitherOldNorNew(before, after, readRows(device.file())), Lines{});
            feature.classify("next.application", 77);
            ASSERT_EQ(feature.type("next.application"), 77) << "the feature works on";
        }
        ++call;
    }
}

// SQLite cannot reuse a write-ahead log from its start while a reader uses it. Here each reader begins before every
// even call and ends before the next odd one.
TEST(Volume, TwoHundredApplicationsStayWithin512KiBBesideReaders) {
    const Device device;
    const FaultVfs withoutSyncs;
    FeatureProbe feature("Tessary");
    Sql readers[] = {Sql(device.file("Tessary.db")), Sql(device.file("TessaryHeavyGame.db"))};
    for (int call = 0; call < 2000; ++call) {
        for (Sql& reader : readers) {
            reader.run(call % 2 == 0 ? "BEGIN; SELECT count(*) FROM sqlite_master" : "COMMIT");
        }
        const std::string application = "com.example.application.number" + std::to_string(call % 200);
        feature.classify(application, call);
        feature.report(application, {call, 0, 0});
        std::uintmax_t used = 0;
        for (const auto& file : fs::directory_iterator(device.file())) {
            used += (file.file_size() + 4095) / 4096 * 4096; // files take whole blocks
        }
        ASSERT_LE(used, 512U * 1024) << "call " << call;
    }
    EXPECT_EQ(Device::takeLog(), Lines{});
}

} // namespace
