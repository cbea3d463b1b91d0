// Tests of the recording writer. Every check decodes the written bytes by
// hand (big-endian, offsets computed here) instead of asking the writer.
#include "recording_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;
using namespace trova::rec;

namespace {

std::uint32_t u32(const Bytes& b, std::size_t o) {
    return std::uint32_t(b.at(o)) << 24 | std::uint32_t(b.at(o + 1)) << 16 | std::uint32_t(b.at(o + 2)) << 8 |
           std::uint32_t(b.at(o + 3));
}
std::int32_t i32(const Bytes& b, std::size_t o) { return static_cast<std::int32_t>(u32(b, o)); }
float f32(const Bytes& b, std::size_t o) {
    const std::uint32_t u = u32(b, o);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}
double f64(const Bytes& b, std::size_t o) {
    const std::uint64_t u = std::uint64_t(u32(b, o)) << 32 | u32(b, o + 4);
    double d;
    std::memcpy(&d, &u, 8);
    return d;
}
double timeAt(const Bytes& b, std::size_t rec) { return f64(b, rec) + f64(b, rec + 8); }

// Header length and record length from a size table at `at` with `count` entries.
void geometry(const Bytes& b, std::size_t at, int count, std::size_t& D, std::size_t& R) {
    D = static_cast<std::size_t>(i32(b, at));
    R = 0;
    for (int i = 1; i < count; ++i) R += static_cast<std::size_t>(i32(b, at + 4 * static_cast<std::size_t>(i)));
}

Bytes readFile(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

class RecordingWriterRecording : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/recwriter_test_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
};

}  // namespace

TEST(RecordingWriterEncoding, BigEndianFields) {
    std::uint8_t b[8];
    putBE32(b, 0x01020304);
    EXPECT_EQ(Bytes(b, b + 4), (Bytes{1, 2, 3, 4}));
    putBE32(b, -2);
    EXPECT_EQ(Bytes(b, b + 4), (Bytes{0xFF, 0xFF, 0xFF, 0xFE}));
    putBEFloat(b, -1.5f);  // sign 1, exponent 127, fraction .5
    EXPECT_EQ(Bytes(b, b + 4), (Bytes{0xBF, 0xC0, 0x00, 0x00}));
    putBEDouble(b, 100.25);  // 1.56640625 * 2^6
    EXPECT_EQ(Bytes(b, b + 8), (Bytes{0x40, 0x59, 0x10, 0, 0, 0, 0, 0}));
}

TEST(RecordingWriterTrend, HeaderSizeTableAndGeometry) {
    TrendFormat plain;  // N 3, mask 7, S 2, P 4: one part of 24 + 3*4*14 bytes
    Bytes a = trendFileBytes(plain, {makeTrendRecord(plain, 0, 5.0, 0, SeededValues(1))});
    std::size_t D, R;
    ASSERT_EQ(a[15], 2);
    geometry(a, 16, a[15], D, R);
    EXPECT_EQ(D, 24u);
    EXPECT_EQ(R, 24u + 3 * 4 * (2 + 3 * 4));
    EXPECT_EQ(a.size(), D + R);

    TrendFormat f;
    f.channels = 5, f.statMask = 0x0D, f.scalars = 2, f.perChannel = 4, f.refQuantity = 3;
    f.recordParts = 3, f.extraRecordBytes = 5, f.headerPadding = 7;
    std::vector<TrendRecord> recs;
    for (int i = 0; i < 4; ++i) recs.push_back(makeTrendRecord(f, i, 10.0 + i, 0, SeededValues(1)));
    const Bytes b = trendFileBytes(f, recs);
    EXPECT_EQ((Bytes{b[1], b[2], b[3], b[4], b[5]}), (Bytes{5, 0x0D, 2, 4, 3}));
    ASSERT_EQ(b[15], 5);  // D, three value parts, the trailing part
    geometry(b, 16, b[15], D, R);
    const std::size_t valuePart = 24 + 2 * 4 * (2 + 5 * 4);  // bit 3 of the mask is not a block
    EXPECT_EQ(D, 16u + 4 * 5 + 7);
    EXPECT_EQ(R, valuePart + 5);
    EXPECT_EQ(static_cast<std::size_t>(i32(b, 32)), 5u);
    EXPECT_EQ(b.size(), D + 4 * R);
    EXPECT_TRUE(std::all_of(b.begin() + 36, b.begin() + static_cast<long>(D), [](std::uint8_t x) { return x == 0; }));
    EXPECT_EQ(static_cast<std::size_t>(f.headerLength()), D);
    EXPECT_EQ(static_cast<std::size_t>(f.recordLength()), R);
}

