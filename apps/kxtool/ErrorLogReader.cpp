// Streaming reader of XML error logs on expat, with recovery after damage.
#include "ErrorLogReader.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "LogTextRepair.h"
#include "RawElementEscaper.h"

namespace KxTool {

namespace {

const char kRootStart[] = "<Log>"; // no line feed: parser lines stay file lines
const char kRootEnd[] = "</Log>";
const char kRecordTag[] = "<Error";
constexpr std::size_t kRootStartSize = sizeof(kRootStart) - 1;
constexpr std::size_t kRecordTagSize = sizeof(kRecordTag) - 1;
constexpr std::size_t kMaxFields = 256;
// Bytes prepared and routed at a time: bounds the work buffers.
constexpr std::size_t kSliceBytes = 1 << 16;

// What may follow the element name in an opening tag.
bool EndsName(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '>' || c == '/';
}

bool IsBlank(const char* text, int length) {
    for (int i = 0; i < length; ++i) {
        if (text[i] != ' ' && text[i] != '\t' && text[i] != '\n' && text[i] != '\r') {
            return false;
        }
    }
    return true;
}

} // namespace

struct ErrorLogReader::State {
    enum class Mode { Parsing, Skipping, Stopped };

    RecordHandler onRecord;
    ProblemHandler onProblem;
    LogTextRepair repair;
    RawElementEscaper escaper;
    std::string repaired;
    std::string escaped;

    XML_Parser parser = nullptr;
    Mode mode = Mode::Parsing;
    bool started = false;       // the first parser has been set up
    unsigned long lineBase = 1; // file line of the parser's line 1
    // Offset in the prepared stream (the bytes after LogTextRepair and
    // RawElementEscaper) where the parser's content starts, after its own
    // root tag.
    unsigned long long parserStart = 0;
    // Position of the next byte to route: offset in the prepared stream and
    // line of the file.
    unsigned long long offset = 0;
    unsigned long line = 1;

    // The record being read.
    int depth = 0;       // element depth; 1 is the reader's own root
    int recordDepth = 0; // depth of the open Error element, 0 outside records
    ErrorRecord record;
    std::string* field = nullptr;
    bool fieldCut = false;
    bool textOutsideReported = false;
    // Set when an "Error" element opened inside a record: the record was cut
    // off and the next one begins at this parser byte index.
    bool nestedRecord = false;
    XML_Index nestedRecordIndex = 0;
    unsigned long nestedRecordLine = 0;

    // Skipping: how much of "<Error" the bytes just before matched; 6 when
    // the whole name matched and the next byte decides.
    std::size_t matched = 0;
    unsigned long long resumeAt = 0; // skipping starts at this offset

    unsigned long records = 0;
    unsigned long problems = 0;
    unsigned long lastProblemLine = 0;
    // An exception thrown inside a handler (a record handler's, or out of
    // memory) must not unwind through expat: it stops the parser and is
    // thrown again once XML_Parse has returned.
    std::exception_ptr failure;

    State(RecordHandler records, ProblemHandler problems)
        : onRecord(std::move(records)), onProblem(std::move(problems)) {}
    ~State() {
        if (parser != nullptr) {
            XML_ParserFree(parser);
        }
    }

    unsigned long ParserLine() const {
        return lineBase + static_cast<unsigned long>(XML_GetCurrentLineNumber(parser)) - 1;
    }

    // One report per damaged line: the first says where to look.
    void Problem(unsigned long at, const std::string& message) {
        if (problems > 0 && at == lastProblemLine) {
            return;
        }
        ++problems;
        lastProblemLine = at;
        onProblem(at, message);
    }

    // A fresh parser whose content starts at the current position.
    bool StartParser() {
        if (parser == nullptr) {
            parser = XML_ParserCreate("UTF-8");
        } else if (XML_ParserReset(parser, "UTF-8") == XML_FALSE) {
            XML_ParserFree(parser);
            parser = XML_ParserCreate("UTF-8");
        }
        if (parser == nullptr) {
            Problem(line, "cannot create the XML parser (out of memory)");
            mode = Mode::Stopped;
            return false;
        }
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, OnStart, OnEnd);
        XML_SetCharacterDataHandler(parser, OnText);
        lineBase = line;
        parserStart = offset;
        depth = 0;
        recordDepth = 0;
        field = nullptr;
        nestedRecord = false;
        mode = Mode::Parsing;
        return XML_Parse(parser, kRootStart, kRootStartSize, XML_FALSE) == XML_STATUS_OK;
    }

