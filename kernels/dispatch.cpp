// Picks the table of kernels for the processor at hand. The processor is asked each time.
#include "kernels/kernels.hpp"

namespace kmath
{
namespace
{

struct Instance {
    bool (*runsHere)();
    const Kernels *table;
};

#if defined(__x86_64__)
bool hasAvx512() { return __builtin_cpu_supports("avx512f") != 0; }
bool hasAvx2() { return __builtin_cpu_supports("avx2") != 0; }
#endif
bool always() { return true; }

constexpr Instance instances[] = { // best first
#if defined(__x86_64__)
    {hasAvx512, &kernelsAvx512},
    {hasAvx2, &kernelsAvx2},
#endif
    {always, &kernelsBaseline}};

} // namespace

const Kernels &kernels()
{
    const Instance *instance = instances;
    while (!instance->runsHere())
        ++instance;
    return *instance->table;
}

void forEachRunnable(void (*visit)(const Kernels &table, void *context), void *context)
{
    for (const Instance &instance : instances)
        if (instance.runsHere())
            visit(*instance.table, context);
}

} // namespace kmath
