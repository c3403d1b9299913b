#include "store/DatabaseException.h"

DatabaseException::DatabaseException() : DatabaseException("DatabaseException") {}
DatabaseException::DatabaseException(char const* className) : VelmoraException(className) {}
DatabaseException::~DatabaseException() = default;
VelmoraException* DatabaseException::clone() const { return new DatabaseException(*this); }

NoStoreException::NoStoreException() : DatabaseException("NoStoreException") {}
NoStoreException::~NoStoreException() = default;
VelmoraException* NoStoreException::clone() const { return new NoStoreException(*this); }
