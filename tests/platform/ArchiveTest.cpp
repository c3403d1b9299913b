#include "platform/Archive.h"

#include "support/HostileLocale.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ios>
#include <locale>
#include <random>
#include <string>
#include <type_traits>

using namespace std::string_literals;

namespace
{
std::string Read(Archive& archive, std::size_t count)
{
  std::string bytes(count, '?');
  archive.read(bytes.data(), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(archive.gcount()));
  return bytes;
}

std::string AllBytes()
{
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte)
    bytes.push_back(static_cast<char>(byte));
  return bytes;
}
} // namespace

static_assert(std::is_base_of_v<std::ostream, Archive> && std::is_base_of_v<std::istream, Archive>,
              "an archive goes wherever a stream goes, in both directions");

// Construction and its bytes

TEST(Archive, FreshOneIsEmptyAndGood)
{
  Archive archive;
  EXPECT_EQ(archive.str(), "");
  EXPECT_TRUE(archive.good());
  EXPECT_EQ(archive.tellg(), std::streampos(0));
  EXPECT_EQ(archive.tellp(), std::streampos(0));
  EXPECT_EQ(archive.get(), Archive::traits_type::eof());
  EXPECT_TRUE(archive.eof());
}

TEST(Archive, OfBytesReadsFromTheFirstAndAppendsBehindTheLast)
{
  Archive archive("abc");
  archive << "de";
  EXPECT_EQ(archive.str(), "abcde");
  EXPECT_EQ(Read(archive, 5), "abcde");
  EXPECT_TRUE(archive.good());
}

TEST(Archive, WritesAppendWhateverHasBeenRead)
{
  Archive archive("abc");
  EXPECT_EQ(archive.get(), 'a');
  archive.put('d');
  EXPECT_EQ(archive.get(), 'b');
  archive.write("ef", 2);
  EXPECT_EQ(Read(archive, 4), "cdef");
  EXPECT_EQ(archive.str(), "abcdef");
}

TEST(Archive, AnyByteIsAByteLikeOthers)
{
  std::string const bytes = AllBytes();
  Archive archive;
  archive.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  for (char const byte : bytes)
    archive.put(byte);
  EXPECT_EQ(archive.str(), bytes + bytes);
  for (char const byte : bytes)
    EXPECT_EQ(archive.get(), static_cast<unsigned char>(byte));
  EXPECT_EQ(Read(archive, 256), bytes);
  EXPECT_TRUE(archive.good());
}

TEST(Archive, BytesGiveAnArchiveWithTheSameBytes)
{
  for (std::string const& bytes : {""s, "\0"s, "\0\0a\0"s, AllBytes()})
  {
    Archive const archive(bytes);
    EXPECT_EQ(archive.str(), bytes);
    EXPECT_EQ(Archive(archive.str()).str(), bytes);
  }
}

TEST(Archive, HoldsBytesOfItsOwn)
{
  std::string bytes = "abc";
  Archive archive(bytes);
  bytes[0] = 'x';
  std::string taken = archive.str();
  taken[1] = 'y';
  EXPECT_EQ(archive.str(), "abc");
}

TEST(Archive, AllBytesStayAlsoThoseThatHaveBeenRead)
{
  Archive archive("abc");
  Read(archive, 2);
  EXPECT_EQ(archive.str(), "abc");
  EXPECT_EQ(Read(archive, 1), "c");
  EXPECT_EQ(archive.str(), "abc");
}

TEST(Archive, NewBytesReplaceTheOldOnesAndClearTheState)
{
  Archive archive("abc");
  Read(archive, 10);
  EXPECT_TRUE(archive.fail());
  EXPECT_TRUE(archive.eof());
  archive.str("xyz");
  EXPECT_TRUE(archive.good());
  EXPECT_EQ(archive.tellg(), std::streampos(0));
  archive << '!';
  EXPECT_EQ(Read(archive, 4), "xyz!");
  archive.setstate(std::ios_base::badbit);
  archive.str("");
  EXPECT_TRUE(archive.good());
  EXPECT_EQ(archive.str(), "");
  EXPECT_EQ(archive.get(), Archive::traits_type::eof());
}

