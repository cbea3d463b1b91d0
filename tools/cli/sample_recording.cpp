#include "sample_recording.h"

#include <sys/stat.h>

#include <cmath>

#include "recording_writer.h"

namespace trova::rec {

bool WriteSampleTrendRecording(const std::string &directory, std::string &firstFile) {
    ::mkdir(directory.c_str(), 0755);  // an existing directory is fine
    RecordingPlan plan;
    plan.stem = "sample";
    plan.extension = ".trd";
    plan.interval = 10.0;
    // Per block: quantity 0 frequency, 1 a spare scalar; per phase:
    // quantity 2 voltage, 3 current, 4 nominal voltage (the reference), 5 THD.
    plan.trend.channels = 3;
    plan.trend.statMask = 0x07;  // minimum, maximum, mean blocks
    plan.trend.scalars = 2;
    plan.trend.perChannel = 4;
    plan.trend.refQuantity = 4;
    const SeededValues noise(7, -1.0f, 1.0f);
    plan.trendValues = [noise](int record, int block, int quantity, int channel) {
        const double phase = record / 90.0 + channel * 2.0943951;
        const float spread = block == 0 ? -1.0f : (block == 1 ? 1.0f : 0.0f);
        const float jitter = noise(record, block, quantity, channel);
        switch (quantity) {
        case 0: return 50.0f + 0.02f * jitter + 0.01f * spread;
        case 1: return 0.0f;
        case 2: return static_cast<float>(230.0 + 4.0 * std::sin(phase)) + jitter + 2.0f * spread;
        case 3: return static_cast<float>(12.0 + 3.0 * std::cos(phase)) + 0.2f * jitter + spread;
        case 4: return 230.0f;
        default: return 2.5f + 0.3f * jitter + 0.2f * spread;
        }
    };
    plan.flags = everyKth(97, 1, 40);
    plan.add(360);
    plan.add(360);
    plan.add(360, 1800.0);  // the analyser was off for half an hour
    plan.add(180);
    plan.addRaw(plan.decoyName(Decoy::NoMiddle), Bytes(64, 0));
    const RecordingInfo info = writeRecording(directory, plan);
    const std::vector<MemberInfo> table = info.table();
    if (table.empty()) return false;
    firstFile = info.path(table.front());
    return true;
}

}  // namespace trova::rec
