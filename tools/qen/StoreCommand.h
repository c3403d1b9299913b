#pragma once

#include "Command.h"
#include "StoreOptions.h"

/// A command on a store. What is wrong with that is told with its name.
class StoreCommand : public Command
{
public:
  ExitCode Run(Report& report) final;

protected:
  StoreOptions store_;

private:
  virtual ExitCode Work(Report& report) = 0;
};
