#include "platform/VelmoraException.h"

#include <cstdio>

namespace
{
std::unique_ptr<VelmoraException> cloneOf(VelmoraException const* exception)
{
  return std::unique_ptr<VelmoraException>(exception == nullptr ? nullptr : exception->clone());
}
} // namespace

VelmoraException::VelmoraException(char const* className) : className_(className) {}

VelmoraException::VelmoraException(VelmoraException const& other)
  : std::exception(other), className_(other.className_), file_(other.file_), line_(other.line_),
    message_(other.message_), rootCause_(cloneOf(other.getRootCause()))
{
}

VelmoraException& VelmoraException::operator=(VelmoraException const& other)
{
  if (this != &other)
  {
    VelmoraException copy(other);
    className_.swap(copy.className_);
    file_.swap(copy.file_);
    line_ = copy.line_;
    message_.swap(copy.message_);
    rootCause_.swap(copy.rootCause_);
  }
  return *this;
}

VelmoraException::~VelmoraException() = default;

char const* VelmoraException::what() const noexcept { return message_.c_str(); }

VelmoraException* VelmoraException::clone() const { return new VelmoraException(*this); }

void VelmoraException::setFile(char const* file) { file_ = file; }

void VelmoraException::setLine(int line) { line_ = line; }

void VelmoraException::fillInArgumentString(char const* format, va_list arguments)
{
  va_list measured;
  va_copy(measured, arguments);
  int const length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  // A format that cannot be printed is shown as it stands rather than lost.
  if (length < 0)
  {
    message_ = format;
    return;
  }
  std::string message(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(message.data(), message.size() + 1, format, arguments);
  message_.swap(message);
}

void VelmoraException::setRootCause(VelmoraException const& cause) { rootCause_ = cloneOf(&cause); }

std::string const& VelmoraException::getClassName() const { return className_; }

std::string const& VelmoraException::getFile() const { return file_; }

int VelmoraException::getLine() const { return line_; }

VelmoraException const* VelmoraException::getRootCause() const { return rootCause_.get(); }
