/*
 * A picture drawn by gnuplot from a script that carries its data.
 */
#ifndef COMMON_GNUPLOT_H
#define COMMON_GNUPLOT_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

enum { DRAWING_PATH_SIZE = 4096 };

typedef struct Drawing {
    FILE *script; /* open between begin and end, to be filled with the plot commands */
    char scriptPath[DRAWING_PATH_SIZE];
    char picturePath[DRAWING_PATH_SIZE];
} Drawing;

/*
 * Makes the folder and opens folder/name.gp, which begins with the terminal: a PNG of so many
 * pixels. What stands in the way is told on stderr; the result is then false and nothing is open.
 */
bool beginDrawing(Drawing *drawing, const char *folder, const char *name, int32_t width,
                  int32_t height);

/* Closes the script, has gnuplot draw folder/name.png and prints where it is; or tells what failed.
 */
bool endDrawing(Drawing *drawing);

/* "command 'text'"; quotes inside the text are doubled, as gnuplot wants them. */
void writeText(FILE *script, const char *command, const char *text);

/* 1, 2 or 5 times a power of ten, near rough. */
double roundStep(double rough);

#endif
