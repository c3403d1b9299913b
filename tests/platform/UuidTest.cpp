#include "platform/Uuid.h"

#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{
using UuidBytes = std::array<unsigned char, 16>;

std::string const kText = "01234567-89ab-cdef-fedc-ba9876543210";
constexpr UuidBytes kBytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                              0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};

Uuid FromBytes(UuidBytes const& bytes)
{
  Uuid uuid;
  uuid.SetPlainUuid(bytes.data());
  return uuid;
}

UuidBytes BytesOf(Uuid const& uuid)
{
  UuidBytes bytes{};
  std::copy_n(uuid.GetPlainUuid(), bytes.size(), bytes.begin());
  return bytes;
}

bool IsHyphen(std::size_t position) { return position == 8 || position == 13 || position == 18 || position == 23; }

/// Position of a digit of the text among the 32 digits.
std::size_t DigitIndex(std::size_t position)
{
  std::size_t index = 0;
  for (std::size_t i = 0; i < position; ++i)
    index += IsHyphen(i) ? 0U : 1U;
  return index;
}

/// Value of a hexadecimal digit, -1 for any other character.
int DigitValue(char character)
{
  std::string const digits = "0123456789abcdef";
  std::string const upper = "0123456789ABCDEF";
  std::size_t const value = std::min(digits.find(character), upper.find(character));
  return value == std::string::npos ? -1 : static_cast<int>(value);
}

std::vector<UuidBytes> RandomBytes(std::size_t count)
{
  std::mt19937 random(20151);
  std::vector<UuidBytes> all(count);
  for (UuidBytes& bytes : all)
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<unsigned char>(random() & 0xFFU); });
  return all;
}
} // namespace

