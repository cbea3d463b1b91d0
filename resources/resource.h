/* trova: identifiers of the resources in trova.rc.
 * Shared by the resource script and the frame's dialog code, so keep it
 * plain preprocessor definitions (the resource compiler reads it too). */
#ifndef TROVA_RESOURCE_H
#define TROVA_RESOURCE_H

/* The progress dialog every reader shows while its worker runs. */
#define IDD_PROGRESS 101
/* Its progress bar ("msctls_progress32", range 0 to 100). */
#define IDC_PROGRESS 1000
/* Its only button; the caption is the caller's ButtonText, a click cancels. */
#define IDC_BUTTON 1001

#endif /* TROVA_RESOURCE_H */
