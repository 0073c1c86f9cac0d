/*
 * On the left all coins in the frame of the photograph, y downwards. On the right the one that the
 * two ways set furthest apart from least squares, and both measures of it over the radius. The
 * blocks: $points with x, y and whether the point is near its circle, $circles with x, y and radius
 * of least squares, of conjugate gradients and of differences, $profile with radius, misfit and
 * mean square of d.
 */
#include "picture.h"

#include "examples/common/gnuplot.h"

#include <math.h>

enum { WIDTH = 2000, HEIGHT = 1130, PROFILE_STEPS = 400 };

enum { SQUARES, CONJUGATE, DIFFERENCES, KINDS }; /* of circles */

static const char *const colourOf[KINDS] = {"#e08a00", "#1f77b4", "#c2184b"};

typedef struct Box {
    double left;
    double right;
    double top;
    double bottom;
} Box;

static double shrinkage(const Result *result)
{
    return result->fits[CONJUGATE_GRADIENTS].circle.radius - result->leastSquares.radius;
}

static const Result *mostDrawnOff(const Result *results, int32_t count)
{
    const Result *most = results;
    for (int32_t i = 1; i < count; ++i)
        if (shrinkage(&results[i]) > shrinkage(most))
            most = &results[i];
    return most;
}

static void widen(Box *box, double x, double y, double margin)
{
    box->left = fmin(box->left, x - margin);
    box->right = fmax(box->right, x + margin);
    box->top = fmin(box->top, y - margin);
    box->bottom = fmax(box->bottom, y + margin);
}

static Box boxAround(const Result *results, int32_t count)
{
    Box box = {INFINITY, -INFINITY, INFINITY, -INFINITY};
    for (int32_t i = 0; i < count; ++i) {
        const Circle start = startCircle(&results[i].coin);
        widen(&box, start.x, start.y, 1.12 * start.radius + 1);
    }
    return box;
}

static void writePoints(FILE *script, const Result *result)
{
    const Circle *circle = &result->fits[CONJUGATE_GRADIENTS].circle;
    for (int32_t i = 0; i < result->coin.count; ++i) {
        const kmath_vect3 *point = &result->coin.points[i];
        fprintf(script, "%.10g %.10g %d\n", point->x, point->y,
                fabs(distanceFrom(circle, point)) <= NEAR);
    }
    fputs("\n\n", script);
}

static void writeCircles(FILE *script, const Result *result)
{
    const Circle *circles[KINDS] = {&result->leastSquares,
                                    &result->fits[CONJUGATE_GRADIENTS].circle,
                                    &result->fits[BY_DIFFERENCES].circle};
    for (int32_t kind = 0; kind < KINDS; ++kind)
        fprintf(script, "%.10g %.10g %.10g ", circles[kind]->x, circles[kind]->y,
                circles[kind]->radius);
    fprintf(script, "%d\n\n\n", (int)result->coin.group);
}

static void writeProfile(FILE *script, const Result *result)
{
    const Circle *found = &result->fits[CONJUGATE_GRADIENTS].circle;
    fputs("$profile << END\n", script);
    for (int32_t k = 0; k <= PROFILE_STEPS; ++k) {
        double squares = 0;
        Circle circle = *found;
        circle.radius *= 0.4 + 0.8 * k / PROFILE_STEPS;
        for (int32_t i = 0; i < result->coin.count; ++i) {
            const double d = distanceFrom(&circle, &result->coin.points[i]);
            squares += d * d;
        }
        fprintf(script, "%.6g %.8g %.8g\n", circle.radius, misfit(&circle, &result->coin),
                squares / result->coin.count);
    }
    fputs("END\n", script);
}

static void writeRanges(FILE *script, Box box)
{
    const double step = roundStep(fmax(box.right - box.left, box.bottom - box.top) / 6);
    fprintf(script, "set xrange [%.10g:%.10g]\nset yrange [%.10g:%.10g]\n", box.left, box.right,
            box.bottom, box.top);
    fprintf(script, "set xtics %.10g\nset ytics %.10g\n", step, step);
}

/* The blocks from first to last; where two circles agree, the later is seen as dashes. */
static void writeCoins(FILE *script, int32_t first, int32_t last, double size)
{
    static const char *const dashes[KINDS] = {"solid", "solid", "(20, 20)"};
    static const char *const pointColours[] = {"#b0b0b0", "#303030"};
    for (int32_t near = 0; near <= 1; ++near)
        fprintf(script,
                "%s $points index %d:%d using 1:($3 == %d ? $2 : NaN) with points pointtype 7 "
                "pointsize %g linecolor rgb '%s' notitle",
                near == 0 ? "plot" : ",", (int)first, (int)last, (int)near, size,
                pointColours[near]);
    for (int32_t kind = 0; kind < KINDS; ++kind)
        fprintf(script,
                ", $circles index %d:%d using %d:%d:%d with circles linewidth 1.6 dashtype %s "
                "linecolor rgb '%s' notitle",
                (int)first, (int)last, (int)(CIRCLE * kind + 1), (int)(CIRCLE * kind + 2),
                (int)(CIRCLE * kind + 3), dashes[kind], colourOf[kind]);
    fputc('\n', script);
}

