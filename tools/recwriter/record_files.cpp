// Single files: big-endian encoding, seeded values, trend and harmonic
// header and record encoding.
#include "recording_writer.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

namespace trova::rec {

void putBE32(std::uint8_t* at, std::int32_t value) {
    const auto u = static_cast<std::uint32_t>(value);
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(u >> (24 - 8 * i));
}

void putBEFloat(std::uint8_t* at, float value) {
    std::uint32_t u;
    std::memcpy(&u, &value, 4);
    putBE32(at, static_cast<std::int32_t>(u));
}

void putBEDouble(std::uint8_t* at, double value) {
    std::uint64_t u;
    std::memcpy(&u, &value, 8);
    for (int i = 0; i < 8; ++i) at[i] = static_cast<std::uint8_t>(u >> (56 - 8 * i));
}

std::uint64_t mix64(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

std::uint64_t SplitMix64::next() {
    const std::uint64_t out = mix64(state_);
    state_ += 0x9E3779B97F4A7C15ull;
    return out;
}

float SplitMix64::unit() {
    return static_cast<float>(next() >> 40) * (1.0f / 16777216.0f);
}

float SeededValues::draw(int a, int b, int c, int d, int e) const {
    std::uint64_t h = mix64(seed_);
    for (int v : {a, b, c, d, e}) h = mix64(h ^ static_cast<std::uint32_t>(v));
    const float u = static_cast<float>(h >> 40) * (1.0f / 16777216.0f);
    const float v = lo_ + (hi_ - lo_) * u;
    return v < hi_ ? v : lo_;  // rounding must not reach hi
}

float SeededValues::operator()(int record, int block, int quantity, int channel) const {
    return draw(record, block, quantity, channel, -1);
}

float SeededValues::operator()(int record, HarmonicField field, int set, int phase, int index) const {
    return draw(record, static_cast<int>(field) + 1000, set, phase, index);
}

namespace {

void require(bool ok, const char* what) {
    if (!ok) throw std::invalid_argument(std::string("recwriter: ") + what);
}

bool isByte(int v) { return v >= -128 && v <= 255; }

// Splits the value part into `parts` lengths (remainder on the last) and
// appends the optional trailing part.
std::vector<std::int32_t> partLengths(std::int32_t base, int parts, int extra) {
    require(parts >= 1 && extra >= 0, "record parts must be >= 1, extra bytes >= 0");
    std::vector<std::int32_t> out(static_cast<std::size_t>(parts), base / parts);
    out.back() = base - (parts - 1) * (base / parts);
    if (extra > 0) out.push_back(extra);
    require(out.size() + 1 <= 127, "size table has too many entries");
    return out;
}

std::int32_t sum(const std::vector<std::int32_t>& v) {
    std::int32_t s = 0;
    for (auto x : v) s += x;
    return s;
}

void splitTime(double time, double& t1, double& t2) {
    t1 = std::floor(time);
    t2 = time - t1;
}

void putTable(Bytes& out, std::size_t at, const std::vector<std::int32_t>& table) {
    for (std::size_t i = 0; i < table.size(); ++i) putBE32(&out[at + 4 * i], table[i]);
}

}  // namespace

// ---- trend -----------------------------------------------------------------

int TrendFormat::statCount() const {
    const unsigned m = static_cast<unsigned>(statMask);
    return static_cast<int>((m & 1u) + ((m >> 1) & 1u) + ((m >> 2) & 1u));
}
int TrendFormat::blockFloats() const { return scalars + channels * perChannel; }
int TrendFormat::valueCount() const { return statCount() * blockFloats(); }

std::vector<std::int32_t> TrendFormat::sizeTable() const {
    require(isByte(channels) && isByte(statMask) && isByte(scalars) && isByte(perChannel) &&
                isByte(refQuantity) && channels >= 0 && scalars >= 0 && perChannel >= 0,
            "trend header field out of byte range");
    require(headerPadding >= 0, "header padding must be >= 0");
    auto parts = partLengths(24 + 4 * valueCount(), recordParts, extraRecordBytes);
    parts.insert(parts.begin(), 16 + 4 * static_cast<std::int32_t>(parts.size() + 1) + headerPadding);
    return parts;
}

std::int32_t TrendFormat::headerLength() const { return sizeTable()[0]; }
std::int32_t TrendFormat::recordLength() const { return sum(sizeTable()) - headerLength(); }

int TrendFormat::valueIndex(int block, int quantity, int channel) const {
    require(block >= 0 && block < statCount() && quantity >= 0 && quantity < scalars + perChannel &&
                channel >= 0 && channel < (quantity < scalars ? 1 : channels),
            "no such trend value");
    const int inBlock = quantity < scalars ? quantity : scalars + channel * perChannel + (quantity - scalars);
    return block * blockFloats() + inBlock;
}

TrendRecord makeTrendRecord(const TrendFormat& f, int record, double time, std::int32_t flags,
                            const TrendValueFn& values) {
    TrendRecord r;
    splitTime(time, r.t1, r.t2);
    r.flags = flags;
    r.values.resize(static_cast<std::size_t>(f.valueCount()));
    for (int b = 0; b < f.statCount(); ++b)
        for (int q = 0; q < f.scalars + f.perChannel; ++q)
            for (int c = 0; c < (q < f.scalars ? 1 : f.channels); ++c)
                r.values[static_cast<std::size_t>(f.valueIndex(b, q, c))] = values(record, b, q, c);
    return r;
}

Bytes trendFileBytes(const TrendFormat& f, const std::vector<TrendRecord>& records) {
    const auto table = f.sizeTable();
    const std::size_t D = static_cast<std::size_t>(table[0]);
    const std::size_t R = static_cast<std::size_t>(sum(table) - table[0]);
    Bytes out(D + records.size() * R, 0);
    const int header[] = {f.channels, f.statMask, f.scalars, f.perChannel, f.refQuantity};
    for (int i = 0; i < 5; ++i) out[static_cast<std::size_t>(1 + i)] = static_cast<std::uint8_t>(header[i]);
    out[15] = static_cast<std::uint8_t>(table.size());
    putTable(out, 16, table);
    for (std::size_t n = 0; n < records.size(); ++n) {
        const TrendRecord& rec = records[n];
        require(rec.values.size() == static_cast<std::size_t>(f.valueCount()), "trend record value count");
        std::uint8_t* r = &out[D + n * R];
        putBEDouble(r, rec.t1);
        putBEDouble(r + 8, rec.t2);
        putBE32(r + 16, rec.flags);
        for (std::size_t i = 0; i < rec.values.size(); ++i) putBEFloat(r + 24 + 4 * i, rec.values[i]);
    }
    return out;
}

// ---- harmonic --------------------------------------------------------------

int HarmonicFormat::phases() const {
    return channelCode == 6 ? 3 : channelCode == 8 ? 4 : 1;
}
std::int32_t HarmonicFormat::setLength() const {
    return 8 * phases() * harmonics + 8 * phases() + 24;
}
std::int32_t HarmonicFormat::powerStart() const { return 44 + 2 * setLength(); }

std::vector<std::int32_t> HarmonicFormat::sizeTable() const {
    require(isByte(channelCode) && isByte(extraFlags), "harmonic header field out of byte range");
    require(harmonics >= 0 && powerArrays >= 0 && headerPadding >= 0, "negative harmonic format field");
    const int ph = phases() * harmonics;
    std::int32_t base = powerStart();
    if (powerBlock && powerArrays > 0) base += powerArrays * 4 * ph + (powerArrays - 1) * 8;
    auto parts = partLengths(base, recordParts, extraRecordBytes);
    parts.insert(parts.begin(), 4 + 4 * static_cast<std::int32_t>(parts.size() + 1) + headerPadding);
    return parts;
}

std::int32_t HarmonicFormat::headerLength() const { return sizeTable()[0]; }
std::int32_t HarmonicFormat::recordLength() const { return sum(sizeTable()) - headerLength(); }

std::int32_t HarmonicFormat::voltageOffset(int set, int p, int k) const {
    return 44 + set * setLength() + 4 * (p * harmonics + k);
}
std::int32_t HarmonicFormat::currentOffset(int set, int p, int k) const {
    return voltageOffset(set, p, k) + 4 * phases() * harmonics + 8;
}
std::int32_t HarmonicFormat::phaseValueOffset(int set, int p, int which) const {
    return 44 + set * setLength() + 8 * phases() * harmonics + 16 + 8 * p + 4 * which;
}
std::int32_t HarmonicFormat::powerOffset(int array, int p, int k) const {
    return powerStart() + array * (4 * phases() * harmonics + 8) + 4 * (p * harmonics + k);
}

HarmonicRecord makeHarmonicRecord(const HarmonicFormat& f, int record, double time,
                                  std::int32_t flags, const HarmonicValueFn& values) {
    HarmonicRecord r;
    splitTime(time, r.t1, r.t2);
    r.flags = flags;
    const int P = f.phases(), H = f.harmonics;
    auto fill = [&](std::vector<float>& dst, HarmonicField field, int set, int perPhase) {
        dst.resize(static_cast<std::size_t>(P * perPhase));
        for (int p = 0; p < P; ++p)
            for (int k = 0; k < perPhase; ++k)
                dst[static_cast<std::size_t>(p * perPhase + k)] = values(record, field, set, p, k);
    };
    for (int s = 0; s < 2; ++s) {
        r.scalar[s] = values(record, HarmonicField::Scalar, s, 0, 0);
        fill(r.voltage[s], HarmonicField::Voltage, s, H);
        fill(r.current[s], HarmonicField::Current, s, H);
        fill(r.phaseValues[s], HarmonicField::PhaseValue, s, 2);
    }
    if (f.powerBlock) {
        std::vector<float> array;
        for (int j = 0; j < f.powerArrays; ++j) {
            fill(array, HarmonicField::Power, j, H);
            r.power.insert(r.power.end(), array.begin(), array.end());
        }
    }
    return r;
}

Bytes harmonicFileBytes(const HarmonicFormat& f, const std::vector<HarmonicRecord>& records) {
    const auto table = f.sizeTable();
    const std::size_t D = static_cast<std::size_t>(table[0]);
    const std::size_t R = static_cast<std::size_t>(sum(table) - table[0]);
    const int P = f.phases(), H = f.harmonics;
    const std::size_t PH = static_cast<std::size_t>(P * H);
    Bytes out(D + records.size() * R, 0);
    out[1] = static_cast<std::uint8_t>(f.channelCode);
    out[2] = static_cast<std::uint8_t>(table.size());
    out[3] = static_cast<std::uint8_t>((f.extraFlags & ~2) | (f.powerBlock ? 2 : 0));
    putTable(out, 4, table);

    auto putHead = [](std::uint8_t* at, int rows, int cols) {
        putBE32(at, rows);
        putBE32(at + 4, cols);
    };
    auto putFloats = [](std::uint8_t* at, const std::vector<float>& v, std::size_t from, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) putBEFloat(at + 4 * i, v[from + i]);
    };
    for (std::size_t n = 0; n < records.size(); ++n) {
        const HarmonicRecord& rec = records[n];
        std::uint8_t* r = &out[D + n * R];
        putBEDouble(r, rec.t1);
        putBEDouble(r + 8, rec.t2);
        putBE32(r + 16, rec.flags);
        for (int s = 0; s < 2; ++s) {
            require(rec.voltage[s].size() == PH && rec.current[s].size() == PH &&
                        rec.phaseValues[s].size() == static_cast<std::size_t>(2 * P),
                    "harmonic record array sizes");
            putBEFloat(r + f.scalarOffset(s), rec.scalar[s]);
            putHead(r + f.voltageOffset(s, 0, 0) - 8, P, H);
            putFloats(r + f.voltageOffset(s, 0, 0), rec.voltage[s], 0, PH);
            putHead(r + f.currentOffset(s, 0, 0) - 8, P, H);
            putFloats(r + f.currentOffset(s, 0, 0), rec.current[s], 0, PH);
            putHead(r + f.phaseValueOffset(s, 0, 0) - 8, P, 2);
            putFloats(r + f.phaseValueOffset(s, 0, 0), rec.phaseValues[s], 0, static_cast<std::size_t>(2 * P));
        }
        putHead(r + f.powerStart() - 8, P, H);  // head of whatever follows value set 1
        if (!f.powerBlock) continue;
        require(rec.power.size() == static_cast<std::size_t>(f.powerArrays) * PH, "harmonic power block size");
        for (int j = 0; j < f.powerArrays; ++j) {
            if (j > 0) putHead(r + f.powerOffset(j, 0, 0) - 8, P, H);
            putFloats(r + f.powerOffset(j, 0, 0), rec.power, static_cast<std::size_t>(j) * PH, PH);
        }
    }
    return out;
}

}  // namespace trova::rec
