#include "platform/database/DeviceDO.h"

DeviceDO::DeviceDO() = default;
DeviceDO::DeviceDO(DeviceDO const&) = default;
DeviceDO& DeviceDO::operator=(DeviceDO const&) = default;
DeviceDO::~DeviceDO() = default;

void DeviceDO::setDeviceDetails(std::string const& details) { deviceDetails_ = details; }
std::string const& DeviceDO::getDeviceDetails() const { return deviceDetails_; }
