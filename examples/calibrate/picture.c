/*
 * Panels fill a grid of four columns, row by row; the errors of all views take what the last row
 * leaves, or a row of their own. The block $board holds the measured corners along the board's
 * lines, $arrows a corner and its enlarged residual a line. v grows downwards, as in the image.
 */
#include "picture.h"

#include "examples/common/gnuplot.h"

#include <math.h>

enum { GRID_COLUMNS = 4, CHART_COLUMNS = 2, CELL_WIDTH = 500, PANEL_WIDTH = 430, HEADING = 90 };

static const char *const boardColour = "#b8c7d9";
static const char *const arrowColour = "#c2410c";
static const char *const barColour = "#7ba3d0";

typedef struct Layout {
    int32_t rows;
    int32_t cellHeight; /* in pixels, as is the next */
    int32_t height;
    double enlargement; /* of the residual vectors */
} Layout;

/* The first of the chart's cells, which go to the end of a row and are two at least. */
static int32_t chartCell(const Corners *corners)
{
    const int32_t column = corners->nViews % GRID_COLUMNS;
    const bool fits = column + CHART_COLUMNS <= GRID_COLUMNS;
    return fits ? corners->nViews : corners->nViews + GRID_COLUMNS - column;
}

static Layout layOut(const Corners *corners, double rms)
{
    Layout layout;
    const double aspect = (double)corners->height / corners->width;
    layout.rows = chartCell(corners) / GRID_COLUMNS + 1;
    layout.cellHeight = (int32_t)(fmin(aspect, 3) * PANEL_WIDTH) + 75;
    layout.height = HEADING + layout.rows * layout.cellHeight;
    layout.enlargement = rms > 0 ? roundStep(0.03 * corners->width / rms) : 1;
    return layout;
}

static void writePlace(FILE *script, const Layout *layout, int32_t cell, int32_t cells)
{
    const double height = (double)layout->cellHeight / layout->height;
    fprintf(script, "set origin %.6f, %.6f\nset size %.6f, %.6f\n",
            (double)(cell % GRID_COLUMNS) / GRID_COLUMNS,
            height * (layout->rows - 1 - cell / GRID_COLUMNS), (double)cells / GRID_COLUMNS,
            height);
}

static void writeCorner(FILE *script, const Corners *corners, int32_t view, int32_t column,
                        int32_t row)
{
    const Pixel pixel = corners->views[view].corners[row * corners->columns + column];
    fprintf(script, "%.10g %.10g\n", pixel.u, pixel.v);
}

/* The corners along every row, then along every column, with an empty line behind each. */
static void writeBoard(FILE *script, const Corners *corners, int32_t view)
{
    fputs("$board << END\n", script);
    for (int32_t row = 0; row < corners->rows; ++row) {
        for (int32_t column = 0; column < corners->columns; ++column)
            writeCorner(script, corners, view, column, row);
        fputc('\n', script);
    }
    for (int32_t column = 0; column < corners->columns; ++column) {
        for (int32_t row = 0; row < corners->rows; ++row)
            writeCorner(script, corners, view, column, row);
        fputc('\n', script);
    }
    fputs("END\n", script);
}

static void writeArrows(FILE *script, const Corners *corners, const double *residuals, int32_t view,
                        double enlargement)
{
    fputs("$arrows << END\n", script);
    for (int32_t k = 0; k < cornerCount(corners); ++k) {
        const Pixel corner = corners->views[view].corners[k];
        const double *r = &residuals[2 * (view * cornerCount(corners) + k)];
        fprintf(script, "%.10g %.10g %.10g %.10g\n", corner.u, corner.v, enlargement * r[0],
                enlargement * r[1]);
    }
    fputs("END\n", script);
}

static void writePanel(FILE *script, const Corners *corners, const double *residuals, int32_t view,
                       const Layout *layout)
{
    char title[64];
    snprintf(title, sizeof title, "view %s   %.3f px", corners->views[view].name,
             rootMeanSquare(viewSum(corners, residuals, view), cornerCount(corners)));
    writeBoard(script, corners, view);
    writeArrows(script, corners, residuals, view, layout->enlargement);
    writePlace(script, layout, view, 1);
    writeText(script, "set title", title);
    fprintf(script,
            "plot $board with linespoints pointtype 7 pointsize 0.45 linecolor rgb '%s' notitle, "
            "$arrows with vectors arrowstyle 1 notitle\n",
            boardColour);
}

