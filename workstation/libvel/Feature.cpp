#include "host/Feature.h"

// The operations that a feature inherits. On a workstation a query answers -1; the others do nothing.
// NOLINTBEGIN(performance-unnecessary-value-param): the parameters are the host's contract

void Feature::runAsync(AsyncTriggerPayload /*payload*/) {}

void Feature::runAsyncIdle(const std::atomic<bool>& /*flag*/) {}

void Feature::runAsyncPeriodic(const std::atomic<bool>& /*flag*/) {}

int Feature::getData(std::string& /*appName*/, featureData& data, int /*selector*/) {
    data.value = -1;
    return 0;
}

int Feature::setData(std::string& /*appName*/, std::vector<int> /*values*/) { return 0; }

// NOLINTEND(performance-unnecessary-value-param)
