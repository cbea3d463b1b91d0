// Recording files: the trend header rules, discovery, the cached table, the
// window. The readers' tests rely on these and pin one case each at most.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <tuple>

#include "files/file_table.h"
#include "files/headers.h"
#include "files/window.h"
#include "support/test_support.h"

namespace trova {
namespace {

using rec::Bytes;

TEST(FileHeaders, TrendGeometryAndMalformedFiles) {
    // Size table {100, 64, 64}, five records of 128 bytes, record r timed 1000 + r.
    Bytes good(740, 0);
    good[1] = 3, good[2] = 0x07, good[15] = 3;
    rec::putBE32(&good[16], 100), rec::putBE32(&good[20], 64), rec::putBE32(&good[24], 64);
    for (int r = 0; r < 5; ++r) rec::putBEDouble(&good[100 + 128 * r], 1000.0 + r);
    TrendHeader h;
    const FileGeometry &g = h.geometry;
    EXPECT_EQ(ParseTrendHeader(good.data(), good.size(), h), HeaderVerdict::kAccepted);
    EXPECT_EQ(std::tuple(g.headerSize, g.recordSize, g.recordCount, g.firstTime, g.lastTime),
              std::tuple(100u, 128u, 5u, 1000.0, 1004.0));
    for (auto [mask, count] : {std::pair{7, 3u}, {5, 2u}, {8, 0u}, {-1, 3u}}) {
        good[2] = uint8_t(mask);
        ParseTrendHeader(good.data(), good.size(), h);
        EXPECT_EQ(std::tuple(h.statCount, h.channelCode), std::tuple(count, 3u)) << mask;
    }
    // Beside the writer's damaged members (the file table's test below):
    const auto bad = HeaderVerdict::kBadGeometry, times = HeaderVerdict::kBadTimes;
    const struct { std::function<void(Bytes &)> damage; HeaderVerdict verdict; } cases[] = {
        {[](Bytes &b) { rec::putBEDouble(&b[612], std::nan("")); }, times},
        {[](Bytes &b) { rec::putBE32(&b[16], -28); }, bad},           // 768 = 6 R
        {[](Bytes &b) { b[15] = 2, rec::putBE32(&b[20], 8); }, bad},  // R < 16
        {[](Bytes &b) { b[15] = 127, b.resize(200); }, bad}};         // size table past the end
    for (const auto &c : cases) {
        Bytes b = good;
        c.damage(b);
        EXPECT_EQ(ParseTrendHeader(b.data(), b.size(), h), c.verdict) << &c - cases;
        EXPECT_EQ(g.recordCount, 0u) << &c - cases;
    }
    EXPECT_EQ(ParseTrendHeader(nullptr, 0, h), bad);
}

TEST(FileDiscovery, SplitsPathAndRefusesUnusableOnes) {
    RecordingName n;
    ASSERT_TRUE(SplitRecordingPath("/a.b/meas.x.003.dat", n));
    EXPECT_EQ(std::tuple(n.directory, n.stem, n.extension, n.pattern),
              std::tuple("/a.b/", "meas", ".dat", "/a.b/meas.*.dat"));
    const std::string longPath = "/" + std::string(251, 'd') + "/m.dat";  // 259 bytes
    for (const char *path : {"meas.003.dat", "/rec.d/meas", "", "/rec/meas.0123456789abcde",
                             longPath.c_str(), static_cast<const char *>(nullptr)}) {
        EXPECT_FALSE(SplitRecordingPath(path, n)) << (path ? path : "null");
    }
    EXPECT_TRUE(SplitRecordingPath("/rec/meas.0123456789abcd", n));  // 15 bytes fit
}

using FileTableTest = testing::ReaderTest;

TEST_F(FileTableTest, MembersInByteOrderWithoutDamagedFilesOrDecoys) {
    rec::RecordingPlan plan;
    for (auto n : {"meas.10.dat", "meas.9.dat", "MEAS.A.DAT", "meas..dat"}) plan.addNamed(n, 3);
    for (auto d : {rec::Damage::TruncatedData, rec::Damage::ZeroFirstTime, rec::Damage::Empty,
                   rec::Damage::NoRecords, rec::Damage::ShortHeader, rec::Damage::PaddedData,
                   rec::Damage::ReversedTimes}) {
        plan.addDamaged(d).name = "meas.d" + std::to_string(plan.members.size()) + ".dat";
    }
    for (auto d : {rec::Decoy::NoMiddle, rec::Decoy::OtherStem, rec::Decoy::OtherExtension}) {
        plan.addRaw(plan.decoyName(d), Bytes(300, 1));
    }
    const rec::RecordingInfo info = Write(plan);
    ASSERT_EQ(mkdir(dir_.file("meas.dir.dat").c_str(), 0755), 0);  // found, not readable
    EnsureFileTable(dir_.file("meas.9.dat").c_str(), HeaderVariant::kTrend);
    ASSERT_EQ(FileTable.fileCount, 4);
    const std::vector<rec::MemberInfo> table = info.table();
    int i = 0;
    for (const char *n : {"MEAS.A.DAT", "meas..dat", "meas.10.dat", "meas.9.dat"}) {
        const FileInfoRecord &e = FileTable.entries[i];
        const rec::MemberInfo &m = table[size_t(i++)];
        EXPECT_EQ(std::tuple(std::string(e.path), e.recordCount, e.headerSize, e.recordSize,
                             e.firstTime, e.lastTime),
                  std::tuple(dir_.file(n), uint32_t(m.records), uint32_t(m.headerLength),
                             uint32_t(m.recordLength), m.firstTime, m.lastTime));
    }
    EXPECT_EQ(FileTable.totalRecords, info.totalRecords());
    // The sample lines come once the geometry is sound, also for files then
    // rejected by their times; every rejected file gets an error line.
    std::map<std::string, int> kinds;  // lines by what follows "GetFileInformation "
    for (const std::string &line : LogLines()) ++kinds[line.substr(19, line.find(')') - 18)];
    EXPECT_EQ(kinds, (std::map<std::string, int>{{"(Init)", 12}, {"(First Sample)", 7},
                      {"(Last Sample)", 7}, {"(Err )", 8}, {"(Finish)", 12}}));
    const std::vector<std::string> log = LogLines();
    EXPECT_EQ(std::count(log.begin(), log.end(), "GetFileInformation (Err ) = " + dir_.file("meas.dir.dat")), 1);
}

TEST_F(FileTableTest, CacheIsKeyedByThePathStringWhateverTheVariantUntilForgotten) {
    rec::RecordingPlan plan;
    plan.add(3), plan.add(3);
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 1);
    EnsureFileTable(path.c_str(), HeaderVariant::kTrend);
    rec::writeBytes(dir_.file("meas.777.dat"), rec::buildRecording(plan).contents[0]);
    ClearLog();
    EnsureFileTable(path.c_str(), HeaderVariant::kHarmonic);  // same string: kept
    EXPECT_EQ(FileTable.fileCount, 2);
    EXPECT_TRUE(LogLines().empty());
    TrovaForgetRecording();  // the host's request: the same string looks again
    EnsureFileTable(path.c_str(), HeaderVariant::kTrend);
    EXPECT_EQ(FileTable.fileCount, 3);
    rec::writeBytes(dir_.file("meas.778.dat"), rec::buildRecording(plan).contents[0]);
    const std::string other = dir_.path() + "/./" + info.table()[1].name;  // same file
    EnsureFileTable(other.c_str(), HeaderVariant::kTrend);
    EXPECT_EQ(FileTable.fileCount, 4);
}

// Files of ten records one second apart, 100 s before the second: times
// t0 + 0..9, t0 + 110..119, t0 + 120..129.
TEST_F(FileTableTest, WindowRulesAndCounts) {
    rec::RecordingPlan plan;
    plan.add(10), plan.add(10, 100.0), plan.add(10);
    const rec::RecordingInfo info = Write(plan);
    const double t0 = info.table()[0].firstTime, nan = std::nan(""), no = -1e12;  // t0 + no < 0
    EnsureFileTable(PathOf(info, 0).c_str(), HeaderVariant::kTrend);
    const struct { double start, stop; int f0, r0, f1, stop1; bool sel0, sel1; int64_t k; }
        cases[] = {
            {no, no, 0, 0, 3, 10, false, false, 30},     {7, no, 0, 7, 3, 10, true, false, 23},
            {7.001, no, 0, 8, 3, 10, true, false, 22},   {50, no, 1, 0, 3, 10, true, false, 20},
            {129, no, 0, 0, 3, 10, false, false, 30},    {nan, no, 0, 0, 3, 10, false, false, 30},
            {no, 115, 0, 0, 2, 5, false, true, 15},      {3, 5, 0, 3, 1, 5, true, true, 2},
            {no, -1, 0, 0, 3, 10, false, false, 30},     {no, 129, 0, 0, 3, 10, false, false, 30},
            {no, 500, 0, 0, 3, 10, false, false, 30},    {no, nan, 0, 0, 3, 10, false, false, 30},
            {120, 2, 2, 0, 1, 2, true, true, -8},        {no, 0, 0, 0, 1, 0, false, true, 0},
            {no, -0.5, 0, 0, 3, 10, false, false, 30}};  // TStop at, and just before, the first record
    for (const auto &c : cases) {
        const double start = t0 + c.start, stop = t0 + c.stop;
        const TimeWindow w = ResolveTimeWindow(FileTable, start, stop);
        EXPECT_EQ(std::tuple(w.startFile, w.startRecord, w.endFile, w.stopRecord, w.startSelected,
                             w.stopSelected, CountWindowRecords(FileTable, w, start, stop),
                             WindowSamples(FileTable, w, start, stop)),
                  std::tuple(c.f0, c.r0, c.f1, c.stop1, c.sel0, c.sel1, c.k, c.k + c.sel1))
            << c.start << " " << c.stop;
    }
}

TEST(InterleaveFactorTest, SmallestGroupThatFitsThePoints) {
    const struct { int64_t samples; int32_t points, factor; } cases[] = {
        {300, 1000, 1}, {1000, 1000, 1}, {1001, 1000, 2}, {1000, 400, 3},
        {250, 100, 3},  {-6, 4, 1},      {int64_t{1} << 40, 1, 2147483647}};
    for (const auto &c : cases) EXPECT_EQ(InterleaveFactorFor(c.samples, c.points), c.factor);
}

}  // namespace
}  // namespace trova
