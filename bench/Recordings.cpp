#include "Recordings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sndfile.h>

std::vector<std::pair<std::string, std::vector<short>>> Recordings::ReadAll()
{
  std::vector<std::pair<std::string, std::vector<short>>> recordings;
  char const* const folder = std::getenv("QEN_RECORDINGS");
  if (folder == nullptr || !std::filesystem::is_directory(folder))
    return recordings;
  for (auto const& entry : std::filesystem::directory_iterator(folder))
  {
    SF_INFO info{};
    SNDFILE* const file = entry.path().extension() == ".wav" ? sf_open(entry.path().c_str(), SFM_READ, &info) : nullptr;
    if (file == nullptr)
      continue;
    std::vector<short> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_read_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    if ((info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16)
      recordings.emplace_back(entry.path().stem(), std::move(samples));
  }
  std::ranges::sort(recordings);
  return recordings;
}
