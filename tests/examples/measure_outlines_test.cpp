// The measuring of outlines as its user runs it: each figure against one computed in pixels from
// the file itself, by other ways, and what the program says about files that it cannot use.
#include "tests/examples/program.hpp"

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace
{

using namespace programs;

using Points = std::vector<Eigen::Vector2d>;

std::map<int, Points> outlinesIn(const fs::path &file)
{
    std::map<int, Points> outlines;
    for (const std::string &line : linesOf(contents(file))) {
        const std::vector<double> f = numbersIn(line);
        if (f.size() == 5 && f[4] > 0)
            outlines[static_cast<int>(f[4])].emplace_back(f[0], f[1]);
    }
    return outlines;
}

double cross(const Eigen::Vector2d &a, const Eigen::Vector2d &b)
{
    return a.x() * b.y() - a.y() * b.x();
}

// Wraps a string around the points, from the leftmost one: the next corner has all others on one
// side. In hundredths of a pixel, the digits of the file, which makes the arithmetic exact.
Points hullOf(Points points)
{
    for (Eigen::Vector2d &p : points)
        p = (100 * p).array().round();
    const auto leftmost = std::min_element(points.begin(), points.end(), [](auto &a, auto &b) {
        return std::pair(a.x(), a.y()) < std::pair(b.x(), b.y());
    });
    Points hull{*leftmost};
    for (;;) {
        Eigen::Vector2d next = hull.back();
        for (const Eigen::Vector2d &p : points) {
            const double side = cross(next - hull.back(), p - hull.back());
            const bool farther = (p - hull.back()).norm() > (next - hull.back()).norm();
            if (next == hull.back() || side < 0 || (side == 0 && farther))
                next = p;
        }
        if (next == hull.front())
            break;
        hull.push_back(next);
    }
    for (Eigen::Vector2d &corner : hull)
        corner /= 100;
    return hull;
}

struct Circle {
    Eigen::Vector2d centre;
    double radius, deviation;
};

// Newton's steps on the normal equations, from the circle of least algebraic error.
Circle circleThrough(const Points &points)
{
    const auto n = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixXd A(n, 3);
    Eigen::VectorXd b(n);
    for (Eigen::Index i = 0; i < n; ++i) {
        const Eigen::Vector2d &p = points[static_cast<size_t>(i)];
        A.row(i) << 2 * p.x(), 2 * p.y(), 1;
        b(i) = p.squaredNorm();
    }
    const Eigen::Vector3d start = A.colPivHouseholderQr().solve(b);
    Circle circle = {start.head<2>(), std::sqrt(start(2) + start.head<2>().squaredNorm()), 0};
    for (int step = 0; step < 200; ++step) {
        for (Eigen::Index i = 0; i < n; ++i) {
            const Eigen::Vector2d outwards = points[static_cast<size_t>(i)] - circle.centre;
            A.row(i) << outwards.normalized().transpose(), 1;
            b(i) = outwards.norm() - circle.radius;
        }
        const Eigen::Vector3d change = A.colPivHouseholderQr().solve(b);
        circle.centre += change.head<2>();
        circle.radius += change(2);
        circle.deviation = std::sqrt(b.squaredNorm() / static_cast<double>(n));
    }
    return circle;
}

struct Row {
    double number, points, x, y, diameter, deviation, area, extent;
};

std::vector<Row> rowsIn(const std::string &out)
{
    std::vector<Row> rows;
    for (const std::string &line : linesOf(out)) {
        const std::vector<double> f = numbersIn(line);
        if (f.size() == 8)
            rows.push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]});
    }
    return rows;
}

struct MeasureOutlines : ProgramOnData {
    MeasureOutlines() : ProgramOnData(MEASURE_PROGRAM, FEATURE_FOLDER "/coins.csv") {}

    Outcome measure(const std::string &scale = "") const { return run(quoted(data) + ' ' + scale); }

