#include <cstdint>
#include <stdexcept>

#include "bench/Job.h"
#include "bench/Layer.h"

namespace bench {

namespace {

constexpr const char* addedName = "com.example.added00000";
constexpr std::int32_t someType = 17;

void require(bool condition, const char* otherwise) {
    if (!condition) {
        throw std::runtime_error(otherwise);
    }
}

/// What a job works on: a layer with its table filled, and the rows between the two steps.
struct Bench {
    std::unique_ptr<Layer> layer;
    unsigned amount;
    std::string known; ///< the name of one of the stored rows
    Rows rows;
};

void addRows(Layer& layer, unsigned count) {
    Rows rows = layer.newRows(count);
    for (Row* row : rows) {
        row->appName = addedName;
        row->payload.appType = someType;
    }
    layer.write(rows);
}

/// Keeps the table at the size that the job is named for, however often it runs.
void removeAdded(Bench& bench) {
    Rows rows = bench.layer->read(addedName);
    bench.layer->remove(rows);
}

void prepareNothing(Bench&) {}

void prepareUpdate(Bench& bench) {
    bench.rows = bench.layer->read(bench.known);
    require(bench.rows.size() == 1, "the row to update is missing");
    // Another value each time: SQLite does not write a page that stays the same.
    bench.rows.front()->payload.appWeight ^= 1;
}

void prepareDelete(Bench& bench) {
    addRows(*bench.layer, 1);
    bench.rows = bench.layer->read(addedName);
    require(bench.rows.size() == 1, "the row to delete is missing");
}

void readOne(Bench& bench) {
    Rows rows = bench.layer->read(bench.known);
    // A read that found nothing would be the fastest of all.
    require(rows.size() == 1, "the read has not found one row");
    bench.layer->release(rows);
}

void readAll(Bench& bench) {
    Rows rows = bench.layer->read("");
    require(rows.size() == bench.amount, "the read has not found all rows");
    bench.layer->release(rows);
}

void insertOne(Bench& bench) { addRows(*bench.layer, 1); }
void insertMany(Bench& bench) { addRows(*bench.layer, bench.amount); }
void writeRows(Bench& bench) { bench.layer->write(bench.rows); }
void removeRows(Bench& bench) { bench.layer->remove(bench.rows); }

/// A job by any layer; goal, limit, starts and rounds are those of JobKind.
struct StoreJobKind {
    const char* name;
    double goal;
    double limit;
    unsigned starts;
    unsigned rounds;
    unsigned stored;
    unsigned amount; ///< the rows of one run, or among which one is looked for
    void (*prepare)(Bench&);
    void (*run)(Bench&);
};

// Small jobs are started often, since the heap's past changes their count by one percent, which a goal may be all of.
// The tables of single-row writes are so small that every commit changes one page. Where the limit is above the goal,
// the goal is missed; docs/performance.md says why.
constexpr StoreJobKind kinds[] = {
    {"Q1/10", 1.025, 1.025, 64, 1, 10, 10, prepareNothing, readOne},
    {"Q1/200", 1.010, 1.010, 64, 1, 200, 200, prepareNothing, readOne},
    {"Q1/1000", 0, 0, 1, 4, 1000, 1000, prepareNothing, readOne},
    {"Q1/10000", 0, 0, 1, 2, 10000, 10000, prepareNothing, readOne},
    {"Q2/10000", 1.005, 1.038, 1, 2, 10000, 10000, prepareNothing, readAll},
    {"W1", 1.025, 1.025, 64, 1, 10, 10, removeAdded, insertOne},
    {"W2", 1.027, 1.027, 64, 1, 10, 10, prepareUpdate, writeRows},
    {"W3/100", 1.080, 1.115, 4, 4, 10, 100, removeAdded, insertMany},
    {"W3/10000", 1.080, 1.122, 1, 1, 10, 10000, removeAdded, insertMany},
    {"D1", 1.016, 1.021, 64, 1, 10, 10, prepareDelete, removeRows},
};

class StoreJob : public Job {
public:
    StoreJob(const StoreJobKind& jobKind, const LayerKind& layerKind)
        : kind(jobKind), bench{layerKind.open("bench.db"), jobKind.amount, applicationName(jobKind.stored / 2), {}} {
        Rows rows = bench.layer->newRows(kind.stored);
        for (unsigned number = 0; number < kind.stored; ++number) {
            rows[number]->appName = applicationName(number);
            rows[number]->payload.appType = someType;
        }
        bench.layer->write(rows);
    }

    void prepare() override { kind.prepare(bench); }
    void run() override { kind.run(bench); }

private:
    const StoreJobKind& kind;
    Bench bench;
};

} // namespace

std::string applicationName(unsigned number) {
    const std::string digits = std::to_string(number);
    return "com.example.app" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits;
}

std::vector<JobKind> storeJobs() {
    std::vector<JobKind> jobs;
    for (const StoreJobKind& kind : kinds) {
        for (const LayerKind& layer : layerKinds) {
            jobs.push_back({kind.name, layer.name, kind.goal, kind.limit, kind.starts, kind.rounds,
                            [&kind, &layer] { return std::make_unique<StoreJob>(kind, layer); }});
        }
    }
    return jobs;
}

} // namespace bench
