// Reader_FFT_XT3 end to end: one interleave curve per phase fed with the
// stored-power reading and the distortion codes; records outside the time
// bounds close the bins.
#include <gtest/gtest.h>

#include <cmath>

#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;
using R = Reader;

class FftXt3Test : public ReaderTest {};

// H is 50: the distortion codes summing up to position 50 read on into the
// next phase and, after the last phase, into the head after the array.
TEST_F(FftXt3Test, EveryCodeBothValueSets) {
    const rec::RecordingPlan plan = EdgePlan(6, 50, true, {25, 25});
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 49, plan.flags);
    for (int quantity = 0; quantity <= 18; ++quantity) {
        for (int minMax : {1, 0}) {
            Call call{R::kXt3, quantity, minMax};
            call.join = 1;  // no effect
            SCOPED_TRACE(call.Name());
            const Corrected c = Correct(kTrendWithMinMaxZero, 17, quantity, minMax);
            // 50 samples, 16 points: bins of 8, reported as 4.
            EXPECT_EQ(Check(call, PathOf(info, 1), plan, records, {c, 4, 50}).out.result, 14);
        }
    }
    // Two positions per phase, no power block: position 40 lies past the record.
    const rec::RecordingPlan tiny = EdgePlan(2, 2, false, {4});
    const rec::RecordingInfo tinyInfo = Write(tiny);
    for (int quantity = 14; quantity <= 17; ++quantity) {
        Check(Call{R::kXt3, quantity}, PathOf(tinyInfo, 0), tiny, {}, {{quantity, 0, 0}, 0, 4});
    }
}

// Records 8 and 12 of the first file carry times before TStart and after
// TStop; the stop record (31) lies after TStop too. Code 1 is not tested
// against the bounds.
TEST_F(FftXt3Test, RecordsOutsideTheBoundsCloseTheBins) {
    const rec::RecordingPlan plan = EdgePlan(6, 8, true, {20, 20});
    rec::Recording recording = rec::buildRecording(plan);
    const rec::MemberInfo &first = recording.info.files[0];
    const double tStart = first.firstTime + 3.0, tStop = recording.info.files[1].firstTime + 10.5;
    std::vector<ModelRecord> all = ModelRecords(recording.info, 0, 39, plan.flags);
    for (int r : {8, 12}) {
        all[size_t(r)].t1 = std::floor(r == 8 ? tStart - 50.0 : tStop + 5000.0);
        const size_t at = size_t(first.headerLength) + size_t(r) * size_t(first.recordLength);
        rec::putBEDouble(&recording.contents[0][at], all[size_t(r)].t1);
    }
    WriteBuilt(recording, dir_.path());
    const std::string path = recording.info.path(first);
    std::vector<ModelRecord> window(all.begin() + 3, all.begin() + 32);
    for (ModelRecord &r : window) r.outside = r.t1 + r.t2 < tStart || r.t1 + r.t2 > tStop;
    for (int points : {8, 100}) {
        for (int quantity : {2, 1}) {
            Call call{R::kXt3, quantity};
            call.points = points;
            call.tStart = tStart;
            call.tStop = tStop;
            SCOPED_TRACE(call.Name() + " points " + std::to_string(points));
            const Call want = Check(call, path, plan, window, {{quantity, 0, 0}, points == 8 ? 4 : 0, 29});
            EXPECT_EQ(want.out.result, points == 8 ? 8 : quantity == 2 ? 26 : 29);
        }
    }
    Call exact{R::kXt3};  // the stop record at exactly TStop lies inside the bounds
    exact.points = 100, exact.tStart = tStart, exact.tStop = recording.info.files[1].firstTime + 10.0;
    std::vector<ModelRecord> upToStop(window.begin(), window.end() - 1);
    Check(exact, path, plan, upToStop, {{2, 0, 0}, 0, 28});
    Call open{R::kXt3};  // a TStop at or after the end is no bound
    open.points = 100;
    open.tStop = tStop + 500.0;
    Check(open, path, plan, all, {{2, 0, 0}, 0, 40});
}

}  // namespace
}  // namespace trova
