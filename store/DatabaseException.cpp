#include "store/DatabaseException.h"

DatabaseException::DatabaseException() : VelmoraException("DatabaseException") {}
DatabaseException::~DatabaseException() = default;
VelmoraException* DatabaseException::clone() const { return new DatabaseException(*this); }
