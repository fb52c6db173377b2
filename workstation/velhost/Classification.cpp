#include "workstation/velhost/Classification.h"

#include <cstddef>

namespace velhost {

namespace {

/// The signed reading of a sum made in unsigned arithmetic, where overflow is defined.
std::int32_t wrapped(std::uint32_t value) { return static_cast<std::int32_t>(value); }

} // namespace

std::int32_t HeavyGame::sum() const {
    const auto peak = [this](std::size_t index) { return static_cast<std::uint32_t>(peaks[index]); };
    return wrapped(2 * peak(0) + peak(1) + 2 * peak(2));
}

// The rule compares "sum - 1700 > 199", not "sum >= 1900": where the difference wraps the two disagree.
bool HeavyGame::isHeavy() const { return wrapped(static_cast<std::uint32_t>(sum()) - 1700U) > threshold - 1700 - 1; }

ClassificationReader::ClassificationReader(const DatabaseFiles& files, const DatabaseFiles& shown)
    : classifier(files.classifier, "Tessary", shown.classifier) {
    // The feature makes both files when it starts; one is missing when only the other was pulled or could be opened.
    if (files.hasHeavyGame()) {
        peaks.emplace(files.heavyGame, "HeavyGame", shown.heavyGame);
    }
}

std::optional<Classification> ClassificationReader::next() {
    const bool haveStored = !classifier.atEnd();
    const bool havePeaks = peaks && !peaks->atEnd();
    if (!haveStored && !havePeaks) {
        return std::nullopt;
    }
    // Below zero: the classifier's name comes first; zero: both rows speak of one application.
    const int order = !haveStored ? 1 : !havePeaks ? -1 : classifier.appName().compare(peaks->appName());
    Classification answer{order <= 0 ? classifier.appName() : peaks->appName(), std::nullopt, std::nullopt};
    if (order <= 0) {
        answer.stored = Classification::Stored{classifier.numbers()[0], classifier.numbers()[1]};
        classifier.advance();
    }
    if (order >= 0) {
        answer.heavyGame = HeavyGame{peaks->numbers()};
        peaks->advance();
    }
    return answer;
}

void ClassificationReader::restart() {
    classifier.restart();
    if (peaks) {
        peaks->restart();
    }
}

} // namespace velhost
