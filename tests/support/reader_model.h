// What the readers must make of a recording, from the values it was written
// with: any export called as data (tests/calls) with a guard element behind
// each array, the records a call reads, each harmonic code's value (step by
// step in the precision each step must have), and the outputs of the three
// kinds of reader built from the values: grouped or curved series,
// histograms and percentile tables. A suite states which records a call
// reads and what each is worth; everything else is predicted here once.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "reader_call.h"
#include "recording_writer.h"
#include "trova/readers.h"

namespace trova::testing {

using calls::Export;

// ---- recordings -------------------------------------------------------------------

// Differs by record, block, quantity and channel; not monotonic in time.
inline float TrendTestValue(int record, int block, int quantity, int channel) {
    return float((record * 37) % 101) * 0.37f + 1000.0f * block + 100.0f * quantity + 10.0f * channel + 0.125f;
}
// N = channels, three blocks, S = 2, P = 3; a 30 s gap before the third
// file; every 7th record flagged with 4, from record 0 (the least value).
rec::RecordingPlan TrendTestPlan(int files, int perFile, int channels = 3);

// Seeded values in 0.5 .. 250, every `flagPeriod`-th record flagged.
rec::RecordingPlan HarmonicPlan(int channelCode, int harmonics, bool powerBlock,
                                const std::vector<int> &files, uint64_t seed, int flagPeriod,
                                int32_t flagWord);
// HarmonicPlan with values that reach the edge cases: scalars of five levels
// (ties), voltage 0 at position 1 of value set 0 in every fifth record; the
// stem names channel code and block, the second file starts 20 s late.
rec::RecordingPlan EdgePlan(int channelCode, int harmonics, bool powerBlock,
                            const std::vector<int> &files);
// Gives file f of the plan harmonic count counts[f].
void SetHarmonicCounts(rec::RecordingPlan &plan, const std::vector<int> &counts);
// Makes file `file`'s header claim `count` harmonics, whatever its records hold.
void ClaimHarmonicCount(rec::Recording &recording, size_t file, int32_t count);
void WriteBuilt(rec::Recording &recording, const std::string &directory);

struct ModelRecord {
    int index;  // recording-wide
    double t1, t2;
    int32_t flags;
    int positions;         // the positions a spectrum reader walks: the file's H
    bool outside = false;  // beyond the time bounds of a curve reader
};
// Records first .. last (recording-wide, inclusive) of the table's files.
std::vector<ModelRecord> ModelRecords(const rec::RecordingInfo &info, int first, int last,
                                      const rec::FlagFn &flags);

// ---- harmonic values --------------------------------------------------------------

struct ValueModel {
    rec::HarmonicValueFn v;
    bool angles;  // the power block holds angles (else stored powers)
    bool join;
    int phases, harmonics;
    bool keepsUnscaled = false;  // a zero reference leaves a stored percentage as read

    float V(int n, int set, int p, int x) const { return v(n, rec::HarmonicField::Voltage, set, p, x); }
    float I(int n, int set, int p, int x) const { return v(n, rec::HarmonicField::Current, set, p, x); }
    float X(int n, int array, int p, int x) const { return v(n, rec::HarmonicField::Power, array, p, x); }
    float A(int n, int set, int p) const { return v(n, rec::HarmonicField::PhaseValue, set, p, 0); }
    float B(int n, int set, int p) const { return v(n, rec::HarmonicField::PhaseValue, set, p, 1); }
    float AnglePowerOf(int kind, int n, int set, int p, int x) const;
    // Position x of phase p of a voltage or current array, also past H:
    // into the next phase, then the 8-byte head after the array.
    float ArrayAt(bool current, int n, int set, int p, int x) const;
    float Trend(int code, int m, int n, int p, int k, int r) const;     // codes 1..17
    float Spectrum(int code, int m, int n, int p, int j, int r) const;  // codes 1..10
};

// A code as a reader corrects it: the code, the value-set selector, the status.
struct Corrected {
    int code, m, status;
};
// The corrections with MinMax argument 0, by code: trend family (0..17),
// spectrum family (0..10). A nonzero MinMax leaves every code as it is.
extern const Corrected kTrendWithMinMaxZero[18];
extern const Corrected kSpectrumWithMinMaxZero[11];
// A code of a family whose codes end at lastCode, with a power block.
Corrected Correct(const Corrected *withMinMaxZero, int lastCode, int quantity, int minMax);

// ---- calls ---------------------------------------------------------------------------

// One call of an export: its arguments, then its outputs.
struct Call : calls::Args {
    explicit Call(Export e, int q = 2, int m = 1) : reader(e) {
        quantity = q, minMax = m, points = 16, label = "Reader", button = "Stop";
    }
    Export reader;
    // Trend: ranges for seven channels, counts for five; harmonic: four
    // phases, `shape.harmonics` positions per FFT_ALL array.
    calls::Shape shape{7, 4, 1};
    calls::Outcome out;

