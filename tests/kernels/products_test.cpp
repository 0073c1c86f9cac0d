#include "support/matrices.hpp"

#include "oracle/products.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

struct Shape {
    int m, p, n;
};

constexpr int sizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33};

template <class Body> void forAwkwardShapes(Body body)
{
    for (const int m : sizes)
        for (const int p : sizes)
            for (const int n : sizes)
                body(Shape{m, p, n});
}

std::ostream &operator<<(std::ostream &out, const Shape &shape)
{
    return out << shape.m << " x " << shape.p << " x " << shape.n;
}

TEST(ProductKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    forAwkwardShapes([](const Shape &shape) {
        const Matrix A = randomMatrix(shape.m, shape.p, 1);
        const Matrix B = randomMatrix(shape.p, shape.n, 2);
        for (const kmath::Kernels *set : runnableKernels()) {
            Matrix C(shape.m, shape.n);
            set->product(C, A, B);
            EXPECT_TRUE(sameBits(C, oracle::product(A, B))) << set->name << ' ' << shape;
        }
    });
}

TEST(TproductKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    forAwkwardShapes([](const Shape &shape) {
        const Matrix A = randomMatrix(shape.p, shape.m, 1);
        const Matrix B = randomMatrix(shape.p, shape.n, 2);
        for (const kmath::Kernels *set : runnableKernels()) {
            Matrix C(shape.m, shape.n);
            set->Tproduct(C, A, B);
            EXPECT_TRUE(sameBits(C, oracle::Tproduct(A, B))) << set->name << ' ' << shape;
        }
    });
}

TEST(ProductTKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    forAwkwardShapes([](const Shape &shape) {
        const Matrix A = randomMatrix(shape.m, shape.p, 1);
        const Matrix B = randomMatrix(shape.n, shape.p, 2);
        for (const kmath::Kernels *set : runnableKernels()) {
            Matrix C(shape.m, shape.n);
            set->productT(C, A, B);
            EXPECT_TRUE(sameBits(C, oracle::productT(A, B))) << set->name << ' ' << shape;
        }
    });
}

} // namespace
