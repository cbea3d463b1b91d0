// Recording writer: builds trend (header variant A) and harmonic (header
// variant B) recording files for tests, the demo, benchmarks and fuzzers.
//
// Everything is produced in memory first (trendFileBytes, harmonicFileBytes,
// buildRecording); writeRecording additionally puts the files on disk. The
// writer reports its own account of what it wrote (MemberInfo), so tests of
// the readers compare against it instead of re-deriving geometry and times.
//
// Choices made where the record layouts leave room:
//  * Header bytes that the readers ignore (variant A: 0 and 6..14; variant B:
//    0) and record bytes they ignore (trend 20..23, harmonic 20..27) are zero.
//  * Harmonic array heads hold two int32 words (rows, columns): (P, H) in
//    front of every voltage, current and power array -- so record offset 36
//    holds P and offset 40 holds H -- and (P, 2) in front of the per-phase
//    (A, B) pairs.
//  * A harmonic record ends with value set 1 when there is no power block,
//    and right after the last power array otherwise:
//    R = B + powerArrays*4*P*H + (powerArrays-1)*8.
//  * A record time T is split into t1 = floor(T) and t2 = T - t1; both are
//    exact, so t1 + t2 == T bit for bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace trova::rec {

using Bytes = std::vector<std::uint8_t>;

// ---- big-endian encoding (the only place the writer orders bytes) ----------
void putBE32(std::uint8_t* at, std::int32_t value);
void putBEFloat(std::uint8_t* at, float value);
void putBEDouble(std::uint8_t* at, double value);

// ---- deterministic pseudo-random numbers -----------------------------------
// splitmix64 finaliser; identical on every platform and standard library.
std::uint64_t mix64(std::uint64_t x);

class SplitMix64 {
public:
    explicit SplitMix64(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next();
    float unit();  // uniform in [0, 1), 24 significant bits, exact
private:
    std::uint64_t state_;
};

// ---- trend files (header variant A) ----------------------------------------
struct TrendFormat {
    int channels = 3;          // N, header byte 1: channel groups per block
    int statMask = 0x07;       // header byte 2: bits 0..2 each mark a block
    int scalars = 2;           // S, header byte 3: once-per-block quantities
    int perChannel = 4;        // P, header byte 4: quantities per channel group
    int refQuantity = 0;       // header byte 5
    int recordParts = 1;       // size-table entries the value part is split into
    int extraRecordBytes = 0;  // > 0: one more trailing part of zero bytes
    int headerPadding = 0;     // zero bytes between size table and record 0

    int statCount() const;     // set bits among bits 0..2 of statMask
    int blockFloats() const;   // S + N*P
    int valueCount() const;    // statCount * (S + N*P)
    std::int32_t headerLength() const;  // D
    std::int32_t recordLength() const;  // R
    std::vector<std::int32_t> sizeTable() const;  // D, then the part lengths
    // Index into TrendRecord::values; quantities below S exist for channel 0
    // only, quantities S..S+P-1 for channels 0..N-1.
    int valueIndex(int block, int quantity, int channel) const;
    std::int32_t valueOffset(int block, int quantity, int channel) const {
        return 24 + 4 * valueIndex(block, quantity, channel);
    }
};

struct TrendRecord {
    double t1 = 0.0, t2 = 0.0;  // record time = t1 + t2
    std::int32_t flags = 0;
    std::vector<float> values;  // valueCount() floats in file order
};

using TrendValueFn = std::function<float(int record, int block, int quantity, int channel)>;

TrendRecord makeTrendRecord(const TrendFormat& format, int record, double time,
                            std::int32_t flags, const TrendValueFn& values);
Bytes trendFileBytes(const TrendFormat& format, const std::vector<TrendRecord>& records);

// ---- harmonic files (header variant B) -------------------------------------
struct HarmonicFormat {
    int channelCode = 6;       // header byte 1: 2 -> 1 phase, 6 -> 3, 8 -> 4, else 1
    int harmonics = 50;        // H, written at record offset 40 of every record
    bool powerBlock = true;    // header byte 3 bit 1; power arrays are written
    int powerArrays = 3;       // arrays in the power block
    int extraFlags = 0;        // other bits of header byte 3 (bit 1 is powerBlock's)
    int recordParts = 1;
    int extraRecordBytes = 0;
    int headerPadding = 0;

