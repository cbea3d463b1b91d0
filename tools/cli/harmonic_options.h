// The options the harmonic views share, and the harmonic recording they
// describe.
#pragma once

#include <algorithm>
#include <string>

#include "common.h"

namespace trova::cli {

struct HarmonicOptions {
    CallOptions call;
    int quantity = 2;
    int set = 0;        // value set 0 or 1 (the readers' MinMax is 1 or 0)
    int reference = 0;  // FirstHarmonic: the position relative values refer to
    int join = 0;
    int reader = 2;
    int harmonic = 1;   // the position (fft-xt, fft-hist)

    void Add(CLI::App &command, int defaultQuantity, int codes, int readers) {
        quantity = defaultQuantity;
        reader = 2;
        AddCallOptions(command, call);
        command.add_option("--quantity", quantity, "quantity code")
            ->check(Whole(1, codes))->capture_default_str();
        command.add_option("--set", set, "value set 0 or 1")->check(Whole(0, 1))
            ->capture_default_str();
        command.add_option("--reference", reference, "position of the reference harmonic")
            ->check(Whole(0, 2147483647))->capture_default_str();
        command.add_option("--join", join, "1: join the value sets")->check(Whole(0, 1))
            ->capture_default_str();
        command.add_option("--reader", reader,
                           readers == 3 ? "1: powers from angles, 2: stored powers, 3: decimated"
                                        : "1: powers from angles, 2: stored powers")
            ->check(Whole(1, readers))->capture_default_str();
    }

    // The recording, with --harmonic and --reference checked against its
    // harmonic positions.
    Recording Describe(bool checkHarmonic) const {
        Recording r = cli::Describe(call, TROVA_VARIANT_HARMONIC);
        const int positions = MostPositions(r);
        if (checkHarmonic && harmonic >= positions) {
            throw CLI::ValidationError("--harmonic", std::to_string(harmonic) +
                                       " is not a position of this recording: 0 to " +
                                       std::to_string(positions - 1));
        }
        if (reference >= positions) {
            throw CLI::ValidationError("--reference", std::to_string(reference) +
                                       " is not a position of this recording: 0 to " +
                                       std::to_string(positions - 1));
        }
        return r;
    }

    int MinMax() const { return set == 1 ? 0 : 1; }

    // The opening of every harmonic view: the recording, the command, the
    // export (family name and reader number) and the arguments.
    Recording Begin(Report &report, const char *command, const char *family,
                    bool checkHarmonic) const {
        const Recording r = Describe(checkHarmonic);
        report.command = command;
        report.reader = family + std::to_string(reader);
        DescribeCall(call, r, report);
        report.arguments["Quantity"] = quantity;
        report.arguments["MinMax"] = MinMax();
        report.arguments["FirstHarmonic"] = reference;
        report.arguments["Join"] = join;
        return r;
    }

    static int MostPositions(const Recording &r) {
        int most = 1;
        for (const TrovaFileInfo &f : r.files) most = std::max(most, int(f.harmonicCount));
        return most;
    }
    static int Phases(const Recording &r) { return std::max(r.info.phaseCount, 1); }
};

}  // namespace trova::cli
