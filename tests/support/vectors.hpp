// A kstd_vectord that constructs and destructs itself.
#pragma once

#include <kmath/platform.h>

#include <vector>

namespace support
{

class Doubles
{
  public:
    Doubles() { kstd_vectord_construct(&vector); }
    ~Doubles() { kstd_vectord_destruct(&vector); }
    Doubles(const Doubles &) = delete;
    Doubles &operator=(const Doubles &) = delete;

    kstd_vectord *operator&() { return &vector; }

    std::vector<double> values() const
    {
        double *begin = nullptr;
        std::int32_t size = 0;
        kstd_vectord_getBegin(&vector, &begin);
        kstd_vectord_getSize(&vector, &size);
        return {begin, begin + size};
    }

  private:
    kstd_vectord vector;
};

} // namespace support
