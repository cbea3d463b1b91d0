// Reader_XT end to end against groups formed here from the writer's values;
// also the record reading and status order all three trend readers share.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::ExpectedRecord;
using testing::TrendTestPlan;
using testing::TrendTestRecords;
constexpr float kUntouched = -12345.0f;

struct XtCall {
    int quantity = 2, minMax = 0, points = 100;
    double tStart = -1.0, tStop = -1.0;
    float extRef = 0.0f;
    std::vector<float> mins, maxs, means;
    std::vector<double> times;
    std::vector<int> flags;
    int factor = -1, status = -1, result = -1;

    XtCall &Run(std::string path) {
        const size_t n = size_t(std::max(points, 0));  // one guard element behind each array
        mins.assign(5 * n + 1, kUntouched), maxs = mins, means = mins;
        times.assign(2 * n + 1, -1.0);
        flags.assign(n + 1, -1);
        char label[] = "Trend", button[] = "Stop";
        int pointsArg = points;
        result = Reader_XT(quantity, minMax, tStart, tStop, extRef, label, path.data(), &pointsArg,
                           mins.data(), maxs.data(), means.data(), times.data(), flags.data(),
                           &factor, button, &status);
        EXPECT_EQ(std::tuple(mins.back(), maxs.back(), means.back(), times.back(), flags.back()),
                  std::tuple(kUntouched, kUntouched, kUntouched, -1.0, -1));
        return *this;
    }
};

// Groups of f consecutive records (the last may be short) on `channels`
// channels; the point after them and the other channels untouched.
void ExpectPoints(const XtCall &call, const std::vector<ExpectedRecord> &records, size_t f,
                  int channels) {
    const size_t n = (records.size() + f - 1) / f, P = size_t(std::max(call.points, 0));
    ASSERT_EQ(size_t(call.result), n);
    for (size_t p = 0; p < P && p <= n; ++p) {
        const size_t begin = p * f, end = std::min(records.size(), begin + f);
        int32_t flags = p < n ? 0 : -1;
        for (size_t i = begin; i < end; ++i) flags |= records[i].flags;
        EXPECT_EQ(call.flags[p], flags) << "point " << p;
        EXPECT_EQ(call.times[p], p < n ? records[end - 1].t1 : -1.0) << "point " << p;
        EXPECT_EQ(call.times[P + p], p < n ? records[end - 1].t2 : -1.0) << "point " << p;
        for (int c = 0; c < 5; ++c) {
            float lo = kUntouched, hi = kUntouched, sum = 0.0f;
            for (size_t i = begin; i < end && p < n && c < channels; ++i) {
                const float v = records[i].values[c];
                lo = i == begin ? v : std::min(lo, v), hi = i == begin ? v : std::max(hi, v);
                sum += v;
            }
            const float mean = p < n && c < channels ? sum / float(end - begin) : kUntouched;
            EXPECT_EQ(std::tuple(call.mins[c * P + p], call.maxs[c * P + p], call.means[c * P + p]),
                      std::tuple(lo, hi, mean)) << "point " << p << " channel " << c;
        }
    }
}

using ReaderXtTest = testing::ReaderTest;

TEST_F(ReaderXtTest, GroupsAcrossFilesAndWindowsLogAndProgress) {
    // Recording (files x records), call (quantity, block, window from t0,
    // points, cancel after file), then status, factor, samples logged, the
    // records grouped and the progress posted.
    const struct { int files, records, q, k; double from, to; int points, cancel, status, factor,
                   samples, first, last; std::vector<int> progress; } cases[] = {
        {4, 250, 3, 1, -1, -1, 400, -1, 0, 3, 1000, 0, 999, {25, 50, 75, 100}},  // last group 1
        {3, 1000, 2, 0, 500, 2529, 999, -1, 0, 3, 2000, 500, 2499, {33, 66, 99}},  // stop record read
        {5, 10, 2, 0, -1, -1, 7, 1, 1, 8, 50, 0, 15, {20, 40}},  // the open group is dropped
        {20, 2, 2, 0, -1, -1, 100, -1, 0, 1, 40, 0, 39, {15, 30, 45, 60, 75, 90}},
        {1, 5, 2, 0, -1, -1, 0, -1, 0, 0, 5, 0, -1, {}},  // no room: no file read
        {1, 5, 2, 0, -1, -1, -3, -1, 0, 0, 5, 0, -1, {}}};
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(c.files, c.records);
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        const double t0 = info.table()[0].firstTime;
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        ClearLog(), progress_.clear();
        XtCall call;
        call.quantity = c.q, call.minMax = c.k, call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        EXPECT_EQ(std::tuple(call.Run(PathOf(info, 0)).status, call.factor),
                  std::tuple(c.status, c.factor));
        ExpectPoints(call, TrendTestRecords(info, c.first, c.last, c.q, c.k, 3),
                     size_t(std::max(c.factor, 1)), 3);
        EXPECT_EQ(progress_, c.progress);
        const std::vector<std::string> log = LogLines();
        EXPECT_EQ(log.at(8), "Start Reader_Thread");
        EXPECT_EQ(std::vector<std::string>(log.end() - 4, log.end()),
                  (std::vector<std::string>{"Interleave Factor = " + std::to_string(c.factor),
                                            "Samples = " + std::to_string(c.samples),
                                            "Points  = " + std::to_string(c.points),
                                            "Finish Reader_XT"}));
    }
}

