#pragma once

#include "TrendFamily.h"
#include "TrendOutput.h"

#include <list>
#include <string>
#include <vector>

/// New trends that take the place of old ones, all of them or none, also when the run ends early.
///
/// No file system renames and removes many files in one step. So before the first new file gets its name, a list of the
/// new trends and of the old files is brought to the disk beside the new ones, `.shrink-UUID`, which goes when all is
/// done. Who finds a list knows what to do: when every new trend is there and good, the old files go; else every old
/// one still is there, and the new ones go. A file goes only while it holds the trend that the list tells of. The run
/// that works by a list keeps it locked.
///
/// Failures are ToolError with the status Disk.
class TrendReplacement
{
public:
  /// @param folder  of the new trends, which are named by their UUIDs
  explicit TrendReplacement(std::string const& folder);
  ~TrendReplacement();
  TrendReplacement(TrendReplacement&& other) noexcept;
  TrendReplacement& operator=(TrendReplacement&&) = delete;

  void AddNew(Uuid const& trend);
  /// @param goes  whether its files are removed; else the list only tells that they were read
  void AddOld(TrendFamily::Member const& member, bool goes);

  /// Gives the new trends their names and removes the old files. When that fails before the first one is removed, the
  /// new ones are.
  void Commit(std::list<TrendOutput>& outputs);

  /// The lists in these folders that runs left behind and that tell of one of these files.
  static std::vector<TrendReplacement> Find(std::vector<std::string> const& folders,
                                            std::vector<std::string> const& files);
  /// Does what a list that was found leaves to do. Throws when another run works by it, and when new and old files are
  /// missing.
  /// @return whether the new trends are there; else the old ones are
  bool Settle();

  /// Of the list.
  std::string const& Path() const { return path_; }
  std::vector<std::string> NewFiles() const;

private:
  struct Old
  {
    Uuid trend;
    bool goes = true;
    std::vector<std::string> names; ///< of the record and of the document; a link behind what it leads to
  };

  void Write();
  bool Read();
  bool Lock();
  bool TellsOf(std::vector<std::string> const& files) const;
  bool AllNewAreGood() const;
  bool AllOldAreThere() const;
  void Finish();
  bool TakeBack();
  std::string TryToTakeBack();
  void RemoveList();

  std::string folder_; ///< absolute, as all names are
  std::string path_;
  int lock_ = -1;
  std::vector<Uuid> new_;
  std::vector<Old> old_;
};
