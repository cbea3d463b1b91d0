// The Windows export definitions (resources/trova.def) carry one name that
// no compiler of ours writes by itself: Reader_FFT_HIST2 is exported under
// the decorated name that the platform's own C++ compiler gives to its
// signature, as an alias of the name that mingw-w64 g++ gives to our
// definition. A wrong character in either name means the host cannot bind
// to the reader, or the DLL does not link. These tests recompute both names
// with clang (targets x86_64-pc-windows-msvc and x86_64-w64-windows-gnu),
// from the signature the host binds to and from include/trova/readers.h, and
// compare them with the .def file; they also pin the file's shape: twelve
// plain names and that one alias, nothing else.
//
// They run in the Linux build; without a clang++ on PATH the compiler-based
// ones are skipped (the .def shape is still checked).

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#ifndef TROVA_SOURCE_DIR
#error "TROVA_SOURCE_DIR must name the source tree (a string literal)"
#endif

namespace {

namespace fs = std::filesystem;

// The signature the host binds to: every long is the platform's 32-bit long.
constexpr const char *kSignatureDefinition =
    "int Reader_FFT_HIST2(int, int, double, double, char*, char*, double*, double*, long*, long, "
    "char*, long, long, long*, long, double, double, long*, long*, long, long*, long*) "
    "{ return 1; }\n";

// Takes the address of the reader as readers.h declares it on Windows, so
// the emitted reference carries the header's own decoration.
constexpr const char *kHeaderProbe =
    "#include \"trova/readers.h\"\n"
    "extern \"C\" decltype(&Reader_FFT_HIST2) trova_probe;\n"
    "decltype(&Reader_FFT_HIST2) trova_probe = &Reader_FFT_HIST2;\n";

constexpr const char *kPlatformTarget = "x86_64-pc-windows-msvc";
constexpr const char *kOurTarget = "x86_64-w64-windows-gnu";

const std::vector<std::string> &PlainExports() {
  static const std::vector<std::string> names = {
      "Reader_XT",
      "Reader_XT2",
      "Reader_HIST",
      "Reader_FFT_XT1",
      "Reader_FFT_XT2",
      "Reader_FFT_XT3",
      "Reader_FFT_ALL_Harmonics_XT1",
      "Reader_FFT_ALL_Harmonics_XT2",
      "Reader_FFT_ALL_Harmonics_XT3",
      "Reader_FFT_HIST1",
      "Reader_FFT_Table1",
      "Reader_FFT_Table2",
  };
  return names;
}

std::string SourceDir() { return TROVA_SOURCE_DIR; }
std::string DefPath() { return SourceDir() + "/resources/trova.def"; }

std::string ShellQuote(const std::string &s) {
  std::string out = "'";
  for (char c : s) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += c;
    }
  }
  return out + "'";
}

struct CommandResult {
  int exitCode = -1;
  std::string output;  // standard output only
};

CommandResult Run(const std::string &command) {
  CommandResult result;
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, n);
  int status = pclose(pipe);
  result.exitCode = (status != -1 && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
  return result;
}

// The first clang++ that answers --version: $TROVA_CLANGXX if set, then the
// plain name, then versioned names newest first.
std::string FindClang() {
  std::vector<std::string> candidates;
  if (const char *env = std::getenv("TROVA_CLANGXX"); env != nullptr && *env != '\0') {
    candidates.emplace_back(env);
  }
  candidates.emplace_back("clang++");
  for (int version = 20; version >= 11; --version) {
    candidates.push_back("clang++-" + std::to_string(version));
  }
  for (const std::string &candidate : candidates) {
    if (Run(ShellQuote(candidate) + " --version >/dev/null 2>&1").exitCode == 0) return candidate;
  }
  return "";
}

const std::string &Clang() {
  static const std::string clang = FindClang();
  return clang;
}

class TempSource {
 public:
  explicit TempSource(const std::string &text) {
    static std::atomic<int> counter{0};
    path_ = fs::temp_directory_path() /
            ("trova_decorated_" + std::to_string(getpid()) + "_" + std::to_string(counter++) + ".cpp");
    std::ofstream(path_) << text;
  }
  ~TempSource() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  TempSource(const TempSource &) = delete;
  TempSource &operator=(const TempSource &) = delete;
  std::string path() const { return path_.string(); }

 private:
  fs::path path_;
};

