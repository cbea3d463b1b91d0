// CInterleaveCurve: factors, pass-through, bins (values, order, times,
// flags) against a model written here, the capacity limits, the debug log.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "curve/interleave_curve.h"
#include "recording_writer.h"
#include "support/curve_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

static_assert(std::has_virtual_destructor_v<CInterleaveCurve>);

using Sample = testing::CurveSample;
using Output = testing::CurveOutput;

// Samples one second apart starting at a large whole second, with a
// fraction in the second term, pseudo-random values and sparse flags.
std::vector<Sample> Series(int n, uint64_t seed) {
    rec::SplitMix64 random(seed);
    std::vector<Sample> out;
    for (int i = 0; i < n; ++i) {
        const float value = random.unit() * 200.0f - 100.0f;
        const uint32_t flags = random.next() % 5 == 0 ? 1u << (random.next() % 3) : 0u;
        out.push_back({3786825600.0 + i, 0.25 + (i % 3) * 0.125, value, flags});
    }
    return out;
}

std::vector<Output> Feed(CInterleaveCurve &curve, const std::vector<Sample> &samples) {
    for (const Sample &s : samples) curve.Add(s.t1, s.t2, s.value, s.flags);
    curve.Flush();
    std::vector<Output> out;
    for (int i = 0; i < curve.GetCount(); ++i) {
        out.push_back({curve.GetValue(i), curve.GetTime1(i), curve.GetTime2(i), curve.GetFlags(i)});
    }
    return out;
}

std::vector<Output> Model(const std::vector<Sample> &samples, size_t binSize, size_t capacity) {
    return testing::CurveModel(samples, binSize, capacity);
}

void ExpectSame(const std::vector<Output> &got, const std::vector<Output> &want) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE("output " + std::to_string(i));
        EXPECT_EQ(got[i].value, want[i].value);
        EXPECT_EQ(got[i].t1, want[i].t1);
        EXPECT_EQ(got[i].t2, want[i].t2);
        EXPECT_EQ(got[i].flags, want[i].flags);
    }
}

TEST(InterleaveCurve, FactorsAreEvenBinSizesOrPassThrough) {
    struct Case {
        int samples, points;
        double factor;
    } cases[] = {
        {100, 1000, 1.0}, {1000, 1000, 1.0}, {1000, 100, 22.0},  // 21 made even
        {1000, 500, 6.0},  {1200, 400, 8.0},  {1001, 1000, 4.0}, // 3.002 -> 3 -> 4
        {5, 3, 4.0},       {3, 2, 4.0},       {10, 1, 22.0},     // 21 -> 22
        {999, 100, 20.0},  // 19.98 + 1 -> 20, already even
    };
    for (const Case &c : cases) {
        CInterleaveCurve curve;
        curve.Init(c.samples, c.points);
        EXPECT_EQ(curve.GetFactor(), c.factor) << c.samples << " / " << c.points;
        EXPECT_EQ(curve.GetCount(), 0);
    }
    CInterleaveCurve fresh;
    EXPECT_EQ(fresh.GetFactor(), 1.0);
    EXPECT_EQ(fresh.GetCount(), 0);
}

TEST(InterleaveCurve, PassThroughKeepsEverySampleUpToItsCapacity) {
    const std::vector<Sample> series = Series(101, 7);
    CInterleaveCurve curve;
    curve.Init(100, 1000);  // capacity exactly the 100 announced samples
    const std::vector<Output> got = Feed(curve, series);
    ASSERT_EQ(got.size(), 100u);  // the 101st is ignored
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].value, series[i].value);
        EXPECT_EQ(got[i].t1, series[i].t1);
        EXPECT_EQ(got[i].t2, series[i].t2);
        EXPECT_EQ(got[i].flags, series[i].flags);
    }
    // Outside 0 .. count - 1 the getters answer 0.
    for (int i : {-1, 100, 1000}) {
        EXPECT_EQ(curve.GetValue(i), 0.0f);
        EXPECT_EQ(curve.GetTime1(i), 0.0);
        EXPECT_EQ(curve.GetTime2(i), 0.0);
        EXPECT_EQ(curve.GetFlags(i), 0u);
    }
    // A second Init starts from scratch.
    curve.Init(3, 10);
    EXPECT_EQ(Feed(curve, Series(3, 8)).size(), 3u);
}

