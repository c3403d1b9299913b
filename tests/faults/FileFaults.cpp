// Every function of the C library through which the library and the tool, and the libraries below them, change or read
// files. Each has the same shape: find out which file it is, let `Passing` count and judge the call, do it, note it.
//
// A record of the log, little-endian, without gaps:
//   u32 bytes behind this field | u32 number of the call, 0 when it cannot have the fault | u8 Call | u8 1 when
//   injected | i32 result | i32 descriptor | i64 position or flags | u32 length of the path | u32 length of the second
//   path | path | second path | bytes written
// Read by tests/tools/qen/faults.py.
#include "FileFaults.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
constexpr int kDescriptors = 256;
constexpr std::size_t kLongestPath = 1024;

enum class Call : unsigned char
{
  Open = 1,
  Read,
  Write,
  Synchronise,
  SynchroniseAll,
  Truncate,
  Rename,
  Exchange,
  Link,
  Unlink,
  MakeFolder,
  RemoveFolder,
  SetMode,
  Duplicate,
  Close,
  Lock,
  Map
};

enum class Kind
{
  None,
  Error,
  Short,
  Kill
};

using Path = char[kLongestPath];

// Plain data: this runs before anything is constructed and after everything is destroyed.
Path folder;
Path paths[kDescriptors]; ///< of descriptors that are followed; else empty
Kind kind = Kind::None;
int error = 0;
unsigned at = 0;
bool forever = false;
bool isArmed = false;
unsigned calls = 0;
unsigned injected = 0;
bool isPlain = false;
int logFile = -1;
constexpr long long kSecond = 1000000000;
long long slept = 0; ///< nanoseconds that somebody wanted to sleep, and did not

int PassTime(long long nanoseconds)
{
  slept += nanoseconds;
  return 0;
}

timespec Later(timespec const& time, long long nanoseconds)
{
  long long const fraction = time.tv_nsec + nanoseconds % kSecond;
  timespec later{};
  later.tv_sec = static_cast<time_t>(time.tv_sec + nanoseconds / kSecond + fraction / kSecond);
  later.tv_nsec = static_cast<long>(fraction % kSecond);
  return later;
}

[[noreturn]] void Stop(char const* why)
{
  std::fprintf(stderr, "FileFaults: %s\n", why);
  std::abort();
}

/// The function that is called next: that of the C library, or a sanitizer's before it.
template <class Function>
Function* Next(Function* /*own*/, char const* name)
{
  void* const found = dlsym(RTLD_NEXT, name);
  if (found == nullptr)
    Stop(name);
  Function* function;
  std::memcpy(&function, &found, sizeof function);
  return function;
}

#define NEXT(name) static auto* const next = Next(&name, #name)

void Append(Path& path, char const* text)
{
  if (std::strlen(path) + std::strlen(text) + 1 > kLongestPath)
    Stop("a path is too long");
  std::strcat(path, text);
}

/// Takes "." and ".." out of an absolute path, without following links.
void Normalise(Path const& path, Path& result)
{
  result[0] = '\0';
  for (char const* part = path; *part != '\0';)
  {
    part += std::strspn(part, "/");
    std::size_t const length = std::strcspn(part, "/");
    bool const isHere = length == 1 && part[0] == '.';
    bool const isAbove = length == 2 && part[0] == '.' && part[1] == '.';
    if (isAbove && std::strrchr(result, '/') != nullptr)
      *std::strrchr(result, '/') = '\0';
    if (length != 0 && !isHere && !isAbove)
    {
      Append(result, "/");
      std::strncat(result, part, length);
    }
    part += length;
  }
}

void Resolve(int base, char const* name, Path& result)
{
  Path whole = "";
  if (name[0] != '/' && base == AT_FDCWD && getcwd(whole, kLongestPath) == nullptr)
    Stop("the working folder has no name");
  if (name[0] != '/' && base != AT_FDCWD)
  {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", base);
    ssize_t const length = readlink(link, whole, kLongestPath - 1);
    whole[length < 0 ? 0 : length] = '\0';
  }
  if (name[0] != '/')
    Append(whole, "/");
  Append(whole, name);
  Normalise(whole, result);
}

