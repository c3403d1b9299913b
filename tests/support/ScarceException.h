#pragma once

#include "platform/VelmoraException.h"

#include <new>

/// An exception that finds memory for some copies of itself and then for none.
class ScarceException : public VelmoraException
{
public:
  /// @param copiesLeft how many clones can be made; must outlive the exception and its copies
  explicit ScarceException(int& copiesLeft) : VelmoraException("ScarceException"), copiesLeft_(&copiesLeft) {}
  VelmoraException* clone() const override
  {
    if (*copiesLeft_ == 0)
      throw std::bad_alloc();
    --*copiesLeft_;
    return new ScarceException(*this);
  }

private:
  int* copiesLeft_;
};
