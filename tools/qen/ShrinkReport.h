#pragma once

#include "Json.h"
#include "Report.h"
#include "ShrinkPlan.h"

/// Prints what remains of each age class.
void PrintAges(ShrinkPlan const& plan, TrendShrinker const& shrinker, Report& report);
/// Prints numbers and sizes of files below it.
void PrintTotals(ShrinkPlan::Count const& files, ShrinkPlan const& plan, Report& report);
/// The same of the age classes as a list of objects.
Json DescribeAges(ShrinkPlan const& plan, TrendShrinker const& shrinker);
