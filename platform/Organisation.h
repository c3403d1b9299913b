#pragma once

/// The two names that belong to the organisation that ships the device.
namespace Organisation
{
/// Every logger category starts with this reverse-domain prefix.
inline constexpr char const kLoggerPrefix[] = "example.qen";
/// Namespace of every XML document of the device.
inline constexpr char const kNamespaceUri[] = "http://www.qen.example/2015/09/30/velmora/";
} // namespace Organisation
