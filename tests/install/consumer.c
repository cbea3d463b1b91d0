/* A program of another project: it finds trova through pkg-config or
 * find_package(trova), includes the public headers and calls the library. */
#include <stdio.h>
#include <trova/describe.h>
#include <trova/host.h>
#include <trova/readers.h>

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    TrovaRecordingInfo info;
    TrovaFileInfo files[8];
    int code = TrovaDescribeRecording(argv[1], TROVA_VARIANT_AUTO, -1.0, -1.0, &info, files, 8);
    TrovaSetLogDirectory(NULL);
    TrovaSetCompletionPause(0);
    char label[] = "consumer", button[] = "Cancel";
    int points = 4, factor = 0, status = -1, flags[4];
    float lo[20], hi[20], mean[20];
    double times[8];
    Reader_XT(2, 1, -1.0, -1.0, 0.0f, label, argv[1], &points, lo, hi, mean,
              times, flags, &factor, button, &status);
    printf("describe %d files %d records %u status %d\n", code, info.fileCount,
           info.totalRecords, status);
    return 0;
}
