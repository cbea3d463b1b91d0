// Reader_XT and Reader_XT2 end to end against the writer's values; Reader_XT also pins
// the record reading and status order all three trend readers share.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "curve/interleave_curve.h"
#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::ExpectedRecord;
using testing::TrendTestPlan;
using testing::TrendTestRecords;
constexpr float kUntouched = -12345.0f;

// Reader_XT or Reader_XT2 (values in `mins`); a guard element behind each array.
struct TrendCall {
    bool decimated = false;
    int quantity = 2, minMax = 0, points = 100;
    double tStart = -1.0, tStop = -1.0;
    float extRef = 0.0f;
    std::vector<float> mins, maxs, means;
    std::vector<double> times;
    std::vector<int> flags;
    int factor = -1, status = -1, result = -1;

    TrendCall &Run(std::string path) {
        const size_t n = size_t(std::max(points, 0));
        mins.assign(5 * n + 1, kUntouched), maxs = mins, means = mins;
        times.assign(2 * n + 1, -1.0);
        flags.assign(n + 1, -1);
        char label[] = "Trend", button[] = "Stop";
        int p = points;
        result = decimated ? Reader_XT2(quantity, minMax, tStart, tStop, extRef, label, path.data(),
                                        &p, mins.data(), times.data(), flags.data(), &factor,
                                        button, &status)
                           : Reader_XT(quantity, minMax, tStart, tStop, extRef, label, path.data(),
                                       &p, mins.data(), maxs.data(), means.data(), times.data(),
                                       flags.data(), &factor, button, &status);
        EXPECT_EQ(std::tuple(mins.back(), maxs.back(), means.back(), times.back(), flags.back()),
                  std::tuple(kUntouched, kUntouched, kUntouched, -1.0, -1));
        return *this;
    }
};

// Groups of f consecutive records (the last may be short) on `channels`
// channels; the point after them and the other channels untouched.
void ExpectPoints(const TrendCall &call, const std::vector<ExpectedRecord> &records, size_t f,
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
            const bool written = p < n && c < channels;
            float lo = written ? records[begin].values[c] : kUntouched, hi = lo, sum = 0.0f;
            for (size_t i = begin; written && i < end; ++i) {
                const float v = records[i].values[c];
                lo = std::min(lo, v), hi = std::max(hi, v), sum += v;
            }
            EXPECT_EQ(std::tuple(call.mins[c * P + p], call.maxs[c * P + p], call.means[c * P + p]),
                      std::tuple(lo, hi, written ? sum / float(end - begin) : kUntouched))
                << "point " << p << " channel " << c;
        }
    }
}

using ReaderXtTest = testing::ReaderTest;

TEST_F(ReaderXtTest, GroupsAcrossFilesAndWindowsLogAndProgress) {
    // Recording, call (window from t0), then status, factor, samples logged,
    // the records grouped and the progress posted.
    const struct { int files, records, q, k; double from, to; int points, cancel, status, factor,
                   samples, first, last; std::vector<int> progress; } cases[] = {
        {4, 250, 3, 1, -1, -1, 400, -1, 0, 3, 1000, 0, 999, {25, 50, 75, 100}},  // last group 1
        {3, 1000, 2, 0, 500, 2529, 999, -1, 0, 3, 2000, 500, 2499, {33, 66, 99}},  // stop read
        {6, 10, 2, 0, -1, -1, 7, 1, 1, 9, 60, 0, 17, {16, 32}},  // the open group is dropped
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
        TrendCall call;
        call.quantity = c.q, call.minMax = c.k, call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(std::tuple(call.status, call.factor), std::tuple(c.status, c.factor));
        ExpectPoints(call, TrendTestRecords(info, c.first, c.last, c.q, c.k, 3),
                     size_t(std::max(c.factor, 1)), 3);
        EXPECT_EQ(progress_, c.progress);
        const std::vector<std::string> log = LogLines();
        ASSERT_GT(log.size(), 12u);
        EXPECT_EQ(log[8], "Start Reader_Thread");
        EXPECT_EQ(std::vector<std::string>(log.end() - 4, log.end()),
                  (std::vector<std::string>{"Interleave Factor = " + std::to_string(c.factor),
                                            "Samples = " + std::to_string(c.samples),
                                            "Points  = " + std::to_string(c.points),
                                            "Finish Reader_XT"}));
    }
}

TEST_F(ReaderXtTest, RecordReadingCorrectedArgumentsAndStatusOrder) {
    // N = 2 reads a third group where block 1 begins (past the record in the
    // last block: the file is left out); N = 0 has blocks of S floats. `by`:
    // the divisor expected, 0 for the reference quantity.
    const struct { int n, mask, ref, q, k; float extRef; int cancel, status, readQ, readK,
                   channels; float by; int last; } cases[] = {
        {3, 7, 0, 1, 2, 0, -1, 0, 1, 2, 1, 1, 11},    {0, 7, 0, 2, 0, 0, -1, 0, 0, 1, 1, 1, 11},
        {2, 7, 0, 2, 0, 0, -1, 0, 2, 0, 3, 1, 11},    {2, 7, 0, 4, 2, 0, -1, 0, 4, 2, 3, 1, -1},
        {4, 7, 0, 2, 0, 0, -1, 0, 2, 0, 4, 1, 11},    {7, 7, 0, 3, 1, 0, -1, 0, 3, 1, 5, 1, 11},
        {3, 7, 4, 3, 1, 230, -1, 0, 3, 1, 3, 230, 11}, {3, 7, 4, 3, 1, -1, -1, 0, 3, 1, 3, 0, 11},
        {3, 7, 4, 3, 1, -0.5, -1, 0, 3, 1, 3, 1, 11}, {3, 7, 4, 3, 1, -2, -1, 0, 3, 1, 3, 1, 11},
        {3, 7, 0, 3, 1, -1, -1, 0, 3, 1, 3, 1, 11},   {3, 7, 0, 3, 1, 230, -1, 0, 3, 1, 3, 1, 11},
        {3, 3, 0, 2, 2, 0, -1, 2, 2, 0, 3, 1, 11},    {3, 3, 0, 5, -1, 0, -1, 4, 0, 0, 1, 1, 11},
        {3, 3, 0, -1, 1, 0, 0, 4, 0, 1, 1, 1, 5},     {3, 3, 0, 3, 2, 0, 0, 2, 3, 0, 3, 1, 5}};
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(2, 6, c.n);
        plan.trend.statMask = c.mask, plan.trend.refQuantity = c.ref;
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        TrendCall call;
        call.quantity = c.q, call.minMax = c.k, call.extRef = c.extRef;
        EXPECT_EQ(call.Run(PathOf(info, 0)).status, c.status);
        auto records = TrendTestRecords(info, 0, c.last, c.readQ, c.readK, 5, c.by, c.by ? -1 : 4);
        for (size_t r = 0; r < records.size() && c.n == 2; ++r) {
            records[r].values[2] = testing::TrendTestValue(int(r), 1, 0, 0);
        }
        ExpectPoints(call, records, 1, c.channels);
    }
}

