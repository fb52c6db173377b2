#include <cstdio>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/DatabaseCopy.h"
#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

/// Opens the copy, speaking of the originals if that fails.
ClassificationReader openCopy(const DatabaseCopy& copy, const DatabaseFiles& originals) {
    try {
        return {copy.files(), originals};
    } catch (const Failure& failure) {
        throw Refusal(failure.what()); // nothing was printed yet
    }
}

} // namespace

void dump(const DumpOptions& options) {
    const DatabaseFiles originals(options.data, options.name);
    // Lives until the reader is gone, which has the copies open.
    const DatabaseCopy copy(originals);
    ClassificationReader reader = openCopy(copy, originals);
    noteMissingPeaks(originals);
    Output output(stdout);
    makePrinter(options.format, output)->printTable(reader);
}

} // namespace velhost
