#pragma once

#include "platform/database/DeviceDO.h"
#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "store/DeviceDatabase.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class OptionSet;

/// The store that a command works on and the device in it, as the user or the environment names them. Refusals are
/// ToolError: of a wrong choice with the status Usage, of a device that is not there Unreadable, of a store that is not
/// there Disk.
class StoreOptions
{
public:
  /// Adds --db.
  void AddDatabase(OptionSet& options);
  /// Adds --device. @param otherwise  what it means to leave it out
  void AddDevice(OptionSet& options, std::string const& otherwise);
  /// The same for commands that work on one device.
  void AddOneDevice(OptionSet& options) { AddDevice(options, "QEN_DEVICE, else the only one of the store"); }

  /// The store as messages name it: a file, or a URL without what might be secret.
  std::string Name() const;
  /// Bytes of its file with what was written last; nothing for a store that is no file.
  std::optional<unsigned long long> FileSize() const;
  /// Whether there is a store; of one that is no file only opening it tells, so that it counts as there.
  bool Exists() const;

  std::unique_ptr<DeviceDatabase> OpenToRead() const;
  /// REQUIRES: a command that works on what is there.
  std::unique_ptr<DeviceDatabase> OpenToChange() const;
  /// Makes the store when there is none.
  std::unique_ptr<DeviceDatabase> OpenOrMake() const;

  /// The device that the user or the environment names.
  std::optional<Uuid> NamedDevice() const;
  /// The named device, which may be new, else the only one of the store.
  Uuid Device(DeviceDatabase& database) const;
  /// The named device, which must be known, else the only one of the store.
  Uuid KnownDevice(DeviceDatabase& database) const;
  /// The named device, which must be known, else all.
  std::vector<Uuid> KnownDevices(DeviceDatabase& database) const;

private:
  std::string Url() const;
  /// Of the file, when the store is one.
  std::optional<std::string> Path() const;
  void RequireExisting() const;
  void SynchroniseFolder() const;

  std::optional<std::string> url_;
  std::optional<Uuid> device_;
};
