// Files that change under a call: between the table build and the scan, and
// between the chunks of a file while the scan reads it; members of 2 GiB or
// more (sparse files).
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "files/big_endian.h"
#include "files/file_table.h"
#include "files/record_file.h"
#include "files/scan.h"
#include "files/window.h"
#include "support/test_support.h"

namespace trova {
namespace {

using rec::Bytes;
using Seen = std::tuple<int32_t, int32_t, double>;  // file, record, time

// Every record the scan hands over, with a hook run when file 1 begins (its
// first chunk is in memory by then, and no other is read yet).
struct Collector {
    std::vector<Seen> seen;
    int filesBegun = 0, filesEnded = 0;
    std::function<void()> atFileOne;
    bool BeginFile(const FileInfoRecord &) {
        if (++filesBegun == 2 && atFileOne) atFileOne();
        return true;
    }
    void Record(const uint8_t *record, const RecordPosition &p) {
        seen.emplace_back(p.file, p.record, RecordTime(record, 0));
    }
    void EndFile() { ++filesEnded; }
};

// The records of `content` (a trend member) as the scan would see them.
std::vector<Seen> RecordsOf(int32_t file, const Bytes &content, const rec::MemberInfo &m,
                            int64_t count) {
    std::vector<Seen> out;
    for (int64_t r = 0; r < count; ++r) {
        const int64_t at = m.headerLength + r * int64_t{m.recordLength};
        out.emplace_back(file, int32_t(r), RecordTime(content.data(), at));
    }
    return out;
}

// Makes `path` a sparse file of at least 2 GiB with whole records and a
// valid last record time, so that only its length can disqualify it.
void GrowPastTwoGiB(const std::string &path, const rec::MemberInfo &m) {
    const int64_t records = ((int64_t{1} << 31) - m.headerLength) / m.recordLength + 1;
    const int64_t length = m.headerLength + records * int64_t{m.recordLength};
    ASSERT_EQ(truncate(path.c_str(), length), 0);
    std::FILE *f = std::fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    uint8_t time[8];
    rec::putBEDouble(time, m.lastTime + 1.0);
    ASSERT_EQ(std::fseek(f, static_cast<long>(length - m.recordLength), SEEK_SET), 0);
    ASSERT_EQ(std::fwrite(time, 1, sizeof time, f), sizeof time);
    std::fclose(f);
}

class ChangingFilesTest : public testing::ReaderTest {
protected:
    // Three members; the middle one spans more than two scan chunks.
    void SetUp() override {
        ReaderTest::SetUp();
        plan_.add(20);
        rec::RecordingPlan probe = plan_;
        const int64_t recordLength = rec::buildRecording(probe).info.files[0].recordLength;
        perChunk_ = int64_t(RecordChunks::kScanChunk) / recordLength;
        plan_.add(int(2 * perChunk_ + 17));
        plan_.add(20);
        recording_ = rec::buildRecording(plan_);
        info_ = Write(plan_);
        middle_ = info_.path(info_.table()[1]);
    }

    rec::RecordingPlan plan_;
    rec::Recording recording_;
    rec::RecordingInfo info_;
    std::string middle_;
    int64_t perChunk_ = 0;
};

TEST_F(ChangingFilesTest, MembersChangedBeforeOrWhileTheScanReadsThem) {
    const rec::MemberInfo m = info_.table()[1];
    const Bytes &original = recording_.contents[1];
    const int64_t count = m.records;
    rec::RecordingPlan other = plan_;  // the replacement: ten records timed later
    other.members.resize(1), other.members[0].records = 10, other.startTime += 1.0e6;
    const Bytes replacement = rec::buildRecording(other).contents[0];
    auto cut = [&](int64_t records, int64_t extra) {
        return [&, records, extra] {
            ASSERT_EQ(truncate(middle_.c_str(), m.headerLength + records * m.recordLength + extra), 0);
        };
    };
    auto grow = [&] { ASSERT_EQ(truncate(middle_.c_str(), int64_t(m.fileSize) + 7 * m.recordLength), 0); };
    auto replace = [&] {
        const std::string next = middle_ + ".next";
        rec::writeBytes(next, replacement);
        ASSERT_EQ(std::rename(next.c_str(), middle_.c_str()), 0);
    };
    auto remove = [&] { ASSERT_EQ(std::remove(middle_.c_str()), 0); };
    auto huge = [&] { GrowPastTwoGiB(middle_, m); };
    const std::vector<Seen> none, all = RecordsOf(1, original, m, count),
                                  firstChunk = RecordsOf(1, original, m, perChunk_),
                                  replaced = RecordsOf(1, replacement, m, 10);
    const struct {
        const char *name;
        std::function<void()> change;
        bool whileReading;
        const std::vector<Seen> &expected;  // of the middle member
        int begun;                          // files the visitor saw begin
    } cases[] = {
        // Before the scan: the length at open decides what is read.
        {"truncated mid-record", cut(2, m.recordLength / 2), false, RecordsOf(1, original, m, 2), 3},
        {"truncated to its header", cut(0, 0), false, none, 3},
        {"extended", grow, false, all, 3},
        {"replaced", replace, false, replaced, 3},
        {"removed", remove, false, none, 2},
        {"2 GiB or more", huge, false, none, 2},
        // While it is read: what was read stays, a chunk that cannot be
        // read whole ends the file, growth is not read, and the open file
        // is still the one read after it was replaced or removed.
        {"truncated to zero", cut(0, -m.headerLength), true, firstChunk, 3},
        {"truncated inside the second chunk", cut(perChunk_ + 3, 0), true, firstChunk, 3},
        {"truncated inside the last chunk", cut(2 * perChunk_ + 2, 5), true,
         RecordsOf(1, original, m, 2 * perChunk_), 3},
        {"extended", grow, true, all, 3},
        {"replaced", replace, true, all, 3},
        {"removed", remove, true, all, 3},
        {"2 GiB or more", huge, true, all, 3},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.name) + (c.whileReading ? " while reading" : " before"));
        rec::writeBytes(middle_, original);
        ForgetFileTable();
        EnsureFileTable(PathOf(info_, 0).c_str(), HeaderVariant::kTrend);
        ASSERT_EQ(FileTable.fileCount, 3);
        const TimeWindow window = ResolveTimeWindow(FileTable, -1.0, -1.0);
        Collector visitor;
        if (c.whileReading) {
            visitor.atFileOne = c.change;
        } else {
            c.change();
        }
        ProgressMeter progress(0.0f);
        EXPECT_FALSE(ScanWindow(FileTable, window, StopRecordRule::kRead, progress, visitor));
        std::vector<Seen> expected = RecordsOf(0, recording_.contents[0], info_.table()[0], 20);
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        const std::vector<Seen> last = RecordsOf(2, recording_.contents[2], info_.table()[2], 20);
        expected.insert(expected.end(), last.begin(), last.end());
        EXPECT_EQ(visitor.seen, expected);
        EXPECT_EQ(std::tuple(visitor.filesBegun, visitor.filesEnded), std::tuple(c.begun, 3));
    }
}

