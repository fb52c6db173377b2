#ifndef BENCH_FEATUREUNDERTEST_H
#define BENCH_FEATUREUNDERTEST_H

#include <memory>
#include <string>

#include "host/Feature.h"

namespace bench {

/// The feature as its host has it: made by the registered factory and called through `Feature*`. One thread at a time.
/// Its files lie in the directory of a velhost::DeviceVfs, which must be there before this object and go after it.
/// The calls report no failure, as the feature's own do not: it logs what goes wrong and carries on.
class FeatureUnderTest {
public:
    /// Stores that many applications, classified and measured, before the feature opens its databases. Throws when
    /// the feature or its databases cannot be had.
    explicit FeatureUnderTest(unsigned applications);

    /// Returns the type code. As a host does, it lends the feature its own string.
    int query(std::string& appName);
    /// Sends the trigger that stores the application or gives it another type: 0 to 0xFFFFFF, since the operation code
    /// is packed above it.
    void classify(std::string appName, int type);
    /// Sends the trigger that sets the weight of a stored application.
    void weigh(std::string appName, int weight);
    /// Reports three measurements of this size, from 1: an application that is stored has smaller peaks.
    void report(std::string& appName, int measurement);
    /// Sends the trigger that removes the application from both tables. Unless it was stored there is nothing to
    /// remove.
    void remove(std::string appName);

private:
    // The registry keeps the factory; the feature is ours and closes its databases when it goes.
    std::unique_ptr<Feature> feature;
};

} // namespace bench

#endif
