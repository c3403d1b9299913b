#pragma once

#include "Details.h"
#include "InputFile.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

/// The details document of a time signal file, in a file beside it: the name of the signal file with .xml for its
/// extension. It repeats the header and holds what the record has no room for.
///
/// What makes a document unusable is a ToolError with the status Unreadable and a text that names the document.
class DetailsDocument
{
public:
  static constexpr char kExtension[] = ".xml";

  /// The name of the document of a signal file: beside the file, or, for a link to a file that has one and when there
  /// is none beside the link, beside that file. Nothing for standard input and output. Throws for a signal file that
  /// has the name of a document itself.
  static std::optional<std::string> PathOf(std::string const& signalPath);

  /// The name of the document beside a signal file that is there.
  static std::optional<std::string> PathBeside(InputFile const& signalFile);
  /// The text of a document.
  static std::string ReadText(std::string const& path);

  /// A document that is no file. Throws when it cannot be read.
  static DetailsDocument FromText(std::string const& text);
  /// The document beside a signal file, when there is one. Throws when it cannot be read.
  static std::optional<DetailsDocument> Beside(InputFile const& signalFile);
  /// The same; throws too when it describes another signal. Fields of the header that a change of the signal would
  /// mend may differ, and a damaged header, which reading the signal reports, cannot tell.
  static std::optional<DetailsDocument> Of(InputFile const& signalFile, timesignal_bin_t const& header);

  /// The text of a document for a signal. Throws when its texts would not come back from it.
  static std::string Make(timesignal_bin_t const& header, Details const& details);

  std::string const& Path() const { return path_; }
  std::string const& Text() const { return text_; }
  Details const& Contents() const { return details_; }
  /// Each field of the header that it does not repeat as it is: "sample count is 3, the record says 4".
  std::vector<std::string> Differences(timesignal_bin_t const& header) const;

private:
  static constexpr std::size_t kFieldCount = 12;
  struct Field;
  static std::array<Field, kFieldCount> const& Fields();

  DetailsDocument(std::string path, std::string text);
  void Parse();
  void RequireSignal(timesignal_bin_t const& header) const;
  std::optional<std::string> Difference(Field const& field, std::size_t index, timesignal_bin_t const& header) const;
  [[noreturn]] void Refuse(std::string const& why) const;

  std::string path_;
  std::string text_;
  Details details_;
  std::array<std::string, kFieldCount> header_; ///< texts of the fields, empty when missing
};
