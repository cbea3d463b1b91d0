// The harmonic record. After the header of a harmonic file (D bytes) come
// records of R bytes; record n starts at D + n·R. With P phases and H
// harmonic positions per phase:
//
//   0   first time term (double)      8   second time term (double)
//   16  flag word (int32)             20  8 bytes not read
//   28  scalar quantity, value set 0  32  scalar quantity, value set 1
//   36  array head word, not read     40  H (int32)
//   44       value set 0 (L bytes)    44 + L  value set 1 (L bytes)
//   B = 44 + 2L  power block
//
// A value set at S holds the voltage array (P·H floats, phase-major), an
// 8-byte head, the current array (P·H floats), an 8-byte head, P pairs of
// per-phase values (A, B), and the 8-byte head of whatever follows:
// L = 8·P·H + 8·P + 24. The power block holds arrays of P·H floats, array j
// at B + j·(4·P·H + 8), each behind an 8-byte head.
//
// Offsets are computed in 64 bits: a harmonic count from a damaged file or
// a position from the caller can be anything, and a field that does not lie
// inside the record must be recognised (FieldInRecord), not wrapped around.
#pragma once

#include <cstdint>

#include "files/file_table.h"

namespace trova {

// P from the channel code of the recording's first file: 2 is one phase,
// 6 three, 8 four; any other code is read as one phase.
int32_t HarmonicPhaseCount(uint32_t channelCode);

constexpr int kMaxHarmonicPhases = 4;

class HarmonicRecordLayout {
public:
    HarmonicRecordLayout(int32_t phases, int64_t headerSize, int64_t recordSize,
                         int32_t harmonics);
    // The layout of `file`'s records: its own D, R and H with the call's P.
    static HarmonicRecordLayout ForFile(const FileInfoRecord &file, int32_t phases);

    int32_t Phases() const { return phases_; }
    int32_t Harmonics() const { return harmonics_; }
    int64_t RecordSize() const { return recordSize_; }
    int64_t SetLength() const { return setLength_; }        // L
    int64_t PowerBlockStart() const { return powerStart_; }  // B

    // Offsets inside a record (record start = 0).
    static constexpr int64_t kTime1 = 0;
    static constexpr int64_t kTime2 = 8;
    static constexpr int64_t kFlag = 16;
    static constexpr int64_t kHarmonicCount = 40;
    static int64_t Scalar(int32_t set) { return 28 + 4 * int64_t{set}; }
    int64_t Voltage(int32_t set, int32_t phase, int32_t k) const {
        return SetStart(set) + Position(phase, k);
    }
    int64_t Current(int32_t set, int32_t phase, int32_t k) const {
        return SetStart(set) + 4 * phaseHarmonics_ + 8 + Position(phase, k);
    }
    // which: 0 = value A, 1 = value B.
    int64_t PhaseValue(int32_t set, int32_t phase, int32_t which) const {
        return SetStart(set) + 8 * phaseHarmonics_ + 16 + 8 * int64_t{phase} + 4 * int64_t{which};
    }
    int64_t PowerBlock(int32_t array, int32_t phase, int32_t k) const {
        return powerStart_ + int64_t{array} * (4 * phaseHarmonics_ + 8) + Position(phase, k);
    }

    // The same fields as offsets into the file (record n).
    int64_t RecordStart(int64_t n) const { return headerSize_ + n * recordSize_; }
    int64_t TimeOffset(int64_t n) const { return RecordStart(n) + kTime1; }
    int64_t FlagOffset(int64_t n) const { return RecordStart(n) + kFlag; }
    int64_t ScalarOffset(int64_t n, int32_t set) const { return RecordStart(n) + Scalar(set); }
    int64_t VoltageOffset(int64_t n, int32_t set, int32_t phase, int32_t k) const {
        return RecordStart(n) + Voltage(set, phase, k);
    }
    int64_t CurrentOffset(int64_t n, int32_t set, int32_t phase, int32_t k) const {
        return RecordStart(n) + Current(set, phase, k);
    }
    int64_t PhaseValueOffset(int64_t n, int32_t set, int32_t phase, int32_t which) const {
        return RecordStart(n) + PhaseValue(set, phase, which);
    }
    int64_t PowerBlockOffset(int64_t n, int32_t array, int32_t phase, int32_t k) const {
        return RecordStart(n) + PowerBlock(array, phase, k);
    }

    // Whether the 4-byte field at record offset `offset` lies inside the record.
    bool FieldInRecord(int64_t offset) const { return offset >= 0 && offset + 4 <= recordSize_; }

private:
    int64_t SetStart(int32_t set) const { return 44 + int64_t{set} * setLength_; }
    int64_t Position(int32_t phase, int32_t k) const {
        return 4 * (int64_t{phase} * harmonics_ + k);
    }

    int32_t phases_;
    int32_t harmonics_;
    int64_t headerSize_;
    int64_t recordSize_;
    int64_t phaseHarmonics_;  // P·H
    int64_t setLength_;
    int64_t powerStart_;
};

}  // namespace trova
