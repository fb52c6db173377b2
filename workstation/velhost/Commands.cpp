#include "workstation/velhost/Commands.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <variant>

#include <android/log.h>
#include <cutils/properties.h>
#include <unistd.h>

#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Output.h"
#include "workstation/velhost/PluginHost.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

/// Sets the property of a "KEY=VALUE"; the value may hold further equals signs.
void setProperty(const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Error(Exit::refused, "--prop: " + inQuotes(assignment) + " is not KEY=VALUE");
    }
    if (property_set(assignment.substr(0, equals).c_str(), assignment.c_str() + equals + 1) != 0) {
        throw Error(Exit::refused, "--prop: the value in " + inQuotes(assignment) + " is too long");
    }
}

/// Shows on standard error how far a long replay has come, at most four times a second.
class Progress {
public:
    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// Clears the line for the table or message that follows.
    ~Progress() { std::fputs(shown ? "\033[K" : "", stderr); }

    void update(std::size_t done, std::size_t total) {
        if (onTerminal && Clock::now() >= due) {
            due = Clock::now() + interval;
            shown = true;
            // The cursor stays at the beginning, so that a log line overwrites the progress.
            std::fprintf(stderr, "%zu of %zu calls\033[K\r", done, total);
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds interval{250};

    bool onTerminal = isatty(STDERR_FILENO) == 1;
    bool shown = false;
    Clock::time_point due = Clock::now() + interval;
};

/// Makes one call as the host does. Exceptions of the feature reach the caller.
void makeCall(Script::Line& line, Feature& feature, Printer& printer) {
    if (auto* trigger = std::get_if<AsyncTriggerPayload>(&line.call)) {
        feature.runAsync(*trigger);
    } else if (auto* report = std::get_if<ReportCall>(&line.call)) {
        feature.setData(report->appName, report->values);
    } else {
        // Selector 1 asks for the weight, any other for the type.
        auto& query = std::get<QueryCall>(line.call);
        featureData data;
        feature.getData(query.appName, data, query.field == QueryField::weight ? 1 : 0);
        printer.printAnswer(query, line.number, data.value);
    }
}

void play(Script& script, Feature& feature, Printer& printer, bool trace) {
    Progress progress;
    std::size_t done = 0;
    for (Script::Line& line : script.lines()) {
        const std::string place = script.position(line.number);
        if (trace) {
            writeMessage(place + ": " + line.text);
        }
        // After an exception the changes of the earlier lines stay on disk.
        try {
            makeCall(line, feature, printer);
        } catch (const Error&) {
            throw; // from the printer
        } catch (const std::exception& error) {
            throw Error(Exit::failed, std::string("the feature threw ") + error.what(), place);
        } catch (...) {
            throw Error(Exit::failed, "the feature threw an exception of unknown type", place);
        }
        progress.update(++done, script.lines().size());
    }
}

/// Prints what both databases hold, and what is wrong with it on standard error.
Exit show(const DatabaseFiles& files, Printer& printer) {
    const Contents contents = readContents(files);
    printer.printTable(contents.applications);
    for (const std::string& note : contents.notes) {
        writeMessage("velhost: note: " + note);
    }
    if (!contents.failure.empty()) {
        throw Error(Exit::failed, contents.failure);
    }
    return contents.notes.empty() ? Exit::sound : Exit::noted;
}

} // namespace

Exit replay(const ReplayOptions& options) {
    const DatabaseFiles requested(options.data, options.name); // refuses a bad name before anything is done
    Script script(options.script);
    for (const std::string& property : options.properties) {
        setProperty(property);
    }
    if (options.quiet) {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    }
    refuseJournal(requested.classifier);
    refuseJournal(requested.heavyGame);
    const PluginHost host(options.plugin);
    // After the checks, so that a bad request makes no folder.
    const auto directory = prepareDataDirectory(options.data);
    Printer printer(options.format);
    // The feature closes its files before the VFS goes and before they are read.
    {
        const DeviceVfs vfs(directory);
        const auto feature = host.makeFeature(options.name);
        play(script, *feature, printer, options.trace);
    }
    try {
        return show(DatabaseFiles(directory, options.name), printer);
    } catch (const Error& unreadable) {
        throw Error(Exit::failed, unreadable); // not a refusal: the calls were played
    }
}

Exit dump(const FileOptions& options) {
    requireClassifier(options.data, options.name);
    Printer printer(options.format);
    return show(DatabaseFiles(options.data, options.name), printer);
}

} // namespace velhost