// Assembly of `source` for `target`, or a failure with the compiler's
// messages in `error`.
bool CompileToAssembly(const std::string &target, const std::string &source,
                       std::string *assembly, std::string *error) {
  TempSource file(source);
  TempSource messages("");
  std::string command = ShellQuote(Clang()) + " --target=" + target +
                        " -std=c++17 -ffreestanding -I" + ShellQuote(SourceDir() + "/include") +
                        " -S -o - " + ShellQuote(file.path()) + " 2>" + ShellQuote(messages.path());
  CommandResult result = Run(command);
  if (result.exitCode != 0) {
    std::ifstream in(messages.path());
    std::stringstream text;
    text << in.rdbuf();
    *error = "`" + command + "` exited with " + std::to_string(result.exitCode) + ":\n" + text.str();
    return false;
  }
  *assembly = result.output;
  return true;
}

// Operands of the given directive (".globl", ".quad") whose symbol mentions
// Reader_FFT_HIST2, unquoted, without trailing comments.
std::set<std::string> ReaderSymbols(const std::string &assembly, const std::string &directive) {
  std::set<std::string> symbols;
  std::istringstream lines(assembly);
  std::string line;
  while (std::getline(lines, line)) {
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line.compare(start, directive.size(), directive) != 0) continue;
    size_t pos = line.find_first_not_of(" \t", start + directive.size());
    if (pos == std::string::npos || pos == start + directive.size()) continue;
    std::string symbol;
    if (line[pos] == '"') {
      size_t end = line.find('"', pos + 1);
      if (end == std::string::npos) continue;
      symbol = line.substr(pos + 1, end - pos - 1);
    } else {
      size_t end = line.find_first_of(" \t#", pos);
      symbol = line.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
    }
    if (symbol.find("Reader_FFT_HIST2") != std::string::npos) symbols.insert(symbol);
  }
  return symbols;
}

// One export line of a module-definition file.
struct DefExport {
  std::string name;      // what the DLL exports
  std::string internal;  // the symbol it stands for; empty if the same
};

struct DefFile {
  std::string library;
  std::vector<DefExport> exports;
  std::vector<std::string> unparsed;  // lines of EXPORTS that are not a plain name or an alias
};

std::string Trim(const std::string &s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

bool IsSymbolChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '?' || c == '@' || c == '$';
}

bool IsSymbol(const std::string &s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), IsSymbolChar);
}

bool ReadDef(const std::string &path, DefFile *def) {
  std::ifstream in(path);
  if (!in) return false;
  std::string raw;
  bool inExports = false;
  while (std::getline(in, raw)) {
    std::string line = Trim(raw.substr(0, raw.find(';')));
    if (line.empty()) continue;
    if (line.rfind("LIBRARY", 0) == 0) {
      def->library = Trim(line.substr(7));
      inExports = false;
      continue;
    }
    if (line == "EXPORTS") {
      inExports = true;
      continue;
    }
    if (!inExports) {
      def->unparsed.push_back(line);
      continue;
    }
    DefExport entry;
    std::string rest = line;
    if (rest[0] == '"') {
      size_t end = rest.find('"', 1);
      if (end == std::string::npos) {
        def->unparsed.push_back(line);
        continue;
      }
      entry.name = rest.substr(1, end - 1);
      rest = Trim(rest.substr(end + 1));
    } else {
      size_t end = rest.find('=');
      entry.name = Trim(rest.substr(0, end));
      rest = end == std::string::npos ? "" : rest.substr(end);
    }
    if (!rest.empty()) {
      if (rest[0] != '=') {
        def->unparsed.push_back(line);
        continue;
      }
      entry.internal = Trim(rest.substr(1));
      if (!IsSymbol(entry.internal)) {
        def->unparsed.push_back(line);
        continue;
      }
    }
    if (!IsSymbol(entry.name)) {
      def->unparsed.push_back(line);
      continue;
    }
    def->exports.push_back(entry);
  }
  return true;
}

// The alias line of the .def (the one export with an internal name).
bool FindAlias(const DefFile &def, DefExport *alias) {
  int found = 0;
  for (const DefExport &e : def.exports) {
    if (!e.internal.empty()) {
      *alias = e;
      ++found;
    }
  }
  return found == 1;
}

#define REQUIRE_CLANG()                                                                     \
  do {                                                                                      \
    if (Clang().empty()) {                                                                  \
      GTEST_SKIP() << "no clang++ on PATH (tried $TROVA_CLANGXX, clang++, clang++-20..11); " \
                      "install Debian's clang to check the decorated name";                 \
    }                                                                                       \
  } while (0)

