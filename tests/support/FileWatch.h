#pragma once

#include <array>
#include <cerrno>
#include <string>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>

/// Notices every opening of a file from the moment it is made.
class FileWatch
{
public:
  explicit FileWatch(std::string const& path) : queue_(inotify_init1(IN_NONBLOCK))
  {
    if (queue_ < 0 || inotify_add_watch(queue_, path.c_str(), IN_OPEN | IN_ACCESS) < 0)
      throw std::system_error(errno, std::generic_category(), path);
  }
  FileWatch(FileWatch const&) = delete;
  FileWatch& operator=(FileWatch const&) = delete;
  ~FileWatch() { close(queue_); }

  /// Whether the file has been opened since the last question.
  bool WasOpened()
  {
    alignas(inotify_event) std::array<char, 4096> events{};
    bool opened = false;
    while (read(queue_, events.data(), events.size()) > 0)
      opened = true;
    return opened;
  }

private:
  int queue_;
};
