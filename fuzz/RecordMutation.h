#pragma once

#include "RepairingMutator.h"
#include "support/TrendRecords.h"

#include <algorithm>
#include <cstddef>
#include <optional>

// Changes of flat records, of time signals and of trends: a header in front of plain or compressed bytes.

namespace Mutation
{
/// What differs between the two.
struct SignalLayout
{
  static constexpr std::size_t kHeader = kHeaderBytes;
  static constexpr std::size_t kForm = FieldOffset::kCompression;
  /// A signal may announce another number of samples than it stores.
  static constexpr bool kCountMayLie = true;

  static std::size_t ElementSize(Bytes const& header)
  {
    return SampleSizeOf(static_cast<sample_datatype32_t>(FieldAt<int>(header, FieldOffset::kSampleType)));
  }
  static unsigned long long Count(Bytes const& header)
  {
    return FieldAt<unsigned long long>(header, FieldOffset::kSampleCount);
  }
  static void SetCount(Bytes& header, unsigned long long count) { SetField(header, FieldOffset::kSampleCount, count); }
  static void SetByteCount(Bytes& header, std::size_t count)
  {
    SetField<unsigned long long>(header, FieldOffset::kDataArrayByteCount, count);
  }
  static void RepairFields(Bytes& header)
  {
    auto const intoRange = [&header](std::size_t offset, unsigned int largest)
    { SetField(header, offset, (FieldAt<unsigned int>(header, offset) - 1) % largest + 1); };
    SetField<unsigned short>(header, FieldOffset::kBinaryHeaderVersion, 2);
    SetField<unsigned short>(header, FieldOffset::kHeaderSize, 120);
    intoRange(FieldOffset::kSignalType, 5);
    intoRange(FieldOffset::kSampleType, 10);
  }
  static void RepairChecksums(Bytes& flat) { ::RepairChecksums(flat); }
};

struct TrendLayout
{
  static constexpr std::size_t kHeader = kTrendHeaderBytes;
  static constexpr std::size_t kForm = TrendField::kCompression;
  static constexpr bool kCountMayLie = false;

  static std::size_t ElementSize(Bytes const&) { return kTrendEntryBytes; }
  static unsigned long long Count(Bytes const& header)
  {
    return FieldAt<unsigned int>(header, TrendField::kSampleCount);
  }
  static void SetCount(Bytes& header, unsigned long long count)
  {
    SetField(header, TrendField::kSampleCount, static_cast<unsigned int>(count));
  }
  static void SetByteCount(Bytes& header, std::size_t count)
  {
    SetField(header, TrendField::kDataArrayByteCount, static_cast<unsigned int>(count));
  }
  static void RepairFields(Bytes&) {}
  static void RepairChecksums(Bytes& flat) { RepairTrendChecksums(flat); }
};

/// A record taken apart; of a damaged one, what there is, with a header that can be read.
template <class Layout>
struct PlainRecord
{
  Bytes header;
  /// The bytes behind the header before any compression.
  Bytes plain;

  explicit PlainRecord(Bytes const& flat)
    : header(flat.begin(), flat.begin() + static_cast<std::ptrdiff_t>(std::min(flat.size(), Layout::kHeader))),
      plain(flat.begin() + static_cast<std::ptrdiff_t>(header.size()), flat.end())
  {
    header.resize(Layout::kHeader);
    RepairFields();
    constexpr unsigned long long kLargestPlain = 1 << 16;
    unsigned long long const count = Layout::Count(header);
    if (Form() == no_compression || count > kLargestPlain)
      return;
    if (auto const decoded = Decoded(plain, Form(), static_cast<std::size_t>(count) * Layout::ElementSize(header)))
      plain = *decoded;
  }

  compression32_t Form() const { return static_cast<compression32_t>(FieldAt<int>(header, Layout::kForm)); }
  void SetForm(compression32_t form) { SetField(header, Layout::kForm, static_cast<int>(form)); }

  void RepairFields()
  {
    Layout::RepairFields(header);
    if (std::find(kStorageForms.begin(), kStorageForms.end(), Form()) == kStorageForms.end())
      SetForm(kStorageForms.at(static_cast<unsigned int>(Form()) % kStorageForms.size()));
  }

  void RepairCount()
  {
    std::size_t const size = Layout::ElementSize(header);
    // A stream holds whole elements; plain bytes behind the last element are nobody's.
    if (Form() != no_compression)
      plain.resize(plain.size() / size * size);
    Layout::SetCount(header, plain.size() / size);
  }

  /// The record again; it counts what is stored, and its checksums are right.
  Bytes Flat() const
  {
    Bytes const stored = Stored(plain, Form());
    Bytes flat = header;
    Layout::SetByteCount(flat, stored.size());
    flat.insert(flat.end(), stored.begin(), stored.end());
    Layout::RepairChecksums(flat);
    return flat;
  }
};

/// A flat record with a change in its header, its stored form or its plain bytes, repaired.
template <class Layout>
Bytes MutatedRecord(Bytes const& flat, Random& random, std::size_t maxSize)
{
  PlainRecord<Layout> record(flat);
  switch (random.Below(5))
  {
  case 0:
    ChangeInPlace(record.header);
    record.RepairFields();
    break;
  case 1:
    record.SetForm(random.Of(kStorageForms));
    break;
  default:
    Change(record.plain, std::min(maxSize, 2 * record.plain.size() + 64));
  }
  // A lie stays within what an array may hold.
  if (Layout::kCountMayLie && random.OneIn(4))
    Layout::SetCount(record.header, Layout::Count(record.header) % 100000);
  else
    record.RepairCount();
  return record.Flat();
}
} // namespace Mutation
