/* trova: host interface of the POSIX build.
 *
 * On Windows the readers show a modal progress dialog; on POSIX the same
 * dialog runs headless, and a host program follows and steers it here.
 * Call these between reader calls, not during one (the setters are not
 * synchronised with a running reader); TrovaRequestCancel is the exception:
 * it is the dialog's button and may be called from any thread.
 */
#ifndef TROVA_HOST_H
#define TROVA_HOST_H

#include "readers.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Called on the reader's calling thread after each progress message, with
 * the accumulated progress in whole percent (about 100 per pass). */
typedef void (*TrovaProgressCallback)(int progressTotal, void *context);
TROVA_API void TrovaSetProgressCallback(TrovaProgressCallback callback, void *context);

/* What the dialog's button does: the running reader stops after its current
 * file and reports TROVA_READER_CANCELLED. */
TROVA_API void TrovaRequestCancel(void);

/* The pause a reader makes before it completes; 500 ms unless set. */
TROVA_API void TrovaSetCompletionPause(int milliseconds);

/* Directory of the diagnostic log TrovaDLL.LOG; "/tmp" unless set.
 * NULL or "" switches the log off. */
TROVA_API void TrovaSetLogDirectory(const char *directory);

#ifdef __cplusplus
}
#endif

#endif /* TROVA_HOST_H */
