// What the harmonic histogram and table workers share: the file table of a
// harmonic recording, the window without its stop record, and two passes
// over it with one progress meter (50 % a pass, the accumulator running on
// from the first pass into the second). A cancel in pass 1 skips pass 2.
#pragma once

#include <cstdint>

#include "files/completion.h"
#include "files/file_table.h"
#include "files/scan.h"
#include "harmonics/harmonic_quantity.h"
#include "harmonics/harmonic_scan.h"

namespace trova {

class TwoPassScan {
public:
    // Ensures the file table and settles the window. False when the table
    // holds no file: there is nothing to scan, and the worker completes.
    bool Begin(const char *PathFile, double TStart, double TStop) {
        EnsureFileTable(PathFile, HeaderVariant::kHarmonic);
        if (FileTable.fileCount < 1) return false;
        scan_ = PrepareHarmonicScan(FileTable, TStart, TStop);
        progress_ = ProgressMeter(ProgressMeter::StepFor(scan_.window, 50.0f));
        return true;
    }

    // P, the first file's power-block flag and H.
    const HarmonicScan &scan() const { return scan_; }

    // Corrects the code and value set in the parameter block (never in the
    // caller's memory), remembering the status.
    template <class CodeT, class SetT>
    void Remap(const QuantityRules &rules, CodeT &Quantity, SetT &MinMax) {
        int code = Quantity;
        int set = MinMax;
        RemapQuantity(rules, scan_.hasPowerBlock, code, set, flags_);
        Quantity = code;
        MinMax = set;
    }

    // Pass 1, then `between` (also after a cancel), then pass 2 unless
    // pass 1 was cancelled.
    template <class FirstPass, class Between, class SecondPass>
    void Run(FirstPass &first, Between &&between, SecondPass &second) {
        flags_.cancelled = Pass(first);
        between();
        if (!flags_.cancelled) flags_.cancelled = Pass(second);
    }

    StatusFlags &flags() { return flags_; }

private:
    template <class Visitor>
    bool Pass(Visitor &visitor) {
        return ScanWindow(FileTable, scan_.window, StopRecordRule::kExclude, progress_,
                          visitor);
    }

    HarmonicScan scan_{};
    ProgressMeter progress_{0.0f};
    StatusFlags flags_;
};

}  // namespace trova
