/* A client in C: reads a file, sums, changes a reading, writes the file, reads it again, checks it. The first failed expectation ends it
 * with 1. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tramostream/c.h>

#define EXPECT(condition)                                                            \
    do {                                                                             \
        if (!(condition)) {                                                          \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition);  \
            exit(1);                                                                 \
        }                                                                            \
    } while (0)

static const tramo_kind* subscriber;
static const tramo_field *serial, *reading, *date, *method;

static void look_up(void) {
    size_t count = 0;
    const tramo_kind* const* kinds = tramo_kinds(&count);
    EXPECT(kinds != NULL && count == 11);
    EXPECT(kinds[0]->letter == '0' && strcmp(kinds[0]->name, "round") == 0);
    subscriber = tramo_find_kind("Meter-Subscriber");
    EXPECT(subscriber != NULL && subscriber->letter == '1' && subscriber->length == 512);
    EXPECT(tramo_find_kind("no such kind") == NULL && tramo_find_kind(NULL) == NULL);
    serial = tramo_find_field(subscriber, "meterSerialNumber");
    reading = tramo_find_field(subscriber, "meterReadingIndex");
    date = tramo_find_field(subscriber, "meterReadingDate");
    method = tramo_find_field(subscriber, "meterReadingMethod");
    EXPECT(serial && reading && date && method);
    EXPECT(serial->type == TRAMO_TEXT && serial->column == 352 && serial->width == 12);
    EXPECT(reading->type == TRAMO_INTEGER && date->type == TRAMO_DATETIME);
    EXPECT(method->type == TRAMO_CODE && strcmp(method->codes, "MTA") == 0);
    EXPECT(tramo_find_field(subscriber, "meterReadingIndx") == NULL && tramo_find_field(NULL, "x") == NULL);
}

static long long sum_of(const char* path) {
    tramo_reader* reader = NULL;
    const tramo_line* line = NULL;
    tramo_status status;
    long long sum = 0;
    EXPECT(tramo_reader_open(path, TRAMO_AUTO, &reader) == TRAMO_OK);
    while ((status = tramo_reader_next(reader, &line)) == TRAMO_OK) {
        tramo_line_info info;
        int64_t value = 0;
        EXPECT(tramo_line_get_info(line, &info) == TRAMO_OK);
        if (info.kind != subscriber) continue;
        status = tramo_get_int64(line, reading, &value);
        EXPECT(status == TRAMO_OK || (status == TRAMO_ABSENT && value == 0));
        sum += value;
    }
    EXPECT(status == TRAMO_END && strcmp(tramo_reader_error(reader), "") == 0);
    tramo_reader_close(reader);
    return sum;
}

static void read_values(const char* path) {
    tramo_reader* reader = NULL;
    const tramo_line* line = NULL;
    tramo_line_info info;
    char text[32];
    size_t needed = 0;
    int64_t seconds = 0;
    double real = 0;
    EXPECT(tramo_reader_open(path, TRAMO_AUTO, &reader) == TRAMO_OK);
    do {
        EXPECT(tramo_reader_next(reader, &line) == TRAMO_OK);
        EXPECT(tramo_line_get_info(line, &info) == TRAMO_OK);
    } while (info.kind != subscriber);
    EXPECT(info.number == 4 && info.offset == 3 * 514 && info.fault == TRAMO_FAULT_NONE && info.size == 512);
    EXPECT(tramo_get_text(line, serial, text, sizeof text, &needed) == TRAMO_OK);
    EXPECT(strcmp(text, "C12AB0100000") == 0 && needed == 12);
    EXPECT(tramo_get_text(line, serial, text, 4, &needed) == TRAMO_OK);
    EXPECT(strcmp(text, "C12") == 0 && needed == 12);
    EXPECT(tramo_get_text(line, serial, NULL, 0, &needed) == TRAMO_OK && needed == 12);
    EXPECT(tramo_get_raw(line, reading, text, sizeof text, NULL) == TRAMO_OK && strcmp(text, "      6054") == 0);
    EXPECT(tramo_get_seconds(line, date, &seconds) == TRAMO_OK && seconds > 1704067200);
    EXPECT(tramo_get_double(line, reading, &real) == TRAMO_OK && real == 6054);
    EXPECT(tramo_get_text(line, method, text, sizeof text, NULL) == TRAMO_OK && strcmp(text, "A") == 0);
    EXPECT(tramo_get_int64(line, serial, &seconds) == TRAMO_WRONG_TYPE);
    EXPECT(tramo_get_seconds(line, reading, &seconds) == TRAMO_WRONG_TYPE);
    EXPECT(tramo_get_text(line, tramo_find_field(tramo_find_kind("round"), "code"), text, sizeof text, NULL) == TRAMO_ABSENT);
    tramo_reader_close(reader);
}

static void change(const char* from, const char* to) {
    tramo_reader* reader = NULL;
    tramo_writer* writer = NULL;
    const tramo_line* line = NULL;
    tramo_line* copy = NULL;
    EXPECT(tramo_reader_open(from, TRAMO_AUTO, &reader) == TRAMO_OK);
    EXPECT(tramo_writer_open(to, TRAMO_ANSI, &writer) == TRAMO_OK);
    while (tramo_reader_next(reader, &line) == TRAMO_OK) {
        tramo_line_info info;
        EXPECT(tramo_line_get_info(line, &info) == TRAMO_OK);
        if (info.number != 4) {
            EXPECT(tramo_writer_put(writer, line) == TRAMO_OK);
            continue;
        }
        EXPECT(tramo_line_copy(line, &copy) == TRAMO_OK);
        EXPECT(tramo_set_int64(copy, reading, 6055) == TRAMO_OK);
        EXPECT(tramo_set_int64(copy, reading, 12345678901LL) == TRAMO_TOO_WIDE);
        EXPECT(tramo_set_text(copy, reading, "6055") == TRAMO_WRONG_TYPE);
        EXPECT(tramo_set_text(copy, serial, "more than 12 characters") == TRAMO_TOO_WIDE);
        EXPECT(tramo_set_text(copy, method, "Q") == TRAMO_NOT_IN_FIELD);
        EXPECT(tramo_set_text((tramo_line*)line, serial, "x") == TRAMO_BAD_ARGUMENT);
        EXPECT(tramo_writer_put(writer, copy) == TRAMO_OK);
        tramo_line_free(copy);
    }
    EXPECT(tramo_writer_commit(writer) == TRAMO_OK);
    tramo_writer_close(writer);
    tramo_reader_close(reader);
}

static void make_line(void) {
    tramo_line* line = NULL;
    char text[16];
    int64_t value = 0;
    EXPECT(tramo_line_new(subscriber, TRAMO_ANSI, &line) == TRAMO_OK);
    EXPECT(tramo_get_int64(line, reading, &value) == TRAMO_ABSENT);
    EXPECT(tramo_set_text(line, serial, "\xC3\x89T\xC3\x89") == TRAMO_OK);
    EXPECT(tramo_get_text(line, serial, text, sizeof text, NULL) == TRAMO_OK && strcmp(text, "\xC3\x89T\xC3\x89") == 0);
    EXPECT(tramo_get_text(line, serial, text, 5, NULL) == TRAMO_OK && strcmp(text, "\xC3\x89T") == 0);
    EXPECT(tramo_set_text(line, serial, "\xE2\x82\xAC") == TRAMO_NOT_IN_ENCODING);
    EXPECT(tramo_set_text(line, serial, NULL) == TRAMO_OK);
    EXPECT(tramo_get_text(line, serial, text, sizeof text, NULL) == TRAMO_ABSENT);
    tramo_line_free(line);
}

static void check(const char* path, int expected_errors, int expected_warnings) {
    tramo_reader* reader = NULL;
    tramo_checker* checker = NULL;
    const tramo_line* line = NULL;
    tramo_finding finding;
    int errors = 0, warnings = 0;
    tramo_set_messages(0);
    EXPECT(tramo_reader_open(path, TRAMO_AUTO, &reader) == TRAMO_OK);
    EXPECT(tramo_checker_new(0, &checker) == TRAMO_OK);
    for (;;) {
        tramo_status status = tramo_reader_next(reader, &line);
        EXPECT((status == TRAMO_OK ? tramo_checker_line(checker, line) : tramo_checker_end(checker)) == TRAMO_OK);
        while (tramo_checker_next(checker, &finding) == TRAMO_OK) {
            EXPECT(finding.rule[0] != '\0' && finding.sentence[0] != '\0');
            if (finding.severity == 0) ++errors;
            if (finding.severity == 1) ++warnings;
        }
        if (status == TRAMO_END) break;
    }
    tramo_checker_free(checker);
    tramo_reader_close(reader);
    EXPECT(errors == expected_errors && warnings == expected_warnings);
}

static void refuse(void) {
    tramo_reader* reader = NULL;
    tramo_writer* writer = NULL;
    const tramo_line* line = NULL;
    EXPECT(tramo_reader_open("does/not/exist", TRAMO_AUTO, &reader) == TRAMO_FAILED);
    EXPECT(reader != NULL && strstr(tramo_reader_error(reader), "does/not/exist") != NULL);
    EXPECT(tramo_reader_next(reader, &line) == TRAMO_END && line == NULL);
    tramo_reader_close(reader);
    EXPECT(tramo_writer_open("does/not/exist", TRAMO_ANSI, &writer) == TRAMO_FAILED);
    EXPECT(writer != NULL && strstr(tramo_writer_error(writer), "does/not/exist") != NULL);
    EXPECT(tramo_writer_commit(writer) == TRAMO_BAD_ARGUMENT);
    tramo_writer_close(writer);

    /* NULL for NULL is safe. */
    tramo_reader_close(NULL);
    tramo_writer_close(NULL);
    tramo_line_free(NULL);
    tramo_checker_free(NULL);
    EXPECT(tramo_reader_open(NULL, TRAMO_AUTO, &reader) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_reader_open("x", TRAMO_AUTO, NULL) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_reader_open("x", (tramo_encoding)7, &reader) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_reader_next(NULL, &line) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_line_get_info(NULL, NULL) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_get_text(NULL, serial, NULL, 0, NULL) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_set_int64(NULL, serial, 0) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_checker_line(NULL, NULL) == TRAMO_BAD_ARGUMENT);
    EXPECT(tramo_columns(NULL, NULL, NULL, 0, NULL) == TRAMO_BAD_ARGUMENT);
    EXPECT(strcmp(tramo_status_text(TRAMO_ABSENT), "the field is blank") == 0);
    EXPECT(strcmp(tramo_status_text((tramo_status)99), "unknown status") == 0);
    EXPECT(strchr(tramo_version(), '.') != NULL);
}

