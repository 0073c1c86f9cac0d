// Measures how far the minimisers come on published problems and prints it as tables in Markdown,
// one row a problem: the least-squares solvers on the residuals, the others on the sum of their
// squares.
//
//   minimiser_accuracy [RUNS]    nothing is random, so more than one run is as good as one
//
// Fails when a row breaks the limit that the method sets.
#include "accuracy/report.hpp"
#include "support/minimisation_problems.hpp"

#include <kmath/solvers.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <iterator>

using namespace accuracy;
using support::MinimisationProblem;

namespace
{

/// What may differ from the defaults of the records. A minimiser reads what concerns it.
struct Settings {
    std::int32_t maxIterations;
    std::int32_t maxTries = 15;
    double ftol = 1e-10;
    double zeps = 1e-10;
    double jacobianStep = 1e-8;
    bool inUnits = false; ///< parameters in units of their size, F in units of its start value
};

constexpr Settings solverDefaults = {.maxIterations = 100};
constexpr Settings conjugateDefaults = {.maxIterations = 200};

struct Outcome {
    kmath_status status = KMATH_OK;
    double missedBy = 0.0; ///< (F − F*)/F*, or F where F* is 0
    int evaluations = 0, slopes = 0;

    std::string ended() const { return KMATH_IS_FAILURE(status) ? "maxIterations" : "converged"; }
};

/// A problem as the callbacks see it, x = units·u, with the count of their calls.
class Task
{
  public:
    Task(const MinimisationProblem &itsProblem, const Settings &settings)
        : problem(itsProblem), units(problem.n(), 1.0),
          valueUnit(settings.inUnits ? problem.startValue : 1.0)
    {
        for (std::size_t j = 0; settings.inUnits && j < units.size(); ++j) {
            const double size =
                std::max(std::fabs(problem.start[j]), std::fabs(problem.minimiser[j]));
            units[j] = size > 0.0 ? size : 1.0;
        }
    }

    std::int32_t n() const { return static_cast<std::int32_t>(problem.n()); }
    double start(std::size_t j) const { return problem.start[j] / units[j]; }

    std::vector<double> x(const double *u) const
    {
        std::vector<double> scaled(u, u + units.size());
        for (std::size_t j = 0; j < scaled.size(); ++j)
            scaled[j] *= units[j];
        return scaled;
    }

    void residuals(const double *u, double *f)
    {
        ++evaluations;
        problem.residuals(x(u).data(), f);
    }
    double value(const double *u)
    {
        ++evaluations;
        return problem.value(x(u).data()) / valueUnit;
    }
    void gradient(const double *u, double *g)
    {
        ++slopes;
        const std::vector<double> byX = problem.gradient(x(u).data());
        for (std::size_t j = 0; j < units.size(); ++j)
            g[j] = byX[j] * units[j] / valueUnit;
    }
    Outcome outcome(kmath_status status, const double *u) const
    {
        const double reached = problem.value(x(u).data());
        return {status,
                problem.minimum == 0.0 ? reached
                                       : std::fabs(reached - problem.minimum) / problem.minimum,
                evaluations, slopes};
    }

    const MinimisationProblem &problem;

  private:
    std::vector<double> units;
    double valueUnit;
    int evaluations = 0, slopes = 0;
};

/// The start as the row of parameters that a solver is set to.
class StartRow
{
  public:
    explicit StartRow(const Task &task)
    {
        demand(kmath_nmmatrix_constructRowsCols(&row, 1, task.n()));
        for (std::int32_t j = 0; j < task.n(); ++j)
            row.rows[0][j] = task.start(static_cast<std::size_t>(j));
    }
    StartRow(const StartRow &) = delete;
    StartRow &operator=(const StartRow &) = delete;
    ~StartRow() { kmath_nmmatrix_destruct(&row); }

    const kmath_nmmatrix *operator&() const { return &row; }

