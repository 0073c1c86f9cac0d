/*
 * Pairs of panels fill a grid of two pairs a row, the eigenvalues the last cell. The blocks $all0
 * and $all1 hold the points of the files, $nodes a node a line: x, y, its tick, its true and its
 * found colour.
 */
#include "picture.h"

#include "examples/common/gnuplot.h"

#include <math.h>

enum { PAIRS = 2, ROWS = (TASKS + 1 + PAIRS - 1) / PAIRS, WIDTH = 2000, HEADING = 70, CELL = 470 };
enum { HEIGHT = HEADING + ROWS * CELL };

static const char *const paleColour = "#d5d5d5";
static const char *const lineColour[TASKS] = {"#1f77b4", "#2a9d3a", "#9467bd", "#e08a00",
                                              "#c2410c"};

typedef struct Box {
    double left;
    double right;
    double low;
    double high;
} Box;

static Box boundsOf(const Result *result)
{
    Box box = {INFINITY, -INFINITY, INFINITY, -INFINITY};
    for (int32_t n = 0; n < result->nodes.count; ++n) {
        const double *position = &result->features->positions[2 * result->nodes.pointOf[n]];
        box.left = fmin(box.left, position[0]);
        box.right = fmax(box.right, position[0]);
        box.low = fmin(box.low, position[1]);
        box.high = fmax(box.high, position[1]);
    }
    return box;
}

static double sizeOf(Box box) { return fmax(fmax(box.right - box.left, box.high - box.low), 1e-3); }

/* A hue a label; the golden section keeps the hues of near labels apart. */
static int32_t colourOf(int32_t label)
{
    const double hue = 6 * fmod(0.58 + 0.6180339887 * label, 1);
    const double value = label % 2 == 0 ? 225 : 165;
    int32_t colour = 0;
    for (int32_t channel = 0; channel < 3; ++channel) {
        const double place = fmod(hue + 6 - 2 * channel, 6);
        const double strength = fmin(fmax(fabs(place - 3) - 1, 0), 1);
        colour = 256 * colour + (int32_t)(value * (0.12 + 0.88 * strength));
    }
    return colour;
}

static void writeFile(FILE *script, const Features *features, int32_t file)
{
    fprintf(script, "$all%d << END\n", (int)file);
    for (int32_t p = 0; p < features->nPoints; ++p)
        fprintf(script, "%.10g %.10g\n", features->positions[2 * p],
                features->positions[2 * p + 1]);
    fputs("END\n", script);
}

static void writeNodes(FILE *script, const Result *result, double tick)
{
    const double degree = acos(-1) / 180;
    fputs("$nodes << END\n", script);
    for (int32_t n = 0; n < result->nodes.count; ++n) {
        const int32_t p = result->nodes.pointOf[n];
        const double angle = degree * result->features->angles[p];
        fprintf(script, "%.10g %.10g %.4g %.4g %d %d %d\n", result->features->positions[2 * p],
                result->features->positions[2 * p + 1], tick * cos(angle), tick * sin(angle),
                (int)colourOf(result->nodes.truth[n]), (int)colourOf(result->found[n]),
                result->found[n] != result->nodes.truth[n]);
    }
    fputs("END\n", script);
}

static void writePlace(FILE *script, int32_t cell, int32_t half, int32_t halves)
{
    const double width = 0.5 / PAIRS, height = (double)CELL / HEIGHT;
    fprintf(script, "set origin %.6f, %.6f\nset size %.6f, %.6f\n",
            width * (2 * (cell % PAIRS) + half), height * (ROWS - 1 - cell / PAIRS), width * halves,
            height);
}

static void writePlot(FILE *script, const Result *result, int32_t colourColumn)
{
    const double size = result->nodes.count > 1000 ? 0.35 : result->nodes.count > 250 ? 0.5 : 0.7;
    fprintf(script, "plot $all%d with points pointtype 7 pointsize 0.22 linecolor rgb '%s'",
            (int)result->task->file, paleColour);
    if (result->features->oriented)
        fprintf(script,
                ", $nodes using 1:2:3:4:%d with vectors nohead linewidth 1.1 linecolor rgb "
                "variable",
                (int)colourColumn);
    fprintf(script,
            ", $nodes using 1:2:%d with points pointtype 7 pointsize %g linecolor rgb "
            "variable",
            (int)colourColumn, size);
}

