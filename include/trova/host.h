/* trova: host interface of the POSIX build.
 *
 * On Windows the readers show a modal progress dialog; on POSIX the same
 * dialog runs headless, and a host program follows and steers it here.
 *
 * Threads: every function here may be called from any thread at any time,
 * also while a reader runs and from the progress callback; none of them
 * waits for a running reader. A setting is process-wide: a change reaches
 * the running reader at its next use of it (its next progress report, its
 * next log line, its completion pause) and every later call. How reader
 * calls from several threads meet is told in readers.h ("Threads").
 */
#ifndef TROVA_HOST_H
#define TROVA_HOST_H

#include "readers.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Called on the reader's calling thread after each progress message, with
 * the accumulated progress in whole percent (about 100 per pass). Only one
 * reader runs at a time, so the calls come from the thread whose reader is
 * running. A reader called from inside the callback is refused with
 * TROVA_READER_BUSY (readers.h). */
typedef void (*TrovaProgressCallback)(int progressTotal, void *context);
TROVA_API void TrovaSetProgressCallback(TrovaProgressCallback callback, void *context);

/* What the dialog's button does: the reader running at this moment (on any
 * thread) stops after its current file and reports TROVA_READER_CANCELLED.
 * A request that reaches a reader after its last look at the button (or
 * before its dialog opens, while it logs its parameters) has no effect.
 * With no reader running it does nothing: it is not kept for the next
 * call, and it never reaches a call that starts after it. */
TROVA_API void TrovaRequestCancel(void);

/* The pause a reader makes before it completes; 500 ms unless set. */
TROVA_API void TrovaSetCompletionPause(int milliseconds);

/* Directory of the diagnostic log TrovaDLL.LOG, which records every path
 * and argument passed to the readers. By default (until this is called)
 * the log is private to the user: $XDG_STATE_HOME/trova/TrovaDLL.LOG when
 * XDG_STATE_HOME holds an absolute path, else
 * ~/.local/state/trova/TrovaDLL.LOG, its missing directories created with
 * mode 0700 and the file with mode 0600. A directory set here is used as
 * it is and not created; NULL or "" switches the log off. In any
 * directory a line is appended only to a regular file that this process's
 * user owns, never through a symbolic link in the file's place; otherwise
 * (and when the file cannot be opened) the line is dropped silently.
 * (The Windows build always logs to C:\Temp\TrovaDLL.LOG.) */
TROVA_API void TrovaSetLogDirectory(const char *directory);

/* Makes the next reader call find and read the recording's files again, as
 * the first call on a path does (with the same log lines). The readers keep
 * the file table of the last recording they read, keyed by the path string
 * alone: after the files behind a path were replaced by a recording of
 * another geometry, a later call with that path would still read them as
 * the old one, and write as many channels, phases or harmonic positions as
 * the old one had. A caller that sizes its arrays from
 * TrovaDescribeRecording (which always reads the files as they are now)
 * calls this before a reader call whenever its description is newer than
 * the readers' table; the Python package and the trova command do. */
TROVA_API void TrovaForgetRecording(void);

#ifdef __cplusplus
}
#endif

#endif /* TROVA_HOST_H */