  private:
    kmath_nmmatrix row;
};

// Least squares.

kmath_status residuals(kmath_levmarqsolve *, const kmath_nmmatrix *u, kmath_nmmatrix *f, void *task)
{
    static_cast<Task *>(task)->residuals(u->rows[0], f->rows[0]);
    return KMATH_OK;
}

using LeastSquaresDriver = kmath_status (*)(kmath_levmarqsolve *, double *);

template <LeastSquaresDriver minimize>
Outcome leastSquares(const MinimisationProblem &problem, const Settings &settings)
{
    Task task(problem, settings);
    const StartRow start(task);
    kmath_levmarqsolve solver;
    demand(kmath_levmarqsolve_construct(&solver));
    demand(kmath_levmarqsolve_setSys(&solver, residuals, kmath_levmarqsolve_compnumericjacob,
                                     problem.m, task.n(), &start, 1, &task));
    solver.maxIterations = settings.maxIterations;
    solver.maxTries = settings.maxTries;
    double cost = 0.0;
    demand(minimize(&solver, &cost));
    const Outcome outcome = task.outcome(KMATH_OK, solver.params.rows[0]);
    demand(kmath_levmarqsolve_destruct(&solver));
    return outcome;
}

constexpr auto levmarqsolve = leastSquares<kmath_levmarqsolve_minimize>;
constexpr auto linsolve = leastSquares<kmath_linsolve_minimize>;

// One function of many variables, with its gradient. The element i of a vector is data[i], from 1.

kmath_status valueAt(const kmath_nvector *u, double *value, void *task)
{
    *value = static_cast<Task *>(task)->value(u->data + 1);
    return KMATH_OK;
}

kmath_status gradientAt(const kmath_nvector *u, kmath_nvector *gradient, void *task)
{
    static_cast<Task *>(task)->gradient(u->data + 1, gradient->data + 1);
    return KMATH_OK;
}

Outcome frprmn(const MinimisationProblem &problem, const Settings &settings)
{
    Task task(problem, settings);
    kmath_frprmn minimizer;
    kmath_nvector point;
    demand(kmath_frprmn_construct(&minimizer));
    demand(kmath_nvector_construct(&point));
    demand(kmath_nvector_resize(&point, task.n()));
    for (std::int32_t j = 0; j < task.n(); ++j)
        point.data[j + 1] = task.start(static_cast<std::size_t>(j));
    demand(kmath_frprmn_setup(&minimizer, valueAt, gradientAt, task.n(), &point, settings.ftol,
                              &task));
    minimizer.maxIterations = settings.maxIterations;
    minimizer.zeps = settings.zeps;
    double value = 0.0;
    const kmath_status status = kmath_frprmn_minimize(&minimizer, &point, &value);
    if (status != KMATH_ERR_BAD_DIMENSIONS)
        demand(status);
    // The record's own point is also there when the iterations have run out.
    const Outcome outcome = task.outcome(status, minimizer.p.data + 1);
    demand(kmath_nvector_destruct(&point));
    demand(kmath_frprmn_destruct(&minimizer));
    return outcome;
}

// And without.

kmath_status objective(kmath_iternumsolve *solver, const kmath_nmmatrix *u, double *value)
{
    *value = static_cast<Task *>(solver->solver.userData)->value(u->rows[0]);
    return KMATH_OK;
}

Outcome iternumsolve(const MinimisationProblem &problem, const Settings &settings)
{
    Task task(problem, settings);
    const StartRow start(task);
    kmath_iternumsolve solver;
    demand(kmath_iternumsolve_construct(&solver));
    solver.objective = objective;
    demand(kmath_levmarqsolve_setSys(&solver.solver, kmath_iternumsolve_levmarqsolve_func,
                                     kmath_levmarqsolve_compnumericjacob, task.n(), task.n(),
                                     &start, 1, &task));
    solver.solver.maxIterations = settings.maxIterations;
    solver.solver.maxTries = settings.maxTries;
    solver.solver.jacobianStep = settings.jacobianStep;
    double value = 0.0;
    demand(kmath_iternumsolve_minimize(&solver, &value));
    const Outcome outcome = task.outcome(KMATH_OK, solver.solver.params.rows[0]);
    demand(kmath_iternumsolve_destruct(&solver));
    return outcome;
}

/// A problem on which a minimiser ends short of the minimum, and how far it must come all the same.
struct Shortfall {
    const char *problem;
    double limit;
};

template <class Shortfalls>
Cell missedBy(const Outcome &outcome, const std::string &problem, const Shortfalls &shortfalls)
{
    for (const Shortfall &shortfall : shortfalls)
        if (problem == shortfall.problem)
            return {outcome.missedBy, shortfall.limit};
    return outcome.missedBy;
}

std::string count(int calls) { return std::to_string(calls); }

// The valley of Powell's badly scaled function: F = (e^−x₂ − 1e-4)² where x₁·x₂ = 1e-4. It is below
// 1e-6 from x₂ = 6.8 on.
constexpr double powellsValley = 1e-6;
// Wood's function has a saddle of 7.877 on the way.
constexpr double woodsSaddle = 7.877;

// Where both parameters of Jennrich's and Sampson's function go to −∞, F is Σ (2 + 2i)² = 2020.
constexpr double jennrichsPlateau = 2020.0 / 124.3 - 1.0;
// Beale's function sinks to 0.452 as x₁ goes to −∞ and x₂ to 1; at the start it is 14.
constexpr double bealesPlain = 1.0;

constexpr Shortfall leastSquaresShortfalls[] = {{"Powell, badly scaled", powellsValley},
                                                {"Wood", woodsSaddle}};
constexpr Shortfall conjugateShortfalls[] = {{"Powell singular", 1e-5},
                                             {"Brown, badly scaled", 1e12},
                                             {"Powell, badly scaled", powellsValley},
                                             {"Jennrich, Sampson", jennrichsPlateau},
                                             {"Osborne 1", 1.0}};
constexpr Shortfall differencesShortfalls[] = {
    {"Brown, badly scaled", 1e12}, {"Powell, badly scaled", 1.14}, {"Osborne 1", 1.0}};

std::vector<MinimisationProblem> problemsWithMinimum(bool zero)
{
    std::vector<MinimisationProblem> chosen;
    for (MinimisationProblem &problem : support::minimisationProblems())
        if ((problem.minimum == 0.0) == zero)
            chosen.push_back(std::move(problem));
    return chosen;
}

std::string minimumText(const MinimisationProblem &problem)
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.10g", problem.minimum);
    return digits;
}

