#include "signalprocessing/io/file/SampleTypes.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace
{
/// What a visit found: how often the visitor was called, and with which type.
struct Visit
{
  bool known = false;
  int calls = 0;
  std::string typeName;
};

struct CallCounter
{
  template <class T>
  void operator()(std::type_identity<T>)
  {
    ++calls;
  }
  int calls = 0;
};

Visit VisitNumber(int number)
{
  Visit visit;
  visit.known = VisitSampleType(static_cast<sample_datatype32_t>(number),
                                [&]<class T>(std::type_identity<T>)
                                {
                                  ++visit.calls;
                                  visit.typeName = typeid(T).name();
                                });
  return visit;
}

template <class T>
void ExpectVisited(sample_datatype32_t type)
{
  Visit const visit = VisitNumber(type);
  EXPECT_TRUE(visit.known);
  EXPECT_EQ(visit.calls, 1);
  EXPECT_EQ(visit.typeName, typeid(T).name());
}
} // namespace

TEST(SampleTypes, EveryTypeIsVisitedOnceWithItsElementType)
{
  ExpectVisited<signed char>(data_int8_t);
  ExpectVisited<short>(data_int16_t);
  ExpectVisited<int>(data_int32_t);
  ExpectVisited<long long>(data_int64_t);
  ExpectVisited<float>(data_float32_t);
  ExpectVisited<double>(data_float64_t);
  ExpectVisited<unsigned char>(data_uint8_t);
  ExpectVisited<unsigned short>(data_uint16_t);
  ExpectVisited<unsigned int>(data_uint32_t);
  ExpectVisited<unsigned long long>(data_uint64_t);
}

TEST(SampleTypes, ElementsHaveTheBytesOfTheirSampleType)
{
  std::vector<std::size_t> sizes;
  for (int number = 1; number <= 10; ++number)
    VisitSampleType(static_cast<sample_datatype32_t>(number),
                    [&]<class T>(std::type_identity<T>) { sizes.push_back(sizeof(T)); });
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 2, 4, 8, 4, 8, 1, 2, 4, 8}));
}

TEST(SampleTypes, UnknownTypesAreReportedWithoutACall)
{
  for (int const number : {0, 11, 12, 99, 256 + 1, 65536 + 2, -1, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min(), std::numeric_limits<int>::min() + 1})
  {
    Visit const visit = VisitNumber(number);
    EXPECT_FALSE(visit.known) << number;
    EXPECT_EQ(visit.calls, 0) << number;
  }
}

TEST(SampleTypes, ExceptionOfTheVisitorPassesOn)
{
  EXPECT_THROW(VisitSampleType(data_float32_t, [](auto) { throw 5; }), int);
}

TEST(SampleTypes, VisitorKeepsItsState)
{
  CallCounter counter;
  VisitSampleType(data_int8_t, counter);
  VisitSampleType(data_uint64_t, counter);
  EXPECT_EQ(counter.calls, 2);
}
