// What the clustering example is made of: k-means, the agreement of groupings, the reader, the
// choice of nodes and their embedding.
#include "tests/examples/program.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

extern "C" {
#include "examples/cluster/agreement.h"
#include "examples/cluster/embedding.h"
#include "examples/cluster/kmeans.h"
}

namespace
{

using namespace programs;

using Labels = std::vector<int32_t>;

double randIndex(const Labels &a, const Labels &b)
{
    return adjustedRandIndex(a.data(), b.data(), static_cast<int32_t>(a.size()));
}

// By the pairs on which both agree and differ; no two groupings in which all pairs are alike.
double randIndexByPairs(const Labels &a, const Labels &b)
{
    double both = 0, onlyA = 0, onlyB = 0, none = 0;
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            (a[i] == a[j] ? (b[i] == b[j] ? both : onlyA) : (b[i] == b[j] ? onlyB : none)) += 1;
    return 2 * (both * none - onlyA * onlyB) /
           ((both + onlyA) * (onlyA + none) + (both + onlyB) * (onlyB + none));
}

TEST(AdjustedRandIndex, IsOneForTheSameGroupsUnderAnyNames)
{
    EXPECT_EQ(randIndex({0, 0, 1, 1, 2}, {0, 0, 1, 1, 2}), 1);
    EXPECT_EQ(randIndex({0, 0, 1, 1, 2}, {31, 31, 0, 0, 7}), 1);
    EXPECT_EQ(randIndex({0, 1, 2}, {2, 0, 1}), 1) << "points alone";
    EXPECT_EQ(randIndex({0, 0, 0}, {5, 5, 5}), 1) << "one group";
    EXPECT_EQ(randIndex({3}, {4}), 1) << "one point";
}

TEST(AdjustedRandIndex, HasTheValuesWorkedOutByHand)
{
    // 1 pair in both, 2 and 1 of 6: (1 - 1/3) / (3/2 - 1/3)
    EXPECT_NEAR(randIndex({0, 0, 1, 1}, {0, 0, 1, 2}), 4. / 7., 1e-15);
    // 0 pairs in both, 2 and 2 of 6: (0 - 2/3) / (2 - 2/3)
    EXPECT_NEAR(randIndex({0, 0, 1, 1}, {0, 1, 0, 1}), -0.5, 1e-15);
    EXPECT_EQ(randIndex({0, 0, 0, 0}, {0, 1, 2, 3}), 0) << "one group against points alone";
}

TEST(AdjustedRandIndex, CountsPairs)
{
    std::mt19937 generator(7);
    for (int round = 0; round < 50; ++round) {
        Labels a(2 + generator() % 60), b(a.size());
        for (size_t i = 0; i < a.size(); ++i) {
            a[i] = static_cast<int32_t>(generator() % 4);
            b[i] = generator() % 3 == 0 ? static_cast<int32_t>(generator() % MAX_LABELS) : a[i];
        }
        a[0] = 0, a[1] = 1;
        EXPECT_NEAR(randIndex(a, b), randIndexByPairs(a, b), 1e-12);
        EXPECT_NEAR(randIndex(a, b), randIndex(b, a), 1e-12);
    }
}

TEST(MatchLabels, NamesClustersAfterTheGroupsTheyFit)
{
    const Labels truth = {0, 0, 0, 1, 1, 2, 2, 2};
    Labels found = {2, 2, 2, 0, 0, 1, 1, 1};
    EXPECT_EQ(matchLabels(truth.data(), found.data(), 8, 3), 0);
    EXPECT_EQ(found, truth);

    found = {1, 1, 2, 0, 0, 2, 2, 2};
    EXPECT_EQ(matchLabels(truth.data(), found.data(), 8, 3), 1);
    EXPECT_EQ(found, (Labels{0, 0, 2, 1, 1, 2, 2, 2}));
}

TEST(MatchLabels, GivesEveryClusterAnotherName)
{
    const Labels truth = {0, 0, 0, 0, 1, 2};
    Labels found = {0, 0, 1, 2, 0, 0}; // two clusters inside one group
    EXPECT_EQ(matchLabels(truth.data(), found.data(), 6, 3), 4);
    EXPECT_EQ(found[0], 0);
    EXPECT_NE(found[2], found[3]);
    EXPECT_NE(found[2], 0);
    EXPECT_NE(found[3], 0);
}

struct Cut {
    bool complete;
    Labels labels;
};

Cut cut(const std::vector<double> &points, int32_t dimension, int32_t k)
{
    const auto count = static_cast<int32_t>(points.size()) / dimension;
    Labels labels(static_cast<size_t>(count), -1);
    const bool complete = cutIntoClusters(points.data(), count, dimension, k, labels.data());
    return {complete, labels};
}

double sumOfSquares(const std::vector<double> &points, size_t dimension, const Labels &labels,
                    int32_t k)
{
    double sum = 0;
    for (int32_t c = 0; c < k; ++c)
        for (size_t j = 0; j < dimension; ++j) {
            double total = 0, squares = 0, size = 0;
            for (size_t i = 0; i < labels.size(); ++i)
                if (labels[i] == c) {
                    total += points[i * dimension + j];
                    squares += points[i * dimension + j] * points[i * dimension + j];
                    ++size;
                }
            sum += size > 0 ? squares - total * total / size : 0;
        }
    return sum;
}

TEST(KMeans, FindsClustersThatLieApart)
{
    std::mt19937 generator(3);
    std::uniform_real_distribution<double> noise(-1, 1);
    const int32_t dimension = 3, k = 5;
    std::vector<double> points;
    Labels truth;
    for (int32_t i = 0; i < 100; ++i) {
        truth.push_back(i % k);
        for (int32_t j = 0; j < dimension; ++j)
            points.push_back(10 * (truth.back() * (j + 2) % k) + noise(generator));
    }
    const Cut result = cut(points, dimension, k);
    ASSERT_TRUE(result.complete);
    EXPECT_EQ(randIndex(truth, result.labels), 1);
    EXPECT_EQ(cut(points, dimension, k).labels, result.labels) << "the same again";
}

TEST(KMeans, ComesNearTheBestOfAllPartitions)
{
    std::mt19937 generator(11);
    std::uniform_real_distribution<double> place(0, 1);
    const int32_t k = 3;
    for (int round = 0; round < 10; ++round) {
        std::vector<double> points(16);
        for (double &x : points)
            x = place(generator);
        double best = std::numeric_limits<double>::infinity();
        for (int number = 0; number < 6561; ++number) { // 3^8
            Labels labels;
            for (int rest = number, i = 0; i < 8; ++i, rest /= k)
                labels.push_back(rest % k);
            best = std::min(best, sumOfSquares(points, 2, labels, k));
        }
        EXPECT_LE(sumOfSquares(points, 2, cut(points, 2, k).labels, k), 1.1 * best);
    }
}

TEST(KMeans, LeavesEachPointWithItsNearestCentre)
{
    std::mt19937 generator(5);
    std::uniform_real_distribution<double> place(0, 1);
    const int32_t k = 7;
    std::vector<double> points(600);
    for (double &x : points)
        x = place(generator);
    const Labels labels = cut(points, 2, k).labels;
    double centres[k][2] = {}, sizes[k] = {};
    for (size_t i = 0; i < labels.size(); ++i) {
        ASSERT_GE(labels[i], 0);
        ASSERT_LT(labels[i], k);
        ++sizes[labels[i]];
        for (size_t j = 0; j < 2; ++j)
            centres[labels[i]][j] += points[2 * i + j];
    }
    const auto distance = [&](size_t i, int32_t c) {
        return std::hypot(points[2 * i] - centres[c][0] / sizes[c],
                          points[2 * i + 1] - centres[c][1] / sizes[c]);
    };
    for (size_t i = 0; i < labels.size(); ++i)
        for (int32_t c = 0; c < k; ++c)
            EXPECT_LE(distance(i, labels[i]), distance(i, c) + 1e-12);
}

TEST(KMeans, TakesOneClusterAndAsManyAsPoints)
{
    const std::vector<double> points = {4, 1, 3, 9, 7};
    EXPECT_EQ(cut(points, 1, 1).labels, Labels(5, 0));
    Labels alone = cut(points, 1, 5).labels;
    std::sort(alone.begin(), alone.end());
    EXPECT_EQ(alone, (Labels{0, 1, 2, 3, 4}));
}

TEST(KMeans, EndsOnPointsThatAreAllTheSame)
{
    const Cut result = cut(std::vector<double>(40, 0.25), 2, 4);
    EXPECT_TRUE(result.complete);
    for (const int32_t label : result.labels) {
        EXPECT_GE(label, 0);
        EXPECT_LT(label, 4);
    }
}

// The reader.

class FeatureFile : public testing::Test
{
  protected:
    FeatureFile() : folder(makeFolder("kmath-features")), file(folder / "features.csv") {}
    ~FeatureFile() override { fs::remove_all(folder); }

