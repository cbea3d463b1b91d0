// What tests may look at and steer in the headless dialog of the POSIX
// stand-in. Not part of the library's public interface.
#pragma once

#include <functional>
#include <string>

#include "win32_posix.h"

namespace trova::platform::probe {

// The state of the most recent dialog, as it was when it closed (or now,
// while it is open).
struct DialogState {
    bool everOpened = false;
    int openCount = 0;          // dialogs opened since the process started
    bool open = false;
    int templateId = 0;
    HWND owner = nullptr;
    std::string title;
    std::string buttonText;
    int barMin = 0, barMax = 0, barStep = 0, barPos = 0;
    bool topmost = false;
    RECT rect{};
    int setPosCount = 0;        // PBM_SETPOS messages the bar received
};
DialogState LastDialog();

// Called inside every zero-wait WaitForSingleObject, before the event is
// looked at, with the 0-based index of that poll since the hook was set and
// the event polled. Lets a test press the button at a chosen poll (and wait
// until the dialog has set the event). Pass nullptr to remove it.
void SetPollHook(std::function<void(int pollIndex, HANDLE event)> hook);

// True while the event is signalled (does not consume it).
bool EventIsSignalled(HANDLE event);

// While set, _beginthread starts nothing and returns (uintptr_t)-1, as it
// does when the system cannot create a thread.
void SetThreadStartFailure(bool fail);

// Back to the per-user default log directory, as at load.
void UseDefaultLogDirectory();

// The virtual primary screen's size in pixels.
constexpr int kScreenWidth = 1920;
constexpr int kScreenHeight = 1080;

}  // namespace trova::platform::probe
