#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// The power goes at every write, truncation, sync and deletion of a run of calls. Each call that had returned is found
// again; of the one under way each transaction is there wholly or not at all.

namespace fs = std::filesystem;

namespace {

const std::string fileNames[] = {"Tessary.db",          "Tessary.db-wal",          "Tessary.db-journal",
                                 "TessaryHeavyGame.db", "TessaryHeavyGame.db-wal", "TessaryHeavyGame.db-journal"};

bool coin(std::mt19937& random) { return (random() & 1U) != 0; }

/// Mixes two versions of a file, sector by sector.
std::string tear(std::string before, std::string now, std::mt19937& random) {
    const std::size_t length = (coin(random) ? before : now).size();
    before.resize(length);
    now.resize(length);
    for (std::size_t sector = 0; sector < length; sector += 512) {
        now.replace(sector, 512, coin(random) ? before : now, sector, 512);
    }
    return now;
}

/// What a power cut leaves of the device's files. Every 512-byte sector is as of the file's last sync or as it is now,
/// independently, and so is the file's length. Files made or deleted since the folder's last sync are there or not. The
/// shared-memory files are gone.
struct Disk {
    const Device device;
    std::mt19937 random{20251122};
    std::map<std::string, std::string> synced;  ///< each file as of its last sync
    std::map<std::string, std::string> deleted; ///< the files whose deletion may be undone
    std::set<std::string> names;                ///< in the folder as of its last sync

    void writeRemains(const fs::path& to) {
        fs::create_directory(to);
        for (const std::string& name : fileNames) {
            if (deleted.count(name) != 0 && coin(random)) {
                std::ofstream(to / name, std::ios::binary) << deleted[name];
            } else if (fs::exists(device.file(name)) && (names.count(name) > deleted.count(name) || coin(random))) {
                std::ofstream(to / name, std::ios::binary) << tear(synced[name], contentOf(device.file(name)), random);
            }
        }
    }

    /// Notes what is about to be done.
    void follow(int kind, const std::string& name, bool syncsFolder) {
        if (kind == SQLITE_IOERR_FSYNC) {
            synced[name] = contentOf(device.file(name));
        } else if (kind == SQLITE_IOERR_DELETE) {
            if (names.count(name) != 0) {
                deleted[name] = synced[name];
            }
            synced.erase(name);
        }
        if (syncsFolder) {
            deleted.clear();
            names.clear();
            std::copy_if(std::begin(fileNames), std::end(fileNames), std::inserter(names, names.end()),
                         [this](const std::string& present) { return fs::exists(device.file(present)); });
        }
    }
};

// For the VFS, which calls a plain function.
std::unique_ptr<Disk> disk;
std::size_t callsReturned;
std::vector<std::size_t> cuts; ///< for each, the calls that had returned; its files are in the folder "cutN"

void cutPower(int kind, const char* path, bool syncsFolder) {
    disk->writeRemains(disk->device.file("cut" + std::to_string(cuts.size())));
    disk->follow(kind, fs::path(path).filename(), syncsFolder);
    cuts.push_back(callsReturned);
}

/// Call number `number` of a run: every kind of change, on few applications.
void change(FeatureProbe& feature, int number) {
    const std::string name = "com.example." + std::to_string(number * 7 % 5);
    const int value = number * 389 % 1000;
    switch (number % 6) {
    case 0:
        return feature.remove(name);
    case 1:
    case 2:
        return feature.classify(name, static_cast<unsigned>(value));
    case 3:
        return feature.weigh(name, value);
    default:
        return feature.report(name, {value, value, value});
    }
}

TEST(PowerCut, KeepsEveryChangeThatHadReturned) {
    disk = std::make_unique<Disk>();
    std::vector<Contents> states(1); ///< number n: after n calls
    {
        const FaultVfs vfs(cutPower);
        std::unique_ptr<FeatureProbe> feature;
        for (int number = 0; number < 120; ++number) {
            if (number % 10 == 0) {
                feature.reset();
                feature = std::make_unique<FeatureProbe>("Tessary");
                sqlite3_wal_autocheckpoint(connectionOf(*feature->appDb), 4); // so that checkpoints are cut too
            }
            change(*feature, number);
            states.push_back(readContents(disk->device.file()));
            ++callsReturned;
        }
    }
    for (std::size_t number = 0; number < cuts.size() && !HasFailure(); ++number) {
        SCOPED_TRACE(testing::Message() << "after " << cuts[number] << " calls");
        const Device device;
        fs::copy(disk->device.file("cut" + std::to_string(number)), device.file());
        const FaultVfs withoutSyncs;
        FeatureProbe feature("Tessary");
        const std::size_t next = std::min(cuts[number] + 1, states.size() - 1);
        expectWholeOrAbsent(states[cuts[number]], states[next], readContents(device.file()));
        feature.classify("next.application", 77);
        EXPECT_EQ(feature.type("next.application"), 77) << "the feature works on";
    }
    std::cout << "counted: " << cuts.size() << " power cuts" << std::endl;
    EXPECT_GT(cuts.size(), 300U);
    disk.reset();
}

} // namespace