static void read_memory(void) {
    tramo_reader* reader = NULL;
    const tramo_line* line = NULL;
    tramo_line_info info;
    const char bytes[] = "short\r\n";
    EXPECT(tramo_reader_open_memory(bytes, sizeof bytes - 1, TRAMO_ANSI, &reader) == TRAMO_OK);
    EXPECT(tramo_reader_next(reader, &line) == TRAMO_OK && tramo_line_get_info(line, &info) == TRAMO_OK);
    EXPECT(info.kind == NULL && info.fault != TRAMO_FAULT_NONE && info.size == 5 && memcmp(info.bytes, "short", 5) == 0);
    EXPECT(tramo_reader_next(reader, &line) == TRAMO_END);
    tramo_reader_close(reader);
}

/* The wrong type depends on the field alone, not on what is in its columns. */
static void read_unreadable(void) {
    char bytes[512];
    tramo_reader* reader = NULL;
    const tramo_line* line = NULL;
    int64_t number = 7;
    double real = 7;
    memset(bytes, ' ', sizeof bytes);
    bytes[0] = '1';
    memcpy(bytes + reading->column - 1, "VA", 2);
    EXPECT(tramo_reader_open_memory(bytes, sizeof bytes, TRAMO_ANSI, &reader) == TRAMO_OK);
    EXPECT(tramo_reader_next(reader, &line) == TRAMO_OK);
    EXPECT(tramo_get_int64(line, reading, &number) == TRAMO_UNREADABLE);
    EXPECT(tramo_get_double(line, reading, &real) == TRAMO_UNREADABLE);
    EXPECT(tramo_get_text(line, reading, NULL, 0, NULL) == TRAMO_UNREADABLE);
    EXPECT(tramo_get_seconds(line, reading, &number) == TRAMO_WRONG_TYPE);
    EXPECT(tramo_get_int64(line, date, &number) == TRAMO_WRONG_TYPE);
    EXPECT(tramo_get_seconds(line, date, &number) == TRAMO_ABSENT);
    EXPECT(tramo_get_double(line, serial, &real) == TRAMO_WRONG_TYPE);
    EXPECT(number == 7 && real == 7);
    tramo_reader_close(reader);
}

/* client RETURNED BROKEN OUT */
int main(int count, char** arguments) {
    EXPECT(count == 4);
    look_up();
    refuse();
    read_memory();
    read_unreadable();
    make_line();
    read_values(arguments[1]);
    change(arguments[1], arguments[3]);
    EXPECT(sum_of(arguments[3]) - sum_of(arguments[1]) == 1);
    check(arguments[1], 0, 0);
    check(arguments[2], 57, 34); /* as "tramo check" counts them */
    return 0;
}
