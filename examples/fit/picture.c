/*
 * The script holds everything: for each data set the blocks $points and $curve, one pair a group,
 * then the plot commands of its panel. Panels fill a grid of five columns and three rows; the last
 * two cells together show the digits.
 */
#include "picture.h"

#include "examples/common/gnuplot.h"

#include <math.h>

enum { COLUMNS = 5, ROWS = 3, CURVE_POINTS = 400, MAX_GROUPS = 4 };

static const char *const pointColour = "#7ba3d0";
static const char *const curveColour = "#c2410c";
static const char *const groupColour[MAX_GROUPS] = {"#2b6cb0", "#2f9e6e", "#d99a1c", "#c2410c"};

/* The range of the data and a distance of tics that leaves about four of them. */
typedef struct Axis {
    double low;
    double high;
    double tics;
} Axis;

/* Observations that share the second predictor lie on one curve; without one all do. */
typedef struct Groups {
    int32_t count;
    double key[MAX_GROUPS];
} Groups;

static Axis axisOf(const double *values, int32_t count, int32_t stride)
{
    double low = values[0];
    double high = values[0];
    for (int32_t k = 1; k < count; ++k) {
        low = fmin(low, values[k * stride]);
        high = fmax(high, values[k * stride]);
    }
    return (Axis){low, high, roundStep(high > low ? (high - low) / 4 : 1)};
}

static double groupKey(const DataSet *set, int32_t k)
{
    return set->model->nPredictors > 1 ? predictors(set, k)[1] : 0;
}

/* The distinct keys in increasing order; what goes beyond MAX_GROUPS is not drawn. */
static Groups groupsOf(const DataSet *set)
{
    Groups groups = {0};
    for (int32_t k = 0; k < set->nObservations; ++k) {
        const double key = groupKey(set, k);
        int32_t place = 0;
        while (place < groups.count && groups.key[place] < key)
            ++place;
        if ((place < groups.count && groups.key[place] == key) || groups.count == MAX_GROUPS)
            continue;
        for (int32_t i = groups.count; i > place; --i)
            groups.key[i] = groups.key[i - 1];
        groups.key[place] = key;
        ++groups.count;
    }
    return groups;
}

static void writePoints(FILE *script, const DataSet *set, double key, int32_t group)
{
    fprintf(script, "$points%d << END\n", (int)group);
    for (int32_t k = 0; k < set->nObservations; ++k)
        if (groupKey(set, k) == key)
            fprintf(script, "%.10g %.10g\n", predictors(set, k)[0], set->y[k]);
    fputs("END\n", script);
}

static void writeCurve(FILE *script, const DataSet *set, const double *b, Axis axis, double key,
                       int32_t group)
{
    double slope[MAX_PARAMETERS];
    fprintf(script, "$curve%d << END\n", (int)group);
    for (int32_t i = 0; i <= CURVE_POINTS; ++i) {
        const double step = (axis.high - axis.low) / CURVE_POINTS;
        const double x[MAX_PREDICTORS] = {axis.low + i * step, key};
        const double value = set->model->value(b, x, slope);
        fprintf(script, "%.10g %.10g\n", x[0], set->model->fitsLogarithm ? exp(value) : value);
    }
    fputs("END\n", script);
}

static void writeAxis(FILE *script, const char *name, Axis axis, const char *label)
{
    const double margin = 0.05 * (axis.high - axis.low);
    fprintf(script, "set %srange [%.10g:%.10g]\nset %stics %.10g\nset %s", name, axis.low - margin,
            axis.high + margin, name, axis.tics, name);
    writeText(script, "label", label);
}

/* An experiment with several curves was observed at 1, 2, 4, … weeks. */
static void writeDoublings(FILE *script, Axis x)
{
    fprintf(script, "set logscale x 2\nset xrange [%.10g:%.10g]\nset xtics 2\n", x.low / 1.2,
            x.high * 1.2);
}

static void writePlot(FILE *script, const DataSet *set, const Groups *groups)
{
    const bool several = groups->count > 1;
    const double pointSize = set->nObservations < 60 ? 1.1 : 0.7;
    if (several)
        writeText(script, "set key on bottom left title", set->predictorName[1]);
    else
        fputs("set key off\n", script);
    for (int32_t g = 0; g < groups->count; ++g)
        fprintf(script,
                "%s $points%d with points pointtype 7 pointsize %.1f linecolor rgb '%s' notitle, "
                "$curve%d with lines linewidth 1.6 linecolor rgb '%s' title '%g'",
                g == 0 ? "plot" : ",", (int)g, pointSize, several ? groupColour[g] : pointColour,
                (int)g, several ? groupColour[g] : curveColour, groups->key[g]);
    fputs("\nunset logscale x\n", script);
}

