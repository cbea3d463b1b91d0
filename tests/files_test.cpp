// Recording files: header parsers, discovery, the cached table, the window.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "files/file_table.h"
#include "files/headers.h"
#include "files/window.h"
#include "recording_writer.h"
#include "support/test_support.h"

namespace trova {
namespace {

using rec::Bytes;
using testing::ReaderTest;

// A trend file by hand: size table {100, 64, 64} and `length` bytes in all,
// each record timed 1000 + its index.
Bytes HandMadeTrendFile(size_t length, uint8_t statMask = 0x07) {
    Bytes bytes(length, 0);
    bytes[1] = 3;
    bytes[2] = statMask;
    bytes[3] = 2;
    bytes[4] = 4;
    bytes[15] = 3;
    rec::putBE32(&bytes[16], 100);
    rec::putBE32(&bytes[20], 64);
    rec::putBE32(&bytes[24], 64);
    for (size_t at = 100, r = 0; at + 16 <= length; at += 128, ++r) {
        rec::putBEDouble(&bytes[at], 1000.0);
        rec::putBEDouble(&bytes[at + 8], static_cast<double>(r));
    }
    return bytes;
}

TEST(FileHeaders, TrendGeometryCountsAndMalformedFiles) {
    TrendHeader header;
    Bytes good = HandMadeTrendFile(740);
    ASSERT_EQ(ParseTrendHeader(good.data(), good.size(), header), HeaderVerdict::kAccepted);
    EXPECT_EQ(header.geometry.headerSize, 100u);
    EXPECT_EQ(header.geometry.recordSize, 128u);
    EXPECT_EQ(header.geometry.recordCount, 5u);
    EXPECT_EQ(header.geometry.firstTime, 1000.0);
    EXPECT_EQ(header.geometry.lastTime, 1004.0);
    EXPECT_EQ(header.channelCode, 3u);
    EXPECT_EQ(header.statCount, 3u);

    for (uint8_t mask : {uint8_t{0x05}, uint8_t{0x08}, uint8_t{0xFF}}) {
        Bytes b = HandMadeTrendFile(740, mask);
        ASSERT_EQ(ParseTrendHeader(b.data(), b.size(), header), HeaderVerdict::kAccepted);
        EXPECT_EQ(header.statCount, mask == 0x05 ? 2u : mask == 0x08 ? 0u : 3u) << int(mask);
    }

    Bytes oneTooMany = HandMadeTrendFile(741);
    EXPECT_EQ(ParseTrendHeader(oneTooMany.data(), oneTooMany.size(), header),
              HeaderVerdict::kBadGeometry);
    EXPECT_EQ(header.geometry.recordCount, 0u);

    Bytes zeroTime = HandMadeTrendFile(740);
    std::memset(&zeroTime[100], 0, 16);
    EXPECT_EQ(ParseTrendHeader(zeroTime.data(), zeroTime.size(), header), HeaderVerdict::kBadTimes);

    Bytes reversed = HandMadeTrendFile(740);
    rec::putBEDouble(&reversed[100], 5000.0);
    EXPECT_EQ(ParseTrendHeader(reversed.data(), reversed.size(), header), HeaderVerdict::kBadTimes);

    Bytes nanTime = HandMadeTrendFile(740);
    rec::putBEDouble(&nanTime[100 + 4 * 128], std::nan(""));
    EXPECT_EQ(ParseTrendHeader(nanTime.data(), nanTime.size(), header), HeaderVerdict::kBadTimes);

    Bytes headerOnly = HandMadeTrendFile(100);
    EXPECT_EQ(ParseTrendHeader(headerOnly.data(), headerOnly.size(), header),
              HeaderVerdict::kBadTimes);

    // Sizes that would make a careless parser read outside the file.
    Bytes negativeHeader = HandMadeTrendFile(740);
    rec::putBE32(&negativeHeader[16], -28);  // 740 + 28 = 768 = 6·128
    EXPECT_EQ(ParseTrendHeader(negativeHeader.data(), negativeHeader.size(), header),
              HeaderVerdict::kBadGeometry);
    Bytes tinyRecords = HandMadeTrendFile(740);
    tinyRecords[15] = 2;
    rec::putBE32(&tinyRecords[20], 8);  // R = 8 cannot hold a time
    EXPECT_EQ(ParseTrendHeader(tinyRecords.data(), tinyRecords.size(), header),
              HeaderVerdict::kBadGeometry);
    Bytes hugeTable = HandMadeTrendFile(740);
    hugeTable[15] = 127;  // the size table would run past the file's end
    EXPECT_EQ(ParseTrendHeader(hugeTable.data(), 200, header), HeaderVerdict::kBadGeometry);
    EXPECT_EQ(ParseTrendHeader(hugeTable.data(), 10, header), HeaderVerdict::kBadGeometry);
    EXPECT_EQ(ParseTrendHeader(nullptr, 0, header), HeaderVerdict::kBadGeometry);
}

TEST(FileHeaders, HarmonicPowerFlagAndTimeSum) {
    // D = 12: the size table {12, 64}, then two records of 64 bytes.
    Bytes bytes;
    bytes.assign(12 + 2 * 64, 0);
    bytes[1] = 6;
    bytes[2] = 2;
    bytes[3] = 0x03;
    rec::putBE32(&bytes[4], 12);
    rec::putBE32(&bytes[8], 64);
    rec::putBEDouble(&bytes[12], 100.0);
    rec::putBEDouble(&bytes[20], 0.25);
    rec::putBEDouble(&bytes[12 + 64], 101.0);
    HarmonicHeader header;
    ASSERT_EQ(ParseHarmonicHeader(bytes.data(), bytes.size(), header), HeaderVerdict::kAccepted);
    EXPECT_EQ(header.powerBlockFlag, 2u);
    EXPECT_EQ(header.channelCode, 6u);
    EXPECT_EQ(header.geometry.firstTime, 100.25);
    EXPECT_EQ(header.geometry.lastTime, 101.0);
    bytes[3] = 0x01;
    ASSERT_EQ(ParseHarmonicHeader(bytes.data(), bytes.size(), header), HeaderVerdict::kAccepted);
    EXPECT_EQ(header.powerBlockFlag, 0u);
}

TEST(FileDiscovery, SplitsPathAndRefusesUnusableOnes) {
    RecordingName name;
    ASSERT_TRUE(SplitRecordingPath("/rec/meas.003.dat", name));
    EXPECT_EQ(name.directory, "/rec/");
    EXPECT_EQ(name.stem, "meas");
    EXPECT_EQ(name.extension, ".dat");
    EXPECT_EQ(name.pattern, "/rec/meas.*.dat");
    ASSERT_TRUE(SplitRecordingPath("/a.b/meas.x.y.dat", name));
    EXPECT_EQ(name.stem, "meas");
    EXPECT_EQ(name.extension, ".dat");

    EXPECT_FALSE(SplitRecordingPath("meas.003.dat", name));  // no separator
    EXPECT_FALSE(SplitRecordingPath("/rec.d/meas", name));   // no "." in the name
    EXPECT_FALSE(SplitRecordingPath("", name));
    EXPECT_FALSE(SplitRecordingPath(nullptr, name));
    EXPECT_FALSE(SplitRecordingPath("/rec/meas.0123456789abcde", name));  // ".0123456789abcde": 16
    EXPECT_TRUE(SplitRecordingPath("/rec/meas.0123456789abcd", name));    // 15 fits
    const std::string longPath = "/" + std::string(251, 'd') + "/m.dat";   // 259 bytes
    EXPECT_FALSE(SplitRecordingPath(longPath.c_str(), name));
}

class FileTableTest : public ReaderTest {};

TEST_F(FileTableTest, FindsMembersInByteOrderAndLeavesOutDamagedAndDecoys) {
    rec::RecordingPlan plan;
    plan.add(4).name = "meas.10.dat";
    plan.add(5).name = "meas.9.dat";
    plan.addNamed("MEAS.A.DAT", 2);
    plan.addNamed("meas..dat", 3);
    plan.addDamaged(rec::Damage::TruncatedData).name = "meas.b.dat";
    plan.addDamaged(rec::Damage::ZeroFirstTime).name = "meas.c.dat";
    plan.addDamaged(rec::Damage::Empty).name = "meas.d.dat";
    plan.addDamaged(rec::Damage::NoRecords).name = "meas.e.dat";
    plan.addDamaged(rec::Damage::ShortHeader).name = "meas.f.dat";
    plan.addRaw(plan.decoyName(rec::Decoy::NoMiddle), Bytes(300, 1));
    plan.addRaw(plan.decoyName(rec::Decoy::OtherStem), Bytes(300, 1));
    plan.addRaw(plan.decoyName(rec::Decoy::OtherExtension), Bytes(300, 1));
    const rec::RecordingInfo info = Write(plan);

    FileBuffer buffer;
    const std::string path = dir_.file("meas.9.dat");
    EnsureFileTable(path.c_str(), HeaderVariant::kTrend, buffer);
    const std::vector<rec::MemberInfo> expected = info.table();
    ASSERT_EQ(FileTable.fileCount, static_cast<int32_t>(expected.size()));
    ASSERT_EQ(expected.size(), 4u);
    // Byte-wise: "MEAS.A.DAT" < "meas..dat" < "meas.10.dat" < "meas.9.dat".
    EXPECT_STREQ(FileTable.entries[0].path, dir_.file("MEAS.A.DAT").c_str());
    EXPECT_STREQ(FileTable.entries[1].path, dir_.file("meas..dat").c_str());
    EXPECT_STREQ(FileTable.entries[2].path, dir_.file("meas.10.dat").c_str());
    EXPECT_STREQ(FileTable.entries[3].path, dir_.file("meas.9.dat").c_str());
    for (size_t i = 0; i < expected.size(); ++i) {
        const FileInfoRecord &e = FileTable.entries[i];
        EXPECT_EQ(info.path(expected[i]), e.path);
        EXPECT_EQ(e.recordCount, static_cast<uint32_t>(expected[i].records));
        EXPECT_EQ(e.headerSize, static_cast<uint32_t>(expected[i].headerLength));
        EXPECT_EQ(e.recordSize, static_cast<uint32_t>(expected[i].recordLength));
        EXPECT_EQ(e.firstTime, expected[i].firstTime);
        EXPECT_EQ(e.lastTime, expected[i].lastTime);
        EXPECT_EQ(e.harmonicCount, 0);
    }
    EXPECT_EQ(FileTable.totalRecords, info.totalRecords());

    // Every examined file logged its parse; the rejected ones an error line.
    const std::vector<std::string> log = LogLines();
    int inits = 0, errors = 0;
    for (const std::string &line : log) {
        inits += line.rfind("GetFileInformation (Init) = ", 0) == 0;
        errors += line.rfind("GetFileInformation (Err ) = ", 0) == 0;
    }
    EXPECT_EQ(inits, 9);
    EXPECT_EQ(errors, 5);
}

TEST_F(FileTableTest, CacheIsKeyedByThePathString) {
    rec::RecordingPlan plan;
    plan.add(3);
    plan.add(3);
    const rec::RecordingInfo info = Write(plan);
    FileBuffer buffer;
    const std::string path = PathOf(info, 1);
    EnsureFileTable(path.c_str(), HeaderVariant::kTrend, buffer);
    ASSERT_EQ(FileTable.fileCount, 2);

    // Same string: nothing is read again, even though a new member appeared.
    rec::writeBytes(dir_.file("meas.777.dat"), rec::buildRecording(plan).contents[0]);
    ClearLog();
    EnsureFileTable(path.c_str(), HeaderVariant::kTrend, buffer);
    EXPECT_EQ(FileTable.fileCount, 2);
    EXPECT_TRUE(LogLines().empty());

    // The same file under another spelling rebuilds (and now sees three).
    const std::string other = dir_.path() + "/./" + path.substr(path.rfind('/') + 1);
    EnsureFileTable(other.c_str(), HeaderVariant::kTrend, buffer);
    EXPECT_EQ(FileTable.fileCount, 3);
    EXPECT_FALSE(LogLines().empty());
}

TEST_F(FileTableTest, HarmonicTableTakesHarmonicCountAndPowerFlag) {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.harmonic.harmonics = 40;
    plan.harmonic.powerBlock = false;
    plan.add(3);
    plan.add(2);
    const rec::RecordingInfo info = Write(plan);
    FileBuffer buffer;
    EnsureFileTable(PathOf(info, 0).c_str(), HeaderVariant::kHarmonic, buffer);
    ASSERT_EQ(FileTable.fileCount, 2);
    EXPECT_EQ(FileTable.entries[0].harmonicCount, 40);
    EXPECT_EQ(FileTable.entries[1].powerBlockFlag, 0u);
    EXPECT_EQ(FileTable.totalRecords, 5u);
    EXPECT_TRUE(LogLines().empty());  // the harmonic parser does not log
}

// Three files of ten records, one second apart, with a 100 s gap before the
// second file: times t0 + 0..9, t0 + 110..119, t0 + 120..129.
class WindowTest : public ReaderTest {
protected:
    void SetUp() override {
        ReaderTest::SetUp();
        rec::RecordingPlan plan;
        plan.add(10);
        plan.add(10, 100.0);
        plan.add(10);
        info_ = Write(plan);
        t0_ = info_.table()[0].firstTime;
        EnsureFileTable(PathOf(info_, 0).c_str(), HeaderVariant::kTrend, buffer_);
        ASSERT_EQ(FileTable.fileCount, 3);
        ASSERT_EQ(info_.table()[1].firstTime, t0_ + 110.0);
    }
    TimeWindow Resolve(double start, double stop) {
        return ResolveTimeWindow(FileTable, start, stop, buffer_);
    }
    rec::RecordingInfo info_;
    double t0_ = 0.0;
    FileBuffer buffer_;
};

TEST_F(WindowTest, StartRules) {
    TimeWindow w = Resolve(-1.0, -1.0);
    EXPECT_EQ(w.startFile, 0);
    EXPECT_EQ(w.startRecord, 0);
    EXPECT_EQ(w.endFile, 3);
    EXPECT_EQ(w.stopRecord, 10);
    EXPECT_FALSE(w.startSelected);
    EXPECT_FALSE(w.stopSelected);
    EXPECT_EQ(CountWindowRecords(FileTable, w, -1.0, -1.0), 30);
    EXPECT_EQ(WindowSamples(FileTable, w, -1.0, -1.0), 30);

    w = Resolve(t0_ + 7.0, -1.0);  // exactly record 7
    EXPECT_EQ(w.startFile, 0);
    EXPECT_EQ(w.startRecord, 7);
    EXPECT_TRUE(w.startSelected);
    w = Resolve(t0_ + 7.001, -1.0);
    EXPECT_EQ(w.startRecord, 8);
    EXPECT_EQ(CountWindowRecords(FileTable, w, t0_ + 7.001, -1.0), 22);
    w = Resolve(t0_ + 50.0, -1.0);  // in the gap: record 0 of the later file
    EXPECT_EQ(w.startFile, 1);
    EXPECT_EQ(w.startRecord, 0);
    w = Resolve(t0_ + 129.0, -1.0);  // at the last record: from the beginning
    EXPECT_EQ(w.startFile, 0);
    EXPECT_EQ(w.startRecord, 0);
    EXPECT_FALSE(w.startSelected);
    w = Resolve(std::nan(""), -1.0);
    EXPECT_EQ(w.startFile, 0);
    EXPECT_EQ(w.startRecord, 0);
    EXPECT_FALSE(w.startSelected);
}

TEST_F(WindowTest, StopRulesAndCounts) {
    TimeWindow w = Resolve(-1.0, t0_ + 115.0);
    EXPECT_EQ(w.endFile, 2);
    EXPECT_EQ(w.stopRecord, 5);
    EXPECT_TRUE(w.stopSelected);
    EXPECT_EQ(CountWindowRecords(FileTable, w, -1.0, t0_ + 115.0), 15);
    EXPECT_EQ(WindowSamples(FileTable, w, -1.0, t0_ + 115.0), 16);  // the stop record is read

    w = Resolve(t0_ + 3.0, t0_ + 5.0);  // same file
    EXPECT_EQ(w.endFile, 1);
    EXPECT_EQ(w.stopRecord, 5);
    EXPECT_EQ(CountWindowRecords(FileTable, w, t0_ + 3.0, t0_ + 5.0), 2);

    for (double stop : {t0_ - 1.0, t0_ + 129.0, t0_ + 500.0, std::nan("")}) {
        w = Resolve(-1.0, stop);  // before the start, at or after the end: to the end
        EXPECT_EQ(w.endFile, 3) << stop;
        EXPECT_EQ(w.stopRecord, 10) << stop;
        EXPECT_FALSE(w.stopSelected) << stop;
    }

    w = Resolve(t0_ + 120.0, t0_ + 2.0);  // inverted: the scan reads nothing
    EXPECT_EQ(w.startFile, 2);
    EXPECT_EQ(w.endFile, 1);
}

TEST(InterleaveFactorTest, SmallestGroupThatFitsThePoints) {
    EXPECT_EQ(InterleaveFactorFor(300, 1000), 1);
    EXPECT_EQ(InterleaveFactorFor(1000, 1000), 1);
    EXPECT_EQ(InterleaveFactorFor(1001, 1000), 2);
    EXPECT_EQ(InterleaveFactorFor(1000, 400), 3);
    EXPECT_EQ(InterleaveFactorFor(10, 4), 3);
    EXPECT_EQ(InterleaveFactorFor(250, 100), 3);
    EXPECT_EQ(InterleaveFactorFor(-6, 4), 1);  // an inverted window
    EXPECT_EQ(InterleaveFactorFor(int64_t{1} << 40, 1), 2147483647);
}

}  // namespace
}  // namespace trova
