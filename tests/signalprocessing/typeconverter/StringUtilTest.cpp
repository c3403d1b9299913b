#include "signalprocessing/typeconverter/StringUtil.h"

#include "support/ConversionTable.h"
#include "support/SampleArrays.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <typeinfo>

TEST(StringUtil, TenElementTypesHaveDisplayNames)
{
  EXPECT_EQ(StringUtil::TypeInfoToString(static_cast<signed char>(-1)), "Int8_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(static_cast<short>(-1)), "Int16_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(-1), "Int32_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(-1LL), "Int64_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(static_cast<unsigned char>(1)), "Uint8_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(static_cast<unsigned short>(1)), "Uint16_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(1U), "Uint32_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(1ULL), "Uint64_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(1.0F), "Float32_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(1.0), "Float64_t");
}

TEST(StringUtil, ValueOnlyCarriesTheType)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t type)
      {
        std::string const name = kDisplayNames.at(static_cast<std::size_t>(type) - 1);
        for (T const value : SpecialSamples<T>())
          EXPECT_EQ(StringUtil::TypeInfoToString(value), name);
      });
}

TEST(StringUtil, ConstantsAndExpressionsNameTheirType)
{
  short const constant = 5;
  short variable = 6;
  short& reference = variable;
  EXPECT_EQ(StringUtil::TypeInfoToString(constant), "Int16_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(reference), "Int16_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(constant + variable), "Int32_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(1.0F + 1.0), "Float64_t");
  EXPECT_EQ(StringUtil::TypeInfoToString(std::numeric_limits<unsigned long long>::max()), "Uint64_t");
}

// char and long have the size of an element type, and are still other types.
TEST(StringUtil, OtherTypesGiveTheirRunTimeName)
{
  EXPECT_EQ(StringUtil::TypeInfoToString(true), typeid(bool).name());
  EXPECT_EQ(StringUtil::TypeInfoToString('c'), typeid(char).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(L'c'), typeid(wchar_t).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(1L), typeid(long).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(1UL), typeid(unsigned long).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(1.0L), typeid(long double).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(std::string("Int8_t")), typeid(std::string).name());
  EXPECT_EQ(StringUtil::TypeInfoToString(data_int8_t), typeid(sample_datatype32_t).name());
  int number = 0;
  EXPECT_EQ(StringUtil::TypeInfoToString(&number), typeid(int*).name());
}
