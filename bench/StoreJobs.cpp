#include <algorithm>
#include <stdexcept>

#include "bench/BareLayer.h"
#include "bench/Job.h"
#include "bench/SqliteCppLayer.h"
#include "bench/TessaryLayer.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

namespace bench {

namespace {

constexpr const char* addedName = "com.example.added00000";

/// What a job works on: a layer, and the rows between the two steps.
template <typename Layer>
struct Bench {
    Layer layer;
    unsigned amount;   ///< the rows of one run
    std::string known; ///< the name of a stored row
    Rows rows;

    /// A read that finds nothing would be the fastest of all.
    void read(const std::string& appName, std::size_t expected) {
        rows = layer.read(appName);
        if (rows.size() != expected) {
            throw std::runtime_error("a read has not found the rows that are there");
        }
    }

    void insert() {
        while (rows.size() < amount) {
            const std::size_t some = std::min<std::size_t>(amount - rows.size(), VELDB_MAX_GET_ROWS);
            const Rows more = layer.newRows(static_cast<unsigned>(some));
            rows.insert(rows.end(), more.begin(), more.end());
        }
        for (Row* row : rows) {
            row->appName = addedName;
            row->payload.appType = 17;
        }
        layer.write(rows);
    }
    void lookUp() {
        read(known, 1);
        layer.release(rows);
    }
    void readAll() {
        read("", amount);
        layer.release(rows);
    }
    void write() { layer.write(rows); }
    void remove() { layer.remove(rows); }

    void prepareNothing() {}
    /// Keeps the table at its size, however often the job runs.
    void prepareInsert() {
        rows = layer.read(addedName);
        layer.remove(rows);
    }
    void prepareUpdate() {
        read(known, 1);
        rows.front()->payload.appWeight ^= 1; // SQLite does not write a page that stays the same
    }
    void prepareDelete() {
        insert();
        read(addedName, 1);
    }
};

template <typename Layer>
std::vector<JobKind> jobsOf(const std::string& layerName) {
    using B = Bench<Layer>;
    // Changes of one row work on tables so small that a commit changes one page.
    const struct {
        const char* name;
        unsigned stored;
        unsigned amount;
        void (B::*prepare)();
        void (B::*run)();
    } kinds[] = {
        {"lookup/10", 10, 1, &B::prepareNothing, &B::lookUp},
        {"lookup/200", 200, 1, &B::prepareNothing, &B::lookUp},
        {"lookup/1000", 1000, 1, &B::prepareNothing, &B::lookUp},
        {"lookup/10000", 10000, 1, &B::prepareNothing, &B::lookUp},
        {"read all/10000", 10000, 10000, &B::prepareNothing, &B::readAll},
        {"insert/1", 10, 1, &B::prepareInsert, &B::insert},
        {"update/1", 10, 1, &B::prepareUpdate, &B::write},
        {"delete/1", 10, 1, &B::prepareDelete, &B::remove},
        {"insert/100", 10, 100, &B::prepareInsert, &B::insert},
        {"insert/10000", 10, 10000, &B::prepareInsert, &B::insert},
    };
    std::vector<JobKind> jobs;
    for (const auto& kind : kinds) {
        const auto start = [kind](const std::filesystem::path&) {
            storeApplications("bench.db", "Tessary", "1100000000000000", kind.stored);
            auto bench =
                std::shared_ptr<B>(new B{Layer("bench.db"), kind.amount, applicationName(kind.stored / 2), {}});
            return Job{[kind, bench] { (*bench.*kind.prepare)(); }, [kind, bench] { (*bench.*kind.run)(); }};
        };
        jobs.push_back(
            {std::string(kind.name) + '/' + layerName, roundsFor(std::max(kind.stored, kind.amount)), start});
    }
    return jobs;
}

void setValues(const Rows& rows, int number) {
    for (Row* row : rows) {
        row->appName = "it's " + applicationName(static_cast<unsigned>(number));
        row->payload = {number, -number};
        ++number;
    }
}

void appendSetting(sqlite3* connection, const char* question, std::string& text) {
    const auto append = [](void* to, int, char** values, char** names) {
        *static_cast<std::string*>(to) += std::string(names[0]) + '=' + values[0] + '\n';
        return 0;
    };
    sqlite3_exec(connection, question, append, &text, nullptr);
}

/// Updates 8 rows and inserts 2 in one transaction and deletes one. Returns the settings and what reads then find: 9
/// rows, whose ids tell whether they were updated in place, and 1 by its name.
template <typename Layer>
std::string play() {
    const velhost::TemporaryDirectory directory;
    const velhost::DeviceVfs device(directory.path());
    storeApplications("bench.db", "Tessary", "1100000000000000", 8);
    Layer layer("bench.db");
    Rows rows = layer.read("");
    const Rows more = layer.newRows(2);
    rows.insert(rows.end(), more.begin(), more.end());
    setValues(rows, 1);
    layer.write(rows);
    rows = layer.read("it's " + applicationName(3));
    layer.remove(rows);
    std::string text;
    for (const char* question : {"PRAGMA journal_mode", "PRAGMA synchronous", "PRAGMA wal_autocheckpoint"}) {
        appendSetting(layer.connection(), question, text);
    }
    for (const std::string& appName : {std::string(), "it's " + applicationName(9)}) {
        rows = layer.read(appName);
        for (const Row* row : rows) {
            text += std::to_string(row->rowid) + ' ' + row->appName + ' ' + std::to_string(row->payload.appType) + ' ' +
                    std::to_string(row->payload.appWeight) + '\n';
        }
        layer.release(rows);
    }
    return text;
}

} // namespace

void requireSameWork() {
    const std::string ours = play<TessaryLayer>();
    for (const std::string& other : {play<BareLayer>(), play<SqliteCppLayer>()}) {
        if (other != ours || std::count(other.begin(), other.end(), '\n') != 3 + 9 + 1) {
            throw std::runtime_error("the layers differ:\n" + other + "the row store:\n" + ours);
        }
    }
}

std::vector<JobKind> storeJobs() {
    std::vector<JobKind> jobs;
    const auto bare = jobsOf<BareLayer>("bare");
    const auto ours = jobsOf<TessaryLayer>("tessary");
    const auto wrapper = jobsOf<SqliteCppLayer>("SQLiteCpp");
    // Side by side, so that the layers of one job are measured under the same conditions.
    for (std::size_t job = 0; job < bare.size(); ++job) {
        jobs.insert(jobs.end(), {bare[job], ours[job], wrapper[job]});
    }
    return jobs;
}

} // namespace bench