bool IsBelowFolder(Path const& path)
{
  std::size_t const length = std::strlen(folder);
  return std::strncmp(path, folder, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

bool IsFollowed(int descriptor) { return descriptor >= 0 && descriptor < kDescriptors && paths[descriptor][0] != '\0'; }

void Follow(int descriptor, Path const& path)
{
  if (descriptor >= kDescriptors)
    Stop("too many descriptors");
  if (descriptor >= 0)
    std::memcpy(paths[descriptor], path, kLongestPath);
}

void Forget(int descriptor)
{
  if (IsFollowed(descriptor))
    paths[descriptor][0] = '\0';
}

/// Whether a call can have the fault: full disks, say, do not keep anything from being read, and an end in front of a
/// call that changes nothing leaves what the one in front of the next call leaves.
bool CanHave(Call call, bool makesRoom, std::size_t bytes)
{
  bool const isTransfer = call == Call::Read || call == Call::Write;
  if (call == Call::Duplicate || call == Call::SynchroniseAll) // these do not fail
    return false;
  if (call == Call::Lock) // these fail when there are too many, or from afar
    return kind == Kind::Error && error == ENOLCK;
  if (kind == Kind::Kill)
    return call != Call::Close && call != Call::Map && (makesRoom || (call != Call::Read && call != Call::Open));
  if (kind == Kind::Short)
    return isTransfer && bytes > 1;
  if (kind != Kind::Error)
    return true;
  switch (error)
  {
  case ENOSPC:
    return makesRoom;
  case EINTR:
    return isTransfer || call == Call::Open || call == Call::Synchronise || call == Call::Truncate ||
           call == Call::Close;
  case EACCES:
    return call == Call::Open || call == Call::Rename || call == Call::Exchange || call == Call::Link ||
           call == Call::Unlink || call == Call::MakeFolder;
  case ENOLCK:
    return false;
  default:
    return true;
  }
}

bool IsNow()
{
  if (at == 0 || calls < at)
    return false;
  bool const isInterruption = kind == Kind::Error && error == EINTR;
  return forever ? !isInterruption || (calls - at) % 2 == 0 : calls == at;
}

/// One call on its way: counts it, decides what becomes of it, and notes it with its outcome.
class Passing
{
public:
  Passing(Call call, bool isConcerned, int descriptor, char const* path, bool makesRoom = false, std::size_t bytes = 0)
    : call_(call), isConcerned_(isConcerned && folder[0] != '\0'), descriptor_(descriptor), path_(path)
  {
    if (!isConcerned_ || !isArmed || !CanHave(call, makesRoom, bytes))
      return;
    number_ = ++calls;
    isInjected_ = IsNow() && kind != Kind::None;
    if (!isInjected_)
      return;
    ++injected;
    if (kind == Kind::Kill)
      kill(getpid(), SIGKILL);
  }

  bool IsConcerned() const { return isConcerned_; }
  bool Fails() const { return isInjected_ && kind == Kind::Error; }
  /// How many of so many bytes are transferred.
  std::size_t Share(std::size_t bytes) const { return isInjected_ && kind == Kind::Short ? (bytes + 1) / 2 : bytes; }

  /// Notes the call and hands on its outcome; errno stays as the call left it, or is that of the fault.
  template <class Result>
  Result Done(Result result, long long position = 0, char const* second = "", void const* bytes = nullptr)
  {
    int const kept = Fails() ? error : errno;
    if (isConcerned_ && logFile >= 0)
      Log(static_cast<int>(result), position, second, bytes, bytes != nullptr && result > 0 ? result : 0);
    errno = kept;
    return result;
  }

private:
  template <class Field>
  static void Add(unsigned char*& end, Field field)
  {
    std::memcpy(end, &field, sizeof field);
    end += sizeof field;
  }

  static iovec Piece(void const* bytes, std::size_t count) { return {const_cast<void*>(bytes), count}; }

  static void WriteLog(iovec const (&pieces)[4])
  {
    static auto* const next = Next(&writev, "writev");
    std::size_t count = 0;
    for (iovec const& piece : pieces)
      count += piece.iov_len;
    if (next(logFile, pieces, 4) != static_cast<ssize_t>(count))
      Stop("the log cannot be written");
  }

  void Log(int result, long long position, char const* second, void const* bytes, std::size_t count) const
  {
    unsigned char head[64];
    unsigned char* end = head + sizeof(std::uint32_t);
    std::size_t const length = std::strlen(path_);
    std::size_t const secondLength = std::strlen(second);
    Add(end, static_cast<std::uint32_t>(number_));
    Add(end, static_cast<unsigned char>(call_));
    Add(end, static_cast<unsigned char>(isInjected_ ? 1 : 0));
    Add(end, static_cast<std::int32_t>(result));
    Add(end, static_cast<std::int32_t>(descriptor_));
    Add(end, static_cast<std::int64_t>(position));
    Add(end, static_cast<std::uint32_t>(length));
    Add(end, static_cast<std::uint32_t>(secondLength));
    std::size_t const headLength = static_cast<std::size_t>(end - head);
    unsigned char* start = head;
    Add(start, static_cast<std::uint32_t>(headLength - sizeof(std::uint32_t) + length + secondLength + count));
    WriteLog({Piece(head, headLength), Piece(path_, length), Piece(second, secondLength), Piece(bytes, count)});
  }

  Call call_;
  bool isConcerned_;
  int descriptor_;
  char const* path_;
  unsigned number_ = 0;
  bool isInjected_ = false;
};

/// Opens a file through `open`, which gives a descriptor.
template <class Open>
int PassOpen(int base, char const* name, int flags, Open open)
{
  Path path;
  Resolve(base, name, path);
  Passing passing(Call::Open, IsBelowFolder(path), -1, path, (flags & O_CREAT) != 0);
  int const result = passing.Fails() ? -1 : open();
  if (passing.IsConcerned())
    Follow(result, path);
  return passing.Done(result, flags);
}

template <class Open>
std::FILE* PassOpenStream(char const* name, char const* mode, Open open)
{
  std::FILE* stream = nullptr;
  auto const openStream = [&]
  {
    stream = open();
    return stream == nullptr ? -1 : fileno(stream);
  };
  PassOpen(AT_FDCWD, name,
           mode[0] == 'w'   ? O_CREAT | O_TRUNC | O_WRONLY
           : mode[0] == 'a' ? O_CREAT | O_APPEND | O_WRONLY
                            : O_RDONLY,
           openStream);
  return stream;
}

/// Makes a file or folder whose name is found by `make`, which gives a descriptor, or -1 with the name left as it was.
template <class Make>
int PassTemporary(char* name, Make make)
{
  Path path;
  Resolve(AT_FDCWD, name, path);
  Passing passing(Call::Open, IsBelowFolder(path), -1, path, true);
  int const result = passing.Fails() ? -1 : make();
  Resolve(AT_FDCWD, name, path);
  if (passing.IsConcerned())
    Follow(result, path);
  return passing.Done(result, O_CREAT | O_EXCL | O_RDWR);
}

long long PositionOf(int descriptor) { return lseek64(descriptor, 0, SEEK_CUR); }

template <class Transfer>
ssize_t PassRead(int descriptor, std::size_t count, Transfer transfer)
{
  bool const isFollowed = IsFollowed(descriptor);
  Passing passing(Call::Read, isFollowed, descriptor, isFollowed ? paths[descriptor] : "", false, count);
  return passing.Done(passing.Fails() ? -1 : transfer(passing.Share(count)));
}

/// @param position  -1: that of the descriptor
template <class Transfer>
ssize_t PassWrite(int descriptor, void const* bytes, std::size_t count, long long position, Transfer transfer)
{
  bool const isFollowed = IsFollowed(descriptor);
  if (isFollowed && position < 0)
    position = PositionOf(descriptor);
  Passing passing(Call::Write, isFollowed, descriptor, isFollowed ? paths[descriptor] : "", true, count);
  return passing.Done(passing.Fails() ? -1 : transfer(passing.Share(count)), position, "", bytes);
}

template <class Work>
int PassDescriptor(Call call, int descriptor, bool makesRoom, long long position, Work work)
{
  bool const isFollowed = IsFollowed(descriptor);
  Passing passing(call, isFollowed, descriptor, isFollowed ? paths[descriptor] : "", makesRoom);
  return passing.Done(passing.Fails() ? -1 : work(), position);
}

/// A file is closed in any case, also when closing it tells of an error.
template <class Work>
int PassClose(int descriptor, Work work)
{
  bool const isFollowed = IsFollowed(descriptor);
  Path path = "";
  if (isFollowed)
    std::memcpy(path, paths[descriptor], kLongestPath);
  Passing passing(Call::Close, isFollowed, descriptor, path, true);
  Forget(descriptor);
  int const result = work();
  return passing.Done(passing.Fails() ? -1 : result);
}

template <class Work>
int PassName(Call call, int base, char const* name, bool makesRoom, Work work)
{
  Path path;
  Resolve(base, name, path);
  Passing passing(call, IsBelowFolder(path), -1, path, makesRoom);
  return passing.Done(passing.Fails() ? -1 : work());
}

template <class Work>
int PassTwoNames(Call call, int fromBase, char const* from, int toBase, char const* to, long long flags, Work work)
{
  Path fromPath;
  Path toPath;
  Resolve(fromBase, from, fromPath);
  Resolve(toBase, to, toPath);
  Passing passing(call, IsBelowFolder(fromPath) || IsBelowFolder(toPath), -1, fromPath, true);
  return passing.Done(passing.Fails() ? -1 : work(), flags, toPath);
}

void SetKind(char const* name)
{
  struct Name
  {
    char const* text;
    Kind kind;
    int error;
  };
  constexpr Name kNames[] = {{"none", Kind::None, 0},         {"EIO", Kind::Error, EIO},
                             {"ENOSPC", Kind::Error, ENOSPC}, {"EINTR", Kind::Error, EINTR},
                             {"EACCES", Kind::Error, EACCES}, {"ENOLCK", Kind::Error, ENOLCK},
                             {"short", Kind::Short, 0},       {"kill", Kind::Kill, 0}};
  for (Name const& one : kNames)
    if (std::strcmp(name, one.text) == 0)
    {
      kind = one.kind;
      error = one.error;
      return;
    }
  Stop("no such kind of fault");
}

char const* Environment(char const* name, char const* otherwise)
{
  char const* const value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

void ArmFor(char const* name, char const* kindName, unsigned first, char const* repeat, bool plain)
{
  folder[0] = '\0'; // what follows is none of the program's calls
  if (char const* const log = Environment("QEN_FAULTS_LOG", ""); log[0] != '\0')
    logFile = open(log, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  isPlain = plain;
  FileFaults::Arm(name, kindName, first, std::strcmp(repeat, "forever") == 0);
}

bool ReadLine(char (&line)[128])
{
  std::size_t length = 0;
  while (length + 1 < sizeof line && read(STDIN_FILENO, line + length, 1) == 1 && line[length] != '\n')
    ++length;
  line[length] = '\0';
  return length != 0;
}

void Redirect(char const* path, int flags, int descriptor)
{
  int const file = open(path, flags | O_CLOEXEC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0)
    Stop(path);
  close(file);
}

/// Starting a program takes ten times longer than running it. So one that has been loaded and has not begun forks for
/// each run: it reads "KIND AT REPEAT PLAIN" from standard input and answers with the status that the run ended with.
void ServeRuns(char const* name)
{
  char line[128];
  while (ReadLine(line))
  {
    pid_t const run = fork();
    if (run == 0)
    {
      char kindName[16] = "";
      char repeat[16] = "";
      unsigned first = 0;
      int plain = 0;
      if (std::sscanf(line, "%15s %u %15s %d", kindName, &first, repeat, &plain) != 4 || chdir(name) != 0)
        Stop("no such request or folder");
      Redirect("/dev/null", O_RDONLY, STDIN_FILENO);
      Redirect(Environment("QEN_FAULTS_OUT", "/dev/null"), O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
      Redirect(Environment("QEN_FAULTS_ERR", "/dev/null"), O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
      ArmFor(name, kindName, first, repeat, plain != 0);
      return;
    }
    int status = 0;
    if (run < 0 || waitpid(run, &status, 0) != run || dprintf(STDOUT_FILENO, "%d\n", status) < 0)
      Stop("a run cannot be started");
  }
  _exit(0);
}

__attribute__((constructor)) void ReadEnvironment()
{
  char const* const name = Environment("QEN_FAULTS_FOLDER", "");
  if (name[0] != '\0')
    ServeRuns(name);
}

/// The file that is opened instead: what a database engine takes by chance is the same in each run.
char const* Opened(char const* path)
{
  return folder[0] != '\0' && std::strcmp(path, "/dev/urandom") == 0 ? "/dev/zero" : path;
}

/// By their numbers for short offsets and for long ones, which are the same where there is one kind only.
bool IsAboutLocks(int command)
{
  constexpr int kCommands[] = {F_GETLK, F_SETLK, F_SETLKW, F_GETLK64, F_SETLK64, F_SETLKW64};
  for (int const one : kCommands)
    if (command == one)
      return true;
  return false;
}

mode_t ModeOf(int flags, va_list arguments)
{
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
}
} // namespace

void FileFaults::Arm(char const* folderName, char const* kindName, unsigned first, bool isForever)
{
  folder[0] = '\0';
  Append(folder, folderName);
  SetKind(kindName);
  at = first;
  forever = isForever;
  calls = injected = 0;
  isArmed = true;
}

void FileFaults::Disarm() { isArmed = false; }
unsigned FileFaults::Calls() { return calls; }
unsigned FileFaults::Injected() { return injected; }

extern "C"
{
#define QEN_OPEN(name)                                                                                                 \
  int name(char const* path, int flags, ...)                                                                           \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    va_list arguments;                                                                                                 \
    va_start(arguments, flags);                                                                                        \
    mode_t const mode = ModeOf(flags, arguments);                                                                      \
    va_end(arguments);                                                                                                 \
    return PassOpen(AT_FDCWD, path, flags, [&] { return next(Opened(path), flags, mode); });                           \
  }
  QEN_OPEN(open)
  QEN_OPEN(open64)

#define QEN_OPENAT(name)                                                                                               \
  int name(int base, char const* path, int flags, ...)                                                                 \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    va_list arguments;                                                                                                 \
    va_start(arguments, flags);                                                                                        \
    mode_t const mode = ModeOf(flags, arguments);                                                                      \
    va_end(arguments);                                                                                                 \
    return PassOpen(base, path, flags, [&] { return next(base, path, flags, mode); });                                 \
  }
  QEN_OPENAT(openat)
  QEN_OPENAT(openat64)

#define QEN_CREAT(name)                                                                                                \
  int name(char const* path, mode_t mode)                                                                              \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassOpen(AT_FDCWD, path, O_CREAT | O_TRUNC | O_WRONLY, [&] { return next(path, mode); });                   \
  }
  QEN_CREAT(creat)
  QEN_CREAT(creat64)

#define QEN_FOPEN(name)                                                                                                \
  std::FILE* name(char const* path, char const* mode)                                                                  \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassOpenStream(path, mode, [&] { return next(path, mode); });                                               \
  }
  QEN_FOPEN(fopen)
  QEN_FOPEN(fopen64)

#define QEN_MKSTEMP(name)                                                                                              \
  int name(char* path)                                                                                                 \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassTemporary(path, [&] { return next(path); });                                                            \
  }
  QEN_MKSTEMP(mkstemp)
  QEN_MKSTEMP(mkstemp64)

#define QEN_MKOSTEMP(name)                                                                                             \
  int name(char* path, int flags)                                                                                      \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassTemporary(path, [&] { return next(path, flags); });                                                     \
  }
  QEN_MKOSTEMP(mkostemp)
  QEN_MKOSTEMP(mkostemp64)

