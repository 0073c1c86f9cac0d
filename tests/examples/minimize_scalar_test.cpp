// The robust circles as their user fits them: the answers of both ways beside independent ones, the
// picture, what the program says about files it cannot use; and the misfit with its slopes.
#include "tests/examples/program.hpp"

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

extern "C" {
#include "examples/minimize/misfit.h"
}

namespace
{

using namespace programs;
using Eigen::Matrix3d;
using Eigen::Vector2d;
using Eigen::Vector3d; // of a circle: x, y, radius

using Points = std::vector<Vector2d>;

std::map<int, Points> coinsIn(const fs::path &file)
{
    std::map<int, Points> coins;
    for (const std::string &line : linesOf(contents(file))) {
        const std::vector<double> f = numbersIn(line);
        if (f.size() >= 3 && f.back() > 0)
            coins[static_cast<int>(f.back())].emplace_back(f[0], f[1]);
    }
    return coins;
}

double outside(const Vector3d &circle, const Vector2d &point)
{
    return (point - circle.head<2>()).norm() - circle(2);
}

double misfitOf(const Vector3d &circle, const Points &points)
{
    double sum = 0;
    for (const Vector2d &point : points)
        sum += std::log(1 + std::pow(outside(circle, point), 2));
    return sum / static_cast<double>(points.size());
}

int nearPoints(const Vector3d &circle, const Points &points)
{
    return static_cast<int>(std::count_if(points.begin(), points.end(), [&](const Vector2d &point) {
        return std::fabs(outside(circle, point)) <= 2;
    }));
}

Vector3d slopeOfDistance(const Vector3d &circle, const Vector2d &point)
{
    const Vector2d inwards = (circle.head<2>() - point).normalized();
    return {inwards.x(), inwards.y(), -1};
}

Vector3d gradientOf(const Vector3d &circle, const Points &points)
{
    Vector3d sum = Vector3d::Zero();
    for (const Vector2d &point : points) {
        const double d = outside(circle, point);
        sum += 2 * d / (1 + d * d) * slopeOfDistance(circle, point);
    }
    return sum / static_cast<double>(points.size());
}

// Weighted least squares again and again, the weight of a point as its distance makes it; with
// equal weights the plain least-squares circle.
Vector3d reweighted(Vector3d circle, const Points &points, bool equalWeights)
{
    for (int round = 0; round < 200; ++round) {
        Matrix3d N = Matrix3d::Zero();
        Vector3d g = Vector3d::Zero();
        for (const Vector2d &point : points) {
            const double d = outside(circle, point), weight = equalWeights ? 1 : 1 / (1 + d * d);
            const Vector3d slope = slopeOfDistance(circle, point);
            N += weight * slope * slope.transpose();
            g += weight * d * slope;
        }
        circle -= N.ldlt().solve(g);
    }
    return circle;
}

struct Row {
    int points = 0;
    Vector3d squares, conjugate, differences;
    int nearSquares = 0, nearConjugate = 0;
    double misfits[2] = {}, digits = 0, apart = 0;
    int values = 0, gradients = 0, valuesWithout = 0;
    double ms[2] = {}, slopes[2] = {};
};

std::map<int, Row> rowsIn(const std::string &out)
{
    std::map<int, Row> rows;
    for (const std::string &line : linesOf(out)) {
        const std::vector<double> f = numbersIn(line);
        if (f.size() != 13 && f.size() != 12)
            continue;
        Row &row = rows[static_cast<int>(f[0])];
        if (f.size() == 13) {
            row.points = static_cast<int>(f[1]);
            row.squares = {f[2], f[3], f[4]};
            row.nearSquares = static_cast<int>(f[5]);
            row.conjugate = {f[6], f[7], f[8]};
            row.nearConjugate = static_cast<int>(f[9]);
            row.differences = {f[10], f[11], f[12]};
        } else {
            row.misfits[0] = f[1], row.misfits[1] = f[2];
            row.digits = f[3], row.apart = f[4];
            row.values = static_cast<int>(f[5]), row.gradients = static_cast<int>(f[6]);
            row.ms[0] = f[7], row.slopes[0] = f[8];
            row.valuesWithout = static_cast<int>(f[9]);
            row.ms[1] = f[10], row.slopes[1] = f[11];
        }
    }
    return rows;
}

// One run serves all that only look at what it told.
struct Told {
    Outcome outcome;
    std::map<int, Row> rows;
    std::map<int, Points> coins;
};

const Told &told()
{
    static const Told once = [] {
        const fs::path file = fs::path(FEATURE_FOLDER) / "coins.csv";
        const fs::path folder = makeFolder("kmath-minimize");
        Told result;
        result.outcome = runProgram(MINIMIZE_PROGRAM, quoted(file) + ' ' + quoted(folder / "out"),
                                    folder, withoutGnuplot);
        result.rows = rowsIn(result.outcome.out);
        result.coins = coinsIn(file);
        fs::remove_all(folder);
        return result;
    }();
    return once;
}

TEST(RobustCircles, AreFittedToAllPointsOfEachCoin)
{
    ASSERT_EQ(told().rows.size(), 24u) << told().outcome.out;
    for (const auto &[coin, row] : told().rows) {
        EXPECT_EQ(row.points, static_cast<int>(told().coins.at(coin).size()));
        EXPECT_GT(row.values, row.gradients);
        EXPECT_GT(row.gradients, 1);
        EXPECT_GT(row.valuesWithout, row.values) << "a gradient spares values";
        EXPECT_GT(row.ms[0], 0);
        EXPECT_GT(row.ms[1], 0);
    }
}

TEST(RobustCircles, StandBesideTheLeastSquaresCircle)
{
    for (const auto &[coin, row] : told().rows) {
        const Points &points = told().coins.at(coin);
        const Vector3d found = reweighted(row.squares, points, true);
        EXPECT_LE((found - row.squares).cwiseAbs().maxCoeff(), 0.0051) << coin;
        EXPECT_LE(std::abs(row.nearSquares - nearPoints(found, points)), 0) << coin;
    }
}

TEST(RobustCircles, AreMinimaThatReweightingKeeps)
{
    for (const auto &[coin, row] : told().rows) {
        const Points &points = told().coins.at(coin);
        const Vector3d again = reweighted(row.conjugate, points, false);
        EXPECT_LE((again - row.conjugate).cwiseAbs().maxCoeff(), 1e-5) << coin;
        EXPECT_NEAR(row.misfits[0], misfitOf(again, points), 1e-9) << coin;
        for (int j = 0; j < 3; ++j)
            for (const double shift : {-0.01, 0.01}) {
                Vector3d beside = again;
                beside(j) += shift;
                EXPECT_GT(misfitOf(beside, points), row.misfits[0]) << coin;
            }
        EXPECT_EQ(row.nearConjugate, nearPoints(again, points)) << coin;
    }
}

// Where the slopes are level, values alone lead to the same circle. On the way a saddle may hold
// them up, or a place where the slopes are smallest without vanishing: no better circle is found
// then.
TEST(RobustCircles, AreFoundWithoutSlopesToo)
{
    int agreeing = 0;
    for (const auto &[coin, row] : told().rows) {
        const Points &points = told().coins.at(coin);
        EXPECT_NEAR(row.misfits[1], misfitOf(row.differences, points), 1e-9) << coin;
        const double apart = (row.conjugate - row.differences).cwiseAbs().maxCoeff();
        EXPECT_NEAR(row.apart, apart, 0.05 * apart + 3e-7) << coin;
        const double steep = gradientOf(row.differences, points).norm();
        EXPECT_NEAR(row.slopes[1], steep, 0.1 * steep + 1e-6) << coin;
        EXPECT_LE(row.slopes[0], 1e-6) << coin;
        EXPECT_LE(row.misfits[0], row.misfits[1] + 1e-9) << coin;
        if (apart <= 1e-5) {
            ++agreeing;
            EXPECT_GE(row.digits, 12) << coin;
            EXPECT_LE(row.slopes[1], 1e-6) << coin;
        } else {
            EXPECT_GT(row.slopes[1], 1e-4) << coin << ": the table has to show what is wrong";
            EXPECT_LT(row.digits, 6) << coin;
        }
    }
    EXPECT_GE(agreeing, 20);
}

TEST(RobustCircles, FollowTheRimWhereLeastSquaresAreDrawnOffIt)
{
    int closer = 0, larger = 0;
    for (const auto &[coin, row] : told().rows) {
        closer += row.nearConjugate > row.nearSquares;
        larger += row.conjugate(2) > row.squares(2) + 1;
    }
    EXPECT_GE(closer, 20);
    EXPECT_GE(larger, 12) << "the relief lies inside";
    std::ostringstream ending;
    ending << "circle for " << closer;
    const std::string last = linesOf(told().outcome.out).back();
    ASSERT_GE(last.size(), ending.str().size());
    EXPECT_EQ(last.substr(last.size() - ending.str().size()), ending.str());
    EXPECT_EQ(last.rfind("24 coins: the two answers agree within 1e-05 pixels for ", 0), 0u);
}

TEST(RobustCircles, ComeWithoutAPictureWhereGnuplotIsMissing)
{
    EXPECT_EQ(told().outcome.status, EXIT_FAILURE);
    EXPECT_NE(told().outcome.err.find("install the package gnuplot-nox"), std::string::npos);
    EXPECT_EQ(linesOf(told().outcome.err).size(), 1u);
    EXPECT_EQ(told().outcome.out.find("picture:"), std::string::npos);
}

// The smaller file is as good for what does not look at the circles.
class MinimizeScalar : public ProgramOnData
{
  protected:
    MinimizeScalar() : ProgramOnData(MINIMIZE_PROGRAM, fs::path(FEATURE_FOLDER) / "ruspini.csv") {}
};

TEST_F(MinimizeScalar, DrawsThePictureAndSaysWhere)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    const Outcome outcome = runOnData("");
    expectPicture(outcome);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(rowsIn(outcome.out).size(), 4u);
}

