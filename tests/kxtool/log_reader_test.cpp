// The streaming reader of XML error logs: records as the library renders
// them, logs fed in pieces of any size, and logs damaged the way a firmware
// killed mid-write leaves them.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ErrorLogReader.h"
#include "SampleLog.h"

namespace {

using KxTool::ErrorLogReader;
using KxTool::ErrorRecord;
using KxToolTest::SampleRecord;
using KxToolTest::VariedRecord;

struct ReadResult {
    std::vector<ErrorRecord> records;
    std::vector<std::pair<unsigned long, std::string>> problems;
};

// Reads `log` in pieces of `piece` bytes (0: all at once).
ReadResult Read(const std::string& log, std::size_t piece = 0) {
    ReadResult result;
    ErrorLogReader reader([&](const ErrorRecord& r) { result.records.push_back(r); },
                          [&](unsigned long line, const std::string& message) {
                              result.problems.emplace_back(line, message);
                          });
    if (piece == 0) {
        piece = log.size() + 1;
    }
    for (std::size_t at = 0; at < log.size(); at += piece) {
        reader.Feed(log.data() + at, std::min(piece, log.size() - at));
    }
    reader.Finish();
    EXPECT_EQ(reader.RecordCount(), result.records.size());
    EXPECT_EQ(reader.ProblemCount(), result.problems.size());
    return result;
}

std::string Log(unsigned long count, unsigned long first = 0) {
    std::string log;
    for (unsigned long i = first; i < first + count; ++i) {
        log += VariedRecord(i).Xml();
    }
    return log;
}

unsigned long LineOf(const std::string& text, std::size_t offset) {
    return 1 + static_cast<unsigned long>(std::count(text.begin(), text.begin() + offset, '\n'));
}

TEST(ErrorLogReader, ReadsBackWhatTheLibraryWrote) {
    SampleRecord sample;
    sample.repaired = true;
    sample.component = "Save & Recall";  // written raw by the library
    sample.method = "CList<int>::Add";   // written raw
    sample.object = "Ch<1> & 'x' \"y\""; // escaped
    sample.message = "\xC2\xB5V \xB0"
                     "C\x01\nline 2"; // UTF-8, Windows-1252, control, break
    sample.thread = "Worker 7";
    const ReadResult read = Read(sample.Xml());
    ASSERT_EQ(read.problems.size(), 0u);
    ASSERT_EQ(read.records.size(), 1u);
    const ErrorRecord& r = read.records[0];
    EXPECT_EQ(r.line, 1u);
    EXPECT_EQ(r.Attribute("ErrorLevel"), "RepairedError");
    EXPECT_EQ(r.Attribute("Date"), "2024-05-01");
    EXPECT_EQ(r.Attribute("Time"), "13:05:30.250");
    EXPECT_EQ(r.Field("CoClassName"), "Save & Recall");
    EXPECT_EQ(r.Field("MethodName"), "CList<int>::Add");
    EXPECT_EQ(r.Field("ObjectName"), "Ch<1> & 'x' \"y\"");
    EXPECT_EQ(r.Field("Description"), "\xC2\xB5V \xC2\xB0"
                                      "C\x01\nline 2");
    EXPECT_EQ(r.Field("Thread"), "Worker 7");
    EXPECT_EQ(r.Field("FileLine"), "262");
    EXPECT_EQ(r.Field("ErrorCode"), "0x80000008: E_FAIL");
    EXPECT_EQ(r.Field("ObjectGuid"), "{3F2504E0-4F89-11D3-9A0C-0305E82C3301}");
}

TEST(ErrorLogReader, PiecesOfAnySizeGiveTheSameRecords) {
    const std::string log = Log(40);
    const ReadResult whole = Read(log);
    ASSERT_EQ(whole.records.size(), 40u);
    ASSERT_EQ(whole.problems.size(), 0u);
    for (std::size_t piece : {1u, 2u, 3u, 5u, 7u, 64u, 4093u}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        const ReadResult pieces = Read(log, piece);
        ASSERT_EQ(pieces.problems.size(), 0u);
        ASSERT_EQ(pieces.records.size(), whole.records.size());
        for (std::size_t i = 0; i < whole.records.size(); ++i) {
            EXPECT_EQ(pieces.records[i].line, whole.records[i].line);
            EXPECT_EQ(pieces.records[i].attributes, whole.records[i].attributes);
            EXPECT_EQ(pieces.records[i].fields, whole.records[i].fields);
        }
    }
}

// A firmware killed while writing the third record: whatever the cut, the
// first two records are read and the third is reported at its first line;
// when the firmware started again and appended a new run, that run is read
// too.
TEST(ErrorLogReader, ALogCutAnywhereInARecordKeepsTheRest) {
    const std::string before = Log(2);
    const std::string third = VariedRecord(2).Xml();
    const std::string nextRun = Log(3, 10);
    const unsigned long thirdLine = LineOf(before, before.size());
    const std::size_t indent = third.find('<');
    for (std::size_t cut = 0; cut < third.size(); ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes: " + third.substr(0, cut));
        const std::string damaged = before + third.substr(0, cut);
        // All but the final line feed written: the record is whole.
        const std::size_t whole = cut + 1 == third.size() ? 1 : 0;
        const bool lost = cut > indent && whole == 0; // not only blanks written
        const ReadResult alone = Read(damaged);
        EXPECT_EQ(alone.records.size(), 2u + whole);
        ASSERT_EQ(alone.problems.size(), lost ? 1u : 0u);
        if (lost) {
            EXPECT_EQ(alone.problems[0].first, thirdLine) << alone.problems[0].second;
        }
        const ReadResult restarted = Read(damaged + nextRun);
        ASSERT_EQ(restarted.records.size(), 5u + whole);
        EXPECT_EQ(restarted.records[2 + whole].Field("Description"), VariedRecord(10).message);
        const std::string all = damaged + nextRun;
        EXPECT_EQ(restarted.records.back().line, LineOf(all, all.rfind("<Error ")));
        ASSERT_EQ(restarted.problems.size(), lost ? 1u : 0u);
        if (lost) {
            // At the cut record, or at the line where its text was cut.
            const unsigned long line = restarted.problems[0].first;
            EXPECT_TRUE(line == thirdLine || line == LineOf(damaged, damaged.size()))
                << line << ": " << restarted.problems[0].second;
        }
    }
}

TEST(ErrorLogReader, DamageInsideALogSkipsOnlyTheDamagedRecord) {
    const struct {
        const char* name;
        std::string damage;
        unsigned long problemLine; // relative to the damaged part
    } cases[] = {
        {"a raw ampersand in an escaped element",
         "    <Error ErrorLevel=\"SystemError\">\n      <Description>a & b</Description>\n"
         "    </Error>\n",
         2},
        // The attribute value runs on until the "<" of the next line.
        {"a broken opening tag", "    <Error ErrorLevel=\"System>\n    </Error>\n", 2},
        {"an end tag of another element", "    <Error>\n      <A>x</B>\n    </Error>\n", 2},
        {"garbage bytes", "\x01\x02<<>>&&\n", 1},
        {"NUL padding left by a crash", std::string(64, '\0') + "\n", 1},
    };
    const std::string head = Log(2);
    const std::string tail = Log(2, 5);
    const unsigned long damageLine = LineOf(head, head.size());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ReadResult read = Read(head + c.damage + tail);
        EXPECT_EQ(read.records.size(), 4u);
        ASSERT_EQ(read.problems.size(), 1u);
        EXPECT_EQ(read.problems[0].first, damageLine + c.problemLine - 1)
            << read.problems[0].second;
        if (read.records.size() == 4u) {
            EXPECT_EQ(read.records[3].Field("Description"), VariedRecord(6).message);
        }
    }
}