/* Puts the next plot into as many cells of the grid, counted row by row from the top. */
static void writePlace(FILE *script, int32_t cell, int32_t cells)
{
    const double bottom = 0.01;
    const double height = 0.94 / ROWS; /* the rest is the heading's */
    fprintf(script, "set origin %.6f, %.6f\nset size %.6f, %.6f\n",
            (double)(cell % COLUMNS) / COLUMNS, bottom + height * (ROWS - 1 - cell / COLUMNS),
            (double)cells / COLUMNS, height);
}

static void writePanel(FILE *script, const DataSet *set, const double *b, int32_t cell)
{
    const Groups groups = groupsOf(set);
    const Axis x = axisOf(set->x, set->nObservations, set->model->nPredictors);
    const Axis y = axisOf(set->y, set->nObservations, 1);
    for (int32_t g = 0; g < groups.count; ++g) {
        writePoints(script, set, groups.key[g], g);
        writeCurve(script, set, b, x, groups.key[g], g);
    }
    writePlace(script, cell, 1);
    writeText(script, "set title", set->model->set);
    writeAxis(script, "x", x, set->predictorName[0]);
    if (groups.count > 1)
        writeDoublings(script, x);
    writeAxis(script, "y", y, set->responseName);
    writePlot(script, set, &groups);
}

/* Digits of every fit: a column a set, one way left of its middle, the other right. */
static void writeDigits(FILE *script, const Fits *fits)
{
    for (FitWay way = 0; way < WAY_COUNT; ++way) {
        fprintf(script, "$digits%d << END\n", (int)way);
        for (int32_t i = 0; i < MODEL_COUNT; ++i)
            for (int32_t start = 0; start < START_COUNT; ++start)
                fprintf(script, "%g %g\n", i + (way == AS_IT_COMES ? -0.15 : 0.15),
                        fits[i].fit[way][start].digits);
        fputs("END\n", script);
    }
    writePlace(script, MODEL_COUNT, COLUMNS * ROWS - MODEL_COUNT);
    fputs("set title 'Correct digits of the worst parameter, both starts'\n"
          "set xrange [-0.6:12.6]\nset yrange [-0.4:11.6]\nset ytics 2\n"
          "unset xlabel\nset ylabel 'digits (at most 11)'\n"
          "set bmargin 5\nset xtics rotate by 35 right (",
          script);
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        fprintf(script, "%s'%s' %d", i == 0 ? "" : ", ", models[i].set, (int)i);
    fprintf(script,
            ")\nset key on bottom right notitle opaque\n"
            "plot $digits0 with points pointtype 6 pointsize 1.1 linewidth 1.6 linecolor rgb '%s' "
            "title 'as it comes', $digits1 with points pointtype 7 pointsize 1.1 linecolor rgb "
            "'%s' title 'with care'\n",
            pointColour, curveColour);
}

static void writeScript(FILE *script, const DataSet *sets, const Fits *fits)
{
    fputs("set multiplot\n"
          "set label 1 'Reference data and fitted curves' at screen 0.012, 0.976 "
          "font 'DejaVu Sans Bold,17'\n"
          "set label 2 'fitted with care from start 1' at screen 0.232, 0.974 "
          "font 'DejaVu Sans,12' textcolor rgb '#555555'\n"
          "set lmargin 8\nset rmargin 2\nset tmargin 3\nset bmargin 3.5\n"
          "set border 3 linecolor rgb '#555555'\n"
          "set xlabel offset 0,0.4\n"
          "set tics nomirror out scale 0.6 font 'DejaVu Sans,9' textcolor rgb '#333333'\n"
          "set title font 'DejaVu Sans Bold,12' offset 0,-0.4\n"
          "set key samplen 1.5 spacing 1 font 'DejaVu Sans,9'\n"
          "set grid linecolor rgb '#e6e6e6' linetype 1\n",
          script);
    for (int32_t i = 0; i < MODEL_COUNT; ++i) {
        writePanel(script, &sets[i], fits[i].fit[WITH_CARE][0].parameters, i);
        fputs("unset label\n", script);
    }
    writeDigits(script, fits);
    fputs("unset multiplot\n", script);
}

bool drawPicture(const DataSet *sets, const Fits *fits, const char *folder)
{
    Drawing drawing;
    if (!beginDrawing(&drawing, folder, "fit_reference_data", 2000, 1260))
        return false;
    writeScript(drawing.script, sets, fits);
    return endDrawing(&drawing);
}