// A member of 2 GiB or more is left out of the table like a malformed
// file (its records would not fit the table's 32-bit counts): its log
// lines are those of a file that cannot be read. A window bound inside a
// member that has grown past 2 GiB since is taken as that file's start.
TEST_F(ChangingFilesTest, MembersOfTwoGiBOrMoreAreLeftOut) {
    GrowPastTwoGiB(middle_, info_.table()[1]);
    ForgetFileTable();
    ClearLog();
    EnsureFileTable(PathOf(info_, 0).c_str(), HeaderVariant::kTrend);
    EXPECT_EQ(FileTable.fileCount, 2);
    const std::vector<std::string> log = LogLines();
    ASSERT_EQ(log.size(), 11u);
    EXPECT_EQ(std::vector<std::string>(log.begin() + 4, log.begin() + 7),
              (std::vector<std::string>{"GetFileInformation (Init) = " + middle_,
                                        "GetFileInformation (Err ) = " + middle_,
                                        "GetFileInformation (Finish)"}));

    rec::writeBytes(middle_, recording_.contents[1]);
    ForgetFileTable();
    EnsureFileTable(PathOf(info_, 0).c_str(), HeaderVariant::kTrend);
    ASSERT_EQ(FileTable.fileCount, 3);
    GrowPastTwoGiB(middle_, info_.table()[1]);
    const double inMiddle = info_.table()[1].firstTime + 5.0;
    const TimeWindow w = ResolveTimeWindow(FileTable, inMiddle, inMiddle);
    EXPECT_EQ(std::tuple(w.startFile, w.startRecord, w.endFile, w.stopRecord),
              std::tuple(1, 0, 2, int32_t(FileTable.entries[1].recordCount)));
}

TEST(RecordSources, ReadsOutsideTheLengthFail) {
    const Bytes bytes(100, 7);
    testing::ScratchDir dir;
    rec::writeBytes(dir.file("f"), bytes);
    MemorySource memory(bytes.data(), 100);
    RecordFile file;
    ASSERT_TRUE(file.Open(dir.file("f").c_str()));
    EXPECT_EQ(file.Length(), 100);
    const struct { int64_t offset; size_t count; bool ok; } cases[] = {
        {0, 8, true},    {92, 8, true}, {93, 8, false},         {-1, 1, false},
        {100, 0, true}, {101, 0, false}, {int64_t{1} << 62, 8, false}};
    for (ByteSource *source : {static_cast<ByteSource *>(&memory), static_cast<ByteSource *>(&file)}) {
        for (const auto &c : cases) {
            uint8_t out[8] = {};
            EXPECT_EQ(source->Read(c.offset, out, c.count), c.ok) << c.offset << " " << c.count;
            if (c.ok && c.count > 0) {
                EXPECT_EQ(out[7], 7);
            }
        }
    }
    RecordFile none;
    EXPECT_FALSE(none.Open(nullptr));
    uint8_t out[1];
    EXPECT_FALSE(none.Open(dir.path().c_str()) && none.Read(0, out, 1));  // a directory
    none.Close();
    EXPECT_FALSE(none.Read(0, out, 0));
}

}  // namespace
}  // namespace trova