TEST(ErrorLogReader, EmptyBlankAndWrappedLogs) {
    EXPECT_EQ(Read("").records.size(), 0u);
    EXPECT_EQ(Read("").problems.size(), 0u);
    EXPECT_EQ(Read(" \n\t\r\n").problems.size(), 0u);
    // A byte-order mark, and a document element of the file's own.
    const ReadResult wrapped = Read("\xEF\xBB\xBF<ErrorLog>\n" + Log(3) + "</ErrorLog>\n");
    EXPECT_EQ(wrapped.records.size(), 3u);
    EXPECT_EQ(wrapped.problems.size(), 0u);
    EXPECT_EQ(wrapped.records[0].line, 2u);
}

TEST(ErrorLogReader, AHugeFieldIsCutWithAMark) {
    SampleRecord sample;
    sample.message = std::string(3 * ErrorLogReader::kMaxFieldBytes, 'x');
    const ReadResult read = Read(sample.Xml() + VariedRecord(1).Xml(), 1 << 16);
    ASSERT_EQ(read.records.size(), 2u);
    const std::string& message = read.records[0].Field("Description");
    const std::string mark =
        " [cut at " + std::to_string(ErrorLogReader::kMaxFieldBytes) + " bytes]";
    EXPECT_EQ(message.size(), ErrorLogReader::kMaxFieldBytes + mark.size());
    EXPECT_EQ(message.substr(ErrorLogReader::kMaxFieldBytes), mark);
    EXPECT_EQ(read.records[1].Field("Description"), VariedRecord(1).message);
}

TEST(ErrorLogReader, AThrowingHandlerStopsTheReaderCleanly) {
    int delivered = 0;
    ErrorLogReader reader(
        [&](const ErrorRecord&) {
            if (++delivered == 2) {
                throw std::runtime_error("output failed");
            }
        },
        [](unsigned long, const std::string&) {});
    const std::string log = Log(4);
    EXPECT_THROW(reader.Feed(log.data(), log.size()), std::runtime_error);
    reader.Feed(log.data(), log.size());
    reader.Finish();
    EXPECT_EQ(delivered, 2);
}

} // namespace
