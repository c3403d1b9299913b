#pragma once

#include "platform/VelmoraException.h"
#include "utilities/Export.h"

/// Every failure of a time signal record or object.
class QEN_FILE_IO_EXPORT TimeSignalException : public VelmoraException
{
public:
  TimeSignalException();
  ~TimeSignalException() override;
  VelmoraException* clone() const override;
};