// Reading

TEST(Archive, PeekTakesNothing)
{
  Archive archive("ab");
  EXPECT_EQ(archive.peek(), 'a');
  EXPECT_EQ(archive.peek(), 'a');
  EXPECT_EQ(archive.get(), 'a');
  EXPECT_EQ(archive.peek(), 'b');
  EXPECT_EQ(archive.get(), 'b');
  EXPECT_EQ(archive.peek(), Archive::traits_type::eof());
}

TEST(Archive, ByteThatWasTakenCanBePutBack)
{
  Archive archive("ab");
  archive.get();
  archive.unget();
  EXPECT_EQ(Read(archive, 2), "ab");
}

TEST(Archive, IgnoreSkips)
{
  Archive archive("abcdef");
  archive.ignore(2);
  EXPECT_EQ(archive.get(), 'c');
  archive.ignore(10, 'e');
  EXPECT_EQ(archive.get(), 'f');
  EXPECT_TRUE(archive.good());
  archive.ignore(1);
  EXPECT_TRUE(archive.eof());
}

TEST(Archive, ShortReadGivesWhatIsThereAndFails)
{
  Archive archive("abc");
  EXPECT_EQ(Read(archive, 5), "abc");
  EXPECT_TRUE(archive.fail());
  EXPECT_TRUE(archive.eof());
  EXPECT_FALSE(archive.bad());
}

TEST(Archive, GoesOnBehindItsEndWhenMoreHasBeenWritten)
{
  Archive archive("ab");
  EXPECT_EQ(Read(archive, 3), "ab");
  archive.clear();
  archive << "cd";
  EXPECT_EQ(Read(archive, 2), "cd");
  EXPECT_TRUE(archive.good());
}

TEST(Archive, ReadPositionMoves)
{
  Archive archive("abcdef");
  archive.seekg(4);
  EXPECT_EQ(archive.tellg(), std::streampos(4));
  EXPECT_EQ(archive.get(), 'e');
  archive.seekg(-3, std::ios_base::cur);
  EXPECT_EQ(archive.get(), 'c');
  archive.seekg(-1, std::ios_base::end);
  EXPECT_EQ(archive.get(), 'f');
  archive.seekg(0, std::ios_base::end);
  EXPECT_EQ(archive.tellg(), std::streampos(6));
  EXPECT_EQ(archive.peek(), Archive::traits_type::eof());
  archive.clear();
  archive.seekg(0);
  EXPECT_EQ(Read(archive, 6), "abcdef");
}

TEST(Archive, ReadPositionStaysInsideTheBytes)
{
  for (std::streamoff const offset : {-1, 4})
  {
    Archive archive("abc");
    archive.get();
    archive.seekg(offset, std::ios_base::beg);
    EXPECT_TRUE(archive.fail()) << offset;
    archive.clear();
    EXPECT_EQ(archive.get(), 'b') << offset;
  }
  Archive archive("abc");
  archive.seekg(-4, std::ios_base::end);
  EXPECT_TRUE(archive.fail());
}

TEST(Archive, SeekingBackDoesNotMoveWhereWritesGo)
{
  Archive archive("abc");
  archive.seekg(1);
  archive << "d";
  EXPECT_EQ(archive.str(), "abcd");
  EXPECT_EQ(archive.tellg(), std::streampos(1));
  EXPECT_EQ(archive.tellp(), std::streampos(4));
}

TEST(Archive, WritePositionStaysAtTheEnd)
{
  Archive archive("abc");
  archive.seekp(0);
  archive.clear();
  archive << "d";
  EXPECT_EQ(archive.str(), "abcd");
  archive.seekp(0, std::ios_base::end);
  EXPECT_TRUE(archive.good());
  EXPECT_EQ(archive.tellp(), std::streampos(4));
}

