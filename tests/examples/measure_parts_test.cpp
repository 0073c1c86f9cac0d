// What the measuring example is made of: outlines in vectors, hulls and circles, and the component
// that knows its objects by name only.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

extern "C" {
#include "examples/measure/circle.h"
#include "examples/measure/component.h"
#include "examples/measure/hull.h"
#include "examples/measure/outlines.h"
#include "examples/measure/report.h"
}

namespace
{

using Points = std::vector<kmath_vect3>;

struct Vector {
    explicit Vector(const Points &points = {})
    {
        EXPECT_EQ(kstd_vector_kmath_vect3_constructFromBlock(&record, points.data(), points.size()),
                  KMATH_OK);
    }
    Vector(const Vector &) = delete;
    Vector &operator=(const Vector &) = delete;
    ~Vector() { kstd_vector_kmath_vect3_destruct(&record); }

    Points points() const
    {
        const kmath_vect3 *begin, *end;
        EXPECT_EQ(kstd_vector_kmath_vect3_getBeginEndConst(&record, &begin, &end), KMATH_OK);
        return {begin, end};
    }

    kstd_vector_kmath_vect3 record;
};

Points hullOf(const Points &points)
{
    const Vector given(points);
    Vector hull(Points{{7, 7, 7}});
    EXPECT_EQ(convexHull(&given.record, &hull.record), KMATH_OK);
    return hull.points();
}

bool same(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

void expectEqual(const Points &found, const Points &expected)
{
    EXPECT_TRUE(std::equal(found.begin(), found.end(), expected.begin(), expected.end(), same));
}

TEST(ConvexHull, HasTheCornersAnticlockwise)
{
    expectEqual(hullOf({{2, 0, 0}, {1, 1, 0}, {0, 2, 0}, {2, 2, 0}, {0, 0, 0}, {1, 0.5, 0}}),
                {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
}

TEST(ConvexHull, LeavesOutRepeatedPointsAndThoseOnASide)
{
    expectEqual(hullOf({{0, 0, 0},
                        {1, 0, 0},
                        {2, 0, 0},
                        {2, 0, 0},
                        {1, 1, 0},
                        {0, 2, 0},
                        {0, 0, 0},
                        {0, 1, 0}}),
                {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}});
}

TEST(ConvexHull, TakesPointsOnALineUpToRoundingForNoCorners)
{
    Points points;
    for (int i = 0; i <= 10; ++i)
        points.push_back({i * 0.1, 7 - i * 0.3, 0});
    EXPECT_EQ(hullOf(points).size(), 2u);
    points.push_back({0, 0, 0});
    EXPECT_EQ(hullOf(points).size(), 3u);
}

TEST(ConvexHull, HasLessThanThreeCornersWithoutArea)
{
    EXPECT_EQ(hullOf({}).size(), 0u);
    EXPECT_LT(hullOf({{3, 4, 0}}).size(), 3u);
    EXPECT_LT(hullOf({{3, 4, 0}, {5, 6, 0}}).size(), 3u);
    EXPECT_LT(hullOf({{3, 4, 0}, {3, 4, 0}, {3, 4, 0}, {3, 4, 0}}).size(), 3u);
    EXPECT_LT(hullOf({{3, 4, 0}, {9, 12, 0}, {6, 8, 0}, {0, 0, 0}}).size(), 3u);
}

TEST(ConvexHull, HasAllPointsOnItsLeft)
{
    std::mt19937 generator(20);
    std::uniform_int_distribution<int> coordinate(-9, 9); // small: many repetitions and lines
    const auto turn = [](const kmath_vect3 &a, const kmath_vect3 &b, const kmath_vect3 &c) {
        return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    };
    for (size_t n = 3; n < 200; n += 7) {
        Points points(n);
        for (kmath_vect3 &p : points)
            p = {double(coordinate(generator)), double(coordinate(generator)), 0};
        const Points hull = hullOf(points);
        for (size_t k = 0; hull.size() >= 3 && k < hull.size(); ++k) {
            const kmath_vect3 &a = hull[k], &b = hull[(k + 1) % hull.size()];
            EXPECT_GT(turn(a, b, hull[(k + 2) % hull.size()]), 0) << "a corner";
            for (const kmath_vect3 &p : points)
                EXPECT_GE(turn(a, b, p), 0);
            EXPECT_TRUE(
                std::any_of(points.begin(), points.end(), [&](auto &p) { return same(p, a); }));
        }
    }
}

TEST(Polygon, HasAreaAndExtent)
{
    const Points right = {{0, 0, 0}, {3, 0, 0}, {0, 4, 0}};
    EXPECT_EQ(polygonArea(right.data(), 3), 6);
    EXPECT_EQ(greatestExtent(right.data(), 3), 5);
    EXPECT_EQ(polygonArea(right.data(), 2), 0);
    EXPECT_EQ(greatestExtent(right.data(), 0), 0);
}

TEST(FitCircle, GoesThroughPointsOfACircle)
{
    Points points;
    for (const double angle : {0.1, 0.7, 1.9, 4.0})
        points.push_back({-3 + 5 * std::cos(angle), 8 + 5 * std::sin(angle), 0});
    Circle circle;
    ASSERT_EQ(fitCircle(points.data(), 4, &circle), KMATH_OK);
    EXPECT_NEAR(circle.x, -3, 1e-7);
    EXPECT_NEAR(circle.y, 8, 1e-7);
    EXPECT_NEAR(circle.radius, 5, 1e-7);
    EXPECT_NEAR(circle.deviation, 0, 1e-7);
}

TEST(FitCircle, LeavesTheDeviationOfACross)
{
    // By symmetry the centre is the middle and the radius the mean of the distances 1 and 3.
    const Points cross = {{1, 0, 0}, {0, 3, 0}, {-1, 0, 0}, {0, -3, 0}};
    Circle circle;
    ASSERT_EQ(fitCircle(cross.data(), 4, &circle), KMATH_OK);
    EXPECT_NEAR(circle.radius, 2, 1e-6);
    EXPECT_NEAR(circle.deviation, 1, 1e-6);
}

TEST(FitCircle, WantsThreePoints)
{
    const Points two = {{1, 0, 0}, {0, 3, 0}};
    Circle circle;
    EXPECT_TRUE(KMATH_IS_FAILURE(fitCircle(two.data(), 0, &circle)));
}

// Groups 1 and 2 of five points; the third group has none.
struct Outlines : testing::Test {
    Outlines()
    {
        features.nPoints = 5;
        features.nGroups = 3;
        features.positions = positions;
        features.groups = groups;
        EXPECT_EQ(kstd_vector_vector_kmath_vect3_constructEmpty(&outlines), KMATH_OK);
        EXPECT_EQ(groupOutlines(&features, &outlines), KMATH_OK);
    }
    ~Outlines() override { kstd_vector_vector_kmath_vect3_destruct(&outlines); }

    Points outline(size_t i)
    {
        kstd_vector_kmath_vect3 *found;
        EXPECT_EQ(kstd_vector_vector_kmath_vect3_getElement(&outlines, i, &found), KMATH_OK);
        const kmath_vect3 *begin, *end;
        EXPECT_EQ(kstd_vector_kmath_vect3_getBeginEndConst(found, &begin, &end), KMATH_OK);
        return {begin, end};
    }

    double positions[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    int32_t groups[5] = {2, 1, 0, 2, 2};
    Features features = {};
    kstd_vector_vector_kmath_vect3 outlines;
};

TEST_F(Outlines, HoldThePointsOfTheirGroupsInOrder)
{
    int32_t size;
    ASSERT_EQ(kstd_vector_vector_kmath_vect3_getSize(&outlines, &size), KMATH_OK);
    EXPECT_EQ(size, 3);
    expectEqual(outline(0), {{3, 4, 0}});
    expectEqual(outline(1), {{1, 2, 0}, {7, 8, 0}, {9, 10, 0}});
    expectEqual(outline(2), {});
}

TEST_F(Outlines, AreMappedInPlace)
{
    kmath_xform3Linear X;
    imageToPlate(&X, 0.5, 11);
    ASSERT_EQ(mapOutlines(&X, &outlines), KMATH_OK);
    expectEqual(outline(0), {{1.5, 3, 0}});
    expectEqual(outline(1), {{0.5, 4, 0}, {3.5, 1, 0}, {4.5, 0, 0}});
    expectEqual(outline(2), {});

    ASSERT_EQ(kstd_vector_vector_kmath_vect3_clear(&outlines), KMATH_OK);
    EXPECT_EQ(mapOutlines(&X, &outlines), KMATH_OK) << "none";
}

TEST_F(Outlines, AreNotPrintedWithFiguresOfOthers)
{
    kstd_vector_kmath_vect6F figures;
    ASSERT_EQ(kstd_vector_kmath_vect6F_construct(&figures, 2), KMATH_OK);
    testing::internal::CaptureStdout();
    EXPECT_EQ(printFigures(&outlines, &figures), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    kstd_vector_kmath_vect6F_destruct(&figures);
}

// A triangle and a square as objects, and figures that are there already.
struct Component : testing::Test {
    Component()
    {
        EXPECT_EQ(kstd_vector_vector_kmath_vect3Shareable_construct(&outlines, 2), KMATH_OK);
        add(0, {{0, 0, 0}, {3, 0, 0}, {0, 4, 0}});
        add(1, {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {1, 1, 0}});
        EXPECT_EQ(kstd_vector_kmath_vect6FShareable_construct(&figures, 3), KMATH_OK);
    }
    ~Component() override
    {
        kstd_vector_kmath_vect6FShareable_delete(&figures);
        kstd_vector_vector_kmath_vect3Shareable_delete(&outlines);
    }

    void add(size_t i, const Points &points)
    {
        kstd_vector_kmath_vect3 *outline;
        ASSERT_EQ(kstd_vector_vector_kmath_vect3_getElement(&outlines->vector, i, &outline),
                  KMATH_OK);
        ASSERT_EQ(kstd_vector_kmath_vect3_assignElements(outline, points.data(), points.size()),
                  KMATH_OK);
    }

    std::vector<kmath_vect6F> measured() const
    {
        kmath_vect6F *begin, *end;
        EXPECT_EQ(kstd_vector_kmath_vect6FShareable_getBeginEnd(figures, &begin, &end), KMATH_OK);
        return {begin, end};
    }

    void expectNoFigures() const
    {
        EXPECT_EQ(measured().size(), 3u);
        for (const kmath_vect6F &f : measured())
            for (const float value : f.v)
                EXPECT_EQ(value, 0);
    }

    kstd_vector_vector_kmath_vect3Shareable *outlines = nullptr;
    kstd_vector_kmath_vect6FShareable *figures = nullptr;
};

TEST_F(Component, MeasuresEachOutlineEveryTime)
{
    for (int again = 0; again < 2; ++again) {
        ASSERT_EQ(measureOutlines(&outlines->object, &figures->object), KMATH_OK);
        const std::vector<kmath_vect6F> found = measured();
        ASSERT_EQ(found.size(), 2u) << "in place of what was there";
        EXPECT_NEAR(found[0].v[CENTRE_X], 1.5, 1e-5); // the circle of Thales
        EXPECT_NEAR(found[0].v[CENTRE_Y], 2, 1e-5);
        EXPECT_NEAR(found[0].v[DIAMETER], 5, 1e-5);
        EXPECT_NEAR(found[0].v[DEVIATION], 0, 1e-5);
        EXPECT_EQ(found[0].v[AREA], 6);
        EXPECT_EQ(found[0].v[EXTENT], 5);
        EXPECT_NEAR(found[1].v[CENTRE_X], 1, 1e-5);
        EXPECT_NEAR(found[1].v[CENTRE_Y], 1, 1e-5);
        EXPECT_NEAR(found[1].v[DIAMETER], std::sqrt(8.), 1e-5);
        EXPECT_EQ(found[1].v[AREA], 4);
        EXPECT_FLOAT_EQ(found[1].v[EXTENT], std::sqrt(8.f));
    }
}

TEST_F(Component, RefusesObjectsThatDoNotKnowItsInterfaces)
{
    EXPECT_EQ(measureOutlines(&figures->object, &figures->object), KMATH_ERR_FAILED);
    EXPECT_EQ(measureOutlines(&outlines->object, &outlines->object), KMATH_ERR_FAILED);
    EXPECT_EQ(measureOutlines(nullptr, &figures->object), KMATH_ERR_FAILED);
    EXPECT_EQ(measureOutlines(&outlines->object, nullptr), KMATH_ERR_FAILED);
    expectNoFigures();
}

TEST_F(Component, RefusesOutlinesWithoutArea)
{
    add(1, {{0, 0, 0}, {1, 1, 0}, {2, 2, 0}});
    EXPECT_EQ(measureOutlines(&outlines->object, &figures->object), KMATH_ERR_SINGULAR);
    add(1, {});
    EXPECT_EQ(measureOutlines(&outlines->object, &figures->object), KMATH_ERR_SINGULAR);
    expectNoFigures();
}

TEST_F(Component, GivesNoFiguresForNoOutlines)
{
    ASSERT_EQ(kstd_vector_vector_kmath_vect3Shareable_reset(outlines), KMATH_OK);
    EXPECT_EQ(measureOutlines(&outlines->object, &figures->object), KMATH_OK);
    EXPECT_TRUE(measured().empty());
}

// An object of a kind of its own, which hands out the outlines that it has, or fails.
struct Holder {
    kxObject object;
    kstd_vector_vector_kmath_vect3Shareable *held;
    kmath_status status;
};

kmath_status askHolder(kxObject *object, const wchar_t *name, void **result)
{
    const Holder *holder = reinterpret_cast<Holder *>(object);
    if (KMATH_IS_FAILURE(holder->status))
        return holder->status;
    return kstd_vector_vector_kmath_vect3Shareable_queryInterfaceByTypename(holder->held, name,
                                                                            result);
}

TEST_F(Component, TakesAnyObjectThatKnowsTheInterface)
{
    const kxObjectInterface table = {askHolder, nullptr};
    Holder holder = {{&table}, outlines, KMATH_OK};
    EXPECT_EQ(measureOutlines(&holder.object, &figures->object), KMATH_OK);
    EXPECT_EQ(measured().size(), 2u);

    holder.status = KMATH_ERR_NO_MEMORY;
    EXPECT_EQ(measureOutlines(&holder.object, &figures->object), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(measured().size(), 2u);
}

} // namespace
