#include "generated_calls.h"

#include <cmath>
#include <cstdio>
#include <vector>

namespace trova::calls {
namespace {

using rec::Damage;
using rec::Kind;
using rec::RecordingPlan;

// Open, or a time from 50 s before the first record to 50 s after the last,
// on a 1/1024 s grid.
double RandomTime(rec::SplitMix64 &r, const rec::RecordingInfo &info) {
    const std::vector<rec::MemberInfo> table = info.table();
    if (table.empty() || r.next() % 3 == 0) return -1.0;
    const double first = table.front().firstTime, last = table.back().lastTime;
    return std::round((first - 50.0 + (last - first + 100.0) * r.unit()) * 1024.0) / 1024.0;
}

}  // namespace

RecordingPlan RandomPlan(rec::SplitMix64 &r, bool harmonic, int members, int records) {
    const auto below = [&r](int n) { return int(r.next() % unsigned(n)); };
    RecordingPlan plan;
    plan.kind = harmonic ? Kind::Harmonic : Kind::Trend;
    plan.seed = r.next();
    plan.interval = 1.0 + double(below(10));
    rec::TrendFormat &trend = plan.trend;
    trend.channels = below(7);
    trend.statMask = 1 + below(7);
    trend.scalars = below(4);
    trend.perChannel = below(5);
    trend.refQuantity = below(trend.scalars + trend.perChannel + 1);
    rec::HarmonicFormat &spectrum = plan.harmonic;
    spectrum.channelCode = std::vector<int>{2, 6, 8, 2, 6, 8, 7, 0}[below(8)];
    spectrum.harmonics = std::vector<int>{5, 12, 25, 50}[below(4)];
    spectrum.powerBlock = below(3) != 0;
    for (int *knob : {&trend.recordParts, &spectrum.recordParts}) *knob = 1 + below(3);
    for (int *knob : {&trend.extraRecordBytes, &spectrum.extraRecordBytes}) *knob = below(4) ? 0 : 8;
    for (int *knob : {&trend.headerPadding, &spectrum.headerPadding}) *knob = below(4) ? 0 : 12;
    if (below(4) == 0) plan.flags = rec::everyKth(2 + below(5), 1);
    const int files = 1 + below(members);
    for (int k = 0; k < files; ++k) {
        if (below(9) == 0) {
            plan.addDamaged(below(2) ? Damage::TruncatedData : Damage::NoRecords);
            continue;
        }
        rec::MemberPlan &member = plan.add(1 + below(records), below(3) == 0 ? double(below(500)) : 0.0);
        if (harmonic && below(4) == 0) {
            member.harmonic = spectrum;
            member.harmonic->harmonics = 1 + below(50);
        }
    }
    return plan;
}

GeneratedCall CallGenerator::Next(const std::string &directory) {
    rec::SplitMix64 &r = random_;
    GeneratedCall call;
    char name[32];
    std::snprintf(name, sizeof name, "gen-%04d", count_++);
    call.name = name;
    call.reader = static_cast<Export>(r.next() % kExportCount);
    const bool harmonic = InfoOf(call.reader).harmonic != (r.next() % 10 == 0);
    const rec::RecordingInfo info = rec::writeRecording(directory + "/" + name, RandomPlan(r, harmonic, 6, records_));
    const std::vector<rec::MemberInfo> table = info.table();
    call.path = std::string(name) + "/" + (table.empty() ? "meas.001.dat" : table[r.next() % table.size()].name);
    call.args = RandomArgs(r, info);
    return call;
}

Args RandomArgs(rec::SplitMix64 &r, const rec::RecordingInfo &info) {
    Args a;
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
    return a;
}

}  // namespace trova::calls