bool leastSquaresTable(const char *name, bool zero, double limit)
{
    const char *measure = zero ? "F" : "(F − F*)/F*";
    Table table(name, {{"problem"},
                       {"n"},
                       {"m"},
                       {"F*"},
                       {std::string("levmarqsolve: ") + measure, limit},
                       {"evaluations"},
                       {std::string("linsolve: ") + measure, limit},
                       {"evaluations"}});
    for (const MinimisationProblem &problem : problemsWithMinimum(zero)) {
        const Outcome damped = levmarqsolve(problem, solverDefaults);
        const Outcome linear = linsolve(problem, solverDefaults);
        table.row({problem.name, std::to_string(problem.n()), std::to_string(problem.m),
                   minimumText(problem), missedBy(damped, problem.name, leastSquaresShortfalls),
                   count(damped.evaluations),
                   missedBy(linear, problem.name, leastSquaresShortfalls),
                   count(linear.evaluations)});
    }
    return table.finish();
}

bool functionTable(const char *name, bool zero, double conjugateLimit, double differencesLimit)
{
    const char *measure = zero ? "F" : "(F − F*)/F*";
    Table table(name, {{"problem"},
                       {std::string("frprmn: ") + measure, conjugateLimit},
                       {"values"},
                       {"gradients"},
                       {"ended"},
                       {std::string("iternumsolve: ") + measure, differencesLimit},
                       {"values"}});
    for (const MinimisationProblem &problem : problemsWithMinimum(zero)) {
        const Outcome conjugate = frprmn(problem, conjugateDefaults);
        const Outcome differences = iternumsolve(problem, solverDefaults);
        table.row({problem.name, missedBy(conjugate, problem.name, conjugateShortfalls),
                   count(conjugate.evaluations), count(conjugate.slopes), conjugate.ended(),
                   missedBy(differences, problem.name, differencesShortfalls),
                   count(differences.evaluations)});
    }
    return table.finish();
}

/// What brings a minimiser to the minimum where it fell short of it, or nearer.
struct Remedy {
    const char *problem;
    const char *minimiser;
    Outcome (*minimise)(const MinimisationProblem &, const Settings &);
    Settings settings;
    const char *changed;
    double ownLimit = std::numeric_limits<double>::quiet_NaN();
};

