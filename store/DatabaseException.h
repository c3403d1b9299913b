#pragma once

#include "platform/VelmoraException.h"
#include "store/Export.h"

/// Every failure of a store: the name of the statement that failed and what the engine said about it.
class QEN_STORE_EXPORT DatabaseException : public VelmoraException
{
public:
  DatabaseException();
  ~DatabaseException() override;
  VelmoraException* clone() const override;
};
