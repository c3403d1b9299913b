#pragma once

#include "TrendFile.h"

#include <string>
#include <vector>

/// The trend files of one characteristic value, oldest first: what is merged or thinned together.
class TrendFamily
{
public:
  struct Member
  {
    std::string path; ///< as named
    unsigned long long fileSize;
    TrendFile::Loaded loaded;
  };

  explicit TrendFamily(Uuid const& base) : base_(base) {}

  /// Reads and checks a file and adds it. Throws ToolError, Unreadable, for a trend of another characteristic value or
  /// another unit, and for one that is there already.
  void Add(std::string const& file);
  void SortByTime();
  /// Throws unless all were recorded with one lower pre-alarm limit.
  void RequireSameLimit() const;

  std::vector<Member> const& Members() const { return members_; }

private:
  void RequireRelated(Trend const& trend) const;

  Uuid base_;
  std::vector<Member> members_;
};
