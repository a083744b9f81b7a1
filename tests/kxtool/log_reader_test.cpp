// The streaming reader of XML error logs: logs fed in pieces of any size,
// logs damaged the way a firmware killed mid-write leaves them, and limits.
// What it reads from a record is checked through `kxtool log --json`.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ErrorLogReader.h"
#include "SampleLog.h"

namespace {

using KxTool::ErrorLogReader;
using KxTool::ErrorRecord;
using KxToolTest::VariedRecord;

struct ReadResult {
    std::vector<ErrorRecord> records;
    std::vector<std::pair<unsigned long, std::string>> problems; // line, message
};

// Reads `log` in pieces of `piece` bytes (0: all at once).
ReadResult Read(const std::string& log, std::size_t piece = 0) {
    ReadResult result;
    ErrorLogReader reader([&](const ErrorRecord& r) { result.records.push_back(r); },
                          [&](unsigned long line, const std::string& message) {
                              result.problems.emplace_back(line, message);
                          });
    piece = piece == 0 ? log.size() + 1 : piece;
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

TEST(ErrorLogReader, PiecesOfAnySizeGiveTheSameRecords) {
    const std::string log = Log(40);
    const ReadResult whole = Read(log);
    ASSERT_EQ(whole.records.size(), 40u);
    ASSERT_EQ(whole.problems.size(), 0u);
    EXPECT_EQ(whole.records[39].line, LineOf(log, log.rfind("<Error ")));
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
    const std::string before = Log(2), third = VariedRecord(2).Xml(), nextRun = Log(3, 10);
    const unsigned long thirdLine = LineOf(before, before.size());
    for (std::size_t cut = 0; cut < third.size(); ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes: " + third.substr(0, cut));
        const std::string damaged = before + third.substr(0, cut);
        // All but the final line feed written: the record is whole.
        const std::size_t whole = cut + 1 == third.size() ? 1 : 0;
        const bool lost = cut > third.find('<') && whole == 0; // not only blanks written
        const ReadResult alone = Read(damaged);
        EXPECT_EQ(alone.records.size(), 2u + whole);
        ASSERT_EQ(alone.problems.size(), lost ? 1u : 0u);
        if (lost) {
            EXPECT_EQ(alone.problems[0].first, thirdLine) << alone.problems[0].second;
        }
        const ReadResult restarted = Read(damaged + nextRun);
        ASSERT_EQ(restarted.records.size(), 5u + whole);
        EXPECT_EQ(restarted.records[2 + whole].line, LineOf(damaged + nextRun, damaged.size()));
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
    const std::string head = Log(2), tail = Log(2, 5);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ReadResult read = Read(head + c.damage + tail);
        ASSERT_EQ(read.records.size(), 4u);
        EXPECT_EQ(read.records[3].Field("Description"), VariedRecord(6).message);
        ASSERT_EQ(read.problems.size(), 1u);
        EXPECT_EQ(read.problems[0].first, LineOf(head, head.size()) + c.problemLine - 1)
            << read.problems[0].second;
    }
}

TEST(ErrorLogReader, EmptyBlankWrappedAndHugeFields) {
    EXPECT_EQ(Read("").records.size() + Read("").problems.size(), 0u);
    EXPECT_EQ(Read(" \n\t\r\n").problems.size(), 0u);
    // A byte-order mark, and a document element of the file's own.
    const ReadResult wrapped = Read("\xEF\xBB\xBF<ErrorLog>\n" + Log(3) + "</ErrorLog>\n");
    EXPECT_EQ(wrapped.records.size(), 3u);
    EXPECT_EQ(wrapped.problems.size(), 0u);
    EXPECT_EQ(wrapped.records[0].line, 2u);
    // A field longer than the limit is cut with a mark; the next record is whole.
    KxToolTest::SampleRecord huge;
    huge.message = std::string(3 * ErrorLogReader::kMaxFieldBytes, 'x');
    const ReadResult read = Read(huge.Xml() + VariedRecord(4).Xml(), 1 << 16);
    ASSERT_EQ(read.records.size(), 2u);
    EXPECT_TRUE(read.records[0].Field("Description") ==
                std::string(ErrorLogReader::kMaxFieldBytes, 'x') + " [cut at " +
                    std::to_string(ErrorLogReader::kMaxFieldBytes) + " bytes]");
    EXPECT_EQ(read.records[1].Field("Description"), VariedRecord(4).message);
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
