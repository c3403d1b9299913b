#pragma once

#include "platform/VelmoraException.h"
#include "support/Expectations.h"

#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <typeinfo>

/// Whether an operation throws exactly an E that says its class name, why and where. The texts of the platform's own
/// errors are free, so they only have to be there.
template <class E, class F>
testing::AssertionResult Refuses(F&& operation)
{
  try
  {
    operation();
  }
  catch (VelmoraException const& exception)
  {
    if (typeid(exception) != typeid(E) || exception.getClassName() != ClassNameOf(typeid(E)))
      return testing::AssertionFailure() << "threw " << exception.getClassName() << ": " << exception.what();
    if (std::string(exception.what()).empty() || exception.getFile().empty() || exception.getLine() <= 0)
      return testing::AssertionFailure() << "threw " << exception.getClassName() << " without message, file or line";
    return testing::AssertionSuccess();
  }
  catch (std::exception const& exception)
  {
    return testing::AssertionFailure() << "threw " << typeid(exception).name() << ": " << exception.what();
  }
  return testing::AssertionFailure() << "threw nothing";
}
