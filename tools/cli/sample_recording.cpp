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

bool WriteSampleHarmonicRecording(const std::string &directory, std::string &firstFile) {
    ::mkdir(directory.c_str(), 0755);
    RecordingPlan plan;
    plan.kind = Kind::Harmonic;
    plan.stem = "sample";
    plan.extension = ".fft";
    plan.interval = 10.0;
    plan.harmonic.channelCode = 6;
    plan.harmonic.harmonics = 25;
    const SeededValues noise(11, -1.0f, 1.0f);
    // Position k is harmonic order k + 1: the fundamental, then odd orders
    // falling off as 1/order and small even ones. Value set 1 holds the
    // same spectra in percent of the fundamental.
    auto level = [](int k) { return k == 0 ? 1.0 : ((k % 2 == 0) ? 0.04 : 0.005) / (k + 1) * 3.0; };
    plan.harmonicValues = [noise, level](int record, HarmonicField field, int set, int phase,
                                         int index) {
        const float jitter = noise(record, field, set, phase, index);
        const double swing = 1.0 + 0.1 * std::sin(record / 40.0 + phase * 2.0943951);
        const double u = 230.0 * level(index) * (1.0 + 0.02 * jitter);
        const double i = 12.0 * swing * level(index) * 2.0 * (1.0 + 0.05 * jitter);
        const double cosPhi = index == 0 ? 0.95 : 0.5;
        switch (field) {
        case HarmonicField::Scalar: return set == 0 ? 50.0f + 0.02f * jitter : 0.0f;
        case HarmonicField::Voltage:
            return static_cast<float>(set == 0 ? u : 100.0 * u / (230.0 * level(0)));
        case HarmonicField::Current:
            return static_cast<float>(set == 0 ? i : 100.0 * i / (12.0 * swing * 2.0));
        case HarmonicField::PhaseValue:  // A: voltage THD %, B: current THD %
            return index == 0 ? 3.0f + 0.3f * jitter : 8.0f * static_cast<float>(swing) + jitter;
        case HarmonicField::Power: {
            const double s = u * i;
            if (set == 0) return static_cast<float>(s * cosPhi);
            if (set == 1) return static_cast<float>(s * std::sqrt(1.0 - cosPhi * cosPhi));
            return static_cast<float>(s);
        }
        }
        return 0.0f;
    };
    plan.flags = everyKth(53, 4, 20);
    plan.add(360);
    plan.add(360);
    plan.add(240, 600.0);
    const RecordingInfo info = writeRecording(directory, plan);
    const std::vector<MemberInfo> table = info.table();
    if (table.empty()) return false;
    firstFile = info.path(table.front());
    return true;
}

}  // namespace trova::rec
