#pragma once

#include "Json.h"

#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "store/RetentionLedger.h"

#include <string>

/// A device of a store as a folder of files:
///
///   rows.jsonl                        every row with the columns that no file holds; written last
///   device.xml                        the device's details, when there are any
///   measurements/UUID.qts, UUID.xml   records and documents as they are
///   trends/UUID.qtr, UUID.xml
///   values/UUID.csv                   the characteristic values of a configuration
///   bookmarks/UUID.csv
///
/// Names follow from the UUIDs in rows.jsonl, whose lines are JSON objects with a "kind".
class StoreFolder
{
public:
  explicit StoreFolder(std::string path) : path_(std::move(path)) {}

  std::string const& Path() const { return path_; }
  std::string Rows() const { return path_ + "/rows.jsonl"; }
  std::string Device() const { return path_ + "/device.xml"; }
  std::string Measurement(Uuid const& uuid) const { return Name("measurements", uuid, ".qts"); }
  std::string Trend(Uuid const& uuid) const { return Name("trends", uuid, ".qtr"); }
  std::string Values(Uuid const& config) const { return Name("values", config, ".csv"); }
  std::string Bookmarks(Uuid const& config) const { return Name("bookmarks", config, ".csv"); }
  /// The document of a record.
  static std::string Document(std::string const& record);

  /// Lines of rows.jsonl, without what the record holds.
  static Json Describe(MeasurementDataDO const& object);
  static Json Describe(TrendDataDO const& object);
  static Json Describe(Uuid const& value, RetentionLedger::State const& ledger);
  /// A line of another kind that only names something by its UUID.
  static Json Describe(char const* kind, Uuid const& uuid);

  /// What Describe told; throw nlohmann's exceptions or UuidException for other objects.
  static void Read(Json const& line, MeasurementDataDO& object);
  static void Read(Json const& line, TrendDataDO& object);
  static RetentionLedger::State ReadLedger(Json const& line);
  static Uuid ReadUuid(Json const& line);

  static constexpr char kSchema[] = "qen.db-export/1";

private:
  std::string Name(char const* folder, Uuid const& uuid, char const* extension) const
  {
    return path_ + "/" + folder + "/" + uuid.ToString() + extension;
  }

  std::string path_;
};