TEST(RecordingWriterTrend, RecordTimesFlagsAndValuePositions) {
    TrendFormat f;
    f.channels = 4, f.statMask = 0x06, f.scalars = 2, f.perChannel = 3, f.recordParts = 2, f.headerPadding = 4;
    auto tag = [](int r, int b, int q, int c) { return float(r * 1000 + b * 100 + q * 10 + c); };
    std::vector<TrendRecord> recs;
    for (int i = 0; i < 3; ++i) recs.push_back(makeTrendRecord(f, i, 1000.5 + 0.25 * i, i == 1 ? 0x40 : 0, tag));
    const Bytes b = trendFileBytes(f, recs);
    std::size_t D, R;
    geometry(b, 16, b[15], D, R);
    const int S = 2, N = 4, P = 3;
    const std::size_t L = 4 * (S + N * P);
    for (std::size_t n = 0; n < 3; ++n) {
        const std::size_t r = D + n * R;
        EXPECT_EQ(timeAt(b, r), 1000.5 + 0.25 * double(n));
        EXPECT_EQ(f64(b, r), n < 2 ? 1000.0 : 1001.0);  // whole seconds in t1, fraction in t2
        EXPECT_EQ(i32(b, r + 16), n == 1 ? 0x40 : 0);
        EXPECT_EQ(i32(b, r + 20), 0);
        for (int blk = 0; blk < 2; ++blk)
            for (int q = 0; q < S + P; ++q)
                for (int c = 0; c < (q < S ? 1 : N); ++c) {
                    const std::size_t off = 24 + 4 * std::size_t(q) + std::size_t(blk) * L + 4 * std::size_t(c * P);
                    EXPECT_EQ(f32(b, r + off), tag(int(n), blk, q, c)) << n << " " << blk << " " << q << " " << c;
                    EXPECT_EQ(static_cast<std::size_t>(f.valueOffset(blk, q, c)), off);
                }
    }
    recs[0].values.pop_back();
    EXPECT_THROW(trendFileBytes(f, recs), std::invalid_argument);
    EXPECT_THROW(f.valueIndex(0, 0, 1), std::invalid_argument);  // a scalar has channel 0 only
}

TEST(RecordingWriterHarmonic, LayoutFieldsAndHarmonicCount) {
    HarmonicFormat big;  // channel code 6: three phases, H 50
    EXPECT_EQ(big.setLength(), 1248);
    EXPECT_EQ(big.powerStart(), 2540);
    EXPECT_EQ(big.currentOffset(1, 2, 5), 2320);
    EXPECT_EQ(big.phaseValueOffset(0, 2, 0), 1276);
    EXPECT_EQ(big.powerOffset(2, 0, 0), 3756);
    EXPECT_EQ(big.recordLength(), 4356);

    HarmonicFormat f;
    f.channelCode = 8, f.harmonics = 5, f.recordParts = 2;
    auto tag = [](int r, HarmonicField fl, int s, int p, int k) {
        return float(int(fl) * 100000 + s * 10000 + p * 1000 + k * 10 + r);
    };
    const Bytes b = harmonicFileBytes(f, {makeHarmonicRecord(f, 0, 50.0, 0, tag), makeHarmonicRecord(f, 1, 51.5, 7, tag)});
    EXPECT_EQ(b[1], 8);
    EXPECT_EQ(b[3], 2);
    ASSERT_EQ(b[2], 3);
    std::size_t D, R;
    geometry(b, 4, b[2], D, R);
    const std::size_t P = 4, H = 5, L = 8 * P * H + 8 * P + 24, B = 44 + 2 * L;
    EXPECT_EQ(R, B + 3 * 4 * P * H + 2 * 8);  // ends with the last power array
    ASSERT_EQ(b.size(), D + 2 * R);
    for (std::size_t n = 0; n < 2; ++n) {
        const std::size_t r = D + n * R;
        const int rn = int(n);
        EXPECT_EQ(timeAt(b, r), n ? 51.5 : 50.0);
        EXPECT_EQ(i32(b, r + 16), n ? 7 : 0);
        EXPECT_EQ(i32(b, r + 40), int(H));
        EXPECT_EQ(i32(b, r + 36), int(P));
        for (std::size_t s = 0; s < 2; ++s) {
            const std::size_t S0 = r + 44 + s * L;
            EXPECT_EQ(f32(b, r + 28 + 4 * s), tag(rn, HarmonicField::Scalar, int(s), 0, 0));
            for (std::size_t p = 0; p < P; ++p) {
                for (std::size_t k = 0; k < H; ++k) {
                    EXPECT_EQ(f32(b, S0 + 4 * (p * H + k)), tag(rn, HarmonicField::Voltage, int(s), int(p), int(k)));
                    EXPECT_EQ(f32(b, S0 + 4 * P * H + 8 + 4 * (p * H + k)),
                              tag(rn, HarmonicField::Current, int(s), int(p), int(k)));
                }
                for (std::size_t w = 0; w < 2; ++w)
                    EXPECT_EQ(f32(b, S0 + 8 * P * H + 16 + 8 * p + 4 * w),
                              tag(rn, HarmonicField::PhaseValue, int(s), int(p), int(w)));
            }
        }
        for (std::size_t j = 0; j < 3; ++j)
            for (std::size_t p = 0; p < P; ++p)
                for (std::size_t k = 0; k < H; ++k)
                    EXPECT_EQ(f32(b, r + B + j * (4 * P * H + 8) + 4 * (p * H + k)),
                              tag(rn, HarmonicField::Power, int(j), int(p), int(k)));
    }

    HarmonicFormat single;  // unknown channel code: one phase; no power block
    single.channelCode = 5, single.harmonics = 7, single.powerBlock = false, single.extraFlags = 3;
    const Bytes c = harmonicFileBytes(single, {makeHarmonicRecord(single, 0, 9.0, 0, SeededValues(2))});
    geometry(c, 4, c[2], D, R);
    EXPECT_EQ(c[3], 1);
    EXPECT_EQ(R, 44u + 2 * (8 * 7 + 8 + 24));
    EXPECT_EQ(i32(c, D + 40), 7);
}