    void Route(const char* p, std::size_t n) {
        while (n > 0 && mode != Mode::Stopped) {
            std::size_t used = 0;
            if (mode == Mode::Parsing) {
                if (XML_Parse(parser, p, static_cast<int>(n), XML_FALSE) == XML_STATUS_OK) {
                    Advance(p, n);
                    return;
                }
                ThrowPendingFailure();
                if (nestedRecord) {
                    RecordCutOff();
                } else {
                    ParseFailed();
                }
                used = resumeAt > offset ? static_cast<std::size_t>(
                                               std::min<unsigned long long>(resumeAt - offset, n))
                                         : 0;
                Advance(p, used);
            } else {
                used = Skip(p, n);
            }
            p += used;
            n -= used;
        }
    }

    void ThrowPendingFailure() {
        if (failure) {
            mode = Mode::Stopped;
            std::rethrow_exception(std::exchange(failure, nullptr));
        }
    }

    // Moves the position over `n` routed bytes.
    void Advance(const char* p, std::size_t n) {
        line += static_cast<unsigned long>(std::count(p, p + n, '\n'));
        offset += n;
    }

    // Reports the parse error and drops the record it broke; the search for
    // the next record starts where the parser stopped (a record cut off
    // mid-write is directly followed by the next run's first record), but
    // past the start of the content this parser began with.
    void ParseFailed() {
        std::string message = "unreadable from here (";
        message += XML_ErrorString(XML_GetErrorCode(parser));
        message += ")";
        if (recordDepth != 0) {
            message +=
                "; the record that starts at line " + std::to_string(record.line) + " is lost";
        }
        Problem(ParserLine(), message);
        const XML_Index index = XML_GetCurrentByteIndex(parser);
        unsigned long long errorAt = parserStart;
        if (index > static_cast<XML_Index>(kRootStartSize)) {
            errorAt += static_cast<unsigned long long>(index) - kRootStartSize;
        }
        resumeAt = std::max(errorAt, parserStart + 1);
        record = ErrorRecord();
        recordDepth = 0;
        field = nullptr;
        matched = 0;
        mode = Mode::Skipping;
    }

    // The open record ended where the next one begins: report it and read on
    // from the next one's opening tag.
    void RecordCutOff() {
        Problem(record.line, "the record that starts here is cut off (the next record starts at "
                             "line " +
                                 std::to_string(nestedRecordLine) + ")");
        resumeAt =
            parserStart + static_cast<unsigned long long>(nestedRecordIndex) - kRootStartSize;
        nestedRecord = false;
        record = ErrorRecord();
        recordDepth = 0;
        field = nullptr;
        matched = 0;
        mode = Mode::Skipping;
    }

    // Looks for the next "<Error" opening tag; returns the bytes used. On a
    // find the position is left on the byte after the name, which the new
    // parser reads next.
    std::size_t Skip(const char* p, std::size_t n) {
        std::size_t i = 0;
        while (i < n) {
            if (matched == 0) {
                const void* lt = std::memchr(p + i, '<', n - i);
                if (lt == nullptr) {
                    Advance(p, n);
                    return n;
                }
                i = static_cast<std::size_t>(static_cast<const char*>(lt) - p) + 1;
                matched = 1;
                continue;
            }
            const char c = p[i];
            if (matched == kRecordTagSize) {
                matched = 0;
                if (EndsName(c)) {
                    Advance(p, i);
                    const unsigned long long tagAt = offset - kRecordTagSize;
                    if (StartParser() &&
                        XML_Parse(parser, kRecordTag, kRecordTagSize, XML_FALSE) == XML_STATUS_OK) {
                        parserStart = tagAt;
                    } else if (mode != Mode::Stopped) {
                        mode = Mode::Skipping;
                    }
                    return i;
                }
            } else if (c == kRecordTag[matched]) {
                ++matched;
                ++i;
                continue;
            } else {
                matched = 0;
            }
            if (c == '<') {
                matched = 1;
            }
            ++i;
        }
        Advance(p, n);
        return n;
    }

    void EndOfFile() {
        if (mode != Mode::Parsing) {
            return;
        }
        if (recordDepth != 0) {
            Problem(record.line, "the record that starts here is cut off by the end of the file");
            return;
        }
        if (XML_Parse(parser, kRootEnd, sizeof(kRootEnd) - 1, XML_TRUE) != XML_STATUS_OK) {
            ThrowPendingFailure();
            Problem(ParserLine(), std::string("the file ends early (") +
                                      XML_ErrorString(XML_GetErrorCode(parser)) + ")");
        }
    }

    // --- expat handlers ---

