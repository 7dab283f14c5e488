/* A user's program in C99: counts the readings of a file through the C interface. */
#include <stdio.h>
#include <tramostream/c.h>

int main(int count, char** arguments) {
    const tramo_kind* meter = tramo_find_kind("meter subscriber");
    const tramo_field* serial = tramo_find_field(meter, "meterSerialNumber");
    const tramo_field* reading = tramo_find_field(meter, "meterReadingIndex");
    tramo_reader* reader = NULL;
    const tramo_line* line = NULL;
    int meters = 0, readings = 0;
    if (count != 2 || tramo_reader_open(arguments[1], TRAMO_AUTO, &reader) != TRAMO_OK) {
        fprintf(stderr, "%s\n", tramo_reader_error(reader));
        tramo_reader_close(reader);
        return 1;
    }
    while (tramo_reader_next(reader, &line) == TRAMO_OK) {
        int64_t index = 0;
        meters += tramo_get_text(line, serial, NULL, 0, NULL) == TRAMO_OK;
        readings += tramo_get_int64(line, reading, &index) == TRAMO_OK;
    }
    printf("%d meters, %d readings\n", meters, readings);
    tramo_reader_close(reader);
    return 0;
}