// Every channel's values, channel 0's times and flags against an interleave
// curve (pinned by its own suite) made for `samples` and fed the records; no more.
void ExpectCurves(const TrendCall &call, const std::vector<ExpectedRecord> &records, int samples,
                  int channels) {
    const size_t P = size_t(std::max(call.points, 0));
    for (int c = 0; c < 5; ++c) {
        CInterleaveCurve curve;
        curve.Init(samples, call.points);
        for (const auto &r : records) curve.Add(r.t1, r.t2, r.values[c], uint32_t(r.flags));
        curve.Flush();
        const size_t n = c < channels ? size_t(curve.GetCount()) : 0;
        if (c == 0) {
            EXPECT_EQ(size_t(call.result), n);
        }
        for (size_t i = 0; i < n; ++i) {
            EXPECT_EQ(call.mins[c * P + i], curve.GetValue(int(i))) << "channel " << c << " output " << i;
            if (c > 0) continue;
            EXPECT_EQ(std::tuple(call.times[i], call.times[P + i], uint32_t(call.flags[i])),
                      std::tuple(curve.GetTime1(int(i)), curve.GetTime2(int(i)), curve.GetFlags(int(i))));
        }
        EXPECT_TRUE(n >= P || call.mins[c * P + n] == kUntouched) << c;
    }
    const size_t n = size_t(call.result);
    EXPECT_TRUE(n >= P || (call.times[n] == -1.0 && call.flags[n] == -1));
}

TEST_F(ReaderXtTest, CurvesPerChannelOverWindowsCancelAndSmallCapacities) {
    // Recording, call (window from t0), then status, factor, outputs, the
    // records read and the samples the curves are made for.
    const struct { int files, records, n, q, k; double from, to; int points, cancel, status,
                   factor, outputs, readQ, readK, first, last, channels, samples; } cases[] = {
        {4, 250, 3, 3, 1, -1, -1, 100, -1, 0, 11, 92, 3, 1, 0, 999, 3, 1000},  // 45 bins of 22 and 10
        {1, 1000, 3, 2, 0, 200, 499, 1000, -1, 0, 0, 300, 2, 0, 200, 499, 3, 300},
        {1, 1000, 3, 2, 0, 200, 499, 40, -1, 0, 8, 38, 2, 0, 200, 499, 3, 300},
        {2, 30, 3, 1, 2, -1, -1, 10, -1, 0, 7, 10, 1, 2, 0, 59, 1, 60},   // once per block
        {2, 30, 7, 3, 1, -1, -1, 10, -1, 0, 7, 10, 3, 1, 0, 59, 5, 60},   // five curves
        {2, 30, 3, 9, 1, -1, -1, 10, -1, 4, 7, 10, 0, 1, 0, 59, 1, 60},   // bad quantity
        {1, 5, 3, 2, 0, -1, -1, 3, -1, 0, 2, 2, 2, 0, 0, 4, 3, 5},  // no room for the 2nd pair
        {1, 5, 3, 2, 0, -1, -1, 1, -1, 0, 6, 0, 2, 0, 0, 4, 3, 5},
        {1, 5, 3, 2, 0, -1, -1, 0, -1, 0, 0, 0, 2, 0, 0, 4, 3, 5},  // no file read
        {1, 5, 3, 2, 0, -1, -1, -2, -1, 0, 0, 0, 2, 0, 0, 4, 3, 5},
        {2, 50, 3, 2, 0, -1, -1, 20, 0, 1, 6, 10, 2, 0, 0, 49, 3, 100}};  // open bin delivered
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(c.files, c.records, c.n);
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        const double t0 = info.table()[0].firstTime;
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        ClearLog();
        TrendCall call;
        call.decimated = true, call.quantity = c.q, call.minMax = c.k, call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(std::tuple(call.status, call.factor, call.result),
                  std::tuple(c.status, c.factor, c.outputs));
        ExpectCurves(call, TrendTestRecords(info, c.first, c.last, c.readQ, c.readK, c.channels),
                     c.samples, c.channels);
        const std::vector<std::string> log = LogLines();  // four lines a file; curves' debug off
        EXPECT_EQ(std::tuple(log.size(), log.at(8), log.at(log.size() - 1)),
                  std::tuple(10 + 4 * size_t(c.files), "Start Reader_Thread2",
                             "Finish Reader_XT2"));
    }
}

}  // namespace
}  // namespace trova
