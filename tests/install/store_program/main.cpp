// Keeps a trend in a store, finds it again, and is told what goes wrong.
#include "platform/database/TrendDataDO.h"
#include "store/DatabaseException.h"
#include "store/DeviceDatabase.h"

#include <iostream>

int main()
{
  Uuid const device("11111111-2222-3333-4444-555555555555");
  TrendDataDO trend;
  trend.setCurrentUuid({1, Uuid::CreateUuid(), false});
  trend.setData({1, 2, 3});
  DeviceDatabase database("sqlite:trends.db");
  database.PutTrend(device, trend);
  for (TrendSummary const& summary : database.ListTrends(device))
    std::cout << "a trend of " << summary.byteCount << " bytes\n";
  try
  {
    DeviceDatabase const unknown("oracle");
  }
  catch (DatabaseException const& exception)
  {
    std::cout << exception.what() << "\n";
  }
}
