// A model of the harmonic trend readers for the end-to-end tests: the
// records of a window as the writer made them, each code's value from the
// values the writer was given (written from the code tables, step by step
// in the precision each step must have), and the grouping into points.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "recording_writer.h"

namespace trova::testing {

// What the tests fill the caller's arrays with: a reader must leave every
// element it does not deliver, and the guard element after each array, as is.
constexpr float kUntouched = -12345.0f;

// A float's bits: outputs are compared bit for bit (0.0 and -0.0 differ).
uint32_t Bits(float value);

// An output array of `size` elements and one guard element after them.
template <class T>
class Guarded {
public:
    void Reset(size_t size, T fill) { data_.assign(size + 1, fill), guard_ = fill; }
    T *data() { return data_.data(); }
    const T &operator[](size_t i) const { return data_[i]; }
    bool GuardIntact() const { return !data_.empty() && data_.back() == guard_; }

private:
    std::vector<T> data_;
    T guard_{};
};

// A harmonic recording of files with these record counts: seeded values in
// 0.5 .. 250, every `flagPeriod`-th record flagged with `flagWord`.
rec::RecordingPlan HarmonicPlan(int channelCode, int harmonics, bool powerBlock,
                                const std::vector<int> &files, uint64_t seed, int flagPeriod,
                                int32_t flagWord);

struct ModelRecord {
    int index;  // recording-wide, as the writer numbers records
    double t1, t2;
    int32_t flags;
};

// Records first..last (recording-wide indexes) of the writer's table, with
// the plan's flags. Times advance by `interval` within a file.
std::vector<ModelRecord> ModelRecords(const rec::RecordingInfo &info, int first, int last,
                                      const rec::FlagFn &flags, double interval = 1.0);

struct ValueModel {
    rec::HarmonicValueFn v;
    bool angles;  // the power block holds angles (else stored powers)
    bool join;
    int phases;     // P and H of the file (the distortion codes read past
    int harmonics;  // the end of a phase's array)
    // Stored spectrum percentages (Reader_FFT_Table2): a zero reference
    // leaves the value as read.
    bool keepsUnscaled = false;

    float V(int n, int set, int p, int x) const { return v(n, rec::HarmonicField::Voltage, set, p, x); }
    float I(int n, int set, int p, int x) const { return v(n, rec::HarmonicField::Current, set, p, x); }
    float X(int n, int array, int p, int x) const { return v(n, rec::HarmonicField::Power, array, p, x); }
    float A(int n, int set, int p) const { return v(n, rec::HarmonicField::PhaseValue, set, p, 0); }
    float B(int n, int set, int p) const { return v(n, rec::HarmonicField::PhaseValue, set, p, 1); }
    // Active (0), reactive (1) or apparent (2) power from value set `set` and the angles.
    float AnglePowerOf(int kind, int n, int set, int p, int x) const;

    // Position x of phase p of a voltage (current = false) or current
    // array, also beyond H: into the next phase, and past the last phase
    // into the 8-byte head the writer puts after the array (P, then H for a
    // voltage array and 2 for a current array), then the next array.
    float ArrayAt(bool current, int n, int set, int p, int x) const;

    // Trend codes 1..17 after correction, selector m, positions k and r.
    float Trend(int code, int m, int n, int p, int k, int r) const;
    // Spectrum codes 1..10 after correction, selector m, position j, reference r.
    float Spectrum(int code, int m, int n, int p, int j, int r) const;
};

// One case of a twin pair's every-code test: the reader (1 or 2), the
// code, the MinMax argument and Join.
struct Corrected;
struct CodeCase {
    int reader, quantity, minMax, join;
    std::string Name() const;
    // With a nonzero MinMax every code stands, with value set 0 and status
    // 0; with MinMax 0 the reader corrects code c as withMinMaxZero[c] says.
    Corrected CorrectedBy(const Corrected *withMinMaxZero) const;
};
// Both readers, codes 1 to lastCode with both MinMax arguments, and the
// power codes firstPower to lastPower with Join 1 as well.
std::vector<CodeCase> EveryCodeCase(int lastCode, int firstPower, int lastPower);

// The arguments the harmonic trend readers share, as a test sets them.
struct HarmonicArgs {
    int reader = 1;  // the first or the second of a twin pair
    int quantity = 2;
    int minMax = 1;  // the argument: nonzero reads value set 0
    double tStart = -1.0, tStop = -1.0;
    int firstHarmonic = 1, join = 0;

    void Take(const CodeCase &code) {
        reader = code.reader;
        quantity = code.quantity;
        minMax = code.minMax;
        join = code.join;
    }
};

// What a reader makes of a code and its MinMax argument: the corrected
// code, the value-set selector and the status.
struct Corrected {
    int code, m, status;
};

// The model of `plan`'s values (its format's P and H).
ValueModel ModelOf(const rec::RecordingPlan &plan, bool angles, bool join);

struct ModelPoint {
    double t1, t2;
    int32_t flags;
    std::vector<float> min, max, mean;  // per slot
};

// Groups records of `factor`; `value(record, slot)` for slots 0..slots-1.
// timeOfMinimum: a point's time is that of the earliest record with the
// smallest value in `timeSlot`; otherwise its last record's. deliverLast:
// the incomplete last group is a point too.
std::vector<ModelPoint> GroupModel(const std::vector<ModelRecord> &records, int slots,
                                   const std::function<float(const ModelRecord &, int)> &value,
                                   int factor, bool timeOfMinimum, int timeSlot, bool deliverLast);

}  // namespace trova::testing
