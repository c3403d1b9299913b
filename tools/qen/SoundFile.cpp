#include "SoundFile.h"

#include "ExitCode.h"
#include "Names.h"
#include "SampleBlocks.h"
#include "SoundContainer.h"
#include "Text.h"

#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <unistd.h>

namespace
{
using Handle = std::unique_ptr<SNDFILE, decltype(&sf_close)>;

[[noreturn]] void Refuse(std::string const& text) { throw ToolError(ExitCode::Unreadable, text); }

/// libsndfile's name of a container or of an encoding.
std::string FormatName(int format)
{
  SF_FORMAT_INFO info{};
  info.format = format;
  return sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name != nullptr ? info.name
                                                                                                   : "unknown";
}

/// A file as libsndfile gets at it. To libsndfile a failure is the end of the file, and what it guesses then can look
/// like samples; so the first failure is kept here, to be thrown when libsndfile has returned.
class SoundAccess
{
public:
  explicit SoundAccess(InputFile const& file) : input_(&file), size_(static_cast<sf_count_t>(file.Size())) {}
  explicit SoundAccess(OutputFile& file) : output_(&file) {}

  /// Null when it is no sound file.
  Handle Open(SF_INFO& info)
  {
    SF_VIRTUAL_IO functions = {[](void* self) { return Of(self).size_; },
                               [](sf_count_t offset, int whence, void* self) { return Of(self).Seek(offset, whence); },
                               [](void* bytes, sf_count_t count, void* self) { return Of(self).Read(bytes, count); },
                               [](void const* bytes, sf_count_t count, void* self)
                               { return Of(self).Write(bytes, count); },
                               [](void* self) { return Of(self).position_; }};
    Handle sound(sf_open_virtual(&functions, input_ != nullptr ? SFM_READ : SFM_WRITE, &info, this), &sf_close);
    RethrowFailure();
    return sound;
  }

  void RethrowFailure() const
  {
    if (failure_)
      std::rethrow_exception(failure_);
  }

private:
  static SoundAccess& Of(void* self) { return *static_cast<SoundAccess*>(self); }

  sf_count_t Seek(sf_count_t offset, int whence)
  {
    sf_count_t const base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : size_;
    sf_count_t position = 0;
    if (__builtin_add_overflow(base, offset, &position) || position < 0)
      return -1;
    return position_ = position;
  }

  sf_count_t Read(void* bytes, sf_count_t count)
  {
    return Transfer(
        [&]
        {
          return input_ == nullptr
                     ? 0
                     : input_->ReadAt(static_cast<unsigned long long>(position_),
                                      {static_cast<unsigned char*>(bytes), static_cast<std::size_t>(count)});
        });
  }

  sf_count_t Write(void const* bytes, sf_count_t count)
  {
    return Transfer(
        [&]
        {
          if (lseek(output_->Descriptor(), static_cast<off_t>(position_), SEEK_SET) < 0)
            throw ToolError(ExitCode::Disk, std::string("WAV file cannot be written: ") + std::strerror(errno));
          output_->Write(bytes, static_cast<std::size_t>(count));
          return static_cast<std::size_t>(count);
        });
  }

  /// Nothing is transferred any more behind a failure.
  template <class Work>
  sf_count_t Transfer(Work work)
  try
  {
    auto const count = failure_ ? 0 : static_cast<sf_count_t>(work());
    position_ += count;
    size_ = std::max(size_, position_);
    return count;
  }
  catch (...)
  {
    failure_ = std::current_exception();
    return 0;
  }

  InputFile const* input_ = nullptr;
  OutputFile* output_ = nullptr;
  sf_count_t size_ = 0;
  sf_count_t position_ = 0;
  std::exception_ptr failure_;
};

void RequireSupportedContainer(int format)
{
  int const container = format & SF_FORMAT_TYPEMASK;
  constexpr int kContainers[] = {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_W64, SF_FORMAT_AIFF};
  if (std::find(std::begin(kContainers), std::end(kContainers), container) == std::end(kContainers))
    Refuse("is a file of the kind " + FormatName(container) + "; only WAV, RF64, Wave64 and AIFF are read");
}

/// Bytes of one stored sample of an encoding that holds samples as they were taken; 0 for others.
unsigned int StoredSize(int format)
{
  switch (format & SF_FORMAT_SUBMASK)
  {
  case SF_FORMAT_PCM_S8:
  case SF_FORMAT_PCM_U8:
    return 1;
  case SF_FORMAT_PCM_16:
    return 2;
  case SF_FORMAT_PCM_24:
    return 3;
  case SF_FORMAT_PCM_32:
  case SF_FORMAT_FLOAT:
    return 4;
  case SF_FORMAT_DOUBLE:
    return 8;
  default:
    return 0;
  }
}

/// Reads the wanted channels of an open file.
class FrameReader
{
public:
  /// @param mostFrames  where to stop, no more than the file can hold; libsndfile goes on into a Wave64 chunk's padding
  FrameReader(SNDFILE* sound, SF_INFO const& info, int firstChannel, unsigned long long mostFrames,
              std::vector<SampleArray>& channels)
    : sound_(sound), width_(info.channels), firstChannel_(static_cast<std::size_t>(firstChannel)), left_(mostFrames),
      channels_(channels)
  {
  }