TEST_F(ReaderXtTest, RecordReadingFollowsChannelCountQuantityKindAndExtRef) {
    // N = 2 reads a third group where block 1 begins (in the last block it lies
    // past the record: the file is left out); N = 0 has blocks of S floats.
    // ExtRef -1 divides by the reference quantity, ExtRef > 0 by itself, and
    // neither without a reference quantity.
    const struct { int n, q, k, ref; float extRef; int channels, readQ, readK, byRef;
                   float divisor; bool leftOut; } cases[] = {
        {3, 1, 2, 0, 0, 1, 1, 2, -1, 1, false},   {0, 2, 0, 0, 0, 1, 0, 1, -1, 1, false},
        {2, 2, 0, 0, 0, 3, 2, 0, -1, 1, false},   {2, 4, 2, 0, 0, 3, 4, 2, -1, 1, true},
        {4, 2, 0, 0, 0, 4, 2, 0, -1, 1, false},   {7, 3, 1, 0, 0, 5, 3, 1, -1, 1, false},
        {3, 3, 1, 4, 230, 3, 3, 1, -1, 230, false}, {3, 3, 1, 4, -1, 3, 3, 1, 4, 1, false},
        {3, 3, 1, 4, -0.5, 3, 3, 1, -1, 1, false}, {3, 3, 1, 4, -2, 3, 3, 1, -1, 1, false},
        {3, 3, 1, 0, -1, 3, 3, 1, -1, 1, false},   {3, 3, 1, 0, 230, 3, 3, 1, -1, 1, false}};
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(1, 6, c.n);
        plan.trend.refQuantity = c.ref;
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        XtCall call;
        call.quantity = c.q, call.minMax = c.k, call.extRef = c.extRef;
        EXPECT_EQ(call.Run(PathOf(info, 0)).status, TROVA_READER_OK);
        auto records = TrendTestRecords(info, 0, 5, c.readQ, c.readK, 5, c.divisor, c.byRef);
        for (size_t r = 0; r < records.size() && c.n == 2; ++r) {
            records[r].values[2] = testing::TrendTestValue(int(r), 1, 0, 0);
        }
        if (c.leftOut) records.clear();
        ExpectPoints(call, records, 1, c.channels);
    }
}

TEST_F(ReaderXtTest, CorrectedArgumentsAndStatusOrder) {
    rec::RecordingPlan plan = TrendTestPlan(2, 6);
    plan.trend.statMask = 0x03;  // two blocks; quantities 0 .. 4
    const rec::RecordingInfo info = Write(plan);
    const struct { int q, k; bool cancel; int status, readQ, readK, channels; } cases[] = {
        {2, 2, false, 2, 2, 0, 3}, {5, -1, false, 4, 0, 0, 1}, {-1, 1, true, 4, 0, 1, 1},
        {3, 2, true, 2, 3, 0, 3}};
    for (const auto &c : cases) {
        SCOPED_TRACE("q " + std::to_string(c.q) + " k " + std::to_string(c.k));
        if (c.cancel) CancelAfterFile(0);
        XtCall call;
        call.quantity = c.q, call.minMax = c.k;
        EXPECT_EQ(call.Run(PathOf(info, 0)).status, c.status);
        ExpectPoints(call, TrendTestRecords(info, 0, c.cancel ? 5 : 11, c.readQ, c.readK, 3), 1,
                     c.channels);
    }
    rec::RecordingPlan broken;
    broken.stem = "broken";
    broken.addDamaged(rec::Damage::TruncatedData), broken.addDamaged(rec::Damage::ZeroFirstTime);
    const rec::RecordingInfo none = Write(broken);
    progress_.clear();
    XtCall empty;
    EXPECT_EQ(empty.Run(none.path(none.files[0])).status, TROVA_READER_NO_FILES);
    EXPECT_EQ(empty.factor, -1);
    ExpectPoints(empty, {}, 1, 0);
    EXPECT_TRUE(progress_.empty());
}

}  // namespace
}  // namespace trova