// Unnamed files lie in TMPDIR as far as tests are concerned; the C library itself takes another folder.
#define QEN_TMPFILE(name)                                                                                              \
  std::FILE* name()                                                                                                    \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    Path path;                                                                                                         \
    Resolve(AT_FDCWD, Environment("TMPDIR", P_tmpdir), path);                                                          \
    Append(path, "/unnamed");                                                                                          \
    Passing passing(Call::Open, IsBelowFolder(path), -1, path, true);                                                  \
    std::FILE* const stream = passing.Fails() ? nullptr : next();                                                      \
    int const descriptor = stream == nullptr ? -1 : fileno(stream);                                                    \
    if (passing.IsConcerned())                                                                                         \
      Follow(descriptor, path);                                                                                        \
    passing.Done(descriptor, O_TMPFILE | O_RDWR);                                                                      \
    return stream;                                                                                                     \
  }
  QEN_TMPFILE(tmpfile)
  QEN_TMPFILE(tmpfile64)

  char* mkdtemp(char* path)
  {
    NEXT(mkdtemp);
    Path made;
    Resolve(AT_FDCWD, path, made);
    Passing passing(Call::MakeFolder, IsBelowFolder(made), -1, made, true);
    char* const result = passing.Fails() ? nullptr : next(path);
    Resolve(AT_FDCWD, path, made);
    passing.Done(result == nullptr ? -1 : 0);
    return result;
  }

  ssize_t read(int descriptor, void* bytes, size_t count)
  {
    NEXT(read);
    return PassRead(descriptor, count, [&](std::size_t share) { return next(descriptor, bytes, share); });
  }

