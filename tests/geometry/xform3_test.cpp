#include "geometry/transforms.hpp"
#include "support/unchecked.hpp"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace transforms;
using support::assertedLine;
using support::reportsNothing;

namespace
{

constexpr double pi = 3.141592653589793;
constexpr double eps = std::numeric_limits<double>::epsilon();
const double wildNumbers[] = {notANumber, infinity, -infinity, 1e300, -1.7e308, 5e-324, -0.0};

using RowMajor = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

Eigen::Matrix3d eigenMatrix(const kmath_xform3Linear &X)
{
    return Eigen::Map<const RowMajor>(&X.matrix.m00);
}
Eigen::Vector3d eigenVector(const kmath_vect3 &v) { return {v.x, v.y, v.z}; }

Eigen::Affine3d eigenTransform(const kmath_xform3Linear &X)
{
    Eigen::Affine3d result;
    result.linear() = eigenMatrix(X);
    result.translation() = eigenVector(X.translation);
    return result;
}

kmath_xform3Linear fromEigen(const Eigen::Matrix3d &M, const kmath_vect3 &t)
{
    kmath_xform3Linear X = identity;
    Eigen::Map<RowMajor>(&X.matrix.m00) = M;
    X.translation = t;
    return X;
}

double largestDifference(const kmath_xform3Linear &actual, const Eigen::Affine3d &expected)
{
    return (eigenTransform(actual).affine() - expected.affine()).cwiseAbs().maxCoeff();
}

kmath_xform3Linear linear(const kmath_matrix3 &M) { return {{1, 2, 3}, M}; }
kmath_xform3Linear diagonal(double x, double y, double z)
{
    return linear({x, 0, 0, 0, y, 0, 0, 0, z});
}

const kmath_xform3Linear a = {{1.5, -2.0, 0.25},
                              {2.385, -1.0, 0.5, 3.0, 4.25, -2.0, 0.75, 1.5, -6.0}};
const kmath_xform3Linear b = {{-7.0, 0.5, 3.0}, {1.0, 2.0, -3.0, 0.25, -5.0, 6.0, 7.0, 0.5, 9.0}};
const kmath_xform3Linear c = {{0.0, 11.0, -1.0}, {0.0, 1.0, 0.0, -1.0, 0.5, 0.0, 0.0, 0.0, 2.0}};
const kmath_xform3Linear d = {{4.0, 4.0, 4.0}, {1.0, 0.0, 0.3, 0.0, 1.0, 0.0, 0.0, -0.7, 1.0}};
const kmath_xform3Linear singular = linear({1, 2, 3, 2, 4, 6, 0, 0, 1});

// The order of the sums is that of a product of matrices and of a mapped point.
kmath_xform3Linear plainComposition(const kmath_xform3Linear &p, const kmath_xform3Linear &q)
{
    const kmath_matrix3 &N = q.matrix;
    const kmath_vect3 x = plainProduct(p.matrix, {N.m00, N.m10, N.m20});
    const kmath_vect3 y = plainProduct(p.matrix, {N.m01, N.m11, N.m21});
    const kmath_vect3 z = plainProduct(p.matrix, {N.m02, N.m12, N.m22});
    return {plainImage(p, q.translation), {x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z}};
}

kmath_xform3Linear composed(const kmath_xform3Linear &p, const kmath_xform3Linear &q)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &p, &q), KMATH_OK);
    return r;
}

kmath_vect3 mapped(const kmath_xform3Linear &X, const kmath_vect3 &p)
{
    kmath_vect3 r;
    EXPECT_EQ(kmath_xform3Linear_mapPoint(&X, &p, &r), KMATH_OK);
    return r;
}

std::uint32_t isIdentity(const kmath_xform3Linear &X)
{
    std::uint32_t flag = 77;
    EXPECT_EQ(kmath_xform3Linear_getIsIdentity(&X, &flag), KMATH_OK);
    return flag;
}

std::uint32_t isDegenerate(const kmath_xform3Linear &X)
{
    std::uint32_t flag = 77;
    EXPECT_EQ(kmath_xform3Linear_getIsDegenerate(&X, &flag), KMATH_OK);
    return flag;
}

std::uint32_t compareEqual(const kmath_xform3Linear &p, const kmath_xform3Linear &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_xform3Linear_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

std::uint32_t epsilonEqual(const kmath_xform3Linear &p, const kmath_xform3Linear &q,
                           double tolerance)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_xform3Linear_epsilonEqual(&p, &q, tolerance, &equal), KMATH_OK);
    return equal;
}

// True where the inverse is refused: a determinant within 1e-150 of 0, or one that is below 1e-15
// of a cofactor.
bool isRefused(const kmath_matrix3 &m)
{
    const double first = m.m11 * m.m22 - m.m12 * m.m21;
    const double second = m.m01 * m.m22 - m.m02 * m.m21;
    const double third = m.m01 * m.m12 - m.m02 * m.m11;
    double det = m.m00 * first;
    det = det - m.m10 * second;
    det = det + m.m20 * third;
    if (std::fabs(det) <= 1e-150)
        return true;
    for (const double cofactor :
         {first, second, third, m.m10 * m.m22 - m.m12 * m.m20, m.m00 * m.m22 - m.m02 * m.m20,
          m.m00 * m.m12 - m.m02 * m.m10, m.m10 * m.m21 - m.m11 * m.m20,
          m.m00 * m.m21 - m.m01 * m.m20, m.m00 * m.m11 - m.m01 * m.m10})
        if (std::fabs(det) < 1e-15 * std::fabs(cofactor))
            return true;
    return false;
}

kmath_status turnTowards(const kmath_xform3Linear &X, const kmath_vect3 &v, kmath_xform3Linear &r)
{
    return kmath_xform3Linear_rotateXformAroundZAxisForXAxisToBeProjParallelToVector(&X, &v, &r);
}

TEST(Xform3, HasTwoNamesForTheIdentity)
{
    for (const auto set : {kmath_xform3Linear_initIdentity, kmath_xform3Linear_reset}) {
        kmath_xform3Linear r = untouched;
        EXPECT_EQ(set(&r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, identity));
    }
}