TEST(Uuid, DefaultIsTheNullIdentifier)
{
  Uuid const uuid;
  EXPECT_TRUE(uuid.IsNull());
  EXPECT_EQ(BytesOf(uuid), UuidBytes{});
  EXPECT_EQ(uuid.ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(Uuid, BytesStandInTextOrder)
{
  EXPECT_EQ(FromBytes(kBytes).ToString(), kText);
  EXPECT_EQ(BytesOf(Uuid(kText)), kBytes);
}

TEST(Uuid, TextIsReadBackForRandomBytes)
{
  for (UuidBytes const& bytes : RandomBytes(1000))
  {
    std::string const text = FromBytes(bytes).ToString();
    EXPECT_EQ(BytesOf(Uuid(text)), bytes) << text;
  }
}

TEST(Uuid, TextIsLowerCaseHexadecimalInGroupsOf8And4And4And4And12)
{
  for (UuidBytes const& bytes : RandomBytes(200))
  {
    std::string const text = FromBytes(bytes).ToString();
    ASSERT_EQ(text.size(), 36U);
    for (std::size_t i = 0; i < text.size(); ++i)
      EXPECT_TRUE(IsHyphen(i) ? text[i] == '-' : std::string("0123456789abcdef").find(text[i]) != std::string::npos)
          << text << " at " << i;
  }
}

TEST(Uuid, UpperAndMixedCaseIsRead)
{
  EXPECT_EQ(BytesOf(Uuid("01234567-89AB-CDEF-FEDC-BA9876543210")), kBytes);
  EXPECT_EQ(BytesOf(Uuid("01234567-89aB-CdEf-fEDc-Ba9876543210")), kBytes);
}

TEST(Uuid, EmptyTextIsTheNullIdentifier) { EXPECT_TRUE(Uuid(std::string()).IsNull()); }

TEST(Uuid, TextOfTheNullIdentifierIsRead) { EXPECT_TRUE(Uuid("00000000-0000-0000-0000-000000000000").IsNull()); }

TEST(Uuid, EveryTruncationIsRefused)
{
  for (std::size_t length = 1; length < kText.size(); ++length)
  {
    EXPECT_TRUE(Refuses<UuidException>([&] { Uuid(kText.substr(0, length)); })) << "first " << length;
    EXPECT_TRUE(Refuses<UuidException>([&] { Uuid(kText.substr(kText.size() - length)); })) << "last " << length;
  }
}

TEST(Uuid, EveryMissingCharacterIsRefused)
{
  for (std::size_t i = 0; i < kText.size(); ++i)
    EXPECT_TRUE(Refuses<UuidException>([&] { Uuid(std::string(kText).erase(i, 1)); })) << "position " << i;
}

TEST(Uuid, EveryAdditionalCharacterIsRefused)
{
  for (std::size_t i = 0; i <= kText.size(); ++i)
    for (char character : std::string("0a-{} \n\t\0", 9))
      EXPECT_TRUE(Refuses<UuidException>([&] { Uuid(std::string(kText).insert(i, 1, character)); }))
          << "position " << i << " character " << static_cast<int>(character);
}

TEST(Uuid, EveryReplacedCharacterIsRefusedOrAnotherDigit)
{
  for (std::size_t i = 0; i < kText.size(); ++i)
    for (int value = 0; value < 256; ++value)
    {
      char const character = static_cast<char>(value);
      std::string text = kText;
      text[i] = character;
      if (IsHyphen(i) ? character != '-' : DigitValue(character) < 0)
      {
        EXPECT_TRUE(Refuses<UuidException>([&] { Uuid{text}; })) << "position " << i << " character " << value;
        continue;
      }
      UuidBytes expected = kBytes;
      if (!IsHyphen(i))
      {
        unsigned char& byte = expected.at(DigitIndex(i) / 2);
        auto const digit = static_cast<unsigned char>(DigitValue(character));
        byte = DigitIndex(i) % 2 == 0 ? static_cast<unsigned char>((digit << 4U) | (byte & 0x0FU))
                                      : static_cast<unsigned char>((byte & 0xF0U) | digit);
      }
      EXPECT_EQ(BytesOf(Uuid(text)), expected) << text;
    }
}

TEST(Uuid, OtherSpellingsAreRefused)
{
  for (char const* text :
       {" ", "null", "0", "{01234567-89ab-cdef-fedc-ba9876543210}", "urn:uuid:01234567-89ab-cdef-fedc-ba9876543210",
        "0123456789abcdeffedcba9876543210", "01234567-89ab-cdeff-edc-ba9876543210",
        "0x234567-89ab-cdef-fedc-ba9876543210", "+1234567-89ab-cdef-fedc-ba9876543210",
        "01234567-89ab-cdef-fedc-ba987654321\xC3\xA4", "------------------------------------",
        "01234567 89ab cdef fedc ba9876543210", "01234567-89ab-cdef-fedc-ba9876543210-0123"})
    EXPECT_TRUE(Refuses<UuidException>([&] { Uuid{std::string(text)}; })) << text;
}

TEST(Uuid, TextBehindAZeroByteIsRefused)
{
  EXPECT_TRUE(Refuses<UuidException>([] { Uuid(kText + '\0'); }));
  EXPECT_TRUE(Refuses<UuidException>([] { Uuid(kText + std::string("\0tail", 5)); }));
  EXPECT_TRUE(Refuses<UuidException>([] { Uuid(std::string(1, '\0')); }));
  EXPECT_TRUE(Refuses<UuidException>([] { Uuid(std::string(36, '\0')); }));
}

TEST(Uuid, RefusalOfALongTextIsAnExceptionToo)
{
  EXPECT_TRUE(Refuses<UuidException>([] { Uuid(std::string(1 << 20, 'a')); }));
}

TEST(Uuid, GlobalLocaleChangesNothing)
{
  HostileLocale const hostile;
  EXPECT_EQ(FromBytes(kBytes).ToString(), kText);
  EXPECT_EQ(BytesOf(Uuid(kText)), kBytes);
}

TEST(Uuid, PlainBytesAreCopied)
{
  UuidBytes bytes = kBytes;
  Uuid uuid;
  uuid.SetPlainUuid(bytes.data());
  bytes.fill(0xFF);
  EXPECT_EQ(BytesOf(uuid), kBytes);
}

TEST(Uuid, PlainBytesNeedNoAlignment)
{
  std::array<unsigned char, 17> block{};
  std::copy(kBytes.begin(), kBytes.end(), block.begin() + 1);
  Uuid uuid;
  uuid.SetPlainUuid(block.data() + 1);
  EXPECT_EQ(BytesOf(uuid), kBytes);
}

TEST(Uuid, ClearedIdentifierIsNull)
{
  Uuid uuid(kText);
  EXPECT_FALSE(uuid.IsNull());
  uuid.ClearUuid();
  EXPECT_TRUE(uuid.IsNull());
  EXPECT_EQ(uuid, Uuid());
}

TEST(Uuid, AnySetBitMakesItNotNull)
{
  for (std::size_t bit = 0; bit < 128; ++bit)
  {
    UuidBytes bytes{};
    bytes.at(bit / 8) = static_cast<unsigned char>(1U << (bit % 8));
    EXPECT_FALSE(FromBytes(bytes).IsNull()) << "bit " << bit;
  }
}

TEST(Uuid, EqualMeansAllBytesEqual)
{
  EXPECT_TRUE(FromBytes(kBytes) == Uuid(kText));
  EXPECT_FALSE(FromBytes(kBytes) != Uuid(kText));
  for (std::size_t bit = 0; bit < 128; ++bit)
  {
    UuidBytes bytes = kBytes;
    bytes.at(bit / 8) = static_cast<unsigned char>(bytes.at(bit / 8) ^ (1U << (bit % 8)));
    EXPECT_FALSE(FromBytes(bytes) == FromBytes(kBytes)) << "bit " << bit;
    EXPECT_TRUE(FromBytes(bytes) != FromBytes(kBytes)) << "bit " << bit;
  }
}

TEST(Uuid, OrderIsThatOfTheTexts)
{
  std::vector<UuidBytes> all = RandomBytes(60);
  all.push_back(kBytes);
  all.push_back({});
  for (UuidBytes const& a : all)
    for (UuidBytes const& b : all)
      EXPECT_EQ(FromBytes(a) < FromBytes(b), FromBytes(a).ToString() < FromBytes(b).ToString());
}

TEST(Uuid, OrderComparesEveryByteUnsigned)
{
  for (std::size_t i = 0; i < 16; ++i)
  {
    UuidBytes low = kBytes;
    UuidBytes high = kBytes;
    low.at(i) = 0x7F;
    high.at(i) = 0x80;
    // What follows the first difference does not matter.
    std::fill(low.begin() + static_cast<std::ptrdiff_t>(i) + 1, low.end(), static_cast<unsigned char>(0xFF));
    EXPECT_TRUE(FromBytes(low) < FromBytes(high)) << "byte " << i;
    EXPECT_FALSE(FromBytes(high) < FromBytes(low)) << "byte " << i;
  }
  EXPECT_FALSE(FromBytes(kBytes) < FromBytes(kBytes));
}

TEST(Uuid, OrdersKeysOfAMap)
{
  std::map<Uuid, int> map;
  for (UuidBytes const& bytes : RandomBytes(100))
    map[FromBytes(bytes)] = bytes[0];
  EXPECT_EQ(map.size(), 100U);
  for (UuidBytes const& bytes : RandomBytes(100))
    EXPECT_EQ(map.at(FromBytes(bytes)), bytes[0]);
}

TEST(Uuid, EqualIdentifiersHaveEqualHashes)
{
  for (UuidBytes const& bytes : RandomBytes(100))
    EXPECT_EQ(std::hash<Uuid>()(FromBytes(bytes)), std::hash<Uuid>()(Uuid(FromBytes(bytes).ToString())));
}

TEST(Uuid, HashFollowsEveryByte)
{
  for (std::size_t i = 0; i < 16; ++i)
  {
    std::unordered_set<std::size_t> hashes;
    for (unsigned int value = 0; value < 256; ++value)
    {
      UuidBytes bytes = kBytes;
      bytes.at(i) = static_cast<unsigned char>(value);
      hashes.insert(std::hash<Uuid>()(FromBytes(bytes)));
    }
    EXPECT_GT(hashes.size(), 128U) << "byte " << i;
  }
}

TEST(Uuid, HashesKeysOfAnUnorderedMap)
{
  std::unordered_map<Uuid, int> map;
  for (UuidBytes const& bytes : RandomBytes(100))
    map[FromBytes(bytes)] = bytes[1];
  EXPECT_EQ(map.size(), 100U);
  for (UuidBytes const& bytes : RandomBytes(100))
    EXPECT_EQ(map.at(FromBytes(bytes)), bytes[1]);
}

TEST(Uuid, CreatedIdentifierIsOfVersion4AndTheStandardVariant)
{
  for (int i = 0; i < 200; ++i)
  {
    UuidBytes const bytes = BytesOf(Uuid::CreateUuid());
    EXPECT_EQ(bytes[6] & 0xF0U, 0x40U);
    EXPECT_EQ(bytes[8] & 0xC0U, 0x80U);
  }
}

TEST(Uuid, CreatedIdentifiersDifferInEveryRandomBit)
{
  UuidBytes everSet{};
  UuidBytes everClear{};
  std::set<Uuid> all;
  for (int i = 0; i < 1000; ++i)
  {
    Uuid const uuid = Uuid::CreateUuid();
    all.insert(uuid);
    UuidBytes const bytes = BytesOf(uuid);
    for (std::size_t b = 0; b < bytes.size(); ++b)
    {
      everSet.at(b) = static_cast<unsigned char>(everSet.at(b) | bytes.at(b));
      everClear.at(b) = static_cast<unsigned char>(everClear.at(b) | ~bytes.at(b));
    }
  }
  EXPECT_EQ(all.size(), 1000U);
  UuidBytes expectedSet;
  expectedSet.fill(0xFF);
  UuidBytes expectedClear = expectedSet;
  expectedSet[6] = 0x4F; // version 4 in the high half
  expectedClear[6] = 0xBF;
  expectedSet[8] = 0xBF; // variant 10 in the two highest bits
  expectedClear[8] = 0x7F;
  EXPECT_EQ(everSet, expectedSet);
  EXPECT_EQ(everClear, expectedClear);
}

TEST(Uuid, CopyIsAPlainValue)
{
  Uuid original(kText);
  Uuid const copy = original;
  original.ClearUuid();
  EXPECT_EQ(BytesOf(copy), kBytes);
  original = copy;
  EXPECT_EQ(BytesOf(original), kBytes);
}
