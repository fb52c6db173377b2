#include <algorithm>
#include <memory>
#include <stdexcept>

#include "bench/BareLayer.h"
#include "bench/Bench.h"
#include "bench/SqliteCppLayer.h"
#include "rowstore/VelDatabase.h"
#include "workstation/Temporary.h"
#include "workstation/velhost/DeviceVfs.h"

namespace bench {

namespace {

/// The row store. It only logs what SQLite refuses.
class TessaryLayer : VelDatabase<TessaryDatabase> {
public:
    explicit TessaryLayer(const std::string& fileName) : VelDatabase(0, fileName, "Tessary") {
        if (openVeldb() != VELDB_SUCCESS) {
            throw std::runtime_error("the row store cannot open its database");
        }
    }

    Rows newRows(unsigned count) { return getRow(count); }
    Rows read(const std::string& appName) {
        const VelDBDataRowKey key(appName, VELDB_NO_VALUE);
        return readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    }
    void write(Rows& rows) { writeDeallocateDR<TessaryDatabase>(rows); }
    void remove(Rows& rows) { deleteDeallocateDR<TessaryDatabase>(rows); }
    void release(Rows& rows) { freeRow(rows); }
    sqlite3* connection() { return db; }
};

/// What a job works on: a layer, and the rows between the two steps.
template <typename Layer>
struct StoreFixture {
    Layer layer;
    unsigned rowsPerRun = 1;
    std::string known; ///< the name of a stored row
    Rows rows;

    /// Checks the number of rows: a read that found nothing would look very fast.
    void read(const std::string& appName, std::size_t expected) {
        rows = layer.read(appName);
        if (rows.size() != expected) {
            throw std::runtime_error("a read has not found the rows that are there");
        }
    }

    void insert() {
        while (rows.size() < rowsPerRun) {
            const std::size_t some = std::min<std::size_t>(rowsPerRun - rows.size(), VELDB_MAX_GET_ROWS);
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
        read("", rowsPerRun);
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
    using Fixture = StoreFixture<Layer>;
    // Writes work on tables so small that changing one row changes one page.
    const struct {
        const char* name;
        unsigned stored;
        unsigned rowsPerRun;
        void (Fixture::*prepare)();
        void (Fixture::*run)();
    } kinds[] = {
        {"lookup/10", 10, 1, &Fixture::prepareNothing, &Fixture::lookUp},
        {"lookup/200", 200, 1, &Fixture::prepareNothing, &Fixture::lookUp},
        {"lookup/1000", 1000, 1, &Fixture::prepareNothing, &Fixture::lookUp},
        {"lookup/10000", 10000, 1, &Fixture::prepareNothing, &Fixture::lookUp},
        {"read all/10000", 10000, 10000, &Fixture::prepareNothing, &Fixture::readAll},
        {"insert/1", 10, 1, &Fixture::prepareInsert, &Fixture::insert},
        {"update/1", 10, 1, &Fixture::prepareUpdate, &Fixture::write},
        {"delete/1", 10, 1, &Fixture::prepareDelete, &Fixture::remove},
        {"insert/100", 10, 100, &Fixture::prepareInsert, &Fixture::insert},
        {"insert/10000", 10, 10000, &Fixture::prepareInsert, &Fixture::insert},
    };
    std::vector<JobKind> jobs;
    for (const auto& kind : kinds) {
        const auto start = [kind](const std::filesystem::path&) {
            storeApplications("bench.db", "Tessary", "1100000000000000", kind.stored);
            auto fixture = std::shared_ptr<Fixture>(
                new Fixture{Layer("bench.db"), kind.rowsPerRun, applicationName(kind.stored / 2), {}});
            return Job{[kind, fixture] { (*fixture.*kind.prepare)(); }, [kind, fixture] { (*fixture.*kind.run)(); }};
        };
        jobs.push_back(
            {std::string(kind.name) + '/' + layerName, runsFor(std::max(kind.stored, kind.rowsPerRun)), start});
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

int appendSetting(void* text, int, char** values, char** names) {
    *static_cast<std::string*>(text) += std::string(names[0]) + '=' + values[0] + '\n';
    return 0;
}

/// Updates 8 rows and inserts 2 in one transaction, then deletes one. Returns, as text, three settings, the 9 rows that
/// are left and one of them read by name. The row ids show whether rows were updated in place.
template <typename Layer>
std::string changeAndRead() {
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
    const char* questions = "PRAGMA journal_mode; PRAGMA synchronous; PRAGMA wal_autocheckpoint";
    sqlite3_exec(layer.connection(), questions, appendSetting, &text, nullptr);
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

std::string applicationName(unsigned number) {
    const std::string digits = std::to_string(number);
    return "com.example.app" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits;
}

void storeApplications(const std::string& fileName, const std::string& table, const std::string& payload,
                       unsigned count) {
    sqlite3* handle = nullptr;
    const int opened = sqlite3_open(("/data/vendor/vel/" + fileName).c_str(), &handle);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(handle, sqlite3_close);
    // One statement for all rows: under valgrind the filling would otherwise take longer than the measurement.
    const std::unique_ptr<char, decltype(&sqlite3_free)> text(sqlite3_mprintf(R"(PRAGMA journal_mode=WAL;
            CREATE TABLE %s(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB);
            WITH RECURSIVE names(number) AS (VALUES(0) UNION ALL SELECT number + 1 FROM names)
            INSERT INTO %s SELECT NULL, printf('com.example.app%%05d', number), NULL, x'%s' FROM names LIMIT %u)",
                                                                              table.c_str(), table.c_str(),
                                                                              payload.c_str(), count),
                                                              sqlite3_free);
    if (opened != SQLITE_OK || sqlite3_exec(handle, text.get(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(handle));
    }
}

void requireSameWork() {
    const std::string ours = changeAndRead<TessaryLayer>();
    for (const std::string& other : {changeAndRead<BareLayer>(), changeAndRead<SqliteCppLayer>()}) {
        if (other != ours || std::count(other.begin(), other.end(), '\n') != 3 + 9 + 1) {
            throw std::runtime_error(std::string("the layers differ:\n").append(other).append("\n").append(ours));
        }
    }
}

std::vector<JobKind> storeJobs() {
    std::vector<JobKind> jobs;
    const std::vector<JobKind> layers[] = {jobsOf<BareLayer>("bare"), jobsOf<TessaryLayer>("tessary"),
                                           jobsOf<SqliteCppLayer>("SQLiteCpp")};
    for (std::size_t job = 0; job < layers[0].size(); ++job) {
        for (const auto& layer : layers) {
            jobs.push_back(layer[job]);
        }
    }
    return jobs;
}

} // namespace bench
