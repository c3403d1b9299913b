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

protected:
  /// @param className the name of the derived class, copied
  explicit DatabaseException(char const* className);
};

/// A database that was opened to be read holds no store.
class QEN_STORE_EXPORT NoStoreException : public DatabaseException
{
public:
  NoStoreException();
  ~NoStoreException() override;
  VelmoraException* clone() const override;
};