TEST_F(RecordingWriterRecording, MembersInTimeOrderWithGapsAndFlags) {
    RecordingPlan plan;
    plan.startTime = 3.0e9 + 0.25, plan.interval = 0.5;
    plan.flags = everyKth(4, 0x10, 1);
    plan.add(3);
    plan.add(5, 100.0);
    plan.add(2);
    const RecordingInfo info = writeRecording(dir.string(), plan);
    const auto table = info.table();
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(info.totalRecords(), 10u);
    int g = 0;
    double previous = 0.0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(table[i].name, "meas.00" + std::to_string(i + 1) + ".dat");
        const Bytes b = readFile(dir / table[i].name);
        std::size_t D, R;
        geometry(b, 16, b[15], D, R);
        EXPECT_EQ(D, std::size_t(table[i].headerLength));
        EXPECT_EQ(R, std::size_t(table[i].recordLength));
        ASSERT_EQ((b.size() - D) % R, 0u);
        ASSERT_EQ(int((b.size() - D) / R), table[i].records);
        EXPECT_EQ(timeAt(b, D), table[i].firstTime);
        EXPECT_EQ(timeAt(b, D + (std::size_t(table[i].records) - 1) * R), table[i].lastTime);
        for (int n = 0; n < table[i].records; ++n, ++g) {
            const std::size_t r = D + std::size_t(n) * R;
            const double t = timeAt(b, r);
            if (g > 0) {
                EXPECT_EQ(t - previous, (g == 3 ? 100.5 : 0.5)) << g;
            }
            previous = t;
            EXPECT_EQ(i32(b, r + 16), g % 4 == 1 ? 0x10 : 0) << g;
        }
    }
    EXPECT_EQ(timeAt(readFile(dir / "meas.001.dat"), 24), plan.startTime);
}

