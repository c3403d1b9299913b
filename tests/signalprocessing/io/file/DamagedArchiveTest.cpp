#include "signalprocessing/io/file/TimeSignalArchive.h"

#include "support/ArchiveForm.h"
#include "support/ArchivedObject.h"
#include "support/Examination.h"
#include "support/SignalContents.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

// Archives that are cut, changed or lie about themselves: reading ends as ArchiveReader says, and leaves an object
// whose every operation stays inside the stored bytes and does what SignalModel says.

namespace
{
constexpr std::size_t kCount = 5;

/// What an object can have held before an archive is read into it.
enum class Before
{
  nothing,
  ownSamples,
  callersSamples
};
constexpr std::array<Before, 3> kAllBefore = {Before::nothing, Before::ownSamples, Before::callersSamples};

std::unique_ptr<InternalTimeSignal> Target(Before before)
{
  if (before == Before::nothing)
    return std::make_unique<InternalTimeSignal>();
  std::unique_ptr<InternalTimeSignal> signal = ObjectWith(DescribedSignal(data_uint8_t, no_compression, 11, 3));
  if (before == Before::callersSamples)
  {
    std::unique_ptr<unsigned char[]> array(new unsigned char[7]{7, 6, 5, 4, 3, 2, 1});
    std::unique_ptr<unsigned char[]> const old(std::exchange(signal->GetHeader()->Samples, array.release()));
    signal->GetHeader()->DataArrayByteCount = 7;
  }
  return signal;
}

/// Whatever was left behind is a valid object, which takes the next archive.
void ExpectTakesTheNextArchive(InternalTimeSignal& signal, Describe const& describe)
{
  static SignalContents const next = DescribedSignal(data_int64_t, no_compression, 2, 1);
  static std::string const bytes = ArchiveForm(next);
  Archive archive(bytes);
  ASSERT_NO_THROW(archive >> signal) << describe();
  EXPECT_EQ(DifferenceBetween(ContentsOf(signal), next), "") << describe();
}

/// What depends on a byte of the header is examined when that was changed, all when anything else was.
void ExamineAfterAChange(std::string const& bytes, Before before, Describe const& describe, std::size_t offset)
{
  ArchiveReadingEnd const end = ReadAndCompare(Target(before), bytes, describe);
  Examination const examination(*end.signal, end.model, describe);
  ExamineByte(examination, offset);
  ExamineOutputs(*end.signal, describe);
  ExpectTakesTheNextArchive(*end.signal, describe);
}

void ExamineAll(std::string const& bytes, Before before, Describe const& describe)
{
  ArchiveReadingEnd const end = ReadAndCompare(Target(before), bytes, describe);
  Examination(*end.signal, end.model, describe).All();
  ExamineOutputs(*end.signal, describe);
  ExpectTakesTheNextArchive(*end.signal, describe);
}

/// One of each kind of archive: raw and compressed samples, and none.
std::vector<SignalContents> Specimens()
{
  return {DescribedSignal(data_int16_t, no_compression, kCount), DescribedSignal(data_float64_t, gzip, kCount),
          DescribedSignal(data_uint32_t, zlib, kCount, 1), DescribedSignal(data_int8_t, no_compression, 0, 0)};
}

/// Values that mean something somewhere: zero bytes, blanks, signs, the first letters of infinities and NaN, limits.
std::vector<unsigned char> TellingValues(unsigned char right)
{
  std::vector<unsigned char> values = {0, 1, 4, 5, ' ', '-', '.', '9', 'N', 'i', 'n', 'e', 0x7F, 0x80, 0xFF};
  values.push_back(static_cast<unsigned char>(right ^ 1U));
  values.erase(std::remove(values.begin(), values.end(), right), values.end());
  return values;
}

/// Every value, or every `step`th, others for each place.
std::vector<unsigned char> OtherValues(unsigned char right, std::size_t offset, unsigned int step)
{
  std::vector<unsigned char> values;
  for (unsigned int value = static_cast<unsigned int>(offset) % step; value < 256; value += step)
    if (value != right)
      values.push_back(static_cast<unsigned char>(value));
  return values;
}
std::vector<unsigned char> AllValues(unsigned char right, std::size_t offset)
{
  return OtherValues(right, offset, kValueStep);
}
std::vector<unsigned char> SomeValues(unsigned char right, std::size_t offset) { return OtherValues(right, offset, 7); }

/// Changes the bytes of those items to other values, one at a time.
template <class Chosen, class Values>
void ChangeEveryByte(SignalContents const& contents, Before before, Chosen&& isChosen, Values&& values)
{
  std::string const valid = ArchiveForm(contents);
  std::size_t offset = 0;
  for (ArchiveItem const& item : ArchiveItems(contents))
    for (std::size_t i = 0; i < item.bytes.size(); ++i, ++offset)
    {
      if (!isChosen(item, i))
        continue;
      for (unsigned char const value : values(static_cast<unsigned char>(valid[offset]), offset))
      {
        if (testing::Test::HasFailure())
          return;
        std::string changed = valid;
        changed[offset] = static_cast<char>(value);
        ExamineAfterAChange(
            changed, before,
            [&] { return item.name + ", byte " + std::to_string(i) + " set to " + std::to_string(value); }, offset);
      }
    }
}
} // namespace

