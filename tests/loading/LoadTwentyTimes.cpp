// Loads the library of the path given, uses it and unloads it, twenty times. Each time it must be gone from the
// process: what once keeps it there (a unique symbol, a thread's destructor) lets no running process exchange it.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <exception>

namespace
{
[[noreturn]] void Fail(char const* finding, char const* detail)
{
  std::fprintf(stderr, "%s: %s\n", finding, detail == nullptr ? "" : detail);
  std::exit(1);
}

void Require(bool condition, char const* finding)
{
  if (!condition)
    Fail(finding, "wrong");
}

template <class Function>
Function* Symbol(void* library, char const* name)
{
  void* const address = dlsym(library, name);
  if (address == nullptr)
    Fail(name, dlerror());
  return reinterpret_cast<Function*>(address);
}

void UseChecksum(void* library)
{
  // InternalTimeSignal::CalcChecksum(void const*, unsigned long long)
  auto* const checksum =
      Symbol<unsigned short(void const*, unsigned long long)>(library, "_ZN18InternalTimeSignal12CalcChecksumEPKvy");
  std::array<unsigned char, 3> const bytes = {0x01, 0x02, 0x04};
  Require(checksum(bytes.data(), bytes.size()) == (0x0201 ^ 0x0004), "checksum");
  try
  {
    checksum(nullptr, 1);
    Fail("checksum over null", "no exception");
  }
  catch (std::exception const& exception)
  {
    Require(std::strcmp(exception.what(), "Can't calculate checksum over NULL!") == 0, "message");
  }
}

void UseHandle(void* library)
{
  auto* const construct = Symbol<void(void*)>(library, "_ZN10TimeSignalC1Ev");
  auto* const destroy = Symbol<void(void*)>(library, "_ZN10TimeSignalD1Ev");
  auto* const copy = Symbol<void(void*, void const*)>(library, "_ZN10TimeSignalC1ERKS_");
  auto* const compress = Symbol<void(void*, int)>(library, "_ZN10TimeSignal8CompressE15compression32_t");
  auto* const differ = Symbol<bool(void const*, void const*)>(library, "_ZNK10TimeSignalneERKS_");
  constexpr int gzip = 4;

  // A handle is one pointer.
  alignas(void*) std::array<unsigned char, sizeof(void*)> first{};
  alignas(void*) std::array<unsigned char, sizeof(void*)> second{};
  construct(first.data());
  copy(second.data(), first.data());
  Require(!differ(first.data(), second.data()), "handles of one signal");
  compress(second.data(), gzip);
  Require(differ(first.data(), second.data()), "handles of different signals");
  destroy(second.data());
  destroy(first.data());
}
} // namespace

int main(int argumentCount, char** arguments)
{
  if (argumentCount != 2)
    Fail("usage", "load_twenty_times LIBRARY");
  char const* const path = arguments[1];
  constexpr int rounds = 20;
  for (int round = 0; round < rounds; ++round)
  {
    Require(dlopen(path, RTLD_NOW | RTLD_NOLOAD) == nullptr, "library that is there before it is loaded");
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
      Fail("dlopen", dlerror());
    UseChecksum(library);
    UseHandle(library);
    Require(dlclose(library) == 0, "dlclose");
    Require(dlopen(path, RTLD_NOW | RTLD_NOLOAD) == nullptr, "library that is still there after it was unloaded");
  }
}
