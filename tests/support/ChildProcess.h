#pragma once

#include <array>
#include <cerrno>
#include <exception>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

/// A copy of the test program that does one thing, says one text, and ends.
class ChildProcess
{
public:
  /// @param work runs in the child; what it returns or throws is what the child says
  explicit ChildProcess(std::function<std::string()> const& work)
  {
    if (pipe(pipe_.data()) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe");
    process_ = fork();
    if (process_ == 0)
      run(work);
    close(pipe_[1]);
  }
  ChildProcess(ChildProcess const&) = delete;
  ChildProcess& operator=(ChildProcess const&) = delete;
  ~ChildProcess()
  {
    close(pipe_[0]);
    if (process_ > 0)
      waitpid(process_, nullptr, 0);
  }

  /// What the child said, once it has ended.
  std::string Said()
  {
    std::string text;
    std::array<char, 512> buffer;
    for (ssize_t count = 0; (count = read(pipe_[0], buffer.data(), buffer.size())) > 0;)
      text.append(buffer.data(), static_cast<std::size_t>(count));
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return status == 0 ? text : "ended with status " + std::to_string(status) + ": " + text;
  }

private:
  [[noreturn]] void run(std::function<std::string()> const& work)
  {
    std::string text;
    try
    {
      text = work();
    }
    catch (std::exception const& exception)
    {
      text = exception.what();
    }
    ssize_t const written = write(pipe_[1], text.data(), text.size());
    _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }

  std::array<int, 2> pipe_{};
  pid_t process_ = 0;
};

/// Lets a process wait until another one gives the sign.
class Signal
{
public:
  Signal()
  {
    if (pipe(pipe_.data()) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe");
  }
  Signal(Signal const&) = delete;
  Signal& operator=(Signal const&) = delete;
  ~Signal()
  {
    close(pipe_[0]);
    close(pipe_[1]);
  }

  /// For this many that wait.
  void Give(unsigned int count = 1) const
  {
    std::string const bytes(count, 's');
    if (write(pipe_[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(count))
      throw std::system_error(errno, std::generic_category(), "write");
  }
  void Await() const
  {
    char byte = 0;
    if (read(pipe_[0], &byte, 1) != 1)
      throw std::system_error(errno, std::generic_category(), "read");
  }

private:
  std::array<int, 2> pipe_{};
};
