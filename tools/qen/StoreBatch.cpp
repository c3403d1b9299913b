#include "StoreBatch.h"

namespace
{
constexpr unsigned int kMostRows = 256;
constexpr unsigned long long kMostBytes = 64ULL << 20;
} // namespace

void StoreBatch::Add(unsigned long long byteCount)
{
  if (rows_ == kMostRows || (rows_ != 0 && bytes_ + byteCount > kMostBytes))
    Finish();
  if (!transaction_)
    transaction_.emplace(database_);
  ++rows_;
  bytes_ += byteCount;
}

void StoreBatch::Finish()
{
  if (transaction_)
  {
    transaction_->Commit();
    transaction_.reset();
    committed_();
  }
  rows_ = 0;
  bytes_ = 0;
}
