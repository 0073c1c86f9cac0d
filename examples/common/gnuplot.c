#define _POSIX_C_SOURCE 200809L

#include "gnuplot.h"

#include <errno.h>
#include <math.h>
#include <spawn.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>

extern char **environ;

static bool runGnuplot(char *script)
{
    char *const arguments[] = {"gnuplot", script, NULL};
    pid_t process;
    int outcome = 0;
    int error = posix_spawnp(&process, arguments[0], NULL, NULL, arguments, environ);
    if (error == 0 && waitpid(process, &outcome, 0) < 0)
        error = errno;
    if (error == ENOENT)
        fprintf(stderr,
                "gnuplot was not found, so there is no picture; install the package gnuplot-nox "
                "(Debian: apt install gnuplot-nox), then run again or draw %s with it\n",
                script);
    else if (error != 0)
        fprintf(stderr, "gnuplot cannot be run: %s\n", strerror(error));
    else if (outcome != 0)
        fprintf(stderr, "gnuplot could not draw %s\n", script);
    return error == 0 && outcome == 0;
}

bool beginDrawing(Drawing *drawing, const char *folder, const char *name, int32_t width,
                  int32_t height)
{
    snprintf(drawing->scriptPath, sizeof drawing->scriptPath, "%s/%s.gp", folder, name);
    snprintf(drawing->picturePath, sizeof drawing->picturePath, "%s/%s.png", folder, name);

    fflush(stdout); /* what follows on stderr belongs below the tables */
    if (mkdir(folder, 0777) != 0 && errno != EEXIST) {
        fprintf(stderr, "%s: cannot be made: %s\n", folder, strerror(errno));
        return false;
    }
    drawing->script = fopen(drawing->scriptPath, "w");
    if (drawing->script == NULL) {
        fprintf(stderr, "%s: cannot be written: %s\n", drawing->scriptPath, strerror(errno));
        return false;
    }
    fprintf(drawing->script,
            "set encoding utf8\n"
            "set terminal pngcairo noenhanced size %d,%d font 'DejaVu Sans,10' linewidth 1.2\n",
            (int)width, (int)height);
    writeText(drawing->script, "set output", drawing->picturePath);
    return true;
}

bool endDrawing(Drawing *drawing)
{
    const bool failed = ferror(drawing->script);
    if (fclose(drawing->script) != 0 || failed) {
        fprintf(stderr, "%s: cannot be written: %s\n", drawing->scriptPath, strerror(errno));
        return false;
    }
    if (!runGnuplot(drawing->scriptPath))
        return false;
    printf("picture: %s\n", drawing->picturePath);
    return true;
}

void writeText(FILE *script, const char *command, const char *text)
{
    fprintf(script, "%s '", command);
    for (; *text != '\0'; ++text) {
        if (*text == '\'')
            fputc('\'', script);
        fputc(*text, script);
    }
    fputs("'\n", script);
}

double roundStep(double rough)
{
    const double power = pow(10, floor(log10(rough)));
    const double digit = rough / power;
    return power * (digit < 1.5 ? 1 : digit < 3.5 ? 2 : digit < 7.5 ? 5 : 10);
}