    int phases() const;                  // P
    std::int32_t setLength() const;      // L = 8PH + 8P + 24
    std::int32_t powerStart() const;     // B = 44 + 2L
    std::int32_t headerLength() const;   // D
    std::int32_t recordLength() const;   // R
    std::vector<std::int32_t> sizeTable() const;
    // Record-relative offsets.
    std::int32_t scalarOffset(int set) const { return 28 + 4 * set; }
    std::int32_t voltageOffset(int set, int phase, int k) const;
    std::int32_t currentOffset(int set, int phase, int k) const;
    std::int32_t phaseValueOffset(int set, int phase, int which) const;  // which 0 = A, 1 = B
    std::int32_t powerOffset(int array, int phase, int k) const;
};

enum class HarmonicField { Scalar, Voltage, Current, PhaseValue, Power };

// Arguments per field: Scalar (set, 0, 0); Voltage and Current (set, phase,
// position); PhaseValue (set, phase, which); Power (array, phase, position).
using HarmonicValueFn =
    std::function<float(int record, HarmonicField field, int set, int phase, int index)>;

struct HarmonicRecord {
    double t1 = 0.0, t2 = 0.0;
    std::int32_t flags = 0;
    float scalar[2] = {0.0f, 0.0f};
    std::vector<float> voltage[2];      // P*H each, phase-major
    std::vector<float> current[2];      // P*H each, phase-major
    std::vector<float> phaseValues[2];  // P pairs (A, B)
    std::vector<float> power;           // powerArrays*P*H, array-major; ignored without power block
};

HarmonicRecord makeHarmonicRecord(const HarmonicFormat& format, int record, double time,
                                  std::int32_t flags, const HarmonicValueFn& values);
Bytes harmonicFileBytes(const HarmonicFormat& format, const std::vector<HarmonicRecord>& records);

// Stateless seeded values: the value depends only on the seed and the
// arguments, never on call order. Usable as TrendValueFn and HarmonicValueFn.
class SeededValues {
public:
    explicit SeededValues(std::uint64_t seed, float lo = 0.0f, float hi = 100.0f)
        : seed_(seed), lo_(lo), hi_(hi) {}
    float operator()(int record, int block, int quantity, int channel) const;
    float operator()(int record, HarmonicField field, int set, int phase, int index) const;
private:
    float draw(int a, int b, int c, int d, int e) const;
    std::uint64_t seed_;
    float lo_, hi_;
};

// ---- whole recordings -------------------------------------------------------
enum class Kind { Trend, Harmonic };

enum class Damage {
    None,
    NoRecords,      // header only
    TruncatedData,  // last damageBytes bytes cut off
    PaddedData,     // damageBytes zero bytes appended
    ZeroFirstTime,  // record 0 has t1 = t2 = 0
    ReversedTimes,  // first and last record times swapped (at least 2 records)
    Empty,          // 0-byte file
    ShortHeader,    // file ends damageBytes bytes before the end of its size table
};

enum class Decoy { NoMiddle, OtherStem, OtherExtension };

using FlagFn = std::function<std::int32_t(int record)>;
FlagFn everyKth(int k, std::int32_t word, int offset = 0);  // word where record % k == offset

struct MemberPlan {
    std::string name;          // empty: stem.NNN.ext with the next number
    int records = 0;
    double gapBefore = 0.0;    // extra seconds before this file's first record
    Damage damage = Damage::None;
    int damageBytes = 3;
    std::optional<TrendFormat> trend;        // overrides the plan's format
    std::optional<HarmonicFormat> harmonic;
    std::optional<Bytes> raw;  // written verbatim; takes no records or time
};

struct RecordingPlan {
    Kind kind = Kind::Trend;
    std::string stem = "meas";
    std::string extension = ".dat";
    int numberWidth = 3;
    int firstNumber = 1;
    double startTime = 3786825600.25;  // seconds since 1904-01-01
    double interval = 1.0;
    std::uint64_t seed = 1;            // default values: SeededValues(seed)
    TrendFormat trend;
    HarmonicFormat harmonic;
    TrendValueFn trendValues;          // empty: seeded values
    HarmonicValueFn harmonicValues;
    FlagFn flags;                      // empty: no record flagged
    std::vector<MemberPlan> members;

    std::string numberedName(int number) const;
    std::string decoyName(Decoy decoy) const;
    MemberPlan& add(int records, double gapBefore = 0.0);
    MemberPlan& addNamed(const std::string& name, int records);
    MemberPlan& addDamaged(Damage damage, int records = 3);
    MemberPlan& addRaw(const std::string& name, Bytes bytes);
};

// The writer's account of one written file.
struct MemberInfo {
    std::string name;
    bool member = false;  // name matches stem "." anything extension, any case
    bool usable = false;  // sound geometry, >= 1 record, accepted times
    bool raw = false;     // escape-hatch bytes: nothing below is known
    std::int32_t headerLength = 0;  // D
    std::int32_t recordLength = 0;  // R
    int records = 0;      // records encoded (a truncated last one included)
    int firstRecord = 0;  // recording-wide index of record 0
    double firstTime = 0.0, lastTime = 0.0;  // times as written
    int harmonics = 0;    // H (harmonic files)
    std::size_t fileSize = 0;
    bool inTable() const { return member && usable; }
};

struct RecordingInfo {
    std::string directory;            // empty when built in memory only
    std::vector<MemberInfo> files;    // byte-wise name order
    std::vector<MemberInfo> table() const;  // files a reader lists, in its order
    std::uint64_t totalRecords() const;     // sum over table()
    const MemberInfo* find(const std::string& name) const;
    std::string path(const MemberInfo& file) const;
};

struct Recording {
    RecordingInfo info;
    std::vector<Bytes> contents;  // parallel to info.files
};

// Members receive times in byte-wise name order -- the order of the readers'
// file table -- so the table is in time order whatever the names' letter case.
// Files that are not members (decoys) are timed after all members.
bool matchesRecording(const std::string& name, const std::string& stem, const std::string& extension);
Recording buildRecording(const RecordingPlan& plan);
RecordingInfo writeRecording(const std::string& directory, const RecordingPlan& plan);
void writeBytes(const std::string& path, const Bytes& bytes);

}  // namespace trova::rec