TEST_F(MinimizeScalar, NamesAFolderThatCannotBeMade) { expectComplaintAboutOutputFolder(); }

TEST_F(MinimizeScalar, ExplainsItsArguments) { expectUsage(); }

TEST_F(MinimizeScalar, NamesAMissingFile)
{
    fs::remove(data);
    EXPECT_EQ(complaint(), data.string() + ": cannot be opened: No such file or directory\n");
}

TEST_F(MinimizeScalar, NamesTheLineThatItCannotRead)
{
    spoil(data, line(10, "1,two,1"));
    EXPECT_EQ(complaint(), data.string() + ":10: expected a number for y, found 'two'\n");
}

TEST_F(MinimizeScalar, WantsFourPointsForACircle)
{
    std::ofstream(data) << "points,7\ngroups,2\nx,y,group\n"
                           "0,0,1\n1,0,1\n0,1,1\n1,1,1\n5,5,2\n6,5,2\n5,6,2\n";
    EXPECT_EQ(complaint(),
              data.string() +
                  ": too few points for a circle: coin 2 has 3, at least 4 are needed\n");
}

TEST_F(MinimizeScalar, FindsACircleThroughAllPoints)
{
    std::ofstream file(data);
    file.precision(17);
    file << "points,24\ngroups,2\nx,y,group\n";
    for (int i = 0; i < 24; ++i)
        file << 30 * (1 + i % 2) + 7 * std::cos(0.3 * i) << ',' << 20 + 7 * std::sin(0.3 * i) << ','
             << 1 + i % 2 << '\n';
    file.close();
    const std::map<int, Row> rows = rowsIn(runOnData().out);
    ASSERT_EQ(rows.size(), 2u);
    for (const auto &[group, row] : rows)
        for (const Vector3d &circle : {row.conjugate, row.differences})
            EXPECT_LE((circle - Vector3d(30 * group, 20, 7)).norm(), 1e-6);
}

