#pragma once

// Which instances of TypeConverter::Convert the library holds, as lists of X(In, Out).
// clang-format off

/// Widening and copying instances that the library exports.
#define QEN_EXPORTED_WIDENING_CONVERSIONS(X) \
  X(signed char, double) \
  X(short, long long) X(short, double) \
  X(int, long long) X(int, double) \
  X(long long, long long) X(long long, float) X(long long, double) \
  X(float, double) \
  X(double, double) \
  X(unsigned char, double) \
  X(unsigned short, long long) X(unsigned short, unsigned long long) X(unsigned short, double) \
  X(unsigned int, long long) X(unsigned int, unsigned long long) X(unsigned int, double) \
  X(unsigned long long, unsigned long long) X(unsigned long long, float) X(unsigned long long, double)

/// All narrowing instances; each of them refuses.
#define QEN_NARROWING_CONVERSIONS(X) \
  X(signed char, unsigned char) X(signed char, unsigned short) X(signed char, unsigned int) \
  X(signed char, unsigned long long) \
  X(short, signed char) X(short, unsigned char) X(short, unsigned short) X(short, unsigned int) \
  X(short, unsigned long long) \
  X(int, signed char) X(int, short) X(int, unsigned char) X(int, unsigned short) X(int, unsigned int) \
  X(int, unsigned long long) \
  X(long long, signed char) X(long long, short) X(long long, int) X(long long, unsigned char) \
  X(long long, unsigned short) X(long long, unsigned int) X(long long, unsigned long long) \
  X(float, signed char) X(float, short) X(float, int) X(float, long long) X(float, unsigned char) \
  X(float, unsigned short) X(float, unsigned int) X(float, unsigned long long) \
  X(double, signed char) X(double, short) X(double, int) X(double, long long) X(double, float) \
  X(double, unsigned char) X(double, unsigned short) X(double, unsigned int) X(double, unsigned long long) \
  X(unsigned char, signed char) \
  X(unsigned short, signed char) X(unsigned short, short) X(unsigned short, unsigned char) \
  X(unsigned int, signed char) X(unsigned int, short) X(unsigned int, int) X(unsigned int, unsigned char) \
  X(unsigned int, unsigned short) \
  X(unsigned long long, signed char) X(unsigned long long, short) X(unsigned long long, int) \
  X(unsigned long long, long long) X(unsigned long long, unsigned char) X(unsigned long long, unsigned short) \
  X(unsigned long long, unsigned int)

#define QEN_EXPORTED_CONVERSIONS(X) QEN_EXPORTED_WIDENING_CONVERSIONS(X) QEN_NARROWING_CONVERSIONS(X)

/// The other widening and copying instances: the library's own, compiled like the exported ones but not visible outside.
#define QEN_INTERNAL_CONVERSIONS(X) \
  X(signed char, signed char) X(signed char, short) X(signed char, int) X(signed char, long long) \
  X(signed char, float) \
  X(short, short) X(short, int) X(short, float) \
  X(int, int) X(int, float) \
  X(float, float) \
  X(unsigned char, short) X(unsigned char, int) X(unsigned char, long long) X(unsigned char, float) \
  X(unsigned char, unsigned char) X(unsigned char, unsigned short) X(unsigned char, unsigned int) \
  X(unsigned char, unsigned long long) \
  X(unsigned short, int) X(unsigned short, float) X(unsigned short, unsigned short) \
  X(unsigned short, unsigned int) \
  X(unsigned int, float) X(unsigned int, unsigned int)