TEST(Xform3, IsBuiltFromMatrixAndTranslation)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&r, &a.matrix, &a.translation), KMATH_OK);
    EXPECT_TRUE(sameBits(r, a));
    EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&r, &r.matrix, &b.translation), KMATH_OK);
    EXPECT_TRUE(sameBits(r, {b.translation, a.matrix})) << "its own matrix";
    EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&r, &b.matrix, &r.translation), KMATH_OK);
    EXPECT_TRUE(sameBits(r, b)) << "its own translation";
}

TEST(Xform3, IsBuiltFromElementsByRowsAndThenTheTranslation)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initMatrixTransElements(&r, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12),
              KMATH_OK);
    EXPECT_TRUE(sameBits(r, {{10, 11, 12}, {1, 2, 3, 4, 5, 6, 7, 8, 9}}));
    EXPECT_EQ(r.matrix.m12, 6.0);
    EXPECT_EQ(r.translation.y, 11.0);
}

TEST(Xform3InitRotation, IsThatOfTheMatrixWithoutTranslation)
{
    const struct {
        kmath_status (*transform)(kmath_xform3Linear *, const radian *);
        kmath_status (*matrix)(kmath_matrix3 *, const radian *);
    } axes[] = {
        {kmath_xform3Linear_initRotationAroundXAxis, kmath_matrix3_initRotationAroundXAxis},
        {kmath_xform3Linear_initRotationAroundYAxis, kmath_matrix3_initRotationAroundYAxis},
        {kmath_xform3Linear_initRotationAroundZAxis, kmath_matrix3_initRotationAroundZAxis}};
    for (const auto &axis : axes)
        for (const double angle : {0.0, 0.3, -2.0, 40.0, 1e300, infinity, notANumber}) {
            const radian theta = {angle};
            kmath_xform3Linear r = untouched, expected = identity;
            axis.matrix(&expected.matrix, &theta);
            EXPECT_EQ(axis.transform(&r, &theta), KMATH_OK);
            EXPECT_TRUE(sameBits(r, expected)) << angle;
        }
}

TEST(Xform3InitRotation, TurnsRightHanded)
{
    const radian quarter = {pi / 2.0};
    kmath_xform3Linear X, Y, Z;
    kmath_xform3Linear_initRotationAroundXAxis(&X, &quarter);
    kmath_xform3Linear_initRotationAroundYAxis(&Y, &quarter);
    kmath_xform3Linear_initRotationAroundZAxis(&Z, &quarter);
    EXPECT_NEAR(mapped(X, {0, 1, 0}).z, 1.0, 1e-15);
    EXPECT_NEAR(mapped(Y, {0, 0, 1}).x, 1.0, 1e-15);
    EXPECT_NEAR(mapped(Z, {1, 0, 0}).y, 1.0, 1e-15);
}

TEST(Xform3InitInverse, IsTheInverseMatrixAndWhatItMakesOfTheNegatedTranslation)
{
    // x ↦ 2x + 1, y ↦ 4y + 2, z ↦ z/2 + 3
    const kmath_xform3Linear X = diagonal(2, 4, 0.5);
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &X), KMATH_OK);
    EXPECT_TRUE(compareEqual(r, {{-0.5, -0.5, -6.0}, {0.5, 0, 0, 0, 0.25, 0, 0, 0, 2}}));

    std::mt19937_64 generator(1);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear P = randomTransform(generator);
        const kmath_vect3 &t = P.translation;
        kmath_xform3Linear expected;
        ASSERT_EQ(kmath_matrix3_getInverse(&P.matrix, &expected.matrix), KMATH_OK);
        expected.translation = plainProduct(expected.matrix, {-t.x, -t.y, -t.z});
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &P), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected));
        EXPECT_EQ(kmath_xform3Linear_getInverse(&P, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected));
        kmath_xform3Linear inPlace = P;
        EXPECT_EQ(kmath_xform3Linear_initInverse(&inPlace, &inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, expected));
        inPlace = P;
        EXPECT_EQ(kmath_xform3Linear_getInverse(&inPlace, &inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, expected));
    }
}

TEST(Xform3InitInverse, LeavesTheResultOfASingularMatrix)
{
    for (const kmath_xform3Linear &X : {singular, diagonal(1e-16, 1, 1), diagonal(0, 0, 0)}) {
        kmath_xform3Linear r = untouched;
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &X), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, untouched));
        EXPECT_EQ(kmath_xform3Linear_getInverse(&X, &r), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, untouched));
        r = X;
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &r), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, X)) << "in place";
    }
}

// A matrix of the given condition, turned and scaled at random.
Eigen::Matrix3d conditioned(double condition, std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> exponent(0.0, 1.0), scale(-2.0, 2.0);
    const auto turn = [&] {
        const kmath_vect3 axis = randomVector(generator);
        return Eigen::AngleAxisd(6.0 * exponent(generator), eigenVector(axis).normalized())
            .toRotationMatrix();
    };
    const double middle = std::pow(condition, -exponent(generator));
    const Eigen::Vector3d values(1.0, middle, 1.0 / condition);
    const Eigen::Matrix3d M = turn() * values.asDiagonal() * turn();
    return M * std::pow(10.0, scale(generator));
}

TEST(Xform3InitInverse, IsAccurateToTheSquareOfTheCondition)
{
    using LongMatrix = Eigen::Matrix<long double, 3, 3>;
    std::mt19937_64 generator(2);
    std::uniform_real_distribution<double> logarithm(0.0, 7.0);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        const double condition = std::pow(10.0, logarithm(generator));
        const Eigen::Matrix3d M = conditioned(condition, generator);
        const kmath_xform3Linear X = fromEigen(M, randomVector(generator));
        kmath_xform3Linear r;
        ASSERT_EQ(kmath_xform3Linear_initInverse(&r, &X), KMATH_OK) << condition;
        const LongMatrix exact = M.cast<long double>().fullPivLu().inverse();
        const LongMatrix error = eigenMatrix(r).cast<long double>() - exact;
        const double relative = static_cast<double>(error.norm() / exact.norm());
        EXPECT_LE(relative, 50.0 * eps * condition * condition) << condition;
    }
}