  void Read(int format)
  {
    auto const asItIs = [](auto value) { return value; };
    auto const raw = [this](auto* buffer, sf_count_t frames)
    { return sf_read_raw(sound_, buffer, frames * width_) / width_; };
    auto const with = [this](auto function)
    { return [this, function](auto* buffer, sf_count_t frames) { return function(sound_, buffer, frames); }; };
    switch (format & SF_FORMAT_SUBMASK)
    {
    case SF_FORMAT_PCM_S8:
      return ReadAs<signed char>(raw, asItIs);
    case SF_FORMAT_PCM_U8:
      return ReadAs<unsigned char>(raw, asItIs);
    case SF_FORMAT_PCM_16:
      return ReadAs<short>(with(sf_readf_short), asItIs);
    case SF_FORMAT_PCM_24: // delivered in the upper three bytes
      return ReadAs<int>(with(sf_readf_int), [](int value) { return value >> 8; });
    case SF_FORMAT_PCM_32:
      return ReadAs<int>(with(sf_readf_int), asItIs);
    case SF_FORMAT_FLOAT:
      return ReadAs<float>(with(sf_readf_float), asItIs);
    default:
      return ReadAs<double>(with(sf_readf_double), asItIs);
    }
  }

private:
  /// `read(buffer, frames)` gives the number of frames read, `store(value)` the sample for a delivered value.
  template <class Sample, class ReadBlock, class Store>
  void ReadAs(ReadBlock read, Store store)
  {
    constexpr unsigned long long kMostSamples = kMaximumSampleBytes / sizeof(Sample);
    for (SampleArray& channel : channels_)
      channel.emplace<std::vector<Sample>>().reserve(static_cast<std::size_t>(std::min(left_, kMostSamples)));
    auto const width = static_cast<std::size_t>(width_);
    std::vector<Sample> buffer(kBlockFrames * width);
    while (left_ > 0)
    {
      auto const wanted = static_cast<sf_count_t>(std::min<unsigned long long>(left_, kBlockFrames));
      sf_count_t const frames = read(buffer.data(), wanted);
      if (frames <= 0)
        return;
      for (std::size_t c = 0; c < channels_.size(); ++c)
        Append(std::get<std::vector<Sample>>(channels_[c]), buffer, static_cast<std::size_t>(frames), c, store);
      left_ -= static_cast<unsigned long long>(frames);
    }
  }

  template <class Sample, class Store>
  void Append(std::vector<Sample>& samples, std::vector<Sample> const& buffer, std::size_t frames, std::size_t channel,
              Store store) const
  {
    RequireRoomForSample(samples.size() + frames - 1, sizeof(Sample));
    for (std::size_t i = 0; i < frames; ++i)
      samples.push_back(store(buffer[i * static_cast<std::size_t>(width_) + firstChannel_ + channel]));
  }

  static constexpr std::size_t kBlockFrames = 4096;

