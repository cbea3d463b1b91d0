// Reader_XT2 end to end: recordings from the recording writer, the export
// called as the host calls it, outputs checked against the curve model.
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

struct Xt2Call {
    int quantity = 2, minMax = 0, points = 100;
    double tStart = -1.0, tStop = -1.0;
    std::vector<float> values;
    std::vector<double> times;
    std::vector<int> flags;
    int factor = -1, status = -1, result = -1;

    Xt2Call &Run(std::string path) {
        const size_t n = size_t(std::max(points, 0));  // one guard element behind each array
        values.assign(5 * n + 1, kUntouched);
        times.assign(2 * n + 1, -1.0);
        flags.assign(n + 1, -1);
        char label[] = "Decimated", button[] = "Stop";
        int pointsArg = points;
        result = Reader_XT2(quantity, minMax, tStart, tStop, 0.0f, label, path.data(), &pointsArg,
                            values.data(), times.data(), flags.data(), &factor, button, &status);
        EXPECT_EQ(std::tuple(values.back(), times.back(), flags.back()),
                  std::tuple(kUntouched, -1.0, -1));
        return *this;
    }
};

// Each channel's values, channel 0's times and flag words against the model
// with bins of `binSize`; the entry after them and other channels untouched.
void ExpectCurves(const Xt2Call &call, const std::vector<ExpectedRecord> &records, size_t binSize,
                  int channels) {
    const size_t P = size_t(std::max(call.points, 0));
    for (int c = 0; c < 5; ++c) {
        std::vector<testing::CurveSample> in, want;
        for (const ExpectedRecord &r : records) in.push_back({r.t1, r.t2, r.values[c], uint32_t(r.flags)});
        if (c < channels) want = testing::CurveModel(in, binSize, P);
        if (c == 0) {
            EXPECT_EQ(size_t(call.result), want.size());
        }
        for (size_t i = 0; i < want.size() && i < P; ++i) {
            EXPECT_EQ(call.values[c * P + i], want[i].value) << "channel " << c << " output " << i;
            if (c > 0) continue;
            EXPECT_EQ(std::tuple(call.times[i], call.times[P + i], call.flags[i]),
                      std::tuple(want[i].t1, want[i].t2, int(want[i].flags))) << "output " << i;
        }
        EXPECT_TRUE(want.size() >= P || call.values[c * P + want.size()] == kUntouched) << c;
    }
    const size_t n = size_t(call.result);
    EXPECT_TRUE(n >= P || (call.times[n] == -1.0 && call.flags[n] == -1));
}

using ReaderXt2Test = testing::ReaderTest;

TEST_F(ReaderXt2Test, CurvesPerChannelOverWindowsCancelAndSmallCapacities) {
    // Recording (files x records, N), call (quantity, block, window from t0,
    // points, cancel after file), then status, factor, outputs and the
    // records read (quantity, block, range, channels) in bins of `bin`.
    const struct { int files, records, n, q, k; double from, to; int points, cancel, status,
                   factor, outputs, readQ, readK, first, last, channels, bin; } cases[] = {
        {4, 250, 3, 3, 1, -1, -1, 100, -1, 0, 11, 92, 3, 1, 0, 999, 3, 22},  // 45 bins and 10
        {1, 1000, 3, 2, 0, 200, 499, 1000, -1, 0, 0, 300, 2, 0, 200, 499, 3, 1},
        {1, 1000, 3, 2, 0, 200, 499, 40, -1, 0, 8, 38, 2, 0, 200, 499, 3, 16},
        {2, 30, 3, 1, 2, -1, -1, 10, -1, 0, 7, 10, 1, 2, 0, 59, 1, 14},   // once per block
        {2, 30, 7, 3, 1, -1, -1, 10, -1, 0, 7, 10, 3, 1, 0, 59, 5, 14},   // five curves
        {2, 30, 3, 9, 1, -1, -1, 10, -1, 4, 7, 10, 0, 1, 0, 59, 1, 14},   // bad quantity
        {1, 5, 3, 2, 0, -1, -1, 3, -1, 0, 2, 2, 2, 0, 0, 4, 3, 4},  // no room for the 2nd pair
        {1, 5, 3, 2, 0, -1, -1, 1, -1, 0, 6, 0, 2, 0, 0, 4, 3, 12},
        {1, 5, 3, 2, 0, -1, -1, 0, -1, 0, 0, 0, 2, 0, 0, 4, 3, 0},  // no file read
        {1, 5, 3, 2, 0, -1, -1, -2, -1, 0, 0, 0, 2, 0, 0, 4, 3, 0},
        {2, 50, 3, 2, 0, -1, -1, 20, 0, 1, 6, 10, 2, 0, 0, 49, 3, 12}};  // open bin delivered
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(c.files, c.records, c.n);
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        const double t0 = info.table()[0].firstTime;
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        ClearLog();
        Xt2Call call;
        call.quantity = c.q, call.minMax = c.k, call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        EXPECT_EQ(std::tuple(call.Run(PathOf(info, 0)).status, call.factor, call.result),
                  std::tuple(c.status, c.factor, c.outputs));
        ExpectCurves(call, TrendTestRecords(info, c.first, c.last, c.readQ, c.readK, c.channels),
                     size_t(c.bin), c.channels);
        const std::vector<std::string> log = LogLines();  // four lines a file; curves' debug off
        EXPECT_EQ(std::tuple(log.size(), log.at(8), log.back()),
                  std::tuple(size_t(10 + 4 * c.files), "Start Reader_Thread2", "Finish Reader_XT2"));
    }
}

}  // namespace
}  // namespace trova
