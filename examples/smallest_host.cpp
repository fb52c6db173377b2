// The smallest host: loads the plug-in, makes the feature, sends one trigger and asks for what it has stored.
//
//     smallest_host [PATH-OF-LIBTESSARY [NAME]]
//
// Run it on a device while the real host is stopped: both would use the same database files. It prints
// "com.example.game: type 17". On a device the application stays in the table, where `velhost dump` shows it. Built for
// a workstation, the program keeps its files in a temporary folder and removes them at its end.

#include <cstdio>
#include <mutex>

#include <dlfcn.h>

#include "host/Feature.h"
#include "host/Registry.h"

using Shared = RegistryBase<Feature, FeatureInfo>;

int main(int argc, char** argv) {
    if (dlopen(argc > 1 ? argv[1] : "libtessary.so", RTLD_NOW) == nullptr) {
        std::fprintf(stderr, "smallest_host: %s\n", dlerror());
        return 1;
    }
    Shared::FeatureFactory factory = nullptr;
    {
        const std::lock_guard<std::mutex> lock(Shared::mMutex);
        if (const auto* map = Shared::getMap(); map != nullptr && map->count("Tessary") != 0) {
            factory = map->at("Tessary");
        }
    }
    FeatureInfo description;
    description.name = argc > 2 ? argv[2] : "Tessary"; // the database files are named after it
    Feature* feature = factory != nullptr ? factory(description) : nullptr;
    if (feature == nullptr) {
        std::fprintf(stderr, "smallest_host: no feature\n");
        return 1;
    }
    AsyncTriggerPayload trigger;
    trigger.triggerId = 4164;        // classify
    trigger.triggerArg = 0x01000011; // operation 1, type 17
    trigger.appName = "com.example.game";
    feature->runAsync(trigger);
    featureData answer;
    feature->getData(trigger.appName, answer, 0);
    delete feature;
    std::printf("%s: type %d\n", trigger.appName.c_str(), answer.value);
    return answer.value == 17 ? 0 : 1;
}
