#include "signalprocessing/io/file/Checksum.h"

#include "support/Records.h"
#include "support/SampleArrays.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <span>
#include <utility>
#include <vector>

namespace
{
/// Checksums of the first 0, 1, 2... bytes.
std::vector<unsigned short> PlainChecksums(Bytes const& bytes)
{
  std::vector<unsigned short> checksums;
  for (std::size_t length = 0; length <= bytes.size(); ++length)
    checksums.push_back(PlainChecksum(bytes.data(), length));
  return checksums;
}

/// Lengths around every vector width and around the blocks that are summed while hot.
std::vector<std::size_t> LongLengths()
{
  std::vector<std::size_t> lengths;
  for (std::size_t const base : {512U, 1024U, 4096U, 16384U, 32768U, 65536U})
    for (std::size_t const length : {base - 33, base - 2, base - 1, base, base + 1, base + 2, base + 31})
      lengths.push_back(length);
  return lengths;
}

/// Fills an array piece by piece through WhileHot and notes the pieces.
template <class T>
struct Filling
{
  explicit Filling(std::size_t count) : source(RandomBits<T>(count, count)), target(count) {}

  unsigned short Run()
  {
    return Checksum::WhileHot(target.data(), target.size(),
                              [this](std::size_t first, std::size_t count)
                              {
                                pieces.emplace_back(first, count);
                                std::copy_n(source.data() + first, count, target.data() + first);
                              });
  }

  std::vector<T> source;
  std::vector<T> target;
  std::vector<std::pair<std::size_t, std::size_t>> pieces;
};

template <class T>
Bytes BytesOf(std::vector<T> const& elements)
{
  Bytes bytes(elements.size() * sizeof(T));
  std::memcpy(bytes.data(), elements.data(), bytes.size());
  return bytes;
}
} // namespace

TEST(Checksum, NothingHasChecksumZero)
{
  EXPECT_EQ(Checksum::Compute(nullptr, 0), 0);
  unsigned char const byte = 0xAB;
  EXPECT_EQ(Checksum::Compute(&byte, 0), 0);
}

TEST(Checksum, OddLastByteCountsAsLowByte)
{
  Bytes const bytes = {0xAB, 0xCD, 0xEF};
  EXPECT_EQ(Checksum::Compute(bytes.data(), 1), 0x00AB);
  EXPECT_EQ(Checksum::Compute(bytes.data(), 2), 0xCDAB);
  EXPECT_EQ(Checksum::Compute(bytes.data(), 3), 0xCDAB ^ 0x00EF);
}

TEST(Checksum, WordsAreLittleEndianAndCancelOut)
{
  Bytes const bytes = {0x01, 0x02, 0x10, 0x20, 0x01, 0x02};
  EXPECT_EQ(Checksum::Compute(bytes.data(), 4), 0x2211);
  EXPECT_EQ(Checksum::Compute(bytes.data(), 6), 0x2010);
}

TEST(Checksum, EveryLengthAtEveryAddress)
{
  Bytes const bytes = RandomBits<unsigned char>(kMaxLength, 1);
  std::vector<unsigned short> const expected = PlainChecksums(bytes);
  ForEachPlacement<unsigned char>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<unsigned char> const block(misalignment, std::span(bytes).first(length));
        ASSERT_EQ(Checksum::Compute(block.data(), length), expected[length]) << misalignment << ", " << length;
      });
}

TEST(Checksum, LongBlocksAtEveryAddress)
{
  Bytes const bytes = RandomBits<unsigned char>(65536 + 200, 2);
  for (std::size_t const length : LongLengths())
  {
    unsigned short const expected = PlainChecksum(bytes.data(), length);
    for (std::size_t misalignment = 0; misalignment < kCacheLine; ++misalignment)
    {
      MisalignedArray<unsigned char> const block(misalignment, std::span(bytes).first(length));
      ASSERT_EQ(Checksum::Compute(block.data(), length), expected) << misalignment << ", " << length;
    }
  }
}

TEST(Checksum, EverySingleBitCountsAtItsPlace)
{
  Bytes bytes(kMaxLength);
  for (std::size_t place = 0; place < bytes.size(); ++place)
    for (unsigned bit = 0; bit < 8; ++bit)
    {
      bytes[place] = static_cast<unsigned char>(1U << bit);
      ASSERT_EQ(Checksum::Compute(bytes.data(), bytes.size()), 1U << (bit + (place % 2 == 0 ? 0 : 8))) << place;
      bytes[place] = 0;
    }
}

