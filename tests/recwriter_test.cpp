// The recording writer, checked by decoding its bytes here (offsets worked out by hand).
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
    for (int i = 0; i < 3; ++i) recs.push_back(makeTrendRecord(f, i, 1000.5 + 0.25 * i, i == 1 ? 0x40 : 0, tag));
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

TEST(RecordingWriterHarmonic, HeaderArraysAndPowerBlock) {
    HarmonicFormat f;
    f.channelCode = 8, f.harmonics = 5, f.recordParts = 2;
    const auto tag = [](int r, HarmonicField fl, int s, int p, int k) {
        return float(int(fl) * 100000 + s * 10000 + p * 1000 + k * 10 + r);
    };
    const Bytes b = harmonicFileBytes(f, {makeHarmonicRecord(f, 0, 50.0, 0, tag), makeHarmonicRecord(f, 1, 51.5, 7, tag)});
    EXPECT_EQ((Bytes{b[1], b[2], b[3]}), (Bytes{8, 3, 2}));  // channels, table entries, power block
    const auto [D, R] = Geometry(b, 4, 3);
    const size_t P = 4, H = 5, L = 8 * P * H + 8 * P + 24, B = 44 + 2 * L;
    ASSERT_EQ(R, B + 3 * 4 * P * H + 2 * 8);  // ends with the last power array
    ASSERT_EQ(b.size(), D + 2 * R);
    for (int n = 0; n < 2; ++n) {
        const size_t r = D + size_t(n) * R;
        EXPECT_EQ(TimeAt(b, r), n ? 51.5 : 50.0);
        EXPECT_EQ((std::vector<int32_t>{At(b, r + 16), At(b, r + 36), At(b, r + 40)}), (std::vector<int32_t>{n ? 7 : 0, 4, 5}));
        for (int s = 0; s < 3; ++s)
            for (size_t i = 0; i < P * H; ++i) {
                const int p = int(i / H), k = int(i % H);
                const size_t set = r + 44 + size_t(s) * L, power = r + B + size_t(s) * (4 * P * H + 8);
                EXPECT_EQ(At<float>(b, power + 4 * i), tag(n, HarmonicField::Power, s, p, k));
                if (s == 2) continue;
                EXPECT_EQ(At<float>(b, set + 4 * i), tag(n, HarmonicField::Voltage, s, p, k));
                EXPECT_EQ(At<float>(b, set + 4 * P * H + 8 + 4 * i), tag(n, HarmonicField::Current, s, p, k));
                EXPECT_EQ(At<float>(b, set + 8 * P * H + 16 + 4 * (i % (2 * P))),  // the pairs (A, B)
                          tag(n, HarmonicField::PhaseValue, s, int(i % (2 * P)) / 2, int(i % 2)));
                EXPECT_EQ(At<float>(b, r + 28 + 4 * size_t(s)), tag(n, HarmonicField::Scalar, s, 0, 0));
            }
    }
}

TEST(RecordingWriterRecording, MembersInNameAndTimeOrderAmongDecoysAndDamagedFiles) {
    RecordingPlan plan;
    plan.kind = Kind::Harmonic;
    plan.harmonic.channelCode = 2, plan.harmonic.harmonics = 4;
    plan.startTime = 3.0e9 + 0.25, plan.interval = 0.5;
    plan.flags = everyKth(4, 0x10, 1);
    plan.add(3);  // meas.001.dat, then 002 to 008
    for (Damage d : {Damage::NoRecords, Damage::TruncatedData, Damage::PaddedData, Damage::ZeroFirstTime,
                     Damage::ReversedTimes, Damage::Empty, Damage::ShortHeader})
        plan.addDamaged(d, d == Damage::ReversedTimes ? 1 : 2);
    plan.add(5, 100.0);                // 009, after a gap
    plan.addNamed("MEAS.010.DAT", 2);  // first in byte order
    for (Decoy d : {Decoy::NoMiddle, Decoy::OtherStem, Decoy::OtherExtension}) plan.addNamed(plan.decoyName(d), 2);
    plan.addRaw("meas.raw.dat", Bytes{1, 2, 3});
    const Recording written = buildRecording(plan);
    const RecordingInfo &info = written.info;
    const auto file = [&](const std::string &name) { return written.contents.at(size_t(info.find(name) - &info.files[0])); };
    std::vector<std::string> names;
    for (const MemberInfo &m : info.table()) {
        names.push_back(m.name);
        const Bytes b = file(m.name);
        const auto [D, R] = Geometry(b, 4, b[2]);
        ASSERT_EQ(b.size(), D + size_t(m.records) * R);
        for (int g = m.firstRecord; g < m.firstRecord + m.records; ++g) {
            const size_t r = D + size_t(g - m.firstRecord) * R;
            EXPECT_EQ(TimeAt(b, r), plan.startTime + (g >= 13 ? 100.0 : 0.0) + 0.5 * g) << g;
            EXPECT_EQ(At(b, r + 16), g % 4 == 1 ? 0x10 : 0) << g;
        }
    }
    EXPECT_EQ(names, (std::vector<std::string>{"MEAS.010.DAT", "meas.001.dat", "meas.009.dat"}));
    // That the damaged files and decoys are what their names say, the file
    // table's suite sees: each must be left out there.
}
