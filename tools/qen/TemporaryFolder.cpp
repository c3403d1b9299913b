#include "TemporaryFolder.h"

#include "ExitCode.h"
#include "OutputPlan.h"
#include "Text.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>

namespace
{
namespace fs = std::filesystem;

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

std::sig_atomic_t volatile waitingSignal = 0;

extern "C" void NoteSignal(int signal) { waitingSignal = signal; }
} // namespace

TemporaryFolder::TemporaryFolder(std::string const& kept) : path_(kept), isKept_(!kept.empty())
{
  if (isKept_)
  {
    OutputPlan::MakeFolder(path_);
    return;
  }
  std::error_code error;
  path_ = fs::temp_directory_path(error).native() + "/qen-XXXXXX";
  if (!error && mkdtemp(path_.data()) == nullptr)
    error = std::error_code(errno, std::generic_category());
  if (error)
    throw ToolError(ExitCode::Disk, Text::Printable(path_) + " cannot be made: " + error.message());
  NoteSignals();
}

TemporaryFolder::~TemporaryFolder()
{
  if (isKept_)
    return;
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  for (std::size_t i = 0; i < std::size(kEndingSignals); ++i)
    sigaction(kEndingSignals[i], &before_[i], nullptr);
  if (waitingSignal != 0)
    raise(waitingSignal);
}

void TemporaryFolder::NoteSignals()
{
  struct sigaction noting;
  noting.sa_handler = &NoteSignal;
  noting.sa_flags = SA_RESTART;
  sigemptyset(&noting.sa_mask);
  for (std::size_t i = 0; i < std::size(kEndingSignals); ++i)
  {
    sigaction(kEndingSignals[i], nullptr, &before_[i]);
    if (before_[i].sa_handler != SIG_IGN)
      sigaction(kEndingSignals[i], &noting, nullptr);
  }
}

void TemporaryFolder::ThrowIfInterrupted()
{
  if (waitingSignal != 0)
    throw ToolError(ExitCode::Disk, "interrupted");
}
