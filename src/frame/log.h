// The diagnostic log TrovaDLL.LOG: one line per call, opened, appended and
// closed each time, no time stamp, no prefix; lines end with CR LF on every
// platform. A log that cannot be opened drops the line silently.
#pragma once

#include <cstdint>

namespace trova {

void LogLine(const char *text);
// "%s = %s", "%s = %.2lf" and "%s = %d". Labels carry their own trailing
// blanks ("TStart   ") so that the equals signs line up. A formatted line
// longer than 255 characters is cut to 255.
void LogString(const char *label, const char *value);
void LogDouble(const char *label, double value);
void LogInt(const char *label, int32_t value);

}  // namespace trova
