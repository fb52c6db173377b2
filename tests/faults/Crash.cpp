#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <set>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// The power goes, or the process is killed, at random moments of a random game: every call that had returned is found
// again, and of the one under way each transaction is there wholly or not at all.

namespace fs = std::filesystem;

namespace {

constexpr int callCount = 60;
const std::string fileNames[] = {"Tessary.db",          "Tessary.db-wal",          "Tessary.db-journal",
                                 "TessaryHeavyGame.db", "TessaryHeavyGame.db-wal", "TessaryHeavyGame.db-journal"};

std::unique_ptr<FeatureProbe> makeFeature() { return std::make_unique<FeatureProbe>(called("Tessary")); }

/// Plays one game from its beginning, each ten calls with a new feature. `returned` follows every call.
template <typename Returned>
void play(unsigned seed, Returned returned) {
    std::mt19937 random(seed);
    std::unique_ptr<FeatureProbe> feature;
    for (int call = 0; call < callCount; ++call) {
        if (call % 10 == 0) {
            feature.reset();
            feature = makeFeature();
            sqlite3_wal_autocheckpoint((*feature->appDb).*&StoreProbe<TessaryDatabase>::db, 4);
        }
        std::string name = "com.example." + std::to_string(random() % 5);
        const auto value = static_cast<int>(random() % 1000);
        const auto kind = static_cast<int>(random() % 6);
        if (kind < 3) {
            feature->updateToClassifierDataBase(name, kind, value);
        } else if (kind == 3) {
            feature->updateWeightToTessary(name, value);
        } else {
            feature->setData(name, {value, value, value});
        }
        returned();
    }
}

/// What velhost shows of the files as they are.
std::string dump(const Device& device) {
    const std::string command =
        "cd '" + device.file().native() + "' && " VELHOST " dump --format json --data . >dumped";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return contentOf(device.file("dumped"));
}

bool coin(std::mt19937& random) { return (random() & 1U) != 0; }

std::string tear(std::string before, std::string now, std::mt19937& random) {
    const std::size_t length = (coin(random) ? before : now).size();
    before.resize(length);
    now.resize(length);
    for (std::size_t sector = 0; sector < length; sector += 512) {
        now.replace(sector, 512, coin(random) ? before : now, sector, 512);
    }
    return now;
}

/// What a loss of power leaves of the device's files. Every 512-byte sector of a file is as of the file's last sync or
/// as it is now, independently, and so is its length. Names that were made or deleted since their folder's last sync
/// are there or not. The shared-memory files are gone.
struct Disk {
    const Device device;
    std::mt19937 random;
    std::map<std::string, std::string> synced;  ///< each file as of its last sync
    std::map<std::string, std::string> deleted; ///< the files whose deletion may be undone
    std::set<std::string> names;                ///< in the folder as of its last sync

    void write(const fs::path& image) {
        fs::create_directory(image);
        for (const std::string& name : fileNames) {
            if (deleted.count(name) != 0 && coin(random)) {
                std::ofstream(image / name, std::ios::binary) << deleted[name];
            } else if (fs::exists(device.file(name)) && (names.count(name) > deleted.count(name) || coin(random))) {
                std::ofstream(image / name, std::ios::binary)
                    << tear(synced[name], contentOf(device.file(name)), random);
            }
        }
    }

    /// Takes note of what is about to be done.
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

class Crash : public testing::Test {
protected:
    const char* given = std::getenv("TESSARY_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::atoi(given)) : 20251122;
    std::vector<Contents> states = std::vector<Contents>(1); ///< number n: after n calls, undisturbed

    void SetUp() override { std::cout << "TESSARY_SEED=" << seed << std::endl; }

    /// The files hold what `calls` calls have left, and perhaps something of the next; and the feature works on.
    void expectKept(const Device& device, std::size_t calls) {
        SCOPED_TRACE(testing::Message() << "after " << calls << " calls");
        const std::string shown = calls == 0 ? "" : dump(device); // until then there may be no tables
        const FaultVfs withoutSyncs;
        makeFeature();
        EXPECT_EQ(shown, calls == 0 ? "" : dump(device));
        expectWholeOrAbsent(states[calls], states[std::min(calls + 1, states.size() - 1)], readContents(device.file()));
        std::string next = "next.application";
        const auto feature = makeFeature();
        feature->updateToClassifierDataBase(next, 1, 77);
        EXPECT_EQ(feature->getAppType(next), 77);
    }
};

std::unique_ptr<Disk> disk;
std::vector<std::size_t> cuts; ///< for each, the number of calls that had returned; its image is the folder "cutN"
std::size_t calls;

void cut(int kind, const char* path, bool syncsFolder) {
    disk->write(disk->device.file("cut" + std::to_string(cuts.size())));
    disk->follow(kind, fs::path(path).filename(), syncsFolder);
    cuts.push_back(calls);
}

TEST_F(Crash, LossOfPowerKeepsWhatHadReturned) {
    disk = std::make_unique<Disk>();
    disk->random.seed(seed);
    std::optional<FaultVfs> vfs(cut);
    play(seed, [&] {
        states.push_back(readContents(disk->device.file()));
        ++calls;
    });
    vfs.reset();
    for (std::size_t number = 0; number < cuts.size() && !HasFailure(); ++number) {
        const Device device;
        fs::copy(disk->device.file("cut" + std::to_string(number)), device.file());
        expectKept(device, cuts[number]);
    }
    std::cout << "counted: " << cuts.size() << " losses of power" << std::endl;
    disk.reset();
}

TEST_F(Crash, KillKeepsWhatHadReturned) {
    const Device undisturbed;
    std::mt19937 random(seed);
    play(seed, [&] { states.push_back(readContents(undisturbed.file())); });
    void* shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& returned = *new (shared) std::atomic<unsigned>;
    int kills = 0;
    for (; kills < 100 && !HasFailure(); ++kills) {
        const Device device;
        returned = 0;
        const pid_t child = fork();
        ASSERT_GE(child, 0); // kill(-1) would reach every process
        if (child == 0) {
            play(seed, [&] { ++returned; });
            pause();
        }
        for (const auto awaited = random() % callCount; returned < awaited;) {
            ASSERT_EQ(waitpid(child, nullptr, WNOHANG), 0);
            usleep(100);
        }
        usleep(static_cast<unsigned>(random() % 5000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        expectKept(device, returned);
    }
    std::cout << "counted: " << kills << " kills" << std::endl;
}

} // namespace
