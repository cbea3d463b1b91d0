#!/usr/bin/python3
"""Mutation pass: do the tests catch small faults in the readers' rules?

Applies each edit of MUTANTS to the checkout, rebuilds the test binary
incrementally, runs the Linux suites, records caught (with the tests that
failed) or missed, and puts the file back (always). Prints the kill rate and
the missed mutants.

    /usr/bin/python3 scripts/mutation.py [--build DIR] [--only WORD,WORD...] [--jobs N]

An edit whose text is no longer in the file is reported "not applicable"
(the code moved on): keep the list fixed across a rewrite of the tests so
that the rates before and after compare the same faults.
"""
import argparse
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# (file, text, replacement, what the fault is). Only faults a caller could
# observe: rules 2 and 3 of the status order never meet (without files the
# selector is not checked), an open window's K is the table's total either
# way, a factor of 1 fits as many samples as points either way, and a
# record shorter than its two time terms fails the bounded read of the last
# record's time even where the length check would let it pass. Each edit
# must build with -DTROVA_WERROR=ON (no unused names left behind), or its
# "caught: build" says nothing about the tests.
MUTANTS = [
    ("src/files/completion.h", "if (flags.noPowerBlock) status = READER_NO_POWER_BLOCK;", "", "status 5 never set"),
    ("src/files/scan.h", "if (accumulator_ > 10.0f) {", "if (accumulator_ >= 10.0f) {", "progress posted at exactly 10 %"),
    ("src/files/scan.h", "end = rule == StopRecordRule::kRead ? stop + 1 : stop;", "end = rule == StopRecordRule::kRead ? stop : stop;", "stop record never read"),
    ("src/files/scan.h", "end = rule == StopRecordRule::kRead ? stop + 1 : stop;", "end = rule == StopRecordRule::kRead ? stop + 1 : stop + 1;", "stop record read by the histograms and tables"),
    ("src/files/window.cpp", "if (time <= RecordTime(chunks.data(), i * size)) {", "if (time < RecordTime(chunks.data(), i * size)) {", "window record at exactly TStart skipped"),
    ("src/files/window.cpp", "if (time <= table.entries[i].lastTime) return i;", "if (time < table.entries[i].lastTime) return i;", "file ending exactly at the bound skipped"),
    ("src/files/window.cpp", "TStart >= entries[n - 1].lastTime)", "TStart > entries[n - 1].lastTime)", "TStart at the last record not read as open"),
    ("src/files/window.cpp", "TStop < entries[0].firstTime ||", "TStop <= entries[0].firstTime ||", "TStop at the first record read as open"),
    ("src/harmstats/percentile_cell.cpp", "if (at >= total) result = min_ + width_ * 100.0f;", "if (at >= total) result = min_ + width_ * 99.0f;", "percentile of the last bin"),
    ("src/harmstats/percentile_cell.cpp", "static_cast<float>(cumulative_[b]) < threshold) ++b;", "static_cast<float>(cumulative_[b]) <= threshold) ++b;", "percentile bin search"),
    ("src/harmstats/percentile_cell.cpp", "const float base = min_ + width_ * static_cast<float>(b - 1);", "const float base = min_ + width_ * static_cast<float>(b);", "percentile interpolation base"),
    ("src/harmstats/percentile_cell.cpp", "width_ = range / 100.0f;", "width_ = range / 99.0f;", "percentile bin width"),
    ("src/trend/reader_hist.cpp", "width = static_cast<double>((maximum - minimum) / 100.0f);", "width = (static_cast<double>(maximum) - minimum) / 100.0;", "histogram width in double instead of float"),
    ("src/trend/reader_hist.cpp", "width = (params.HMax - params.HMin) / 98.0;", "width = (params.HMax - params.HMin) / 100.0;", "fixed-range histogram width"),
    ("src/harmonics/harmonic_power.h", "const double ui = static_cast<double>(voltage) / std::sqrt(3.0) * static_cast<double>(current);",
     "const double ui = static_cast<double>(voltage * current) / std::sqrt(3.0);", "joined power product in float"),
    ("src/frame/exports.cpp", 'LogLine("Finish Reader_XT2");', 'LogLine("Finish Reader_XT");', "closing log line of Reader_XT2"),
    ("src/trend/reader_xt.cpp", 'LogLine("Start Reader_Thread");', 'LogLine("Start Reader_Thread ");', "worker start log line"),
    ("src/frame/exports.cpp", "int InvertedMinMax(long long MinMax) { return MinMax == 0 ? 1 : 0; }", "int InvertedMinMax(long long MinMax) { return MinMax == 1 ? 0 : 1; }", "MinMax inversion of other values"),
    ("src/frame/exports.cpp", "if (Percentil > 1.0f) return 1.0f;", "", "percentile not clamped above 1"),
    ("src/files/headers.cpp", "if (!(first <= last) || first == 0.0 || last == 0.0) return HeaderVerdict::kBadTimes;", "if (!(first <= last)) return HeaderVerdict::kBadTimes;", "zero record times accepted"),
    ("src/harmonics/harmonic_power.h", "const float delta = voltageAngle - currentAngle;", "const float delta = currentAngle - voltageAngle;", "angle difference reversed (reactive power's sign)"),
    ("src/harmonics/harmonic_power.h", "return static_cast<float>(static_cast<double>(ui) * trig);", "return static_cast<float>(ui * static_cast<float>(trig));", "unjoined angle power multiplied in float"),
    ("src/harmonics/harmonic_power.h", "constexpr double kJoinAngle = 1.0471666666666668;", "constexpr double kJoinAngle = 1.0471975511965976;", "joined angle an exact third of pi"),
    ("src/harmonics/harmonic_power.h", "return static_cast<float>(static_cast<double>(value / reference) * 100.0);", "return static_cast<float>(static_cast<double>(value) / reference * 100.0);", "percent quotient in double"),
    ("src/harmonics/harmonic_quantity.cpp", "case 2: Quantity = 6; break;", "case 2: break;", "trend code 2 not exchanged for MinMax 1"),
    ("src/harmonics/harmonic_quantity.cpp", "if (Quantity > 5 && m > 0) {", "if (Quantity > 6 && m > 0) {", "code 6 keeps a nonzero MinMax"),
    ("src/harmonics/harmonic_quantity.cpp", "if ((Quantity == 9 || Quantity == 10) && m == 1) {", "if (Quantity == 9 && m == 1) {", "spectrum code 10 not exchanged"),
    ("src/harmonics/harmonic_quantity.cpp", "q.highest = code == 14 || code == 16 ? 40 : 50;", "q.highest = code == 14 || code == 16 ? 39 : 50;", "distortion summed to position 39"),
    ("src/harmonics/reader_fft_all.cpp", "StopRecordRule::kRead, progress, visitor);", "StopRecordRule::kExclude, progress, visitor);", "stop record never read by the all-harmonics readers"),
    ("src/harmonics/harmonic_curves.h", "(test_.stopInEffect && time > test_.TStop);", "(test_.stopInEffect && time >= test_.TStop);", "curve record at exactly TStop left out"),
    ("src/harmonics/harmonic_scan.cpp", "scan.harmonics = first.harmonicCount;", "scan.harmonics = first.harmonicCount - 1;", "HarmCount one short"),
    ("src/trend/reader_hist.cpp", "if (sample.flagWord != 0 && params_.Flagged == 0) return;", "if (sample.flagWord != 0 && params_.Flagged != 0) return;", "histogram flag filter inverted"),
    # The grouping, curve, binning, table, discovery, header, cache and reference rules.
    ("src/trend/reader_xt.cpp", "if (inGroup_ == factor_ || position.lastOfWindow) WritePoint();", "if (inGroup_ == factor_ && (position.lastOfWindow || true)) WritePoint();", "trend's short last group dropped"),
    ("src/trend/reader_xt.cpp", "const float count = static_cast<float>(inGroup_);", "const float count = static_cast<float>(factor_);", "trend mean divided by the factor, not the group's records"),
    ("src/files/window.cpp", "return ClampToInt32((samples + points - 1) / points);", "return ClampToInt32(samples / points);", "group factor rounded down"),
    ("src/files/window.cpp", "return sum - window.startRecord + window.stopRecord -", "return sum - window.startRecord + 1 + window.stopRecord -", "window's record count one too many"),
    ("src/curve/interleave_curve.cpp", "if (whole > 0.0 && std::fmod(whole, 2.0) == 1.0) whole += 1.0;", "", "curve bin size left odd"),
    ("src/curve/interleave_curve.h", "binFirstTime1 = count > 0 ? times1[count - 1] : time1;", "binFirstTime1 = time1;", "curve bin starts at its own first sample"),
    ("src/trend/reader_hist.cpp", "index = TruncToInt32(quotient);", "index = TruncToInt32(quotient + 0.5);", "histogram bin index rounded, not truncated"),
    ("src/trend/reader_hist.cpp", "range.minimum[c] = static_cast<float>(params.HMin - width);", "range.minimum[c] = static_cast<float>(params.HMin);", "fixed-range bins counted from HMin, not one bin below"),
    ("src/harmonics/harmonic_grouping.cpp", "if (min_[at] > v) {", "if (min_[at] >= v) {", "time of the minimum from the last of equal minima"),
    ("src/harmonics/harmonic_grouping.cpp", "(options_.closeAtWindowEnd && lastOfWindow)", "(lastOfWindow)", "incomplete last group delivered by every grouping reader"),
    ("src/harmstats/reader_fft_table.cpp", "params.ValueBTable[p] = cells.ValueB(p).Percentile(pct);", "params.ValueBTable[p] = cells.ValueA(p).Percentile(pct);", "value B's percentile from value A's cell"),
    ("src/harmstats/reader_fft_table.cpp", "for (int32_t p = 1; p < phases; ++p) harmonics(p);", "for (int32_t p = 1; p < phases - 1; ++p) harmonics(p);", "table's last phase not written"),
    ("src/files/discovery.cpp", "return std::strcmp(a.c_str(), b.c_str()) < 0;", "return std::strcmp(a.c_str(), b.c_str()) > 0;", "members in reverse name order"),
    ("src/files/headers.cpp", "recordLength > std::numeric_limits<int32_t>::max() || dataLength % recordLength != 0) {", "recordLength > std::numeric_limits<int32_t>::max()) {", "data not a whole number of records accepted"),
    ("src/files/headers.cpp", "out.powerBlockFlag = static_cast<uint32_t>(SignedByte(head, 3)) & 2u;", "out.powerBlockFlag = static_cast<uint32_t>(SignedByte(head, 3)) & 1u;", "power block flag read from the wrong bit"),
    ("src/files/file_table.cpp", "if (gForget.exchange(false) || std::strcmp(FileTable.cachedPath, path) != 0) ReleaseFileTable();", "if (std::strcmp(FileTable.cachedPath, path) != 0) ReleaseFileTable();", "a request to forget the cached table ignored"),
    ("src/trend/trend_layout.cpp", "plan.divideByRef = ExtRef == -1.0f;", "plan.divideByRef = ExtRef < 0.0f;", "any negative ExtRef divides by the reference"),
    ("src/harmstats/reader_fft_hist.cpp", "if (flagged) *extended_->FFlaggedPoints += 1;", "if (flagged && extended_->Flagged != 0) *extended_->FFlaggedPoints += 1;", "HIST2 counts flagged records only when it bins them"),
    ("src/trend/reader_hist.cpp", 'LogInt("FTotalPoints  ", static_cast<int32_t>(*params_.FTotalPoints));', 'LogInt("FTotalPoints ", static_cast<int32_t>(*params_.FTotalPoints));', "histogram counter log label padding"),
]


