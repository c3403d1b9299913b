#pragma once

#include "platform/Export.h"

#include <string>

/// A stored device: a plain value.
class QEN_PLATFORM_EXPORT DeviceDO
{
public:
  DeviceDO();
  DeviceDO(DeviceDO const&);
  DeviceDO& operator=(DeviceDO const&);
  virtual ~DeviceDO();

  /// The device's configuration, an XML document.
  void setDeviceDetails(std::string const& details);
  std::string const& getDeviceDetails() const;

private:
  std::string deviceDetails_;
};