static void writeChart(FILE *script, const Corners *corners, const double *residuals,
                       const Layout *layout, double rms)
{
    double largest = rms;
    fputs("$errors << END\n", script);
    for (int32_t i = 0; i < corners->nViews; ++i) {
        const double error = rootMeanSquare(viewSum(corners, residuals, i), cornerCount(corners));
        largest = fmax(largest, error);
        fprintf(script, "%d %.10g \"%s\"\n", (int)i, error, corners->views[i].name);
    }
    fputs("END\n", script);
    writePlace(script, layout, chartCell(corners),
               GRID_COLUMNS - chartCell(corners) % GRID_COLUMNS);
    fprintf(script,
            "set title 'Reprojection error of each view'\n"
            "set size noratio\nset border 3\nset lmargin 9\n"
            "set xrange [-0.7:%.1f]\nset yrange [0:%.10g]\n"
            "set xtics autofreq%s\nset ytics %.10g\n"
            "set ylabel 'r.m.s. in pixels'\nset boxwidth 0.7\n"
            "set style fill solid 1 noborder\nset grid ytics\nset key on top right\n"
            "plot $errors using 1:2:xticlabels(3) with boxes linecolor rgb '%s' notitle, "
            "%.10g with lines linewidth 1.6 linecolor rgb '%s' title sprintf('all views: %%.4f', "
            "%.10g)\n",
            corners->nViews - 0.3, largest > 0 ? 1.25 * largest : 1,
            corners->nViews > 20 ? " rotate by 90 right font ',6'" : "",
            roundStep(largest > 0 ? largest / 5 : 1), barColour, rms, arrowColour, rms);
}

/* The heading, with an arrow that shows how long a residual of so many pixels is drawn. */
static void writeHeading(FILE *script, const Corners *corners, const Layout *layout)
{
    const double sample = roundStep(0.06 * corners->width / layout->enlargement);
    const double y = 1 - 0.5 * HEADING / layout->height;
    fprintf(script,
            "set label 1 'Measured corners and residual vectors' at screen 0.012, %.6f "
            "font 'DejaVu Sans Bold,17'\n"
            "set label 2 'prediction minus measurement, enlarged %g times; u and v in pixels, "
            "above each panel its r.m.s. "
            "error' at screen 0.275, %.6f font 'DejaVu Sans,12' "
            "textcolor rgb '#555555'\n"
            "set label 3 '%g px' at screen %.6f, %.6f right font 'DejaVu Sans,12' "
            "textcolor rgb '%s'\n",
            y, layout->enlargement, y, sample, 0.93, y, arrowColour);
    fprintf(script,
            "set arrow 1 from screen 0.937, %.6f to screen %.6f, %.6f filled size screen 0.0022,18 "
            "linewidth 1.3 linecolor rgb '%s'\n",
            y,
            0.937 + sample * layout->enlargement / corners->width * PANEL_WIDTH /
                        (GRID_COLUMNS * CELL_WIDTH),
            y, arrowColour);
}

static void writeScript(FILE *script, const Corners *corners, const double *residuals, double rms,
                        const Layout *layout)
{
    fputs("set multiplot\n", script);
    writeHeading(script, corners, layout);
    fprintf(script,
            "set style arrow 1 head filled size screen 0.0022,18 linewidth 1.3 linecolor rgb '%s'\n"
            "set lmargin 6\nset rmargin 1.5\nset tmargin 2.5\nset bmargin 2.5\n"
            "set border 15 linecolor rgb '#999999'\n"
            "set tics nomirror out scale 0.5 font 'DejaVu Sans,9' textcolor rgb '#333333'\n"
            "set title font 'DejaVu Sans Bold,11' offset 0,-0.6\n"
            "set key off font 'DejaVu Sans,10'\n"
            "set grid linecolor rgb '#e6e6e6' linetype 1\nunset grid\n"
            "set size ratio -1\nset xrange [-0.5:%.1f]\nset yrange [%.1f:-0.5]\n"
            "set xtics %.10g\nset ytics %.10g\n",
            arrowColour, corners->width - 0.5, corners->height - 0.5,
            roundStep(corners->width / 4.0), roundStep(corners->height / 4.0));
    for (int32_t i = 0; i < corners->nViews; ++i) {
        writePanel(script, corners, residuals, i, layout);
        fputs("unset label\nunset arrow\n", script);
    }
    writeChart(script, corners, residuals, layout, rms);
    fputs("unset multiplot\n", script);
}

bool drawPicture(const Corners *corners, const Results *results, const double *residuals,
                 const char *folder)
{
    const double rms = rootMeanSquare(bestOf(results)->sumOfSquares, residualCount(corners) / 2);
    const Layout layout = layOut(corners, rms);
    Drawing drawing;
    if (!beginDrawing(&drawing, folder, "calibrate_camera", GRID_COLUMNS * CELL_WIDTH,
                      layout.height))
        return false;
    writeScript(drawing.script, corners, residuals, rms, &layout);
    return endDrawing(&drawing);
}