static void writePair(FILE *script, const Result *result, int32_t cell)
{
    char title[128];
    const Box box = boundsOf(result);
    const double margin = 0.05 * sizeOf(box), step = roundStep(sizeOf(box) / 4);
    writeNodes(script, result, 0.022 * sizeOf(box));
    fprintf(script, "set xrange [%.10g:%.10g]\n", box.left - margin, box.right + margin);
    const double low = box.low - margin, high = box.high + margin;
    const bool downwards = result->features->oriented;
    fprintf(script, "set yrange [%.10g:%.10g]\n", downwards ? high : low, downwards ? low : high);
    fprintf(script, "set xtics %.10g\nset ytics %.10g\n", step, step);

    snprintf(title, sizeof title, "%s: %d points in %d true groups", result->task->name,
             (int)result->nodes.count, (int)result->nodes.nGroups);
    writePlace(script, cell, 0, 1);
    writeText(script, "set title", title);
    writePlot(script, result, 5);
    fputs("\nunset label\n", script);

    snprintf(title, sizeof title, "found: adjusted Rand index %.4f", result->randIndex);
    writePlace(script, cell, 1, 1);
    writeText(script, "set title", title);
    writePlot(script, result, 6);
    if (result->misplaced > 0)
        fputs(", $nodes using 1:($7 == 1 ? $2 : NaN) with points pointtype 6 pointsize 1.5 "
              "linewidth 1.2 linecolor rgb 'black'",
              script);
    fputc('\n', script);
}

static void writeEigenvalues(FILE *script, const Result *results)
{
    fputs("$values << END\n", script);
    for (int32_t i = 0; i < TASKS; ++i) {
        for (int32_t j = 0; j < results[i].embedding.nValues; ++j)
            fprintf(script, "%d %.10g %d\n", (int)j + 1, results[i].embedding.eigenValues[j],
                    j < results[i].nodes.nGroups);
        fputs("\n\n", script);
    }
    fputs("END\n", script);
    writePlace(script, TASKS, 0, 2);
    fputs("set title 'Eigenvalues; filled: as many as there are groups'\n"
          "set size noratio\nset border 3\nset lmargin 9\nset rmargin 3\n"
          "set xrange [0.5:*]\nset yrange [*:0.01]\nset xtics 4\nset ytics autofreq\n"
          "set grid xtics ytics\nset key on bottom right\nplot ",
          script);
    for (int32_t i = 0; i < TASKS; ++i)
        fprintf(script,
                "%s$values index %d using 1:2 with linespoints pointtype 6 pointsize 0.8 linecolor "
                "rgb '%s' notitle, $values index %d using 1:($3 == 1 ? $2 : NaN) with linespoints "
                "pointtype 7 pointsize 0.8 linecolor rgb '%s' title '%s'",
                i > 0 ? ", " : "", (int)i, lineColour[i], (int)i, lineColour[i],
                results[i].task->name);
    fputc('\n', script);
}

static void writeScript(FILE *script, const Result *results)
{
    const double y = 1 - 0.5 * HEADING / HEIGHT;
    fputs("set multiplot\n", script);
    for (int32_t i = 0; i < TASKS; ++i)
        if (i == 0 || results[i].task->file > results[i - 1].task->file)
            writeFile(script, results[i].features, results[i].task->file);
    fprintf(script,
            "set label 1 'Features clustered by normalized cut' at screen 0.012, %.6f "
            "font 'DejaVu Sans Bold,17'\n"
            "set label 2 'ticks: orientation of the edge; ringed: not in the cluster of its group; "
            "pale: points of the file' at screen 0.275, %.6f font 'DejaVu Sans,12' "
            "textcolor rgb '#555555'\n"
            "set lmargin 6\nset rmargin 1.5\nset tmargin 2.5\nset bmargin 2.5\n"
            "set border 15 linecolor rgb '#999999'\n"
            "set tics nomirror out scale 0.5 font 'DejaVu Sans,9' textcolor rgb '#333333'\n"
            "set title font 'DejaVu Sans Bold,11' offset 0,-0.6\n"
            "set key off font 'DejaVu Sans,10'\n"
            "set grid linecolor rgb '#e6e6e6' linetype 1\nunset grid\nset size ratio -1\n",
            y, y);
    for (int32_t i = 0; i < TASKS; ++i)
        writePair(script, &results[i], i);
    writeEigenvalues(script, results);
    fputs("unset multiplot\n", script);
}

bool drawPicture(const Result *results, const char *folder)
{
    Drawing drawing;
    if (!beginDrawing(&drawing, folder, "cluster_features", WIDTH, HEIGHT))
        return false;
    writeScript(drawing.script, results);
    return endDrawing(&drawing);
}
