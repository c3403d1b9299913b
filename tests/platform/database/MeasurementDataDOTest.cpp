#include "platform/database/MeasurementDataDO.h"

#include "support/SampleSignals.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

static_assert(std::has_virtual_destructor_v<MeasurementDataDO>, "programs derive from it and delete through it");

namespace
{
MeasurementDataDO FilledObject()
{
  MeasurementDataDO object;
  object.setCurrentUuid(UuidEntryDO(1, CountingUuid(0x10), true));
  object.setMeasurementTimeStamp(-123456789012345);
  object.setMeasurementConfig(UuidEntryDO(2, CountingUuid(0x20), false));
  object.setMeasurementDataDetails(std::string("a\0b", 3));
  object.setBinaryData({1, 0, 255});
  object.setJobData(UuidEntryDO(3, CountingUuid(0x30), true));
  object.setSavedByAlarmStatusChange(true);
  return object;
}

void ExpectEntry(UuidEntryDO const& entry, unsigned int id, Uuid const& uuid, bool flag)
{
  EXPECT_EQ(entry.getId(), id);
  EXPECT_EQ(entry.getUuid(), uuid);
  EXPECT_EQ(entry.getFlag(), flag);
}

void ExpectFilled(MeasurementDataDO const& object)
{
  ExpectEntry(object.getCurrentUuid(), 1, CountingUuid(0x10), true);
  EXPECT_EQ(object.getMeasurementTimeStamp(), -123456789012345);
  ExpectEntry(object.getMeasurementConfig(), 2, CountingUuid(0x20), false);
  EXPECT_EQ(object.getMeasurementDataDetails(), std::string("a\0b", 3));
  EXPECT_EQ(object.getBinaryData(), (std::vector<unsigned char>{1, 0, 255}));
  ExpectEntry(object.getJobData(), 3, CountingUuid(0x30), true);
  EXPECT_TRUE(object.getSavedByAlarmStatusChange());
}
} // namespace

TEST(MeasurementDataDO, FreshOneHoldsNothing)
{
  MeasurementDataDO const object;
  ExpectEntry(object.getCurrentUuid(), 0, Uuid(), false);
  EXPECT_EQ(object.getMeasurementTimeStamp(), 0);
  ExpectEntry(object.getMeasurementConfig(), 0, Uuid(), false);
  EXPECT_EQ(object.getMeasurementDataDetails(), "");
  EXPECT_TRUE(object.getBinaryData().empty());
  ExpectEntry(object.getJobData(), 0, Uuid(), false);
  EXPECT_FALSE(object.getSavedByAlarmStatusChange());
}

TEST(MeasurementDataDO, HoldsWhatIsSet) { ExpectFilled(FilledObject()); }

TEST(MeasurementDataDO, SettersCopyWhatTheyAreGiven)
{
  MeasurementDataDO object;
  UuidEntryDO entry;
  entry.setUuid(CountingUuid(1));
  object.setCurrentUuid(entry);
  entry.setUuid(CountingUuid(2));
  object.setMeasurementConfig(entry);
  entry.setUuid(CountingUuid(3));
  object.setJobData(entry);
  entry.setUuid(CountingUuid(4));
  std::string details = "details";
  object.setMeasurementDataDetails(details);
  details = "others!";
  std::vector<unsigned char> bytes = {1, 2};
  object.setBinaryData(bytes);
  bytes.front() = 9;
  EXPECT_EQ(object.getCurrentUuid().getUuid(), CountingUuid(1));
  EXPECT_EQ(object.getMeasurementConfig().getUuid(), CountingUuid(2));
  EXPECT_EQ(object.getJobData().getUuid(), CountingUuid(3));
  EXPECT_EQ(object.getMeasurementDataDetails(), "details");
  EXPECT_EQ(object.getBinaryData(), (std::vector<unsigned char>{1, 2}));
}

TEST(MeasurementDataDO, CopiesAreWholeAndSeparate)
{
  MeasurementDataDO source = FilledObject();
  MeasurementDataDO const copy(source);
  MeasurementDataDO assigned;
  assigned = source;
  source = MeasurementDataDO();
  ExpectFilled(copy);
  ExpectFilled(assigned);
  EXPECT_TRUE(source.getBinaryData().empty());
}

TEST(MeasurementDataDO, DerivedObjectIsDeletedThroughIt)
{
  struct Watched : MeasurementDataDO
  {
    explicit Watched(bool& gone) : gone_(gone) {}
    ~Watched() override { gone_ = true; }
    bool& gone_;
  };
  bool gone = false;
  std::unique_ptr<MeasurementDataDO>(std::make_unique<Watched>(gone)).reset();
  EXPECT_TRUE(gone);
}