#define QEN_PREAD(name, offset)                                                                                        \
  ssize_t name(int descriptor, void* bytes, size_t count, offset position)                                             \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassRead(descriptor, count, [&](std::size_t share) { return next(descriptor, bytes, share, position); });   \
  }
  QEN_PREAD(pread, off_t)
  QEN_PREAD(pread64, off64_t)

  ssize_t write(int descriptor, void const* bytes, size_t count)
  {
    NEXT(write);
    return PassWrite(descriptor, bytes, count, -1, [&](std::size_t share) { return next(descriptor, bytes, share); });
  }

#define QEN_PWRITE(name, offset)                                                                                       \
  ssize_t name(int descriptor, void const* bytes, size_t count, offset position)                                       \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassWrite(descriptor, bytes, count, position,                                                               \
                     [&](std::size_t share) { return next(descriptor, bytes, share, position); });                     \
  }
  QEN_PWRITE(pwrite, off_t)
  QEN_PWRITE(pwrite64, off64_t)

  // The pieces are written as one block, which is what they are to the file.
  ssize_t writev(int descriptor, iovec const* pieces, int count)
  {
    NEXT(writev);
    if (!IsFollowed(descriptor))
      return next(descriptor, pieces, count);
    std::size_t total = 0;
    for (int i = 0; i < count; ++i)
      total += pieces[i].iov_len;
    char* const block = static_cast<char*>(std::malloc(total + 1));
    if (block == nullptr)
      Stop("no memory");
    total = 0;
    for (int i = 0; i < count; ++i)
    {
      std::memcpy(block + total, pieces[i].iov_base, pieces[i].iov_len);
      total += pieces[i].iov_len;
    }
    ssize_t const written = write(descriptor, block, total);
    int const kept = errno;
    std::free(block);
    errno = kept;
    return written;
  }

  // Streams of the C library: only unnamed files are written through them, so no bytes are noted.
  size_t fwrite(void const* bytes, size_t size, size_t count, std::FILE* stream)
  {
    NEXT(fwrite);
    if (!IsFollowed(fileno(stream)))
      return next(bytes, size, count, stream);
    int const failed = PassDescriptor(Call::Write, fileno(stream), true, 0, [] { return 0; });
    return failed != 0 ? 0 : next(bytes, size, count, stream);
  }

  int fflush(std::FILE* stream)
  {
    NEXT(fflush);
    if (stream == nullptr || !IsFollowed(fileno(stream)))
      return next(stream);
    return PassDescriptor(Call::Write, fileno(stream), true, 0, [&] { return next(stream); });
  }

