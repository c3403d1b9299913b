#pragma once

#include <string>
#include <utility>
#include <vector>

/// The 16-bit sound files of the folder that QEN_RECORDINGS names; none when it names none.
namespace Recordings
{
/// (file name, samples of all channels) of each.
std::vector<std::pair<std::string, std::vector<short>>> ReadAll();
} // namespace Recordings
