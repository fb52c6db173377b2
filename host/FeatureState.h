#ifndef HOST_FEATURESTATE_H
#define HOST_FEATURESTATE_H

#include <string>

#include "host/Export.h"

/// The host's state object of one feature, embedded in Feature. Implemented by the host library; the plug-in only
/// constructs and destroys it.
/// An open record (see Feature): give it the host's fields. Its size decides where the later members of Feature lie.
class HOST_EXPORT FeatureState {
public:
    /// Builds the state of the feature called `featureName`, which is copied. Can throw std::bad_alloc.
    explicit FeatureState(const std::string& featureName);
    /// Runs on the thread that deletes the feature.
    ~FeatureState();

    FeatureState(const FeatureState&) = delete;
    FeatureState& operator=(const FeatureState&) = delete;

protected:
    std::string name;
};

#endif
