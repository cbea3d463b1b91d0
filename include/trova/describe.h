/* trova: what a recording holds, as the readers would see it.
 *
 * TrovaDescribeRecording is a pure query, on both platforms (exported from
 * trova.dll too). From any one file of a recording it reports the file
 * table the readers would build: the members in table order with their
 * geometry and times, the recording's channels or phases and harmonic
 * count, and for a time window the records a reader would take. Hosts use
 * it to size the readers' output arrays.
 *
 * It builds a table of its own: the readers' cached table is neither read
 * nor changed, no diagnostic log line is written and no dialog is opened,
 * so a reader call afterwards behaves exactly as if it had not been made.
 * It may run while a reader call runs on another thread.
 */
#ifndef TROVA_DESCRIBE_H
#define TROVA_DESCRIBE_H

#include <stdint.h>

#include "readers.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Header variants: trend recordings (the three trend readers) and harmonic
 * recordings (the ten harmonic readers). */
#define TROVA_VARIANT_AUTO 0
#define TROVA_VARIANT_TREND 1
#define TROVA_VARIANT_HARMONIC 2

/* Results of TrovaDescribeRecording. */
#define TROVA_DESCRIBE_OK 0
#define TROVA_DESCRIBE_NO_RECORDING 1 /* PathFile names no recording: empty, no directory
                                         separator, no "." in the name, or too long */
#define TROVA_DESCRIBE_NO_FILES 2     /* no member matched, or none of them is usable */
#define TROVA_DESCRIBE_BAD_ARGUMENT 3 /* info is NULL, an unknown variant, or a negative
                                         capacity */
#define TROVA_DESCRIBE_NO_MEMORY 4

/* One member of the file table. */
typedef struct TrovaFileInfo {
    char path[256];
    uint32_t channelCode;   /* trend: the channel count; harmonic: the channel code */
    uint32_t recordCount;
    uint32_t recordSize;    /* bytes */
    uint32_t headerSize;    /* bytes */
    double firstTime;       /* seconds since 1904-01-01 00:00:00 */
    double lastTime;
    int32_t harmonicCount;  /* harmonic: H of this file; trend: 0 */
    uint32_t statCount;     /* trend: statistic blocks per record */
    uint32_t scalarCount;   /* trend: once-per-block quantities */
    uint32_t phaseQuantityCount; /* trend: per-channel quantities */
    uint32_t refQuantity;   /* trend: reference quantity, 0 for none */
    uint32_t powerBlockFlag; /* harmonic: 2 with a power block, else 0 */
} TrovaFileInfo;

/* The recording. Per-variant facts come from the first file of the table,
 * as the readers take them. */
typedef struct TrovaRecordingInfo {
    int32_t variant;       /* TROVA_VARIANT_TREND or TROVA_VARIANT_HARMONIC */
    int32_t fileCount;     /* members in the table (usable files) */
    int32_t matchedCount;  /* files the pattern matched, usable or not */
    uint32_t totalRecords; /* records of all members */

    char directory[256];   /* what was searched: directory, */
    char stem[256];        /* name stem, */
    char extension[16];    /* extension, */
    char pattern[544];     /* and the pattern directory + stem + ".*" + extension */

    uint32_t recordSize;   /* of the first file */
    uint32_t headerSize;   /* of the first file */
    double firstTime;      /* first record of the first file */
    double lastTime;       /* last record of the last file */

    /* Trend recordings. */
    uint32_t channelCode;  /* also set for harmonic recordings */
    int32_t channelCount;  /* channels a per-channel quantity yields (the readers' rule) */
    uint32_t statCount;
    uint32_t scalarCount;
    uint32_t phaseQuantityCount;
    uint32_t refQuantity;

    /* Harmonic recordings. */
    int32_t phaseCount;    /* P */
    int32_t harmonicCount; /* H of the first file */
    int32_t powerBlock;    /* 1 when the first file has a power block */

    /* The window of TStart and TStop, as the readers resolve it. */
    double tStart;
    double tStop;
    int32_t startFile;       /* first member scanned */
    int32_t startRecord;     /* first record in it */
    int32_t endFile;         /* one past the last member scanned */
    int32_t stopRecord;      /* the stop record in member endFile - 1 */
    int32_t startSelected;   /* 1 when TStart picked a record */
    int32_t stopSelected;    /* 1 when TStop picked a record */
    int64_t windowRecords;   /* K: records of the window, the stop record excluded */
    int64_t windowSamples;   /* records a trend-series reader takes: K + 1 when
                                TStop picked a record, else K */
} TrovaRecordingInfo;

/* Describes the recording of PathFile. `variant` chooses the header variant
 * (TROVA_VARIANT_AUTO: the one under which more members are usable; a tie
 * goes to the trend variant). TStart and TStop are taken as the readers
 * take them (negative: open). Up to `fileCapacity` members are copied to
 * `files` (which may be NULL with capacity 0); info->fileCount says how
 * many there are. Returns TROVA_DESCRIBE_*: with NO_RECORDING and NO_FILES
 * the search fields of *info are still filled in. */
TROVA_API int TrovaDescribeRecording(const char *PathFile, int variant, double TStart,
                                     double TStop, TrovaRecordingInfo *info,
                                     TrovaFileInfo *files, int fileCapacity);

#ifdef __cplusplus
}
#endif

#endif /* TROVA_DESCRIBE_H */
