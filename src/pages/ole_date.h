// OLE automation dates: days since 30 December 1899 as a double. Before that day the fraction still
// counts forwards from midnight (-1.25 is 29 December 1899, 06:00), so such dates are compared on
// their linear value.
#pragma once

#include "platform/wintypes.h"

namespace vx::pages {

// Half a second, in days: two dates closer than this are the same.
inline constexpr double kOleDateTolerance = 5.787037037037037e-6;

// The automation date of a local time (milliseconds ignored); false for a time outside the years
// 100 to 9999 or with a field out of its range.
bool SystemTimeToOleDate(const SYSTEMTIME& time, double& date);
// The local time of an automation date, to the nearest second; false outside the years 100 to 9999.
bool OleDateToSystemTime(double date, SYSTEMTIME& time);
// A picked time is valid only when it converts and converts back to the same fields.
bool ToValidOleDate(const SYSTEMTIME& time, double& date);

// The date on one straight line of days (-1.25 becomes -0.75), and back.
double OleDateToLinear(double date);
double LinearToOleDate(double linear);
// -1, 0 or 1 by the linear values, equal within kOleDateTolerance.
int CompareOleDates(double a, double b);

}  // namespace vx::pages
