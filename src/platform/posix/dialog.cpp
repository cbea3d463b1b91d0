// The headless modal dialog of the POSIX build.
//
// There is one dialog window with two controls, the progress bar (1000) and
// the button (1001), all in static storage: the library runs one export call
// at a time, and each call opens at most one dialog. DialogBoxParamA runs the
// dialog procedure on the calling thread; PostMessageA, which the workers
// call from their own threads, appends to a queue that the modal loop drains
// in order. One mutex guards the window state and the queue; the loop sleeps
// on a condition variable that PostMessageA and EndDialog signal. The
// dialog procedure is always called with the mutex released, so it may
// call back into any function here.
//
// A window is live from the moment DialogBoxParamA opens the dialog until
// the modal loop has returned; calls on a window that is not live fail as
// they would on a destroyed window. Its state stays readable through
// probe::LastDialog() until the next dialog opens.
#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"

// A window of the headless dialog: the dialog itself (control id 0) or one
// of its controls. The state lives in the dialog, not in the windows.
struct TrovaWindow {
    int controlId;
};

namespace trova::platform {
namespace {

constexpr uintptr_t kProgressTemplateId = 101;
constexpr int kBarId = 1000;
constexpr int kButtonId = 1001;

// Template 101 measures 186 x 82 dialog units and asks for an 8-point font,
// whose base units we take as 6 x 13 pixels (a dialog unit is a quarter of
// the width and an eighth of the height): a 279 x 133 pixel client area.
// A 3-pixel modal frame on every side and a 22-pixel caption make the
// window 285 x 161 pixels; it starts at (0, 0) as the template says.
constexpr int kTemplateWidthDlu = 186;
constexpr int kTemplateHeightDlu = 82;
constexpr int kBaseUnitX = 6;
constexpr int kBaseUnitY = 13;
constexpr int kFrame = 3;
constexpr int kCaption = 22;
constexpr int kWindowWidth = kTemplateWidthDlu * kBaseUnitX / 4 + 2 * kFrame;
constexpr int kWindowHeight = kTemplateHeightDlu * kBaseUnitY / 8 + 2 * kFrame + kCaption;
static_assert(kWindowWidth == 285 && kWindowHeight == 161, "dialog geometry");

// Z-order and placement details SetWindowPos understands beyond the two
// flags the frame passes.
constexpr intptr_t kNoTopmost = -2;  // HWND_NOTOPMOST
constexpr UINT kNoZOrder = 0x0004;   // SWP_NOZORDER

struct Message {
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
};

struct Dialog {
    std::mutex mutex;
    std::condition_variable wake;  // a message was queued, or EndDialog was called
    TrovaWindow window{0};
    TrovaWindow bar{kBarId};
    TrovaWindow button{kButtonId};
    // Everything below is guarded by `mutex`.
    probe::DialogState state;
    DLGPROC proc = nullptr;
    std::deque<Message> queue;
    bool ended = false;  // EndDialog was called; the loop returns `result`
    INT_PTR result = 0;

    // Whether `w` is one of our windows while the dialog is open.
    bool IsLive(HWND w) const {
        return state.open && (w == &window || w == &bar || w == &button);
    }
};

// Created on first use and never destroyed: detached workers may still post
// while the process runs its static destructors.
Dialog &TheDialog() {
    static Dialog *dialog = new Dialog;
    return *dialog;
}

// 32-bit wrap-around arithmetic for rectangles, free of overflow.
int32_t Add32(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t Sub32(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

int ClampToRange(int position, int low, int high) {
    if (position > high) position = high;
    if (position < low) position = low;
    return position;
}

// The progress bar's messages; the caller holds `lock`, which is released
// before the host's progress callback runs.
LRESULT BarMessage(Dialog &d, std::unique_lock<std::mutex> &lock, UINT message, WPARAM wParam,
                   LPARAM lParam) {
    probe::DialogState &s = d.state;
    switch (message) {
    case PBM_SETRANGE: {
        // The range comes as two unsigned 16-bit words; the old one goes back
        // the same way. The position stays within the range.
        const LRESULT previous = MAKELPARAM(s.barMin, s.barMax);
        const auto packed = static_cast<uint32_t>(lParam);
        s.barMin = static_cast<int>(packed & 0xFFFFu);
        s.barMax = static_cast<int>(packed >> 16);
        s.barPos = ClampToRange(s.barPos, s.barMin, s.barMax);
        return previous;
    }
    case PBM_SETSTEP: {
        const int previous = s.barStep;
        s.barStep = static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(wParam)));
        return previous;
    }
    case PBM_SETPOS: {
        const int requested = static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(wParam)));
        const int previous = s.barPos;
        s.barPos = ClampToRange(requested, s.barMin, s.barMax);
        ++s.setPosCount;
        lock.unlock();
        ReportProgress(requested);
        return previous;
    }
    default:
        return 0;
    }
}

}  // namespace

bool ClickOpenDialogButton() {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.state.open) return false;
    // What the button itself sends: its id and BN_CLICKED, its window.
    d.queue.push_back({WM_COMMAND, MAKEWPARAM(kButtonId, BN_CLICKED),
                       reinterpret_cast<LPARAM>(&d.button)});
    d.wake.notify_all();
    return true;
}