static void writePanels(FILE *script, const Result *results, int32_t count)
{
    const Result *most = mostDrawnOff(results, count);
    const int32_t index = (int32_t)(most - results);
    fputs("set origin 0, 0\nset size 0.66, 0.93\nset title 'All coins, in pixels of the "
          "photograph'\n",
          script);
    writeRanges(script, boxAround(results, count));
    writeCoins(script, 0, count - 1, 0.35);

    fputs("unset label\nset origin 0.66, 0.42\nset size 0.34, 0.51\n", script);
    fprintf(script, "set title 'Coin %d: %d points'\n", (int)most->coin.group,
            (int)most->coin.count);
    writeRanges(script, boxAround(most, 1));
    writeCoins(script, index, index, 0.7);

    fputs(
        "set origin 0.66, 0\nset size noratio 0.34, 0.42\nset lmargin 9\nset rmargin 10\n"
        "set bmargin 4\nset autoscale\nset border 11\nset xlabel 'radius in pixels' offset 0,0.3\n"
        "set xtics autofreq\nset ytics nomirror autofreq\nset y2tics autofreq\n"
        "set ylabel 'misfit' offset 1.5,0\nset y2label 'mean of d²' offset 0.5,0\n"
        "set key top left samplen 2 spacing 1.1\n",
        script);
    fprintf(script,
            "set title 'Coin %d: both measures over the radius, the centre kept'\n"
            "plot $profile using 1:3 axes x1y2 with lines linewidth 1.6 linecolor rgb '%s' title "
            "'mean of d²', $profile using 1:2 with lines linewidth 1.6 linecolor rgb '%s' title "
            "'misfit'\n",
            (int)most->coin.group, colourOf[SQUARES], colourOf[CONJUGATE]);
}

static void writeScript(FILE *script, const Result *results, int32_t count)
{
    fputs("$points << END\n", script);
    for (int32_t i = 0; i < count; ++i)
        writePoints(script, &results[i]);
    fputs("END\n$circles << END\n", script);
    for (int32_t i = 0; i < count; ++i)
        writeCircles(script, &results[i]);
    fputs("END\n", script);
    writeProfile(script, mostDrawnOff(results, count));
    fprintf(script,
            "set multiplot\n"
            "set label 1 'Circles fitted to edge points of coins' at screen 0.012, 0.965 font "
            "'DejaVu Sans Bold,17'\n"
            "set label 2 'least squares' at screen 0.31, 0.965 font 'DejaVu Sans Bold,12' "
            "textcolor rgb '%s'\n"
            "set label 3 'least misfit by conjugate gradients' at screen 0.39, 0.965 font "
            "'DejaVu Sans Bold,12' textcolor rgb '%s'\n"
            "set label 4 'and by differences, in dashes' at screen 0.556, 0.965 font "
            "'DejaVu Sans Bold,12' textcolor rgb '%s'\n"
            "set label 5 'dark: points within %g pixels of the circle by conjugate gradients' at "
            "screen 0.70, 0.965 font 'DejaVu Sans,12' textcolor rgb '#555555'\n",
            colourOf[SQUARES], colourOf[CONJUGATE], colourOf[DIFFERENCES], NEAR);
    fputs("set lmargin 6\nset rmargin 1.5\nset tmargin 2.5\nset bmargin 2.5\n"
          "set border 15 linecolor rgb '#999999'\n"
          "set tics nomirror out scale 0.5 font 'DejaVu Sans,9' textcolor rgb '#333333'\n"
          "set title font 'DejaVu Sans Bold,11' offset 0,-0.6\n"
          "set style fill transparent empty\nset key off font 'DejaVu Sans,10'\n"
          "set size ratio -1\n",
          script);
    writePanels(script, results, count);
    fputs("unset multiplot\n", script);
}

bool drawPicture(const Result *results, int32_t count, const char *folder)
{
    Drawing drawing;
    if (!beginDrawing(&drawing, folder, "minimize_scalar", WIDTH, HEIGHT))
        return false;
    writeScript(drawing.script, results, count);
    return endDrawing(&drawing);
}
