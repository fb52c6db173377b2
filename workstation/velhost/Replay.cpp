#include <cstdio>
#include <exception>
#include <string>
#include <variant>

#include <android/log.h>
#include <cutils/properties.h>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Failure.h"
#include "workstation/velhost/PluginHost.h"
#include "workstation/velhost/Progress.h"
#include "workstation/velhost/ScriptFile.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

/// Sets the property that "KEY=VALUE" says; the value may hold further equals signs.
void setProperty(const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Refusal("--prop: " + named(assignment) + " is not KEY=VALUE");
    }
    if (property_set(assignment.substr(0, equals).c_str(), assignment.c_str() + equals + 1) != 0) {
        throw Refusal("--prop: the value in " + named(assignment) + " is too long");
    }
}

/// Makes calls of a script as the host does. What the feature throws passes through.
class Caller {
public:
    Caller(Feature& played, Printer& answers) : feature(played), printer(answers) {}

    void call(Call& call, std::size_t line) {
        if (auto* trigger = std::get_if<AsyncTriggerPayload>(&call)) {
            feature.runAsync(*trigger);
        } else if (auto* report = std::get_if<ReportCall>(&call)) {
            feature.setData(report->appName, report->values);
        } else {
            ask(std::get<QueryCall>(call), line);
        }
    }

private:
    void ask(QueryCall& query, std::size_t line) {
        // Any other selector than the weight's asks for the type.
        constexpr int typeSelector = 0;
        constexpr int weightSelector = 1;
        featureData data;
        feature.getData(query.appName, data, query.field == QueryField::weight ? weightSelector : typeSelector);
        printer.printAnswer({query, line, data.value});
    }

    Feature& feature;
    Printer& printer;
};

/// The calls of the script, in order, each done before the next is read.
void playAll(ScriptFile& script, Caller& caller) {
    Progress progress(script.callCount());
    std::size_t done = 0;
    while (auto call = script.next()) {
        caller.call(*call, script.lineNumber());
        progress.update(++done);
    }
}

/// Names the line at which the feature threw. Whatever the earlier lines did is on disk.
void play(ScriptFile& script, Feature& feature, Printer& printer) {
    Caller caller(feature, printer);
    try {
        playAll(script, caller);
    } catch (const Failure&) {
        // Of the script's copy or of the output, and in its own words; what is left came out of the plug-in.
        throw;
    } catch (const std::exception& error) {
        throw Failure(script.position() + ": the feature threw " + error.what());
    } catch (...) {
        throw Failure(script.position() + ": the feature threw an exception of unknown type");
    }
}

} // namespace

void replay(const ReplayOptions& options) {
    const DatabaseFiles requested(options.data, options.name); // refuses a bad name before anything is done
    ScriptFile script(options.script);
    for (const std::string& property : options.properties) {
        setProperty(property);
    }
    if (options.quiet) {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    }
    // The plug-in comes before the directory: without it nothing is made.
    const PluginHost host(options.plugin);
    const auto directory = prepareDataDirectory(options.data);
    const DatabaseFiles files(directory, options.name);
    Output output(stdout);
    const auto printer = makePrinter(options.format, output);
    // The feature closes its files before the VFS goes and before they are read.
    {
        const DeviceVfs vfs(directory);
        const auto feature = host.makeFeature(options.name);
        play(script, *feature, *printer);
    }
    ClassificationReader reader(files, files);
    noteMissingPeaks(files);
    printer->printTable(reader);
}

} // namespace velhost