const Remedy remedies[] = {
    {"Powell, badly scaled",
     "levmarqsolve",
     levmarqsolve,
     {.maxIterations = 2000},
     "maxIterations 2000"},
    {"Powell, badly scaled", "linsolve", linsolve, {.maxIterations = 2000}, "maxIterations 2000"},
    {"Wood", "levmarqsolve", levmarqsolve, {.maxIterations = 100, .maxTries = 60}, "maxTries 60"},
    {"Wood", "linsolve", linsolve, {.maxIterations = 100, .maxTries = 60}, "maxTries 60"},
    {"Powell singular", "frprmn", frprmn, {.maxIterations = 5000}, "maxIterations 5000"},
    {"Wood", "frprmn", frprmn, {.maxIterations = 1000}, "maxIterations 1000"},
    {"Brown, badly scaled", "frprmn", frprmn, {.maxIterations = 200, .zeps = 1e-14}, "zeps 1e-14"},
    {"Powell, badly scaled", "frprmn", frprmn, {.maxIterations = 200, .zeps = 1e-14}, "zeps 1e-14"},
    {"Jennrich, Sampson", "frprmn", frprmn, {.maxIterations = 200, .inUnits = true}, "units"},
    {"Osborne 1",
     "frprmn",
     frprmn,
     {.maxIterations = 5000, .ftol = 1e-15, .inUnits = true},
     "units, ftol 1e-15, maxIterations 5000"},
    {"Brown, badly scaled",
     "iternumsolve",
     iternumsolve,
     {.maxIterations = 100, .inUnits = true},
     "units"},
    {"Powell, badly scaled",
     "iternumsolve",
     iternumsolve,
     {.maxIterations = 1000, .inUnits = true},
     "units, maxIterations 1000",
     powellsValley},
    {"Osborne 1",
     "iternumsolve",
     iternumsolve,
     {.maxIterations = 1000, .inUnits = true},
     "units, maxIterations 1000",
     1e-4},
    {"Bard",
     "iternumsolve",
     iternumsolve,
     {.maxIterations = 100, .jacobianStep = 1e-5},
     "jacobianStep 1e-5"},
    {"Beale",
     "iternumsolve",
     iternumsolve,
     {.maxIterations = 100, .inUnits = true},
     "units",
     bealesPlain},
};

bool remedyTable()
{
    const std::vector<MinimisationProblem> problems = support::minimisationProblems();
    Table table("minimisers: remedies", {{"problem"},
                                         {"minimiser"},
                                         {"changed"},
                                         {"F, or (F − F*)/F*", 1e-8},
                                         {"evaluations"},
                                         {"gradients"},
                                         {"ended"}});
    for (const Remedy &remedy : remedies) {
        const auto problem = std::find_if(
            problems.begin(), problems.end(),
            [&](const MinimisationProblem &candidate) { return candidate.name == remedy.problem; });
        const Outcome outcome = remedy.minimise(*problem, remedy.settings);
        table.row({remedy.problem, remedy.minimiser, remedy.changed,
                   std::isnan(remedy.ownLimit) ? Cell(outcome.missedBy)
                                               : Cell(outcome.missedBy, remedy.ownLimit),
                   count(outcome.evaluations), outcome.slopes > 0 ? count(outcome.slopes) : "",
                   outcome.slopes > 0 ? outcome.ended() : ""});
    }
    return table.finish();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 2 || (argc == 2 && std::atoi(argv[1]) <= 0)) {
        std::fputs("usage: minimiser_accuracy [RUNS]\n", stderr);
        return EXIT_FAILURE;
    }
    try {
        const bool kept[] = {
            leastSquaresTable("minimisers: least squares, minimum zero", true, 1e-19),
            leastSquaresTable("minimisers: least squares, minimum above zero", false, 1e-10),
            functionTable("minimisers: one function, minimum zero", true, 1e-16, 1e-12),
            functionTable("minimisers: one function, minimum above zero", false, 1e-8, 1e-8),
            remedyTable()};
        return std::find(std::begin(kept), std::end(kept), false) == std::end(kept) ? EXIT_SUCCESS
                                                                                    : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "minimiser_accuracy: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
