#include "csv.h"

#include <errno.h>
#include <math.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

bool openReader(Reader *in, const char *path)
{
    memset(in, 0, sizeof *in);
    snprintf(in->path, sizeof in->path, "%s", path);
    in->file = fopen(in->path, "r");
    if (in->file == NULL)
        fprintf(stderr, "%s: cannot be opened: %s\n", in->path, strerror(errno));
    return in->file != NULL;
}

void closeReader(Reader *in) { fclose(in->file); }

bool complain(const Reader *in, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "%s:%d: ", in->path, (int)in->line);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    return false;
}

/* Reads one line into text, without its end; a line that just stops may have lost digits. */
static bool readLine(Reader *in, const char *expected, bool *end)
{
    size_t length = 0;
    int c = getc(in->file);
    ++in->line;
    for (; c != EOF && c != '\n'; c = getc(in->file)) {
        if (length == LINE_SIZE - 1)
            return complain(in, "line longer than %d characters", LINE_SIZE - 1);
        if (c == '\0')
            return complain(in, "binary data instead of text");
        in->text[length++] = (char)c;
    }
    if (c == EOF && ferror(in->file))
        return complain(in, "cannot be read: %s", strerror(errno));
    if (c == EOF && length == 0 && end != NULL) {
        *end = true;
        return true;
    }
    if (c == EOF)
        return complain(in,
                        length == 0 ? "cut short: %s is missing"
                                    : "cut short in the middle of a line: %s is incomplete",
                        expected);
    if (length > 0 && in->text[length - 1] == '\r')
        --length;
    in->text[length] = '\0';
    return true;
}

static bool readRecord(Reader *in, const char *expected, bool *end)
{
    do {
        if (!readLine(in, expected, end))
            return false;
    } while ((end == NULL || !*end) && in->text[0] == '#');
    return true;
}

bool nextLine(Reader *in, const char *expected) { return readRecord(in, expected, NULL); }

bool nextLineOrEnd(Reader *in, const char *expected, bool *end)
{
    *end = false;
    return readRecord(in, expected, end);
}

bool split(const Reader *in, char *text, int32_t count, char **fields, const char *expected)
{
    int32_t found = 0;
    for (char *rest = text; rest != NULL; ++found) {
        char *comma = strchr(rest, ',');
        if (found < count)
            fields[found] = rest;
        if (comma != NULL)
            *comma++ = '\0';
        rest = comma;
    }
    if (found != count)
        return complain(in, "expected %s in %d fields, found %d", expected, (int)count, (int)found);
    return true;
}

bool splitEntry(const Reader *in, char *text, const char *key, int32_t count, char **fields)
{
    const size_t length = strlen(key);
    if (strncmp(text, key, length) != 0 || text[length] != ',')
        return complain(in, "expected '%s,…', found '%s'", key, text);
    return split(in, text, count, fields, key);
}

bool toNumber(const Reader *in, const char *field, const char *what, double *number)
{
    char *end;
    *number = strtod(field, &end); /* which alone would also take "nan" and "0x1p3" */
    if (*field == '\0' || *end != '\0' || strspn(field, "+-.0123456789eE") != strlen(field) ||
        !isfinite(*number))
        return complain(in, "expected a number for %s, found '%s'", what, field);
    return true;
}

bool toCount(const Reader *in, const char *field, const char *what, int32_t low, int32_t high,
             int32_t *count)
{
    double number;
    if (!toNumber(in, field, what, &number))
        return false;
    if (!(number >= low && number <= high) || number != floor(number))
        return complain(in, "expected %s from %d to %d, found '%s'", what, (int)low, (int)high,
                        field);
    *count = (int32_t)number;
    return true;
}