TEST_F(RecordingWriterRecording, DamagedDecoyAndRawMembers) {
    RecordingPlan plan;
    plan.kind = Kind::Harmonic;
    plan.harmonic.channelCode = 2, plan.harmonic.harmonics = 4;
    plan.add(3);                                    // meas.001.dat
    plan.addDamaged(Damage::NoRecords);             // 002
    plan.addDamaged(Damage::TruncatedData, 3);      // 003
    plan.addDamaged(Damage::PaddedData, 2);         // 004
    plan.addDamaged(Damage::ZeroFirstTime, 2);      // 005
    plan.addDamaged(Damage::ReversedTimes, 1);      // 006, widened to 2 records
    plan.addDamaged(Damage::Empty);                 // 007
    plan.addDamaged(Damage::ShortHeader);           // 008
    plan.add(2);                                    // 009
    plan.addNamed("MEAS.010.DAT", 2);               // sorts first byte-wise
    for (Decoy d : {Decoy::NoMiddle, Decoy::OtherStem, Decoy::OtherExtension}) plan.addNamed(plan.decoyName(d), 2);
    plan.addRaw("meas.raw.dat", Bytes{1, 2, 3});
    const RecordingInfo info = writeRecording(dir.string(), plan);
    const Recording memory = buildRecording(plan);

    std::vector<std::string> onDisk;
    for (const auto& e : fs::directory_iterator(dir)) onDisk.push_back(e.path().filename().string());
    ASSERT_EQ(onDisk.size(), memory.info.files.size());
    for (std::size_t i = 0; i < memory.info.files.size(); ++i)
        EXPECT_EQ(readFile(dir / memory.info.files[i].name), memory.contents[i]) << memory.info.files[i].name;

    std::vector<std::string> tableNames;
    double previousLast = 0.0;
    for (const auto& m : info.table()) {
        tableNames.push_back(m.name);
        const Bytes b = readFile(dir / m.name);
        std::size_t D, R;
        geometry(b, 4, b[2], D, R);
        EXPECT_GT(m.firstTime, previousLast) << m.name;
        EXPECT_EQ(timeAt(b, D), m.firstTime);
        previousLast = m.lastTime;
        for (std::size_t r = D; r < b.size(); r += R) EXPECT_EQ(i32(b, r + 40), 4);
    }
    EXPECT_EQ(tableNames, (std::vector<std::string>{"MEAS.010.DAT", "meas.001.dat", "meas.009.dat"}));
    EXPECT_EQ(info.totalRecords(), 7u);

    auto file = [&](const std::string& name) {
        const MemberInfo* m = info.find(name);
        EXPECT_NE(m, nullptr) << name;
        EXPECT_FALSE(m && m->inTable()) << name;
        return readFile(dir / name);
    };
    auto dataLength = [](const Bytes& b) { return b.size() - std::size_t(i32(b, 4)); };
    const std::size_t R = std::size_t(plan.harmonic.recordLength());
    EXPECT_EQ(dataLength(file("meas.002.dat")), 0u);
    const Bytes truncated = file("meas.003.dat"), padded = file("meas.004.dat");
    EXPECT_NE(dataLength(truncated) % R, 0u);
    EXPECT_LT(dataLength(truncated), 3 * R);
    EXPECT_NE(dataLength(padded) % R, 0u);
    EXPECT_GT(dataLength(padded), 2 * R);
    const Bytes zero = file("meas.005.dat"), reversed = file("meas.006.dat");
    EXPECT_EQ(timeAt(zero, std::size_t(i32(zero, 4))), 0.0);
    EXPECT_GT(timeAt(reversed, std::size_t(i32(reversed, 4))), timeAt(reversed, reversed.size() - R));
    EXPECT_TRUE(file("meas.007.dat").empty());
    const Bytes shortHeader = file("meas.008.dat");
    ASSERT_GT(shortHeader.size(), 2u);
    EXPECT_LT(shortHeader.size(), 4u + 4 * shortHeader[2]);
    EXPECT_EQ(file("meas.raw.dat"), (Bytes{1, 2, 3}));
    for (const char* decoy : {"meas.dat", "measx.001.dat", "meas.001.bak"}) {
        ASSERT_NE(info.find(decoy), nullptr) << decoy;
        EXPECT_FALSE(info.find(decoy)->member) << decoy;
        EXPECT_GT(info.find(decoy)->firstTime, previousLast) << decoy;  // timed after the members
    }
    EXPECT_TRUE(matchesRecording("meas..dat", "meas", ".dat"));
    EXPECT_TRUE(matchesRecording("Meas.x.Dat", "meas", ".dat"));
    EXPECT_FALSE(matchesRecording("meas.dat", "meas", ".dat"));
}

TEST(RecordingWriterPlan, RejectsInconsistentPlans) {
    RecordingPlan dup;
    dup.add(1);
    dup.addNamed("MEAS.001.DAT", 1);
    EXPECT_THROW(buildRecording(dup), std::invalid_argument);
    RecordingPlan cut;
    cut.addDamaged(Damage::TruncatedData, 3).damageBytes = cut.trend.recordLength();
    EXPECT_THROW(buildRecording(cut), std::invalid_argument);
}

TEST(RecordingWriterGenerator, SeededDeterminism) {
    auto bytes = [](std::uint64_t seed, Kind kind) {
        RecordingPlan plan;
        plan.kind = kind, plan.seed = seed;
        plan.add(4);
        plan.add(3);
        return buildRecording(plan).contents;
    };
    for (Kind k : {Kind::Trend, Kind::Harmonic}) {
        EXPECT_EQ(bytes(7, k), bytes(7, k));
        EXPECT_NE(bytes(7, k), bytes(8, k));
    }
    const SeededValues v(5, -1.0f, 1.0f);
    std::vector<float> forward, backward;
    for (int i = 0; i < 64; ++i) forward.push_back(v(i, 0, i % 3, 1));
    for (int i = 63; i >= 0; --i) backward.insert(backward.begin(), v(i, 0, i % 3, 1));
    EXPECT_EQ(forward, backward);  // values do not depend on call order
    EXPECT_TRUE(std::all_of(forward.begin(), forward.end(), [](float x) { return x >= -1.0f && x < 1.0f; }));
    std::sort(forward.begin(), forward.end());
    EXPECT_EQ(std::unique(forward.begin(), forward.end()), forward.end());
    SplitMix64 a(3), b(3), c(4);
    const std::uint64_t a1 = a.next();
    EXPECT_EQ(a1, b.next());
    EXPECT_NE(a1, c.next());
    EXPECT_NE(a1, a.next());
}
