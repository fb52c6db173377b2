#ifndef BENCH_FEATUREUNDERTEST_H
#define BENCH_FEATUREUNDERTEST_H

#include <memory>
#include <string>

#include "host/Feature.h"

namespace bench {

/// The feature as its host has it: made by the registered factory and called through `Feature*`. One thread at a time.
class FeatureUnderTest {
public:
    /// Stores that many applications, classified and measured, before the feature opens its databases. Throws when
    /// the feature or its databases cannot be had.
    explicit FeatureUnderTest(unsigned applications);

    /// Returns the type code.
    int query(std::string& appName);
    void classify(std::string appName, int type);
    void weigh(std::string appName, int weight);
    /// Reports three measurements of this size, from 1: an application that is stored has smaller peaks.
    void report(std::string& appName, int measurement);
    void remove(std::string appName);

private:
    std::unique_ptr<Feature> feature;
};

} // namespace bench

#endif
