/* The structures and constants that the store shares with its callers. Their layouts are part of
 * the ABI: the record image also travels between servers. */
#ifndef QEL_ALERT_TYPES_H
#define QEL_ALERT_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define QEL_STATIC_ASSERT static_assert
#else
#define QEL_STATIC_ASSERT _Static_assert
#endif

/* A header line without its line end or its ":". */
#define ALERT_ERR_HEADER_FORMAT ((int)0xFF810005)
/* A stored line that cannot be cut into its columns. */
#define ALERT_ERR_RECORD_OVERFLOW ((int)0xFF810006)

enum {
  ALERT_FIELD_COUNT = 8,    /* columns of a record line */
  ALERT_INDEX_COUNT = 6,    /* index files */
  ALERT_NAME_SIZE = 65,     /* a server name with its NUL, and every index key */
  ALERT_TIME_SIZE = 24,     /* a time stamp with its NUL */
  ALERT_MESSAGE_SIZE = 512, /* a message with its NUL */
  ALERT_RECORD_SIZE = 680   /* bytes of a record image */
};

/* One alert, 680 bytes; the last 3 are fill. */
typedef struct AlertRecordInfo {
  uint32_t alert_id; /* given by the originating server, counting up from 1 */
  char szEventID[8];
  char szLevel[8];                    /* "1", "2" or "3" */
  char szServer[ALERT_NAME_SIZE];     /* the server on which it was raised */
  char szModType[32];                 /* the module that raised it */
  char szWriteTime[ALERT_TIME_SIZE];  /* local time of storing: 2024/01/31 23:59:59.123 */
  char szServerTime[ALERT_TIME_SIZE]; /* time of raising, same form */
  char szAlertMessage[ALERT_MESSAGE_SIZE];
} ALERT_RECORD_INFO, *LPALERT_RECORD_INFO;

/* One column of the log, 28 bytes. */
typedef struct AlertFieldInfo {
  char szFieldName[16];
  int nFieldLen;  /* width in characters */
  int nFieldType; /* 0 */
  int bIndex;     /* 0 */
} ALERT_FIELD_INFO, *LPALERT_FIELD_INFO;

/* The log's header, 248 bytes in memory. */
typedef struct AlertFileHeader {
  uint32_t nMaxCount;        /* capacity in records */
  uint32_t nCurCount;        /* records stored */
  uint32_t nCurToWrite;      /* line that the next record will occupy */
  uint32_t nMaxRecordSize;   /* 683: width of a record line without its line end */
  int isChanged;             /* bits 0-5: index files behind the log; 6: updated; 7: search again */
  uint32_t current_alert_id; /* highest id given to an alert of the local server */
  ALERT_FIELD_INFO alertField[ALERT_FIELD_COUNT];
} ALERT_FILE_HEADER, *LPALERT_FILE_HEADER;

/* Criteria of a search, 163 bytes. */
typedef struct AlertSearchInfo {
  char startTime[ALERT_TIME_SIZE]; /* the form of szServerTime, both ends included */
  char stopTime[ALERT_TIME_SIZE];
  char szLevel[8];
  char szServer[ALERT_NAME_SIZE];
  char szModule[32];
  char szEventId[8];
  char szSort[2]; /* part of the condition, without effect on the order */
} ALERT_SEARCH_INFO, *LPALERT_SEARCH_INFO;

/* An entry to be ordered by time, 28 bytes. */
typedef struct TimeIndex {
  char szServerTime[ALERT_TIME_SIZE];
  int index;
} TIME_INDEX, *LPTIME_INDEX;

/* The header of an index file, 28 bytes. */
typedef struct IndexHeader {
  unsigned int nCurCount; /* records in the file */
  char idxname[24];       /* file name without ".idx" */
} INDEX_HEADER, *LPINDEX_HEADER;

/* One entry of an index file, 76 bytes. */
typedef struct IndexRecordInfo {
  unsigned int nLine;    /* line in the alert log */
  unsigned int alert_id; /* "srv_alt_id.idx" only */
  char szKeyVal[ALERT_NAME_SIZE];
} INDEX_RECORD_INFO, *LPINDEX_RECORD_INFO;

/* One entry of an index that is being built, 136 bytes. */
typedef struct IndexNode {
  int nLineNo;
  char szIdxval[ALERT_NAME_SIZE]; /* key */
  char szAppend[ALERT_NAME_SIZE]; /* second key: text in "time.idx", else an unsigned int in the
                                     first 4 bytes */
} INDEX_NODE, *LPINDEX_NODE;

QEL_STATIC_ASSERT(sizeof(ALERT_RECORD_INFO) == ALERT_RECORD_SIZE, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szEventID) == 4, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szLevel) == 12, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szServer) == 20, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szModType) == 85, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szWriteTime) == 117, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szServerTime) == 141, "record image");
QEL_STATIC_ASSERT(offsetof(ALERT_RECORD_INFO, szAlertMessage) == 165, "record image");
QEL_STATIC_ASSERT(sizeof(ALERT_FIELD_INFO) == 28, "column");
QEL_STATIC_ASSERT(sizeof(ALERT_FILE_HEADER) == 248, "log header");
QEL_STATIC_ASSERT(sizeof(ALERT_SEARCH_INFO) == 163, "search criteria");
QEL_STATIC_ASSERT(sizeof(TIME_INDEX) == 28, "time entry");
QEL_STATIC_ASSERT(sizeof(INDEX_HEADER) == 28, "index header");
QEL_STATIC_ASSERT(sizeof(INDEX_RECORD_INFO) == 76, "index entry");
QEL_STATIC_ASSERT(sizeof(INDEX_NODE) == 136, "index node");

#endif