    template <typename Handler>
    static void Guarded(void* data, Handler handler) {
        auto* self = static_cast<State*>(data);
        if (self->nestedRecord || self->failure) {
            return; // stopping: nothing more of this parser counts
        }
        try {
            handler(self);
        } catch (...) {
            self->failure = std::current_exception();
            XML_StopParser(self->parser, XML_FALSE);
        }
    }

    static void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
        Guarded(data, [&](State* self) { self->Start(name, attributes); });
    }
    static void XMLCALL OnEnd(void* data, const XML_Char* /*name*/) {
        Guarded(data, [](State* self) { self->End(); });
    }
    static void XMLCALL OnText(void* data, const XML_Char* text, int length) {
        Guarded(data, [&](State* self) { self->Text(text, length); });
    }

    void Start(const XML_Char* name, const XML_Char** attributes) {
        ++depth;
        if (recordDepth == 0) {
            if (std::strcmp(name, "Error") != 0) {
                return; // an element of the file's own around the records
            }
            recordDepth = depth;
            record = ErrorRecord();
            record.line = ParserLine();
            for (const XML_Char** a = attributes; a[0] != nullptr; a += 2) {
                record.attributes.emplace_back(a[0], a[1]);
                RestoreControls(record.attributes.back().second);
            }
            textOutsideReported = false;
            return;
        }
        if (std::strcmp(name, "Error") == 0) {
            // A record cut off mid-write, followed by the next run's records:
            // the XML stays well-formed, with the records nested.
            nestedRecord = true;
            nestedRecordIndex = XML_GetCurrentByteIndex(parser);
            nestedRecordLine = ParserLine();
            XML_StopParser(parser, XML_FALSE);
            return;
        }
        if (depth == recordDepth + 1) {
            field = nullptr;
            if (record.fields.size() < kMaxFields) {
                record.fields.emplace_back(name, std::string());
                field = &record.fields.back().second;
                fieldCut = false;
            }
        }
    }

    void End() {
        if (recordDepth != 0) {
            if (depth == recordDepth + 1 && field != nullptr) {
                RestoreControls(*field);
                if (fieldCut) {
                    *field += " [cut at " + std::to_string(kMaxFieldBytes) + " bytes]";
                }
                field = nullptr;
            } else if (depth == recordDepth) {
                recordDepth = 0;
                ++records;
                onRecord(record);
                record = ErrorRecord();
            }
        }
        --depth;
    }

    void Text(const XML_Char* text, int length) {
        if (recordDepth != 0) {
            if (field == nullptr || depth <= recordDepth) {
                return; // layout blanks between the fields
            }
            const std::size_t room = kMaxFieldBytes - std::min(kMaxFieldBytes, field->size());
            const auto size = static_cast<std::size_t>(length);
            field->append(text, std::min(room, size));
            fieldCut = fieldCut || size > room;
            return;
        }
        if (!textOutsideReported && !IsBlank(text, length)) {
            textOutsideReported = true;
            Problem(ParserLine(), "text outside any record");
        }
    }
};

ErrorLogReader::ErrorLogReader(RecordHandler onRecord, ProblemHandler onProblem)
    : m_state(new State(std::move(onRecord), std::move(onProblem))) {}

ErrorLogReader::~ErrorLogReader() = default;

void ErrorLogReader::Feed(const char* data, std::size_t size) {
    State& s = *m_state;
    if (!s.started) {
        s.started = true;
        if (!s.StartParser()) {
            return;
        }
    }
    for (std::size_t at = 0; at < size && s.mode != State::Mode::Stopped; at += kSliceBytes) {
        const std::size_t slice = std::min(kSliceBytes, size - at);
        s.repaired.clear();
        s.repair.Repair(data + at, slice, s.repaired);
        s.escaped.clear();
        s.escaper.Process(s.repaired.data(), s.repaired.size(), s.escaped);
        s.Route(s.escaped.data(), s.escaped.size());
    }
}

void ErrorLogReader::Finish() {
    State& s = *m_state;
    if (!s.started) {
        Feed("", 0);
    }
    if (s.mode == State::Mode::Stopped) {
        return;
    }
    s.repaired.clear();
    s.repair.Finish(s.repaired);
    s.escaped.clear();
    s.escaper.Process(s.repaired.data(), s.repaired.size(), s.escaped);
    s.escaper.Finish(s.escaped);
    s.Route(s.escaped.data(), s.escaped.size());
    s.EndOfFile();
    s.mode = State::Mode::Stopped;
}

unsigned long ErrorLogReader::RecordCount() const {
    return m_state->records;
}

unsigned long ErrorLogReader::ProblemCount() const {
    return m_state->problems;
}

} // namespace KxTool
