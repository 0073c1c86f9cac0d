// The minimisation problems against their published figures, and their derivatives against
// quotients.
#include "support/minimisation_problems.hpp"

#include <gtest/gtest.h>

using support::MinimisationProblem;
using support::minimisationProblems;

namespace
{

double scaleOf(const MinimisationProblem &problem, std::size_t j)
{
    return problem.minimiser[j] == 0.0 ? 1.0 : std::fabs(problem.minimiser[j]);
}

TEST(MinimisationProblems, AreEighteen) { EXPECT_EQ(minimisationProblems().size(), 18u); }

TEST(MinimisationProblems, HaveTheirPublishedValueAtTheStart)
{
    for (const MinimisationProblem &problem : minimisationProblems())
        EXPECT_NEAR(problem.value(problem.start.data()) / problem.startValue, 1.0, 1e-9)
            << problem.name;
}

TEST(MinimisationProblems, HaveTheirPublishedMinimum)
{
    for (const MinimisationProblem &problem : minimisationProblems()) {
        const double value = problem.value(problem.minimiser.data());
        if (problem.minimum == 0.0)
            EXPECT_LE(value, 1e-24) << problem.name;
        else
            EXPECT_NEAR(value / problem.minimum, 1.0, 1e-12) << problem.name;
    }
}

// In units of the minimiser the gradient vanishes beside the sizes of the terms that it is made of.
TEST(MinimisationProblems, AreStationaryAtTheirMinimum)
{
    for (const MinimisationProblem &problem : minimisationProblems()) {
        const std::vector<double> gradient = problem.gradient(problem.minimiser.data());
        for (std::size_t j = 0; j < problem.n(); ++j) {
            double size = 0.0;
            for (const support::Dual &f : problem.slopes(problem.minimiser.data()))
                size += std::fabs(f.slope[j]) * (std::fabs(f.value) + 1e-3);
            EXPECT_LE(std::fabs(gradient[j]), 1e-11 * size) << problem.name << ' ' << j;
        }
    }
}

TEST(MinimisationProblems, RiseAwayFromTheirMinimum)
{
    for (const MinimisationProblem &problem : minimisationProblems())
        for (std::size_t j = 0; j < problem.n(); ++j)
            for (const double step : {-1e-3, 1e-3}) {
                std::vector<double> x = problem.minimiser;
                x[j] += step * scaleOf(problem, j);
                EXPECT_GT(problem.value(x.data()), problem.minimum) << problem.name << ' ' << j;
            }
}

TEST(MinimisationProblems, HaveTheDerivativesOfTheirResiduals)
{
    for (const MinimisationProblem &problem : minimisationProblems()) {
        const std::vector<support::Dual> exact = problem.slopes(problem.start.data());
        std::vector<double> above(exact.size()), below(exact.size());
        for (std::size_t j = 0; j < problem.n(); ++j) {
            const double h = 1e-6 * std::fmax(1.0, std::fabs(problem.start[j]));
            std::vector<double> x = problem.start;
            x[j] = problem.start[j] + h;
            problem.residuals(x.data(), above.data());
            x[j] = problem.start[j] - h;
            problem.residuals(x.data(), below.data());
            for (std::size_t i = 0; i < exact.size(); ++i) {
                const double quotient = (above[i] - below[i]) / (2.0 * h);
                const double size = std::fabs(quotient) + std::fabs(exact[i].value) + 1.0;
                EXPECT_NEAR(exact[i].slope[j], quotient, 1e-7 * size)
                    << problem.name << ' ' << i << ' ' << j;
            }
        }
    }
}

} // namespace