// No test waits for a real disk.
#define QEN_SYNC(name)                                                                                                 \
  int name(int descriptor)                                                                                             \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    auto const work = [&] { return IsFollowed(descriptor) ? 0 : next(descriptor); };                                   \
    return PassDescriptor(Call::Synchronise, descriptor, true, 0, work);                                               \
  }
  QEN_SYNC(fsync)
  QEN_SYNC(fdatasync)
  QEN_SYNC(syncfs)

#define QEN_TRUNCATE(name, offset)                                                                                     \
  int name(int descriptor, offset length)                                                                              \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    return PassDescriptor(Call::Truncate, descriptor, true, length, [&] { return next(descriptor, length); });         \
  }
  QEN_TRUNCATE(ftruncate, off_t)
  QEN_TRUNCATE(ftruncate64, off64_t)

  void sync() noexcept
  {
    NEXT(sync);
    Passing passing(Call::SynchroniseAll, true, -1, folder);
    if (!passing.IsConcerned())
      next();
    passing.Done(0);
  }

  int fchmod(int descriptor, mode_t mode)
  {
    NEXT(fchmod);
    return PassDescriptor(Call::SetMode, descriptor, false, mode, [&] { return next(descriptor, mode); });
  }

  int fchown(int descriptor, uid_t owner, gid_t group)
  {
    NEXT(fchown);
    return PassDescriptor(Call::SetMode, descriptor, false, 0, [&] { return next(descriptor, owner, group); });
  }

  int dup(int descriptor)
  {
    NEXT(dup);
    int const copy = PassDescriptor(Call::Duplicate, descriptor, false, 0, [&] { return next(descriptor); });
    if (IsFollowed(descriptor))
      Follow(copy, paths[descriptor]);
    return copy;
  }

  // Engines and the store wait for locks, and before they try again what failed.
  int usleep(useconds_t time)
  {
    NEXT(usleep);
    return folder[0] != '\0' ? PassTime(time * 1000LL) : next(time);
  }

  int nanosleep(timespec const* time, timespec* rest)
  {
    NEXT(nanosleep);
    return folder[0] != '\0' ? PassTime(time->tv_sec * kSecond + time->tv_nsec) : next(time, rest);
  }

  // What is written through a mapped file is not seen; an engine maps what it does without after a power failure.
