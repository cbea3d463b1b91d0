// HarmonicRecordLayout: the offsets of a harmonic record, checked against
// worked examples and against the bytes the recording writer puts there.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "files/big_endian.h"
#include "harmonics/harmonic_layout.h"
#include "recording_writer.h"

namespace trova {
namespace {

TEST(HarmonicLayoutTest, PhaseCountFromTheChannelCode) {
    EXPECT_EQ(HarmonicPhaseCount(2), 1);
    EXPECT_EQ(HarmonicPhaseCount(6), 3);
    EXPECT_EQ(HarmonicPhaseCount(8), 4);
    for (uint32_t other : {0u, 1u, 3u, 4u, 5u, 7u, 9u, 0xFFFFFFFAu}) {
        EXPECT_EQ(HarmonicPhaseCount(other), 1) << other;
    }
}

TEST(HarmonicLayoutTest, ThreePhasesFiftyHarmonics) {
    const HarmonicRecordLayout layout(3, 0, 4356, 50);
    EXPECT_EQ(layout.SetLength(), 1248);
    EXPECT_EQ(layout.PowerBlockStart(), 2540);
    EXPECT_EQ(layout.Voltage(1, 0, 0), 1292);  // value set 1 starts here
    EXPECT_EQ(layout.Current(1, 2, 5), 2320);
    EXPECT_EQ(layout.Voltage(0, 0, 0), 44);
    EXPECT_EQ(layout.Current(0, 0, 0), 652);
    EXPECT_EQ(layout.PhaseValue(0, 0, 0), 1260);
    EXPECT_EQ(layout.PhaseValue(0, 0, 1), 1264);
    EXPECT_EQ(layout.PhaseValue(0, 2, 0), 1276);
    EXPECT_EQ(layout.PowerBlock(0, 0, 0), 2540);
    EXPECT_EQ(layout.PowerBlock(1, 0, 0), 3148);
    EXPECT_EQ(layout.PowerBlock(2, 0, 0), 3756);
    EXPECT_EQ(layout.PowerBlock(2, 2, 49) + 4, 4356);  // array 2 ends the record
    EXPECT_TRUE(layout.FieldInRecord(4352));
    EXPECT_FALSE(layout.FieldInRecord(4353));
    EXPECT_FALSE(layout.FieldInRecord(-1));
    // Neighbouring phases and pairs.
    EXPECT_EQ(layout.Voltage(0, 1, 7) - layout.Voltage(0, 0, 7), 4 * 50);
    EXPECT_EQ(layout.PowerBlock(1, 2, 3) - layout.PowerBlock(1, 1, 3), 4 * 50);
    EXPECT_EQ(layout.PhaseValue(1, 3, 1) - layout.PhaseValue(1, 2, 1), 8);
    EXPECT_EQ(HarmonicRecordLayout::Scalar(0), 28);
    EXPECT_EQ(HarmonicRecordLayout::Scalar(1), 32);
}

TEST(HarmonicLayoutTest, SinglePhase) {
    for (int32_t H : {1, 40, 63}) {
        const HarmonicRecordLayout layout(1, 0, 0, H);
        EXPECT_EQ(layout.SetLength(), 8 * H + 32);
        EXPECT_EQ(layout.PowerBlockStart(), 16 * H + 108);
    }
}

TEST(HarmonicLayoutTest, FileOffsetsAddTheRecordStart) {
    FileInfoRecord file{};
    file.headerSize = 20;
    file.recordSize = 3000;
    file.harmonicCount = 25;
    const HarmonicRecordLayout layout = HarmonicRecordLayout::ForFile(file, 4);
    EXPECT_EQ(layout.Harmonics(), 25);
    EXPECT_EQ(layout.Phases(), 4);
    EXPECT_EQ(layout.RecordStart(0), 20);
    EXPECT_EQ(layout.RecordStart(7), 20 + 7 * 3000);
    EXPECT_EQ(layout.TimeOffset(3), 9020);
    EXPECT_EQ(layout.FlagOffset(3), 9036);
    EXPECT_EQ(layout.ScalarOffset(3, 1), 9052);
    EXPECT_EQ(layout.VoltageOffset(3, 1, 2, 4), 9020 + layout.Voltage(1, 2, 4));
    EXPECT_EQ(layout.CurrentOffset(3, 0, 3, 24), 9020 + layout.Current(0, 3, 24));
    EXPECT_EQ(layout.PhaseValueOffset(3, 1, 3, 1), 9020 + layout.PhaseValue(1, 3, 1));
    EXPECT_EQ(layout.PowerBlockOffset(3, 2, 1, 0), 9020 + layout.PowerBlock(2, 1, 0));
}

// Every field, read at the layout's offset from a file the writer made,
// holds the value the writer was given for it.
TEST(HarmonicLayoutTest, AgreesWithTheWrittenRecords) {
    for (int channelCode : {2, 6, 8}) {
        rec::HarmonicFormat format;
        format.channelCode = channelCode;
        format.harmonics = 7;
        const int P = format.phases();
        const auto value = [](int record, rec::HarmonicField field, int set, int phase, int index) {
            return static_cast<float>(record * 100000 + static_cast<int>(field) * 10000 +
                                      set * 1000 + phase * 100 + index);
        };
        std::vector<rec::HarmonicRecord> records;
        for (int n = 0; n < 3; ++n) {
            records.push_back(rec::makeHarmonicRecord(format, n, 1000.0 + n, n, value));
        }
        const rec::Bytes bytes = rec::harmonicFileBytes(format, records);
        const HarmonicRecordLayout layout(P, format.headerLength(), format.recordLength(), 7);
        ASSERT_EQ(layout.RecordStart(3), static_cast<int64_t>(bytes.size()));
        const uint8_t *data = bytes.data();
        for (int n = 0; n < 3; ++n) {
            EXPECT_EQ(ReadBEDouble(data, layout.TimeOffset(n)) +
                          ReadBEDouble(data, layout.TimeOffset(n) + 8),
                      1000.0 + n);
            EXPECT_EQ(ReadBEInt32(data, layout.FlagOffset(n)), n);
            EXPECT_EQ(ReadBEInt32(data, layout.RecordStart(n) + HarmonicRecordLayout::kHarmonicCount),
                      7);
            for (int s = 0; s < 2; ++s) {
                EXPECT_EQ(ReadBEFloat(data, layout.ScalarOffset(n, s)),
                          value(n, rec::HarmonicField::Scalar, s, 0, 0));
                for (int p = 0; p < P; ++p) {
                    for (int k = 0; k < 7; ++k) {
                        EXPECT_EQ(ReadBEFloat(data, layout.VoltageOffset(n, s, p, k)),
                                  value(n, rec::HarmonicField::Voltage, s, p, k));
                        EXPECT_EQ(ReadBEFloat(data, layout.CurrentOffset(n, s, p, k)),
                                  value(n, rec::HarmonicField::Current, s, p, k));
                    }
                    for (int which = 0; which < 2; ++which) {
                        EXPECT_EQ(ReadBEFloat(data, layout.PhaseValueOffset(n, s, p, which)),
                                  value(n, rec::HarmonicField::PhaseValue, s, p, which));
                    }
                }
            }
            for (int j = 0; j < 3; ++j) {
                for (int p = 0; p < P; ++p) {
                    for (int k = 0; k < 7; ++k) {
                        EXPECT_EQ(ReadBEFloat(data, layout.PowerBlockOffset(n, j, p, k)),
                                  value(n, rec::HarmonicField::Power, j, p, k));
                    }
                }
            }
        }
        // The last power value ends the record.
        EXPECT_TRUE(layout.FieldInRecord(layout.PowerBlock(2, P - 1, 6)));
        EXPECT_FALSE(layout.FieldInRecord(layout.PowerBlock(2, P - 1, 6) + 1));
    }
}

// Counts and positions from damaged files or callers do not wrap around:
// what lies outside the record is recognised as outside.
TEST(HarmonicLayoutTest, ExtremeCountsAndPositionsStayOutsideTheRecord) {
    constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    const HarmonicRecordLayout huge(4, 0, kMax, kMax);
    EXPECT_FALSE(huge.FieldInRecord(huge.PowerBlock(0, 0, 0)));
    EXPECT_FALSE(huge.FieldInRecord(huge.Current(1, 3, kMax)));
    EXPECT_TRUE(huge.FieldInRecord(huge.Voltage(0, 0, 0)));

    const HarmonicRecordLayout negative(3, 0, 4000, -50);
    EXPECT_FALSE(negative.FieldInRecord(negative.Voltage(0, 2, 0)));
    EXPECT_FALSE(negative.FieldInRecord(negative.Voltage(1, 0, 0)));

    const HarmonicRecordLayout normal(3, 0, 4356, 50);
    EXPECT_FALSE(normal.FieldInRecord(normal.Voltage(0, 0, kMin)));
    EXPECT_FALSE(normal.FieldInRecord(normal.PowerBlock(0, 0, kMax)));
    // A position beyond H still has its place: in the next phase's values.
    EXPECT_EQ(normal.Voltage(0, 0, 50), normal.Voltage(0, 1, 0));
}

}  // namespace
}  // namespace trova