TEST(InterleaveCurve, BinsGiveMinimumAndMaximumInTheOrderOfTheLastNewExtreme) {
    auto values = [](std::vector<float> v) {
        std::vector<Sample> s;
        for (size_t i = 0; i < v.size(); ++i) s.push_back({100.0 + i, 0.5, v[i], 0});
        return s;
    };
    struct Case {
        std::vector<float> in;
        float first, second;
    } cases[] = {
        {{3, 1, 4, 2}, 1, 4},  // the maximum came last
        {{3, 4, 1, 2}, 4, 1},  // the minimum came last
        {{2, 2, 2, 2}, 2, 2},  // one value: emitted twice
        {{5, 5, 5, 6}, 5, 6},
        {{5, 4, 4, 4}, 5, 4},  // an equal value is not a new extreme
        {{-1, 7, -3, 7}, 7, -3},
    };
    for (const Case &c : cases) {
        CInterleaveCurve curve;
        curve.Init(5, 3);  // factor 4: the four values make one bin
        ASSERT_EQ(curve.GetFactor(), 4.0);
        const std::vector<Output> got = Feed(curve, values(c.in));
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(got[0].value, c.first) << c.in[0] << c.in[1] << c.in[2] << c.in[3];
        EXPECT_EQ(got[1].value, c.second) << c.in[0] << c.in[1] << c.in[2] << c.in[3];
    }
}

TEST(InterleaveCurve, BinTimesChainAndFlagsStayWithTheirBin) {
    // Bins of 6 over 12 + 3 samples: two full bins and a partial one.
    std::vector<Sample> s = Series(15, 3);
    for (Sample &x : s) x.flags = 0;
    s[4].flags = 4;   // bin 0
    s[6].flags = 1;   // bin 1, also its first sample
    s[11].flags = 8;  // bin 1, its last sample
    CInterleaveCurve curve;
    curve.Init(15, 6);  // 15 / 3 + 1 = 6
    ASSERT_EQ(curve.GetFactor(), 6.0);
    const std::vector<Output> got = Feed(curve, s);
    ASSERT_EQ(got.size(), 6u);
    // The first bin starts at its own first sample; its first output carries
    // the midpoint of the first terms and the starting second term.
    EXPECT_EQ(got[0].t1, (s[0].t1 + s[5].t1) / 2.0);
    EXPECT_EQ(got[0].t2, s[0].t2);
    EXPECT_EQ(got[1].t1, s[5].t1);
    EXPECT_EQ(got[1].t2, s[5].t2);
    // Later bins start where the previous bin's output ended.
    EXPECT_EQ(got[2].t1, (s[5].t1 + s[11].t1) / 2.0);
    EXPECT_EQ(got[2].t2, s[5].t2);
    EXPECT_EQ(got[3].t1, s[11].t1);
    EXPECT_EQ(got[4].t1, (s[11].t1 + s[14].t1) / 2.0);
    EXPECT_EQ(got[5].t2, s[14].t2);
    EXPECT_EQ(got[0].flags, 4u);
    EXPECT_EQ(got[1].flags, 4u);
    EXPECT_EQ(got[2].flags, 9u);
    EXPECT_EQ(got[3].flags, 9u);
    EXPECT_EQ(got[4].flags, 0u);
    EXPECT_EQ(got[5].flags, 0u);
    ExpectSame(got, Model(s, 6, 6));
}

