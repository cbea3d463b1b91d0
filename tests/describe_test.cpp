// TrovaDescribeRecording: what it reports is what the recording writer
// wrote. That it leaves the readers' cached table, log and dialogs alone is
// checked through the Python package, which relies on it.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/test_support.h"
#include "trova/describe.h"

namespace trova {
namespace {

class Describe : public testing::ReaderTest {
protected:
    int Run(const std::string &path, int variant, double TStart = -1, double TStop = -1, int capacity = 16) {
        files_.assign(16, TrovaFileInfo{});
        return TrovaDescribeRecording(path.c_str(), variant, TStart, TStop, &info_, files_.data(), capacity);
    }
    TrovaRecordingInfo info_{};
    std::vector<TrovaFileInfo> files_;
};

TEST_F(Describe, TrendRecordingAsWrittenWithItsWindows) {
    rec::RecordingPlan plan;
    plan.trend.channels = 4, plan.trend.refQuantity = 1;
    plan.add(10), plan.add(5, 100.0), plan.addDamaged(rec::Damage::TruncatedData),
        plan.addNamed("meas.dat", 3);  // a decoy: no middle part
    const rec::RecordingInfo written = Write(plan);
    const std::vector<rec::MemberInfo> table = written.table();
    ASSERT_EQ(Run(PathOf(written, 1), TROVA_VARIANT_AUTO), TROVA_DESCRIBE_OK);
    EXPECT_EQ(std::tuple(info_.variant, info_.fileCount, info_.matchedCount, info_.totalRecords, info_.channelCode,
                         info_.channelCount, info_.statCount, info_.scalarCount, info_.phaseQuantityCount,
                         info_.refQuantity, info_.windowRecords, info_.windowSamples),
              std::tuple(TROVA_VARIANT_TREND, 2, 3, 15u, 4u, 4, 3u, 2u, 4u, 1u, 15, 15));
    EXPECT_EQ(std::tuple(info_.firstTime, info_.lastTime, info_.recordSize, info_.headerSize,
                         std::string(info_.pattern)),
              std::tuple(table[0].firstTime, table[1].lastTime, uint32_t(table[0].recordLength),
                         uint32_t(table[0].headerLength), dir_.path() + "/meas.*.dat"));
    for (size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(std::tuple(std::string(files_[i].path), files_[i].recordCount, files_[i].firstTime,
                             files_[i].lastTime),
                  std::tuple(written.path(table[i]), uint32_t(table[i].records), table[i].firstTime,
                             table[i].lastTime));
    }
    // A window from record 3 of the first file to record 2 of the second:
    // K counts up to the stop record, a trend series also reads it.
    const double t0 = table[0].firstTime, t1 = table[1].firstTime;
    ASSERT_EQ(Run(PathOf(written, 0), TROVA_VARIANT_TREND, t0 + 3, t1 + 2), TROVA_DESCRIBE_OK);
    EXPECT_EQ(std::tuple(info_.startFile, info_.startRecord, info_.endFile, info_.stopRecord,
                         info_.windowRecords, info_.windowSamples, info_.stopSelected),
              std::tuple(0, 3, 2, 2, 9, 10, 1));
    // Fewer slots than members: the count says how many there are.
    ASSERT_EQ(Run(PathOf(written, 0), TROVA_VARIANT_AUTO, -1, -1, 1), TROVA_DESCRIBE_OK);
    EXPECT_EQ(std::tuple(info_.fileCount, files_[1].path[0]), std::tuple(2, '\0'));
}

TEST_F(Describe, HarmonicRecordingIsRecognisedAndForcedVariantsDiffer) {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.harmonic.channelCode = 8, plan.harmonic.harmonics = 25, plan.harmonic.powerBlock = false;
    plan.add(4), plan.add(6);
    const rec::RecordingInfo written = Write(plan);
    ASSERT_EQ(Run(PathOf(written, 0), TROVA_VARIANT_AUTO), TROVA_DESCRIBE_OK);
    EXPECT_EQ(std::tuple(info_.variant, info_.fileCount, info_.totalRecords, info_.phaseCount,
                         info_.harmonicCount, info_.powerBlock, info_.channelCode, files_[1].harmonicCount),
              std::tuple(TROVA_VARIANT_HARMONIC, 2, 10u, 4, 25, 0, 8u, 25));
    // Read as trend files, the harmonic headers give nothing usable.
    EXPECT_EQ(Run(PathOf(written, 0), TROVA_VARIANT_TREND), TROVA_DESCRIBE_NO_FILES);
    EXPECT_EQ(std::tuple(info_.variant, info_.matchedCount), std::tuple(TROVA_VARIANT_TREND, 2));
}

// Which paths name a recording is discovery's (files_test.cpp); here the
// results a caller gets for them and for bad arguments.
TEST_F(Describe, PathsThatNameNoRecordingAndBadArguments) {
    const std::string none = dir_.file("none.001.dat");
    EXPECT_EQ(Run(none, TROVA_VARIANT_AUTO), TROVA_DESCRIBE_NO_FILES);
    EXPECT_EQ(std::tuple(std::string(info_.directory), std::string(info_.stem), std::string(info_.extension),
                         info_.matchedCount),
              std::tuple(dir_.path() + "/", std::string("none"), std::string(".dat"), 0));
    EXPECT_EQ(Run(dir_.file("nodot"), TROVA_VARIANT_AUTO), TROVA_DESCRIBE_NO_RECORDING);
    const struct { const char *path; int variant; TrovaRecordingInfo *info; int capacity, result; } cases[] = {
        {nullptr, 0, &info_, 0, TROVA_DESCRIBE_NO_RECORDING}, {none.c_str(), 0, nullptr, 0, TROVA_DESCRIBE_BAD_ARGUMENT},
        {none.c_str(), 3, &info_, 0, TROVA_DESCRIBE_BAD_ARGUMENT},
        {none.c_str(), 0, &info_, 2, TROVA_DESCRIBE_BAD_ARGUMENT}};  // slots without an array
    for (const auto &c : cases) {
        EXPECT_EQ(TrovaDescribeRecording(c.path, c.variant, -1, -1, c.info, nullptr, c.capacity), c.result)
            << &c - cases;
    }
}

}  // namespace
}  // namespace trova
