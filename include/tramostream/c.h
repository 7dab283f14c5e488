/* The library for C and for every language that can call C: files, lines, values, findings, columns, and the format as data.
 *
 * Handles are opaque: what is opened is closed, what is made is freed, by the function that its comment names, and NULL is
 * accepted there. A handle is used by one thread at a time; different handles may be used by different threads. Texts are UTF-8.
 * Texts that a function returns belong to the library and live as its comment says; texts with a buffer are copied into it.
 *
 * A call returns TRAMO_OK or says why not; then, its outputs are unchanged, except for a handle that explains an error. No
 * function prints, except tramo_checker_line (see tramo_set_messages), and no exception leaves the library. A NULL argument that
 * must not be NULL is TRAMO_BAD_ARGUMENT. After TRAMO_NO_MEMORY, the call can be repeated, except one that gives a line to a
 * checker or ends it.
 */
#ifndef TRAMOSTREAM_C_H
#define TRAMOSTREAM_C_H

#include "export.h"
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ArrowArrayStream; /* of the Arrow C stream interface */

/* The result of a call. New values may be added. */
typedef enum tramo_status {
    TRAMO_OK = 0,
    TRAMO_END = 1,             /* after the last line or finding */
    TRAMO_ABSENT = 2,          /* the field is blank, or the line does not have it */
    TRAMO_UNREADABLE = 3,      /* the text of the field cannot be parsed */
    TRAMO_WRONG_TYPE = 4,      /* the field holds values of another type */
    TRAMO_TOO_WIDE = 5,        /* the text of the value is wider than the field */
    TRAMO_NOT_IN_FIELD = 6,    /* the field cannot hold the value */
    TRAMO_NOT_WRITABLE = 7,    /* the format would not read the value back */
    TRAMO_NOT_IN_ENCODING = 8, /* the encoding has no such character, or the text is not UTF-8 */
    TRAMO_NO_FIELD = 9,        /* the line does not have the field */
    TRAMO_BAD_ARGUMENT = 10,   /* NULL, or a number out of range */
    TRAMO_FAILED = 11,         /* the system reports an error: see tramo_reader_error, tramo_writer_error */
    TRAMO_NO_MEMORY = 12,
    TRAMO_STATUS_IS_INT = 0x7FFFFFFF /* not a status: any int can be passed */
} tramo_status;

/* Describes a status in words: "the field is blank". Lives as long as the program. */
TRAMO_EXPORT const char* tramo_status_text(tramo_status status);

/* The version of the library: "1.1.0". Lives as long as the program. */
TRAMO_EXPORT const char* tramo_version(void);

/* Whether the library prints the messages of the format about text that it cannot convert on the standard output, for the whole
 * process: 1 (the default) or 0. */
TRAMO_EXPORT void tramo_set_messages(int printed);

/* --- The format as data. Lives as long as the program. ------------------------------------------------------------------- */

/* What a field holds, and the functions that get and set it. */
typedef enum tramo_type {
    TRAMO_TEXT = 0,     /* text */
    TRAMO_INTEGER = 1,  /* int64 */
    TRAMO_DECIMAL = 2,  /* double */
    TRAMO_DATE = 3,     /* seconds: the local midnight of the day */
    TRAMO_DATETIME = 4, /* seconds */
    TRAMO_YEAR = 5,     /* int64: the number of the local year */
    TRAMO_CODE = 6,     /* text: one character */
    TRAMO_FLAG = 7,     /* int64: 0 or 1 */
    TRAMO_ALARMS = 8    /* int64: flag k is bit k - 1 */
} tramo_type;

/* One field of a record kind. No text is NULL. */
typedef struct tramo_field {
    const char* name;     /* "meterReadingIndex" */
    tramo_type type;      /* which functions get and set it */
    int32_t column;       /* of the first character, 1-based; 0: not in the line */
    int32_t width;        /* in characters */
    int32_t decimals;     /* digits written after the decimal point */
    const char* codes;    /* of TRAMO_CODE: the characters that can be read; otherwise empty */
    const char* written;  /* when it is written: "always", "never" or a clause, "it is above 3" */
    const char* required; /* when its absence is a finding, a clause: "it is empty"; otherwise empty */
} tramo_field;

/* A kind of lines with fixed columns. */
typedef struct tramo_kind {
    const char* name;                 /* "meter subscriber" */
    char letter;                      /* in column 1; 0: none */
    int32_t length;                   /* characters of a line, without the line ending */
    size_t field_count;               /* of `fields` */
    const tramo_field* const* fields; /* in the order of writing */
} tramo_kind;

