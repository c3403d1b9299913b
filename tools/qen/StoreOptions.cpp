#include "StoreOptions.h"

#include "ExitCode.h"
#include "OptionSet.h"
#include "OptionValue.h"
#include "OutputFile.h"
#include "Text.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace
{
namespace fs = std::filesystem;

constexpr std::string_view kSqlite = "sqlite:";
/// Retention holds a store for as long as one characteristic value takes.
constexpr std::chrono::minutes kPatience{1};

/// Nothing for a variable that is not set, or empty.
std::optional<std::string> Environment(char const* name)
{
  char const* const value = std::getenv(name);
  return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

std::string ReadUrl(std::string const& text)
{
  bool const isSqlite = text.starts_with(kSqlite) && text.size() > kSqlite.size();
  if (!isSqlite && !text.starts_with("postgresql://") && !text.starts_with("postgres://"))
    throw std::invalid_argument("a store is named sqlite:PATH or postgresql://...");
  return text;
}

[[noreturn]] void RefuseUsage(std::string const& text) { throw ToolError(ExitCode::Usage, text); }
} // namespace

void StoreOptions::AddDatabase(OptionSet& options)
{
  options.AddRead("--db", "URL", "the store, sqlite:PATH or postgresql://... [QEN_DB, else sqlite:qen.db]",
                  [this](std::string const& text) { url_ = ReadUrl(text); });
}

void StoreOptions::AddDevice(OptionSet& options, std::string const& otherwise)
{
  options.AddUuid("--device", device_, "the device's UUID [" + otherwise + "]");
}

std::string StoreOptions::Url() const
{
  if (url_)
    return *url_;
  std::optional<std::string> const fromEnvironment = Environment("QEN_DB");
  if (!fromEnvironment)
    return "sqlite:qen.db";
  try
  {
    return ReadUrl(*fromEnvironment);
  }
  catch (std::invalid_argument const& error)
  {
    RefuseUsage("QEN_DB: " + std::string(error.what()));
  }
}

std::optional<std::string> StoreOptions::Path() const
{
  std::string const url = Url();
  return url.starts_with(kSqlite) ? std::optional<std::string>(url.substr(kSqlite.size())) : std::nullopt;
}

std::string StoreOptions::Name() const
{
  if (std::optional<std::string> const path = Path())
    return Text::Printable(*path);
  // Parameters and what stands in front of the host may be secret.
  std::string const url = Url();
  std::string place = url.substr(url.find("://") + 3);
  place.resize(std::min(place.size(), place.find('?')));
  std::size_t const host = place.rfind('@');
  return Text::Printable("postgresql://" + (host == std::string::npos ? place : place.substr(host + 1)));
}

std::optional<unsigned long long> StoreOptions::FileSize() const
{
  std::optional<std::string> const path = Path();
  if (!path)
    return std::nullopt;
  unsigned long long size = 0;
  for (char const* const suffix : {"", "-wal"})
  {
    std::error_code error;
    std::uintmax_t const bytes = fs::file_size(*path + suffix, error);
    size += error ? 0 : bytes;
  }
  return size;
}

bool StoreOptions::Exists() const
{
  std::optional<std::string> const path = Path();
  if (!path)
    return true;
  // Whoever is killed while making a store may leave a file without content.
  std::error_code error;
  std::uintmax_t const size = fs::file_size(*path, error);
  return error ? error != std::errc::no_such_file_or_directory : size != 0;
}

void StoreOptions::RequireExisting() const
{
  if (!Exists())
    throw ToolError(ExitCode::Disk, "there is no store " + Name() + ": qen db init makes one");
}

std::unique_ptr<DeviceDatabase> StoreOptions::OpenToRead() const
{
  RequireExisting();
  return std::make_unique<DeviceDatabase>(Url(), DatabaseAccess{true, kPatience});
}

std::unique_ptr<DeviceDatabase> StoreOptions::OpenToChange() const
{
  OpenToRead();
  return OpenOrMake();
}

std::unique_ptr<DeviceDatabase> StoreOptions::OpenOrMake() const
{
  bool const isNew = !Exists();
  auto database = std::make_unique<DeviceDatabase>(Url(), DatabaseAccess{false, kPatience});
  if (isNew)
    SynchroniseFolder();
  return database;
}

/// SQLite takes no notice when the folder of a new file cannot be brought to the disk. Without power a journal with
/// which the file was begun could then come back, and take everything with it.
void StoreOptions::SynchroniseFolder() const
{
  std::string const folder = fs::path(Path().value()).parent_path().native();
  if (int const error = OutputFile::SynchroniseFolder(folder.empty() ? "." : folder); error != 0)
    throw ToolError(ExitCode::Disk, Name() + " was made, but its folder cannot be brought to the disk: " +
                                        std::generic_category().message(error));
}

std::optional<Uuid> StoreOptions::NamedDevice() const
{
  std::optional<std::string> const fromEnvironment = Environment("QEN_DEVICE");
  if (device_ || !fromEnvironment)
    return device_;
  try
  {
    return OptionValue::ReadUuid(*fromEnvironment);
  }
  catch (std::invalid_argument const& error)
  {
    RefuseUsage("QEN_DEVICE: " + std::string(error.what()));
  }
}

Uuid StoreOptions::Device(DeviceDatabase& database) const
{
  if (std::optional<Uuid> const named = NamedDevice())
    return *named;
  std::vector<Uuid> const devices = database.ListDevices();
  if (devices.size() != 1)
    RefuseUsage(Name() + " holds " + (devices.empty() ? "no device" : std::to_string(devices.size()) + " devices") +
                ": --device or QEN_DEVICE names one");
  return devices.front();
}

Uuid StoreOptions::KnownDevice(DeviceDatabase& database) const
{
  Uuid const device = Device(database);
  if (!database.FindDevice(device))
    throw ToolError(ExitCode::Unreadable, Name() + " holds no device " + device.ToString());
  return device;
}

std::vector<Uuid> StoreOptions::KnownDevices(DeviceDatabase& database) const
{
  if (NamedDevice())
    return {KnownDevice(database)};
  return database.ListDevices();
}
