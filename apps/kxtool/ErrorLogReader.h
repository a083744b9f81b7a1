// ErrorLogReader: reads an XML error log as the instrument writes it and
// hands on its records one by one.
//
// A log is a sequence of "Error" elements appended one after the other,
// without an XML declaration or a document element; the reader parses it
// with expat inside a root element of its own, after LogTextRepair has made
// the bytes acceptable (see there for the character encoding). Records
// inside a document element of the file's own are read as well.
//
// Streaming: Feed takes the file piece by piece; records are delivered as
// soon as their closing tag is read, and memory stays bounded by the size
// of one record (a field longer than kMaxFieldBytes is cut, with a mark).
//
// Damage: a firmware killed while writing leaves a record cut off, possibly
// followed by the records of its next run. Where the XML becomes unreadable
// the reader reports a problem with the line number and skips to the next
// line that starts an "Error" element, so the records after the damage are
// still read; a record cut off by the end of the file is reported too.
// Every problem goes to the problem handler; the damaged record is not
// delivered.
//
// One reader per file; not safe to share between threads. The handlers are
// called from Feed and Finish; an exception a handler throws leaves Feed or
// Finish after the parser has been stopped, and the reader reads no more.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "ErrorRecord.h"

namespace KxTool {

class ErrorLogReader {
public:
    static constexpr std::size_t kMaxFieldBytes = 1 << 20;

    using RecordHandler = std::function<void(const ErrorRecord&)>;
    // `line` is the line of the file where the problem is.
    using ProblemHandler = std::function<void(unsigned long line, const std::string& message)>;

    ErrorLogReader(RecordHandler onRecord, ProblemHandler onProblem);
    ~ErrorLogReader();
    ErrorLogReader(const ErrorLogReader&) = delete;
    ErrorLogReader& operator=(const ErrorLogReader&) = delete;

    // The next bytes of the file.
    void Feed(const char* data, std::size_t size);
    // The end of the file; call once, after the last Feed.
    void Finish();

    unsigned long RecordCount() const;
    unsigned long ProblemCount() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace KxTool
