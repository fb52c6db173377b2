#include "workstation/velhost/Contents.h"

#include <algorithm>

#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

/// The signed reading of a sum made in unsigned arithmetic, where overflow is defined.
std::int32_t asSigned(std::uint32_t value) { return static_cast<std::int32_t>(value); }

using Rows = std::vector<StoredRow>;

/// Returns the rows called `name` that begin at `next`, and moves `next` past them.
Rows takeRows(const std::string& name, Rows::const_iterator& next, const Rows& rows) {
    const auto first = next;
    next = std::find_if(first, rows.end(), [&name](const StoredRow& row) { return row.appName != name; });
    return {first, next};
}

/// Brings the rows of equal names together; both tables are sorted alike.
void merge(const StoredTable& classifier, const StoredTable& peaks, const DatabaseFiles& files, Contents& contents) {
    const auto note = [&contents](const std::filesystem::path& file, const std::string& name, const std::string& what) {
        contents.notes.push_back(file.string() + ": " + scriptWord(name) + " has " + what);
    };
    auto type = classifier.rows.begin();
    const auto typesEnd = classifier.rows.end();
    auto peak = peaks.rows.begin();
    const auto peaksEnd = peaks.rows.end();
    while (type != typesEnd || peak != peaksEnd) {
        const bool typeFirst = type != typesEnd && (peak == peaksEnd || type->appName <= peak->appName);
        const std::string name = typeFirst ? type->appName : peak->appName;
        const Rows types = takeRows(name, type, classifier.rows);
        const Rows heavy = takeRows(name, peak, peaks.rows);
        for (std::size_t i = 0; i < std::max(types.size(), heavy.size()); ++i) {
            Application& entry = contents.applications.emplace_back();
            entry.appName = name;
            if (i < types.size()) {
                entry.classification = {types[i].numbers[0], types[i].numbers[1]};
            }
            if (i < heavy.size()) {
                entry.peaks = Peaks{heavy[i].numbers};
            }
        }
        if (types.size() > 1) {
            note(files.classifier, name, std::to_string(types.size()) + " rows");
        }
        if (heavy.size() > 1) {
            note(files.heavyGame, name, std::to_string(heavy.size()) + " rows");
        }
        if (types.empty() && classifier.failure.empty()) {
            note(files.heavyGame, name, "peaks but no classification");
        }
    }
}

} // namespace

std::int32_t Peaks::sum() const {
    const auto peak = [this](std::size_t index) { return static_cast<std::uint32_t>(values[index]); };
    return asSigned(2 * peak(0) + peak(1) + 2 * peak(2));
}

bool Peaks::isHeavy() const { return asSigned(static_cast<std::uint32_t>(sum()) - 1700U) > threshold - 1700 - 1; }

bool Peaks::isWrapped() const {
    const std::int64_t exact = 2LL * values[0] + values[1] + 2LL * values[2];
    return exact != sum() || exact - 1700 != asSigned(static_cast<std::uint32_t>(sum()) - 1700U);
}

Contents readContents(const DatabaseFiles& files) {
    const StoredTable classifier = readTable(files.classifier, "Tessary", 8);
    StoredTable peaks;
    // The feature makes both files when it starts; one is missing when only the other was pulled or could be opened.
    if (files.hasHeavyGame()) {
        peaks = readTable(files.heavyGame, "HeavyGame", 12);
    } else {
        peaks.notes.push_back(files.heavyGame.string() + " is missing, so no peaks are shown");
    }
    Contents contents{{}, classifier.notes, classifier.failure.empty() ? peaks.failure : classifier.failure};
    contents.notes.insert(contents.notes.end(), peaks.notes.begin(), peaks.notes.end());
    merge(classifier, peaks, files, contents);
    return contents;
}

} // namespace velhost
