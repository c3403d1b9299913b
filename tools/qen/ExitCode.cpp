#include "ExitCode.h"

#include <algorithm>

void Outcome::Add(ExitCode code)
{
  if (code == ExitCode::Good)
    done_ = true;
  else if (code == ExitCode::Difference)
    difference_ = true;
  else
    failure_ = std::max(failure_, code);
}

ExitCode Outcome::Result() const
{
  if (difference_)
    return ExitCode::Difference;
  if (done_ && failure_ != ExitCode::Good)
    return ExitCode::PartlyDone;
  return failure_;
}
