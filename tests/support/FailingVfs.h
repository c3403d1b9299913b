#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The calls that an SQLite engine makes on files, on their way to the disk: any of them can be told to fail, and all
/// that change something can be recorded. For as long as an object lives every SQLite connection of the process that is
/// opened goes through it; one at a time, for one thread. Nothing is really synchronised, which the tests would only
/// wait for.
class FailingVfs
{
public:
  enum class Kind
  {
    open,
    remove,
    access,
    read,
    write,
    truncate,
    sync,
    size,
    lock,
    map,
    count
  };
  enum class Fault
  {
    ioError,
    full
  };

  /// Something that changed files, or a mark that the test made.
  struct Step
  {
    enum class Kind
    {
      create,
      remove,
      write,
      truncate,
      sync,
      mark
    };
    Kind kind;
    std::string file; ///< without its folder
    std::size_t offset = 0;
    std::vector<unsigned char> bytes{}; ///< of a write
  };

  FailingVfs();
  FailingVfs(FailingVfs const&) = delete;
  FailingVfs& operator=(FailingVfs const&) = delete;
  ~FailingVfs();

  /// The call with this number, counted from now and from 1, fails, and so do all behind it if they are to go on
  /// failing.
  void Fail(unsigned long call, Fault fault, bool forEver);
  void FailNothing();
  /// How many calls failed since the last Fail.
  unsigned long Injected() const;
  /// How many calls of a kind failed in this object's life.
  unsigned long Injected(Kind kind) const;

  void Record(bool isOn);
  void Mark();
  std::vector<Step> const& Steps() const;
};

char const* NameOf(FailingVfs::Kind kind);

/// Files as they are after some of the recorded steps.
using FileSet = std::map<std::string, std::vector<unsigned char>>;

/// Replays recorded steps.
class DiskModel
{
public:
  void Apply(FailingVfs::Step const& step);
  /// When every write reached the disk, synchronised or not.
  FileSet const& Everything() const { return everything_; }
  /// When of the contents only that reached the disk which was synchronised. Names of files are changed in order, and
  /// are on the disk with the next synchronisation of anything, as file systems with a journal do it.
  FileSet const& Synchronised() const { return synchronised_; }
  unsigned int Marks() const { return marks_; }

private:
  FileSet everything_;
  FileSet synchronised_;
  unsigned int marks_ = 0;
};