TEST(Xform3InitInverse, RefusesByDeterminantAndCofactorsBeyondThat)
{
    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> logarithm(7.0, 20.0);
    int refused = 0, accepted = 0;
    for (int repeat = 0; repeat < 20000; ++repeat) {
        const double condition = std::pow(10.0, logarithm(generator));
        const kmath_xform3Linear X =
            fromEigen(conditioned(condition, generator), randomVector(generator));
        const bool expected = isRefused(X.matrix);
        kmath_xform3Linear r = untouched;
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &X), expected ? KMATH_ERR_SINGULAR : KMATH_OK);
        EXPECT_EQ(sameBits(r, untouched), expected);
        ++(expected ? refused : accepted);
    }
    EXPECT_GT(refused, 1000);
    EXPECT_GT(accepted, 1000);
}

TEST(Xform3InitCompose, AppliesTheSecondFirst)
{
    const kmath_xform3Linear r = composed(a, b);
    for (const kmath_vect3 &p : {kmath_vect3{0, 0, 0}, {1, -2, 3}, {0.1, 7, -5}}) {
        const kmath_vect3 once = mapped(r, p), twice = mapped(a, mapped(b, p));
        EXPECT_NEAR(once.x, twice.x, 1e-12);
        EXPECT_NEAR(once.y, twice.y, 1e-12);
        EXPECT_NEAR(once.z, twice.z, 1e-12);
    }
    EXPECT_TRUE(compareEqual(composed(a, identity), a));
    EXPECT_TRUE(compareEqual(composed(identity, a), a));
}

TEST(Xform3InitCompose, HasTheBitsOfThePlainSumsAlsoInPlace)
{
    std::mt19937_64 generator(4);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear p = randomTransform(generator), q = randomTransform(generator);
        const kmath_xform3Linear expected = plainComposition(p, q);
        EXPECT_TRUE(sameBits(composed(p, q), expected));
        kmath_xform3Linear r = p;
        EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &r, &q), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected)) << "r = a";
        r = q;
        EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &p, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected)) << "r = b";
        r = p;
        EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainComposition(p, p))) << "r = a = b";
    }
}

TEST(Xform3InitCompose3, ComposesFromTheLeftAlsoInPlace)
{
    const kmath_xform3Linear expected = plainComposition(plainComposition(a, b), c);
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initCompose3(&r, &a, &b, &c), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = a;
    kmath_xform3Linear_initCompose3(&r, &r, &b, &c);
    EXPECT_TRUE(sameBits(r, expected));
    r = b;
    kmath_xform3Linear_initCompose3(&r, &a, &r, &c);
    EXPECT_TRUE(sameBits(r, expected));
    r = c;
    kmath_xform3Linear_initCompose3(&r, &a, &b, &r);
    EXPECT_TRUE(sameBits(r, expected));

    const kmath_vect3 p = {1, -2, 3};
    const kmath_vect3 once = mapped(expected, p), thrice = mapped(a, mapped(b, mapped(c, p)));
    EXPECT_NEAR(once.x, thrice.x, 1e-11);
    EXPECT_NEAR(once.y, thrice.y, 1e-11);
    EXPECT_NEAR(once.z, thrice.z, 1e-11);
}

TEST(Xform3InitCompose4, ComposesFromTheLeftAlsoInPlace)
{
    const kmath_xform3Linear expected =
        plainComposition(plainComposition(plainComposition(a, b), c), d);
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(kmath_xform3Linear_initCompose4(&r, &a, &b, &c, &d), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = a;
    kmath_xform3Linear_initCompose4(&r, &r, &b, &c, &d);
    EXPECT_TRUE(sameBits(r, expected));
    r = b;
    kmath_xform3Linear_initCompose4(&r, &a, &r, &c, &d);
    EXPECT_TRUE(sameBits(r, expected));
    r = c;
    kmath_xform3Linear_initCompose4(&r, &a, &b, &r, &d);
    EXPECT_TRUE(sameBits(r, expected));
    r = d;
    kmath_xform3Linear_initCompose4(&r, &a, &b, &c, &r);
    EXPECT_TRUE(sameBits(r, expected));
}

TEST(Xform3, AgreesWithAnotherLibrary)
{
    std::mt19937_64 generator(5);
    for (int repeat = 0; repeat < 5000; ++repeat) {
        const kmath_xform3Linear p = randomTransform(generator), q = randomTransform(generator);
        const kmath_vect3 x = randomVector(generator);
        const Eigen::Affine3d P = eigenTransform(p), Q = eigenTransform(q);
        const Eigen::Vector3d X = eigenVector(x);
        EXPECT_LE(largestDifference(composed(p, q), P * Q), 2000.0 * eps);
        EXPECT_LE((eigenVector(mapped(p, x)) - P * X).cwiseAbs().maxCoeff(), 2000.0 * eps);
        kmath_vect3 r;
        EXPECT_EQ(kmath_xform3Linear_mapVector(&p, &x, &r), KMATH_OK);
        EXPECT_LE((eigenVector(r) - P.linear() * X).cwiseAbs().maxCoeff(), 2000.0 * eps);
    }
}

// What an inverse off by 50·ε·κ² of its length makes of the lengths of its operands.
TEST(Xform3, InvertsLikeAnotherLibraryInExtendedPrecision)
{
    using LongVector = Eigen::Matrix<long double, 3, 1>;
    std::mt19937_64 generator(15);
    int compared = 0;
    for (int repeat = 0; repeat < 5000; ++repeat) {
        const kmath_xform3Linear p = randomTransform(generator);
        const kmath_vect3 x = randomVector(generator);
        const Eigen::Vector3d values = eigenMatrix(p).jacobiSvd().singularValues();
        const double condition = values(0) / values(2);
        if (condition > 1e5)
            continue;
        ++compared;
        const Eigen::Matrix<long double, 3, 3> M = eigenMatrix(p).cast<long double>();
        const LongVector t = eigenVector(p.translation).cast<long double>();
        const LongVector X = eigenVector(x).cast<long double>();
        const auto solve = M.fullPivLu();
        const auto difference = [](const kmath_vect3 &actual, const LongVector &expected) {
            return static_cast<double>((eigenVector(actual).cast<long double>() - expected).norm());
        };
        const double tolerance = 50.0 * eps * condition * condition;
        const double longest = 1.0 / values(2); // of what a unit vector becomes
        const double shift = static_cast<double>(t.norm()), length = static_cast<double>(X.norm());

        kmath_xform3Linear inverse;
        ASSERT_EQ(kmath_xform3Linear_getInverse(&p, &inverse), KMATH_OK);
        EXPECT_LE(difference(inverse.translation, -solve.solve(t)), tolerance * longest * shift);
        kmath_vect3 r;
        EXPECT_EQ(kmath_xform3Linear_invMapPoint(&p, &x, &r), KMATH_OK);
        EXPECT_LE(difference(r, solve.solve(X - t)), tolerance * longest * (length + shift));
        EXPECT_EQ(kmath_xform3Linear_invMapVector(&p, &x, &r), KMATH_OK);
        EXPECT_LE(difference(r, solve.solve(X)), tolerance * longest * length);
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&p, &x, &r), KMATH_OK);
        const LongVector normal = M.transpose().fullPivLu().solve(X);
        EXPECT_LE(difference(r, normal.normalized()),
                  tolerance * longest * length / static_cast<double>(normal.norm()) + 4.0 * eps);
    }
    EXPECT_GT(compared, 4900);
}

