// Changes of inputs that are the archive form of a signal: of its record, or of a text, a number, an identifier or a
// list behind it.

#include "RecordMutation.h"
#include "support/ArchiveForm.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace
{
using Mutation::Random;

/// Pointers to all values of a kind, wherever they are.
struct Parts
{
  std::vector<std::string*> texts;
  std::vector<double*> numbers;
  std::vector<float*> speeds;
  std::vector<Uuid*> uuids;

  explicit Parts(SignalContents& contents)
  {
    texts.push_back(&contents.unitString);
    uuids.push_back(&contents.jobDataUuid);
    for (auto& validator : contents.validators)
      add(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
    add(contents.trigger.TriggerUuid, contents.trigger.TripValue, contents.trigger.UnitUuid,
        contents.trigger.UnitString);
    for (auto& value : contents.charVals)
    {
      add(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString);
      speeds.push_back(&value.Speed);
    }
  }

private:
  void add(Uuid& uuid, double& number, Uuid& unit, std::string& unitString)
  {
    uuids.insert(uuids.end(), {&uuid, &unit});
    numbers.push_back(&number);
    texts.push_back(&unitString);
  }
};

void changeRecord(SignalContents& contents, Random& random, std::size_t maxSize)
{
  Bytes const flat = Mutation::MutatedRecord<Mutation::SignalLayout>(contents.Flat(), random, maxSize);
  contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
  contents.samples.emplace(flat.begin() + kHeaderBytes, flat.end());
  // Without an array the header may still announce one.
  if (random.OneIn(16))
    contents.samples.reset();
}

void changeText(std::string& text)
{
  Bytes bytes(text.begin(), text.end());
  Mutation::Change(bytes, 2 * bytes.size() + 16);
  text.assign(bytes.begin(), bytes.end());
}

void changeUuid(Uuid& uuid)
{
  Bytes bytes(uuid.GetPlainUuid(), uuid.GetPlainUuid() + 16);
  Mutation::ChangeInPlace(bytes);
  uuid.SetPlainUuid(bytes.data());
}

template <class Entry>
void changeLength(std::vector<Entry>& list, Random& random)
{
  if (!list.empty() && random.OneIn(2))
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(random.Below(list.size())));
  else
    list.push_back(list.empty() ? Entry() : list[random.Below(list.size())]);
}

void changeDescription(SignalContents& contents, Random& random)
{
  Parts const parts(contents);
  switch (random.Below(5))
  {
  case 0:
    changeText(*random.Of(parts.texts));
    break;
  case 1:
    Mutation::ChangeValue(*random.Of(parts.numbers));
    break;
  case 2:
    changeUuid(*random.Of(parts.uuids));
    break;
  case 3:
    if (!parts.speeds.empty())
      Mutation::ChangeValue(*random.Of(parts.speeds));
    break;
  default:
    if (random.OneIn(2))
      changeLength(contents.validators, random);
    else
      changeLength(contents.charVals, random);
  }
}

Bytes mutated(Bytes const& input, Random& random, std::size_t maxSize)
{
  SignalContents contents = ArchiveReader(std::string(input.begin(), input.end())).Contents();
  if (contents.header.size() < kHeaderBytes || random.OneIn(2))
    changeRecord(contents, random, maxSize);
  else
  {
    changeDescription(contents, random);
    SetField<unsigned long long>(contents.header, FieldOffset::kDataArrayByteCount,
                                 contents.samples ? contents.samples->size() : 0);
  }
  std::string const bytes = ArchiveForm(contents);
  return Bytes(bytes.begin(), bytes.end());
}
} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
  return Mutation::Mutate(data, size, maxSize, seed, mutated);
}
