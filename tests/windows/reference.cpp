// The Linux side of the cross-check with trova.dll.
//
//   trova_reference write DIR   writes the recordings of the case table to
//                               DIR/rec/, runs every case with this build's
//                               readers and saves the outputs to
//                               DIR/expected/<case>.bin
//   trova_reference coverage    only checks that the table covers every
//                               reader this build has a worker for
//
// Exit status 0 on success, 1 when a check fails, 2 on a usage or file error.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "crosscheck.h"
#include "frame/dialog.h"
#include "platform/posix/dialog_probe.h"
#include "trova/host.h"

namespace fs = std::filesystem;
using namespace trova::crosscheck;

namespace {

// Every reader whose worker this build has must be called on a real
// recording by at least one case, and the call must reach the worker (it
// writes *Status). `ran` holds each case run with the status it left; empty
// when only the table is looked at.
std::vector<std::string> CoverageProblems(const std::vector<std::pair<const Case *, int>> &ran) {
    std::vector<std::string> problems;
    for (const ExportInfo &e : Exports()) {
        if (trova::WorkerFor(e.readerKind) == nullptr) continue;
        bool named = false, reached = false;
        for (const Case &c : Cases()) named |= c.reader == e.id && c.pathKind == PathKind::File;
        for (const auto &[c, status] : ran) {
            reached |= c->reader == e.id && c->pathKind == PathKind::File && status != -7777;
        }
        if (!named) {
            problems.push_back(std::string(e.name) +
                               " has a worker but no case on a recording: add one to the case "
                               "table in tests/windows/crosscheck.cpp");
        } else if (!ran.empty() && !reached) {
            problems.push_back(std::string(e.name) +
                               ": no case on a recording reached its worker (Status untouched)");
        }
    }
    // The cases the host runs on their own must not depend on a table that
    // the case before them left in the cache.
    for (size_t i = 1; i < Cases().size(); ++i) {
        const Case &c = Cases()[i];
        const std::string name = c.name;
        if (name != kDialogCase && name != kCancelCase) continue;
        if (CasePath(Cases()[i - 1], '/') == CasePath(c, '/')) {
            problems.push_back(name + " follows a case with the same path");
        }
    }
    return problems;
}

int Status(const Outputs &out) {
    const Block *b = out.Find("Status");
    if (b == nullptr || b->bytes.size() < 4) return -7777;
    std::int32_t v;
    std::memcpy(&v, b->bytes.data(), 4);
    return v;
}

int Write(const fs::path &dir) {
    std::error_code error;
    fs::remove_all(dir / "rec", error);
    fs::remove_all(dir / "expected", error);
    fs::create_directories(dir / "expected", error);
    fs::create_directories(dir / "log", error);
    if (error) {
        std::fprintf(stderr, "cannot create %s: %s\n", dir.c_str(), error.message().c_str());
        return 2;
    }
    for (const NamedRecording &r : Recordings()) {
        trova::rec::writeRecording((dir / "rec" / r.name).string(), r.plan());
    }
    if (chdir(dir.c_str()) != 0) {
        std::perror(dir.c_str());
        return 2;
    }

    const std::string logDir = fs::absolute("log").string();
    const std::string logFile = logDir + "/TrovaDLL.LOG";
    TrovaSetLogDirectory(logDir.c_str());
    TrovaSetCompletionPause(0);  // the outputs do not depend on it

    Side side;
    const std::vector<std::string> missing = BindReaders(
        [](const char *name) -> void (*)() {
            // The readers of this build, by the names the table gives.
            static const std::vector<std::pair<std::string, void (*)()>> linked = {
                {"Reader_XT", reinterpret_cast<void (*)()>(&Reader_XT)},
                {"Reader_XT2", reinterpret_cast<void (*)()>(&Reader_XT2)},
                {"Reader_HIST", reinterpret_cast<void (*)()>(&Reader_HIST)},
                {"Reader_FFT_XT1", reinterpret_cast<void (*)()>(&Reader_FFT_XT1)},
                {"Reader_FFT_XT2", reinterpret_cast<void (*)()>(&Reader_FFT_XT2)},
                {"Reader_FFT_XT3", reinterpret_cast<void (*)()>(&Reader_FFT_XT3)},
                {"Reader_FFT_ALL_Harmonics_XT1",
                 reinterpret_cast<void (*)()>(&Reader_FFT_ALL_Harmonics_XT1)},
                {"Reader_FFT_ALL_Harmonics_XT2",
                 reinterpret_cast<void (*)()>(&Reader_FFT_ALL_Harmonics_XT2)},
                {"Reader_FFT_ALL_Harmonics_XT3",
                 reinterpret_cast<void (*)()>(&Reader_FFT_ALL_Harmonics_XT3)},
                {"Reader_FFT_HIST1", reinterpret_cast<void (*)()>(&Reader_FFT_HIST1)},
                {"Reader_FFT_HIST2", reinterpret_cast<void (*)()>(&Reader_FFT_HIST2)},
                {"Reader_FFT_Table1", reinterpret_cast<void (*)()>(&Reader_FFT_Table1)},
                {"Reader_FFT_Table2", reinterpret_cast<void (*)()>(&Reader_FFT_Table2)},
            };
            for (const auto &[n, f] : linked) {
                if (n == name) return f;
            }
            return nullptr;
        },
        side.readers);
    if (!missing.empty()) {
        std::fprintf(stderr, "no linked reader for %s\n", missing.front().c_str());
        return 2;
    }
    side.separator = '/';
    side.clearLog = [&] { std::remove(logFile.c_str()); };
    side.readLog = [&] {
        std::ifstream in(logFile, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    side.dialogsOpened = [] { return trova::platform::probe::LastDialog().openCount; };

    std::vector<std::pair<const Case *, int>> ran;
    for (const Case &c : Cases()) {
        const Outputs out = RunCase(c, side);
        ran.emplace_back(&c, Status(out));
        const std::vector<std::uint8_t> bytes = out.Serialise();
        std::ofstream file(ExpectedFile(c, '/'), std::ios::binary);
        file.write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        if (!file) {
            std::fprintf(stderr, "cannot write %s\n", ExpectedFile(c, '/').c_str());
            return 2;
        }
    }
    side.clearLog();

    const std::vector<std::string> problems = CoverageProblems(ran);
    for (const std::string &p : problems) std::fprintf(stderr, "FAIL %s\n", p.c_str());
    if (!problems.empty()) return 1;
    std::printf("%zu recordings, %zu cases written to %s\n", Recordings().size(), Cases().size(),
                dir.c_str());
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string command = argc >= 2 ? argv[1] : "";
    if (command == "write" && argc == 3) return Write(fs::absolute(argv[2]));
    if (command == "coverage" && argc == 2) {
        const std::vector<std::string> problems = CoverageProblems({});
        for (const std::string &p : problems) std::fprintf(stderr, "FAIL %s\n", p.c_str());
        if (!problems.empty()) return 1;
        std::printf("every reader with a worker has a cross-check case\n");
        return 0;
    }
    std::fprintf(stderr, "usage: %s write DIR | coverage\n", argc > 0 ? argv[0] : "trova_reference");
    return 2;
}
