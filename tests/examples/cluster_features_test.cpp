// The clustering as its user runs it: the points it takes, the eigenvalues of their graphs, the
// agreement with the known groups, the picture, and what it says about files it cannot use. What it
// found is read from the script of the picture, which holds every node with both its colours.
#include "tests/examples/program.hpp"

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <regex>
#include <set>

namespace
{

using namespace programs;

struct Point {
    double x, y, orientation, grey;
    int group;
};

std::vector<Point> pointsIn(const fs::path &file)
{
    std::vector<Point> points;
    for (const std::string &line : linesOf(contents(file))) {
        const std::vector<double> f = numbersIn(line);
        if (f.size() == 5)
            points.push_back({f[0], f[1], f[2], f[3], static_cast<int>(f[4])});
        else if (f.size() == 3)
            points.push_back({f[0], f[1], 0, 0, static_cast<int>(f[2])});
    }
    return points;
}

// What the program announces: the sets, in the order of the table and of the picture.
struct Set {
    const char *name;
    const char *file;
    std::vector<int> groups;
    int step;
    int nodes;
    const char *route;
    double sigmaDistance, sigmaAngle, sigmaGrey;
};

std::vector<int> groupsUpTo(int last)
{
    std::vector<int> groups;
    while (static_cast<int>(groups.size()) < last)
        groups.push_back(static_cast<int>(groups.size()) + 1);
    return groups;
}

const std::vector<Set> &sets()
{
    static const std::vector<Set> all = {
        {"four coins", "coins.csv", {1, 2, 7, 8}, 3, 201, "direct", 10, 90, 50},
        {"four groups", "ruspini.csv", groupsUpTo(4), 1, 75, "direct", 10, 0, 0},
        {"twelve coins", "coins.csv", groupsUpTo(12), 7, 399, "iterative", 10, 90, 50},
        {"all coins", "coins.csv", groupsUpTo(24), 16, 399, "iterative", 10, 90, 50},
        {"all, denser", "coins.csv", groupsUpTo(24), 4, 1559, "iterative", 10, 90, 50},
    };
    return all;
}

std::vector<Point> chosen(const Set &set)
{
    std::vector<Point> nodes;
    std::map<int, int> seen;
    for (const Point &point : pointsIn(fs::path(FEATURE_FOLDER) / set.file))
        if (std::count(set.groups.begin(), set.groups.end(), point.group) > 0 &&
            seen[point.group]++ % set.step == 0)
            nodes.push_back(point);
    return nodes;
}

struct DrawnNode {
    double x, y, dx, dy;
    int truth, found; // colours
    bool ringed;
};

// The blocks $nodes, in their order.
std::vector<std::vector<DrawnNode>> drawnIn(const std::string &script)
{
    std::vector<std::vector<DrawnNode>> blocks;
    bool inside = false;
    for (const std::string &line : linesOf(script)) {
        if (line == "END")
            inside = false;
        if (inside) {
            const std::vector<double> f = numbersIn(line);
            EXPECT_EQ(f.size(), 7u) << line;
            if (f.size() == 7)
                blocks.back().push_back({f[0], f[1], f[2], f[3], static_cast<int>(f[4]),
                                         static_cast<int>(f[5]), f[6] != 0});
        }
        if (line == "$nodes << END") {
            inside = true;
            blocks.emplace_back();
        }
    }
    return blocks;
}

// By pairs of points on which both agree and differ.
double randIndexOf(const std::vector<DrawnNode> &nodes)
{
    double both = 0, onlyTruth = 0, onlyFound = 0, none = 0;
    for (size_t i = 0; i < nodes.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            const bool truth = nodes[i].truth == nodes[j].truth;
            const bool found = nodes[i].found == nodes[j].found;
            (truth ? (found ? both : onlyTruth) : (found ? onlyFound : none)) += 1;
        }
    return 2 * (both * none - onlyTruth * onlyFound) /
           ((both + onlyTruth) * (onlyTruth + none) + (both + onlyFound) * (onlyFound + none));
}

// The eigenvalues of D^(-1/2) W D^(-1/2) - I, largest first.
std::vector<double> graphEigenvalues(const Set &set)
{
    const std::vector<Point> nodes = chosen(set);
    const auto n = static_cast<Eigen::Index>(nodes.size());
    Eigen::MatrixXd W(n, n);
    const auto term = [](double difference, double sigma) {
        return sigma > 0 ? difference / sigma : 0;
    };
    for (Eigen::Index i = 0; i < n; ++i)
        for (Eigen::Index j = 0; j < n; ++j) {
            const Point &a = nodes[static_cast<size_t>(i)], &b = nodes[static_cast<size_t>(j)];
            const double turn = std::fabs(std::remainder(a.orientation - b.orientation, 360));
            W(i, j) = std::exp(-term(std::hypot(a.x - b.x, a.y - b.y), set.sigmaDistance) -
                               term(std::min(turn, set.sigmaAngle), set.sigmaAngle) -
                               term(std::fabs(a.grey - b.grey), set.sigmaGrey));
        }
    const Eigen::VectorXd scale = W.rowwise().sum().cwiseSqrt().cwiseInverse();
    const Eigen::MatrixXd M = scale.asDiagonal() * W * scale.asDiagonal();
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(M, Eigen::EigenvaluesOnly);
    std::vector<double> values;
    for (Eigen::Index i = n - 1; i >= 0; --i)
        values.push_back(solver.eigenvalues()(i) - 1);
    return values;
}

class ClusterFeatures : public ProgramOnData
{
  protected:
    ClusterFeatures() : ProgramOnData(CLUSTER_PROGRAM, FEATURE_FOLDER) {}
};

// One run serves all that only look at what it told.
struct Told {
    Outcome outcome;
    std::vector<std::vector<DrawnNode>> drawn;
};

const Told &told()
{
    static const Told once = [] {
        const fs::path folder = makeFolder("kmath-cluster");
        Told result;
        result.outcome =
            runProgram(CLUSTER_PROGRAM, quoted(FEATURE_FOLDER) + ' ' + quoted(folder / "out"),
                       folder, withoutGnuplot);
        result.drawn = drawnIn(contents(folder / "out/cluster_features.gp"));
        fs::remove_all(folder);
        return result;
    }();
    return once;
}

// All between the table, which has times in it, and the picture.
std::string details(const std::string &out)
{
    const size_t begin = out.find("\neigenvalues");
    const size_t end = out.find("\n\n", out.find("\ngroups with"));
    EXPECT_LT(begin, end);
    EXPECT_NE(end, std::string::npos);
    return out.substr(std::min(begin, out.size()), end - begin);
}

struct Row {
    int groups = 0, step = 0, nodes = 0;
    std::string route;
    double sigmaDistance = 0, sigmaAngle = 0, sigmaGrey = 0, randIndex = 0;
    int misplaced = -1;
    double embedding = -1, clustering = -1;
};

Row rowOf(const std::string &name)
{
    for (const std::string &line : linesOf(told().outcome.out))
        if (line.rfind(name + ' ', 0) == 0) {
            Row row;
            std::istringstream stream(line.substr(name.size()));
            stream >> row.groups >> row.step >> row.nodes >> row.route >> row.sigmaDistance >>
                row.sigmaAngle >> row.sigmaGrey >> row.randIndex >> row.misplaced >>
                row.embedding >> row.clustering;
            EXPECT_FALSE(stream.fail()) << line;
            return row;
        }
    ADD_FAILURE() << "no line " << name << " in\n" << told().outcome.out;
    return {};
}

TEST(ClusterResults, TellHowEachSetIsChosenAndSolved)
{
    for (const Set &set : sets()) {
        const Row row = rowOf(set.name);
        EXPECT_EQ(row.groups, static_cast<int>(set.groups.size()));
        EXPECT_EQ(row.step, set.step);
        EXPECT_EQ(row.nodes, set.nodes);
        EXPECT_EQ(row.route, set.route) << set.name;
        EXPECT_EQ(row.route == "direct", row.nodes <= 250);
        EXPECT_EQ(row.sigmaDistance, set.sigmaDistance);
        EXPECT_EQ(row.sigmaAngle, set.sigmaAngle);
        EXPECT_EQ(row.sigmaGrey, set.sigmaGrey);
        EXPECT_GT(row.embedding, 0);
        EXPECT_GE(row.clustering, 0);
    }
}

TEST(ClusterResults, SeparateTheCoins)
{
    for (const Set &set : sets())
        EXPECT_GE(rowOf(set.name).randIndex, 0.8) << set.name;
    EXPECT_EQ(rowOf("four coins").randIndex, 1);
    EXPECT_GE(rowOf("twelve coins").randIndex, 0.95);
}

TEST(ClusterResults, AreExactlyTheKnownFourGroups)
{
    EXPECT_EQ(rowOf("four groups").randIndex, 1);
    EXPECT_EQ(rowOf("four groups").misplaced, 0);
    ASSERT_EQ(told().drawn.size(), sets().size());
    const std::vector<DrawnNode> &nodes = told().drawn[1];
    ASSERT_EQ(nodes.size(), 75u);
    const size_t ends[] = {20, 43, 60, 75}; // published
    std::set<int> colours;
    for (size_t begin = 0, group = 0; group < 4; begin = ends[group++]) {
        for (size_t i = begin; i < ends[group]; ++i)
            EXPECT_EQ(nodes[i].found, nodes[begin].found) << i + 1;
        colours.insert(nodes[begin].found);
    }
    EXPECT_EQ(colours.size(), 4u);
}

TEST(ClusterResults, AreOfTheAnnouncedPointsWithTheirTrueGroups)
{
    ASSERT_EQ(told().drawn.size(), sets().size());
    for (size_t s = 0; s < sets().size(); ++s) {
        const std::vector<Point> wanted = chosen(sets()[s]);
        const std::vector<DrawnNode> &nodes = told().drawn[s];
        ASSERT_EQ(nodes.size(), wanted.size());
        std::map<int, int> colourOf;
        std::set<int> colours;
        for (size_t i = 0; i < nodes.size(); ++i) {
            EXPECT_EQ(nodes[i].x, wanted[i].x);
            EXPECT_EQ(nodes[i].y, wanted[i].y);
            const double turn = wanted[i].orientation * std::acos(-1) / 180;
            EXPECT_NEAR(
                std::remainder(std::atan2(nodes[i].dy, nodes[i].dx) - turn, 2 * std::acos(-1)), 0,
                1e-3);
            colourOf.emplace(wanted[i].group, nodes[i].truth);
            EXPECT_EQ(nodes[i].truth, colourOf[wanted[i].group]);
            colours.insert(nodes[i].truth);
        }
        EXPECT_EQ(colours.size(), sets()[s].groups.size()) << "a colour a group";
    }
}

TEST(ClusterResults, AgreeWithTheGroupsAsPrinted)
{
    ASSERT_EQ(told().drawn.size(), sets().size());
    double worst = 1;
    int exact = 0;
    for (size_t s = 0; s < sets().size(); ++s) {
        const std::vector<DrawnNode> &nodes = told().drawn[s];
        const Row row = rowOf(sets()[s].name);
        EXPECT_NEAR(row.randIndex, randIndexOf(nodes), 0.6e-4);
        int misplaced = 0;
        for (const DrawnNode &node : nodes) {
            EXPECT_EQ(node.ringed, node.found != node.truth);
            misplaced += node.ringed;
        }
        EXPECT_EQ(row.misplaced, misplaced);
        worst = std::min(worst, row.randIndex);
        exact += misplaced == 0;
    }
    std::ostringstream closing;
    closing << sets().size() << " sets: " << exact
            << " found exactly, the adjusted Rand index is at least ";
    const std::string last = linesOf(told().outcome.out).back();
    ASSERT_EQ(last.rfind(closing.str(), 0), 0u) << last;
    EXPECT_EQ(std::stod(last.substr(closing.str().size())), worst);
}

TEST(ClusterResults, CountTheMisplacedPointsOfEachGroup)
{
    const std::string heading = "groups with points in another cluster\n";
    const std::string &out = told().outcome.out;
    ASSERT_NE(out.find(heading), std::string::npos);
    const Lines lines = linesOf(out.substr(out.find(heading) + heading.size()));
    const std::regex entry("(\\d+): (\\d+) of (\\d+)");
    for (size_t s = 0; s < sets().size(); ++s) {
        const std::vector<Point> points = chosen(sets()[s]);
        std::map<int, int> sizes, outside;
        for (size_t i = 0; i < points.size(); ++i) {
            ++sizes[points[i].group];
            outside[points[i].group] += told().drawn.at(s).at(i).ringed;
        }
        std::ostringstream wanted;
        for (const auto &[group, count] : outside)
            if (count > 0)
                wanted << "  " << group << ": " << count << " of " << sizes[group];
        const std::string line = lines.at(s);
        ASSERT_EQ(line.rfind(sets()[s].name, 0), 0u) << line;
        const size_t at = std::min(line.find("  "), line.size());
        EXPECT_EQ(line.substr(line.find_first_not_of(' ', at)),
                  wanted.str().empty() ? "none" : wanted.str().substr(2));
    }
}

TEST(ClusterResults, HaveTheEigenvaluesOfTheirGraphs)
{
    const std::string &out = told().outcome.out;
    const size_t begin = out.find("\neigenvalues"), end = out.find("\ngroups with");
    ASSERT_LT(begin, end);
    std::string text = out.substr(begin, end - begin);
    for (size_t s = 0; s < sets().size(); ++s) {
        const Set &set = sets()[s];
        const size_t from = text.find(set.name) + std::string(set.name).size();
        const size_t to = s + 1 < sets().size() ? text.find(sets()[s + 1].name) : text.size();
        std::string part = text.substr(from, to - from);
        const size_t bar = part.find('|');
        ASSERT_NE(bar, std::string::npos);
        EXPECT_EQ(numbersIn(part.substr(0, bar)).size(), set.groups.size());
        part[bar] = ' ';
        const std::vector<double> printed = numbersIn(part);
        ASSERT_EQ(printed.size(), set.groups.size() + 4);
        EXPECT_EQ(printed[0], 0);
        for (size_t j = 1; j < printed.size(); ++j) {
            EXPECT_LE(printed[j], printed[j - 1]);
            EXPECT_GE(printed[j], -2);
        }
        if (set.nodes > 1000)
            continue; // the independent way is slow there
        const std::vector<double> wanted = graphEigenvalues(set);
        for (size_t j = 0; j < printed.size(); ++j)
            EXPECT_NEAR(printed[j], wanted[j], 1e-5) << set.name << ' ' << j;
    }
}

TEST(ClusterResults, ComeWithoutAPictureWhereGnuplotIsMissing)
{
    EXPECT_EQ(told().outcome.status, EXIT_FAILURE);
    EXPECT_NE(told().outcome.err.find("install the package gnuplot-nox"), std::string::npos);
    EXPECT_EQ(linesOf(told().outcome.err).size(), 1u);
    EXPECT_EQ(told().outcome.out.find("picture:"), std::string::npos);
}

TEST_F(ClusterFeatures, DrawsThePictureAndSaysWhere)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    const Outcome outcome = runOnData("");
    expectPicture(outcome);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(details(outcome.out), details(told().outcome.out)) << "the same again";
}