  SNDFILE* sound_;
  int width_;
  std::size_t firstChannel_;
  unsigned long long left_;
  std::vector<SampleArray>& channels_;
};

/// Compares what was read with what the file's header announces.
void CheckLength(std::optional<unsigned long long> const& announced, unsigned long long bytesRead, bool acceptCut,
                 Recording& recording)
{
  if (!announced || *announced == bytesRead)
    return;
  std::string const finding = "its header announces " + Text::Counted(*announced, "byte") + " of samples, " +
                              std::to_string(bytesRead) + " can be read";
  if (!acceptCut)
    Refuse("is cut or was not closed: " + finding + " (--accept-cut takes these)");
  recording.remarks.push_back(finding);
}

/// Runs write(block, count) on all samples, until one is not taken.
/// @return whether all were
template <class T, class WriteBlock>
bool WriteBlocks(std::span<unsigned char const> bytes, WriteBlock write)
{
  bool isWritten = true;
  ForEachBlock<T>(bytes, [&](std::span<T const> block)
                  { isWritten = isWritten && write(block) == static_cast<sf_count_t>(block.size()); });
  return isWritten;
}

std::vector<int> ShiftedToUpperBytes(std::span<int const> block)
{
  std::vector<int> shifted;
  for (int value : block)
  {
    if (value < -8388608 || value > 8388607)
      Refuse("holds the sample " + std::to_string(value) + ", which does not fit 24 bits");
    shifted.push_back(value * 256);
  }
  return shifted;
}

int FormatFor(sample_datatype32_t type, SoundFile::Encoding encoding)
{
  if (encoding == SoundFile::Encoding::Pcm24)
    return type == data_int32_t ? SF_FORMAT_PCM_24 : 0;
  switch (type)
  {
  case data_uint8_t:
    return SF_FORMAT_PCM_U8;
  case data_int16_t:
    return SF_FORMAT_PCM_16;
  case data_int32_t:
    return SF_FORMAT_PCM_32;
  case data_float32_t:
    return SF_FORMAT_FLOAT;
  case data_float64_t:
    return SF_FORMAT_DOUBLE;
  default:
    return 0;
  }
}

/// @return whether all were taken
bool WriteSamples(SNDFILE* sound, std::span<unsigned char const> bytes, int encoding)
{
  switch (encoding)
  {
  case SF_FORMAT_PCM_U8:
    return WriteBlocks<unsigned char>(
        bytes, [=](auto block) { return sf_write_raw(sound, block.data(), static_cast<sf_count_t>(block.size())); });
  case SF_FORMAT_PCM_16:
    return WriteBlocks<short>(bytes, [=](auto block)
                              { return sf_write_short(sound, block.data(), static_cast<sf_count_t>(block.size())); });
  case SF_FORMAT_PCM_24:
    return WriteBlocks<int>(bytes,
                            [=](auto block)
                            {
                              std::vector<int> const shifted = ShiftedToUpperBytes(block);
                              return sf_write_int(sound, shifted.data(), static_cast<sf_count_t>(shifted.size()));
                            });
  case SF_FORMAT_PCM_32:
    return WriteBlocks<int>(bytes, [=](auto block)
                            { return sf_write_int(sound, block.data(), static_cast<sf_count_t>(block.size())); });
  case SF_FORMAT_FLOAT:
    return WriteBlocks<float>(bytes, [=](auto block)
                              { return sf_write_float(sound, block.data(), static_cast<sf_count_t>(block.size())); });
  default:
    return WriteBlocks<double>(bytes, [=](auto block)
                               { return sf_write_double(sound, block.data(), static_cast<sf_count_t>(block.size())); });
  }
}
} // namespace

Recording SoundFile::Read(InputFile const& file, ReadOptions const& options)
{
  SF_INFO info{};
  SoundAccess access(file);
  Handle const sound = access.Open(info);
  if (sound == nullptr)
    Refuse(std::string("is no readable sound file: ") + sf_strerror(nullptr));
  RequireSupportedContainer(info.format);
  unsigned int const sampleSize = StoredSize(info.format);
  if (sampleSize == 0)
    Refuse("has the encoding " + FormatName(info.format & SF_FORMAT_SUBMASK) +
           ", which does not hold samples as they were taken; only PCM of 8 to 32 bits and floating point are read");
  unsigned int const channelCount = static_cast<unsigned int>(info.channels);
  if (options.channel && (*options.channel < 1 || *options.channel > channelCount))
    Refuse("has " + Text::Counted(channelCount, "channel") + ", no channel " + std::to_string(*options.channel));

  Recording recording;
  recording.rate = info.samplerate;
  recording.firstChannel = options.channel.value_or(1);
  recording.channels.resize(options.channel ? 1 : channelCount);
  auto const announced = SoundContainer::AnnouncedBytes(file);
  unsigned long long const frameSize = static_cast<unsigned long long>(channelCount) * sampleSize;
  // A recorder that did not close its file left the length at 0.
  unsigned long long const mostBytes = announced.value_or(0) != 0 ? std::min(*announced, file.Size()) : file.Size();
  FrameReader(sound.get(), info, static_cast<int>(recording.firstChannel) - 1, mostBytes / frameSize,
              recording.channels)
      .Read(info.format);
  access.RethrowFailure();
  CheckLength(announced, SampleCountOf(recording.channels.front()) * frameSize, options.acceptCut, recording);
  return recording;
}

void SoundFile::Write(OutputFile& file, std::span<unsigned char const> bytes, sample_datatype32_t type, int rate,
                      Encoding encoding)
{
  int const format = FormatFor(type, encoding);
  if (format == 0)
    Refuse("holds " + Names::Show(Names::SampleTypes(), type) + " samples, for which WAV has no " +
           (encoding == Encoding::Pcm24 ? "24-bit" : "exact") + " encoding; -f csv takes every type");
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | format;
  SoundAccess access(file);
  Handle sound = access.Open(info);
  if (sound == nullptr)
    throw ToolError(ExitCode::Disk, std::string("WAV file cannot be written: ") + sf_strerror(nullptr));
  // The chunk of peaks that floating-point files get otherwise carries the time of writing: no two would be equal.
  sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  bool const isWritten = WriteSamples(sound.get(), bytes, format);
  bool const isClosed = sf_close(sound.release()) == 0; // completes the header
  access.RethrowFailure();
  if (!isWritten || !isClosed)
    throw ToolError(ExitCode::Disk, "WAV file cannot be written");
}
