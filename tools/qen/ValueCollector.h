#pragma once

#include "Recording.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Gathers numbers from text in the sample type asked for, or in the smallest one that holds all of them: int16, int32,
/// int64 for integers, float64 as soon as one is none.
///
/// What a type cannot hold exactly is refused with the number of its line. Only a decimal text with more digits than
/// float64 holds, when float64 was not asked for, becomes the nearest value and a remark.
class ValueCollector
{
public:
  explicit ValueCollector(std::optional<sample_datatype32_t> type);

  void Add(std::string_view text, unsigned long long line);
  /// The values; the collector is empty then.
  SampleArray Take();
  std::vector<std::string> Remarks() const;

private:
  void AddForced(std::string_view text, unsigned long long line);
  void AddInteger(std::string_view text, unsigned long long line);
  void AddDecimal(std::string_view text, unsigned long long line);
  void BecomeDecimal();
  void Narrow();

  std::optional<sample_datatype32_t> type_;
  SampleArray samples_;
  unsigned long long firstInexact_ = 0; ///< line of the first integer that float64 cannot hold, 0 for none
  std::string firstInexactText_;
  unsigned long long firstRounded_ = 0;
  unsigned long long roundedCount_ = 0;
};
