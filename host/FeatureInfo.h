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

// The host's description of a feature. The records cross the plug-in boundary by value, so the declaration order and
// the types of the fields are part of the binary contract. A plug-in reads FeatureInfo::name and carries the rest.

/// One asynchronous event that a meter reacts to. A plain record; what its fields mean is the host's matter.
struct HOST_EXPORT AsyncInfo {
    /// The first field of the record, and the last sort key.
    bool flag = false;
    std::uint32_t id = 0;
    std::int32_t kind = 0;

    /// Orders by `id` (unsigned), then `kind` (signed), then `flag` (false first).
    bool operator<(const AsyncInfo& other) const {
        return std::tie(id, kind, flag) < std::tie(other.id, other.kind, other.flag);
    }
};

/// One meter of a feature. Carried by the plug-in, never read.
struct HOST_EXPORT MeterInfo {
    std::string name;
    /// Ordered and unique by AsyncInfo's own ordering.
    std::set<AsyncInfo> asyncInfoSet;
    std::vector<std::string> stringList;
    std::unordered_map<std::string, std::string> properties;
    std::int32_t param = 0;
};

/// The description from which a factory builds a feature. Passed by value; the feature keeps it for its lifetime.
/// Copying it throws std::bad_alloc.
struct HOST_EXPORT FeatureInfo {
    /// The feature's name; its database files are named after it, so it must be fit for a file name.
    std::string name;
    // What follows is the host's: a plug-in carries it unread.
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
