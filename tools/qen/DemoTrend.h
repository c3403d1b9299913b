#pragma once

#include "OutputFile.h"
#include "Report.h"

#include <string>

class ShrinkPlan;

/// The demonstration of trends: eight weeks of the simulated machine's vibration, recorded and thinned, in files and in
/// a store.
class DemoTrend
{
public:
  /// @param folder  takes the files
  DemoTrend(std::string const& folder, OutputFile::Existing existing, unsigned long long seed)
    : folder_(folder), existing_(existing), seed_(seed)
  {
  }

  /// Records the weeks in trend files, thins what comes back from them, and writes and reads the result.
  /// @return whether everything was proved
  bool Show(bool json, Report& report) const;

private:
  void Record() const;
  bool IsWrittenAndRead(std::string const& path, ShrinkPlan const& plan) const;

  std::string folder_;
  OutputFile::Existing existing_;
  unsigned long long seed_;
};