TEST(InterleaveCurve, LongSeriesMatchTheModel) {
    struct Case {
        int samples, points;
        size_t binSize, outputs;
    } cases[] = {
        {1000, 100, 22, 92},   // 45 full bins and one of 10
        {1200, 400, 8, 300},   // 150 bins
        {1000, 500, 6, 334},   // 166 full bins and one of 4
        {1001, 1000, 4, 502},
        {7, 6, 4, 4},
    };
    uint64_t seed = 11;
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.samples) + " / " + std::to_string(c.points));
        const std::vector<Sample> series = Series(c.samples, seed++);
        CInterleaveCurve curve;
        curve.Init(c.samples, c.points);
        ASSERT_EQ(curve.GetFactor(), double(c.binSize));
        const std::vector<Output> got = Feed(curve, series);
        EXPECT_EQ(got.size(), c.outputs);
        ExpectSame(got, Model(series, c.binSize, size_t(c.points)));
    }
}

TEST(InterleaveCurve, NothingIsWrittenPastTheCapacity) {
    // Odd capacity: Init(5, 3) has bins of 4; five samples would need four
    // outputs. The second pair does not fit and is dropped whole.
    const std::vector<Sample> five = Series(5, 21);
    CInterleaveCurve odd;
    odd.Init(5, 3);
    const std::vector<Output> got = Feed(odd, five);
    ASSERT_EQ(got.size(), 2u);
    ExpectSame(got, Model(five, 4, 3));

    // More samples than announced: bins keep coming, pairs stop at the
    // capacity (the sanitizer build watches the arrays themselves).
    const std::vector<Sample> many = Series(5000, 22);
    for (int points : {100, 101}) {
        CInterleaveCurve curve;
        curve.Init(1000, points);
        const std::vector<Output> out = Feed(curve, many);
        EXPECT_EQ(out.size(), 100u) << points;
        ExpectSame(out, Model(many, size_t(curve.GetFactor()), size_t(points)));
    }

    // No capacity at all: no outputs, and the factor stays pass-through.
    for (auto [samples, points] : {std::pair{10, 0}, {10, -4}, {-5, 10}, {0, 10}, {0, 0}}) {
        CInterleaveCurve curve;
        curve.Init(samples, points);
        EXPECT_EQ(curve.GetFactor(), 1.0) << samples << " / " << points;
        EXPECT_EQ(Feed(curve, Series(12, 23)).size(), 0u) << samples << " / " << points;
    }

    // Arrays of curves, as the readers hold them.
    CInterleaveCurve *curves = new CInterleaveCurve[3];
    for (int c = 0; c < 3; ++c) curves[c].Init(50, 10 + c);
    for (const Sample &s : Series(50, 24)) {
        for (int c = 0; c < 3; ++c) curves[c].Add(s.t1, s.t2, s.value, s.flags);
    }
    for (int c = 0; c < 3; ++c) {
        curves[c].Flush();
        EXPECT_LE(curves[c].GetCount(), 10 + c);
    }
    delete[] curves;
}

class InterleaveCurveLog : public testing::ReaderTest {};

TEST_F(InterleaveCurveLog, DebugWritesFactorSamplesAndBins) {
    CInterleaveCurve quiet;
    quiet.Init(10, 4);
    Feed(quiet, Series(10, 5));
    EXPECT_TRUE(LogLines().empty());

    CInterleaveCurve curve;
    curve.SetDebug(1);
    curve.Init(10, 4);  // 10 / 2 + 1 = 6
    std::vector<Sample> s;
    for (int i = 0; i < 7; ++i) s.push_back({1000.0 + i, 0.5, 0.25f * i, 0});
    Feed(curve, s);
    const std::vector<std::string> want = {
        "Interleave Factor = 6.00", "Samples = 10", "Points  = 4",
        "1000.000000, 0.000000", "1001.000000, 0.250000", "1002.000000, 0.500000",
        "1003.000000, 0.750000", "1004.000000, 1.000000", "1005.000000, 1.250000",
        "Bin 0 : 1000.00, 1002.50, 1005.00",
        "1006.000000, 1.500000",
        "Bin 2 : 1005.00, 1005.50, 1006.00",
    };
    EXPECT_EQ(LogLines(), want);
}

}  // namespace
}  // namespace trova
