#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <type_traits>

/// Calls visitor(std::type_identity<T>{}) with the element type T of a sample type.
/// @return false, without a call, for an unknown sample type
template <class Visitor>
bool VisitSampleType(sample_datatype32_t type, Visitor&& visitor)
{
  switch (type)
  {
  case data_int8_t:
    visitor(std::type_identity<signed char>{});
    return true;
  case data_int16_t:
    visitor(std::type_identity<short>{});
    return true;
  case data_int32_t:
    visitor(std::type_identity<int>{});
    return true;
  case data_int64_t:
    visitor(std::type_identity<long long>{});
    return true;
  case data_float32_t:
    visitor(std::type_identity<float>{});
    return true;
  case data_float64_t:
    visitor(std::type_identity<double>{});
    return true;
  case data_uint8_t:
    visitor(std::type_identity<unsigned char>{});
    return true;
  case data_uint16_t:
    visitor(std::type_identity<unsigned short>{});
    return true;
  case data_uint32_t:
    visitor(std::type_identity<unsigned int>{});
    return true;
  case data_uint64_t:
    visitor(std::type_identity<unsigned long long>{});
    return true;
  }
  return false;
}
