#pragma once

#include "store/SqlConnection.h"

/// One transaction, rolled back unless it is committed.
class StoreTransaction
{
public:
  explicit StoreTransaction(SqlConnection& connection) : connection_(connection) { connection_.Begin(); }
  StoreTransaction(StoreTransaction const&) = delete;
  StoreTransaction& operator=(StoreTransaction const&) = delete;
  ~StoreTransaction()
  {
    if (!isOver_)
      connection_.Rollback();
  }

  /// What cannot be committed is rolled back.
  void Commit()
  {
    connection_.Commit();
    isOver_ = true;
  }

private:
  SqlConnection& connection_;
  bool isOver_ = false;
};