TEST(Misfit, HasTheSlopesOfItsDifferences)
{
    kmath_vect3 points[] = {{1, 2, 0}, {4, -1, 0}, {-3, 0.5, 0}, {0, 5, 0}, {2.5, 2, 0}};
    const Coin coin = {1, 5, points};
    const Circle circle = {0.7, 0.3, 2.9, 0};
    double slopes[CIRCLE];
    misfitSlopes(&circle, &coin, slopes);
    const double h = 1e-6;
    for (int j = 0; j < CIRCLE; ++j) {
        Circle above = circle, below = circle;
        (j == 0 ? above.x : j == 1 ? above.y : above.radius) += h;
        (j == 0 ? below.x : j == 1 ? below.y : below.radius) -= h;
        EXPECT_NEAR(slopes[j], (misfit(&above, &coin) - misfit(&below, &coin)) / (2 * h), 1e-9);
    }
}

TEST(Misfit, IsTheMeanOfLogarithmsWorkedOutByHand)
{
    kmath_vect3 points[] = {{3, 4, 0}, {0, 2, 0}, {0, 0, 0}}; // 0, 3 and 5 from the circle
    const Coin coin = {1, 3, points};
    const Circle circle = {0, 0, 5, 0};
    EXPECT_NEAR(misfit(&circle, &coin), (std::log(10.0) + std::log(26.0)) / 3, 1e-15);
    EXPECT_EQ(distanceFrom(&circle, &points[1]), -3);
    EXPECT_EQ(pointsNear(&circle, &coin, 2.5), 1);
    EXPECT_EQ(pointsNear(&circle, &coin, 3), 2);
}

TEST(Misfit, LeavesAPointInTheCentreWithoutDirection)
{
    kmath_vect3 points[] = {{1, 1, 0}, {3, 1, 0}};
    const Coin coin = {1, 2, points};
    const Circle circle = {1, 1, 2, 0};
    double slopes[CIRCLE];
    misfitSlopes(&circle, &coin, slopes);
    EXPECT_EQ(slopes[0], 0);
    EXPECT_EQ(slopes[1], 0);
    EXPECT_NEAR(slopes[2], 2 * 2.0 / 5 / 2, 1e-15);
}

TEST(StartCircle, StandsInTheMiddleOfTheBox)
{
    kmath_vect3 points[] = {{-1, 3, 0}, {5, 4, 0}, {2, 7, 0}, {1, 4, 0}};
    const Coin coin = {1, 4, points};
    const Circle circle = startCircle(&coin);
    EXPECT_EQ(circle.x, 2);
    EXPECT_EQ(circle.y, 5);
    EXPECT_EQ(circle.radius, 2.5);
}

} // namespace
