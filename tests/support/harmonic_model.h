// A model of the harmonic readers for the end-to-end tests: each code's
// value from the values given to the recording writer (step by step in the
// precision each step must have), the grouping and the curves, and a call
// harness for the six harmonic trend exports.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reader_call.h"
#include "recording_writer.h"
#include "trova/readers.h"

namespace trova::testing {

// What the tests fill output arrays with: an element not delivered stays so.
constexpr float kUntouched = -12345.0f;

uint32_t Bits(float value);  // outputs are compared bit for bit

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

// Makes file `file`'s header claim `count` harmonics, whatever its records hold.
void ClaimHarmonicCount(rec::Recording &recording, size_t file, int32_t count);
void WriteBuilt(rec::Recording &recording, const std::string &directory);

struct ModelRecord {
    int index;  // recording-wide
    double t1, t2;
    int32_t flags;
    int positions;         // the positions a spectrum reader walks: the file's H
    bool outside = false;  // beyond the time bounds of Reader_FFT_XT3
};
std::vector<ModelRecord> ModelRecords(const rec::RecordingInfo &info, int first, int last,
                                      const rec::FlagFn &flags);

enum class Reader { kXt1, kXt2, kXt3, kAll1, kAll2, kAll3 };

// One call of a harmonic trend export: its arguments, then its outputs
// (the arrays for four phases, each with a guard element).
struct Call : calls::Args {
    explicit Call(Reader r, int q = 2, int m = 1) : reader(r) {
        quantity = q, minMax = m, points = 16, label = "Harmonics", button = "Stop";
    }
    Reader reader;
    int rows = 1;  // FFT_ALL readers: positions each array holds
    calls::Outcome out;

    bool Spectrum() const { return reader >= Reader::kAll1; }
    bool Curves() const { return reader == Reader::kXt3 || reader == Reader::kAll3; }
    bool First() const { return reader == Reader::kXt1 || reader == Reader::kAll1; }
    size_t Stride() const { return Spectrum() ? 100 : points > 0 ? size_t(points) : 0; }
    // Points of output `kind` (minimum, maximum, mean; curves: 0), phase p, position j.
    float *Slot(int kind, int p, int j);
    double *Times() { return Array<double>("Times"); }
    trova_long *FlagWords() { return Array<trova_long>("FlagWords"); }
    trova_long Status() const { return trova_long(out.Int("Status")); }
    std::string Name() const;
    Call Blank() const;  // the same arguments, outputs as before the call
    Call &Run(const std::string &path);

    template <class T>
    T *Array(const std::string &name) {
        for (calls::Block &b : out.blocks) {
            if (b.name == name) return reinterpret_cast<T *>(b.bytes.data());
        }
        return nullptr;
    }
};

// What a call must give besides the values: the corrected code, the status,
// the factor it reports, records per point (curves: samples), HarmCount.
struct Expect {
    Corrected c;
    int factor, group;
    trova_long harmCount = -1;
};

// Fills `want` with what its reader makes of `records` in `plan`.
void Predict(Call &want, const rec::RecordingPlan &plan, const std::vector<ModelRecord> &records,
             const Expect &e);
void ExpectSame(const Call &got, const Call &want);
// Runs `call` on `path`, expects the prediction; returns it.
Call Check(const Call &call, const std::string &path, const rec::RecordingPlan &plan,
           const std::vector<ModelRecord> &records, const Expect &e);

}  // namespace trova::testing
