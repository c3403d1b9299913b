#pragma once

#include <span>
#include <string>

class SqlConnection;

/// The tables of a store and how an older store gets them.
class StoreSchema
{
public:
  /// Holds the version; what has no such table is no store.
  static constexpr char kVersionTable[] = "qen_store";

  /// Brings an empty or older database to the newest version, in one transaction. Throws DatabaseException for one that
  /// a newer program made, or that holds tables but no store.
  static void Migrate(SqlConnection& connection);
  /// Only looks: throws unless the version is the newest one.
  static void Require(SqlConnection& connection);
  static unsigned int NewestVersion();

  /// The same with other migrations; the first one makes version 1 of an empty database. {uuid}, {integer}, {real},
  /// {bytes} and {keep} stand for what the engine calls them.
  static void Migrate(SqlConnection& connection, std::span<char const* const> migrations);
};
