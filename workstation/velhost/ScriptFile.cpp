#include "workstation/velhost/ScriptFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

// What came of reading one line.
enum class Read { line, end, tooLong, failed };

/// Reads one line, without its line end, into `text`. A last line needs no line end.
Read readLine(std::FILE* source, std::string& text) {
    text.clear();
    int byte = 0;
    // Nobody else reads the stream, and a lock a byte would be most of the work.
    while ((byte = getc_unlocked(source)) != EOF && byte != '\n') {
        // A bound, or a file without line ends would be read into memory whole.
        if (text.size() == ScriptFile::longestLine) {
            return Read::tooLong;
        }
        text += static_cast<char>(byte);
    }
    if (std::ferror(source) != 0) {
        return Read::failed;
    }
    return byte == EOF && text.empty() ? Read::end : Read::line;
}

} // namespace

ScriptFile::ScriptFile(const std::string& path) : name(path == "-" ? "<stdin>" : path), copy(openNamelessFile()) {
    if (path == "-") {
        checkAndCopy(stdin);
    } else {
        const FileHandle source(std::fopen(path.c_str(), "r"));
        if (!source) {
            throw Refusal(name + ": " + std::strerror(errno));
        }
        checkAndCopy(source.get());
    }
    // From here on the numbers count the lines played.
    std::rewind(copy.get());
    line = 0;
}

void ScriptFile::checkAndCopy(std::FILE* source) {
    std::string text;
    Read outcome = Read::end;
    while ((outcome = readLine(source, text)) == Read::line) {
        ++line;
        const ParsedLine parsed = parseLine(text);
        if (!parsed.error.empty()) {
            throw ScriptRefusal(position() + ": " + parsed.error);
        }
        calls += parsed.call ? 1 : 0;
        // Comments and empty lines too, so that the lines keep their numbers.
        keep(text);
    }
    if (outcome == Read::failed) {
        throw Refusal(name + ": " + std::strerror(errno));
    }
    if (outcome == Read::tooLong) {
        ++line;
        throw ScriptRefusal(position() + ": the line is longer than " + std::to_string(longestLine) + " bytes");
    }
    if (std::fflush(copy.get()) != 0) {
        throw Refusal(name + ": no temporary copy: " + std::strerror(errno));
    }
}

void ScriptFile::keep(const std::string& text) {
    // A full disk must refuse the script and not shorten it.
    const bool whole = std::fwrite(text.data(), 1, text.size(), copy.get()) == text.size();
    if (!whole || std::fputc('\n', copy.get()) == EOF) {
        throw Refusal(name + ": no temporary copy: " + std::strerror(errno));
    }
}

std::optional<Call> ScriptFile::next() {
    std::string text;
    Read outcome = Read::end;
    while ((outcome = readLine(copy.get(), text)) == Read::line) {
        ++line;
        ParsedLine parsed = parseLine(text);
        if (parsed.call) {
            return std::move(parsed.call);
        }
    }
    if (outcome != Read::end) {
        throw Failure(position() + ": the temporary copy cannot be read: " + std::strerror(errno));
    }
    return std::nullopt;
}

std::string ScriptFile::position() const { return name + ":" + std::to_string(line); }

} // namespace velhost
