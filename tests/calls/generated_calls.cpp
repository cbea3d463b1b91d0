#include "generated_calls.h"

#include <cmath>
#include <cstdio>
#include <vector>

namespace trova::calls {
namespace {

using rec::Damage;
using rec::Kind;
using rec::RecordingPlan;

RecordingPlan RandomPlan(rec::SplitMix64 &r, bool harmonic) {
    RecordingPlan plan;
    plan.kind = harmonic ? Kind::Harmonic : Kind::Trend;
    plan.seed = r.next();
    plan.interval = 1.0 + double(r.next() % 10);
    plan.trend.channels = int(r.next() % 6);
    plan.trend.refQuantity = int(r.next() % 3);
    plan.trend.statMask = 1 + int(r.next() % 7);
    plan.harmonic.channelCode = std::vector<int>{2, 6, 8}[r.next() % 3];
    plan.harmonic.harmonics = std::vector<int>{5, 12, 25, 50}[r.next() % 4];
    plan.harmonic.powerBlock = r.next() % 2 == 0;
    if (r.next() % 4 == 0) plan.flags = rec::everyKth(2 + int(r.next() % 5), 1);
    const int files = 1 + int(r.next() % 6);
    for (int k = 0; k < files; ++k) {
        if (r.next() % 9 == 0) {
            plan.addDamaged(r.next() % 2 ? Damage::TruncatedData : Damage::NoRecords);
        } else {
            plan.add(1 + int(r.next() % 60), r.next() % 3 == 0 ? double(r.next() % 500) : 0.0);
        }
    }
    return plan;
}

// Open, or a time from 50 s before the first record to 50 s after the last,
// on a 1/1024 s grid.
double RandomTime(rec::SplitMix64 &r, const rec::RecordingInfo &info) {
    const std::vector<rec::MemberInfo> table = info.table();
    if (table.empty() || r.next() % 3 == 0) return -1.0;
    const double first = table.front().firstTime, last = table.back().lastTime;
    return std::round((first - 50.0 + (last - first + 100.0) * r.unit()) * 1024.0) / 1024.0;
}

}  // namespace

GeneratedCall CallGenerator::Next(const std::string &directory) {
    rec::SplitMix64 &r = random_;
    GeneratedCall call;
    char name[32];
    std::snprintf(name, sizeof name, "gen-%04d", count_++);
    call.name = name;
    call.reader = static_cast<Export>(r.next() % kExportCount);
    const bool harmonic = InfoOf(call.reader).harmonic != (r.next() % 10 == 0);
    const rec::RecordingInfo info = rec::writeRecording(directory + "/" + name, RandomPlan(r, harmonic));
    const std::vector<rec::MemberInfo> table = info.table();
    call.path = std::string(name) + "/" + (table.empty() ? "meas.001.dat" : table[r.next() % table.size()].name);
    Args &a = call.args;
    a.tStart = RandomTime(r, info);
    a.tStop = RandomTime(r, info);
    a.quantity = int(r.next() % 20) - 2;
    a.minMax = int(r.next() % 4) - 1;
    a.harmonic = int(r.next() % 60);
    a.firstHarmonic = int(r.next() % 8);
    a.join = int(r.next() % 2);
    a.flagged = int(r.next() % 2);
    a.hMinMax = int(r.next() % 2);
    a.points = 1 + int(r.next() % 60);
    a.hMin = r.next() % 4 ? 5.0 * r.unit() : NAN;
    a.hMax = 50.0 + 100.0 * r.unit();
    a.percentil = float(r.next() % 5) / 4.0f;
    a.extRef = r.next() % 3 ? 0.0f : -1.0f;
    a.label = "generated";
    return call;
}

}  // namespace trova::calls