TEST_F(ClusterFeatures, NamesAFolderThatCannotBeMade) { expectComplaintAboutOutputFolder(); }

TEST_F(ClusterFeatures, ExplainsItsArguments) { expectUsage(); }

TEST_F(ClusterFeatures, NamesAMissingFile)
{
    for (const char *file : {"ruspini.csv", "coins.csv"}) {
        fs::remove(data / file);
        EXPECT_EQ(complaint(),
                  (data / file).string() + ": cannot be opened: No such file or directory\n");
    }
}

TEST_F(ClusterFeatures, NamesTheLineOfAMalformedFile)
{
    spoil(data / "coins.csv", line(100, "1,2,3,4"));
    EXPECT_EQ(complaint(),
              (data / "coins.csv").string() + ":100: expected a point in 5 fields, found 4\n");
}

std::string features(int groups, int pointsOfEach)
{
    std::ostringstream text;
    text << "points," << groups * pointsOfEach << "\ngroups," << groups
         << "\nx,y,orientation,grey,group\n";
    for (int i = 0; i < groups * pointsOfEach; ++i)
        text << 10 * (i % groups) << ',' << i << ",0,0," << i % groups + 1 << '\n';
    return text.str();
}

TEST_F(ClusterFeatures, NamesAFileWithTooFewGroups)
{
    std::ofstream(data / "coins.csv") << features(7, 5);
    EXPECT_EQ(complaint(), (data / "coins.csv").string() +
                               ": there are 7 groups, but four coins takes group 8\n");
}

TEST_F(ClusterFeatures, NamesAFileWithTooFewPoints)
{
    std::ofstream(data / "coins.csv") << features(12, 3); // every third: one of each
    EXPECT_EQ(complaint(), (data / "coins.csv").string() +
                               ": too few points for four coins: 4, at least 8 are needed\n");
}

TEST_F(ClusterFeatures, TakesPointsThatAreAllTheSame)
{
    std::ostringstream text;
    text << "points,16\ngroups,4\nx,y,group\n";
    for (int i = 0; i < 16; ++i)
        text << "1,1," << i % 4 + 1 << '\n';
    std::ofstream(data / "ruspini.csv") << text.str();
    const Outcome outcome = runOnData("");
    EXPECT_EQ(outcome.status, gnuplotIsThere() ? EXIT_SUCCESS : EXIT_FAILURE) << outcome.err;
    EXPECT_EQ(outcome.out.find("nan"), std::string::npos) << outcome.out;
}

} // namespace
