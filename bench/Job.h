#ifndef BENCH_JOB_H
#define BENCH_JOB_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// One thing to measure, on a database that is new when the job starts: give each job a device of its own. Each
/// measured `run` follows a `prepare` that puts the database back into the same state. Both throw when something is not
/// as it should be.
class Job {
public:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    virtual ~Job() = default;

    virtual void prepare() = 0;
    virtual void run() = 0;
};

struct JobKind {
    std::string name;  ///< what is done, and on how many rows
    std::string layer; ///< by what
    double goal;       ///< how many instructions the row store should need for one of the layer "bare"; 0: no goal
    double limit;      ///< how many it must not exceed
    unsigned starts;   ///< how often to begin anew for a stable count
    unsigned rounds;   ///< how often to run it after each start
    std::function<std::unique_ptr<Job>()> start;
};

/// The row store's jobs, each by every layer.
std::vector<JobKind> storeJobs();

/// The feature's operations as a host calls them, with 10 to 10,000 applications stored.
std::vector<JobKind> featureJobs();

/// Throws unless all layers leave the same rows after the same inserts, updates and deletes.
void requireSameRows();

/// A name of usual length: `number` with five digits.
std::string applicationName(unsigned number);

} // namespace bench

#endif
