#include "reader_calls.h"

#include "reader_call.h"

namespace trova::fuzz {
namespace {

const calls::ExportInfo &ExportOfKind(int kind) {
    for (const calls::ExportInfo &e : calls::Exports()) {
        if (e.readerKind == kind) return e;
    }
    return calls::Exports().front();
}

size_t Room(const ReaderCall &c) { return c.points > 0 ? static_cast<size_t>(c.points) : 0; }

}  // namespace

ReaderOutcome CallReader(const ReaderCall &c, char *path) {
    const calls::ExportInfo &reader = ExportOfKind(c.kind);
    calls::Args a;
    a.quantity = c.quantity, a.minMax = c.minMax, a.tStart = c.tStart, a.tStop = c.tStop;
    a.extRef = c.value, a.percentil = c.value, a.points = c.points, a.harmonic = c.harmonic;
    a.firstHarmonic = c.firstHarmonic, a.join = c.join, a.hMinMax = c.hMinMax, a.hMin = c.hMin;
    a.hMax = c.hMax, a.flagged = c.flagged, a.label = "trova", a.button = "Stop";
    static const calls::Readers readers = calls::LinkedReaders();
    const calls::Shape shape = calls::DescribeShape(readers, path, reader.harmonic);
    const calls::Outcome o = calls::Call(readers, reader.id, a, path, shape, 0);
    ReaderOutcome outcome;
    outcome.ran = o.ran;
    outcome.result = o.result;
    outcome.status = o.Int("Status", -1);
    outcome.outputs = o.Bytes();
    return outcome;
}

bool ResultInRange(const ReaderCall &call, int result) {
    const int room = static_cast<int>(Room(call));
    switch (call.kind) {
    case 1: return result >= -1 && result <= room;
    case 2: case 3: case 11: case 12: return result >= 0 && result <= room;
    case 8: return result >= -1 && result <= 100;
    case 9: case 10: return result >= 0 && result <= 100;
    case 13: return result == 0;
    default: return result == 1;  // the histograms and tables
    }
}

}  // namespace trova::fuzz