TEST(DamagedArchive, WholeOnePassesEveryExamination)
{
  for (SignalContents const& contents : Specimens())
    for (Before const before : kAllBefore)
      ExamineAll(ArchiveForm(contents), before, [] { return std::string("whole"); });
}

TEST(DamagedArchive, EveryTruncationIsNoticedAtTheNextNumberOrText)
{
  for (SignalContents const& contents : Specimens())
  {
    std::vector<ArchiveItem> const items = ArchiveItems(contents);
    std::string const valid = ArchiveForm(contents);
    std::size_t size = 0;
    for (std::size_t item = 0; item < items.size(); ++item)
      for (std::size_t i = 0; i < items[item].bytes.size(); ++i, ++size)
      {
        Outcome const expected = EndOfCutArchive(items, item, i, Direction::reading);
        InternalTimeSignal signal;
        Archive archive(valid.substr(0, size));
        Outcome const outcome = OutcomeOf([&] { archive >> signal; });
        EXPECT_TRUE(outcome == expected) << size << " bytes, cut in " << items[item].name << ": " << outcome.ToString()
                                         << " instead of " << expected.ToString();
        EXPECT_TRUE(archive.fail()) << size;
      }
  }
}

TEST(DamagedArchive, EveryTruncationLeavesAValidObject)
{
  for (SignalContents const& contents : Specimens())
  {
    std::string const valid = ArchiveForm(contents);
    for (Before const before : kAllBefore)
      for (std::size_t size = 0; size < valid.size() && !HasFailure(); size += kValueStep)
      {
        Describe const describe = [&] { return std::to_string(size) + " bytes"; };
        ExamineAfterAChange(valid.substr(0, size), before, describe, FieldOffset::kSampleCount);
      }
  }
}

TEST(DamagedArchive, AnyOtherHeaderByteIsTakenAndSafe)
{
  auto const isHeader = [](ArchiveItem const& item, std::size_t) { return item.name == "header"; };
  ChangeEveryByte(DescribedSignal(data_int16_t, no_compression, kCount, 1), Before::nothing, isHeader, AllValues);
  ChangeEveryByte(DescribedSignal(data_float64_t, gzip, kCount, 0), Before::ownSamples, isHeader, SomeValues);
}

TEST(DamagedArchive, AnyOtherTagOrCountOrLengthIsRefusedOrSafe)
{
  auto const isSize = [](ArchiveItem const& item, std::size_t i)
  { return item.kind == ArchiveItemKind::count || (item.kind == ArchiveItemKind::text && i < 2); };
  for (SignalContents const& contents : Specimens())
    ChangeEveryByte(contents, Before::callersSamples, isSize, contents.validators.size() == 1 ? AllValues : SomeValues);
}

TEST(DamagedArchive, AnyOtherByteElsewhereIsRefusedOrSafe)
{
  auto const isElsewhere = [](ArchiveItem const& item, std::size_t) { return item.name != "header"; };
  auto const tellingValues = [](unsigned char right, std::size_t) { return TellingValues(right); };
  for (compression32_t const form : {no_compression, zlib})
    ChangeEveryByte(DescribedSignal(data_uint32_t, form, kCount, 1), Before::nothing, isElsewhere, tellingValues);
}

// Sizes that lie, each in an archive that ends soon behind it.
TEST(DamagedArchive, SizesThatLieAreRefusedAndSafe)
{
  for (std::uint32_t const size : {100U, 65536U, 0x01000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
    for (Before const before : kAllBefore)
    {
      SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
      Describe const describe = [&] { return "size " + std::to_string(size); };
      std::string front;
      for (ArchiveItem const& item : ArchiveItems(contents))
      {
        if (item.kind == ArchiveItemKind::count && item.name != "tag")
          ExamineAll(front + PortableUnsigned(size) + "some bytes", before, describe);
        if (item.kind == ArchiveItemKind::text)
          ExamineAll(front + PortableUnsigned(size) + "some bytes", before, describe);
        front += item.bytes;
      }
      Bytes header = contents.header;
      SetField(header, FieldOffset::kDataArrayByteCount, static_cast<unsigned long long>(size));
      ExamineAll(PlainBytes(header) + PortableUnsigned(kSamplesFollow) + "some bytes", before, describe);
    }
}

TEST(DamagedArchive, AnyBytesAreRefusedOrSafe)
{
  std::mt19937 random(31);
  std::string const valid = ArchiveForm(DescribedSignal(data_int16_t, no_compression, kCount));
  for (int run = 0; run < 300 && !HasFailure(); ++run)
  {
    // Many random bytes in place of those behind a random position, or a few of them anywhere.
    std::string bytes = valid;
    if (run % 2 == 0)
      for (std::size_t i = random() % bytes.size(); i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(random());
    else
      for (int change = 0; change < 4; ++change)
        bytes[kHeaderBytes + random() % (bytes.size() - kHeaderBytes)] = static_cast<char>(random());
    ExamineAll(bytes, kAllBefore.at(static_cast<std::size_t>(run) % 3), [&] { return "run " + std::to_string(run); });
  }
}
