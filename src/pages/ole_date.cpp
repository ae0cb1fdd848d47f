#include "pages/ole_date.h"

#include <cmath>

namespace vx::pages {

namespace {

constexpr double kSecondsPerDay = 86400.0;
constexpr double kFirstDate = -657434.0;  // 1 January 100
constexpr double kEndDate = 2958466.0;    // 1 January 10000

// Days from 1 January 1970 of a proleptic Gregorian date (Hinnant's days_from_civil).
long long DaysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, long long& y, unsigned& m, unsigned& d) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<long long>(yoe) + era * 400 + (m <= 2);
}

const long long kEpoch = DaysFromCivil(1899, 12, 30);

unsigned DaysInMonth(long long y, unsigned m) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return m == 2 && leap ? 29 : kDays[m - 1];
}

}  // namespace

double OleDateToLinear(double date) {
  if (date >= 0) return date;
  const double day = std::trunc(date);
  return day + (day - date);  // the fraction counts forwards from that day's midnight
}

double LinearToOleDate(double linear) {
  const double day = std::floor(linear);
  const double fraction = linear - day;
  return day < 0 ? day - fraction : day + fraction;
}

int CompareOleDates(double a, double b) {
  const double difference = OleDateToLinear(a) - OleDateToLinear(b);
  if (std::fabs(difference) < kOleDateTolerance) return 0;
  return difference < 0 ? -1 : 1;
}

bool SystemTimeToOleDate(const SYSTEMTIME& time, double& date) {
  if (time.wYear < 100 || time.wYear > 9999 || time.wMonth < 1 || time.wMonth > 12 || time.wDay < 1 ||
      time.wDay > DaysInMonth(time.wYear, time.wMonth) || time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59)
    return false;
  const long long days = DaysFromCivil(time.wYear, time.wMonth, time.wDay) - kEpoch;
  const double seconds = time.wHour * 3600.0 + time.wMinute * 60.0 + time.wSecond;
  date = LinearToOleDate(static_cast<double>(days) + seconds / kSecondsPerDay);
  return true;
}

bool OleDateToSystemTime(double date, SYSTEMTIME& time) {
  if (!std::isfinite(date) || date <= kFirstDate - 1 || date >= kEndDate) return false;
  const double linear = OleDateToLinear(date);
  long long days = static_cast<long long>(std::floor(linear));
  long long seconds = std::llround((linear - std::floor(linear)) * kSecondsPerDay);
  if (seconds >= 86400) {
    ++days;
    seconds -= 86400;
  }
  long long y = 0;
  unsigned m = 0, d = 0;
  CivilFromDays(days + kEpoch, y, m, d);
  if (y < 100 || y > 9999) return false;
  time = {};
  time.wYear = static_cast<WORD>(y);
  time.wMonth = static_cast<WORD>(m);
  time.wDay = static_cast<WORD>(d);
  time.wDayOfWeek = static_cast<WORD>(((days + kEpoch) % 7 + 11) % 7);  // 1 January 1970 was a Thursday
  time.wHour = static_cast<WORD>(seconds / 3600);
  time.wMinute = static_cast<WORD>(seconds / 60 % 60);
  time.wSecond = static_cast<WORD>(seconds % 60);
  return true;
}

bool ToValidOleDate(const SYSTEMTIME& time, double& date) {
  SYSTEMTIME back{};
  double converted = 0;
  if (!SystemTimeToOleDate(time, converted) || !OleDateToSystemTime(converted, back)) return false;
  if (back.wYear != time.wYear || back.wMonth != time.wMonth || back.wDay != time.wDay || back.wHour != time.wHour ||
      back.wMinute != time.wMinute || back.wSecond != time.wSecond)
    return false;
  date = converted;
  return true;
}

}  // namespace vx::pages
