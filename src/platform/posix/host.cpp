// The host interface of the POSIX build (include/trova/host.h) and the
// settings it steers. The progress callback and the log directory share one
// mutex; the completion pause is a single atomic value.
#include "trova/host.h"

#include <atomic>
#include <mutex>
#include <string>

#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"

namespace trova::platform {
namespace {

constexpr int kDefaultCompletionPauseMs = 500;

struct HostSettings {
    std::mutex mutex;
    // Guarded by `mutex`.
    TrovaProgressCallback progressCallback = nullptr;
    void *progressContext = nullptr;
    bool logOff = false;
    std::string logDirectory;  // empty: the per-user default (log_file.cpp)
};

// Created on first use and never destroyed, like the dialog it serves.
HostSettings &Settings() {
    static HostSettings *settings = new HostSettings;
    return *settings;
}

std::atomic<int> completionPauseMs{kDefaultCompletionPauseMs};

}  // namespace

std::string HostLogDirectory(bool *off) {
    HostSettings &s = Settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    *off = s.logOff;
    return s.logDirectory;  // a copy: the host may set another at any time
}

int CompletionPauseMs() { return completionPauseMs.load(); }

void ReportProgress(int progressTotal) {
    HostSettings &s = Settings();
    TrovaProgressCallback callback;
    void *context;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        callback = s.progressCallback;
        context = s.progressContext;
    }
    // Called unlocked: the callback may press the button or set things.
    if (callback != nullptr) callback(progressTotal, context);
}

}  // namespace trova::platform

void TrovaSetProgressCallback(TrovaProgressCallback callback, void *context) {
    trova::platform::HostSettings &s = trova::platform::Settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.progressCallback = callback;
    s.progressContext = context;
}

// A click on button 1001 of the dialog open now; with none open, nothing.
void TrovaRequestCancel(void) { trova::platform::ClickOpenDialogButton(); }

void TrovaSetCompletionPause(int milliseconds) {
    trova::platform::completionPauseMs.store(milliseconds < 0 ? 0 : milliseconds);
}

void TrovaSetLogDirectory(const char *directory) {
    trova::platform::HostSettings &s = trova::platform::Settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.logOff = directory == nullptr || *directory == '\0';
    s.logDirectory = s.logOff ? "" : directory;
}

namespace trova::platform::probe {

void UseDefaultLogDirectory() {
    HostSettings &s = Settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.logOff = false;
    s.logDirectory.clear();
}

}  // namespace trova::platform::probe