    bool Spectrum() const { return reader >= Export::FFT_ALL_XT1 && reader <= Export::FFT_ALL_XT3; }
    bool Curves() const { return reader == Export::XT2 || reader == Export::FFT_XT3 || reader == Export::FFT_ALL_XT3; }
    bool First() const { return reader == Export::FFT_XT1 || reader == Export::FFT_ALL_XT1; }
    size_t Stride() const { return Spectrum() ? 100 : points > 0 ? size_t(points) : 0; }
    // Series: points of output `kind` (minimum, maximum, mean; curves: 0), slot p, position j.
    float *Slot(int kind, int p, int j);
    double *Times() { return Array<double>("Times"); }
    trova_long *FlagWords() { return Array<trova_long>("FlagWords"); }
    trova_long Int(const std::string &name) const { return trova_long(out.Int(name)); }
    trova_long Status() const { return Int("Status"); }
    std::string Name() const;
    Call &Run(const std::string &path);

    template <class T>
    T *Array(const std::string &name) {
        for (calls::Block &b : out.blocks) {
            if (b.name == name) return reinterpret_cast<T *>(b.bytes.data());
        }
        return nullptr;
    }
};

// Export `first` (twin 1) or the one after it (twin 2), flagged records binned.
inline Call Twin(Export first, int twin, int quantity, int minMax = 1) {
    Call call{Export(int(first) + twin - 1), quantity, minMax};
    call.flagged = 1;
    return call;
}

// ---- predictions --------------------------------------------------------------------

// A record's value for slot s (a channel or phase) at position j.
using ValueFn = std::function<float(const ModelRecord &record, int slot, int position)>;
// The value a harmonic reader reads for code c of its call.
ValueFn HarmonicValue(const Call &call, const rec::RecordingPlan &plan, Corrected c);

// A series reader's outputs besides the values: status, the factor it
// reports, records per point (curves: samples), HarmCount, slots written.
struct Series {
    int status, factor, group;
    trova_long harmCount = -1;
    int slots = 3;
};
// Points of `group` records (the twin named first: time of the earliest
// minimum of slot 0, an incomplete last group dropped), or one interleave
// curve per slot and position.
void PredictSeries(Call &want, const std::vector<ModelRecord> &records, const ValueFn &value, const Series &s);

// A histogram reader's outputs: the status, slots with values, slots whose
// range is written (zero past `slots`), slots whose counts are written.
struct Histogram {
    int status, slots, reported, served;
    bool read = true;  // false: the records are counted but give no value
};
// Ranges from `ranged`, counts from `counted` (flagged records' values only
// when the call bins them): 100 bins of a single-precision width from the
// least value, or 98 from a fixed HMin to HMax (ends not finite from slot
// 0's extremes) with the values outside in the outer two.
void PredictHistogram(Call &want, const std::vector<ModelRecord> &ranged, const std::vector<ModelRecord> &counted,
                      const ValueFn &value, const Histogram &h);

// The percentile tables: each phase's cells at positions below `positions`
// (a record gives none past its own H, nor any when `harmonicsRead` is
// false), value A (position 0 of `ab`) and B; observed over `seen`,
// counted over `counted`.
void PredictTable(Call &want, const std::vector<ModelRecord> &seen, const std::vector<ModelRecord> &counted,
                  const ValueFn &harmonics, const ValueFn &ab, int positions, bool harmonicsRead, int status,
                  trova_long harmCount);

// Runs `call` on `path`, predicts with `predict` on a blank copy, expects
// the same outputs; returns the prediction.
Call Check(const Call &call, const std::string &path, const std::function<void(Call &)> &predict);

// Harmonic series: code c's values, slots from the plan (code 1 of a
// trend: one), the rest from `e`.
struct Expect {
    Corrected c;
    int factor, group;
    trova_long harmCount = -1;
};
Call Check(const Call &call, const std::string &path, const rec::RecordingPlan &plan,
           const std::vector<ModelRecord> &records, const Expect &e);

}  // namespace trova::testing