    std::string complaintAbout(const std::string &text) const
    {
        std::ofstream(data) << text;
        const Outcome outcome = measure();
        EXPECT_EQ(outcome.status, EXIT_FAILURE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(linesOf(outcome.err).size(), 1u) << outcome.err;
        return outcome.err;
    }
};

void expectFigures(const std::vector<Row> &rows, const std::map<int, Points> &outlines,
                   double scale)
{
    const double half = 0.00055; // of the last digit, and the rounding to single precision
    ASSERT_EQ(rows.size(), outlines.size());
    size_t i = 0;
    for (const auto &[number, points] : outlines) {
        SCOPED_TRACE(number);
        const Row &row = rows[i++];
        const Points hull = hullOf(points);
        const Circle circle = circleThrough(hull);
        EXPECT_EQ(row.number, number);
        EXPECT_EQ(row.points, static_cast<double>(points.size()));
        EXPECT_NEAR(row.x, scale * circle.centre.x(), half);
        EXPECT_NEAR(row.y, scale * (302 - circle.centre.y()), half);
        EXPECT_NEAR(row.diameter, scale * 2 * circle.radius, half);
        EXPECT_NEAR(row.deviation, scale * circle.deviation, half);

        double area = 0, extent = 0;
        for (size_t k = 0; k < hull.size(); ++k)
            area += cross(hull[k], hull[(k + 1) % hull.size()]) / 2;
        for (const Eigen::Vector2d &a : points)
            for (const Eigen::Vector2d &b : points)
                extent = std::max(extent, (a - b).norm());
        EXPECT_NEAR(row.area, scale * scale * std::fabs(area), 0.0055);
        EXPECT_NEAR(row.extent, scale * extent, half);
    }
}

TEST_F(MeasureOutlines, GivesTheFiguresOfEveryCoin)
{
    const std::map<int, Points> outlines = outlinesIn(data);
    ASSERT_EQ(outlines.size(), 24u);
    const Outcome outcome = measure();
    EXPECT_EQ(outcome.status, EXIT_SUCCESS);
    EXPECT_EQ(outcome.err, "");
    const std::vector<Row> rows = rowsIn(outcome.out);
    expectFigures(rows, outlines, 0.4);

    const auto [least, greatest] = std::minmax_element(
        rows.begin(), rows.end(), [](auto &a, auto &b) { return a.diameter < b.diameter; });
    char closing[100];
    std::snprintf(closing, sizeof closing, "24 outlines, diameters from %.2f to %.2f mm",
                  least->diameter, greatest->diameter);
    EXPECT_EQ(linesOf(outcome.out).back(), closing);
}

TEST_F(MeasureOutlines, TakesAnyScale)
{
    const std::map<int, Points> outlines = outlinesIn(data);
    expectFigures(rowsIn(measure("1").out), outlines, 1);
    expectFigures(rowsIn(measure("0.03125").out), outlines, 0.03125);
}

TEST_F(MeasureOutlines, FindsTheCircleThatPointsLieOn)
{
    std::ostringstream text;
    text << "points,41\ngroups,2\nx,y,group\n0,0,0\n";
    text.precision(17);
    for (int i = 0; i < 20; ++i)
        for (int group = 1; group <= 2; ++group)
            text << 100 * group + 25 * group * std::cos(0.3 * i) << ','
                 << 202 + 25 * group * std::sin(0.3 * i) << ',' << group << '\n';
    std::ofstream(data) << text.str();
    const std::vector<Row> rows = rowsIn(measure("2").out);
    ASSERT_EQ(rows.size(), 2u);
    for (int group = 1; group <= 2; ++group) {
        const Row &row = rows[static_cast<size_t>(group) - 1];
        EXPECT_EQ(row.points, 20);
        EXPECT_EQ(row.x, 200 * group);
        EXPECT_EQ(row.y, 200);
        EXPECT_EQ(row.diameter, 100 * group);
        EXPECT_EQ(row.deviation, 0);
    }
}

TEST_F(MeasureOutlines, RefusesAnOutlineWithoutArea)
{
    EXPECT_EQ(complaintAbout("points,7\ngroups,2\nx,y,group\n"
                             "0,0,1\n1,0,1\n0,1,1\n1,1,2\n2,2,2\n3,3,2\n7,7,2\n"),
              data.string() + ": measuring the outlines failed: KMATH_ERR_SINGULAR\n");
}

TEST_F(MeasureOutlines, NamesAMissingFile)
{
    fs::remove(data);
    const Outcome outcome = measure();
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_EQ(outcome.err, data.string() + ": cannot be opened: No such file or directory\n");
}

TEST_F(MeasureOutlines, NamesTheLineOfAMalformedFile)
{
    EXPECT_EQ(complaintAbout("points,1\ngroups,2\nx,y,group\n0;0,1\n"),
              data.string() + ":4: expected a point in 3 fields, found 2\n");
}

TEST_F(MeasureOutlines, ExplainsItsArguments)
{
    expectUsage({"a 1 c", "--unknown", "a 0", "a -1", "a nan", "a inf", "a 1mm", "a ''"});
}

} // namespace
