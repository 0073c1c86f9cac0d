// The calibration as its user runs it: the published optimum of the measured corners, a camera
// that is known exactly, the picture, and what the program says about files it cannot use.
#include "tests/examples/program.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <regex>

extern "C" {
#include "examples/calibrate/corners.h"
#include "examples/common/status.h"
}

namespace
{

using namespace programs;

using Vector = std::array<double, 3>;
using Intrinsics = std::array<double, 6>; // fx, fy, cx, cy, k1, k2

// The optimum of the reference in data/README.md, given with the data.
const Intrinsics reference = {533.106027, 533.457993,  342.442239,
                              233.204234, -0.29140115, 0.10846140};
constexpr double referenceSum = 29.26296302;
constexpr int nViews = 13, nCorners = 54, nParameters = 84;

struct ViewPose {
    Vector rotation; // axis times angle
    Vector translation;
};

Vector cross(const Vector &a, const Vector &b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// p·cos θ + (k × p)·sin θ + k·(k·p)·(1 − cos θ)
Vector rotated(const Vector &r, const Vector &p)
{
    const double angle = std::hypot(r[0], r[1], r[2]);
    if (angle == 0)
        return p;
    const Vector k = {r[0] / angle, r[1] / angle, r[2] / angle};
    const Vector kp = cross(k, p);
    const double along = (k[0] * p[0] + k[1] * p[1] + k[2] * p[2]) * (1 - std::cos(angle));
    Vector result;
    for (size_t i = 0; i < 3; ++i)
        result[i] = p[i] * std::cos(angle) + kp[i] * std::sin(angle) + k[i] * along;
    return result;
}

Pixel projected(const Intrinsics &c, const ViewPose &pose, double X, double Y)
{
    const Vector p = rotated(pose.rotation, {X, Y, 0});
    const double x = (p[0] + pose.translation[0]) / (p[2] + pose.translation[2]);
    const double y = (p[1] + pose.translation[1]) / (p[2] + pose.translation[2]);
    const double r2 = x * x + y * y;
    const double d = 1 + c[4] * r2 + c[5] * r2 * r2;
    return {c[0] * x * d + c[2], c[1] * y * d + c[3]};
}

const std::string number("([-+]?\\d+\\.\\d+)");

class CalibrateCamera : public ProgramOnData
{
  protected:
    CalibrateCamera() : ProgramOnData(CALIBRATE_PROGRAM, CORNER_FILE) {}

    void write(const std::string &text) const { std::ofstream(data, std::ios::binary) << text; }
};

// The numbers of the line that begins with the name; of the first one behind the heading.
std::vector<double> rowOf(const std::string &out, const std::string &heading,
                          const std::string &name)
{
    const Lines lines = linesOf(out.substr(std::min(out.find(heading), out.size())));
    for (const std::string &line : lines)
        if (line.rfind(name + ' ', 0) == 0)
            return numbersIn(line.substr(name.size()));
    ADD_FAILURE() << "no line " << name << " in\n" << out;
    return std::vector<double>(16);
}

std::vector<double> cameraOf(const std::string &out, const std::string &name)
{
    return rowOf(out, "sum of squares", name);
}

TEST_F(CalibrateCamera, ReachesTheReferenceInBothParametrisations)
{
    const std::string out = runOnData().out;
    for (const char *name : {"raw pixels", "model units"}) {
        const std::vector<double> row = cameraOf(out, name);
        ASSERT_EQ(row.size(), 7u);
        for (size_t j = 0; j < 4; ++j)
            EXPECT_NEAR(row[j] / reference[j], 1, 0.5e-5) << name;
        for (size_t j = 4; j < 6; ++j)
            EXPECT_NEAR(row[j] / reference[j], 1, 0.5e-3) << name;
        EXPECT_NEAR(row[6] / referenceSum, 1, 1e-6) << name;
    }
    const std::vector<double> scaled = cameraOf(out, "model units");
    for (size_t j = 0; j < 6; ++j)
        EXPECT_NEAR(scaled[j] / reference[j], 1, 1e-6);
}

TEST_F(CalibrateCamera, ShowsTheReferenceOfTheFile)
{
    const std::vector<double> row = cameraOf(runOnData().out, "reference optimum");
    ASSERT_EQ(row.size(), 7u);
    for (size_t j = 0; j < 6; ++j)
        EXPECT_DOUBLE_EQ(row[j], reference[j]);
    EXPECT_DOUBLE_EQ(row[6], referenceSum);
}

TEST_F(CalibrateCamera, BeginsNearTheSolutionAndWithoutDistortion)
{
    const std::vector<double> row = cameraOf(runOnData().out, "closed form");
    ASSERT_EQ(row.size(), 7u);
    for (size_t j = 0; j < 4; ++j)
        EXPECT_NEAR(row[j] / reference[j], 1, 0.05);
    EXPECT_EQ(row[4], 0);
    EXPECT_EQ(row[5], 0);
    EXPECT_GT(row[6], referenceSum);
}

TEST_F(CalibrateCamera, CountsDigitsAgainstTheReferenceOfTheFile)
{
    // fx moved by 1 in its sixth digit: 1e-3 / 533.107 = 10^-5.73
    spoil(data, [](Lines &lines) {
        const size_t at = lines.at(4).find("533.106027");
        ASSERT_NE(at, std::string::npos);
        lines[4].replace(at, 10, "533.107027");
    });
    const Outcome outcome = runOnData();
    EXPECT_EQ(rowOf(outcome.out, "", "digits, model units").at(0), 5.7);
    EXPECT_NE(outcome.out.find("fx fy cx cy agree to 5.7 digits"), std::string::npos);
}

// parametrisation, threads, Jacobians, evaluations, views, digits of the slope, times, difference
const std::regex runRow("(raw pixels|model units) +(\\d+) +(\\d+) +(\\d+) +(\\d+) +" + number +
                        " +" + number + " +" + number + " +(\\S+)(  the same bits)?");

TEST_F(CalibrateCamera, CountsWhatTheMaskSparesAndGivesTheSameBitsOnThreads)
{
    int rows = 0;
    double digits[2] = {};
    for (const std::string &line : linesOf(runOnData().out)) {
        std::smatch field;
        if (!std::regex_match(line, field, runRow))
            continue;
        const int jacobians = std::stoi(field[3]), evaluations = std::stoi(field[4]);
        const int full = evaluations - nParameters * jacobians;
        EXPECT_GE(jacobians, 1);
        EXPECT_GE(full, 1 + jacobians) << "a try at least for each Jacobian";
        // A Jacobian computes all views for each of the camera's six columns and one for any other.
        EXPECT_EQ(std::stoi(field[5]), full * nViews + jacobians * (6 * nViews + nParameters - 6));
        EXPECT_LE(std::stod(field[8]), std::stod(field[7]) + 0.1) << "part of the time";
        EXPECT_LE(std::fabs(std::stod(field[9])), 1e-6);
        EXPECT_EQ(field[10].matched, rows % 2 == 1) << line;
        EXPECT_TRUE(field[2] == "1" || rows % 2 == 1) << line;
        digits[rows / 2 % 2] = std::stod(field[6]);
        ++rows;
    }
    EXPECT_EQ(rows, 4);
    EXPECT_GE(digits[1], digits[0] + 2) << "a longer step leaves more digits";
}

// Residuals from the printed camera and poses, by a model written out anew.
TEST_F(CalibrateCamera, PrintsPosesThatExplainTheMeasuredCorners)
{
    const std::string out = runOnData().out;
    const std::vector<double> row = cameraOf(out, "model units");
    Intrinsics camera;
    std::copy_n(row.begin(), camera.size(), camera.begin());
    Corners measured;
    ASSERT_TRUE(readCorners(&measured, CORNER_FILE));
    ASSERT_EQ(measured.nViews, nViews);
    ASSERT_EQ(cornerCount(&measured), nCorners);
    double all = 0;
    for (int32_t i = 0; i < measured.nViews; ++i) {
        const View &view = measured.views[i];
        const std::vector<double> line = rowOf(out, "r.m.s.", view.name);
        ASSERT_EQ(line.size(), 10u);
        const ViewPose pose = {{line[4], line[5], line[6]}, {line[7], line[8], line[9]}};
        double sum = 0, largest = 0;
        int32_t worst = 0;
        for (int32_t k = 0; k < nCorners; ++k) {
            const Pixel p = projected(camera, pose, boardX(&measured, k), boardY(&measured, k));
            const double error = std::hypot(p.u - view.corners[k].u, p.v - view.corners[k].v);
            sum += error * error;
            if (error > largest) {
                largest = error;
                worst = k;
            }
        }
        EXPECT_NEAR(line[0], std::sqrt(sum / nCorners), 0.6e-4);
        EXPECT_NEAR(line[1], largest, 0.6e-4);
        EXPECT_EQ(line[2], worst % 9);
        EXPECT_EQ(line[3], worst / 9);
        EXPECT_GT(pose.translation[2], 0) << "the board is in front of the camera";
        all += sum;
    }
    releaseCorners(&measured);
    EXPECT_NEAR(all / referenceSum, 1, 1e-6);
    EXPECT_EQ(rowOf(out, "r.m.s.", "all"), std::vector<double>{0.2042});
}

// The image of a board of 4 × 3 corners by a camera that is known, to 15 digits.
const Intrinsics known = {812.5, 790.25, 401.5, 297.75, -0.21, 0.07};
const std::vector<ViewPose> knownPoses = {
    {{0.5, -0.2, 0.1}, {-1.4, -0.9, 5.5}},
    {{-0.4, 0.6, -1.1}, {-1.8, 0.7, 6.5}},
    {{0.1, 0.7, 2.6}, {1.6, 0.4, 5.0}},
};

std::string knownCorners(size_t views)
{
    std::ostringstream text;
    text << "image,800,600\nboard,4,3\nview,column,row,u,v\n" << std::setprecision(15);
    for (size_t i = 0; i < views; ++i)
        for (int k = 0; k < 12; ++k) {
            const Pixel p = projected(known, knownPoses.at(i), k % 4, k / 4);
            text << "view " << i << ',' << k % 4 << ',' << k / 4 << ',' << p.u << ',' << p.v
                 << '\n';
        }
    return text.str();
}

TEST_F(CalibrateCamera, FindsAKnownCameraAgain)
{
    for (const size_t views : {size_t{2}, knownPoses.size()}) {
        write(knownCorners(views));
        const std::string out = runOnData().out;
        const std::vector<double> row = cameraOf(out, "model units");
        ASSERT_EQ(row.size(), 7u) << out;
        for (size_t j = 0; j < 6; ++j)
            EXPECT_NEAR(row[j], known[j], j < 4 ? 1e-4 : 1e-6);
        EXPECT_LE(row[6], 1e-8);
        for (size_t i = 0; i < views; ++i) {
            const std::vector<double> line = rowOf(out, "r.m.s.", "view " + std::to_string(i));
            ASSERT_EQ(line.size(), 10u);
            for (size_t j = 0; j < 3; ++j) {
                EXPECT_NEAR(line[7 + j], knownPoses[i].translation[j], 1e-5);
                const Vector axis = {j == 0 ? 1. : 0, j == 1 ? 1. : 0, j == 2 ? 1. : 0};
                const Vector turned = rotated({line[4], line[5], line[6]}, axis);
                for (size_t n = 0; n < 3; ++n)
                    EXPECT_NEAR(turned[n], rotated(knownPoses[i].rotation, axis)[n], 1e-6);
            }
        }
    }
}

TEST_F(CalibrateCamera, DoesWithoutAReference)
{
    write(knownCorners(3));
    const Outcome outcome = runOnData();
    EXPECT_EQ(outcome.out.find("reference"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("digits,"), std::string::npos);
    EXPECT_EQ(outcome.out.find("nan"), std::string::npos);
    EXPECT_NE(outcome.out.find("\nmodel units: sum of squares 0.0000"), std::string::npos);
}

TEST_F(CalibrateCamera, TakesTheCornersOfAViewInAnyOrder)
{
    const auto withoutTimes = [](const std::string &out) {
        return out.substr(0, out.find("threads Jacobians")) + out.substr(out.find("reprojection"));
    };
    const std::string before = withoutTimes(runOnData().out);
    spoil(data,
          [](Lines &lines) { std::reverse(lines.begin() + 6, lines.begin() + 6 + nCorners); });
    EXPECT_EQ(withoutTimes(runOnData().out), before);
}

TEST_F(CalibrateCamera, SaysWhatToInstallWhereGnuplotIsMissing)
{
    const Outcome outcome = runOnData();
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_NE(outcome.err.find("install the package gnuplot-nox"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(linesOf(outcome.out).back().rfind("model units: sum of squares 29.26296", 0), 0u);
    EXPECT_FALSE(fs::exists(folder / "out/calibrate_camera.png"));
}

TEST_F(CalibrateCamera, DrawsThePictureAndSaysWhere)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    const Outcome outcome = runOnData("");
    expectPicture(outcome);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CalibrateCamera, DrawsOtherBoardsAndNumbersOfViews)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    for (const size_t views : {size_t{2}, size_t{3}}) { // beside the chart, and in a row above it
        write(knownCorners(views));
        const Outcome outcome = runOnData("");
        EXPECT_EQ(outcome.status, EXIT_SUCCESS);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(CalibrateCamera, DrawsOneArrowACornerAndOneBarAView)
{
    runOnData();
    const std::string script = contents(folder / "out/calibrate_camera.gp");
    std::string block;
    double sum = 0;
    int arrows = 0, bars = 0;
    for (const std::string &line : linesOf(script)) {
        EXPECT_EQ(line.find("nan"), std::string::npos) << line;
        if (line == "END")
            block.clear();
        if (block == "$arrows") {
            const std::vector<double> arrow = numbersIn(line);
            ASSERT_EQ(arrow.size(), 4u);
            sum += (arrow[2] * arrow[2] + arrow[3] * arrow[3]) / (100. * 100.);
            ++arrows;
        }
        bars += block == "$errors";
        if (line[0] == '$')
            block = line.substr(0, line.find(' '));
    }
    EXPECT_EQ(arrows, nViews * nCorners);
    EXPECT_EQ(bars, nViews);
    EXPECT_NE(script.find("enlarged 100 times"), std::string::npos);
    EXPECT_NEAR(sum / referenceSum, 1, 1e-6);
    EXPECT_NE(script.find("set title 'view 14 "), std::string::npos);
}

TEST_F(CalibrateCamera, TakesNamesWithQuotes)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    std::string text = knownCorners(3);
    for (size_t at; (at = text.find("view 1,")) != std::string::npos;)
        text.replace(at, 7, "it's \"%d,");
    write(text);
    const Outcome outcome = run(quoted(data) + " \"" + (folder / "it's out").string() + '"');
    EXPECT_EQ(outcome.status, EXIT_SUCCESS) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(fs::exists(folder / "it's out/calibrate_camera.png"));
}

TEST_F(CalibrateCamera, SaysWhenTheOutputCannotBeWritten)
{
    const Outcome outcome = run(quoted(data) + ' ' + quoted(data));
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_EQ(outcome.err,
              (data / "calibrate_camera.gp").string() + ": cannot be written: Not a directory\n");
}

TEST_F(CalibrateCamera, ExplainsItsArguments) { expectUsage(); }

TEST_F(CalibrateCamera, NamesAMissingFile)
{
    fs::remove(data);
    EXPECT_EQ(complaint(), data.string() + ": cannot be opened: No such file or directory\n");
}

TEST_F(CalibrateCamera, NamesAFolderInPlaceOfAFile)
{
    fs::remove(data);
    fs::create_directory(data);
    EXPECT_EQ(complaint(), data.string() + ":1: cannot be read: Is a directory\n");
}

TEST_F(CalibrateCamera, NamesAViewWithoutHomography)
{
    spoil(data, [](Lines &lines) { // all corners of the second view in one place
        for (size_t k = 60; k < 60 + nCorners; ++k) {
            size_t at = 0;
            for (int comma = 0; comma < 3; ++comma)
                at = lines.at(k).find(',', at) + 1;
            lines[k].replace(at, std::string::npos, "100,100");
        }
    });
    EXPECT_EQ(complaint(), "view 02: the corners give no homography: KMATH_ERR_SINGULAR\n");
}

TEST_F(CalibrateCamera, RefusesViewsThatDoNotDetermineTheCamera)
{
    Lines lines = linesOf(contents(data));
    lines.resize(6 + nCorners);
    for (int view = 2; view <= 4; ++view)
        for (size_t k = 0; k < nCorners; ++k)
            lines.push_back('0' + std::to_string(view) + lines[6 + k].substr(2));
    write(joined(lines));
    EXPECT_EQ(complaint(), "the views do not determine the camera; turn the board more between "
                           "them: KMATH_ERR_SINGULAR\n");
}

TEST_F(CalibrateCamera, ReadsLinesEndedAsOnOtherSystemsAndComments)
{
    std::string text;
    for (const std::string &line : linesOf(contents(data)))
        text += line + "\r\n";
    write(text + "# the end\r\n");
    Corners read;
    ASSERT_TRUE(readCorners(&read, data.c_str()));
    EXPECT_EQ(read.nViews, nViews);
    EXPECT_EQ(read.width, 640);
    EXPECT_EQ(read.height, 480);
    EXPECT_EQ(std::string(read.views[12].name), "14");
    EXPECT_EQ(read.views[12].corners[53].u, 279.735596);
    EXPECT_EQ(read.views[12].corners[53].v, 422.792328);
    EXPECT_TRUE(read.hasReference);
    EXPECT_EQ(read.referenceSum, referenceSum);
    releaseCorners(&read);
}

// Wherever a file ends too early, even within its last number, the line of the end is named.
TEST_F(CalibrateCamera, NoticesEveryCut)
{
    const std::string whole = knownCorners(2);
    for (size_t length = 0; length < whole.size(); ++length) {
        write(whole.substr(0, length));
        Corners read;
        testing::internal::CaptureStderr();
        const bool complete = readCorners(&read, data.c_str());
        const std::string said = testing::internal::GetCapturedStderr();
        ASSERT_FALSE(complete) << length;
        const auto line =
            1 + std::count(whole.begin(), whole.begin() + static_cast<long>(length), '\n');
        const std::string wanted = data.string() + ':' + std::to_string(line) + ": ";
        ASSERT_EQ(said.substr(0, wanted.size()), wanted) << length;
    }
}

struct CornerFault {
    const char *name;
    std::function<void(Lines &)> change;
    const char *complaint; // after "file:"
};

void PrintTo(const CornerFault &fault, std::ostream *out) { *out << fault.name; }

// chessboard.csv: 1-2 comments, 3 image, 4 board, 5 reference, 6 column names, 7-60 view 01,
// 61-114 view 02 and so on to 708.
const CornerFault faults[] = {
    {"Empty", endAfter(0), "1: cut short: image is missing\n"},
    {"NoBoard", endAfter(3), "4: cut short: board is missing\n"},
    {"NoColumnNames", endAfter(5), "6: cut short: the line of column names is missing\n"},
    {"NoCorners", endAfter(6),
     "7: too few views: 0. A view gives two equations, so that fx, fy, cx and cy need at least 2 "
     "views\n"},
    {"OneView", endAfter(60),
     "61: too few views: 1. A view gives two equations, so that fx, fy, cx and cy need at least 2 "
     "views\n"},
    {"ImageLeftOut", [](Lines &lines) { lines.erase(lines.begin() + 2); },
     "3: expected 'image,…', found 'board,9,6'\n"},
    {"ImageWithoutHeight", line(3, "image,640"), "3: expected image in 3 fields, found 2\n"},
    {"WidthIsNoNumber", line(3, "image,wide,480"),
     "3: expected a number for a width, found 'wide'\n"},
    {"HeightIsZero", line(3, "image,640,0"), "3: expected a height from 1 to 1000000, found '0'\n"},
    {"BoardTooNarrow", line(4, "board,2,6"), "4: expected columns from 3 to 50, found '2'\n"},
    {"BoardTooHigh", line(4, "board,9,51"), "4: expected rows from 3 to 50, found '51'\n"},
    {"BoardIsFraction", line(4, "board,9.5,6"), "4: expected columns from 3 to 50, found '9.5'\n"},
    {"ReferenceTooShort", line(5, "reference,533,533,342,233,-0.29,0.1"),
     "5: expected the reference in 8 fields, found 7\n"},
    {"ReferenceIsNoNumber", line(5, "reference,533,533,342,x,-0.29,0.1,29.3"),
     "5: expected a number for cy, found 'x'\n"},
    {"ReferenceSumIsNoNumber", line(5, "reference,533,533,342,233,-0.29,0.1,"),
     "5: expected a number for the sum of squares, found ''\n"},
    {"OtherColumnNames", line(6, "view,row,column,u,v"),
     "6: expected 'view,column,row,u,v', found 'view,row,column,u,v'\n"},
    {"BadNumber", line(10, "01,3,0,338.29x828,88.894043"),
     "10: expected a number for u, found '338.29x828'\n"},
    {"NotFinite", line(10, "01,3,0,338.298828,nan"), "10: expected a number for v, found 'nan'\n"},
    {"MissingColumn", line(10, "01,3,0,338.298828"),
     "10: expected a corner in 5 fields, found 4\n"},
    {"ColumnTooMany", line(10, "01,3,0,338.298828,88.894043,1"),
     "10: expected a corner in 5 fields, found 6\n"},
    {"BlankLine", line(10, ""), "10: expected a corner in 5 fields, found 1\n"},
    {"OffTheBoard", line(10, "01,9,0,338.298828,88.894043"),
     "10: expected a column from 0 to 8, found '9'\n"},
    {"BetweenRows", line(10, "01,3,0.5,338.298828,88.894043"),
     "10: expected a row from 0 to 5, found '0.5'\n"},
    {"OutsideTheImage", line(10, "01,3,0,3382.98828,88.894043"),
     "10: u = 3382.98828 lies outside the image\n"},
    {"AboveTheImage", line(10, "01,3,0,338.298828,-88.894043"),
     "10: v = -88.894043 lies outside the image\n"},
    {"Duplicate", line(10, "01,2,0,338.298828,88.894043"),
     "10: column 2, row 0 of view 01 stands already in line 9\n"},
    {"IncompleteView", [](Lines &lines) { lines.erase(lines.begin() + 27); },
     "60: view 01 ends with 53 of 54 corners; column 3, row 2 is missing\n"},
    {"IncompleteLastView", endAfter(707),
     "708: view 14 ends with 53 of 54 corners; column 8, row 5 is missing\n"},
    {"ViewComesAgain",
     [](Lines &lines) {
         for (size_t k = 114; k < 168; ++k)
             lines.at(k).replace(0, 2, "01");
     },
     "115: view 01 was complete already\n"},
    {"NoViewName", line(61, ",0,0,264.166748,92.1"),
     "61: expected a name of 1 to 15 characters for the view, found ''\n"},
    {"LongViewName", line(61, "a name that is too long,0,0,264.166748,92.1"),
     "61: expected a name of 1 to 15 characters for the view, found 'a name that is too long'\n"},
    {"TooManyViews",
     [](Lines &lines) {
         for (int view = 0; view < 88; ++view)
             for (size_t k = 0; k < nCorners; ++k)
                 lines.push_back("more" + std::to_string(view) + lines.at(6 + k).substr(2));
     },
     "5407: more than 100 views\n"},
    {"BinaryData", [](Lines &lines) { lines.at(9) = std::string("01,3\0,0", 7); },
     "10: binary data instead of text\n"},
    {"LineTooLong", [](Lines &lines) { lines.at(9) = "01,3,0," + std::string(2000, '1'); },
     "10: line longer than 1023 characters\n"},
};

class MalformedCornerFile : public CalibrateCamera, public testing::WithParamInterface<CornerFault>
{
};

TEST_P(MalformedCornerFile, IsNamedWithItsLine)
{
    spoil(data, GetParam().change);
    EXPECT_EQ(complaint(), data.string() + ':' + GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, MalformedCornerFile, testing::ValuesIn(faults),
                         [](const auto &fault) { return std::string(fault.param.name); });

TEST(StatusName, IsThatOfTheHeader)
{
    std::ifstream header(STATUS_HEADER);
    const std::regex definition("#define (KMATH_\\w+) \\(\\(kmath_status\\)(0|0x[0-9a-f]+)u?\\)");
    int names = 0;
    for (std::string text; std::getline(header, text);) {
        std::smatch field;
        if (!std::regex_match(text, field, definition))
            continue;
        const auto value = static_cast<kmath_status>(std::stoul(field[2], nullptr, 0));
        EXPECT_EQ(statusName(value), field[1]);
        ++names;
    }
    EXPECT_GE(names, 12);
    EXPECT_EQ(statusName(1), std::string("a status without a name"));
}

} // namespace
