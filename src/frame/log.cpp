#include "frame/log.h"

#include <cstdio>

#include "platform/win32.h"

namespace trova {
namespace {

constexpr const char *kLogFileName = "TrovaDLL.LOG";
constexpr size_t kLineBufferSize = 256;

#ifdef _WIN32
// Text mode stores each line feed as CR LF.
constexpr const char *kLogMode = "at+";
constexpr const char *kLineEnd = "\n";
constexpr char kSeparator = '\\';
#else
constexpr const char *kLogMode = "ab";
constexpr const char *kLineEnd = "\r\n";
constexpr char kSeparator = '/';
#endif

}  // namespace

void LogLine(const char *text) {
    const char *directory = platform::LogDirectory();
    if (directory == nullptr || *directory == '\0') return;
    char path[4096];
    const int n = std::snprintf(path, sizeof path, "%s%c%s", directory, kSeparator, kLogFileName);
    if (n < 0 || static_cast<size_t>(n) >= sizeof path) return;
    std::FILE *file = std::fopen(path, kLogMode);
    if (file == nullptr) return;
    std::fprintf(file, "%s%s", text != nullptr ? text : "", kLineEnd);
    std::fclose(file);
}

void LogString(const char *label, const char *value) {
    char line[kLineBufferSize];
    std::snprintf(line, sizeof line, "%s = %s", label, value != nullptr ? value : "");
    LogLine(line);
}

void LogDouble(const char *label, double value) {
    char line[kLineBufferSize];
    std::snprintf(line, sizeof line, "%s = %.2lf", label, value);
    LogLine(line);
}

void LogInt(const char *label, int32_t value) {
    char line[kLineBufferSize];
    std::snprintf(line, sizeof line, "%s = %d", label, static_cast<int>(value));
    LogLine(line);
}

}  // namespace trova