TEST(Xform3CompareEqual, IsExactInEveryElement)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    EXPECT_EQ(compareEqual(a, b), 0u);
    for (int k = 0; k < elementCount; ++k) {
        kmath_xform3Linear other = a;
        element(other, k) = std::nextafter(element(a, k), 100.0);
        EXPECT_EQ(compareEqual(a, other), 0u) << k;
        element(other, k) = notANumber;
        EXPECT_EQ(compareEqual(other, other), 0u) << k;
        kmath_xform3Linear plus = a, minus = a;
        element(plus, k) = 0.0;
        element(minus, k) = -0.0;
        EXPECT_EQ(compareEqual(plus, minus), 1u) << k;
        element(plus, k) = element(minus, k) = infinity;
        EXPECT_EQ(compareEqual(plus, minus), 1u) << k;
    }
}

TEST(Xform3EpsilonEqual, TakesMatricesByElementAndTranslationsByDistance)
{
    EXPECT_EQ(epsilonEqual(a, a, 0.0), 1u) << "equal translations count at any tolerance";
    // 0 and 1/4 are exact, so the differences are, too.
    for (int k = 0; k < elementCount; ++k) {
        kmath_xform3Linear p = a, q = a;
        element(p, k) = 0.0;
        element(q, k) = -0.25;
        const bool inTranslation = k < 3;
        EXPECT_EQ(epsilonEqual(p, q, 0.25), inTranslation ? 0u : 1u) << k;
        EXPECT_EQ(epsilonEqual(p, q, std::nextafter(0.25, 1.0)), 1u) << k;
        EXPECT_EQ(epsilonEqual(p, q, std::nextafter(0.25, 0.0)), 0u) << k;
        EXPECT_EQ(epsilonEqual(p, q, notANumber), 0u) << k;
        EXPECT_EQ(epsilonEqual(p, q, infinity), 1u) << k;
        element(q, k) = notANumber;
        EXPECT_EQ(epsilonEqual(p, q, infinity), 0u) << k;
    }
    EXPECT_EQ(epsilonEqual(a, a, -1.0), 0u) << "no element is within a negative tolerance";
    EXPECT_EQ(epsilonEqual(a, a, notANumber), 0u);
    kmath_xform3Linear near = a;
    near.translation.x += 0.25;
    near.translation.y += 0.25;
    EXPECT_EQ(epsilonEqual(a, near, 0.3), 0u) << "the distance, not the components";
    EXPECT_EQ(epsilonEqual(a, near, 0.4), 1u);
}

TEST(Xform3GetIsIdentity, TakesNoTolerance)
{
    EXPECT_EQ(isIdentity(identity), 1u);
    for (int k = 0; k < elementCount; ++k) {
        kmath_xform3Linear X = identity;
        element(X, k) += k % 4 == 3 ? eps : 1e-300;
        EXPECT_EQ(isIdentity(X), 0u) << k;
        element(X, k) = notANumber;
        EXPECT_EQ(isIdentity(X), 0u) << k;
        if (k % 4 != 3) {
            element(X, k) = -0.0;
            EXPECT_EQ(isIdentity(X), 1u) << k;
        }
    }
}

TEST(Xform3GetIsDegenerate, ExcludesBothBounds)
{
    const double bound = 1e-10;
    EXPECT_EQ(isDegenerate(diagonal(bound, 1, 1)), 0u);
    EXPECT_EQ(isDegenerate(diagonal(1, -bound, 1)), 0u);
    EXPECT_EQ(isDegenerate(diagonal(0.99 * bound, 1, 1)), 1u);
    EXPECT_EQ(isDegenerate(diagonal(1, 1, std::nextafter(bound, 0.0))), 1u);
    EXPECT_EQ(isDegenerate(diagonal(1, 1, -std::nextafter(bound, 0.0))), 1u);
    EXPECT_EQ(isDegenerate(diagonal(1, 1, std::nextafter(bound, 1.0))), 0u);
    EXPECT_EQ(isDegenerate(singular), 1u);
    EXPECT_EQ(isDegenerate(diagonal(1e-4, 1e-4, 1e-4)), 1u) << "though it has an inverse";
    EXPECT_EQ(isDegenerate(identity), 0u);
    EXPECT_EQ(isDegenerate(diagonal(-1, 1, 1)), 0u);
    EXPECT_EQ(isDegenerate(diagonal(notANumber, 1, 1)), 0u);
    EXPECT_EQ(isDegenerate(diagonal(-infinity, 1, 1)), 0u);
}