#define QEN_MMAP(name, offset)                                                                                         \
  void* name(void* address, size_t length, int protection, int flags, int descriptor, offset position) noexcept        \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    void* mapped = MAP_FAILED;                                                                                         \
    auto const map = [&]                                                                                               \
    {                                                                                                                  \
      mapped = next(address, length, protection, flags, descriptor, position);                                         \
      return mapped == MAP_FAILED ? -1 : 0;                                                                            \
    };                                                                                                                 \
    PassDescriptor(Call::Map, descriptor, false, position, map);                                                       \
    return mapped;                                                                                                     \
  }
  QEN_MMAP(mmap, off_t)
  QEN_MMAP(mmap64, off64_t)

  // Of the many things that it does only taking, giving back and asking for locks can fail.
#define QEN_FCNTL(name)                                                                                                \
  int name(int descriptor, int command, ...)                                                                           \
  {                                                                                                                    \
    NEXT(name);                                                                                                        \
    va_list arguments;                                                                                                 \
    va_start(arguments, command);                                                                                      \
    void* const argument = va_arg(arguments, void*);                                                                   \
    va_end(arguments);                                                                                                 \
    if (!IsAboutLocks(command))                                                                                        \
      return next(descriptor, command, argument);                                                                      \
    auto const work = [&] { return next(descriptor, command, argument); };                                             \
    return PassDescriptor(Call::Lock, descriptor, false, command, work);                                               \
  }
  QEN_FCNTL(fcntl)
  QEN_FCNTL(fcntl64)

  int close(int descriptor)
  {
    NEXT(close);
    return PassClose(descriptor, [&] { return next(descriptor); });
  }

  int fclose(std::FILE* stream)
  {
    NEXT(fclose);
    return PassClose(fileno(stream), [&] { return next(stream); });
  }

  int rename(char const* from, char const* to)
  {
    NEXT(rename);
    return PassTwoNames(Call::Rename, AT_FDCWD, from, AT_FDCWD, to, 0, [&] { return next(from, to); });
  }

  int renameat(int fromBase, char const* from, int toBase, char const* to)
  {
    NEXT(renameat);
    return PassTwoNames(Call::Rename, fromBase, from, toBase, to, 0, [&] { return next(fromBase, from, toBase, to); });
  }

  int renameat2(int fromBase, char const* from, int toBase, char const* to, unsigned flags)
  {
    NEXT(renameat2);
    if (isPlain && flags != 0)
    {
      errno = EINVAL;
      return -1;
    }
    return PassTwoNames((flags & RENAME_EXCHANGE) != 0 ? Call::Exchange : Call::Rename, fromBase, from, toBase, to,
                        flags, [&] { return next(fromBase, from, toBase, to, flags); });
  }

  int link(char const* from, char const* to)
  {
    NEXT(link);
    return PassTwoNames(Call::Link, AT_FDCWD, from, AT_FDCWD, to, 0, [&] { return next(from, to); });
  }

  int unlink(char const* path)
  {
    NEXT(unlink);
    return PassName(Call::Unlink, AT_FDCWD, path, false, [&] { return next(path); });
  }

  int unlinkat(int base, char const* path, int flags)
  {
    NEXT(unlinkat);
    return PassName((flags & AT_REMOVEDIR) != 0 ? Call::RemoveFolder : Call::Unlink, base, path, false,
                    [&] { return next(base, path, flags); });
  }

  int remove(char const* path)
  {
    NEXT(remove);
    return PassName(Call::Unlink, AT_FDCWD, path, false, [&] { return next(path); });
  }

  int mkdir(char const* path, mode_t mode)
  {
    NEXT(mkdir);
    return PassName(Call::MakeFolder, AT_FDCWD, path, true, [&] { return next(path, mode); });
  }

  // The clock stands still and identifiers repeat, so that runs can be compared. The other clock has gone on for
  // whoever slept.
  int clock_gettime(clockid_t clock, timespec* time) noexcept
  {
    NEXT(clock_gettime);
    int const result = next(clock, time);
    if (result != 0 || folder[0] == '\0')
      return result;
    if (clock == CLOCK_REALTIME)
      *time = {1800000000, 0};
    else if (clock == CLOCK_MONOTONIC)
      *time = Later(*time, slept);
    return result;
  }

  void uuid_generate_random(unsigned char* uuid)
  {
    static unsigned char count = 0;
    NEXT(uuid_generate_random);
    next(uuid);
    if (folder[0] == '\0')
      return;
    std::memset(uuid, 0, 16);
    uuid[6] = 0x40;
    uuid[8] = 0x80;
    uuid[14] = kind == Kind::None ? static_cast<unsigned char>(at) : 0;
    uuid[15] = ++count;
  }

  int rmdir(char const* path)
  {
    NEXT(rmdir);
    return PassName(Call::RemoveFolder, AT_FDCWD, path, false, [&] { return next(path); });
  }
}
