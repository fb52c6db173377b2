#include "host/FeatureState.h"

FeatureState::FeatureState(const std::string& featureName) : name(featureName) {}

FeatureState::~FeatureState() = default;
