#pragma once

#include "InputFile.h"

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TrendRecord.h"

#include <optional>
#include <string>
#include <vector>

/// The details document of a trend file, in a file beside it. It repeats the header and holds the text of the unit.
///
/// What makes a document unusable is a ToolError with the status Unreadable and a text that names the document.
class TrendDocument
{
public:
  /// The name of the document of a trend file; nothing for standard input and output. Throws for a trend file that has
  /// the name of a document itself.
  static std::optional<std::string> PathOf(std::string const& trendPath);
  /// The document beside a trend file, when there is one. Throws when it belongs to another trend; counts and times,
  /// which an interrupted change leaves behind, may differ.
  static std::optional<TrendDocument> Of(InputFile const& trendFile, trend_header_t const& header);
  /// A document that is no file.
  static TrendDocument FromText(std::string const& text);
  /// The text of a document that repeats a header; its unit is empty.
  static std::string Make(trend_header_t const& header);
  /// Whether a file is the document of a trend with this UUID.
  static bool IsOf(std::string const& path, Uuid const& trend);
  /// Throws unless the path is free or holds the document of a trend: no other file gives way to one.
  static void RequireReplaceable(std::string const& path);

  std::string const& Path() const { return path_; }
  std::string const& Text() const { return text_; }
  std::string const& Unit() const { return unit_; }
  /// Each value that it does not repeat as the header has it: "sample count is 3, the record has 4".
  std::vector<std::string> Differences(trend_header_t const& header) const;

private:
  TrendDocument(std::string path, std::string text);
  [[noreturn]] void Refuse(std::string const& why) const;

  std::string path_;
  std::string text_;
  std::string unit_;
};
