#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

/// Bytes whose last one is the last one of readable memory.
class Guarded
{
public:
  explicit Guarded(std::size_t size)
  {
    auto const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t const readable = (size + page - 1) / page * page;
    mappedSize_ = readable + page;
    mapping_ = mmap(nullptr, mappedSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED)
      throw std::system_error(errno, std::generic_category(), "mmap");
    if (readable != 0 && mprotect(mapping_, readable, PROT_READ | PROT_WRITE) != 0)
      throw std::system_error(errno, std::generic_category(), "mprotect");
    bytes_ = {static_cast<std::uint8_t*>(mapping_) + readable - size, size};
  }
  explicit Guarded(std::span<std::uint8_t const> bytes) : Guarded(bytes.size())
  {
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
  }
  Guarded(Guarded const&) = delete;
  Guarded& operator=(Guarded const&) = delete;
  ~Guarded() { munmap(mapping_, mappedSize_); }

  std::span<std::uint8_t> Bytes() const { return bytes_; }
  /// The same as values; whole ones only, when the size is a multiple of theirs.
  template <class T>
  std::span<T> As() const
  {
    return {reinterpret_cast<T*>(bytes_.data()), bytes_.size() / sizeof(T)};
  }

private:
  void* mapping_ = nullptr;
  std::size_t mappedSize_ = 0;
  std::span<std::uint8_t> bytes_;
};
