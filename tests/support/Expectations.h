#pragma once

#include "platform/VelmoraException.h"

#include <cstdlib>
#include <cxxabi.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <typeinfo>

/// The class name that an exception of this type must carry: the type's own name without its namespace.
inline std::string ClassNameOf(std::type_info const& type)
{
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> const name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                         &std::free);
  std::string const full = status == 0 ? name.get() : type.name();
  std::size_t const colon = full.rfind("::");
  return colon == std::string::npos ? full : full.substr(colon + 2);
}

/// Runs an operation that must throw exactly an E, and checks its class name, message, source unit and that it has a
/// line.
template <class E, class F>
void ExpectThrow(F&& operation, std::string const& message, std::string const& file)
{
  SCOPED_TRACE("expected: " + message);
  try
  {
    operation();
  }
  catch (VelmoraException const& exception)
  {
    EXPECT_EQ(ClassNameOf(typeid(exception)), ClassNameOf(typeid(E)));
    EXPECT_TRUE(typeid(exception) == typeid(E));
    EXPECT_EQ(exception.getClassName(), ClassNameOf(typeid(E)));
    EXPECT_STREQ(exception.what(), message.c_str());
    EXPECT_EQ(exception.getFile(), file);
    EXPECT_GT(exception.getLine(), 0);
    return;
  }
  catch (std::exception const& exception)
  {
    ADD_FAILURE() << "threw " << typeid(exception).name() << ": " << exception.what();
    return;
  }
  ADD_FAILURE() << "threw nothing";
}
