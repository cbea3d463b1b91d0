#include "frame/log.h"

#include <cstdio>
#include <string>

#include "platform/win32.h"

namespace trova {

#ifdef _WIN32
// C:\Temp\TrovaDLL.LOG in text mode, which stores each line feed as CR LF.
// The directory is not created; without it the line is dropped.
void LogLine(const char *text) {
    std::FILE *file = std::fopen("C:\\Temp\\TrovaDLL.LOG", "at+");
    if (file == nullptr) return;
    std::fprintf(file, "%s\n", text != nullptr ? text : "");
    std::fclose(file);
}
#else
// The same bytes: the text, CR, LF (where the file lives: platform/posix/log_file.cpp).
void LogLine(const char *text) {
    std::string line = text != nullptr ? text : "";
    line += "\r\n";
    platform::AppendLogLine(line.data(), line.size());
}
#endif

namespace {
constexpr size_t kLineBufferSize = 256;
}  // namespace

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
