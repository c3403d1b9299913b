#include "FailingVfs.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sqlite3.h>

namespace
{
/// Everything that the shim knows; the engine hands it no object of ours.
struct State
{
  sqlite3_vfs* disk = nullptr;
  unsigned long calls = 0;
  unsigned long failing = 0;
  bool forEver = false;
  FailingVfs::Fault fault = FailingVfs::Fault::ioError;
  unsigned long injected = 0;
  std::array<unsigned long, static_cast<std::size_t>(FailingVfs::Kind::count)> injectedOfKind{};
  bool isRecording = false;
  std::vector<FailingVfs::Step> steps;
};
State state;

struct ShimFile
{
  sqlite3_file base;
  char const* name; ///< the engine's; null for temporary files
  sqlite3_file* Real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};
static_assert(alignof(ShimFile) >= alignof(sqlite3_int64) || sizeof(ShimFile) % alignof(sqlite3_int64) == 0);

ShimFile* shim(sqlite3_file* file) { return reinterpret_cast<ShimFile*>(file); }
sqlite3_file* real(sqlite3_file* file) { return shim(file)->Real(); }

/// @return whether the call whose turn it is fails; a full disk stops only calls that need room
bool fails(FailingVfs::Kind kind, bool needsRoom = false)
{
  if (state.fault == FailingVfs::Fault::full && !needsRoom)
    return false;
  ++state.calls;
  if (state.failing == 0 || state.calls < state.failing || (state.calls > state.failing && !state.forEver))
    return false;
  ++state.injected;
  ++state.injectedOfKind[static_cast<std::size_t>(kind)];
  errno = state.fault == FailingVfs::Fault::full ? ENOSPC : EIO;
  return true;
}

int answer(int ioError) { return state.fault == FailingVfs::Fault::full ? SQLITE_FULL : ioError; }

std::string baseName(char const* path)
{
  std::string_view const text = path == nullptr ? "" : path;
  return std::string(text.substr(text.rfind('/') + 1));
}

void record(FailingVfs::Step::Kind kind, char const* path, std::size_t offset = 0,
            std::vector<unsigned char> bytes = {})
{
  if (state.isRecording)
    state.steps.push_back({kind, baseName(path), offset, std::move(bytes)});
}

int closeFile(sqlite3_file* file)
{
  if (real(file)->pMethods != nullptr)
    real(file)->pMethods->xClose(real(file));
  return SQLITE_OK;
}

int readFile(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
  if (fails(FailingVfs::Kind::read))
    return SQLITE_IOERR_READ;
  return real(file)->pMethods->xRead(real(file), bytes, count, offset);
}

int writeFile(sqlite3_file* file, void const* bytes, int count, sqlite3_int64 offset)
{
  auto const* const first = static_cast<unsigned char const*>(bytes);
  if (fails(FailingVfs::Kind::write, true))
  {
    // A write that fails may have got half of the way.
    int const half = count / 2;
    if (half > 0)
      real(file)->pMethods->xWrite(real(file), bytes, half, offset);
    return answer(SQLITE_IOERR_WRITE);
  }
  record(FailingVfs::Step::Kind::write, shim(file)->name, static_cast<std::size_t>(offset), {first, first + count});
  return real(file)->pMethods->xWrite(real(file), bytes, count, offset);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size)
{
  if (fails(FailingVfs::Kind::truncate))
    return SQLITE_IOERR_TRUNCATE;
  record(FailingVfs::Step::Kind::truncate, shim(file)->name, static_cast<std::size_t>(size));
  return real(file)->pMethods->xTruncate(real(file), size);
}

int syncFile(sqlite3_file* file, int)
{
  if (fails(FailingVfs::Kind::sync, true))
    return answer(SQLITE_IOERR_FSYNC);
  record(FailingVfs::Step::Kind::sync, shim(file)->name);
  return SQLITE_OK;
}

int fileSize(sqlite3_file* file, sqlite3_int64* size)
{
  if (fails(FailingVfs::Kind::size))
    return SQLITE_IOERR_FSTAT;
  return real(file)->pMethods->xFileSize(real(file), size);
}

int lockFile(sqlite3_file* file, int level)
{
  if (fails(FailingVfs::Kind::lock))
    return SQLITE_IOERR_LOCK;
  return real(file)->pMethods->xLock(real(file), level);
}

// Unlocking has to work: no engine could go on, and no system fails at it.
int unlockFile(sqlite3_file* file, int level) { return real(file)->pMethods->xUnlock(real(file), level); }

int checkReservedLock(sqlite3_file* file, int* isReserved)
{
  if (fails(FailingVfs::Kind::lock))
    return SQLITE_IOERR_CHECKRESERVEDLOCK;
  return real(file)->pMethods->xCheckReservedLock(real(file), isReserved);
}

int fileControl(sqlite3_file* file, int operation, void* argument)
{
  return real(file)->pMethods->xFileControl(real(file), operation, argument);
}
int sectorSize(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }
// No promises about writes that are cut off.
int deviceCharacteristics(sqlite3_file*) { return 0; }

int mapShared(sqlite3_file* file, int page, int size, int extend, void volatile** memory)
{
  if (fails(FailingVfs::Kind::map, extend != 0))
    return state.fault == FailingVfs::Fault::full ? SQLITE_IOERR_SHMSIZE : SQLITE_IOERR_SHMMAP;
  return real(file)->pMethods->xShmMap(real(file), page, size, extend, memory);
}

int lockShared(sqlite3_file* file, int offset, int count, int flags)
{
  if ((flags & SQLITE_SHM_UNLOCK) == 0 && fails(FailingVfs::Kind::lock))
    return SQLITE_IOERR_SHMLOCK;
  return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}
void sharedBarrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }
int unmapShared(sqlite3_file* file, int isRemoved) { return real(file)->pMethods->xShmUnmap(real(file), isRemoved); }