/* All kinds of lines with fixed columns; `count` receives their number. */
TRAMO_EXPORT const tramo_kind* const* tramo_kinds(size_t* count);

/* The kind with this letter or name in any spelling ("meter-subscriber"); the field of a kind with this name. NULL: none, or no
 * memory. */
TRAMO_EXPORT const tramo_kind* tramo_find_kind(const char* name);
TRAMO_EXPORT const tramo_field* tramo_find_field(const tramo_kind* kind, const char* name);

/* --- Reading ------------------------------------------------------------------------------------------------------------- */

/* AUTO: by the byte order mark. */
typedef enum tramo_encoding {
    TRAMO_AUTO = -1,
    TRAMO_ANSI = 0,
    TRAMO_UTF16 = 1,
    TRAMO_ENCODING_IS_INT = 0x7FFFFFFF /* not an encoding: any int can be passed */
} tramo_encoding;

/* Reads the lines of a file in order; see tramo_reader_open. */
typedef struct tramo_reader tramo_reader;

/* A line: of a reader, which owns it, or one that can be changed; see tramo_line_new. */
typedef struct tramo_line tramo_line;

/* Opens a file (path: UTF-8), or bytes in memory, which must outlive the reader. If the file cannot be opened, TRAMO_FAILED is
 * returned; the reader then explains the error and has no lines. In every case, except when `*reader` is NULL, it must be closed.
 */
TRAMO_EXPORT tramo_status tramo_reader_open(const char* path, tramo_encoding encoding, tramo_reader** reader);
TRAMO_EXPORT tramo_status tramo_reader_open_memory(
    const void* bytes, size_t size, tramo_encoding encoding, tramo_reader** reader);

/* Gives the next line, which belongs to the reader and is valid until the next call. TRAMO_END: after the last one. */
TRAMO_EXPORT tramo_status tramo_reader_next(tramo_reader* reader, const tramo_line** line);

/* Why the last call failed, with the path; empty: it did not. Valid until the next call. */
TRAMO_EXPORT const char* tramo_reader_error(const tramo_reader* reader);
TRAMO_EXPORT void tramo_reader_close(tramo_reader* reader);

/* --- Lines --------------------------------------------------------------------------------------------------------------- */

/* Why a line has no fields. */
typedef enum tramo_line_fault {
    TRAMO_FAULT_NONE = 0, /* it has its fields, or it is a key line */
    TRAMO_FAULT_EMPTY = 1,
    TRAMO_FAULT_TOO_SHORT = 2,
    TRAMO_FAULT_TOO_LONG = 3,
    TRAMO_FAULT_UNKNOWN_LETTER = 4,
    TRAMO_FAULT_UNKNOWN_KIND = 5,
    TRAMO_FAULT_HALF_CHARACTER = 6,
    TRAMO_FAULT_UNREAD = 7
} tramo_line_fault;

/* Facts about a line. Pointers are valid as long as the line. */
typedef struct tramo_line_info {
    int64_t number;          /* in its file, 1-based; 0: in no file */
    uint64_t offset;         /* of its first byte in the file */
    const tramo_kind* kind;  /* NULL: a malformed line or a key line */
    tramo_line_fault fault;  /* TRAMO_FAULT_NONE: it has fields, or it is a key line */
    tramo_encoding encoding; /* of `bytes` */
    const char* bytes;       /* without the line ending, not terminated by a zero */
    size_t size;             /* in bytes */
} tramo_line_info;

/* Copies the facts about a line to `info`. */
TRAMO_EXPORT tramo_status tramo_line_get_info(const tramo_line* line, tramo_line_info* info);

/* Make a line that can be changed: a blank one of a kind, or a copy. It must be freed. */
TRAMO_EXPORT tramo_status tramo_line_new(const tramo_kind* kind, tramo_encoding encoding, tramo_line** line);
TRAMO_EXPORT tramo_status tramo_line_copy(const tramo_line* original, tramo_line** line);
TRAMO_EXPORT void tramo_line_free(tramo_line* line); /* a line of a reader is left alone */

/* Get the value of a field: TRAMO_OK, TRAMO_ABSENT, TRAMO_UNREADABLE or TRAMO_WRONG_TYPE. A field of another kind is absent. An
 * integer has a double, too; otherwise, a field has values of its type (see tramo_type), whatever is in its columns.
 *
 * Texts: at most `size` bytes are copied to `buffer`, with a terminating zero unless `size` is 0; `*needed` receives the bytes of
 * the whole text without the zero, also if it did not fit. `buffer` may be NULL if `size` is 0; `needed` may be NULL. A field of
 * any type has a text: dates as "2024-01-31", numbers with all their digits. */
