// Changes of inputs that are one stored trend.

#include "RecordMutation.h"

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
  return Mutation::Mutate(data, size, maxSize, seed, Mutation::MutatedRecord<Mutation::TrendLayout>);
}
