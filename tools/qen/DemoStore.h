#pragma once

#include "OutputFile.h"
#include "Report.h"
#include "ShrinkPlan.h"

#include <string>

/// The demonstration of stores: the weeks of the simulated machine in a database, thinned there.
class DemoStore
{
public:
  /// @param folder  takes the store, store.db
  DemoStore(std::string const& folder, OutputFile::Existing existing);

  /// Stores the trends, thins them and checks every row.
  /// @param plan  what thinning them makes of them elsewhere
  /// @return whether everything was proved
  bool Show(TrendFamily const& weeks, DeviceDO const& settings, long long now, ShrinkPlan const& plan, bool json,
            Report& report) const;

private:
  void RequireRoom() const;

  std::string path_;
  OutputFile::Existing existing_;
};
