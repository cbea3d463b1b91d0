// CInterleaveCurve alone: factors, a bin's outputs, samples beyond those announced.
// The readers' suites take it, so pinned, as the model of their curves. Its debug
// log, which no reader turns on, is no caller's concern.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "curve/interleave_curve.h"
#include "recording_writer.h"

namespace trova {
namespace {

struct Sample { double t1, t2; float value; uint32_t flags; };
using Samples = std::vector<Sample>;
using Outputs = std::vector<std::tuple<double, double, float, uint32_t>>;

Outputs Feed(CInterleaveCurve &curve, const Samples &samples) {
    for (const auto &s : samples) curve.Add(s.t1, s.t2, s.value, s.flags);
    curve.Flush();
    Outputs out;
    for (int i = 0; i < curve.GetCount(); ++i) {
        out.emplace_back(curve.GetTime1(i), curve.GetTime2(i), curve.GetValue(i),
                         curve.GetFlags(i));
    }
    return out;
}

TEST(InterleaveCurve, FactorsAreEvenBinSizesOrPassThrough) {
    const struct { int samples, points; double factor; } cases[] = {
        {100, 1000, 1}, {1000, 1000, 1}, {1000, 100, 22}, {1000, 500, 6}, {1001, 1000, 4},
        {5, 3, 4},      {999, 100, 20},  {10, 0, 1},      {10, -4, 1},    {-5, 10, 1}};
    for (const auto &c : cases) {
        CInterleaveCurve curve;
        curve.Init(c.samples, c.points);
        EXPECT_EQ(curve.GetFactor(), c.factor) << c.samples << " / " << c.points;
    }
}

TEST(InterleaveCurve, BinOutputsOrderTimesAndFlags) {
    // Values, then the expected first and second output of a bin of four.
    const struct { std::vector<float> in; float first, second; } cases[] = {
        {{3, 1, 4, 2}, 1, 4}, {{3, 4, 1, 2}, 4, 1}, {{2, 2, 2, 2}, 2, 2},
        {{5, 4, 4, 4}, 5, 4}, {{-1, 7, -3, 7}, 7, -3}};
    for (const auto &c : cases) {
        Samples s;
        for (float v : c.in) s.push_back({100.0 + s.size(), 0.5, v, 0});
        CInterleaveCurve curve;
        curve.Init(5, 3);
        const Outputs got = Feed(curve, s);
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(std::pair(std::get<2>(got[0]), std::get<2>(got[1])), std::pair(c.first, c.second))
            << c.in[1];
    }
    // Bins of 6: a bin starts where the previous output ended; its first output has the
    // midpoint of the first terms and the starting second term. Flags stay in their bin.
    Samples s;
    for (int i = 0; i < 15; ++i) s.push_back({1000.0 + i, 0.25 * (i % 3), float(i % 4), 0});
    s[4].flags = 4, s[6].flags = 1, s[11].flags = 8;
    CInterleaveCurve curve;
    curve.Init(15, 6);
    EXPECT_EQ(Feed(curve, s), (Outputs{{1002.5, 0.0, 0.0f, 4u}, {1005, 0.5, 3.0f, 4u}, {1008, 0.5, 3.0f, 9u},
                                       {1011, 0.5, 0.0f, 9u}, {1012.5, 0.5, 0.0f, 0u}, {1014, 0.5, 2.0f, 0u}}));
}

TEST(InterleaveCurve, SamplesBeyondTheAnnouncedOnesAndTheCapacity) {
    Samples series;
    rec::SplitMix64 random(7);
    for (int i = 0; i < 101; ++i) {
        series.push_back({3786825600.0 + i, 0.125 * (i % 3), random.unit() * 200 - 100, i % 3u});
    }
    // Announced samples, points, outputs kept of the 101 fed: the first of
    // those a curve of ten times the room (the same bin size) gives.
    const struct { int samples, points; size_t outputs; } cases[] = {
        {100, 1000, 100}, {5, 3, 2}, {20, 8, 8}, {0, 10, 0}, {-5, 10, 0}};
    for (const auto &c : cases) {
        CInterleaveCurve curve, roomy;
        curve.Init(c.samples, c.points);
        roomy.Init(10 * c.samples, 10 * c.points);
        const Outputs got = Feed(curve, series), all = Feed(roomy, series);
        EXPECT_EQ(got.size(), c.outputs) << c.samples << " / " << c.points;
        EXPECT_EQ(got, Outputs(all.begin(), all.begin() + long(std::min(c.outputs, all.size()))));
        EXPECT_EQ(std::tuple(curve.GetValue(-1), curve.GetTime1(int(c.outputs)),
                             curve.GetTime2(int(c.outputs)), curve.GetFlags(-1)),
                  std::tuple(0.0f, 0.0, 0.0, 0u));
    }
}

}  // namespace
}  // namespace trova
