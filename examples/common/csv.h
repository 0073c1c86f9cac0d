/*
 * Reading the CSV files of data/, whose format data/README.md describes: one record a line, fields
 * separated by commas, comments behind '#', every line ended.
 *
 * A function that finds something wrong tells it on stderr as file:line: reason and returns false,
 * so that a reader is a chain of steps.
 */
#ifndef COMMON_CSV_H
#define COMMON_CSV_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

enum { LINE_SIZE = 1024, PATH_SIZE = 4096 };

typedef struct Reader {
    FILE *file;
    char path[PATH_SIZE];
    int32_t line;         /* number of the line in text, from 1 */
    char text[LINE_SIZE]; /* the line, cut at its commas once it is split */
} Reader;

/* A reader that is open has to be closed. */
bool openReader(Reader *in, const char *path);
void closeReader(Reader *in);

/* Tells format on stderr behind the file and the line; returns false. */
bool complain(const Reader *in, const char *format, ...);

/* Reads the next line that is not a comment into text; expected says what would be missing. */
bool nextLine(Reader *in, const char *expected);

/* As nextLine, but a file that ends here is not wrong and sets *end. */
bool nextLineOrEnd(Reader *in, const char *expected, bool *end);

/* Cuts the text at its commas into exactly count fields. */
bool split(const Reader *in, char *text, int32_t count, char **fields, const char *expected);

/* Splits "key,value,value,…", the key included in count; text is the line. */
bool splitEntry(const Reader *in, char *text, const char *key, int32_t count, char **fields);

/* A finite decimal number and nothing else. */
bool toNumber(const Reader *in, const char *field, const char *what, double *number);

/* A whole number from low to high. */
bool toCount(const Reader *in, const char *field, const char *what, int32_t low, int32_t high,
             int32_t *count);

#endif