    void write(const std::string &text) const { std::ofstream(file, std::ios::binary) << text; }

    // What is said where the reader refuses the file.
    std::string complaint() const
    {
        Features features;
        testing::internal::CaptureStderr();
        const bool complete = readFeatures(&features, file.c_str());
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_FALSE(complete);
        EXPECT_EQ(linesOf(said).size(), 1u) << said;
        if (complete)
            releaseFeatures(&features);
        return said;
    }

    fs::path folder;
    fs::path file;
};

const Lines oriented = {
    "# some features", //
    "points,5",
    "groups,2",
    "x,y,orientation,grey,group",
    "1.5,-2,180,0,1",
    "2.25,3e1,-180,255,2",
    "# a remark",
    "4,5,0.5,7,0",
    "6,7,-90,8,2",
    "8,9,90,9,1",
};

TEST_F(FeatureFile, IsReadWithOrientations)
{
    std::string text = joined(oriented);
    for (const bool ended : {false, true}) {
        if (ended)
            for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
                text.insert(at, "\r");
        write(text);
        Features read;
        ASSERT_TRUE(readFeatures(&read, file.c_str()));
        EXPECT_EQ(read.path, file.string());
        EXPECT_EQ(read.nPoints, 5);
        EXPECT_EQ(read.nGroups, 2);
        EXPECT_TRUE(read.oriented);
        EXPECT_EQ(std::vector<double>(read.positions, read.positions + 10),
                  (std::vector<double>{1.5, -2, 2.25, 30, 4, 5, 6, 7, 8, 9}));
        EXPECT_EQ(std::vector<double>(read.angles, read.angles + 5),
                  (std::vector<double>{180, -180, 0.5, -90, 90}));
        EXPECT_EQ(std::vector<int>(read.greyValues, read.greyValues + 5),
                  (std::vector<int>{0, 255, 7, 8, 9}));
        EXPECT_EQ(Labels(read.groups, read.groups + 5), (Labels{1, 2, 0, 2, 1}));
        releaseFeatures(&read);
    }
}

TEST_F(FeatureFile, IsReadWithoutOrientations)
{
    write("points,4\ngroups,2\nx,y,group\n1,2,1\n3,4,1\n5,6,2\n7,8,2\n");
    Features read;
    ASSERT_TRUE(readFeatures(&read, file.c_str()));
    EXPECT_FALSE(read.oriented);
    EXPECT_EQ(std::vector<double>(read.positions, read.positions + 8),
              (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(std::vector<double>(read.angles, read.angles + 4), std::vector<double>(4));
    EXPECT_EQ(std::vector<int>(read.greyValues, read.greyValues + 4), std::vector<int>(4));
    EXPECT_EQ(Labels(read.groups, read.groups + 4), (Labels{1, 1, 2, 2}));
    releaseFeatures(&read);
}

TEST_F(FeatureFile, IsNamedWhereItIsMissingOrAFolder)
{
    EXPECT_EQ(complaint(), file.string() + ": cannot be opened: No such file or directory\n");
    fs::create_directory(file);
    EXPECT_EQ(complaint(), file.string() + ":1: cannot be read: Is a directory\n");
}

TEST_F(FeatureFile, IsRefusedWhereverItIsCut)
{
    const std::string whole = joined(oriented);
    for (size_t length = 0; length < whole.size(); ++length) {
        write(whole.substr(0, length));
        const auto line =
            1 + std::count(whole.begin(), whole.begin() + static_cast<long>(length), '\n');
        const std::string wanted = file.string() + ':' + std::to_string(line) + ": cut short";
        ASSERT_EQ(complaint().substr(0, wanted.size()), wanted) << length;
    }
}

struct FeatureFault {
    const char *name;
    std::function<void(Lines &)> change;
    const char *complaint; // after "file:"
};

void PrintTo(const FeatureFault &fault, std::ostream *out) { *out << fault.name; }

const FeatureFault featureFaults[] = {
    {"Empty", endAfter(0), "1: cut short: points is missing\n"},
    {"OnlyComments", endAfter(1), "2: cut short: points is missing\n"},
    {"NoGroups", endAfter(2), "3: cut short: groups is missing\n"},
    {"NoColumnNames", endAfter(3), "4: cut short: the line of column names is missing\n"},
    {"NoPoints", endAfter(4), "5: cut short: point 1 of 5 is missing\n"},
    {"OnePointLess", endAfter(9), "10: cut short: point 5 of 5 is missing\n"},
    {"OnePointMore", [](Lines &lines) { lines.push_back("1,2,3,4,1"); },
     "11: more than 5 points\n"},
    {"PointsLeftOut", [](Lines &lines) { lines.erase(lines.begin() + 1); },
     "2: expected 'points,…', found 'groups,2'\n"},
    {"CountIsNoNumber", line(2, "points,many"),
     "2: expected a number for a number of points, found 'many'\n"},
    {"CountIsZero", line(2, "points,0"),
     "2: expected a number of points from 1 to 100000, found '0'\n"},
    {"CountIsFraction", line(2, "points,4.5"),
     "2: expected a number of points from 1 to 100000, found '4.5'\n"},
    {"CountIsTwo", line(2, "points,5,5"), "2: expected points in 2 fields, found 3\n"},
    {"OneGroup", line(3, "groups,1"), "3: expected a number of groups from 2 to 32, found '1'\n"},
    {"TooManyGroups", line(3, "groups,33"),
     "3: expected a number of groups from 2 to 32, found '33'\n"},
    {"MissingColumn", line(4, "x,y,orientation,group"),
     "4: expected 'x,y,orientation,grey,group' or 'x,y,group', found 'x,y,orientation,group'\n"},
    {"OtherColumn", line(4, "x,y,angle,grey,group"),
     "4: expected 'x,y,orientation,grey,group' or 'x,y,group', found 'x,y,angle,grey,group'\n"},
    {"ColumnsOfTheOtherKind", line(4, "x,y,group"), "5: expected a point in 3 fields, found 5\n"},
    {"FieldMissing", line(6, "2.25,3e1,-180,2"), "6: expected a point in 5 fields, found 4\n"},
    {"FieldTooMany", line(6, "2.25,3e1,-180,255,2,1"),
     "6: expected a point in 5 fields, found 6\n"},
    {"BlankLine", line(6, ""), "6: expected a point in 5 fields, found 1\n"},
    {"BadX", line(6, "2.2.5,3e1,-180,255,2"), "6: expected a number for x, found '2.2.5'\n"},
    {"BadY", line(6, "2.25,,-180,255,2"), "6: expected a number for y, found ''\n"},
    {"XTooLarge", line(6, "2e6,3e1,-180,255,2"),
     "6: expected x from -1e+06 to 1e+06, found '2e6'\n"},
    {"NotFinite", line(6, "2.25,nan,-180,255,2"), "6: expected a number for y, found 'nan'\n"},
    {"OrientationTooLarge", line(6, "2.25,3e1,180.1,255,2"),
     "6: expected an orientation from -180 to 180, found '180.1'\n"},
    {"OrientationIsNoNumber", line(6, "2.25,3e1,up,255,2"),
     "6: expected a number for an orientation, found 'up'\n"},
    {"GreyTooLarge", line(6, "2.25,3e1,-180,256,2"),
     "6: expected a grey value from 0 to 255, found '256'\n"},
    {"GreyNegative", line(6, "2.25,3e1,-180,-1,2"),
     "6: expected a grey value from 0 to 255, found '-1'\n"},
    {"GreyIsFraction", line(6, "2.25,3e1,-180,1.5,2"),
     "6: expected a grey value from 0 to 255, found '1.5'\n"},
    {"NoSuchGroup", line(6, "2.25,3e1,-180,255,3"), "6: expected a group from 0 to 2, found '3'\n"},
    {"NegativeGroup", line(6, "2.25,3e1,-180,255,-1"),
     "6: expected a group from 0 to 2, found '-1'\n"},
    {"TooFewPointsInAGroup", line(6, "2.25,3e1,-180,255,1"),
     "11: too few points: group 2 of 2 has 1, at least 2 are needed\n"},
    {"GroupWithoutPoints", line(3, "groups,3"),
     "11: too few points: group 3 of 3 has 0, at least 2 are needed\n"},
    {"BinaryData", [](Lines &lines) { lines.at(5) = std::string("2.25\0,1", 7); },
     "6: binary data instead of text\n"},
    {"LineTooLong", [](Lines &lines) { lines.at(5) = std::string(2000, '1'); },
     "6: line longer than 1023 characters\n"},
};

class MalformedFeatureFile : public FeatureFile, public testing::WithParamInterface<FeatureFault>
{
};

TEST_P(MalformedFeatureFile, IsNamedWithItsLine)
{
    Lines lines = oriented;
    GetParam().change(lines);
    write(joined(lines));
    EXPECT_EQ(complaint(), file.string() + ':' + GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, MalformedFeatureFile, testing::ValuesIn(featureFaults),
                         [](const auto &fault) { return std::string(fault.param.name); });

// The embedding.

const Task all = {"all", 0, {}, 1, 1, 90, 50};

TEST_F(FeatureFile, GivesNodesByGroupAndStep)
{
    write("points,12\ngroups,3\nx,y,group\n1,0,2\n2,0,1\n3,0,2\n4,0,3\n5,0,0\n6,0,2\n7,0,1\n"
          "8,0,2\n9,0,3\n10,0,2\n11,0,1\n12,0,2\n");
    Features features;
    ASSERT_TRUE(readFeatures(&features, file.c_str()));
    Nodes nodes;
    const Task task = {"some", 0, {2, 3}, 1, 1, 90, 50};
    ASSERT_TRUE(chooseNodes(&nodes, &features, &task));
    EXPECT_EQ(nodes.count, 8);
    EXPECT_EQ(nodes.nGroups, 2);
    EXPECT_EQ(Labels(nodes.indexOf, nodes.indexOf + 12),
              (Labels{0, -1, 1, 2, -1, 3, -1, 4, 5, 6, -1, 7}));
    EXPECT_EQ(Labels(nodes.pointOf, nodes.pointOf + 8), (Labels{0, 2, 3, 5, 7, 8, 9, 11}));
    EXPECT_EQ(Labels(nodes.truth, nodes.truth + 8), (Labels{0, 0, 1, 0, 0, 1, 0, 0}));
    releaseNodes(&nodes);

    testing::internal::CaptureStderr();
    const Task every = {"every other", 0, {}, 2, 1, 90, 50};
    EXPECT_FALSE(chooseNodes(&nodes, &features, &every)); // 2 + 3 + 1
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              file.string() + ": too few points for every other: 6, at least 7 are needed\n");
    releaseFeatures(&features);
}

TEST_F(FeatureFile, IsEmbeddedInUnitVectors)
{
    std::ostringstream text;
    text << "points,20\ngroups,2\nx,y,group\n";
    for (int i = 0; i < 20; ++i)
        text << (i % 2 == 0 ? 0 : 50) + i << ",0," << i % 2 + 1 << '\n';
    write(text.str());
    Features features;
    ASSERT_TRUE(readFeatures(&features, file.c_str()));
    Nodes nodes;
    ASSERT_TRUE(chooseNodes(&nodes, &features, &all));
    Embedding embedding;
    ASSERT_TRUE(embed(&embedding, &features, &nodes, &all));
    EXPECT_EQ(embedding.nValues, 6);
    EXPECT_NEAR(embedding.eigenValues[0], 0, 1e-12);
    EXPECT_LT(embedding.eigenValues[2], -1e-3);
    for (int32_t n = 0; n < 20; ++n) {
        const double *place = &embedding.places[2 * n], *first = &embedding.places[2 * (n % 2)];
        EXPECT_NEAR(std::hypot(place[0], place[1]), 1, 1e-12);
        EXPECT_NEAR(place[0] * first[0] + place[1] * first[1], 1, 1e-6) << "beside its group";
    }
    EXPECT_NEAR(embedding.places[0] * embedding.places[2] +
                    embedding.places[1] * embedding.places[3],
                0, 1e-6)
        << "at a right angle to the other";
    releaseEmbedding(&embedding);

    features.positions[0] = std::numeric_limits<double>::quiet_NaN();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(embed(&embedding, &features, &nodes, &all));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "all: the embedding failed: KMATH_ERR_SINGULAR\n");
    EXPECT_EQ(embedding.places, nullptr);
    releaseNodes(&nodes);
    releaseFeatures(&features);
}

// The scales of the program are not the only ones: the coins fall apart on a range of them.
TEST(Coins, AreSeparatedOnARangeOfScales)
{
    Features features;
    ASSERT_TRUE(readFeatures(&features, FEATURE_FOLDER "/coins.csv"));
    for (const Task &task : tasks) {
        if (task.file != COINS || &task == &tasks[TASKS - 1])
            continue; // the last set takes long
        Nodes nodes;
        ASSERT_TRUE(chooseNodes(&nodes, &features, &task));
        for (const double distance : {3., 5., 10.})
            for (const double angle : {45., 90.}) {
                Task other = task;
                other.sigmaDistance = distance;
                other.sigmaAngle = angle;
                Embedding embedding;
                ASSERT_TRUE(embed(&embedding, &features, &nodes, &other));
                Labels found(static_cast<size_t>(nodes.count));
                ASSERT_TRUE(cutIntoClusters(embedding.places, nodes.count, nodes.nGroups,
                                            nodes.nGroups, found.data()));
                EXPECT_GE(adjustedRandIndex(nodes.truth, found.data(), nodes.count), 0.8)
                    << task.name << ' ' << distance << ' ' << angle;
                releaseEmbedding(&embedding);
            }
        releaseNodes(&nodes);
    }
    releaseFeatures(&features);
}

} // namespace
