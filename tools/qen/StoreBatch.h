#pragma once

#include "store/DeviceDatabase.h"

#include <functional>
#include <optional>

/// Writes many rows in transactions of some hundred, so that a store is neither synchronised for each row nor taken
/// from others for long. What is committed stays; a run that ends early loses no more than the transaction that is
/// open.
class StoreBatch
{
public:
  /// @param committed  is called after each transaction
  explicit StoreBatch(
      DeviceDatabase& database, std::function<void()> committed = [] {})
    : database_(database), committed_(std::move(committed))
  {
  }

  /// To be called in front of each row. @param byteCount  of the row
  void Add(unsigned long long byteCount);
  /// Commits the rest. Without it, what was not committed is not stored.
  void Finish();

private:
  DeviceDatabase& database_;
  std::function<void()> committed_;
  std::optional<DeviceDatabase::Transaction> transaction_;
  unsigned int rows_ = 0;
  unsigned long long bytes_ = 0;
};