TEST(Xform3MapPoint, AddsTheTranslationLastAlsoInPlace)
{
    const kmath_vect3 image = mapped(linear({1, 2, 3, 4, 5, 6, 7, 8, 10}), {1, -1, 2});
    EXPECT_TRUE(sameBits(image, {6, 13, 22}));
    std::mt19937_64 generator(6);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        const kmath_vect3 p = randomVector(generator);
        EXPECT_TRUE(sameBits(mapped(X, p), plainImage(X, p)));
        kmath_vect3 r = p;
        EXPECT_EQ(kmath_xform3Linear_mapPoint(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainImage(X, p)));
    }
}

TEST(Xform3MapVector, LeavesOutTheTranslationAlsoInPlace)
{
    std::mt19937_64 generator(7);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        const kmath_vect3 v = randomVector(generator);
        kmath_vect3 r;
        EXPECT_EQ(kmath_xform3Linear_mapVector(&X, &v, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(X.matrix, v)));
        r = v;
        EXPECT_EQ(kmath_xform3Linear_mapVector(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(X.matrix, v)));
    }
}

TEST(Xform3MapF, WidensMapsAndRounds)
{
    std::mt19937_64 generator(8);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        kmath_xform3Linear X = randomTransform(generator);
        X.matrix.m00 *= 0x1p40; // what the other terms add is lost in floats
        const kmath_vect3F p = narrowed(randomVector(generator));
        const kmath_vect3F point = narrowed(plainImage(X, widened(p)));
        const kmath_vect3F vector = narrowed(plainProduct(X.matrix, widened(p)));
        kmath_vect3F r;
        EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, point));
        EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, vector));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, point)) << "in place";
        r = p;
        EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, vector)) << "in place";
    }
}

TEST(Xform3MapF, CancelsInDoubleAndOverflowsToInfinity)
{
    const kmath_xform3Linear X = {{-0x1p30, 0, 0}, {0x1p30, 1, 0, 1e300, 0, 0, 0, 0, 1}};
    const kmath_vect3F p = {1.0f, 0.75f, 2.0f};
    kmath_vect3F r;
    EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &p, &r), KMATH_OK);
    EXPECT_EQ(r.x, 0.75f);
    EXPECT_EQ(r.y, std::numeric_limits<float>::infinity());
    EXPECT_EQ(r.z, 2.0f);
}

TEST(Xform3InvMap, UsesTheInverseAlsoInPlace)
{
    std::mt19937_64 generator(9);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        const kmath_vect3 p = randomVector(generator);
        const kmath_vect3F f = narrowed(p);
        kmath_xform3Linear inverse;
        ASSERT_EQ(kmath_xform3Linear_getInverse(&X, &inverse), KMATH_OK);
        const kmath_vect3 point = plainImage(inverse, p);
        const kmath_vect3 vector = plainProduct(inverse.matrix, p);
        const kmath_vect3F vectorF = narrowed(plainProduct(inverse.matrix, widened(f)));

        kmath_vect3 r;
        kmath_vect3F rF;
        EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, point));
        EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, vector));
        EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &f, &rF), KMATH_OK);
        EXPECT_TRUE(sameBits(rF, vectorF));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, point));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, vector));
        rF = f;
        EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &rF, &rF), KMATH_OK);
        EXPECT_TRUE(sameBits(rF, vectorF));
    }
}

TEST(Xform3, LeavesTheResultWhereTheMatrixIsSingular)
{
    const kmath_vect3 p = {1, 2, 3};
    const kmath_vect3F f = {1, 2, 3};
    for (const auto map : {kmath_xform3Linear_invMapPoint, kmath_xform3Linear_invMapVector,
                           kmath_xform3Linear_mapNormal_}) {
        kmath_vect3 r = {4, 5, 6};
        EXPECT_EQ(map(&singular, &p, &r), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, {4, 5, 6}));
    }
    for (const auto map : {kmath_xform3Linear_invMapVectorF, kmath_xform3Linear_mapNormalF_}) {
        kmath_vect3F r = {4, 5, 6};
        EXPECT_EQ(map(&singular, &f, &r), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, kmath_vect3F{4, 5, 6}));
    }
}

TEST(Xform3MapNormal, GoesByTheInverseTranspose)
{
    const kmath_xform3Linear X = diagonal(2, 2, 0.5);
    kmath_vect3 n = {0, 0, 1};
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &n, &n), KMATH_OK) << "in place";
    EXPECT_EQ(n.x, 0.0);
    EXPECT_EQ(n.y, 0.0);
    EXPECT_EQ(n.z, 1.0);
    // (1, 0, 1) becomes (1/2, 0, 2) / √(17/4).
    kmath_vect3 slanted = {1, 0, 1};
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &slanted, &slanted), KMATH_OK);
    EXPECT_NEAR(slanted.x, 1.0 / std::sqrt(17.0), 1e-15);
    EXPECT_NEAR(slanted.z, 4.0 / std::sqrt(17.0), 1e-15);
}

TEST(Xform3MapNormal, StaysPerpendicularToMappedTangents)
{
    std::mt19937_64 generator(10);
    const kmath_xform3Linear shear = linear({1, 3, -2, 0, 1, 5, 0, 0, 1});
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = repeat % 2 == 0 ? shear : randomTransform(generator);
        if (std::fabs(eigenMatrix(X).determinant()) < 1.0)
            continue;
        const kmath_vect3 s = randomVector(generator), t = randomVector(generator);
        kmath_vect3 n, mappedS, mappedT;
        kmath_vect3_cross(&s, &t, &n);
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &n, &n), KMATH_OK);
        kmath_xform3Linear_mapVector(&X, &s, &mappedS);
        kmath_xform3Linear_mapVector(&X, &t, &mappedT);
        EXPECT_NEAR(eigenVector(n).norm(), 1.0, 4.0 * eps);
        EXPECT_NEAR(eigenVector(n).dot(eigenVector(mappedS).normalized()), 0.0, 1e-10);
        EXPECT_NEAR(eigenVector(n).dot(eigenVector(mappedT).normalized()), 0.0, 1e-10);
    }
}

