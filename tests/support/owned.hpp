// Records of the library that construct and destruct themselves.
#pragma once

#include <kmath/status.h>

#include <gtest/gtest.h>

#include <cstring>

namespace support
{

/// A record between its construct, on memory that is no zeros, and its destruct.
template <class Record, kmath_status (*Construct)(Record *), kmath_status (*Destruct)(Record *)>
class Owned
{
  public:
    Owned()
    {
        std::memset(static_cast<void *>(&record), 0x5a, sizeof record);
        EXPECT_EQ(Construct(&record), KMATH_OK);
    }
    ~Owned() { EXPECT_EQ(Destruct(&record), KMATH_OK); }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;

    Record *operator&() { return &record; }
    Record *operator->() { return &record; }

  private:
    Record record;
};

} // namespace support
