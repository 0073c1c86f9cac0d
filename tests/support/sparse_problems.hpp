// The symmetric matrices and graphs of data/sparse/ with their published eigenvalues.
#pragma once

#include <kmath/nmmatrix.h>
#include <kmath/snmmatrix.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace support
{

/// A symmetric matrix by all its entries, row by row.
struct Triplets {
    std::int32_t n = 0;
    std::vector<kmath_snmmatrix_element> entries;

    double infinityNorm() const
    {
        std::vector<double> sums(static_cast<std::size_t>(n));
        for (const kmath_snmmatrix_element &e : entries)
            sums[static_cast<std::size_t>(e.row)] += std::fabs(e.value);
        return n > 0 ? *std::max_element(sums.begin(), sums.end()) : 0.0;
    }

    std::vector<double> times(const double *x) const
    {
        std::vector<double> y(static_cast<std::size_t>(n));
        for (const kmath_snmmatrix_element &e : entries)
            y[static_cast<std::size_t>(e.row)] += e.value * x[e.col];
        return y;
    }

    kmath_status toDense(kmath_nmmatrix &A) const
    {
        const kmath_status status = kmath_nmmatrix_resize(&A, n, n);
        if (KMATH_IS_FAILURE(status))
            return status;
        kmath_nmmatrix_set(&A, 0.0);
        for (const kmath_snmmatrix_element &e : entries)
            A.rows[e.row][e.col] += e.value;
        return KMATH_OK;
    }
};

/// What is solved: a matrix itself (A), or the Laplacian D − B (L) or D^(−1/2)·B·D^(−1/2) (N) of a
/// graph with the adjacency matrix B.
struct SparseProblem {
    std::string name;
    char symbol;
    Triplets matrix;
    std::vector<double> leading; ///< eigenvalues, largest first, as many as are published
    bool graph = false;

    std::string title() const { return name + ' ' + symbol; }
};

namespace detail
{

// The text after the comma of a line "what,text".
inline std::string field(std::istream &file, const std::string &what)
{
    std::string line;
    while (std::getline(file, line) && line.front() == '#')
        continue;
    if (line.rfind(what + ',', 0) != 0)
        throw std::runtime_error("expected " + what + ", found " + line);
    return line.substr(what.size() + 1);
}

inline Triplets readTriplets(const std::string &path, const std::string &kind)
{
    std::ifstream file(path);
    field(file, kind);
    Triplets matrix;
    matrix.n = std::stoi(field(file, "order"));
    const int count = std::stoi(field(file, "entries"));
    field(file, "row");
    char comma;
    for (int i = 0; i < count; ++i) {
        kmath_snmmatrix_element e = {0, 0, 1.0};
        file >> e.row >> comma >> e.col;
        if (kind == "matrix")
            file >> comma >> e.value;
        matrix.entries.push_back(e);
        if (e.row != e.col)
            matrix.entries.push_back({e.col, e.row, e.value});
    }
    if (!file || !(file >> std::ws).eof())
        throw std::runtime_error(path + " does not hold what it announces");
    return matrix;
}

inline Triplets ofGraph(const Triplets &adjacency, char symbol)
{
    std::vector<double> degree(static_cast<std::size_t>(adjacency.n));
    for (const kmath_snmmatrix_element &e : adjacency.entries)
        degree[static_cast<std::size_t>(e.row)] += 1.0;
    Triplets matrix = adjacency;
    for (kmath_snmmatrix_element &e : matrix.entries)
        e.value = symbol == 'L' ? -1.0
                                : 1.0 / std::sqrt(degree[static_cast<std::size_t>(e.row)] *
                                                  degree[static_cast<std::size_t>(e.col)]);
    if (symbol == 'L')
        for (std::int32_t i = 0; i < matrix.n; ++i)
            matrix.entries.push_back({i, i, degree[static_cast<std::size_t>(i)]});
    return matrix;
}

inline std::vector<double> readLeading(const std::string &folder, const std::string &name,
                                       char symbol)
{
    std::ifstream file(folder + "/eigenvalues.csv");
    std::vector<double> leading;
    const std::string start = name + ',' + symbol + ',';
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(start, 0) != 0)
            continue;
        const std::size_t comma = line.find(',', start.size());
        if (std::stoul(line.substr(start.size())) == leading.size() + 1)
            leading.push_back(std::stod(line.substr(comma + 1)));
    }
    return leading;
}

} // namespace detail

/// All ten matrices and graphs, 14 problems.
inline std::vector<SparseProblem> readSparseProblems(const std::string &folder)
{
    std::vector<SparseProblem> problems;
    for (const char *name : {"bcsstk01", "494_bus", "nos3", "lfat5", "pts5ldd03", "gr_30_30"}) {
        const std::string path = folder + '/' + name + ".csv";
        problems.push_back({name, 'A', detail::readTriplets(path, "matrix"),
                            detail::readLeading(folder, name, 'A')});
    }
    for (const char *name : {"karate", "bcspwr03", "bcspwr06", "dwt_878"}) {
        const std::string path = folder + '/' + name + ".csv";
        const Triplets adjacency = detail::readTriplets(path, "graph");
        for (const char symbol : {'L', 'N'})
            problems.push_back({name, symbol, detail::ofGraph(adjacency, symbol),
                                detail::readLeading(folder, name, symbol), true});
    }
    return problems;
}

/// All eigenvalues of the nine-point Laplacian on a 30 × 30 grid, largest first.
inline std::vector<double> gridEigenvalues()
{
    std::vector<double> values;
    for (int i = 1; i <= 30; ++i)
        for (int j = 1; j <= 30; ++j)
            values.push_back(9.0 - (1.0 + 2.0 * std::cos(i * std::numbers::pi / 31.0)) *
                                       (1.0 + 2.0 * std::cos(j * std::numbers::pi / 31.0)));
    std::sort(values.rbegin(), values.rend());
    return values;
}

} // namespace support
