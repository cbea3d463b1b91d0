// resources/trova.def exports Reader_FFT_HIST2 only under the decorated name
// the platform's own C++ compiler gives its signature, as an alias of the
// name mingw-w64 g++ gives our definition. A wrong character in either and
// the host cannot bind, or the DLL does not link. clang recomputes both
// names here (targets x86_64-pc-windows-msvc and x86_64-w64-windows-gnu),
// from the signature the host binds to and from include/trova/readers.h.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr const char *kSignature =
    "int Reader_FFT_HIST2(int, int, double, double, char*, char*, double*, double*, long*, long, "
    "char*, long, long, long*, long, double, double, long*, long*, long, long*, long*) "
    "{ return 1; }\n";
// The reader as readers.h declares it on Windows.
constexpr const char *kHeaderProbe =
    "#include \"trova/readers.h\"\n"
    "extern \"C\" decltype(&Reader_FFT_HIST2) probe;\n"
    "decltype(&Reader_FFT_HIST2) probe = &Reader_FFT_HIST2;\n";

std::string RunCapture(const std::string &command) {
    std::string out;
    if (FILE *pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
        pclose(pipe);
    }
    return out;
}

// The Reader_FFT_HIST2 symbol in the assembly clang makes of `source` (in a
// file of this process: other test programs may run beside it).
std::string SymbolFor(const std::string &target, const std::string &source) {
    const std::string file = ::testing::TempDir() + "trova_probe_" + std::to_string(getpid()) + ".cpp";
    std::ofstream(file) << source;
    const std::string assembly = RunCapture("clang++ --target=" + target + " -std=c++17 -S -o - -I" TROVA_SOURCE_DIR
                                            "/include " + file + " 2>&1");
    std::remove(file.c_str());
    std::smatch match;
    const std::regex symbol(R"((\?Reader_FFT_HIST2@@[A-Z0-9@_$]+@Z|_Z16Reader_FFT_HIST2\w+))");
    return std::regex_search(assembly, match, symbol) ? match.str(1) : "no symbol in:\n" + assembly;
}

TEST(DecoratedName, DefHasTwelvePlainReadersTheQueryAndTheTwoComputedNames) {
    std::ifstream in(TROVA_SOURCE_DIR "/resources/trova.def");
    std::set<std::string> plain;
    std::vector<std::string> aliases;  // "exported=internal", quotes dropped
    bool exports = false;
    for (std::string line, word; std::getline(in, line);) {
        if (!(std::istringstream(line.substr(0, line.find(';'))) >> word)) continue;
        if (!exports) exports = word == "EXPORTS";
        else if (word.find('=') == std::string::npos) plain.insert(word);
        else aliases.push_back(std::regex_replace(word, std::regex("^\"(.*)\"="), "$1="));
    }
    EXPECT_EQ(plain, (std::set<std::string>{
                         "Reader_XT", "Reader_XT2", "Reader_HIST", "Reader_FFT_XT1", "Reader_FFT_XT2",
                         "Reader_FFT_XT3", "Reader_FFT_ALL_Harmonics_XT1", "Reader_FFT_ALL_Harmonics_XT2",
                         "Reader_FFT_ALL_Harmonics_XT3", "Reader_FFT_HIST1", "Reader_FFT_Table1",
                         "Reader_FFT_Table2", "TrovaDescribeRecording"}));
    if (RunCapture("clang++ --version 2>/dev/null").empty()) GTEST_SKIP() << "no clang++ (scripts/windows/install-deps.sh)";
    // From the signature the host binds to, and from the header's Windows declaration.
    for (const char *source : {kSignature, kHeaderProbe}) {
        EXPECT_EQ(aliases, std::vector<std::string>{SymbolFor("x86_64-pc-windows-msvc", source) + "=" +
                                                    SymbolFor("x86_64-w64-windows-gnu", source)});
    }
}

}  // namespace