// Any order of reads and writes, single bytes and blocks, against a string and a position in it.
TEST(Archive, MixedTransfersAgreeWithAStringAndAPosition)
{
  std::mt19937 random(11);
  for (int run = 0; run < 50; ++run)
  {
    Archive archive;
    std::string bytes;
    std::size_t position = 0;
    for (int step = 0; step < 300; ++step)
    {
      std::size_t const count = random() % 40;
      std::size_t const there = bytes.size() - position;
      switch (random() % 8)
      {
      case 0:
      case 1:
      {
        std::string block(count, ' ');
        std::generate(block.begin(), block.end(), [&] { return static_cast<char>(random()); });
        archive.write(block.data(), static_cast<std::streamsize>(count));
        bytes += block;
        break;
      }
      case 2:
      {
        char const byte = static_cast<char>(random());
        archive.put(byte);
        bytes.push_back(byte);
        break;
      }
      case 3:
        ASSERT_EQ(Read(archive, count), bytes.substr(position, count));
        position += std::min(count, there);
        break;
      case 4:
        ASSERT_EQ(archive.get(),
                  there == 0 ? Archive::traits_type::eof() : static_cast<unsigned char>(bytes[position]));
        position += there == 0 ? 0 : 1;
        break;
      case 5:
        ASSERT_EQ(archive.peek(),
                  there == 0 ? Archive::traits_type::eof() : static_cast<unsigned char>(bytes[position]));
        break;
      case 6:
        archive.ignore(static_cast<std::streamsize>(count));
        position += std::min(count, there);
        break;
      default:
        position = bytes.empty() ? 0 : random() % bytes.size();
        archive.seekg(static_cast<std::streamoff>(position));
        break;
      }
      archive.clear();
      ASSERT_EQ(archive.tellg(), std::streampos(static_cast<std::streamoff>(position)));
    }
    ASSERT_EQ(archive.str(), bytes);
  }
}

TEST(Archive, BigBlocksArriveWhole)
{
  std::string block(3 << 20, ' ');
  for (std::size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<char>(i * 7 + i / 256);
  Archive archive;
  archive.put('>');
  archive.write(block.data(), static_cast<std::streamsize>(block.size()));
  EXPECT_EQ(archive.get(), '>');
  EXPECT_TRUE(Read(archive, block.size()) == block);
  EXPECT_TRUE(archive.good());
}

// Numbers

TEST(Archive, NumbersAreTextInTheClassicLocale)
{
  HostileLocale const hostile;
  Archive archive;
  archive << 1234567 << ' ' << 1234.5 << ' ';
  EXPECT_EQ(archive.str(), "1234567 1234.5 ");
  int integer = 0;
  double number = 0;
  archive >> integer >> number;
  EXPECT_EQ(integer, 1234567);
  EXPECT_EQ(number, 1234.5);
}

TEST(Archive, OfBytesUsesTheClassicLocaleToo)
{
  HostileLocale const hostile;
  Archive archive("1234567 1234.5 ");
  int integer = 0;
  double number = 0;
  archive >> integer >> number;
  EXPECT_EQ(integer, 1234567);
  EXPECT_EQ(number, 1234.5);
  archive.str("8.25 ");
  archive >> number;
  EXPECT_EQ(number, 8.25);
  EXPECT_EQ(archive.getloc(), std::locale::classic());
}

// Errors

TEST(Archive, ThrowsWhereItIsAskedTo)
{
  Archive archive("ab");
  archive.exceptions(std::ios_base::failbit);
  EXPECT_THROW(Read(archive, 3), std::ios_base::failure);
  archive.clear();
  archive.str("12");
  int number = 0;
  archive >> number;
  EXPECT_EQ(number, 12);
}

TEST(Archive, FailedOneTakesNothing)
{
  Archive archive("ab");
  archive.setstate(std::ios_base::failbit);
  archive << "cd";
  EXPECT_EQ(archive.get(), Archive::traits_type::eof());
  EXPECT_EQ(archive.str(), "ab");
}
