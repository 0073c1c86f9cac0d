// What every table of measured accuracy is made of: random numbers that are the same everywhere,
// the largest of many errors, and the table in Markdown, whose rows keep to limits.
#pragma once

#include <kmath/status.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace accuracy
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();

/// Uniform numbers that depend on the seed alone; the standard library's distributions differ.
class Random
{
  public:
    explicit Random(std::uint64_t seed) : generator(seed) {}

    double uniform(double from, double to)
    {
        return from + (to - from) * (static_cast<double>(generator() >> 11) * 0x1p-53);
    }
    double sign() { return uniform(-1.0, 1.0) < 0.0 ? -1.0 : 1.0; }

  private:
    std::mt19937_64 generator;
};

/// The largest and the mean of errors; a NaN, once seen, stays.
class Errors
{
  public:
    template <class Number> void add(Number error)
    {
        const double e = static_cast<double>(error);
        if (!(e <= largestError) && !std::isnan(largestError))
            largestError = e;
        sum += e;
        ++number;
    }
    double largest() const { return largestError; }
    double mean() const { return number ? sum / number : 0.0; }
    int count() const { return number; }

  private:
    double largestError = 0.0;
    double sum = 0.0;
    int number = 0;
};

/// Leaves the program when the library refuses what it has to do.
inline void demand(kmath_status status)
{
    if (KMATH_IS_FAILURE(status))
        throw std::runtime_error("the library returned " + std::to_string(status));
}

inline std::string text(double value)
{
    char digits[32];
    const bool plain = value == 0.0 || (value >= 0.01 && value < 1000.0);
    const char *format = value == 0.0 ? "%.0f" : plain ? "%.2f" : "%.1e";
    std::snprintf(digits, sizeof digits, format, value);
    return digits;
}

inline std::string shortText(double value)
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.2g", value);
    return digits;
}

constexpr double noLimit = std::numeric_limits<double>::infinity();

struct Column {
    std::string title;
    double limit = noLimit; ///< of the measured values below it
};

/// A text, or a measured value under its column's limit or one of its own.
struct Cell {
    Cell(std::string words) : label(std::move(words)) {}
    Cell(const char *words) : label(words) {}
    Cell(double measured, double ownLimit = std::numeric_limits<double>::quiet_NaN())
        : label(text(measured)), measurement(true), value(measured), limit(ownLimit)
    {
        if (!std::isnan(limit))
            label += "\\*";
    }

    std::string label;
    bool measurement = false;
    double value = 0.0, limit = 0.0;
};

/// Prints a table row by row between the marks by which the document takes it up. Its last row
/// states the limits. A value above its limit is told on the error stream.
class Table
{
  public:
    Table(std::string tableName, std::vector<Column> tableColumns)
        : name(std::move(tableName)), columns(std::move(tableColumns))
    {
        std::printf("<!-- %s -->\n", name.c_str());
        std::vector<std::string> titles, rule;
        for (const Column &column : columns) {
            titles.push_back(column.title);
            rule.push_back("---");
        }
        line(titles);
        line(rule);
    }

    void row(const std::vector<Cell> &cells)
    {
        std::vector<std::string> labels;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            labels.push_back(cells[i].label);
            if (cells[i].measurement)
                check(cells.front().label, columns.at(i), cells[i]);
        }
        line(labels);
    }

    /// True when every value kept to its limit.
    bool finish()
    {
        std::vector<std::string> limits;
        for (const Column &column : columns)
            limits.push_back(column.limit < noLimit ? "≤ " + shortText(column.limit) : "");
        limits.front() = "limit";
        line(limits);
        std::printf("<!-- end -->\n\n");
        return kept;
    }

  private:
    static void line(const std::vector<std::string> &cells)
    {
        for (const std::string &cell : cells)
            std::printf("| %s ", cell.c_str());
        std::printf("|\n");
    }

    void check(const std::string &row, const Column &column, const Cell &cell)
    {
        const double limit = std::isnan(cell.limit) ? column.limit : cell.limit;
        if (cell.value <= limit)
            return;
        std::fprintf(stderr, "%s, %s, %s: %g is above %g\n", name.c_str(), row.c_str(),
                     column.title.c_str(), cell.value, limit);
        kept = false;
    }

    std::string name;
    std::vector<Column> columns;
    bool kept = true;
};

} // namespace accuracy
