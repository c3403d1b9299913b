#include "signalprocessing/io/file/TimeSignalException.h"

TimeSignalException::TimeSignalException() : VelmoraException("TimeSignalException") {}
TimeSignalException::~TimeSignalException() = default;
VelmoraException* TimeSignalException::clone() const { return new TimeSignalException(*this); }