TEST(Xform3MapNormal, HasTheBitsOfTransposeAndUnit)
{
    std::mt19937_64 generator(11);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        const kmath_vect3 n = randomVector(generator);
        const kmath_vect3F f = narrowed(n);
        const auto expected = [&](const kmath_vect3 &normal) {
            kmath_matrix3 inverse;
            kmath_matrix3_getInverse(&X.matrix, &inverse);
            kmath_matrix3_transpose(&inverse, &inverse);
            const kmath_vect3 image = plainProduct(inverse, normal);
            double square = image.x * image.x;
            square = square + image.y * image.y;
            square = square + image.z * image.z;
            const double reciprocal = 1.0 / std::sqrt(square);
            return kmath_vect3{image.x * reciprocal, image.y * reciprocal, image.z * reciprocal};
        };
        kmath_vect3 r;
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &n, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected(n)));
        kmath_vect3F rF = f;
        EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&X, &rF, &rF), KMATH_OK) << "in place";
        EXPECT_TRUE(sameBits(rF, narrowed(expected(widened(f)))));
    }
}

TEST(Xform3MapNormal, RefusesOnlyTheLengthOfExactlyZero)
{
    const kmath_vect3 zero = {0, -0.0, 0}, underflowing = {1e-200, 0, 0}, tiny = {0, 1e-150, 0};
    kmath_vect3 r = {4, 5, 6};
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &zero, &r), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &underflowing, &r), KMATH_ERR_ZERO_LENGTH);
    EXPECT_TRUE(sameBits(r, {4, 5, 6}));
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &tiny, &r), KMATH_OK);
    EXPECT_EQ(r.y, 1.0);

    // The squares of 1e-40 vanish in floats, but the length is a double.
    const kmath_vect3F zeroF = {0, 0, -0.0f}, tinyF = {0, 0, 1e-40f};
    kmath_vect3F rF = {4, 5, 6};
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&identity, &zeroF, &rF), KMATH_ERR_ZERO_LENGTH);
    EXPECT_TRUE(sameBits(rF, kmath_vect3F{4, 5, 6}));
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&identity, &tinyF, &rF), KMATH_OK);
    EXPECT_EQ(rF.z, 1.0f);
}

TEST(Xform3MapNormal, VanishesWhereItsSquaresOverflow)
{
    const kmath_vect3 large = {1e200, -1e200, 0}, infinite = {infinity, -1, 0},
                      none = {1, notANumber, 0};
    kmath_vect3 r;
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &large, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, {0.0, -0.0, 0.0}));
    // The products 0·∞ of the transposed inverse leave no number, infinite lengths or not.
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &infinite, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, {notANumber, notANumber, notANumber}));
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &none, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, {notANumber, notANumber, notANumber}));

    // No float is long enough for that.
    const float most = std::numeric_limits<float>::max();
    const kmath_vect3F largeF = {0, most, -most};
    kmath_vect3F rF;
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&identity, &largeF, &rF), KMATH_OK);
    EXPECT_FLOAT_EQ(rF.y, static_cast<float>(std::sqrt(0.5)));
    EXPECT_EQ(rF.z, -rF.y);
}

TEST(Xform3MapVolume, IsPositiveForReflections)
{
    const auto volume = [](const kmath_xform3Linear &X, double v) {
        double out = notANumber;
        EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, v, &out), KMATH_OK);
        return out;
    };
    EXPECT_EQ(volume(diagonal(-1, 1, 1), 2.5), 2.5);
    EXPECT_EQ(volume(diagonal(2, 3, 4), 2.5), 60.0);
    EXPECT_EQ(volume(diagonal(2, -3, 4), -2.5), -60.0);
    EXPECT_EQ(volume(singular, 7.0), 0.0);
    EXPECT_EQ(volume(diagonal(1e200, 1e200, 1), 1.0), infinity);
    EXPECT_TRUE(std::isnan(volume(diagonal(0, 1, 1), infinity)));
    std::mt19937_64 generator(12);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        double det;
        kmath_matrix3_determinant(&X.matrix, &det);
        EXPECT_EQ(volume(X, 0.3), 0.3 * std::fabs(det));
    }
}

TEST(Xform3TurnTowards, PutsTheXAxisAlongTheProjection)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(turnTowards(identity, {0, 1, 5}, r), KMATH_OK);
    const radian quarter = {pi / 2.0};
    kmath_xform3Linear expected;
    kmath_xform3Linear_initRotationAroundZAxis(&expected, &quarter);
    EXPECT_TRUE(epsilonEqual(r, expected, 1e-15));

    std::mt19937_64 generator(13);
    std::uniform_real_distribution<double> angle(-3.0, 3.0);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        // A rotation, scaled, and somewhere.
        const radian x = {angle(generator)}, y = {angle(generator)};
        kmath_xform3Linear X, Y;
        kmath_xform3Linear_initRotationAroundXAxis(&X, &x);
        kmath_xform3Linear_initRotationAroundYAxis(&Y, &y);
        kmath_xform3Linear_initCompose(&X, &X, &Y);
        kmath_matrix3_scale(&X.matrix, 1.0 + std::fabs(angle(generator)));
        X.translation = randomVector(generator);
        const kmath_vect3 v = randomVector(generator);
        EXPECT_EQ(turnTowards(X, v, r), KMATH_OK);

        const Eigen::Matrix3d before = eigenMatrix(X), after = eigenMatrix(r);
        const Eigen::Vector3d normal = before.col(2).normalized();
        const Eigen::Vector3d projected =
            (eigenVector(v) - eigenVector(v).dot(normal) * normal).normalized();
        EXPECT_LE((after.col(0).normalized() - projected).norm(), 1e-12);
        EXPECT_NEAR(after.col(0).norm(), before.col(0).norm(), 1e-13);
        EXPECT_TRUE(after.col(2) == before.col(2)) << "the image of the z axis stays";
        EXPECT_TRUE(sameBits(r.translation, X.translation));

        kmath_xform3Linear inPlace = X;
        EXPECT_EQ(turnTowards(inPlace, v, inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, r));
        inPlace = X;
        inPlace.translation = v;
        EXPECT_EQ(turnTowards(inPlace, inPlace.translation, inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, {v, r.matrix})) << "towards its own translation";
    }
}

