// What the harmonic histogram and table workers share: the file table of a
// harmonic recording, the window without its stop record, and two passes
// over it with one progress meter (50 % a pass, the accumulator running on
// from the first pass into the second). A cancel in pass 1 skips pass 2.
#pragma once

#include <cstdint>

#include "files/completion.h"
#include "files/file_buffer.h"
#include "files/file_table.h"
#include "files/scan.h"
#include "files/window.h"
#include "harmonics/harmonic_layout.h"
#include "harmstats/harmonic_values.h"

namespace trova {

class TwoPassScan {
public:
    // Ensures the file table and resolves the window. False when the table
    // holds no file: there is nothing to scan, and the worker completes.
    bool Begin(const char *PathFile, double TStart, double TStop) {
        EnsureFileTable(PathFile, HeaderVariant::kHarmonic, buffer_);
        if (FileTable.fileCount < 1) return false;
        window_ = ResolveTimeWindow(FileTable, TStart, TStop, buffer_);
        progress_ = ProgressMeter(ProgressMeter::StepFor(window_, 50.0f));
        return true;
    }

    const FileInfoRecord &first() const { return FileTable.entries[0]; }
    // P, from the first file's channel code, for the whole call.
    int32_t phases() const { return HarmonicPhaseCount(first().channelCode); }

    // Remaps the code and value set in the parameter block (never the
    // caller's memory) and gives what they read.
    template <class CodeT, class SetT>
    HarmonicQuantity Remap(const QuantityRules &rules, CodeT &Quantity, SetT &MinMax, bool join) {
        int32_t code = Quantity;
        int32_t set = MinMax;
        RemapQuantity(rules, first().powerBlockFlag != 0, code, set, flags_);
        Quantity = code;
        MinMax = set;
        return QuantityFor(rules, code, set, join);
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
        return ScanWindow(FileTable, window_, StopRecordRule::kExclude, buffer_, progress_,
                          visitor);
    }

    FileBuffer buffer_;
    TimeWindow window_;
    ProgressMeter progress_{0.0f};
    StatusFlags flags_;
};

}  // namespace trova