sqlite3_io_methods const kMethods{2,
                                  &closeFile,
                                  &readFile,
                                  &writeFile,
                                  &truncateFile,
                                  &syncFile,
                                  &fileSize,
                                  &lockFile,
                                  &unlockFile,
                                  &checkReservedLock,
                                  &fileControl,
                                  &sectorSize,
                                  &deviceCharacteristics,
                                  &mapShared,
                                  &lockShared,
                                  &sharedBarrier,
                                  &unmapShared,
                                  nullptr,
                                  nullptr};

bool exists(char const* path)
{
  int result = 0;
  state.disk->xAccess(state.disk, path, SQLITE_ACCESS_EXISTS, &result);
  return result != 0;
}

int openFile(sqlite3_vfs*, char const* path, sqlite3_file* file, int flags, int* outFlags)
{
  file->pMethods = nullptr;
  if (fails(FailingVfs::Kind::open, (flags & SQLITE_OPEN_CREATE) != 0))
    return SQLITE_CANTOPEN;
  bool const isNew = path != nullptr && !exists(path);
  shim(file)->name = path;
  int const code = state.disk->xOpen(state.disk, path, real(file), flags, outFlags);
  if (code != SQLITE_OK)
    return code;
  if (isNew)
    record(FailingVfs::Step::Kind::create, path);
  file->pMethods = &kMethods;
  return code;
}

int removeFile(sqlite3_vfs*, char const* path, int syncFolder)
{
  if (fails(FailingVfs::Kind::remove))
    return SQLITE_IOERR_DELETE;
  record(FailingVfs::Step::Kind::remove, path);
  return state.disk->xDelete(state.disk, path, syncFolder);
}

int accessFile(sqlite3_vfs*, char const* path, int flags, int* result)
{
  if (fails(FailingVfs::Kind::access))
    return SQLITE_IOERR_ACCESS;
  return state.disk->xAccess(state.disk, path, flags, result);
}

/// All other members are those of the disk below.
sqlite3_vfs theShim;

void overwrite(std::vector<unsigned char>& content, FailingVfs::Step const& step)
{
  content.resize(std::max(content.size(), step.offset + step.bytes.size()));
  std::copy(step.bytes.begin(), step.bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(step.offset));
}
} // namespace

FailingVfs::FailingVfs()
{
  state = State();
  state.disk = sqlite3_vfs_find(nullptr);
  theShim = *state.disk;
  theShim.zName = "qen-failing";
  theShim.pNext = nullptr;
  theShim.szOsFile = static_cast<int>(sizeof(ShimFile)) + state.disk->szOsFile;
  theShim.xOpen = &openFile;
  theShim.xDelete = &removeFile;
  theShim.xAccess = &accessFile;
  sqlite3_vfs_register(&theShim, 1);
}

FailingVfs::~FailingVfs()
{
  sqlite3_vfs_unregister(&theShim);
  sqlite3_vfs_register(state.disk, 1);
}

void FailingVfs::Fail(unsigned long call, Fault fault, bool forEver)
{
  state.calls = 0;
  state.injected = 0;
  state.failing = call;
  state.fault = fault;
  state.forEver = forEver;
}

void FailingVfs::FailNothing() { state.failing = 0; }
unsigned long FailingVfs::Injected() const { return state.injected; }
unsigned long FailingVfs::Injected(Kind kind) const { return state.injectedOfKind[static_cast<std::size_t>(kind)]; }
void FailingVfs::Record(bool isOn) { state.isRecording = isOn; }
void FailingVfs::Mark() { record(Step::Kind::mark, nullptr); }
std::vector<FailingVfs::Step> const& FailingVfs::Steps() const { return state.steps; }

char const* NameOf(FailingVfs::Kind kind)
{
  constexpr char const* kNames[] = {"open",     "remove", "access", "read", "write",
                                    "truncate", "sync",   "size",   "lock", "map"};
  return kNames[static_cast<std::size_t>(kind)];
}

void DiskModel::Apply(FailingVfs::Step const& step)
{
  switch (step.kind)
  {
  case FailingVfs::Step::Kind::create:
    everything_[step.file];
    break;
  case FailingVfs::Step::Kind::remove:
    everything_.erase(step.file);
    break;
  case FailingVfs::Step::Kind::write:
    overwrite(everything_[step.file], step);
    break;
  case FailingVfs::Step::Kind::truncate:
    everything_[step.file].resize(step.offset);
    break;
  case FailingVfs::Step::Kind::sync:
    std::erase_if(synchronised_, [&](auto const& file) { return !everything_.contains(file.first); });
    for (auto const& [name, content] : everything_)
      synchronised_.try_emplace(name);
    synchronised_[step.file] = everything_[step.file];
    break;
  case FailingVfs::Step::Kind::mark:
    ++marks_;
  }
}
