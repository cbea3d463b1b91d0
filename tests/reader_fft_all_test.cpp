// Reader_FFT_ALL_Harmonics_XT1, _XT2 and _XT3 end to end against the model of
// tests/support: whole spectra per phase, position j of point i at j·100 + i.
// XT1 takes a point's time from the phase-0 minimum at FirstHarmonic; XT3
// hands the values of XT2 to one interleave curve per phase and position.
#include <gtest/gtest.h>

#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;
using R = Reader;

class FftAllTest : public ReaderTest {};

TEST_F(FftAllTest, EveryCodeBothValueSetsAndJoin) {
    const rec::RecordingPlan plan = EdgePlan(6, 12, true, {125, 125});
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 249, plan.flags);
    for (R reader : {R::kAll1, R::kAll2, R::kAll3}) {
        for (int quantity = 0; quantity <= 11; ++quantity) {
            for (int minMax : {1, 0}) {
                for (int join : {0, 1}) {
                    Call call{reader, quantity, minMax};
                    call.join = join;
                    call.firstHarmonic = reader == R::kAll1 ? 4 : 1;
                    call.rows = 12;
                    SCOPED_TRACE(call.Name());
                    const Corrected c = Correct(kSpectrumWithMinMaxZero, 10, quantity, minMax);
                    // 250 records: groups of 3; ALL3: bins of 6, reported as 3.
                    const Expect e{c, 3, reader == R::kAll3 ? 250 : 3, 12};
                    const Call want = Check(call, PathOf(info, 1), plan, records, e);
                    EXPECT_EQ(want.out.result, reader == R::kAll1 ? 82 : 84);
                }
            }
        }
    }
}

// A reference beyond the record leaves the relative codes out; the others
// do not read it.
TEST_F(FftAllTest, ReferencesBeyondTheRecord) {
    const rec::RecordingPlan plan = EdgePlan(6, 6, true, {5});
    const rec::RecordingInfo info = Write(plan);
    struct Case {
        R reader;
        int quantity, minMax, firstHarmonic;
        Corrected c;
        bool read;
    };
    const Case cases[] = {
        {R::kAll1, 9, 1, 1 << 24, {9, 0, 0}, false},  {R::kAll2, 6, 1, 1 << 24, {6, 0, 0}, false},
        {R::kAll2, 10, 0, 1 << 24, {2, 1, 0}, true},  {R::kAll1, 2, 1, -3, {2, 0, 0}, true},
    };
    for (const Case &k : cases) {
        Call call{k.reader, k.quantity, k.minMax};
        call.firstHarmonic = k.firstHarmonic;
        call.rows = 6;
        SCOPED_TRACE(call.Name() + " reference " + std::to_string(k.firstHarmonic));
        Check(call, PathOf(info, 0), plan, ModelRecords(info, 0, k.read ? 4 : -1, plan.flags),
              {k.c, 1, 1, 6});
    }
}

}  // namespace
}  // namespace trova
