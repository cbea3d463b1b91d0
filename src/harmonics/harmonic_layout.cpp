#include "harmonics/harmonic_layout.h"

namespace trova {

int32_t HarmonicPhaseCount(uint32_t channelCode) {
    switch (static_cast<int32_t>(channelCode)) {
    case 6: return 3;
    case 8: return 4;
    default: return 1;  // 2, and every code the readers do not know
    }
}

HarmonicRecordLayout::HarmonicRecordLayout(int32_t phases, int64_t headerSize, int64_t recordSize,
                                           int32_t harmonics)
    : phases_(phases),
      harmonics_(harmonics),
      headerSize_(headerSize),
      recordSize_(recordSize),
      phaseHarmonics_(int64_t{phases} * harmonics),
      setLength_(8 * phaseHarmonics_ + 8 * int64_t{phases} + 24),
      powerStart_(44 + 2 * setLength_) {}

HarmonicRecordLayout HarmonicRecordLayout::ForFile(const FileInfoRecord &file, int32_t phases) {
    return HarmonicRecordLayout(phases, file.headerSize, file.recordSize, file.harmonicCount);
}

}  // namespace trova