TEST(Xform3TurnTowards, ComposesWithTheRotationByTheTwoProducts)
{
    std::mt19937_64 generator(14);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_xform3Linear X = randomTransform(generator);
        const kmath_vect3 v = randomVector(generator);
        const kmath_matrix3 &M = X.matrix;
        const auto dot = [&](double x, double y, double z) {
            double sum = x * v.x;
            sum = sum + y * v.y;
            return sum + z * v.z;
        };
        const radian theta = {std::atan2(dot(M.m01, M.m11, M.m21), dot(M.m00, M.m10, M.m20))};
        kmath_xform3Linear Rz, r;
        kmath_xform3Linear_initRotationAroundZAxis(&Rz, &theta);
        EXPECT_EQ(turnTowards(X, v, r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainComposition(X, Rz)));
    }
}

TEST(Xform3TurnTowards, RefusesOnlyWhereBothProductsVanish)
{
    const double bound = 1e-12, below = std::nextafter(bound, 0.0);
    const auto expectRefused = [](const kmath_vect3 &v) {
        kmath_xform3Linear r = untouched;
        EXPECT_EQ(turnTowards(identity, v, r), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(r, untouched));
    };
    expectRefused({0, 0, 1});
    expectRefused({0, 0, 0});
    expectRefused({below, 0, 1});
    expectRefused({0, -below, 1});
    expectRefused({-below, below, -1e300});

    const struct {
        kmath_vect3 v;
        double angle;
    } accepted[] = {{{bound, 0, 1}, 0.0},         {{0, bound, 1}, pi / 2},
                    {{-bound, 0, 1}, pi},         {{0, -bound, 1}, -pi / 2},
                    {{bound, below, 1}, pi / 4},  {{-below, bound, 1}, 3 * pi / 4},
                    {{1e300, -1e300, 0}, -pi / 4}};
    for (const auto &[v, angle] : accepted) {
        kmath_xform3Linear r, expected;
        const radian theta = {angle};
        kmath_xform3Linear_initRotationAroundZAxis(&expected, &theta);
        EXPECT_EQ(turnTowards(identity, v, r), KMATH_OK);
        EXPECT_TRUE(epsilonEqual(r, expected, 1e-15)) << angle;
    }
}

// The bound is one of the products, not of directions: X counts with its size.
TEST(Xform3TurnTowards, ComparesProductsAsLargeAsTheTransformMakesThem)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(turnTowards(diagonal(1e-13, 1e-13, 1), {9, 9, 0}, r), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(r, untouched));
    EXPECT_EQ(turnTowards(diagonal(1e-13, 1e-13, 1), {-11, 9, 0}, r), KMATH_OK);
    EXPECT_EQ(turnTowards(diagonal(1e100, 1e100, 1), {0, 1e-111, 0}, r), KMATH_OK);
}

TEST(Xform3TurnTowards, PassesNumbersThatAreNone)
{
    kmath_xform3Linear r = untouched;
    EXPECT_EQ(turnTowards(identity, {notANumber, 0, 1}, r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.matrix.m00));
    EXPECT_EQ(turnTowards(identity, {infinity, 0, 1}, r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.matrix.m00)) << "0·∞ in the second product";
}

TEST(Xform3, EndsForAnyBits)
{
    const kmath_vect3 v = {1, -2, 3};
    const kmath_vect3F f = {1, -2, 3};
    for (const double wild : wildNumbers)
        for (int k = 0; k < elementCount; ++k) {
            SCOPED_TRACE(testing::Message() << wild << ' ' << k);
            kmath_xform3Linear X = a;
            element(X, k) = wild;
            EXPECT_TRUE(sameBits(mapped(X, v), plainImage(X, v)));
            EXPECT_TRUE(sameBits(composed(X, b), plainComposition(X, b)));
            EXPECT_TRUE(sameBits(composed(b, X), plainComposition(b, X)));
            kmath_vect3 r = v;
            kmath_vect3F rF = f;
            EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &f, &rF), KMATH_OK);
            EXPECT_TRUE(sameBits(rF, narrowed(plainImage(X, widened(f)))));
            EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &f, &rF), KMATH_OK);
            EXPECT_TRUE(sameBits(rF, narrowed(plainProduct(X.matrix, widened(f)))));

            const kmath_status status = isRefused(X.matrix) ? KMATH_ERR_SINGULAR : KMATH_OK;
            kmath_xform3Linear inverse = untouched;
            EXPECT_EQ(kmath_xform3Linear_getInverse(&X, &inverse), status);
            EXPECT_EQ(sameBits(inverse, untouched), status != KMATH_OK);
            EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &v, &r), status);
            EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &v, &r), status);
            EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &f, &rF), status);
            kmath_vect3 image = {};
            if (status == KMATH_OK) {
                kmath_matrix3_transpose(&inverse.matrix, &inverse.matrix);
                image = plainProduct(inverse.matrix, v);
            }
            const bool vanishes = eigenVector(image).squaredNorm() == 0.0;
            const kmath_status normal = status != KMATH_OK ? status
                                        : vanishes         ? KMATH_ERR_ZERO_LENGTH
                                                           : KMATH_OK;
            EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &v, &r), normal);
            EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&X, &f, &rF), normal);

            // An element changes one of the two products; the other keeps away from 0.
            kmath_xform3Linear turned;
            EXPECT_EQ(turnTowards(X, v, turned), KMATH_OK);
            double volume, det;
            EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, wild, &volume), KMATH_OK);
            kmath_matrix3_determinant(&X.matrix, &det);
            EXPECT_TRUE(support::sameBits(volume, wild * std::fabs(det)));
            EXPECT_EQ(isIdentity(X), 0u);
            EXPECT_EQ(isDegenerate(X), std::fabs(det) < 1e-10 ? 1u : 0u);
        }
}

