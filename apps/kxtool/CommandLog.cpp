// kxtool log FILE...: the records of XML error logs, filtered, as text lines,
// JSON lines or a summary.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ErrorLogReader.h"
#include "LogFilter.h"
#include "LogOutput.h"
#include "Tool.h"

namespace KxTool {

namespace {

constexpr std::size_t kChunkBytes = 1 << 16;

struct LogOptions {
    RecordFilter filter;
    bool summary = false;
    bool json = false;
    std::vector<std::string> files;
};

// Reads the options; returns kExitOk, or the exit status of a bad command line.
int ReadOptions(int argc, char** argv, LogOptions& options) {
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsEnded || arg == "-" || arg.empty() || arg[0] != '-') {
            options.files.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        if (name == "--summary" || name == "--json") {
            if (equals != std::string::npos) {
                return UsageError("log", name + " takes no value");
            }
            (name == "--summary" ? options.summary : options.json) = true;
            continue;
        }
        if (name != "--since" && name != "--code" && name != "--component") {
            return UsageError("log", "unknown option '" + arg + "'");
        }
        std::string value;
        if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
        } else if (i + 1 < argc) {
            value = argv[++i];
        } else {
            return UsageError("log", name + " needs a value");
        }
        std::string problem;
        if (name == "--since" && !options.filter.SetSince(value, problem)) {
            Complain("log", "--since '" + value + "': " + problem);
            return kExitBadInput;
        }
        if (name == "--code" && !options.filter.AddCode(value, problem)) {
            Complain("log", "--code '" + value + "': " + problem);
            return kExitBadInput;
        }
        if (name == "--component") {
            if (value.empty()) {
                Complain("log", "--component needs a name");
                return kExitBadInput;
            }
            options.filter.AddComponent(value);
        }
    }
    if (options.files.empty()) {
        return UsageError("log", "needs at least one file");
    }
    return kExitOk;
}

// Messages go to standard error, after whatever results are still buffered.
void Report(const std::string& message) {
    std::fflush(stdout);
    Complain("log", message);
}

// Reads one file through the reader; false when it could not be read whole
// or was damaged.
bool ReadLog(const std::string& file, const LogOptions& options, bool namePrefix,
             LogSummary& summary) {
    const bool isStdin = file == "-";
    const std::string shown = isStdin ? "(standard input)" : file;
    FILE* in = isStdin ? stdin : std::fopen(file.c_str(), "rb");
    if (in == nullptr) {
        Report("cannot open '" + file + "': " + std::strerror(errno));
        return false;
    }
    ErrorLogReader reader(
        [&](const ErrorRecord& record) {
            const RecordView view = MakeView(record);
            if (!options.filter.Matches(view)) {
                return;
            }
            if (options.summary) {
                summary.Add(view);
            } else if (options.json) {
                std::printf("%s\n", JsonLine(shown, record, view).c_str());
            } else {
                const std::string prefix =
                    namePrefix ? shown + ":" + std::to_string(record.line) + ": " : "";
                std::printf("%s%s\n", prefix.c_str(), TextLine(view).c_str());
            }
        },
        [&](unsigned long line, const std::string& message) {
            Report(shown + ":" + std::to_string(line) + ": " + message);
        });
    std::vector<char> buffer(kChunkBytes);
    bool readError = false;
    for (;;) {
        const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), in);
        if (n > 0) {
            reader.Feed(buffer.data(), n);
        }
        if (n < buffer.size()) {
            readError = std::ferror(in) != 0;
            break;
        }
    }
    const int readErrno = errno;
    if (!isStdin) {
        std::fclose(in);
    }
    if (readError) {
        Report("cannot read '" + file + "': " + std::strerror(readErrno));
        return false;
    }
    reader.Finish();
    summary.AddFile();
    return reader.ProblemCount() == 0;
}

} // namespace

int RunLog(int argc, char** argv) {
    LogOptions options;
    const int status = ReadOptions(argc, argv, options);
    if (status != kExitOk) {
        return status;
    }
    LogSummary summary;
    bool allRead = true;
    for (const std::string& file : options.files) {
        allRead = ReadLog(file, options, options.files.size() > 1, summary) && allRead;
    }
    if (options.summary) {
        std::fputs((options.json ? summary.Json() + "\n" : summary.Text()).c_str(), stdout);
    }
    std::fflush(stdout);
    return allRead ? kExitOk : kExitBadInput;
}

} // namespace KxTool