TEST(DecoratedName, DefListsTwelvePlainNamesAndOneAlias) {
  DefFile def;
  ASSERT_TRUE(ReadDef(DefPath(), &def)) << "cannot read " << DefPath();
  EXPECT_EQ(def.library, "trova");
  EXPECT_TRUE(def.unparsed.empty()) << "unexpected line: " << def.unparsed.front();

  std::vector<std::string> plain;
  std::vector<DefExport> aliases;
  for (const DefExport &e : def.exports) {
    if (e.internal.empty()) {
      plain.push_back(e.name);
    } else {
      aliases.push_back(e);
    }
  }
  std::vector<std::string> expected = PlainExports();
  std::sort(plain.begin(), plain.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(plain, expected);
  EXPECT_EQ(def.exports.size(), 13u);

  ASSERT_EQ(aliases.size(), 1u);
  // The alias exports the decorated name only, never the plain one.
  EXPECT_NE(aliases[0].name, "Reader_FFT_HIST2");
  EXPECT_EQ(aliases[0].name.rfind("?Reader_FFT_HIST2@@", 0), 0u) << aliases[0].name;
  EXPECT_EQ(aliases[0].internal.rfind("_Z16Reader_FFT_HIST2", 0), 0u) << aliases[0].internal;
  for (const DefExport &e : def.exports) {
    EXPECT_EQ(e.name.rfind("Trova", 0), std::string::npos)
        << e.name << ": the host interface is not exported on Windows";
  }
}

TEST(DecoratedName, ExportNameIsThePlatformDecorationOfTheSignature) {
  REQUIRE_CLANG();
  DefFile def;
  DefExport alias;
  ASSERT_TRUE(ReadDef(DefPath(), &def)) << "cannot read " << DefPath();
  ASSERT_TRUE(FindAlias(def, &alias)) << "the .def must hold exactly one alias";

  std::string assembly, error;
  ASSERT_TRUE(CompileToAssembly(kPlatformTarget, kSignatureDefinition, &assembly, &error)) << error;
  std::set<std::string> symbols = ReaderSymbols(assembly, ".globl");
  ASSERT_EQ(symbols.size(), 1u) << "expected one global Reader_FFT_HIST2 symbol in:\n" << assembly;
  EXPECT_EQ(alias.name, *symbols.begin());
}

TEST(DecoratedName, InternalNameIsWhatMingwGivesTheSignature) {
  REQUIRE_CLANG();
  DefFile def;
  DefExport alias;
  ASSERT_TRUE(ReadDef(DefPath(), &def)) << "cannot read " << DefPath();
  ASSERT_TRUE(FindAlias(def, &alias)) << "the .def must hold exactly one alias";

  std::string assembly, error;
  ASSERT_TRUE(CompileToAssembly(kOurTarget, kSignatureDefinition, &assembly, &error)) << error;
  std::set<std::string> symbols = ReaderSymbols(assembly, ".globl");
  ASSERT_EQ(symbols.size(), 1u) << "expected one global Reader_FFT_HIST2 symbol in:\n" << assembly;
  EXPECT_EQ(alias.internal, *symbols.begin());
}

TEST(DecoratedName, HeaderDeclarationCarriesBothNames) {
  REQUIRE_CLANG();
  DefFile def;
  DefExport alias;
  ASSERT_TRUE(ReadDef(DefPath(), &def)) << "cannot read " << DefPath();
  ASSERT_TRUE(FindAlias(def, &alias)) << "the .def must hold exactly one alias";

  // What the host binds to, from the header's Windows declaration.
  std::string assembly, error;
  ASSERT_TRUE(CompileToAssembly(kPlatformTarget, kHeaderProbe, &assembly, &error)) << error;
  std::set<std::string> platform = ReaderSymbols(assembly, ".quad");
  ASSERT_EQ(platform.size(), 1u) << "expected one reference to Reader_FFT_HIST2 in:\n" << assembly;
  EXPECT_EQ(alias.name, *platform.begin());

  // What our mingw build defines, from the same declaration.
  ASSERT_TRUE(CompileToAssembly(kOurTarget, kHeaderProbe, &assembly, &error)) << error;
  std::set<std::string> ours = ReaderSymbols(assembly, ".quad");
  ASSERT_EQ(ours.size(), 1u) << "expected one reference to Reader_FFT_HIST2 in:\n" << assembly;
  EXPECT_EQ(alias.internal, *ours.begin());
}

}  // namespace
