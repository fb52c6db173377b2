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

/// One asynchronous event that a meter reacts to.
struct HOST_EXPORT AsyncInfo {
    bool flag = false;
    std::uint32_t id = 0;
    std::int32_t kind = 0;

    /// Orders by `id` (unsigned), then `kind` (signed), then `flag` (false first): `flag`, the first field, counts
    /// last.
    bool operator<(const AsyncInfo& other) const {
        return std::tie(id, kind, flag) < std::tie(other.id, other.kind, other.flag);
    }
};

/// One meter of a feature.
struct HOST_EXPORT MeterInfo {
    std::string name;
    std::set<AsyncInfo> asyncInfoSet;
    std::vector<std::string> stringList;
    std::unordered_map<std::string, std::string> properties;
    std::int32_t param = 0;
};

/// The description from which the host's registry builds a feature.
struct HOST_EXPORT FeatureInfo {
    std::string name; ///< the feature's name; its database files are named after it
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