namespace probe {

DialogState LastDialog() {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    return d.state;
}

}  // namespace probe
}  // namespace trova::platform

using namespace trova::platform;

void InitCommonControls() {}

INT_PTR DialogBoxParamA(HINSTANCE, LPCSTR templateName, HWND owner, DLGPROC proc,
                        LPARAM initParam) {
    // The module holds one template; a name that is a string never matches.
    const auto templateId = reinterpret_cast<uintptr_t>(templateName);
    if (templateId != kProgressTemplateId || proc == nullptr) return -1;

    Dialog &d = TheDialog();
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        if (d.state.open) return -1;  // one modal dialog at a time
        d.queue.clear();
        const int opened = d.state.openCount + 1;
        d.state = probe::DialogState{};
        d.state.openCount = opened;
        d.state.everOpened = true;
        d.state.open = true;
        d.state.templateId = static_cast<int>(templateId);
        d.state.owner = owner;
        d.state.title = "Dialog";
        d.state.buttonText = "Button1";
        d.state.barMin = 0;
        d.state.barMax = 100;
        d.state.barStep = 10;
        d.state.barPos = 0;
        d.state.rect = RECT{0, 0, kWindowWidth, kWindowHeight};
        d.proc = proc;
        d.ended = false;
        d.result = 0;
    }

    // The button is the control that takes the default focus.
    proc(&d.window, WM_INITDIALOG, reinterpret_cast<WPARAM>(&d.button), initParam);

    std::unique_lock<std::mutex> lock(d.mutex);
    for (;;) {
        d.wake.wait(lock, [&d] { return d.ended || !d.queue.empty(); });
        if (d.ended) break;
        const Message m = d.queue.front();
        d.queue.pop_front();
        lock.unlock();
        proc(&d.window, m.message, m.wParam, m.lParam);
        lock.lock();
    }
    // Whatever was posted after EndDialog is never delivered.
    d.queue.clear();
    d.state.open = false;
    d.proc = nullptr;
    return d.result;
}

BOOL EndDialog(HWND dialog, INT_PTR result) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.state.open || dialog != &d.window) return FALSE;
    d.ended = true;
    d.result = result;
    d.wake.notify_all();
    return TRUE;
}

HWND GetDlgItem(HWND dialog, int id) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.state.open || dialog != &d.window) return nullptr;
    if (id == kBarId) return &d.bar;
    if (id == kButtonId) return &d.button;
    return nullptr;
}

// To the dialog: its procedure, called at once on the caller's thread. To
// the bar: the progress messages. The button handles none of ours.
LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Dialog &d = TheDialog();
    std::unique_lock<std::mutex> lock(d.mutex);
    if (!d.IsLive(window)) return 0;
    if (window == &d.window) {
        const DLGPROC proc = d.proc;
        lock.unlock();
        return proc(window, message, wParam, lParam);
    }
    if (window == &d.bar) return BarMessage(d, lock, message, wParam, lParam);
    return 0;
}

// Only the open dialog has a queue; anything else drops the message.
BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.state.open || window != &d.window) return FALSE;
    d.queue.push_back({message, wParam, lParam});
    d.wake.notify_all();
    return TRUE;
}

// Only the dialog's own placement is kept; the controls accept and ignore it.
BOOL SetWindowPos(HWND window, HWND insertAfter, int x, int y, int cx, int cy, UINT flags) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.IsLive(window)) return FALSE;
    if (window != &d.window) return TRUE;
    RECT &r = d.state.rect;
    if ((flags & kNoZOrder) == 0) {
        if (insertAfter == HWND_TOPMOST) {
            d.state.topmost = true;
        } else if (reinterpret_cast<intptr_t>(insertAfter) == kNoTopmost) {
            d.state.topmost = false;
        }
    }
    if ((flags & SWP_NOMOVE) == 0) {
        const int32_t width = Sub32(r.right, r.left);
        const int32_t height = Sub32(r.bottom, r.top);
        r = RECT{x, y, Add32(x, width), Add32(y, height)};
    }
    if ((flags & SWP_NOSIZE) == 0) {
        r.right = Add32(r.left, cx);
        r.bottom = Add32(r.top, cy);
    }
    return TRUE;
}

BOOL SetWindowTextA(HWND window, LPCSTR text) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.IsLive(window)) return FALSE;
    const char *value = text != nullptr ? text : "";
    if (window == &d.window) d.state.title = value;
    if (window == &d.button) d.state.buttonText = value;
    return TRUE;  // the bar's text is never shown
}

// Only the dialog's rectangle is kept.
BOOL GetWindowRect(HWND window, RECT *rect) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (rect == nullptr || !d.state.open || window != &d.window) return FALSE;
    *rect = d.state.rect;
    return TRUE;
}

int GetSystemMetrics(int index) {
    if (index == SM_CXSCREEN) return probe::kScreenWidth;
    if (index == SM_CYSCREEN) return probe::kScreenHeight;
    return 0;
}

BOOL MoveWindow(HWND window, int x, int y, int width, int height, BOOL) {
    Dialog &d = TheDialog();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.IsLive(window)) return FALSE;
    if (window == &d.window) {
        d.state.rect = RECT{x, y, Add32(x, width), Add32(y, height)};
    }
    return TRUE;
}
