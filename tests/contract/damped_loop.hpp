// The loop of the damped least-squares drivers written out on plain arrays, as problems.hpp states
// their problems.
#pragma once

#include "contract/problems.hpp"

#include <cmath>
#include <limits>
#include <vector>

namespace textbook
{

enum class Exit { CostReached, SolveRefused, TryCap, SmallDecrease, IterationCap };

/// Its course under a driver, which says how a step is found. Only the condition number is the
/// library's, and what a driver takes from it.
class NaiveDamped
{
  public:
    struct Failed {
        kmath_status status;
    };

    NaiveDamped(const Problem &of, const kmath_levmarqsolve &tuning, double raise)
        : problem(of), settings(tuning), raisedBy(raise), n(static_cast<int>(of.start.size())),
          m(of.nResiduals), lambda(tuning.lambda), p(of.start), r(static_cast<std::size_t>(m)),
          trial(of.start.size()), gradient(1, n), normal(n, n)
    {
    }
    virtual ~NaiveDamped() = default;

    kmath_status run(double *finalCost)
    {
        try {
            *finalCost = minimize();
            return KMATH_OK;
        } catch (const Failed &failed) {
            return failed.status;
        }
    }

    const Problem &problem;
    const kmath_levmarqsolve &settings;
    const double raisedBy;
    const int n, m;
    double lambda;
    std::vector<double> p, r, trial;
    Matrix gradient, normal;
    Exit exit = Exit::CostReached;
    int evaluations = 0, jacobians = 0, rejected = 0;

  protected:
    /// Solves with the damped normal matrix as it stands; false where the driver has no step.
    virtual bool findStep(std::vector<double> &step) = 0;

    bool solve(std::vector<double> &x) const
    {
        double condition = std::numeric_limits<double>::quiet_NaN(), parity;
        if (kmath_nmmatrix_conditionNumber(&normal, 1, &condition) != KMATH_OK ||
            !(settings.maxConditionNumber >= condition))
            return false;
        Matrix lu = normal;
        std::vector<std::int32_t> perm;
        if (!factorise(lu, perm, parity, false))
            return false;
        x.assign(gradient->rows[0], gradient->rows[0] + n);
        substitute(lu, perm, x.data());
        return true;
    }

  private:
    static double &at(std::vector<double> &v, int i) { return v[static_cast<std::size_t>(i)]; }

    double minimize()
    {
        const double costBound = settings.costTolerance * settings.costTolerance;
        const double dropBound = settings.decreaseTolerance * settings.decreaseTolerance;
        double cost = costAt(p);
        for (int iteration = 0; cost > costBound; ++iteration) {
            if (iteration >= settings.maxIterations) {
                exit = Exit::IterationCap;
                break;
            }
            computeJacobian();
            int tries = 0;
            trial = p;
            double newCost;
            do {
                std::vector<double> step;
                addToDiagonal(lambda);
                const bool found = findStep(step);
                addToDiagonal(-lambda);
                if (!found) {
                    exit = Exit::SolveRefused;
                    return cost;
                }
                for (int j = 0; j < n; ++j)
                    at(trial, j) -= at(step, j);
                newCost = costAt(trial);
                if (newCost > cost) {
                    ++rejected;
                    lambda *= raisedBy;
                    trial = p;
                } else {
                    lambda *= 0.1;
                }
                if (++tries == settings.maxTries) {
                    exit = Exit::TryCap;
                    return newCost;
                }
            } while (!(newCost <= cost));
            p = trial;
            const double decrease = cost - newCost;
            cost = newCost;
            if (std::fabs(decrease) < dropBound) {
                exit = Exit::SmallDecrease;
                break;
            }
        }
        return cost;
    }

    void evaluate(const std::vector<double> &where, std::vector<double> &into)
    {
        ++evaluations;
        const kmath_status status = problem.evaluate(where.data(), into.data(), {});
        if (KMATH_IS_FAILURE(status))
            throw Failed{status};
    }

    double costAt(const std::vector<double> &where)
    {
        evaluate(where, r);
        double sum = 0.0;
        for (const double value : r)
            sum += value * value;
        return sum;
    }

    void computeJacobian()
    {
        ++jacobians;
        const double h = settings.jacobianStep, inverse = 1.0 / h;
        Matrix J(n, m);
        std::vector<double> q = p, s(r);
        for (int j = 0; j < n; ++j) {
            const double saved = at(q, j);
            at(q, j) = saved + h;
            evaluate(q, s);
            for (int k = 0; k < m; ++k)
                J(j, k) = (at(s, k) - at(r, k)) * inverse;
            at(q, j) = saved;
        }
        gradient = timesTransposed(rowOf(r), J);
        normal = timesTransposed(J, J);
    }

    void addToDiagonal(double damping)
    {
        for (int i = 0; i < n; ++i)
            normal(i, i) += damping;
    }
};

} // namespace textbook
