#include "utilities/exception/ExceptionFactory.h"

ExceptionFactory::ExceptionFactory(char const* sourceFile, int line) : sourceFile_(sourceFile), line_(line) {}

void ExceptionFactory::locate(VelmoraException& exception) const
{
  exception.setFile(sourceFile_);
  exception.setLine(line_);
}
