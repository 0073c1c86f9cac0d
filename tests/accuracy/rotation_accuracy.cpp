// Measures the errors of the rotation conversions against 128-bit arithmetic and prints them as
// tables in Markdown, one row a range of angles or disturbances.
//
//   rotation_accuracy [SAMPLES]    random rotations a row
//
// Fails when a row breaks the limit that theory sets.
#include "accuracy/exact_rotations.hpp"
#include "accuracy/report.hpp"

#include <kmath/matrix3.h>
#include <kmath/rotations.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <numbers>

using namespace accuracy;

namespace
{

constexpr double h = 1e-8; // the step of computeJacob and the threshold of buildMat, radians

/// Angles spread evenly over the logarithm of a range, of θ itself or of its distance to π.
struct AngleRange {
    const char *label;
    double from, to;
    bool belowPi = false;

    Quad draw(Random &random) const
    {
        const Quad angle = from == to ? from : from * std::pow(to / from, random.uniform(0.0, 1.0));
        return belowPi ? pi - angle : angle;
    }
    bool reachesBelow(double angle) const { return !belowPi && from < angle; }
};

constexpr AngleRange angleRanges[] = {
    {"0", 0.0, 0.0},
    {"1e-9", 1e-9, 1e-9},
    {"1e-9 … 1e-8", 1e-9, 1e-8 * (1.0 - 1e-6)},
    {"just below 1e-8", 1e-8 * (1.0 - 1e-6), 1e-8 * (1.0 - 1e-6)},
    {"just above 1e-8", 1e-8 * (1.0 + 1e-6), 1e-8 * (1.0 + 1e-6)},
    {"1e-8 … 1e-7", 1e-8 * (1.0 + 1e-6), 1e-7},
    {"1e-7 … 1e-6", 1e-7, 1e-6},
    {"1e-6 … 1e-5", 1e-6, 1e-5},
    {"1e-5 … 1e-4", 1e-5, 1e-4},
    {"1e-4 … 1e-3", 1e-4, 1e-3},
    {"0.001 … 0.01", 1e-3, 1e-2},
    {"0.01 … 0.1", 1e-2, 1e-1},
    {"0.1 … 1", 1e-1, 1.0},
    {"1 … π/2", 1.0, std::numbers::pi / 2.0},
    {"π/2 … 2π/3", std::numbers::pi / 2.0, std::numbers::pi / 1.5},
    {"2π/3 … 3", std::numbers::pi / 1.5, 3.0},
    {"3 … π − 0.01", std::numbers::pi - 3.0, 1e-2, true},
    {"π − 0.01 … π − 1e-4", 1e-2, 1e-4, true},
    {"π − 1e-4 … π − 1e-6", 1e-4, 1e-6, true},
    {"π − 1e-6 … π − 1e-9", 1e-6, 1e-9, true},
    {"π", 0.0, 0.0, true},
};

/// Uniform on the unit sphere.
Vector randomAxis(Random &random)
{
    for (;;) {
        const Vector v = {
            {random.uniform(-1.0, 1.0), random.uniform(-1.0, 1.0), random.uniform(-1.0, 1.0)}};
        const Quad n = length(v);
        if (n <= 1 && n > Quad(0.01))
            return 1 / n * v;
    }
}

Vector randomRotationVector(Random &random, const AngleRange &range)
{
    const Quad angle = range.draw(random);
    return angle * randomAxis(random);
}

Matrix randomMatrix(Random &random)
{
    return buildMatrix([&](int, int) { return random.uniform(-1.0, 1.0); });
}

double inEpsilons(Quad error) { return static_cast<double>(error) / epsilon; }

bool hasPositiveTrace(const kmath_matrix3 &M) { return M.m00 + M.m11 + M.m22 > 0.0; }

/// Which of the vectors of one rotation getParam gives: from the trace, of length θ; from the
/// diagonal, of length θ; or from the diagonal with the quaternion's sign turned, s·(1 − 2π/θ).
enum Branch { fromTrace, fromDiagonal, turned };
constexpr std::array<const char *, 3> branchNames = {"trace > 0", "trace ≤ 0", "trace ≤ 0, turned"};

/// A rotation vector of the library beside the exact one of length θ ≤ π.
struct Comparison {
    Comparison(const kmath_matrix3 &M, const kmath_rodParam &result, const Vector &reference)
        : theta(length(reference))
    {
        const Vector r = exact(result);
        Vector expected = reference;
        if (hasPositiveTrace(M)) {
            branch = fromTrace;
        } else {
            const Vector other = theta == 0 ? reference : (1 - 2 * pi / theta) * reference;
            branch = length(r - other) < length(r - reference) ? turned : fromDiagonal;
            if (branch == turned)
                expected = other;
        }
        error = length(r - expected);
        const Quad product = length(r) * length(expected);
        hasAxes = product > 0;
        axisError = hasAxes ? length(cross(r, expected)) / product : 0;
    }

