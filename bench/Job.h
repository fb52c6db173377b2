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

    /// Not measured. Undoes the last run, if there was one, and makes ready what the next one takes.
    virtual void prepare() = 0;
    /// Measured. Calls what the job is about and leaves out what a caller would have done before.
    virtual void run() = 0;
};

/// A job that can be started any number of times.
struct JobKind {
    std::string name;  ///< what is done, and on how many rows
    std::string layer; ///< by what
    double goal;       ///< how many instructions the row store should need for one of the layer "bare"; 0: no goal
    double limit;      ///< how many it must not exceed
    unsigned starts;   ///< how often to begin anew for a stable count
    unsigned rounds;   ///< how often to run it after each start
    /// Makes the job and fills its tables, in the directory of the velhost::DeviceVfs that is there; the job must go
    /// before that does. Throws when the databases cannot be had.
    std::function<std::unique_ptr<Job>()> start;
};

/// The row store's jobs, each by every layer. The layers of one job stand side by side, so that they are measured under
/// the same conditions.
std::vector<JobKind> storeJobs();

/// The feature's operations as a host calls them, with 10 to 10,000 applications stored. They have no goals, and the
/// layer's name is "feature".
std::vector<JobKind> featureJobs();

/// Throws unless all layers leave the same rows after the same inserts, updates and deletes: else their costs would not
/// be comparable. Makes devices of its own.
void requireSameRows();

/// A name of usual length: `number` with at least five digits, so that all names are equally long below 100,000.
std::string applicationName(unsigned number);

} // namespace bench

#endif
