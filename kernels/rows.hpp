// Where the rows of each kind of view start.
#pragma once

#include "kernels/kernels.hpp"

namespace
{

inline double *row(const kmath::Block &view, int i) { return view.table[i] + view.column; }
inline const double *row(const kmath::ConstBlock &view, int i)
{
    return view.table[i] + view.column;
}
inline double *row(const kmath::Strided &view, int i) { return view.top + i * view.stride; }
inline const double *row(const kmath::ConstStrided &view, int i)
{
    return view.top + i * view.stride;
}

} // namespace