TRAMO_EXPORT tramo_status tramo_get_text(
    const tramo_line* line, const tramo_field* field, char* buffer, size_t size, size_t* needed);
TRAMO_EXPORT tramo_status tramo_get_raw(/* the columns as they stand */
    const tramo_line* line, const tramo_field* field, char* buffer, size_t size, size_t* needed);
TRAMO_EXPORT tramo_status tramo_get_int64(const tramo_line* line, const tramo_field* field, int64_t* value);
TRAMO_EXPORT tramo_status tramo_get_double(const tramo_line* line, const tramo_field* field, double* value);
TRAMO_EXPORT tramo_status tramo_get_seconds(const tramo_line* line, const tramo_field* field, int64_t* since_1970_utc);

/* Write a value into the columns of a field of a line that was made by tramo_line_new or tramo_line_copy, and change nothing
 * else. NULL as text makes the field blank, whatever its type. If the result is not TRAMO_OK, the line is unchanged. */
TRAMO_EXPORT tramo_status tramo_set_text(tramo_line* line, const tramo_field* field, const char* text);
TRAMO_EXPORT tramo_status tramo_set_int64(tramo_line* line, const tramo_field* field, int64_t value);
TRAMO_EXPORT tramo_status tramo_set_double(tramo_line* line, const tramo_field* field, double value);
TRAMO_EXPORT tramo_status tramo_set_seconds(tramo_line* line, const tramo_field* field, int64_t since_1970_utc);

/* --- Writing ------------------------------------------------------------------------------------------------------------- */

/* Writes lines to a file; see tramo_writer_open. */
typedef struct tramo_writer tramo_writer;

/* Writes a file that appears whole with tramo_writer_commit, or not at all; a path that is not a regular file (a pipe, a device)
 * is written directly. TRAMO_FAILED as in tramo_reader_open. After a failure, each call fails, and nothing is replaced. Closing
 * without a commit leaves everything as it was. */
TRAMO_EXPORT tramo_status tramo_writer_open(const char* path, tramo_encoding encoding, tramo_writer** writer);
TRAMO_EXPORT tramo_status tramo_writer_put(tramo_writer* writer, const tramo_line* line);
TRAMO_EXPORT tramo_status tramo_writer_commit(tramo_writer* writer);
TRAMO_EXPORT const char* tramo_writer_error(const tramo_writer* writer);
TRAMO_EXPORT void tramo_writer_close(tramo_writer* writer);

/* --- Findings ------------------------------------------------------------------------------------------------------------ */

/* What is wrong with a line or a file. Texts are valid until the checker is used again; absent ones are empty. */
typedef struct tramo_finding {
    const char* rule;           /* "ParseDateTime" */
    int32_t code;               /* of the format; 0: none */
    int32_t severity;           /* 0: error, 1: warning, 2: hint */
    int64_t line;               /* 0: the whole file */
    int32_t column, end_column; /* the first column, 1-based, and the column after the last; 0: the whole line */
    const char* kind;           /* of the line: "meter subscriber" */
    const char* field;          /* "meterReadingDate" */
    const char* sentence;       /* "meterWheels: invalid integer "VA"" */
    const char* reason;         /* the cause, or what was expected */
    const char* hint;           /* a remedy */
} tramo_finding;

/* Checks the lines of a file; see tramo_checker_new. */
typedef struct tramo_checker tramo_checker;

/* Checks a file: give all its lines in their order, then end. After each of these calls, get its findings, each once, in order;
 * TRAMO_END: after the last one. The next such call drops those that are left. */
TRAMO_EXPORT tramo_status tramo_checker_new(int strict, tramo_checker** checker);
TRAMO_EXPORT tramo_status tramo_checker_line(tramo_checker* checker, const tramo_line* line);
TRAMO_EXPORT tramo_status tramo_checker_end(tramo_checker* checker);
TRAMO_EXPORT tramo_status tramo_checker_next(tramo_checker* checker, tramo_finding* finding);
TRAMO_EXPORT void tramo_checker_free(tramo_checker* checker);

/* --- Columns ------------------------------------------------------------------------------------------------------------- */

/* Makes `stream` an Arrow stream of the lines of a record kind in a file, without malformed lines, for the given fields or, if
 * `fields` is NULL, for all. The consumer releases it. TRAMO_FAILED: the file cannot be opened; errno says why. */
TRAMO_EXPORT tramo_status tramo_columns(const char* path, const tramo_kind* kind, const tramo_field* const* fields,
    size_t field_count, struct ArrowArrayStream* stream);

#ifdef __cplusplus
}
#endif

#endif
