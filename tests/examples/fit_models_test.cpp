// The models of the reference data sets: derivatives against differences, and the certified
// residual sums as an independent check of both the formulas and the figures in data/.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

extern "C" {
#include "examples/fit/data_set.h"
}

namespace
{

class FitModels : public testing::TestWithParam<int>
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(readDataSet(&set, &models[GetParam()], DATA_FOLDER));
        b.assign(set.certified, set.certified + set.model->nParameters);
    }
    void TearDown() override { releaseDataSet(&set); }

    double valueAt(const std::vector<double> &parameters, int32_t k) const
    {
        double slope[MAX_PARAMETERS];
        return set.model->value(parameters.data(), predictors(&set, k), slope);
    }

    // Fourth-order central difference by parameter j at observation k.
    double difference(size_t j, int32_t k, double h) const
    {
        const auto moved = [&](double steps) {
            std::vector<double> parameters = b;
            parameters[j] += steps * h;
            return valueAt(parameters, k);
        };
        return (8 * (moved(1) - moved(-1)) - (moved(2) - moved(-2))) / (12 * h);
    }

    void expectDerivativesToAgree() const
    {
        for (size_t j = 0; j < b.size(); ++j) {
            const double h = 1e-4 * std::fabs(b[j]);
            double largest = 0, noise = 0, worst = 0;
            for (int32_t k = 0; k < set.nObservations; ++k) {
                double slope[MAX_PARAMETERS];
                const double value = set.model->value(b.data(), predictors(&set, k), slope);
                largest = std::max(largest, std::fabs(slope[j]));
                noise = std::max(noise, 1e-14 * std::fabs(value) / h);
                worst = std::max(worst, std::fabs(slope[j] - difference(j, k, h)));
            }
            EXPECT_LE(worst, 1e-6 * largest + noise) << set.model->set << " b" << j + 1;
            EXPECT_GT(largest, 1e2 * noise) << "the check would be blind";
        }
    }

    DataSet set;
    std::vector<double> b;
};

TEST_P(FitModels, HaveExactDerivativesAtTheCertifiedParameters) { expectDerivativesToAgree(); }

TEST_P(FitModels, HaveExactDerivativesAtTheNearStart)
{
    b.assign(set.start[1], set.start[1] + set.model->nParameters);
    expectDerivativesToAgree();
}

TEST_P(FitModels, ReproduceTheCertifiedResidualSum)
{
    EXPECT_NEAR(residualSumAt(&set, b.data()) / set.residualSum, 1.0, 1e-9);
}

TEST_P(FitModels, HaveAMinimumAtTheCertifiedParameters)
{
    for (size_t j = 0; j < b.size(); ++j)
        for (const double side : {-0.5, 0.5}) {
            std::vector<double> moved = b;
            moved[j] += side * set.deviation[j];
            EXPECT_GT(residualSumAt(&set, moved.data()), set.residualSum)
                << set.model->set << " b" << j + 1;
        }
}

INSTANTIATE_TEST_SUITE_P(EverySet, FitModels, testing::Range(0, int{MODEL_COUNT}),
                         [](const auto &set) { return std::string(models[set.param].set); });

const Model &modelOf(const std::string &name)
{
    return *std::find_if(models, models + MODEL_COUNT,
                         [&](const Model &model) { return model.set == name; });
}

TEST(SortTerms, OrdersExponentialsByRate)
{
    double b[] = {1, 5, 2, 3, 3, 4};
    sortTerms(&modelOf("Lanczos3"), b);
    EXPECT_EQ(std::vector<double>(b, b + 6), (std::vector<double>{2, 3, 3, 4, 1, 5}));
}

TEST(SortTerms, LeavesTheConstantOfTwoExponentialsInPlace)
{
    double b[] = {9, 1, 2, 0.02, 0.01};
    sortTerms(&modelOf("MGH17"), b);
    EXPECT_EQ(std::vector<double>(b, b + 5), (std::vector<double>{9, 2, 1, 0.01, 0.02}));
}

TEST(SortTerms, OrdersCyclesByPeriod)
{
    double b[] = {1, 2, 3, 44, 5, 6, 26, 8, 9};
    sortTerms(&modelOf("ENSO"), b);
    EXPECT_EQ(std::vector<double>(b, b + 9), (std::vector<double>{1, 2, 3, 26, 8, 9, 44, 5, 6}));
}

TEST(SortTerms, LeavesAModelWithoutExchangeableTermsAlone)
{
    double b[] = {3, 2, 1};
    sortTerms(&modelOf("Rat42"), b);
    EXPECT_EQ(std::vector<double>(b, b + 3), (std::vector<double>{3, 2, 1}));
}

TEST(FitModelResponse, IsTheLogarithmForNelsonOnly)
{
    EXPECT_EQ(response(&modelOf("Nelson"), 7.5), std::log(7.5));
    EXPECT_EQ(response(&modelOf("Rat42"), 7.5), 7.5);
}

} // namespace