TEST(Checksum, ChecksumOfJoinedBlocksIsTheExclusiveOrWhenTheFirstIsEven)
{
  Bytes const bytes = RandomBits<unsigned char>(kMaxLength + 1, 3);
  unsigned short const whole = Checksum::Compute(bytes.data(), bytes.size());
  for (std::size_t first = 0; first <= bytes.size(); first += 2)
    EXPECT_EQ(Checksum::Compute(bytes.data(), first) ^ Checksum::Compute(bytes.data() + first, bytes.size() - first),
              whole);
}

TEST(ChecksumCopy, EveryLengthAtEveryAddressOfTheSource)
{
  Bytes const bytes = RandomBits<unsigned char>(kMaxLength, 4);
  std::vector<unsigned short> const expected = PlainChecksums(bytes);
  GuardedRoom room(kMaxLength);
  ForEachPlacement<unsigned char>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<unsigned char> const source(misalignment, std::span(bytes).first(length));
        unsigned char* const destination = room.Take((5 * misalignment + length) % kCacheLine, length);
        ASSERT_EQ(Checksum::Copy(destination, source.data(), length), expected[length]);
        ASSERT_TRUE(std::equal(bytes.data(), bytes.data() + length, destination)) << misalignment << ", " << length;
        ASSERT_TRUE(room.IsUntouchedAround()) << misalignment << ", " << length;
      });
}

TEST(ChecksumCopy, EveryPairOfAddresses)
{
  Bytes const bytes = RandomBits<unsigned char>(kMaxLength, 5);
  std::vector<unsigned short> const expected = PlainChecksums(bytes);
  GuardedRoom room(kMaxLength);
  for (std::size_t const length : {1U, 2U, 3U, 7U, 15U, 16U, 31U, 33U, 64U, 65U, 127U, 129U, 300U})
    for (std::size_t from = 0; from < kCacheLine; ++from)
    {
      MisalignedArray<unsigned char> const source(from, std::span(bytes).first(length));
      for (std::size_t to = 0; to < kCacheLine; ++to)
      {
        unsigned char* const destination = room.Take(to, length);
        ASSERT_EQ(Checksum::Copy(destination, source.data(), length), expected[length]);
        ASSERT_TRUE(std::equal(bytes.data(), bytes.data() + length, destination)) << from << ", " << to;
        ASSERT_TRUE(room.IsUntouchedAround()) << from << ", " << to;
      }
    }
}

TEST(ChecksumCopy, LongBlocks)
{
  Bytes const bytes = RandomBits<unsigned char>(65536 + 200, 6);
  GuardedRoom room(bytes.size());
  for (std::size_t const length : LongLengths())
    for (std::size_t const misalignment : {0U, 1U, 2U, 7U, 8U, 31U, 63U})
    {
      MisalignedArray<unsigned char> const source(misalignment, std::span(bytes).first(length));
      unsigned char* const destination = room.Take(kCacheLine - 1 - misalignment, length);
      ASSERT_EQ(Checksum::Copy(destination, source.data(), length), PlainChecksum(bytes.data(), length));
      ASSERT_TRUE(std::equal(bytes.data(), bytes.data() + length, destination)) << misalignment << ", " << length;
      ASSERT_TRUE(room.IsUntouchedAround()) << misalignment << ", " << length;
    }
}

TEST(ChecksumCopy, NothingIsCopiedFromNowhereToNowhere) { EXPECT_EQ(Checksum::Copy(nullptr, nullptr, 0), 0); }

TEST(ChecksumWhileHot, NoElementsAreNeverProduced)
{
  Filling<short> filling(0);
  EXPECT_EQ(filling.Run(), 0);
  EXPECT_TRUE(filling.pieces.empty());
}

TEST(ChecksumWhileHot, PiecesFollowEachOtherAndStayHot)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        constexpr std::size_t block = Checksum::kHotBytes / sizeof(T);
        for (std::size_t const count : {std::size_t{1}, block - 1, block, block + 1, 2 * block, 3 * block + 7})
        {
          Filling<T> filling(count);
          filling.Run();
          std::size_t next = 0;
          for (auto const& [first, length] : filling.pieces)
          {
            EXPECT_EQ(first, next);
            EXPECT_GT(length, 0U);
            EXPECT_LE(length * sizeof(T), Checksum::kHotBytes);
            next = first + length;
          }
          EXPECT_EQ(next, count);
        }
      });
}

TEST(ChecksumWhileHot, ChecksumIsThatOfTheWholeArray)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        constexpr std::size_t block = Checksum::kHotBytes / sizeof(T);
        for (std::size_t const count : {std::size_t{1}, std::size_t{2}, std::size_t{3}, block - 1, block, block + 1,
                                        2 * block - 1, 2 * block + 1, 3 * block + 7})
        {
          Filling<T> filling(count);
          EXPECT_EQ(filling.Run(), PlainChecksum(BytesOf(filling.source))) << count;
          EXPECT_EQ(BytesOf(filling.target), BytesOf(filling.source));
        }
      });
}
