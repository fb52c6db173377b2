#ifndef HOST_FEATURE_H
#define HOST_FEATURE_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cutils/properties.h>

#include "host/AsyncTriggerPayload.h"
#include "host/Export.h"
#include "host/FeatureData.h"
#include "host/FeatureInfo.h"
#include "host/FeatureState.h"

/// A host object that a feature may own. The host sets it; the feature deletes it through the virtual destructor, on
/// the thread that deletes the feature.
/// An open record (see Feature): put the host's class in its place. The destructor must have the same virtual-table
/// slot as in the host's class, or the delete calls another function. If the host has two classes, declare both and
/// give each pointer its own.
class HOST_EXPORT FeatureOwnedObject {
public:
    virtual ~FeatureOwnedObject() = default;
};

/// The host's base class of every feature. The host and its plug-ins are compiled apart and work on the same objects,
/// so the order of the virtual operations and of the members is a binary contract. The virtual table is in the host
/// library. The constructor, the destructor and the four-argument `getData` are inline: each plug-in has its own copy.
///
/// Only the host knows these five records in full: FeatureOwnedObject, FeatureState, AsyncTriggerPayload, featureData
/// and PropVal (<perfd_client.h>). Each is marked "open record". Complete them from the host's headers before building
/// for a device. `tests/contract/Layout.cpp` checks their sizes.
///
/// The host calls the operations on threads of its choice, but never while the feature is constructed or destroyed.
class HOST_EXPORT Feature {
public:
    /// Keeps the description, builds `state` from its name and reads the system property "vendor.debug.trace.perf" into
    /// `tracePerf`. Can throw std::bad_alloc, and whatever the host's FeatureState throws.
    explicit Feature(FeatureInfo description);

    /// The host deletes a feature through `Feature*`. `worker` must have been joined. The derived destructor deletes
    /// the owned objects.
    virtual ~Feature() = default;

    // The host keeps pointers to it.
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;

    /// Handles an asynchronous trigger. Reports no result. Like every operation it may throw; the host gets the
    /// exception.
    virtual void runAsync(AsyncTriggerPayload payload);

    /// Two operations that this plug-in does not override. Only the host knows what they do.
    virtual void runAsyncIdle(const std::atomic<bool>& flag);
    virtual void runAsyncPeriodic(const std::atomic<bool>& flag);

    /// Answers a query about an application in `data.value`; writes no other field. Each feature decides which
    /// selectors it knows. Returns 0.
    virtual int getData(std::string& appName, featureData& data, int selector);

    /// A query with a second argument, which a feature need not support. Stores -1 in `data.value`. Returns 0.
    virtual int getData(std::string& /*appName*/, featureData& data, int /*selector*/, int /*argument*/) {
        data.value = -1;
        return 0;
    }

    /// Takes a report of values for an application. Each feature decides how many it needs. Returns 0.
    virtual int setData(std::string& appName, std::vector<int> values);

    // Public, because the host's compiled code uses them. Only the host uses the members without a comment.

    /// The feature's name, from the description.
    std::string name;
    /// Set by the host, or null. Only the derived destructor deletes them.
    FeatureOwnedObject* ownedObjectA = nullptr;
    FeatureOwnedObject* ownedObjectB = nullptr;
    std::int32_t auxValue = 0;
    /// The description that the feature was built from.
    FeatureInfo info;
    FeatureState state;
    std::int32_t stateAux = 0;
    std::condition_variable cond1;
    std::mutex lock1;
    std::condition_variable cond2;
    std::mutex lock2;
    bool flag1 = false;
    bool flag2 = false;
    std::int32_t handle = -1;
    /// Started and joined by the host. Must not be joinable when the feature is destroyed.
    std::thread worker;
    bool flag3 = false;
    bool flag4 = false;
    /// Whether "vendor.debug.trace.perf" read true when the feature was built.
    bool tracePerf;
};

inline Feature::Feature(FeatureInfo description)
    : name(description.name),
      info(std::move(description)),
      state(name),
      tracePerf(property_get_bool("vendor.debug.trace.perf", 0) != 0) {}

#endif