TEST(Xform3, TakesAnyBitsInWhatItMaps)
{
    for (const double wild : wildNumbers)
        for (int k = 0; k < 3; ++k) {
            SCOPED_TRACE(testing::Message() << wild << ' ' << k);
            kmath_vect3 v = {1, -2, 3};
            (k == 0 ? v.x : k == 1 ? v.y : v.z) = wild;
            const kmath_vect3F f = narrowed(v);
            EXPECT_TRUE(sameBits(mapped(a, v), plainImage(a, v)));
            kmath_vect3 r;
            kmath_vect3F rF;
            EXPECT_EQ(kmath_xform3Linear_mapVector(&a, &v, &r), KMATH_OK);
            EXPECT_TRUE(sameBits(r, plainProduct(a.matrix, v)));
            EXPECT_EQ(kmath_xform3Linear_mapPointF(&a, &f, &rF), KMATH_OK);
            EXPECT_TRUE(sameBits(rF, narrowed(plainImage(a, widened(f)))));
            EXPECT_EQ(kmath_xform3Linear_invMapPoint(&a, &v, &r), KMATH_OK);
            EXPECT_EQ(kmath_xform3Linear_invMapVector(&a, &v, &r), KMATH_OK);
            EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&a, &f, &rF), KMATH_OK);
            EXPECT_EQ(kmath_xform3Linear_mapNormal_(&a, &v, &r), KMATH_OK);
            EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&a, &f, &rF), KMATH_OK);
            kmath_xform3Linear turned;
            turnTowards(a, v, turned);
            EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&turned, &a.matrix, &v), KMATH_OK);
            EXPECT_TRUE(sameBits(turned, {v, a.matrix}));
        }
}

TEST(Xform3, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_xform3Linear r = a;
    kmath_vect3 v = {1, 2, 3};
    kmath_vect3F f = {1, 2, 3};
    double volume;
    std::uint32_t flag;
    const kmath_matrix3 &m = a.matrix;
    const kmath_vect3 &t = a.translation;
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_initIdentity(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_reset(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_initMatrixTrans(nullptr, &m, &t); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_initMatrixTrans(&r, nullptr, &t); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_initMatrixTrans(&r, &m, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] {
                  kmath_xform3Linear_initMatrixTransElements(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0,
                                                             1, 2);
              }),
              0);
    for (int missing = 0; missing < 4; ++missing) {
        const kmath_xform3Linear *in[3] = {&a, &b, &c};
        if (missing > 0)
            in[missing - 1] = nullptr;
        EXPECT_NE(assertedLine([&] {
                      kmath_xform3Linear_initCompose3(missing == 0 ? nullptr : &r, in[0], in[1],
                                                      in[2]);
                  }),
                  0)
            << missing;
    }
    for (int missing = 0; missing < 5; ++missing) {
        const kmath_xform3Linear *in[4] = {&a, &b, &c, &d};
        if (missing > 0)
            in[missing - 1] = nullptr;
        EXPECT_NE(assertedLine([&] {
                      kmath_xform3Linear_initCompose4(missing == 0 ? nullptr : &r, in[0], in[1],
                                                      in[2], in[3]);
                  }),
                  0)
            << missing;
    }
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_getIsIdentity(nullptr, &flag); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_getIsIdentity(&a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVector(nullptr, &v, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVector(&a, nullptr, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVector(&a, &v, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVectorF(nullptr, &f, &f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVectorF(&a, nullptr, &f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVectorF(&a, &f, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVolume(nullptr, 1.0, &volume); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_xform3Linear_mapVolume(&a, 1.0, nullptr); }), 0);
}

TEST(Xform3, AssertsNothingElsewhere)
{
    kmath_xform3Linear r = a;
    kmath_vect3 v = {1, 2, 3};
    kmath_vect3F f = {1, 2, 3};
    std::uint32_t flag;
    const radian angle = {1.0};
    for (const auto rotate :
         {kmath_xform3Linear_initRotationAroundXAxis, kmath_xform3Linear_initRotationAroundYAxis,
          kmath_xform3Linear_initRotationAroundZAxis}) {
        EXPECT_TRUE(reportsNothing([&] { rotate(nullptr, &angle); }));
        EXPECT_TRUE(reportsNothing([&] { rotate(&r, nullptr); }));
    }
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_initInverse(nullptr, &a); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_initInverse(&r, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_getInverse(nullptr, &r); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_getInverse(&a, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_initCompose(nullptr, &a, &b); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_initCompose(&r, nullptr, &b); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_initCompose(&r, &a, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_compareEqual(nullptr, &b, &flag); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_compareEqual(&a, nullptr, &flag); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_compareEqual(&a, &a, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_epsilonEqual(nullptr, &b, 1.0, &flag); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_epsilonEqual(&a, nullptr, 1.0, &flag); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_epsilonEqual(&a, &a, 1.0, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_getIsDegenerate(nullptr, &flag); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3Linear_getIsDegenerate(&a, nullptr); }));
    const auto turn = kmath_xform3Linear_rotateXformAroundZAxisForXAxisToBeProjParallelToVector;
    EXPECT_TRUE(reportsNothing([&] { turn(nullptr, &v, &r); }));
    EXPECT_TRUE(reportsNothing([&] { turn(&a, nullptr, &r); }));
    EXPECT_TRUE(reportsNothing([&] { turn(&a, &v, nullptr); }));
    for (const auto map : {kmath_xform3Linear_mapPoint, kmath_xform3Linear_invMapPoint,
                           kmath_xform3Linear_invMapVector, kmath_xform3Linear_mapNormal_}) {
        EXPECT_TRUE(reportsNothing([&] { map(nullptr, &v, &v); }));
        EXPECT_TRUE(reportsNothing([&] { map(&a, nullptr, &v); }));
        EXPECT_TRUE(reportsNothing([&] { map(&a, &v, nullptr); }));
    }
    for (const auto map : {kmath_xform3Linear_mapPointF, kmath_xform3Linear_invMapVectorF,
                           kmath_xform3Linear_mapNormalF_}) {
        EXPECT_TRUE(reportsNothing([&] { map(nullptr, &f, &f); }));
        EXPECT_TRUE(reportsNothing([&] { map(&a, nullptr, &f); }));
        EXPECT_TRUE(reportsNothing([&] { map(&a, &f, nullptr); }));
    }
}

} // namespace