    Branch branch;
    Quad theta;     ///< of the exact vector
    Quad error;     ///< length of the difference, radians
    bool hasAxes;   ///< neither vector is zero
    Quad axisError; ///< sine of the angle between the two

    Quad unit() const { return epsilon / sinf128(theta / 2); } ///< what the arc cosine costs
};

bool buildMat(int samples)
{
    // Each element sums three terms of at most 1, 1 and 2 with about ten roundings of ε/2 in all.
    Table table("rotations: buildMat",
                {{"θ"}, {"R: largest, ε", 8.0}, {"mean, ε"}, {"RᵀR − I: largest, ε", 16.0}});
    for (const AngleRange &range : angleRanges) {
        Random random(1);
        Errors element, orthogonality;
        for (int n = 0; n < samples; ++n) {
            const kmath_rodParam r = rounded(randomRotationVector(random, range));
            kmath_matrix3 R;
            demand(kmath_rodParam_buildMat(&r, &R));
            element.add(inEpsilons(largest(exact(R) - rodrigues(exact(r)))));
            orthogonality.add(inEpsilons(orthogonalityError(exact(R))));
        }
        // Up to the threshold the result is the identity, θ away.
        const bool omitted = range.to > 0.0 && range.reachesBelow(h);
        table.row({range.label,
                   omitted ? Cell(element.largest(), range.to / epsilon) : Cell(element.largest()),
                   text(element.mean()), orthogonality.largest()});
    }
    return table.finish();
}

/// One row a range and branch, of what measure makes of a random rotation vector. The rounding of w
/// by a few ε, near 1, moves 2·acos w by twice that over sin(θ/2).
template <class Measure>
bool tableOfVectors(const char *name, double limit, int samples, Measure measure)
{
    Table table(name, {{"θ"},
                       {"branch"},
                       {"samples"},
                       {"r: largest, rad"},
                       {"relative to θ"},
                       {"largest, ε/sin(θ/2)", limit},
                       {"mean, ε/sin(θ/2)"},
                       {"axis: largest, ε", 8.0}});
    for (const AngleRange &range : angleRanges) {
        struct {
            Errors error, relative, scaled, axis;
        } results[3];
        Random random(2);
        for (int n = 0; n < samples; ++n) {
            const Comparison c = measure(randomRotationVector(random, range));
            auto &result = results[c.branch];
            result.error.add(c.error);
            result.relative.add(c.theta == 0 ? 0 : c.error / c.theta);
            result.scaled.add(c.theta == 0 ? c.error : c.error / c.unit());
            if (c.hasAxes)
                result.axis.add(inEpsilons(c.axisError));
        }
        for (const Branch branch : {fromTrace, fromDiagonal, turned}) {
            const auto &[error, relative, scaled, axis] = results[branch];
            if (error.count() > 0)
                table.row({range.label, branchNames[branch], std::to_string(error.count()),
                           error.largest(), relative.largest(), scaled.largest(),
                           text(scaled.mean()), axis.count() > 0 ? Cell(axis.largest()) : "none"});
        }
    }
    return table.finish();
}

bool getParam(int samples)
{
    return tableOfVectors("rotations: getParam", 12.0, samples, [](const Vector &s) {
        const kmath_matrix3 M = rounded(rodrigues(s));
        kmath_rodParam r;
        demand(kmath_rodParam_getParam(&M, &r));
        return Comparison(M, r, rotationVector(polarFactor(exact(M))));
    });
}

bool roundTrip(int samples)
{
    return tableOfVectors("rotations: round trip", 16.0, samples, [](const Vector &s) {
        const kmath_rodParam r = rounded(s);
        kmath_matrix3 R;
        kmath_rodParam back;
        demand(kmath_rodParam_buildMat(&r, &R));
        demand(kmath_rodParam_getParam(&R, &back));
        return Comparison(R, back, exact(r));
    });
}

bool imperfectMatrix(int samples)
{
    constexpr AngleRange ranges[] = {{"0.001 … 0.01", 1e-3, 1e-2},
                                     {"0.1 … 1", 1e-1, 1.0},
                                     {"2π/3 … 3", std::numbers::pi / 1.5, 3.0}};
    constexpr struct {
        const char *label;
        double size;
    } disturbances[] = {{"1e-12", 1e-12}, {"1e-8", 1e-8}, {"1e-4", 1e-4}};
    // Each element of M moves w by up to δ, and w counts as above.
    Table table("rotations: imperfect matrix", {{"disturbance δ"},
                                                {"θ"},
                                                {"as it is: largest, rad"},
                                                {"δ/sin(θ/2)", 8.0},
                                                {"closest rotation first: largest, rad"},
                                                {"ε/sin(θ/2)", 32.0}});
    for (const auto &[label, disturbance] : disturbances) {
        for (const AngleRange &range : ranges) {
            Random random(4);
            Errors direct, directScaled, closest, closestScaled;
            for (int n = 0; n < samples; ++n) {
                const Matrix R = rodrigues(randomRotationVector(random, range));
                const kmath_matrix3 M = rounded(R + disturbance * randomMatrix(random));
                const Vector reference = rotationVector(polarFactor(exact(M)));

                kmath_rodParam r;
                demand(kmath_rodParam_getParam(&M, &r));
                const Comparison plain(M, r, reference);
                direct.add(plain.error);
                directScaled.add(plain.error / plain.unit() * epsilon / disturbance);

                kmath_matrix3 Q;
                demand(kmath_rodParam_findClosestRotation(&M, &Q));
                demand(kmath_rodParam_getParam(&Q, &r));
                const Comparison orthogonal(Q, r, reference);
                closest.add(orthogonal.error);
                closestScaled.add(orthogonal.error / orthogonal.unit());
            }
            table.row({label, range.label, direct.largest(), directScaled.largest(),
                       closest.largest(), closestScaled.largest()});
        }
    }
    return table.finish();
}

bool computeJacob(int samples)
{
    // Two matrices err by up to 8 ε an element, over a step of 1e-8; the step itself adds 1e-8.
    Table table("rotations: computeJacob",
                {{"θ"}, {"∂R: largest", 5e-7}, {"mean of the largest element"}});
    for (const AngleRange &range : angleRanges) {
        Random random(5);
        Errors error;
        for (int n = 0; n < samples; ++n) {
            const kmath_rodParam r = rounded(randomRotationVector(random, range));
            kmath_matrix3 dR[3], R;
            demand(kmath_rodParam_computeJacob(&r, &dR[0], &dR[1], &dR[2], &R));
            Quad worst = 0;
            for (int i = 0; i < 3; ++i)
                worst = fmaxf128(worst, largest(exact(dR[i]) - rodriguesDerivative(exact(r), i)));
            error.add(worst);
        }
        // One side of the difference, or both, may be the identity below the threshold.
        const bool flat = range.reachesBelow(2.0 * h);
        table.row({range.label, flat ? Cell(error.largest(), 1.0 + 1e-6) : Cell(error.largest()),
                   text(error.mean())});
    }
    return table.finish();
}

struct EulerRange {
    const char *label;
    double from, to; // magnitude of an angle, or cos ay
};

bool getMatrix(int samples)
{
    constexpr EulerRange ranges[] = {{"0", 0.0, 0.0},
                                     {"up to 1e-8", 0.0, 1e-8},
                                     {"up to 1e-4", 0.0, 1e-4},
                                     {"up to 0.01", 0.0, 1e-2},
                                     {"up to 1", 0.0, 1.0},
                                     {"1 … π/2", 1.0, std::numbers::pi / 2.0},
                                     {"π/2 … π", std::numbers::pi / 2.0, std::numbers::pi},
                                     {"π/2", std::numbers::pi / 2.0, std::numbers::pi / 2.0},
                                     {"π", std::numbers::pi, std::numbers::pi},
                                     {"π … 1e6", std::numbers::pi, 1e6}};
    Table table("rotations: getMatrix",
                {{"angles"}, {"M: largest, ε", 4.0}, {"mean, ε"}, {"MᵀM − I: largest, ε", 8.0}});
    for (const EulerRange &range : ranges) {
        Random random(6);
        Errors element, orthogonality;
        for (int n = 0; n < samples; ++n) {
            const auto angle = [&] { return random.sign() * random.uniform(range.from, range.to); };
            const double ax = angle(), ay = angle(), az = angle();
            const kmath_angle3Vect angles = {ax, ay, az};
            kmath_matrix3 M;
            demand(kmath_angle3Vect_getMatrix(&angles, &M));
            element.add(inEpsilons(largest(exact(M) - eulerMatrix({{ax, ay, az}}))));
            orthogonality.add(inEpsilons(orthogonalityError(exact(M))));
        }
        table.row({range.label, element.largest(), text(element.mean()), orthogonality.largest()});
    }
    return table.finish();
}

/// |a − b| around the full circle.
Quad angleBetween(Quad a, Quad b) { return fabsf128(remainderf128(a - b, 2 * pi)); }

bool setMatrix(int samples)
{
    constexpr EulerRange ranges[] = {
        {"0.1 … 1", 1.0, 1e-1},          {"0.01 … 0.1", 1e-1, 1e-2},
        {"1e-3 … 0.01", 1e-2, 1e-3},     {"1e-4 … 1e-3", 1e-3, 1e-4},
        {"1e-6 … 1e-4", 1e-4, 1e-6},     {"1e-8 … 1e-6", 1e-6, 1e-8},
        {"1e-10 … 1e-8", 1e-8, 1e-10},   {"1e-13 … 1e-10", 1e-10, 1e-13},
        {"1e-15 … 1e-13", 1e-13, 1e-15}, {"1e-17 … 1e-15", 1e-15, 1e-17}};
    // Away from the lock, elements err by up to 5 ε and meet in pairs in the arc tangents.
    constexpr double limit = 1e-14 / epsilon;
    Table table("rotations: setMatrix", {{"cos ay"},
                                         {"matrix, branch"},
                                         {"samples"},
                                         {"ay: largest, rad"},
                                         {"ε/cos ay", limit},
                                         {"ax, az: largest, rad"},
                                         {"ε/cos ay", limit},
                                         {"matrix rebuilt: largest"},
                                         {"ε/cos ay", limit}});
    const auto measure = [&](const EulerRange &range, bool disturbed) {
        struct {
            Errors second, secondScaled, others, othersScaled, matrix, matrixScaled;
        } results[2];
        Random random(7);
        for (int n = 0; n < samples; ++n) {
            const double c = range.from * std::pow(range.to / range.from, random.uniform(0.0, 1.0));
            const Quad ay = random.sign() * atan2f128(sqrtf128((1 - Quad(c)) * (1 + Quad(c))), c);
            const double ax = random.uniform(-std::numbers::pi, std::numbers::pi);
            const double az = random.uniform(-std::numbers::pi, std::numbers::pi);
            Matrix disturbance = 1e-14 * randomMatrix(random);
            const kmath_matrix3 M =
                rounded(eulerMatrix({{ax, ay, az}}) + Quad(disturbed) * disturbance);
            const Matrix R = polarFactor(exact(M));
            const Vector reference = eulerAngles(R);
            const Quad cosine = cosineOfSecondAngle(R);

            kmath_angle3Vect angles;
            kmath_matrix3 closest;
            demand(kmath_angle3Vect_setMatrix(&angles, &M));
            demand(kmath_rodParam_findClosestRotation(&M, &closest));
            const bool locked = std::fabs(closest.m00) <= 1e-15 && std::fabs(closest.m01) <= 1e-15;

            auto &result = results[locked];
            const Quad second = angleBetween(angles.ay, reference[1]);
            const Quad others = fmaxf128(angleBetween(angles.ax, reference[0]),
                                         angleBetween(angles.az, reference[2]));
            result.second.add(second);
            result.secondScaled.add(second * cosine / epsilon);
            result.others.add(others);
            result.othersScaled.add(others * cosine / epsilon);
            const Quad rebuilt = largest(eulerMatrix({{angles.ax, angles.ay, angles.az}}) - R);
            result.matrix.add(rebuilt);
            result.matrixScaled.add(rebuilt * cosine / epsilon);
        }
        const std::string kind = disturbed ? "disturbed" : "rounded";
        if (const auto &free = results[false]; free.second.count() > 0)
            table.row({range.label, kind, std::to_string(free.second.count()),
                       free.second.largest(), free.secondScaled.largest(), free.others.largest(),
                       free.othersScaled.largest(), free.matrix.largest(),
                       free.matrixScaled.largest()});
        // What the test for the lock lets pass, 1e-15 an element, is lost.
        if (const auto &locked = results[true]; locked.second.count() > 0)
            table.row({range.label, kind + ", locked", std::to_string(locked.second.count()),
                       Cell(locked.second.largest(), 8e-15), "", "", "",
                       Cell(locked.matrix.largest(), 8e-15), ""});
    };
    for (const EulerRange &range : ranges)
        measure(range, false);
    for (const EulerRange &range : ranges)
        if (range.to >= 1e-15) // beyond, the disturbance is what decides
            measure(range, true);
    return table.finish();
}

bool closestRotation(int samples)
{
    // The decomposition is backward stable, and the polar factor well conditioned: singular values
    // stay above 0.1 here.
    Table table("rotations: closest rotation", {{"disturbance δ"},
                                                {"copied unchanged"},
                                                {"R: largest, ε", 32.0},
                                                {"mean, ε"},
                                                {"RᵀR − I: largest, ε", 32.0},
                                                {"reflections: R: largest, ε", 32.0},
                                                {"mean, ε"},
                                                {"RᵀR − I: largest, ε", 32.0}});
    const auto measure = [&](const char *label, double scale, double disturbance) {
        constexpr Matrix mirror = {{{1, 0, 0}, {0, 1, 0}, {0, 0, -1}}};
        int copied = 0;
        Errors distance[2], orthogonality[2];
        for (const bool reflected : {false, true}) {
            const auto closest = reflected ? kmath_rodParam_findClosestRotationAllowLeftHanded
                                           : kmath_rodParam_findClosestRotation;
            Random random(reflected);
            for (int n = 0; n < samples; ++n) {
                const Quad angle = random.uniform(0.0, std::numbers::pi);
                const Matrix Q = rodrigues(angle * randomAxis(random));
                const Matrix A = scale * (Q + disturbance * randomMatrix(random));
                const kmath_matrix3 M = rounded(reflected ? A * mirror : A);
                kmath_matrix3 R;
                demand(closest(&M, &R));
                distance[reflected].add(inEpsilons(largest(exact(R) - polarFactor(exact(M)))));
                orthogonality[reflected].add(inEpsilons(orthogonalityError(exact(R))));
                copied += largest(exact(R) - exact(M)) == 0;
            }
        }
        char share[16];
        std::snprintf(share, sizeof share, "%.1f %%", 50.0 * copied / samples);
        table.row({label, share, distance[0].largest(), text(distance[0].mean()),
                   orthogonality[0].largest(), distance[1].largest(), text(distance[1].mean()),
                   orthogonality[1].largest()});
    };

    measure("0", 1.0, 0.0);
    measure("1e-16", 1.0, 1e-16);
    measure("3e-16", 1.0, 3e-16);
    measure("1e-15", 1.0, 1e-15);
    measure("1e-14", 1.0, 1e-14);
    measure("1e-12", 1.0, 1e-12);
    measure("1e-8", 1.0, 1e-8);
    measure("1e-4", 1.0, 1e-4);
    measure("0.01", 1.0, 0.01);
    measure("0.1", 1.0, 0.1);
    measure("0.3", 1.0, 0.3);
    measure("0.01, scaled by 1e-6", 1e-6, 0.01);
    measure("0.01, scaled by 1e6", 1e6, 0.01);
    return table.finish();
}

bool axisRotations(int samples)
{
    using Rotation = kmath_status (*)(kmath_matrix3 *, const radian *);
    constexpr Rotation rotations[3] = {kmath_matrix3_initRotationAroundXAxis,
                                       kmath_matrix3_initRotationAroundYAxis,
                                       kmath_matrix3_initRotationAroundZAxis};
    // The C library's sine and cosine are within one unit of the last place.
    Table table("rotations: about the axes",
                {{"angle"}, {"R: largest, ε", 1.0}, {"mean, ε"}, {"RᵀR − I: largest, ε", 4.0}});
    const auto measure = [&](const AngleRange &range) {
        Random random(9);
        Errors element, orthogonality;
        for (int n = 0; n < samples; ++n) {
            const radian angle = {random.sign() * static_cast<double>(range.draw(random))};
            for (int i = 0; i < 3; ++i) {
                kmath_matrix3 R;
                demand(rotations[i](&R, &angle));
                element.add(inEpsilons(largest(exact(R) - axisRotation(i, angle.value))));
                orthogonality.add(inEpsilons(orthogonalityError(exact(R))));
            }
        }
        table.row({range.label, element.largest(), text(element.mean()), orthogonality.largest()});
    };
    for (const AngleRange &range : angleRanges)
        measure(range);
    measure({"π … 1e6", std::numbers::pi, 1e6});
    return table.finish();
}

} // namespace

int main(int argc, char **argv)
{
    const int samples = argc > 1 ? std::atoi(argv[1]) : 20000;
    if (samples <= 0) {
        std::fputs("usage: rotation_accuracy [SAMPLES]\n", stderr);
        return EXIT_FAILURE;
    }
    try {
        bool kept = true;
        for (const auto measure : {buildMat, getParam, roundTrip, imperfectMatrix, computeJacob,
                                   getMatrix, setMatrix, closestRotation, axisRotations})
            kept = measure(samples) && kept;
        return kept ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "rotation_accuracy: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
