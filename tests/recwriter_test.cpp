// The recording writer's trend layout, checked by decoding its bytes here
// (offsets worked out by hand), for what only the writer decides: the size
// table split into parts with a trailing part, header padding, bit 3 of the
// statistics mask. That the harmonic layout, members, times and flags reach
// the readers as planned, the file table's and the readers' suites see.
#include "recording_writer.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace trova::rec;

namespace {

template <class T = int32_t>
T At(const Bytes &b, size_t at) {  // big-endian
    std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> u = 0;
    for (size_t i = 0; i < sizeof(T); ++i) u = decltype(u)(u << 8 | b.at(at + i));
    T v;
    std::memcpy(&v, &u, sizeof v);
    return v;
}
double TimeAt(const Bytes &b, size_t at) { return At<double>(b, at) + At<double>(b, at + 8); }

// D, and R as the sum of the other entries, of a size table of `count` entries at `at`.
std::pair<size_t, size_t> Geometry(const Bytes &b, size_t at, int count) {
    size_t r = 0;
    for (int i = 1; i < count; ++i) r += size_t(At(b, at + 4 * size_t(i)));
    return {size_t(At(b, at)), r};
}

}  // namespace

TEST(RecordingWriterTrend, HeaderSizeTableTimesFlagsAndValues) {
    TrendFormat f;
    f.channels = 5, f.statMask = 0x0D, f.scalars = 2, f.perChannel = 4, f.refQuantity = 3;
    f.recordParts = 3, f.extraRecordBytes = 5, f.headerPadding = 7;
    const auto tag = [](int r, int blk, int q, int c) { return float(r * 1000 + blk * 100 + q * 10 + c); };
    std::vector<TrendRecord> recs;
    for (int i = 0; i < 3; ++i) recs.push_back(makeTrendRecord(f, i, 1000.5 + 0.25 * i, everyKth(3, 0x40, 1)(i), tag));
    const Bytes b = trendFileBytes(f, recs);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 6), (Bytes{0, 5, 0x0D, 2, 4, 3}));
    ASSERT_EQ(b[15], 5);  // D, the 200 bytes of a record's values in three parts, the trailing part
    EXPECT_EQ(std::vector<int32_t>({At(b, 16), At(b, 20), At(b, 24), At(b, 28), At(b, 32)}),
              std::vector<int32_t>({16 + 4 * 5 + 7, 66, 66, 68, 5}));
    const size_t block = 2 + 5 * 4;  // floats of a block; bit 3 of the mask marks none
    const auto [D, R] = Geometry(b, 16, 5);
    ASSERT_EQ(R, 24 + 2 * 4 * block + 5);
    ASSERT_EQ(b.size(), D + 3 * R);
    EXPECT_EQ(Bytes(b.begin() + 36, b.begin() + long(D)), Bytes(7, 0));
    for (size_t n = 0; n < 3; ++n) {
        const size_t r = D + n * R;
        EXPECT_EQ(At<double>(b, r), n < 2 ? 1000.0 : 1001.0);  // whole seconds, then the fraction
        EXPECT_EQ(TimeAt(b, r), 1000.5 + 0.25 * double(n));
        EXPECT_EQ(At(b, r + 16), n == 1 ? 0x40 : 0);
        for (int blk = 0; blk < 2; ++blk)
            for (int q = 0; q < 6; ++q)
                for (int c = 0; c < (q < 2 ? 1 : 5); ++c)
                    EXPECT_EQ(At<float>(b, r + 24 + 4 * (size_t(q + c * 4) + size_t(blk) * block)), tag(int(n), blk, q, c));
    }
    EXPECT_EQ(size_t(f.valueOffset(1, 3, 2)), 24 + 4 * (3 + 2 * 4 + block));
}
