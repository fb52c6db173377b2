#ifndef HOST_FEATUREINFO_H
#define HOST_FEATUREINFO_H

#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/Export.h"

// The host's description of a feature. The records cross the plug-in boundary by value: order and types of the fields
// are part of the binary contract. A plug-in reads only FeatureInfo::name and copies the rest.

/// One asynchronous event that a meter reacts to. Only the host knows what the fields mean.
struct HOST_EXPORT AsyncInfo {
    /// First field, but last sort key.
    bool flag = false;
    std::uint32_t id = 0;
    std::int32_t kind = 0;

    /// Orders by `id` (unsigned), then `kind` (signed), then `flag` (false first).
    bool operator<(const AsyncInfo& other) const {
        return std::tie(id, kind, flag) < std::tie(other.id, other.kind, other.flag);
    }
};

/// One meter of a feature.
struct HOST_EXPORT MeterInfo {
    std::string name;
    /// Ordered and unique by AsyncInfo's own ordering.
    std::set<AsyncInfo> asyncInfoSet;
    std::vector<std::string> stringList;
    std::unordered_map<std::string, std::string> properties;
    std::int32_t param = 0;
};

/// The description from which a factory builds a feature. Passed by value; the feature keeps its copy.
/// Copying can throw std::bad_alloc.
struct HOST_EXPORT FeatureInfo {
    /// The feature's name. Must be usable as a file name: the database files are named after it.
    std::string name;
    std::unordered_map<unsigned int, std::unordered_set<int>> idSets;
    std::int32_t param = 0;
    std::vector<MeterInfo> meters;
    std::vector<std::string> stringListA;
    std::vector<std::string> stringListB;
    std::vector<std::vector<int>> intTables;
    std::unordered_map<std::string, std::vector<std::vector<int>>> namedIntTables;
    std::unordered_map<std::string, std::string> properties;
};

#endif