def run(command, cwd, timeout):
    return subprocess.run(command, cwd=cwd, capture_output=True, text=True, timeout=timeout)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", default=os.path.join(ROOT, "build", "mutation"))
    parser.add_argument("--only", default="",
                        help="run only the faults whose file or description holds one of these words")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    args = parser.parse_args()
    run(["cmake", "-S", ROOT, "-B", args.build, "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DTROVA_WERROR=ON"], ROOT, 600)
    build = ["cmake", "--build", args.build, f"-j{args.jobs}", "--target", "trova_tests"]
    tests = [os.path.join(args.build, "tests", "trova_tests"), "--gtest_brief=1"]
    if run(build, ROOT, 1800).returncode != 0 or run(tests, ROOT, 600).returncode != 0:
        sys.exit("the unmutated tree does not build or pass: nothing to measure")
    caught, missed, skipped = [], [], []
    for path, text, replacement, what in MUTANTS:
        words = [w for w in args.only.split(",") if w]
        if words and not any(w in what or w in path for w in words):
            continue
        full = os.path.join(ROOT, path)
        original = open(full).read()
        if original.count(text) != 1:
            skipped.append(what)
            print(f"n/a     {what} ({path}: text not found once)")
            continue
        started = time.time()
        try:
            with open(full, "w") as out:
                out.write(original.replace(text, replacement))
            built = run(build, ROOT, 1800)
            verdict = "caught" if built.returncode != 0 else None
            killers = "build" if verdict else ""
            if verdict is None:
                try:
                    ran = run(tests, ROOT, 300)
                    verdict = "caught" if ran.returncode != 0 else "missed"
                    killers = " ".join(sorted({line.split()[3] for line in ran.stdout.splitlines()
                                               if line.startswith("[  FAILED  ]") and len(line.split()) > 3
                                               and "." in line.split()[3]}))
                except subprocess.TimeoutExpired:
                    verdict, killers = "caught", "timeout"  # a hang is a failure the tests see
        finally:
            with open(full, "w") as out:
                out.write(original)
        (caught if verdict == "caught" else missed).append(what)
        print(f"{verdict:7} {what} ({time.time() - started:.0f} s){': ' + killers if killers else ''}",
              flush=True)
    run(build, ROOT, 1800)  # leave the build matching the tree
    total = len(caught) + len(missed)
    print(f"\nkilled {len(caught)} of {total} mutants ({100.0 * len(caught) / max(total, 1):.0f} %), "
          f"{len(skipped)} not applicable")
    for what in missed:
        print(f"  missed: {what}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
