#include <algorithm>
#include <stdexcept>

#include "bench/Job.h"
#include "bench/Layer.h"

namespace bench {

namespace {

constexpr const char* addedName = "com.example.added00000";

/// What a job works on: a layer with its table filled, and the rows between the two steps.
struct Bench {
    std::unique_ptr<Layer> layer;
    unsigned amount;   ///< the rows of one run
    std::string known; ///< the name of a stored row
    Rows rows;
};

// A read that finds nothing would be the fastest of all.
void requireRows(const Bench& bench, std::size_t count) {
    if (bench.rows.size() != count) {
        throw std::runtime_error("a read has not found the rows that are there");
    }
}

void insert(Bench& bench) {
    bench.rows = bench.layer->newRows(bench.amount);
    for (Row* row : bench.rows) {
        row->appName = addedName;
        row->payload.appType = 17;
    }
    bench.layer->write(bench.rows);
}

void lookUp(Bench& bench) {
    bench.rows = bench.layer->read(bench.known);
    requireRows(bench, 1);
    bench.layer->release(bench.rows);
}

void readAll(Bench& bench) {
    bench.rows = bench.layer->read("");
    requireRows(bench, bench.amount);
    bench.layer->release(bench.rows);
}

void writeRows(Bench& bench) { bench.layer->write(bench.rows); }
void removeRows(Bench& bench) { bench.layer->remove(bench.rows); }

void prepareNothing(Bench&) {}

/// Keeps the table at its size, however often the job runs.
void prepareInsert(Bench& bench) {
    bench.rows = bench.layer->read(addedName);
    bench.layer->remove(bench.rows);
}

void prepareUpdate(Bench& bench) {
    bench.rows = bench.layer->read(bench.known);
    requireRows(bench, 1);
    bench.rows.front()->payload.appWeight ^= 1; // SQLite does not write a page that stays the same
}

void prepareDelete(Bench& bench) {
    insert(bench);
    bench.rows = bench.layer->read(addedName);
    requireRows(bench, 1);
}

struct StoreJobKind {
    const char* name;
    unsigned stored;
    unsigned amount;
    void (*prepare)(Bench&);
    void (*run)(Bench&);
};

// Changes of one row work on tables so small that a commit changes one page.
constexpr StoreJobKind kinds[] = {
    {"lookup/10", 10, 1, prepareNothing, lookUp},
    {"lookup/200", 200, 1, prepareNothing, lookUp},
    {"lookup/1000", 1000, 1, prepareNothing, lookUp},
    {"lookup/10000", 10000, 1, prepareNothing, lookUp},
    {"read all/10000", 10000, 10000, prepareNothing, readAll},
    {"insert/1", 10, 1, prepareInsert, insert},
    {"update/1", 10, 1, prepareUpdate, writeRows},
    {"delete/1", 10, 1, prepareDelete, removeRows},
    {"insert/100", 10, 100, prepareInsert, insert},
    {"insert/10000", 10, 10000, prepareInsert, insert},
};

class StoreJob : public Job {
public:
    StoreJob(const StoreJobKind& jobKind, const LayerKind& layerKind)
        : kind(jobKind), bench{layerKind.open("bench.db"), jobKind.amount, applicationName(jobKind.stored / 2), {}} {}

    void prepare() override { kind.prepare(bench); }
    void run() override { kind.run(bench); }

private:
    const StoreJobKind& kind;
    Bench bench;
};

} // namespace

std::vector<JobKind> storeJobs() {
    std::vector<JobKind> jobs;
    for (const StoreJobKind& kind : kinds) {
        for (const LayerKind& layer : layerKinds) {
            jobs.push_back({std::string(kind.name) + '/' + layer.name, roundsFor(std::max(kind.stored, kind.amount)),
                            [&kind, &layer](const std::filesystem::path&) {
                                storeApplications("bench.db", "Tessary", "1100000000000000", kind.stored);
                                return std::make_unique<StoreJob>(kind, layer);
                            }});
        }
    }
    return jobs;
}

} // namespace bench
